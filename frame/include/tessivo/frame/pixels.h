// Row access for the two pixel formats. ARGB8888 rows step in whole pixels
// (row bytes / 4), as the host's descriptors are read everywhere.
#pragma once

#include <marlix/ports.h>

#include <cstddef>
#include <cstdint>

namespace tessivo {

inline uint8_t *Planar8Row(const ImageDescriptor &image, uint32_t y) {
  return static_cast<uint8_t *>(image.baseAddress) + size_t{image.rowBytes} * y;
}

inline uint32_t *ArgbRow(const ImageDescriptor &image, uint32_t y) {
  return static_cast<uint32_t *>(image.baseAddress) + size_t{image.rowBytes >> 2} * y;
}

inline uint32_t Alpha(uint32_t argb) { return argb >> 24; }
inline uint32_t Red(uint32_t argb) { return (argb >> 16) & 0xFFu; }
inline uint32_t Green(uint32_t argb) { return (argb >> 8) & 0xFFu; }
inline uint32_t Blue(uint32_t argb) { return argb & 0xFFu; }
inline uint32_t PackArgb(uint32_t a, uint32_t r, uint32_t g, uint32_t b) {
  return (a & 0xFFu) << 24 | (r & 0xFFu) << 16 | (g & 0xFFu) << 8 | (b & 0xFFu);
}

}  // namespace tessivo
