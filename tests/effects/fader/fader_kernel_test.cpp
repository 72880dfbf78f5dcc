#include "fader/fader_kernel.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <tuple>
#include <vector>

namespace tessivo {
namespace {

// The fade written out pixel by pixel, for amounts whose product fits 32 bits.
uint32_t DirectWeight(float amount) { return static_cast<uint32_t>(static_cast<int64_t>(amount * 65536.0f)); }

uint8_t DirectGreyFade(uint8_t s, uint32_t c, float amount) {
  const uint32_t w = DirectWeight(amount);
  const uint32_t g = (((c >> 16) & 0xFF) + ((c >> 7) & 0xFF) + (c & 0xFF)) >> 2;
  return static_cast<uint8_t>((s * (65536u - w) + w * g) >> 16);
}

uint32_t DirectArgbFade(uint32_t s, uint32_t c, float amount) {
  const uint32_t w = DirectWeight(amount);
  uint32_t result = 0;
  for (int shift = 0; shift < 32; shift += 8) {
    const uint32_t channel = ((w * ((c >> shift) & 0xFF) + (65536u - w) * ((s >> shift) & 0xFF)) >> 16) & 0xFF;
    result |= channel << shift;
  }
  return result;
}

// A frame whose rows are padded like a host's; padding is filled too, so a
// kernel that strays into it is caught. ARGB rows step by whole pixels, so an
// odd row-byte count is rounded down.
struct Frame {
  uint32_t width, height, rowBytes, pixelBytes;
  std::vector<uint8_t> bytes;

