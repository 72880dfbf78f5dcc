#include "emboss_kernel.h"

#include <bit>
#include <cstddef>
#include <cstring>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define TESSIVO_EMBOSS_AVX2 1
#endif

namespace tessivo {
namespace {

// Relief and stone treat every byte alike (a Planar8 pixel, or one channel of
// an ARGB pixel); the alpha relief takes one difference per ARGB pixel.
enum class Family { Relief, Stone, AlphaRelief };

// The alpha channel's byte within an ARGB word in memory.
constexpr size_t kAlphaByte = std::endian::native == std::endian::little ? 3 : 0;
constexpr int32_t kStoneGrey = 128;

constexpr uint32_t ScaleShift(Family family) { return family == Family::AlphaRelief ? 4 : 3; }

inline uint8_t ClampByte(int32_t value) { return static_cast<uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value); }

// One pixel of Bpp bytes from its centre and its two neighbours (either of
// which may be the centre itself).
template <Family F, size_t Bpp>
inline void EmbossPixel(const uint8_t *centre, const uint8_t *lit, const uint8_t *opposite, uint8_t *out,
                        uint32_t strongness) {
  if constexpr (F == Family::AlphaRelief) {
    const int32_t e = EmbossScale(int32_t{opposite[kAlphaByte]} - lit[kAlphaByte], strongness, ScaleShift(F));
    for (size_t c = 0; c < Bpp; ++c) out[c] = ClampByte(centre[c] + e);
  } else {
    for (size_t c = 0; c < Bpp; ++c) {
      const int32_t e = EmbossScale(int32_t{opposite[c]} - lit[c], strongness, ScaleShift(F));
      out[c] = ClampByte((F == Family::Stone ? kStoneGrey : int32_t{centre[c]}) + e);
    }
  }
}

// The portable span (and the AVX2 span's tail): sixteen bytes at a time in
// sixteen signed 16-bit lanes. A difference is at most 255 in size, so up to
// k = 7 its scaled value (at most 32640) and the sum with the base stay exact
// in 16 bits; larger k, only ever restored from corrupt settings, takes the
// 32-bit scalar path.
using Bytes16 = uint8_t __attribute__((vector_size(16)));
using Lanes16 = int16_t __attribute__((vector_size(32)));
using UnsignedLanes16 = uint16_t __attribute__((vector_size(32)));
constexpr uint32_t kMaxLaneStrongness = 7;
constexpr size_t kBlock = 16;

inline Bytes16 LoadBytes(const uint8_t *from) {
  Bytes16 bytes;
  std::memcpy(&bytes, from, kBlock);
  return bytes;
}

// out[i] for i < count bytes, from centre[i], lit[i] and opposite[i].
template <Family F>
void EmbossSpanPortable(const uint8_t *centre, const uint8_t *lit, const uint8_t *opposite, uint8_t *out,
                        size_t count, uint32_t strongness) {
  constexpr size_t kPixel = F == Family::AlphaRelief ? 4 : 1;
  size_t i = 0;
  if (strongness <= kMaxLaneStrongness) {
    const int shift = static_cast<int>(strongness);
    const auto block = [&](size_t at) {
      Lanes16 d = __builtin_convertvector(LoadBytes(opposite + at), Lanes16) -
                  __builtin_convertvector(LoadBytes(lit + at), Lanes16);
      if constexpr (F == Family::AlphaRelief) {
        constexpr int a = static_cast<int>(kAlphaByte);
        d = __builtin_shufflevector(d, d, a, a, a, a, a + 4, a + 4, a + 4, a + 4, a + 8, a + 8, a + 8, a + 8, a + 12,
                                    a + 12, a + 12, a + 12);
      }
      const Lanes16 e = reinterpret_cast<Lanes16>(reinterpret_cast<UnsignedLanes16>(d) << shift) >>
                        static_cast<int>(ScaleShift(F));
      const Lanes16 base =
          F == Family::Stone ? Lanes16{} + kStoneGrey : __builtin_convertvector(LoadBytes(centre + at), Lanes16);
      Lanes16 r = base + e;
      r = r < 0 ? Lanes16{} : r;
      r = r > 255 ? Lanes16{} + 255 : r;
      const Bytes16 bytes = __builtin_convertvector(r, Bytes16);
      std::memcpy(out + at, &bytes, kBlock);
    };
    for (; i + 2 * kBlock <= count; i += 2 * kBlock) {
      block(i);
      block(i + kBlock);
    }
    for (; i + kBlock <= count; i += kBlock) block(i);
  }
  for (; i < count; i += kPixel) EmbossPixel<F, kPixel>(centre + i, lit + i, opposite + i, out + i, strongness);
}


#ifdef TESSIVO_EMBOSS_AVX2
// AVX2, 32 bytes a step; returns how many bytes it wrote (a multiple of 32),
// leaving the tail and strengths above 7 to the portable span.
//
// While the net divisor 2^n = 2^(shift - k) is at least 2 everything stays in
// bytes: the rounding average of O and 255 - L is exactly 128 + floor(D / 2),
// and since nested floor divisions compose, floor(D / 2^n) is that average
// shifted right by n - 1 less 128 >> (n - 1), a signed byte. The relief adds
// it with signed saturation around 128, which is the clamp to 0..255; the
// stone needs no clamp. Larger k widens to 16-bit lanes, whose unsigned
// saturating pack is the clamp.
#define TESSIVO_AVX2 __attribute__((target("avx2"), always_inline)) inline

TESSIVO_AVX2 __m256i Load32(const uint8_t *from) { return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(from)); }
TESSIVO_AVX2 __m256i Widen16(const uint8_t *from) {
  return _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i *>(from)));
}

