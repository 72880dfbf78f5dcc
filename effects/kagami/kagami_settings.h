// Kagami's persisted settings and the callbacks its records hand the host.
// Mode and direction are kept, saved and edited, but the mirror never reads them.
#pragma once

#include <marlix/marlix.h>

#include <cstdint>

namespace tessivo {

struct KagamiSettings {
  int32_t mode = 0;            // 0 "Always", 1 "Realistic"
  int32_t direction = 0;       // 0 "X", 1 "Y", 2 "X and Y"
  void *hostCookie = nullptr;  // passed back to the host's panel operations
};

// Writes and reads the group "Kagami"; 0 when the group cannot be opened.
uint32_t SaveKagamiSettings(void *settings, const SettingsTable *store);
uint32_t LoadKagamiSettings(void *settings, const SettingsTable *store);
// Runs the settings panel; 1 when the user confirmed with OK.
uint32_t RunKagamiPanel(void *settings, const PanelTable *panel);

}  // namespace tessivo
