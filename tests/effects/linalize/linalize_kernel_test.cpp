// Linalize's stroke count, stroke bounds and painting against a direct
// per-pixel definition, on awkward sizes, strides and line settings.
#include "linalize/linalize_kernel.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "../linked_bundle.h"
#include "tessivo/frame/random.h"
#include "tessivo/host/image_ops.h"

namespace tessivo {
namespace {

using host::Image;
using host::samePixels;
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

TEST(LinalizeCount, TruncatesSpeedTimes3000AndRefusesWhatIsNoCount) {
  struct Case {
    float speed;
    uint32_t count;
  };
  for (const Case &c : std::vector<Case>{{0.5f, 1500},
                                         {1.0f, 3000},
                                         {0.001f, 3},  // 3.0000002
                                         {1e-4f, 0},   // 0.3
                                         {0.0f, 0},
                                         {-0.0f, 0},
                                         {-0.1f, 0},
                                         {-1e9f, 0},
                                         {1e6f, 3000000000u},
                                         {1431655.0f, 4294964992u},
                                         {1431656.0f, 0},  // 2^32 and beyond do not fit
                                         {kInf, 0},
                                         {-kInf, 0},
                                         {kNaN, 0}})
    EXPECT_EQ(StrokeCount(c.speed), c.count) << c.speed;
}

// Stroke spans: [max(0, c - h), min(side, c + h + 1)), also for halves that
// would overflow 32 bits.
TEST(LinalizeCount, StrokeSpansClipToTheSide) {
  struct Case {
    uint32_t centre, half, side, begin, end;
  };
  for (const Case &c : std::vector<Case>{{3, 10, 50, 0, 14},
                                         {48, 10, 50, 38, 50},  // x = W - 2 ends at W - 1
                                         {25, 0, 50, 25, 26},
                                         {0, 0, 1, 0, 1},
                                         {7, 0x7FFFFFFF, 9, 0, 9},
                                         {4294967294u, 4294967295u, 4294967295u, 0, 4294967295u},
                                         {10, 5, 10, 5, 10}})
    EXPECT_EQ((std::pair(ClipStroke(c.centre, c.half, c.side).begin, ClipStroke(c.centre, c.half, c.side).end)),
              (std::pair(c.begin, c.end)))
        << c.centre << " " << c.half << " " << c.side;
}

// The canvas after count pairs, pixel by pixel: each stroke covers the
// pixels within its half sizes of its centre.
Image DirectStrokes(Image canvas, const Image &input, test::DirectRandom &random, uint32_t count, uint32_t length,
                    uint32_t width) {
  const int64_t w = canvas.width(), h = canvas.height();
  for (uint32_t i = 0; i < 2 * count; ++i) {
    const int64_t x = static_cast<uint32_t>(random.next()) % static_cast<uint32_t>(w);
    const int64_t y = static_cast<uint32_t>(random.next()) % static_cast<uint32_t>(h);
    const int64_t halfX = (i % 2 == 0 ? length : width) / 2, halfY = (i % 2 == 0 ? width : length) / 2;
    const uint32_t colour = input.pixel(static_cast<uint32_t>(x), static_cast<uint32_t>(y));
    for (int64_t py = 0; py < h; ++py)
      for (int64_t px = 0; px < w; ++px)
        if (std::llabs(px - x) <= halfX && std::llabs(py - y) <= halfY)
          canvas.setPixel(static_cast<uint32_t>(px), static_cast<uint32_t>(py), colour);
  }
  return canvas;
}

TEST(LinalizeStrokes, PaintLikeTheDirectDefinitionOnAwkwardCanvases) {
  std::minstd_rand sizes(7);
  const std::vector<std::pair<uint32_t, uint32_t>> lines = {{20, 1}, {1, 1},  {2, 3},  {0, 0},
                                                            {21, 4}, {3, 40}, {0xFFFFFFFFu, 0}, {5, 0xFFFFFFFEu}};
  for (const uint32_t format : {host::kGrey8, host::kARGB32}) {
    for (int round = 0; round < 24; ++round) {
      const uint32_t width = round < 3 ? round + 1 : 1 + static_cast<uint32_t>(sizes() % 31);
      const uint32_t height = round < 3 ? 3 - round : 1 + static_cast<uint32_t>(sizes() % 19);
      const auto [length, thickness] = lines[round % lines.size()];
      const auto count = static_cast<uint32_t>(sizes() % 40);
      const Image input = test::Patterned(width, height, format, round);
      Image canvas = test::Patterned(width, height, format, round + 100);
      test::DirectRandom direct{CurrentRandomSeed()};
      const Image expected = DirectStrokes(canvas, input, direct, count, length, thickness);
      PaintStrokes(canvas.descriptor(), input.descriptor(), count, length, thickness);
      const std::string where = std::to_string(width) + "x" + std::to_string(height) + " format " +
                                std::to_string(format) + " lines " + std::to_string(length) + "/" +
                                std::to_string(thickness) + " count " + std::to_string(count);
      ASSERT_TRUE(samePixels(canvas, expected)) << where;
      ASSERT_TRUE(test::PaddingIntact(canvas)) << where;
      ASSERT_EQ(CurrentRandomSeed(), direct.seed) << where;
    }
  }
}

// Descriptors that do not fit their buffers never lead outside them: the
// canvas is as wide as its row bytes allow; an input of another format or a
// smaller input paints nothing where it has no pixel; other formats and empty
// canvases draw nothing at all.
TEST(LinalizeStrokes, StayInsideBuffersWhateverTheDescriptorsSay) {
  const Image input = test::Patterned(9, 6, host::kARGB32);
  Image canvas = test::Patterned(9, 6, host::kARGB32, 5);
  const Image before = canvas;

  ImageDescriptor narrow = canvas.descriptor();
  narrow.rowBytes = 3 * 4 + 2;  // rows of three whole pixels, 12 bytes apart: 72 bytes in all
  PaintStrokes(narrow, input.descriptor(), 30, 3, 3);
  const size_t bytes = size_t{canvas.rowBytes()} * 6;
  EXPECT_NE(std::memcmp(canvas.data(), before.data(), 72), 0);
  EXPECT_EQ(std::memcmp(canvas.data() + 72, before.data() + 72, bytes - 72), 0);

  const uint32_t seed = CurrentRandomSeed();
  ImageDescriptor other = canvas.descriptor();
  other.pixelFormat = 1;
  ImageDescriptor empty = canvas.descriptor();
  empty.height = 0;
  for (const ImageDescriptor &target : {other, empty}) PaintStrokes(target, input.descriptor(), 50, 20, 20);
  EXPECT_EQ(CurrentRandomSeed(), seed);

  Image fresh = before;
  const Image grey = test::Patterned(9, 6, host::kGrey8);
  const Image small = test::Patterned(2, 2, host::kARGB32);
  test::DirectRandom direct{seed};
  for (int draw = 0; draw < 4 * 20; ++draw) direct.next();
  PaintStrokes(fresh.descriptor(), grey.descriptor(), 20, 1, 1);
  EXPECT_TRUE(samePixels(fresh, before));
  EXPECT_EQ(CurrentRandomSeed(), direct.seed);  // drawn all the same
  PaintStrokes(fresh.descriptor(), small.descriptor(), 40, 1, 1);  // dots only where the input has pixels
  for (uint32_t y = 0; y < 6; ++y)
    for (uint32_t x = 0; x < 9; ++x)
      if (x >= 2 || y >= 2) {
        ASSERT_EQ(fresh.pixel(x, y), before.pixel(x, y)) << x << "," << y;
      }
  EXPECT_TRUE(test::PaddingIntact(fresh));
}

}  // namespace
}  // namespace tessivo
