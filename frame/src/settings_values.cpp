// Conversions between the host's CoreFoundation values and plain settings.
#include "tessivo/frame/settings_values.h"

#include <cmath>
#include <cstdio>

namespace tessivo {
namespace {

bool IsNumber(CFTypeRef value) { return CFGetTypeID(value) == CFNumberGetTypeID(); }
bool IsBoolean(CFTypeRef value) { return CFGetTypeID(value) == CFBooleanGetTypeID(); }
bool IsColor(CFTypeRef value) { return CFGetTypeID(value) == CGColorGetTypeID(); }

// The one diagnostic line for a wrongly typed value, then the value itself.
void ReportWrongValue(const char *line, CFTypeRef value) {
  std::puts(line);
  CFShow(value);
}

constexpr uint32_t kColorComponentCount = 4;

// A colour channel: the component times 255 in single precision, truncated
// towards zero. Converting an out-of-range float to unsigned is undefined in
// C++, so the truncation goes through int64 and wraps modulo 2^32 (a negative
// channel keeps its two's-complement bits for the caller's mask); NaN gives
// 0 and magnitudes beyond int64 saturate.
uint32_t ChannelBits(double component) {
  const float scaled = static_cast<float>(component) * 255.0f;
  if (std::isnan(scaled)) return 0;
  constexpr float kInt64Limit = 9223372036854775808.0f;  // 2^63
  if (scaled >= kInt64Limit) return static_cast<uint32_t>(INT64_MAX);
  if (scaled < -kInt64Limit) return static_cast<uint32_t>(INT64_MIN);
  return static_cast<uint32_t>(static_cast<int64_t>(scaled));
}

// The components of a four-component colour, or null after the diagnostic.
const CGFloat *FourComponents(CFTypeRef value) {
  auto color = static_cast<CGColorRef>(const_cast<void *>(value));
  if (CGColorGetNumberOfComponents(color) != kColorComponentCount) {
    ReportWrongValue("Wrong color format", value);
    return nullptr;
  }
  return CGColorGetComponents(color);
}

CGColorRef DeviceRgbColor(float red, float green, float blue, float alpha) {
  const CGFloat components[kColorComponentCount] = {red, green, blue, alpha};
  CGColorSpaceRef space = CGColorSpaceCreateDeviceRGB();
  CGColorRef color = CGColorCreate(space, components);
  CGColorSpaceRelease(space);
  return color;
}

template <typename T>
T Clamp(T value, T minimum, T maximum) {
  if (value < minimum) value = minimum;
  if (value > maximum) value = maximum;  // when minimum > maximum the maximum wins
  return value;
}

// A number converted to T as the host's number type converts it; anything
// else but null is reported and gives the fallback.
template <class T>
T ReadNumber(CFTypeRef value, T fallback, CFNumberType type) {
  if (value == nullptr) return fallback;
  if (!IsNumber(value)) {
    ReportWrongValue("Wrong number value", value);
    return fallback;
  }
  T number{};
  CFNumberGetValue(static_cast<CFNumberRef>(value), type, &number);
  return number;
}

}  // namespace

uint8_t ReadBoolean(CFTypeRef value, uint8_t fallback) {
  if (value == nullptr) return fallback;
  if (IsBoolean(value)) return CFBooleanGetValue(static_cast<CFBooleanRef>(value)) ? 1 : 0;
  if (IsNumber(value)) {
    long number = 0;
    CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberLongType, &number);
    return number != 0 ? 1 : 0;
  }
  ReportWrongValue("Wrong boolean value", value);
  return fallback;
}

double ReadDouble(CFTypeRef value, double fallback) { return ReadNumber(value, fallback, kCFNumberDoubleType); }

double ReadDoubleClamped(CFTypeRef value, double fallback, double minimum, double maximum) {
  return Clamp(ReadDouble(value, fallback), minimum, maximum);
}

