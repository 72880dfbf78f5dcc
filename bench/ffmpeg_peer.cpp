#include "ffmpeg_peer.h"

#include "bench_frame.h"

#include <cstring>
#include <memory>

extern "C" {
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/frame.h>
#include <libavutil/log.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

namespace tessivo::bench {
namespace {

struct FrameDeleter {
  void operator()(AVFrame *frame) const { av_frame_free(&frame); }
};
using Frame = std::unique_ptr<AVFrame, FrameDeleter>;

// One filter between a buffer source and a sink, on one thread, with no
// format conversion slipped in: a filter that refuses the pixel format fails
// to configure instead of being timed with a converter around it.
class Graph {
 public:
  ~Graph() { avfilter_graph_free(&graph_); }

  bool open(const std::string &filter, AVPixelFormat format) {
    graph_ = avfilter_graph_alloc();
    if (graph_ == nullptr) return false;
    graph_->nb_threads = 1;
    graph_->thread_type = 0;
    avfilter_graph_set_auto_convert(graph_, AVFILTER_AUTO_CONVERT_NONE);
    const std::string args = "video_size=" + std::to_string(BenchFrame::kWidth) + "x" +
                             std::to_string(BenchFrame::kHeight) + ":pix_fmt=" + std::to_string(int{format}) +
                             ":time_base=1/25:pixel_aspect=1/1";
    if (avfilter_graph_create_filter(&source_, avfilter_get_by_name("buffer"), "in", args.c_str(), nullptr, graph_) <
            0 ||
        avfilter_graph_create_filter(&sink_, avfilter_get_by_name("buffersink"), "out", nullptr, nullptr, graph_) < 0)
      return false;
    AVFilterInOut *outputs = avfilter_inout_alloc();
    AVFilterInOut *inputs = avfilter_inout_alloc();
    if (outputs == nullptr || inputs == nullptr) {
      avfilter_inout_free(&outputs);
      avfilter_inout_free(&inputs);
      return false;
    }
    outputs->name = av_strdup("in");
    outputs->filter_ctx = source_;
    inputs->name = av_strdup("out");
    inputs->filter_ctx = sink_;
    const bool parsed = avfilter_graph_parse_ptr(graph_, filter.c_str(), &inputs, &outputs, nullptr) >= 0;
    avfilter_inout_free(&outputs);
    avfilter_inout_free(&inputs);
    return parsed && avfilter_graph_config(graph_, nullptr) >= 0;
  }

  // Filters one frame; false when the graph gives nothing back.
  bool run(AVFrame *in, AVFrame *out) {
    if (av_buffersrc_add_frame_flags(source_, in, AV_BUFFERSRC_FLAG_KEEP_REF) < 0) return false;
    const bool got = av_buffersink_get_frame(sink_, out) >= 0;
    av_frame_unref(out);
    return got;
  }

 private:
  AVFilterGraph *graph_ = nullptr;
  AVFilterContext *source_ = nullptr;
  AVFilterContext *sink_ = nullptr;
};

// The random frame of the format, in ffmpeg's layout for pixelFormat.
Frame SourceFrame(uint32_t format, AVPixelFormat pixelFormat) {
  Frame frame(av_frame_alloc());
  if (frame == nullptr) return frame;
  frame->width = int{BenchFrame::kWidth};
  frame->height = int{BenchFrame::kHeight};
  frame->format = pixelFormat;
  if (av_frame_get_buffer(frame.get(), 64) < 0) return nullptr;
  BenchFrame random(format, 3);
  for (uint32_t y = 0; y < BenchFrame::kHeight; ++y) {
    const uint8_t *row = random.row(y);
    if (pixelFormat != AV_PIX_FMT_GBRAP) {
      std::memcpy(frame->data[0] + size_t(frame->linesize[0]) * y, row, size_t{BenchFrame::kWidth} * random.bytesPerPixel);
      continue;
    }
    // Planes G, B, R, A from the B, G, R, A bytes of each word.
    constexpr int kPlaneOfByte[4] = {1, 0, 2, 3};
    for (uint32_t x = 0; x < BenchFrame::kWidth; ++x)
      for (int c = 0; c < 4; ++c) frame->data[kPlaneOfByte[c]][size_t(frame->linesize[kPlaneOfByte[c]]) * y + x] = row[4 * x + c];
  }
  return frame;
}

void Filter(benchmark::State &state, uint32_t format, const std::string &filter) {
  av_log_set_level(AV_LOG_FATAL);
  const AVPixelFormat candidates[2][2] = {{AV_PIX_FMT_GRAY8, AV_PIX_FMT_NONE}, {AV_PIX_FMT_BGRA, AV_PIX_FMT_GBRAP}};
  for (const AVPixelFormat pixelFormat : candidates[format == 2 ? 1 : 0]) {
    if (pixelFormat == AV_PIX_FMT_NONE) break;
    Graph graph;
    if (!graph.open(filter, pixelFormat)) continue;
    const Frame in = SourceFrame(format, pixelFormat);
    const Frame out(av_frame_alloc());
    if (in == nullptr || out == nullptr) break;
    state.SetLabel(av_get_pix_fmt_name(pixelFormat));
    int64_t pts = 0;
    for (auto _ : state) {
      in->pts = pts++;
      if (!graph.run(in.get(), out.get())) {
        state.SkipWithError("the filter gave no frame");
        break;
      }
    }
    CountFrames(state, BenchFrame(format, 0));
    return;
  }
  state.SkipWithError(("no graph for " + filter).c_str());
}

}  // namespace

std::string FfmpegName(const std::string &what) { return what + "@ffmpeg"; }

void RegisterFfmpeg(const std::string &what, std::function<std::string(uint32_t format)> filter) {
  for (const uint32_t format : {0u, 2u}) {
    const std::string description = filter(format);
    if (description.empty()) continue;
    benchmark::RegisterBenchmark((FfmpegName(what) + "/" + FrameLabel(format)).c_str(),
                                 [format, description](benchmark::State &state) { Filter(state, format, description); })
        ->Unit(benchmark::kMicrosecond);
  }
}

}  // namespace tessivo::bench
