// Module discovery against the real bundle, and turning KEY=VALUE into
// the typed values the modules expect.
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
  const SettingAssignment assignment = parseSettingAssignment("fade color = #80ff8800", settings, panel);
  EXPECT_TRUE(assignment.key == "Fade Color" && assignment.value == SettingValue(std::int64_t{0x80FF8800}));
  EXPECT_NE(errorOf([&] { parseSettingAssignment("Speed=1", settings, panel); }).find("unknown setting (known: Fade Color)"),
            std::string::npos);
}

// Conversions by the described type, popup labels and number ranges included.
TEST(ModuleDiscovery, AssignmentsFollowTheDescribedTypes) {
  SettingsDescription settings;
  settings.settings = {{"Mode", std::int64_t{0}},  {"Line Width", std::int64_t{1}}, {"Amount", 0.5},
                       {"Blend Alpha", false}, {"ForeColor", Color::fromPacked(0xFF000000)}};
  PanelDescription panel;
  panel.controls.resize(2);
  panel.controls[0].kind = ControlKind::Popup, panel.controls[0].caption = "Mode";
  panel.controls[0].entries = {{"Always", 0, 0, 0}, {"Realistic", 1, 0, 0}};
  panel.controls[1].kind = ControlKind::NumberField, panel.controls[1].caption = "Line Width";
  panel.controls[1].minimum = 1, panel.controls[1].maximum = 100;
  const std::pair<const char *, SettingValue> good[] = {
      {"mode=realistic", std::int64_t{1}}, {"Mode=0", std::int64_t{0}},     {"Line Width=100", std::int64_t{100}},
      {"Amount=-2.5e-1", -0.25},           {"Blend Alpha=ON", true},        {"ForeColor=#ff8800", Color::fromPacked(0xFFFF8800)}};
  for (const auto &[text, value] : good) EXPECT_EQ(parseSettingAssignment(text, settings, panel).value, value) << text;
  const std::pair<const char *, const char *> bad[] = {
      {"Mode=Sometimes", "is not one of: Always, Realistic"}, {"Line Width=101", "outside 1..100"},
      {"Amount=fast", "not a number"},      {"Blend Alpha=2", "not on or off"},
      {"ForeColor=#ff88", "not a colour"},  {"Mode", "expected KEY=VALUE"}};
  for (const auto &[text, reason] : bad)
    EXPECT_NE(errorOf([&] { parseSettingAssignment(text, settings, panel); }).find(reason), std::string::npos) << text;
}

}  // namespace
}  // namespace tessivo::host
