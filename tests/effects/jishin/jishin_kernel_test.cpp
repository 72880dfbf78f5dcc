// The shared generator, Jishin's offsets and rectangles, and the shake run
// through the reference host's rectangle operations, each against a direct
// computation.
#include "jishin/jishin_kernel.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

#include "../linked_bundle.h"
#include "tessivo/frame/random.h"
#include "tessivo/host/instance.h"

namespace tessivo {
namespace {

using test::DirectRandom;

constexpr float kInf = std::numeric_limits<float>::infinity();

// The remainder whose sign follows the dividend, written without '%' on negatives.
int64_t SignedRemainder(int32_t value, int64_t range) {
  const int64_t magnitude = std::llabs(int64_t{value}) % range;
  return value < 0 ? -magnitude : magnitude;
}

TEST(SharedRandom, StartsAt12345AndEveryDrawAdvancesTheOneSeed) {
  EXPECT_EQ(AdvanceSeed(0), 12345u);
  EXPECT_EQ(AdvanceSeed(12345u), 3554416350u);
  EXPECT_EQ(AdvanceSeed(3554416350u), 1393117420u);
  DirectRandom direct{CurrentRandomSeed()};
  for (int i = 0; i < 100; ++i) {
    ASSERT_EQ(NextRandom(), direct.next()) << i;  // read as signed: about half are negative
    ASSERT_EQ(CurrentRandomSeed(), direct.seed);
  }
}

// Ranges from trunc(strength / 4 * side + 1) in single precision; offsets
// drawn X first, then Y, each bounded by the signed remainder.
TEST(JishinOffsets, RangesAndDrawOrderFollowTheDirection) {
  struct RangeCase {
    float strength;
    uint32_t side;
    int64_t range;
  };
  for (const RangeCase &c : std::vector<RangeCase>{{0.5f, 640, 81},
                                                   {0.5f, 1, 1},
                                                   {1e-6f, 640, 1},  // a * W + 1 < 2: range 1, still drawn
                                                   {4.0f, 7, 8},
                                                   {0.3f, 100, 8},
                                                   {kInf, 0, 1},    // inf * 0 is NaN
                                                   {kInf, 5, INT64_MAX},
                                                   {1e30f, 1000, INT64_MAX},
                                                   {1e12f, 3, 750000013312}})
    EXPECT_EQ(ShakeRange(c.strength, c.side), c.range) << c.strength << " " << c.side;

  struct DrawCase {
    int32_t direction;
    bool drawsX, drawsY;
  };
  for (const DrawCase &c : std::vector<DrawCase>{{0, true, false}, {1, false, true}, {2, true, true},
                                                 {5, true, true}, {-1, true, true}}) {
    for (int frame = 0; frame < 40; ++frame) {
      DirectRandom direct{CurrentRandomSeed()};
      const int64_t dx = c.drawsX ? SignedRemainder(direct.next(), 9) : 0;  // 0.5 / 4 * 64 + 1
      const int64_t dy = c.drawsY ? SignedRemainder(direct.next(), 5) : 0;  // 0.5 / 4 * 32 + 1
      const ShakeOffset offset = DrawShakeOffset(0.5f, 64, 32, c.direction);
      ASSERT_EQ(offset.dx, dx) << c.direction;
      ASSERT_EQ(offset.dy, dy) << c.direction;
      ASSERT_EQ(CurrentRandomSeed(), direct.seed) << c.direction;
    }
  }
}

std::vector<double> Edges(const HostRect &r) { return {r.top, r.left, r.bottom, r.right}; }

// (top, left, bottom, right) for each sign, zero-width strips and offsets past the frame.
TEST(JishinRectangles, StripsSourceAndDestinationOfEachSign) {
  struct Case {
    int64_t dx, dy;
    std::vector<double> columns, rows, source, destination;
  };
  const std::vector<Case> cases = {
      {3, 2, {0, 7, 8, 10}, {6, 0, 8, 7}, {2, 3, 8, 10}, {0, 0, 6, 7}},
      {-3, -2, {0, 0, 8, 3}, {0, 3, 2, 10}, {0, 0, 6, 7}, {2, 3, 8, 10}},
      {4, -1, {0, 6, 8, 10}, {0, 0, 1, 6}, {0, 4, 7, 10}, {1, 0, 8, 6}},
      {0, 0, {0, 10, 8, 10}, {8, 0, 8, 10}, {0, 0, 8, 10}, {0, 0, 8, 10}},
      {12, -9, {0, -2, 8, 10}, {0, 0, 9, -2}, {0, 12, -1, 10}, {9, 0, 8, -2}},
  };
  for (const Case &c : cases) {
    const ShakeRects rects = ShakeRectangles({c.dx, c.dy}, 10, 8);
    EXPECT_EQ(Edges(rects.columns), c.columns) << c.dx << "," << c.dy;
    EXPECT_EQ(Edges(rects.rows), c.rows) << c.dx << "," << c.dy;
    EXPECT_EQ(Edges(rects.source), c.source) << c.dx << "," << c.dy;
    EXPECT_EQ(Edges(rects.destination), c.destination) << c.dx << "," << c.dy;
  }
}

class JishinShakeTest : public testing::Test {
 protected:
  void SetUp() override {
    bundle = test::LoadLinkedBundle();
    instance = host::Instance::create(*bundle, FourCC("jshn"));
  }
  std::unique_ptr<host::Bundle> bundle;
  std::unique_ptr<host::Instance> instance;
};

// Every pixel is the input's at (x + dx, y + dy), or 0 where that lies
// outside; the padding is never touched. Both formats, tiny and odd sizes,
// offsets of each sign up to and past the whole side.
TEST_F(JishinShakeTest, MovesThePictureAndClearsWhatItUncovers) {
  for (const uint32_t format : {host::kGrey8, host::kARGB32}) {
    for (const auto &[width, height] : std::vector<std::pair<uint32_t, uint32_t>>{{1, 1}, {3, 2}, {7, 5}, {16, 3}}) {
      const host::Image input = test::Patterned(width, height, format);
      const auto w = int64_t{width}, h = int64_t{height};
      const std::vector<int64_t> xs = {-w - 2, -w, 1 - w, -1, 0, 1, w - 1, w, w + 3};
      const std::vector<int64_t> ys = {-h - 1, -h, 1 - h, -1, 0, 1, h - 1, h, h + 2};
      for (const int64_t dx : xs) {
        for (const int64_t dy : ys) {
          host::Image output = test::Patterned(width, height, format, 7);
          ShakeImage(instance->bitmapService(), output.descriptor(), input.descriptor(), {dx, dy});
          const std::string where = std::to_string(width) + "x" + std::to_string(height) + " format " +
                                    std::to_string(format) + " by " + std::to_string(dx) + "," + std::to_string(dy);
          ASSERT_TRUE(test::PaddingIntact(output)) << where;
          for (int64_t y = 0; y < h; ++y) {
            for (int64_t x = 0; x < w; ++x) {
              const bool inside = x + dx >= 0 && x + dx < w && y + dy >= 0 && y + dy < h;
              const uint32_t expected =
                  inside ? input.pixel(static_cast<uint32_t>(x + dx), static_cast<uint32_t>(y + dy)) : 0u;
              ASSERT_EQ(output.pixel(static_cast<uint32_t>(x), static_cast<uint32_t>(y)), expected)
                  << where << " at " << x << "," << y;
            }
          }
        }
      }
    }
  }
}

// Jishin hands both images to the host in the output's format: an input of
// another format is refused by the host, so only the strips are cleared.
TEST_F(JishinShakeTest, AnInputOfAnotherFormatIsNotRead) {
  const host::Image input = test::Patterned(6, 4, host::kGrey8);
  host::Image output = test::Patterned(6, 4, host::kARGB32, 3);
  const host::Image before = output;
  ShakeImage(instance->bitmapService(), output.descriptor(), input.descriptor(), {2, 0});
  for (uint32_t y = 0; y < 4; ++y)
    for (uint32_t x = 0; x < 6; ++x) EXPECT_EQ(output.pixel(x, y), x >= 4 ? 0u : before.pixel(x, y)) << x;
}

// The swell of the "Realistic" mode in double, rounded once to float.
TEST(JishinStrength, RealisticSwellsWithTimeOthersKeepTheInput) {
  const auto swell = [](double t) { return (std::sin(t) * std::sin(0.123456 * t) + 0.7) * 0.5; };
  for (const double t : {0.0, 1.0, 2.5, 17.25, 100.0, -3.0, 1e6}) {
    for (const float strength : {0.5f, 1.0f, 3.7f, -2.0f}) {
      const double exact = static_cast<double>(strength) * swell(t);
      const float expected = exact < 0.0 ? 0.0f : static_cast<float>(exact);
      EXPECT_EQ(ShakeStrength(strength, 1, t), expected) << t << " " << strength;
      EXPECT_EQ(ShakeStrength(strength, 0, t), strength);
      EXPECT_EQ(ShakeStrength(strength, 7, t), strength);
    }
  }
  // A time where the swell is negative: no shake at all.
  EXPECT_LT(swell(11.0), 0.0);
  EXPECT_EQ(ShakeStrength(2.0f, 1, 11.0), 0.0f);
  EXPECT_TRUE(std::isnan(ShakeStrength(1.0f, 1, std::nan(""))));
}

}  // namespace
}  // namespace tessivo
