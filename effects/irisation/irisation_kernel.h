// The colour fringe: red taken from one side, blue from the other, green and
// alpha in place.
#pragma once

#include <cstdint>

namespace tessivo {

// trunc(float(half) * factor) in single precision: the displacement for a
// controller factor (2 v - 1) across half the image. Products beyond the
// image (|p| > 2 half + 1, infinities included) are cut to that bound, which
// takes every source outside the image just the same; a NaN gives 0.
int64_t IrisDisplacement(uint32_t half, float factor);

// One ARGB8888 image to fringe: source and destination with their own row
// bytes (rows step by whole pixels, row bytes / 4), and the size they share.
struct IrisImage {
  const void *source;
  uint32_t sourceRowBytes;
  void *destination;
  uint32_t destinationRowBytes;
  uint32_t width;
  uint32_t height;
};

// out(x, y) = alpha and green of in(x, y), red of in(x - s, y - t) and blue of
// in(x + s, y + t); a channel whose source lies outside the image is 0.
// Any s and t are safe: nothing outside the image is read.
void Irisate(const IrisImage &image, int64_t s, int64_t t);

}  // namespace tessivo
