#include "host_test_support.h"
#include "tessivo/host/error.h"
#include "tessivo/host/graph.h"
#include "tessivo/host/image_ops.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace tessivo::host {
namespace {

using testing::patterned;

struct Mode {
  uint32_t format;
  bool threaded;
};

class FaderGraphTest : public ::testing::TestWithParam<Mode> {
 protected:
  void SetUp() override {
    bundle = testing::loadBundle(&recorder, GetParam().threaded);
    graph = std::make_unique<Graph>(*bundle);
    input = patterned(13, 7, GetParam().format);
    still = graph->addStill(input);
    fader = graph->addModule(FourCC("fadr"));
    graph->connect(still, fader, 0);
  }
  void TearDown() override {
    graph.reset();
    bundle.reset();
  }
  std::shared_ptr<const Image> render(double time = 0.0) {
    return graph->renderFrame(fader, time, input.width(), input.height(), GetParam().format);
  }
  // Every channel halved: the default fade colour (0) at the default amount 0.5.
  Image halved() const {
    Image expected = input;
    for (uint32_t y = 0; y < input.height(); ++y)
      for (uint32_t x = 0; x < input.width(); ++x)
        expected.setPixel(x, y, GetParam().format == kGrey8 ? input.pixel(x, y) >> 1 : (input.pixel(x, y) >> 1) & 0x7F7F7F7F);
    return expected;
  }

  Recorder recorder;
  std::unique_ptr<Bundle> bundle;
  std::unique_ptr<Graph> graph;
  Image input;
  NodeId still = 0, fader = 0;
};

TEST_P(FaderGraphTest, UnwiredFadeAmountHalvesTowardsTheDefaultColour) {
  const auto output = render();
  ASSERT_EQ(output->width(), input.width());
  ASSERT_EQ(output->pixelFormat(), GetParam().format);
  EXPECT_TRUE(samePixels(*output, halved()));
}

TEST_P(FaderGraphTest, FadeControlFollowsTime) {
  const NodeId amount = graph->addControl([](double t) { return static_cast<float>(t); });
  graph->connect(amount, fader, 2);
  EXPECT_TRUE(samePixels(*render(0.5), halved()));
  const auto full = render(1.0);  // everything becomes the fade colour, transparent black
  EXPECT_EQ(compare(*full, Image(input.width(), input.height(), GetParam().format)).differingPixels, 0u);
  EXPECT_TRUE(samePixels(*render(0.0), input));  // amount 0: a copy
}

TEST_P(FaderGraphTest, OnOffWiredToOffCopiesTheInput) {
  const NodeId onOff = graph->addOnOff(false);
  graph->connect(onOff, fader, 1);
  EXPECT_TRUE(samePixels(*render(), input));
  graph->setOnOff(onOff, true);
  EXPECT_TRUE(samePixels(*render(), halved()));
}

TEST_P(FaderGraphTest, MessagesAndCallsOfOneFrameComeInOrder) {
  const NodeId onOff = graph->addOnOff(true);
  graph->connect(onOff, fader, 1);
  recorder.clear();
  render(2.0);
  std::vector<std::string> messages;
  for (const auto& call : recorder.calls())
    if (call.kind == RecordedCall::Kind::Message) messages.push_back(call.function);
  const std::vector<std::string> order = {"OutputRequested", "RenderStart", "InputValueArrived", "RenderOutput",
                                          "RenderStop"};
  EXPECT_EQ(messages, order);
  // Between RenderOutput and RenderStop the module reads its input, creates the output and locks the input.
  const auto names = recorder.functions(FourCC("fadr"));
  auto at = [&](const std::string& name) { return std::find(names.begin(), names.end(), name) - names.begin(); };
  EXPECT_LT(at("OutputRequested"), at("RequestInput"));
  EXPECT_LT(at("RenderOutput"), at("ReadInput"));
  EXPECT_LT(at("ReadInput"), at("CreateImage"));
  EXPECT_LT(at("CreateImage"), at("RenderStop"));
  EXPECT_EQ(recorder.count("RequestCancelled"), 0u);
}

TEST_P(FaderGraphTest, FadersChainThroughTheSameMessageCycle) {
  const NodeId second = graph->addModule(FourCC("fadr"));
  graph->connect(fader, second, 0);
  const auto output = graph->renderFrame(second, 0.0, input.width(), input.height(), GetParam().format);
  Image quartered = halved();
  for (uint32_t y = 0; y < input.height(); ++y)
    for (uint32_t x = 0; x < input.width(); ++x)
      quartered.setPixel(x, y, GetParam().format == kGrey8 ? quartered.pixel(x, y) >> 1
                                                           : (quartered.pixel(x, y) >> 1) & 0x7F7F7F7F);
  EXPECT_TRUE(samePixels(*output, quartered));
}

INSTANTIATE_TEST_SUITE_P(Modes, FaderGraphTest,
                         ::testing::Values(Mode{kGrey8, false}, Mode{kARGB32, false}, Mode{kGrey8, true},
                                           Mode{kARGB32, true}),
                         [](const auto& mode) {
                           return std::string(mode.param.format == kGrey8 ? "Grey" : "ARGB") +
                                  (mode.param.threaded ? "Threaded" : "Synchronous");
                         });

TEST(Graph, WiringErrorsAreReported) {
  auto bundle = testing::loadBundle();
  Graph graph(*bundle);
  const NodeId a = graph.addModule(FourCC("fadr"));
  const NodeId b = graph.addModule(FourCC("fadr"));
  const NodeId value = graph.addConstant(0.3f);
  const NodeId scene = graph.addTestScene();
  EXPECT_THROW(graph.connect(value, a, 0), HostError);   // control into an image input
  EXPECT_THROW(graph.connect(scene, a, 2), HostError);   // image into a control input
  EXPECT_THROW(graph.connect(scene, value, 0), HostError);
  EXPECT_THROW(graph.connect(scene, a, 7), HostError);
  graph.connect(a, b, 0);
  EXPECT_THROW(graph.connect(b, a, 0), HostError);       // a loop
  EXPECT_THROW(graph.renderFrame(value, 0.0, 4, 4), HostError);
  EXPECT_THROW(graph.renderFrame(b, 0.0, 0, 4), HostError);
  EXPECT_THROW(graph.addModule(FourCC("nope")), HostError);
}

TEST(Graph, MissingInputFailsTheFrameWithTheModuleName) {
  Recorder recorder;
  auto bundle = testing::loadBundle(&recorder);
  Graph graph(*bundle);
  const NodeId fader = graph.addModule(FourCC("fadr"));
  try {
    graph.renderFrame(fader, 0.0, 8, 8);
    FAIL() << "a fader without input rendered";
  } catch (const HostError& error) {
    EXPECT_NE(std::string(error.what()).find("Fader"), std::string::npos) << error.what();
  }
  EXPECT_EQ(recorder.count("RequestCancelled"), 1u);
}

TEST(Graph, TestSceneSourceRendersAtTheRequest) {
  auto bundle = testing::loadBundle();
  Graph graph(*bundle);
  const NodeId scene = graph.addTestScene();
  const NodeId fader = graph.addModule(FourCC("fadr"));
  graph.connect(scene, fader, 0);
  const auto a = graph.renderFrame(fader, 0.0, 40, 30, kGrey8);
  const Image first = *a;
  const auto b = graph.renderFrame(fader, 3.0, 40, 30, kGrey8);
  EXPECT_EQ(b->width(), 40u);
  EXPECT_GT(compare(first, *b).differingPixels, 0u);
}

}  // namespace
}  // namespace tessivo::host
