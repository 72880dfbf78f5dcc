// Bad input of every kind: a non-zero exit, one line on stderr, no crash and no output file.
#include "cli_runner.h"

#include <tessivo/host/image_file.h>


namespace tessivo::cli::testing {
namespace {

struct BadCase {
  const char* name;
  std::vector<std::string> args;
  const char* mentions;  // the error line names what is wrong
  int exitCode = 1;      // 2 for mistakes on the command line, which point to the subcommand's --help
  friend void PrintTo(const BadCase& c, std::ostream* out) { *out << c.name; }
};

class BadInputTest : public CliTest, public ::testing::WithParamInterface<BadCase> {
 protected:
  void SetUp() override {
    CliTest::SetUp();
    host::writeImage(path("in.png"), patterned(16, 9));
    const std::string png = readText(path("in.png"));
    std::ofstream(path("truncated.png"), std::ios::binary) << png.substr(0, png.size() / 2);
    std::ofstream(path("noise.png"), std::ios::binary) << "\x89PNG\r\n\x1a\n" + std::string(200, '\x5a');
    const std::string header = R"({"format":"tessivo-settings","version":1,"groups":)";
    std::ofstream(path("broken.json")) << header + R"({"Fader":)";
    std::ofstream(path("group.json")) << header + R"({"Fadr":{}}})";
    std::ofstream(path("key.json")) << header + R"({"Fader":{"Fade Colour":{"type":"integer","value":1}}}})";
    std::ofstream(path("type.json")) << header + R"({"Fader":{"Fade Color":{"type":"double","value":0.5}}}})";
    std::ofstream(path("huge.json")) << header + R"({"Fader":{"Fade Color":{"type":"integer","value":1e999}}}})";
  }
};

TEST_P(BadInputTest, FailsWithOneLineAndWritesNothing) {
  const RunResult result = run(GetParam().args);
  EXPECT_TRUE(result.oneLineError()) << result.exitCode << " " << result.err;
  EXPECT_EQ(result.exitCode, GetParam().exitCode) << result.err;
  EXPECT_NE(result.err.find(GetParam().mentions), std::string::npos) << result.err;
  const std::string help = " --help)\n";
  EXPECT_EQ(result.err.size() > help.size() && result.err.ends_with(help), result.exitCode == 2) << result.err;
  EXPECT_TRUE(result.out.empty()) << result.out;
  EXPECT_FALSE(std::filesystem::exists(path("out.png")));
}

INSTANTIATE_TEST_SUITE_P(
    Cli, BadInputTest,
    ::testing::Values(
        BadCase{"UnknownCode", {"apply", "zzzz", "in.png", "out.png"}, "dfsn (Diffusion, not listed)", 2},
        BadCase{"ModuleNameForCode", {"apply", "Fader", "in.png", "out.png"}, "'Fader' is a module name; its code is 'fadr'", 2},
        BadCase{"MistypedCode", {"apply", "fadrr", "in.png", "out.png"}, "(did you mean \"fadr\"?)", 2},
        BadCase{"MissingChain", {"apply", "in.png", "out.png"}, "the module chain is missing", 2},
        BadCase{"UnknownKey", {"apply", "fadr", "in.png", "out.png", "--set", "Fade Colour=1"},
                "(did you mean \"Fade Color\"?) (known: Fade Color)", 2},
        BadCase{"RepeatedKnownKeys", {"apply", "fadr+fadr", "in.png", "out.png", "--set", "Glow=1"},
                "(known: fadr:Fade Color) (see tessivo apply --help)", 2},
        BadCase{"BadValue", {"apply", "fadr", "in.png", "out.png", "--set", "Fade Color=pink"}, "pink", 2},
        BadCase{"OversizedColour", {"apply", "fadr", "in.png", "out.png", "--set", "Fade Color=4294967296"},
                "does not fit", 2},
        BadCase{"UnknownPort", {"apply", "fadr", "in.png", "out.png", "--ctrl", "Fdae=1"}, "did you mean \"Fade\"", 2},
        BadCase{"BadControlValue", {"apply", "fadr", "in.png", "out.png", "--ctrl", "Fade=lots"}, "lots", 2},
        BadCase{"HugeControlValue", {"apply", "fadr", "in.png", "out.png", "--ctrl", "Fade=1e300"}, "too large", 2},
        BadCase{"NoThirdModule", {"apply", "fadr+fadr", "in.png", "out.png", "--ctrl", "3:Fade=1"},
                "the chain has no module 3", 2},
        BadCase{"UnknownGroup", {"apply", "fadr", "in.png", "out.png", "--settings", "group.json"},
                "settings file group.json: unknown group \"Fadr\" (did you mean \"Fader\"?)"},
        BadCase{"UnknownFileKey", {"apply", "fadr", "in.png", "out.png", "--settings", "key.json"},
                "key.json: group \"Fader\" key \"Fade Colour\": unknown setting (did you mean"},
        BadCase{"WrongFileType", {"apply", "fadr", "in.png", "out.png", "--settings", "type.json"},
                "key \"Fade Color\": expected integer, found double 0.5"},
        BadCase{"HugeFileNumber", {"apply", "fadr", "in.png", "out.png", "--settings", "huge.json"},
                "settings file huge.json: a number is too large to be held"},
        BadCase{"NegativeDemoSize", {"demo", "--size", "-4294967295x10"}, "expected WxH", 2},
        BadCase{"PanelFolderMissing", {"panel", "fadr", "--settings", "nowhere/s.json"}, "does not exist"},
        BadCase{"FolderAsInput", {"apply", "fadr", ".", "out.png"}, ".: Is a directory, not an image"},
        BadCase{"EndlessSettings", {"apply", "fadr", "in.png", "out.png", "--settings", "/dev/zero"},
                "settings file /dev/zero: larger than 64 MiB"},
        BadCase{"UnknownOutputExtension", {"apply", "fadr", "in.png", "out.xyz"}, "choose one with --format", 2},
        BadCase{"UnknownOutputFormat", {"apply", "fadr", "in.png", "out.png", "--format", "gif"},
                "unknown image format \"gif\"", 2},
        BadCase{"PngLevelOutOfRange", {"apply", "fadr", "in.png", "out.png", "--png-level", "12"}, "--png-level", 2},
        BadCase{"MissingFile", {"apply", "fadr", "missing.png", "out.png"}, "missing.png"},
        BadCase{"CorruptPng", {"apply", "fadr", "noise.png", "out.png"}, "noise.png"},
        BadCase{"TruncatedPng", {"apply", "fadr", "truncated.png", "out.png"}, "truncated.png"},
        BadCase{"BrokenSettingsFile", {"apply", "fadr", "in.png", "out.png", "--settings", "broken.json"}, "broken.json"},
        BadCase{"UnknownSubcommand", {"aply", "fadr"}, "unknown subcommand 'aply' (did you mean \"apply\"?)", 2},
        BadCase{"UnknownOption", {"apply", "fadr", "in.png", "out.png", "--fade"}, "--fade", 2},
        BadCase{"MissingArgument", {"apply", "fadr", "in.png"}, "OUT is missing", 2},
        BadCase{"UnknownInfoCode", {"info", "nope"}, "nope", 2}),
    [](const ::testing::TestParamInfo<BadCase>& param) { return std::string(param.param.name); });

}  // namespace
}  // namespace tessivo::cli::testing
