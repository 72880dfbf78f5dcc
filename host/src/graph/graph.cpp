#include "tessivo/host/graph.h"

#include "tables/host_log.h"
#include "tessivo/host/error.h"
#include "tessivo/host/image_ops.h"
#include "tessivo/host/test_scene.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <mutex>

namespace tessivo::host {

namespace {

// A still picture, delivered at each requested size and format; the last
// conformed copy is kept so an unchanged picture keeps its stamp.
class StillSource : public InputSource {
 public:
  explicit StillSource(Image image) : image_(std::move(image)) {}
  uint32_t valueType() const override { return FourCC("imag"); }
  std::string describe() const override {
    std::lock_guard lock(mutex_);
    return fmt::format("still {}x{}", image_.width(), image_.height());
  }
  InputValue read(const InputRequest& request) override {
    std::lock_guard lock(mutex_);
    const ImageDescriptor& want = request.image;
    if (image_.empty()) throw HostError("the still image is empty");
    if (conformed_ == nullptr || conformed_->width() != want.width || conformed_->height() != want.height ||
        conformed_->pixelFormat() != want.pixelFormat)
      conformed_ = std::make_shared<Image>(conform(image_, want.width, want.height, want.pixelFormat));
    return InputValue{conformed_, std::nullopt, std::nullopt};
  }
  void set(Image image) {
    std::lock_guard lock(mutex_);
    image_ = std::move(image);
    conformed_.reset();
  }

 private:
  mutable std::mutex mutex_;
  Image image_;
  std::shared_ptr<Image> conformed_;
};

class TestSceneSource : public InputSource {
 public:
  uint32_t valueType() const override { return FourCC("imag"); }
  std::string describe() const override { return "test scene"; }
  InputValue read(const InputRequest& request) override {
    const ImageDescriptor& want = request.image;
    return InputValue{std::make_shared<Image>(renderTestScene(want.width, want.height, request.time, want.pixelFormat)),
                      std::nullopt, std::nullopt};
  }
};

class ControlSource : public InputSource {
 public:
  explicit ControlSource(std::function<float(double)> value) : value_(std::move(value)) {}
  uint32_t valueType() const override { return FourCC("ctrl"); }
  std::string describe() const override { return "control value"; }
  InputValue read(const InputRequest& request) override {
    std::lock_guard lock(mutex_);
    return InputValue{nullptr, value_(request.time), std::nullopt};
  }
  void set(std::function<float(double)> value) {
    std::lock_guard lock(mutex_);
    value_ = std::move(value);
  }

 private:
  std::mutex mutex_;
  std::function<float(double)> value_;
};

class OnOffSource : public InputSource {
 public:
  explicit OnOffSource(bool on) : on_(on) {}
  uint32_t valueType() const override { return FourCC("ddes"); }
  std::string describe() const override { return "on/off value"; }
  InputValue read(const InputRequest&) override { return InputValue{nullptr, std::nullopt, on_.load()}; }
  void set(bool on) { on_ = on; }

 private:
  std::atomic<bool> on_;
};

// An upstream module: rendered through its own message cycle at the requested size.
class ModuleSource : public InputSource {
 public:
  explicit ModuleSource(Instance& instance) : instance_(instance) {}
  uint32_t valueType() const override { return FourCC("imag"); }
  std::string describe() const override { return instance_.name(); }
  InputValue read(const InputRequest& request) override {
    const ImageDescriptor& want = request.image;
    return InputValue{instance_.render({request.time, want.width, want.height, want.pixelFormat}), std::nullopt,
                      std::nullopt};
  }

