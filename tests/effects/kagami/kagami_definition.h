// The kaleidoscope written out step by step, one pixel at a time, for the
// tests to hold the kernel against. Float steps are float, double steps
// double, the two offsets one fused multiply-subtract each.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>

namespace tessivo::test {

struct DirectSample {
  bool inside;
  uint32_t column, row;
};

struct DirectMirror {
  uint32_t width, height;
  float strength;
  bool fold = true;  // false: the angle is used as atan2 gives it, and no turn

  DirectSample at(uint32_t x, uint32_t y) const {
    const float period = std::bit_cast<float>(0x3FD4ABEEu);
    const float halfPeriod = 0.830748438835144f;
    const float twoPi = 6.2831854820251465f;
    const float turn = fold ? static_cast<float>((static_cast<double>(strength) - 2.0) * twoPi) : 0.0f;
    const float sx = 1.0f / static_cast<float>(width);
    const float sy = 1.0f / static_cast<float>(height);
    const float v = std::fmaf(sy, static_cast<float>(y), -0.5f);
    const float u = std::fmaf(sx, static_cast<float>(x), -0.5f);
    const float r = std::sqrt(u * u + v * v);
    float a = static_cast<float>(std::atan2(static_cast<double>(v), static_cast<double>(u)) + twoPi);
    if (fold) {
      a = static_cast<float>(std::fmod(static_cast<double>(a), static_cast<double>(period)));
      if (a > halfPeriod) a = period - a;
    }
    const float theta = a + turn;
    const double qy = (static_cast<float>(r * std::sin(static_cast<double>(theta))) + 0.5) * height;
    const double qx = (static_cast<float>(r * std::cos(static_cast<double>(theta))) + 0.5) * width;
    if (qy != qy || qx != qx) return {false, 0, 0};  // a NaN index lies nowhere
    // Truncated toward zero, then compared as unsigned: negative is outside.
    const auto row = static_cast<int64_t>(qy);
    const auto column = static_cast<int64_t>(qx);
    if (static_cast<uint64_t>(column) >= width || static_cast<uint64_t>(row) >= height) return {false, 0, 0};
    return {true, static_cast<uint32_t>(column), static_cast<uint32_t>(row)};
  }
};

}  // namespace tessivo::test
