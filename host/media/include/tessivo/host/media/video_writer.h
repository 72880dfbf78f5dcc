// Encoding host images into any file FFmpeg's libraries write: a container
// and codec chosen from the name (or given), the frame rate kept, other
// streams copied. A file is written under a temporary name and renamed when
// complete, so an interrupted render leaves nothing under the final name.
#pragma once

#include "tessivo/host/image.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct AVPacket;
struct AVStream;

namespace tessivo::host::media {

struct VideoWriterOptions {
  std::string format;  // muxer name; empty: from the file name ("-" writes raw frames)
  std::string codec;   // encoder name; empty: the container's default
  bool overwrite = false;
};

class VideoWriter {
 public:
  // Opens path ("-" is standard output). copyStreams are the input streams to
  // copy (audio, subtitles); a container that cannot hold one drops it with a
  // note on stderr. Throws HostError naming the file.
  VideoWriter(const std::string &path, const VideoWriterOptions &options, uint32_t width, uint32_t height,
              uint32_t pixelFormat, std::pair<int, int> frameRate, const std::vector<const AVStream *> &copyStreams);
  ~VideoWriter();  // without finish(): removes the temporary file
  VideoWriter(const VideoWriter &) = delete;
  VideoWriter &operator=(const VideoWriter &) = delete;

  void writeFrame(const Image &image);
  // A packet of copied input stream `inputIndex` (one of copyStreams).
  void writePacket(AVPacket &packet, const AVStream *input);
  // Flushes the encoder, writes the trailer and moves the file to its name.
  void finish();
  // Codec and container actually used, for messages.
  std::string description() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace tessivo::host::media
