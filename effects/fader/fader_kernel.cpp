#include "fader_kernel.h"

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstring>

#include "tessivo/simd.h"
#include "tessivo/simd_scan.h"

namespace tessivo {
namespace {

// Weights strictly between 0 and 65536 (amounts in (0, 1)) are the common
// case: the complement k then fits 16 bits and nothing wraps, so
// (s * k + t) >> 16 can be taken in 16-bit lanes. With k = kh * 256 + kl and
// t = th * 65536 + tm * 256 + tl (all bytes):
//   low  = s * kl + tl                  (< 2^16)
//   high = s * kh + tm + (low >> 8)     (< 2^16)
//   (s * k + t) >> 16 = th + (high >> 8)
// Other weights take the general loops, whose products wrap modulo 2^32.
bool FitsSixteenBits(uint32_t weight) { return weight - 1u < 65535u; }

struct SplitWeight {
  uint16_t kl, kh;
};

SplitWeight SplitKeep(uint32_t keep) { return {static_cast<uint16_t>(keep & 0xFFu), static_cast<uint16_t>(keep >> 8)}; }

// The split targets of 32 consecutive bytes: one value throughout for
// Planar8, the four channels' values repeated for ARGB.
struct TargetPattern {
  static constexpr size_t kLength = 32;
  uint16_t tl[kLength], tm[kLength], th[kLength];

