/* The whole host <-> bundle contract. */
#ifndef MARLIX_MARLIX_H
#define MARLIX_MARLIX_H

#include "marlix/descriptors.h"
#include "marlix/entry.h"
#include "marlix/fourcc.h"
#include "marlix/panel.h"
#include "marlix/ports.h"
#include "marlix/records.h"
#include "marlix/settings.h"

#endif
