// Blur's persisted settings and the callbacks its records hand the host.
#pragma once

#include <marlix/marlix.h>

#include <cstdint>

namespace tessivo {

struct BlurSettings {
  uint32_t type = 0;             // 0: software box blur; 1: half-size tent filter
  float amountX = 0.2f;          // "Blur in X"
  float amountY = 0.0f;          // "Blur in Y"
  uint8_t isNumberOfPixels = 0;  // amounts are pixels when set, fractions of the size when clear
  void *hostCookie = nullptr;    // handed back to the host's settings callbacks
};

// Writes "Type", "Blur in X", "Blur in Y", "Is Number of Pixels" to the group
// "Blur" and reads them back in that order (amounts narrowed to float, the
// type's low word as stored); 0 when the group cannot be opened.
uint32_t SaveBlurSettings(void *settings, const SettingsTable *store);
uint32_t LoadBlurSettings(void *settings, const SettingsTable *store);

// Sets one field by key; an unknown key or a wrongly typed value changes nothing.
uint32_t SetBlurParameter(void *settings, CFStringRef key, CFTypeRef value);
// The field of a key as a new value, or null for an unknown key.
CFTypeRef GetBlurParameter(void *settings, CFStringRef key);

}  // namespace tessivo
