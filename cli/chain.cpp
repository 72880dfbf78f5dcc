// Building a chain of modules on a graph from the options apply and render share.
#include "chain.h"

#include <tessivo/host/control_expression.h>
#include <tessivo/host/error.h>
#include <tessivo/host/module_discovery.h>
#include <tessivo/host/module_notes.h>
#include <tessivo/host/user_values.h>
#include <tessivo/host/settings_store.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
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

// Warns once when a control value leaves the range its module documents.
class RangeWarning {
 public:
  RangeWarning(const host::ControlRange* range, std::string what) : range_(range), what_(std::move(what)) {}

  void check(double value) {
    if (range_ == nullptr || warned_ || (value >= range_->minimum && value <= range_->maximum)) return;
    warned_ = true;
    warn(fmt::format("{}: {} is outside the documented range {} to {} ({}); it is passed on as it is: {}", what_,
                     value, range_->minimum, range_->maximum, range_->meaning, range_->outside));
  }

 private:
  const host::ControlRange* range_;
  std::string what_;
  bool warned_ = false;
};

// A constant for a number, else a source driven by the expression in t.
host::NodeId addControlSource(host::Graph& graph, const std::string& text, const std::string& what,
                              const host::ControlRange* range) {
  auto warning = std::make_shared<RangeWarning>(range, what);
  double number = 0.0;
  const char* end = text.data() + text.size();
  const auto [ptr, error] = std::from_chars(text.data(), end, number);
  if (ptr == end && error == std::errc::result_out_of_range)
    throw UsageError(fmt::format("{}: {} is too large for a control value (at most about 3.4e38)", what, text));
  if (error == std::errc() && ptr == end) {
    if (!std::isfinite(number)) throw UsageError(fmt::format("{}: \"{}\" is not a finite number", what, text));
    if (std::fabs(number) > std::numeric_limits<float>::max())
      throw UsageError(fmt::format("{}: {} is too large for a control value (at most about 3.4e38)", what, text));
    warning->check(number);
    return graph.addConstant(static_cast<float>(number));
  }
  try {
    auto expression = std::make_shared<host::ControlExpression>(text);
    return graph.addControl([expression, warning](double time) {
      const float value = (*expression)(time);
      warning->check(value);
      return value;
    });
  } catch (const host::HostError& failure) {
    throw UsageError(fmt::format("{}: neither a number nor a valid expression in t: {}", what, failure.what()));
  }
}

bool parseOnOff(const std::string& text, const std::string& what) {
  for (const char* on : {"1", "on", "true", "yes"})
    if (text == on) return true;
  for (const char* off : {"0", "off", "false", "no"})
    if (text == off) return false;
  throw UsageError(fmt::format("{}: \"{}\" is not on or off", what, text));
}

// The chain modules an option's prefix addresses: "fadr" (every Fader), "2"
// (the second module) or "fadr#2" (the second Fader); all of them without one.
std::vector<ChainModule> addressed(const std::vector<ChainModule>& chain, const std::string& prefix,
                                   const std::string& option) {
  if (prefix.empty()) return chain;
  const size_t hash = prefix.find('#');
  const bool byPosition = prefix.find_first_not_of("0123456789") == std::string::npos;
  const std::string code = byPosition ? std::string() : prefix.substr(0, hash);
  size_t wanted = 0;  // 1-based position or occurrence; 0: every module with the code
  if (byPosition || hash != std::string::npos) {
    const std::string number = byPosition ? prefix : prefix.substr(hash + 1);
    const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), wanted);
    if (error != std::errc() || wanted == 0) wanted = SIZE_MAX;
  }
  std::vector<ChainModule> matching;
  size_t seen = 0;
  for (const ChainModule& module : chain) {
    if (!byPosition && host::codeToString(module.code) != code) continue;
    ++seen;
    if (wanted == 0 || seen == wanted) matching.push_back(module);
  }
  if (!matching.empty()) return matching;
  std::vector<std::string> codes;
  for (const ChainModule& module : chain) codes.push_back(host::codeToString(module.code));
  if (byPosition)
    throw UsageError(fmt::format("{}: the chain has no module {} (it has {})", option, prefix, chain.size()));
  if (seen > 0)
    throw UsageError(fmt::format("{}: the chain has {} '{}' module(s), not {}", option, seen, code, prefix));
  throw UsageError(fmt::format("{}: module '{}' is not in the chain{}", option, code, host::didYouMean(code, codes)));
}

