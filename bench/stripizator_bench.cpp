#include <Accelerate/Accelerate.h>

#include <string>
#include <vector>

#include "bench_frame.h"
#include "ffmpeg_peer.h"
#include "blur/box_blur.h"
#include "stripizator/stripizator_kernel.h"

#ifdef TESSIVO_BENCH_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace tessivo::bench {
namespace {

// Stripes at the default width (7, period 14). The destination is ARGB
// whatever the input: a one-byte input is blurred into it and widened in place.
constexpr Stripes kStripes{0xFFFFD200u, 0xFF000000u, 7, 0};

StripeImage Whole(BenchFrame &destination) {
  return {destination.bytes.data(), destination.rowBytes, BenchFrame::kWidth,
          BenchFrame::kHeight,      BenchFrame::kWidth,   BenchFrame::kHeight};
}

void DrawStripes(const StripeImage &image, uint32_t format, Stripes &stripes) {
  format == 0 ? DrawStripesPlanar8InPlace(image, stripes) : DrawStripesArgb(image, stripes);
  ++stripes.counter;
}

// The stripe pass alone over a frame already blurred into the destination.
// Widening leaves bytes that are as good a grey image as any, so the pass
// repeats on its own output.
void StripesFrame(benchmark::State &state, uint32_t format) {
  BenchFrame destination(2, 4);
  Stripes stripes = kStripes;
  for (auto _ : state) {
    DrawStripes(Whole(destination), format, stripes);
    benchmark::ClobberMemory();
  }
  CountFrames(state, destination);
}

// A whole frame at radius 7: the 15 x 15 tent, or the software box blur the
// module falls back to, then the stripes.
void FrameWith(benchmark::State &state, uint32_t format, bool tent) {
  const BenchFrame source(format, 3);
  BenchFrame destination(2, 4);
  const vImage_Buffer from{const_cast<uint8_t *>(source.bytes.data()), BenchFrame::kHeight, BenchFrame::kWidth,
                           source.rowBytes};
  const vImage_Buffer to{destination.bytes.data(), BenchFrame::kHeight, BenchFrame::kWidth, destination.rowBytes};
  const Pixel_8888 background{};
  const auto tentCall = [&](void *scratch, vImage_Flags flags) {
    return format == 0 ? vImageTentConvolve_Planar8(&from, &to, scratch, 0, 0, 15, 15, 0, flags)
                       : vImageTentConvolve_ARGB8888(&from, &to, scratch, 0, 0, 15, 15, background, flags);
  };
  std::vector<uint8_t> scratch(
      static_cast<size_t>(std::max<vImage_Error>(tentCall(nullptr, kvImageEdgeExtend | kvImageGetTempBufferSize), 1)));
  const BlurImage box{
      source.bytes.data(), source.rowBytes, destination.bytes.data(), destination.rowBytes, BenchFrame::kWidth,
      BenchFrame::kHeight, format};
  Stripes stripes = kStripes;
  for (auto _ : state) {
    tent ? void(tentCall(scratch.data(), kvImageEdgeExtend)) : TwoDimensionalBoxBlur(box, {7.0f, 7.0f, true});
    DrawStripes(Whole(destination), format, stripes);
    benchmark::ClobberMemory();
  }
  CountFrames(state, destination);
}

void Register() {
  RegisterForBothFormats("stripizator-stripes", StripesFrame);
  RegisterForBothFormats("stripizator-tent r=7",
                         [](benchmark::State &state, uint32_t format) { FrameWith(state, format, true); });
  RegisterForBothFormats("stripizator-box r=7",
                         [](benchmark::State &state, uint32_t format) { FrameWith(state, format, false); });
}

// ffmpeg's nearest: its 15 x 15 box blur alone (no stripes), under both names.
std::string BoxBlurFilter(uint32_t) {
  return "boxblur=luma_radius=7:luma_power=1:chroma_radius=7:chroma_power=1:alpha_radius=7:alpha_power=1";
}

[[maybe_unused]] const bool kRegistered = (Register(), RegisterFfmpeg("stripizator-tent r=7", BoxBlurFilter),
                                           RegisterFfmpeg("stripizator-box r=7", BoxBlurFilter), true);

#ifdef TESSIVO_BENCH_OPENCV
// The nearest OpenCV work: a 15 x 15 box blur (border replicated) and a
// per-pixel step that puts the inverted blue or grey level into the alpha of
// a constant colour (no stripes), writing the same ARGB frame.
void OpenCvFrame(benchmark::State &state, uint32_t format) {
  BenchFrame source(format, 3);
  BenchFrame destination(2, 4);
  const int rows = BenchFrame::kHeight, cols = BenchFrame::kWidth;
  const cv::Mat sourceMat(rows, cols, format == 2 ? CV_8UC4 : CV_8UC1, source.bytes.data(), source.rowBytes);
  cv::Mat destinationMat(rows, cols, CV_8UC4, destination.bytes.data(), destination.rowBytes);
  cv::Mat blurred(rows, cols, sourceMat.type()), level(rows, cols, CV_8UC1);
  const cv::Mat blue(rows, cols, CV_8UC1, cv::Scalar(0x00)), green(rows, cols, CV_8UC1, cv::Scalar(0xD2)),
      red(rows, cols, CV_8UC1, cv::Scalar(0xFF));
  for (auto _ : state) {
    cv::blur(sourceMat, blurred, cv::Size(15, 15), cv::Point(-1, -1), cv::BORDER_REPLICATE);
    format == 2 ? cv::extractChannel(blurred, level, 0) : blurred.copyTo(level);
    cv::bitwise_not(level, level);
    const cv::Mat planes[] = {blue, green, red, level};
    cv::merge(planes, 4, destinationMat);
    benchmark::ClobberMemory();
  }
  CountFrames(state, destination);
}

// Registered against both engines' names, so each prints its ratio.
[[maybe_unused]] const bool kOpenCvRegistered =
    (RegisterForBothFormats(OpenCvName("stripizator-tent r=7"), OpenCvFrame),
     RegisterForBothFormats(OpenCvName("stripizator-box r=7"), OpenCvFrame), true);
#endif

}  // namespace
}  // namespace tessivo::bench
