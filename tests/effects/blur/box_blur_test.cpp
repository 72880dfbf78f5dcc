// The software box blurs against direct window sums written from their
// definitions, on awkward sizes, padded rows and wild amounts, both formats.
#include "blur/box_blur.h"

#include <gtest/gtest.h>

#include "tessivo/test/simd_levels.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace tessivo {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr uint8_t kSentinel = 0xA5;

// A one-byte or ARGB image in a padded buffer whose padding holds a sentinel.
struct Plane {
  uint32_t width, height, format, rowBytes;
  std::vector<uint8_t> bytes;
  Plane(uint32_t w, uint32_t h, uint32_t f, uint32_t padding)
      : width(w), height(h), format(f), rowBytes(w * (f == 2 ? 4 : 1) + padding),
        bytes(std::max<size_t>(1, size_t{rowBytes} * h), kSentinel) {}
  uint32_t bytesPerPixel() const { return format == 2 ? 4 : 1; }
  // ARGB rows step in whole pixels: row bytes / 4.
  size_t stride() const { return rowBytes / bytesPerPixel() * bytesPerPixel(); }
  // Channel c of pixel (x, y); a one-byte image has channel 0 only.
  uint8_t &at(uint32_t x, uint32_t y, int c) { return bytes[stride() * y + x * bytesPerPixel() + c]; }
  bool paddingIntact() const {
    for (uint32_t y = 0; y < height; ++y)
      for (size_t i = width * bytesPerPixel(); i < stride() && stride() * y + i < bytes.size(); ++i)
        if (bytes[stride() * y + i] != kSentinel) return false;
    return true;
  }
};

BlurImage Image(const Plane &in, Plane &out) {
  return {in.bytes.data(), in.rowBytes, out.bytes.data(), out.rowBytes, in.width, in.height, in.format};
}

// The float-to-unsigned conversion the blurs define: toward zero, saturating, NaN 0.
uint32_t Truncate(float v) {
  if (std::isnan(v) || v < 1.0f) return 0;
  return v >= 4294967296.0f ? 0xFFFFFFFFu : uint32_t(v);
}

uint32_t Radius(float amount, uint32_t fractionOf, bool pixels) {
  return pixels ? Truncate(amount) : Truncate(float(uint32_t((fractionOf >> 1) - 1u)) * amount);
}

uint32_t Clamp(uint32_t r, uint32_t length) { return 4.0 * r < length ? r : (length - 1) >> 1; }

// out(x, y) = (weight * sum of the window around (x, y), edges replicated) >> shift.
void DirectWindow(Plane &in, Plane &out, uint32_t rx, uint32_t ry, uint32_t weight, int shift) {
  for (uint32_t y = 0; y < in.height; ++y)
    for (uint32_t x = 0; x < in.width; ++x)
      for (uint32_t c = 0; c < in.bytesPerPixel(); ++c) {
        uint64_t sum = 0;
        for (int64_t j = -int64_t{ry}; j <= int64_t{ry}; ++j)
          for (int64_t i = -int64_t{rx}; i <= int64_t{rx}; ++i)
            sum += in.at(uint32_t(std::clamp<int64_t>(x + i, 0, in.width - 1)),
                         uint32_t(std::clamp<int64_t>(y + j, 0, in.height - 1)), int(c));
        out.at(x, y, int(c)) = uint8_t((weight * sum) >> shift);
      }
}

void DirectHorizontal(Plane &in, Plane &out, float amount, bool pixels) {
  const uint32_t r = Clamp(Radius(amount, in.width, pixels), in.width);
  DirectWindow(in, out, r, 0, 0x10000u / (2 * r + 1), 16);
}

void DirectVertical(Plane &in, Plane &out, float amount, bool pixels) {
  const uint32_t r = Clamp(Radius(amount, in.height, pixels), in.height);
  DirectWindow(in, out, 0, r, 0x10000u / (2 * r + 1), 16);
}

