#include "port_listing.h"

#include "cli_common.h"

#include <tessivo/host/error.h>

#include <fmt/format.h>

namespace tessivo::cli {

std::string describePorts(const host::Instance& instance, const std::string& indent) {
  std::string text;
  for (const host::PortInfo& port : instance.ports()) {
    if (port.blank()) continue;
    text += fmt::format("{}{:>2}  {:<3}  {}  {:<5}  {} ({})\n", indent, port.index, portDirectionName(port.direction),
                        host::codeToString(port.type), portKindName(port.kind), port.longName, port.shortName);
  }
  return text;
}

}  // namespace tessivo::cli