int64_t ReadInt64(CFTypeRef value, int64_t fallback) { return ReadNumber(value, fallback, kCFNumberSInt64Type); }

int64_t ReadInt64Clamped(CFTypeRef value, int64_t fallback, int64_t minimum, int64_t maximum) {
  return Clamp(ReadInt64(value, fallback), minimum, maximum);
}

uint32_t ReadUInt32(CFTypeRef value, uint32_t fallback) {
  return static_cast<uint32_t>(ReadInt64(value, static_cast<int64_t>(fallback)));
}

uint32_t ReadUInt32Clamped(CFTypeRef value, uint32_t fallback, uint32_t minimum, uint32_t maximum) {
  return Clamp(ReadUInt32(value, fallback), minimum, maximum);
}

int32_t ReadInt32(CFTypeRef value, int32_t fallback) { return ReadNumber(value, fallback, kCFNumberSInt32Type); }

int32_t ReadInt32Clamped(CFTypeRef value, int32_t fallback, int32_t minimum, int32_t maximum) {
  return Clamp(ReadInt32(value, fallback), minimum, maximum);
}

uint32_t ReadPackedColor(CFTypeRef value, uint32_t fallback) {
  if (value == nullptr) return fallback;
  if (!IsColor(value)) {
    ReportWrongValue("Wrong color type", value);
    return fallback;
  }
  const CGFloat *components = FourComponents(value);
  if (components == nullptr) return fallback;
  const uint32_t red = ChannelBits(components[0]) & 0xFFu;
  const uint32_t green = ChannelBits(components[1]) & 0xFFu;
  const uint32_t blue = ChannelBits(components[2]) & 0xFFu;
  const uint32_t alpha = ChannelBits(components[3]);  // the shift drops its high bits
  return alpha << 24 | red << 16 | green << 8 | blue;
}

void ReadColorComponents(CFTypeRef value, float *alpha, float *red, float *green, float *blue) {
  if (value == nullptr) return;
  if (IsColor(value)) {
    const CGFloat *components = FourComponents(value);
    if (components == nullptr) return;
    if (red != nullptr) *red = static_cast<float>(components[0]);
    if (green != nullptr) *green = static_cast<float>(components[1]);
    if (blue != nullptr) *blue = static_cast<float>(components[2]);
    if (alpha != nullptr) *alpha = static_cast<float>(components[3]);
    return;
  }
  if (IsNumber(value)) {
    // A number stands for white at that opacity.
    if (red != nullptr) *red = 1.0f;
    if (green != nullptr) *green = 1.0f;
    if (blue != nullptr) *blue = 1.0f;
    float opacity = 0.0f;
    CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberFloatType, &opacity);
    if (alpha != nullptr) *alpha = opacity;
    return;
  }
  ReportWrongValue("Wrong color type", value);
}

CFBooleanRef MakeBoolean(uint8_t flag) { return flag != 0 ? kCFBooleanTrue : kCFBooleanFalse; }

CFNumberRef MakeInt64(int64_t value) { return CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &value); }

CFNumberRef MakeUInt32(uint32_t value) {
  const int64_t widened = value;  // keeps values above 2^31 positive
  return CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &widened);
}

CFNumberRef MakeInt32(int32_t value) { return CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &value); }

CFNumberRef MakeDouble(double value) { return CFNumberCreate(kCFAllocatorDefault, kCFNumberDoubleType, &value); }

CGColorRef MakePackedColor(uint32_t argb) {
  constexpr float kByteScale = 0.003921569f;  // 1/255
  const auto channel = [](uint32_t byte) { return static_cast<float>(byte & 0xFFu) * kByteScale; };
  return DeviceRgbColor(channel(argb >> 16), channel(argb >> 8), channel(argb), channel(argb >> 24));
}

CGColorRef MakeColor(float alpha, float red, float green, float blue) {
  return DeviceRgbColor(red, green, blue, alpha);
}

}  // namespace tessivo
