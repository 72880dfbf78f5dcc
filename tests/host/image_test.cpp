#include "host_test_support.h"
#include "tessivo/host/image_ops.h"
#include "tessivo/host/test_scene.h"

#include <array>
#include <atomic>
#include <cmath>
#include <limits>
#include <thread>

namespace tessivo::host {
namespace {

using testing::patterned;

TEST(Image, PaddedRowsSizesAndStamps) {
  const Image argb(10, 3, kARGB32);
  EXPECT_EQ((std::array{Image(10, 3, kGrey8).rowBytes(), argb.rowBytes(), Image(17, 1, kARGB32).rowBytes()}),
            (std::array{64u + 16u, 64u + 16u, 128u + 16u}));
  const ImageDescriptor& d = argb.descriptor();
  EXPECT_TRUE(d.width == 10u && d.height == 3u && d.rowBytes == argb.rowBytes() && d.baseAddress == argb.data());
  for (auto bad : {std::array<uint32_t, 3>{4, 4, 1}, {kMaxImageSide + 1, 1, kGrey8}, {kMaxImageSide, kMaxImageSide, kARGB32}})
    EXPECT_THROW(Image(bad[0], bad[1], bad[2]), HostError);
  EXPECT_TRUE(Image(0, 5, kGrey8).empty());
  Image image(4, 4, kARGB32);
  EXPECT_THROW(image.pixel(4, 0), HostError);
  // The stamp changes with every write, never on a read.
  const uint32_t first = image.stamp();
  EXPECT_TRUE(image.pixel(1, 1) == 0u && image.stamp() == first);
  image.setPixel(1, 1, 5);
  const uint32_t second = image.stamp();
  image.mutableRow(0);
  EXPECT_TRUE(second != first && image.stamp() != second);
}

// A lookup by pixel address while a delivery thread reallocates another
// image: the lookup reads only what the registry holds (ThreadSanitizer, run
// by scripts/tsan.sh, reports any read of the other image's own fields).
TEST(Image, LookupByPixelsWhileAThreadedDeliveryReallocates) {
  Image still = patterned(3, 3, kGrey8);
  std::atomic<bool> done{false};
  std::thread delivery([&] {
    Image moving;
    for (uint32_t i = 0; !done; ++i) moving.reset(1 + i % 7, 1 + i % 5, i % 2 ? kGrey8 : kARGB32);
  });
  for (int i = 0; i < 20000; ++i) ASSERT_EQ(Image::fromPixels(still.data()), &still);
  done = true;
  delivery.join();
  const uint8_t* pixels = still.data();
  Image moved = std::move(still);  // the pixels go with the move
  EXPECT_TRUE(Image::fromPixels(pixels) == &moved && moved.data() == pixels);
  moved.reset(4, 4, kGrey8);
  EXPECT_TRUE(Image::fromPixels(moved.data()) == &moved && Image::fromPixels(nullptr) == nullptr);
}

// The test scene at any time, however far out of range or not a number
// (UBSan reports an out-of-range conversion): a time that is not finite shows
// the scene at time 0.
TEST(TestScene, RendersAtAnyTime) {
  constexpr double kInf = std::numeric_limits<double>::infinity();
  const Image start = renderTestScene(24, 12, 0.0, kARGB32);
  for (const double time : {-1.0, -1e20, 1e20, 1e300, -kInf, kInf, std::numeric_limits<double>::quiet_NaN()}) {
    const Image scene = renderTestScene(24, 12, time, kARGB32);
    EXPECT_EQ(samePixels(scene, start), !std::isfinite(time)) << time;
  }
}

TEST(ImageOps, ConvertScaleBlitAndCompare) {
  Image argb(2, 1, kARGB32);
  argb.setPixel(0, 0, 0x80FF0000), argb.setPixel(1, 0, 0xFF102030);
  const Image grey = convert(argb, kGrey8);
  EXPECT_EQ(grey.pixel(0, 0), (77u * 255 + 128) >> 8);
  EXPECT_EQ(grey.pixel(1, 0), (77u * 0x10 + 150u * 0x20 + 29u * 0x30 + 128) >> 8);
  EXPECT_EQ(convert(grey, kARGB32).pixel(0, 0), 0xFF000000u | grey.pixel(0, 0) * 0x010101u);

  Image small(4, 2, kGrey8);
  const uint32_t values[8] = {0, 100, 200, 40, 20, 60, 0, 0};
  for (uint32_t i = 0; i < 8; ++i) small.setPixel(i % 4, i / 4, values[i]);
  const Image half = scale(small, 2, 1, ScaleFilter::Box), doubled = scale(small, 8, 4, ScaleFilter::Nearest);
  EXPECT_TRUE(half.pixel(0, 0) == 45u && half.pixel(1, 0) == 60u);  // (0 + 100 + 20 + 60) / 4, (200 + 40) / 4
  EXPECT_TRUE(doubled.pixel(5, 1) == 200u && doubled.pixel(5, 3) == 0u);

  const Image source = patterned(5, 4, kARGB32);
  Image target(6, 6, kARGB32);
  blitRect(source, 2, 0, 3, 2, target, 0, 4);
  blitRect(target, 0, 4, 3, 2, target, 1, 3);  // overlapping copy within one image
  EXPECT_TRUE(target.pixel(1, 3) == source.pixel(2, 0) && target.pixel(3, 4) == source.pixel(4, 1));

  Image a = patterned(4, 4, kGrey8), b = a;
  b.mutableRow(0)[a.rowBytes() - 1] = 0x55;  // padding only
  EXPECT_TRUE(samePixels(a, b));
  b.setPixel(3, 3, (a.pixel(3, 3) + 9) & 0xFF);
  const ImageDifference diff = compare(a, b);
  EXPECT_TRUE(diff.differingPixels == 1u && diff.maxChannelDelta == 9u);
  EXPECT_FALSE(compare(a, Image(4, 4, kARGB32)).sameShape);
}

// Rectangles at or beyond the ends of the 64-bit range clip to the image
// (UBSan reports any overflow on the way), in every operation.
TEST(ImageOps, ExtremeRectanglesClipToTheImage) {
  constexpr int64_t kMin = INT64_MIN, kMax = INT64_MAX;
  const Image source = patterned(5, 4, kARGB32);
  struct Case {
    int64_t x, y, w, h;
    uint64_t pixels;  // how many pixels of the 5 x 4 image the rectangle covers
  };
  const Case cases[] = {{kMin, kMin, kMax, kMax, 0}, {kMax, kMax, kMax, kMax, 0}, {-3, -2, kMax, kMax, 20},
                        {3, 2, kMax, kMax, 4},       {kMin, 0, -1, kMax, 0},      {1, 1, kMin, kMin, 0},
                        {kMax - 1, 0, 2, 2, 0}};
  for (const auto& [x, y, w, h, pixels] : cases) {
    Image filled(5, 4, kARGB32), blended(5, 4, kARGB32), copied(5, 4, kARGB32);
    fillRect(filled, x, y, w, h, 0xFF00FF00);
    blendFillRect(blended, x, y, w, h, 0xFF00FF00, 0.5f);
    blitRect(source, x, y, w, h, copied, 0, 0);
    blendBlitRect(source, 0, 0, w, h, copied, x, y, 0.5f);
    EXPECT_EQ(compare(filled, Image(5, 4, kARGB32)).differingPixels, pixels) << x << "," << y;
    EXPECT_EQ(compare(blended, Image(5, 4, kARGB32)).differingPixels, pixels) << x << "," << y;
  }
  Image target(5, 4, kARGB32);
  blitRect(source, kMin, kMin, kMax, kMax, target, kMax, kMax);
  blitRect(source, 0, 0, kMax, kMax, target, kMin, kMin);
  EXPECT_TRUE(samePixels(target, Image(5, 4, kARGB32)));
  blitRect(source, kMin, kMin, kMax, kMax, target, 0, 0);  // only the source's own pixels are read
  EXPECT_TRUE(samePixels(target, Image(5, 4, kARGB32)));
}

}  // namespace
}  // namespace tessivo::host
