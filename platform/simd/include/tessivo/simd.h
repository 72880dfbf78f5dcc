// Which vector instruction set a kernel runs with. Each optimised kernel has
// a portable scalar path and vector paths compiled for SSE2 (every x86-64),
// AVX2 and AVX-512; it takes the best one the processor supports, capped by
// the environment variable TESSIVO_SIMD ("scalar", "sse2", "avx2" or
// "avx512"), which tests and benchmarks use to run every path.
#pragma once

#include <cstdlib>
#include <cstring>

namespace tessivo {

enum class SimdLevel : int { kScalar = 0, kSse2 = 1, kAvx2 = 2, kAvx512 = 3 };

// The best level this processor runs.
inline SimdLevel MachineSimdLevel() {
#if defined(__x86_64__)
  static const SimdLevel level = [] {
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
        __builtin_cpu_supports("avx512vl"))
      return SimdLevel::kAvx512;
    if (__builtin_cpu_supports("avx2")) return SimdLevel::kAvx2;
    return SimdLevel::kSse2;
  }();
  return level;
#else
  return SimdLevel::kScalar;
#endif
}

// The level a kernel runs at now: the machine's, lowered by TESSIVO_SIMD.
// Read at each call (a kernel call is a whole frame), so a test can switch.
inline SimdLevel ActiveSimdLevel() {
  const SimdLevel machine = MachineSimdLevel();
  const char *cap = std::getenv("TESSIVO_SIMD");
  if (cap == nullptr) return machine;
  SimdLevel wanted = machine;
  if (std::strcmp(cap, "scalar") == 0) wanted = SimdLevel::kScalar;
  if (std::strcmp(cap, "sse2") == 0) wanted = SimdLevel::kSse2;
  if (std::strcmp(cap, "avx2") == 0) wanted = SimdLevel::kAvx2;
  return static_cast<int>(wanted) < static_cast<int>(machine) ? wanted : machine;
}

// The entry point for the active level among a kernel's four.
template <class Function>
Function ChooseSimdPath(Function scalar, Function sse2, Function avx2, Function avx512) {
  switch (ActiveSimdLevel()) {
    case SimdLevel::kScalar:
      return scalar;
    case SimdLevel::kSse2:
      return sse2;
    case SimdLevel::kAvx2:
      return avx2;
    default:
      return avx512;
  }
}

}  // namespace tessivo

// A kernel's four entry points, name##Scalar to name##Avx512, for
// ChooseSimdPath; without x86-64 the SSE2 one stands in for the wider two.
#if defined(__x86_64__)
#define TESSIVO_SIMD_PATHS(name) name##Scalar, name##Sse2, name##Avx2, name##Avx512
#else
#define TESSIVO_SIMD_PATHS(name) name##Scalar, name##Sse2, name##Sse2, name##Sse2
#endif

// Defines a kernel's four entry points with define(suffix, attributes, arg),
// one arg per level (lanes, bytes a step, ...).
#if defined(__x86_64__)
#define TESSIVO_EACH_SIMD_PATH(define, scalar, sse2, avx2, avx512)                               \
  define(Scalar, , scalar) define(Sse2, TESSIVO_TARGET_SSE2, sse2) define(Avx2, TESSIVO_TARGET_AVX2, avx2) \
      define(Avx512, TESSIVO_TARGET_AVX512, avx512)
#else
#define TESSIVO_EACH_SIMD_PATH(define, scalar, sse2, avx2, avx512) \
  define(Scalar, , scalar) define(Sse2, TESSIVO_TARGET_SSE2, sse2)
#endif

// Attributes of the vector paths' entry points: each inlines all it calls, so
// the whole path is compiled for its instruction set.
#if defined(__x86_64__)
#define TESSIVO_TARGET_AVX2 __attribute__((target("avx2,bmi2"), flatten))
#define TESSIVO_TARGET_AVX512 __attribute__((target("avx512f,avx512bw,avx512vl,avx2,bmi2"), flatten))
#endif
#define TESSIVO_TARGET_SSE2 __attribute__((flatten))
