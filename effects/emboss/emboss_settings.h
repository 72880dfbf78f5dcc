// The Emboss module's persisted settings and the callbacks its records hand the host.
#pragma once

#include <marlix/marlix.h>

#include <cstdint>

namespace tessivo {

struct EmbossSettings {
  uint32_t effect = 1;      // 0 "Emboss", 1 "Emboss with alpha", 2 "Stonify"
  uint32_t strongness = 1;  // k: 0 "Very Weak" to 4 "Very Strong"; the difference is scaled by 2^k / 8
  uint32_t direction = 0;   // 0 "Top Left", 1 "Top Right", 2 "Bottom Left", 3 "Bottom Right"
  void *hostCookie = nullptr;  // passed back to the host's panel operations
};

// Writes and reads the group "Emboss"; 0 when the group cannot be opened.
// Restored values are kept as stored, out of range or not.
uint32_t SaveEmbossSettings(void *settings, const SettingsTable *store);
uint32_t LoadEmbossSettings(void *settings, const SettingsTable *store);
// Runs the settings panel; 1 when the user confirmed with OK.
uint32_t RunEmbossPanel(void *settings, const PanelTable *panel);

}  // namespace tessivo
