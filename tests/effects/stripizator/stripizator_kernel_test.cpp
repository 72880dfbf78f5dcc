#include "stripizator/stripizator_kernel.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "stripes_definition.h"
#include "tessivo/test/simd_levels.h"

namespace tessivo {
namespace {

using stripes_definition::DirectArgb;
using stripes_definition::DirectPlanar8;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

// A destination of `held` x `rows` pixels in rows padded past four bytes a
// pixel, every byte random, so stray writes and unread bytes both show.
struct Buffer {
  uint32_t held, rows, rowBytes;
  std::vector<uint8_t> bytes;
  Buffer(uint32_t w, uint32_t h, uint32_t padding, std::mt19937 &random)
      : held(w), rows(h), rowBytes(4 * w + padding), bytes(size_t{rowBytes} * h) {
    for (uint8_t &b : bytes) b = static_cast<uint8_t>(random());
  }
  uint32_t stride() const { return rowBytes & ~3u; }
  uint32_t word(uint32_t x, uint32_t y) const {
    uint32_t v;
    std::memcpy(&v, &bytes[size_t{y} * stride() + 4 * x], 4);
    return v;
  }
};

// Both passes against the definitions: sizes of 1 to 3 pixels, widths around
// the vector blocks, odd row bytes, counters across the 32-bit wrap, stripe
// widths from 1 to beyond 2^31 (where the period wraps), and buffers that hold
// less than the frame (the phases still follow the frame's size).
TEST(StripesKernel, MatchDefinitionInBothPaths) {
  test::ForEachSimdLevel([](const std::string &level) {
  SCOPED_TRACE(level);
  std::mt19937 random(7);
  const uint32_t widths[] = {1,  2,    3,           7,           8,           15,          16,
                             17, 1000, 0x40000003u, 0x7FFFFFFFu, 0x80000000u, 0x80000001u, 0xFFFFFFFFu};
  const uint32_t counters[] = {0, 1, 13, 0xFFFFFFF0u, 0xFFFFFFFFu};
  const struct {
    uint32_t frameWidth, frameHeight, held, rows, padding;
  } sizes[] = {{1, 1, 1, 1, 0},   {3, 2, 3, 2, 5},    {2, 3, 2, 3, 3},   {16, 2, 16, 2, 0},
               {37, 5, 37, 5, 7}, {67, 4, 67, 4, 13}, {70, 9, 41, 6, 2}, {33, 3, 0, 3, 4}};
  for (const auto &size : sizes) {
    for (const uint32_t width : widths) {
      for (const uint32_t counter : counters) {
        const Stripes stripes{0x12FFD200u ^ width, 0xEE000000u | (width * 2654435761u >> 8), width, counter};
        for (const bool planar : {false, true}) {
          Buffer buffer(size.held, size.rows, size.padding, random);
          const Buffer before = buffer;
          // The frame the definition runs over, with the held part from the buffer.
          std::vector<uint32_t> argb(size_t{size.frameWidth} * size.frameHeight);
          std::vector<uint8_t> grey(argb.size());
          for (size_t i = 0; i < argb.size(); ++i)
            argb[i] = static_cast<uint32_t>(random()), grey[i] = static_cast<uint8_t>(random());
          for (uint32_t y = 0; y < size.rows; ++y)
            for (uint32_t x = 0; x < size.held; ++x)
              planar ? void(grey[y * size.frameWidth + x] = buffer.bytes[size_t{y} * buffer.stride() + x])
                     : void(argb[y * size.frameWidth + x] = buffer.word(x, y));
          const std::vector<uint32_t> expected = planar
                                                     ? DirectPlanar8(grey, size.frameWidth, size.frameHeight, stripes)
                                                     : DirectArgb(argb, size.frameWidth, size.frameHeight, stripes);
          const StripeImage image{buffer.bytes.data(), buffer.rowBytes, size.held,
                                  size.rows,           size.frameWidth, size.frameHeight};
          planar ? DrawStripesPlanar8InPlace(image, stripes) : DrawStripesArgb(image, stripes);
          for (uint32_t y = 0; y < size.rows; ++y) {
            for (uint32_t x = 0; x < size.held; ++x)
              ASSERT_EQ(buffer.word(x, y), expected[y * size.frameWidth + x])
                  << (planar ? "planar " : "argb ") << x << "," << y << " width " << width << " counter "
                  << stripes.counter << " frame " << size.frameWidth << "x" << size.frameHeight;
            const size_t rowEnd = y + 1 == size.rows ? buffer.bytes.size() : size_t{y + 1} * buffer.stride();
            for (size_t i = size_t{y} * buffer.stride() + 4 * size.held; i < rowEnd; ++i)
              ASSERT_EQ(buffer.bytes[i], before.bytes[i]) << "byte " << i << " past row " << y;
          }
        }
      }
    }
  }
  });
}

// Conversions of the control products, and the smallest cases by hand.
TEST(StripesKernel, FactorConversionsAndHandValues) {
  EXPECT_EQ(StripeRadius(kNan, 7.0f), 0u);
  EXPECT_EQ(StripeRadius(-1e30f, 7.0f), 0u);
  EXPECT_EQ(StripeRadius(1e30f, 7.0f), 0xFFFFFFFFu);
  EXPECT_EQ(StripeRadius(kInf, 0.0f), 0u);  // NaN product
  EXPECT_EQ(StripeRadius(1.0f, 7.0f), 7u);
  EXPECT_EQ(StripeRadius(0.0f, 7.0f), 0u);
  EXPECT_EQ(StripeRadius(-2.0f, 7.0f), 0u);
  EXPECT_EQ(StripeRadius(0.3f, 10.0f), 3u);   // 3.0000002 in single precision
  EXPECT_EQ(StripeRadius(0.29f, 10.0f), 2u);  // 2.8999999
  EXPECT_EQ(StripeWidth(1.0f, 7.0f), 7u);
  EXPECT_EQ(StripeWidth(0.0f, 7.0f), 1u);  // a zero width draws stripes of one pixel
  EXPECT_EQ(StripeWidth(kNan, 7.0f), 1u);
  EXPECT_EQ(StripeWidth(0.5f, 7.0f), 3u);

  // Width 1, period 2, counter 0, a 3 x 2 frame. ARGB row 0 starts at phase
  // (2 - 0 + 0) mod 2 = 0: fore, back, fore; row 1 at phase 1: back, fore, back.
  uint32_t argb[6] = {0x000000FFu, 0xFF000000u, 0x00000080u, 0x12345600u, 0x000000FEu, 0x00000001u};
  DrawStripesArgb({argb, 12, 3, 2, 3, 2}, {0xFF00FF00u, 0xFF0000FFu, 1, 0});
  EXPECT_EQ(std::vector<uint32_t>(argb, argb + 6),
            (std::vector<uint32_t>{0x0000FF00u, 0xFF0000FFu, 0x7F00FF00u, 0xFF0000FFu, 0x0100FF00u, 0xFE0000FFu}));
  // One byte: row 1 starts at phase (1 + 1) mod 2 = 0 at its right end,
  // row 0 at phase 1; the grey bytes sit at the start of each 12-byte row.
  uint8_t bytes[24] = {0, 255, 128, 9, 9, 9, 9, 9, 9, 9, 9, 9, 1, 2, 3, 9, 9, 9, 9, 9, 9, 9, 9, 9};
  DrawStripesPlanar8InPlace({bytes, 12, 3, 2, 3, 2}, {0xFF00FF00u, 0xFF0000FFu, 1, 0});
  uint32_t widened[6];
  std::memcpy(widened, bytes, sizeof widened);
  EXPECT_EQ(std::vector<uint32_t>(widened, widened + 6),
            (std::vector<uint32_t>{0xFF0000FFu, 0x0000FF00u, 0x7F0000FFu, 0xFE00FF00u, 0xFD0000FFu, 0xFC00FF00u}));
}

}  // namespace
}  // namespace tessivo
