// Pixxicato written out pixel by pixel, straight from its rules: the
// reference the kernel tests and the fuzz target compare the kernel with.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "pixxicato/pixxicato_kernel.h"

namespace tessivo::direct {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

// A frame whose rows are padded like a host's; everything, padding included,
// starts random, so a kernel that writes where it must not is caught.
struct Frame {
  uint32_t width, height, pixelBytes, rowBytes;
  std::vector<uint8_t> bytes;

  Frame(uint32_t w, uint32_t h, uint32_t format, uint32_t padding, uint32_t seed)
      : width(w), height(h), pixelBytes(format == 2 ? 4 : 1), rowBytes(w * pixelBytes + padding),
        bytes(size_t{rowBytes} * h) {
    std::mt19937 random(seed);
    for (uint8_t &byte : bytes) byte = static_cast<uint8_t>(random());
  }
  uint32_t stride() const { return pixelBytes == 4 ? rowBytes & ~3u : rowBytes; }
  uint32_t pixel(uint32_t x, uint32_t y) const {
    uint32_t value = 0;
    std::memcpy(&value, &bytes[size_t{y} * stride() + x * pixelBytes], pixelBytes);
    return value;
  }
  void setPixel(uint32_t x, uint32_t y, uint32_t value) {
    std::memcpy(&bytes[size_t{y} * stride() + x * pixelBytes], &value, pixelBytes);
  }
};

inline PixxicatoImage Describe(const Frame &source, Frame &destination, uint32_t format) {
  return {source.bytes.data(), source.rowBytes, destination.bytes.data(), destination.rowBytes,
          destination.width, destination.height, format};
}

inline uint32_t DirectBlock(uint32_t extent, float factor) {
  const float size = std::fma(static_cast<float>(extent / 2), factor, 1.0f);
  if (std::isnan(size) || size < 1.0f) return 1;
  return size >= 4294967296.0f ? 0xFFFFFFFFu : static_cast<uint32_t>(size);
}

inline uint32_t ToUnsigned(double value) {
  if (std::isnan(value) || value <= 0.0) return 0;
  return value >= 4294967296.0 ? 0xFFFFFFFFu : static_cast<uint32_t>(value);
}

struct Window {
  uint64_t lo, hi;
};
inline Window DirectWindow(float factor) {
  const uint32_t n = ToUnsigned(factor * 16.0);
  const uint32_t lo = n / 2;
  const uint32_t hi = ToUnsigned(factor * 16.0 + 1.0 - lo);
  return {lo, hi == 0 ? 1 : hi};
}

// Where the pixelation takes output pixel (x, y) from, or false where the
// vertical pass leaves it unwritten.
inline bool PixelateSample(uint32_t x, uint32_t y, uint32_t w, uint32_t h, uint32_t pixelBytes, bool center, float fx,
                    float fy, uint32_t &sx, uint32_t &sy) {
  sx = x, sy = y;
  const bool vertical = fx == 0.0f, horizontal = !vertical && fy == 0.0f;
  if (!horizontal) {
    const uint32_t bh = DirectBlock(h, fy), nby = h / bh;
    sy = y / bh < nby ? y / bh * bh : std::min(nby * bh, h - 1);
  }
  if (vertical) {
    const uint32_t copied = pixelBytes == 1 ? w / 8 * 8 : w / 2 * 2;
    return x < copied;
  }
  const uint64_t bw = DirectBlock(w, fx), nbx = w / bw, offset = center ? bw / 2 : 0;
  if (x / bw < nbx) {
    sx = static_cast<uint32_t>(x / bw * bw + offset);
  } else {
    sx = static_cast<uint32_t>(nbx * bw + offset < w ? nbx * bw + offset : w - 1);
  }
  return true;
}

// The window of coordinate c along an extent: start = max(0, c - lo); end from
// the unsigned test c <= extent - hi, and the extent whenever hi exceeds it
// (the image's edge is never passed).
inline void WindowRange(uint32_t c, uint32_t extent, Window window, uint32_t &start, uint32_t &end) {
  start = c >= window.lo ? static_cast<uint32_t>(c - window.lo) : 0;
  end = window.hi <= extent && c <= extent - window.hi ? static_cast<uint32_t>(c + window.hi) : extent;
}

inline uint32_t WindowPixel(const Frame &src, uint32_t mode, uint32_t x, uint32_t y, float fx, float fy) {
  const bool alongX = fx != 0.0f, alongY = !alongX || fy != 0.0f;
  const Window wx = alongX ? DirectWindow(fx) : Window{0, 1}, wy = alongY ? DirectWindow(fy) : Window{0, 1};
  uint32_t x0, x1, y0, y1;
  WindowRange(x, src.width, wx, x0, x1);
  WindowRange(y, src.height, wy, y0, y1);
  const uint64_t area = (wx.lo + wx.hi) * (wy.lo + wy.hi);
  const uint32_t reciprocal = area > 0x1000000u ? 0 : static_cast<uint32_t>(0x1000000u / area);
  uint32_t result = 0;
  for (uint32_t shift = 0; shift < src.pixelBytes * 8; shift += 8) {
    uint32_t sum = 0, largest = 0, smallest = 255;
    for (uint32_t sy = y0; sy < y1; ++sy) {
      for (uint32_t sx = x0; sx < x1; ++sx) {
        const uint32_t v = (src.pixel(sx, sy) >> shift) & 0xFF;
        sum += v, largest = std::max(largest, v), smallest = std::min(smallest, v);
      }
    }
    const uint32_t channel = mode == kPixxicatoMean ? ((sum * reciprocal) >> 24) & 0xFF
                             : mode == kPixxicatoMaximum ? largest : smallest;
    result |= channel << shift;
  }
  return result;
}

// The expected destination: untouched bytes as they were.
inline Frame Expected(const Frame &src, const Frame &dst, uint32_t mode, float fx, float fy) {
  Frame expected = dst;
  for (uint32_t y = 0; y < src.height; ++y) {
    for (uint32_t x = 0; x < src.width; ++x) {
      if (mode <= kPixxicatoCenter) {
        uint32_t sx, sy;
        if (PixelateSample(x, y, src.width, src.height, src.pixelBytes, mode == kPixxicatoCenter, fx, fy, sx, sy))
          expected.setPixel(x, y, src.pixel(sx, sy));
      } else {
        expected.setPixel(x, y, WindowPixel(src, mode, x, y, fx, fy));
      }
    }
  }
  return expected;
}

}  // namespace tessivo::direct
