// Flash's persisted setting and the callbacks its records hand the host.
#pragma once

#include <marlix/marlix.h>

#include <cstdint>

namespace tessivo {

struct FlashSettings {
  uint8_t blendAlpha = 0;      // blend the false colour with the input by alpha
  void *hostCookie = nullptr;  // passed back to the host's panel operations
};

// Writes and reads the group "Flash"; 0 when the group cannot be opened.
uint32_t SaveFlashSettings(void *settings, const SettingsTable *store);
uint32_t LoadFlashSettings(void *settings, const SettingsTable *store);
// Runs the settings panel; 1 when the user confirmed with OK.
uint32_t RunFlashPanel(void *settings, const PanelTable *panel);

}  // namespace tessivo
