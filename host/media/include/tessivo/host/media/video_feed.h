// A video file or image sequence played by time, for a patch's frame-source
// node that no stream drives: the frame showing at a time, decoded onward
// from the last one asked for, reopened when time runs back, and looped over
// the clip's length.
#pragma once

#include "tessivo/host/image.h"
#include "tessivo/host/media/video_reader.h"

#include <memory>
#include <string>

namespace tessivo::host::media {

class VideoFeed {
 public:
  // Opens the clip; HostError naming the file when it cannot be read.
  explicit VideoFeed(std::string path);

  // The frame shown at `time` seconds (the last one starting at or before it;
  // the first one before that), the clip repeating once its length is known.
  const Image& frameAt(double time);

 private:
  void reopen();

  std::string path_;
  std::unique_ptr<VideoReader> reader_;
  double frameLength_ = 0.04;
  Image current_;
  double currentTime_ = -1.0;  // negative: no frame yet
  Image next_;                // decoded past the time last asked for
  double nextTime_ = 0.0;
  bool hasNext_ = false;
  bool ended_ = false;
  double clipLength_ = 0.0;  // known once the end was reached
};

}  // namespace tessivo::host::media
