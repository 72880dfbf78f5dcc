// Module discovery against the real bundle, and turning KEY=VALUE into
// the typed values the modules expect.
#include <gtest/gtest.h>

#include <marlix/fourcc.h>

#include "host_test_support.h"
#include "tessivo/host/error.h"
#include "tessivo/host/instance.h"
#include "tessivo/host/module_discovery.h"

using namespace tessivo::host;

namespace {

std::string assignmentError(std::string_view text, const SettingsDescription &settings,
                            const PanelDescription &panel) {
  try {
    parseSettingAssignment(text, settings, panel);
  } catch (const HostError &e) {
    return e.what();
  }
  return "no error";
}

}  // namespace

TEST(ModuleDiscovery, FaderDescribesItsSettingsAndPanel) {
  auto bundle = tessivo::host::testing::loadBundle();
  auto fader = Instance::create(*bundle, FourCC("fadr"));

  const SettingsDescription settings = describeSettings(*fader);
  EXPECT_TRUE(settings.saved);
  EXPECT_EQ(settings.group, "Fader");
  ASSERT_EQ(settings.settings.size(), 1u);
  EXPECT_EQ(settings.settings[0].key, "Fade Color");
  EXPECT_EQ(settings.settings[0].defaultValue, SettingValue(std::int64_t{0}));

  const PanelDescription panel = describePanel(*fader);
  ASSERT_TRUE(panel.available);
  EXPECT_EQ(panel.rect.x, kPanelDefaultPosition);
  const PanelControlModel *alpha = panel.findControl("fade alpha");
  ASSERT_NE(alpha, nullptr);
  EXPECT_EQ(alpha->kind, ControlKind::NumberField);
  EXPECT_EQ(alpha->minimum, 0);
  EXPECT_EQ(alpha->maximum, 255);
  const PanelControlModel *colour = panel.findControl("Fade color");
  ASSERT_NE(colour, nullptr);
  EXPECT_EQ(colour->kind, ControlKind::ColorButton);

  // A user's value reaches the module and comes back through its own save.
  const SettingAssignment assignment = parseSettingAssignment("fade color = #80ff8800", settings, panel);
  EXPECT_EQ(assignment.key, "Fade Color");
  SettingsStore store;
  store.set(settings.group, assignment.key, assignment.value);
  ASSERT_TRUE(fader->load(store.table()));
  SettingsStore saved;
  ASSERT_TRUE(fader->save(saved.table()));
  EXPECT_EQ(saved.get("Fader", "Fade Color")->asInteger(), 0x80FF8800);

  EXPECT_NE(assignmentError("Speed=1", settings, panel).find("unknown setting (known: Fade Color)"),
            std::string::npos);
  EXPECT_NE(assignmentError("Fade Color=pink", settings, panel).find("not a whole number"), std::string::npos);
}

// Conversions by the described type, popup labels and number ranges included.
TEST(ModuleDiscovery, AssignmentsFollowTheDescribedTypes) {
  SettingsDescription settings;
  settings.group = "Shake";
  settings.settings = {{"Mode", std::int64_t{0}},
                       {"Line Width", std::int64_t{1}},
                       {"Amount", 0.5},
                       {"Blend Alpha", false},
                       {"ForeColor", Color::fromPacked(0xFF000000)}};
  PanelDescription panel;
  PanelControlModel mode;
  mode.kind = ControlKind::Popup;
  mode.caption = "Mode";
  mode.entries = {{"Always", 0, 0, 0}, {"Realistic", 1, 0, 0}};
  PanelControlModel width;
  width.kind = ControlKind::NumberField;
  width.caption = "Line Width";
  width.minimum = 1;
  width.maximum = 100;
  panel.controls = {mode, width};

  EXPECT_EQ(parseSettingAssignment("mode=realistic", settings, panel).value.asInteger(), 1);
  EXPECT_EQ(parseSettingAssignment("Mode=0", settings, panel).value.asInteger(), 0);
  EXPECT_EQ(parseSettingAssignment("Line Width=100", settings, panel).value.asInteger(), 100);
  EXPECT_EQ(parseSettingAssignment("Amount=-2.5e-1", settings, panel).value.asDouble(), -0.25);
  EXPECT_TRUE(parseSettingAssignment("Blend Alpha=ON", settings, panel).value.asBoolean());
  EXPECT_EQ(parseSettingAssignment("ForeColor=#ff8800", settings, panel).value.asColor().packed(), 0xFFFF8800u);

  EXPECT_NE(assignmentError("Mode=Sometimes", settings, panel).find("is not one of: Always, Realistic"),
            std::string::npos);
  EXPECT_NE(assignmentError("Line Width=101", settings, panel).find("outside 1..100"), std::string::npos);
  EXPECT_NE(assignmentError("Amount=fast", settings, panel).find("not a number"), std::string::npos);
  EXPECT_NE(assignmentError("Blend Alpha=2", settings, panel).find("not on or off"), std::string::npos);
  EXPECT_NE(assignmentError("ForeColor=#ff88", settings, panel).find("not a colour"), std::string::npos);
  EXPECT_NE(assignmentError("Mode", settings, panel).find("expected KEY=VALUE"), std::string::npos);
}
