#include "bench_frame.h"

#include <algorithm>
#include <cstring>

namespace tessivo::bench {

BenchFrame::BenchFrame(uint32_t format, uint32_t seed)
    : pixelFormat(format),
      bytesPerPixel(format == 2 ? 4 : 1),
      rowBytes((kWidth * bytesPerPixel + 63) / 64 * 64 + 64),
      bytes(size_t{rowBytes} * kHeight) {
  // splitmix64, eight bytes a step: setting up a frame stays cheap beside the
  // runs it is timed in.
  uint64_t state = seed;
  for (size_t i = 0; i < bytes.size(); i += 8) {
    uint64_t z = (state += 0x9E3779B97F4A7C15u);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
    z ^= z >> 31;
    std::memcpy(bytes.data() + i, &z, std::min<size_t>(8, bytes.size() - i));
  }
}

std::string FrameLabel(uint32_t pixelFormat) {
  return std::string(pixelFormat == 2 ? "argb" : "planar8") + " " + std::to_string(BenchFrame::kWidth) + "x" +
         std::to_string(BenchFrame::kHeight);
}

void RegisterForBothFormats(const std::string &what, std::function<void(benchmark::State &, uint32_t)> body) {
  for (const uint32_t format : {0u, 2u}) {
    benchmark::RegisterBenchmark((what + "/" + FrameLabel(format)).c_str(),
                                 [body, format](benchmark::State &state) { body(state, format); })
        ->Unit(benchmark::kMicrosecond);
  }
}

std::string OpenCvName(const std::string &what) { return what + "@opencv"; }

void CountFrames(benchmark::State &state, const BenchFrame &frame) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * BenchFrame::kWidth * BenchFrame::kHeight *
                          frame.bytesPerPixel);
}

}  // namespace tessivo::bench