void applySettings(host::Graph& graph, const std::vector<ChainModule>& chain, const std::string& text) {
  const auto [prefix, assignment] = splitModulePrefix(text);
  bool applied = false;
  std::vector<std::string> known;
  for (const ChainModule& module : addressed(chain, prefix, "--set")) {
    host::Instance& instance = graph.instance(module.node);
    const host::SettingsDescription settings = host::describeSettings(instance);
    const auto equals = assignment.find('=');
    // Without a prefix, a key only some modules of the chain have goes to those modules.
    if (prefix.empty() && chain.size() > 1 && equals != std::string::npos &&
        settings.find(assignment.substr(0, equals)) == nullptr) {
      for (const host::SettingDescription& setting : settings.settings) {
        const std::string name = fmt::format("{}:{}", host::codeToString(module.code), setting.key);
        if (std::find(known.begin(), known.end(), name) == known.end()) known.push_back(name);
      }
      continue;
    }
    try {
      const host::SettingAssignment parsed =
          host::parseSettingAssignment(assignment, settings, host::describePanel(instance));
      host::applySetting(instance, settings, parsed);
      applied = true;
    } catch (const host::HostError& error) {
      throw UsageError(fmt::format("--set {}: {}: {}", text, instance.name(), error.what()));
    }
  }
  if (!applied) {
    std::vector<std::string> keys;
    for (const std::string& name : known) keys.push_back(name.substr(5));
    throw UsageError(fmt::format("--set {}: no module of the chain has this setting{} (known: {})", text,
                                 host::didYouMean(assignment.substr(0, assignment.find('=')), keys),
                                 known.empty() ? "none" : fmt::format("{}", fmt::join(known, ", "))));
  }
}

void applyControl(host::Graph& graph, const std::vector<ChainModule>& chain, const std::string& text) {
  const auto [prefix, assignment] = splitModulePrefix(text);
  const auto equals = assignment.find('=');
  if (equals == std::string::npos) throw UsageError(fmt::format("--ctrl {}: expected PORT=VALUE", text));
  const std::string selector = assignment.substr(0, equals);
  const std::string valueText = assignment.substr(equals + 1);
  const std::vector<ChainModule> targets = addressed(chain, prefix, "--ctrl");
  bool wired = false;
  for (const ChainModule& module : targets) {
    host::Instance& instance = graph.instance(module.node);
    const host::PortInfo* port = nullptr;
    try {
      port = &findInputPort(instance, selector);
    } catch (const UsageError&) {
      // Without a prefix, modules lacking the port are passed over; the last one reports if none has it.
      if (!prefix.empty() || (&module == &targets.back() && !wired)) throw;
      continue;
    }
    host::NodeId source = 0;
    if (port->type == kTypeControl) {
      source = addControlSource(graph, valueText, "--ctrl " + text, host::findControlRange(module.code, port->index));
    } else if (port->type == kTypeOnOff) {
      source = graph.addOnOff(parseOnOff(valueText, "--ctrl " + text));
    } else {
      throw UsageError(fmt::format("--ctrl {}: port {} \"{}\" of {} takes images, not values", text, port->index,
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
  command.add_option("--set", options.sets,
                     "Setting [WHICH:]KEY=VALUE: an integer, number, on/off, popup label or colour (#RRGGBB, "
                     "#RRGGBBAA, a name such as white, or the packed integer 0xAARRGGBB). WHICH picks modules of "
                     "a chain: a code (fadr), a position (2) or a code's n-th use (fadr#2)")
      ->type_name("[WHICH:]KEY=VALUE");
  command.add_option("--ctrl", options.controls,
                     "Value [WHICH:]PORT=VALUE on an input port given by index, long or short name: a number, or an "
                     "expression in t (seconds) such as 0.5+0.5*sin(2*pi*t/4), with ramp(t,t0,t1), "
                     "step(t,every) and noise(t,every,seed)")
      ->type_name("[WHICH:]PORT=VALUE");
  command.add_flag("--off", options.off, "Switch the modules off through their On/Off input (they copy their input)");
  command.add_flag("--gray", options.gray,
                   "Run in the one-byte format: grey input, 8-bit grey output. A colour input becomes "
                   "(77 R + 150 G + 29 B + 128) >> 8 of its pixels alone; the file's colour metadata is ignored");
  command.add_option("--settings", options.settingsFile, "JSON settings file to load before --set");
}

std::vector<uint32_t> parseChainCodes(host::Bundle& bundle, const std::string& chain) {
  std::vector<uint32_t> codes;
  for (const std::string& code : splitChain(chain)) codes.push_back(parseModuleCode(bundle, code));
  return codes;
}

Chain buildChain(host::Graph& graph, host::Bundle& bundle, const ChainOptions& options, host::Image first) {
  const std::vector<uint32_t> codes = parseChainCodes(bundle, options.chain);

  host::SettingsStore fileSettings;
  if (!options.settingsFile.empty()) loadSettingsFile(bundle, fileSettings, options.settingsFile);

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
      if (!instance.inputConnected(onOff->index))
        graph.connect(graph.addOnOff(false), module.node, onOff->index);
      else
        warn(fmt::format("--off does not change {}'s On/Off input, which --ctrl sets", instance.name()));
    }
  }
  built.output = upstream;
  return built;
}

}  // namespace tessivo::cli
