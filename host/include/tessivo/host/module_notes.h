// What the contract cannot tell a host about the modules this bundle documents:
// the range each control input is meant for, what the module does when the
// input is not wired, and what the grey format does to its colour settings.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace tessivo::host {

struct ControlRange {
  std::uint32_t code = 0;  // module
  std::uint32_t port = 0;  // its 'ctrl' input
  double minimum = 0.0, maximum = 1.0;
  std::string_view meaning;  // what the range means, e.g. "0 = input unchanged, 1 = the fade colour"
  std::string_view unwired;  // the value the module uses when nothing is wired
  std::string_view outside;  // what a value outside the range does
};

// The documented range of a control input, or null.
const ControlRange *findControlRange(std::uint32_t code, std::uint32_t port);

// One line on the module's colour settings in the one-byte grey format, or empty.
std::string_view greyFormatNote(std::uint32_t code);

// Every module code documented here, including those the registry does not list.
std::span<const std::uint32_t> documentedCodes();

}  // namespace tessivo::host
