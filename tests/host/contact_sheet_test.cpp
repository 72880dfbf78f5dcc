// The contact sheet shows what a tile leaves transparent over a checkerboard.
#include "tessivo/host/contact_sheet.h"

#include <gtest/gtest.h>

namespace tessivo::host {
namespace {

TEST(ContactSheet, TransparencyShowsAsACheckerboard) {
  Image tile(32, 16, kARGB32);
  for (uint32_t y = 0; y < 16; ++y)
    for (uint32_t x = 0; x < 32; ++x) tile.setPixel(x, y, x < 16 ? 0x00FF0000u : 0xFF0000FFu);
  ContactSheetLayout layout;
  layout.tileWidth = 32, layout.tileHeight = 16, layout.gap = 4, layout.labelScale = 1;
  const Image sheet = makeContactSheet({{"t", tile}}, layout);
  const auto at = [&](uint32_t x, uint32_t y) { return sheet.pixel(layout.gap + x, layout.gap + y); };
  // Squares of 8 pixels in two opaque greys, never the hidden red; opaque pixels as they are.
  EXPECT_NE(at(0, 0), at(8, 0));
  for (uint32_t y = 0; y < 16; ++y)
    for (uint32_t x = 0; x < 16; ++x) {
      ASSERT_EQ(at(x, y), ((x / 8 + y / 8) % 2 == 0 ? at(0, 0) : at(8, 0))) << x << "," << y;
      const uint32_t p = at(x, y);
      ASSERT_TRUE(p >> 24 == 0xFF && (p >> 16 & 0xFF) == (p & 0xFF) && (p >> 8 & 0xFF) == (p & 0xFF)) << std::hex << p;
    }
  EXPECT_EQ(at(20, 5), 0xFF0000FFu);
}

}  // namespace
}  // namespace tessivo::host
