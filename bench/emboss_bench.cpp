#include "bench_frame.h"
#include "emboss/emboss_kernel.h"

#include <string>

#ifdef TESSIVO_BENCH_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace tessivo::bench {
namespace {

struct Case {
  const char *name;
  uint32_t effect;
};

// Each effect at the default strength ("Weak") and the strongest, lit from
// the top left. On one-byte frames "alpha" is the plain relief.
constexpr Case kCases[] = {{"relief", 0}, {"alpha", 1}, {"stone", 2}};
constexpr uint32_t kStrengths[] = {1, 4};

std::string Name(const Case &c, uint32_t k) { return "emboss " + std::string(c.name) + " k=" + std::to_string(k); }

void EmbossFrame(benchmark::State &state, uint32_t format, uint32_t effect, uint32_t k) {
  const BenchFrame source(format, 3);
  BenchFrame destination(format, 4);
  const EmbossImage image{source.bytes.data(), source.rowBytes, destination.bytes.data(), destination.rowBytes,
                          BenchFrame::kWidth,  BenchFrame::kHeight, format};
  for (auto _ : state) {
    Emboss(image, effect, k, 0);
    benchmark::ClobberMemory();
  }
  CountFrames(state, destination);
}

#ifdef TESSIVO_BENCH_OPENCV
// The same diagonal relief as a 3 x 3 filter: centre weight 1 (0 and an
// offset of 128 for the stone), +2^k/8 at the opposite corner and -2^k/8 at
// the lit one, edges replicated (rounded floating point: close to ours, not
// bit-exact; the alpha relief has no per-pixel counterpart and takes the colour one).
void Filter2DFrame(benchmark::State &state, uint32_t format, uint32_t effect, uint32_t k) {
  BenchFrame source(format, 3);
  BenchFrame destination(format, 4);
  const int type = format == 2 ? CV_8UC4 : CV_8UC1;
  const cv::Mat sourceMat(int{BenchFrame::kHeight}, int{BenchFrame::kWidth}, type, source.bytes.data(),
                          source.rowBytes);
  cv::Mat destinationMat(int{BenchFrame::kHeight}, int{BenchFrame::kWidth}, type, destination.bytes.data(),
                         destination.rowBytes);
  const float weight = static_cast<float>(1u << k) / 8.0f;
  const bool stone = effect == 2;
  const cv::Mat kernel = (cv::Mat_<float>(3, 3) << -weight, 0, 0, 0, stone ? 0.0f : 1.0f, 0, 0, 0, weight);
  for (auto _ : state) {
    cv::filter2D(sourceMat, destinationMat, -1, kernel, cv::Point(-1, -1), stone ? 128.0 : 0.0, cv::BORDER_REPLICATE);
    benchmark::ClobberMemory();
  }
  CountFrames(state, destination);
}
#endif

[[maybe_unused]] const bool kRegistered = [] {
  for (const Case &c : kCases) {
    for (const uint32_t k : kStrengths) {
      const uint32_t effect = c.effect;
      RegisterForBothFormats(Name(c, k), [effect, k](benchmark::State &state, uint32_t format) {
        EmbossFrame(state, format, effect, k);
      });
#ifdef TESSIVO_BENCH_OPENCV
      RegisterForBothFormats(OpenCvName(Name(c, k)), [effect, k](benchmark::State &state, uint32_t format) {
        Filter2DFrame(state, format, effect, k);
      });
#endif
    }
  }
  return true;
}();

}  // namespace
}  // namespace tessivo::bench
