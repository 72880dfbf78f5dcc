// PNG stills: round trips through both pixel formats, other PNG layouts, and
// files that must be refused.
#include <gtest/gtest.h>
#include <png.h>

#include <filesystem>
#include <fstream>

#include "tessivo/host/error.h"
#include "tessivo/host/image.h"
#include "tessivo/host/image_file.h"

namespace fs = std::filesystem;
using namespace tessivo::host;

namespace {

fs::path scratchFile(const std::string &name) {
  return fs::temp_directory_path() / ("tessivo-png-" + std::to_string(::getpid()) + "-" + name);
}

std::string bytesOf(const fs::path &path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

void writeBytes(const fs::path &path, const std::string &bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

std::string readError(const fs::path &path) {
  try {
    readPng(path);
  } catch (const HostError &e) {
    return e.what();
  }
  return "no error";
}

std::uint32_t crc(const std::string &bytes) {
  std::uint32_t value = 0xFFFFFFFFu;
  for (unsigned char byte : bytes) {
    value ^= byte;
    for (int bit = 0; bit < 8; ++bit) value = (value >> 1) ^ (0xEDB88320u & (0u - (value & 1u)));
  }
  return ~value;
}

void putBigEndian(std::string &bytes, std::size_t at, std::uint32_t value) {
  for (int i = 0; i < 4; ++i) bytes[at + i] = static_cast<char>(value >> (24 - 8 * i));
}

}  // namespace

TEST(PngFile, ArgbAndGreyRoundTripWithPaddedRows) {
  Image argb(7, 5, kARGB32);
  ASSERT_GT(argb.rowBytes(), 7u * 4u);
  for (std::uint32_t y = 0; y < 5; ++y)
    for (std::uint32_t x = 0; x < 7; ++x) argb.setPixel(x, y, 0x01000000u * (x * 37 + y) + 0x00123456u * (x + 3 * y));
  const fs::path argbFile = scratchFile("argb.png");
  writePng(argbFile, argb);
  const Image argbBack = readPng(argbFile);
  ASSERT_EQ(argbBack.width(), 7u);
  ASSERT_EQ(argbBack.height(), 5u);
  ASSERT_EQ(argbBack.pixelFormat(), kARGB32);
  for (std::uint32_t y = 0; y < 5; ++y)
    for (std::uint32_t x = 0; x < 7; ++x) ASSERT_EQ(argbBack.pixel(x, y), argb.pixel(x, y)) << x << "," << y;

  Image grey(9, 3, kGrey8);
  for (std::uint32_t y = 0; y < 3; ++y)
    for (std::uint32_t x = 0; x < 9; ++x) grey.setPixel(x, y, (x * 29 + y * 101) & 0xFF);
  const fs::path greyFile = scratchFile("grey.png");
  writePng(greyFile, grey);
  const Image greyBack = readPng(greyFile, PngTarget::Grey);
  const Image greyAsArgb = readPng(greyFile);
  ASSERT_EQ(greyBack.pixelFormat(), kGrey8);
  for (std::uint32_t y = 0; y < 3; ++y)
    for (std::uint32_t x = 0; x < 9; ++x) {
      const std::uint32_t v = grey.pixel(x, y);
      ASSERT_EQ(greyBack.pixel(x, y), v);
      ASSERT_EQ(greyAsArgb.pixel(x, y), 0xFF000000u | v << 16 | v << 8 | v);
    }
  fs::remove(argbFile);
  fs::remove(greyFile);
}

// Palette and 16-bit files, as other programs write them.
TEST(PngFile, ReadsPaletteAndSixteenBitFiles) {
  const fs::path file = scratchFile("other.png");
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = 2;
  image.height = 1;
  image.format = PNG_FORMAT_RGBA | PNG_FORMAT_FLAG_COLORMAP;
  image.colormap_entries = 2;
  const unsigned char colormap[] = {255, 0, 0, 255, 0, 0, 255, 128};
  const unsigned char indexes[] = {1, 0};
  ASSERT_TRUE(png_image_write_to_file(&image, file.c_str(), 0, indexes, 0, colormap));
  Image palette = readPng(file);
  EXPECT_EQ(palette.pixel(0, 0), 0x800000FFu);
  EXPECT_EQ(palette.pixel(1, 0), 0xFFFF0000u);

  png_image deep{};
  deep.version = PNG_IMAGE_VERSION;
  deep.width = 2;
  deep.height = 1;
  deep.format = PNG_FORMAT_LINEAR_Y_ALPHA;
  const png_uint_16 pixels[] = {65535, 65535, 0, 65535};
  ASSERT_TRUE(png_image_write_to_file(&deep, file.c_str(), 0, pixels, 0, nullptr));
  Image sixteen = readPng(file);
  EXPECT_EQ(sixteen.pixel(0, 0), 0xFFFFFFFFu);
  EXPECT_EQ(sixteen.pixel(1, 0), 0xFF000000u);
  fs::remove(file);
}

TEST(PngFile, BrokenFilesAreRefusedClearly) {
  const fs::path good = scratchFile("good.png");
  Image image(64, 64, kARGB32);
  for (std::uint32_t y = 0; y < 64; ++y)
    for (std::uint32_t x = 0; x < 64; ++x) image.setPixel(x, y, x * 2654435761u ^ y * 40503u);
  writePng(good, image);
  const std::string bytes = bytesOf(good);

  const fs::path bad = scratchFile("bad.png");
  writeBytes(bad, bytes.substr(0, bytes.size() / 2));
  EXPECT_NE(readError(bad).find("truncated or corrupt"), std::string::npos) << readError(bad);
  writeBytes(bad, bytes.substr(0, 20));
  EXPECT_NE(readError(bad).find("bad.png: corrupt PNG header"), std::string::npos) << readError(bad);

  writeBytes(bad, "P6\n1 1\n255\nabc");
  EXPECT_NE(readError(bad).find("not a PNG file"), std::string::npos);
  EXPECT_NE(readError(scratchFile("absent.png")).find("cannot open"), std::string::npos);

  // A header claiming 100000 x 1 pixels (with a valid checksum) is refused.
  std::string huge = bytes;
  putBigEndian(huge, 16, 100000);
  putBigEndian(huge, 29, crc(huge.substr(12, 17)));
  writeBytes(bad, huge);
  EXPECT_NE(readError(bad).find("bad.png: corrupt PNG header"), std::string::npos) << readError(bad);

  // A failed write leaves the old file as it was.
  EXPECT_THROW(writePng(good, Image()), HostError);
  EXPECT_THROW(writePng(scratchFile("missing") / "x.png", image), HostError);
  EXPECT_EQ(bytesOf(good), bytes);
  fs::remove(good);
  fs::remove(bad);
}
