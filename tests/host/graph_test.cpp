#include "host_test_support.h"
#include "tessivo/host/graph.h"
#include "tessivo/host/image_ops.h"

#include <algorithm>

namespace tessivo::host {
namespace {

struct Mode {
  uint32_t format;
  bool threaded;
  std::string name() const { return std::string(format ? "ARGB" : "Grey") + (threaded ? "Threaded" : ""); }
  friend void PrintTo(const Mode& mode, std::ostream* out) { *out << mode.name(); }
};

// A still picture into a Fader, in both pixel formats and both delivery modes.
class FaderGraphTest : public ::testing::TestWithParam<Mode> {
 protected:
  void SetUp() override {
    bundle = testing::loadBundle(&recorder, GetParam().threaded);
    graph = std::make_unique<Graph>(*bundle);
    input = testing::patterned(13, 7, GetParam().format);
    fader = graph->addModule(FourCC("fadr"));
    graph->connect(graph->addStill(input), fader, 0);
  }
  std::shared_ptr<const Image> render(double time = 0.0, NodeId node = 0) {
    return graph->renderFrame(node ? node : fader, time, input.width(), input.height(), GetParam().format);
  }
  // Every channel shifted right: the default fade colour (0) at amount 0.5, applied `times` times.
  Image halved(int times = 1) const {
    Image expected = input;
    for (uint32_t y = 0; y < input.height(); ++y)
      for (uint32_t x = 0; x < input.width(); ++x)
        expected.setPixel(x, y, (input.pixel(x, y) >> times) & ((0xFFu >> times) * 0x01010101u));
    return expected;
  }

