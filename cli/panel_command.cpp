// `tessivo panel CODE`: the module's settings panel on the terminal; OK saves
// the module's group into the settings file (other groups kept), Cancel
// changes nothing.
#include "cli_common.h"

#include <tessivo/host/error.h>
#include <tessivo/host/module_discovery.h>
#include <tessivo/host/patch.h>
#include <tessivo/host/settings_store.h>
#include <tessivo/host/terminal_panel.h>

#include <CLI/CLI.hpp>
#include <editline/readline.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>

namespace tessivo::cli {

namespace {

// Refuses a settings path that could not be written, before anyone edits anything.
void checkWritable(const std::string& file, bool exists) {
  namespace fs = std::filesystem;
  if (exists) {
    std::error_code error;
    if (!fs::is_regular_file(file, error))
      throw CliError(fmt::format("settings file {}: not a regular file", file));
    if (::access(file.c_str(), R_OK | W_OK) != 0)
      throw CliError(fmt::format("settings file {}: cannot be rewritten: {}", file, std::strerror(errno)));
    return;
  }
  const fs::path folder = fs::absolute(file).parent_path();
  std::error_code error;
  if (!fs::is_directory(folder, error))
    throw CliError(fmt::format("settings file {}: folder {} does not exist", file, folder.string()));
  if (::access(folder.c_str(), W_OK | X_OK) != 0)
    throw CliError(fmt::format("settings file {}: cannot write in {}: {}", file, folder.string(), std::strerror(errno)));
}

// Lines with editing and history when a person types at a terminal.
std::optional<std::string> editedLine(const std::string& prompt) {
  char* line = ::readline(prompt.c_str());
  if (line == nullptr) return std::nullopt;
  std::string text(line);
  std::free(line);
  if (!text.empty()) ::add_history(text.c_str());
  return text;
}

void runPanel(const GlobalOptions& options, const std::string& codeText, const std::string& file) {
  auto bundle = loadBundle(options);
  const uint32_t code = parseModuleCode(*bundle, codeText);
  auto instance = createInstance(*bundle, code);
  if (!instance->hasPanel())
    throw UsageError(fmt::format("{} ({}) has no settings panel", instance->name(), codeText));

  host::SettingsStore store;
  std::error_code error;
  const bool existed = std::filesystem::exists(file, error);
  checkWritable(file, existed);
  if (existed) {
    loadSettingsFile(*bundle, store, file);
    instance->load(store.table());  // no group for this module yet: it keeps its defaults
  }

  const std::string title = fmt::format("{} ({}) settings", instance->name(), host::codeToString(code));
  host::TerminalPanel panel(std::cin, std::cout, title,
                            ::isatty(STDIN_FILENO) ? host::TerminalPanel::LineReader(editedLine) : nullptr);
  const bool accepted = instance->runPanel(panel.table());
  if (!panel.model().created) throw CliError(fmt::format("{} could not build its settings panel", instance->name()));
  if (!accepted) {
    const std::string unchanged = fmt::format("{} {}", file, existed ? "is unchanged" : "was not written");
    if (panel.endedByEndOfInput()) throw CliError(fmt::format("input ended before ok or cancel; {}", unchanged));
    fmt::print("Cancelled; {}.\n", unchanged);
    return;
  }
  if (!instance->save(store.table())) throw CliError(fmt::format("{} did not save its settings", instance->name()));
  // Packed colours are written as colour text.
  const host::SettingsDescription settings = host::describeSettings(*instance);
  for (const host::SettingDescription& setting : settings.settings)
    if (setting.packedColor) store.markPackedColor(settings.group, setting.key);
  store.saveFile(file);
  fmt::print("Saved {} settings to {}\n", instance->name(), std::filesystem::absolute(file).string());
}

// `tessivo panel NODE --patch FILE`: the same panel for one module node of a
// patch; OK stores the settings in the node and saves the patch.
void runPatchPanel(const GlobalOptions& options, const std::string& id, const std::string& file) {
  host::Patch patch = host::loadPatch(file);
  host::PatchNode* node = patch.find(id);
  if (node == nullptr || node->kind != host::PatchNodeKind::Module)
    throw CliError(fmt::format("{} has no module node \"{}\"", file, id));
  auto bundle = loadBundle(options);
  auto instance = createInstance(*bundle, node->code);
  host::loadNodeSettings(*instance, *node);
  if (!instance->hasPanel()) throw CliError(fmt::format("{} ({}) has no settings panel", instance->name(), id));
  host::TerminalPanel panel(std::cin, std::cout);
  const bool accepted = instance->runPanel(panel.table());
  if (!panel.model().created) throw CliError(fmt::format("{} could not build its settings panel", instance->name()));
  if (!accepted) {
    fmt::print("Cancelled; {} is unchanged.\n", file);
    return;
  }
  host::storeNodeSettings(*node, *instance);
  host::savePatch(patch, file);
  fmt::print("Saved {} settings of node {} to {}\n", instance->name(), id, file);
}

}  // namespace

void addPanelCommand(CLI::App& app, GlobalOptions& options) {
  auto* command = app.add_subcommand("panel", "Edit a module's settings in its panel on the terminal and save them");
  auto code = std::make_shared<std::string>();
  auto file = std::make_shared<std::string>("tessivo-settings.json");
  auto patch = std::make_shared<std::string>();
  command->add_option("CODE", *code, "Module code, e.g. fadr (with --patch: the id of a module node)")->required();
  command->add_option("--settings", *file, "Settings file to read and, on OK, write")->capture_default_str();
  command->add_option("--patch", *patch, "Edit the settings of module node CODE in this patch file instead");
  command->callback([&options, code, file, patch] {
    if (patch->empty())
      runPanel(options, *code, *file);
    else
      runPatchPanel(options, *code, *patch);
  });
}

}  // namespace tessivo::cli
