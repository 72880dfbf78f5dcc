#include "emboss/emboss_kernel.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

namespace tessivo {
namespace {

// A frame whose rows are padded like a host's; padding is filled too, so a
// kernel that strays into it is caught. ARGB rows step by whole pixels, so an
// odd row-byte count is rounded down.
struct Frame {
  uint32_t width, height, pixelBytes, rowBytes;
  std::vector<uint8_t> bytes;

  Frame(uint32_t w, uint32_t h, uint32_t format, uint32_t padding, uint32_t seed)
      : width(w), height(h), pixelBytes(format == 2 ? 4 : 1), rowBytes(w * pixelBytes + padding), bytes(rowBytes * h) {
    std::mt19937 random(seed);
    for (uint8_t &byte : bytes) byte = static_cast<uint8_t>(random());
  }
  uint32_t stride() const { return pixelBytes == 4 ? rowBytes & ~3u : rowBytes; }
  uint32_t pixel(uint32_t x, uint32_t y) const {
    uint32_t value = 0;
    std::memcpy(&value, &bytes[size_t{y} * stride() + x * pixelBytes], pixelBytes);
    return value;
  }
  void setPixel(uint32_t x, uint32_t y, uint32_t value) {
    std::memcpy(&bytes[size_t{y} * stride() + x * pixelBytes], &value, pixelBytes);
  }
  template <typename Fn>
  void fill(Fn valueAt) {
    for (uint32_t y = 0; y < height; ++y)
      for (uint32_t x = 0; x < width; ++x) setPixel(x, y, valueAt(x, y));
  }
};

EmbossImage Describe(const Frame &source, Frame &destination, uint32_t format) {
  return {source.bytes.data(), source.rowBytes, destination.bytes.data(), destination.rowBytes,
          destination.width, destination.height, format};
}

// The relief written out pixel by pixel. E = floor(D * 2^k / 2^shift), with
// D * 2^k taken modulo 2^32 as a signed 32-bit number (nothing is left of it
// from k = 32 on).
int32_t DirectScale(int32_t d, uint32_t k, int shift) {
  const int64_t product = k < 32 ? int64_t{d} * (int64_t{1} << k) : 0;
  const auto wrapped = static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(product)));
  return static_cast<int32_t>(std::floor(wrapped / std::ldexp(1.0, shift)));
}

uint32_t Clamp(int32_t v) { return v < 0 ? 0u : v > 255 ? 255u : static_cast<uint32_t>(v); }
uint32_t Channel(uint32_t pixel, int shift) { return (pixel >> shift) & 0xFFu; }

// The expected destination, starting from what it held before.
Frame DirectEmboss(const Frame &source, const Frame &before, uint32_t format, uint32_t effect, uint32_t k,
                   uint32_t direction) {
  Frame out = before;
  const bool known = direction < 4 && (format == 0 || format == 2) && effect < 3;
  if (!known) return out;
  const int litX = direction == 0 || direction == 2 ? -1 : 1;
  const int litY = direction < 2 ? -1 : 1;
  const auto inside = [&](int64_t x, int64_t y) { return x >= 0 && y >= 0 && x < source.width && y < source.height; };
  for (uint32_t y = 0; y < source.height; ++y) {
    for (uint32_t x = 0; x < source.width; ++x) {
      const uint32_t s = source.pixel(x, y);
      const bool litInside = inside(int64_t{x} + litX, int64_t{y} + litY);
      const bool oppositeInside = inside(int64_t{x} - litX, int64_t{y} - litY);
      if (!litInside && !oppositeInside) {
        out.setPixel(x, y, s);
        continue;
      }
      const uint32_t l = litInside ? source.pixel(x + litX, y + litY) : s;
      const uint32_t o = oppositeInside ? source.pixel(x - litX, y - litY) : s;
      // One byte a pixel is a single channel; ARGB has four, alpha from bit 24.
      const int top = format == 0 ? 0 : 24;
      const int32_t alphaE = DirectScale(static_cast<int32_t>(Channel(o, top)) - static_cast<int32_t>(Channel(l, top)),
                                         k, 4);
      uint32_t result = 0;
      for (int shift = 0; shift <= top; shift += 8) {
        const int32_t d = static_cast<int32_t>(Channel(o, shift)) - static_cast<int32_t>(Channel(l, shift));
        const int32_t e = format == 2 && effect == 1 ? alphaE : DirectScale(d, k, 3);
        result |= Clamp((effect == 2 ? 128 : static_cast<int32_t>(Channel(s, shift))) + e) << shift;
      }
      out.setPixel(x, y, result);
    }
  }
  return out;
}

