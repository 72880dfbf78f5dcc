#include "bench_frame.h"
#include "jishin/jishin_kernel.h"
#include "ffmpeg_peer.h"

#include <cstring>
#include <memory>

#include "tessivo/host/bundle.h"
#include "tessivo/host/image.h"
#include "tessivo/host/instance.h"

#ifdef TESSIVO_BENCH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

extern "C" uint32_t ModuleMain(HostCall *call);

namespace tessivo::bench {
namespace {

// The offset a strength of 0.5 may give on a full-HD frame (ranges 241 and 136).
constexpr ShakeOffset kOffset{173, -95};

host::Image HostFrame(uint32_t format, uint32_t seed) {
  const BenchFrame frame(format, seed);
  host::Image image(BenchFrame::kWidth, BenchFrame::kHeight, format);
  for (uint32_t y = 0; y < BenchFrame::kHeight; ++y)
    std::memcpy(image.mutableRow(y), frame.bytes.data() + size_t{frame.rowBytes} * y,
                size_t{BenchFrame::kWidth} * frame.bytesPerPixel);
  return image;
}

// The shake as the module runs it: two strip fills and one blit through the
// reference host's bitmap service.
void ShakeFrame(benchmark::State &state, uint32_t format) {
  const auto bundle = host::Bundle::linked(&ModuleMain);
  const auto instance = host::Instance::create(*bundle, FourCC("jshn"));
  const host::Image source = HostFrame(format, 3);
  host::Image destination = HostFrame(format, 4);
  for (auto _ : state) {
    ShakeImage(instance->bitmapService(), destination.descriptor(), source.descriptor(), kOffset);
    benchmark::ClobberMemory();
  }
  CountFrames(state, BenchFrame(format, 0));
}

// ffmpeg's channel shift moving all four channels by the same offset (it
// smears the uncovered edge where we clear it); it takes RGB formats only.
std::string ShiftFilter(uint32_t format) {
  if (format != 2) return "";
  std::string shift;
  for (const char *channel : {"r", "g", "b", "a"})
    shift += std::string(shift.empty() ? "" : ":") + channel + "h=" + std::to_string(kOffset.dx) + ":" + channel +
             "v=" + std::to_string(kOffset.dy);
  return "rgbashift=" + shift;
}

[[maybe_unused]] const bool kRegistered =
    (RegisterForBothFormats("jishin", ShakeFrame), RegisterFfmpeg("jishin", ShiftFilter), true);

#ifdef TESSIVO_BENCH_OPENCV
// The same move as an affine warp by a whole-pixel translation, nearest
// neighbour, a zero border: bit-exact with ours.
void WarpFrame(benchmark::State &state, uint32_t format) {
  BenchFrame source(format, 3);
  BenchFrame destination(format, 4);
  const int type = format == 2 ? CV_8UC4 : CV_8UC1;
  const auto wrap = [&](BenchFrame &frame) {
    return cv::Mat(int{BenchFrame::kHeight}, int{BenchFrame::kWidth}, type, frame.bytes.data(), frame.rowBytes);
  };
  const cv::Mat sourceMat = wrap(source);
  cv::Mat destinationMat = wrap(destination);
  const cv::Matx23d move(1, 0, -double(kOffset.dx), 0, 1, -double(kOffset.dy));
  for (auto _ : state) {
    cv::warpAffine(sourceMat, destinationMat, move, destinationMat.size(), cv::INTER_NEAREST, cv::BORDER_CONSTANT,
                   cv::Scalar::all(0));
    benchmark::ClobberMemory();
  }
  CountFrames(state, destination);
}

[[maybe_unused]] const bool kOpenCvRegistered = (RegisterForBothFormats(OpenCvName("jishin"), WarpFrame), true);
#endif

}  // namespace
}  // namespace tessivo::bench
