// Panel drivers driven through the PanelTable exactly as a module's panel
// builder drives it.
#include <gtest/gtest.h>

#include <sstream>

#include "tessivo/host/error.h"
#include "tessivo/host/scripted_panel.h"
#include "tessivo/host/terminal_panel.h"

using namespace tessivo::host;

namespace {

// A builder shaped like the fade module's: two texts, colour, alpha field, OK/Cancel.
std::uint32_t runFadePanel(const PanelTable *t, std::uint32_t &colour) {
  void *c = t->cookie;
  PanelDialog *dialog = t->CreateDialog(c, nullptr, kPanelDefaultPosition, kPanelDefaultPosition, 200, 140);
  if (dialog == nullptr) return 0;
  t->AddStaticText(c, dialog, "Fade color :", 20, 20, 100, 20);
  t->AddStaticText(c, dialog, "Fade alpha :", 20, 50, 100, 20);
  PanelControl *button = t->AddColorButton(c, dialog, 120, 16, 32, 26, colour & 0xFFFFFF, "Pick up a color");
  PanelControl *alpha = t->AddNumberField(c, dialog, 120, 46, 40, 26, static_cast<std::int32_t>(colour >> 24), 0,
                                          255, 4, 0);
  PanelControl *ok = t->AddButton(c, dialog, "OK", 120, 100, 60, 20, kPanelItemOK);
  PanelControl *cancel = t->AddButton(c, dialog, "Cancel", 40, 100, 60, 20, kPanelItemCancel);
  if (button == nullptr || alpha == nullptr || ok == nullptr || cancel == nullptr) {
    t->CloseDialog(c, dialog);
    return 0;
  }
  t->ShowDialog(c, dialog);
  while (true) {
    const std::int32_t item = t->NextHitItem(c, dialog);
    if (item == kPanelItemOK) {
      colour = static_cast<std::uint32_t>(t->ControlValue(c, button)) |
               static_cast<std::uint32_t>(t->ControlValue(c, alpha)) << 24;
      t->CloseDialog(c, dialog);
      return 1;
    }
    if (item == kPanelItemCancel) {
      t->CloseDialog(c, dialog);
      return 0;
    }
  }
}

// A builder shaped like the shake module's: two captioned popups, a check box,
// and OK guarded by the dialog check.
struct ShakeSettings {
  std::int32_t mode = 0, direction = 2;
  bool blend = false;
};

std::uint32_t runShakePanel(const PanelTable *t, ShakeSettings &s) {
  void *c = t->cookie;
  PanelDialog *dialog = t->CreateDialog(c, &s, kPanelDefaultPosition, kPanelDefaultPosition, 240, 130);
  if (dialog == nullptr) return 0;
  t->AddStaticText(c, dialog, "Mode :", 20, 20, 60, 20);
  PanelControl *mode = t->AddPopup(c, dialog, 100, 19, 120, 20);
  if (mode == nullptr) return t->CloseDialog(c, dialog), 0u;
  t->AddPopupEntry(c, mode, "Always", 0, 0, 0);
  t->AddPopupEntry(c, mode, "Realistic", 1, 0, 0);
  t->SelectPopupValue(c, mode, s.mode);
  t->AddStaticText(c, dialog, "Direction :", 20, 50, 70, 20);
  PanelControl *direction = t->AddPopup(c, dialog, 100, 49, 120, 20);
  if (direction == nullptr) return t->CloseDialog(c, dialog), 0u;
  t->AddPopupEntry(c, direction, "X", 0, 0, 0);
  t->AddPopupEntry(c, direction, "Y", 1, 0, 0);
  t->AddPopupEntry(c, direction, "X and Y", 2, 0, 1);
  t->SelectPopupValue(c, direction, s.direction);
  PanelControl *blend = t->AddCheckBox(c, dialog, "Blend with Alpha", 20, 80, 160, 20, s.blend ? 1 : 0);
  PanelControl *ok = t->AddButton(c, dialog, "OK", 120, 100, 60, 20, kPanelItemOK);
  PanelControl *cancel = t->AddButton(c, dialog, "Cancel", 40, 100, 60, 20, kPanelItemCancel);
  if (blend == nullptr || ok == nullptr || cancel == nullptr) return t->CloseDialog(c, dialog), 0u;
  t->ShowDialog(c, dialog);
  while (true) {
    const std::int32_t item = t->NextHitItem(c, dialog);
    if (item == kPanelItemCancel) return t->CloseDialog(c, dialog), 0u;
    if (item == kPanelItemOK && t->CheckDialog(c, dialog) == 0) {
      s.mode = static_cast<std::int32_t>(t->ControlValue(c, mode));
      s.direction = static_cast<std::int32_t>(t->ControlValue(c, direction));
      s.blend = t->ControlValue(c, blend) != 0;
      return t->CloseDialog(c, dialog), 1u;
    }
  }
}

}  // namespace

