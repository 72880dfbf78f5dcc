// Patches meet live modules: node settings through the settings store, and a
// patch built into a graph.
#include "tessivo/host/control_expression.h"
#include "tessivo/host/error.h"
#include "tessivo/host/image_file.h"
#include "tessivo/host/module_discovery.h"
#include "tessivo/host/patch.h"
#include "tessivo/host/settings_store.h"

#include <fmt/format.h>

namespace tessivo::host {

namespace {

std::string nodeWhere(const PatchNode& node) { return fmt::format("node \"{}\"", node.id); }

}  // namespace

PatchNode newModuleNode(Bundle& bundle, uint32_t code, std::string id) {
  PatchNode node;
  node.id = std::move(id);
  node.kind = PatchNodeKind::Module;
  node.code = code;
  auto instance = Instance::create(bundle, code);
  storeNodeSettings(node, *instance);
  return node;
}

void loadNodeSettings(Instance& instance, const PatchNode& node) {
  if (node.settings.empty()) return;  // nothing saved: the module keeps its defaults
  SettingsStore store;
  store.fromJson(nlohmann::json{{"format", "tessivo-settings"}, {"version", 1}, {"groups", node.settings}},
                 fmt::format("{}: field \"settings\"", nodeWhere(node)));
  if (!instance.load(store.table()))
    throw HostError(fmt::format("{}: field \"settings\": {} refused them", nodeWhere(node), instance.name()));
}

void storeNodeSettings(PatchNode& node, Instance& instance) {
  SettingsStore store;
  node.settings = instance.save(store.table()) ? store.toJson()["groups"] : nlohmann::json::object();
}

void setNodeSetting(Patch& patch, Bundle& bundle, std::string_view id, std::string_view assignment) {
  PatchNode* node = patch.find(id);
  if (node == nullptr) throw HostError(fmt::format("the patch has no node \"{}\"", id));
  if (node->kind != PatchNodeKind::Module)
    throw HostError(fmt::format("{} is a {} node, not a module", nodeWhere(*node), patchNodeKindName(node->kind)));
  auto instance = Instance::create(bundle, node->code);
  loadNodeSettings(*instance, *node);
  const SettingsDescription settings = describeSettings(*instance);
  try {
    applySetting(*instance, settings, parseSettingAssignment(assignment, settings, describePanel(*instance)));
  } catch (const HostError& error) {
    throw HostError(fmt::format("{}: {}: {}", nodeWhere(*node), instance->name(), error.what()));
  }
  storeNodeSettings(*node, *instance);
}

PatchGraph buildPatchGraph(Graph& graph, const Patch& patch, const std::filesystem::path& folder,
                           std::string_view source, bool requireOutput) {
  auto fail = [&](const PatchNode& node, std::string_view field, const std::string& what) -> HostError {
    return HostError(fmt::format("{}: {}: field \"{}\": {}", source, nodeWhere(node), field, what));
  };
  PatchGraph built;
  for (const PatchNode& node : patch.nodes) {
    NodeId id = 0;
    switch (node.kind) {
      case PatchNodeKind::Module:
        try {
          id = graph.addModule(node.code);
        } catch (const HostError& error) {
          throw fail(node, "module", fmt::format("expected a module of this bundle: {}", error.what()));
        }
        try {
          loadNodeSettings(graph.instance(id), node);
        } catch (const HostError& error) {
          throw HostError(fmt::format("{}: {}", source, error.what()));
        }
        break;
      case PatchNodeKind::TestScene: id = graph.addTestScene(); break;
      case PatchNodeKind::Still:
        try {
          id = graph.addStill(readImage(folder / node.path));
        } catch (const HostError& error) {
          throw fail(node, "path", fmt::format("expected a readable PNG: {}", error.what()));
        }
        break;
      case PatchNodeKind::Video:
      case PatchNodeKind::ImageSequence:
        id = graph.addStill(Image());
        built.frameSources.push_back(node.id);
        break;
      case PatchNodeKind::Control:
        try {
          id = graph.addControl(makeControlValue(node.value));
        } catch (const HostError& error) {
          throw fail(node, "value", fmt::format("expected a number or an expression in t: {}", error.what()));
        }
        break;
      case PatchNodeKind::OnOff: id = graph.addOnOff(node.on); break;
    }
    built.nodes.emplace(node.id, id);
  }

  for (size_t i = 0; i < patch.wires.size(); ++i) {
    const PatchWire& wire = patch.wires[i];
    const auto from = built.nodes.find(wire.from), to = built.nodes.find(wire.to);
    if (from == built.nodes.end() || to == built.nodes.end() || !graph.isModule(to->second))
      throw HostError(fmt::format("{}: wire {}: expected a wire from a node to a module node", source, i + 1));
    Instance& sink = graph.instance(to->second);
    const PortInfo* port = lookUpInputPort(sink, wire.port);
    if (port == nullptr)
      throw HostError(fmt::format("{}: wire {}: field \"port\": {} has no input \"{}\" (its inputs: {})", source, i + 1,
                                  sink.name(), wire.port, inputPortList(sink)));
    try {
      graph.connect(from->second, to->second, port->index);
    } catch (const HostError& error) {
      throw HostError(fmt::format("{}: wire {} ({} -> {} port {}): {}", source, i + 1, wire.from, wire.to, wire.port,
                                  error.what()));
    }
  }

  const std::string output = patch.outputId();
  if (output.empty() && !requireOutput) return built;
  if (output.empty()) throw HostError(fmt::format("{}: field \"output\": expected a node, and no module node exists", source));
  const auto outputNode = built.nodes.find(output);
  if (outputNode == built.nodes.end())
    throw HostError(fmt::format("{}: field \"output\": no node has the id \"{}\"", source, output));
  built.output = outputNode->second;
  if (graph.outputType(built.output) != FourCC("imag"))
    throw HostError(fmt::format("{}: field \"output\": expected a node that gives an image, \"{}\" does not", source,
                                output));
  return built;
}

}  // namespace tessivo::host
