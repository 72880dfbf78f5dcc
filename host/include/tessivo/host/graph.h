// A graph of module instances and sources, wired output to input, rendered
// frame by frame as a host does.
#pragma once

#include "tessivo/host/bundle.h"
#include "tessivo/host/image.h"
#include "tessivo/host/instance.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tessivo::host {

using NodeId = size_t;

// The longest run of modules one node's frame may pass through: each module
// renders its inputs inside its own render, so the stack grows with the run.
inline constexpr size_t kMaxChainModules = 256;

class Graph {
 public:
  explicit Graph(Bundle& bundle);
  ~Graph();  // destroys the instances (before the bundle goes)

  Graph(const Graph&) = delete;
  Graph& operator=(const Graph&) = delete;

  // Nodes. A module node owns an instance; the others are sources.
  NodeId addModule(uint32_t code);                       // throws HostError when refused
  NodeId addStill(Image image);                          // 'imag'; scaled/converted to each request
  NodeId addTestScene();                                 // 'imag'; rendered at the request's time
  NodeId addConstant(float value);                       // 'ctrl'
  NodeId addControl(std::function<float(double time)> value);  // 'ctrl', time-driven
  NodeId addOnOff(bool on);                              // 'ddes'

  // Changes a source between frames (video frames, moving values).
  void setStill(NodeId node, Image image);
  void setConstant(NodeId node, float value);
  void setOnOff(NodeId node, bool on);

  // Wires node `from` to input `port` of module node `to`, checking the value type
  // and refusing cycles and chains of more than kMaxChainModules modules; then
  // sends InputsConnected to `to`. Throws HostError.
  void connect(NodeId from, NodeId to, uint32_t port);
  void disconnect(NodeId to, uint32_t port);

  bool isModule(NodeId node) const;
  Instance& instance(NodeId node);  // throws for a source node
  size_t nodeCount() const;
  // The value type a node produces: 'imag', 'ctrl' or 'ddes'.
  uint32_t outputType(NodeId node) const;
  std::string describe(NodeId node) const;

  // Renders a node's output for one frame. For a module node, its output image;
  // for an image source, the source at that size and format. Throws HostError.
  std::shared_ptr<const Image> renderFrame(NodeId node, double time, uint32_t width, uint32_t height,
                                           uint32_t pixelFormat = kARGB32);

 private:
  struct Node;
  Node& node(NodeId id);
  const Node& node(NodeId id) const;
  bool reaches(NodeId from, NodeId target) const;
  std::vector<size_t> chainLengths(bool downstream) const;

  Bundle& bundle_;
  std::vector<std::unique_ptr<Node>> nodes_;
};

}  // namespace tessivo::host
