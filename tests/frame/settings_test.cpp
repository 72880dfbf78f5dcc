// Settings conversions (readers with defaults, diagnostics and clamping;
// writers and colour packing) and the modal panel over the host's tables.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include "tessivo/frame/panel.h"
#include "tessivo/frame/settings_values.h"
#include "tessivo/host/scripted_panel.h"

using namespace tessivo;
using host::ScriptedPanel;

namespace {

// Owns a CoreFoundation value for the length of a test.
struct Owned {
  explicit Owned(CFTypeRef v) : value(v) {}
  ~Owned() { CFRelease(value); }
  Owned(const Owned &) = delete;
  CFTypeRef value;
};

Owned Number(int64_t value) { return Owned(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &value)); }
Owned Real(double value) { return Owned(CFNumberCreate(kCFAllocatorDefault, kCFNumberDoubleType, &value)); }
Owned Text(const char *text) {
  return Owned(CFStringCreateWithCString(kCFAllocatorDefault, text, kCFStringEncodingUTF8));
}
Owned Color(std::initializer_list<CGFloat> components, bool rgb = true) {
  CGColorSpaceRef space = rgb ? CGColorSpaceCreateDeviceRGB() : CGColorSpaceCreateDeviceGray();
  CGColorRef color = CGColorCreate(space, std::data(components));
  CGColorSpaceRelease(space);
  return Owned(color);
}

CGColorRef AsColor(const Owned &color) { return static_cast<CGColorRef>(const_cast<void *>(color.value)); }
std::vector<CGFloat> Components(const Owned &color) {
  const CGFloat *c = CGColorGetComponents(AsColor(color));
  return {c, c + CGColorGetNumberOfComponents(AsColor(color))};
}

// What a call prints on stdout.
template <typename Fn>
std::string Printed(Fn fn) {
  testing::internal::CaptureStdout();
  fn();
  return testing::internal::GetCapturedStdout();
}
// A diagnostic: its line, then the value as CFShow shows it.
std::string Diagnostic(const char *line, CFTypeRef value) {
  return line + ("\n" + Printed([value] { CFShow(value); }));
}

TEST(SettingsValues, ReadersWithDefaultsAndWrongTypeDiagnostics) {
  EXPECT_EQ((std::vector<int>{ReadBoolean(nullptr, 1), ReadBoolean(kCFBooleanTrue, 0), ReadBoolean(kCFBooleanFalse, 1),
                              ReadBoolean(Number(-3).value, 0), ReadBoolean(Number(0).value, 1),
                              ReadBoolean(Real(0.5).value, 1)}),  // read as a long: 0
            (std::vector<int>{1, 1, 0, 1, 0, 0}));
  EXPECT_EQ(std::pair(ReadDouble(nullptr, 2.5), ReadDouble(Real(0.25).value, 2.5)), std::pair(2.5, 0.25));
  EXPECT_EQ(ReadInt64(Number(-(int64_t{1} << 40)).value, 0), -(int64_t{1} << 40));
  EXPECT_EQ(ReadInt32(Number(-7).value, 0), -7);
  EXPECT_EQ(ReadUInt32(nullptr, 0xFFFFFFF0u), 0xFFFFFFF0u);
  EXPECT_EQ(ReadUInt32(Number((int64_t{5} << 32) | 0x80000001).value, 0), 0x80000001u);  // low word as it comes

  Owned text = Text("x");
  double d = 0;
  int64_t i64 = 0;
  int32_t i32 = 0;
  uint8_t b = 0;
  EXPECT_EQ(Printed([&] { b = ReadBoolean(text.value, 1); }), Diagnostic("Wrong boolean value", text.value));
  EXPECT_EQ(Printed([&] { d = ReadDouble(text.value, 1.5); }), Diagnostic("Wrong number value", text.value));
  EXPECT_EQ(Printed([&] { i64 = ReadInt64(kCFBooleanTrue, 9); }), Diagnostic("Wrong number value", kCFBooleanTrue));
  EXPECT_EQ(Printed([&] { i32 = ReadInt32(text.value, -4); }), Diagnostic("Wrong number value", text.value));
  EXPECT_EQ(std::tuple(b, d, i64, i32), std::tuple(uint8_t{1}, 1.5, int64_t{9}, int32_t{-4}));
  EXPECT_EQ(Printed([] { ReadInt32(nullptr, 3); }), "");  // a missing value is silent
}

