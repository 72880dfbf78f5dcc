// Runs a test body once at each vector instruction-set level (scalar, SSE2,
// AVX2, AVX-512) this machine can run, by capping TESSIVO_SIMD.
#pragma once

#include <cstdlib>
#include <string>

#include "tessivo/simd.h"

namespace tessivo::test {

template <class Body>
void ForEachSimdLevel(Body body) {
  const char *names[] = {"scalar", "sse2", "avx2", "avx512"};
  for (int level = 0; level <= static_cast<int>(MachineSimdLevel()); ++level) {
    setenv("TESSIVO_SIMD", names[level], 1);
    body(std::string(names[level]));
  }
  unsetenv("TESSIVO_SIMD");
}

}  // namespace tessivo::test
