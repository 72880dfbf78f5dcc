// Building a chain of modules on a graph from the options apply and render share.
#include "chain.h"

#include "control_expression.h"

#include <tessivo/host/error.h>
#include <tessivo/host/module_discovery.h>
#include <tessivo/host/settings_store.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <memory>

namespace tessivo::cli {

namespace {

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

// A constant for a number, else a source driven by the expression in t.
host::NodeId addControlSource(host::Graph& graph, const std::string& text, const std::string& what) {
  float value = 0.0f;
  const char* end = text.data() + text.size();
  const auto [ptr, error] = std::from_chars(text.data(), end, value);
  if (error == std::errc() && ptr == end) {
    if (!std::isfinite(value)) throw CliError(fmt::format("{}: \"{}\" is not a finite number", what, text));
    return graph.addConstant(value);
  }
  try {
    auto expression = std::make_shared<ControlExpression>(text);
    return graph.addControl([expression](double time) { return (*expression)(time); });
  } catch (const CliError& failure) {
    throw CliError(fmt::format("{}: neither a number nor a valid expression in t: {}", what, failure.what()));
  }
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
      source = addControlSource(graph, valueText, "--ctrl " + text);
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

}  // namespace

void addChainOptions(CLI::App& command, ChainOptions& options) {
  command.add_option("--set", options.sets, "Setting [CODE:]KEY=VALUE (integer, number, on/off, #RRGGBB, #AARRGGBB or popup label)")
      ->type_name("[CODE:]KEY=VALUE");
  command.add_option("--ctrl", options.controls,
                     "Value [CODE:]PORT=VALUE on an input port given by index, long or short name: a number, or an "
                     "expression in t (seconds) such as 0.5+0.5*sin(2*pi*t/4), with ramp(t,t0,t1), "
                     "step(t,every) and noise(t,every,seed)")
      ->type_name("[CODE:]PORT=VALUE");
  command.add_flag("--off", options.off, "Switch the modules off through their On/Off input (they copy their input)");
  command.add_flag("--gray", options.gray, "Run in the one-byte format: grey input, 8-bit grey output");
  command.add_option("--settings", options.settingsFile, "JSON settings file to load before --set");
}

Chain buildChain(host::Graph& graph, host::Bundle& bundle, const ChainOptions& options, host::Image first) {
  std::vector<uint32_t> codes;
  for (const std::string& code : splitChain(options.chain)) codes.push_back(parseModuleCode(bundle, code));

  host::SettingsStore fileSettings;
  if (!options.settingsFile.empty()) fileSettings.loadFile(options.settingsFile);

  Chain built;
  built.source = graph.addStill(std::move(first));
  std::vector<ChainModule> chain;
  host::NodeId upstream = built.source;
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
  built.output = upstream;
  return built;
}

}  // namespace tessivo::cli
