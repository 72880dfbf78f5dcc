// Runs the built `tessivo` in a fresh temporary folder and captures what it says.
#pragma once

#include <tessivo/host/image.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace tessivo::cli::testing {

struct RunResult {
  int exitCode = -1;
  std::string out;
  std::string err;
  // Exactly one line on stderr, naming the command, and a clean non-zero exit.
  bool oneLineError() const {
    return exitCode > 0 && exitCode < 128 && err.rfind("tessivo: error: ", 0) == 0 && err.find('\n') == err.size() - 1;
  }
};

inline std::string readText(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline std::string shellQuote(const std::string& text) {
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

class CliTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    dir_ = std::filesystem::temp_directory_path() /
           ("tessivo-cli-" + std::to_string(::getpid()) + "-" + info->test_suite_name() + "-" + info->name());
    std::filesystem::remove_all(dir_);
    std::filesystem::create_directories(dir_);
  }
  void TearDown() override {
    if (!HasFailure()) std::filesystem::remove_all(dir_);
  }

  std::filesystem::path path(const std::string& name) const { return dir_ / name; }

  // Runs `tessivo ARGS...` in the test folder, stdin from `input`.
  RunResult run(const std::vector<std::string>& args, const std::string& input = "") const {
    std::ofstream(dir_ / ".stdin") << input;
    std::string command = "cd " + shellQuote(dir_.string()) + " && " + shellQuote(TESSIVO_CLI_PATH);
    for (const std::string& arg : args) command += " " + shellQuote(arg);
    command += " <.stdin >.stdout 2>.stderr";
    const int status = std::system(command.c_str());
    RunResult result;
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    result.out = readText(dir_ / ".stdout");
    result.err = readText(dir_ / ".stderr");
    return result;
  }

  std::filesystem::path dir_;
};

// A picture whose neighbouring pixels all differ, with varied alpha.
inline host::Image patterned(uint32_t width, uint32_t height) {
  host::Image image(width, height, host::kARGB32);
  for (uint32_t y = 0; y < height; ++y)
    for (uint32_t x = 0; x < width; ++x) {
      const uint32_t v = (x * 37 + y * 91 + 11) & 0xFF;
      image.setPixel(x, y, (0x80u + v / 2) << 24 | v << 16 | (255 - v) << 8 | ((v * 3) & 0xFF));
    }
  return image;
}

}  // namespace tessivo::cli::testing
