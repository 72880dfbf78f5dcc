// Diffusion's persisted settings and the callbacks its records hand the host.
// The render does not read mode or direction; they are kept, edited and saved.
#pragma once

#include <marlix/marlix.h>

#include <cstdint>

namespace tessivo {

struct DiffusionSettings {
  uint32_t mode = 0;           // 0 "Always", 1 "Realistic"
  uint32_t direction = 0;      // 0 "X", 1 "Y", 2 "X and Y"
  void *hostCookie = nullptr;  // passed back to the host's panel operations
};

// Writes and reads the group "Diffusion"; 0 when the group cannot be opened.
uint32_t SaveDiffusionSettings(void *settings, const SettingsTable *store);
uint32_t LoadDiffusionSettings(void *settings, const SettingsTable *store);
// Runs the settings panel; 1 when the user confirmed with OK.
uint32_t RunDiffusionPanel(void *settings, const PanelTable *panel);

}  // namespace tessivo
