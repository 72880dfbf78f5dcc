// Contact sheet layout: a dark background, tiles in a grid, a label strip under each tile.
#include "tessivo/host/contact_sheet.h"

#include "tessivo/host/bitmap_font.h"
#include "tessivo/host/error.h"
#include "tessivo/host/image_ops.h"

#include <algorithm>
#include <cmath>

namespace tessivo::host {

namespace {
constexpr uint32_t kBackground = 0xFF202024;
constexpr uint32_t kLabelStrip = 0xFF303036;
constexpr uint32_t kLabelText = 0xFFF0F0F0;
// Transparent areas show a checkerboard of 8-pixel squares in two greys.
constexpr uint32_t kCheckerSquare = 8;
constexpr uint32_t kCheckerLight = 0xFF9A9A9A;
constexpr uint32_t kCheckerDark = 0xFF666666;

uint32_t checker(uint32_t x, uint32_t y) {
  return ((x / kCheckerSquare) + (y / kCheckerSquare)) % 2 == 0 ? kCheckerLight : kCheckerDark;
}
}  // namespace

Image makeContactSheet(const std::vector<ContactTile>& tiles, const ContactSheetLayout& layout) {
  if (tiles.empty()) throw HostError("contact sheet: no tiles");
  if (layout.tileWidth == 0 || layout.tileHeight == 0) throw HostError("contact sheet: empty tile size");
  const uint64_t count = tiles.size();
  uint64_t columns = layout.columns;
  if (columns == 0) columns = static_cast<uint64_t>(std::ceil(std::sqrt(static_cast<double>(count))));
  columns = std::clamp<uint64_t>(columns, 1, count);
  const uint64_t rows = (count + columns - 1) / columns;
  const uint32_t scale = std::max<uint32_t>(1, layout.labelScale);
  const uint64_t stripHeight = textHeight(scale) + 2ull * 3 * scale;
  const uint64_t cellWidth = layout.tileWidth;
  const uint64_t cellHeight = layout.tileHeight + stripHeight;
  const uint64_t width = columns * cellWidth + (columns + 1) * layout.gap;
  const uint64_t height = rows * cellHeight + (rows + 1) * layout.gap;
  if (width > kMaxImageSide || height > kMaxImageSide || width * height * 4 > kMaxImageBytes)
    throw HostError("contact sheet: too large for the host's images");

  Image sheet(static_cast<uint32_t>(width), static_cast<uint32_t>(height), kARGB32);
  fill(sheet, kBackground);
  for (uint64_t i = 0; i < count; ++i) {
    const int64_t left = static_cast<int64_t>(layout.gap + (i % columns) * (cellWidth + layout.gap));
    const int64_t top = static_cast<int64_t>(layout.gap + (i / columns) * (cellHeight + layout.gap));
    const ContactTile& tile = tiles[i];
    if (!tile.image.empty()) {
      // Flattened onto a checkerboard, so that transparency shows as such.
      Image shown = conform(tile.image, layout.tileWidth, layout.tileHeight, kARGB32);
      Image backdrop(layout.tileWidth, layout.tileHeight, kARGB32);
      for (uint32_t y = 0; y < shown.height(); ++y)
        for (uint32_t x = 0; x < shown.width(); ++x) {
          const uint32_t p = shown.pixel(x, y);
          backdrop.setPixel(x, y, blendPixel(checker(x, y), p | 0xFF000000u, static_cast<float>(p >> 24) / 255.0f,
                                             kARGB32));
        }
      blit(backdrop, sheet, left, top);
    }
    const int64_t stripTop = top + layout.tileHeight;
    fillRect(sheet, left, stripTop, static_cast<int64_t>(cellWidth), static_cast<int64_t>(stripHeight), kLabelStrip);
    // Labels wider than the tile are cut at whole characters.
    std::string label = tile.label;
    while (!label.empty() && textWidth(label, scale) + 2 * 3 * scale > cellWidth) label.pop_back();
    drawText(sheet, left + 3 * scale, stripTop + 3 * scale, label, kLabelText, scale);
  }
  return sheet;
}

}  // namespace tessivo::host