  Recorder recorder;
  std::unique_ptr<Bundle> bundle;
  std::unique_ptr<Graph> graph;
  Image input;
  NodeId fader = 0;
};

TEST_P(FaderGraphTest, FadeAmountOnOffAndChains) {
  const auto output = render();  // unwired amount: halfway to the default colour
  EXPECT_TRUE(output->pixelFormat() == GetParam().format && samePixels(*output, halved()));
  const NodeId second = graph->addModule(FourCC("fadr"));
  graph->connect(fader, second, 0);  // chained
  EXPECT_TRUE(samePixels(*render(0.0, second), halved(2)));

  graph->connect(graph->addControl([](double t) { return static_cast<float>(t); }), fader, 2);
  EXPECT_TRUE(samePixels(*render(0.5), halved()));
  const Image transparentBlack(input.width(), input.height(), GetParam().format);
  EXPECT_TRUE(samePixels(*render(1.0), transparentBlack));
  EXPECT_TRUE(samePixels(*render(0.0), input));

  const NodeId onOff = graph->addOnOff(false);
  graph->connect(onOff, fader, 1);
  EXPECT_TRUE(samePixels(*render(1.0), input));  // off: a copy
  graph->setOnOff(onOff, true);
  EXPECT_TRUE(samePixels(*render(1.0), transparentBlack));
}

TEST_P(FaderGraphTest, MessagesAndCallsOfOneFrameComeInOrder) {
  graph->connect(graph->addOnOff(true), fader, 1);
  recorder.clear();
  render(2.0);
  std::vector<std::string> messages;
  for (const auto& call : recorder.calls())
    if (call.kind == RecordedCall::Kind::Message) messages.push_back(call.function);
  EXPECT_EQ(messages, (std::vector<std::string>{"OutputRequested", "RenderStart", "InputValueArrived",
                                                "RenderOutput", "RenderStop"}));
  // Between RenderOutput and RenderStop the module reads its input, creates the output and locks the input.
  const auto names = recorder.functions(FourCC("fadr"));
  auto at = [&](const char* name) { return std::ranges::find(names, name) - names.begin(); };
  const char* order[] = {"OutputRequested", "RequestInput", "RenderOutput", "ReadInput", "CreateImage", "RenderStop"};
  for (size_t i = 1; i < std::size(order); ++i) EXPECT_LT(at(order[i - 1]), at(order[i])) << order[i];
  EXPECT_EQ(recorder.count("RequestCancelled"), 0u);
}

INSTANTIATE_TEST_SUITE_P(Modes, FaderGraphTest,
                         ::testing::Values(Mode{kGrey8, false}, Mode{kARGB32, false}, Mode{kGrey8, true},
                                           Mode{kARGB32, true}),
                         [](const auto& m) { return m.param.name(); });

TEST(Graph, WiringErrorsAndAMissingInputAreReported) {
  Recorder recorder;
  auto bundle = testing::loadBundle(&recorder);
  Graph graph(*bundle);
  const NodeId a = graph.addModule(FourCC("fadr")), b = graph.addModule(FourCC("fadr"));
  const NodeId value = graph.addConstant(0.3f), scene = graph.addTestScene();
  EXPECT_THROW(graph.connect(value, a, 0), HostError);  // control into an image input
  EXPECT_THROW(graph.connect(scene, a, 2), HostError);  // image into a control input
  EXPECT_THROW(graph.connect(scene, a, 7), HostError);
  graph.connect(a, b, 0);
  EXPECT_THROW(graph.connect(b, a, 0), HostError);  // a loop
  EXPECT_THROW(graph.renderFrame(b, 0.0, 0, 4), HostError);
  const std::string message = testing::errorOf([&] { graph.renderFrame(a, 0.0, 8, 8); });
  EXPECT_TRUE(message.find("Fader") != std::string::npos && recorder.count("RequestCancelled") == 1u) << message;

  graph.connect(scene, a, 0);  // the test scene renders at the request's size and time
  const Image first = *graph.renderFrame(a, 0.0, 40, 30, kGrey8);
  const auto later = graph.renderFrame(a, 3.0, 40, 30, kGrey8);
  EXPECT_TRUE(later->width() == 40u && compare(first, *later).differingPixels > 0u);
}

// A chain as long as allowed renders (each module renders the one before it
// inside its own render); one more module is refused with a clear message,
// wherever the wire that would make the chain too long is added.
TEST(Graph, ChainsLongerThanTheLimitAreRefused) {
  Recorder recorder;
  auto bundle = testing::loadBundle(&recorder);
  Graph graph(*bundle);
  const Image input = testing::patterned(3, 2, kARGB32);
  std::vector<NodeId> chain{graph.addStill(input)};
  for (size_t i = 0; i < kMaxChainModules; ++i) {
    chain.push_back(graph.addModule(FourCC("fadr")));
    graph.connect(chain[i], chain.back(), 0);
    graph.connect(graph.addConstant(0.0f), chain.back(), 2);
  }
  EXPECT_TRUE(samePixels(*graph.renderFrame(chain.back(), 0.0, 3, 2), input));
  const NodeId after = graph.addModule(FourCC("fadr")), before = graph.addModule(FourCC("fadr"));
  const std::string message = testing::errorOf([&] { graph.connect(chain.back(), after, 0); });
  EXPECT_NE(message.find("chain of 257 modules; at most 256"), std::string::npos) << message;
  graph.disconnect(chain[1], 0);
  EXPECT_THROW(graph.connect(before, chain[1], 0), HostError);  // the chain grows at its head
  graph.connect(chain[0], before, 0);  // a short branch beside the chain is fine
}

// One output feeding two inputs that request different sizes is rendered for
// each request, and each request keeps its own output and canvas between frames.
TEST(Graph, AnOutputFeedingTwoSizesIsRenderedForEachRequest) {
  auto bundle = testing::loadBundle();
  Graph graph(*bundle);
  const NodeId strokes = graph.addModule(FourCC("lnlz"));  // paints on the canvas kept between frames
  graph.connect(graph.addStill(testing::patterned(64, 48, kARGB32)), strokes, 0);
  graph.connect(graph.addControl([](double t) { return t < 1.0 ? 0.1f : 0.0f; }), strokes, 2);  // then no strokes
  const NodeId big = graph.addModule(FourCC("fadr")), small = graph.addModule(FourCC("fadr"));
  for (const NodeId copy : {big, small}) {
    graph.connect(strokes, copy, 0);
    graph.connect(graph.addConstant(0.0f), copy, 2);  // a plain copy
  }
  const Image bigFirst = *graph.renderFrame(big, 0.0, 64, 48);
  const Image smallFirst = *graph.renderFrame(small, 0.0, 32, 24);
  EXPECT_EQ(smallFirst.width(), 32u);
  for (const double time : {1.0, 2.0}) {  // no new strokes: each canvas as its request left it
    EXPECT_TRUE(samePixels(*graph.renderFrame(big, time, 64, 48), bigFirst)) << time;
    EXPECT_TRUE(samePixels(*graph.renderFrame(small, time, 32, 24), smallFirst)) << time;
  }
  // Both requests' output images live side by side.
  const auto wide = graph.renderFrame(strokes, 3.0, 64, 48), narrow = graph.renderFrame(strokes, 3.0, 32, 24);
  EXPECT_TRUE(samePixels(*wide, bigFirst) && samePixels(*narrow, smallFirst));
}

}  // namespace
}  // namespace tessivo::host
