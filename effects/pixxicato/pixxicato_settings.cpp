#include "pixxicato_settings.h"

#include "tessivo/frame/settings_store.h"

namespace tessivo {
namespace {

constexpr const char *kGroup = "Pixxicato";
constexpr const char *kModeKey = "Mode";

}  // namespace

uint32_t SavePixxicatoSettings(void *settings, const SettingsTable *store) {
  if (settings == nullptr) {
    return 0;
  }
  const SettingsWriter writer(store, kGroup);
  if (!writer) {
    return 0;
  }
  writer.writeUInt32(kModeKey, static_cast<PixxicatoSettings *>(settings)->mode);
  return 1;
}

uint32_t LoadPixxicatoSettings(void *settings, const SettingsTable *store) {
  if (settings == nullptr) {
    return 0;
  }
  const SettingsReader reader(store, kGroup);
  if (!reader) {
    return 0;
  }
  auto &pixxicatoSettings = *static_cast<PixxicatoSettings *>(settings);
  pixxicatoSettings.mode = reader.readUInt32(kModeKey, pixxicatoSettings.mode);
  return 1;
}

}  // namespace tessivo
