// `tessivo apply` end to end: PNG in, modules run through the host, PNG out.
#include "cli_runner.h"

#include <tessivo/host/image_file.h>
#include <tessivo/host/image_ops.h>

#include <algorithm>

namespace tessivo::cli::testing {
namespace {

class ApplyTest : public CliTest {
 protected:
  void SetUp() override {
    CliTest::SetUp();
    host::writeImage(path("in.png"), input_);
  }
  host::Image applied(std::vector<std::string> args, host::ImageTarget target = host::ImageTarget::Argb) {
    args.insert(args.begin(), {"apply", "fadr", "in.png", "out.png"});
    const RunResult result = run(args);
    EXPECT_TRUE(result.exitCode == 0 && result.err.empty()) << result.err;
    return host::readImage(path("out.png"), target);
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
  expectEveryPixel(applied({"--ctrl", "Fade=1.0", "--set", "Fade Color=#102030ff"}), [](uint32_t) { return 0xFF102030u; });
  // Port named by long name, short name and index alike.
  for (const char* control : {"Fade Input=0", "Fade=0", "2=0"})
    EXPECT_TRUE(host::samePixels(applied({"--ctrl", control, "--set", "Fade Color=#102030ff"}), input_)) << control;
  EXPECT_TRUE(host::samePixels(applied({"--off", "--ctrl", "Fade=1", "--set", "Fade Color=#102030ff"}), input_));
}

// Colours in CSS order (#RRGGBB opaque, #RRGGBBAA), by name, or as the packed word for scripts.
TEST_F(ApplyTest, ColoursAreReadInEveryForm) {
  const std::pair<const char*, uint32_t> colours[] = {{"#102030", 0xFF102030u},    {"#10203080", 0x80102030u},
                                                      {"0x80102030", 0x80102030u}, {"2148540464", 0x80102030u},
                                                      {"white", 0xFFFFFFFFu},      {"transparent black", 0u}};
  for (const auto& [text, argb] : colours)
    EXPECT_EQ(applied({"--ctrl", "Fade=1", "--set", std::string("Fade Color=") + text}).pixel(3, 4), argb) << text;
}

// The n-th module of a chain by position or by its code's n-th use; the first copies, the second fades fully.
TEST_F(ApplyTest, AChainAddressesItsSecondModule) {
  for (const char* which : {"2", "fadr#2"}) {
    const RunResult result = run({"apply", "fadr+fadr", "in.png", "out.png", "--ctrl", "1:Fade=0", "--ctrl",
                                  std::string(which) + ":Fade=1", "--set", std::string(which) + ":Fade Color=#102030"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    expectEveryPixel(host::readImage(path("out.png")), [](uint32_t) { return 0xFF102030u; });
  }
  // Blur's code is also its name: it is read as the code.
  const RunResult blur = run({"apply", "blur+fadr", "in.png", "out.png", "--ctrl", "Fade=1", "--set",
                              "Fade Color=#102030"});
  ASSERT_EQ(blur.exitCode, 0) << blur.err;
  expectEveryPixel(host::readImage(path("out.png")), [](uint32_t) { return 0xFF102030u; });
}

// A value outside the documented range is passed on (Fader wraps) with one warning naming the range.
TEST_F(ApplyTest, ControlsOutsideTheirRangeWarnOnce) {
  const std::pair<std::vector<std::string>, const char*> cases[] = {
      {{"--ctrl", "Fade=0.5"}, nullptr},
      {{"--ctrl", "Fade=2"}, "--ctrl Fade=2: 2 is outside the documented range 0 to 1"},
      {{"--ctrl", "Fade=-0.5"}, "--ctrl Fade=-0.5: -0.5 is outside the documented range 0 to 1"},
      {{"--ctrl", "Fade=t", "--time", "3"}, "--ctrl Fade=t: 3 is outside the documented range 0 to 1"},
      {{"--off", "--ctrl", "On/Off=on"}, "--off does not change Fader's On/Off input"}};
  for (const auto& [extra, warning] : cases) {
    std::vector<std::string> args{"apply", "fadr", "in.png", "out.png"};
    args.insert(args.end(), extra.begin(), extra.end());
    const RunResult result = run(args);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    if (warning == nullptr) {
      EXPECT_EQ(result.err, "");
      continue;
    }
    EXPECT_EQ(result.err.rfind(std::string("tessivo: warning: ") + warning, 0), 0u) << result.err;
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
  }
  // Passed on as it is: towards transparent black, amount 2 wraps every channel to (256 - s) & 255, not to 0.
  ASSERT_EQ(run({"apply", "fadr", "in.png", "out.png", "--ctrl", "Fade=2"}).exitCode, 0);
  expectEveryPixel(host::readImage(path("out.png")), [](uint32_t s) {
    uint32_t wrapped = 0;
    for (int shift = 0; shift < 32; shift += 8) wrapped |= ((256 - ((s >> shift) & 0xFF)) & 0xFF) << shift;
    return wrapped;
  });
}

// Between two other programs in a pipe, a still keeps its pixels; an opaque
// input stays RGB, the output format follows --format or the name.
TEST_F(ApplyTest, PipesAndFormatsKeepThePixels) {
  host::Image opaque = input_;
  for (uint32_t y = 0; y < opaque.height(); ++y)
    for (uint32_t x = 0; x < opaque.width(); ++x) opaque.setPixel(x, y, opaque.pixel(x, y) | 0xFF000000u);
  host::ImageWriteOptions rgb;
  rgb.keepAlpha = false;
  host::writeImage(path("rgb.png"), opaque, rgb);
  const std::string command = "cd " + shellQuote(path("").string()) + " && cat rgb.png | " +
                              shellQuote(TESSIVO_CLI_PATH) + " apply fadr - - --ctrl Fade=0 | cat > piped.png";
  ASSERT_EQ(std::system(command.c_str()), 0);
  const host::ImageFile piped = host::readImageFile(path("piped.png"));
  EXPECT_TRUE(host::samePixels(piped.image, opaque) && !piped.hasAlpha && piped.format == "png");

  // Half a fade makes the result translucent: then alpha is written after all.
  const RunResult faded = run({"apply", "fadr", "-", "-", "--ctrl", "Fade=0.5", "--format", "tiff"},
                              readText(path("rgb.png")));
  ASSERT_EQ(faded.exitCode, 0) << faded.err;
  const host::ImageFile tiff = host::decodeImage(faded.out, "standard output");
  EXPECT_TRUE(tiff.format == "tiff" && tiff.hasAlpha);
  EXPECT_EQ(tiff.image.pixel(4, 4), (opaque.pixel(4, 4) >> 1) & 0x7F7F7F7Fu);

  for (const char* name : {"out.tif", "out.bmp", "out.exr"}) {
    ASSERT_EQ(run({"apply", "fadr", "rgb.png", name, "--ctrl", "Fade=0"}).exitCode, 0) << name;
    EXPECT_TRUE(host::samePixels(host::readImage(path(name)), opaque)) << name;
  }
  for (const char* name : {"out.jpg", "out.webp"}) {  // lossy: the format is checked
    ASSERT_EQ(run({"apply", "fadr", "rgb.png", name, "--ctrl", "Fade=0"}).err, "") << name;  // opaque: nothing dropped
    EXPECT_EQ(host::readImageFile(path(name)).format, std::string(name) == "out.jpg" ? "jpeg" : "webp");
  }
}

TEST_F(ApplyTest, ReadOnlyOutputsAreReplacedOnlyWithForce) {
  host::writeImage(path("out.png"), host::Image(2, 2, host::kARGB32));
  std::filesystem::permissions(path("out.png"), std::filesystem::perms::owner_read | std::filesystem::perms::group_read);
  const std::string before = readText(path("out.png"));
  const RunResult refused = run({"apply", "fadr", "in.png", "out.png"});
  EXPECT_TRUE(refused.oneLineError() && refused.exitCode == 1) << refused.err;
  EXPECT_NE(refused.err.find("read-only; pass --force"), std::string::npos) << refused.err;
  EXPECT_EQ(readText(path("out.png")), before);
  ASSERT_EQ(run({"apply", "fadr", "in.png", "out.png", "--force", "--ctrl", "Fade=0"}).exitCode, 0);
  EXPECT_TRUE(host::samePixels(host::readImage(path("out.png")), input_));
  EXPECT_EQ(std::filesystem::status(path("out.png")).permissions(),
            std::filesystem::perms::owner_read | std::filesystem::perms::group_read);
}

TEST_F(ApplyTest, GrayWritesAGreyPngAndChainsRunEachModule) {
  // Fader's grey of 0xFF00FF00 is 63 (the green term keeps only eight bits).
  const host::Image grey = applied({"--gray", "--ctrl", "Fade=1", "--set", "Fade Color=#00ff00ff"}, host::ImageTarget::Grey);
  const std::string bytes = readText(path("out.png"));
  ASSERT_GT(bytes.size(), 26u);
  EXPECT_TRUE(bytes[24] == 8 && bytes[25] == 0);  // IHDR: 8 bits, colour type grey
  expectEveryPixel(grey, [](uint32_t) { return 63u; });

  // Half a fade towards transparent black halves every channel; twice quarters it.
  const RunResult chain = run({"apply", "fadr+fadr", "in.png", "out.png", "--ctrl", "Fade=0.5"});
  ASSERT_EQ(chain.exitCode, 0) << chain.err;
  expectEveryPixel(host::readImage(path("out.png")), [](uint32_t s) { return (s >> 2) & 0x3F3F3F3Fu; });
}

TEST_F(ApplyTest, SettingsFileIsLoadedBeforeSetAndTheInputIsNeverOverwritten) {
  std::ofstream(path("s.json")) << R"({"format":"tessivo-settings","version":1,"groups":{"Fader":{)"
                                   R"("Fade Color":{"type":"integer","value":4278255360}}}})";
  EXPECT_EQ(applied({"--settings", "s.json", "--ctrl", "Fade=1"}).pixel(5, 5), 0xFF00FF00u);
  EXPECT_EQ(applied({"--settings", "s.json", "--ctrl", "Fade=1", "--set", "fadr:Fade Color=#40201080"}).pixel(5, 5),
            0x80402010u);
  const std::string before = readText(path("in.png"));
  EXPECT_TRUE(run({"apply", "fadr", "in.png", "in.png", "--ctrl", "Fade=1"}).oneLineError());
  EXPECT_EQ(readText(path("in.png")), before);
}

}  // namespace
}  // namespace tessivo::cli::testing
