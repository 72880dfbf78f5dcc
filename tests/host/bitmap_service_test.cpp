#include "host_test_support.h"
#include "tessivo/host/image_ops.h"
#include "tessivo/host/instance.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace tessivo::host {
namespace {

using testing::patterned;

class BitmapServiceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    bundle = testing::loadBundle();
    instance = Instance::create(*bundle, FourCC("fadr"));
    bm = instance->bitmapService();
    cookie = bm->cookie;
  }
  static ImageDescriptor shape(uint32_t w, uint32_t h, uint32_t format) {
    ImageDescriptor d{};
    d.width = w;
    d.height = h;
    d.pixelFormat = format;
    return d;
  }
  static HostRect rect(double top, double left, double bottom, double right) { return {top, left, bottom, right}; }

  std::unique_ptr<Bundle> bundle;
  std::unique_ptr<Instance> instance;
  const BitmapService* bm = nullptr;
  void* cookie = nullptr;
};

TEST_F(BitmapServiceTest, CopyImageAllocatesAtTheOutputSizeAndClipsTheSource) {
  Image source = patterned(4, 3, kARGB32);
  Image target;
  const ImageDescriptor bigger = shape(6, 5, kARGB32);
  ASSERT_EQ(bm->CopyImage(cookie, source.handle(), &bigger, target.handle(), &bigger), 1u);
  ASSERT_EQ(target.width(), 6u);
  ASSERT_EQ(target.height(), 5u);
  EXPECT_EQ(target.pixel(3, 2), source.pixel(3, 2));
  EXPECT_EQ(target.pixel(4, 2), 0u);  // beyond the source: cleared, never read
  EXPECT_EQ(target.pixel(0, 4), 0u);
  const ImageDescriptor grey = shape(2, 2, kGrey8);
  ASSERT_EQ(bm->CopyImage(cookie, source.handle(), nullptr, target.handle(), &grey), 1u);
  EXPECT_EQ(target.pixelFormat(), kGrey8);
  EXPECT_EQ(target.pixel(1, 1), luminance(source.pixel(1, 1)));
}

TEST_F(BitmapServiceTest, CopyImageRefusesBadArguments) {
  Image source = patterned(4, 3, kARGB32);
  Image target(2, 2, kGrey8);
  const uint32_t stamp = target.stamp();
  const ImageDescriptor ok = shape(4, 3, kARGB32);
  const ImageDescriptor badFormat = shape(4, 3, 1);
  const ImageDescriptor empty = shape(0, 3, kARGB32);
  const ImageDescriptor huge = shape(kMaxImageSide + 1, 1, kARGB32);
  int notAnImage = 0;
  auto* bogus = reinterpret_cast<HostImage*>(&notAnImage);
  EXPECT_EQ(bm->CopyImage(cookie, nullptr, &ok, target.handle(), &ok), 0u);
  EXPECT_EQ(bm->CopyImage(cookie, bogus, &ok, target.handle(), &ok), 0u);
  EXPECT_EQ(bm->CopyImage(cookie, source.handle(), &ok, bogus, &ok), 0u);
  EXPECT_EQ(bm->CopyImage(cookie, source.handle(), &ok, target.handle(), nullptr), 0u);
  EXPECT_EQ(bm->CopyImage(cookie, source.handle(), &ok, target.handle(), &badFormat), 0u);
  EXPECT_EQ(bm->CopyImage(cookie, source.handle(), &ok, target.handle(), &empty), 0u);
  EXPECT_EQ(bm->CopyImage(cookie, source.handle(), &ok, target.handle(), &huge), 0u);
  EXPECT_EQ(bm->CopyImage(&notAnImage, source.handle(), &ok, target.handle(), &ok), 0u);  // unknown cookie
  EXPECT_EQ(target.stamp(), stamp);
  EXPECT_EQ(target.width(), 2u);
}

TEST_F(BitmapServiceTest, LockCreateStampAndOpenForWriting) {
  Image image;
  EXPECT_EQ(bm->LockImage(cookie, image.handle()), nullptr);  // empty
  EXPECT_EQ(bm->LockImage(cookie, nullptr), nullptr);
  EXPECT_EQ(bm->OpenForWriting(cookie, image.handle()), nullptr);
  const ImageDescriptor want = shape(7, 2, kGrey8);
  ImageDescriptor* created = bm->CreateImage(cookie, image.handle(), &want);
  ASSERT_NE(created, nullptr);
  EXPECT_EQ(created->width, 7u);
  EXPECT_EQ(created->rowBytes, image.rowBytes());
  EXPECT_GT(created->rowBytes, 7u);
  EXPECT_EQ(created->baseAddress, image.data());
  EXPECT_EQ(bm->LockImage(cookie, image.handle()), created);
  EXPECT_EQ(bm->CreateImage(cookie, image.handle(), nullptr), nullptr);
  const uint32_t stamp = bm->ImageStamp(cookie, image.handle());
  EXPECT_EQ(bm->ImageStamp(cookie, image.handle()), stamp);
  ASSERT_NE(bm->OpenForWriting(cookie, image.handle()), nullptr);
  EXPECT_NE(bm->ImageStamp(cookie, image.handle()), stamp);
  EXPECT_EQ(bm->ImageStamp(cookie, nullptr), 0u);
  const double unit[4] = {0, 0, 1, 1};
  EXPECT_EQ(bm->PrepareDestination(cookie, created, &want, unit, 0, 0, 1.0f), 1u);
  EXPECT_EQ(bm->PrepareDestination(cookie, nullptr, &want, unit, 0, 0, 1.0f), 0u);
}

