// Running (prefix) sums of 32-bit words on the compiler's vector types, the
// building block of window sums whose cost does not depend on the window:
// the sum of a window is the difference of two prefix sums. Words wrap
// modulo 2^32, which keeps every window sum below 2^32 exact.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#define TESSIVO_INLINE inline __attribute__((always_inline))

namespace tessivo::simd {

// N 32-bit lanes.
template <int N>
struct Words {
  typedef uint32_t Type __attribute__((vector_size(4 * N)));
};

// Lanes moved up by S places, zeros shifted in.
template <int N, int S, size_t... I>
TESSIVO_INLINE void ShiftUp(const typename Words<N>::Type &v, typename Words<N>::Type &out,
                            std::index_sequence<I...>) {
  const typename Words<N>::Type zero{};
  out = __builtin_shufflevector(v, zero, (I >= S ? int(I) - S : N)...);
}

// Every lane i takes lane N - C + i % C: the last C lanes repeated.
template <int N, int C, size_t... I>
TESSIVO_INLINE void RepeatLast(const typename Words<N>::Type &v, typename Words<N>::Type &out,
                               std::index_sequence<I...>) {
  out = __builtin_shufflevector(v, v, (N - C + int(I) % C)...);
}

template <int N, int C, int S>
TESSIVO_INLINE void AddShifted(typename Words<N>::Type &v) {
  if constexpr (S < N) {
    typename Words<N>::Type shifted;
    ShiftUp<N, S>(v, shifted, std::make_index_sequence<N>());
    v += shifted;
    AddShifted<N, C, 2 * S>(v);
  }
}

// p[i] += p[i - C] for C <= i < count, in order: the running sums of C
// interleaved channels. N is a multiple of C.
template <int N, int C>
TESSIVO_INLINE void ScanInPlace(uint32_t *p, size_t count) {
  using V = typename Words<N>::Type;
  V carry{};
  size_t i = 0;
  for (; i + N <= count; i += N) {
    V v;
    std::memcpy(&v, p + i, sizeof v);
    AddShifted<N, C, C>(v);
    v += carry;
    std::memcpy(p + i, &v, sizeof v);
    RepeatLast<N, C>(v, carry, std::make_index_sequence<N>());
  }
  for (; i < count; ++i) p[i] += i >= C ? p[i - C] : 0u;
}

// out[i] = ((p[i + distance] - p[i]) * weight) >> Shift as a byte: a window
// sum of running sums, scaled by a fixed-point reciprocal.
template <int Shift>
TESSIVO_INLINE void WindowBytes(const uint32_t *p, size_t distance, size_t count, uint32_t weight, uint8_t *out) {
  const uint32_t *ahead = p + distance;
  for (size_t i = 0; i < count; ++i) out[i] = static_cast<uint8_t>(((ahead[i] - p[i]) * weight) >> Shift);
}

}  // namespace tessivo::simd
