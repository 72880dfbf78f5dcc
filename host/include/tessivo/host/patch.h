// Patches: a graph of module instances, sources and controllers saved as JSON,
// read back with messages that name the node, the field and what was expected,
// and built into a host Graph. The command line and the studio share this.
//
// The file (version 1):
//   {
//     "format": "tessivo-patch", "version": 1,
//     "nodes": [
//       {"id": "in",    "kind": "video"},                       // "path" optional: empty = the frames the
//                                                               //  caller feeds (the render's input)
//       {"id": "seq",   "kind": "image-sequence", "path": "frames/f%04d.png"},
//       {"id": "logo",  "kind": "still", "path": "logo.png"},   // any still format, relative to the patch's folder
//       {"id": "scene", "kind": "test-scene"},                  // the animated test scene
//       {"id": "fade",  "kind": "module", "module": "fadr",
//        "settings": {"Fader": {"Amount": {"type": "double", "value": 0.5}}}},
//                                                               // the groups and keys the module saves,
//                                                               //  as in a settings file's "groups"
//       {"id": "amt",   "kind": "control", "value": "0.5 + 0.5*sin(2*pi*t/4)"},  // number or expression in t
//       {"id": "sw",    "kind": "on-off", "on": true}
//     ],
//     "wires": [{"from": "in", "to": "fade", "port": 0},        // port: input index, long or short name
//               {"from": "amt", "to": "fade", "port": "Fade"}],
//     "output": "fade"                                          // optional: the last module node
//   }
// Every node may carry "position": [x, y] for editors. Unknown fields are errors.
#pragma once

#include "tessivo/host/graph.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tessivo::host {

enum class PatchNodeKind { Module, TestScene, Still, Video, ImageSequence, Control, OnOff };

// "module", "test-scene", "still", "video", "image-sequence", "control", "on-off".
std::string_view patchNodeKindName(PatchNodeKind kind);
std::optional<PatchNodeKind> patchNodeKindFromName(std::string_view name);

struct PatchNode {
  std::string id;  // unique in the patch, non-empty
  PatchNodeKind kind = PatchNodeKind::Module;
  uint32_t code = 0;                                  // Module: the module's code
  nlohmann::json settings = nlohmann::json::object();  // Module: {group: {key: {type, value}}}
  std::string path;                                   // Still, Video, ImageSequence
  std::string value;                                  // Control: a number or an expression in t
  bool on = true;                                     // OnOff
  std::optional<std::pair<double, double>> position;  // where an editor draws it
};

struct PatchWire {
  std::string from;  // any node
  std::string to;    // a module node
  std::string port;  // the input's index ("2"), long or short name
};

struct Patch {
  std::vector<PatchNode> nodes;
  std::vector<PatchWire> wires;
  std::string output;  // empty: the last module node

  PatchNode* find(std::string_view id);
  const PatchNode* find(std::string_view id) const;
  // Appends a node; throws HostError when its id is empty or taken.
  PatchNode& add(PatchNode node);
  // "stem", else "stem2", "stem3", ...: an id no node has.
  std::string freeId(std::string_view stem) const;
  // Removes a node and every wire touching it (and the output if it was the output).
  void remove(std::string_view id);
  // Wires from -> (to, port), replacing a wire into the same port. No checks
  // beyond the node ids: buildPatchGraph checks ports and types.
  void connect(std::string_view from, std::string_view to, std::string_view port);
  // The output node's id: output, else the last module node; empty when none.
  std::string outputId() const;
};

nlohmann::json patchToJson(const Patch& patch);
// Validates the structure (fields, kinds, ids, wires' ends); throws HostError
// "<source>: node \"fade\": field \"settings\": expected ...".
Patch patchFromJson(const nlohmann::json& document, std::string_view source);
// Written atomically; pretty-printed so it diffs and hand-edits well.
void savePatch(const Patch& patch, const std::filesystem::path& path);
Patch loadPatch(const std::filesystem::path& path);

// Nodes of the other kinds: test scene, still, video, image sequence (with a path where it has one).
PatchNode newSourceNode(std::string id, PatchNodeKind kind, std::string path = {});
PatchNode newControlNode(std::string id, std::string value);  // a number or an expression in t
PatchNode newOnOffNode(std::string id, bool on);

// A module node with the settings a fresh instance saves (its defaults).
PatchNode newModuleNode(Bundle& bundle, uint32_t code, std::string id);
// Hands the node's settings to a live instance through the host's settings store.
// Throws HostError naming the node when they are malformed or the module refuses them.
void loadNodeSettings(Instance& instance, const PatchNode& node);
// Keeps what the instance saves as the node's settings.
void storeNodeSettings(PatchNode& node, Instance& instance);
// Changes one setting of a module node, "KEY=VALUE" as `tessivo apply --set`
// takes it (typed, range-checked, popup labels), through a live instance.
void setNodeSetting(Patch& patch, Bundle& bundle, std::string_view id, std::string_view assignment);

// The graph nodes a patch became.
struct PatchGraph {
  std::map<std::string, NodeId, std::less<>> nodes;  // patch id -> graph node
  NodeId output = 0;
  // Video and image-sequence nodes, in patch order: still nodes (empty until
  // fed) whose picture the caller sets each frame with Graph::setStill.
  std::vector<std::string> frameSources;
};

// Adds the patch's nodes and wires to graph (usually empty). Stills are read
// relative to folder. Throws HostError "<source>: node \"x\": field \"y\": ..."
// for an unknown module, port, wrong wire type, loop, bad expression or unreadable still.
// With requireOutput false, a patch still being edited may have no module
// node yet: its sources are built and output stays 0 (a named output is still checked).
PatchGraph buildPatchGraph(Graph& graph, const Patch& patch, const std::filesystem::path& folder,
                           std::string_view source, bool requireOutput = true);

}  // namespace tessivo::host
