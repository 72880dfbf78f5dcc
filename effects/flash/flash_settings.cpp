#include "flash_settings.h"

#include "tessivo/frame/settings_store.h"

namespace tessivo {
namespace {

constexpr const char *kGroup = "Flash";
constexpr const char *kBlendAlphaKey = "Blend Alpha";

}  // namespace

uint32_t SaveFlashSettings(void *settings, const SettingsTable *store) {
  if (settings == nullptr) {
    return 0;
  }
  const SettingsWriter writer(store, kGroup);
  if (!writer) {
    return 0;
  }
  writer.writeBoolean(kBlendAlphaKey, static_cast<FlashSettings *>(settings)->blendAlpha != 0);
  return 1;
}

uint32_t LoadFlashSettings(void *settings, const SettingsTable *store) {
  if (settings == nullptr) {
    return 0;
  }
  const SettingsReader reader(store, kGroup);
  if (!reader) {
    return 0;
  }
  auto &flashSettings = *static_cast<FlashSettings *>(settings);
  flashSettings.blendAlpha = reader.readBoolean(kBlendAlphaKey, flashSettings.blendAlpha != 0) ? 1 : 0;
  return 1;
}

}  // namespace tessivo