// Every family, direction and strength in both formats against the direct
// definition, on sizes from 1 pixel up (vector blocks and their tails), with
// different paddings for source and destination; padding must stay as it
// was. Unknown effects, directions and formats must write nothing.
TEST(EmbossKernel, MatchesTheDirectDefinition) {
  const uint32_t widths[] = {1, 2, 3, 5, 20, 71};
  const uint32_t heights[] = {1, 2, 3, 6};
  const uint32_t strengths[] = {0, 1, 2, 3, 4, 5, 7, 8, 13, 24, 29, 31, 32, 33, 0xFFFFFFFFu};
  uint32_t seed = 1;
  for (const uint32_t format : {0u, 2u, 1u}) {
    for (const uint32_t width : widths) {
      for (const uint32_t height : heights) {
        const Frame source(width, height, format, 7 + width % 5, ++seed);
        const Frame before(width, height, format, 13, ++seed);
        for (uint32_t effect = 0; effect <= 3; ++effect) {
          for (uint32_t direction = 0; direction <= 4; ++direction) {
            for (const uint32_t k : strengths) {
              Frame after = before;
              Emboss(Describe(source, after, format), effect, k, direction);
              const Frame expected = DirectEmboss(source, before, format, effect, k, direction);
              ASSERT_EQ(after.bytes, expected.bytes) << "format " << format << ", " << width << "x" << height
                                                     << ", effect " << effect << ", direction " << direction
                                                     << ", k " << k;
            }
          }
        }
      }
    }
  }
}

// One pixel's worth of hand-worked values: a 3 x 3 image lit from the top
// left, centre s, lit corner (0, 0) and opposite corner (2, 2).
TEST(EmbossKernel, ScalesRoundsAndClampsAsWorkedOut) {
  const struct {
    uint32_t format, effect, k, centre, lit, opposite, expected;
  } cases[] = {
      {0, 0, 0, 100, 51, 50, 99},           // D = -1, k = 0: E = -1, rounded down
      {0, 2, 0, 100, 51, 50, 127},          // the stone of it
      {0, 0, 0, 100, 50, 57, 100},          // D = +7, k = 0: E = 0
      {0, 2, 0, 100, 50, 57, 128},
      {0, 1, 1, 100, 0, 9, 102},            // default strength: E = 2D/8 = 2; effect 1 is the relief
      {0, 0, 4, 10, 0, 255, 255},           // k = 4: E = 2D = 510, clamped
      {0, 0, 4, 200, 255, 0, 0},            // E = -510, clamped at 0
      {0, 2, 3, 0, 100, 0, 28},             // E = -100, 128 - 100
      {2, 0, 0, 0x10203040u, 0x01010101u, 0x00000000u, 0x0F1F2F3Fu},  // every channel, alpha too
      {2, 2, 2, 0x10203040u, 0x00FF0010u, 0x80000010u, 0xC0008080u},  // stone: E = D / 2 rounded down, per channel
      {2, 1, 0, 0x10203040u, 0x00000000u, 0xFF000000u, 0x1F2F3F4Fu},  // alpha relief: E = 255 >> 4 on all four
      {2, 1, 0, 0x10203040u, 0x01FFFFFFu, 0x00000000u, 0x0F1F2F3Fu},  // D = -1: E = -1; colours ignored
      {2, 1, 4, 0x10203040u, 0x00000000u, 0xFF000000u, 0xFFFFFFFFu},  // E = 255: clamped
      {2, 1, 1, 0x10203040u, 0x00000000u, 0x08000000u, 0x11213141u},  // E = 16 >> 4
  };
  for (const auto &c : cases) {
    Frame source(3, 3, c.format, 0, 0), destination(3, 3, c.format, 0, 0);
    source.fill([&](uint32_t, uint32_t) { return c.centre; });
    source.setPixel(0, 0, c.lit);
    source.setPixel(2, 2, c.opposite);
    Emboss(Describe(source, destination, c.format), c.effect, c.k, 0);
    EXPECT_EQ(destination.pixel(1, 1), c.expected) << std::hex << c.format << " " << c.effect << " " << c.k << " "
                                                   << c.centre;
  }
}

