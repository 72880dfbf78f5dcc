// The studio's document: a patch kept built into a live graph.
#include "tessivo/studio/studio.h"

#include "web_panel.h"

#include <tessivo/host/error.h>
#include <tessivo/host/image_file.h>
#include <tessivo/host/media/video_feed.h>
#include <tessivo/host/instance.h>
#include <tessivo/host/module_discovery.h>
#include <tessivo/host/module_notes.h>

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <set>
#include <utility>

namespace tessivo::studio {

namespace fs = std::filesystem;
using nlohmann::json;

namespace {

constexpr uint32_t kTypeImage = FourCC("imag");
constexpr uint32_t kTypeControl = FourCC("ctrl");
constexpr uint32_t kTypeOnOff = FourCC("ddes");

std::string typeName(uint32_t type) {
  if (type == kTypeImage) return "image";
  if (type == kTypeControl) return "control";
  if (type == kTypeOnOff) return "on-off";
  return type == 0 ? "" : host::codeToString(type);
}

const char* typeWord(json::value_t type) {
  switch (type) {
    case json::value_t::string: return "text";
    case json::value_t::boolean: return "true or false";
    case json::value_t::array: return "a list";
    case json::value_t::number_integer: return "a whole number";
    default: return "a number";
  }
}

// A field of a request object, with a 400 naming it when it has the wrong type.
const json* field(const json& request, const char* name, json::value_t type, bool required) {
  if (!request.is_object()) throw StudioError(400, "the request must be a JSON object");
  auto it = request.find(name);
  if (it == request.end() || it->is_null()) {
    if (required) throw StudioError(400, fmt::format("the request has no \"{}\"", name));
    return nullptr;
  }
  const bool matches = type == json::value_t::number_float     ? it->is_number()
                       : type == json::value_t::number_integer ? it->is_number_integer()
                                                               : it->type() == type;
  if (!matches) throw StudioError(400, fmt::format("\"{}\" must be {}", name, typeWord(type)));
  return &*it;
}

std::string stringField(const json& request, const char* name, bool required = true) {
  const json* value = field(request, name, json::value_t::string, required);
  return value == nullptr ? std::string() : value->get<std::string>();
}

std::optional<std::pair<double, double>> positionField(const json& request) {
  if (!request.contains("position") || request["position"].is_null()) return std::nullopt;
  const json& position = request["position"];
  if (!position.is_array() || position.size() != 2 || !position[0].is_number() || !position[1].is_number())
    throw StudioError(400, "\"position\" must be [x, y]");
  const double x = position[0].get<double>(), y = position[1].get<double>();
  if (!std::isfinite(x) || !std::isfinite(y)) throw StudioError(400, "\"position\" must be finite");
  return std::pair{x, y};
}

// A port given as a number or as text, as a wire stores it.
std::string portField(const json& request) {
  if (!request.is_object() || !request.contains("port")) throw StudioError(400, "the request has no \"port\"");
  const json& port = request["port"];
  if (port.is_number_unsigned()) return std::to_string(port.get<uint64_t>());
  if (port.is_string()) return port.get<std::string>();
  throw StudioError(400, "\"port\" must be an input index or name");
}

json portJson(const host::PortInfo& port) {
  return {{"index", port.index},
          {"direction", port.direction == kPortOutput ? "output" : "input"},
          {"type", typeName(port.type)},
          {"kind", port.kind},
          {"longName", port.longName},
          {"shortName", port.shortName},
          {"rect", {port.x, port.y, port.width, port.height}}};
}

json moduleJson(host::Bundle& bundle, uint32_t code, const host::ModuleInfo* info) {
  auto instance = host::Instance::create(bundle, code);
  json ports = json::array();
  for (const host::PortInfo& port : instance->ports())
    if (!port.blank()) ports.push_back(portJson(port));
  std::string name = instance->name();
  if (info == nullptr) {
    // Unlisted, it has no registry name; its settings group carries its display name.
    const std::string group = host::describeSettings(*instance).group;
    if (!group.empty()) name = group;
  }
  json box = info != nullptr ? json{info->boxWidth, info->boxHeight} : json(nullptr);
  return {{"code", host::codeToString(code)}, {"name", name},       {"listed", info != nullptr},
          {"box", box},                      {"ports", ports},     {"hasPanel", instance->hasPanel()}};
}

// A clip node's kind from its file name: a printf pattern names an image sequence.
host::PatchNodeKind clipKind(const std::string& path) {
  return path.find('%') != std::string::npos ? host::PatchNodeKind::ImageSequence : host::PatchNodeKind::Video;
}

}  // namespace

// The graph a patch became, and the wires' ports resolved to input indices.
struct Studio::Built {
  explicit Built(host::Bundle& bundle) : graph(bundle) {}
  host::Graph graph;
  host::PatchGraph nodes;
  // The clips that feed the video and image-sequence nodes (by patch id);
  // a node without a file has none.
  std::map<std::string, std::unique_ptr<host::media::VideoFeed>, std::less<>> feeds;
};

Studio::Studio(host::Bundle& bundle, fs::path workFolder) : bundle_(bundle), workFolder_(std::move(workFolder)) {
  json modules = json::array();
  for (const host::ModuleInfo& info : bundle_.modules()) modules.push_back(moduleJson(bundle_, info.code, &info));
  for (const uint32_t code : host::documentedCodes()) {
    if (bundle_.findModule(code) != nullptr) continue;
    try {
      modules.push_back(moduleJson(bundle_, code, nullptr));
    } catch (const host::HostError&) {
      // not in this build
    }
  }
  palette_ = {{"modules", modules},
              {"sources",
               json::array({{{"kind", "test-scene"}, {"name", "Test scene"}, {"type", "image"}},
                            {{"kind", "still"}, {"name", "Still image"}, {"type", "image"}},
                            {{"kind", "video"}, {"name", "Video or sequence"}, {"type", "image"}},
                            {{"kind", "control"}, {"name", "Control"}, {"type", "control"}},
                            {{"kind", "on-off"}, {"name", "On/Off"}, {"type", "on-off"}}})}};
  built_ = std::make_unique<Built>(bundle_);
}

Studio::~Studio() = default;

json Studio::palette() const { return palette_; }

bool Studio::dirty() const {
  std::lock_guard lock(mutex_);
  return dirty_;
}

fs::path Studio::folder() const { return file_.empty() ? workFolder_ : file_.parent_path(); }

fs::path Studio::resolve(const std::string& path) const {
  if (path.empty()) throw StudioError(400, "no file name given");
  const fs::path given(path);
  return given.is_absolute() ? given : workFolder_ / given;
}

void Studio::commit(host::Patch candidate, bool markDirty, const std::string& source) {
  auto built = std::make_unique<Built>(bundle_);
  try {
    built->nodes = host::buildPatchGraph(built->graph, candidate, folder(), source, false);
    for (const std::string& id : built->nodes.frameSources) {
      const host::PatchNode* node = candidate.find(id);
      if (node == nullptr || node->path.empty()) continue;
      const fs::path clip = fs::path(node->path).is_absolute() ? fs::path(node->path) : folder() / node->path;
      try {
        built->feeds[id] = std::make_unique<host::media::VideoFeed>(clip.string());
      } catch (const host::HostError& error) {
        throw host::HostError(fmt::format("{}: node \"{}\": field \"path\": {}", source, id, error.what()));
      }
    }
  } catch (const host::HostError& error) {
    throw StudioError(422, error.what());
  }
  built_ = std::move(built);
  patch_ = std::move(candidate);
  if (markDirty) dirty_ = true;
}

json Studio::stateLocked() const {
  json ports = json::object();
  for (const host::PatchWire& wire : patch_.wires) {
    auto it = built_->nodes.nodes.find(wire.to);
    if (it == built_->nodes.nodes.end() || !built_->graph.isModule(it->second)) continue;
    if (const host::PortInfo* port = host::lookUpInputPort(built_->graph.instance(it->second), wire.port))
      ports[wire.to][wire.port] = port->index;
  }
  return {{"patch", host::patchToJson(patch_)},
          {"file", file_.empty() ? std::string() : file_.string()},
          {"dirty", dirty_},
          {"output", patch_.outputId()},
          {"ports", ports}};
}

json Studio::state() const {
  std::lock_guard lock(mutex_);
  return stateLocked();
}

json Studio::addNode(const json& request) {
  std::lock_guard lock(mutex_);
  const std::string kindName = stringField(request, "kind");
  const auto kind = host::patchNodeKindFromName(kindName);
  if (!kind) throw StudioError(400, fmt::format("unknown node kind \"{}\"", kindName));
  host::Patch candidate = patch_;
  host::PatchNode node;
  switch (*kind) {
    case host::PatchNodeKind::Module: {
      const std::string codeText = stringField(request, "module");
      uint32_t code = 0;
      try {
        code = host::codeFromString(codeText);
      } catch (const host::HostError&) {
        throw StudioError(422, fmt::format("\"{}\" is not a module code (four characters)", codeText));
      }
      bool offered = false;
      for (const json& module : palette_["modules"]) offered = offered || module["code"] == host::codeToString(code);
      if (!offered) throw StudioError(422, fmt::format("unknown module \"{}\"", codeText));
      try {
        node = host::newModuleNode(bundle_, code, candidate.freeId(codeText));
      } catch (const host::HostError& error) {
        throw StudioError(422, error.what());
      }
      break;
    }
    case host::PatchNodeKind::TestScene:
      node = host::newSourceNode(candidate.freeId("scene"), *kind);
      break;
    case host::PatchNodeKind::Still:
      node = host::newSourceNode(candidate.freeId("still"), *kind, stringField(request, "path"));
      break;
    case host::PatchNodeKind::Video:
    case host::PatchNodeKind::ImageSequence: {
      const std::string path = stringField(request, "path");
      node = host::newSourceNode(candidate.freeId("video"), clipKind(path), path);
      break;
    }
    case host::PatchNodeKind::Control: {
      const json* value = request.contains("value") ? &request["value"] : nullptr;
      std::string text = "0.5";
      if (value != nullptr && value->is_number()) text = value->dump();
      else if (value != nullptr && value->is_string()) text = value->get<std::string>();
      else if (value != nullptr) throw StudioError(400, "\"value\" must be a number or an expression in t");
      node = host::newControlNode(candidate.freeId("control"), text);
      break;
    }
    case host::PatchNodeKind::OnOff: {
      const json* on = field(request, "on", json::value_t::boolean, false);
      node = host::newOnOffNode(candidate.freeId("switch"), on == nullptr || on->get<bool>());
      break;
    }
    default:
      throw StudioError(422, fmt::format("the studio cannot add \"{}\" nodes", kindName));
  }
  node.position = positionField(request);
  const std::string id = node.id;
  candidate.add(std::move(node));
  commit(std::move(candidate), true);
  json result = stateLocked();
  result["added"] = id;
  return result;
}

json Studio::updateNode(const std::string& id, const json& request) {
  std::lock_guard lock(mutex_);
  host::Patch candidate = patch_;
  host::PatchNode* node = candidate.find(id);
  if (node == nullptr) throw StudioError(404, fmt::format("no node \"{}\"", id));
  if (!request.is_object()) throw StudioError(400, "the request must be a JSON object");
  bool structural = false;
  if (request.contains("value")) {
    if (node->kind != host::PatchNodeKind::Control) throw StudioError(400, fmt::format("node \"{}\" has no value", id));
    const json& value = request["value"];
    if (value.is_number()) node->value = value.dump();
    else if (value.is_string()) node->value = value.get<std::string>();
    else throw StudioError(400, "\"value\" must be a number or an expression in t");
    structural = true;
  }
  if (const json* on = field(request, "on", json::value_t::boolean, false)) {
    if (node->kind != host::PatchNodeKind::OnOff) throw StudioError(400, fmt::format("node \"{}\" is not an on/off", id));
    node->on = on->get<bool>();
    structural = true;
  }
  if (request.contains("path")) {
    const bool clip = node->kind == host::PatchNodeKind::Video || node->kind == host::PatchNodeKind::ImageSequence;
    if (node->kind != host::PatchNodeKind::Still && !clip)
      throw StudioError(400, fmt::format("node \"{}\" reads no file", id));
    node->path = stringField(request, "path");
    if (clip) node->kind = clipKind(node->path);
    structural = true;
  }
  if (request.contains("position")) node->position = positionField(request);
  if (structural) {
    commit(std::move(candidate), true);
  } else {
    patch_ = std::move(candidate);  // the graph does not change
    dirty_ = true;
  }
  return stateLocked();
}

json Studio::removeNode(const std::string& id) {
  std::lock_guard lock(mutex_);
  if (patch_.find(id) == nullptr) throw StudioError(404, fmt::format("no node \"{}\"", id));
  host::Patch candidate = patch_;
  candidate.remove(id);
  commit(std::move(candidate), true);
  return stateLocked();
}

json Studio::connect(const json& request) {
  std::lock_guard lock(mutex_);
  const std::string from = stringField(request, "from"), to = stringField(request, "to");
  const std::string port = portField(request);
  if (patch_.find(from) == nullptr) throw StudioError(404, fmt::format("no node \"{}\"", from));
  const host::PatchNode* target = patch_.find(to);
  if (target == nullptr) throw StudioError(404, fmt::format("no node \"{}\"", to));
  if (target->kind != host::PatchNodeKind::Module)
    throw StudioError(422, fmt::format("node \"{}\" has no inputs", to));
  host::Patch candidate = patch_;
  candidate.connect(from, to, port);
  commit(std::move(candidate), true);
  return stateLocked();
}

json Studio::disconnect(const json& request) {
  std::lock_guard lock(mutex_);
  const std::string to = stringField(request, "to");
  const std::string port = portField(request);
  auto node = built_->nodes.nodes.find(to);
  if (node == built_->nodes.nodes.end() || !built_->graph.isModule(node->second))
    throw StudioError(404, fmt::format("no module node \"{}\"", to));
  const host::PortInfo* info = host::lookUpInputPort(built_->graph.instance(node->second), port);
  if (info == nullptr) throw StudioError(422, fmt::format("node \"{}\" has no input \"{}\"", to, port));
  host::Patch candidate = patch_;
  auto& wires = candidate.wires;
  const size_t before = wires.size();
  std::erase_if(wires, [&](const host::PatchWire& wire) {
    const host::PortInfo* other = wire.to == to ? host::lookUpInputPort(built_->graph.instance(node->second), wire.port)
                                                : nullptr;
    return other != nullptr && other->index == info->index;
  });
  if (wires.size() == before) throw StudioError(404, fmt::format("nothing is wired to \"{}\" of \"{}\"", port, to));
  commit(std::move(candidate), true);
  return stateLocked();
}

json Studio::setOutput(const std::string& id) {
  std::lock_guard lock(mutex_);
  const host::PatchNode* node = patch_.find(id);
  if (node == nullptr || node->kind != host::PatchNodeKind::Module)
    throw StudioError(404, fmt::format("no module node \"{}\"", id));
  host::Patch candidate = patch_;
  candidate.output = id;
  commit(std::move(candidate), true);
  return stateLocked();
}

json Studio::panel(const std::string& id) {
  std::lock_guard lock(mutex_);
  auto node = built_->nodes.nodes.find(id);
  if (node == built_->nodes.nodes.end() || !built_->graph.isModule(node->second))
    throw StudioError(404, fmt::format("no module node \"{}\"", id));
  host::Instance& instance = built_->graph.instance(node->second);
  if (!instance.hasPanel()) throw StudioError(422, fmt::format("{} has no settings panel", instance.name()));
  WebPanel capture;
  instance.runPanel(capture.table());
  if (!capture.model().created) throw StudioError(500, fmt::format("{} could not build its settings panel", instance.name()));
  json result = panelJson(capture.model());
  result["title"] = fmt::format("{} ({}) settings", instance.name(), id);
  return result;
}

json Studio::answerPanel(const std::string& id, const json& request) {
  std::lock_guard lock(mutex_);
  host::PatchNode* patchNode = patch_.find(id);
  auto node = built_->nodes.nodes.find(id);
  if (patchNode == nullptr || node == built_->nodes.nodes.end() || !built_->graph.isModule(node->second))
    throw StudioError(404, fmt::format("no module node \"{}\"", id));
  host::Instance& instance = built_->graph.instance(node->second);
  if (!instance.hasPanel()) throw StudioError(422, fmt::format("{} has no settings panel", instance.name()));
  const json* hit = field(request, "hit", json::value_t::number_integer, true);
  if (hit->get<int64_t>() < INT32_MIN || hit->get<int64_t>() > INT32_MAX)
    throw StudioError(400, "\"hit\" must be an item number");
  std::vector<std::pair<size_t, std::string>> values;
  if (const json* list = field(request, "values", json::value_t::array, false)) {
    for (const json& entry : *list) {
      if (!entry.is_object() || !entry.contains("index") || !entry["index"].is_number_unsigned() ||
          !entry.contains("value") || !(entry["value"].is_string() || entry["value"].is_number()))
        throw StudioError(400, "each of \"values\" must be {\"index\": control number, \"value\": text}");
      values.emplace_back(entry["index"].get<size_t>(),
                          entry["value"].is_string() ? entry["value"].get<std::string>() : entry["value"].dump());
    }
  }
  WebPanel panel(std::move(values), hit->get<int32_t>());
  const bool accepted = instance.runPanel(panel.table());
  if (!panel.errors().empty()) throw StudioError(422, panel.errors().front());
  if (!panel.model().created) throw StudioError(500, fmt::format("{} could not build its settings panel", instance.name()));
  if (accepted) {
    host::Patch candidate = patch_;
    host::storeNodeSettings(*candidate.find(id), instance);
    commit(std::move(candidate), true);
    return {{"accepted", true}, {"state", stateLocked()}};
  }
  json result = {{"accepted", false}};
  if (panel.reopened()) {
    result["panel"] = panelJson(*panel.reopened());
    result["panel"]["title"] = fmt::format("{} ({}) settings", instance.name(), id);
    if (hit->get<int32_t>() == kPanelItemOK)
      result["message"] = fmt::format("{} did not accept these settings", instance.name());
  }
  return result;
}

json Studio::pictures() const {
  std::lock_guard lock(mutex_);
  std::vector<std::string> names;
  std::error_code error;
  for (fs::directory_iterator it(folder(), error), end; !error && it != end && names.size() < 500; it.increment(error)) {
    if (host::hasStillImageExtension(it->path()) && it->is_regular_file(error))
      names.push_back(it->path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

json Studio::newPatch() {
  std::lock_guard lock(mutex_);
  file_.clear();
  commit(host::Patch{}, false);
  dirty_ = false;
  return stateLocked();
}

json Studio::load(const std::string& path) {
  std::lock_guard lock(mutex_);
  const fs::path file = resolve(path);
  host::Patch patch;
  try {
    patch = host::loadPatch(file);
  } catch (const host::HostError& error) {
    throw StudioError(422, error.what());
  }
  const fs::path previous = file_;
  file_ = file;  // stills are relative to the patch's folder
  try {
    commit(std::move(patch), false, file.string());
  } catch (...) {
    file_ = previous;
    throw;
  }
  dirty_ = false;
  return stateLocked();
}

host::Patch Studio::writeLocked(const fs::path& file) const {
  // Stills and clips stay where they are: relative paths follow the patch to its new folder.
  host::Patch saved = patch_;
  const fs::path from = fs::absolute(folder()), to = fs::absolute(file).parent_path();
  if (from != to)
    for (host::PatchNode& node : saved.nodes)
      if ((node.kind == host::PatchNodeKind::Still || node.kind == host::PatchNodeKind::Video ||
           node.kind == host::PatchNodeKind::ImageSequence) &&
          !node.path.empty() && fs::path(node.path).is_relative())
        node.path = fs::relative(from / node.path, to).string();
  try {
    host::savePatch(saved, file);
  } catch (const host::HostError& error) {
    throw StudioError(422, error.what());
  }
  return saved;
}

json Studio::save(const std::string& path) {
  std::lock_guard lock(mutex_);
  const fs::path file = path.empty() ? file_ : resolve(path);
  if (file.empty()) throw StudioError(400, "no file name given");
  patch_ = writeLocked(file);
  file_ = file;
  dirty_ = false;
  return stateLocked();
}

fs::path Studio::keepUnsaved() const {
  std::lock_guard lock(mutex_);
  if (!dirty_) return {};
  const fs::path folderOfFile = file_.empty() ? workFolder_ : file_.parent_path();
  const std::string stem = file_.empty() ? std::string("untitled") : file_.stem().string();
  std::error_code error;
  for (int n = 1;; ++n) {
    const fs::path candidate =
        folderOfFile / (n == 1 ? stem + ".unsaved.json" : fmt::format("{}.unsaved-{}.json", stem, n));
    if (!fs::exists(candidate, error)) {
      writeLocked(candidate);
      return candidate;
    }
  }
}

json Studio::nameFile(const std::string& path) {
  std::lock_guard lock(mutex_);
  const fs::path file = resolve(path);
  std::error_code error;
  if (!fs::is_directory(fs::absolute(file).parent_path(), error))
    throw StudioError(422, fmt::format("{}: its folder does not exist", file.string()));
  file_ = file;
  return stateLocked();
}

json Studio::replace(const json& document, const std::string& source) {
  std::lock_guard lock(mutex_);
  host::Patch patch;
  try {
    patch = host::patchFromJson(document, source);
  } catch (const host::HostError& error) {
    throw StudioError(422, error.what());
  }
  commit(std::move(patch), true);
  return stateLocked();
}

EncodedFrame Studio::preview(const std::string& id, double time, uint32_t width, uint32_t height, FrameFormat format) {
  if (width == 0 || height == 0 || width > kMaxPreviewSide || height > kMaxPreviewSide)
    throw StudioError(400, fmt::format("preview size {}x{} is outside 1..{}", width, height, kMaxPreviewSide));
  if (!std::isfinite(time)) throw StudioError(400, "the frame time must be a finite number");
  std::lock_guard lock(mutex_);
  auto node = built_->nodes.nodes.find(id);
  if (node == built_->nodes.nodes.end()) throw StudioError(404, fmt::format("no node \"{}\"", id));
  const uint32_t type = built_->graph.outputType(node->second);
  if (type != kTypeImage) throw StudioError(422, fmt::format("node \"{}\" gives a {} value, not a picture", id, typeName(type)));
  std::shared_ptr<const host::Image> image;
  try {
    for (const std::string& source : built_->nodes.frameSources) {
      const auto feed = built_->feeds.find(source);
      if (feed == built_->feeds.end()) continue;  // no file: its node stays empty and says so below
      built_->graph.setStill(built_->nodes.nodes.at(source), feed->second->frameAt(time));
    }
    image = built_->graph.renderFrame(node->second, time, width, height, host::kARGB32);
  } catch (const host::HostError& error) {
    // The usual reason, said in the person's terms.
    std::string unwired;
    if (built_->graph.isModule(node->second))
      for (const host::PortInfo& port : built_->graph.instance(node->second).ports())
        if (port.direction == kPortInput && port.type == kTypeImage &&
            !built_->graph.instance(node->second).inputConnected(port.index))
          unwired += fmt::format("{}\"{}\"", unwired.empty() ? "" : ", ", port.longName);
    throw StudioError(500, unwired.empty() ? std::string(error.what())
                                           : fmt::format("{} (nothing is wired to {})", error.what(), unwired));
  }
  if (image == nullptr || image->empty()) throw StudioError(500, fmt::format("node \"{}\" rendered no picture", id));
  return encodeFrame(*image, format);
}

}  // namespace tessivo::studio