  void set(size_t byte, uint32_t toward) {
    tl[byte] = static_cast<uint16_t>(toward & 0xFFu);
    tm[byte] = static_cast<uint16_t>((toward >> 8) & 0xFFu);
    th[byte] = static_cast<uint16_t>(toward >> 16);
  }
};

inline uint8_t FadeByte(uint16_t s, SplitWeight k, uint16_t tl, uint16_t tm, uint16_t th) {
  const auto low = static_cast<uint16_t>(s * k.kl + tl);
  const auto high = static_cast<uint16_t>(s * k.kh + tm + (low >> 8));
  return static_cast<uint8_t>(th + (high >> 8));
}

// K bytes at a time in K 16-bit lanes: 16 on SSE2 (two registers) and AVX2
// (one), 32 on AVX-512 (one); the scalar path runs the byte loop alone.
template <size_t K>
struct Vectors {
  typedef uint8_t Bytes __attribute__((vector_size(K)));
  typedef uint16_t Lanes __attribute__((vector_size(2 * K)));
};

template <size_t K>
TESSIVO_INLINE void FadeBytes(const uint8_t *source, uint8_t *destination, size_t count, SplitWeight keep,
                              const TargetPattern &toward) {
  size_t i = 0;
  if constexpr (K > 0) {
    using Bytes = typename Vectors<K>::Bytes;
    using Lanes = typename Vectors<K>::Lanes;
    Lanes tl, tm, th;
    std::memcpy(&tl, toward.tl, sizeof tl);
    std::memcpy(&tm, toward.tm, sizeof tm);
    std::memcpy(&th, toward.th, sizeof th);
    const auto fade = [&](const uint8_t *from, uint8_t *to) __attribute__((always_inline)) {
      Bytes in;
      std::memcpy(&in, from, K);
      const Lanes s = __builtin_convertvector(in, Lanes);
      const Lanes low = s * keep.kl + tl;
      const Lanes high = s * keep.kh + tm + (low >> 8);
      const Bytes out = __builtin_convertvector(th + (high >> 8), Bytes);
      std::memcpy(to, &out, K);
    };
    // Two blocks a step keep both multipliers busy.
    for (; i + 2 * K <= count; i += 2 * K) {
      fade(source + i, destination + i);
      fade(source + i + K, destination + i + K);
    }
    for (; i + K <= count; i += K) {
      fade(source + i, destination + i);
    }
  }
  for (; i < count; ++i) {
    const size_t j = i % TargetPattern::kLength;
    destination[i] = FadeByte(source[i], keep, toward.tl[j], toward.tm[j], toward.th[j]);
  }
}

// The rows of a frame whose weight fits 16 bits, on one path.
template <size_t K>
TESSIVO_INLINE void FadeRows(const uint8_t *sourceRow, size_t sourceStride, uint8_t *destinationRow,
                             size_t destinationStride, size_t count, uint32_t height, SplitWeight keep,
                             const TargetPattern &toward) {
  for (uint32_t y = 0; y < height; ++y) {
    FadeBytes<K>(sourceRow, destinationRow, count, keep, toward);
    sourceRow += sourceStride;
    destinationRow += destinationStride;
  }
}

#define TESSIVO_FADE_PATH(suffix, attributes, bytes)                                                          \
  attributes void FadeRows##suffix(const uint8_t *sourceRow, size_t sourceStride, uint8_t *destinationRow,    \
                                   size_t destinationStride, size_t count, uint32_t height, SplitWeight keep, \
                                   const TargetPattern &toward) {                                             \
    FadeRows<bytes>(sourceRow, sourceStride, destinationRow, destinationStride, count, height, keep, toward); \
  }
TESSIVO_EACH_SIMD_PATH(TESSIVO_FADE_PATH, 0, 16, 16, 32)

void FadeSplitRows(const uint8_t *sourceRow, size_t sourceStride, uint8_t *destinationRow, size_t destinationStride,
                   size_t count, uint32_t height, SplitWeight keep, const TargetPattern &toward) {
  ChooseSimdPath(TESSIVO_SIMD_PATHS(FadeRows))(sourceRow, sourceStride, destinationRow, destinationStride, count,
                                               height, keep, toward);
}

void FadePlanar8(const FadeImage &image, uint32_t grey, uint32_t weight) {
  const uint32_t keep = 65536u - weight;
  const uint32_t toward = weight * grey;
  TargetPattern pattern;
  for (size_t byte = 0; byte < TargetPattern::kLength; ++byte) {
    pattern.set(byte, toward);
  }
  const auto *sourceRow = static_cast<const uint8_t *>(image.source);
  auto *destinationRow = static_cast<uint8_t *>(image.destination);
  if (FitsSixteenBits(weight)) {
    FadeSplitRows(sourceRow, image.sourceRowBytes, destinationRow, image.destinationRowBytes, image.width,
                  image.height, SplitKeep(keep), pattern);
    return;
  }
  for (uint32_t y = 0; y < image.height; ++y) {
    for (uint32_t x = 0; x < image.width; ++x) {
      destinationRow[x] = static_cast<uint8_t>((sourceRow[x] * keep + toward) >> 16);
    }
    sourceRow += image.sourceRowBytes;
    destinationRow += image.destinationRowBytes;
  }
}

void FadeArgb(const FadeImage &image, uint32_t color, uint32_t weight) {
  const uint32_t keep = 65536u - weight;
  // The ARGB word's channels are its four bytes in memory.
  TargetPattern pattern;
  for (size_t byte = 0; byte < TargetPattern::kLength; ++byte) {
    const size_t channel = byte % 4;
    const size_t shift = std::endian::native == std::endian::little ? 8 * channel : 24 - 8 * channel;
    pattern.set(byte, weight * ((color >> shift) & 0xFFu));
  }
  // Byte pointers and memcpy: a host's rows need not be 4-byte aligned.
  const auto *sourceRow = static_cast<const uint8_t *>(image.source);
  auto *destinationRow = static_cast<uint8_t *>(image.destination);
  // Rows step by whole pixels: row bytes rounded down to a multiple of 4.
  const size_t sourceStride = image.sourceRowBytes & ~3u;
  const size_t destinationStride = image.destinationRowBytes & ~3u;
  if (FitsSixteenBits(weight)) {
    FadeSplitRows(sourceRow, sourceStride, destinationRow, destinationStride, size_t{image.width} * 4, image.height,
                  SplitKeep(keep), pattern);
    return;
  }
  for (uint32_t y = 0; y < image.height; ++y) {
    for (uint32_t x = 0; x < image.width; ++x) {
      uint32_t s = 0;
      std::memcpy(&s, sourceRow + size_t{x} * 4, sizeof s);
      uint32_t result = 0;
      for (uint32_t shift = 0; shift < 32; shift += 8) {
        const uint32_t towardChannel = weight * ((color >> shift) & 0xFFu);
        result |= (((towardChannel + keep * ((s >> shift) & 0xFFu)) >> 16) & 0xFFu) << shift;
      }
      std::memcpy(destinationRow + size_t{x} * 4, &result, sizeof result);
    }
    sourceRow += sourceStride;
    destinationRow += destinationStride;
  }
}

}  // namespace

uint32_t FadeWeight(float amount) {
  const float scaled = amount * 65536.0f;
  if (!std::isfinite(scaled)) {
    return 0;
  }
  // Exact in double: a float's integer part, reduced modulo 2^32.
  constexpr double kWrap = 4294967296.0;
  double reduced = std::fmod(std::trunc(static_cast<double>(scaled)), kWrap);
  if (reduced < 0.0) {
    reduced += kWrap;
  }
  return static_cast<uint32_t>(reduced);
}

uint32_t FadeGrey(uint32_t fadeColor) {
  return (((fadeColor >> 16) & 0xFFu) + ((fadeColor >> 7) & 0xFFu) + (fadeColor & 0xFFu)) >> 2;
}

void Fade(const FadeImage &image, uint32_t fadeColor, float amount) {
  if (image.source == nullptr || image.destination == nullptr) {
    return;
  }
  const uint32_t weight = FadeWeight(amount);
  if (image.pixelFormat == 0) {
    FadePlanar8(image, FadeGrey(fadeColor), weight);
  } else if (image.pixelFormat == 2) {
    FadeArgb(image, fadeColor, weight);
  }
}

}  // namespace tessivo
