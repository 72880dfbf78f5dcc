// The settings group helpers and the modal panel over the host's tables.
#include <gtest/gtest.h>

#include "tessivo/frame/panel.h"
#include "tessivo/frame/settings_store.h"
#include "tessivo/host/scripted_panel.h"
#include "tessivo/host/settings_store.h"

using namespace tessivo;
using host::ScriptedPanel;
using host::SettingValue;

namespace {

TEST(SettingsStore, WritesAndReadsBackAGroup) {
  host::SettingsStore store;
  {
    SettingsWriter writer(store.table(), "Fader");
    ASSERT_TRUE(writer);
    writer.writeUInt32("Fade Color", 0xFF102030u);
    writer.writeInt64("Count", -2);
    writer.writeDouble("Radius", 1.25);
    writer.writeBoolean("Moving", true);
    writer.writePackedColor("ForeColor", 0x80FF8000u);
  }
  EXPECT_EQ(store.get("Fader", "Fade Color"), SettingValue(int64_t{0xFF102030}));  // not sign-extended
  SettingsReader reader(store.table(), "Fader");
  ASSERT_TRUE(reader);
  EXPECT_EQ(reader.readUInt32("Fade Color", 0), 0xFF102030u);
  EXPECT_EQ(reader.readInt64("Count", 0), -2);
  EXPECT_EQ(reader.readDouble("Radius", 0), 1.25);
  EXPECT_TRUE(reader.readBoolean("Moving", false));
  EXPECT_EQ(reader.readPackedColor("ForeColor", 0), 0x80FF8000u);
  EXPECT_EQ(reader.readDouble("Missing", 4.5), 4.5);

  EXPECT_FALSE(SettingsReader(store.table(), "Blur"));  // no such group
  EXPECT_FALSE(SettingsWriter(nullptr, "Fader"));
  SettingsTable refusing = *store.table();
  refusing.OpenGroupForWriting = [](void *, const char *) -> SettingsGroup * { return nullptr; };
  SettingsWriter refused(&refusing, "Blur");
  EXPECT_FALSE(refused);
  refused.writeInt64("Count", 1);
  EXPECT_FALSE(store.hasGroup("Blur"));
}

TEST(Panel, BuildsControlsAndRunsUntilOkOrCancel) {
  ScriptedPanel host;
  int owner = 0;
  {
    Panel panel(host.table(), &owner, 200, 140);
    ASSERT_TRUE(panel);
    EXPECT_TRUE(panel.addStaticText("Mode :", 20, 20, 100, 20));
    PanelControl *popup = panel.addPopup(120, 16, 80, 26, {{"One", 1}, {"Two", 2, 5, 6}}, 2);
    ASSERT_NE(popup, nullptr);
    PanelControl *number = panel.addNumberField(120, 46, 40, 26, 7, 0, 255, 4, 0);
    host.hit(5).set("#3", "99").ok();
    EXPECT_TRUE(panel.run());
    EXPECT_EQ(panel.value(popup), 2);
    EXPECT_EQ(panel.value(number), 99);
    panel.close();
    panel.close();
  }
  const host::PanelModel &model = host.model();
  EXPECT_EQ(model.closeCalls, 1u);  // closed once, not again by the destructor
  EXPECT_TRUE(model.shown);
  EXPECT_EQ(model.owner, &owner);
  EXPECT_EQ(model.rect, (host::PanelRect{-32768, -32768, 200, 140}));
  ASSERT_EQ(model.controls.size(), 3u);
  EXPECT_EQ(model.controls[1].entries, (std::vector<host::PopupEntry>{{"One", 1, 0, 0}, {"Two", 2, 5, 6}}));
  EXPECT_EQ(model.controls[1].value, 2);  // selected, not the first entry

  ScriptedPanel cancelled;
  {
    Panel panel(cancelled.table(), nullptr, 10, 10);
    cancelled.hit(3).cancel().ok();
    EXPECT_FALSE(panel.run());
  }
  EXPECT_EQ(cancelled.model().hitItems, (std::vector<int32_t>{3, 2}));
  EXPECT_EQ(cancelled.model().closeCalls, 1u);  // the destructor closes an open panel
}

TEST(Panel, OkWaitsForTheDialogCheckAndFailuresAreReported) {
  ScriptedPanel host;
  {
    Panel panel(host.table(), nullptr, 10, 10);
    host.ok().ok().checkAnswers({1, 0});
    EXPECT_TRUE(panel.run(true));
  }
  EXPECT_EQ(host.model().hitItems.size(), 2u);
  EXPECT_EQ(host.model().checkCalls, 2u);

  ScriptedPanel failing;
  failing.failControlCreation(1);
  Panel partial(failing.table(), nullptr, 10, 10);
  EXPECT_TRUE(partial.addButton("OK", 0, 0, 10, 10, 1));
  EXPECT_FALSE(partial.addButton("Cancel", 0, 0, 10, 10, 2));
  EXPECT_EQ(partial.addCheckBox("On", 0, 0, 10, 10, true), reinterpret_cast<PanelControl *>(2));

  ScriptedPanel refusing;
  refusing.failDialogCreation();
  Panel none(refusing.table(), nullptr, 10, 10);
  EXPECT_FALSE(none);
  EXPECT_EQ(none.addColorButton(0, 0, 1, 1, 0, "t"), nullptr);
  EXPECT_FALSE(none.run());
  none.close();
  EXPECT_EQ(refusing.model().closeCalls, 0u);
  EXPECT_TRUE(refusing.model().hitItems.empty());
}

}  // namespace
