#include "diffusion_settings.h"

#include "tessivo/frame/settings_store.h"

namespace tessivo {
namespace {

constexpr const char *kGroup = "Diffusion";
constexpr const char *kModeKey = "Mode";
constexpr const char *kDirectionKey = "Direction";

}  // namespace

uint32_t SaveDiffusionSettings(void *settings, const SettingsTable *store) {
  if (settings == nullptr) {
    return 0;
  }
  const SettingsWriter writer(store, kGroup);
  if (!writer) {
    return 0;
  }
  const auto &diffusionSettings = *static_cast<DiffusionSettings *>(settings);
  writer.writeUInt32(kModeKey, diffusionSettings.mode);
  writer.writeUInt32(kDirectionKey, diffusionSettings.direction);
  return 1;
}

// The low words are kept as stored, without a range check: the render does not read them.
uint32_t LoadDiffusionSettings(void *settings, const SettingsTable *store) {
  if (settings == nullptr) {
    return 0;
  }
  const SettingsReader reader(store, kGroup);
  if (!reader) {
    return 0;
  }
  auto &diffusionSettings = *static_cast<DiffusionSettings *>(settings);
  diffusionSettings.mode = reader.readUInt32(kModeKey, diffusionSettings.mode);
  diffusionSettings.direction = reader.readUInt32(kDirectionKey, diffusionSettings.direction);
  return 1;
}

}  // namespace tessivo
