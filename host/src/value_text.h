// Parsing of the short texts users type for setting and control values.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tessivo::host {

bool equalsIgnoreCase(std::string_view a, std::string_view b);
std::string_view trimmed(std::string_view text);
// "Mode :" -> "Mode": trims and drops a trailing colon.
std::string captionFromLabel(std::string_view label);

// Whole-text parses; nullopt when the text is not entirely one such value.
std::optional<std::int64_t> parseInteger(std::string_view text);  // decimal, or 0x hex
std::optional<double> parseDouble(std::string_view text);
std::optional<bool> parseBoolean(std::string_view text);  // true/false on/off yes/no 1/0

struct HexColor {
  std::uint32_t argb = 0;  // alpha 0xFF when the text gave none
  bool hasAlpha = false;
};
std::optional<HexColor> parseHexColor(std::string_view text);  // #RRGGBB or #AARRGGBB
std::string formatRgb(std::uint32_t rgb);                        // "#rrggbb"

}  // namespace tessivo::host