TEST_F(BitmapServiceTest, CacheImageSurvivesAndCopiesToTheOutput) {
  ValueRecord request{};
  EXPECT_EQ(bm->CacheImage(cookie, nullptr), nullptr);
  HostImage* cache = bm->CacheImage(cookie, &request);
  ASSERT_NE(cache, nullptr);
  EXPECT_EQ(bm->LockImage(cookie, cache), nullptr);  // nothing cached yet
  Image output;
  const ImageDescriptor size = shape(3, 3, kARGB32);
  EXPECT_EQ(bm->CopyCacheToOutput(cookie, cache, output.handle(), &size), 0u);
  Image frame = patterned(3, 3, kARGB32);
  ASSERT_EQ(bm->CopyImage(cookie, frame.handle(), &size, cache, &size), 1u);
  EXPECT_EQ(bm->CacheImage(cookie, &request), cache);
  ASSERT_NE(bm->LockImage(cookie, cache), nullptr);
  ASSERT_EQ(bm->CopyCacheToOutput(cookie, cache, output.handle(), &size), 1u);
  EXPECT_TRUE(samePixels(output, frame));
  EXPECT_TRUE(samePixels(instance->cacheImage(), frame));
}

TEST_F(BitmapServiceTest, FillRectClipsAndRefusesUnknownPixels) {
  Image image = patterned(5, 4, kARGB32);
  const Image before = image;
  const HostRect r = rect(-2, 3, 2, 50);  // rows 0..1, columns 3..4 after clipping
  ASSERT_EQ(bm->FillRect(cookie, image.mutableData(), image.rowBytes(), kARGB32, &r, 0, 0, 1.0f), 1u);
  for (uint32_t y = 0; y < 4; ++y)
    for (uint32_t x = 0; x < 5; ++x)
      EXPECT_EQ(image.pixel(x, y), (x >= 3 && y < 2) ? 0u : before.pixel(x, y)) << x << "," << y;
  int other[16] = {};
  EXPECT_EQ(bm->FillRect(cookie, other, 64, kARGB32, &r, 0, 0, 1.0f), 0u);
  EXPECT_EQ(bm->FillRect(cookie, image.mutableData(), image.rowBytes() - 4, kARGB32, &r, 0, 0, 1.0f), 0u);
  EXPECT_EQ(bm->FillRect(cookie, image.mutableData(), image.rowBytes(), kGrey8, &r, 0, 0, 1.0f), 0u);
  EXPECT_EQ(bm->FillRect(cookie, image.mutableData(), image.rowBytes(), kARGB32, nullptr, 0, 0, 1.0f), 0u);
  const HostRect nan = rect(std::nan(""), 0, 1, 1);
  EXPECT_EQ(bm->FillRect(cookie, image.mutableData(), image.rowBytes(), kARGB32, &nan, 0, 0, 1.0f), 0u);
  const HostRect whole = rect(0, 0, 4, 5);
  ASSERT_EQ(bm->FillRect(cookie, image.mutableData(), image.rowBytes(), kARGB32, &whole, 0, 0, 1.0f), 1u);
  EXPECT_EQ(image.pixel(0, 0), 0u);
  ASSERT_EQ(bm->FillRect(cookie, image.mutableData(), image.rowBytes(), kARGB32, &whole, 0xFF0000FF, 0, 0.5f), 1u);
  EXPECT_EQ(image.pixel(0, 0), 0x80000080u);  // half way from transparent black to opaque blue
}

TEST_F(BitmapServiceTest, BlitRectCopiesClippedAndRefusesUnknownPixels) {
  const Image input = patterned(6, 5, kGrey8);
  Image source = input;
  Image target(6, 5, kGrey8);
  const HostRect from = rect(1, 2, 5, 6);          // 4 rows x 4 columns
  const HostRect to = rect(-1, 4, 3, 8);           // partly above and right of the target
  ASSERT_EQ(bm->BlitRect(cookie, source.data(), source.rowBytes(), kGrey8, &from, target.mutableData(),
                         target.rowBytes(), kGrey8, &to, 1.0f),
            1u);
  // Target rows 0..2, columns 4..5 receive source rows 2..4, columns 2..3.
  for (uint32_t y = 0; y < 5; ++y)
    for (uint32_t x = 0; x < 6; ++x) {
      const uint32_t want = (y <= 2 && x >= 4) ? input.pixel(x - 2, y + 2) : 0u;
      EXPECT_EQ(target.pixel(x, y), want) << x << "," << y;
    }
  EXPECT_TRUE(samePixels(source, input));
  int other[16] = {};
  EXPECT_EQ(bm->BlitRect(cookie, other, 64, kGrey8, &from, target.mutableData(), target.rowBytes(), kGrey8, &to,
                         1.0f),
            0u);
  EXPECT_EQ(bm->BlitRect(cookie, source.data(), source.rowBytes(), kGrey8, &from, other, 64, kGrey8, &to, 1.0f), 0u);
  const HostRect infinite = rect(0, 0, std::numeric_limits<double>::infinity(), 1e300);
  EXPECT_EQ(bm->BlitRect(cookie, source.data(), source.rowBytes(), kGrey8, &infinite, target.mutableData(),
                         target.rowBytes(), kGrey8, &infinite, 1.0f),
            1u);
  EXPECT_TRUE(samePixels(target, input));
}

}  // namespace
}  // namespace tessivo::host
