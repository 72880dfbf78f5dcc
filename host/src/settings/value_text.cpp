#include "settings/value_text.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <vector>

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

namespace {

struct NamedColor {
  std::string_view name;
  std::uint32_t argb;
};

// A few names people use, with their usual values; the first name of a value
// is the one shown.
constexpr NamedColor kNamedColors[] = {
    {"transparent black", 0x00000000u}, {"transparent", 0x00000000u}, {"transparent white", 0x00FFFFFFu},
    {"black", 0xFF000000u},             {"white", 0xFFFFFFFFu},       {"red", 0xFFFF0000u},
    {"lime", 0xFF00FF00u},              {"blue", 0xFF0000FFu},        {"yellow", 0xFFFFFF00u},
    {"cyan", 0xFF00FFFFu},              {"magenta", 0xFFFF00FFu},     {"grey", 0xFF808080u},
    {"gray", 0xFF808080u},
};

}  // namespace

std::optional<TypedColor> parseColor(std::string_view text) {
  text = trimmed(text);
  for (const NamedColor &named : kNamedColors)
    if (equalsIgnoreCase(text, named.name)) return TypedColor{named.argb, true};
  if (text.empty() || text.front() != '#') {
    const auto number = parseInteger(text);
    if (!number || *number < 0 || *number > std::int64_t{0xFFFFFFFF}) return std::nullopt;
    return TypedColor{static_cast<std::uint32_t>(*number), true};
  }
  text.remove_prefix(1);
  if (text.size() != 6 && text.size() != 8) return std::nullopt;
  std::uint32_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, 16);
  if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
  if (text.size() == 6) return TypedColor{0xFF000000u | value, false};
  return TypedColor{value >> 8 | value << 24, true};  // RRGGBBAA -> AARRGGBB
}

std::string formatColor(std::uint32_t argb) {
  char buffer[12];
  std::snprintf(buffer, sizeof buffer, "#%06X%02X", argb & 0xFFFFFFu, argb >> 24);
  return buffer;
}

std::optional<std::string_view> colorName(std::uint32_t argb) {
  for (const NamedColor &named : kNamedColors)
    if (named.argb == argb) return named.name;
  return std::nullopt;
}

std::string describeColor(std::uint32_t argb) {
  const auto name = colorName(argb);
  return formatColor(argb) + (name ? " (" + std::string(*name) + ")" : "");
}

std::optional<std::string> closestName(std::string_view text, const std::vector<std::string> &candidates) {
  const std::string_view wanted = trimmed(text);
  std::optional<std::string> best;
  std::size_t bestDistance = 0;
  for (const std::string &candidate : candidates) {
    // Edit distance over lower-case letters, a swap of neighbours counting as one edit.
    const std::size_t n = wanted.size(), m = candidate.size();
    std::vector<std::size_t> d((n + 1) * (m + 1));
    const auto at = [&](std::size_t i, std::size_t j) -> std::size_t & { return d[i * (m + 1) + j]; };
    for (std::size_t i = 0; i <= n; ++i) at(i, 0) = i;
    for (std::size_t j = 0; j <= m; ++j) at(0, j) = j;
    for (std::size_t i = 1; i <= n; ++i)
      for (std::size_t j = 1; j <= m; ++j) {
        const bool same = lower(wanted[i - 1]) == lower(candidate[j - 1]);
        at(i, j) = std::min({at(i - 1, j) + 1, at(i, j - 1) + 1, at(i - 1, j - 1) + (same ? 0 : 1)});
        if (i > 1 && j > 1 && lower(wanted[i - 1]) == lower(candidate[j - 2]) &&
            lower(wanted[i - 2]) == lower(candidate[j - 1]))
          at(i, j) = std::min(at(i, j), at(i - 2, j - 2) + 1);
      }
    const std::size_t distance = at(n, m);
    // A typo changes at most a third of the name (and at least one letter may differ).
    const std::size_t allowed = std::max<std::size_t>(1, std::max(wanted.size(), candidate.size()) / 3);
    if (distance <= allowed && (!best || distance < bestDistance)) {
      best = candidate;
      bestDistance = distance;
    }
  }
  return best;
}

std::string didYouMean(std::string_view text, const std::vector<std::string> &candidates) {
  const auto best = closestName(text, candidates);
  return best ? " (did you mean \"" + *best + "\"?)" : std::string();
}

std::string formatRgb(std::uint32_t rgb) {
  char buffer[8];
  std::snprintf(buffer, sizeof buffer, "#%06x", rgb & 0xFFFFFFu);
  return buffer;
}

}  // namespace tessivo::host
