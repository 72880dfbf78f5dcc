#include "fader/fader_kernel.h"

#include <gtest/gtest.h>

#include "tessivo/test/simd_levels.h"

#include <cmath>
#include <cstring>
#include <random>
#include <string>
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
// odd row-byte count is rounded down. The pixels may start `offset` bytes
// into the buffer, off any word boundary.
struct Frame {
  uint32_t width, height, rowBytes, pixelBytes, offset;
  std::vector<uint8_t> bytes;

  Frame(uint32_t w, uint32_t h, uint32_t pixelBytesIn, uint32_t padding, uint32_t seed, uint32_t offsetIn = 0)
      : width(w), height(h), rowBytes(w * pixelBytesIn + padding), pixelBytes(pixelBytesIn), offset(offsetIn),
        bytes(rowBytes * h + offsetIn) {
    std::mt19937 random(seed);
    for (uint8_t &byte : bytes) byte = static_cast<uint8_t>(random());
  }
  uint32_t stride() const { return pixelBytes == 4 ? rowBytes & ~3u : rowBytes; }
  uint32_t pixel(uint32_t x, uint32_t y) const {
    uint32_t value = 0;
    std::memcpy(&value, &bytes[offset + y * stride() + x * pixelBytes], pixelBytes);
    return value;
  }
};

FadeImage Describe(const Frame &source, Frame &destination, uint32_t format) {
  return {source.bytes.data() + source.offset, source.rowBytes, destination.bytes.data() + destination.offset,
          destination.rowBytes, destination.width, destination.height, format};
}

class FadeKernelMatchesDefinition : public testing::TestWithParam<std::tuple<uint32_t, float, uint32_t>> {};

// Every pixel against the direct definition, and the destination's padding
// untouched; on word-aligned buffers and on buffers that start off a word.
TEST_P(FadeKernelMatchesDefinition, OnPaddedRandomFrames) {
  const auto [format, amount, color] = GetParam();
  const uint32_t pixelBytes = format == 0 ? 1 : 4;
  test::ForEachSimdLevel([&](const std::string &level) {
  SCOPED_TRACE(level);
  for (const uint32_t offset : {0u, 1u}) {
    // Different paddings for source and destination; odd widths leave vector tails.
    const Frame source(67, 9, pixelBytes, 13, 1, offset), before(67, 9, pixelBytes, 22, 2, 3 * offset);
    Frame after = before;
    Fade(Describe(source, after, format), color, amount);
    for (uint32_t y = 0; y < after.height; ++y) {
      for (uint32_t x = 0; x < after.width; ++x) {
        const uint32_t s = source.pixel(x, y);
        ASSERT_EQ(after.pixel(x, y), format == 0 ? DirectGreyFade(static_cast<uint8_t>(s), color, amount)
                                                 : DirectArgbFade(s, color, amount)) << x << "," << y << "+" << offset;
      }
      for (uint32_t i = y * after.stride() + after.width * pixelBytes; i < (y + 1) * after.stride(); ++i)
        ASSERT_EQ(after.bytes[after.offset + i], before.bytes[after.offset + i]) << "padding of row " << y;
    }
  }
  });
}

INSTANTIATE_TEST_SUITE_P(Amounts, FadeKernelMatchesDefinition,
                         testing::Combine(testing::Values(0u, 2u), testing::Values(0.0001f, 0.37f, 0.5f, 1.0f, 2.0f),
                                          testing::Values(0x00000000u, 0xFF00FF00u, 0x80C4117Eu)));

// Values worked out by hand, one pixel each.
TEST(FadeKernel, EdgeValues) {
  EXPECT_EQ(FadeGrey(0xFF00FF00u), 63u);  // green's top bit is lost to the shift of 7: 254 >> 2
  EXPECT_EQ(FadeWeight(2.0f), 131072u);
  EXPECT_EQ(FadeWeight(-1.0f), 0xFFFF0000u);  // truncated, then wrapped into 32 bits
  const struct {
    uint32_t format, source, color;
    float amount;
    uint32_t expected;
  } cases[] = {
      {2, 0x12345678u, 0x80C4117Eu, 1.0f, 0x80C4117Eu},  // the colour exactly
      {0, 0xC8u, 0xFF00FF00u, 1.0f, 63u},                // its grey
      {2, 0x10203040u, 0x80604020u, 2.0f, 0xF0A05000u},  // wraps: (2c - s) mod 256 per channel
      {2, 0xFF808080u, 0, 0.5f, 0x7F404040u},            // the default colour fades alpha too
      {2, 0xFF808080u, 0, 1.0f, 0u},
  };
  for (const auto &c : cases) {
    const uint32_t pixelBytes = c.format == 0 ? 1 : 4;
    Frame source(1, 1, pixelBytes, 0, 0), destination(1, 1, pixelBytes, 0, 0);
    std::memcpy(source.bytes.data(), &c.source, pixelBytes);
    Fade(Describe(source, destination, c.format), c.color, c.amount);
    EXPECT_EQ(destination.pixel(0, 0), c.expected) << std::hex << c.source << " " << c.color << " " << c.amount;
  }
}

TEST(FadeKernel, WritesNothingForOtherFormatsOrEmptyFrames) {
  const Frame source(8, 8, 4, 0, 9), before(8, 8, 4, 0, 10);
  Frame after = before;
  for (const uint32_t format : {1u, 3u, 0xFFFFFFFFu}) Fade(Describe(source, after, format), 0xFFFFFFFFu, 0.5f);
  Fade({source.bytes.data(), 32, after.bytes.data(), 32, 0, 8, 2}, 0xFFFFFFFFu, 0.5f);
  Fade({nullptr, 32, after.bytes.data(), 32, 8, 8, 2}, 0xFFFFFFFFu, 0.5f);
  EXPECT_EQ(after.bytes, before.bytes);
}

}  // namespace
}  // namespace tessivo
