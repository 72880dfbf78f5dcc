#include "flash/flash_kernel.h"

#include <gtest/gtest.h>

#include "../module_test_support.h"

#include <algorithm>
#include <random>
#include <tuple>

namespace tessivo {
namespace {

// The colour kernel written out pixel by pixel.
uint32_t DirectFlash(uint32_t s, uint32_t format, const FlashTable &t, bool blend) {
  if (format == 0) {
    return blend ? (s == 0 ? 0 : (s * (256 - s + t[s])) >> 8) : t[s];
  }
  const uint32_t a = s >> 24;
  if (blend && a == 0) return s;
  uint32_t result = s & 0xFF000000u;
  for (const uint32_t shift : {16u, 8u, 0u}) {
    const uint32_t c = (s >> shift) & 0xFF;
    result |= (blend ? ((256 - a) * c + a * t[c]) >> 8 : t[c]) << shift;
  }
  return result;
}

using Frame = test::PaddedFrame;

FlashImage Describe(const Frame &source, Frame &destination, uint32_t format) {
  return {source.bytes.data(), source.rowBytes, destination.bytes.data(), destination.rowBytes,
          destination.width, destination.height, format};
}

// Tables: 0 the constructor's, 1 to 3 rebuilt ones, 4 a shuffled table that is no line.
FlashTable TableNumber(int which) {
  switch (which) {
    case 0: return InitialFlashTable();
    case 1: return PhaseFlashTable(0);
    case 2: return PhaseFlashTable(89 * 7);
    case 3: return PhaseFlashTable(0xFFFFFFF0u);
    default: {
      FlashTable table = InitialFlashTable();
      std::shuffle(table.begin(), table.end(), std::mt19937(5));
      return table;
    }
  }
}

class FlashKernelMatchesDefinition : public testing::TestWithParam<std::tuple<uint32_t, bool, int, uint32_t>> {};

// Every pixel against the direct definition on odd sizes, with alpha 0 and 255
// sprinkled in, and the destination's padding untouched.
TEST_P(FlashKernelMatchesDefinition, OnPaddedRandomFrames) {
  const auto [format, blend, which, width] = GetParam();
  const FlashTable table = TableNumber(which);
  const uint32_t pixelBytes = format == 0 ? 1 : 4;
  Frame source(width, 7, pixelBytes, 13, width);
  const Frame before(width, 7, pixelBytes, 22, 2);
  for (uint32_t x = 0; x < width; x += 3) source.setPixel(x, x % 7, format == 0 ? (x & 1) * 255 : (x & 1) * 0xFF000000u | 0x00A0B0C0u);
  Frame after = before;
  Flash(Describe(source, after, format), table, blend);
  for (uint32_t y = 0; y < after.height; ++y)
    for (uint32_t x = 0; x < after.width; ++x)
      ASSERT_EQ(after.pixel(x, y), DirectFlash(source.pixel(x, y), format, table, blend)) << x << "," << y;
  EXPECT_TRUE(after.paddingAsIn(before));
}

INSTANTIATE_TEST_SUITE_P(Tables, FlashKernelMatchesDefinition,
                         testing::Combine(testing::Values(0u, 2u), testing::Bool(), testing::Range(0, 5),
                                          testing::Values(1u, 3u, 67u)));

// Values worked out by hand, one pixel each.
TEST(FlashKernel, EdgeValues) {
  const FlashTable first = InitialFlashTable();
  const FlashTable second = PhaseFlashTable(89);
  EXPECT_EQ(std::tuple(first[0], first[135], first[136], first[255]), std::tuple(120, 255, 0, 119));
  EXPECT_EQ(std::tuple(second[0], second[1], second[100], second[128]), std::tuple(89, 91, 33, 89));
  const struct {
    uint32_t format;
    bool blend;
    uint32_t source, expected;
  } cases[] = {
      {2, false, 0x3C0064FFu, 0x3C78DC77u},  // red 0 -> 120, green 100 -> 220, blue 255 -> 119, alpha kept
      {2, true, 0x0012F0FFu, 0x0012F0FFu},   // alpha 0: unchanged
      {2, true, 0xFF0064FFu, 0xFF77DB77u},   // alpha 255: (c + 255 T[c]) >> 8
      {2, true, 0x80000000u, 0x803C3C3Cu},   // half: (128 * 0 + 128 * 120) >> 8
      {0, true, 0u, 0u},                      // stays 0
      {0, true, 255u, 119u},                  // (255 * (1 + 119)) >> 8
      {0, true, 100u, 146u},                  // (100 * (156 + 220)) >> 8
      {0, false, 200u, 64u},
  };
  for (const auto &c : cases) {
    const uint32_t pixelBytes = c.format == 0 ? 1 : 4;
    Frame source(1, 1, pixelBytes, 0, 0), destination(1, 1, pixelBytes, 0, 0);
    source.setPixel(0, 0, c.source);
    Flash(Describe(source, destination, c.format), first, c.blend);
    EXPECT_EQ(destination.pixel(0, 0), c.expected) << std::hex << c.source << " blend " << c.blend;
  }
}

TEST(FlashKernel, WritesNothingForOtherFormatsOrEmptyFrames) {
  const Frame source(8, 8, 4, 0, 9), before(8, 8, 4, 0, 10);
  Frame after = before;
  for (const uint32_t format : {1u, 3u, 0xFFFFFFFFu})
    for (const bool blend : {false, true}) Flash(Describe(source, after, format), InitialFlashTable(), blend);
  Flash({source.bytes.data(), 32, after.bytes.data(), 32, 0, 8, 2}, InitialFlashTable(), false);
  Flash({nullptr, 32, after.bytes.data(), 32, 8, 8, 2}, InitialFlashTable(), false);
  EXPECT_EQ(after.bytes, before.bytes);
}

}  // namespace
}  // namespace tessivo
