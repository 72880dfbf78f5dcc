// Jishin as the reference host drives it: records, requests, the shake by
// the drawn offset in both formats, the copies that draw nothing, settings
// and panel.
#include "jishin/jishin_settings.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include "../linked_bundle.h"
#include "tessivo/frame/random.h"
#include "tessivo/host/error.h"
#include "tessivo/host/graph.h"
#include "tessivo/host/image_ops.h"
#include "tessivo/host/recorder.h"
#include "tessivo/host/scripted_panel.h"
#include "tessivo/host/settings_store.h"

namespace tessivo {
namespace {

using host::Image;
using host::samePixels;
using Strings = std::vector<std::string>;

constexpr uint32_t kWidth = 37, kHeight = 23;

class JishinModuleTest : public testing::Test {
 protected:
  void SetUp() override {
    bundle = test::LoadLinkedBundle(&recorder);
    graph = std::make_unique<host::Graph>(*bundle);
    jishin = graph->addModule(FourCC("jshn"));
  }
  void TearDown() override { graph.reset(), bundle.reset(); }

  host::Instance &instance() { return graph->instance(jishin); }
  JishinSettings &settings() { return *static_cast<JishinSettings *>(instance().saveRecord()->settings); }
  void connectStill(uint32_t format) {
    input = test::Patterned(kWidth, kHeight, format);
    graph->connect(graph->addStill(input), jishin, 0);
  }
  Image render(uint32_t format, double time = 0.0) {
    recorder.clear();
    return *graph->renderFrame(jishin, time, kWidth, kHeight, format);
  }
  // The input moved by (-dx, -dy), uncovered pixels 0.
  Image shifted(int64_t dx, int64_t dy) const {
    Image expected(kWidth, kHeight, input.pixelFormat());
    for (int64_t y = 0; y < kHeight; ++y)
      for (int64_t x = 0; x < kWidth; ++x)
        if (x + dx >= 0 && x + dx < kWidth && y + dy >= 0 && y + dy < kHeight)
          expected.setPixel(static_cast<uint32_t>(x), static_cast<uint32_t>(y),
                            input.pixel(static_cast<uint32_t>(x + dx), static_cast<uint32_t>(y + dy)));
    return expected;
  }
  std::vector<std::string> callsOf(const std::string &function) const {
    std::vector<std::string> texts;
    for (const host::RecordedCall &call : recorder.calls())
      if (call.function == function) texts.push_back(call.text());
    return texts;
  }

