#include "linalize_settings.h"

#include "tessivo/frame/settings_store.h"

namespace tessivo {
namespace {

constexpr const char *kGroup = "Linalize";
constexpr const char *kLengthKey = "Line Length";
constexpr const char *kWidthKey = "Line Width";

}  // namespace

uint32_t SaveLinalizeSettings(void *settings, const SettingsTable *store) {
  if (settings == nullptr) {
    return 0;
  }
  const SettingsWriter writer(store, kGroup);
  if (!writer) {
    return 0;
  }
  const auto &linalize = *static_cast<LinalizeSettings *>(settings);
  writer.writeUInt32(kLengthKey, linalize.lineLength);
  writer.writeUInt32(kWidthKey, linalize.lineWidth);
  return 1;
}

uint32_t LoadLinalizeSettings(void *settings, const SettingsTable *store) {
  if (settings == nullptr) {
    return 0;
  }
  const SettingsReader reader(store, kGroup);
  if (!reader) {
    return 0;
  }
  // Unchecked: any length and width draw strokes clipped to the canvas.
  auto &linalize = *static_cast<LinalizeSettings *>(settings);
  linalize.lineLength = reader.readUInt32(kLengthKey, linalize.lineLength);
  linalize.lineWidth = reader.readUInt32(kWidthKey, linalize.lineWidth);
  return 1;
}

}  // namespace tessivo
