// The stripe passes written out as their definition states, for the kernel
// and module tests.
#pragma once

#include <cstdint>
#include <vector>

#include "stripizator/stripizator_kernel.h"

namespace tessivo::stripes_definition {

// Over the whole frame, in the order stated. A doubled
// width that wraps to 0 leaves the modulo undefined; the bundle draws the
// fore colour there, as for every wider stripe.
inline uint32_t Color(uint32_t phase, uint32_t width, uint32_t fore, uint32_t back) {
  return (phase < width ? fore : back) & 0x00FFFFFFu;
}

inline std::vector<uint32_t> DirectArgb(const std::vector<uint32_t> &blurred, uint32_t w, uint32_t h,
                                        const Stripes &s) {
  std::vector<uint32_t> out(blurred.size());
  const uint32_t period = 2u * s.width;
  for (uint32_t y = 0; y < h; ++y) {
    uint32_t phase = period == 0 ? 0 : (h - y + s.counter) % period;
    for (uint32_t x = 0; x < w; ++x) {
      const uint32_t color = period == 0 ? s.foreColor & 0xFFFFFFu : Color(phase, s.width, s.foreColor, s.backColor);
      out[y * w + x] = color | ~blurred[y * w + x] << 24;
      phase += 1;
      if (phase == period) phase = 0;
    }
  }
  return out;
}

inline std::vector<uint32_t> DirectPlanar8(const std::vector<uint8_t> &grey, uint32_t w, uint32_t h, const Stripes &s) {
  std::vector<uint32_t> out(grey.size());
  const uint32_t period = 2u * s.width;
  for (uint32_t r = h; r-- > 0;) {
    uint32_t phase = period == 0 ? 0 : (r + 1 + s.counter) % period;
    for (uint32_t x = w; x-- > 0;) {
      const uint32_t color = period == 0 ? s.foreColor & 0xFFFFFFu : Color(phase, s.width, s.foreColor, s.backColor);
      out[r * w + x] = color | (255u - grey[r * w + x]) << 24;
      phase += 1;
      if (phase == period) phase = 0;
    }
  }
  return out;
}

}  // namespace tessivo::stripes_definition
