// Runs every registered benchmark, then prints one table (module, mode,
// format, ns per pixel, and the time as a multiple of the memcpy of the same
// frame format and of each peer measured in the same run) followed by one
// ratio line per kernel. Times are CPU times: every kernel runs on one
// thread, and on a shared machine the CPU time of that thread is steadier
// than the wall clock.
#include "bench_frame.h"
#include "ffmpeg_peer.h"

#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

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

// "blur-h r=10" is module "blur", mode "h r=10"; "fader" has no mode.
std::pair<std::string, std::string> ModuleAndMode(const std::string &what) {
  const size_t cut = what.find_first_of(" -");
  if (cut == std::string::npos) return {what, "-"};
  return {what.substr(0, cut), what.substr(cut + 1)};
}

// Prints one progress line per benchmark on stderr and remembers each run's
// CPU time in seconds by name.
class TableReporter : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context &) override { return true; }

  void ReportRuns(const std::vector<Run> &runs) override {
    for (const Run &run : runs) {
      if (run.run_type != Run::RT_Iteration) continue;
      if (run.error_occurred) {
        std::fprintf(stderr, "%s: skipped (%s)\n", run.benchmark_name().c_str(), run.error_message.c_str());
        continue;
      }
      const double seconds = run.GetAdjustedCPUTime() / benchmark::GetTimeUnitMultiplier(run.time_unit);
      times_[run.benchmark_name()] = seconds;
      std::fprintf(stderr, "%-48s %10.1f us  x%lld %s\n", run.benchmark_name().c_str(), seconds * 1e6,
                   static_cast<long long>(run.iterations), run.report_label.c_str());
    }
  }

  void printTable() const {
    constexpr double kPixels = double{BenchFrame::kWidth} * BenchFrame::kHeight;
    std::printf("%-12s %-22s %-8s %9s %9s %9s %9s\n", "module", "mode", "format", "ns/pixel", "x memcpy", "x OpenCV",
                "x ffmpeg");
    std::vector<std::string> lines;
    for (const auto &[name, time] : times_) {
      const size_t slash = name.find('/');
      if (slash == std::string::npos || name.find('@') != std::string::npos) continue;
      const std::string what = name.substr(0, slash), frame = name.substr(slash);
      const std::string format = frame.substr(1, frame.find(' ') - 1);
      const auto [module, mode] = ModuleAndMode(what);
      std::printf("%-12s %-22s %-8s %9.3f", module.c_str(), mode.c_str(), format.c_str(), time * 1e9 / kPixels);
      std::string line = name + ":";
      const char *separator = " ";
      const double baseline = timeOf(kBaseline + frame);
      if (what == kBaseline || baseline <= 0.0) {
        std::printf("\n");
        continue;
      }
      std::printf(" %9.2f", time / baseline);
      line += separator + Ratio(time / baseline, "memcpy");
      separator = ", ";
      const std::pair<const char *, std::string> peers[] = {{"OpenCV", OpenCvName(what) + frame},
                                                            {"ffmpeg", FfmpegName(what) + frame}};
      for (const auto &[peer, peerName] : peers) {
        const double reference = timeOf(peerName);
        if (reference > 0.0) {
          std::printf(" %9.2f", time / reference);
          line += separator + Ratio(time / reference, peer);
        } else {
          std::printf(" %9s", "-");
        }
      }
      std::printf("\n");
      lines.push_back(line);
    }
    std::printf("\n");
    for (const std::string &line : lines) std::printf("%s\n", line.c_str());
  }

 private:
  static std::string Ratio(double ratio, const char *against) {
    char text[64];
    std::snprintf(text, sizeof text, "%.2fx %s", ratio, against);
    return text;
  }

  double timeOf(const std::string &name) const {
    const auto found = times_.find(name);
    return found == times_.end() ? 0.0 : found->second;
  }

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
  // A short minimum time per benchmark keeps the whole run to a minute or
  // two; --benchmark_min_time overrides it.
  std::vector<char *> args(argv, argv + argc);
  std::string minTime = "--benchmark_min_time=0.05";
  bool given = false;
  for (int i = 1; i < argc; ++i) given = given || std::strncmp(argv[i], "--benchmark_min_time", 20) == 0;
  if (!given) args.insert(args.begin() + 1, minTime.data());
  int count = static_cast<int>(args.size());
  benchmark::Initialize(&count, args.data());
  if (benchmark::ReportUnrecognizedArguments(count, args.data())) return 1;
  TableReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.printTable();
  benchmark::Shutdown();
  return 0;
}
