// `tessivo render` over clips made by the ffmpeg program: frames, rate, size and
// audio kept, each frame equal to `tessivo apply` at that frame's time.
#include "cli_runner.h"

#include <tessivo/host/image_file.h>
#include <tessivo/host/image_ops.h>

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sstream>

namespace tessivo::cli::testing {
namespace {

class RenderTest : public CliTest {
 protected:
  static constexpr int kFrames = 6;

  void SetUp() override {
    CliTest::SetUp();
    if (std::system("command -v ffmpeg >/dev/null 2>&1 && command -v ffprobe >/dev/null 2>&1") != 0)
      GTEST_SKIP() << "ffmpeg is not installed";
    // 64x32 at 10 frames a second, lossless, with a sine as audio.
    ASSERT_EQ(shell("ffmpeg -loglevel error -f lavfi -i testsrc2=size=64x32:rate=10 -f lavfi -i "
                    "sine=frequency=440:sample_rate=44100 -frames:v " + std::to_string(kFrames) +
                    " -t 0.6 -c:v ffv1 -pix_fmt bgra -c:a flac clip.mkv && "
                    "ffmpeg -loglevel error -i clip.mkv -pix_fmt rgba in_%d.png"),
              0);
  }

  int shell(const std::string &command) const {
    return std::system(("cd " + shellQuote(dir_.string()) + " && " + command).c_str());
  }
};

TEST_F(RenderTest, ChainOverAClipEqualsApplyAtEachFramesTimeWithRateSizeAndAudioKept) {
  const std::vector<std::string> chain = {"--ctrl", "Fade=ramp(t,0,0.5)", "--set", "Effect=Stonify"};
  std::vector<std::string> render = {"render", "fadr+embs", "-i", "clip.mkv", "-o", "out.mkv", "--codec", "ffv1"};
  render.insert(render.end(), chain.begin(), chain.end());
  const RunResult result = run(render);
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_THAT(result.err, ::testing::HasSubstr(std::to_string(kFrames) + " frames"));

  ASSERT_EQ(shell("ffprobe -v error -count_frames -show_entries stream=codec_type,width,height,r_frame_rate,"
                  "nb_read_frames -of csv=p=0 out.mkv > probe.txt"),
            0);
  std::istringstream probe(readText(path("probe.txt")));
  std::string video, audio;
  std::getline(probe, video);
  std::getline(probe, audio);
  EXPECT_EQ(video, "video,64,32,10/1," + std::to_string(kFrames));
  EXPECT_THAT(audio, ::testing::StartsWith("audio,"));

  ASSERT_EQ(shell("ffmpeg -loglevel error -i out.mkv -pix_fmt rgba out_%d.png"), 0);
  for (int i = 1; i <= kFrames; ++i) {
    std::vector<std::string> apply = {"apply", "fadr+embs", "in_" + std::to_string(i) + ".png", "expected.png",
                                      "--time", std::to_string((i - 1) / 10.0)};
    apply.insert(apply.end(), chain.begin(), chain.end());
    ASSERT_EQ(run(apply).exitCode, 0);
    EXPECT_TRUE(host::samePixels(host::readImage(path("out_" + std::to_string(i) + ".png"), host::ImageTarget::Argb),
                           host::readImage(path("expected.png"), host::ImageTarget::Argb)))
        << "frame " << i;
  }
}

TEST_F(RenderTest, GreyRawFramesGoToStandardOutput) {
  const RunResult result = run({"render", "fadr", "-i", "clip.mkv", "-o", "-", "--gray", "--ctrl", "Fade=0.25"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  ASSERT_EQ(result.out.size(), size_t{kFrames} * 64 * 32);
  ASSERT_EQ(run({"apply", "fadr", "in_1.png", "expected.png", "--gray", "--ctrl", "Fade=0.25"}).exitCode, 0);
  const host::Image expected = host::readImage(path("expected.png"), host::ImageTarget::Grey);
  for (uint32_t y = 0; y < 32; ++y)
    for (uint32_t x = 0; x < 64; ++x)
      ASSERT_EQ(static_cast<uint8_t>(result.out[y * 64 + x]), expected.pixel(x, y)) << x << "," << y;
}

TEST_F(RenderTest, KeepsExistingOutputsAndNamesTheColumnOfABadExpression) {
  std::ofstream(path("out.mkv")) << "precious";
  const RunResult refused = run({"render", "fadr", "-i", "clip.mkv", "-o", "out.mkv"});
  EXPECT_TRUE(refused.oneLineError()) << refused.err;
  EXPECT_THAT(refused.err, ::testing::HasSubstr("-y"));
  EXPECT_EQ(readText(path("out.mkv")), "precious");

  const RunResult bad = run({"render", "fadr", "-i", "clip.mkv", "-o", "new.mkv", "--ctrl", "Fade=0.5+*t"});
  EXPECT_TRUE(bad.oneLineError()) << bad.err;
  EXPECT_THAT(bad.err, ::testing::HasSubstr("column 5: Unexpected operator \"*\""));
  EXPECT_FALSE(std::filesystem::exists(path("new.mkv")));

  ASSERT_EQ(run({"render", "fadr", "-i", "clip.mkv", "-o", "out.mkv", "-y"}).exitCode, 0);
  EXPECT_NE(readText(path("out.mkv")), "precious");
}

// A patch made and edited by `tessivo patch` (and a panel) renders what the
// same chain renders with the same options, frame for frame, bit for bit.
TEST_F(RenderTest, APatchEditedOnTheCommandLineRendersLikeTheChain) {
  ASSERT_EQ(run({"patch", "new", "p.json", "fadr+embs"}).exitCode, 0);
  ASSERT_EQ(run({"patch", "set", "p.json", "embs", "Effect=Stonify"}).exitCode, 0);
  ASSERT_EQ(run({"patch", "set", "p.json", "fadr", "Fade=ramp(t,0,0.5)"}).exitCode, 0);
  const RunResult panel = run({"panel", "fadr", "--patch", "p.json"}, "1 = #112233\nok\n");
  ASSERT_EQ(panel.exitCode, 0) << panel.err;
  const RunResult shown = run({"patch", "show", "p.json"});
  EXPECT_THAT(shown.out, ::testing::HasSubstr("Effect = 2"));
  EXPECT_THAT(shown.out, ::testing::HasSubstr("fadr.Fade  control ramp(t,0,0.5)"));
  EXPECT_THAT(shown.out, ::testing::HasSubstr("fadr.Fade -> fadr port 2"));

  const RunResult patched = run({"render", "p.json", "-i", "clip.mkv", "-o", "-"});
  const RunResult chained = run({"render", "fadr+embs", "-i", "clip.mkv", "-o", "-", "--ctrl", "Fade=ramp(t,0,0.5)",
                                 "--set", "Effect=Stonify", "--set", "Fade Color=#11223300"});  // the panel leaves alpha 0
  ASSERT_EQ(patched.exitCode, 0) << patched.err;
  ASSERT_EQ(chained.out.size(), size_t{kFrames} * 64 * 32 * 4);
  EXPECT_TRUE(patched.out == chained.out);
  const RunResult defaults = run({"render", "fadr+embs", "-i", "clip.mkv", "-o", "-", "--ctrl", "Fade=ramp(t,0,0.5)"});
  EXPECT_FALSE(defaults.out == chained.out);  // the settings show in the frames

  // The chain's options on a patch, for one run: by node or code, or on every module with the key.
  ASSERT_EQ(run({"patch", "new", "q.json", "fadr+embs"}).exitCode, 0);
  const std::string saved = readText(path("q.json"));
  const RunResult overridden = run({"render", "q.json", "-i", "clip.mkv", "-o", "-", "--ctrl", "Fade=ramp(t,0,0.5)",
                                    "--set", "embs:Effect=Stonify", "--set", "Fade Color=#11223300"});
  ASSERT_EQ(overridden.exitCode, 0) << overridden.err;
  EXPECT_TRUE(overridden.out == chained.out);
  EXPECT_EQ(readText(path("q.json")), saved);
  std::ofstream(path("s.json")) << R"({"format":"tessivo-settings","version":1,"groups":{"Fader":{)"
                                   R"("Fade Color":{"type":"integer","value":4278255360}}}})";
  const RunResult fromFile = run({"render", "q.json", "-i", "clip.mkv", "-o", "-", "--settings", "s.json", "--ctrl",
                                  "fadr:Fade=0.5"});
  ASSERT_EQ(fromFile.exitCode, 0) << fromFile.err;
  EXPECT_TRUE(fromFile.out == run({"render", "fadr+embs", "-i", "clip.mkv", "-o", "-", "--settings", "s.json",
                                   "--ctrl", "fadr:Fade=0.5"}).out);
  EXPECT_FALSE(fromFile.out == run({"render", "q.json", "-i", "clip.mkv", "-o", "-", "--ctrl", "Fade=0.5"}).out);
  const RunResult off = run({"render", "q.json", "-i", "clip.mkv", "-o", "-", "--off"});
  EXPECT_TRUE(off.exitCode == 0 && off.out == run({"render", "fadr+embs", "-i", "clip.mkv", "-o", "-", "--off"}).out);
  const RunResult nowhere = run({"render", "q.json", "-i", "clip.mkv", "-o", "-", "--set", "Glow=1"});
  EXPECT_TRUE(nowhere.oneLineError() && nowhere.exitCode == 2) << nowhere.err;
  EXPECT_THAT(nowhere.err, ::testing::HasSubstr("no module node of the patch has \"Glow\""));

  const RunResult unknown = run({"patch", "set", "p.json", "fadr", "Fdae=1"});
  EXPECT_TRUE(unknown.oneLineError()) << unknown.err;
  EXPECT_THAT(unknown.err, ::testing::HasSubstr("has no setting or input \"Fdae\""));
  std::ofstream(path("p.json"), std::ios::app) << "x";
  const RunResult broken = run({"render", "p.json", "-i", "clip.mkv", "-o", "x.mkv"});
  EXPECT_TRUE(broken.oneLineError() && !std::filesystem::exists(path("x.mkv"))) << broken.err;
  EXPECT_THAT(broken.err, ::testing::HasSubstr("p.json: invalid JSON"));
}

// A patch's second clip node plays its own file by each frame's time.
TEST_F(RenderTest, APatchsOtherClipsPlayTheirOwnFiles) {
  ASSERT_EQ(shell("ffmpeg -loglevel error -f lavfi -i testsrc=size=64x32:rate=10 -frames:v 6 -c:v ffv1 "
                  "-pix_fmt bgra other.mkv"),
            0);
  std::ofstream(path("two.json")) << R"({"format": "tessivo-patch", "version": 1, "nodes": [
      {"id": "in", "kind": "video"}, {"id": "other", "kind": "video", "path": "other.mkv"},
      {"id": "fade", "kind": "module", "module": "fadr"}, {"id": "none", "kind": "control", "value": "0"}],
    "wires": [{"from": "other", "to": "fade", "port": 0}, {"from": "none", "to": "fade", "port": "Fade"}]})";
  const RunResult two = run({"render", "two.json", "-i", "clip.mkv", "-o", "-"});
  const RunResult direct = run({"render", "fadr", "-i", "other.mkv", "-o", "-", "--ctrl", "Fade=0"});
  ASSERT_EQ(two.exitCode, 0) << two.err;
  ASSERT_EQ(direct.out.size(), size_t{kFrames} * 64 * 32 * 4);
  EXPECT_TRUE(two.out == direct.out);

