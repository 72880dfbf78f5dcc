#include "host_test_support.h"
#include "tessivo/host/error.h"
#include "tessivo/host/image_ops.h"
#include "tessivo/host/test_scene.h"

#include <gtest/gtest.h>

#include <optional>

namespace tessivo::host {
namespace {

using testing::patterned;

TEST(Image, RowsArePaddedAndDescriptorMatches) {
  const Image grey(10, 3, kGrey8);
  const Image argb(10, 3, kARGB32);
  EXPECT_EQ(grey.rowBytes(), 64u + 16u);
  EXPECT_EQ(argb.rowBytes(), 64u + 16u);
  EXPECT_EQ(Image(17, 1, kARGB32).rowBytes(), 128u + 16u);
  const ImageDescriptor& d = argb.descriptor();
  EXPECT_EQ(d.width, 10u);
  EXPECT_EQ(d.height, 3u);
  EXPECT_EQ(d.rowBytes, argb.rowBytes());
  EXPECT_EQ(d.pixelFormat, kARGB32);
  EXPECT_EQ(d.baseAddress, argb.data());
}

TEST(Image, BadSizesAndFormatsAreErrors) {
  EXPECT_THROW(Image(4, 4, 1), HostError);
  EXPECT_THROW(Image(kMaxImageSide + 1, 1, kGrey8), HostError);
  EXPECT_THROW(Image(kMaxImageSide, kMaxImageSide, kARGB32), HostError);
  EXPECT_TRUE(Image(0, 5, kGrey8).empty());
  Image image(2, 2, kGrey8);
  EXPECT_THROW(image.pixel(2, 0), HostError);
  EXPECT_THROW(image.setPixel(0, 2, 1), HostError);
}

TEST(Image, StampChangesOnEveryWriteOnly) {
  Image image(4, 4, kARGB32);
  const uint32_t first = image.stamp();
  EXPECT_EQ(image.stamp(), first);
  (void)image.pixel(1, 1);
  EXPECT_EQ(image.stamp(), first);
  image.setPixel(1, 1, 5);
  const uint32_t second = image.stamp();
  EXPECT_NE(second, first);
  image.mutableRow(0);
  EXPECT_NE(image.stamp(), second);
}

TEST(Image, HandlesAndPixelAddressesAreKnownOnlyWhileAlive) {
  // Held in place, so destroying it frees no memory the handle points into.
  std::optional<Image> image(std::in_place, 3, 3, kGrey8);
  HostImage* handle = image->handle();
  const void* pixels = image->data();
  EXPECT_EQ(Image::fromHandle(handle), &*image);
  EXPECT_EQ(Image::fromPixels(pixels), &*image);
  Image moved(std::move(*image));
  EXPECT_EQ(Image::fromPixels(pixels), &moved);  // the buffer moved with it
  image.reset();
  EXPECT_EQ(Image::fromHandle(handle), nullptr);
  EXPECT_EQ(Image::fromHandle(nullptr), nullptr);
  int local = 0;
  EXPECT_EQ(Image::fromPixels(&local), nullptr);
}

TEST(ImageOps, ConvertsBetweenFormats) {
  Image argb(2, 1, kARGB32);
  argb.setPixel(0, 0, 0x80FF0000);
  argb.setPixel(1, 0, 0xFF102030);
  const Image grey = convert(argb, kGrey8);
  EXPECT_EQ(grey.pixel(0, 0), (77u * 255 + 128) >> 8);
  EXPECT_EQ(grey.pixel(1, 0), (77u * 0x10 + 150u * 0x20 + 29u * 0x30 + 128) >> 8);
  const Image back = convert(grey, kARGB32);
  EXPECT_EQ(back.pixel(0, 0), 0xFF000000u | grey.pixel(0, 0) * 0x010101u);
}

TEST(ImageOps, BoxScaleAveragesAndNearestPicks) {
  Image image(4, 2, kGrey8);
  const uint32_t values[2][4] = {{0, 100, 200, 40}, {20, 60, 0, 0}};
  for (uint32_t y = 0; y < 2; ++y)
    for (uint32_t x = 0; x < 4; ++x) image.setPixel(x, y, values[y][x]);
  const Image half = scale(image, 2, 1, ScaleFilter::Box);
  EXPECT_EQ(half.pixel(0, 0), 45u);  // (0 + 100 + 20 + 60) / 4
  EXPECT_EQ(half.pixel(1, 0), 60u);  // (200 + 40 + 0 + 0) / 4
  const Image doubled = scale(image, 8, 4, ScaleFilter::Nearest);
  EXPECT_EQ(doubled.pixel(5, 1), 200u);
  EXPECT_EQ(doubled.pixel(5, 3), 0u);
  EXPECT_TRUE(samePixels(conform(image, 4, 2, kGrey8), image));
}

TEST(ImageOps, BlitClipsToBothImages) {
  const Image source = patterned(5, 4, kARGB32);
  Image target(6, 6, kARGB32);
  blit(source, target, -2, 4);  // only columns 2..4, rows 0..1 of the source land, at (0..2, 4..5)
  EXPECT_EQ(target.pixel(0, 4), source.pixel(2, 0));
  EXPECT_EQ(target.pixel(2, 5), source.pixel(4, 1));
  EXPECT_EQ(target.pixel(3, 4), 0u);
  EXPECT_EQ(target.pixel(0, 3), 0u);
  blitRect(target, 0, 4, 3, 2, target, 1, 3);  // overlapping copy within one image
  EXPECT_EQ(target.pixel(1, 3), source.pixel(2, 0));
  EXPECT_EQ(target.pixel(3, 4), source.pixel(4, 1));
}

TEST(ImageOps, CompareCountsDifferencesIgnoringPadding) {
  Image a = patterned(4, 4, kGrey8);
  Image b = a;
  b.mutableRow(0)[a.rowBytes() - 1] = 0x55;  // padding only
  EXPECT_TRUE(samePixels(a, b));
  b.setPixel(3, 3, (a.pixel(3, 3) + 9) & 0xFF);
  const ImageDifference diff = compare(a, b);
  EXPECT_EQ(diff.differingPixels, 1u);
  EXPECT_EQ(diff.maxChannelDelta, 9u);
  EXPECT_FALSE(compare(a, Image(4, 4, kARGB32)).sameShape);
}

TEST(TestScene, DeterministicAnimatedAndWithVaryingAlpha) {
  const Image a = renderTestScene(96, 60, 0.5);
  EXPECT_TRUE(samePixels(a, renderTestScene(96, 60, 0.5)));
  EXPECT_GT(compare(a, renderTestScene(96, 60, 1.5)).differingPixels, 100u);
  uint32_t minAlpha = 255, maxAlpha = 0;
  for (uint32_t x = 0; x < a.width(); ++x) {
    const uint32_t alpha = a.pixel(x, a.height() - 1) >> 24;
    minAlpha = std::min(minAlpha, alpha);
    maxAlpha = std::max(maxAlpha, alpha);
  }
  EXPECT_LT(minAlpha, 64u);
  EXPECT_EQ(maxAlpha, 255u);
  EXPECT_TRUE(samePixels(renderTestScene(96, 60, 0.5, kGrey8), convert(a, kGrey8)));
}

}  // namespace
}  // namespace tessivo::host
