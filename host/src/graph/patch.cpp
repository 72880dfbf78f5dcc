// The patch model and its JSON form.
#include "tessivo/host/patch.h"

#include "tessivo/host/output_file.h"
#include "settings/settings_store_internal.h"
#include "tessivo/host/error.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace tessivo::host {

namespace {

using nlohmann::json;

constexpr std::string_view kFormat = "tessivo-patch";
constexpr int kVersion = 1;

constexpr std::array<std::pair<PatchNodeKind, std::string_view>, 7> kKindNames{{
    {PatchNodeKind::Module, "module"},
    {PatchNodeKind::TestScene, "test-scene"},
    {PatchNodeKind::Still, "still"},
    {PatchNodeKind::Video, "video"},
    {PatchNodeKind::ImageSequence, "image-sequence"},
    {PatchNodeKind::Control, "control"},
    {PatchNodeKind::OnOff, "on-off"},
}};

// The fields each kind may carry besides id, kind and position.
std::vector<std::string_view> kindFields(PatchNodeKind kind) {
  switch (kind) {
    case PatchNodeKind::Module: return {"module", "settings"};
    case PatchNodeKind::Still:
    case PatchNodeKind::Video:
    case PatchNodeKind::ImageSequence: return {"path"};
    case PatchNodeKind::Control: return {"value"};
    case PatchNodeKind::OnOff: return {"on"};
    case PatchNodeKind::TestScene: return {};
  }
  return {};
}

bool isPlainNumber(const std::string& text) {
  double value = 0.0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size() && std::isfinite(value);
}

class Reader {
 public:
  explicit Reader(std::string_view source) : source_(source) {}

  [[noreturn]] void fail(const std::string& where, const std::string& what) const {
    throw HostError(fmt::format("{}: {}{}", source_, where.empty() ? "" : where + ": ", what));
  }

  Patch read(const json& document) const {
    if (!document.is_object()) fail("", "expected a JSON object");
    const auto format = document.find("format");
    if (format == document.end() || *format != kFormat)
      fail("", fmt::format("not a patch (\"format\" must be \"{}\")", kFormat));
    const auto version = document.find("version");
    if (version == document.end() || !version->is_number_integer() || version->get<int64_t>() != kVersion)
      fail("field \"version\"", fmt::format("expected {}, found {}", kVersion,
                                            version == document.end() ? "nothing" : version->dump()));
    for (const auto& [key, value] : document.items())
      if (key != "format" && key != "version" && key != "nodes" && key != "wires" && key != "output")
        fail(fmt::format("field \"{}\"", key), "unknown (expected format, version, nodes, wires, output)");

    Patch patch;
    const auto nodes = document.find("nodes");
    if (nodes == document.end() || !nodes->is_array()) fail("field \"nodes\"", "expected an array of nodes");
    for (size_t i = 0; i < nodes->size(); ++i) {
      PatchNode node = readNode((*nodes)[i], i);
      if (patch.find(node.id) != nullptr) fail(fmt::format("node \"{}\"", node.id), "field \"id\": used twice");
      patch.nodes.push_back(std::move(node));
    }

    if (const auto wires = document.find("wires"); wires != document.end()) {
      if (!wires->is_array()) fail("field \"wires\"", "expected an array of {\"from\", \"to\", \"port\"}");
      for (size_t i = 0; i < wires->size(); ++i) patch.wires.push_back(readWire(patch, (*wires)[i], i));
    }
    if (const auto output = document.find("output"); output != document.end()) {
      if (!output->is_string() || patch.find(output->get<std::string>()) == nullptr)
        fail("field \"output\"", fmt::format("expected the id of a node, found {}", output->dump()));
      patch.output = output->get<std::string>();
    }
    return patch;
  }

 private:
  std::string text(const json& node, const char* field, const std::string& where) const {
    const auto found = node.find(field);
    if (found == node.end()) fail(where, fmt::format("field \"{}\": missing", field));
    if (!found->is_string()) fail(where, fmt::format("field \"{}\": expected a string, found {}", field, found->dump()));
    return found->get<std::string>();
  }

