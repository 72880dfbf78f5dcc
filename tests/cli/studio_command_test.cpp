// `tessivo studio`: refuses what it cannot serve with one line, and otherwise
// serves on 127.0.0.1 until told to stop, writing nothing it was not asked to.
#include "cli_runner.h"

#include <gmock/gmock.h>

#include <cstdlib>

namespace tessivo::cli::testing {
namespace {

using ::testing::HasSubstr;
using StudioCommandTest = CliTest;

TEST_F(StudioCommandTest, RefusesWhatItCannotServe) {
  RunResult result = run({"studio", "--port", "70000"});
  EXPECT_EQ(result.exitCode, 2);
  EXPECT_THAT(result.err, HasSubstr("--port 70000 is not a port"));

  std::ofstream(path("broken.json")) << "{\"format\": \"tessivo-patch\", \"version\": 1, \"nodes\": [";
  result = run({"studio", "broken.json"});
  EXPECT_TRUE(result.oneLineError()) << result.err;
  EXPECT_THAT(result.err, HasSubstr("broken.json"));

  result = run({"studio", "no/such/folder/new.json"});
  EXPECT_TRUE(result.oneLineError()) << result.err;
  EXPECT_THAT(result.err, HasSubstr("folder does not exist"));

  result = run({"studio", "--web", "nowhere"});
  EXPECT_TRUE(result.oneLineError()) << result.err;
  EXPECT_THAT(result.err, HasSubstr("nowhere holds no index.html"));
}

TEST_F(StudioCommandTest, ServesOnAFreeLocalPortUntilTerminated) {
  const std::string command = "cd " + shellQuote(path("").string()) + " && timeout --preserve-status 4 " +
                              shellQuote(TESSIVO_CLI_PATH) + " studio new.json >out.txt 2>err.txt";
  const int status = std::system(command.c_str());
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0) << readText(path("err.txt"));  // 143 would mean it died of the signal
  EXPECT_THAT(readText(path("out.txt")), ::testing::ContainsRegex("^Tessivo studio: http://127\\.0\\.0\\.1:[0-9]+/"));
  EXPECT_FALSE(std::filesystem::exists(path("new.json")));  // nothing saved, nothing written
}

}  // namespace
}  // namespace tessivo::cli::testing
