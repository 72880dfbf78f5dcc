// vImage stand-in: tent convolution against a direct weighted sum and hand
// values, every edge mode, argument errors, the scratch-size query, scaling.
#include <Accelerate/Accelerate.h>
#include <gtest/gtest.h>

#include "tessivo/test/simd_levels.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <random>
#include <string>
#include <vector>

namespace {

// An image of `channels` bytes a pixel with padded rows.
struct Image {
  std::vector<uint8_t> bytes;
  vImage_Buffer buffer{};
  int channels;

  Image(size_t width, size_t height, int pixelBytes, size_t padding = 5)
      : bytes(std::max<size_t>(1, height * (width * pixelBytes + padding)), 0xA5), channels(pixelBytes) {
    buffer = {bytes.data(), height, width, width * pixelBytes + padding};
  }
  uint8_t &at(size_t x, size_t y, int c) { return bytes[y * buffer.rowBytes + x * channels + c]; }
  void randomise(std::mt19937 &random) {
    for (size_t y = 0; y < buffer.height; ++y)
      for (size_t x = 0; x < buffer.width; ++x)
        for (int c = 0; c < channels; ++c) at(x, y, c) = uint8_t(random());
  }
};

vImage_Error Tent(const Image &src, const Image &dest, size_t ox, size_t oy, uint32_t kh, uint32_t kw,
                  const uint8_t *background, vImage_Flags flags, void *temp = nullptr) {
  if (src.channels == 4)
    return vImageTentConvolve_ARGB8888(&src.buffer, &dest.buffer, temp, ox, oy, kh, kw, background, flags);
  return vImageTentConvolve_Planar8(&src.buffer, &dest.buffer, temp, ox, oy, kh, kw, background[0], flags);
}

// The tent straight from its definition: every tap's weight times its sample,
// divided by the weights that count, rounded half up.
uint8_t DirectTent(Image &src, int64_t cx, int64_t cy, int64_t rx, int64_t ry, int c, const uint8_t *background,
                   vImage_Flags mode) {
  const auto w = int64_t(src.buffer.width), h = int64_t(src.buffer.height);
  if (mode == kvImageCopyInPlace && (cx < rx || cy < ry || cx + rx >= w || cy + ry >= h)) return src.at(cx, cy, c);
  uint64_t sum = 0, total = 0;
  for (int64_t j = -ry; j <= ry; ++j)
    for (int64_t i = -rx; i <= rx; ++i) {
      const uint64_t weight = uint64_t(rx + 1 - std::abs(i)) * uint64_t(ry + 1 - std::abs(j));
      int64_t x = cx + i, y = cy + j;
      const bool outside = x < 0 || y < 0 || x >= w || y >= h;
      if (outside && mode == kvImageTruncateKernel) continue;
      total += weight;
      if (outside && mode == kvImageBackgroundColorFill) {
        sum += weight * background[c];
        continue;
      }
      x = std::clamp<int64_t>(x, 0, w - 1);
      y = std::clamp<int64_t>(y, 0, h - 1);
      sum += weight * src.at(x, y, c);
    }
  return uint8_t((sum + total / 2) / total);
}

TEST(TentConvolve, HandComputedRowsRoundHalfUp) {
  const struct {
    std::vector<uint8_t> in, want;
    uint32_t kernelWidth;
  } cases[] = {
      {{0, 100, 200}, {25, 100, 175}, 3},  // weights 1 2 1 over 4, edges repeated
      {{0, 0, 2}, {0, 1, 2}, 3},           // 2/4 and 6/4 round up
      {{0, 0, 0, 0, 255}, {0, 0, 28, 85, 170}, 5},  // weights 1 2 3 2 1 over 9
      {{10, 250}, {100, 160}, 7},          // a kernel wider than the row
      {{7, 9, 11}, {7, 9, 11}, 1},
  };
  const uint8_t background[4] = {};
  for (const auto &c : cases) {
    Image src(c.in.size(), 1, 1), dest(c.in.size(), 1, 1);
    std::copy(c.in.begin(), c.in.end(), src.bytes.begin());
    ASSERT_EQ(Tent(src, dest, 0, 0, 1, c.kernelWidth, background, kvImageEdgeExtend), kvImageNoError);
    EXPECT_EQ(std::vector<uint8_t>(dest.bytes.begin(), dest.bytes.begin() + long(c.in.size())), c.want)
        << "kernel " << c.kernelWidth;
  }
  // A column: the same weights vertically; other channels of ARGB stay apart.
  Image src(1, 3, 4), dest(1, 3, 4);
  for (int y = 0; y < 3; ++y) src.at(0, y, 2) = uint8_t(100 * y);
  ASSERT_EQ(Tent(src, dest, 0, 0, 3, 1, background, kvImageEdgeExtend), kvImageNoError);
  EXPECT_EQ(dest.at(0, 0, 2), 25);
  EXPECT_EQ(dest.at(0, 2, 2), 175);
  EXPECT_EQ(dest.at(0, 1, 0), 0xA5);  // a flat channel beside it stays flat
}

TEST(TentConvolve, EveryEdgeModeMatchesTheDirectSum) {
  std::mt19937 random(7);
  const vImage_Flags modes[] = {kvImageEdgeExtend, kvImageBackgroundColorFill, kvImageTruncateKernel,
                                kvImageCopyInPlace};
  const uint8_t background[4] = {200, 3, 90, 255};
  for (int channels : {1, 4})
    for (int trial = 0; trial < 60; ++trial) {
      const size_t w = 1 + random() % 9, h = 1 + random() % 7;
      const size_t ox = random() % w, oy = random() % h;
      const size_t dw = 1 + random() % (w - ox), dh = 1 + random() % (h - oy);
      const auto kw = uint32_t(2 * (random() % 12) + 1), kh = uint32_t(2 * (random() % 12) + 1);
      const vImage_Flags mode = modes[trial % 4];
      Image src(w, h, channels, random() % 6), dest(dw, dh, channels, 3);
      src.randomise(random);
      std::vector<uint8_t> scratch;
      void *temp = nullptr;
      if (trial % 2 == 1) {  // a caller's scratch of the queried size
        const vImage_Error size = Tent(src, dest, ox, oy, kh, kw, background, mode | kvImageGetTempBufferSize);
        ASSERT_GT(size, 0);
        scratch.resize(size_t(size));
        temp = scratch.data();
      }
      ASSERT_EQ(Tent(src, dest, ox, oy, kh, kw, background, mode, temp), kvImageNoError);
      for (size_t y = 0; y < dh; ++y)
        for (size_t x = 0; x < dw; ++x)
          for (int c = 0; c < channels; ++c)
            ASSERT_EQ(dest.at(x, y, c), DirectTent(src, int64_t(ox + x), int64_t(oy + y), kw / 2, kh / 2, c,
                                                   background, mode))
                << "mode " << mode << " " << w << "x" << h << " kernel " << kw << "x" << kh << " at " << x << ","
                << y << " channel " << c;
      for (size_t y = 0; y < dh; ++y)  // row padding untouched
        for (size_t i = dw * channels; i < dest.buffer.rowBytes; ++i) ASSERT_EQ(dest.bytes[y * dest.buffer.rowBytes + i], 0xA5);
    }
}

// Edge extension runs on vector paths while the weighted sums fit 32 bits:
// rows long enough for their loops and tails, offsets, a caller's scratch or
// none, kernels up to and past that limit ((rx + 1)(ry + 1) = 4096).
TEST(TentConvolve, EdgeExtendMatchesTheDirectSumOnEveryPath) {
  tessivo::test::ForEachSimdLevel([](const std::string &level) {
    std::mt19937 random(19);
    const size_t widths[] = {1, 2, 5, 17, 33, 70};
    const uint32_t kernels[][2] = {{1, 3}, {3, 1}, {5, 7}, {9, 25}, {127, 127}, {129, 127}, {41, 201}};
    for (int channels : {1, 4})
      for (int trial = 0; trial < 28; ++trial) {
        const size_t w = widths[random() % 6], h = 1 + random() % 6;
        const size_t ox = trial % 3 == 0 ? random() % w : 0, oy = trial % 4 == 0 ? random() % h : 0;
        const size_t dw = w - ox - (trial % 5 == 0 ? random() % (w - ox) : 0), dh = h - oy;
        const auto *kernel = kernels[trial % 7];
        Image src(w, h, channels, random() % 6), dest(dw, dh, channels, 3);
        src.randomise(random);
        if (trial % 7 == 4 || trial % 7 == 5)  // the largest sums, at and just past the limit: all white
          for (auto &b : src.bytes) b = 255;
        std::vector<uint8_t> scratch;
        void *temp = nullptr;
        const uint8_t background[4] = {};
        if (trial % 2 == 1) {
          const vImage_Error size = Tent(src, dest, ox, oy, kernel[0], kernel[1], background,
                                         kvImageEdgeExtend | kvImageGetTempBufferSize);
          scratch.resize(size_t(size));
          temp = scratch.data();
        }
        ASSERT_EQ(Tent(src, dest, ox, oy, kernel[0], kernel[1], background, kvImageEdgeExtend, temp), kvImageNoError);
        for (size_t y = 0; y < dh; ++y)
          for (size_t x = 0; x < dw; ++x)
            for (int c = 0; c < channels; ++c)
              ASSERT_EQ(dest.at(x, y, c), DirectTent(src, int64_t(ox + x), int64_t(oy + y), kernel[1] / 2,
                                                     kernel[0] / 2, c, background, kvImageEdgeExtend))
                  << level << " " << w << "x" << h << " kernel " << kernel[1] << "x" << kernel[0] << " at " << x
                  << "," << y;
        for (size_t y = 0; y < dh; ++y)
          for (size_t i = dw * channels; i < dest.buffer.rowBytes; ++i)
            ASSERT_EQ(dest.bytes[y * dest.buffer.rowBytes + i], 0xA5);
      }
  });
}

TEST(TentConvolve, LargestKernelStaysExact) {
  Image src(3, 2, 4), dest(3, 2, 4);
  std::fill(src.bytes.begin(), src.bytes.end(), 255);
  const uint8_t background[4] = {};
  ASSERT_EQ(Tent(src, dest, 0, 0, kTentKernelMaxSize, kTentKernelMaxSize, background, kvImageEdgeExtend),
            kvImageNoError);
  EXPECT_EQ(dest.at(2, 1, 3), 255);
  ASSERT_EQ(Tent(src, dest, 0, 0, kTentKernelMaxSize, kTentKernelMaxSize, background, kvImageBackgroundColorFill),
            kvImageNoError);
  EXPECT_EQ(dest.at(1, 1, 0), 0);  // a sea of black around six white pixels
}

TEST(TentConvolve, BadArgumentsAreRefusedAndQueriesTouchNothing) {
  const uint8_t background[4] = {};
  const struct {
    const char *what;
    size_t srcW, srcH, destW, destH, ox, oy;
    uint32_t kh, kw;
    vImage_Flags flags;
    vImage_Error want;
  } cases[] = {
      {"even width", 4, 4, 4, 4, 0, 0, 3, 4, kvImageEdgeExtend, kvImageInvalidKernelSize},
      {"zero height", 4, 4, 4, 4, 0, 0, 0, 3, kvImageEdgeExtend, kvImageInvalidKernelSize},
      {"too wide", 4, 4, 4, 4, 0, 0, 3, kTentKernelMaxSize + 2, kvImageEdgeExtend, kvImageInvalidKernelSize},
      {"no edge mode", 4, 4, 4, 4, 0, 0, 3, 3, kvImageNoFlags, kvImageInvalidEdgeStyle},
      {"two edge modes", 4, 4, 4, 4, 0, 0, 3, 3, kvImageEdgeExtend | kvImageTruncateKernel, kvImageInvalidEdgeStyle},
      {"unknown flag", 4, 4, 4, 4, 0, 0, 3, 3, kvImageEdgeExtend | 0x10000, kvImageUnknownFlagsBit},
      {"offset x", 4, 4, 1, 1, 4, 0, 3, 3, kvImageEdgeExtend, kvImageInvalidOffset_X},
      {"offset y", 4, 4, 1, 1, 0, 4, 3, 3, kvImageEdgeExtend, kvImageInvalidOffset_Y},
      {"region past the source", 4, 4, 3, 3, 2, 0, 3, 3, kvImageEdgeExtend, kvImageRoiLargerThanInputBuffer},
      {"empty destination", 4, 4, 0, 4, 0, 0, 3, 3, kvImageEdgeExtend, kvImageNoError},
      {"size query", 4, 4, 4, 4, 0, 0, 3, 3, kvImageEdgeExtend | kvImageGetTempBufferSize, 4 * 4 * 25 + 8},
      {"query with a bad kernel", 4, 4, 4, 4, 0, 0, 2, 3, kvImageEdgeExtend | kvImageGetTempBufferSize,
       kvImageInvalidKernelSize},
  };
  for (const auto &c : cases) {
    Image src(c.srcW, c.srcH, 4), dest(c.destW, c.destH, 4);
    const std::vector<uint8_t> before = dest.bytes;
    EXPECT_EQ(Tent(src, dest, c.ox, c.oy, c.kh, c.kw, background, c.flags), c.want) << c.what;
    if (c.want != kvImageNoError) {
      EXPECT_EQ(dest.bytes, before) << c.what;
    }
  }
  Image src(4, 4, 1), dest(4, 4, 1);
  EXPECT_EQ(Tent(src, dest, 0, 0, 3, 3, background, kvImageEdgeExtend | kvImageGetTempBufferSize), 4 * 25 + 8);
  src.buffer.rowBytes = 3;
  EXPECT_EQ(Tent(src, dest, 0, 0, 3, 3, background, kvImageEdgeExtend), kvImageInvalidRowBytes);
  src.buffer.rowBytes = 4;
  EXPECT_EQ(Tent(dest, dest, 0, 0, 3, 3, background, kvImageEdgeExtend), kvImageOutOfPlaceOperationRequired);
  dest.buffer.data = nullptr;
  EXPECT_EQ(Tent(src, dest, 0, 0, 3, 3, background, kvImageEdgeExtend), kvImageNullPointerArgument);
  EXPECT_EQ(vImageTentConvolve_ARGB8888(nullptr, &dest.buffer, nullptr, 0, 0, 3, 3, background, kvImageEdgeExtend),
            kvImageNullPointerArgument);
  EXPECT_EQ(vImageTentConvolve_ARGB8888(&src.buffer, &src.buffer, nullptr, 0, 0, 3, 3, nullptr,
                                        kvImageBackgroundColorFill),
            kvImageNullPointerArgument);
}

double Lanczos3(double t) {
  if (t == 0) return 1;
  if (std::fabs(t) >= 3) return 0;
  const double x = std::numbers::pi * t;
  return 3 * std::sin(x) * std::sin(x / 3) / (x * x);
}

TEST(Scale, CopiesAtEqualSizeAndKeepsFlatImagesFlat) {
  std::mt19937 random(3);
  Image src(7, 5, 4), same(7, 5, 4, 9);
  src.randomise(random);
  ASSERT_EQ(vImageScale_ARGB8888(&src.buffer, &same.buffer, nullptr, kvImageEdgeExtend), kvImageNoError);
  for (size_t y = 0; y < 5; ++y)
    for (size_t x = 0; x < 7; ++x)
      for (int c = 0; c < 4; ++c) ASSERT_EQ(same.at(x, y, c), src.at(x, y, c));

  // One pixel is a flat image: every size it scales to repeats it.
  for (vImage_Flags flags : {vImage_Flags(kvImageEdgeExtend), vImage_Flags(kvImageHighQualityResampling)}) {
    Image dot(1, 1, 4), wide(9, 4, 4);
    dot.at(0, 0, 0) = 17, dot.at(0, 0, 1) = 0, dot.at(0, 0, 2) = 255, dot.at(0, 0, 3) = 128;
    ASSERT_EQ(vImageScale_ARGB8888(&dot.buffer, &wide.buffer, nullptr, flags), kvImageNoError);
    for (size_t y = 0; y < 4; ++y)
      for (size_t x = 0; x < 9; ++x)
        for (int c = 0; c < 4; ++c) ASSERT_EQ(wide.at(x, y, c), dot.at(0, 0, c)) << x << "," << y;
  }
}

TEST(Scale, DoublesAndHalvesAlongTheLanczosCurve) {
  // A ramp with a step, doubled in width and halved in height: each output is
  // the normalised Lanczos sum of its edge-extended neighbours, within the
  // fixed-point rounding of one step.
  const uint8_t row[6] = {0, 40, 80, 250, 250, 10};
  Image src(6, 4, 4), dest(12, 2, 4);
  for (size_t y = 0; y < 4; ++y)
    for (size_t x = 0; x < 6; ++x)
      for (int c = 0; c < 4; ++c) src.at(x, y, c) = uint8_t(c == 1 ? row[x] : y * 60);
  ASSERT_EQ(vImageScale_ARGB8888(&src.buffer, &dest.buffer, nullptr, kvImageEdgeExtend), kvImageNoError);
  for (size_t x = 0; x < 12; ++x) {
    const double centre = (double(x) + 0.5) * 0.5 - 0.5;
    double sum = 0, total = 0;
    for (int i = int(std::floor(centre)) - 3; i <= int(std::floor(centre)) + 4; ++i) {
      const double w = Lanczos3(i - centre);
      sum += w * row[std::clamp(i, 0, 5)];
      total += w;
    }
    const double want = std::clamp(sum / total, 0.0, 255.0);
    EXPECT_NEAR(dest.at(x, 0, 1), want, 1.0) << x;
    EXPECT_EQ(dest.at(x, 0, 1), dest.at(x, 1, 1));
  }
  // Vertically 4 rows of 0, 60, 120, 180 shrink to 2 with a filter twice as wide.
  for (size_t y = 0; y < 2; ++y) {
    const double centre = (double(y) + 0.5) * 2 - 0.5;
    double sum = 0, total = 0;
    for (int i = -8; i <= 12; ++i) {
      const double w = Lanczos3((i - centre) / 2);
      sum += w * 60 * std::clamp(i, 0, 3);
      total += w;
    }
    EXPECT_NEAR(dest.at(3, y, 0), std::clamp(sum / total, 0.0, 255.0), 1.0) << y;
  }
}

// The vector paths reorder the scalar path's integer sums: every path gives
// the same bytes, up and down, both lobe counts, odd sizes, padded rows.
TEST(Scale, EveryPathGivesTheScalarBytes) {
  std::mt19937 random(23);
  for (int trial = 0; trial < 24; ++trial) {
    const size_t sw = 1 + random() % 40, sh = 1 + random() % 12, dw = 1 + random() % 80, dh = 1 + random() % 20;
    const vImage_Flags flags = trial % 3 == 0 ? kvImageHighQualityResampling : kvImageEdgeExtend;
    Image src(sw, sh, 4, random() % 7);
    src.randomise(random);
    if (trial % 4 == 0)  // hard edges ring the most
      for (auto &b : src.bytes) b = b < 128 ? 0 : 255;
    std::vector<uint8_t> want;
    tessivo::test::ForEachSimdLevel([&](const std::string &level) {
      Image dest(dw, dh, 4, 5);
      ASSERT_EQ(vImageScale_ARGB8888(&src.buffer, &dest.buffer, nullptr, flags), kvImageNoError);
      if (want.empty()) want = dest.bytes;
      ASSERT_EQ(dest.bytes, want) << level << " " << sw << "x" << sh << " to " << dw << "x" << dh;
    });
  }
}

TEST(Scale, BadArgumentsAndScratchQuery) {
  Image src(8, 6, 4), dest(16, 12, 4);
  const vImage_Error size = vImageScale_ARGB8888(&src.buffer, &dest.buffer, nullptr, kvImageGetTempBufferSize);
  EXPECT_GE(size, vImage_Error(6 * 16 * 4 * 4));
  std::vector<uint8_t> scratch(size_t(size), 0);
  EXPECT_EQ(vImageScale_ARGB8888(&src.buffer, &dest.buffer, scratch.data() + 1, kvImageEdgeExtend), kvImageNoError);
  EXPECT_EQ(vImageScale_ARGB8888(&src.buffer, &dest.buffer, nullptr, 0x40000), kvImageUnknownFlagsBit);
  EXPECT_EQ(vImageScale_ARGB8888(nullptr, &dest.buffer, nullptr, 0), kvImageNullPointerArgument);
  EXPECT_EQ(vImageScale_ARGB8888(&src.buffer, &src.buffer, nullptr, 0), kvImageOutOfPlaceOperationRequired);
  Image empty(0, 0, 4);
  EXPECT_EQ(vImageScale_ARGB8888(&empty.buffer, &dest.buffer, nullptr, 0), kvImageInvalidParameter);
  EXPECT_EQ(vImageScale_ARGB8888(&src.buffer, &empty.buffer, nullptr, 0), kvImageNoError);
  dest.buffer.rowBytes = 16 * 4 - 1;
  EXPECT_EQ(vImageScale_ARGB8888(&src.buffer, &dest.buffer, nullptr, 0), kvImageInvalidRowBytes);
}

}  // namespace
