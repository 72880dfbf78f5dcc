// The plug-in record handed to the host at load.
#pragma once

#include <marlix/entry.h>

namespace tessivo {

// A new GlobalInfo ('ginf', 'kqzt', 1, 1, pass-through, size table), or null
// when it cannot be allocated.
GlobalInfo *NewGlobalInfo();
void DeleteGlobalInfo(GlobalInfo *info);

}  // namespace tessivo
