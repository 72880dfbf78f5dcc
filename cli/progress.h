// Progress of a long render on stderr: a bar with frames, speed and time left
// on a terminal; a plain line every few seconds otherwise.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>

namespace tessivo::cli {

class Progress {
 public:
  // total: frames expected, 0 when unknown.
  Progress(int64_t total, std::FILE* out);
  // After each frame.
  void frameDone();
  // The closing line: frames and average speed.
  void finish();

 private:
  void print(bool final);

  int64_t total_;
  int64_t done_ = 0;
  std::FILE* out_;
  bool terminal_;
  std::chrono::steady_clock::time_point start_;
  std::chrono::steady_clock::time_point lastPrint_;
};

}  // namespace tessivo::cli
