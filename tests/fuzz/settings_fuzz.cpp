// The settings path from a project file to a module: JSON text through the
// settings reader, or values made straight from the input, then each value
// through the host's conversion to a CoreFoundation value and back, and
// through every one of the frame's readers. A value must come back as it was
// (a NaN as a NaN), and a clamped read must lie within its bounds.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>

#include "fuzz_input.h"
#include "tessivo/frame/settings_values.h"
#include "tessivo/host/error.h"
#include "tessivo/host/settings_store.h"

namespace {

using tessivo::fuzz::FuzzInput;
using tessivo::host::Color;
using tessivo::host::SettingValue;
using tessivo::host::ValueType;

void Fail(const char *what, const SettingValue &value) {
  std::fprintf(stderr, "%s: %s\n", what, value.toString().c_str());
  std::abort();
}

double Wild(FuzzInput &in) {
  static constexpr double kEdges[] = {std::numeric_limits<double>::quiet_NaN(),
                                      std::numeric_limits<double>::infinity(),
                                      -std::numeric_limits<double>::infinity(), 0.0, -0.0, 1.0, -1.0, 0.5,
                                      4294967295.5, 4294967296.0, -2147483648.5, 9.3e18, -9.3e18, 1e300};
  return in.byte() % 2 == 0 ? kEdges[in.byte() % std::size(kEdges)] : in.wide();
}

SettingValue AnyValue(FuzzInput &in) {
  switch (in.byte() % 5) {
    case 0: return SettingValue(static_cast<int64_t>(uint64_t{in.word()} << 32 | in.word()));
    case 1: return SettingValue(Wild(in));
    case 2: return SettingValue(in.byte() % 2 == 0);
    case 3: {
      Color color{{}};
      const size_t count = in.byte() % 6;
      for (size_t i = 0; i < count; ++i) color.components.push_back(Wild(in));
      return SettingValue(std::move(color));
    }
    default: {
      std::string text(in.byte() % 16, '\0');
      for (char &c : text) c = static_cast<char>(in.byte());
      return SettingValue(std::move(text));
    }
  }
}

bool Same(const SettingValue &a, const SettingValue &b) {
  if (a.type() == ValueType::Double && b.type() == ValueType::Double && std::isnan(a.asDouble()))
    return std::isnan(b.asDouble());
  return a == b;
}

template <typename T>
void ExpectWithin(T value, T low, T high, const SettingValue &from) {
  if (low <= high && (value < low || value > high)) Fail("a clamped read is outside its bounds", from);
}

void Convert(const SettingValue &value, FuzzInput &in) {
  CFTypeRef cf = tessivo::host::makeCFValue(value);
  if (cf == nullptr) return;  // a colour of a component count CoreGraphics cannot make
  const auto back = tessivo::host::settingValueFromCF(cf);
  const bool colour = value.type() == ValueType::Color;  // components come back as CoreGraphics keeps them
  if (!colour && (!back || !Same(*back, value))) Fail("the value did not come back from CoreFoundation", value);

  const double a = Wild(in), b = Wild(in);
  const auto i64 = static_cast<int64_t>(uint64_t{in.word()} << 32 | in.word());
  const uint32_t u32 = in.word(), v32 = in.word();
  tessivo::ReadBoolean(cf, in.byte());
  tessivo::ReadDouble(cf, a);
  const double d = tessivo::ReadDoubleClamped(cf, a, a, b);
  if (!std::isnan(d) && !std::isnan(a) && !std::isnan(b)) ExpectWithin(d, a, b, value);
  tessivo::ReadInt64(cf, i64);
  const int64_t half = i64 / 2;
  ExpectWithin(tessivo::ReadInt64Clamped(cf, i64, -half, half), -half, half, value);
  tessivo::ReadUInt32(cf, u32);
  ExpectWithin(tessivo::ReadUInt32Clamped(cf, u32, u32, v32), u32, v32, value);
  tessivo::ReadInt32(cf, static_cast<int32_t>(u32));
  ExpectWithin(tessivo::ReadInt32Clamped(cf, 0, static_cast<int32_t>(u32), static_cast<int32_t>(v32)),
               static_cast<int32_t>(u32), static_cast<int32_t>(v32), value);
  tessivo::ReadPackedColor(cf, u32);
  float alpha = 0, red = 0, green = 0, blue = 0;
  tessivo::ReadColorComponents(cf, &alpha, &red, &green, &blue);
  CFRelease(cf);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) return 0;
  if (data[0] % 2 == 0) {
    // The rest is a settings file's text.
    const auto document = nlohmann::json::parse(data + 1, data + size, nullptr, false);
    if (document.is_discarded()) return 0;
    tessivo::host::SettingsStore store;
    try {
      store.fromJson(document, "fuzz");
    } catch (const tessivo::host::HostError &) {
      return 0;
    }
    FuzzInput in(data, size);
    for (const std::string &group : store.groups())
      for (const std::string &key : store.keys(group)) Convert(*store.get(group, key), in);
    return 0;
  }
  FuzzInput in(data + 1, size - 1);
  while (!in.empty()) Convert(AnyValue(in), in);
  return 0;
}