// A flat image: the relief gives it back, the stone gives 128 everywhere but
// the two corners off the lit diagonal, which keep the source. Constant alpha
// makes the alpha relief an identity whatever the colours.
TEST(EmbossKernel, FlatImagesAndTheCornersOffTheLitDiagonal) {
  for (const uint32_t format : {0u, 2u}) {
    const uint32_t flat = format == 0 ? 0x37u : 0x11223344u;
    const uint32_t grey = format == 0 ? 0x80u : 0x80808080u;
    Frame source(6, 4, format, 3, 0);
    source.fill([&](uint32_t, uint32_t) { return flat; });
    for (uint32_t direction = 0; direction < 4; ++direction) {
      // Directions 0 and 3 keep top right and bottom left; 1 and 2 top left and bottom right.
      const bool mainDiagonal = direction == 0 || direction == 3;
      for (const uint32_t effect : {0u, 2u}) {
        Frame destination(6, 4, format, 5, 1);
        Emboss(Describe(source, destination, format), effect, 4, direction);
        for (uint32_t y = 0; y < 4; ++y) {
          for (uint32_t x = 0; x < 6; ++x) {
            const bool corner = (x == 5 && y == 0) || (x == 0 && y == 3);
            const bool otherCorner = (x == 0 && y == 0) || (x == 5 && y == 3);
            const bool kept = effect == 0 || (mainDiagonal ? corner : otherCorner);
            EXPECT_EQ(destination.pixel(x, y), kept ? flat : grey)
                << "format " << format << " direction " << direction << " effect " << effect << " at " << x << ","
                << y;
          }
        }
      }
    }
  }
  Frame source(9, 5, 2, 4, 3), destination(9, 5, 2, 0, 4);
  for (size_t i = 3; i < source.bytes.size(); i += 4) source.bytes[i] = 0x9C;  // alpha, in every row
  for (uint32_t direction = 0; direction < 4; ++direction) {
    Emboss(Describe(source, destination, 2), 1, 4, direction);
    for (uint32_t y = 0; y < 5; ++y)
      for (uint32_t x = 0; x < 9; ++x) ASSERT_EQ(destination.pixel(x, y), source.pixel(x, y)) << direction;
  }
}

TEST(EmbossKernel, WritesNothingWithoutBuffers) {
  const Frame source(8, 8, 2, 0, 9), before(8, 8, 2, 0, 10);
  Frame after = before;
  Emboss({nullptr, 32, after.bytes.data(), 32, 8, 8, 2}, 0, 1, 0);
  Emboss({source.bytes.data(), 32, after.bytes.data(), 32, 0, 8, 2}, 2, 1, 0);
  Emboss({source.bytes.data(), 32, after.bytes.data(), 32, 8, 0, 2}, 2, 1, 0);
  EXPECT_EQ(after.bytes, before.bytes);
}

}  // namespace
}  // namespace tessivo
