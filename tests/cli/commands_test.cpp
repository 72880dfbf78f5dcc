// `list`, `info`, `panel` and `demo` end to end.
#include "cli_runner.h"

#include <tessivo/host/image_file.h>
#include <tessivo/host/settings_store.h>

namespace tessivo::cli::testing {
namespace {

using ::testing::HasSubstr;

std::string lastLine(const std::string& text) {
  const size_t end = text.find_last_not_of('\n');
  if (end == std::string::npos) return {};
  const size_t start = text.rfind('\n', end);
  return text.substr(start == std::string::npos ? 0 : start + 1, end - (start == std::string::npos ? 0 : start + 1) + 1);
}

using DescribeTest = CliTest;

TEST_F(DescribeTest, ListShowsFaderWithItsFourPorts) {
  const RunResult result = run({"list"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr("fadr  Fader  box 96x60\n"));
  EXPECT_THAT(result.out, HasSubstr(" 0  in   imag  image  Image Input (In)\n"));
  EXPECT_THAT(result.out, HasSubstr(" 1  in   ddes  value  Enable Input (On/Off)\n"));
  EXPECT_THAT(result.out, HasSubstr(" 2  in   ctrl  value  Fade Input (Fade)\n"));
  EXPECT_THAT(result.out, HasSubstr(" 3  out  imag  image  Image Output (Out)\n"));

  const RunResult hidden = run({"list", "--hidden", "dfsn"});
  ASSERT_EQ(hidden.exitCode, 0) << hidden.err;
  EXPECT_THAT(hidden.out, HasSubstr("dfsn"));
}

TEST_F(DescribeTest, InfoShowsSettingsAndPanelControls) {
  const RunResult result = run({"info", "fadr"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr("Settings (group \"Fader\")"));
  EXPECT_THAT(result.out, HasSubstr("\"Fade Color\"  integer  default 0"));
  EXPECT_THAT(result.out, HasSubstr("number field \"Fade alpha\": 0 to 255"));
  EXPECT_THAT(result.out, HasSubstr("colour button \"Fade color\""));
}

using PanelTest = CliTest;

TEST_F(PanelTest, OkSavesTheFileAndCancelLeavesNone) {
  const RunResult cancelled = run({"panel", "fadr", "--settings", "s.json"}, "1 = #112233\ncancel\n");
  EXPECT_EQ(cancelled.exitCode, 0) << cancelled.err;
  EXPECT_FALSE(std::filesystem::exists(path("s.json")));

  const RunResult accepted = run({"panel", "fadr", "--settings", "s.json"}, "1 = #112233\n2 = 200\nok\n");
  ASSERT_EQ(accepted.exitCode, 0) << accepted.err;
  EXPECT_THAT(accepted.out, HasSubstr("Saved Fader settings"));
  host::SettingsStore store;
  store.loadFile(path("s.json"));
  EXPECT_EQ(store.get("Fader", "Fade Color"), host::SettingValue(std::int64_t{0xC8112233}));

  // Reopened, the panel starts from the saved values; Cancel keeps the file as it was.
  const std::string saved = readText(path("s.json"));
  const RunResult reopened = run({"panel", "fadr", "--settings", "s.json"}, "cancel\n");
  EXPECT_THAT(reopened.out, HasSubstr("Fade color: #112233"));
  EXPECT_EQ(readText(path("s.json")), saved);
}

using DemoTest = CliTest;

TEST_F(DemoTest, WritesEveryPictureIntoANewFolderEachRun) {
  const RunResult first = run({"demo", "--size", "64x36"});
  ASSERT_EQ(first.exitCode, 0) << first.err;
  const std::filesystem::path folder = lastLine(first.out);
  EXPECT_EQ(folder, path("tessivo-demo"));
  for (const char* name : {"input.png", "fadr-Fader.png", "contact-sheet.png"})
    EXPECT_TRUE(std::filesystem::exists(folder / name)) << name;
  const host::Image input = host::readPng(folder / "input.png");
  EXPECT_EQ(input.width(), 64u);
  EXPECT_EQ(input.height(), 36u);
  // With nothing connected Fader fades halfway towards its default colour, transparent black.
  const host::Image fader = host::readPng(folder / "fadr-Fader.png");
  ASSERT_EQ(fader.width(), 64u);
  for (uint32_t y = 0; y < 36; y += 5)
    for (uint32_t x = 0; x < 64; x += 3) {
      uint32_t halved = 0;
      for (int shift = 0; shift < 32; shift += 8) halved |= (((input.pixel(x, y) >> shift) & 0xFF) >> 1) << shift;
      ASSERT_EQ(fader.pixel(x, y), halved) << x << "," << y;
    }
  const host::Image sheet = host::readPng(folder / "contact-sheet.png");
  EXPECT_GE(sheet.width(), 2u * 64u);  // input and Fader side by side at least

  const RunResult second = run({"demo", "--size", "64x36"});
  ASSERT_EQ(second.exitCode, 0) << second.err;
  EXPECT_EQ(std::filesystem::path(lastLine(second.out)), path("tessivo-demo-2"));
}

TEST_F(DemoTest, NeverOverwritesFilesInAGivenFolder) {
  std::filesystem::create_directory(path("mine"));
  std::ofstream(path("mine/input.png")) << "precious";
  const RunResult result = run({"demo", "--out", "mine", "--size", "32x18"});
  EXPECT_NE(result.exitCode, 0);
  EXPECT_EQ(result.errLines().size(), 1u) << result.err;
  EXPECT_EQ(readText(path("mine/input.png")), "precious");
}

}  // namespace
}  // namespace tessivo::cli::testing
