// The rising mean: each pixel becomes the mean of the pixel below it and the
// three pixels two rows below, so the picture drifts upwards like smoke.
#pragma once

#include <cstdint>

namespace tessivo {

// One image to diffuse: the source and destination buffers with their own row
// bytes, and the size they share. Pixels are 32-bit words (ARGB and any format
// other than one byte a pixel, rows stepping by row bytes / 4) or bytes.
struct DiffusionImage {
  const void *source;
  uint32_t sourceRowBytes;
  void *destination;
  uint32_t destinationRowBytes;
  uint32_t width;
  uint32_t height;
  uint32_t pixelBytes;  // 4: words, four channels each; 1: bytes
};

// For y in [0, H - 3] and x in [1, W - 2], each channel byte of out(x, y) is
// (s(x, y + 1) + s(x - 1, y + 2) + s(x, y + 2) + s(x + 1, y + 2)) >> 2 of that
// channel. The last two rows and the first and last columns are not written.
void Diffuse(const DiffusionImage &image);

}  // namespace tessivo
