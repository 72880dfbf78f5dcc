// Running (prefix) sums of 32-bit words on the compiler's vector types, the
// building block of window sums whose cost does not depend on the window:
// the sum of a window is the difference of two prefix sums. Words wrap
// modulo 2^32, which keeps every window sum below 2^32 exact.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

#define TESSIVO_INLINE inline __attribute__((always_inline))

namespace tessivo::simd {

// N 32-bit lanes, and N lanes of the other widths a quotient passes through.
template <int N>
struct Words {
  typedef uint32_t Type __attribute__((vector_size(4 * N)));
  typedef int32_t Signed __attribute__((vector_size(4 * N)));
  typedef double Doubles __attribute__((vector_size(8 * N)));
  typedef uint8_t Bytes __attribute__((vector_size(N)));
};

// N lanes of type L (32-bit words, or 16-bit sums that wrap sooner).
template <class L, int N>
struct LanesOf {
  typedef L Type __attribute__((vector_size(sizeof(L) * N)));
};

// Lanes moved up by S places, zeros shifted in.
template <int N, int S, class V, size_t... I>
TESSIVO_INLINE void ShiftUp(const V &v, V &out, std::index_sequence<I...>) {
  const V zero{};
  out = __builtin_shufflevector(v, zero, (I >= S ? int(I) - S : N)...);
}

// Every lane i takes lane N - C + i % C: the last C lanes repeated.
template <int N, int C, class V, size_t... I>
TESSIVO_INLINE void RepeatLast(const V &v, V &out, std::index_sequence<I...>) {
  out = __builtin_shufflevector(v, v, (N - C + int(I) % C)...);
}

template <int N, int C, int S, class V>
TESSIVO_INLINE void AddShifted(V &v) {
  if constexpr (S < N) {
    V shifted;
    ShiftUp<N, S>(v, shifted, std::make_index_sequence<N>());
    v += shifted;
    AddShifted<N, C, 2 * S>(v);
  }
}

// out[i] = in[i] + out[i - C] for C <= i < count and in[i] + start[i] below
// C, in order: the running sums of C interleaved channels of words (or of
// 16-bit lanes, N of them a step), carried on from the C sums at start (zero
// without; in may be out, start not in out). N is a multiple of C. Bytes are
// best widened by a loop of their own first: the vectoriser widens many at a
// time, a conversion here 16 lanes.
template <int N, int C, class L>
TESSIVO_INLINE void ScanFrom(const L *in, size_t count, L *out, const L *start = nullptr) {
  using V = typename LanesOf<L, N>::Type;
  V carry{};
  if (start != nullptr)
    for (int i = 0; i < N; ++i) carry[i] = start[i % C];
  size_t i = 0;
  for (; i + N <= count; i += N) {
    V v;
    std::memcpy(&v, in + i, sizeof v);
    AddShifted<N, C, C>(v);
    // The block's own totals are repeated before the carry is added, so the
    // only step from one block to the next is one addition.
    V totals;
    RepeatLast<N, C>(v, totals, std::make_index_sequence<N>());
    v += carry;
    carry += totals;
    std::memcpy(out + i, &v, sizeof v);
  }
  for (; i < count; ++i)
    out[i] = static_cast<L>(in[i] + (i >= C ? out[i - C] : start != nullptr ? start[i] : L{0}));
}

// p[i] += p[i - C] for C <= i < count, in order.
template <int N, int C, class L>
TESSIVO_INLINE void ScanInPlace(L *p, size_t count) {
  ScanFrom<N, C>(p, count, p);
}

// Running sums of `length` pixels of values (one lane per channel) extended
// by r copies of the first pixel before and r after the last: p[0..C) = 0,
// p[(k + 1) * C + c] = sum of the first k + 1 extended samples of channel c,
// modulo 2^32 (or 2^16 for 16-bit lanes). The window of 2r + 1 around pixel
// x is p[(x + 2r + 1) C + c] - p[x C + c]. The copies are multiples of an
// edge pixel, written directly; the scan runs over the pixels themselves,
// straight from values of the lanes' type, else after a loop that widens
// them. N lanes a step. The values are taken a chunk at a time, and
// prepare(from, count) runs on each chunk of them just before its scan (the
// caller may compute them there, while they are in the first cache).
template <int N, int C, class Value, class L, class Prepare>
TESSIVO_INLINE void ExtendedRunningSums(const Value *values, uint32_t length, uint32_t r, L *p, Prepare prepare) {
  constexpr size_t kChunk = 1024;  // a multiple of every N and C
  L *sums = p + (size_t{r} + 1) * C;
  const size_t count = size_t{length} * C;
  for (size_t from = 0; from < count; from += kChunk) {
    const size_t n = std::min(kChunk, count - from);
    prepare(from, n);
    if (from == 0)
      for (uint32_t k = 0; k <= r; ++k)
        for (int c = 0; c < C; ++c) p[size_t{k} * C + c] = static_cast<L>(k * uint32_t{values[c]});
    const L *before = from == 0 ? p + size_t{r} * C : sums + from - C;
    if constexpr (std::is_same_v<Value, L>) {
      ScanFrom<N, C>(values + from, n, sums + from, before);
    } else {
      for (size_t j = from; j < from + n; ++j) sums[j] = values[j];
      ScanFrom<N, C>(static_cast<const L *>(sums + from), n, sums + from, before);
    }
  }
  const Value *last = values + (size_t{length} - 1) * C;
  const L *total = sums + count - C;
  L *after = sums + count;
  for (uint32_t k = 0; k < r; ++k)
    for (int c = 0; c < C; ++c) after[size_t{k} * C + c] = static_cast<L>(total[c] + (k + 1) * uint32_t{last[c]});
}

template <int N, int C, class Value, class L>
TESSIVO_INLINE void ExtendedRunningSums(const Value *values, uint32_t length, uint32_t r, L *p) {
  ExtendedRunningSums<N, C>(values, length, r, p, [](size_t, size_t) {});
}

// out[i] = ((p[i + distance] - p[i]) * weight) >> Shift as a byte: a window
// sum of running sums, scaled by a fixed-point reciprocal.
template <int Shift>
TESSIVO_INLINE void WindowBytes(const uint32_t *p, size_t distance, size_t count, uint32_t weight, uint8_t *out) {
  const uint32_t *ahead = p + distance;
  for (size_t i = 0; i < count; ++i) out[i] = static_cast<uint8_t>(((ahead[i] - p[i]) * weight) >> Shift);
}

// out[i] = ((p[i + distance] - p[i]) * weight) >> 16 as a byte over 16-bit
// running sums: exact while every window sums to at most 65535; the quotient
// is the high half of a 16-bit product.
TESSIVO_INLINE void WindowBytesHigh(const uint16_t *p, size_t distance, size_t count, uint16_t weight,
                                    uint8_t *out) {
  // The empty statement hides where the weight came from: GCC otherwise may
  // see a masked 32-bit value and multiply in 32-bit lanes.
  asm("" : "+r"(weight));
  const uint16_t *ahead = p + distance;
  for (size_t i = 0; i < count; ++i)
    out[i] = static_cast<uint8_t>((uint32_t{static_cast<uint16_t>(ahead[i] - p[i])} * uint32_t{weight}) >> 16);
}

// out[i] = floor((p[i + distance] - p[i] + half) / d) for quotients below
// 256, where inverse is 1 / d in double with d <= 2^24 and the dividend stays
// below 2^32: the product is within 2^-44 of the quotient, whose fraction is
// 0 or at least 2^-24, so adding 2^-30 and truncating gives it exactly.
template <int N>
TESSIVO_INLINE void QuotientBytes(const uint32_t *p, size_t distance, size_t count, uint32_t half, double inverse,
                                  uint8_t *out) {
  using U = typename Words<N>::Type;
  using I = typename Words<N>::Signed;
  using D = typename Words<N>::Doubles;
  using B = typename Words<N>::Bytes;
  constexpr double kNudge = 1.0 / 1073741824.0;
  constexpr double kBias = 2147483648.0;
  const uint32_t *ahead = p + distance;
  size_t i = 0;
  for (; i + N <= count; i += N) {
    U a, b;
    std::memcpy(&a, ahead + i, sizeof a);
    std::memcpy(&b, p + i, sizeof b);
    // Unsigned to double through the signed conversion, biased by 2^31.
    const I n = (I)((a - b + half) ^ 0x80000000u);
    const D q = (__builtin_convertvector(n, D) + kBias) * inverse + kNudge;
    const B bytes = __builtin_convertvector(__builtin_convertvector(q, I), B);
    std::memcpy(out + i, &bytes, sizeof bytes);
  }
  for (; i < count; ++i) out[i] = static_cast<uint8_t>(uint32_t(double(ahead[i] - p[i] + half) * inverse + kNudge));
}

}  // namespace tessivo::simd