void DirectTwoDimensional(Plane &in, Plane &out, float x, float y, bool pixels) {
  const uint32_t rx = Clamp(Radius(x, in.height, pixels), in.width);
  const uint32_t ry = Clamp(Radius(y, in.height, pixels), in.height);
  if (ry == 0) return DirectHorizontal(in, out, x, pixels);
  if (rx == 0) return DirectVertical(in, out, y, pixels);
  const uint64_t area = uint64_t(2 * rx + 1) * (2 * ry + 1);
  DirectWindow(in, out, rx, ry, area > 0x800000 ? 0 : uint32_t(0x800000 / area), 23);
}

void DirectBlur(Plane &in, Plane &out, float x, float y, bool pixels) {
  if (x != 0 && y != 0) return DirectTwoDimensional(in, out, x, y, pixels);
  if (x != 0) return DirectHorizontal(in, out, x, pixels);
  if (y != 0) return DirectVertical(in, out, y, pixels);
}

TEST(BlurBoxRadius, ConversionAndAbruptClamp) {
  const struct {
    float amount;
    uint32_t length;
    bool pixels;
    uint32_t want;
  } cases[] = {
      {1.0f, 100, false, 49},  // 49 is not under a quarter: clamped to (100 - 1) >> 1, also 49
      {0.3f, 100, false, 14},  // f32(49) * 0.3 = 14.7, kept
      {0.6f, 100, false, 49},  // 29 is past a quarter: the largest radius
      {24.0f, 100, true, 24},  {24.9f, 100, true, 24}, {25.0f, 100, true, 49},
      {-3.0f, 100, true, 0},   {-0.5f, 100, false, 0}, {kNaN, 100, true, 0},
      {kInf, 100, true, 49},   {1e12f, 101, true, 50}, {-kInf, 100, false, 0},
      {0.5f, 1, false, 0},     {1.0f, 3, true, 1},     {1.0f, 4, true, 1},
  };
  for (const auto &c : cases)
    EXPECT_EQ(BoxRadius(c.amount, c.length, c.pixels), c.want) << c.amount << " of " << c.length;
}

// On every instruction-set level: small images of every shape, and rows
// long enough to run the vector loops and their tails.
TEST(BlurBoxBlur, EveryPassMatchesTheDirectWindow) {
  test::ForEachSimdLevel([](const std::string &level) {
  SCOPED_TRACE(level);
  std::mt19937 random(11);
  const float amounts[] = {0.0f, 0.1f, 0.25f, 0.5f, 1.0f, 3.0f, -0.7f, 1e9f, kNaN, kInf, -kInf,
                           1.0f, 2.0f, 4.0f, 7.5f, 30.0f, -2.0f};
  const uint32_t sizes[] = {1, 2, 3, 4, 5, 7, 8, 13, 31, 67, 133};
  BoxBlurScratch kept;  // every other frame: memory kept across frames of changing sizes
  for (uint32_t format : {0u, 2u})
    for (int trial = 0; trial < 150; ++trial) {
      const uint32_t w = sizes[random() % 11], h = sizes[random() % 9];
      const float x = amounts[random() % 17], y = amounts[random() % 17];
      const bool pixels = random() % 2 == 1;
      Plane in(w, h, format, uint32_t(random() % 9)), want(w, h, format, 4), got(w, h, format, 4);
      for (auto &b : in.bytes) b = uint8_t(random() % 3 == 0 ? 255 * (random() % 2) : random());
      DirectBlur(in, want, x, y, pixels);
      SoftwareBoxBlur(Image(in, got), {x, y, pixels}, trial % 2 == 1 ? &kept : nullptr);
      ASSERT_EQ(got.bytes, want.bytes) << "format " << format << " " << w << "x" << h << " amounts " << x << ", "
                                       << y << (pixels ? " pixels" : " fractions");
      ASSERT_TRUE(got.paddingIntact());
      if (trial % 4 == 0) {  // each pass on its own, whatever the other amount
        HorizontalBoxBlur(Image(in, got), x, pixels);
        DirectHorizontal(in, want, x, pixels);
        ASSERT_EQ(got.bytes, want.bytes) << "horizontal " << w << "x" << h << " " << x;
        VerticalBoxBlur(Image(in, got), y, pixels);
        DirectVertical(in, want, y, pixels);
        ASSERT_EQ(got.bytes, want.bytes) << "vertical " << w << "x" << h << " " << y;
        TwoDimensionalBoxBlur(Image(in, got), {x, y, pixels});
        DirectTwoDimensional(in, want, x, y, pixels);
        ASSERT_EQ(got.bytes, want.bytes) << "2-D " << w << "x" << h << " " << x << ", " << y;
      }
    }
  // A smaller frame reuses the kept memory instead of allocating.
  const uint32_t *held = kept.words.data();
  Plane in(9, 9, 2, 0), out(9, 9, 2, 0);
  SoftwareBoxBlur(Image(in, out), {1.0f, 1.0f, true}, &kept);
  EXPECT_EQ(kept.words.data(), held);
  EXPECT_EQ(level == "scalar", held == nullptr);
  });
}

