#include "tessivo/host/image_ops.h"

#include "tessivo/host/error.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

namespace tessivo::host {

namespace {

uint32_t channel(uint32_t value, int index) { return (value >> (index * 8)) & 0xFF; }

// One pixel read from a row, whatever the format.
uint32_t readPixel(const uint8_t* row, size_t x, uint32_t format) {
  if (format == kGrey8) return row[x];
  uint32_t value;
  std::memcpy(&value, row + x * 4, 4);
  return value;
}

void writePixel(uint8_t* row, size_t x, uint32_t format, uint32_t value) {
  if (format == kGrey8)
    row[x] = static_cast<uint8_t>(value);
  else
    std::memcpy(row + x * 4, &value, 4);
}

// Wide enough for any sum or difference of two 64-bit coordinates.
__extension__ typedef __int128 Wide;

// Clips a w x h block at (sx, sy) of source copied to (dx, dy) of destination so
// that it lies inside both, moving both corners together. False when nothing is
// left. Any coordinates and sizes, however large, are clipped without overflow.
bool clipBlock(int64_t& sx, int64_t& sy, int64_t& w, int64_t& h, const Image& source, int64_t& dx, int64_t& dy,
               const Image& destination) {
  auto clipAxis = [](int64_t& s, int64_t& d, int64_t& length, int64_t sLimit, int64_t dLimit) {
    Wide from = s, to = d, span = length;
    if (from < 0) { span += from; to -= from; from = 0; }
    if (to < 0) { span += to; from -= to; to = 0; }
    span = std::min({span, Wide{sLimit} - from, Wide{dLimit} - to});
    if (span <= 0) return false;
    // Both corners now lie inside their images.
    s = static_cast<int64_t>(from), d = static_cast<int64_t>(to), length = static_cast<int64_t>(span);
    return true;
  };
  return clipAxis(sx, dx, w, source.width(), destination.width()) &&
         clipAxis(sy, dy, h, source.height(), destination.height());
}

// The part [begin, end) of the w x h rectangle at (x, y) inside the image.
bool clipRect(const Image& image, int64_t x, int64_t y, int64_t w, int64_t h, int64_t& x0, int64_t& y0, int64_t& x1,
              int64_t& y1) {
  x0 = std::max<int64_t>(x, 0), y0 = std::max<int64_t>(y, 0);
  x1 = static_cast<int64_t>(std::clamp<Wide>(Wide{x} + w, 0, image.width()));
  y1 = static_cast<int64_t>(std::clamp<Wide>(Wide{y} + h, 0, image.height()));
  return x0 < x1 && y0 < y1;
}

}  // namespace

uint8_t luminance(uint32_t argb) {
  const uint32_t r = channel(argb, 2), g = channel(argb, 1), b = channel(argb, 0);
  return static_cast<uint8_t>((77 * r + 150 * g + 29 * b + 128) >> 8);
}

uint32_t greyToARGB(uint8_t grey) { return 0xFF000000u | uint32_t(grey) << 16 | uint32_t(grey) << 8 | grey; }

uint32_t convertPixel(uint32_t value, uint32_t fromFormat, uint32_t toFormat) {
  if (fromFormat == toFormat) return value;
  if (fromFormat == kARGB32) return luminance(value);
  return greyToARGB(static_cast<uint8_t>(value));
}

Image convert(const Image& source, uint32_t pixelFormat) {
  Image result(source.width(), source.height(), pixelFormat);
  blit(source, result, 0, 0);
  return result;
}

Image scale(const Image& source, uint32_t width, uint32_t height, ScaleFilter filter) {
  Image result(width, height, source.pixelFormat());
  if (result.empty() || source.empty()) return result;
  const uint32_t format = source.pixelFormat();
  const int channels = format == kGrey8 ? 1 : 4;
  const uint64_t sw = source.width(), sh = source.height();
  for (uint32_t y = 0; y < height; ++y) {
    uint8_t* out = result.mutableRow(y);
    // Source rows covered by this output row: [y0, y1).
    const uint64_t y0 = uint64_t(y) * sh / height;
    const uint64_t y1 = std::max(y0 + 1, (uint64_t(y) + 1) * sh / height);
    for (uint32_t x = 0; x < width; ++x) {
      const uint64_t x0 = uint64_t(x) * sw / width;
      if (filter == ScaleFilter::Nearest) {
        const uint64_t cx = (2 * uint64_t(x) + 1) * sw / (2 * uint64_t(width));
        const uint64_t cy = (2 * uint64_t(y) + 1) * sh / (2 * uint64_t(height));
        writePixel(out, x, format, readPixel(source.row(static_cast<uint32_t>(cy)), cx, format));
        continue;
      }
      const uint64_t x1 = std::max(x0 + 1, (uint64_t(x) + 1) * sw / width);
      uint64_t sums[4] = {0, 0, 0, 0};
      for (uint64_t sy = y0; sy < y1; ++sy) {
        const uint8_t* in = source.row(static_cast<uint32_t>(sy));
        for (uint64_t sx = x0; sx < x1; ++sx) {
          const uint32_t v = readPixel(in, sx, format);
          for (int c = 0; c < channels; ++c) sums[c] += channel(v, c);
        }
      }
      const uint64_t n = (y1 - y0) * (x1 - x0);
      uint32_t value = 0;
      for (int c = 0; c < channels; ++c) value |= static_cast<uint32_t>((sums[c] + n / 2) / n) << (c * 8);
      writePixel(out, x, format, value);
    }
  }
  return result;
}

Image conform(const Image& source, uint32_t width, uint32_t height, uint32_t pixelFormat, ScaleFilter filter) {
  if (source.width() == width && source.height() == height) return convert(source, pixelFormat);
  return convert(scale(source, width, height, filter), pixelFormat);
}

void blitRect(const Image& source, int64_t sx, int64_t sy, int64_t w, int64_t h, Image& destination, int64_t dx,
              int64_t dy) {
  if (!clipBlock(sx, sy, w, h, source, dx, dy, destination)) return;
  if (&source == &destination) {
    const Image copy(source);
    blitRect(copy, sx, sy, w, h, destination, dx, dy);
    return;
  }
  const uint32_t sf = source.pixelFormat(), df = destination.pixelFormat();
  for (int64_t row = 0; row < h; ++row) {
    const uint8_t* in = source.row(static_cast<uint32_t>(sy + row));
    uint8_t* out = destination.mutableRow(static_cast<uint32_t>(dy + row));
    if (sf == df) {
      const size_t bpp = bytesPerPixel(sf);
      std::memcpy(out + size_t(dx) * bpp, in + size_t(sx) * bpp, size_t(w) * bpp);
      continue;
    }
    for (int64_t col = 0; col < w; ++col)
      writePixel(out, size_t(dx + col), df, convertPixel(readPixel(in, size_t(sx + col), sf), sf, df));
  }
}

void blit(const Image& source, Image& destination, int64_t x, int64_t y) {
  blitRect(source, 0, 0, source.width(), source.height(), destination, x, y);
}

void fillRect(Image& image, int64_t x, int64_t y, int64_t w, int64_t h, uint32_t value) {
  int64_t x0, y0, x1, y1;
  if (!clipRect(image, x, y, w, h, x0, y0, x1, y1)) return;
  for (int64_t row = y0; row < y1; ++row) {
    uint8_t* out = image.mutableRow(static_cast<uint32_t>(row));
    for (int64_t col = x0; col < x1; ++col) writePixel(out, size_t(col), image.pixelFormat(), value);
  }
}

void fill(Image& image, uint32_t value) { fillRect(image, 0, 0, image.width(), image.height(), value); }

uint32_t blendPixel(uint32_t under, uint32_t over, float opacity, uint32_t pixelFormat) {
  const float a = std::clamp(opacity, 0.0f, 1.0f);
  const int channels = pixelFormat == kGrey8 ? 1 : 4;
  uint32_t result = 0;
  for (int c = 0; c < channels; ++c) {
    const float u = float(channel(under, c)), o = float(channel(over, c));
    const auto mixed = static_cast<uint32_t>(std::lround(u + (o - u) * a));
    result |= std::min<uint32_t>(mixed, 255) << (c * 8);
  }
  return result;
}

void blendBlitRect(const Image& source, int64_t sx, int64_t sy, int64_t w, int64_t h, Image& destination,
                   int64_t dx, int64_t dy, float opacity) {
  if (!(opacity > 0.0f)) return;
  if (opacity >= 1.0f) {
    blitRect(source, sx, sy, w, h, destination, dx, dy);
    return;
  }
  if (!clipBlock(sx, sy, w, h, source, dx, dy, destination)) return;
  // The block in the destination's format (a copy, so source and destination may be one image).
  Image block(static_cast<uint32_t>(w), static_cast<uint32_t>(h), destination.pixelFormat());
  blitRect(source, sx, sy, w, h, block, 0, 0);
  const uint32_t f = destination.pixelFormat();
  for (int64_t row = 0; row < h; ++row) {
    const uint8_t* in = block.row(static_cast<uint32_t>(row));
    uint8_t* out = destination.mutableRow(static_cast<uint32_t>(dy + row));
    for (int64_t col = 0; col < w; ++col)
      writePixel(out, size_t(dx + col), f,
                 blendPixel(readPixel(out, size_t(dx + col), f), readPixel(in, size_t(col), f), opacity, f));
  }
}

void blendFillRect(Image& image, int64_t x, int64_t y, int64_t w, int64_t h, uint32_t value, float opacity) {
  if (!(opacity > 0.0f)) return;
  if (opacity >= 1.0f) {
    fillRect(image, x, y, w, h, value);
    return;
  }
  int64_t x0, y0, x1, y1;
  if (!clipRect(image, x, y, w, h, x0, y0, x1, y1)) return;
  const uint32_t f = image.pixelFormat();
  for (int64_t row = y0; row < y1; ++row) {
    uint8_t* out = image.mutableRow(static_cast<uint32_t>(row));
    for (int64_t col = x0; col < x1; ++col)
      writePixel(out, size_t(col), f, blendPixel(readPixel(out, size_t(col), f), value, opacity, f));
  }
}

ImageDifference compare(const Image& a, const Image& b) {
  ImageDifference diff;
  diff.sameShape = a.width() == b.width() && a.height() == b.height() && a.pixelFormat() == b.pixelFormat();
  if (!diff.sameShape) return diff;
  const int channels = a.pixelFormat() == kGrey8 ? 1 : 4;
  for (uint32_t y = 0; y < a.height(); ++y) {
    const uint8_t* ra = a.row(y);
    const uint8_t* rb = b.row(y);
    for (uint32_t x = 0; x < a.width(); ++x) {
      const uint32_t va = readPixel(ra, x, a.pixelFormat()), vb = readPixel(rb, x, b.pixelFormat());
      if (va == vb) continue;
      ++diff.differingPixels;
      for (int c = 0; c < channels; ++c) {
        const uint32_t ca = channel(va, c), cb = channel(vb, c);
        diff.maxChannelDelta = std::max(diff.maxChannelDelta, ca > cb ? ca - cb : cb - ca);
      }
    }
  }
  return diff;
}

bool samePixels(const Image& a, const Image& b) {
  const ImageDifference diff = compare(a, b);
  return diff.sameShape && diff.differingPixels == 0;
}

}  // namespace tessivo::host
