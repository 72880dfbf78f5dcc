// Pixelation (a block's sample painted over the block) and window filters
// (mean, per-channel maximum and minimum of a window centred on each pixel).
#pragma once

#include <cstdint>
#include <vector>

namespace tessivo {

enum PixxicatoMode : uint32_t {
  kPixxicatoUpperLeft = 0,
  kPixxicatoCenter = 1,
  kPixxicatoMean = 2,
  kPixxicatoMaximum = 3,
  kPixxicatoMinimum = 4,
};

// The block size along an axis of extent pixels: the single-precision fused
// (extent / 2) * factor + 1, truncated toward zero. A result below 1 (a
// negative factor) or NaN gives 1, so a block is never empty; a result of 2^32
// or more gives 2^32 - 1.
uint32_t BlockSize(uint32_t extent, float factor);

// The window along an axis: `before` pixels ahead of the centre (lo) and
// `from` pixels from the centre onward, the centre included (hi).
//   lo = trunc(factor * 16) / 2, hi = trunc(factor * 16 + 1 - lo), in double.
// Conversions saturate (negative or NaN to 0, 2^32 or more to 2^32 - 1), and
// hi is at least 1: a window always holds its centre, so its nominal size
// lo + hi is never 0.
struct WindowSpan {
  uint32_t before;
  uint32_t from;
};
WindowSpan WindowSize(float factor);

// The fixed-point reciprocal 2^24 / area of a nominal window area (at least 1),
// taken without wrapping: 0 when the area exceeds 2^24.
uint32_t MeanReciprocal(uint64_t area);

struct PixxicatoImage {
  const void *source;
  uint32_t sourceRowBytes;
  void *destination;
  uint32_t destinationRowBytes;
  uint32_t width;
  uint32_t height;
  uint32_t pixelFormat;  // 0: one byte a pixel; 2: ARGB8888 (rows in whole pixels); others write nothing
};

// Working rows for the window modes, kept by the instance so that frames of
// the same size allocate nothing.
struct PixxicatoScratch {
  std::vector<uint32_t> sums;
  std::vector<uint8_t> rows;
  std::vector<uint8_t> line;
  std::vector<const uint8_t *> suffixRows;
};

// Renders one frame. X = 0 runs the vertical-only pass, else Y = 0 the
// horizontal-only pass, else the two-dimensional pass. Window ends are clamped
// to the image whatever the window size: pixels outside it are never read and
// count as absent, as they do at the borders (Mean still divides by the
// nominal area). Modes above 4 write nothing. Returns false only when the
// scratch rows cannot be allocated, with nothing written.
bool Pixxicate(const PixxicatoImage &image, uint32_t mode, float x, float y, PixxicatoScratch &scratch);

}  // namespace tessivo
