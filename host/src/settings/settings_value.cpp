// SettingValue and its conversions to and from CoreFoundation values.
#include <CoreGraphics/CoreGraphics.h>

#include <cmath>
#include <cstdio>
#include <stdexcept>
#include <string>

#include "tessivo/host/error.h"
#include "tessivo/host/settings_store.h"
#include "tessivo/host/user_values.h"

namespace tessivo::host {

namespace {

// The modules' own factor for a byte (single precision 1/255), so a colour the
// host builds from a packed word reads back as that word in every module.
constexpr float kByteToUnit = 0.003921569f;

std::uint32_t channelByte(double component) {
  const float scaled = static_cast<float>(component) * 255.0f;
  if (!(scaled > 0.0f)) return 0;
  if (scaled >= 255.0f) return 255;
  return static_cast<std::uint32_t>(scaled);
}

[[noreturn]] void wrongType(ValueType wanted, ValueType actual) {
  throw HostError("expected " + std::string(valueTypeName(wanted)) + " value, found " +
                           std::string(valueTypeName(actual)));
}

}  // namespace

Color Color::fromPacked(std::uint32_t argb) {
  auto unit = [](std::uint32_t byte) {
    return static_cast<double>(static_cast<float>(byte & 0xFFu) * kByteToUnit);
  };
  return Color{{unit(argb >> 16), unit(argb >> 8), unit(argb), unit(argb >> 24)}};
}

std::uint32_t Color::packed() const {
  if (components.size() != 4) throw HostError("colour has " + std::to_string(components.size()) +
                                                       " components, expected 4");
  return channelByte(components[3]) << 24 | channelByte(components[0]) << 16 |
         channelByte(components[1]) << 8 | channelByte(components[2]);
}

std::string_view valueTypeName(ValueType type) {
  switch (type) {
    case ValueType::Integer: return "integer";
    case ValueType::Double: return "double";
    case ValueType::Boolean: return "boolean";
    case ValueType::Color: return "color";
    case ValueType::String: return "string";
  }
  return "unknown";
}

std::int64_t SettingValue::asInteger() const {
  if (type() != ValueType::Integer) wrongType(ValueType::Integer, type());
  return std::get<std::int64_t>(value_);
}

double SettingValue::asDouble() const {
  if (type() != ValueType::Double) wrongType(ValueType::Double, type());
  return std::get<double>(value_);
}

bool SettingValue::asBoolean() const {
  if (type() != ValueType::Boolean) wrongType(ValueType::Boolean, type());
  return std::get<bool>(value_);
}

const Color &SettingValue::asColor() const {
  if (type() != ValueType::Color) wrongType(ValueType::Color, type());
  return std::get<Color>(value_);
}

const std::string &SettingValue::asString() const {
  if (type() != ValueType::String) wrongType(ValueType::String, type());
  return std::get<std::string>(value_);
}

std::string SettingValue::toString() const {
  switch (type()) {
    case ValueType::Integer: return std::to_string(asInteger());
    case ValueType::Double: {
      char buffer[32];
      std::snprintf(buffer, sizeof buffer, "%.17g", asDouble());
      return buffer;
    }
    case ValueType::Boolean: return asBoolean() ? "true" : "false";
    case ValueType::Color: {
      const Color &color = asColor();
      if (color.components.size() == 4) return formatColor(color.packed());
      std::string text = "color(";
      for (std::size_t i = 0; i < color.components.size(); ++i) {
        char buffer[32];
        std::snprintf(buffer, sizeof buffer, "%s%.9g", i == 0 ? "" : ", ", color.components[i]);
        text += buffer;
      }
      return text + ")";
    }
    case ValueType::String: return "\"" + asString() + "\"";
  }
  return {};
}

CFTypeRef makeCFValue(const SettingValue &value) {
  switch (value.type()) {
    case ValueType::Integer: {
      const std::int64_t number = value.asInteger();
      return CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &number);
    }
    case ValueType::Double: {
      const double number = value.asDouble();
      return CFNumberCreate(kCFAllocatorDefault, kCFNumberFloat64Type, &number);
    }
    case ValueType::Boolean:
      return CFRetain(value.asBoolean() ? kCFBooleanTrue : kCFBooleanFalse);
    case ValueType::Color: {
      const Color &color = value.asColor();
      CGColorSpaceRef space = nullptr;
      if (color.components.size() == 4) space = CGColorSpaceCreateDeviceRGB();
      if (color.components.size() == 2) space = CGColorSpaceCreateDeviceGray();
      if (space == nullptr) return nullptr;
      CGColorRef made = CGColorCreate(space, color.components.data());
      CGColorSpaceRelease(space);
      return made;
    }
    case ValueType::String:
      // A C string ends at a NUL: a string holding one cannot be handed over whole.
      if (value.asString().find('\0') != std::string::npos) return nullptr;
      return CFStringCreateWithCString(kCFAllocatorDefault, value.asString().c_str(), kCFStringEncodingUTF8);
  }
  return nullptr;
}

std::optional<SettingValue> settingValueFromCF(CFTypeRef value) {
  if (value == nullptr) return std::nullopt;
  const CFTypeID type = CFGetTypeID(value);
  if (type == CFNumberGetTypeID()) {
    auto number = static_cast<CFNumberRef>(value);
    if (CFNumberIsFloatType(number)) {
      double result = 0.0;
      CFNumberGetValue(number, kCFNumberFloat64Type, &result);
      return SettingValue(result);
    }
    std::int64_t result = 0;
    CFNumberGetValue(number, kCFNumberSInt64Type, &result);
    return SettingValue(result);
  }
  if (type == CFBooleanGetTypeID()) return SettingValue(CFBooleanGetValue(static_cast<CFBooleanRef>(value)) != 0);
  if (type == CFStringGetTypeID()) {
    auto string = static_cast<CFStringRef>(value);
    if (const char *bytes = CFStringGetCStringPtr(string, kCFStringEncodingUTF8)) return SettingValue(bytes);
    std::string buffer(static_cast<std::size_t>(CFStringGetLength(string)) * 4 + 1, '\0');
    if (!CFStringGetCString(string, buffer.data(), static_cast<CFIndex>(buffer.size()), kCFStringEncodingUTF8))
      return std::nullopt;
    buffer.resize(std::char_traits<char>::length(buffer.c_str()));
    return SettingValue(std::move(buffer));
  }
  if (type == CGColorGetTypeID()) {
    auto color = static_cast<CGColorRef>(const_cast<void *>(value));
    const std::size_t count = CGColorGetNumberOfComponents(color);
    const CGFloat *components = CGColorGetComponents(color);
    if ((count != 2 && count != 4) || components == nullptr) return std::nullopt;
    return SettingValue(Color{std::vector<double>(components, components + count)});
  }
  return std::nullopt;
}

}  // namespace tessivo::host