// base + E for sixteen bytes in 16-bit lanes.
template <Family F>
TESSIVO_AVX2 __m256i EmbossWords(const uint8_t *centre, const uint8_t *lit, const uint8_t *opposite, __m128i up,
                                 __m128i down) {
  __m256i d = _mm256_sub_epi16(Widen16(opposite), Widen16(lit));
  if constexpr (F == Family::AlphaRelief) {
    // Each pixel's alpha word (its fourth) to all four of its words.
    const __m256i alphaWords =
        _mm256_setr_epi8(6, 7, 6, 7, 6, 7, 6, 7, 14, 15, 14, 15, 14, 15, 14, 15, 6, 7, 6, 7, 6, 7, 6, 7, 14, 15, 14,
                         15, 14, 15, 14, 15);
    d = _mm256_shuffle_epi8(d, alphaWords);
  }
  const __m256i e = _mm256_sra_epi16(_mm256_sll_epi16(d, up), down);
  return _mm256_add_epi16(F == Family::Stone ? _mm256_set1_epi16(kStoneGrey) : Widen16(centre), e);
}

template <Family F>
__attribute__((target("avx2"))) size_t EmbossSpanAvx2(const uint8_t *centre, const uint8_t *lit,
                                                      const uint8_t *opposite, uint8_t *out, size_t count,
                                                      uint32_t strongness) {
  static_assert(kAlphaByte == 3);
  constexpr size_t kStep = 32;
  constexpr uint32_t kShift = ScaleShift(F);
  size_t i = 0;
  if (strongness < kShift) {
    const int m = static_cast<int>(kShift - strongness - 1);
    const __m128i shiftCount = _mm_cvtsi32_si128(m);
    const __m256i keep = _mm256_set1_epi8(static_cast<char>(0xFF >> m));
    const __m256i bias = _mm256_set1_epi8(static_cast<char>(0x80 >> m));
    const __m256i signBit = _mm256_set1_epi8(static_cast<char>(0x80));
    const __m256i allOnes = _mm256_set1_epi8(-1);
    // Each pixel's alpha byte (its fourth) to all four of its bytes.
    const __m256i alphaBytes = _mm256_setr_epi8(3, 3, 3, 3, 7, 7, 7, 7, 11, 11, 11, 11, 15, 15, 15, 15, 3, 3, 3, 3, 7,
                                                7, 7, 7, 11, 11, 11, 11, 15, 15, 15, 15);
    for (; i + kStep <= count; i += kStep) {
      const __m256i half = _mm256_avg_epu8(Load32(opposite + i), _mm256_xor_si256(Load32(lit + i), allOnes));
      __m256i e = _mm256_sub_epi8(_mm256_and_si256(_mm256_srl_epi16(half, shiftCount), keep), bias);
      if constexpr (F == Family::AlphaRelief) e = _mm256_shuffle_epi8(e, alphaBytes);
      const __m256i r = F == Family::Stone
                            ? _mm256_xor_si256(e, signBit)
                            : _mm256_xor_si256(_mm256_adds_epi8(_mm256_xor_si256(Load32(centre + i), signBit), e),
                                               signBit);
      _mm256_storeu_si256(reinterpret_cast<__m256i *>(out + i), r);
    }
  } else if (strongness <= kMaxLaneStrongness) {
    const __m128i up = _mm_cvtsi32_si128(static_cast<int>(strongness));
    const __m128i down = _mm_cvtsi32_si128(static_cast<int>(kShift));
    for (; i + kStep <= count; i += kStep) {
      const __m256i low = EmbossWords<F>(centre + i, lit + i, opposite + i, up, down);
      const __m256i high = EmbossWords<F>(centre + i + 16, lit + i + 16, opposite + i + 16, up, down);
      // The pack interleaves the halves' 8-byte pieces; the permutation restores their order.
      _mm256_storeu_si256(reinterpret_cast<__m256i *>(out + i),
                          _mm256_permute4x64_epi64(_mm256_packus_epi16(low, high), 0xD8));
    }
  }
  return i;
}
#undef TESSIVO_AVX2
#endif

template <Family F>
void EmbossSpan(const uint8_t *centre, const uint8_t *lit, const uint8_t *opposite, uint8_t *out, size_t count,
                uint32_t strongness) {
  size_t done = 0;
#ifdef TESSIVO_EMBOSS_AVX2
  if (__builtin_cpu_supports("avx2")) done = EmbossSpanAvx2<F>(centre, lit, opposite, out, count, strongness);
#endif
  EmbossSpanPortable<F>(centre + done, lit + done, opposite + done, out + done, count - done, strongness);
}

