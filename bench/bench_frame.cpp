#include "bench_frame.h"

#include <random>

namespace tessivo::bench {

BenchFrame::BenchFrame(uint32_t format, uint32_t seed)
    : pixelFormat(format),
      bytesPerPixel(format == 2 ? 4 : 1),
      rowBytes((kWidth * bytesPerPixel + 63) / 64 * 64 + 64),
      bytes(size_t{rowBytes} * kHeight) {
  std::mt19937 random(seed);
  for (uint8_t &byte : bytes) byte = static_cast<uint8_t>(random());
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
