// Runs every registered benchmark, then prints each one's time as a multiple
// of the memcpy of the same frame format measured in the same run.
#include "bench_frame.h"

#include <cstdio>
#include <cstring>
#include <map>
#include <string>

#include <unistd.h>

#ifdef TESSIVO_BENCH_OPENCV
#include <opencv2/core.hpp>
#endif

namespace tessivo::bench {
namespace {

constexpr const char *kBaseline = "memcpy";

// The row-by-row copy a host does between padded frames: the floor every
// kernel is measured against.
void CopyFrame(benchmark::State &state, uint32_t format) {
  BenchFrame source(format, 1);
  BenchFrame destination(format, 2);
  for (auto _ : state) {
    for (uint32_t y = 0; y < BenchFrame::kHeight; ++y) {
      std::memcpy(destination.row(y), source.row(y), size_t{BenchFrame::kWidth} * source.bytesPerPixel);
    }
    benchmark::ClobberMemory();
  }
  CountFrames(state, destination);
}

// Keeps the console output and remembers each run's real time by name.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  // Colours only on a terminal, so logs stay plain text.
  RatioReporter() : ConsoleReporter(isatty(fileno(stdout)) ? OO_Defaults : OO_Tabular) {}

  void ReportRuns(const std::vector<Run> &runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run &run : runs) {
      if (run.run_type == Run::RT_Iteration && !run.error_occurred) times_[run.benchmark_name()] = run.GetAdjustedRealTime();
    }
  }

  void printRatios() const {
    std::printf("\n");
    for (const auto &[name, time] : times_) {
      const size_t slash = name.find('/');
      if (slash == std::string::npos || name.compare(0, slash, kBaseline) == 0) continue;
      const auto baseline = times_.find(kBaseline + name.substr(slash));
      if (baseline == times_.end() || baseline->second <= 0.0) continue;
      std::printf("%s: %.2fx memcpy", name.c_str(), time / baseline->second);
      const auto reference = times_.find(OpenCvName(name.substr(0, slash)) + name.substr(slash));
      if (reference != times_.end() && reference->second > 0.0) {
        std::printf(", %.2fx OpenCV", time / reference->second);
      }
      std::printf("\n");
    }
  }

 private:
  std::map<std::string, double> times_;
};

}  // namespace
}  // namespace tessivo::bench

int main(int argc, char **argv) {
  using namespace tessivo::bench;
  RegisterForBothFormats(kBaseline, CopyFrame);
#ifdef TESSIVO_BENCH_OPENCV
  // The bundle starts no threads: compare with OpenCV on one thread too.
  cv::setNumThreads(1);
#endif
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.printRatios();
  benchmark::Shutdown();
  return 0;
}