 private:
  Instance& instance_;
};

}  // namespace

struct Graph::Node {
  std::unique_ptr<Instance> instance;      // module nodes
  std::shared_ptr<InputSource> source;     // what this node feeds into an input
  std::vector<NodeId> upstream;            // module nodes: the node wired to each port (or none)
  std::vector<bool> wired;
};

Graph::Graph(Bundle& bundle) : bundle_(bundle) {}

Graph::~Graph() {
  // Instances go before the sources that refer to them.
  for (auto& n : nodes_)
    if (n->instance != nullptr)
      for (uint32_t port = 0; port < n->wired.size(); ++port) n->instance->setInput(port, nullptr);
  nodes_.clear();
}

Graph::Node& Graph::node(NodeId id) {
  if (id >= nodes_.size()) throw HostError(fmt::format("there is no node {}", id));
  return *nodes_[id];
}

const Graph::Node& Graph::node(NodeId id) const {
  if (id >= nodes_.size()) throw HostError(fmt::format("there is no node {}", id));
  return *nodes_[id];
}

NodeId Graph::addModule(uint32_t code) {
  auto n = std::make_unique<Node>();
  n->instance = Instance::create(bundle_, code);
  n->source = std::make_shared<ModuleSource>(*n->instance);
  n->upstream.assign(n->instance->ports().size(), 0);
  n->wired.assign(n->instance->ports().size(), false);
  nodes_.push_back(std::move(n));
  return nodes_.size() - 1;
}


NodeId Graph::addStill(Image image) {
  auto n = std::make_unique<Node>();
  n->source = std::make_shared<StillSource>(std::move(image));
  nodes_.push_back(std::move(n));
  return nodes_.size() - 1;
}

NodeId Graph::addTestScene() {
  auto n = std::make_unique<Node>();
  n->source = std::make_shared<TestSceneSource>();
  nodes_.push_back(std::move(n));
  return nodes_.size() - 1;
}

NodeId Graph::addConstant(float value) {
  return addControl([value](double) { return value; });
}

NodeId Graph::addControl(std::function<float(double)> value) {
  if (!value) throw HostError("a control value needs a function");
  auto n = std::make_unique<Node>();
  n->source = std::make_shared<ControlSource>(std::move(value));
  nodes_.push_back(std::move(n));
  return nodes_.size() - 1;
}

NodeId Graph::addOnOff(bool on) {
  auto n = std::make_unique<Node>();
  n->source = std::make_shared<OnOffSource>(on);
  nodes_.push_back(std::move(n));
  return nodes_.size() - 1;
}

void Graph::setStill(NodeId id, Image image) {
  auto* still = dynamic_cast<StillSource*>(node(id).source.get());
  if (still == nullptr) throw HostError(fmt::format("node {} is not a still image", id));
  still->set(std::move(image));
}

void Graph::setConstant(NodeId id, float value) {
  auto* control = dynamic_cast<ControlSource*>(node(id).source.get());
  if (control == nullptr) throw HostError(fmt::format("node {} is not a control value", id));
  control->set([value](double) { return value; });
}

void Graph::setOnOff(NodeId id, bool on) {
  auto* onOff = dynamic_cast<OnOffSource*>(node(id).source.get());
  if (onOff == nullptr) throw HostError(fmt::format("node {} is not an on/off value", id));
  onOff->set(on);
}

bool Graph::reaches(NodeId from, NodeId target) const {
  // Walks upstream with a stack and a visited mark: no recursion, and each
  // node once however many paths lead to it.
  std::vector<bool> seen(nodes_.size(), false);
  std::vector<NodeId> pending{from};
  while (!pending.empty()) {
    const NodeId id = pending.back();
    pending.pop_back();
    if (id == target) return true;
    if (seen[id]) continue;
    seen[id] = true;
    const Node& n = node(id);
    for (size_t port = 0; port < n.wired.size(); ++port)
      if (n.wired[port]) pending.push_back(n.upstream[port]);
  }
  return false;
}

// The longest run of modules that ends at each node (upstream) or starts at
// it (downstream), counting the node itself when it is a module. Nodes are
// visited in an order where every input comes first, found without recursion.
std::vector<size_t> Graph::chainLengths(bool downstream) const {
  const size_t count = nodes_.size();
  std::vector<std::vector<NodeId>> before(count);  // the nodes whose length this one's depends on
  for (NodeId id = 0; id < count; ++id) {
    const Node& n = *nodes_[id];
    for (size_t port = 0; port < n.wired.size(); ++port)
      if (n.wired[port]) {
        if (downstream) before[n.upstream[port]].push_back(id);
        else before[id].push_back(n.upstream[port]);
      }
  }
  std::vector<size_t> length(count, 0);
  std::vector<uint8_t> state(count, 0);  // 0 new, 1 waiting for the nodes before it, 2 done
  std::vector<NodeId> pending;
  for (NodeId start = 0; start < count; ++start) {
    pending.push_back(start);
    while (!pending.empty()) {
      const NodeId id = pending.back();
      if (state[id] == 0) {
        state[id] = 1;
        for (NodeId other : before[id])
          if (state[other] == 0) pending.push_back(other);
        continue;
      }
      pending.pop_back();
      if (state[id] == 2) continue;
      state[id] = 2;
      size_t longest = 0;
      for (NodeId other : before[id]) longest = std::max(longest, length[other]);
      length[id] = longest + (nodes_[id]->instance != nullptr ? 1 : 0);
    }
  }
  return length;
}

void Graph::connect(NodeId from, NodeId to, uint32_t port) {
  Node& source = node(from);
  Node& sink = node(to);
  if (sink.instance == nullptr) throw HostError(fmt::format("node {} ({}) has no inputs", to, describe(to)));
  if (reaches(from, to))
    throw HostError(fmt::format("wiring {} to {} would make a loop", describe(from), describe(to)));
  // Each module renders its inputs within its own render, so the stack grows
  // with the longest run of modules: refuse a wire that makes it too long.
  const size_t chain = chainLengths(false)[from] + chainLengths(true)[to];
  if (chain > kMaxChainModules)
    throw HostError(fmt::format("wiring {} to {} would make a chain of {} modules; at most {} can be chained",
                                describe(from), describe(to), chain, kMaxChainModules));
  sink.instance->setInput(port, source.source);  // checks the port and the value type
  sink.upstream[port] = from;
  sink.wired[port] = true;
  sink.instance->inputsConnected();
}

void Graph::disconnect(NodeId to, uint32_t port) {
  Node& sink = node(to);
  if (sink.instance == nullptr || port >= sink.wired.size())
    throw HostError(fmt::format("node {} has no input {}", to, port));
  sink.instance->setInput(port, nullptr);
  sink.wired[port] = false;
  sink.instance->inputsConnected();
}

bool Graph::isModule(NodeId id) const { return node(id).instance != nullptr; }

Instance& Graph::instance(NodeId id) {
  Node& n = node(id);
  if (n.instance == nullptr) throw HostError(fmt::format("node {} ({}) is not a module", id, describe(id)));
  return *n.instance;
}

size_t Graph::nodeCount() const { return nodes_.size(); }

uint32_t Graph::outputType(NodeId id) const { return node(id).source->valueType(); }

std::string Graph::describe(NodeId id) const { return node(id).source->describe(); }

std::shared_ptr<const Image> Graph::renderFrame(NodeId id, double time, uint32_t width, uint32_t height,
                                                uint32_t pixelFormat) {
  Node& n = node(id);
  if (n.instance != nullptr) return n.instance->render({time, width, height, pixelFormat});
  if (n.source->valueType() != FourCC("imag"))
    throw HostError(fmt::format("node {} ({}) gives no image", id, describe(id)));
  if (!isSupportedFormat(pixelFormat) || width == 0 || height == 0 || width > kMaxImageSide ||
      height > kMaxImageSide)
    throw HostError(fmt::format("cannot render a {}x{} frame in format {}", width, height, pixelFormat));
  InputRequest request;
  request.type = FourCC("imag");
  request.time = time;
  request.image.time = time;
  request.image.width = width;
  request.image.height = height;
  request.image.pixelFormat = pixelFormat;
  return n.source->read(request).image;
}

}  // namespace tessivo::host
