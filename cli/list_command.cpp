// `tessivo list`: every module the registry lists (and any unlisted codes
// asked for) with its box size and ports, as the bundle describes them.
#include "cli_common.h"
#include "port_listing.h"

#include <tessivo/host/error.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

namespace tessivo::cli {

namespace {

void printModule(host::Bundle& bundle, uint32_t code, const host::ModuleInfo* listed) {
  const std::string name = listed != nullptr ? listed->name : bundle.moduleName(code);
  std::string heading = fmt::format("{}  {}", host::codeToString(code), name);
  if (listed != nullptr) heading += fmt::format("  box {}x{}", listed->boxWidth, listed->boxHeight);
  else heading += "  (not listed by the bundle)";
  std::unique_ptr<host::Instance> instance;
  try {
    instance = host::Instance::create(bundle, code);
  } catch (const host::HostError&) {
    fmt::print("{}  (not available in this build)\n", heading);
    return;
  }
  fmt::print("{}\n{}", heading, describePorts(*instance, "    "));
}

void runList(const GlobalOptions& options, const std::vector<std::string>& hidden) {
  auto bundle = loadBundle(options);
  std::vector<uint32_t> extra;
  for (const std::string& text : hidden) {
    try {
      extra.push_back(host::codeFromString(text));
    } catch (const host::HostError&) {
      throw CliError(fmt::format("--hidden '{}' is not a module code (four characters)", text));
    }
  }
  std::vector<std::string> unlisted;
  for (const OfferedModule& module : offeredModules(*bundle))
    if (!module.listed) unlisted.push_back(fmt::format("{} ({})", host::codeToString(module.code), module.name));
  fmt::print("Bundle {} (category {}): this build offers {} modules, {} listed{}\n", bundle->path(),
             bundle->category(), bundle->modules().size() + unlisted.size(), bundle->modules().size(),
             unlisted.empty() ? std::string() : fmt::format("; built but not listed: {} (--hidden CODE shows them)",
                                                              fmt::join(unlisted, ", ")));
  for (const host::ModuleInfo& module : bundle->modules()) printModule(*bundle, module.code, &module);
  for (const uint32_t code : extra) printModule(*bundle, code, bundle->findModule(code));
}

}  // namespace

void addListCommand(CLI::App& app, GlobalOptions& options) {
  auto* command = app.add_subcommand("list", "List the bundle's modules with their box sizes and ports");
  auto hidden = std::make_shared<std::vector<std::string>>();
  command->add_option("--hidden", *hidden, "Also describe these codes, which the registry does not list (e.g. dfsn)")
      ->type_name("CODE");
  command->callback([&options, hidden] { runList(options, *hidden); });
}

}  // namespace tessivo::cli