// One output row. litRow and oppositeRow are the source rows of L and O, or
// null when that row is outside the image; litStep is L's column offset
// (O's is its negative).
template <Family F, size_t Bpp>
void EmbossRow(const uint8_t *centre, const uint8_t *litRow, const uint8_t *oppositeRow, int litStep, uint8_t *out,
               uint32_t width, uint32_t strongness) {
  // The first and last columns, where a neighbour may also fall outside sideways.
  const auto edge = [&](uint32_t x) {
    const int64_t litX = int64_t{x} + litStep;
    const int64_t oppositeX = int64_t{x} - litStep;
    const bool litInside = litRow != nullptr && litX >= 0 && litX < width;
    const bool oppositeInside = oppositeRow != nullptr && oppositeX >= 0 && oppositeX < width;
    const uint8_t *s = centre + size_t{x} * Bpp;
    if (!litInside && !oppositeInside) {
      std::memcpy(out + size_t{x} * Bpp, s, Bpp);
      return;
    }
    EmbossPixel<F, Bpp>(s, litInside ? litRow + litX * Bpp : s, oppositeInside ? oppositeRow + oppositeX * Bpp : s,
                        out + size_t{x} * Bpp, strongness);
  };
  if (width == 0) return;
  edge(0);
  if (width >= 3) {
    // Columns 1 to width - 2: both neighbours' columns are inside.
    const size_t bytes = size_t{width - 2} * Bpp;
    const uint8_t *first = centre + Bpp;
    if (litRow == nullptr && oppositeRow == nullptr) {
      std::memcpy(out + Bpp, first, bytes);
    } else {
      const uint8_t *lit = litRow != nullptr ? litRow + (1 + litStep) * static_cast<int>(Bpp) : first;
      const uint8_t *opposite = oppositeRow != nullptr ? oppositeRow + (1 - litStep) * static_cast<int>(Bpp) : first;
      EmbossSpan<F>(first, lit, opposite, out + Bpp, bytes, strongness);
    }
  }
  if (width >= 2) edge(width - 1);
}

// Rows from the first to the last; L = (x + litStep, y + litRowStep).
template <Family F, size_t Bpp>
void EmbossRows(const EmbossImage &image, int litStep, int litRowStep, uint32_t strongness) {
  // ARGB rows step by whole pixels.
  const size_t sourceStride = Bpp == 4 ? size_t{image.sourceRowBytes >> 2} * 4 : image.sourceRowBytes;
  const size_t destinationStride = Bpp == 4 ? size_t{image.destinationRowBytes >> 2} * 4 : image.destinationRowBytes;
  const auto *source = static_cast<const uint8_t *>(image.source);
  auto *destination = static_cast<uint8_t *>(image.destination);
  const auto sourceRow = [&](int64_t y) -> const uint8_t * {
    return y >= 0 && y < image.height ? source + static_cast<size_t>(y) * sourceStride : nullptr;
  };
  for (uint32_t y = 0; y < image.height; ++y) {
    EmbossRow<F, Bpp>(sourceRow(y), sourceRow(int64_t{y} + litRowStep), sourceRow(int64_t{y} - litRowStep), litStep,
                      destination + size_t{y} * destinationStride, image.width, strongness);
  }
}

}  // namespace

void Emboss(const EmbossImage &image, uint32_t effect, uint32_t strongness, uint32_t direction) {
  if (image.source == nullptr || image.destination == nullptr || direction >= kEmbossDirections) return;
  static constexpr int kLitStep[kEmbossDirections] = {-1, 1, -1, 1};
  static constexpr int kLitRowStep[kEmbossDirections] = {-1, -1, 1, 1};
  const int dx = kLitStep[direction];
  const int dy = kLitRowStep[direction];
  const auto chosen = static_cast<EmbossEffect>(effect);
  if (image.pixelFormat == 0) {
    // Both relief effects are the same on one-byte pixels.
    if (chosen == EmbossEffect::Emboss || chosen == EmbossEffect::EmbossWithAlpha) {
      EmbossRows<Family::Relief, 1>(image, dx, dy, strongness);
    } else if (chosen == EmbossEffect::Stonify) {
      EmbossRows<Family::Stone, 1>(image, dx, dy, strongness);
    }
  } else if (image.pixelFormat == 2) {
    if (chosen == EmbossEffect::Emboss) {
      EmbossRows<Family::Relief, 4>(image, dx, dy, strongness);
    } else if (chosen == EmbossEffect::EmbossWithAlpha) {
      EmbossRows<Family::AlphaRelief, 4>(image, dx, dy, strongness);
    } else if (chosen == EmbossEffect::Stonify) {
      EmbossRows<Family::Stone, 4>(image, dx, dy, strongness);
    }
  }
}

}  // namespace tessivo
