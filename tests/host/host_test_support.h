// Shared helpers for the host tests: the bundle under test and small pictures.
#pragma once

#include "tessivo/host/bundle.h"
#include "tessivo/host/image.h"
#include "tessivo/host/recorder.h"

#include <memory>

namespace tessivo::host::testing {

inline std::unique_ptr<Bundle> loadBundle(Recorder* recorder = nullptr, bool threaded = false) {
  LoadOptions options;
  options.recorder = recorder;
  options.threadedDelivery = threaded;
  return Bundle::load(TESSIVO_BUNDLE_PATH, options);
}

// A picture whose every pixel differs from its neighbours, in either format.
inline Image patterned(uint32_t width, uint32_t height, uint32_t format) {
  Image image(width, height, format);
  for (uint32_t y = 0; y < height; ++y)
    for (uint32_t x = 0; x < width; ++x) {
      const uint32_t v = (x * 37 + y * 91 + 11) & 0xFF;
      image.setPixel(x, y, format == kGrey8 ? v : (0x80u + v / 2) << 24 | v << 16 | (255 - v) << 8 | ((v * 3) & 0xFF));
    }
  return image;
}

}  // namespace tessivo::host::testing
