// Stripizator's persisted settings and the callbacks its records hand the host.
#pragma once

#include <marlix/marlix.h>

#include <cstdint>

namespace tessivo {

struct StripizatorSettings {
  void *hostCookie = nullptr;
  float maxRadius = 7.0f;            // "Max Radius", [0, 100] when set by key
  float stripesWidth = 7.0f;         // "Stripes Width", [1, 1000] when set by key
  uint32_t backColor = 0xFF000000u;  // "BackColor", 0xAARRGGBB
  uint32_t foreColor = 0xFFFFD200u;  // "ForeColor"
  uint8_t movingStripes = 1;         // "Moving Stripes"
};

// Writes the group "Stripizator", or reads it back (without clamping, and
// with the stored back colour becoming the fore colour and the stored fore
// colour the back colour). 0 when the group cannot be opened.
uint32_t SaveStripizatorSettings(void *settings, const SettingsTable *store);
uint32_t LoadStripizatorSettings(void *settings, const SettingsTable *store);

// One setting by key: 1 when the key is known; an unknown key or null
// settings change nothing and give 0.
uint32_t SetStripizatorParameter(void *settings, CFStringRef key, CFTypeRef value);
// A new value for the key, or null for an unknown key or null settings.
CFTypeRef GetStripizatorParameter(void *settings, CFStringRef key);

}  // namespace tessivo
