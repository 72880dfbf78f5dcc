// Every module's descriptor and port layout against the port table.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tessivo/frame/module_descriptors.h"
#include "tessivo/frame/records.h"

using tessivo::FindModuleDescription;

namespace {

struct ExpectedPort {
  uint32_t direction, type, kind;  // type 0 for a blank row
  int32_t x, y;
  const char *longName, *shortName;
};

const ExpectedPort kIn = {0, FourCC("imag"), 0, 5, 5, "Image Input", "In"};
const ExpectedPort kOnOff = {0, FourCC("ddes"), 2, 5, 25, "Enable Input", "On/Off"};
const ExpectedPort kOut = {1, FourCC("imag"), 0, 81, 5, "Image Output", "Out"};
const ExpectedPort kX = {0, FourCC("ctrl"), 1, 5, 45, "X Controller", "X"};
const ExpectedPort kY = {0, FourCC("ctrl"), 1, 5, 60, "Y Controller", "Y"};
const ExpectedPort kBlank = {0, 0, 0, 0, 0, nullptr, nullptr};
const ExpectedPort kStrength = {0, FourCC("ctrl"), 2, 5, 45, "Strength Input", "Strength"};

std::string Text(const char *text) { return text != nullptr ? text : "<null>"; }
std::string Text(CFStringRef text) {
  char buffer[64] = "<null>";
  if (text != nullptr) CFStringGetCString(text, buffer, sizeof buffer, kCFStringEncodingUTF8);
  return buffer;
}

TEST(Descriptors, EveryModuleMatchesItsPortTable) {
  const struct {
    uint32_t code;
    const char *layoutName;
    std::vector<ExpectedPort> ports;
  } modules[] = {
      {FourCC("blur"), "Blur", {kIn, kOnOff, kX, kY, kOut}},
      {FourCC("dfsn"), nullptr, {kIn, kOnOff, kStrength, kOut}},
      {FourCC("embs"), nullptr, {kIn, kOnOff, kOut, kBlank, kBlank}},
      {FourCC("fadr"), nullptr, {kIn, kOnOff, {0, FourCC("ctrl"), 2, 5, 45, "Fade Input", "Fade"}, kOut}},
      {FourCC("flsh"), nullptr, {kIn, kOnOff, kOut}},
      {FourCC("iris"), nullptr, {kIn, kOnOff, kX, kY, kOut}},
      {FourCC("jshn"), nullptr, {kIn, kOnOff, kStrength, kOut}},
      {FourCC("kgmi"), nullptr, {kIn, kOnOff, kStrength, kOut}},
      {FourCC("lnlz"), nullptr, {kIn, kOnOff, {0, FourCC("ctrl"), 2, 5, 45, "Speed Controller", "Speed"}, kOut}},
      {FourCC("pixx"), nullptr, {kIn, kOnOff, kX, kY, kOut}},
      {FourCC("strp"), "Stripizator", {kIn, kOnOff, {0, FourCC("ctrl"), 2, 5, 45, "Radius Controller", "Radius"},
                                       {0, FourCC("ctrl"), 2, 5, 60, "Stripes Width Controller", "Width"}, kOut}},
  };
  for (const auto &module : modules) {
    SCOPED_TRACE(module.code);
    const tessivo::ModuleDescription *description = FindModuleDescription(module.code);
    ASSERT_NE(description, nullptr);
    const auto count = static_cast<uint32_t>(module.ports.size());
    EXPECT_EQ((std::vector<uint32_t>{description->descriptor.code, description->descriptor.portCount,
                                     description->layout.portCount}),
              (std::vector<uint32_t>{module.code, count, count}));
    EXPECT_EQ(Text(description->layout.name), Text(module.layoutName));
    int outputs = 0;
    for (uint32_t i = 0; i < count; ++i) {
      const ExpectedPort &want = module.ports[i];
      const PortTypeEntry &type = description->descriptor.portTypes[i];
      const PortDescriptor &port = description->layout.ports[i];
      const int32_t side = want.longName != nullptr ? 10 : 0;
      EXPECT_EQ((std::vector<int64_t>{type.direction, type.type, port.kind, port.x, port.y, port.width, port.height}),
                (std::vector<int64_t>{want.direction, want.type, want.kind, want.x, want.y, side, side})) << i;
      EXPECT_EQ(Text(port.longName) + "/" + Text(port.shortName), Text(want.longName) + "/" + Text(want.shortName)) << i;
      outputs += type.direction == 1 ? 1 : 0;
    }
    EXPECT_EQ(outputs, 1);
  }
  EXPECT_EQ(FindModuleDescription(FourCC("zzzz")), nullptr);
}

}  // namespace