  host::Recorder recorder;
  std::unique_ptr<host::Bundle> bundle;
  std::unique_ptr<host::Graph> graph;
  host::NodeId jishin = 0;
  Image input;
};

TEST_F(JishinModuleTest, RegistersFourRecordsAroundOneSettingsBlock) {
  host::Instance &module = instance();
  EXPECT_EQ(module.registrationOrder(),
            (std::vector<uint32_t>{FourCC("iinf"), FourCC("isdl"), FourCC("isav"), FourCC("ctrl")}));
  const auto header = [](const void *record) {
    const auto *h = static_cast<const RecordHeader *>(record);
    return std::tuple(h->owner, h->version, h->count);
  };
  EXPECT_EQ(header(module.infoRecord()), std::tuple(FourCC("jshn"), uint16_t{1}, uint16_t{1}));
  EXPECT_EQ(header(module.dialogRecord()), std::tuple(FourCC("jshn"), uint16_t{2}, uint16_t{1}));
  EXPECT_EQ(header(module.saveRecord()), std::tuple(FourCC("jshn"), uint16_t{1}, uint16_t{1}));
  EXPECT_EQ(header(module.parameterRecord()), std::tuple(FourCC("iprm"), uint16_t{2}, uint16_t{1}));
  const void *block = module.saveRecord()->settings;
  EXPECT_TRUE(module.dialogRecord()->settings == block && module.parameterRecord()->settings == block);
  EXPECT_TRUE(module.parameterRecord()->set == nullptr && module.parameterRecord()->get == nullptr);
  EXPECT_TRUE(settings().mode == 0 && settings().direction == 0 && settings().hostCookie == module.portApi()->cookie);
  ASSERT_EQ(module.ports().size(), 4u);
  EXPECT_EQ(module.ports()[2].longName, "Strength Input");
}

// Each frame moves the picture by offsets drawn from the shared sequence:
// X (unless "Y") before Y (unless "X"); directions other than 0 and 1 shake both.
TEST_F(JishinModuleTest, ShakesByTheDrawnOffsetInBothFormats) {
  const host::NodeId strength = graph->addConstant(2.0f);  // a = 0.5: ranges 19 and 12
  graph->connect(strength, jishin, 2);
  for (const uint32_t format : {host::kGrey8, host::kARGB32}) {
    connectStill(format);
    for (const int32_t direction : {0, 1, 2, 5, -4}) {
      settings().direction = direction;
      for (int frame = 0; frame < 6; ++frame) {
        test::DirectRandom direct{CurrentRandomSeed()};
        const int32_t dx = direction == 1 ? 0 : direct.next() % 19;
        const int32_t dy = direction == 0 ? 0 : direct.next() % 12;
        const Image output = render(format);
        ASSERT_TRUE(samePixels(output, shifted(dx, dy))) << format << " " << direction << " " << dx << "," << dy;
        ASSERT_EQ(CurrentRandomSeed(), direct.seed);
      }
    }
  }
  // The host is asked to clear both strips with the zero colour at full
  // opacity, then to blit, every image in the output's format.
  settings().direction = 2;
  test::DirectRandom direct{CurrentRandomSeed()};
  const int64_t dx = direct.next() % 19, dy = direct.next() % 12, w = kWidth, h = kHeight;
  render(host::kARGB32);
  const auto rect = [](int64_t top, int64_t left, int64_t bottom, int64_t right) {
    return "(" + std::to_string(top) + "," + std::to_string(left) + "," + std::to_string(bottom) + "," +
           std::to_string(right) + ")";
  };
  const std::string rowBytes = std::to_string(host::paddedRowBytes(kWidth, host::kARGB32));
  const std::string fill = "jshn FillRect(ptr, " + rowBytes + ", 2, ";
  const int64_t left = dx >= 0 ? 0 : -dx, right = dx >= 0 ? w - dx : w;
  const int64_t top = dy >= 0 ? 0 : -dy, bottom = dy >= 0 ? h - dy : h;
  EXPECT_EQ(callsOf("FillRect"),
            (Strings{fill + rect(0, dx >= 0 ? w - dx : 0, h, dx >= 0 ? w : -dx) + ", 0x0, 0x0, 1)",
                     fill + rect(dy >= 0 ? h - dy : 0, left, dy >= 0 ? h : -dy, right) + ", 0x0, 0x0, 1)"}));
  EXPECT_EQ(callsOf("BlitRect"), (Strings{"jshn BlitRect(ptr, " + rowBytes + ", 2, " +
                                          rect(top + dy, left + dx, bottom + dy, right + dx) + ", ptr, " + rowBytes +
                                          ", 2, " + rect(top, left, bottom, right) + ", 1)"}));
}

// Disabled, a strength that is not positive, or a "Realistic" swell below
// zero: the input is copied and nothing is drawn. Strength is read even
// while disabled; a small strength still draws.
TEST_F(JishinModuleTest, CopiesWithoutDrawingWhenThereIsNoShake) {
  connectStill(host::kARGB32);
  const host::NodeId strength = graph->addConstant(0.0f);
  graph->connect(strength, jishin, 2);
  const auto copiedWithoutDrawing = [&](const std::string &what, double time = 0.0) {
    const uint32_t seed = CurrentRandomSeed();
    const Image output = render(host::kARGB32, time);
    EXPECT_TRUE(samePixels(output, input)) << what;
    EXPECT_EQ(CurrentRandomSeed(), seed) << what;
    EXPECT_EQ(callsOf("CopyImage").size(), 1u) << what;
    EXPECT_EQ(callsOf("FillRect").size(), 0u) << what;
  };
  for (const float value : {0.0f, -0.0f, -1.0f, std::numeric_limits<float>::quiet_NaN(),
                            -std::numeric_limits<float>::infinity()}) {
    graph->setConstant(strength, value);
    copiedWithoutDrawing("strength " + std::to_string(value));
  }
  graph->setConstant(strength, 3.0f);
  settings().mode = 1;
  copiedWithoutDrawing("negative swell", 11.0);
  const uint32_t seed = CurrentRandomSeed();
  render(host::kARGB32, 1.0);  // the swell is positive here
  EXPECT_EQ(CurrentRandomSeed(), AdvanceSeed(seed));

  settings().mode = 0;
  const host::NodeId onOff = graph->addOnOff(false);
  graph->connect(onOff, jishin, 1);
  copiedWithoutDrawing("disabled");
  bool strengthRead = false;
  for (const host::RecordedCall &call : recorder.calls())
    strengthRead |= call.function == "ReadInput" && call.arguments.at(0) == "2";
  EXPECT_TRUE(strengthRead);

  graph->setOnOff(onOff, true);
  graph->setConstant(strength, 1e-6f);  // range 1: dx is 0, yet one number is drawn
  const uint32_t before = CurrentRandomSeed();
  EXPECT_TRUE(samePixels(render(host::kARGB32), input));
  EXPECT_EQ(CurrentRandomSeed(), AdvanceSeed(before));
}

// "Realistic" scales the strength by the swell of the request's time: with
// strength 4 at T = 1 the swell is 0.40181..., a = 0.40181, so rangeX =
// trunc(0.40181 * 37 + 1) = 15; "Always" at the same time keeps range 38.
TEST_F(JishinModuleTest, RealisticModeTakesTheFrameTime) {
  connectStill(host::kGrey8);
  const host::NodeId strength = graph->addConstant(4.0f);
  graph->connect(strength, jishin, 2);
  // Without a Strength input the strength is 0.5: range trunc(0.125 * 37 + 1) = 5.
  for (const auto &[mode, range] : std::vector<std::pair<int32_t, int32_t>>{{1, 15}, {0, 38}, {7, 38}, {0, 5}}) {
    if (range == 5) graph->disconnect(jishin, 2);
    settings().mode = mode;
    for (int frame = 0; frame < 8; ++frame) {
      test::DirectRandom direct{CurrentRandomSeed()};
      const int32_t dx = direct.next() % range;
      ASSERT_TRUE(samePixels(render(host::kGrey8, 1.0), shifted(dx, 0))) << mode << " " << dx;
    }
  }
}

// Offsets of the whole width or more clear the whole frame and write nothing outside it.
TEST_F(JishinModuleTest, AStrengthBeyondTheFrameClearsItAll) {
  connectStill(host::kARGB32);
  const host::NodeId strength = graph->addConstant(std::numeric_limits<float>::infinity());
  graph->connect(strength, jishin, 2);
  settings().direction = 2;
  for (const float value : {std::numeric_limits<float>::infinity(), 1e30f, 3e9f}) {
    graph->setConstant(strength, value);
    const Image output = render(host::kARGB32);
    EXPECT_TRUE(samePixels(output, Image(kWidth, kHeight, host::kARGB32))) << value;
  }
}

// The image request is passed on as it is and its refusal (nothing wired)
// does not stop the Strength request at the frame's time; a render without
// an input image, or without a request, fails.
TEST_F(JishinModuleTest, RequestsBothInputsAndFailsWithoutItsPieces) {
  graph->connect(graph->addConstant(1.0f), jishin, 2);
  ImageDescriptor wanted{};
  wanted.time = 12.5, wanted.width = kWidth, wanted.height = kHeight, wanted.pixelFormat = host::kARGB32;
  ValueRecord request{};
  request.stamp = 77, request.type = FourCC("imag"), request.parameter = &wanted;
  HostEvent event{};
  event.value = &request;
  ASSERT_EQ(instance().send(kOutputRequested, &event), 1u);
  EXPECT_FALSE(instance().pendingRequest(0).has_value());
  const auto control = instance().pendingRequest(2);
  ASSERT_TRUE(control.has_value());
  EXPECT_EQ(std::tuple(control->type, control->time, control->record.stamp), std::tuple(FourCC("ctrl"), 12.5, 77u));
  ASSERT_EQ(instance().send(kRequestCancelled, &event), 1u);
  EXPECT_FALSE(instance().pendingRequest(2).has_value());

  const uint32_t seed = CurrentRandomSeed();
  EXPECT_THROW(render(host::kARGB32), host::HostError);
  HostEvent empty{};
  EXPECT_EQ(instance().send(kRenderOutput, &empty), 0u);
  EXPECT_EQ(CurrentRandomSeed(), seed);
}

// Mode and direction as 64-bit integers whose low words hold them; restored
// unchecked, so a stored direction 5 and mode 7 come back as they are.
TEST_F(JishinModuleTest, SavesAndRestoresModeAndDirectionAsLowWords) {
  host::SettingsStore store;
  host::Instance &module = instance();
  settings() = {1, 2, settings().hostCookie};
  EXPECT_FALSE(module.load(store.table()));  // no group yet: unchanged
  EXPECT_TRUE(settings().mode == 1 && settings().direction == 2);
  ASSERT_TRUE(module.save(store.table()));
  EXPECT_EQ(store.keys("Jishin"), (Strings{"Direction", "Mode"}));
  EXPECT_TRUE(store.get("Jishin", "Mode") == host::SettingValue(int64_t{1}) &&
              store.get("Jishin", "Direction") == host::SettingValue(int64_t{2}));
  store.set("Jishin", "Mode", int64_t{0x700000007});
  store.set("Jishin", "Direction", int64_t{-3});
  ASSERT_TRUE(module.load(store.table()));
  EXPECT_TRUE(settings().mode == 7 && settings().direction == -3);
  settings().direction = -1;
  ASSERT_TRUE(module.save(store.table()));
  EXPECT_EQ(store.get("Jishin", "Direction"), host::SettingValue(int64_t{0xFFFFFFFF}));
  SettingsTable refusing = *store.table();
  refusing.OpenGroupForWriting = [](void *, const char *) -> SettingsGroup * { return nullptr; };
  EXPECT_FALSE(module.save(&refusing));
}

TEST_F(JishinModuleTest, PanelShowsBothPopupsAndStoresThemOnOK) {
  settings().mode = 1, settings().direction = 2;
  host::CapturingPanel capture;  // cancels at once
  EXPECT_FALSE(instance().runPanel(capture.table()));
  const host::PanelModel &panel = capture.model();
  EXPECT_EQ(panel.rect, (host::PanelRect{kPanelDefaultPosition, kPanelDefaultPosition, 240, 130}));
  EXPECT_TRUE(panel.owner == instance().portApi()->cookie && panel.closeCalls == 1u);
  using K = host::ControlKind;
  using R = host::PanelRect;
  const std::vector<std::tuple<K, std::string, R>> layout = {
      {K::StaticText, "Mode :", R{20, 20, 60, 20}},   {K::Popup, "", R{100, 19, 120, 20}},
      {K::StaticText, "Direction :", R{20, 50, 70, 20}}, {K::Popup, "", R{100, 49, 120, 20}},
      {K::Button, "OK", R{120, 90, 60, 20}},          {K::Button, "Cancel", R{40, 90, 60, 20}}};
  ASSERT_EQ(panel.controls.size(), layout.size());
  for (size_t i = 0; i < layout.size(); ++i)
    EXPECT_EQ(std::tuple(panel.controls[i].kind, panel.controls[i].text, panel.controls[i].rect), layout[i]) << i;
  using E = host::PopupEntry;
  EXPECT_EQ(panel.controls[1].entries, (std::vector<E>{{"Always", 0, 0, 0}, {"Realistic", 1, 0, 0}}));
  EXPECT_EQ(panel.controls[3].entries, (std::vector<E>{{"X", 0, 0, 0}, {"Y", 1, 0, 0}, {"X and Y", 2, 1, 0}}));
  EXPECT_EQ(std::tuple(panel.controls[1].value, panel.controls[3].value), std::tuple(int64_t{1}, int64_t{2}));
  EXPECT_EQ(std::tuple(panel.controls[4].item, panel.controls[5].item), std::tuple(1, 2));

  host::ScriptedPanel script;
  script.hit(9).set("Mode", "Always").set("Direction", "Y").ok();
  ASSERT_TRUE(instance().runPanel(script.table()));
  EXPECT_TRUE(settings().mode == 0 && settings().direction == 1 && script.model().closeCalls == 1u);
}

TEST_F(JishinModuleTest, PanelCancelOrAMissingPopupOrButtonKeepsTheSettings) {
  settings().mode = 1, settings().direction = 2;
  host::ScriptedPanel cancel;
  cancel.set("Mode", "Always").cancel();
  EXPECT_FALSE(instance().runPanel(cancel.table()));
  for (const size_t failing : {1u, 3u, 4u, 5u}) {  // each popup and button in turn
    host::ScriptedPanel script;
    script.set("Mode", "Always").ok();
    script.failControlCreation(failing);
    EXPECT_FALSE(instance().runPanel(script.table())) << failing;
    EXPECT_TRUE(!script.model().shown && script.model().closeCalls == 1u) << failing;
  }
  host::ScriptedPanel noDialog;
  noDialog.failDialogCreation();
  EXPECT_FALSE(instance().runPanel(noDialog.table()));
  EXPECT_TRUE(settings().mode == 1 && settings().direction == 2);
  host::ScriptedPanel noLabel;  // a label that cannot be shown does not stop the panel
  noLabel.set("#1", "Always").ok();  // the mode popup comes first now
  noLabel.failControlCreation(0);
  EXPECT_TRUE(instance().runPanel(noLabel.table()));
  EXPECT_EQ(settings().mode, 0);
}

}  // namespace
}  // namespace tessivo
