// Bad input of every kind: a non-zero exit, one line on stderr, no crash and no output file.
#include "cli_runner.h"

#include <tessivo/host/image_file.h>


namespace tessivo::cli::testing {
namespace {

struct BadCase {
  const char* name;
  std::vector<std::string> args;
  const char* mentions;  // the error line names what is wrong
  friend void PrintTo(const BadCase& c, std::ostream* out) { *out << c.name; }
};

class BadInputTest : public CliTest, public ::testing::WithParamInterface<BadCase> {
 protected:
  void SetUp() override {
    CliTest::SetUp();
    host::writePng(path("in.png"), patterned(16, 9));
    const std::string png = readText(path("in.png"));
    std::ofstream(path("truncated.png"), std::ios::binary) << png.substr(0, png.size() / 2);
    std::ofstream(path("noise.png"), std::ios::binary) << "\x89PNG\r\n\x1a\n" + std::string(200, '\x5a');
    std::ofstream(path("broken.json")) << R"({"format":"tessivo-settings","version":1,"groups":{"Fader":)";
  }
};

TEST_P(BadInputTest, FailsWithOneLineAndWritesNothing) {
  const RunResult result = run(GetParam().args);
  EXPECT_TRUE(result.oneLineError()) << result.exitCode << " " << result.err;
  EXPECT_NE(result.err.find(GetParam().mentions), std::string::npos) << result.err;
  EXPECT_FALSE(std::filesystem::exists(path("out.png")));
}

INSTANTIATE_TEST_SUITE_P(
    Cli, BadInputTest,
    ::testing::Values(
        BadCase{"UnknownCode", {"apply", "zzzz", "in.png", "out.png"}, "fadr (Fader)"},
        BadCase{"UnknownKey", {"apply", "fadr", "in.png", "out.png", "--set", "Glow=1"}, "Fade Color"},
        BadCase{"BadValue", {"apply", "fadr", "in.png", "out.png", "--set", "Fade Color=pink"}, "pink"},
        BadCase{"UnknownPort", {"apply", "fadr", "in.png", "out.png", "--ctrl", "Glow=1"}, "Fade Input"},
        BadCase{"BadControlValue", {"apply", "fadr", "in.png", "out.png", "--ctrl", "Fade=lots"}, "lots"},
        BadCase{"MissingFile", {"apply", "fadr", "missing.png", "out.png"}, "missing.png"},
        BadCase{"CorruptPng", {"apply", "fadr", "noise.png", "out.png"}, "noise.png"},
        BadCase{"TruncatedPng", {"apply", "fadr", "truncated.png", "out.png"}, "truncated.png"},
        BadCase{"BrokenSettingsFile", {"apply", "fadr", "in.png", "out.png", "--settings", "broken.json"}, "broken.json"},
        BadCase{"UnknownSubcommand", {"frobnicate", "fadr"}, "frobnicate"},
        BadCase{"MissingArgument", {"apply", "fadr", "in.png"}, "OUT"},
        BadCase{"UnknownInfoCode", {"info", "nope"}, "nope"}),
    [](const ::testing::TestParamInfo<BadCase>& param) { return std::string(param.param.name); });

}  // namespace
}  // namespace tessivo::cli::testing
