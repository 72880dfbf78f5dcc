// Number conversions whose C meaning is undefined for some inputs, given one
// defined result for every input.
#pragma once

#include <cmath>
#include <cstdint>

namespace tessivo {

// A float truncated toward zero to an unsigned 32-bit integer, saturating:
// NaN and everything below 1 give 0 (negative values included), everything
// at or above 2^32 gives 0xFFFFFFFF.
inline uint32_t TruncateToUInt32(float value) {
  if (!(value >= 1.0f)) return 0;
  if (value >= 4294967296.0f) return UINT32_MAX;
  return static_cast<uint32_t>(value);
}

}  // namespace tessivo
