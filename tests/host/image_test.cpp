#include "host_test_support.h"
#include "tessivo/host/image_ops.h"

#include <array>

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

}  // namespace
}  // namespace tessivo::host