// Widths around the vector widths (in bytes and in ARGB pixels), with the
// radius up to its largest; long rows and tall columns.
TEST(BlurBoxBlur, VectorWidthsAndTallWindows) {
  test::ForEachSimdLevel([](const std::string &level) {
    SCOPED_TRACE(level);
    std::mt19937 random(5);
    for (uint32_t format : {0u, 2u})
      for (uint32_t w : {15u, 16u, 17u, 31u, 32u, 33u, 63u, 64u, 65u, 66u})
        for (float r : {1.0f, 3.0f, 7.0f, 15.0f, 1e6f}) {
          Plane in(w, 9, format, uint32_t(random() % 5)), want(w, 9, format, 3), got(w, 9, format, 3);
          for (auto &b : in.bytes) b = uint8_t(random());
          HorizontalBoxBlur(Image(in, got), r, true);
          DirectHorizontal(in, want, r, true);
          ASSERT_EQ(got.bytes, want.bytes) << "horizontal " << w << " r " << r << " format " << format;
          TwoDimensionalBoxBlur(Image(in, got), {r, 1.0f, true});
          DirectTwoDimensional(in, want, r, 1.0f, true);
          ASSERT_EQ(got.bytes, want.bytes) << "2-D " << w << " r " << r << " format " << format;
        }
    // Rows and columns whose windows reach the largest that 16-bit sums hold
    // (257 of 255) and just past it, white in one half.
    for (uint32_t format : {0u, 2u})
      for (float r : {126.0f, 127.0f, 128.0f, 129.0f, 130.0f}) {
        const uint32_t w = 600 + format;
        Plane in(w, 3, format, 2), want(w, 3, format, 1), got(w, 3, format, 1);
        for (uint32_t y = 0; y < 3; ++y)
          for (uint32_t x = 0; x < w; ++x)
            for (uint32_t c = 0; c < in.bytesPerPixel(); ++c) in.at(x, y, int(c)) = x < w / 2 ? 255 : uint8_t(random());
        HorizontalBoxBlur(Image(in, got), r, true);
        DirectHorizontal(in, want, r, true);
        ASSERT_EQ(got.bytes, want.bytes) << "horizontal r " << r << " format " << format;
        ASSERT_TRUE(got.paddingIntact());
        TwoDimensionalBoxBlur(Image(in, got), {r, 1.0f, true});
        DirectTwoDimensional(in, want, r, 1.0f, true);
        ASSERT_EQ(got.bytes, want.bytes) << "2-D r " << r << " format " << format;
      }
    for (uint32_t format : {0u, 2u})
      for (float r : {126.0f, 127.0f, 128.0f, 129.0f, 130.0f}) {
        const uint32_t w = format == 2 ? 5 : 19;
        Plane in(w, 600, format, 1), want(w, 600, format, 2), got(w, 600, format, 2);
        // White at the top (full windows of 255), random below.
        for (size_t i = 0; i < in.bytes.size(); ++i) in.bytes[i] = i < in.bytes.size() / 2 ? 255 : uint8_t(random());
        VerticalBoxBlur(Image(in, got), r, true);
        DirectVertical(in, want, r, true);
        ASSERT_EQ(got.bytes, want.bytes) << "vertical r " << r << " format " << format;
        ASSERT_TRUE(got.paddingIntact());
      }
  });
}

