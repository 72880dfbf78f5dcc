#include "kagami_settings.h"

#include "tessivo/frame/settings_store.h"

namespace tessivo {
namespace {

constexpr const char *kGroup = "Kagami";
constexpr const char *kModeKey = "Mode";
constexpr const char *kDirectionKey = "Direction";

}  // namespace

uint32_t SaveKagamiSettings(void *settings, const SettingsTable *store) {
  if (settings == nullptr) {
    return 0;
  }
  const SettingsWriter writer(store, kGroup);
  if (!writer) {
    return 0;
  }
  const auto &kagamiSettings = *static_cast<const KagamiSettings *>(settings);
  writer.writeUInt32(kModeKey, static_cast<uint32_t>(kagamiSettings.mode));
  writer.writeUInt32(kDirectionKey, static_cast<uint32_t>(kagamiSettings.direction));
  return 1;
}

uint32_t LoadKagamiSettings(void *settings, const SettingsTable *store) {
  if (settings == nullptr) {
    return 0;
  }
  const SettingsReader reader(store, kGroup);
  if (!reader) {
    return 0;
  }
  // The low words as stored, without range checks.
  auto &kagamiSettings = *static_cast<KagamiSettings *>(settings);
  kagamiSettings.mode =
      static_cast<int32_t>(reader.readUInt32(kModeKey, static_cast<uint32_t>(kagamiSettings.mode)));
  kagamiSettings.direction =
      static_cast<int32_t>(reader.readUInt32(kDirectionKey, static_cast<uint32_t>(kagamiSettings.direction)));
  return 1;
}

}  // namespace tessivo
