#include "bench_frame.h"
#include "linalize/linalize_kernel.h"

#include <marlix/ports.h>

#include <algorithm>
#include <memory>

#include "tessivo/frame/random.h"
#include "tessivo/host/bundle.h"
#include "tessivo/host/graph.h"

#ifdef TESSIVO_BENCH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

extern "C" uint32_t ModuleMain(HostCall *call);

namespace tessivo::bench {
namespace {

constexpr uint32_t kPairs = 1500;  // the count at the default speed 0.5

ImageDescriptor Describe(BenchFrame &frame) {
  ImageDescriptor desc{};
  desc.baseAddress = frame.bytes.data();
  desc.rowBytes = frame.rowBytes;
  desc.width = BenchFrame::kWidth;
  desc.height = BenchFrame::kHeight;
  desc.pixelFormat = frame.pixelFormat;
  return desc;
}

// One frame's strokes at the defaults: 1500 pairs of 21 x 1 and 1 x 21.
void StrokeFrame(benchmark::State &state, uint32_t format) {
  BenchFrame input(format, 3);
  BenchFrame canvas(format, 4);
  const ImageDescriptor source = Describe(input), target = Describe(canvas);
  for (auto _ : state) {
    PaintStrokes(target, source, kPairs, 20, 1);
    benchmark::ClobberMemory();
  }
  CountFrames(state, canvas);
}

// A whole frame as the reference host runs it: the cached canvas copied in,
// the strokes, the canvas copied back.
void ModuleFrame(benchmark::State &state, uint32_t format) {
  const auto bundle = host::Bundle::linked(&ModuleMain);
  host::Graph graph(*bundle);
  const host::NodeId module = graph.addModule(FourCC("lnlz"));
  const BenchFrame frame(format, 3);
  host::Image picture(BenchFrame::kWidth, BenchFrame::kHeight, format);
  for (uint32_t y = 0; y < BenchFrame::kHeight; ++y)
    std::copy_n(frame.bytes.data() + size_t{frame.rowBytes} * y, size_t{BenchFrame::kWidth} * frame.bytesPerPixel,
                picture.mutableRow(y));
  graph.connect(graph.addStill(std::move(picture)), module, 0);
  for (auto _ : state) {
    benchmark::DoNotOptimize(graph.renderFrame(module, 0.0, BenchFrame::kWidth, BenchFrame::kHeight, format));
  }
  CountFrames(state, frame);
}

[[maybe_unused]] const bool kRegistered = (RegisterForBothFormats("linalize strokes", StrokeFrame),
                                           RegisterForBothFormats("linalize frame", ModuleFrame), true);

#ifdef TESSIVO_BENCH_OPENCV
// The same strokes as OpenCV's filled rectangles at the same centres, each in
// the colour of the input under its centre (rectangles clip as ours do).
void RectangleFrame(benchmark::State &state, uint32_t format) {
  BenchFrame input(format, 3);
  BenchFrame canvas(format, 4);
  const int type = format == 2 ? CV_8UC4 : CV_8UC1;
  const cv::Mat source(int{BenchFrame::kHeight}, int{BenchFrame::kWidth}, type, input.bytes.data(), input.rowBytes);
  cv::Mat target(int{BenchFrame::kHeight}, int{BenchFrame::kWidth}, type, canvas.bytes.data(), canvas.rowBytes);
  for (auto _ : state) {
    for (uint32_t i = 0; i < 2 * kPairs; ++i) {
      const int x = static_cast<int>(static_cast<uint32_t>(NextRandom()) % BenchFrame::kWidth);
      const int y = static_cast<int>(static_cast<uint32_t>(NextRandom()) % BenchFrame::kHeight);
      const int halfX = i % 2 == 0 ? 10 : 0, halfY = i % 2 == 0 ? 0 : 10;
      cv::Scalar colour;
      if (format == 2) {
        const cv::Vec4b pixel = source.at<cv::Vec4b>(y, x);
        colour = cv::Scalar(pixel[0], pixel[1], pixel[2], pixel[3]);
      } else {
        colour = cv::Scalar(source.at<uint8_t>(y, x));
      }
      cv::rectangle(target, cv::Point(x - halfX, y - halfY), cv::Point(x + halfX, y + halfY), colour, cv::FILLED);
    }
    benchmark::ClobberMemory();
  }
  CountFrames(state, canvas);
}

[[maybe_unused]] const bool kOpenCvRegistered =
    (RegisterForBothFormats(OpenCvName("linalize strokes"), RectangleFrame), true);
#endif

}  // namespace
}  // namespace tessivo::bench
