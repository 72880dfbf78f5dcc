// Editing a patch in memory, one KEY=VALUE at a time: what `tessivo patch set`
// saves and what `tessivo render PATCH --set/--ctrl/--off` applies for one run.
#include "patch_edit.h"

#include "cli_common.h"

#include <tessivo/host/control_expression.h>
#include <tessivo/host/error.h>
#include <tessivo/host/graph.h>
#include <tessivo/host/module_discovery.h>
#include <tessivo/host/settings_store.h>

#include <fmt/format.h>

namespace tessivo::cli {

namespace {

bool parseOnOffWord(const std::string& text) {
  for (const char* on : {"1", "on", "true", "yes"})
    if (text == on) return true;
  for (const char* off : {"0", "off", "false", "no"})
    if (text == off) return false;
  throw CliError(fmt::format("\"{}\" is not on or off", text));
}

}  // namespace

void assignToNode(host::Patch& patch, host::Bundle& bundle, const std::string& id, const std::string& text) {
  // The node is looked up again after every change: adding a controller may move it.
  const host::PatchNode* found = patch.find(id);
  if (found == nullptr) throw CliError(fmt::format("the patch has no node \"{}\"", id));
  const host::PatchNode node = *found;
  const auto equals = text.find('=');
  if (equals == std::string::npos) throw CliError(fmt::format("\"{}\": expected KEY=VALUE", text));
  const std::string key = text.substr(0, equals), value = text.substr(equals + 1);
  switch (node.kind) {
    case host::PatchNodeKind::Module: {
      auto instance = createInstance(bundle, node.code);
      if (host::describeSettings(*instance).find(key) != nullptr) {
        host::setNodeSetting(patch, bundle, id, text);
        return;
      }
      const host::PortInfo* port = host::lookUpInputPort(*instance, key);
      if (port == nullptr)
        throw CliError(fmt::format("{} ({}) has no setting or input \"{}\"; its inputs are: {}", id,
                                   instance->name(), key, host::inputPortList(*instance)));
      const std::string portText = std::to_string(port->index);
      if (port->type == kTypeImage) {
        if (patch.find(value) == nullptr) throw CliError(fmt::format("{}: the patch has no node \"{}\"", text, value));
        patch.connect(value, id, portText);
        return;
      }
      // The controller that feeds this port, made for it when there is none yet.
      std::string source = fmt::format("{}.{}", id, port->shortName.empty() ? portText : port->shortName);
      for (const host::PatchWire& wire : patch.wires)
        if (wire.to == id && host::lookUpInputPort(*instance, wire.port) == port) source = wire.from;
      host::PatchNode* feeder = patch.find(source);
      const auto kind = port->type == kTypeOnOff ? host::PatchNodeKind::OnOff : host::PatchNodeKind::Control;
      if (feeder == nullptr || feeder->kind != kind) {
        if (feeder != nullptr) source = patch.freeId(source);
        feeder = &patch.add(kind == host::PatchNodeKind::OnOff ? host::newOnOffNode(source, true)
                                                               : host::newControlNode(source, "0"));
      }
      const std::string feederId = feeder->id;
      assignToNode(patch, bundle, feederId, (kind == host::PatchNodeKind::OnOff ? "on=" : "value=") + value);
      patch.connect(feederId, id, portText);
      return;
    }
    case host::PatchNodeKind::Control:
      if (key != "value") break;
      try {
        host::makeControlValue(value);
      } catch (const host::HostError& error) {
        throw CliError(fmt::format("{}: neither a number nor a valid expression in t: {}", text, error.what()));
      }
      patch.find(id)->value = value;
      return;
    case host::PatchNodeKind::OnOff:
      if (key != "on") break;
      patch.find(id)->on = parseOnOffWord(value);
      return;
    case host::PatchNodeKind::Still:
    case host::PatchNodeKind::Video:
    case host::PatchNodeKind::ImageSequence:
      if (key != "path") break;
      patch.find(id)->path = value;
      return;
    case host::PatchNodeKind::TestScene: break;
  }
  throw CliError(fmt::format("\"{}\": a {} node has no \"{}\" (expected {})", text, host::patchNodeKindName(node.kind),
                             key,
                             node.kind == host::PatchNodeKind::Control ? "value"
                             : node.kind == host::PatchNodeKind::OnOff ? "on"
                             : node.kind == host::PatchNodeKind::TestScene ? "nothing"
                                                                           : "path"));
}


void applyChainOptions(host::Patch& patch, host::Bundle& bundle, const ChainOptions& options) {
  if (!options.settingsFile.empty()) {
    // The file's groups over the module nodes' own, checked as apply checks them.
    host::SettingsStore store;
    loadSettingsFile(bundle, store, options.settingsFile);
    const nlohmann::json groups = store.toJson()["groups"];
    for (host::PatchNode& node : patch.nodes) {
      if (node.kind != host::PatchNodeKind::Module) continue;
      const std::string group = host::describeSettings(*createInstance(bundle, node.code)).group;
      if (!group.empty() && groups.contains(group))
        for (const auto& [key, value] : groups[group].items()) node.settings[group][key] = value;
    }
  }
  // [WHICH:]KEY=VALUE on the module nodes WHICH names (a node id or a module code), or
  // without WHICH on every module node that has KEY.
  const auto apply = [&](const std::string& text, const char* option) {
    const auto [which, assignment] = splitModulePrefix(text);
    const std::string key = assignment.substr(0, assignment.find('='));
    std::vector<std::string> targets;
    for (const host::PatchNode& node : patch.nodes) {
      if (node.kind != host::PatchNodeKind::Module) continue;
      if (!which.empty() && node.id != which && host::codeToString(node.code) != which) continue;
      if (which.empty()) {
        auto instance = createInstance(bundle, node.code);
        if (host::describeSettings(*instance).find(key) == nullptr && host::lookUpInputPort(*instance, key) == nullptr)
          continue;
      }
      targets.push_back(node.id);
    }
    if (targets.empty())
      throw UsageError(fmt::format("{} {}: no module node of the patch {}", option, text,
                                   which.empty() ? fmt::format("has \"{}\"", key)
                                                 : fmt::format("is \"{}\" (a node id or module code)", which)));
    for (const std::string& target : targets) assignToNode(patch, bundle, target, assignment);
  };
  for (const std::string& text : options.sets) apply(text, "--set");
  for (const std::string& text : options.controls) apply(text, "--ctrl");
  if (options.off) {
    std::vector<std::pair<std::string, std::string>> switches;
    for (const host::PatchNode& node : patch.nodes) {
      if (node.kind != host::PatchNodeKind::Module) continue;
      auto instance = createInstance(bundle, node.code);
      for (const host::PortInfo& port : instance->ports())
        if (!port.blank() && port.direction == kPortInput && port.type == kTypeOnOff)
          switches.emplace_back(node.id, std::to_string(port.index) + "=off");
    }
    for (const auto& [target, assignment] : switches) assignToNode(patch, bundle, target, assignment);
  }
}

}  // namespace tessivo::cli