TEST(BlurBoxBlur, EdgeValuesOfWeightsAndChannels) {
  // Radius 0: weight 0x10000, the image comes through unchanged.
  Plane in(5, 3, 2, 0), out(5, 3, 2, 0);
  for (size_t i = 0; i < in.bytes.size(); ++i) in.bytes[i] = uint8_t(i * 37);
  HorizontalBoxBlur(Image(in, out), 0.9f, true);
  EXPECT_EQ(out.bytes, in.bytes);
  VerticalBoxBlur(Image(in, out), 0.4f, false);  // 3 rows: f32(0) * 0.4 = 0
  EXPECT_EQ(out.bytes, in.bytes);

  // White through radius 1: 0x10000 / 3 = 21845 and (21845 * 765) >> 16 = 254;
  // the two-dimensional weight 0x800000 / 9 gives (932067 * 2295) >> 23 = 254 too.
  Plane white(9, 9, 2, 0), blurred(9, 9, 2, 0);
  std::fill(white.bytes.begin(), white.bytes.end(), 255);
  HorizontalBoxBlur(Image(white, blurred), 1.0f, true);
  EXPECT_EQ(blurred.at(4, 4, 3), 254);
  TwoDimensionalBoxBlur(Image(white, blurred), {1.0f, 1.0f, true});
  EXPECT_EQ(blurred.at(4, 4, 1), 254);

  // The channels of an ARGB pixel do not mix: a lone red pixel spreads in red only.
  Plane dot(7, 1, 2, 0), spread(7, 1, 2, 0);
  std::fill(dot.bytes.begin(), dot.bytes.end(), 0);
  dot.at(3, 0, 2) = 250;
  HorizontalBoxBlur(Image(dot, spread), 1.0f, true);
  for (uint32_t x = 0; x < 7; ++x) {
    EXPECT_EQ(spread.at(x, 0, 2), x >= 2 && x <= 4 ? 83 : 0) << x;
    EXPECT_EQ(spread.at(x, 0, 0) | spread.at(x, 0, 1) | spread.at(x, 0, 3), 0) << x;
  }

  // The two-dimensional fraction takes both radii from the height: on a
  // 40x10 image X = 1 gives rx = 4, not 19.
  Plane wide(40, 10, 0, 3), want(40, 10, 0, 3), got(40, 10, 0, 3);
  for (uint32_t i = 0; i < 40; ++i) wide.at(i, 5, 0) = uint8_t(i * 6);
  DirectWindow(wide, want, 4, 1, 0x800000 / (9 * 3), 23);
  TwoDimensionalBoxBlur(Image(wide, got), {1.0f, 0.25f, false});
  EXPECT_EQ(got.bytes, want.bytes);
}

TEST(BlurBoxBlur, NothingWrittenForOtherFormatsOrEmptyImages) {
  Plane in(6, 4, 1, 2), out(6, 4, 1, 2);
  std::fill(in.bytes.begin(), in.bytes.end(), 9);
  for (uint32_t format : {1u, 3u, 0xFFFFFFFFu}) {
    BlurImage image = Image(in, out);
    image.pixelFormat = format;
    SoftwareBoxBlur(image, {2.0f, 2.0f, true});
    HorizontalBoxBlur(image, 2.0f, true);
    VerticalBoxBlur(image, 2.0f, true);
  }
  BlurImage empty = Image(in, out);
  empty.width = 0;
  SoftwareBoxBlur(empty, {2.0f, 2.0f, true});
  BlurImage shortRows = Image(in, out);
  shortRows.destinationRowBytes = 5;  // rows that cannot hold the width
  SoftwareBoxBlur(shortRows, {2.0f, 0.0f, true});
  EXPECT_TRUE(std::all_of(out.bytes.begin(), out.bytes.end(), [](uint8_t b) { return b == kSentinel; }));
}

}  // namespace
}  // namespace tessivo
