#include "bench_frame.h"
#include "fader/fader_kernel.h"

namespace tessivo::bench {
namespace {

void FadeFrame(benchmark::State &state, uint32_t format) {
  const BenchFrame source(format, 3);
  BenchFrame destination(format, 4);
  const FadeImage image{source.bytes.data(), source.rowBytes, destination.bytes.data(), destination.rowBytes,
                        BenchFrame::kWidth,  BenchFrame::kHeight, format};
  for (auto _ : state) {
    Fade(image, 0x80C4117Eu, 0.37f);
    benchmark::ClobberMemory();
  }
  CountFrames(state, destination);
}

[[maybe_unused]] const bool kRegistered = (RegisterForBothFormats("fader", FadeFrame), true);

}  // namespace
}  // namespace tessivo::bench
