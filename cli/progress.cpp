#include "progress.h"

#include <fmt/format.h>
#include <unistd.h>

#include <string>

namespace tessivo::cli {

namespace {

std::string clock(double seconds) {
  const auto whole = static_cast<int64_t>(seconds + 0.5);
  return fmt::format("{}:{:02}", whole / 60, whole % 60);
}

}  // namespace

Progress::Progress(int64_t total, std::FILE* out)
    : total_(total), out_(out), terminal_(isatty(fileno(out)) != 0), start_(std::chrono::steady_clock::now()),
      lastPrint_(start_) {}

void Progress::frameDone() {
  ++done_;
  const auto now = std::chrono::steady_clock::now();
  const auto interval = terminal_ ? std::chrono::milliseconds(100) : std::chrono::milliseconds(2000);
  if (now - lastPrint_ < interval) return;
  lastPrint_ = now;
  print(false);
}

void Progress::finish() { print(true); }

void Progress::print(bool final) {
  const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  const double fps = elapsed > 0.0 ? static_cast<double>(done_) / elapsed : 0.0;
  std::string line;
  if (total_ > 0 && !final) {
    const double fraction = std::min(1.0, static_cast<double>(done_) / static_cast<double>(total_));
    const int width = 30;
    const int filled = static_cast<int>(fraction * width);
    const double left = fps > 0.0 ? static_cast<double>(total_ - done_) / fps : 0.0;
    line = fmt::format("{}{}/{} frames {:5.1f} fps ETA {}",
                       terminal_ ? "[" + std::string(static_cast<size_t>(filled), '#') +
                                       std::string(static_cast<size_t>(width - filled), '.') + "] "
                                 : std::string(),
                       done_, total_, fps, clock(left));
  } else {
    line = fmt::format("{} frames {:5.1f} fps{}", done_, fps, final ? fmt::format(" in {}", clock(elapsed)) : "");
  }
  if (terminal_) {
    fmt::print(out_, "\r{}\033[K{}", line, final ? "\n" : "");
  } else {
    fmt::print(out_, "{}\n", line);
  }
  std::fflush(out_);
}

}  // namespace tessivo::cli
