#include "host_test_support.h"
#include "tessivo/host/image_ops.h"
#include "tessivo/host/instance.h"

#include <cmath>
#include <limits>

namespace tessivo::host {
namespace {

using testing::patterned;

class BitmapServiceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    bundle = testing::loadBundle(), instance = Instance::create(*bundle, FourCC("fadr"));
    bm = instance->bitmapService(), cookie = bm->cookie;
  }
  static ImageDescriptor shape(uint32_t w, uint32_t h, uint32_t format) {
    ImageDescriptor d{};
    d.width = w, d.height = h, d.pixelFormat = format;
    return d;
  }
  uint32_t fill(Image& image, const HostRect& r, uint32_t colour = 0, float opacity = 1.0f, uint32_t rowBytes = 0,
                uint32_t format = kARGB32) {
    return bm->FillRect(cookie, image.mutableData(), rowBytes ? rowBytes : image.rowBytes(), format, &r, colour, 0,
                        opacity);
  }
  // Grey pixels, every row `stride` bytes apart.
  uint32_t blitRect(const void* from, const HostRect& fromRect, void* to, const HostRect& toRect) {
    return bm->BlitRect(cookie, from, stride, kGrey8, &fromRect, to, stride, kGrey8, &toRect, 1.0f);
  }

  std::unique_ptr<Bundle> bundle;
  std::unique_ptr<Instance> instance;
  const BitmapService* bm = nullptr;
  void* cookie = nullptr;
  uint32_t stride = 0;
};

TEST_F(BitmapServiceTest, CopyImageConvertsClipsAndRefusesBadArguments) {
  Image source = patterned(4, 3, kARGB32), target;
  const ImageDescriptor bigger = shape(6, 5, kARGB32);
  ASSERT_EQ(bm->CopyImage(cookie, source.handle(), &bigger, target.handle(), &bigger), 1u);
  ASSERT_TRUE(target.width() == 6u && target.height() == 5u && target.pixel(3, 2) == source.pixel(3, 2));
  EXPECT_TRUE(target.pixel(4, 2) == 0u && target.pixel(0, 4) == 0u);  // beyond the source: cleared, never read
  const ImageDescriptor grey = shape(2, 2, kGrey8);
  ASSERT_EQ(bm->CopyImage(cookie, source.handle(), nullptr, target.handle(), &grey), 1u);
  EXPECT_EQ(target.pixel(1, 1), luminance(source.pixel(1, 1)));

  const uint32_t stamp = target.stamp();
  const ImageDescriptor ok = shape(4, 3, kARGB32), bad[] = {shape(4, 3, 1), shape(0, 3, kARGB32), shape(kMaxImageSide + 1, 1, kARGB32)};
  int notAnImage = 0;
  auto* bogus = reinterpret_cast<HostImage*>(&notAnImage);
  EXPECT_FALSE(bm->CopyImage(cookie, nullptr, &ok, target.handle(), &ok) ||
               bm->CopyImage(cookie, bogus, &ok, target.handle(), &ok) ||
               bm->CopyImage(cookie, source.handle(), &ok, bogus, &ok) ||
               bm->CopyImage(cookie, source.handle(), &ok, target.handle(), nullptr) ||
               bm->CopyImage(&notAnImage, source.handle(), &ok, target.handle(), &ok));  // unknown cookie
  for (const ImageDescriptor& d : bad) EXPECT_EQ(bm->CopyImage(cookie, source.handle(), &ok, target.handle(), &d), 0u);
  EXPECT_TRUE(target.stamp() == stamp && target.width() == 2u);
}

TEST_F(BitmapServiceTest, CreateLockStampAndOpenForWriting) {
  Image image;
  EXPECT_TRUE(bm->LockImage(cookie, image.handle()) == nullptr && bm->OpenForWriting(cookie, image.handle()) == nullptr);
  const ImageDescriptor want = shape(7, 2, kGrey8);
  ImageDescriptor* created = bm->CreateImage(cookie, image.handle(), &want);
  ASSERT_NE(created, nullptr);
  EXPECT_TRUE(created->width == 7u && created->rowBytes == image.rowBytes() && created->baseAddress == image.data());
  EXPECT_TRUE(bm->LockImage(cookie, image.handle()) == created && !bm->CreateImage(cookie, image.handle(), nullptr));
  const uint32_t stamp = bm->ImageStamp(cookie, image.handle());
  ASSERT_TRUE(bm->ImageStamp(cookie, image.handle()) == stamp && bm->OpenForWriting(cookie, image.handle()) != nullptr);
  EXPECT_TRUE(bm->ImageStamp(cookie, image.handle()) != stamp && bm->ImageStamp(cookie, nullptr) == 0u);
}

