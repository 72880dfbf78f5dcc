#include "irisation/irisation_kernel.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <tuple>
#include <vector>

namespace tessivo {
namespace {

// A padded ARGB frame whose padding is random too, so stray reads and writes show.
struct Frame {
  uint32_t width, height, rowBytes;
  std::vector<uint32_t> words;

  Frame(uint32_t w, uint32_t h, uint32_t paddingPixels, uint32_t seed)
      : width(w), height(h), rowBytes((w + paddingPixels) * 4), words(size_t{w + paddingPixels} * h) {
    std::mt19937 random(seed);
    for (uint32_t &word : words) word = static_cast<uint32_t>(random());
  }
  uint32_t pixel(int64_t x, int64_t y) const { return words[static_cast<size_t>(y * (rowBytes / 4) + x)]; }
  bool inside(int64_t x, int64_t y) const { return x >= 0 && y >= 0 && x < width && y < height; }
};

// The channel of in(x + sign s, y + sign t), or 0 outside (sums that overflow are outside too).
uint32_t ChannelAt(const Frame &in, int64_t x, int64_t y, int64_t sign, int64_t s, int64_t t, uint32_t mask) {
  int64_t sourceX = 0, sourceY = 0;
  if (__builtin_add_overflow(x, sign * s, &sourceX) || __builtin_add_overflow(y, sign * t, &sourceY)) return 0;
  return in.inside(sourceX, sourceY) ? in.pixel(sourceX, sourceY) & mask : 0;
}

// The fringe written out pixel by pixel.
uint32_t DirectFringe(const Frame &in, int64_t x, int64_t y, int64_t s, int64_t t) {
  return (in.pixel(x, y) & 0xFF00FF00u) | ChannelAt(in, x, y, -1, s, t, 0x00FF0000u) | ChannelAt(in, x, y, 1, s, t, 0xFFu);
}

class IrisKernelMatchesDefinition : public testing::TestWithParam<std::tuple<uint32_t, uint32_t>> {};

// Positive, negative, zero and out-of-range displacements on each axis, odd
// widths, different strides; the destination's padding stays as it was.
TEST_P(IrisKernelMatchesDefinition, ForEveryDisplacement) {
  const auto [width, height] = GetParam();
  const Frame source(width, height, 3, width * 31 + height);
  const int64_t w = width, h = height, huge = std::numeric_limits<int64_t>::max();  // -huge negates safely
  const std::vector<int64_t> xs = {0, 1, -1, w / 2, -w / 2, w - 1, 1 - w, w, -w, w + 5, -huge, huge};
  const std::vector<int64_t> ys = {0, 1, -1, h / 2, -(h / 2), h - 1, 1 - h, h, -h - 7, huge, -huge};
  for (const int64_t s : xs) {
    for (const int64_t t : ys) {
      const Frame before(width, height, 5, 7);
      Frame after = before;
      Irisate({source.words.data(), source.rowBytes, after.words.data(), after.rowBytes, width, height}, s, t);
      for (uint32_t y = 0; y < height; ++y) {
        for (uint32_t x = 0; x < width; ++x)
          ASSERT_EQ(after.pixel(x, y), DirectFringe(source, x, y, s, t)) << "s " << s << " t " << t << " at " << x
                                                                         << "," << y;
        for (uint32_t x = width; x < after.rowBytes / 4; ++x) ASSERT_EQ(after.pixel(x, y), before.pixel(x, y));
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Sizes, IrisKernelMatchesDefinition,
                         testing::Combine(testing::Values(1u, 2u, 3u, 67u), testing::Values(1u, 4u, 7u)));

TEST(IrisKernel, DisplacementTruncatesTheSingleProductAndBoundsTheRest) {
  const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
  const std::tuple<uint32_t, float, int64_t> cases[] = {
      {50, 0.5f, 25},    {50, 1.0f, 50},      {50, -1.0f, -50},   {50, 0.99f, 49},  {50, -0.99f, -49},
      {50, 3.0f, 101},   {50, -1e30f, -101},  {50, inf, 101},     {50, -inf, -101}, {50, nan, 0},
      {0, 1.0f, 0},      {50, 1e-9f, 0},      // 101 / 2 = 50 scaled by 1: s = 50 for W = 101
      {16777217, 1.0f, 16777216},            // the half converted to float first
  };
  for (const auto &[half, factor, expected] : cases)
    EXPECT_EQ(IrisDisplacement(half, factor), expected) << half << " x " << factor;
}

}  // namespace
}  // namespace tessivo
