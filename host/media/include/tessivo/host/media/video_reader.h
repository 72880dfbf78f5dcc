// Decoding any video, image sequence or pipe FFmpeg's libraries read into host
// images, frame by frame, with each frame's time; other streams' packets are
// handed on untouched so a writer can copy them.
#pragma once

#include "tessivo/host/image.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

struct AVPacket;
struct AVStream;

namespace tessivo::host::media {

struct VideoFrame {
  const Image *image = nullptr;  // ARGB, valid until the next frame
  double time = 0.0;             // seconds from the stream's start
  int64_t index = 0;             // 0, 1, 2, ...
};

class VideoReader {
 public:
  // "-" reads standard input. Throws HostError naming the file.
  explicit VideoReader(const std::string &path);
  ~VideoReader();
  VideoReader(const VideoReader &) = delete;
  VideoReader &operator=(const VideoReader &) = delete;

  uint32_t width() const;
  uint32_t height() const;
  // Frames per second as a fraction (numerator, denominator).
  std::pair<int, int> frameRate() const;
  // Frames the container announces, or 0 when unknown.
  int64_t frameCountEstimate() const;
  // The input's streams other than the decoded video, for copying.
  int streamCount() const;
  const AVStream *stream(int index) const;
  int videoStream() const;

  // Calls onFrame for every decoded frame and onPacket for every packet of the
  // other streams, in file order, until the end or until a callback returns false.
  void run(const std::function<bool(const VideoFrame &)> &onFrame,
           const std::function<void(AVPacket &)> &onPacket);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace tessivo::host::media
