#include <cstring>

#include "bench_frame.h"
#include "stripizator/stripizator_kernel.h"

namespace tessivo::bench {
namespace {

// The stripe pass alone at the default width (7, period 14) over a blurred
// frame already in the ARGB destination: read in place as one byte a pixel
// and widened (format 0), or read as ARGB (format 2). Widening leaves bytes
// that are as good a grey image as any, so the pass repeats on its own output.
void StripesFrame(benchmark::State &state, uint32_t format) {
  BenchFrame destination(2, 4);  // the output is ARGB whatever the input
  const StripeImage image{destination.bytes.data(), destination.rowBytes, BenchFrame::kWidth,
                          BenchFrame::kHeight,      BenchFrame::kWidth,   BenchFrame::kHeight};
  Stripes stripes{0xFFFFD200u, 0xFF000000u, 7, 0};
  for (auto _ : state) {
    format == 0 ? DrawStripesPlanar8InPlace(image, stripes) : DrawStripesArgb(image, stripes);
    ++stripes.counter;
    benchmark::ClobberMemory();
  }
  CountFrames(state, destination);
}

[[maybe_unused]] const bool kRegistered = (RegisterForBothFormats("stripizator-stripes", StripesFrame), true);

}  // namespace
}  // namespace tessivo::bench
