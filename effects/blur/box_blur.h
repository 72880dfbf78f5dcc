// The software box blurs on integer running sums: horizontal, vertical and
// two-dimensional, for one-byte images (format 0) and ARGB8888 (format 2,
// each of A, R, G, B on its own). Every output sample costs the same whatever
// the radius. Stripizator calls these too when the tent filter is absent.
#pragma once

#include <cstdint>
#include <vector>

namespace tessivo {

// One image to blur: source and destination pixels with their own row bytes,
// and the size and pixel format they share. ARGB8888 rows step in whole
// pixels (row bytes / 4). Source and destination must not overlap. Any
// format other than 0 and 2 writes nothing.
struct BlurImage {
  const void *source;
  uint32_t sourceRowBytes;
  void *destination;
  uint32_t destinationRowBytes;
  uint32_t width;
  uint32_t height;
  uint32_t pixelFormat;
};

// How big a blur is: two amounts that are pixel radii when isNumberOfPixels
// is set and fractions of the image size when it is clear.
struct BlurAmounts {
  float x;
  float y;
  bool isNumberOfPixels;
};

// The radius of a one-dimensional pass along `length` samples, clamped:
// (unsigned)amount in pixels, or (unsigned)(f32((length >> 1) - 1) * amount)
// as a fraction (unsigned 32-bit arithmetic). It is kept when 4r < length and
// otherwise becomes (length - 1) >> 1. Floats convert with TruncateToUInt32.
uint32_t BoxRadius(float amount, uint32_t length, bool isNumberOfPixels);

// Working memory a caller keeps between frames (a row of running sums, or
// of column sums), so that a blur allocates nothing once a frame of the
// largest width has run. Without one, each call allocates its own.
struct BoxBlurScratch {
  std::vector<uint32_t> words;
};

// One pass along each row (horizontal) or each column (vertical) with the
// radius of `amount`: window i - r ... i + r, edge samples replicated, output
// (w * sum) >> 16 with w = 0x10000 / (2r + 1).
void HorizontalBoxBlur(const BlurImage &image, float amount, bool isNumberOfPixels,
                       BoxBlurScratch *scratch = nullptr);
void VerticalBoxBlur(const BlurImage &image, float amount, bool isNumberOfPixels);

// The two-dimensional window in one pass over column sums. Both radii come
// from the height when they are fractions. When the clamped vertical radius
// is 0 it runs the horizontal blur with amounts.x; else when the horizontal
// radius is 0, the vertical blur with amounts.y. Output (w * sum) >> 23 with
// w = 0x800000 / ((2rx + 1)(2ry + 1)), the product taken exactly (a product
// beyond 0x800000 gives w = 0). The column sums live in one allocation for
// the pass; when it cannot be made nothing is written.
void TwoDimensionalBoxBlur(const BlurImage &image, const BlurAmounts &amounts, BoxBlurScratch *scratch = nullptr);

// The blur Blur's software engine runs: both amounts non-zero gives the
// two-dimensional blur, only x the horizontal one, only y the vertical one,
// neither nothing. NaN counts as non-zero.
void SoftwareBoxBlur(const BlurImage &image, const BlurAmounts &amounts, BoxBlurScratch *scratch = nullptr);

}  // namespace tessivo
