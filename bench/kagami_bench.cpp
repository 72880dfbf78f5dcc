#include <cmath>

#include "bench_frame.h"
#include "kagami/kagami_kernel.h"

#ifdef TESSIVO_BENCH_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace tessivo::bench {
namespace {

constexpr float kStrength = 0.37f;

MirrorImage Describe(const BenchFrame &source, BenchFrame &destination) {
  return {source.bytes.data(),  source.rowBytes,    BenchFrame::kHeight, destination.bytes.data(), destination.rowBytes,
          BenchFrame::kHeight, BenchFrame::kWidth, BenchFrame::kHeight, source.pixelFormat};
}

// Frames after the first at one size: the per-size tables are kept, and the
// strength changes a little every frame as a controller would move it.
void MirrorFrame(benchmark::State &state, uint32_t format) {
  const BenchFrame source(format, 3);
  BenchFrame destination(format, 4);
  MirrorKernel kernel;
  kernel.run(Describe(source, destination), kStrength);
  float strength = kStrength;
  for (auto _ : state) {
    kernel.run(Describe(source, destination), strength);
    strength = strength < 0.9f ? strength + 0.01f : kStrength;
    benchmark::ClobberMemory();
  }
  CountFrames(state, destination);
}

// Frames with a strength that stays: the kept source offsets make each a gather.
void MirrorStillFrame(benchmark::State &state, uint32_t format) {
  const BenchFrame source(format, 3);
  BenchFrame destination(format, 4);
  MirrorKernel kernel;
  kernel.run(Describe(source, destination), kStrength);
  for (auto _ : state) {
    kernel.run(Describe(source, destination), kStrength);
    benchmark::ClobberMemory();
  }
  CountFrames(state, destination);
}

// The first frame at a size, which builds the tables.
void MirrorFirstFrame(benchmark::State &state, uint32_t format) {
  const BenchFrame source(format, 3);
  BenchFrame destination(format, 4);
  for (auto _ : state) {
    MirrorKernel kernel;
    kernel.run(Describe(source, destination), kStrength);
    benchmark::ClobberMemory();
  }
  CountFrames(state, destination);
}

[[maybe_unused]] const bool kRegistered = (RegisterForBothFormats("kagami", MirrorFrame),
                                           RegisterForBothFormats("kagami still strength", MirrorStillFrame),
                                           RegisterForBothFormats("kagami first frame", MirrorFirstFrame), true);

#ifdef TESSIVO_BENCH_OPENCV
// The nearest OpenCV operation: a nearest-neighbour remap through maps
// computed beforehand (the same kind of mapping, with the trigonometry done
// once instead of every frame), constant 0 outside.
void RemapFrame(benchmark::State &state, uint32_t format) {
  BenchFrame source(format, 3);
  BenchFrame destination(format, 4);
  const int type = format == 2 ? CV_8UC4 : CV_8UC1;
  const int w = int{BenchFrame::kWidth}, h = int{BenchFrame::kHeight};
  cv::Mat mapX(h, w, CV_32FC1), mapY(h, w, CV_32FC1);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const double u = double(x) / w - 0.5, v = double(y) / h - 0.5;
      const double r = std::sqrt(u * u + v * v);
      const double a = std::fmod(std::atan2(v, u) + 2.0 * M_PI, 1.661496877670288);
      const double theta = (a > 0.830748438835144 ? 1.661496877670288 - a : a) + (kStrength - 2.0) * 2.0 * M_PI;
      mapX.at<float>(y, x) = static_cast<float>((r * std::cos(theta) + 0.5) * w);
      mapY.at<float>(y, x) = static_cast<float>((r * std::sin(theta) + 0.5) * h);
    }
  }
  cv::Mat fixedXY, fixedFraction;
  cv::convertMaps(mapX, mapY, fixedXY, fixedFraction, CV_16SC2, true);
  const cv::Mat sourceMat(h, w, type, source.bytes.data(), source.rowBytes);
  cv::Mat destinationMat(h, w, type, destination.bytes.data(), destination.rowBytes);
  for (auto _ : state) {
    cv::remap(sourceMat, destinationMat, fixedXY, cv::Mat(), cv::INTER_NEAREST, cv::BORDER_CONSTANT, cv::Scalar());
    benchmark::ClobberMemory();
  }
  CountFrames(state, destination);
}

[[maybe_unused]] const bool kOpenCvRegistered = (RegisterForBothFormats(OpenCvName("kagami"), RemapFrame),
                                                 RegisterForBothFormats(OpenCvName("kagami still strength"), RemapFrame),
                                                 true);
#endif

}  // namespace
}  // namespace tessivo::bench
