// `tessivo patch new/show/set`: patch files made from a chain, listed, and
// edited one setting, controller or path at a time.
#include "cli_common.h"
#include "patch_edit.h"

#include <tessivo/host/control_expression.h>
#include <tessivo/host/error.h>
#include <tessivo/host/graph.h>
#include <tessivo/host/module_discovery.h>
#include <tessivo/host/patch.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <filesystem>

namespace tessivo::cli {

namespace {

namespace fs = std::filesystem;

struct PatchOptions {
  std::string file;
  std::string chain;
  std::string input = "video";
  bool overwrite = false;
  std::string node;
  std::vector<std::string> assignments;
};

// Refuses a patch the bundle cannot build, so a saved patch always renders.
void check(host::Bundle& bundle, const host::Patch& patch, const std::string& file) {
  host::Graph graph(bundle);
  host::buildPatchGraph(graph, patch, fs::path(file).parent_path(), "patch " + file);
}

host::PatchNode inputNode(const std::string& text) {
  const auto colon = text.find(':');
  const std::string kind = text.substr(0, colon), path = colon == std::string::npos ? "" : text.substr(colon + 1);
  if (kind == "video") return host::newSourceNode("in", host::PatchNodeKind::Video, path);
  if (kind == "scene") return host::newSourceNode("in", host::PatchNodeKind::TestScene);
  if ((kind == "still" || kind == "sequence") && !path.empty())
    return host::newSourceNode("in", kind == "still" ? host::PatchNodeKind::Still : host::PatchNodeKind::ImageSequence,
                               path);
  throw CliError(fmt::format("--input \"{}\": expected video, video:PATH, scene, still:PATH or sequence:PATTERN", text));
}

void runNew(const GlobalOptions& globals, const PatchOptions& options) {
  std::error_code error;
  if (fs::exists(options.file, error) && !options.overwrite)
    throw CliError(fmt::format("{} exists; pass -y to replace it", options.file));
  auto bundle = loadBundle(globals);
  host::Patch patch;
  patch.add(inputNode(options.input));
  std::string upstream = "in";
  size_t start = 0;
  while (start <= options.chain.size() && !options.chain.empty()) {
    const size_t plus = options.chain.find('+', start);
    const std::string code = options.chain.substr(start, plus == std::string::npos ? std::string::npos : plus - start);
    const uint32_t parsed = parseModuleCode(*bundle, code);
    const std::string id = patch.freeId(code);
    patch.add(host::newModuleNode(*bundle, parsed, id));
    patch.connect(upstream, id, "0");
    upstream = id;
    if (plus == std::string::npos) break;
    start = plus + 1;
  }
  patch.output = upstream == "in" ? "" : upstream;
  check(*bundle, patch, options.file);
  host::savePatch(patch, options.file);
  fmt::print("Wrote {} ({} nodes)\n", options.file, patch.nodes.size());
}

std::string nodeText(const host::PatchNode& node, host::Bundle& bundle) {
  switch (node.kind) {
    case host::PatchNodeKind::Module: {
      const host::ModuleInfo* info = bundle.findModule(node.code);
      std::string text = fmt::format("module {} ({})", host::codeToString(node.code), info ? info->name : "unlisted");
      host::SettingsStore store;
      store.fromJson(nlohmann::json{{"format", "tessivo-settings"}, {"version", 1}, {"groups", node.settings}}, node.id);
      for (const std::string& group : store.groups())
        for (const std::string& key : store.keys(group))
          text += fmt::format("\n      {} = {}", key, store.get(group, key)->toString());
      return text;
    }
    case host::PatchNodeKind::Video:
      return node.path.empty() ? "video (the render's input)" : fmt::format("video {}", node.path);
    case host::PatchNodeKind::Still:
    case host::PatchNodeKind::ImageSequence: return fmt::format("{} {}", host::patchNodeKindName(node.kind), node.path);
    case host::PatchNodeKind::Control: return fmt::format("control {}", node.value);
    case host::PatchNodeKind::OnOff: return fmt::format("on-off {}", node.on ? "on" : "off");
    case host::PatchNodeKind::TestScene: return "test scene";
  }
  return {};
}

void runShow(const GlobalOptions& globals, const PatchOptions& options) {
  const host::Patch patch = host::loadPatch(options.file);
  auto bundle = loadBundle(globals);
  fmt::print("{}: {} nodes, {} wires, output {}\n", options.file, patch.nodes.size(), patch.wires.size(),
             patch.outputId().empty() ? "none" : patch.outputId());
  for (const host::PatchNode& node : patch.nodes) fmt::print("  {:<10} {}\n", node.id, nodeText(node, *bundle));
  for (const host::PatchWire& wire : patch.wires) fmt::print("  {} -> {} port {}\n", wire.from, wire.to, wire.port);
}

void runSet(const GlobalOptions& globals, const PatchOptions& options) {
  host::Patch patch = host::loadPatch(options.file);
  auto bundle = loadBundle(globals);
  if (options.node == "output") {
    // `patch set FILE output NODE`
    if (options.assignments.size() != 1 || patch.find(options.assignments[0]) == nullptr)
      throw CliError("patch set FILE output NODE: expected the id of one node");
    patch.output = options.assignments[0];
  } else {
    host::PatchNode* node = patch.find(options.node);
    if (node == nullptr) {
      std::string ids;
      for (const host::PatchNode& n : patch.nodes) ids += fmt::format("{}{}", ids.empty() ? "" : ", ", n.id);
      throw CliError(fmt::format("{} has no node \"{}\"; its nodes are: {}", options.file, options.node, ids));
    }
    const std::string id = node->id;
    for (const std::string& assignment : options.assignments) assignToNode(patch, *bundle, id, assignment);
  }
  check(*bundle, patch, options.file);
  host::savePatch(patch, options.file);
  fmt::print("Saved {}\n", options.file);
}

}  // namespace

void addPatchCommand(CLI::App& app, GlobalOptions& globals) {
  auto* command = app.add_subcommand("patch", "Make, show and edit patch files (modules, sources, wires, controllers)");
  command->require_subcommand(1);
  auto options = std::make_shared<PatchOptions>();

  auto* make = command->add_subcommand("new", "Write a patch of a chain (CODE+CODE...) fed by one input");
  make->add_option("FILE", options->file, "Patch file to write (.json)")->required();
  make->add_option("CHAIN", options->chain, "Module codes joined by +, wired left to right");
  make->add_option("--input", options->input,
                   "What feeds the chain: video (the render's -i), video:PATH, scene, still:PATH or sequence:PATTERN")
      ->capture_default_str();
  make->add_flag("-y,--overwrite", options->overwrite, "Replace an existing file");
  make->callback([&globals, options] { runNew(globals, *options); });

  auto* show = command->add_subcommand("show", "List a patch's nodes, settings and wires");
  show->add_option("FILE", options->file, "Patch file")->required();
  show->callback([&globals, options] { runShow(globals, *options); });

  auto* set = command->add_subcommand(
      "set", "Change a node: a module's setting KEY=VALUE, an input PORT=VALUE (number, expression in t, on/off, or "
             "the id of the node feeding an image input), value=, on= or path= on the other kinds; or `output NODE`");
  set->add_option("FILE", options->file, "Patch file")->required();
  set->add_option("NODE", options->node, "Node id (or output)")->required();
  set->add_option("ASSIGNMENT", options->assignments, "KEY=VALUE ...")->required();
  set->callback([&globals, options] { runSet(globals, *options); });
}

}  // namespace tessivo::cli