TEST(SettingsValues, ClampingRaisesThenLowers) {
  EXPECT_EQ(ReadInt32Clamped(nullptr, 50, 0, 10), 10);
  EXPECT_EQ(ReadInt32Clamped(Number(-5).value, 50, 0, 10), 0);
  EXPECT_EQ(ReadDoubleClamped(Real(-1.0).value, 0.0, 0.5, 2.0), 0.5);
  EXPECT_EQ(ReadDoubleClamped(nullptr, 9.0, 0.5, 2.0), 2.0);
  EXPECT_EQ(ReadInt64Clamped(Number(5).value, 0, 10, 3), 3);  // minimum above maximum: maximum wins
  EXPECT_EQ(ReadInt64Clamped(Number(-1).value, 0, -10, 3), -1);
  // Unsigned comparisons: a stored -1 is 0xFFFFFFFF, above any maximum.
  EXPECT_EQ(ReadUInt32Clamped(Number(-1).value, 0, 1, 100), 100u);
  EXPECT_EQ(ReadUInt32Clamped(Number(0).value, 0, 1, 100), 1u);
}

TEST(SettingsValues, PackedColoursReadAndWritten) {
  EXPECT_EQ(ReadPackedColor(Color({1.0, 0.0, 0.0, 1.0}).value, 0), 0xFFFF0000u);
  EXPECT_EQ(ReadPackedColor(Color({0.5, 0.25, 1.0, 0.5}).value, 0), 0x7F7F3FFFu);
  EXPECT_EQ(ReadPackedColor(nullptr, 0x12345678u), 0x12345678u);
  // Out-of-range components truncate and wrap into their byte.
  EXPECT_EQ(ReadPackedColor(Color({2.0, -0.5, std::nan(""), 1.0}).value, 0), 0xFFFE8100u);
  uint32_t packed = 0;
  Owned grey = Color({0.5, 1.0}, false);
  EXPECT_EQ(Printed([&] { packed = ReadPackedColor(grey.value, 0xABCDEF01u); }), Diagnostic("Wrong color format", grey.value));
  EXPECT_EQ(packed, 0xABCDEF01u);
  Owned one = Number(1);
  EXPECT_EQ(Printed([&] { packed = ReadPackedColor(one.value, 7); }), Diagnostic("Wrong color type", one.value));
  EXPECT_EQ(packed, 7u);

  Owned made(MakePackedColor(0x80FF8000u));
  ASSERT_EQ(CGColorGetNumberOfComponents(AsColor(made)), 4u);
  const float step = 0.003921569f;  // components are byte * this, in float
  EXPECT_EQ(Components(made), (std::vector<CGFloat>{255.0f * step, 128.0f * step, 0.0, 128.0f * step}));
  EXPECT_NEAR(Components(made)[1], 0.5019608, 1e-7);
  EXPECT_EQ(ReadPackedColor(made.value, 0), 0x80FF8000u);  // round trip
  Owned argOrder(MakeColor(0.25f, 1.0f, 0.5f, 0.0f));    // alpha first, stored last
  EXPECT_EQ(Components(argOrder), (std::vector<CGFloat>{1.0, 0.5, 0.0, 0.25}));
}

TEST(SettingsValues, ColourComponents) {
  float a = -1, r = -1, g = -1, b = -1;
  ReadColorComponents(Real(0.5).value, &a, &r, &g, &b);  // a number is white at that opacity
  EXPECT_EQ((std::vector<float>{a, r, g, b}), (std::vector<float>{0.5f, 1.0f, 1.0f, 1.0f}));
  ReadColorComponents(Color({0.1, 0.2, 0.3, 0.4}).value, &a, nullptr, &g, nullptr);
  EXPECT_EQ((std::vector<float>{a, r, g, b}), (std::vector<float>{0.4f, 1.0f, 0.2f, 1.0f}));  // r, b not given
  ReadColorComponents(nullptr, &a, &r, &g, &b);
  Owned text = Text("red");
  EXPECT_EQ(Printed([&] { ReadColorComponents(text.value, &a, &r, &g, &b); }), Diagnostic("Wrong color type", text.value));
  Owned grey = Color({0.5, 1.0}, false);
  EXPECT_EQ(Printed([&] { ReadColorComponents(grey.value, &a, &r, &g, &b); }),
            Diagnostic("Wrong color format", grey.value));
  EXPECT_EQ((std::vector<float>{a, r, g, b}), (std::vector<float>{0.4f, 1.0f, 0.2f, 1.0f}));
}

