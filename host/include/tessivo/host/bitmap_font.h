// A tiny 5x7 bitmap font for labels drawn into host images (contact sheets,
// captions). Covers ASCII letters (drawn as capitals), digits, space and
// common punctuation; other characters draw as a small box.
#pragma once

#include "tessivo/host/image.h"

#include <cstdint>
#include <string_view>

namespace tessivo::host {

inline constexpr uint32_t kGlyphWidth = 5;
inline constexpr uint32_t kGlyphHeight = 7;
inline constexpr uint32_t kGlyphAdvance = kGlyphWidth + 1;  // one column of spacing

// Width and height in pixels of text drawn at this integer scale (scale >= 1).
uint32_t textWidth(std::string_view text, uint32_t scale = 1);
uint32_t textHeight(uint32_t scale = 1);

// Draws text with its top-left corner at (x, y), each font pixel a scale x
// scale square of `value` (in the image's format), clipped to the image.
void drawText(Image& image, int64_t x, int64_t y, std::string_view text, uint32_t value, uint32_t scale = 1);

}  // namespace tessivo::host
