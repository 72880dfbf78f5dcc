// Module discovery against the real bundle, and turning KEY=VALUE into
// the typed values the modules expect.
#include <climits>
#include <functional>

#include "host_test_support.h"
#include "tessivo/host/instance.h"
#include "tessivo/host/module_discovery.h"

namespace tessivo::host {
namespace {

using testing::errorOf;

TEST(ModuleDiscovery, FaderDescribesItsSettingsAndPanel) {
  auto bundle = testing::loadBundle();
  auto fader = Instance::create(*bundle, FourCC("fadr"));
  const SettingsDescription settings = describeSettings(*fader);
  ASSERT_TRUE(settings.saved && settings.group == "Fader" && settings.settings.size() == 1u);
  EXPECT_TRUE(settings.settings[0].key == "Fade Color" && settings.settings[0].defaultValue == SettingValue(std::int64_t{0}));
  const PanelDescription panel = describePanel(*fader);
  const PanelControlModel *alpha = panel.findControl("fade alpha");
  ASSERT_TRUE(panel.available && alpha != nullptr);
  EXPECT_TRUE(alpha->kind == ControlKind::NumberField && alpha->minimum == 0 && alpha->maximum == 255);
  const SettingAssignment assignment = parseSettingAssignment("fade color = #ff880080", settings, panel);
  EXPECT_TRUE(assignment.key == "Fade Color" && assignment.value == SettingValue(std::int64_t{0x80FF8800}));
  EXPECT_NE(errorOf([&] { parseSettingAssignment("Speed=1", settings, panel); }).find("unknown setting (known: Fade Color)"),
            std::string::npos);
}

// Conversions by the described type, popup labels and number ranges included.
TEST(ModuleDiscovery, AssignmentsFollowTheDescribedTypes) {
  SettingsDescription settings;
  settings.settings = {{"Mode", std::int64_t{0}},  {"Line Width", std::int64_t{1}}, {"Amount", 0.5},
                       {"Blend Alpha", false}, {"ForeColor", Color::fromPacked(0xFF000000)},
                       {"Count", std::int64_t{0}}, {"Fade Color", std::int64_t{0}, true}};
  PanelDescription panel;
  panel.controls.resize(2);
  panel.controls[0].kind = ControlKind::Popup, panel.controls[0].caption = "Mode";
  panel.controls[0].entries = {{"Always", 0, 0, 0}, {"Realistic", 1, 0, 0}};
  panel.controls[1].kind = ControlKind::NumberField, panel.controls[1].caption = "Line Width";
  panel.controls[1].minimum = 1, panel.controls[1].maximum = 100;
  const std::pair<const char *, SettingValue> good[] = {
      {"mode=realistic", std::int64_t{1}}, {"Mode=0", std::int64_t{0}},     {"Line Width=100", std::int64_t{100}},
      {"Amount=-2.5e-1", -0.25},           {"Blend Alpha=ON", true},        {"ForeColor=#ff8800", Color::fromPacked(0xFFFF8800)},
      // Colours: #RRGGBB is opaque, #RRGGBBAA in CSS order, names, and the packed word for scripts.
      {"ForeColor=#FF880080", Color::fromPacked(0x80FF8800)}, {"ForeColor=White", Color::fromPacked(0xFFFFFFFF)},
      {"ForeColor=0x80ff8800", Color::fromPacked(0x80FF8800)}, {"Fade Color=#11223344", std::int64_t{0x44112233}},
      {"Fade Color=transparent black", std::int64_t{0}},      {"Fade Color=4278190080", std::int64_t{0xFF000000}},
      // Integers fill the modules' 32-bit fields, signed or not.
      {"Count=4294967295", std::int64_t{0xFFFFFFFF}},         {"Count=-2147483648", std::int64_t{INT32_MIN}}};
  for (const auto &[text, value] : good) EXPECT_EQ(parseSettingAssignment(text, settings, panel).value, value) << text;
  const std::pair<const char *, const char *> bad[] = {
      {"Mode=Sometimes", "is not one of: Always, Realistic"}, {"Line Width=101", "outside 1..100"},
      {"Amount=fast", "not a number"},      {"Blend Alpha=2", "not on or off"},
      {"ForeColor=#ff88", "not a colour"},  {"Mode", "expected KEY=VALUE"},
      {"ForeColor=#ff88000", "not a colour"},        {"Fade Color=-1", "does not fit a packed colour"},
      {"Fade Color=4294967296", "does not fit"},     {"Count=4294967296", "does not fit"},
      {"Count=-2147483649", "does not fit"},         {"Count=99999999999999999999", "does not fit"},
      {"Mdoe=1", "did you mean \"Mode\""}};
  for (const auto &[text, reason] : bad)
    EXPECT_NE(errorOf([&] { parseSettingAssignment(text, settings, panel); }).find(reason), std::string::npos) << text;
}

// A settings group is checked as the module will read it, with the same words as a bad KEY=VALUE.
TEST(ModuleDiscovery, SettingsGroupsAreCheckedKeyByKey) {
  SettingsDescription settings;
  settings.group = "Stripizator";
  settings.settings = {{"Max Radius", 7.0}, {"ForeColor", Color::fromPacked(0xFF000000)}, {"Mode", std::int64_t{1}}};
  const std::pair<std::function<void(SettingsStore &)>, const char *> cases[] = {
      {[](SettingsStore &s) { s.set("Stripizator", "Max Radius", std::int64_t{3}); }, nullptr},  // an integer serves a double
      {[](SettingsStore &s) { s.set("Other", "Anything", "x"); }, nullptr},                        // other groups are not its business
      {[](SettingsStore &s) { s.set("Stripizator", "Max Radus", 3.0); }, "key \"Max Radus\": unknown setting (did you mean \"Max Radius\"?)"},
      {[](SettingsStore &s) { s.set("Stripizator", "max radius", 3.0); }, "key \"max radius\": unknown setting (did you mean \"Max Radius\"?)"},
      {[](SettingsStore &s) { s.set("Stripizator", "Mode", 1.5); }, "key \"Mode\": expected integer, found double 1.5"},
      {[](SettingsStore &s) { s.set("Stripizator", "Mode", std::int64_t{1} << 33); }, "key \"Mode\": 8589934592 does not fit"},
      {[](SettingsStore &s) { s.set("Stripizator", "ForeColor", std::int64_t{5}); }, "key \"ForeColor\": expected color, found integer 5"},
      {[](SettingsStore &s) { s.set("Stripizator", "ForeColor", Color{{0.5, 1.0}}); }, "key \"ForeColor\": expected a colour with red"}};
  for (const auto &[fill, reason] : cases) {
    SettingsStore store;
    fill(store);
    const std::string message = errorOf([&] { checkSettingsGroup(store, settings, "settings file s.json"); });
    if (reason == nullptr)
      EXPECT_EQ(message, "no error");
    else
      EXPECT_NE(message.find(std::string("settings file s.json: group \"Stripizator\" ") + reason), std::string::npos) << message;
  }
}

}  // namespace
}  // namespace tessivo::host
