// The stripe passes written out as their definition states, for the kernel
// and module tests.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
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

// The blurs the module runs, on one channel given as pixel(x, y), sampled at
// (x, y) with edges extended. The tent of radius r: weights
// (r + 1 - |i|)(r + 1 - |j|), rounded half up over their sum (r + 1)^4.
template <typename Pixel>
uint32_t Tent(Pixel pixel, uint32_t w, uint32_t h, uint32_t x, uint32_t y, uint32_t r) {
  const auto clamp = [](int64_t v, uint32_t n) { return static_cast<uint32_t>(std::clamp<int64_t>(v, 0, n - 1)); };
  const int64_t ri = r;
  uint64_t sum = 0;
  for (int64_t j = -ri; j <= ri; ++j)
    for (int64_t i = -ri; i <= ri; ++i)
      sum += uint64_t(ri + 1 - std::abs(i)) * uint64_t(ri + 1 - std::abs(j)) * pixel(clamp(x + i, w), clamp(y + j, h));
  const uint64_t d = uint64_t(r + 1) * (r + 1) * (r + 1) * (r + 1);
  return static_cast<uint32_t>((sum + d / 2) / d);
}

// The software blur with radius r both ways: each radius kept while four
// times it is below the side, else half the side; one of them 0 falls back
// to the one-dimensional blur along the other with its own clamp and 16.16
// weight; otherwise the 9.23 weight over the whole window.
template <typename Pixel>
uint32_t Box(Pixel pixel, uint32_t w, uint32_t h, uint32_t x, uint32_t y, uint32_t r) {
  const auto clamp = [](int64_t v, uint32_t n) { return static_cast<uint32_t>(std::clamp<int64_t>(v, 0, n - 1)); };
  const uint32_t rx = w > 4 * r ? r : (w - 1) >> 1, ry = 4 * r < h ? r : (h - 1) >> 1;
  if (ry == 0 || rx == 0) {
    const bool horizontal = ry == 0;
    const uint32_t length = horizontal ? w : h, r1 = 4 * r < length ? r : (length - 1) >> 1;
    uint32_t sum = 0;
    for (int64_t i = -int64_t{r1}; i <= int64_t{r1}; ++i)
      sum += horizontal ? pixel(clamp(x + i, w), y) : pixel(x, clamp(y + i, h));
    return ((0x10000u / (2 * r1 + 1)) * sum) >> 16;
  }
  uint32_t sum = 0;
  for (int64_t j = -int64_t{ry}; j <= int64_t{ry}; ++j)
    for (int64_t i = -int64_t{rx}; i <= int64_t{rx}; ++i) sum += pixel(clamp(x + i, w), clamp(y + j, h));
  return ((0x800000u / ((2 * rx + 1) * (2 * ry + 1))) * sum) >> 23;
}

}  // namespace tessivo::stripes_definition
