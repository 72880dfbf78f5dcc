// Text describing a module's ports, shared by `list` and `info`.
#pragma once

#include <tessivo/host/instance.h>

#include <string>

namespace tessivo::cli {

// One indented line per port: index, direction, type, kind, long and short name.
std::string describePorts(const host::Instance& instance, const std::string& indent);

}  // namespace tessivo::cli
