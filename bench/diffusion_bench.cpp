#include "bench_frame.h"
#include "diffusion/diffusion_kernel.h"

#ifdef TESSIVO_BENCH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace tessivo::bench {
namespace {

void DiffuseFrame(benchmark::State &state, uint32_t format) {
  const BenchFrame source(format, 3);
  BenchFrame destination(format, 4);
  const DiffusionImage image{source.bytes.data(), source.rowBytes,     destination.bytes.data(),
                             destination.rowBytes, BenchFrame::kWidth, BenchFrame::kHeight,
                             source.bytesPerPixel};
  for (auto _ : state) {
    Diffuse(image);
    benchmark::ClobberMemory();
  }
  CountFrames(state, destination);
}

[[maybe_unused]] const bool kRegistered = (RegisterForBothFormats("diffusion", DiffuseFrame), true);

#ifdef TESSIVO_BENCH_OPENCV
// The same four-tap kernel (one tap a row below, three two rows below, 1/4
// each) as an OpenCV 2-D filter: rounded and with border handling, so close to
// ours, not bit-exact.
void FilterFrame(benchmark::State &state, uint32_t format) {
  BenchFrame source(format, 3);
  BenchFrame destination(format, 4);
  const int type = format == 2 ? CV_8UC4 : CV_8UC1;
  const cv::Mat sourceMat(int{BenchFrame::kHeight}, int{BenchFrame::kWidth}, type, source.bytes.data(),
                          source.rowBytes);
  cv::Mat destinationMat(int{BenchFrame::kHeight}, int{BenchFrame::kWidth}, type, destination.bytes.data(),
                         destination.rowBytes);
  cv::Mat kernel = cv::Mat::zeros(5, 3, CV_32F);
  kernel.at<float>(3, 1) = 0.25f;
  kernel.at<float>(4, 0) = kernel.at<float>(4, 1) = kernel.at<float>(4, 2) = 0.25f;
  for (auto _ : state) {
    cv::filter2D(sourceMat, destinationMat, -1, kernel, cv::Point(1, 2));
    benchmark::ClobberMemory();
  }
  CountFrames(state, destination);
}

[[maybe_unused]] const bool kOpenCvRegistered = (RegisterForBothFormats(OpenCvName("diffusion"), FilterFrame), true);
#endif

}  // namespace
}  // namespace tessivo::bench
