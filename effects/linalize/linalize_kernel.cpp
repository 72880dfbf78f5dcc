#include "linalize_kernel.h"

#include <algorithm>
#include <cstring>

#include "tessivo/frame/random.h"

namespace tessivo {

uint32_t StrokeCount(float speed) {
  const float product = speed * 3000.0f;
  if (!(product >= 0.0f && product < 4294967296.0f)) {
    return 0;
  }
  return static_cast<uint32_t>(product);
}

StrokeSpan ClipStroke(uint32_t centre, uint32_t half, uint32_t side) {
  const int64_t begin = std::max<int64_t>(0, int64_t{centre} - half);
  const int64_t end = std::min<int64_t>(side, int64_t{centre} + half + 1);
  return {static_cast<uint32_t>(begin), static_cast<uint32_t>(std::max(begin, end))};
}

namespace {

// The part of an image that both its size and its row bytes cover.
struct Plane {
  uint8_t *base;
  size_t rowBytes;
  uint32_t width;
  uint32_t height;
};

template <typename Pixel>
Plane PlaneOf(const ImageDescriptor &image) {
  const uint32_t byRow = image.rowBytes / sizeof(Pixel);
  return {static_cast<uint8_t *>(image.baseAddress), sizeof(Pixel) == 4 ? size_t{image.rowBytes >> 2} * 4 : image.rowBytes,
          image.baseAddress == nullptr ? 0 : std::min(image.width, byRow), image.height};
}

template <typename Pixel>
Pixel *RowOf(const Plane &plane, uint32_t y) {
  return reinterpret_cast<Pixel *>(plane.base + plane.rowBytes * y);
}

// Fills columns [x0, x1) of rows [y0, y1) with one pixel: a row fill per row.
template <typename Pixel>
void FillBlock(const Plane &canvas, StrokeSpan columns, StrokeSpan rows, Pixel value) {
  const size_t length = columns.end - columns.begin;
  if (length == 0) return;
  for (uint32_t y = rows.begin; y < rows.end; ++y) {
    Pixel *row = RowOf<Pixel>(canvas, y) + columns.begin;
    if constexpr (sizeof(Pixel) == 1) {
      std::memset(row, value, length);
    } else if (length == 1) {
      *row = value;
    } else {
      std::fill_n(row, length, value);
    }
  }
}

template <typename Pixel>
void PaintPairs(const Plane &canvas, const Plane &input, uint32_t count, uint32_t lineLength, uint32_t lineWidth) {
  const uint32_t halfLength = lineLength / 2;
  const uint32_t halfWidth = lineWidth / 2;
  const auto stroke = [&](uint32_t halfX, uint32_t halfY) {
    const uint32_t x = static_cast<uint32_t>(NextRandom()) % canvas.width;
    const uint32_t y = static_cast<uint32_t>(NextRandom()) % canvas.height;
    if (x >= input.width || y >= input.height) return;
    const Pixel colour = RowOf<Pixel>(input, y)[x];
    FillBlock<Pixel>(canvas, ClipStroke(x, halfX, canvas.width), ClipStroke(y, halfY, canvas.height), colour);
  };
  for (uint32_t i = 0; i < count; ++i) {
    stroke(halfLength, halfWidth);  // horizontal
    stroke(halfWidth, halfLength);  // vertical
  }
}

}  // namespace

void PaintStrokes(const ImageDescriptor &canvas, const ImageDescriptor &input, uint32_t count, uint32_t lineLength,
                  uint32_t lineWidth) {
  const uint32_t format = canvas.pixelFormat;
  if (format == kPixelFormatPlanar8) {
    const Plane target = PlaneOf<uint8_t>(canvas);
    if (target.width == 0 || target.height == 0) return;
    const Plane source = input.pixelFormat == format ? PlaneOf<uint8_t>(input) : Plane{nullptr, 0, 0, 0};
    PaintPairs<uint8_t>(target, source, count, lineLength, lineWidth);
  } else if (format == kPixelFormatARGB8888) {
    const Plane target = PlaneOf<uint32_t>(canvas);
    if (target.width == 0 || target.height == 0) return;
    const Plane source = input.pixelFormat == format ? PlaneOf<uint32_t>(input) : Plane{nullptr, 0, 0, 0};
    PaintPairs<uint32_t>(target, source, count, lineLength, lineWidth);
  }
}

}  // namespace tessivo
