// Linalize as the reference host drives it: the canvas in the host's cache
// image across frames, the pass-through while disabled, the stroke count from
// Speed, the seed shared with Jishin, settings and panel.
#include "linalize/linalize_settings.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include "../linked_bundle.h"
#include "jishin/jishin_settings.h"
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

// The canvas after count pairs of strokes, written from the definition: four
// draws a pair, centres unsigned a mod W and b mod H, the horizontal stroke
// first, each pixel within the half sizes of the centre taking its colour.
void Paint(Image &canvas, const Image &input, test::DirectRandom &random, uint32_t count, uint32_t length,
           uint32_t width) {
  const int64_t w = canvas.width(), h = canvas.height();
  for (uint32_t pair = 0; pair < count; ++pair) {
    for (const bool horizontal : {true, false}) {
      const int64_t x = static_cast<uint32_t>(random.next()) % static_cast<uint32_t>(w);
      const int64_t y = static_cast<uint32_t>(random.next()) % static_cast<uint32_t>(h);
      const int64_t halfX = (horizontal ? length : width) / 2, halfY = (horizontal ? width : length) / 2;
      const uint32_t colour = input.pixel(static_cast<uint32_t>(x), static_cast<uint32_t>(y));
      for (int64_t py = std::max<int64_t>(0, y - halfY); py <= std::min(h - 1, y + halfY); ++py)
        for (int64_t px = std::max<int64_t>(0, x - halfX); px <= std::min(w - 1, x + halfX); ++px)
          canvas.setPixel(static_cast<uint32_t>(px), static_cast<uint32_t>(py), colour);
    }
  }
}

class LinalizeModuleTest : public testing::Test {
 protected:
  void SetUp() override {
    bundle = test::LoadLinkedBundle(&recorder);
    graph = std::make_unique<host::Graph>(*bundle);
    linalize = graph->addModule(FourCC("lnlz"));
  }
  void TearDown() override { graph.reset(), bundle.reset(); }

  host::Instance &instance() { return graph->instance(linalize); }
  LinalizeSettings &settings() { return *static_cast<LinalizeSettings *>(instance().saveRecord()->settings); }
  void connectStill(uint32_t width, uint32_t height, uint32_t format, uint32_t salt = 0) {
    input = test::Patterned(width, height, format, salt);
    if (still == kNone) {
      still = graph->addStill(input);
      graph->connect(still, linalize, 0);
    } else {
      graph->setStill(still, input);
    }
  }
  Image render(double time = 0.0) {
    recorder.clear();
    return *graph->renderFrame(linalize, time, input.width(), input.height(), input.pixelFormat());
  }

  static constexpr host::NodeId kNone = ~host::NodeId{0};
  host::Recorder recorder;
  std::unique_ptr<host::Bundle> bundle;
  std::unique_ptr<host::Graph> graph;
  host::NodeId linalize = 0, still = kNone;
  Image input;
};

TEST_F(LinalizeModuleTest, RegistersFiveRecordsAroundOneSettingsBlock) {
  host::Instance &module = instance();
  EXPECT_EQ(module.registrationOrder(), (std::vector<uint32_t>{FourCC("iinf"), FourCC("isdl"), FourCC("isav"),
                                                               FourCC("ctrl"), FourCC("effs")}));
  const auto header = [](const void *record) {
    const auto *h = static_cast<const RecordHeader *>(record);
    return std::tuple(h->owner, h->version, h->count);
  };
  EXPECT_EQ(header(module.infoRecord()), std::tuple(FourCC("lnlz"), uint16_t{1}, uint16_t{1}));
  EXPECT_EQ(header(module.dialogRecord()), std::tuple(FourCC("lnlz"), uint16_t{2}, uint16_t{1}));
  EXPECT_EQ(header(module.saveRecord()), std::tuple(FourCC("lnlz"), uint16_t{1}, uint16_t{1}));
  EXPECT_EQ(header(module.parameterRecord()), std::tuple(FourCC("iprm"), uint16_t{2}, uint16_t{1}));
  EXPECT_EQ(header(module.outputCacheRecord()), std::tuple(FourCC("lnlz"), uint16_t{2}, uint16_t{1}));
  const void *block = module.saveRecord()->settings;
  EXPECT_TRUE(module.dialogRecord()->settings == block && module.parameterRecord()->settings == block);
  EXPECT_EQ(std::tuple(settings().hostCookie, settings().lineLength, settings().lineWidth),
            std::tuple(module.portApi()->cookie, 20u, 1u));
  ASSERT_EQ(module.ports().size(), 4u);
  EXPECT_EQ(module.ports()[2].longName, "Speed Controller");
}

