#include "kagami/kagami_kernel.h"

#include <gtest/gtest.h>

#include "tessivo/test/simd_levels.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "kagami_definition.h"

namespace tessivo {
namespace {

using test::DirectMirror;
using test::DirectSample;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

// A frame with padded rows, every byte random (padding too, so stray writes show).
struct Frame {
  uint32_t width, height, pixelBytes, rowBytes;
  std::vector<uint8_t> bytes;

  Frame(uint32_t w, uint32_t h, uint32_t pixelBytesIn, uint32_t padding, uint32_t seed)
      : width(w), height(h), pixelBytes(pixelBytesIn), rowBytes(w * pixelBytesIn + padding), bytes(size_t{rowBytes} * h) {
    std::mt19937 random(seed);
    for (uint8_t &byte : bytes) byte = static_cast<uint8_t>(random());
  }
  // ARGB rows step by whole pixels, so odd row bytes round down.
  size_t offset(uint32_t x, uint32_t y) const {
    return size_t{y} * (pixelBytes == 4 ? rowBytes & ~3u : rowBytes) + size_t{x} * pixelBytes;
  }
  uint32_t pixel(uint32_t x, uint32_t y) const {
    uint32_t value = 0;
    std::memcpy(&value, &bytes[offset(x, y)], pixelBytes);
    return value;
  }
};

uint32_t FormatOf(const Frame &frame) { return frame.pixelBytes == 4 ? 2u : 0u; }

MirrorImage Describe(const Frame &source, Frame &destination) {
  return {source.bytes.data(), source.rowBytes,   source.height,     destination.bytes.data(), destination.rowBytes,
          destination.height,  destination.width, destination.height, FormatOf(destination)};
}

// Every pixel is the definition's, and nothing beyond the pixels changed.
void ExpectDefinition(MirrorKernel &kernel, const Frame &source, uint32_t width, uint32_t height, uint32_t pixelBytes,
                      uint32_t padding, float strength) {
  const Frame before(width, height, pixelBytes, padding, width * 31 + height);
  Frame after = before;
  kernel.run(Describe(source, after), strength);
  const DirectMirror direct{width, height, strength};
  for (uint32_t y = 0; y < height; ++y) {
    for (uint32_t x = 0; x < width; ++x) {
      const DirectSample s = direct.at(x, y);
      const uint32_t expected = s.inside ? source.pixel(s.column, s.row) : 0u;
      ASSERT_EQ(after.pixel(x, y), expected)
          << "pixel " << x << "," << y << " of " << width << "x" << height << "x" << pixelBytes << " strength "
          << strength;
    }
    const size_t rowEnd = after.offset(0, y) + (pixelBytes == 4 ? after.rowBytes & ~3u : after.rowBytes);
    for (size_t i = after.offset(width, y); i < std::min(rowEnd, after.bytes.size()); ++i)
      ASSERT_EQ(after.bytes[i], before.bytes[i]) << "padding of row " << y;
  }
}

// Awkward sizes and strides, both formats, strengths wild and tame; one
// kernel throughout, so its per-size tables are rebuilt and reused.
TEST(MirrorKernel, MatchesTheDefinitionOnRandomFrames) {
  test::ForEachSimdLevel([](const std::string &level) {
  SCOPED_TRACE(level);
  std::minstd_rand random(77);
  MirrorKernel kernel;
  const float strengths[] = {0.5f,  0.25f, 1e-3f, 0.999f, 1.0f,  3.7f,  -0.5f,   -2.0f,
                             1e7f,  1e30f, kNaN,  kInf,   -kInf, 2.0f,  0.125f, 1e-30f};
  for (int trial = 0; trial < 60; ++trial) {
    const uint32_t width = trial < 9 ? 1 + trial % 3 : 1 + static_cast<uint32_t>(random() % 97);
    const uint32_t height = trial < 9 ? 1 + trial / 3 : 1 + static_cast<uint32_t>(random() % 61);
    for (const uint32_t pixelBytes : {1u, 4u}) {
      const auto padding = static_cast<uint32_t>(random() % 19);
      const auto sourcePadding = static_cast<uint32_t>(random() % 23);
      const Frame source(width, height, pixelBytes, sourcePadding, static_cast<uint32_t>(random()));
      float strength = 0.0f;
      for (int run = 0; run < 3; ++run) {
        strength = run == 0 ? strengths[trial % std::size(strengths)]
                            : std::uniform_real_distribution<float>(-3.0f, 3.0f)(random);
        ExpectDefinition(kernel, source, width, height, pixelBytes, padding, strength);
      }
      // The same strength again: the kept source offsets serve another output
      // stride and another source of the same stride, and are not used for a
      // source of another stride.
      ExpectDefinition(kernel, source, width, height, pixelBytes, padding + 5, strength);
      const Frame sameStride(width, height, pixelBytes, sourcePadding, static_cast<uint32_t>(random()));
      ExpectDefinition(kernel, sameStride, width, height, pixelBytes, padding, strength);
      const Frame otherStride(width, height, pixelBytes, sourcePadding + 4, static_cast<uint32_t>(random()));
      ExpectDefinition(kernel, otherStride, width, height, pixelBytes, padding, strength);
    }
  }
  // Sizes whose 1/W and 1/H are exact, and larger ones.
  for (const uint32_t side : {64u, 256u, 640u}) {
    const Frame source(side, side / 2 + 3, 4, 8, side);
    ExpectDefinition(kernel, source, side, side / 2 + 3, 4, 8, 0.3f);
  }
  // A full-HD frame: two million positions, where a sine or cosine that is
  // not the library's to the last bit would move some pixel (on the vector
  // paths; the scalar one is the library's throughout).
  for (const float strength : {0.37f}) {
    if (level == "scalar") break;
    const Frame source(1920, 1080, 4, 64, 1920);
    ExpectDefinition(kernel, source, 1920, 1080, 4, 64, strength);
  }
  // Frames where a radius rounded any other way (the sum in double, or fused)
  // moves one pixel.
  for (const auto &[w, h, strength] : {std::tuple{156u, 79u, 0.37f}, std::tuple{105u, 53u, 0.5f}}) {
    for (const uint32_t pixelBytes : {1u, 4u}) {
      const Frame source(w, h, pixelBytes, 4, w);
      ExpectDefinition(kernel, source, w, h, pixelBytes, 4, strength);
    }
  }
  });
}

// The definition itself, checked against what it promises: unfolded and
// unturned it maps each pixel to itself, or (where the position lands a hair
// below a whole index) to the pixel before; folded, the inscribed ellipse
// always lands inside and the corners sometimes outside.
TEST(MirrorKernel, DefinitionKeepsItsGeometry) {
  for (const auto &[w, h] : {std::pair{64u, 32u}, std::pair{97u, 41u}, std::pair{640u, 480u}}) {
    const DirectMirror unfolded{w, h, 0.0f, false};
    size_t exact = 0;
    for (uint32_t y = 0; y < h; ++y) {
      for (uint32_t x = 0; x < w; ++x) {
        const DirectSample s = unfolded.at(x, y);
        ASSERT_TRUE(s.inside && x - s.column <= 1 && y - s.row <= 1) << x << "," << y;
        exact += s.column == x && s.row == y;
      }
    }
    EXPECT_GT(exact, size_t{w} * h / 8) << w << "x" << h;
    size_t outside = 0;
    const DirectMirror folded{w, h, 0.37f};
    for (uint32_t y = 0; y < h; ++y) {
      for (uint32_t x = 0; x < w; ++x) {
        const double u = double(x) / w - 0.5, v = double(y) / h - 0.5;
        const bool inEllipse = u * u + v * v <= 0.24;
        const DirectSample s = folded.at(x, y);
        ASSERT_TRUE(s.inside || !inEllipse) << x << "," << y;
        outside += !s.inside;
      }
    }
    EXPECT_GT(outside, 0u);
  }
}

// The centre: with 1/W and 1/H exact (powers of two) r is 0 and the centre
// pixel samples itself whatever the turn; otherwise the fused offset is a few
// units of 1e-9 off zero and the centre may sample a neighbour.
TEST(MirrorKernel, CentrePixelSamplesTheCentreOrANeighbour) {
  MirrorKernel kernel;
  for (const auto &[w, h] : {std::pair{64u, 32u}, std::pair{10u, 6u}, std::pair{100u, 50u}, std::pair{2u, 2u}}) {
    for (const uint32_t pixelBytes : {1u, 4u}) {
      Frame source(w, h, pixelBytes, 4, 5);
      for (uint32_t y = 0; y < h; ++y)  // unique values, so a sample names its position
        for (uint32_t x = 0; x < w; ++x) {
          const uint32_t value = pixelBytes == 4 ? 0xFF000000u | y << 12 | x : (y * 4 + x) & 0xFFu;
          std::memcpy(&source.bytes[source.offset(x, y)], &value, pixelBytes);
        }
      const bool exactSteps = (w & (w - 1)) == 0 && (h & (h - 1)) == 0;
      for (const float strength : {0.01f, 0.5f, 0.77f, 1.0f, 12.3f}) {
        Frame output(w, h, pixelBytes, 4, 6);
        kernel.run(Describe(source, output), strength);
        const uint32_t centre = output.pixel(w / 2, h / 2);
        if (exactSteps) {
          EXPECT_EQ(centre, source.pixel(w / 2, h / 2)) << w << "x" << h << " " << strength;
        } else {
          bool neighbour = false;
          for (uint32_t dy = 0; dy < 2; ++dy)
            for (uint32_t dx = 0; dx < 2; ++dx) neighbour |= centre == source.pixel(w / 2 - dx, h / 2 - dy);
          EXPECT_TRUE(neighbour) << w << "x" << h << " " << strength;
          const DirectSample s = DirectMirror{w, h, strength}.at(w / 2, h / 2);
          EXPECT_EQ(centre, source.pixel(s.column, s.row));
        }
      }
    }
  }
  // 10 x 6 at strength 0.5: u = 7.45e-9 and v = 1.49e-8 (fl(1/10) * 5 and
  // fl(1/6) * 3 are just above 0.5), so atan2 gives atan(2); + 2pi, mod P,
  // turned by -3pi it points down and left (about 3.89 rad): pixel (4, 2).
  const DirectSample s = DirectMirror{10, 6, 0.5f}.at(5, 3);
  EXPECT_TRUE(s.inside && s.column == 4 && s.row == 2);
}

// A source smaller than the output, row bytes too short for the width, fewer
// rows than the height: positions outside the source are 0 and nothing
// outside either buffer is touched (the sanitizers watch the reads). Empty
// sizes write nothing.
TEST(MirrorKernel, StaysInsideBothBuffers) {
  MirrorKernel kernel;
  for (const uint32_t pixelBytes : {1u, 4u}) {
    const Frame small(7, 5, pixelBytes, 0, 1);
    const Frame before(20, 12, pixelBytes, 3, 2);
    Frame after = before;
    MirrorImage image = Describe(small, after);
    kernel.run(image, 0.6f);
    const DirectMirror direct{20, 12, 0.6f};
    size_t zeros = 0;
    for (uint32_t y = 0; y < 12; ++y)
      for (uint32_t x = 0; x < 20; ++x) {
        const DirectSample s = direct.at(x, y);
        const bool inSmall = s.inside && s.column < 7 && s.row < 5;
        ASSERT_EQ(after.pixel(x, y), inSmall ? small.pixel(s.column, s.row) : 0u) << x << "," << y;
        zeros += !inSmall;
      }
    EXPECT_GT(zeros, 0u);

    Frame narrow = before;  // row bytes say 9 pixels, the width says 20: 9 columns written
    image = Describe(before, narrow);
    image.destinationRowBytes = image.sourceRowBytes = 9 * pixelBytes;
    kernel.run(image, 0.6f);
    const size_t written = size_t{12} * 9 * pixelBytes;
    EXPECT_TRUE(std::equal(narrow.bytes.begin() + written, narrow.bytes.end(), before.bytes.begin() + written));
    EXPECT_NE(narrow.bytes, before.bytes);

    Frame blank = before;  // a source of no columns: every sample lies outside it
    image = Describe(small, blank);
    image.sourceRowBytes = 0;
    kernel.run(image, 0.6f);
    for (uint32_t y = 0; y < 12; ++y)
      for (uint32_t x = 0; x < 20; ++x) ASSERT_EQ(blank.pixel(x, y), 0u) << x << "," << y;

    Frame shortRows = before;  // the destination holds 4 of the 12 rows
    image = Describe(before, shortRows);
    image.destinationRows = 4;
    kernel.run(image, 0.6f);
    const size_t fourRows = size_t{4} * before.rowBytes;
    EXPECT_TRUE(std::equal(shortRows.bytes.begin() + fourRows, shortRows.bytes.end(), before.bytes.begin() + fourRows));
    EXPECT_EQ(shortRows.pixel(3, 3), direct.at(3, 3).inside ? 0u + before.pixel(direct.at(3, 3).column, direct.at(3, 3).row) : 0u);

    Frame untouched = before;
    for (const auto &[w, h] : {std::pair{0u, 12u}, std::pair{20u, 0u}}) {
      image = Describe(before, untouched);
      image.width = w, image.height = h;
      kernel.run(image, 0.6f);
    }
    image = Describe(before, untouched);
    image.source = nullptr;
    kernel.run(image, 0.6f);
    EXPECT_EQ(untouched.bytes, before.bytes);
  }
}

}  // namespace
}  // namespace tessivo
