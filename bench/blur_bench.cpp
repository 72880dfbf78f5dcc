#include "bench_frame.h"
#include "ffmpeg_peer.h"
#include "blur/box_blur.h"

#include <Accelerate/Accelerate.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#ifdef TESSIVO_BENCH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace tessivo::bench {
namespace {

// Radii in pixels: the running sums must cost the same at each.
constexpr uint32_t kRadii[] = {2, 10, 50};

enum class Pass { Horizontal, Vertical, TwoDimensional };
constexpr struct {
  Pass pass;
  const char *name;
} kPasses[] = {{Pass::Horizontal, "blur-h"}, {Pass::Vertical, "blur-v"}, {Pass::TwoDimensional, "blur-2d"}};

std::string Name(const char *what, uint32_t radius) { return std::string(what) + " r=" + std::to_string(radius); }

// ffmpeg's box blur of radius r on every plane.
std::string BoxBlurFilter(uint32_t r) {
  const std::string radius = std::to_string(r);
  return "boxblur=luma_radius=" + radius + ":luma_power=1:chroma_radius=" + radius +
         ":chroma_power=1:alpha_radius=" + radius + ":alpha_power=1";
}

void RegisterSoftware() {
  for (const auto &pass : kPasses) {
    for (const uint32_t radius : kRadii) {
      RegisterForBothFormats(Name(pass.name, radius), [pass = pass.pass, radius](benchmark::State &state,
                                                                                 uint32_t format) {
        const BenchFrame source(format, 3);
        BenchFrame destination(format, 4);
        const BlurImage image{source.bytes.data(), source.rowBytes, destination.bytes.data(), destination.rowBytes,
                              BenchFrame::kWidth, BenchFrame::kHeight, format};
        const auto r = static_cast<float>(radius);
        for (auto _ : state) {
          if (pass == Pass::Horizontal) HorizontalBoxBlur(image, r, true);
          if (pass == Pass::Vertical) VerticalBoxBlur(image, r, true);
          if (pass == Pass::TwoDimensional) TwoDimensionalBoxBlur(image, {r, r, true});
          benchmark::ClobberMemory();
        }
        CountFrames(state, destination);
      });
    }
  }
}

// The tent filter as Stripizator runs it (full size, both formats), and
// Blur's fast path: the tent on the half-size ARGB image, scaled back up.
void RegisterTent() {
  for (const uint32_t radius : kRadii) {
    RegisterForBothFormats(Name("blur-tent", radius), [radius](benchmark::State &state, uint32_t format) {
      const BenchFrame source(format, 3);
      BenchFrame destination(format, 4);
      const vImage_Buffer in{const_cast<uint8_t *>(source.bytes.data()), BenchFrame::kHeight, BenchFrame::kWidth,
                             source.rowBytes};
      const vImage_Buffer out{destination.bytes.data(), BenchFrame::kHeight, BenchFrame::kWidth, destination.rowBytes};
      const uint32_t kernel = 2 * radius + 1;
      const vImage_Error size = vImageTentConvolve_ARGB8888(&in, &out, nullptr, 0, 0, kernel, kernel, nullptr,
                                                            kvImageEdgeExtend | kvImageGetTempBufferSize);
      std::vector<uint8_t> scratch(size_t(size > 0 ? size : 1));
      for (auto _ : state) {
        if (format == 2) {
          vImageTentConvolve_ARGB8888(&in, &out, scratch.data(), 0, 0, kernel, kernel, nullptr, kvImageEdgeExtend);
        } else {
          vImageTentConvolve_Planar8(&in, &out, scratch.data(), 0, 0, kernel, kernel, 0, kvImageEdgeExtend);
        }
        benchmark::ClobberMemory();
      }
      CountFrames(state, destination);
    });
    const std::string fast = Name("blur-fast", radius) + "/" + FrameLabel(2);
    benchmark::RegisterBenchmark(fast.c_str(), [radius](benchmark::State &state) {
      const BenchFrame source(2, 3);
      BenchFrame destination(2, 4);
      constexpr uint32_t kHalfWidth = BenchFrame::kWidth / 2, kHalfHeight = BenchFrame::kHeight / 2;
      std::vector<uint8_t> half(size_t{kHalfWidth + 3} / 4 * 4 * kHalfHeight * 4);
      const vImage_Buffer in{const_cast<uint8_t *>(source.bytes.data()), kHalfHeight, kHalfWidth, source.rowBytes};
      const vImage_Buffer middle{half.data(), kHalfHeight, kHalfWidth, size_t{kHalfWidth + 3} / 4 * 16};
      const vImage_Buffer out{destination.bytes.data(), BenchFrame::kHeight, BenchFrame::kWidth, destination.rowBytes};
      const uint32_t kernel = (radius & ~1u) + 1;  // the kernel Blur makes of an amount of `radius` pixels
      const vImage_Error tentSize = vImageTentConvolve_ARGB8888(&in, &middle, nullptr, 0, 0, kernel, kernel, nullptr,
                                                                kvImageEdgeExtend | kvImageGetTempBufferSize);
      const vImage_Error scaleSize = vImageScale_ARGB8888(&middle, &out, nullptr, kvImageGetTempBufferSize);
      std::vector<uint8_t> scratch(size_t(std::max<vImage_Error>({tentSize, scaleSize, 1})));
      for (auto _ : state) {
        vImageTentConvolve_ARGB8888(&in, &middle, scratch.data(), 0, 0, kernel, kernel, nullptr, kvImageEdgeExtend);
        vImageScale_ARGB8888(&middle, &out, scratch.data(), kvImageEdgeExtend);
        benchmark::ClobberMemory();
      }
      CountFrames(state, destination);
    })->Unit(benchmark::kMicrosecond);
  }
}

// ffmpeg's box blur takes one radius for both directions, so it is the peer
// of the two-dimensional blur only (every plane blurred, alpha included).
void RegisterFfmpegPeers() {
  for (const uint32_t radius : kRadii) {
    RegisterFfmpeg(Name("blur-2d", radius), [radius](uint32_t) { return BoxBlurFilter(radius); });
  }
}

[[maybe_unused]] const bool kRegistered = (RegisterSoftware(), RegisterTent(), RegisterFfmpegPeers(), true);

#ifdef TESSIVO_BENCH_OPENCV
// cv::blur (a normalised cv::boxFilter) with the same windows and replicated
// borders: rounded where ours truncates, so close to ours but not bit-exact.
void RegisterOpenCv() {
  for (const auto &pass : kPasses) {
    for (const uint32_t radius : kRadii) {
      RegisterForBothFormats(OpenCvName(Name(pass.name, radius)), [pass = pass.pass, radius](benchmark::State &state,
                                                                                             uint32_t format) {
        BenchFrame source(format, 3);
        BenchFrame destination(format, 4);
        const int type = format == 2 ? CV_8UC4 : CV_8UC1;
        const cv::Mat sourceMat(int{BenchFrame::kHeight}, int{BenchFrame::kWidth}, type, source.bytes.data(),
                                source.rowBytes);
        cv::Mat destinationMat(int{BenchFrame::kHeight}, int{BenchFrame::kWidth}, type, destination.bytes.data(),
                               destination.rowBytes);
        const int side = static_cast<int>(2 * radius + 1);
        const cv::Size window(pass == Pass::Vertical ? 1 : side, pass == Pass::Horizontal ? 1 : side);
        for (auto _ : state) {
          cv::blur(sourceMat, destinationMat, window, cv::Point(-1, -1), cv::BORDER_REPLICATE);
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
