// The diagonal relief: each pixel plus (or middle grey plus) a scaled
// difference between its two diagonal neighbours along the light direction.
#pragma once

#include <cstdint>

namespace tessivo {

enum class EmbossEffect : uint32_t { Emboss = 0, EmbossWithAlpha = 1, Stonify = 2 };

// The light directions: the lit corner L, and O opposite it.
//   0 top left:     L = (x-1, y-1), O = (x+1, y+1)
//   1 top right:    L = (x+1, y-1), O = (x-1, y+1)
//   2 bottom left:  L = (x-1, y+1), O = (x+1, y-1)
//   3 bottom right: L = (x+1, y+1), O = (x-1, y-1)
inline constexpr uint32_t kEmbossDirections = 4;

// E = (D * 2^k) >> shift: the difference D = s(O) - s(L) multiplied modulo
// 2^32 (a left shift of the 32-bit word by k; from k = 32 on every bit is
// shifted out and E is 0), then shifted right arithmetically (rounding
// towards minus infinity) by 3, or by 4 for the alpha relief.
inline int32_t EmbossScale(int32_t difference, uint32_t strongness, uint32_t shift) {
  const uint32_t scaled = strongness < 32 ? static_cast<uint32_t>(difference) << strongness : 0u;
  return static_cast<int32_t>(scaled) >> shift;
}

// One image to emboss: distinct source and destination buffers with their
// own row bytes, and the size and pixel format they share.
struct EmbossImage {
  const void *source;
  uint32_t sourceRowBytes;
  void *destination;
  uint32_t destinationRowBytes;
  uint32_t width;
  uint32_t height;
  uint32_t pixelFormat;  // 0: one byte a pixel; 2: ARGB8888; others write nothing
};

// Writes the relief of the source into the destination. Per channel (format
// 0: the byte; format 2: A, R, G and B alike), clamped to 0..255:
//   effect 0, and effect 1 on format 0: s + E
//   effect 1 on format 2: s + E, with E from the alpha channel and shift 4
//   effect 2: 128 + E
// A neighbour outside the image is replaced by the centre pixel; a pixel
// whose two neighbours are both outside is copied from the source. In an
// image of at least 2 x 2 pixels those are the two corners off the lit
// diagonal; in an image one pixel wide or high it is every pixel, so such
// images are copied unchanged. An unknown effect, direction or pixel format
// writes nothing. ARGB rows step by whole pixels (row bytes / 4).
void Emboss(const EmbossImage &image, uint32_t effect, uint32_t strongness, uint32_t direction);

}  // namespace tessivo
