// Image operations shared by the host, the CLI and the tests: format
// conversion, scaling, blitting, filling and comparison.
#pragma once

#include "tessivo/host/image.h"

#include <cstdint>

namespace tessivo::host {

// Grey value of an ARGB pixel: (77 R + 150 G + 29 B + 128) >> 8.
uint8_t luminance(uint32_t argb);
// Opaque ARGB pixel of a grey value.
uint32_t greyToARGB(uint8_t grey);
// A pixel of one format as the other format (same format: unchanged).
uint32_t convertPixel(uint32_t value, uint32_t fromFormat, uint32_t toFormat);

// A copy in another pixel format.
Image convert(const Image& source, uint32_t pixelFormat);

enum class ScaleFilter { Nearest, Box };
// A copy at another size (same format). Box averages every source pixel a
// destination pixel covers, channel by channel, rounding to nearest.
Image scale(const Image& source, uint32_t width, uint32_t height, ScaleFilter filter = ScaleFilter::Box);
// Converted and scaled to exactly this size and format (unchanged copy when they already match).
Image conform(const Image& source, uint32_t width, uint32_t height, uint32_t pixelFormat,
              ScaleFilter filter = ScaleFilter::Box);

// Copies source into destination with its top-left corner at (x, y), clipped to
// both images, converting formats where they differ.
void blit(const Image& source, Image& destination, int64_t x, int64_t y);
// Copies the w x h block at (sx, sy) of source to (dx, dy) of destination,
// clipped to both images, converting formats; a source equal to the
// destination is handled as if copied through a temporary.
void blitRect(const Image& source, int64_t sx, int64_t sy, int64_t w, int64_t h, Image& destination, int64_t dx,
              int64_t dy);
// Fills the rectangle (clipped) with a value in the image's format.
void fillRect(Image& image, int64_t x, int64_t y, int64_t w, int64_t h, uint32_t value);
// Fills the whole image with a value in its format.
void fill(Image& image, uint32_t value);
// Like blitRect and fillRect, but mixing at opacity in [0, 1] (1: plain copy or fill, 0: nothing).
void blendBlitRect(const Image& source, int64_t sx, int64_t sy, int64_t w, int64_t h, Image& destination,
                   int64_t dx, int64_t dy, float opacity);
void blendFillRect(Image& image, int64_t x, int64_t y, int64_t w, int64_t h, uint32_t value, float opacity);
// Blends `value` over the pixel at opacity in [0, 1], channel by channel, rounding to nearest.
uint32_t blendPixel(uint32_t under, uint32_t over, float opacity, uint32_t pixelFormat);

struct ImageDifference {
  bool sameShape = false;       // width, height and format agree
  uint64_t differingPixels = 0; // pixels whose value differs
  uint32_t maxChannelDelta = 0; // largest difference of one channel
};
// Compares pixel values (never padding).
ImageDifference compare(const Image& a, const Image& b);
// Same shape and every pixel equal.
bool samePixels(const Image& a, const Image& b);

}  // namespace tessivo::host
