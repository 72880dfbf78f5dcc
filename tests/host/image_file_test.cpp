// Still images: exact round trips in every lossless format and both pixel
// formats, what a file's alpha, depth and metadata do to the pixels read, and
// files that must be refused.
#include <png.h>

#include "host_test_support.h"
#include "tessivo/host/image_file.h"
#include "tessivo/host/image_ops.h"

namespace tessivo::host {
namespace {

using testing::errorOf;
using testing::readText;
using testing::writeText;

// Write options from defaults with one change.
template <class F>
ImageWriteOptions options(F change) {
  ImageWriteOptions write;
  change(write);
  return write;
}

Image opaque(Image image) {
  for (uint32_t y = 0; y < image.height(); ++y)
    for (uint32_t x = 0; x < image.width(); ++x) image.setPixel(x, y, image.pixel(x, y) | 0xFF000000u);
  return image;
}

TEST(ImageFile, LosslessFormatsRoundTripBothPixelFormats) {
  testing::ScratchFolder folder;
  const Image argb = testing::patterned(7, 5, kARGB32), grey = testing::patterned(9, 3, kGrey8);
  ASSERT_TRUE(argb.rowBytes() > 7u * 4u && grey.rowBytes() > 9u);  // padded rows
  for (const char *extension : {"png", "tif", "bmp", "exr"}) {
    const std::string name = std::string("a.") + extension;
    writeImage(folder / name, argb);
    const ImageFile file = readImageFile(folder / name);
    EXPECT_TRUE(samePixels(file.image, argb) && file.hasAlpha) << extension;
    writeImage(folder / name, grey);
    EXPECT_TRUE(samePixels(readImage(folder / name, ImageTarget::Grey), grey)) << extension;
    EXPECT_TRUE(samePixels(readImage(folder / name), convert(grey, kARGB32))) << extension;
  }
  // The format comes from the bytes: a JPEG named .png still reads, near its
  // smooth source, and its quality option is used.
  Image smooth(16, 16, kARGB32);
  for (uint32_t y = 0; y < 16; ++y)
    for (uint32_t x = 0; x < 16; ++x) smooth.setPixel(x, y, 0xFF000080u | x * 16 << 16 | y * 16 << 8);
  writeImage(folder / "jpeg.png", smooth, options([](auto &o) { o.format = "jpg", o.quality = 100; }));
  const ImageFile jpeg = readImageFile(folder / "jpeg.png");
  EXPECT_TRUE(jpeg.format == "jpeg" && !jpeg.hasAlpha);
  for (uint32_t x = 0; x < 16; ++x)
    EXPECT_NEAR(int(jpeg.image.pixel(x, 5) >> 16 & 0xFF), int(x * 16), 6) << x;
  EXPECT_GT(readText(folder / "jpeg.png").size(),
            encodeImage(smooth, "jpeg", options([](auto &o) { o.quality = 10; })).size());
}

TEST(ImageFile, AlphaIsWrittenOnlyWhenItCarriesSomething) {
  testing::ScratchFolder folder;
  const Image translucent = testing::patterned(6, 4, kARGB32), solid = opaque(translucent);
  const auto alphaAfterWrite = [&](const Image &image, bool keepAlpha) {
    writeImage(folder / "x.png", image, options([&](auto &o) { o.keepAlpha = keepAlpha; }));
    return readImageFile(folder / "x.png").hasAlpha;
  };
  EXPECT_FALSE(alphaAfterWrite(solid, false));       // an opaque input stays RGB
  EXPECT_TRUE(alphaAfterWrite(solid, true));         // the input had alpha
  EXPECT_TRUE(alphaAfterWrite(translucent, false));  // the result needs it
  EXPECT_TRUE(samePixels(readImage(folder / "x.png"), translucent));
  // Alpha stays unassociated: colour under low alpha comes back as written.
  Image faint(1, 1, kARGB32);
  faint.setPixel(0, 0, 0x02C08040u);
  for (const char *name : {"f.png", "f.tif", "f.webp"}) {
    writeImage(folder / name, faint, options([](auto &o) { o.quality = 100; }));
    EXPECT_EQ(readImage(folder / name).pixel(0, 0) & 0xFF000000u, 0x02000000u) << name;
    if (std::string(name) != "f.webp") {
      EXPECT_EQ(readImage(folder / name).pixel(0, 0), 0x02C08040u) << name;
    }
  }
}

// The one PNG layout other programs write that ours does not: palette and 16-bit.
TEST(ImageFile, PaletteAndSixteenBitPngsReachEightBits) {
  testing::ScratchFolder folder;
  png_image image{};
  image.version = PNG_IMAGE_VERSION, image.width = 2, image.height = 1, image.colormap_entries = 2;
  image.format = PNG_FORMAT_RGBA | PNG_FORMAT_FLAG_COLORMAP;
  const unsigned char colormap[] = {255, 0, 0, 255, 0, 0, 255, 128}, indexes[] = {1, 0};
  ASSERT_TRUE(png_image_write_to_file(&image, (folder / "p.png").c_str(), 0, indexes, 0, colormap));
  const Image palette = readImage(folder / "p.png");
  EXPECT_TRUE(palette.pixel(0, 0) == 0x800000FFu && palette.pixel(1, 0) == 0xFFFF0000u);

  png_image deep{};
  deep.version = PNG_IMAGE_VERSION, deep.width = 2, deep.height = 1;
  deep.format = PNG_FORMAT_LINEAR_RGB_ALPHA;
  const png_uint_16 samples[] = {65535, 32896, 257, 65535, 0, 128, 65535, 65535};
  ASSERT_TRUE(png_image_write_to_file(&deep, (folder / "d.png").c_str(), 0, samples, 0, nullptr));
  const ImageFile file = readImageFile(folder / "d.png");
  EXPECT_TRUE(file.hasAlpha);
  EXPECT_EQ(file.image.pixel(0, 0), 0xFFFF8001u);
  EXPECT_EQ(file.image.pixel(1, 0), 0xFF0000FFu);
}

std::uint32_t crc(const std::string &bytes) {
  std::uint32_t value = 0xFFFFFFFFu;
  for (unsigned char byte : bytes) {
    value ^= byte;
    for (int bit = 0; bit < 8; ++bit) value = (value >> 1) ^ (0xEDB88320u & (0u - (value & 1u)));
  }
  return ~value;
}

std::string bigEndian(std::uint32_t value) {
  return {static_cast<char>(value >> 24), static_cast<char>(value >> 16), static_cast<char>(value >> 8),
          static_cast<char>(value)};
}

// A file's colour metadata never changes the pixels read, nor their grey.
TEST(ImageFile, GammaChunkChangesNoPixel) {
  testing::ScratchFolder folder;
  const Image image = testing::patterned(8, 8, kARGB32);
  writeImage(folder / "plain.png", image);
  std::string bytes = readText(folder / "plain.png");
  const std::string chunk = "gAMA" + bigEndian(100000);  // gamma 1.0
  bytes.insert(33, bigEndian(4) + chunk + bigEndian(crc(chunk)));  // after the 8-byte signature and 25-byte IHDR
  writeText(folder / "gamma.png", bytes);
  EXPECT_TRUE(samePixels(readImage(folder / "gamma.png"), image));
  EXPECT_TRUE(samePixels(readImage(folder / "gamma.png", ImageTarget::Grey), readImage(folder / "plain.png", ImageTarget::Grey)));
  EXPECT_TRUE(samePixels(readImage(folder / "plain.png", ImageTarget::Grey), convert(image, kGrey8)));
}

TEST(ImageFile, PngLevelTradesSizeForSpeed) {
  testing::ScratchFolder folder;
  Image image(256, 256, kARGB32);
  for (uint32_t y = 0; y < 256; ++y)
    for (uint32_t x = 0; x < 256; ++x) image.setPixel(x, y, 0xFF000000u | (x / 8) << 16 | (y / 8) << 8);
  EXPECT_GT(encodeImage(image, "png", options([](auto &o) { o.pngLevel = 0; })).size(), 2 * encodeImage(image, "png", options([](auto &o) { o.pngLevel = 9; })).size());
}

TEST(ImageFile, FormatsAreChosenByNameOrOption) {
  EXPECT_EQ(imageFormatFor("a/b.JPG", ""), "jpeg");
  EXPECT_EQ(imageFormatFor("b.tif", ""), "tiff");
  EXPECT_EQ(imageFormatFor("b.exr", ""), "openexr");
  EXPECT_EQ(imageFormatFor("-", ""), "png");
  EXPECT_EQ(imageFormatFor("/dev/stdout", ""), "png");
  EXPECT_EQ(imageFormatFor("b.png", "webp"), "webp");
  EXPECT_NE(errorOf([] { imageFormatFor("b.xyz", ""); }).find("--format"), std::string::npos);
  EXPECT_NE(errorOf([] { imageFormatFor("b.png", "gif"); }).find("unknown image format \"gif\""), std::string::npos);
}

TEST(ImageFile, BrokenFilesAreRefusedClearly) {
  testing::ScratchFolder folder;
  const Image image = testing::patterned(64, 64, kARGB32);
  writeImage(folder / "good.png", image);
  const std::string bytes = readText(folder / "good.png");
  // A header claiming 100000 x 64 pixels, with a valid checksum.
  std::string huge = bytes;
  huge.replace(16, 4, bigEndian(100000));
  huge.replace(29, 4, bigEndian(crc(huge.substr(12, 17))));
  const std::pair<std::string, std::string> cases[] = {
      {bytes.substr(0, bytes.size() / 2), "bad.png: truncated or corrupt PNG data"},
      {bytes.substr(0, 20), "bad.png: corrupt PNG header"},
      {"hello, world", "bad.png: not an image this build reads"},
      {"", "bad.png: empty file"},
      {huge, "bad.png: image size 100000x64 is not accepted"}};
  for (const auto &[content, expected] : cases) {
    writeText(folder / "bad.png", content);
    const std::string message = errorOf([&] { readImage(folder / "bad.png"); });
    EXPECT_NE(message.find(expected), std::string::npos) << message;
    EXPECT_EQ(message.find('\n'), std::string::npos) << message;
  }
  EXPECT_NE(errorOf([&] { readImage(folder / "absent.png"); }).find("cannot open"), std::string::npos);
  // A failed write leaves the old file as it was, and nothing beside it.
  EXPECT_THROW(writeImage(folder / "good.png", Image()), HostError);
  EXPECT_THROW(writeImage(folder / "missing" / "x.png", image), HostError);
  EXPECT_EQ(readText(folder / "good.png"), bytes);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path), {}), 2);  // good.png, bad.png
}

}  // namespace
}  // namespace tessivo::host