TEST(SettingsValues, WritersKeepTypesAndRange) {
  EXPECT_TRUE(MakeBoolean(7) == kCFBooleanTrue && MakeBoolean(0) == kCFBooleanFalse);
  Owned big(MakeUInt32(0xFFFFFFFFu)), i32(MakeInt32(-5)), i64(MakeInt64(std::numeric_limits<int64_t>::min()));
  EXPECT_EQ(CFNumberGetType(static_cast<CFNumberRef>(i32.value)), kCFNumberSInt32Type);
  EXPECT_EQ(std::tuple(ReadInt64(big.value, 0), ReadInt32(i32.value, 0), ReadInt64(i64.value, 0)),
            std::tuple(int64_t{0xFFFFFFFF}, -5, std::numeric_limits<int64_t>::min()));
}

TEST(Panel, RunsUntilOkOrCancelAndReportsFailedControls) {
  ScriptedPanel host;
  int owner = 0;
  {
    Panel panel(host.table(), &owner, 200, 140);
    ASSERT_TRUE(panel && panel.addStaticText("Mode :", 20, 20, 100, 20));
    PanelControl *popup = panel.addPopup(120, 16, 80, 26, {{"One", 1}, {"Two", 2, 5, 6}}, 2);
    PanelControl *number = panel.addNumberField(120, 46, 40, 26, 7, 0, 255, 4, 0);
    host.hit(5).set("#3", "99").ok().ok().checkAnswers({1, 0});
    EXPECT_TRUE(panel.run(true));  // OK waits for the dialog check
    EXPECT_EQ(std::tuple(panel.value(popup), panel.value(number)), std::tuple(2, 99));
    panel.close();
    panel.close();
  }
  const host::PanelModel &model = host.model();
  EXPECT_EQ(std::tuple(model.closeCalls, model.checkCalls, model.owner), std::tuple(1u, 2u, &owner));  // closed once
  EXPECT_EQ(model.rect, (host::PanelRect{-32768, -32768, 200, 140}));
  ASSERT_EQ(model.controls.size(), 3u);
  EXPECT_EQ(model.controls[1].entries, (std::vector<host::PopupEntry>{{"One", 1, 0, 0}, {"Two", 2, 5, 6}}));
  EXPECT_EQ(model.controls[1].value, 2);  // selected, not the first entry

  ScriptedPanel cancelled;
  cancelled.failControlCreation(1);
  {
    Panel panel(cancelled.table(), nullptr, 10, 10);
    EXPECT_TRUE(panel.addButton("OK", 0, 0, 10, 10, 1));
    EXPECT_FALSE(panel.addButton("Cancel", 0, 0, 10, 10, 2));
    EXPECT_EQ(panel.addCheckBox("On", 0, 0, 10, 10, true), reinterpret_cast<PanelControl *>(2));
    cancelled.hit(3).cancel().ok();
    EXPECT_FALSE(panel.run());
  }
  EXPECT_EQ(cancelled.model().hitItems, (std::vector<int32_t>{3, 2}));
  EXPECT_EQ(cancelled.model().closeCalls, 1u);  // the destructor closes an open panel

  // A host that answers only other items, or an error, loses the panel, closed with false.
  ScriptedPanel stubborn;
  PanelTable table = *stubborn.table();
  static int32_t answer;
  static int64_t calls;  // ten million other items before OK: far more than any panel waits for
  table.NextHitItem = [](void *, PanelDialog *) { return ++calls > 10'000'000 ? int32_t{kPanelItemOK} : answer; };
  for (const int32_t item : {7, -1}) {
    answer = item, calls = 0;
    {
      Panel panel(&table, nullptr, 10, 10);
      EXPECT_FALSE(panel.run()) << item;
    }
    EXPECT_TRUE(stubborn.model().closeCalls == 1u && (item > 0 || calls == 1)) << item;
  }

  ScriptedPanel refusing;
  refusing.failDialogCreation();
  Panel none(refusing.table(), nullptr, 10, 10);
  EXPECT_FALSE(none);
  EXPECT_EQ(none.addColorButton(0, 0, 1, 1, 0, "t"), nullptr);
  EXPECT_FALSE(none.run());
  none.close();
  EXPECT_TRUE(refusing.model().closeCalls == 0u && refusing.model().hitItems.empty());
}

}  // namespace
