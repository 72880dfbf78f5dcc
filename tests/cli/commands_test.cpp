// `list`, `info`, `panel` and `demo` end to end.
#include "cli_runner.h"

#include <tessivo/host/image_file.h>
#include <tessivo/host/settings_store.h>

namespace tessivo::cli::testing {
namespace {

using ::testing::HasSubstr;

std::string lastLine(std::string text) {
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return text.substr(text.rfind('\n') + 1);  // npos + 1 is 0
}

using CommandTest = CliTest;

TEST_F(CommandTest, ListAndInfoDescribeFader) {
  const RunResult result = run({"list"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr("fadr  Fader  box 96x60\n     0  in   imag  image  Image Input (In)\n"
                                    "     1  in   ddes  value  Enable Input (On/Off)\n"
                                    "     2  in   ctrl  value  Fade Input (Fade)\n     3  out  imag  image  Image Output (Out)\n"));

  EXPECT_THAT(result.out, HasSubstr("built but not listed: dfsn (Diffusion)"));
  const RunResult version = run({"--version"});
  EXPECT_TRUE(version.exitCode == 0 && version.out.starts_with("tessivo ")) << version.out;
  const RunResult hidden = run({"list", "--hidden", "dfsn"});
  ASSERT_EQ(hidden.exitCode, 0) << hidden.err;
  EXPECT_THAT(hidden.out, HasSubstr("dfsn"));
  const RunResult info = run({"info", "fadr"});
  ASSERT_EQ(info.exitCode, 0) << info.err;
  for (const char* shown : {"Settings (group \"Fader\")", "\"Fade Color\"  colour (an integer 0xAARRGGBB)  default "
                            "#00000000 (transparent black)", "2 \"Fade\": 0 to 1 (", "; unwired: 0.5\n",
                            "Grey format: in the grey format the fade colour becomes one grey",
                            "number field \"Fade alpha\": 0 to 255", "colour button \"Fade color\""})
    EXPECT_THAT(info.out, HasSubstr(shown));
  EXPECT_THAT(run({"info", "strp"}).out, HasSubstr("\"ForeColor\"  colour  default #FFD200FF\n"));
}

// The image library (and its hundreds of dependencies) loads with the first
// still, so commands that read or write none start without it.
TEST_F(CommandTest, TheImageCodecLoadsOnlyForStills) {
  const auto loads = [&](const std::string& arguments) {
    const std::string command = "cd " + shellQuote(path("").string()) + " && LD_DEBUG=files " +
                                shellQuote(TESSIVO_CLI_PATH) + " " + arguments + " >/dev/null 2>trace.txt";
    EXPECT_EQ(std::system(command.c_str()), 0) << arguments;
    return readText(path("trace.txt")).find("libOpenImageIO") != std::string::npos;
  };
  EXPECT_FALSE(loads("list"));
  EXPECT_FALSE(loads("info fadr"));
  EXPECT_TRUE(loads("demo --out sheet --size 16x8 --clip-frames 0"));
}

TEST_F(CommandTest, PanelOkSavesTheFileAndCancelLeavesNone) {
  const RunResult cancelled = run({"panel", "fadr", "--settings", "s.json"}, "1 = #112233\ncancel\n");
  EXPECT_EQ(cancelled.exitCode, 0) << cancelled.err;
  EXPECT_FALSE(std::filesystem::exists(path("s.json")));

  // The end of input cancels too, but as a failure.
  const RunResult ended = run({"panel", "fadr", "--settings", "s.json"}, "1 = #112233\n");
  EXPECT_TRUE(ended.oneLineError() && ended.exitCode == 1) << ended.err;
  EXPECT_FALSE(std::filesystem::exists(path("s.json")));

  const RunResult accepted = run({"panel", "fadr", "--settings", "s.json"}, "1 = #112233\n2 = 200\nok\n");
  ASSERT_EQ(accepted.exitCode, 0) << accepted.err;
  EXPECT_THAT(accepted.out, HasSubstr("Fader (fadr) settings\n"));
  EXPECT_THAT(accepted.out, HasSubstr("Saved Fader settings"));
  EXPECT_THAT(readText(path("s.json")), HasSubstr("\"value\": \"#112233C8\""));
  host::SettingsStore store;
  store.loadFile(path("s.json"));
  EXPECT_EQ(store.get("Fader", "Fade Color"), host::SettingValue(std::int64_t{0xC8112233}));

  // Reopened, the panel starts from the saved values; Cancel keeps the file as it was.
  const std::string saved = readText(path("s.json"));
  const RunResult reopened = run({"panel", "fadr", "--settings", "s.json"}, "cancel\n");
  EXPECT_THAT(reopened.out, HasSubstr("Fade color: #112233"));
  EXPECT_EQ(readText(path("s.json")), saved);
}

TEST_F(CommandTest, DemoWritesEveryPictureIntoANewFolderEachRun) {
  const RunResult first = run({"demo", "--size", "64x36", "--clip-frames", "5"});
  ASSERT_EQ(first.exitCode, 0) << first.err;
  const std::filesystem::path folder = lastLine(first.out);
  EXPECT_EQ(folder, path("tessivo-demo"));
  const host::Image input = host::readImage(folder / "input.png");
  const host::Image fader = host::readImage(folder / "fadr-Fader.png");
  ASSERT_TRUE(input.width() == 64u && input.height() == 36u && fader.width() == 64u && fader.height() == 36u);
  // With nothing connected Fader fades halfway towards its default colour, transparent black.
  for (uint32_t y = 0; y < 36; y += 5)
    for (uint32_t x = 0; x < 64; x += 3) ASSERT_EQ(fader.pixel(x, y), (input.pixel(x, y) >> 1) & 0x7F7F7F7Fu) << x << "," << y;
  EXPECT_GE(host::readImage(folder / "contact-sheet.png").width(), 2u * 64u);  // input and Fader side by side at least
  ASSERT_TRUE(std::filesystem::exists(folder / "contact-sheet.mp4"));
  if (std::system("command -v ffprobe >/dev/null 2>&1") == 0) {
    const std::string probe = "ffprobe -v error -count_frames -show_entries stream=nb_read_frames -of csv=p=0 " +
                              shellQuote((folder / "contact-sheet.mp4").string()) + " > " +
                              shellQuote(path("frames.txt").string());
    ASSERT_EQ(std::system(probe.c_str()), 0);
    EXPECT_EQ(readText(path("frames.txt")), "5\n");
  }

  const RunResult second = run({"demo", "--size", "64x36", "--clip-frames", "0"});
  ASSERT_EQ(second.exitCode, 0) << second.err;
  EXPECT_EQ(std::filesystem::path(lastLine(second.out)), path("tessivo-demo-2"));
  EXPECT_FALSE(std::filesystem::exists(path("tessivo-demo-2/contact-sheet.mp4")));
}

TEST_F(CommandTest, DemoNeverOverwritesFilesInAGivenFolder) {
  std::filesystem::create_directory(path("mine"));
  std::ofstream(path("mine/input.png")) << "precious";
  EXPECT_TRUE(run({"demo", "--out", "mine", "--size", "32x18"}).oneLineError());
  EXPECT_EQ(readText(path("mine/input.png")), "precious");
}

}  // namespace
}  // namespace tessivo::cli::testing