  Frame(uint32_t w, uint32_t h, uint32_t pixelBytesIn, uint32_t padding, uint32_t seed)
      : width(w), height(h), rowBytes(w * pixelBytesIn + padding), pixelBytes(pixelBytesIn), bytes(rowBytes * h) {
    std::mt19937 random(seed);
    for (uint8_t &byte : bytes) byte = static_cast<uint8_t>(random());
  }
  uint32_t stride() const { return pixelBytes == 4 ? rowBytes & ~3u : rowBytes; }
  uint32_t pixel(uint32_t x, uint32_t y) const {
    uint32_t value = 0;
    std::memcpy(&value, &bytes[y * stride() + x * pixelBytes], pixelBytes);
    return value;
  }
};

FadeImage Describe(const Frame &source, Frame &destination, uint32_t format) {
  return {source.bytes.data(), source.rowBytes, destination.bytes.data(), destination.rowBytes,
          destination.width, destination.height, format};
}

// Every pixel against the direct definition, and the destination's padding untouched.
void ExpectDirectFade(const Frame &source, const Frame &before, const Frame &after, uint32_t format, uint32_t color,
                      float amount) {
  for (uint32_t y = 0; y < after.height; ++y) {
    for (uint32_t x = 0; x < after.width; ++x) {
      const uint32_t s = source.pixel(x, y);
      const uint32_t expected = format == 0 ? DirectGreyFade(static_cast<uint8_t>(s), color, amount)
                                            : DirectArgbFade(s, color, amount);
      ASSERT_EQ(after.pixel(x, y), expected) << "at " << x << "," << y << " amount " << amount;
    }
    const uint32_t rowStart = y * after.stride();
    for (uint32_t i = after.width * after.pixelBytes; i < after.stride(); ++i) {
      ASSERT_EQ(after.bytes[rowStart + i], before.bytes[rowStart + i]) << "padding of row " << y;
    }
  }
}

class FadeKernelMatchesDefinition : public testing::TestWithParam<std::tuple<uint32_t, float, uint32_t>> {};

TEST_P(FadeKernelMatchesDefinition, OnPaddedRandomFrames) {
  const auto [format, amount, color] = GetParam();
  const uint32_t pixelBytes = format == 0 ? 1 : 4;
  // Different paddings for source and destination; odd widths leave vector tails.
  const Frame source(67, 9, pixelBytes, 13, 1);
  const Frame before(67, 9, pixelBytes, 22, 2);
  Frame after = before;
  Fade(Describe(source, after, format), color, amount);
  ExpectDirectFade(source, before, after, format, color, amount);
}

INSTANTIATE_TEST_SUITE_P(Amounts, FadeKernelMatchesDefinition,
                         testing::Combine(testing::Values(0u, 2u), testing::Values(0.0001f, 0.37f, 0.5f, 1.0f, 2.0f),
                                          testing::Values(0x00000000u, 0xFF00FF00u, 0x80C4117Eu)));

TEST(FadeKernel, FullAmountGivesTheColourOrItsGrey) {
  const Frame source(31, 5, 4, 8, 3);
  Frame argb(31, 5, 4, 4, 4);
  Fade(Describe(source, argb, 2), 0x80C4117Eu, 1.0f);
  Frame planar(31, 5, 1, 3, 5);
  Fade(Describe(source, planar, 0), 0xFF00FF00u, 1.0f);
  for (uint32_t y = 0; y < 5; ++y) {
    for (uint32_t x = 0; x < 31; ++x) {
      ASSERT_EQ(argb.pixel(x, y), 0x80C4117Eu);
      // Green's top bit is lost to the shift of 7: 254 >> 2.
      ASSERT_EQ(planar.pixel(x, y), 63u);
    }
  }
  EXPECT_EQ(FadeGrey(0xFF00FF00u), 63u);
}

TEST(FadeKernel, DoubleAmountWrapsInsteadOfClamping) {
  EXPECT_EQ(FadeWeight(2.0f), 131072u);
  Frame source(1, 1, 4, 0, 0);
  const uint32_t pixel = 0x10203040u;
  std::memcpy(source.bytes.data(), &pixel, 4);
  Frame destination(1, 1, 4, 0, 0);
  Fade(Describe(source, destination, 2), 0x80604020u, 2.0f);
  // Each channel is (2c - s) mod 256: 0x100-0x10, 0xC0-0x20, 0x80-0x30, 0x40-0x40.
  EXPECT_EQ(destination.pixel(0, 0), 0xF0A05000u);
}

TEST(FadeKernel, DefaultColourFadesToTransparentBlack) {
  const Frame source(16, 4, 4, 0, 6);
  Frame half(16, 4, 4, 0, 7);
  Fade(Describe(source, half, 2), 0, 0.5f);
  Frame full(16, 4, 4, 0, 8);
  Fade(Describe(source, full, 2), 0, 1.0f);
  for (uint32_t y = 0; y < 4; ++y) {
    for (uint32_t x = 0; x < 16; ++x) {
      EXPECT_EQ(half.pixel(x, y) >> 24, (source.pixel(x, y) >> 24) / 2);
      EXPECT_EQ(full.pixel(x, y), 0u);
    }
  }
}

TEST(FadeKernel, WritesNothingForOtherFormatsOrEmptyFrames) {
  const Frame source(8, 8, 4, 0, 9);
  const Frame before(8, 8, 4, 0, 10);
  for (const uint32_t format : {1u, 3u, 0xFFFFFFFFu}) {
    Frame after = before;
    Fade(Describe(source, after, format), 0xFFFFFFFFu, 0.5f);
    EXPECT_EQ(after.bytes, before.bytes) << "format " << format;
  }
  Frame after = before;
  Fade({source.bytes.data(), 32, after.bytes.data(), 32, 0, 8, 2}, 0xFFFFFFFFu, 0.5f);
  Fade({source.bytes.data(), 32, after.bytes.data(), 32, 8, 0, 2}, 0xFFFFFFFFu, 0.5f);
  Fade({nullptr, 32, after.bytes.data(), 32, 8, 8, 2}, 0xFFFFFFFFu, 0.5f);
  EXPECT_EQ(after.bytes, before.bytes);
}

TEST(FadeWeight, TruncatesTowardZeroAndWrapsOutsideTheRange) {
  EXPECT_EQ(FadeWeight(0.0001f), 6u);  // 6.5536 truncated
  EXPECT_EQ(FadeWeight(1.0f), 65536u);
  EXPECT_EQ(FadeWeight(-1.0f), 0xFFFF0000u);
  EXPECT_EQ(FadeWeight(65536.0f), 0u);             // 2^32
  EXPECT_EQ(FadeWeight(98304.5f), 0x80008000u);    // 2^32 * 1.5 + 2^15, exact in float
  EXPECT_EQ(FadeWeight(std::numeric_limits<float>::quiet_NaN()), 0u);
  EXPECT_EQ(FadeWeight(std::numeric_limits<float>::infinity()), 0u);
  EXPECT_EQ(FadeWeight(std::numeric_limits<float>::max()), 0u);  // the product overflows to infinity
}

}  // namespace
}  // namespace tessivo
