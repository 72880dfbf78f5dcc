// Linalize's persisted settings and the callbacks its records hand the host.
#pragma once

#include <marlix/marlix.h>

#include <cstdint>

namespace tessivo {

struct LinalizeSettings {
  void *hostCookie = nullptr;  // passed back to the host's panel operations
  uint32_t lineLength = 20;    // strokes are 2 * (lineLength / 2) + 1 pixels long
  uint32_t lineWidth = 1;      // and 2 * (lineWidth / 2) + 1 pixels thick
};

// Writes and reads the group "Linalize"; 0 when the group cannot be opened.
uint32_t SaveLinalizeSettings(void *settings, const SettingsTable *store);
uint32_t LoadLinalizeSettings(void *settings, const SettingsTable *store);
// Runs the settings panel; 1 when the user confirmed with OK.
uint32_t RunLinalizePanel(void *settings, const PanelTable *panel);

}  // namespace tessivo
