// `tessivo apply`: one module or a chain (left to right) on a PNG still, with
// settings and constant controls given on the command line.
#include "cli_common.h"

#include <tessivo/host/error.h>
#include <tessivo/host/graph.h>
#include <tessivo/host/image_file.h>
#include <tessivo/host/module_discovery.h>
#include <tessivo/host/settings_store.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <filesystem>

namespace tessivo::cli {

namespace {

struct ApplyOptions {
  std::string chain;
  std::string input;
  std::string output;
  std::vector<std::string> sets;
  std::vector<std::string> controls;
  bool off = false;
  bool gray = false;
  bool inPlace = false;
  double time = 0.0;
  std::string settingsFile;
};

struct ChainModule {
  uint32_t code = 0;
  host::NodeId node = 0;
};

std::vector<std::string> splitChain(const std::string& chain) {
  std::vector<std::string> codes;
  size_t start = 0;
  while (true) {
    const size_t plus = chain.find('+', start);
    codes.push_back(chain.substr(start, plus == std::string::npos ? std::string::npos : plus - start));
    if (plus == std::string::npos) return codes;
    start = plus + 1;
  }
}

float parseControlValue(const std::string& text, const std::string& what) {
  float value = 0.0f;
  const char* end = text.data() + text.size();
  const auto [ptr, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || ptr != end || !std::isfinite(value))
    throw CliError(fmt::format("{}: \"{}\" is not a number", what, text));
  return value;
}

bool parseOnOff(const std::string& text, const std::string& what) {
  for (const char* on : {"1", "on", "true", "yes"})
    if (text == on) return true;
  for (const char* off : {"0", "off", "false", "no"})
    if (text == off) return false;
  throw CliError(fmt::format("{}: \"{}\" is not on or off", what, text));
}

// The chain modules an option with an optional "CODE:" prefix addresses.
std::vector<ChainModule> addressed(const std::vector<ChainModule>& chain, const std::string& prefix,
                                   const std::string& option) {
  if (prefix.empty()) return chain;
  std::vector<ChainModule> matching;
  for (const ChainModule& module : chain)
    if (host::codeToString(module.code) == prefix) matching.push_back(module);
  if (matching.empty()) throw CliError(fmt::format("{}: module '{}' is not in the chain", option, prefix));
  return matching;
}

void applySettings(host::Graph& graph, const std::vector<ChainModule>& chain, const std::string& text) {
  const auto [prefix, assignment] = splitModulePrefix(text);
  bool applied = false;
  std::string known;
  for (const ChainModule& module : addressed(chain, prefix, "--set")) {
    host::Instance& instance = graph.instance(module.node);
    const host::SettingsDescription settings = host::describeSettings(instance);
    const auto equals = assignment.find('=');
    // Without a prefix, a key only some modules of the chain have goes to those modules.
    if (prefix.empty() && chain.size() > 1 && equals != std::string::npos &&
        settings.find(assignment.substr(0, equals)) == nullptr) {
      for (const host::SettingDescription& setting : settings.settings)
        known += fmt::format("{}{}:{}", known.empty() ? "" : ", ", host::codeToString(module.code), setting.key);
      continue;
    }
    try {
      const host::SettingAssignment parsed =
          host::parseSettingAssignment(assignment, settings, host::describePanel(instance));
      host::applySetting(instance, settings, parsed);
      applied = true;
    } catch (const host::HostError& error) {
      throw CliError(fmt::format("--set {}: {}: {}", text, instance.name(), error.what()));
    }
  }
  if (!applied)
    throw CliError(fmt::format("--set {}: no module of the chain has this setting (known: {})", text,
                               known.empty() ? "none" : known));
}

void applyControl(host::Graph& graph, const std::vector<ChainModule>& chain, const std::string& text) {
  const auto [prefix, assignment] = splitModulePrefix(text);
  const auto equals = assignment.find('=');
  if (equals == std::string::npos) throw CliError(fmt::format("--ctrl {}: expected PORT=VALUE", text));
  const std::string selector = assignment.substr(0, equals);
  const std::string valueText = assignment.substr(equals + 1);
  const std::vector<ChainModule> targets = addressed(chain, prefix, "--ctrl");
  bool wired = false;
  for (const ChainModule& module : targets) {
    host::Instance& instance = graph.instance(module.node);
    const host::PortInfo* port = nullptr;
    try {
      port = &findInputPort(instance, selector);
    } catch (const CliError&) {
      // Without a prefix, modules lacking the port are passed over; the last one reports if none has it.
      if (!prefix.empty() || (&module == &targets.back() && !wired)) throw;
      continue;
    }
    host::NodeId source = 0;
    if (port->type == kTypeControl) {
      source = graph.addConstant(parseControlValue(valueText, "--ctrl " + text));
    } else if (port->type == kTypeOnOff) {
      source = graph.addOnOff(parseOnOff(valueText, "--ctrl " + text));
    } else {
      throw CliError(fmt::format("--ctrl {}: port {} \"{}\" of {} takes images, not values", text, port->index,
                                 port->longName, instance.name()));
    }
    graph.connect(source, module.node, port->index);
    wired = true;
  }
}

const host::PortInfo* firstInputOfType(const host::Instance& instance, uint32_t type) {
  for (const host::PortInfo& port : instance.ports())
    if (!port.blank() && port.direction == kPortInput && port.type == type) return &port;
  return nullptr;
}

void runApply(const GlobalOptions& globals, const ApplyOptions& options) {
  namespace fs = std::filesystem;
  std::error_code ignored;
  if (!options.inPlace && fs::equivalent(options.input, options.output, ignored))
    throw CliError(fmt::format("{} is the input file; choose another output or pass --in-place", options.output));

  auto bundle = loadBundle(globals);
  std::vector<uint32_t> codes;
  for (const std::string& code : splitChain(options.chain)) codes.push_back(parseModuleCode(*bundle, code));

  host::SettingsStore fileSettings;
  if (!options.settingsFile.empty()) fileSettings.loadFile(options.settingsFile);

  const host::Image image =
      host::readPng(options.input, options.gray ? host::PngTarget::Grey : host::PngTarget::Argb);

  host::Graph graph(*bundle);
  std::vector<ChainModule> chain;
  host::NodeId upstream = graph.addStill(image);
  for (const uint32_t code : codes) {
    host::NodeId node = 0;
    try {
      node = graph.addModule(code);
    } catch (const host::HostError& error) {
      throw CliError(fmt::format("module {} is not available in this build: {}", host::codeToString(code),
                                 error.what()));
    }
    host::Instance& instance = graph.instance(node);
    const host::PortInfo* imageInput = firstInputOfType(instance, kTypeImage);
    if (imageInput == nullptr) throw CliError(fmt::format("{} has no image input to chain", instance.name()));
    graph.connect(upstream, node, imageInput->index);
    if (!options.settingsFile.empty()) instance.load(fileSettings.table());  // absent group: defaults stay
    chain.push_back({code, node});
    upstream = node;
  }

  for (const std::string& set : options.sets) applySettings(graph, chain, set);
  for (const std::string& control : options.controls) applyControl(graph, chain, control);
  if (options.off) {
    for (const ChainModule& module : chain) {
      host::Instance& instance = graph.instance(module.node);
      const host::PortInfo* onOff = firstInputOfType(instance, kTypeOnOff);
      if (onOff == nullptr) throw CliError(fmt::format("--off: {} has no On/Off input", instance.name()));
      if (!instance.inputConnected(onOff->index)) graph.connect(graph.addOnOff(false), module.node, onOff->index);
    }
  }

  const auto result = graph.renderFrame(upstream, options.time, image.width(), image.height(),
                                        options.gray ? host::kGrey8 : host::kARGB32);
  host::writePng(options.output, *result);
}

}  // namespace

void addApplyCommand(CLI::App& app, GlobalOptions& globals) {
  auto options = std::make_shared<ApplyOptions>();
  auto* command = app.add_subcommand("apply", "Run one module or a chain (CODE+CODE...) on a PNG still");
  command->add_option("CHAIN", options->chain, "Module code, or codes joined by + run left to right (fadr+fadr)")
      ->required();
  command->add_option("IN", options->input, "Input PNG")->required();
  command->add_option("OUT", options->output, "Output PNG (written atomically)")->required();
  command->add_option("--set", options->sets, "Setting [CODE:]KEY=VALUE (integer, number, on/off, #RRGGBB, #AARRGGBB or popup label)")
      ->type_name("[CODE:]KEY=VALUE");
  command->add_option("--ctrl", options->controls, "Constant value [CODE:]PORT=VALUE on an input port given by index, long or short name")
      ->type_name("[CODE:]PORT=VALUE");
  command->add_flag("--off", options->off, "Switch the modules off through their On/Off input (they copy their input)");
  command->add_flag("--gray", options->gray, "Run in the one-byte format: grey input, 8-bit grey output");
  command->add_option("--time", options->time, "Render time in seconds (default 0)");
  command->add_option("--settings", options->settingsFile, "JSON settings file to load before --set");
  command->add_flag("--in-place", options->inPlace, "Allow OUT to be the input file");
  command->callback([&globals, options] { runApply(globals, *options); });
}

}  // namespace tessivo::cli
