// Parsing of the short texts users type for setting and control values.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tessivo/host/user_values.h"

namespace tessivo::host {

bool equalsIgnoreCase(std::string_view a, std::string_view b);
std::string_view trimmed(std::string_view text);
// "Mode :" -> "Mode": trims and drops a trailing colon.
std::string captionFromLabel(std::string_view label);

// Whole-text parses; nullopt when the text is not entirely one such value.
std::optional<std::int64_t> parseInteger(std::string_view text);  // decimal, or 0x hex
std::optional<double> parseDouble(std::string_view text);
std::optional<bool> parseBoolean(std::string_view text);  // true/false on/off yes/no 1/0

std::string formatRgb(std::uint32_t rgb);  // "#rrggbb"

}  // namespace tessivo::host