  std::ofstream(path("two.json"), std::ios::trunc) << R"({"format": "tessivo-patch", "version": 1, "nodes": [
      {"id": "in", "kind": "video"}, {"id": "other", "kind": "video"},
      {"id": "fade", "kind": "module", "module": "fadr"}], "wires": [{"from": "other", "to": "fade", "port": 0}]})";
  const RunResult unnamed = run({"render", "two.json", "-i", "clip.mkv", "-o", "-"});
  EXPECT_TRUE(unnamed.oneLineError()) << unnamed.err;
  EXPECT_THAT(unnamed.err, ::testing::HasSubstr("node \"other\": field \"path\""));
}

// Ctrl-C in the middle of a render: the existing output stays as it was and no
// temporary file is left behind.
TEST_F(RenderTest, AnInterruptedRenderLeavesTheOutputAsItWas) {
  // Long enough to be still running at the first progress line (two seconds in) on a fast machine.
  ASSERT_EQ(shell("ffmpeg -loglevel error -f lavfi -i testsrc2=size=320x240:rate=25 -frames:v 3000 -c:v ffv1 long.mkv"), 0);
  std::ofstream(path("out.mkv")) << "precious";
  const pid_t child = fork();
  if (child == 0) {
    if (chdir(dir_.c_str()) != 0) _exit(126);
    const int err = open(".stderr", O_WRONLY | O_CREAT | O_TRUNC, 0644);
    dup2(err, 2);
    execl(TESSIVO_CLI_PATH, "tessivo", "render", "kgmi+jshn+embs", "-i", "long.mkv", "-o", "out.mkv", "-y",
          static_cast<char*>(nullptr));
    _exit(127);
  }
  // Interrupted once frames are being written (the first progress line).
  for (int wait = 0; wait < 600 && readText(path(".stderr")).find("frame") == std::string::npos; ++wait) usleep(50000);
  kill(child, SIGINT);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << status;
  EXPECT_THAT(readText(path(".stderr")), ::testing::HasSubstr("interrupted"));
  EXPECT_EQ(readText(path("out.mkv")), "precious");
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(dir_)) names.push_back(entry.path().filename());
  std::ranges::sort(names);
  EXPECT_EQ(names, (std::vector<std::string>{".stderr", "clip.mkv", "in_1.png", "in_2.png",
                                             "in_3.png", "in_4.png", "in_5.png", "in_6.png", "long.mkv", "out.mkv"}));
}

}  // namespace
}  // namespace tessivo::cli::testing
