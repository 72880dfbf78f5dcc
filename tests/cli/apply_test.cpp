// `tessivo apply` end to end: PNG in, modules run through the host, PNG out.
#include "cli_runner.h"

#include <tessivo/host/image_file.h>
#include <tessivo/host/image_ops.h>

namespace tessivo::cli::testing {
namespace {

class ApplyTest : public CliTest {
 protected:
  void SetUp() override {
    CliTest::SetUp();
    host::writePng(path("in.png"), input_);
  }
  host::Image applied(std::vector<std::string> args, host::PngTarget target = host::PngTarget::Argb) {
    args.insert(args.begin(), {"apply", "fadr", "in.png", "out.png"});
    const RunResult result = run(args);
    EXPECT_TRUE(result.exitCode == 0 && result.err.empty()) << result.err;
    return host::readPng(path("out.png"), target);
  }
  // Every pixel of `out` is `want(input pixel)`.
  template <class F>
  void expectEveryPixel(const host::Image& out, F want) {
    ASSERT_TRUE(out.width() == input_.width() && out.height() == input_.height());
    for (uint32_t y = 0; y < out.height(); ++y)
      for (uint32_t x = 0; x < out.width(); ++x) ASSERT_EQ(out.pixel(x, y), want(input_.pixel(x, y))) << x << "," << y;
  }
  const host::Image input_ = patterned(23, 17);  // odd sizes: row padding differs from width x 4
};

TEST_F(ApplyTest, FullFadeGivesExactlyTheColourAndZeroOrOffCopies) {
  expectEveryPixel(applied({"--ctrl", "Fade=1.0", "--set", "Fade Color=#ff102030"}), [](uint32_t) { return 0xFF102030u; });
  // Port named by long name, short name and index alike.
  for (const char* control : {"Fade Input=0", "Fade=0", "2=0"})
    EXPECT_TRUE(host::samePixels(applied({"--ctrl", control, "--set", "Fade Color=#ff102030"}), input_)) << control;
  EXPECT_TRUE(host::samePixels(applied({"--off", "--ctrl", "Fade=1", "--set", "Fade Color=#ff102030"}), input_));
}

TEST_F(ApplyTest, GrayWritesAGreyPngAndChainsRunEachModule) {
  // Fader's grey of 0xFF00FF00 is 63 (the green term keeps only eight bits).
  const host::Image grey = applied({"--gray", "--ctrl", "Fade=1", "--set", "Fade Color=#ff00ff00"}, host::PngTarget::Grey);
  const std::string bytes = readText(path("out.png"));
  ASSERT_GT(bytes.size(), 26u);
  EXPECT_TRUE(bytes[24] == 8 && bytes[25] == 0);  // IHDR: 8 bits, colour type grey
  expectEveryPixel(grey, [](uint32_t) { return 63u; });

  // Half a fade towards transparent black halves every channel; twice quarters it.
  const RunResult chain = run({"apply", "fadr+fadr", "in.png", "out.png", "--ctrl", "Fade=0.5"});
  ASSERT_EQ(chain.exitCode, 0) << chain.err;
  expectEveryPixel(host::readPng(path("out.png")), [](uint32_t s) { return (s >> 2) & 0x3F3F3F3Fu; });
}

TEST_F(ApplyTest, SettingsFileIsLoadedBeforeSetAndTheInputIsNeverOverwritten) {
  std::ofstream(path("s.json")) << R"({"format":"tessivo-settings","version":1,"groups":{"Fader":{)"
                                   R"("Fade Color":{"type":"integer","value":4278255360}}}})";
  EXPECT_EQ(applied({"--settings", "s.json", "--ctrl", "Fade=1"}).pixel(5, 5), 0xFF00FF00u);
  EXPECT_EQ(applied({"--settings", "s.json", "--ctrl", "Fade=1", "--set", "fadr:Fade Color=#80402010"}).pixel(5, 5),
            0x80402010u);
  const std::string before = readText(path("in.png"));
  EXPECT_TRUE(run({"apply", "fadr", "in.png", "in.png", "--ctrl", "Fade=1"}).oneLineError());
  EXPECT_EQ(readText(path("in.png")), before);
}

}  // namespace
}  // namespace tessivo::cli::testing
