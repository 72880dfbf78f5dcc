#include "tessivo/host/media/video_feed.h"

#include "tessivo/host/error.h"

#include <cmath>

namespace tessivo::host::media {

VideoFeed::VideoFeed(std::string path) : path_(std::move(path)) { reopen(); }

void VideoFeed::reopen() {
  reader_ = std::make_unique<VideoReader>(path_);
  const auto [num, den] = reader_->frameRate();
  frameLength_ = num > 0 && den > 0 ? static_cast<double>(den) / num : 0.04;
  currentTime_ = -1.0;
  hasNext_ = false;
  ended_ = false;
}

const Image& VideoFeed::frameAt(double time) {
  if (!std::isfinite(time) || time < 0.0) time = 0.0;
  if (clipLength_ > 0.0) time = std::fmod(time, clipLength_);
  if (currentTime_ >= 0.0 && time < currentTime_) reopen();
  if (hasNext_ && nextTime_ <= time) {
    current_ = std::move(next_);
    currentTime_ = nextTime_;
    hasNext_ = false;
  }
  if (!hasNext_ && !ended_) {
    reader_->run(
        [&](const VideoFrame& frame) {
          if (frame.time <= time || currentTime_ < 0.0) {
            current_ = *frame.image;
            currentTime_ = frame.time;
            return true;
          }
          next_ = *frame.image;
          nextTime_ = frame.time;
          hasNext_ = true;
          return false;
        },
        [](AVPacket&) {});
    if (!hasNext_) {
      ended_ = true;
      clipLength_ = currentTime_ + frameLength_;
    }
  }
  if (currentTime_ < 0.0) throw HostError(path_ + ": no frame could be decoded");
  return current_;
}

}  // namespace tessivo::host::media
