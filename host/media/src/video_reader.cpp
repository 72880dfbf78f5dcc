#include "tessivo/host/media/video_reader.h"

#include "av_support.h"
#include "tessivo/host/error.h"

namespace tessivo::host::media {

struct VideoReader::Impl {
  std::string path;
  AVFormatContext *format = nullptr;
  int video = -1;
  CodecContext decoder;
  ScaleContext scale;
  Frame frame{av_frame_alloc()};
  Packet packet{av_packet_alloc()};
  Image image;
  int64_t index = 0;

  ~Impl() { avformat_close_input(&format); }

  [[noreturn]] void fail(const std::string &what, int code) const {
    throw HostError(path + ": " + what + (code < 0 ? ": " + avErrorText(code) : std::string()));
  }

  // Converts the decoded frame into the host image.
  void convert() {
    const auto width = static_cast<uint32_t>(frame->width), height = static_cast<uint32_t>(frame->height);
    // Every pixel is overwritten below: the buffer is cleared only when it is new.
    if (image.width() != width || image.height() != height || image.pixelFormat() != kARGB32)
      image.reset(width, height, kARGB32);
    scale.reset(sws_getCachedContext(scale.release(), frame->width, frame->height,
                                     static_cast<AVPixelFormat>(frame->format), frame->width, frame->height,
                                     avPixelFormat(kARGB32), kScaleFlags, nullptr, nullptr, nullptr));
    if (!scale) fail("cannot convert its frames", 0);
    uint8_t *planes[4] = {image.mutableData(), nullptr, nullptr, nullptr};
    const int strides[4] = {static_cast<int>(image.rowBytes()), 0, 0, 0};
    sws_scale(scale.get(), frame->data, frame->linesize, 0, frame->height, planes, strides);
  }

  double frameTime() const {
    const AVStream *stream = format->streams[video];
    int64_t pts = frame->best_effort_timestamp;
    if (pts == AV_NOPTS_VALUE) return static_cast<double>(index) / av_q2d(stream->avg_frame_rate.num > 0 ? stream->avg_frame_rate : AVRational{25, 1});
    if (stream->start_time != AV_NOPTS_VALUE) pts -= stream->start_time;
    return static_cast<double>(pts) * av_q2d(stream->time_base);
  }

  // Delivers every frame the decoder has ready; false when the caller stops.
  bool drain(const std::function<bool(const VideoFrame &)> &onFrame) {
    while (true) {
      const int result = avcodec_receive_frame(decoder.get(), frame.get());
      if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return true;
      if (result < 0) fail("cannot decode a frame", result);
      convert();
      const VideoFrame delivered{&image, frameTime(), index++};
      av_frame_unref(frame.get());
      if (!onFrame(delivered)) return false;
    }
  }
};

VideoReader::VideoReader(const std::string &path) : impl_(std::make_unique<Impl>()) {
  quietLibraryLogs();
  Impl &d = *impl_;
  d.path = path == "-" ? "standard input" : path;
  const std::string url = path == "-" ? "pipe:0" : path;
  int result = avformat_open_input(&d.format, url.c_str(), nullptr, nullptr);
  if (result < 0) d.fail("cannot open", result);
  result = avformat_find_stream_info(d.format, nullptr);
  if (result < 0) d.fail("cannot read its streams", result);
  const AVCodec *codec = nullptr;
  d.video = av_find_best_stream(d.format, AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0);
  if (d.video < 0 || codec == nullptr) d.fail("has no video stream this build can decode", d.video);
  d.decoder.reset(avcodec_alloc_context3(codec));
  if (!d.decoder) d.fail("out of memory", 0);
  result = avcodec_parameters_to_context(d.decoder.get(), d.format->streams[d.video]->codecpar);
  if (result >= 0) result = avcodec_open2(d.decoder.get(), codec, nullptr);
  if (result < 0) d.fail("cannot open its video decoder", result);
  if (d.decoder->width <= 0 || d.decoder->height <= 0) d.fail("has a video stream of no size", 0);
  if (static_cast<uint32_t>(d.decoder->width) > kMaxImageSide || static_cast<uint32_t>(d.decoder->height) > kMaxImageSide)
    d.fail("has frames larger than " + std::to_string(kMaxImageSide) + " pixels a side", 0);
}

VideoReader::~VideoReader() = default;

uint32_t VideoReader::width() const { return static_cast<uint32_t>(impl_->decoder->width); }
uint32_t VideoReader::height() const { return static_cast<uint32_t>(impl_->decoder->height); }

std::pair<int, int> VideoReader::frameRate() const {
  const AVStream *stream = impl_->format->streams[impl_->video];
  AVRational rate = stream->avg_frame_rate;
  if (rate.num <= 0 || rate.den <= 0) rate = stream->r_frame_rate;
  if (rate.num <= 0 || rate.den <= 0) rate = {25, 1};
  return {rate.num, rate.den};
}

int64_t VideoReader::frameCountEstimate() const {
  const AVStream *stream = impl_->format->streams[impl_->video];
  if (stream->nb_frames > 0) return stream->nb_frames;
  if (impl_->format->duration > 0) {
    const auto [num, den] = frameRate();
    return static_cast<int64_t>(static_cast<double>(impl_->format->duration) / AV_TIME_BASE * num / den + 0.5);
  }
  return 0;
}

int VideoReader::streamCount() const { return static_cast<int>(impl_->format->nb_streams); }
const AVStream *VideoReader::stream(int index) const { return impl_->format->streams[index]; }
int VideoReader::videoStream() const { return impl_->video; }

void VideoReader::run(const std::function<bool(const VideoFrame &)> &onFrame,
                      const std::function<void(AVPacket &)> &onPacket) {
  Impl &d = *impl_;
  while (true) {
    const int result = av_read_frame(d.format, d.packet.get());
    if (result == AVERROR_EOF) break;
    if (result < 0) d.fail("cannot read", result);
    if (d.packet->stream_index == d.video) {
      const int sent = avcodec_send_packet(d.decoder.get(), d.packet.get());
      av_packet_unref(d.packet.get());
      if (sent < 0 && sent != AVERROR(EAGAIN)) d.fail("cannot decode a packet", sent);
      if (!d.drain(onFrame)) return;
    } else {
      onPacket(*d.packet);
      av_packet_unref(d.packet.get());
    }
  }
  avcodec_send_packet(d.decoder.get(), nullptr);
  d.drain(onFrame);
}

}  // namespace tessivo::host::media