// The first frame paints 1500 pairs onto transparent black; later frames
// paint on the canvas the host cached, which always ends as the output.
TEST_F(LinalizeModuleTest, AccumulatesStrokesOnTheCachedCanvasInBothFormats) {
  const auto bitmapCalls = [&] {
    Strings calls;
    for (const std::string &name : recorder.functions(FourCC("lnlz")))
      if (name.find("Image") != std::string::npos || name.find("Cache") != std::string::npos ||
          name == "OpenForWriting")
        calls.push_back(name);
    return calls;
  };
  for (const uint32_t format : {host::kGrey8, host::kARGB32}) {
    if (format == host::kARGB32) linalize = graph->addModule(FourCC("lnlz")), still = kNone;
    settings().lineLength = 7, settings().lineWidth = 2;
    connectStill(41, 29, format);
    Image canvas(41, 29, format);
    for (int frame = 0; frame < 3; ++frame) {
      test::DirectRandom direct{CurrentRandomSeed()};
      Paint(canvas, input, direct, 1500, 7, 2);
      ASSERT_TRUE(samePixels(render(), canvas)) << format << " frame " << frame;
      ASSERT_TRUE(samePixels(instance().cacheImage(), canvas)) << format << " frame " << frame;
      EXPECT_EQ(CurrentRandomSeed(), direct.seed);
      EXPECT_EQ(bitmapCalls(), frame == 0 ? (Strings{"CacheImage", "LockImage", "LockImage", "CreateImage",
                                                     "OpenForWriting", "CopyImage"})
                                          : (Strings{"CacheImage", "LockImage", "LockImage", "CopyCacheToOutput",
                                                     "OpenForWriting", "CopyImage"}));
      connectStill(41, 29, format, frame + 1);  // the picture moves; the canvas keeps the old strokes
    }
  }
}

// Speed scales the count (speed x 3000, truncated); zero, negative or NaN
// speeds draw nothing and the output is the canvas as it was.
TEST_F(LinalizeModuleTest, SpeedSetsTheCountAndNoStrokesLeaveTheCanvas) {
  connectStill(17, 11, host::kARGB32);
  const host::NodeId speed = graph->addConstant(0.0f);
  graph->connect(speed, linalize, 2);
  Image canvas(17, 11, host::kARGB32);
  for (const float value : {0.0f, -0.5f, std::numeric_limits<float>::quiet_NaN(), 0.001f, -1e9f, 0.01f, 1e-4f}) {
    graph->setConstant(speed, value);
    test::DirectRandom direct{CurrentRandomSeed()};
    const uint32_t count = value > 0.0f ? static_cast<uint32_t>(value * 3000.0f) : 0u;
    Paint(canvas, input, direct, count, 20, 1);
    ASSERT_TRUE(samePixels(render(), canvas)) << value;
    ASSERT_EQ(CurrentRandomSeed(), direct.seed) << value;
  }
}

// Disabled: the input passes and becomes the canvas, the speed is not read;
// enabled again, strokes land on that input.
TEST_F(LinalizeModuleTest, WhileDisabledTheInputBecomesTheCanvas) {
  connectStill(13, 9, host::kGrey8);
  const host::NodeId onOff = graph->addOnOff(false);
  graph->connect(onOff, linalize, 1);
  graph->connect(graph->addConstant(0.01f), linalize, 2);
  const uint32_t seed = CurrentRandomSeed();
  EXPECT_TRUE(samePixels(render(), input) && samePixels(instance().cacheImage(), input));
  EXPECT_EQ(CurrentRandomSeed(), seed);
  for (const host::RecordedCall &call : recorder.calls())
    EXPECT_FALSE(call.function == "ReadInput" && call.arguments.at(0) == "2");
  graph->setOnOff(onOff, true);
  Image canvas = input;
  test::DirectRandom direct{seed};
  Paint(canvas, input, direct, 30, 20, 1);
  EXPECT_TRUE(samePixels(render(), canvas));
}

