#include "emboss_settings.h"

#include "tessivo/frame/settings_store.h"

namespace tessivo {
namespace {

constexpr const char *kGroup = "Emboss";
constexpr const char *kEffectKey = "Effect";
constexpr const char *kStrongnessKey = "Strongness";
constexpr const char *kDirectionKey = "Direction";

}  // namespace

uint32_t SaveEmbossSettings(void *settings, const SettingsTable *store) {
  if (settings == nullptr) {
    return 0;
  }
  const SettingsWriter writer(store, kGroup);
  if (!writer) {
    return 0;
  }
  const auto &embossSettings = *static_cast<const EmbossSettings *>(settings);
  writer.writeUInt32(kEffectKey, embossSettings.effect);
  writer.writeUInt32(kStrongnessKey, embossSettings.strongness);
  writer.writeUInt32(kDirectionKey, embossSettings.direction);
  return 1;
}

uint32_t LoadEmbossSettings(void *settings, const SettingsTable *store) {
  if (settings == nullptr) {
    return 0;
  }
  const SettingsReader reader(store, kGroup);
  if (!reader) {
    return 0;
  }
  auto &embossSettings = *static_cast<EmbossSettings *>(settings);
  embossSettings.effect = reader.readUInt32(kEffectKey, embossSettings.effect);
  embossSettings.strongness = reader.readUInt32(kStrongnessKey, embossSettings.strongness);
  embossSettings.direction = reader.readUInt32(kDirectionKey, embossSettings.direction);
  return 1;
}

}  // namespace tessivo
