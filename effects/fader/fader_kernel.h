// The fade of an image towards one colour, in 16.16 fixed point.
#pragma once

#include <cstdint>

namespace tessivo {

// The fixed-point weight of an amount: trunc(amount * 65536.0f), the multiply
// in single precision and the conversion toward zero, as a 32-bit word.
// Products in the kernel wrap modulo 2^32, so the weight does too: every
// finite product is truncated and reduced modulo 2^32 (2.0 gives 131072,
// -1.0 gives 0xFFFF0000). A NaN or infinite product gives 0, which leaves the
// image unchanged.
uint32_t FadeWeight(float amount);

// The grey an 8-bit image fades towards. The middle term takes the colour
// shifted by 7: about twice the green, kept to eight bits, so it drops
// green's top bit and takes in blue's.
uint32_t FadeGrey(uint32_t fadeColor);

// One image to fade: the source and destination buffers with their own row
// bytes, and the size and pixel format they share.
struct FadeImage {
  const void *source;
  uint32_t sourceRowBytes;
  void *destination;
  uint32_t destinationRowBytes;
  uint32_t width;
  uint32_t height;
  uint32_t pixelFormat;  // 0: one byte a pixel; 2: ARGB8888; others write nothing
};

// destination = (source * (65536 - w) + colour * w) >> 16 per byte (format 0,
// towards FadeGrey) or per channel, alpha included (format 2), with
// w = FadeWeight(amount) and all arithmetic unsigned 32-bit. ARGB rows step
// by whole pixels (row bytes / 4).
void Fade(const FadeImage &image, uint32_t fadeColor, float amount);

}  // namespace tessivo
