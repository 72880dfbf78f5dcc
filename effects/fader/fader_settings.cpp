#include "fader_settings.h"

#include "tessivo/frame/settings_store.h"

namespace tessivo {
namespace {

constexpr const char *kGroup = "Fader";
constexpr const char *kFadeColorKey = "Fade Color";

}  // namespace

uint32_t SaveFaderSettings(void *settings, const SettingsTable *store) {
  if (settings == nullptr) {
    return 0;
  }
  const SettingsWriter writer(store, kGroup);
  if (!writer) {
    return 0;
  }
  writer.writeUInt32(kFadeColorKey, static_cast<FaderSettings *>(settings)->fadeColor);
  return 1;
}

uint32_t LoadFaderSettings(void *settings, const SettingsTable *store) {
  if (settings == nullptr) {
    return 0;
  }
  const SettingsReader reader(store, kGroup);
  if (!reader) {
    return 0;
  }
  auto &faderSettings = *static_cast<FaderSettings *>(settings);
  faderSettings.fadeColor = reader.readUInt32(kFadeColorKey, faderSettings.fadeColor);
  return 1;
}

}  // namespace tessivo
