#include "bench_frame.h"
#include "fader/fader_kernel.h"

#ifdef TESSIVO_BENCH_OPENCV
#include <opencv2/core.hpp>
#endif

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

#ifdef TESSIVO_BENCH_OPENCV
// The same blend towards a constant colour frame with OpenCV's weighted sum
// (rounded, saturated floating point: close to ours, not bit-exact).
void WeightedSumFrame(benchmark::State &state, uint32_t format) {
  BenchFrame source(format, 3);
  BenchFrame colour(format, 5);
  BenchFrame destination(format, 4);
  const int type = format == 2 ? CV_8UC4 : CV_8UC1;
  const auto wrap = [&](BenchFrame &frame) {
    return cv::Mat(int{BenchFrame::kHeight}, int{BenchFrame::kWidth}, type, frame.bytes.data(), frame.rowBytes);
  };
  cv::Mat colourMat = wrap(colour);
  colourMat.setTo(cv::Scalar(0x7E, 0x11, 0xC4, 0x80));
  const cv::Mat sourceMat = wrap(source);
  cv::Mat destinationMat = wrap(destination);
  for (auto _ : state) {
    cv::addWeighted(sourceMat, 1.0 - 0.37, colourMat, 0.37, 0.0, destinationMat);
    benchmark::ClobberMemory();
  }
  CountFrames(state, destination);
}

[[maybe_unused]] const bool kOpenCvRegistered = (RegisterForBothFormats(OpenCvName("fader"), WeightedSumFrame), true);
#endif

}  // namespace
}  // namespace tessivo::bench
