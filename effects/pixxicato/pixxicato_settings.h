// Pixxicato's persisted mode and the callbacks its records hand the host.
#pragma once

#include <marlix/marlix.h>

#include <cstdint>

#include "pixxicato_kernel.h"

namespace tessivo {

struct PixxicatoSettings {
  void *hostCookie = nullptr;        // passed back to the host's panel operations
  uint32_t mode = kPixxicatoCenter;  // a PixxicatoMode; other values render nothing
};

// Writes and reads "Mode" in the group "Pixxicato"; 0 when the group cannot be
// opened (the mode is then left as it was).
uint32_t SavePixxicatoSettings(void *settings, const SettingsTable *store);
uint32_t LoadPixxicatoSettings(void *settings, const SettingsTable *store);
// Runs the mode panel; 1 when the user confirmed with OK.
uint32_t RunPixxicatoPanel(void *settings, const PanelTable *panel);

}  // namespace tessivo
