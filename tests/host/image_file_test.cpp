// PNG stills: round trips through both pixel formats, other PNG layouts, and
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

TEST(PngFile, ArgbGreyAndPaletteFilesRoundTrip) {
  testing::ScratchFolder folder;
  const Image argb = testing::patterned(7, 5, kARGB32), grey = testing::patterned(9, 3, kGrey8);
  ASSERT_TRUE(argb.rowBytes() > 7u * 4u && grey.rowBytes() > 9u);  // padded rows
  writePng(folder / "argb.png", argb);
  writePng(folder / "grey.png", grey);
  EXPECT_TRUE(samePixels(readPng(folder / "argb.png"), argb) && samePixels(readPng(folder / "grey.png", PngTarget::Grey), grey));
  EXPECT_TRUE(samePixels(readPng(folder / "grey.png"), convert(grey, kARGB32)));

  // Palette files, as other programs write them.
  png_image image{};
  image.version = PNG_IMAGE_VERSION, image.width = 2, image.height = 1, image.colormap_entries = 2;
  image.format = PNG_FORMAT_RGBA | PNG_FORMAT_FLAG_COLORMAP;
  const unsigned char colormap[] = {255, 0, 0, 255, 0, 0, 255, 128}, indexes[] = {1, 0};
  ASSERT_TRUE(png_image_write_to_file(&image, (folder / "p.png").c_str(), 0, indexes, 0, colormap));
  const Image palette = readPng(folder / "p.png");
  EXPECT_TRUE(palette.pixel(0, 0) == 0x800000FFu && palette.pixel(1, 0) == 0xFFFF0000u);
}

std::uint32_t crc(const std::string &bytes) {
  std::uint32_t value = 0xFFFFFFFFu;
  for (unsigned char byte : bytes) {
    value ^= byte;
    for (int bit = 0; bit < 8; ++bit) value = (value >> 1) ^ (0xEDB88320u & (0u - (value & 1u)));
  }
  return ~value;
}

TEST(PngFile, BrokenFilesAreRefusedClearly) {
  testing::ScratchFolder folder;
  const Image image = testing::patterned(64, 64, kARGB32);
  writePng(folder / "good.png", image);
  const std::string bytes = readText(folder / "good.png");
  // A header claiming 100000 x 1 pixels, with a valid checksum.
  std::string huge = bytes;
  for (int i = 0; i < 4; ++i) huge[16 + i] = static_cast<char>(100000u >> (24 - 8 * i));
  const std::uint32_t sum = crc(huge.substr(12, 17));
  for (int i = 0; i < 4; ++i) huge[29 + i] = static_cast<char>(sum >> (24 - 8 * i));
  const std::pair<std::string, std::string> cases[] = {
      {bytes.substr(0, bytes.size() / 2), "bad.png: truncated or corrupt"},
      {bytes.substr(0, 20), "bad.png: corrupt PNG header"},
      {"P6\n1 1\n255\nabc", "bad.png: not a PNG file"},
      {huge, "bad.png: corrupt PNG header"}};
  for (const auto &[content, expected] : cases) {
    writeText(folder / "bad.png", content);
    const std::string message = errorOf([&] { readPng(folder / "bad.png"); });
    EXPECT_NE(message.find(expected), std::string::npos) << message;
  }
  EXPECT_NE(errorOf([&] { readPng(folder / "absent.png"); }).find("cannot open"), std::string::npos);
  // A failed write leaves the old file as it was.
  EXPECT_THROW(writePng(folder / "good.png", Image()), HostError);
  EXPECT_THROW(writePng(folder / "missing" / "x.png", image), HostError);
  EXPECT_EQ(readText(folder / "good.png"), bytes);
}

}  // namespace
}  // namespace tessivo::host
