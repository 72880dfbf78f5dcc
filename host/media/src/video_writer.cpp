#include "tessivo/host/media/video_writer.h"

#include "av_support.h"
#include "tessivo/host/error.h"

#include <cstdio>
#include <filesystem>
#include <map>

namespace tessivo::host::media {

struct VideoWriter::Impl {
  std::string path;      // as given
  std::string target;    // where the muxer writes (a temporary name for files)
  bool renameAtEnd = false;
  AVFormatContext *format = nullptr;
  CodecContext encoder;
  AVStream *videoStream = nullptr;
  std::map<const AVStream *, AVStream *> copies;  // input stream -> output stream
  ScaleContext scale;
  Frame frame{av_frame_alloc()};
  Packet packet{av_packet_alloc()};
  int64_t nextPts = 0;
  uint32_t pixelFormat = kARGB32;
  bool headerWritten = false;
  bool finished = false;

  ~Impl() {
    if (format != nullptr && !(format->oformat->flags & AVFMT_NOFILE)) avio_closep(&format->pb);
    avformat_free_context(format);
    if (!finished && renameAtEnd) std::remove(target.c_str());
  }

  [[noreturn]] void fail(const std::string &what, int code) const {
    throw HostError((path == "-" ? std::string("standard output") : path) + ": " + what +
                    (code < 0 ? ": " + avErrorText(code) : std::string()));
  }

