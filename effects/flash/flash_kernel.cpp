#include "flash_kernel.h"

#include <bit>
#include <cstddef>
#include <cstring>

// The vector helpers below are local to this file and always inlined: how a
// 32-byte vector would cross a call boundary without AVX does not matter here.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace tessivo {
namespace {

// Every table this module builds is a line modulo 256: T[i] = (base + step i)
// mod 256. Such a table is computed sixteen bytes at a time in 16-bit lanes
// instead of looked up; any other table takes the plain lookup loops.
struct Line {
  uint16_t base;
  uint16_t step;
};

bool AsLine(const FlashTable &table, Line &line) {
  line = {table[0], static_cast<uint16_t>((table[1] - table[0]) & 0xFF)};
  for (size_t i = 0; i < table.size(); ++i) {
    if (table[i] != static_cast<uint8_t>(line.base + line.step * i)) {
      return false;
    }
  }
  return true;
}

using Bytes16 = uint8_t __attribute__((vector_size(16)));
using Lanes16 = uint16_t __attribute__((vector_size(32)));
constexpr size_t kBlock = 16;

// Which bytes of a block of four ARGB words are alpha, and where each byte's
// alpha sits, in native byte order.
constexpr size_t kAlphaByte = std::endian::native == std::endian::little ? 3 : 0;

struct ArgbLanes {
  Lanes16 alphaMask;  // 0xFFFF on alpha lanes
  ArgbLanes() {
    for (size_t i = 0; i < kBlock; ++i) alphaMask[i] = i % 4 == kAlphaByte ? 0xFFFF : 0;
  }
};

[[gnu::always_inline]] inline Lanes16 Load(const uint8_t *from) {
  Bytes16 in;
  std::memcpy(&in, from, kBlock);
  return __builtin_convertvector(in, Lanes16);
}

[[gnu::always_inline]] inline void Store(uint8_t *to, Lanes16 lanes) {
  const Bytes16 out = __builtin_convertvector(lanes, Bytes16);  // keeps the low byte
  std::memcpy(to, &out, kBlock);
}

// One row of bytes through a line table; for ARGB the alpha bytes are kept.
__attribute__((target_clones("avx2", "default"))) void MapRow(const uint8_t *source, uint8_t *destination,
                                                                size_t count, Line line, bool argb,
                                                                const FlashTable &table) {
  const ArgbLanes lanes;
  const Lanes16 keep = argb ? lanes.alphaMask : Lanes16{};
  size_t i = 0;
  for (; i + kBlock <= count; i += kBlock) {
    const Lanes16 s = Load(source + i);
    const Lanes16 mapped = line.base + line.step * s;
    Store(destination + i, (mapped & ~keep) | (s & keep));
  }
  for (; i < count; ++i) {
    destination[i] = argb && i % 4 == kAlphaByte ? source[i] : table[source[i]];
  }
}

// v * (256 - v + T[v]) >> 8 in 16-bit lanes: with m = 256 - v + T[v] (1 to 511),
// v * m >> 8 = (v * (m & 255) >> 8) + v * (m >> 8), the first product below 2^16.
__attribute__((target_clones("avx2", "default"))) void BlendPlanarRow(const uint8_t *source, uint8_t *destination,
                                                                        size_t count, Line line,
                                                                        const FlashTable &table) {
  size_t i = 0;
  for (; i + kBlock <= count; i += kBlock) {
    const Lanes16 v = Load(source + i);
    const Lanes16 t = (line.base + line.step * v) & 0xFF;
    const Lanes16 m = 256 - v + t;
    Store(destination + i, ((v * (m & 0xFF)) >> 8) + v * (m >> 8));
  }
  for (; i < count; ++i) {
    const uint32_t v = source[i];
    destination[i] = static_cast<uint8_t>((v * (256 - v + table[v])) >> 8);
  }
}

// ((256 - a) c + a T[c]) >> 8 in 16-bit lanes: the sum is at most 256 * 255.
// An alpha of 0 gives c back, so transparent pixels need no test.
__attribute__((target_clones("avx2", "default"))) void BlendArgbRow(const uint8_t *source, uint8_t *destination,
                                                                      size_t count, Line line,
                                                                      const FlashTable &table) {
  const ArgbLanes lanes;
  size_t i = 0;
  for (; i + kBlock <= count; i += kBlock) {
    const Lanes16 c = Load(source + i);
    constexpr int A = kAlphaByte;  // each lane takes its pixel's alpha lane
    const Lanes16 a = __builtin_shufflevector(c, c, A, A, A, A, A + 4, A + 4, A + 4, A + 4, A + 8, A + 8, A + 8, A + 8,
                                              A + 12, A + 12, A + 12, A + 12);
    const Lanes16 t = (line.base + line.step * c) & 0xFF;
    const Lanes16 blended = ((256 - a) * c + a * t) >> 8;
    Store(destination + i, (blended & ~lanes.alphaMask) | (c & lanes.alphaMask));
  }
  for (; i < count; ++i) {
    const uint32_t a = source[i - i % 4 + kAlphaByte];
    const uint32_t c = source[i];
    destination[i] = i % 4 == kAlphaByte ? source[i] : static_cast<uint8_t>(((256 - a) * c + a * table[c]) >> 8);
  }
}

// The lookups one pixel at a time, for any table.
void LookUpPlanar(const FlashImage &image, const FlashTable &table, bool blend) {
  const auto *sourceRow = static_cast<const uint8_t *>(image.source);
  auto *destinationRow = static_cast<uint8_t *>(image.destination);
  for (uint32_t y = 0; y < image.height; ++y) {
    for (uint32_t x = 0; x < image.width; ++x) {
      const uint32_t v = sourceRow[x];
      destinationRow[x] = blend ? static_cast<uint8_t>((v * (256 - v + table[v])) >> 8) : table[v];
    }
    sourceRow += image.sourceRowBytes;
    destinationRow += image.destinationRowBytes;
  }
}

void LookUpArgb(const FlashImage &image, const FlashTable &table, bool blend) {
  const auto *sourceRow = static_cast<const uint32_t *>(image.source);
  auto *destinationRow = static_cast<uint32_t *>(image.destination);
  for (uint32_t y = 0; y < image.height; ++y) {
    for (uint32_t x = 0; x < image.width; ++x) {
      const uint32_t s = sourceRow[x];
      const uint32_t a = s >> 24;
      uint32_t result = s & 0xFF000000u;
      for (uint32_t shift = 0; shift < 24; shift += 8) {
        const uint32_t c = (s >> shift) & 0xFFu;
        const uint32_t mapped = blend ? ((256 - a) * c + a * table[c]) >> 8 : table[c];
        result |= mapped << shift;
      }
      destinationRow[x] = result;
    }
    sourceRow += image.sourceRowBytes >> 2;
    destinationRow += image.destinationRowBytes >> 2;
  }
}

}  // namespace