// Strokes clip at every border; huge lengths and widths cover the whole
// canvas without overflow; 1 and 1 give single dots.
TEST_F(LinalizeModuleTest, StrokesClipAtTheBordersWhateverTheirSize) {
  const host::NodeId speed = graph->addConstant(0.001f);  // 3 pairs
  graph->connect(speed, linalize, 2);
  struct Case {
    uint32_t length, width, imageWidth, imageHeight;
  };
  for (const Case &c : std::vector<Case>{{20, 1, 5, 4},
                                         {1, 1, 9, 7},
                                         {0xFFFFFFFFu, 0xFFFFFFFFu, 6, 5},
                                         {0x80000000u, 3, 3, 8},
                                         {2, 0x7FFFFFFFu, 1, 1}}) {
    settings().lineLength = c.length, settings().lineWidth = c.width;
    connectStill(c.imageWidth, c.imageHeight, host::kARGB32, c.imageWidth);
    Image canvas = render();  // the canvas so far, at this size
    test::DirectRandom direct{CurrentRandomSeed()};
    Paint(canvas, input, direct, 3, c.length, c.width);
    ASSERT_TRUE(samePixels(render(), canvas)) << c.length << " " << c.width;
  }
}

// Jishin and Linalize draw from one sequence: a Jishin frame between two
// Linalize frames takes its two numbers out of the middle.
TEST_F(LinalizeModuleTest, SharesTheRandomSequenceWithJishin) {
  connectStill(15, 10, host::kARGB32);
  graph->connect(graph->addConstant(0.001f), linalize, 2);
  const host::NodeId jishin = graph->addModule(FourCC("jshn"));
  graph->connect(still, jishin, 0);
  static_cast<JishinSettings *>(graph->instance(jishin).saveRecord()->settings)->direction = 2;
  Image canvas(15, 10, host::kARGB32);
  test::DirectRandom direct{CurrentRandomSeed()};
  Paint(canvas, input, direct, 3, 20, 1);
  ASSERT_TRUE(samePixels(render(), canvas));
  graph->renderFrame(jishin, 0.0, 15, 10, host::kARGB32);
  direct.next(), direct.next();  // Jishin's dx and dy
  Paint(canvas, input, direct, 3, 20, 1);
  EXPECT_TRUE(samePixels(render(), canvas));
  EXPECT_EQ(CurrentRandomSeed(), direct.seed);
}

// A cached canvas of another size is copied in at the output's size; a
// frame without input fails and leaves the canvas; without a request the
// render fails at once.
TEST_F(LinalizeModuleTest, CanvasFollowsTheOutputSizeAndFailuresLeaveIt) {
  connectStill(8, 6, host::kARGB32);
  graph->connect(graph->addConstant(0.0f), linalize, 2);
  const Image first = render();  // transparent black
  EXPECT_TRUE(samePixels(first, Image(8, 6, host::kARGB32)));
  const host::NodeId onOff = graph->addOnOff(false);
  graph->connect(onOff, linalize, 1);
  render();  // the input becomes the canvas
  graph->setOnOff(onOff, true);
  const Image bigger = *graph->renderFrame(linalize, 0.0, 11, 7, host::kARGB32);
  for (uint32_t y = 0; y < 7; ++y)
    for (uint32_t x = 0; x < 11; ++x)
      ASSERT_EQ(bigger.pixel(x, y), x < 8 && y < 6 ? input.pixel(x, y) : 0u) << x << "," << y;

  const Image kept = instance().cacheImage();
  graph->disconnect(linalize, 0);
  EXPECT_THROW(graph->renderFrame(linalize, 0.0, 11, 7, host::kARGB32), host::HostError);
  HostEvent empty{};
  EXPECT_EQ(instance().send(kRenderOutput, &empty), 0u);
  EXPECT_TRUE(samePixels(instance().cacheImage(), kept));
}

// The image request goes on as it is; only when it is placed is Speed asked
// for, at the request's time.
TEST_F(LinalizeModuleTest, RequestsSpeedOnlyWhenTheImageRequestIsPlaced) {
  graph->connect(graph->addConstant(1.0f), linalize, 2);
  ImageDescriptor wanted{};
  wanted.time = 3.25, wanted.width = 4, wanted.height = 4, wanted.pixelFormat = host::kGrey8;
  ValueRecord request{};
  request.stamp = 41, request.type = FourCC("imag"), request.parameter = &wanted;
  HostEvent event{};
  event.value = &request;
  ASSERT_EQ(instance().send(kOutputRequested, &event), 1u);
  EXPECT_FALSE(instance().pendingRequest(2).has_value());
  connectStill(4, 4, host::kGrey8);
  ASSERT_EQ(instance().send(kOutputRequested, &event), 1u);
  ASSERT_TRUE(instance().pendingRequest(0).has_value() && instance().pendingRequest(2).has_value());
  EXPECT_EQ(std::tuple(instance().pendingRequest(2)->type, instance().pendingRequest(2)->time),
            std::tuple(FourCC("ctrl"), 3.25));
  ASSERT_EQ(instance().send(kRequestCancelled, &event), 1u);
  EXPECT_FALSE(instance().pendingRequest(0).has_value() || instance().pendingRequest(2).has_value());
}

