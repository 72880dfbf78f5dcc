#include "bench_frame.h"
#include "pixxicato/pixxicato_kernel.h"
#include "ffmpeg_peer.h"

#include <algorithm>
#include <string>

#ifdef TESSIVO_BENCH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace tessivo::bench {
namespace {

// Each mode at the default factors (0.1: blocks of 97 x 55, windows of 2 x 2),
// at the largest in [0, 1] (1.0: blocks of 961 x 541, windows of 17 x 17) and
// at 4.0 (windows of 65 x 65: a window mode's cost should not grow with it).
constexpr struct {
  uint32_t mode;
  const char *name;
} kModes[] = {{kPixxicatoUpperLeft, "upperleft"},
              {kPixxicatoCenter, "center"},
              {kPixxicatoMean, "mean"},
              {kPixxicatoMaximum, "maximum"},
              {kPixxicatoMinimum, "minimum"}};
constexpr float kFactors[] = {0.1f, 1.0f, 4.0f};

// The widest factor only for the window modes: past 1 a block is wider than the frame.
bool Measured(uint32_t mode, float factor) { return factor <= 1.0f || mode >= kPixxicatoMean; }

std::string Name(const char *mode, float factor) {
  return std::string("pixxicato-") + mode + (factor == 4.0f ? " f=4.0" : factor == 1.0f ? " f=1.0" : " f=0.1");
}

void Register() {
  for (const auto &mode : kModes) {
    for (const float factor : kFactors) {
      if (!Measured(mode.mode, factor)) continue;
      RegisterForBothFormats(Name(mode.name, factor), [mode = mode.mode, factor](benchmark::State &state,
                                                                                  uint32_t format) {
        const BenchFrame source(format, 3);
        BenchFrame destination(format, 4);
        const PixxicatoImage image{source.bytes.data(), source.rowBytes, destination.bytes.data(),
                                   destination.rowBytes, BenchFrame::kWidth, BenchFrame::kHeight, format};
        PixxicatoScratch scratch;
        for (auto _ : state) {
          Pixxicate(image, mode, factor, factor, scratch);
          benchmark::ClobberMemory();
        }
        CountFrames(state, destination);
      });
    }
  }
}

// ffmpeg's nearest filters: pixelize (averaging each block) for the two
// pixelation modes; a box blur of the nearest odd window for Mean; and for
// Maximum and Minimum its 3 x 3 dilation and erosion, chained to reach the
// window (eight times for 17 x 17 at f=1.0, 32 for 65 x 65 at f=4.0).
std::string FfmpegFilter(uint32_t mode, float factor) {
  const WindowSpan window = WindowSize(factor);
  const uint32_t radius = (window.before + window.from) / 2;
  std::string filter;
  switch (mode) {
    case kPixxicatoUpperLeft:
    case kPixxicatoCenter:
      return "pixelize=w=" + std::to_string(BlockSize(BenchFrame::kWidth, factor)) +
             ":h=" + std::to_string(BlockSize(BenchFrame::kHeight, factor));
    case kPixxicatoMean:
      return "boxblur=luma_radius=" + std::to_string(radius) + ":luma_power=1:chroma_radius=" +
             std::to_string(radius) + ":chroma_power=1:alpha_radius=" + std::to_string(radius) + ":alpha_power=1";
    default:
      for (uint32_t i = 0; i < std::max(1u, radius); ++i)
        filter += std::string(i == 0 ? "" : ",") + (mode == kPixxicatoMaximum ? "dilation" : "erosion");
      return filter;
  }
}

void RegisterFfmpegPeers() {
  for (const auto &mode : kModes)
    for (const float factor : kFactors)
      if (Measured(mode.mode, factor))
        RegisterFfmpeg(Name(mode.name, factor), [mode = mode.mode, factor](uint32_t) { return FfmpegFilter(mode, factor); });
}

[[maybe_unused]] const bool kRegistered = (Register(), RegisterFfmpegPeers(), true);

#ifdef TESSIVO_BENCH_OPENCV
// The same windows with OpenCV: a box filter for Mean (rounded, normalised by
// the window, border replicated: close to ours, not bit-exact), dilation and
// erosion with a rectangle for Maximum and Minimum.
void RegisterOpenCv() {
  for (const auto &mode : kModes) {
    if (mode.mode < kPixxicatoMean) continue;
    for (const float factor : kFactors) {
      RegisterForBothFormats(OpenCvName(Name(mode.name, factor)), [mode = mode.mode, factor](benchmark::State &state,
                                                                                              uint32_t format) {
        BenchFrame source(format, 3);
        BenchFrame destination(format, 4);
        const int type = format == 2 ? CV_8UC4 : CV_8UC1;
        const cv::Mat sourceMat(int{BenchFrame::kHeight}, int{BenchFrame::kWidth}, type, source.bytes.data(),
                                source.rowBytes);
        cv::Mat destinationMat(int{BenchFrame::kHeight}, int{BenchFrame::kWidth}, type, destination.bytes.data(),
                               destination.rowBytes);
        const WindowSpan window = WindowSize(factor);
        const int size = static_cast<int>(window.before + window.from);
        const cv::Point anchor(static_cast<int>(window.before), static_cast<int>(window.before));
        const cv::Mat rectangle = cv::getStructuringElement(cv::MORPH_RECT, cv::Size(size, size), anchor);
        for (auto _ : state) {
          if (mode == kPixxicatoMean) {
            cv::blur(sourceMat, destinationMat, cv::Size(size, size), anchor);
          } else if (mode == kPixxicatoMaximum) {
            cv::dilate(sourceMat, destinationMat, rectangle, anchor);
          } else {
            cv::erode(sourceMat, destinationMat, rectangle, anchor);
          }
          benchmark::ClobberMemory();
        }
        CountFrames(state, destination);
      });
    }
  }
}

[[maybe_unused]] const bool kOpenCvRegistered = (RegisterOpenCv(), true);
#endif

}  // namespace
}  // namespace tessivo::bench
