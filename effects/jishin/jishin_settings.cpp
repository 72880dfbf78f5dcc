#include "jishin_settings.h"

#include "tessivo/frame/settings_store.h"

namespace tessivo {
namespace {

constexpr const char *kGroup = "Jishin";
constexpr const char *kModeKey = "Mode";
constexpr const char *kDirectionKey = "Direction";

}  // namespace

uint32_t SaveJishinSettings(void *settings, const SettingsTable *store) {
  if (settings == nullptr) {
    return 0;
  }
  const SettingsWriter writer(store, kGroup);
  if (!writer) {
    return 0;
  }
  const auto &jishin = *static_cast<JishinSettings *>(settings);
  writer.writeUInt32(kModeKey, static_cast<uint32_t>(jishin.mode));
  writer.writeUInt32(kDirectionKey, static_cast<uint32_t>(jishin.direction));
  return 1;
}

uint32_t LoadJishinSettings(void *settings, const SettingsTable *store) {
  if (settings == nullptr) {
    return 0;
  }
  const SettingsReader reader(store, kGroup);
  if (!reader) {
    return 0;
  }
  // The low words as stored, unchecked: the render treats unknown values as defined.
  auto &jishin = *static_cast<JishinSettings *>(settings);
  jishin.mode = static_cast<int32_t>(reader.readUInt32(kModeKey, static_cast<uint32_t>(jishin.mode)));
  jishin.direction = static_cast<int32_t>(reader.readUInt32(kDirectionKey, static_cast<uint32_t>(jishin.direction)));
  return 1;
}

}  // namespace tessivo
