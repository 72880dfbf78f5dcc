// How values are written for people: colours in CSS order, and the nearest
// known name for a mistyped one.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tessivo::host {

// A colour as typed: "#RRGGBB" (opaque), "#RRGGBBAA", a name such as "white" or
// "transparent black", or, for scripts, an integer (decimal or 0x) holding the
// modules' packed 0xAARRGGBB word. Returns that packed word.
struct TypedColor {
  std::uint32_t argb = 0;
  bool hasAlpha = false;  // the text chose the alpha ("#RRGGBB" does not)
};
std::optional<TypedColor> parseColor(std::string_view text);

// "#RRGGBBAA" of a packed 0xAARRGGBB word.
std::string formatColor(std::uint32_t argb);
// The colour's name when it has one ("transparent black"), else nullopt.
std::optional<std::string_view> colorName(std::uint32_t argb);
// "#RRGGBBAA (name)" or "#RRGGBBAA".
std::string describeColor(std::uint32_t argb);

// The candidate closest to text (case-insensitive edit distance) when it is
// close enough to be a likely typo, else nullopt.
std::optional<std::string> closestName(std::string_view text, const std::vector<std::string> &candidates);
// " (did you mean "X"?)" or an empty string.
std::string didYouMean(std::string_view text, const std::vector<std::string> &candidates);

}  // namespace tessivo::host