TEST_F(LinalizeModuleTest, SavesAndRestoresBothLineSettingsUnchecked) {
  host::SettingsStore store;
  host::Instance &module = instance();
  EXPECT_FALSE(module.load(store.table()));
  settings().lineLength = 33, settings().lineWidth = 0xFFFFFFFFu;
  ASSERT_TRUE(module.save(store.table()));
  EXPECT_EQ(store.keys("Linalize"), (Strings{"Line Length", "Line Width"}));
  EXPECT_TRUE(store.get("Linalize", "Line Length") == host::SettingValue(int64_t{33}) &&
              store.get("Linalize", "Line Width") == host::SettingValue(int64_t{0xFFFFFFFF}));
  store.set("Linalize", "Line Length", int64_t{0});
  store.set("Linalize", "Line Width", int64_t{0x500000009});
  ASSERT_TRUE(module.load(store.table()));
  EXPECT_EQ(std::tuple(settings().lineLength, settings().lineWidth), std::tuple(0u, 9u));
  SettingsTable refusing = *store.table();
  refusing.OpenGroupForWriting = [](void *, const char *) -> SettingsGroup * { return nullptr; };
  EXPECT_FALSE(module.save(&refusing));
}

// Two number fields from 1 to 2147483647 in steps of 10; OK counts only once
// the host's dialog check accepts.
TEST_F(LinalizeModuleTest, PanelEditsBothFieldsAndWaitsForTheDialogCheck) {
  settings().lineLength = 24, settings().lineWidth = 3;
  host::CapturingPanel capture;
  EXPECT_FALSE(instance().runPanel(capture.table()));
  const host::PanelModel &panel = capture.model();
  EXPECT_EQ(panel.rect, (host::PanelRect{kPanelDefaultPosition, kPanelDefaultPosition, 200, 130}));
  using K = host::ControlKind;
  const std::vector<std::tuple<K, std::string, int64_t>> layout = {
      {K::StaticText, "Length :", 0}, {K::StaticText, "Width :", 0}, {K::NumberField, "", 24},
      {K::NumberField, "", 3},        {K::Button, "OK", 0},          {K::Button, "Cancel", 0}};
  ASSERT_EQ(panel.controls.size(), layout.size());
  for (size_t i = 0; i < layout.size(); ++i) {
    const host::PanelControlModel &control = panel.controls[i];
    EXPECT_EQ(std::tuple(control.kind, control.text, control.kind == K::NumberField ? control.value : 0), layout[i]);
    if (control.kind == K::NumberField) {
      EXPECT_EQ(std::tuple(control.minimum, control.maximum, control.step), std::tuple(1, 2147483647, 10));
    }
  }
  EXPECT_EQ(std::tuple(panel.controls[4].item, panel.controls[5].item), std::tuple(1, 2));

  host::ScriptedPanel script;
  script.set("Length", "51").set("Width", "5").ok().ok();
  script.checkAnswers({1, 0});
  ASSERT_TRUE(instance().runPanel(script.table()));
  EXPECT_EQ(script.model().checkCalls, 2u);
  EXPECT_EQ(std::tuple(settings().lineLength, settings().lineWidth), std::tuple(51u, 5u));
}

TEST_F(LinalizeModuleTest, PanelCancelOrAnyMissingItemKeepsTheSettings) {
  host::ScriptedPanel cancel;
  cancel.set("Length", "99").cancel();
  EXPECT_FALSE(instance().runPanel(cancel.table()));
  for (size_t failing = 0; failing < 6; ++failing) {
    host::ScriptedPanel script;
    script.set("Length", "99").ok();
    script.failControlCreation(failing);
    EXPECT_FALSE(instance().runPanel(script.table())) << failing;
    EXPECT_TRUE(!script.model().shown && script.model().closeCalls == 1u) << failing;
  }
  host::ScriptedPanel noDialog;
  noDialog.failDialogCreation();
  EXPECT_FALSE(instance().runPanel(noDialog.table()));
  EXPECT_EQ(std::tuple(settings().lineLength, settings().lineWidth), std::tuple(20u, 1u));
}

}  // namespace
}  // namespace tessivo
