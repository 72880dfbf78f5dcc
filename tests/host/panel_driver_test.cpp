// Panel drivers, run by the real Fader's panel and by a builder shaped like
// the shake module's (popups, a check box, OK guarded by the dialog check).
#include <sstream>

#include "host_test_support.h"
#include "tessivo/host/instance.h"
#include "tessivo/host/scripted_panel.h"
#include "tessivo/host/settings_store.h"
#include "tessivo/host/terminal_panel.h"

namespace tessivo::host {
namespace {

// A Fader with the given colour; runs `panel` and reports its colour afterwards.
std::int64_t runFaderPanel(const PanelDriver &panel, bool &accepted, std::int64_t colour = 0x11223344) {
  auto bundle = testing::loadBundle();
  auto fader = Instance::create(*bundle, FourCC("fadr"));
  SettingsStore store;
  store.set("Fader", "Fade Color", colour);
  EXPECT_TRUE(fader->load(store.table()));
  accepted = fader->runPanel(panel.table());
  SettingsStore saved;
  EXPECT_TRUE(fader->save(saved.table()));
  return saved.get("Fader", "Fade Color")->asInteger();
}

// A builder shaped like the shake module's: a popup, a check box, and OK guarded by the dialog check.
struct ShakeSettings {
  std::int32_t mode = 0;
  bool blend = false;
};

std::uint32_t runShakePanel(const PanelTable *t, ShakeSettings &s) {
  void *c = t->cookie;
  PanelDialog *dialog = t->CreateDialog(c, &s, kPanelDefaultPosition, kPanelDefaultPosition, 240, 130);
  t->AddStaticText(c, dialog, "Mode :", 20, 20, 60, 20);
  PanelControl *mode = t->AddPopup(c, dialog, 100, 19, 120, 20);
  t->AddPopupEntry(c, mode, "Always", 0, 0, 0);
  t->AddPopupEntry(c, mode, "Realistic", 1, 0, 1);
  t->SelectPopupValue(c, mode, s.mode);
  PanelControl *blend = t->AddCheckBox(c, dialog, "Blend with Alpha", 20, 80, 160, 20, s.blend ? 1 : 0);
  t->AddButton(c, dialog, "OK", 120, 100, 60, 20, kPanelItemOK);
  t->AddButton(c, dialog, "Cancel", 40, 100, 60, 20, kPanelItemCancel);
  t->ShowDialog(c, dialog);
  for (std::int32_t item = t->NextHitItem(c, dialog); item != kPanelItemCancel; item = t->NextHitItem(c, dialog))
    if (item == kPanelItemOK && t->CheckDialog(c, dialog) == 0) {
      s = {static_cast<std::int32_t>(t->ControlValue(c, mode)), t->ControlValue(c, blend) != 0};
      return t->CloseDialog(c, dialog), 1u;
    }
  return t->CloseDialog(c, dialog), 0u;
}

TEST(ScriptedPanel, FaderOkStoresTheScriptAndCancelKeepsTheSettings) {
  ScriptedPanel panel;
  panel.set("Fade color", "#ff8800").set("fade alpha", "128").ok();
  bool accepted = false;
  EXPECT_EQ(runFaderPanel(panel, accepted), 0x80FF8800);
  EXPECT_TRUE(accepted && panel.errors().empty());
  const PanelModel &model = panel.model();
  EXPECT_TRUE(model.shown && model.closed && model.hitItems == std::vector<std::int32_t>{kPanelItemOK});
  ASSERT_EQ(model.controls.size(), 6u);
  EXPECT_TRUE(model.controls[2].kind == ControlKind::ColorButton && model.controls[2].caption == "Fade color");
  const PanelControlModel &alpha = model.controls[3];
  EXPECT_TRUE(alpha.caption == "Fade alpha" && alpha.minimum == 0 && alpha.maximum == 255 && alpha.step == 4);

  ScriptedPanel cancelled;
  cancelled.set("Fade alpha", "1").cancel();
  EXPECT_EQ(runFaderPanel(cancelled, accepted), 0x11223344);
  EXPECT_TRUE(!accepted && cancelled.model().closed);

  // Whichever control or the dialog cannot be created, the panel gives up and nothing changes.
  for (std::size_t failing = 2; failing <= 6; ++failing) {
    ScriptedPanel broken;
    broken.set("Fade alpha", "1").ok();
    if (failing == 6) broken.failDialogCreation();
    else broken.failControlCreation(failing);
    EXPECT_EQ(runFaderPanel(broken, accepted), 0x11223344) << failing;
    EXPECT_TRUE(!accepted && !broken.model().shown) << failing;
  }
}

TEST(ScriptedPanel, PopupsCheckBoxesAndTheDialogCheck) {
  ScriptedPanel cancelled;
  cancelled.set("Mode", "Realistic").set("#3", "on").cancel();
  ShakeSettings settings;
  EXPECT_EQ(runShakePanel(cancelled.table(), settings), 0u);
  EXPECT_TRUE(settings.mode == 0 && !settings.blend);
  const PanelControlModel *mode = cancelled.model().find("Mode");
  ASSERT_TRUE(mode != nullptr && mode->entries.size() == 2u);
  EXPECT_TRUE(mode->entries[1] == (PopupEntry{"Realistic", 1, 0, 1}) && mode->valueText() == "Realistic");
  EXPECT_EQ(cancelled.model().find("Blend with Alpha")->value, 1);

  ScriptedPanel checked;  // the dialog check holds OK back until it answers 0
  checked.set("Mode", "1").set("Blend with Alpha", "on").ok().ok().checkAnswers({1});
  EXPECT_EQ(runShakePanel(checked.table(), settings), 1u);
  EXPECT_TRUE(settings.mode == 1 && settings.blend && checked.model().checkCalls == 2u);

  const std::pair<std::string, std::string> bad[] = {{"Speed=3", "no control \"Speed\""},
                                                      {"Mode=Sometimes", "Always, Realistic"}};
  for (const auto &[action, reason] : bad) {
    ScriptedPanel panel({parsePanelAction(action), parsePanelAction("hit:1")});
    EXPECT_EQ(runShakePanel(panel.table(), settings), 0u) << action;
    EXPECT_TRUE(panel.errors().size() == 1u && panel.errors()[0].find(reason) != std::string::npos) << action;
  }
  EXPECT_THROW(parsePanelAction("Realistic"), HostError);
}

TEST(TerminalPanel, DrivenThroughStreamsReasksOnBadInput) {
  std::istringstream in("1 = Realistic\n9 = 3\nhelp\nthree = 3\n2 = maybe\n2 = on\nok\n");
  std::ostringstream out;
  TerminalPanel shake(in, out, "Jishin settings");
  ShakeSettings settings;
  EXPECT_TRUE(runShakePanel(shake.table(), settings) == 1u && settings.mode == 1 && settings.blend);
  EXPECT_FALSE(shake.endedByEndOfInput());
  for (const char *shown : {"Jishin settings\n  1. Mode: Always  [Always* | Realistic]", "There is no control 9;",
                            "  cancel      close without", "Not understood: \"three = 3\"", "\"maybe\" is not on or off"})
    EXPECT_NE(out.str().find(shown), std::string::npos) << out.str();

  // The end of input cancels, and says so; lines may come from a reader instead of the stream.
  std::istringstream unused;
  std::ostringstream ended;
  int lines = 0;
  TerminalPanel reader(unused, ended, "Jishin settings", [&lines](const std::string &) -> std::optional<std::string> {
    if (lines++ == 0) return "1 = Realistic";
    return std::nullopt;
  });
  ShakeSettings untouched;
  EXPECT_TRUE(runShakePanel(reader.table(), untouched) == 0u && untouched.mode == 0 && reader.endedByEndOfInput());
  EXPECT_EQ(lines, 2);

  std::istringstream faderIn("2 = 300\n2 = 128\n1 = #ff880080\n1 = #ff8800\nok\n");
  std::ostringstream faderOut;
  TerminalPanel fader(faderIn, faderOut);
  bool accepted = false;
  EXPECT_EQ(runFaderPanel(fader, accepted, 0), 0x80FF8800);
  EXPECT_TRUE(accepted && faderOut.str().find("2. Fade alpha: 0  (0..255)") != std::string::npos &&
              faderOut.str().find("300 is outside 0..255") != std::string::npos &&
              faderOut.str().find("\"#ff880080\" is not a colour #RRGGBB") != std::string::npos) << faderOut.str();

  std::istringstream truncated("2 = 5\n");  // the end of input cancels
  TerminalPanel cancelled(truncated, faderOut);
  EXPECT_TRUE(runFaderPanel(cancelled, accepted, 0x01020304) == 0x01020304 && !accepted);
}

}  // namespace
}  // namespace tessivo::host
