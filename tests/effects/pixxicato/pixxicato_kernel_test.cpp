#include "pixxicato_direct.h"
#include "tessivo/test/simd_levels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <tuple>
#include <vector>

namespace tessivo {
namespace {

using namespace direct;

// The kernel on every instruction-set level the machine runs: each gives
// exactly the expected destination, padding included.
void ExpectOnEveryLevel(const Frame &source, const Frame &before, uint32_t format, uint32_t mode, float fx, float fy,
                        const Frame &expected, PixxicatoScratch &scratch) {
  test::ForEachSimdLevel([&](const std::string &level) {
    Frame after = before;
    ASSERT_TRUE(Pixxicate(Describe(source, after, format), mode, fx, fy, scratch));
    ASSERT_EQ(after.bytes, expected.bytes) << level << ": format " << format << " mode " << mode << " "
                                           << source.width << "x" << source.height << " X=" << fx << " Y=" << fy;
  });
}

class PixxicatoMatchesDefinition : public testing::TestWithParam<std::tuple<uint32_t, uint32_t>> {};

// Every mode and pass, awkward sizes and padded strides, factors in and far
// outside [0, 1]: every byte of the destination, padding included, is what
// the definition gives (or was left as it was).
TEST_P(PixxicatoMatchesDefinition, OnRandomFrames) {
  const auto [format, mode] = GetParam();
  const float factors[] = {0.0f, 0.1f, 0.37f, 1.0f, 1.6f, 4.0f, -0.004f, -3.0f, kNaN, kInf, 1e30f};
  const struct {
    uint32_t w, h;
  } sizes[] = {{1, 1}, {1, 3}, {3, 1}, {2, 2}, {13, 7}, {6, 19}, {37, 11}, {10, 24}};
  PixxicatoScratch scratch;  // shared across sizes, as an instance's is across frames
  uint32_t seed = 1;
  for (const auto size : sizes) {
    for (const float fx : factors) {
      for (const float fy : factors) {
        const Frame source(size.w, size.h, format, seed % 9, seed);
        const Frame before(size.w, size.h, format, 3 + seed % 5, seed + 1);
        ++seed;
        ExpectOnEveryLevel(source, before, format, mode, fx, fy, Expected(source, before, mode, fx, fy), scratch);
        if (HasFatalFailure()) return;
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(ModesAndFormats, PixxicatoMatchesDefinition,
                         testing::Combine(testing::Values(0u, 2u), testing::Values(0u, 1u, 2u, 3u, 4u)));

// Windows of every width from 1 to 19, and some far wider, along each axis and
// both, on frames long enough for many windows.
TEST(PixxicatoKernel, LongLinesMatchDefinitionForEveryWindowWidth) {
  PixxicatoScratch scratch;
  for (const uint32_t format : {0u, 2u}) {
    for (const uint32_t mode : {2u, 3u, 4u}) {
      for (uint32_t n = 0; n <= 20; ++n) {
        // Windows 1 to 19 pixels wide, then 65 and 81.
        const float factor = n <= 18 ? static_cast<float>(n) / 16.0f + 0.01f : static_cast<float>(n - 15) + 0.01f;
        for (const auto &[w, h, fx, fy] : {std::tuple{n > 18 ? 230u : 61u, 3u, factor, 0.0f}, std::tuple{3u, 58u, 0.0f, factor},
                                           std::tuple{29u, 31u, factor, 1.0f - factor}}) {
          const Frame source(w, h, format, 7, n + 100), before(w, h, format, 5, n + 200);
          ExpectOnEveryLevel(source, before, format, mode, fx, fy, Expected(source, before, mode, fx, fy), scratch);
          if (HasFatalFailure()) return;
        }
      }
    }
  }
}

// Rows one short of, equal to and one past the vector widths (4 to 64 bytes,
// a quarter as many ARGB pixels), with windows narrower than the row, as wide
// and far wider, along each axis and both.
TEST(PixxicatoKernel, RowsAroundVectorWidths) {
  PixxicatoScratch scratch;
  const uint32_t widths[] = {1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 32, 33, 63, 64, 65};
  const float factors[][2] = {{0.1f, 0.0f}, {1.0f, 0.0f}, {4.0f, 0.0f}, {0.0f, 0.37f}, {0.0f, 1e30f},
                              {0.37f, 0.1f}, {1.0f, 1.0f}, {4.0f, 0.5f}, {1e30f, 2.0f}};
  uint32_t seed = 500;
  for (const uint32_t format : {0u, 2u}) {
    for (const uint32_t mode : {2u, 3u, 4u}) {
      for (const uint32_t w : widths) {
        for (const auto &[fx, fy] : factors) {
          const uint32_t h = 2 + seed % 4;
          const Frame source(w, h, format, seed % 7, seed), before(w, h, format, 1 + seed % 3, seed + 1);
          ++seed;
          ExpectOnEveryLevel(source, before, format, mode, fx, fy, Expected(source, before, mode, fx, fy), scratch);
          if (HasFatalFailure()) return;
        }
      }
    }
  }
}

// Sizes and values worked out by hand.
TEST(PixxicatoKernel, SizesFromFactors) {
  const struct {
    uint32_t extent;
    float factor;
    uint32_t block;
  } blocks[] = {
      {640, 0.1f, 33}, {10, 1.0f, 6},  {640, 0.0f, 1}, {640, -0.001f, 1}, {640, -2.0f, 1},
      {640, kNaN, 1},  {640, kInf, 0xFFFFFFFFu}, {640, -kInf, 1}, {1, 5.0f, 1}, {3, 2.5f, 3},
      // One rounding: a product rounded to single precision before the sum gives 16791440.
      {28464279, 1.1798253059387207f, 16791438},
  };
  for (const auto &b : blocks) EXPECT_EQ(BlockSize(b.extent, b.factor), b.block) << b.extent << " " << b.factor;
  const struct {
    float factor;
    uint32_t lo, hi;
  } windows[] = {
      {0.0f, 0, 1},  {0.1f, 0, 2},       {1.0f, 8, 9}, {0.5f, 4, 5},    {0.37f, 2, 4}, {0.125f, 1, 2},
      {-0.01f, 0, 1}, {-100.0f, 0, 1},   {kNaN, 0, 1}, {2.0f, 16, 17},  {kInf, 0x7FFFFFFF, 0xFFFFFFFFu},
  };
  for (const auto &w : windows) {
    const WindowSpan span = WindowSize(w.factor);
    EXPECT_EQ(std::tuple(span.before, span.from), std::tuple(w.lo, w.hi)) << w.factor;
  }
  EXPECT_EQ(MeanReciprocal(289), 58052u);
  EXPECT_EQ(MeanReciprocal(1), 0x1000000u);
  EXPECT_EQ(MeanReciprocal(0x1000001), 0u);
}

TEST(PixxicatoKernel, HandWorkedFrames) {
  PixxicatoScratch scratch;
  // A uniform 200 under a 17 x 17 mean: 199 inside (the reciprocal is
  // truncated), and the corner sums 9 x 9 pixels: 200 * 81 * 58053 >> 24.
  Frame flat(40, 40, 0, 0, 1), out(40, 40, 0, 0, 2);
  std::fill(flat.bytes.begin(), flat.bytes.end(), 200);
  ASSERT_TRUE(Pixxicate(Describe(flat, out, 0), kPixxicatoMean, 1.0f, 1.0f, scratch));
  EXPECT_EQ(std::tuple(out.pixel(20, 20), out.pixel(0, 0), out.pixel(39, 39), out.pixel(8, 0)),
            std::tuple(199u, 56u, 56u, 105u));
  // Maximum starts from 0 and Minimum from 255: windows past the border of a
  // black or white frame stay black or white.
  for (const auto &[mode, level] : {std::pair{kPixxicatoMaximum, 0}, std::pair{kPixxicatoMinimum, 255}}) {
    for (const float factor : {0.1f, 1.0f, 3.0f}) {
      std::fill(flat.bytes.begin(), flat.bytes.end(), level);
      ASSERT_TRUE(Pixxicate(Describe(flat, out, 0), mode, factor, factor, scratch));
      EXPECT_EQ(std::count(out.bytes.begin(), out.bytes.end(), level), 1600) << mode << " " << factor;
    }
  }
  // The minimum takes each channel from wherever it is smallest.
  Frame argb(5, 1, 2, 0, 3), argbOut(5, 1, 2, 0, 4);
  const uint32_t row[] = {0xFF102030u, 0x00FFFFFFu, 0xFF405060u, 0xFF050505u, 0xFFFFFFFFu};
  for (uint32_t x = 0; x < 5; ++x) argb.setPixel(x, 0, row[x]);
  ASSERT_TRUE(Pixxicate(Describe(argb, argbOut, 2), kPixxicatoMinimum, 0.1f, 0.0f, scratch));
  EXPECT_EQ(argbOut.pixel(0, 0), 0x00102030u);  // alpha from the second pixel, colour from the first
  EXPECT_EQ(argbOut.pixel(3, 0), 0xFF050505u);
  // Width 10 at X = 1: one block of 6 and a partial one of 4 that samples
  // column 6 + 3 = 9 in Center mode; the top row of each block row only.
  Frame ramp(10, 4, 0, 0, 5), rampOut(10, 4, 0, 0, 6);
  for (uint32_t y = 0; y < 4; ++y)
    for (uint32_t x = 0; x < 10; ++x) ramp.setPixel(x, y, y * 16 + x);
  ASSERT_TRUE(Pixxicate(Describe(ramp, rampOut, 0), kPixxicatoCenter, 1.0f, 1.0f, scratch));
  EXPECT_EQ(std::tuple(rampOut.pixel(0, 0), rampOut.pixel(7, 2), rampOut.pixel(9, 3)),
            std::tuple(3u, 9u, 3u * 16 + 9));  // blocks of 3 rows: row 3 is a leftover and samples itself
}

TEST(PixxicatoKernel, WritesNothingForOtherModesFormatsOrEmptyFrames) {
  PixxicatoScratch scratch;
  const Frame source(8, 8, 2, 0, 9), before(8, 8, 2, 0, 10);
  Frame after = before;
  for (const uint32_t mode : {5u, 7u, 0xFFFFFFFFu}) EXPECT_TRUE(Pixxicate(Describe(source, after, 2), mode, 1, 1, scratch));
  for (const uint32_t format : {1u, 3u, 0xFFFFFFFFu})
    EXPECT_TRUE(Pixxicate(Describe(source, after, format), kPixxicatoMean, 1, 1, scratch));
  EXPECT_TRUE(Pixxicate({source.bytes.data(), 32, after.bytes.data(), 32, 0, 8, 2}, kPixxicatoMean, 1, 1, scratch));
  EXPECT_TRUE(Pixxicate({source.bytes.data(), 32, after.bytes.data(), 32, 8, 0, 2}, kPixxicatoMaximum, 1, 1, scratch));
  EXPECT_TRUE(Pixxicate({nullptr, 32, after.bytes.data(), 32, 8, 8, 2}, kPixxicatoCenter, 1, 1, scratch));
  EXPECT_EQ(after.bytes, before.bytes);
}

}  // namespace
}  // namespace tessivo