FlashTable InitialFlashTable() {
  FlashTable table;
  for (size_t i = 0; i < table.size(); ++i) {
    table[i] = static_cast<uint8_t>(120 + i);
  }
  return table;
}

FlashTable PhaseFlashTable(uint32_t phase) {
  FlashTable table;
  for (size_t i = 0; i < table.size(); ++i) {
    table[i] = static_cast<uint8_t>(phase + 2 * i);
  }
  return table;
}

void Flash(const FlashImage &image, const FlashTable &table, bool blendAlpha) {
  if (image.source == nullptr || image.destination == nullptr) {
    return;
  }
  const bool argb = image.pixelFormat == 2;
  if (image.pixelFormat != 0 && !argb) {
    return;
  }
  Line line;
  if (!AsLine(table, line)) {
    argb ? LookUpArgb(image, table, blendAlpha) : LookUpPlanar(image, table, blendAlpha);
    return;
  }
  // Whole rows as bytes; ARGB rows still advance by whole pixels.
  const size_t pixelBytes = argb ? 4 : 1;
  const size_t count = size_t{image.width} * pixelBytes;
  const size_t sourceStride = image.sourceRowBytes / pixelBytes * pixelBytes;
  const size_t destinationStride = image.destinationRowBytes / pixelBytes * pixelBytes;
  const auto *sourceRow = static_cast<const uint8_t *>(image.source);
  auto *destinationRow = static_cast<uint8_t *>(image.destination);
  for (uint32_t y = 0; y < image.height; ++y) {
    if (!blendAlpha) {
      MapRow(sourceRow, destinationRow, count, line, argb, table);
    } else if (argb) {
      BlendArgbRow(sourceRow, destinationRow, count, line, table);
    } else {
      BlendPlanarRow(sourceRow, destinationRow, count, line, table);
    }
    sourceRow += sourceStride;
    destinationRow += destinationStride;
  }
}

}  // namespace tessivo
