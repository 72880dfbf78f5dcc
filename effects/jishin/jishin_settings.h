// Jishin's persisted settings and the callbacks its records hand the host.
#pragma once

#include <marlix/marlix.h>

#include <cstdint>

namespace tessivo {

enum JishinMode : int32_t { kJishinAlways = 0, kJishinRealistic = 1 };
enum JishinDirection : int32_t { kJishinX = 0, kJishinY = 1, kJishinXAndY = 2 };

struct JishinSettings {
  int32_t mode = kJishinAlways;  // any value but 1 shakes always
  int32_t direction = kJishinX;  // any value but 0 and 1 shakes both axes
  void *hostCookie = nullptr;    // passed back to the host's panel operations
};

// Writes and reads the group "Jishin"; 0 when the group cannot be opened.
uint32_t SaveJishinSettings(void *settings, const SettingsTable *store);
uint32_t LoadJishinSettings(void *settings, const SettingsTable *store);
// Runs the settings panel; 1 when the user confirmed with OK.
uint32_t RunJishinPanel(void *settings, const PanelTable *panel);

}  // namespace tessivo
