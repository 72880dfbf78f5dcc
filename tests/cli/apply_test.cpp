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
    input_ = patterned(23, 17);  // odd sizes: row padding differs from width x 4
    host::writePng(path("in.png"), input_);
  }

  host::Image applied(const std::vector<std::string>& extra, host::PngTarget target = host::PngTarget::Argb) {
    std::vector<std::string> args{"apply"};
    args.insert(args.end(), extra.begin(), extra.end());
    const RunResult result = run(args);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.err, "");
    return host::readPng(path("out.png"), target);
  }

  host::Image input_;
};

TEST_F(ApplyTest, FullFadeGivesExactlyTheSetColour) {
  const host::Image out = applied({"fadr", "in.png", "out.png", "--ctrl", "Fade=1.0", "--set", "Fade Color=#ff102030"});
  ASSERT_EQ(out.width(), input_.width());
  ASSERT_EQ(out.height(), input_.height());
  for (uint32_t y = 0; y < out.height(); ++y)
    for (uint32_t x = 0; x < out.width(); ++x) ASSERT_EQ(out.pixel(x, y), 0xFF102030u) << x << "," << y;
}

TEST_F(ApplyTest, ZeroFadeAndOffBothCopyTheInput) {
  // Port named by long name, short name and index alike.
  for (const char* control : {"Fade Input=0", "Fade=0", "2=0"}) {
    const host::Image out = applied({"fadr", "in.png", "out.png", "--ctrl", control, "--set", "Fade Color=#ff102030"});
    EXPECT_TRUE(host::samePixels(out, input_)) << control;
  }
  const host::Image off = applied({"fadr", "in.png", "out.png", "--off", "--ctrl", "Fade=1", "--set",
                                   "Fade Color=#ff102030"});
  EXPECT_TRUE(host::samePixels(off, input_));
}

TEST_F(ApplyTest, GrayRunsTheOneByteFormatAndWritesGreyPng) {
  // Fader's grey of 0xFF00FF00 is 63 (the green term keeps only eight bits).
  applied({"fadr", "in.png", "out.png", "--gray", "--ctrl", "Fade=1", "--set", "Fade Color=#ff00ff00"});
  const std::string bytes = readText(path("out.png"));
  ASSERT_GT(bytes.size(), 26u);
  EXPECT_EQ(static_cast<uint8_t>(bytes[24]), 8);  // IHDR bit depth
  EXPECT_EQ(static_cast<uint8_t>(bytes[25]), 0);  // IHDR colour type: grey
  const host::Image out = host::readPng(path("out.png"), host::PngTarget::Grey);
  for (uint32_t y = 0; y < out.height(); ++y)
    for (uint32_t x = 0; x < out.width(); ++x) ASSERT_EQ(out.pixel(x, y), 63u);
}

TEST_F(ApplyTest, ChainRunsEachModuleInTurn) {
  // Half a fade towards transparent black halves every channel; twice quarters it.
  const host::Image out = applied({"fadr+fadr", "in.png", "out.png", "--ctrl", "Fade=0.5"});
  for (uint32_t y = 0; y < out.height(); ++y)
    for (uint32_t x = 0; x < out.width(); ++x) {
      const uint32_t s = input_.pixel(x, y);
      uint32_t expected = 0;
      for (int shift = 0; shift < 32; shift += 8) expected |= (((s >> shift) & 0xFF) >> 2) << shift;
      ASSERT_EQ(out.pixel(x, y), expected) << x << "," << y;
    }
}

TEST_F(ApplyTest, SettingsFileIsLoadedBeforeSet) {
  std::ofstream(path("s.json")) << R"({"format":"tessivo-settings","version":1,"groups":{"Fader":{)"
                                   R"("Fade Color":{"type":"integer","value":4278255360}}}})";
  const host::Image fromFile = applied({"fadr", "in.png", "out.png", "--settings", "s.json", "--ctrl", "Fade=1"});
  EXPECT_EQ(fromFile.pixel(5, 5), 0xFF00FF00u);
  const host::Image overridden = applied({"fadr", "in.png", "out.png", "--settings", "s.json", "--ctrl", "Fade=1",
                                          "--set", "fadr:Fade Color=#80402010"});
  EXPECT_EQ(overridden.pixel(5, 5), 0x80402010u);
}

TEST_F(ApplyTest, RefusesToOverwriteTheInput) {
  const std::string before = readText(path("in.png"));
  const RunResult result = run({"apply", "fadr", "in.png", "in.png", "--ctrl", "Fade=1"});
  EXPECT_NE(result.exitCode, 0);
  EXPECT_EQ(result.errLines().size(), 1u) << result.err;
  EXPECT_EQ(readText(path("in.png")), before);
}

}  // namespace
}  // namespace tessivo::cli::testing
