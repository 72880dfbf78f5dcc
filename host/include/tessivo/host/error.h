// Errors the host library reports to its callers.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace tessivo::host {

// Any failure of the host: bad input, a refusal by the bundle, a failed render.
class HostError : public std::runtime_error {
 public:
  explicit HostError(const std::string& message) : std::runtime_error(message) {}
};

// 'fadr' -> "fadr"; codes with unprintable bytes are shown in hex.
std::string codeToString(uint32_t code);
// "fadr" -> 'fadr'; throws HostError unless exactly four characters.
uint32_t codeFromString(const std::string& text);

}  // namespace tessivo::host