TEST(ScriptedPanel, OkStoresWhatTheScriptSetAndRecordsThePanel) {
  ScriptedPanel panel;
  panel.set("Fade color", "#ff8800").set("fade alpha", "128").ok();
  std::uint32_t colour = 0x11223344;
  EXPECT_EQ(runFadePanel(panel.table(), colour), 1u);
  EXPECT_EQ(colour, 0x80FF8800u);
  EXPECT_TRUE(panel.errors().empty());

  const PanelModel &model = panel.model();
  EXPECT_EQ(model.rect, (PanelRect{kPanelDefaultPosition, kPanelDefaultPosition, 200, 140}));
  EXPECT_TRUE(model.shown);
  EXPECT_TRUE(model.closed);
  ASSERT_EQ(model.controls.size(), 6u);
  const PanelControlModel &button = model.controls[2];
  EXPECT_EQ(button.kind, ControlKind::ColorButton);
  EXPECT_EQ(button.caption, "Fade color");
  EXPECT_EQ(button.text, "Pick up a color");
  const PanelControlModel &alpha = model.controls[3];
  EXPECT_EQ(alpha.caption, "Fade alpha");
  EXPECT_EQ(alpha.minimum, 0);
  EXPECT_EQ(alpha.maximum, 255);
  EXPECT_EQ(alpha.step, 4);
  EXPECT_EQ(model.controls[5].item, kPanelItemCancel);
  EXPECT_EQ(model.hitItems, std::vector<std::int32_t>{kPanelItemOK});
}

TEST(ScriptedPanel, CancelLeavesSettingsAndKeepsWhatWasShown) {
  ScriptedPanel panel;
  panel.set("Mode", "Realistic").set("#4", "1").cancel();
  ShakeSettings settings;
  settings.direction = 1;
  EXPECT_EQ(runShakePanel(panel.table(), settings), 0u);
  EXPECT_EQ(settings.mode, 0);
  EXPECT_EQ(settings.direction, 1);

  const PanelControlModel *direction = panel.model().find("Direction");
  ASSERT_NE(direction, nullptr);
  EXPECT_EQ(direction->value, 1);
  ASSERT_EQ(direction->entries.size(), 3u);
  EXPECT_EQ(direction->entries[2], (PopupEntry{"X and Y", 2, 0, 1}));
  EXPECT_EQ(panel.model().find("Mode")->valueText(), "Realistic");
  EXPECT_TRUE(panel.model().closed);
}

// The dialog check holds OK back until it answers 0.
TEST(ScriptedPanel, DialogCheckHoldsOkBack) {
  ScriptedPanel panel;
  panel.set("Direction", "0").set("Blend with Alpha", "on").ok().ok().checkAnswers({1});
  ShakeSettings settings;
  EXPECT_EQ(runShakePanel(panel.table(), settings), 1u);
  EXPECT_EQ(settings.direction, 0);
  EXPECT_TRUE(settings.blend);
  EXPECT_EQ(panel.model().checkCalls, 2u);
}

