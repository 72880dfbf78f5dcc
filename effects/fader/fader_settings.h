// The Fader's persisted settings and the callbacks its records hand the host.
#pragma once

#include <marlix/marlix.h>

#include <cstdint>

namespace tessivo {

struct FaderSettings {
  uint32_t fadeColor = 0;       // 0xAARRGGBB; the top byte is the fade alpha
  void *hostCookie = nullptr;  // passed back to the host's panel operations
};

// Writes and reads the group "Fader"; 0 when the group cannot be opened.
uint32_t SaveFaderSettings(void *settings, const SettingsTable *store);
uint32_t LoadFaderSettings(void *settings, const SettingsTable *store);
// Runs the settings panel; 1 when the user confirmed with OK.
uint32_t RunFaderPanel(void *settings, const PanelTable *panel);

}  // namespace tessivo
