#include "diffusion/diffusion_kernel.h"

#include <gtest/gtest.h>

#include "../module_test_support.h"
#include "tessivo/test/simd_levels.h"

#include <cstring>
#include <random>
#include <string>
#include <tuple>
#include <vector>

namespace tessivo {
namespace {

using Frame = test::PaddedFrame;

DiffusionImage Describe(const Frame &source, Frame &destination) {
  return {source.bytes.data(), source.rowBytes, destination.bytes.data(), destination.rowBytes,
          destination.width, destination.height, destination.pixelBytes};
}

// The rising mean written out pixel by pixel, channel by channel, into a copy
// of what the destination held.
Frame DirectDiffuse(const Frame &source, const Frame &before) {
  Frame out = before;
  for (uint32_t y = 0; y + 2 < before.height; ++y)
    for (uint32_t x = 1; x + 1 < before.width; ++x) {
      uint32_t value = 0;
      for (uint32_t shift = 0; shift < 8 * before.pixelBytes; shift += 8) {
        const auto c = [&](uint32_t sx, uint32_t sy) { return (source.pixel(sx, sy) >> shift) & 0xFF; };
        value |= ((c(x, y + 1) + c(x - 1, y + 2) + c(x, y + 2) + c(x + 1, y + 2)) >> 2) << shift;
      }
      out.setPixel(x, y, value);
    }
  return out;
}

class DiffuseMatchesDefinition : public testing::TestWithParam<std::tuple<uint32_t, uint32_t, uint32_t>> {};

// Every byte of the destination, borders and padding included, against the
// definition on random frames from 1 x 1 up, words and bytes.
TEST_P(DiffuseMatchesDefinition, OnPaddedRandomFrames) {
  const auto [pixelBytes, width, height] = GetParam();
  const Frame source(width, height, pixelBytes, 5, width * 7 + height);
  const Frame before(width, height, pixelBytes, 11, 3);
  const Frame want = DirectDiffuse(source, before);
  test::ForEachSimdLevel([&](const std::string &level) {
    Frame after = before;
    Diffuse(Describe(source, after));
    EXPECT_EQ(after.bytes, want.bytes) << level;
  });
}

INSTANTIATE_TEST_SUITE_P(Sizes, DiffuseMatchesDefinition,
                         testing::Combine(testing::Values(1u, 4u), testing::Values(1u, 2u, 3u, 4u, 17u, 67u, 133u),
                                          testing::Values(1u, 2u, 3u, 6u)));

// One bright pixel on black spreads to the pixel above it and the three two
// rows up, a quarter each; on a 3 x 3 frame only out(1, 0) is written.
TEST(DiffuseKernel, SinglePixelSpreadAndTheThreeByThreeFrame) {
  for (const uint32_t pixelBytes : {4u, 1u}) {
    const uint32_t v = pixelBytes == 4 ? 0xFFC08043u : 203u, quarter = pixelBytes == 4 ? 0x3F302010u : 50u;
    Frame source(7, 7, pixelBytes, 4, 0);
    std::fill(source.bytes.begin(), source.bytes.end(), 0);
    source.setPixel(3, 4, v);
    Frame out(7, 7, pixelBytes, 4, 1);
    Diffuse(Describe(source, out));
    for (uint32_t y = 0; y < 5; ++y)
      for (uint32_t x = 1; x < 6; ++x) {
        const bool lit = (y == 3 && x == 3) || (y == 2 && x >= 2 && x <= 4);
        EXPECT_EQ(out.pixel(x, y), lit ? quarter : 0u) << x << "," << y << " bytes " << pixelBytes;
      }

    const Frame small(3, 3, pixelBytes, 0, 2), before(3, 3, pixelBytes, 0, 3);
    Frame after = before;
    Diffuse(Describe(small, after));
    for (const uint32_t i : {0u, 2u, 3u, 4u, 5u, 6u, 7u, 8u})
      EXPECT_EQ(after.pixel(i % 3, i / 3), before.pixel(i % 3, i / 3)) << i;
    uint32_t expected = 0;
    for (uint32_t shift = 0; shift < 8 * pixelBytes; shift += 8) {
      const auto c = [&](uint32_t x, uint32_t y) { return (small.pixel(x, y) >> shift) & 0xFF; };
      expected |= ((c(1, 1) + c(0, 2) + c(1, 2) + c(2, 2)) >> 2) << shift;
    }
    EXPECT_EQ(after.pixel(1, 0), expected);
  }
}

}  // namespace
}  // namespace tessivo