// Whichever control cannot be created, the builder gives up cleanly and the
// settings stay as they were.
TEST(ScriptedPanel, FailingEachControlInTurn) {
  for (std::size_t failing = 0; failing < 6; ++failing) {
    ScriptedPanel panel;
    panel.ok();
    panel.failControlCreation(failing);
    std::uint32_t colour = 0x12345678;
    const std::uint32_t result = runFadePanel(panel.table(), colour);
    if (failing < 2) {  // the texts are not checked by the module
      EXPECT_EQ(result, 1u) << failing;
      continue;
    }
    EXPECT_EQ(result, 0u) << failing;
    EXPECT_EQ(colour, 0x12345678u);
    EXPECT_TRUE(panel.model().closed);
    EXPECT_FALSE(panel.model().shown);
  }
  ScriptedPanel noDialog;
  noDialog.failDialogCreation();
  std::uint32_t colour = 7;
  EXPECT_EQ(runFadePanel(noDialog.table(), colour), 0u);
  EXPECT_EQ(colour, 7u);
}

TEST(ScriptedPanel, BadScriptsCancelWithAReason) {
  ScriptedPanel unknown;
  unknown.set("Speed", "3").ok();
  ShakeSettings settings;
  EXPECT_EQ(runShakePanel(unknown.table(), settings), 0u);
  ASSERT_EQ(unknown.errors().size(), 1u);
  EXPECT_NE(unknown.errors()[0].find("no control \"Speed\""), std::string::npos);

  ScriptedPanel outOfRange;
  outOfRange.set("Fade alpha", "300").ok();
  std::uint32_t colour = 0;
  EXPECT_EQ(runFadePanel(outOfRange.table(), colour), 0u);
  ASSERT_EQ(outOfRange.errors().size(), 1u);
  EXPECT_NE(outOfRange.errors()[0].find("outside 0..255"), std::string::npos);

  ScriptedPanel badEntry;
  badEntry.set("Mode", "Sometimes").ok();
  EXPECT_EQ(runShakePanel(badEntry.table(), settings), 0u);
  EXPECT_NE(badEntry.errors().at(0).find("Always, Realistic"), std::string::npos);

  EXPECT_EQ(parsePanelAction(" Mode = Realistic ").value, "Realistic");
  EXPECT_EQ(parsePanelAction("hit:3").item, 3);
  EXPECT_THROW(parsePanelAction("Realistic"), HostError);
}

TEST(TerminalPanel, ChangesControlsByNumberAndReasksOnBadInput) {
  std::istringstream in("1 = Realistic\n9 = 3\n2 = X and Y\n3 = maybe\n3 = on\nok\n");
  std::ostringstream out;
  TerminalPanel panel(in, out);
  ShakeSettings settings;
  settings.direction = 0;
  EXPECT_EQ(runShakePanel(panel.table(), settings), 1u);
  EXPECT_EQ(settings.mode, 1);
  EXPECT_EQ(settings.direction, 2);
  EXPECT_TRUE(settings.blend);
  const std::string shown = out.str();
  EXPECT_NE(shown.find("1. Mode: Always  [Always* | Realistic]"), std::string::npos) << shown;
  EXPECT_NE(shown.find("Not understood: \"9 = 3\""), std::string::npos);
  EXPECT_NE(shown.find("\"maybe\" is not on or off"), std::string::npos);
}

TEST(TerminalPanel, NumberAndColourAreValidatedAndEndOfInputCancels) {
  std::istringstream in("2 = 300\n2 = 128\n1 = #ff8800\nok\n");
  std::ostringstream out;
  TerminalPanel panel(in, out);
  std::uint32_t colour = 0;
  EXPECT_EQ(runFadePanel(panel.table(), colour), 1u);
  EXPECT_EQ(colour, 0x80FF8800u);
  EXPECT_NE(out.str().find("2. Fade alpha: 0  (0..255)"), std::string::npos) << out.str();
  EXPECT_NE(out.str().find("300 is outside 0..255"), std::string::npos);

  std::istringstream truncated("2 = 5\n");
  std::ostringstream ignored;
  TerminalPanel cancelled(truncated, ignored);
  colour = 0x01020304;
  EXPECT_EQ(runFadePanel(cancelled.table(), colour), 0u);
  EXPECT_EQ(colour, 0x01020304u);
}
