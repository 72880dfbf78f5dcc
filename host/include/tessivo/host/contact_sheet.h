// A contact sheet: labelled tiles laid out in a grid on one ARGB image.
#pragma once

#include "tessivo/host/image.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tessivo::host {

struct ContactTile {
  std::string label;
  Image image;  // any size and format; conformed to the tile size
};

struct ContactSheetLayout {
  uint32_t tileWidth = 480;
  uint32_t tileHeight = 270;
  uint32_t columns = 0;  // 0: about square (ceil(sqrt(n)))
  uint32_t gap = 8;      // between tiles and around the sheet
  uint32_t labelScale = 2;
};

// Tiles left to right, top to bottom, each with its label drawn in a strip
// under it. Throws HostError when there are no tiles or the sheet is too large.
Image makeContactSheet(const std::vector<ContactTile>& tiles, const ContactSheetLayout& layout = {});

}  // namespace tessivo::host
