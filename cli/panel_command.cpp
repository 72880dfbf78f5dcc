// `tessivo panel CODE`: the module's settings panel on the terminal; OK saves
// the module's group into the settings file (other groups kept), Cancel
// changes nothing.
#include "cli_common.h"

#include <tessivo/host/error.h>
#include <tessivo/host/settings_store.h>
#include <tessivo/host/terminal_panel.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <filesystem>
#include <iostream>

namespace tessivo::cli {

namespace {

void runPanel(const GlobalOptions& options, const std::string& codeText, const std::string& file) {
  auto bundle = loadBundle(options);
  const uint32_t code = parseModuleCode(*bundle, codeText);
  auto instance = createInstance(*bundle, code);
  if (!instance->hasPanel()) throw CliError(fmt::format("{} ({}) has no settings panel", instance->name(), codeText));

  host::SettingsStore store;
  std::error_code error;
  const bool existed = std::filesystem::exists(file, error);
  if (existed) {
    store.loadFile(file);
    instance->load(store.table());  // no group for this module yet: it keeps its defaults
  }

  host::TerminalPanel panel(std::cin, std::cout);
  const bool accepted = instance->runPanel(panel.table());
  if (!panel.model().created) throw CliError(fmt::format("{} could not build its settings panel", instance->name()));
  if (!accepted) {
    fmt::print("Cancelled; {} {}.\n", file, existed ? "is unchanged" : "was not written");
    return;
  }
  if (!instance->save(store.table())) throw CliError(fmt::format("{} did not save its settings", instance->name()));
  store.saveFile(file);
  fmt::print("Saved {} settings to {}\n", instance->name(), std::filesystem::absolute(file).string());
}

}  // namespace

void addPanelCommand(CLI::App& app, GlobalOptions& options) {
  auto* command = app.add_subcommand("panel", "Edit a module's settings in its panel on the terminal and save them");
  auto code = std::make_shared<std::string>();
  auto file = std::make_shared<std::string>("tessivo-settings.json");
  command->add_option("CODE", *code, "Module code, e.g. fadr")->required();
  command->add_option("--settings", *file, "Settings file to read and, on OK, write")->capture_default_str();
  command->callback([&options, code, file] { runPanel(options, *code, *file); });
}

}  // namespace tessivo::cli
