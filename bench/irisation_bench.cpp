#include "bench_frame.h"
#include "irisation/irisation_kernel.h"

namespace tessivo::bench {
namespace {

// Only ARGB frames are fringed; a one-byte frame is copied by the host.
void FringeFrame(benchmark::State &state, int64_t s, int64_t t) {
  const BenchFrame source(2, 3);
  BenchFrame destination(2, 4);
  const IrisImage image{source.bytes.data(), source.rowBytes, destination.bytes.data(), destination.rowBytes,
                        BenchFrame::kWidth,  BenchFrame::kHeight};
  for (auto _ : state) {
    Irisate(image, s, t);
    benchmark::ClobberMemory();
  }
  CountFrames(state, destination);
}

void Register(const char *what, int64_t s, int64_t t) {
  benchmark::RegisterBenchmark((std::string(what) + "/" + FrameLabel(2)).c_str(),
                               [s, t](benchmark::State &state) { FringeFrame(state, s, t); })
      ->Unit(benchmark::kMicrosecond);
}

// The default split (fx 0.5), a vertical one and both axes at once.
[[maybe_unused]] const bool kRegistered = (Register("irisation horizontal", 480, 0),
                                           Register("irisation vertical", 0, -135),
                                           Register("irisation two-axis", 240, 135), true);

}  // namespace
}  // namespace tessivo::bench
