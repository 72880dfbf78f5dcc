// Per-channel table lookup with a table that moves every frame, optionally
// blended with the input by alpha.
#pragma once

#include <array>
#include <cstdint>

namespace tessivo {

using FlashTable = std::array<uint8_t, 256>;

// The table a new instance starts with: entry i = (120 + i) mod 256.
FlashTable InitialFlashTable();
// The table rebuilt after each frame: entry i = (phase + 2 i) mod 256.
FlashTable PhaseFlashTable(uint32_t phase);

// One image to flash: the source and destination buffers with their own row
// bytes, and the size and pixel format they share.
struct FlashImage {
  const void *source;
  uint32_t sourceRowBytes;
  void *destination;
  uint32_t destinationRowBytes;
  uint32_t width;
  uint32_t height;
  uint32_t pixelFormat;  // 0: one byte a pixel; 2: ARGB8888; others write nothing
};

// Without blending: every byte (format 0) or every colour channel (format 2,
// alpha kept) becomes T[byte]. With blending: format 0 gives
// (v * (256 - v + T[v])) >> 8 (the byte is its own alpha); format 2 gives
// ((256 - a) * c + a * T[c]) >> 8 for each colour channel, alpha kept.
// ARGB rows step by whole pixels (row bytes / 4).
void Flash(const FlashImage &image, const FlashTable &table, bool blendAlpha);

}  // namespace tessivo