TEST_F(BitmapServiceTest, CacheImageSurvivesAndCopiesToTheOutput) {
  ValueRecord request{};
  HostImage* cache = bm->CacheImage(cookie, &request);
  ASSERT_TRUE(cache != nullptr && bm->CacheImage(cookie, nullptr) == nullptr);
  Image output, frame = patterned(3, 3, kARGB32);
  const ImageDescriptor size = shape(3, 3, kARGB32);
  EXPECT_TRUE(bm->LockImage(cookie, cache) == nullptr &&  // nothing cached yet
              bm->CopyCacheToOutput(cookie, cache, output.handle(), &size) == 0u);
  ASSERT_EQ(bm->CopyImage(cookie, frame.handle(), &size, cache, &size), 1u);
  ASSERT_TRUE(bm->CacheImage(cookie, &request) == cache && bm->LockImage(cookie, cache) != nullptr);
  ASSERT_EQ(bm->CopyCacheToOutput(cookie, cache, output.handle(), &size), 1u);
  EXPECT_TRUE(samePixels(output, frame) && samePixels(instance->cacheImage(), frame));
}

TEST_F(BitmapServiceTest, FillRectClipsBlendsAndRefusesUnknownPixels) {
  Image image = patterned(5, 4, kARGB32);
  const Image before = image;
  const HostRect r{-2, 3, 2, 50};  // top, left, bottom, right: rows 0..1, columns 3..4 after clipping
  int other[16] = {};
  EXPECT_FALSE(bm->FillRect(cookie, other, 64, kARGB32, &r, 0, 0, 1.0f) ||
               bm->FillRect(cookie, image.mutableData(), image.rowBytes(), kARGB32, nullptr, 0, 0, 1.0f) ||
               fill(image, r, 0, 1.0f, image.rowBytes() - 4) || fill(image, r, 0, 1.0f, 0, kGrey8) ||
               fill(image, HostRect{std::nan(""), 0, 1, 1}));
  EXPECT_TRUE(samePixels(image, before));
  ASSERT_EQ(fill(image, r), 1u);
  for (uint32_t y = 0; y < 4; ++y)
    for (uint32_t x = 0; x < 5; ++x)
      EXPECT_EQ(image.pixel(x, y), (x >= 3 && y < 2) ? 0u : before.pixel(x, y)) << x << "," << y;
  ASSERT_TRUE(fill(image, HostRect{0, 0, 4, 5}) && fill(image, HostRect{0, 0, 4, 5}, 0xFF0000FF, 0.5f));
  EXPECT_EQ(image.pixel(0, 0), 0x80000080u);  // half way from transparent black to opaque blue
}

TEST_F(BitmapServiceTest, BlitRectCopiesClippedAndRefusesUnknownPixels) {
  const Image input = patterned(6, 5, kGrey8);
  Image source = input, target(6, 5, kGrey8);
  stride = target.rowBytes();
  // 4 x 4 pixels into a place partly above and right of the target.
  ASSERT_EQ(blitRect(source.data(), HostRect{1, 2, 5, 6}, target.mutableData(), HostRect{-1, 4, 3, 8}), 1u);
  // Target rows 0..2, columns 4..5 receive source rows 2..4, columns 2..3.
  for (uint32_t y = 0; y < 5; ++y)
    for (uint32_t x = 0; x < 6; ++x)
      EXPECT_EQ(target.pixel(x, y), (y <= 2 && x >= 4) ? input.pixel(x - 2, y + 2) : 0u) << x << "," << y;
  EXPECT_TRUE(samePixels(source, input));
  int other[16] = {};
  const HostRect one{0, 0, 1, 1};
  EXPECT_FALSE(blitRect(other, one, target.mutableData(), one) || blitRect(source.data(), one, other, one));
  const HostRect infinite{0, 0, std::numeric_limits<double>::infinity(), 1e300};
  EXPECT_TRUE(blitRect(source.data(), infinite, target.mutableData(), infinite) && samePixels(target, input));
}

}  // namespace
}  // namespace tessivo::host
