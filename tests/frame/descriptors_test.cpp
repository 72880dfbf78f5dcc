// Every module's descriptor and port layout against the port table.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tessivo/frame/module_descriptors.h"
#include "tessivo/frame/records.h"

using tessivo::FindModuleDescription;

namespace {

struct ExpectedPort {
  uint32_t direction;
  const char *type;  // null for a blank row
  uint32_t kind;
  int32_t x, y;
  const char *longName;
  const char *shortName;
};

const ExpectedPort kIn = {0, "imag", 0, 5, 5, "Image Input", "In"};
const ExpectedPort kOnOff = {0, "ddes", 2, 5, 25, "Enable Input", "On/Off"};
const ExpectedPort kOut = {1, "imag", 0, 81, 5, "Image Output", "Out"};
const ExpectedPort kX = {0, "ctrl", 1, 5, 45, "X Controller", "X"};
const ExpectedPort kY = {0, "ctrl", 1, 5, 60, "Y Controller", "Y"};
const ExpectedPort kBlank = {0, nullptr, 0, 0, 0, nullptr, nullptr};
ExpectedPort Value(int32_t y, const char *longName, const char *shortName) {
  return {0, "ctrl", 2, 5, y, longName, shortName};
}

struct ExpectedModule {
  const char *code;
  const char *layoutName;
  std::vector<ExpectedPort> ports;
};

std::string Text(const char *text) { return text != nullptr ? text : "<null>"; }

uint32_t Code(const char *text) {
  return uint32_t{uint8_t(text[0])} << 24 | uint32_t{uint8_t(text[1])} << 16 | uint32_t{uint8_t(text[2])} << 8 |
         uint8_t(text[3]);
}

TEST(Descriptors, EveryModuleMatchesItsPortTable) {
  const std::vector<ExpectedModule> modules = {
      {"blur", "Blur", {kIn, kOnOff, kX, kY, kOut}},
      {"dfsn", nullptr, {kIn, kOnOff, Value(45, "Strength Input", "Strength"), kOut}},
      {"embs", nullptr, {kIn, kOnOff, kOut, kBlank, kBlank}},
      {"fadr", nullptr, {kIn, kOnOff, Value(45, "Fade Input", "Fade"), kOut}},
      {"flsh", nullptr, {kIn, kOnOff, kOut}},
      {"iris", nullptr, {kIn, kOnOff, kX, kY, kOut}},
      {"jshn", nullptr, {kIn, kOnOff, Value(45, "Strength Input", "Strength"), kOut}},
      {"kgmi", nullptr, {kIn, kOnOff, Value(45, "Strength Input", "Strength"), kOut}},
      {"lnlz", nullptr, {kIn, kOnOff, Value(45, "Speed Controller", "Speed"), kOut}},
      {"pixx", nullptr, {kIn, kOnOff, kX, kY, kOut}},
      {"strp", "Stripizator",
       {kIn, kOnOff, Value(45, "Radius Controller", "Radius"), Value(60, "Stripes Width Controller", "Width"), kOut}},
  };
  for (const ExpectedModule &module : modules) {
    SCOPED_TRACE(module.code);
    const tessivo::ModuleDescription *description = FindModuleDescription(Code(module.code));
    ASSERT_NE(description, nullptr);
    const auto count = static_cast<uint32_t>(module.ports.size());
    EXPECT_EQ(description->descriptor.code, Code(module.code));
    EXPECT_EQ(description->descriptor.portCount, count);
    EXPECT_EQ(description->layout.portCount, count);
    if (module.layoutName == nullptr) {
      EXPECT_EQ(description->layout.name, nullptr);
    } else {
      ASSERT_NE(description->layout.name, nullptr);
      CFStringRef want = CFStringCreateWithCString(kCFAllocatorDefault, module.layoutName, kCFStringEncodingUTF8);
      EXPECT_EQ(CFStringCompare(description->layout.name, want, 0), kCFCompareEqualTo);
      CFRelease(want);
    }
    int outputs = 0;
    for (uint32_t i = 0; i < count; ++i) {
      const ExpectedPort &want = module.ports[i];
      const PortTypeEntry &type = description->descriptor.portTypes[i];
      const PortDescriptor &port = description->layout.ports[i];
      const int32_t side = want.longName != nullptr ? 10 : 0;
      EXPECT_EQ((std::vector<int64_t>{type.direction, type.type, port.kind, port.x, port.y, port.width, port.height}),
                (std::vector<int64_t>{want.direction, want.type != nullptr ? Code(want.type) : 0u, want.kind, want.x,
                                      want.y, side, side})) << i;
      EXPECT_EQ(Text(port.longName) + "/" + Text(port.shortName), Text(want.longName) + "/" + Text(want.shortName)) << i;
      outputs += type.direction == 1 ? 1 : 0;
    }
    EXPECT_EQ(outputs, 1);
  }
  EXPECT_EQ(FindModuleDescription(Code("zzzz")), nullptr);
}

TEST(Records, HeadersAndDescriptorPublication) {
  const uint32_t fader = Code("fadr");
  int probe = 0;
  const InstanceInfoRecord info = tessivo::MakeInstanceInfoRecord(fader);
  EXPECT_EQ(info.layout, &FindModuleDescription(fader)->layout);
  EXPECT_EQ(info.passThrough(&probe), &probe);
  const SettingsSaveRecord save = tessivo::MakeSettingsSaveRecord(fader, nullptr, nullptr, &probe);
  EXPECT_EQ(save.settings, &probe);
  const OutputCacheRecord cache = tessivo::MakeOutputCacheRecord(fader, &probe, nullptr, nullptr, nullptr, nullptr);
  EXPECT_EQ(cache.instance, &probe);
  const RecordHeader headers[] = {info.header, save.header, tessivo::MakeParameterRecord(&probe).header,
                                  tessivo::MakeSettingsDialogRecord(fader, nullptr, &probe).header, cache.header};
  // {kind, owner, version, count}
  const std::vector<std::vector<int64_t>> expected = {{Code("iinf"), fader, 1, 1}, {Code("isav"), fader, 1, 1},
                                                      {Code("ctrl"), Code("iprm"), 2, 1}, {Code("isdl"), fader, 2, 1},
                                                      {Code("effs"), fader, 2, 1}};
  for (size_t i = 0; i < expected.size(); ++i) {
    const RecordHeader &h = headers[i];
    EXPECT_EQ((std::vector<int64_t>{h.kind, h.owner, h.version, h.count}), expected[i]) << i;
  }

  ModuleClassRecord classRecord{};
  tessivo::PublishDescriptor(&classRecord, Code("kgmi"));
  EXPECT_EQ(classRecord.descriptor, &FindModuleDescription(Code("kgmi"))->descriptor);
  tessivo::PublishDescriptor(nullptr, Code("kgmi"));  // tolerated
}

}  // namespace
