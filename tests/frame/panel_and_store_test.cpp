// The settings group helpers and the modal panel over the host's tables.
#include <gtest/gtest.h>

#include <string>

#include "tessivo/frame/panel.h"
#include "tessivo/frame/settings_store.h"
#include "tessivo/test/call_log.h"
#include "tessivo/test/memory_settings.h"
#include "tessivo/test/scripted_panel.h"

using namespace tessivo;
using tessivo::test::CallLog;
using tessivo::test::MemorySettings;
using tessivo::test::ScriptedPanel;

namespace {

TEST(SettingsStore, WritesAndReadsBackAGroup) {
  CallLog log;
  MemorySettings store(log);
  {
    SettingsWriter writer(store.table(), "Fader");
    ASSERT_TRUE(writer);
    writer.writeUInt32("Fade Color", 0xFF102030u);
    writer.writeInt64("Count", -2);
    writer.writeDouble("Radius", 1.25);
    writer.writeBoolean("Moving", true);
    writer.writePackedColor("ForeColor", 0x80FF8000u);
  }
  EXPECT_EQ(CFNumberGetType(static_cast<CFNumberRef>(store.value("Fader", "Fade Color"))), kCFNumberSInt64Type);
  SettingsReader reader(store.table(), "Fader");
  ASSERT_TRUE(reader);
  EXPECT_EQ(reader.readUInt32("Fade Color", 0), 0xFF102030u);
  EXPECT_EQ(reader.readInt64("Fade Color", 0), int64_t{0xFF102030});
  EXPECT_EQ(reader.readInt64("Count", 0), -2);
  EXPECT_EQ(reader.readDouble("Radius", 0), 1.25);
  EXPECT_TRUE(reader.readBoolean("Moving", false));
  EXPECT_EQ(reader.readPackedColor("ForeColor", 0), 0x80FF8000u);
  EXPECT_EQ(reader.readDouble("Missing", 4.5), 4.5);

  EXPECT_FALSE(SettingsReader(store.table(), "Blur"));  // no such group
  store.refuseGroups = true;
  SettingsWriter refused(store.table(), "Fader");
  EXPECT_FALSE(refused);
  log.clear();
  refused.writeInt64("Count", 1);
  EXPECT_EQ(log.count("SetValue"), 0u);
  EXPECT_FALSE(SettingsWriter(nullptr, "Fader"));
}

TEST(Panel, BuildsControlsAndRunsUntilOkOrCancel) {
  CallLog log;
  ScriptedPanel host(log);
  int owner = 0;
  {
    Panel panel(host.table(), &owner, 200, 140);
    ASSERT_TRUE(panel);
    EXPECT_TRUE(panel.addStaticText("Mode :", 20, 20, 100, 20));
    PanelControl *popup = panel.addPopup(120, 16, 80, 26, {{"One", 1}, {"Two", 2, 5, 6}}, 2);
    ASSERT_NE(popup, nullptr);
    PanelControl *number = panel.addNumberField(120, 46, 40, 26, 7, 0, 255, 4, 0);
    host.hits = {5, 1};
    host.answers[2] = 99;
    EXPECT_TRUE(panel.run());
    EXPECT_EQ(panel.value(popup), 2);
    EXPECT_EQ(panel.value(number), 99);
    panel.close();
    panel.close();
  }
  EXPECT_EQ(host.closed, 1);  // closed once, not again by the destructor
  EXPECT_EQ(host.owner, &owner);
  EXPECT_EQ(host.dialogX, -32768);
  EXPECT_EQ(host.dialogY, -32768);
  EXPECT_EQ(host.dialogWidth, 200);
  ASSERT_EQ(host.controls.size(), 3u);
  EXPECT_EQ(host.controls[1].entries, (std::vector<std::pair<std::string, int32_t>>{{"One", 1}, {"Two", 2}}));
  EXPECT_EQ(log.named("AddPopupEntry")[1].args, (std::vector<uintptr_t>{2, 5, 6}));
  EXPECT_EQ(host.shown, 1);

  ScriptedPanel cancelled(log);
  {
    Panel panel(cancelled.table(), nullptr, 10, 10);
    cancelled.hits = {3, 2, 1};
    EXPECT_FALSE(panel.run());
  }
  EXPECT_EQ(cancelled.closed, 1);  // the destructor closes an open panel
  EXPECT_EQ(cancelled.hits.size(), 1u);
}

TEST(Panel, OkWaitsForTheDialogCheckAndFailuresAreReported) {
  CallLog log;
  ScriptedPanel host(log);
  Panel panel(host.table(), nullptr, 10, 10);
  host.hits = {1, 1};
  host.checks = {1, 0};
  EXPECT_TRUE(panel.run(true));
  EXPECT_TRUE(host.hits.empty());
  EXPECT_EQ(log.count("CheckDialog"), 2u);

  ScriptedPanel failing(log);
  failing.failAtControl = 1;
  Panel partial(failing.table(), nullptr, 10, 10);
  EXPECT_TRUE(partial.addButton("OK", 0, 0, 10, 10, 1));
  EXPECT_FALSE(partial.addButton("Cancel", 0, 0, 10, 10, 2));
  EXPECT_EQ(partial.addCheckBox("On", 0, 0, 10, 10, true), reinterpret_cast<PanelControl *>(2));

  ScriptedPanel refusing(log);
  refusing.refuseDialog = true;
  Panel none(refusing.table(), nullptr, 10, 10);
  EXPECT_FALSE(none);
  EXPECT_EQ(none.addColorButton(0, 0, 1, 1, 0, "t"), nullptr);
  EXPECT_FALSE(none.run());
  none.close();
  EXPECT_EQ(refusing.closed, 0);
}

}  // namespace
