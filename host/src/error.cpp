#include "tessivo/host/error.h"

#include <fmt/format.h>

namespace tessivo::host {

std::string codeToString(uint32_t code) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) {
    const auto c = static_cast<char>((code >> shift) & 0xFF);
    if (c < 0x20 || c > 0x7E) return fmt::format("0x{:08X}", code);
    text += c;
  }
  return text;
}

uint32_t codeFromString(const std::string& text) {
  if (text.size() != 4) throw HostError(fmt::format("'{}' is not a four-character code", text));
  uint32_t code = 0;
  for (char c : text) code = (code << 8) | static_cast<uint8_t>(c);
  return code;
}

}  // namespace tessivo::host
