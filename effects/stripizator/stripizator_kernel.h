// Diagonal two-colour stripes whose opacity is the inverted blurred image.
#pragma once

#include <cstdint>

namespace tessivo {

// The blur radius of a frame: trunc(factor * maxRadius), the product in single
// precision, converted with TruncateToUInt32 (NaN and negatives give 0).
uint32_t StripeRadius(float radiusFactor, float maxRadius);
// The stripe width of a frame: trunc(factor * stripesWidth) converted the
// same way, and at least 1 so that the period 2 * width is never 0.
uint32_t StripeWidth(float widthFactor, float stripesWidth);

// The destination of the stripe pass. It holds the blurred image and is
// overwritten with 32-bit ARGB stripes. frameWidth and frameHeight are the
// output's size, which sets the phases; width and height (at most the
// frame's) are the part the buffer holds, the only part read or written.
struct StripeImage {
  void *pixels;
  uint32_t rowBytes;
  uint32_t width;
  uint32_t height;
  uint32_t frameWidth;
  uint32_t frameHeight;
};

// The colours (only their low 24 bits are drawn), the stripe width and the
// frame counter of the pass. The period is 2 * width in 32-bit arithmetic;
// where that wraps (widths from 2^31 up) the period is below the width, so
// every pixel takes the fore colour.
struct Stripes {
  uint32_t foreColor;
  uint32_t backColor;
  uint32_t width;
  uint32_t counter;
};

// ARGB8888 blurred image: row y starts at phase (frameHeight - y + counter)
// mod period at x = 0 and the phase rises by one per pixel to the right; each
// pixel becomes colour | (255 - its blue byte) << 24. Rows step by whole
// pixels (row bytes / 4).
void DrawStripesArgb(const StripeImage &image, const Stripes &stripes);

// One-byte blurred image in the first bytes of each row, widened in place to
// 32-bit pixels: row r starts at phase (r + 1 + counter) mod period at
// x = frameWidth - 1 and the phase rises by one per pixel to the left; each
// pixel becomes colour | (255 - its grey byte) << 24. Grey and widened rows
// both step by row bytes / 4 whole pixels, which must hold the width.
void DrawStripesPlanar8InPlace(const StripeImage &image, const Stripes &stripes);

}  // namespace tessivo
