#include "bench_frame.h"
#include "flash/flash_kernel.h"
#include "ffmpeg_peer.h"

#ifdef TESSIVO_BENCH_OPENCV
#include <opencv2/core.hpp>
#endif

namespace tessivo::bench {
namespace {

void FlashFrame(benchmark::State &state, uint32_t format, bool blend) {
  const BenchFrame source(format, 3);
  BenchFrame destination(format, 4);
  const FlashImage image{source.bytes.data(), source.rowBytes, destination.bytes.data(), destination.rowBytes,
                         BenchFrame::kWidth,  BenchFrame::kHeight, format};
  const FlashTable table = PhaseFlashTable(89 * 5);
  for (auto _ : state) {
    Flash(image, table, blend);
    benchmark::ClobberMemory();
  }
  CountFrames(state, destination);
}

[[maybe_unused]] const bool kRegistered =
    (RegisterForBothFormats("flash", [](benchmark::State &state, uint32_t format) { FlashFrame(state, format, false); }),
     RegisterForBothFormats("flash blend",
                            [](benchmark::State &state, uint32_t format) { FlashFrame(state, format, true); }),
     // ffmpeg's table lookups: lut on grey, lutrgb on every channel of BGRA.
     RegisterFfmpeg("flash",
                    [](uint32_t format) -> std::string {
                      return format == 0 ? "lut=c0=negval" : "lutrgb=r=negval:g=negval:b=negval:a=negval";
                    }),
     true);

#ifdef TESSIVO_BENCH_OPENCV
// OpenCV's table lookup with the same table (on ARGB it maps alpha too).
void LutFrame(benchmark::State &state, uint32_t format) {
  BenchFrame source(format, 3);
  BenchFrame destination(format, 4);
  const int type = format == 2 ? CV_8UC4 : CV_8UC1;
  const cv::Mat sourceMat(int{BenchFrame::kHeight}, int{BenchFrame::kWidth}, type, source.bytes.data(),
                          source.rowBytes);
  cv::Mat destinationMat(int{BenchFrame::kHeight}, int{BenchFrame::kWidth}, type, destination.bytes.data(),
                         destination.rowBytes);
  FlashTable table = PhaseFlashTable(89 * 5);
  const cv::Mat tableMat(1, 256, CV_8UC1, table.data());
  for (auto _ : state) {
    cv::LUT(sourceMat, tableMat, destinationMat);
    benchmark::ClobberMemory();
  }
  CountFrames(state, destination);
}

[[maybe_unused]] const bool kOpenCvRegistered = (RegisterForBothFormats(OpenCvName("flash"), LutFrame), true);
#endif

}  // namespace
}  // namespace tessivo::bench
