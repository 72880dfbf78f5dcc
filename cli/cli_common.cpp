// Shared helpers of the subcommands.
#include "cli_common.h"

#include <tessivo/host/error.h>
#include <tessivo/host/image_file.h>
#include <tessivo/host/module_discovery.h>
#include <tessivo/host/module_notes.h>
#include <tessivo/host/settings_store.h>
#include <tessivo/host/user_values.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

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

void warn(std::string_view message) { fmt::print(stderr, "tessivo: warning: {}\n", oneLine(message)); }

std::vector<OfferedModule> offeredModules(host::Bundle& bundle) {
  std::vector<OfferedModule> offered;
  for (const host::ModuleInfo& module : bundle.modules()) offered.push_back({module.code, module.name, true});
  // Codes the registry does not list may still be built on request.
  for (const uint32_t code : host::documentedCodes()) {
    if (bundle.findModule(code) != nullptr) continue;
    try {
      // Unlisted, it has no registry name; its settings group carries its display name.
      auto instance = host::Instance::create(bundle, code);
      const std::string group = host::describeSettings(*instance).group;
      offered.push_back({code, group.empty() ? instance->name() : group, false});
    } catch (const host::HostError&) {
      // not in this build
    }
  }
  return offered;
}

std::string offeredCodes(host::Bundle& bundle) {
  std::string text;
  for (const OfferedModule& module : offeredModules(bundle))
    text += fmt::format("{}{} ({}{})", text.empty() ? "" : ", ", host::codeToString(module.code), module.name,
                        module.listed ? "" : ", not listed");
  return text.empty() ? "none" : text;
}

uint32_t parseModuleCode(host::Bundle& bundle, std::string_view text) {
  const std::vector<OfferedModule> offered = offeredModules(bundle);
  std::vector<std::string> codes;
  for (const OfferedModule& module : offered) {
    codes.push_back(host::codeToString(module.code));
    if (codes.back() == text) return module.code;  // Blur's name is also its code
  }
  // A module's name where its code belongs: say which code that is.
  for (const OfferedModule& module : offered)
    if (equalsIgnoreCase(text, module.name))
      throw UsageError(fmt::format("'{}' is a module name; its code is '{}'", text, host::codeToString(module.code)));
  uint32_t code = 0;
  try {
    code = host::codeFromString(std::string(text));
  } catch (const host::HostError&) {
    throw UsageError(fmt::format("'{}' is not a module code (four characters){}; this build offers: {}", text,
                                 host::didYouMean(text, codes), offeredCodes(bundle)));
  }
  for (const OfferedModule& module : offered)
    if (module.code == code) return code;
  try {
    host::Instance::create(bundle, code);
    return code;
  } catch (const host::HostError&) {
    throw UsageError(fmt::format("unknown module code '{}'{}; this build offers: {}", text,
                                 host::didYouMean(text, codes), offeredCodes(bundle)));
  }
}

void loadSettingsFile(host::Bundle& bundle, host::SettingsStore& store, const std::string& path) {
  try {
    store.loadFile(path);
  } catch (const host::HostError& error) {
    throw CliError(error.what());
  }
  std::vector<host::SettingsDescription> known;
  std::vector<std::string> groups;
  for (const OfferedModule& module : offeredModules(bundle)) {
    host::SettingsDescription settings = host::describeSettings(*createInstance(bundle, module.code));
    if (settings.group.empty()) continue;
    groups.push_back(settings.group);
    known.push_back(std::move(settings));
  }
  const std::string source = "settings file " + path;
  for (const std::string& group : store.groups()) {
    const auto found = std::find(groups.begin(), groups.end(), group);
    if (found == groups.end())
      throw CliError(fmt::format("{}: unknown group \"{}\"{} (the groups of this build: {})", source, group,
                                 host::didYouMean(group, groups), fmt::join(groups, ", ")));
    try {
      host::checkSettingsGroup(store, known[static_cast<size_t>(found - groups.begin())], source);
    } catch (const host::HostError& error) {
      throw CliError(error.what());
    }
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
  std::vector<std::string> names;
  for (const host::PortInfo& port : ports) {
    if (port.blank() || port.direction != kPortInput) continue;
    if (!valid.empty()) valid += ", ";
    valid += fmt::format("{} \"{}\"/\"{}\"", port.index, port.longName, port.shortName);
    names.push_back(port.shortName);
    names.push_back(port.longName);
  }
  throw UsageError(fmt::format("{} has no input port \"{}\"{}; its inputs are: {}", instance.name(), selector,
                               host::didYouMean(selector, names), valid));
}

std::pair<std::string, std::string> splitModulePrefix(std::string_view text) {
  const size_t colon = text.find(':');
  if (colon == std::string_view::npos || colon == 0 || colon + 1 == text.size()) return {std::string(), std::string(text)};
  const std::string_view which = text.substr(0, colon);
  const auto digits = [](std::string_view part) {
    return !part.empty() && part.find_first_not_of("0123456789") == std::string_view::npos;
  };
  const size_t hash = which.find('#');
  const bool code = which.size() == 4 && which.find('=') == std::string_view::npos;
  const bool nth = hash == 4 && digits(which.substr(5));
  if (digits(which) || code || nth) return {std::string(which), std::string(text.substr(colon + 1))};
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

void addStillOutputOptions(CLI::App& command, StillOutputOptions& options) {
  command.add_option("--format", options.format,
                     "Output format: png, jpeg (jpg), tiff (tif), webp, exr or bmp (default: from OUT's extension; "
                     "png for - and names without one)");
  command.add_option("--png-level", options.pngLevel, "PNG compression level, 0 (fastest) to 9 (smallest)")
      ->check(CLI::Range(0, 9))
      ->capture_default_str();
  command.add_option("--quality", options.quality, "JPEG and WebP quality, 1 to 100")
      ->check(CLI::Range(1, 100))
      ->capture_default_str();
  command.add_flag("--force", options.force, "Replace OUT even if it is a read-only file");
}

host::ImageWriteOptions imageWriteOptions(const StillOutputOptions& options, bool keepAlpha) {
  host::ImageWriteOptions write;
  write.format = options.format;
  write.pngLevel = options.pngLevel;
  write.quality = options.quality;
  write.keepAlpha = keepAlpha;
  write.replaceReadOnly = options.force;
  write.readOnlyHint = "; pass --force to replace it";
  return write;
}

}  // namespace tessivo::cli
