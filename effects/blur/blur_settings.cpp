#include "blur_settings.h"

#include "tessivo/frame/settings_store.h"
#include "tessivo/frame/settings_values.h"

namespace tessivo {
namespace {

constexpr const char *kGroup = "Blur";
constexpr const char *kTypeKey = "Type";
constexpr const char *kAmountXKey = "Blur in X";
constexpr const char *kAmountYKey = "Blur in Y";
constexpr const char *kPixelsKey = "Is Number of Pixels";

bool Is(CFStringRef key, CFStringRef name) {
  return key != nullptr && CFStringCompare(key, name, 0) == kCFCompareEqualTo;
}

}  // namespace

uint32_t SaveBlurSettings(void *settings, const SettingsTable *store) {
  if (settings == nullptr) return 0;
  const SettingsWriter writer(store, kGroup);
  if (!writer) return 0;
  const auto &blur = *static_cast<const BlurSettings *>(settings);
  writer.writeUInt32(kTypeKey, blur.type);
  writer.writeDouble(kAmountXKey, blur.amountX);
  writer.writeDouble(kAmountYKey, blur.amountY);
  writer.writeBoolean(kPixelsKey, blur.isNumberOfPixels != 0);
  return 1;
}

uint32_t LoadBlurSettings(void *settings, const SettingsTable *store) {
  if (settings == nullptr) return 0;
  const SettingsReader reader(store, kGroup);
  if (!reader) return 0;
  auto &blur = *static_cast<BlurSettings *>(settings);
  blur.type = reader.readUInt32(kTypeKey, blur.type);
  blur.amountX = static_cast<float>(reader.readDouble(kAmountXKey, blur.amountX));
  blur.amountY = static_cast<float>(reader.readDouble(kAmountYKey, blur.amountY));
  blur.isNumberOfPixels = reader.readBoolean(kPixelsKey, blur.isNumberOfPixels != 0) ? 1 : 0;
  return 1;
}

uint32_t SetBlurParameter(void *settings, CFStringRef key, CFTypeRef value) {
  if (settings == nullptr) return 0;
  auto &blur = *static_cast<BlurSettings *>(settings);
  if (Is(key, CFSTR("Type"))) {
    blur.type = static_cast<uint32_t>(ReadInt32(value, static_cast<int32_t>(blur.type)));
  } else if (Is(key, CFSTR("Blur in X"))) {
    blur.amountX = static_cast<float>(ReadDouble(value, blur.amountX));
  } else if (Is(key, CFSTR("Blur in Y"))) {
    blur.amountY = static_cast<float>(ReadDouble(value, blur.amountY));
  } else if (Is(key, CFSTR("Is Number of Pixels"))) {
    blur.isNumberOfPixels = ReadBoolean(value, blur.isNumberOfPixels);
  }
  return 1;
}

CFTypeRef GetBlurParameter(void *settings, CFStringRef key) {
  if (settings == nullptr) return nullptr;
  const auto &blur = *static_cast<const BlurSettings *>(settings);
  if (Is(key, CFSTR("Type"))) return MakeInt32(static_cast<int32_t>(blur.type));
  if (Is(key, CFSTR("Blur in X"))) return MakeDouble(blur.amountX);
  if (Is(key, CFSTR("Blur in Y"))) return MakeDouble(blur.amountY);
  if (Is(key, CFSTR("Is Number of Pixels"))) return MakeBoolean(blur.isNumberOfPixels);
  return nullptr;
}

}  // namespace tessivo