  PatchNode readNode(const json& entry, size_t index) const {
    std::string where = fmt::format("node {}", index + 1);
    if (!entry.is_object()) fail(where, "expected an object with \"id\" and \"kind\"");
    PatchNode node;
    node.id = text(entry, "id", where);
    if (node.id.empty()) fail(where, "field \"id\": expected a non-empty name");
    where = fmt::format("node \"{}\"", node.id);
    const std::string kindName = text(entry, "kind", where);
    const auto kind = patchNodeKindFromName(kindName);
    if (!kind)
      fail(where, fmt::format("field \"kind\": expected module, test-scene, still, video, image-sequence, control "
                              "or on-off, found \"{}\"",
                              kindName));
    node.kind = *kind;

    const std::vector<std::string_view> allowed = kindFields(node.kind);
    for (const auto& [key, value] : entry.items())
      if (key != "id" && key != "kind" && key != "position" && std::ranges::find(allowed, key) == allowed.end()) {
        std::string expected = "id, kind, position";
        for (std::string_view field : allowed) expected += fmt::format(", {}", field);
        fail(where, fmt::format("field \"{}\": not a field of a {} node (expected {})", key, kindName, expected));
      }
    if (const auto position = entry.find("position"); position != entry.end()) {
      if (!position->is_array() || position->size() != 2 || !(*position)[0].is_number() ||
          !(*position)[1].is_number())
        fail(where, fmt::format("field \"position\": expected [x, y], found {}", position->dump()));
      node.position = std::pair((*position)[0].get<double>(), (*position)[1].get<double>());
    }

    switch (node.kind) {
      case PatchNodeKind::Module: {
        const std::string code = text(entry, "module", where);
        if (code.size() != 4) fail(where, fmt::format("field \"module\": expected a four-character code, found \"{}\"", code));
        node.code = codeFromString(code);
        if (const auto settings = entry.find("settings"); settings != entry.end()) {
          if (!settings->is_object())
            fail(where, fmt::format("field \"settings\": expected an object of groups, found {}", settings->dump()));
          // The same validation as a settings file's groups.
          settingsGroupsFromJson(json{{"format", "tessivo-settings"}, {"version", 1}, {"groups", *settings}},
                                 fmt::format("{}: {}: field \"settings\"", source_, where));
          node.settings = *settings;
        }
        break;
      }
      case PatchNodeKind::Still:
      case PatchNodeKind::ImageSequence:
        node.path = text(entry, "path", where);
        if (node.path.empty()) fail(where, "field \"path\": expected a file name");
        break;
      case PatchNodeKind::Video:
        if (entry.contains("path")) node.path = text(entry, "path", where);
        break;
      case PatchNodeKind::Control: {
        const auto value = entry.find("value");
        if (value == entry.end()) fail(where, "field \"value\": missing");
        if (value->is_number() && std::isfinite(value->get<double>()))
          node.value = value->dump();
        else if (value->is_string() && !value->get<std::string>().empty())
          node.value = value->get<std::string>();
        else
          fail(where, fmt::format("field \"value\": expected a number or an expression in t, found {}", value->dump()));
        break;
      }
      case PatchNodeKind::OnOff: {
        const auto on = entry.find("on");
        if (on == entry.end() || !on->is_boolean())
          fail(where, fmt::format("field \"on\": expected true or false, found {}", on == entry.end() ? "nothing" : on->dump()));
        node.on = on->get<bool>();
        break;
      }
      case PatchNodeKind::TestScene: break;
    }
    return node;
  }

  PatchWire readWire(const Patch& patch, const json& entry, size_t index) const {
    const std::string where = fmt::format("wire {}", index + 1);
    if (!entry.is_object()) fail(where, "expected an object with \"from\", \"to\" and \"port\"");
    for (const auto& [key, value] : entry.items())
      if (key != "from" && key != "to" && key != "port")
        fail(where, fmt::format("field \"{}\": unknown (expected from, to, port)", key));
    PatchWire wire;
    wire.from = text(entry, "from", where);
    wire.to = text(entry, "to", where);
    for (const auto& [field, id] : {std::pair{"from", wire.from}, std::pair{"to", wire.to}})
      if (patch.find(id) == nullptr) fail(where, fmt::format("field \"{}\": no node has the id \"{}\"", field, id));
    if (patch.find(wire.to)->kind != PatchNodeKind::Module)
      fail(where, fmt::format("field \"to\": expected a module node, \"{}\" is a {} node", wire.to,
                              patchNodeKindName(patch.find(wire.to)->kind)));
    const auto port = entry.find("port");
    if (port != entry.end() && port->is_number_integer() && port->get<int64_t>() >= 0)
      wire.port = std::to_string(port->get<int64_t>());
    else if (port != entry.end() && port->is_string() && !port->get<std::string>().empty())
      wire.port = port->get<std::string>();
    else
      fail(where, fmt::format("field \"port\": expected an input's index or name, found {}",
                              port == entry.end() ? "nothing" : port->dump()));
    return wire;
  }

  std::string_view source_;
};

}  // namespace

std::string_view patchNodeKindName(PatchNodeKind kind) {
  for (const auto& [k, name] : kKindNames)
    if (k == kind) return name;
  return "unknown";
}

