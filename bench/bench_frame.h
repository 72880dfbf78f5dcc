// Full-HD frames laid out like a host's, and the naming every benchmark
// follows so the harness can compare it with the memcpy of its format:
// "<what>/<format> 1920x1080". The matching OpenCV operation, where one
// exists, is registered as "<what>@opencv/<format> 1920x1080".
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tessivo::bench {

struct BenchFrame {
  static constexpr uint32_t kWidth = 1920;
  static constexpr uint32_t kHeight = 1080;

  // Random pixels; rows padded to a 64-byte multiple plus 64 bytes.
  BenchFrame(uint32_t pixelFormat, uint32_t seed);

  uint32_t pixelFormat;
  uint32_t bytesPerPixel;
  uint32_t rowBytes;
  std::vector<uint8_t> bytes;

  uint8_t *row(uint32_t y) { return bytes.data() + size_t{rowBytes} * y; }
};

// "planar8 1920x1080" or "argb 1920x1080".
std::string FrameLabel(uint32_t pixelFormat);

// Registers "<what>/<format> 1920x1080" for formats 0 and 2; body(state, format)
// runs the timed loop.
void RegisterForBothFormats(const std::string &what, std::function<void(benchmark::State &, uint32_t)> body);

// The name under which what's OpenCV counterpart is registered (see
// ffmpeg_peer.h for ffmpeg's).
std::string OpenCvName(const std::string &what);

// Sets the bytes-processed counter for one destination frame per iteration.
void CountFrames(benchmark::State &state, const BenchFrame &frame);

}  // namespace tessivo::bench