  void drainEncoder() {
    while (true) {
      const int result = avcodec_receive_packet(encoder.get(), packet.get());
      if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return;
      if (result < 0) fail("cannot encode a frame", result);
      av_packet_rescale_ts(packet.get(), encoder->time_base, videoStream->time_base);
      packet->stream_index = videoStream->index;
      const int written = av_interleaved_write_frame(format, packet.get());
      if (written < 0) fail("cannot write", written);
    }
  }
};

VideoWriter::VideoWriter(const std::string &path, const VideoWriterOptions &options, uint32_t width, uint32_t height,
                         uint32_t pixelFormat, std::pair<int, int> frameRate,
                         const std::vector<const AVStream *> &copyStreams)
    : impl_(std::make_unique<Impl>()) {
  quietLibraryLogs();
  Impl &d = *impl_;
  d.path = path;
  d.pixelFormat = pixelFormat;
  const bool toStdout = path == "-";
  const std::string formatName = !options.format.empty() ? options.format : toStdout ? "rawvideo" : "";
  int result = avformat_alloc_output_context2(&d.format, nullptr, formatName.empty() ? nullptr : formatName.c_str(),
                                              toStdout ? nullptr : path.c_str());
  if (result < 0 || d.format == nullptr)
    d.fail(formatName.empty() ? "no container is known for this name (choose one with --format)"
                              : "unknown container \"" + formatName + "\"",
           result);

  const AVCodec *codec = nullptr;
  if (!options.codec.empty()) {
    codec = avcodec_find_encoder_by_name(options.codec.c_str());
    if (codec == nullptr || codec->type != AVMEDIA_TYPE_VIDEO) d.fail("unknown video encoder \"" + options.codec + "\"", 0);
  } else {
    const AVCodecID id = toStdout ? AV_CODEC_ID_RAWVIDEO : d.format->oformat->video_codec;
    codec = id == AV_CODEC_ID_NONE ? nullptr : avcodec_find_encoder(id);
    if (codec == nullptr) d.fail("the container has no default video encoder in this build (choose one with --codec)", 0);
  }

  d.encoder.reset(avcodec_alloc_context3(codec));
  AVCodecContext *encoder = d.encoder.get();
  encoder->width = static_cast<int>(width);
  encoder->height = static_cast<int>(height);
  encoder->framerate = AVRational{frameRate.first, frameRate.second};
  encoder->time_base = av_inv_q(encoder->framerate);
  // The frames' own format when the encoder takes it (lossless), else its nearest.
  const AVPixelFormat source = avPixelFormat(pixelFormat);
  encoder->pix_fmt = source;
  if (codec->pix_fmts != nullptr) {
    bool takesSource = false;
    for (const AVPixelFormat *format = codec->pix_fmts; *format != AV_PIX_FMT_NONE; ++format)
      takesSource = takesSource || *format == source;
    if (!takesSource) encoder->pix_fmt = avcodec_find_best_pix_fmt_of_list(codec->pix_fmts, source, 1, nullptr);
  }
  if (d.format->oformat->flags & AVFMT_GLOBALHEADER) encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  result = avcodec_open2(encoder, codec, nullptr);
  if (result < 0) d.fail(std::string("cannot open the ") + codec->name + " encoder", result);

  d.videoStream = avformat_new_stream(d.format, nullptr);
  if (d.videoStream == nullptr) d.fail("out of memory", 0);
  avcodec_parameters_from_context(d.videoStream->codecpar, encoder);
  d.videoStream->time_base = encoder->time_base;
  d.videoStream->avg_frame_rate = encoder->framerate;

  for (const AVStream *input : copyStreams) {
    if (avformat_query_codec(d.format->oformat, input->codecpar->codec_id, FF_COMPLIANCE_NORMAL) != 1) {
      std::fprintf(stderr, "tessivo: note: %s cannot hold stream %d (%s); it is left out\n",
                   d.format->oformat->name, input->index, avcodec_get_name(input->codecpar->codec_id));
      continue;
    }
    AVStream *output = avformat_new_stream(d.format, nullptr);
    if (output == nullptr || avcodec_parameters_copy(output->codecpar, input->codecpar) < 0) d.fail("out of memory", 0);
    output->codecpar->codec_tag = 0;
    output->time_base = input->time_base;
    d.copies[input] = output;
  }

  if (!(d.format->oformat->flags & AVFMT_NOFILE)) {
    d.renameAtEnd = !toStdout;
    if (d.renameAtEnd) {
      const std::filesystem::path final(path);
      d.target = (final.parent_path() / ("." + final.filename().string() + ".tessivo-partial")).string();
    } else {
      d.target = "pipe:1";
    }
    result = avio_open(&d.format->pb, d.target.c_str(), AVIO_FLAG_WRITE);
    if (result < 0) d.fail("cannot create", result);
  }
  result = avformat_write_header(d.format, nullptr);
  if (result < 0) d.fail("cannot write the header", result);
  d.headerWritten = true;

  d.frame->format = encoder->pix_fmt;
  d.frame->width = encoder->width;
  d.frame->height = encoder->height;
  result = av_frame_get_buffer(d.frame.get(), 0);
  if (result < 0) d.fail("out of memory", result);
  d.scale.reset(sws_getContext(encoder->width, encoder->height, source, encoder->width, encoder->height,
                               encoder->pix_fmt, kScaleFlags, nullptr, nullptr, nullptr));
  if (!d.scale) d.fail("cannot convert frames for the encoder", 0);
}

VideoWriter::~VideoWriter() = default;

void VideoWriter::writeFrame(const Image &image) {
  Impl &d = *impl_;
  if (image.width() != static_cast<uint32_t>(d.encoder->width) ||
      image.height() != static_cast<uint32_t>(d.encoder->height) || image.pixelFormat() != d.pixelFormat)
    d.fail("a frame does not match the stream's size and format", 0);
  const int writable = av_frame_make_writable(d.frame.get());
  if (writable < 0) d.fail("out of memory", writable);
  const uint8_t *planes[4] = {image.data(), nullptr, nullptr, nullptr};
  const int strides[4] = {static_cast<int>(image.rowBytes()), 0, 0, 0};
  sws_scale(d.scale.get(), planes, strides, 0, static_cast<int>(image.height()), d.frame->data, d.frame->linesize);
  d.frame->pts = d.nextPts++;
  const int result = avcodec_send_frame(d.encoder.get(), d.frame.get());
  if (result < 0) d.fail("cannot encode a frame", result);
  d.drainEncoder();
}

void VideoWriter::writePacket(AVPacket &packet, const AVStream *input) {
  Impl &d = *impl_;
  const auto copy = d.copies.find(input);
  if (copy == d.copies.end()) return;
  av_packet_rescale_ts(&packet, input->time_base, copy->second->time_base);
  packet.stream_index = copy->second->index;
  packet.pos = -1;
  const int result = av_interleaved_write_frame(d.format, &packet);
  if (result < 0) d.fail("cannot write a copied packet", result);
}

void VideoWriter::finish() {
  Impl &d = *impl_;
  if (d.finished) return;
  avcodec_send_frame(d.encoder.get(), nullptr);
  d.drainEncoder();
  const int result = av_write_trailer(d.format);
  if (result < 0) d.fail("cannot finish", result);
  if (!(d.format->oformat->flags & AVFMT_NOFILE)) avio_closep(&d.format->pb);
  if (d.renameAtEnd) {
    std::error_code error;
    std::filesystem::rename(d.target, d.path, error);
    if (error) d.fail("cannot move the finished file into place: " + error.message(), 0);
  }
  d.finished = true;
}

std::string VideoWriter::description() const {
  return std::string(impl_->encoder->codec->name) + " in " + impl_->format->oformat->name;
}

}  // namespace tessivo::host::media