std::optional<PatchNodeKind> patchNodeKindFromName(std::string_view name) {
  for (const auto& [kind, n] : kKindNames)
    if (n == name) return kind;
  return std::nullopt;
}

PatchNode* Patch::find(std::string_view id) {
  auto found = std::ranges::find(nodes, id, &PatchNode::id);
  return found == nodes.end() ? nullptr : &*found;
}

const PatchNode* Patch::find(std::string_view id) const { return const_cast<Patch*>(this)->find(id); }

PatchNode& Patch::add(PatchNode node) {
  if (node.id.empty()) throw HostError("a patch node needs an id");
  if (find(node.id) != nullptr) throw HostError(fmt::format("the patch already has a node \"{}\"", node.id));
  nodes.push_back(std::move(node));
  return nodes.back();
}

std::string Patch::freeId(std::string_view stem) const {
  std::string id(stem);
  for (int n = 2; find(id) != nullptr; ++n) id = fmt::format("{}{}", stem, n);
  return id;
}

void Patch::remove(std::string_view id) {
  std::erase_if(nodes, [&](const PatchNode& node) { return node.id == id; });
  std::erase_if(wires, [&](const PatchWire& wire) { return wire.from == id || wire.to == id; });
  if (output == id) output.clear();
}

void Patch::connect(std::string_view from, std::string_view to, std::string_view port) {
  for (std::string_view id : {from, to})
    if (find(id) == nullptr) throw HostError(fmt::format("the patch has no node \"{}\"", id));
  std::erase_if(wires, [&](const PatchWire& wire) { return wire.to == to && wire.port == port; });
  wires.push_back({std::string(from), std::string(to), std::string(port)});
}

std::string Patch::outputId() const {
  if (!output.empty()) return output;
  for (auto node = nodes.rbegin(); node != nodes.rend(); ++node)
    if (node->kind == PatchNodeKind::Module) return node->id;
  return {};
}

PatchNode newSourceNode(std::string id, PatchNodeKind kind, std::string path) {
  PatchNode node;
  node.id = std::move(id);
  node.kind = kind;
  node.path = std::move(path);
  return node;
}

PatchNode newControlNode(std::string id, std::string value) {
  PatchNode node = newSourceNode(std::move(id), PatchNodeKind::Control);
  node.value = std::move(value);
  return node;
}

PatchNode newOnOffNode(std::string id, bool on) {
  PatchNode node = newSourceNode(std::move(id), PatchNodeKind::OnOff);
  node.on = on;
  return node;
}

json patchToJson(const Patch& patch) {
  json nodes = json::array();
  for (const PatchNode& node : patch.nodes) {
    json entry{{"id", node.id}, {"kind", patchNodeKindName(node.kind)}};
    switch (node.kind) {
      case PatchNodeKind::Module:
        entry["module"] = codeToString(node.code);
        entry["settings"] = node.settings;
        break;
      case PatchNodeKind::Still:
      case PatchNodeKind::ImageSequence: entry["path"] = node.path; break;
      case PatchNodeKind::Video:
        if (!node.path.empty()) entry["path"] = node.path;
        break;
      case PatchNodeKind::Control:
        // A number that reads back as the same text stays a number; anything else is kept as written.
        if (isPlainNumber(node.value) && json::parse(node.value).dump() == node.value)
          entry["value"] = json::parse(node.value);
        else
          entry["value"] = node.value;
        break;
      case PatchNodeKind::OnOff: entry["on"] = node.on; break;
      case PatchNodeKind::TestScene: break;
    }
    if (node.position) entry["position"] = {node.position->first, node.position->second};
    nodes.push_back(std::move(entry));
  }
  json wires = json::array();
  for (const PatchWire& wire : patch.wires) {
    json port = wire.port;
    if (!wire.port.empty() && std::ranges::all_of(wire.port, [](char c) { return c >= '0' && c <= '9'; }) &&
        wire.port.size() < 10)
      port = std::stoul(wire.port);
    wires.push_back({{"from", wire.from}, {"to", wire.to}, {"port", port}});
  }
  json document{{"format", kFormat}, {"version", kVersion}, {"nodes", std::move(nodes)}, {"wires", std::move(wires)}};
  if (!patch.output.empty()) document["output"] = patch.output;
  return document;
}

Patch patchFromJson(const json& document, std::string_view source) { return Reader(source).read(document); }

void savePatch(const Patch& patch, const std::filesystem::path& path) {
  writeOutputFile(path, patchToJson(patch).dump(2) + "\n");
}

Patch loadPatch(const std::filesystem::path& path) {
  const std::string source = "patch " + path.string();
  return patchFromJson(readJsonFile(path, source, "a patch"), source);
}

}  // namespace tessivo::host
