#include "value_text.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace tessivo::host {

namespace {

char lower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }

}  // namespace

bool equalsIgnoreCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (lower(a[i]) != lower(b[i])) return false;
  return true;
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front()))) text.remove_prefix(1);
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) text.remove_suffix(1);
  return text;
}

std::string captionFromLabel(std::string_view label) {
  label = trimmed(label);
  if (!label.empty() && label.back() == ':') label.remove_suffix(1);
  return std::string(trimmed(label));
}

std::optional<std::int64_t> parseInteger(std::string_view text) {
  text = trimmed(text);
  bool negative = false;
  if (!text.empty() && (text.front() == '-' || text.front() == '+')) {
    negative = text.front() == '-';
    text.remove_prefix(1);
  }
  int base = 10;
  if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    base = 16;
    text.remove_prefix(2);
  }
  if (text.empty() || text.front() == '-' || text.front() == '+') return std::nullopt;
  std::uint64_t magnitude = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), magnitude, base);
  if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
  constexpr std::uint64_t kMaxPositive = static_cast<std::uint64_t>(INT64_MAX);
  if (negative) {
    if (magnitude > kMaxPositive + 1) return std::nullopt;
    return magnitude == kMaxPositive + 1 ? INT64_MIN : -static_cast<std::int64_t>(magnitude);
  }
  if (magnitude > kMaxPositive) return std::nullopt;
  return static_cast<std::int64_t>(magnitude);
}

std::optional<double> parseDouble(std::string_view text) {
  text = trimmed(text);
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  if (text.empty()) return std::nullopt;
  double value = 0.0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::optional<bool> parseBoolean(std::string_view text) {
  text = trimmed(text);
  for (std::string_view yes : {"true", "on", "yes", "1"})
    if (equalsIgnoreCase(text, yes)) return true;
  for (std::string_view no : {"false", "off", "no", "0"})
    if (equalsIgnoreCase(text, no)) return false;
  return std::nullopt;
}

std::optional<HexColor> parseHexColor(std::string_view text) {
  text = trimmed(text);
  if (text.empty() || text.front() != '#') return std::nullopt;
  text.remove_prefix(1);
  if (text.size() != 6 && text.size() != 8) return std::nullopt;
  std::uint32_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, 16);
  if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
  if (text.size() == 6) return HexColor{0xFF000000u | value, false};
  return HexColor{value, true};
}

std::string formatRgb(std::uint32_t rgb) {
  char buffer[8];
  std::snprintf(buffer, sizeof buffer, "#%06x", rgb & 0xFFFFFFu);
  return buffer;
}

}  // namespace tessivo::host
