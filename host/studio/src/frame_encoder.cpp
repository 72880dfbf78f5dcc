// Preview frames encoded in memory by the host's image encoder: PNG at a fast
// compression level (exact, for a paused frame), JPEG while playing.
#include "tessivo/studio/studio.h"

#include <tessivo/host/error.h>
#include <tessivo/host/image_file.h>

namespace tessivo::studio {

EncodedFrame encodeFrame(const host::Image& image, FrameFormat format) {
  if (image.empty()) throw StudioError(500, "no picture to encode");
  host::ImageWriteOptions options;
  options.pngLevel = 1;
  options.quality = 85;
  const bool png = format == FrameFormat::Png;
  try {
    return {png ? "image/png" : "image/jpeg", host::encodeImage(image, png ? "png" : "jpeg", options)};
  } catch (const host::HostError& error) {
    throw StudioError(500, std::string("the preview encoder failed: ") + error.what());
  }
}

}  // namespace tessivo::studio
