// Shared helpers of the subcommands.
#include "cli_common.h"

#include <tessivo/host/error.h>

#include <fmt/format.h>

#include <algorithm>
#include <cctype>

namespace tessivo::cli {

namespace {

bool equalsIgnoreCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
         });
}

}  // namespace

std::unique_ptr<host::Bundle> loadBundle(const GlobalOptions& options) {
  host::LoadOptions load;
  load.withVImage = !options.noVImage;
  const std::string path = options.bundlePath.empty() ? host::Bundle::defaultPath() : options.bundlePath;
  try {
    return host::Bundle::load(path, load);
  } catch (const host::HostError& error) {
    throw CliError(fmt::format("{} (use --bundle PATH or TESSIVO_BUNDLE)", error.what()));
  }
}

std::string listedCodes(const host::Bundle& bundle) {
  std::string text;
  for (const host::ModuleInfo& module : bundle.modules()) {
    if (!text.empty()) text += ", ";
    text += fmt::format("{} ({})", host::codeToString(module.code), module.name);
  }
  return text.empty() ? "none" : text;
}

uint32_t parseModuleCode(host::Bundle& bundle, std::string_view text) {
  uint32_t code = 0;
  try {
    code = host::codeFromString(std::string(text));
  } catch (const host::HostError&) {
    throw CliError(fmt::format("'{}' is not a module code (four characters); valid codes: {}", text,
                               listedCodes(bundle)));
  }
  if (bundle.findModule(code) != nullptr) return code;
  // Codes the registry does not list may still be built on request.
  try {
    host::Instance::create(bundle, code);
    return code;
  } catch (const host::HostError&) {
    throw CliError(fmt::format("unknown module code '{}'; valid codes: {}", text, listedCodes(bundle)));
  }
}

std::unique_ptr<host::Instance> createInstance(host::Bundle& bundle, uint32_t code) {
  try {
    return host::Instance::create(bundle, code);
  } catch (const host::HostError& error) {
    throw CliError(fmt::format("module {} ({}) is not available in this build: {}", host::codeToString(code),
                               bundle.moduleName(code), error.what()));
  }
}

std::string portDirectionName(uint32_t direction) { return direction == kPortOutput ? "out" : "in"; }

std::string portKindName(uint32_t kind) {
  switch (kind) {
    case kPortKindImage: return "image";
    case kPortKindXYController: return "xy";
    case kPortKindValue: return "value";
    default: return fmt::format("kind {}", kind);
  }
}

const host::PortInfo& findInputPort(const host::Instance& instance, std::string_view selector) {
  const auto& ports = instance.ports();
  for (const host::PortInfo& port : ports) {
    if (port.blank() || port.direction != kPortInput) continue;
    if (selector == std::to_string(port.index) || equalsIgnoreCase(selector, port.longName) ||
        equalsIgnoreCase(selector, port.shortName))
      return port;
  }
  std::string valid;
  for (const host::PortInfo& port : ports) {
    if (port.blank() || port.direction != kPortInput) continue;
    if (!valid.empty()) valid += ", ";
    valid += fmt::format("{} \"{}\"/\"{}\"", port.index, port.longName, port.shortName);
  }
  throw CliError(fmt::format("{} has no input port \"{}\"; its inputs are: {}", instance.name(), selector, valid));
}

std::pair<std::string, std::string> splitModulePrefix(std::string_view text) {
  if (text.size() > 5 && text[4] == ':' && text.substr(0, 4).find('=') == std::string_view::npos)
    return {std::string(text.substr(0, 4)), std::string(text.substr(5))};
  return {std::string(), std::string(text)};
}

std::string oneLine(std::string_view message) {
  std::string line;
  for (const char c : message) {
    if (c == '\n' || c == '\r') {
      if (!line.empty() && line.back() != ' ') line += "; ";
    } else {
      line += c;
    }
  }
  while (!line.empty() && (line.back() == ' ' || line.back() == ';')) line.pop_back();
  return line;
}

}  // namespace tessivo::cli
