// One frei0r filter instance: a small graph of the reference host (a still fed
// with each frame, the module, constant controls and an On/Off value), so the
// module runs through its own messages exactly as in a visual host.
#pragma once

#include "filter_class.h"

#include <tessivo/host/graph.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tessivo::frei0r {

// A parameter value as frei0r passes it.
struct ParameterValue {
  double number = 0.0;                  // Bool and Double
  float red = 0.0f, green = 0.0f, blue = 0.0f;  // Color
  std::string text;                     // String
};

// A control parameter's value until a host sets one.
inline constexpr float kControlDefault = 0.5f;

class FilterInstance {
 public:
  // Throws host::HostError when the module cannot be created.
  FilterInstance(const FilterClass &filter, uint32_t width, uint32_t height);
  ~FilterInstance();

  // Both refuse an index out of range; a value the module refuses leaves it
  // unchanged and is reported on stderr.
  void set(int index, const ParameterValue &value);
  ParameterValue get(int index);

  // One frame of width x height pixels, each the native word 0xAARRGGBB.
  // On failure the input is passed through and the reason reported once.
  void update(double time, const uint32_t *input, uint32_t *output);

 private:
  struct Control {
    uint32_t port = 0;
    host::NodeId source = 0;
    float value = kControlDefault;
    bool wiredFlag = false;  // the "<port> wired" parameter
    bool wired = false;      // connected in the graph
  };
  void rewire(Control &control);
  void setOnOff(bool on);
  void applySetting(const std::string &key, host::SettingValue value);
  std::optional<host::SettingValue> currentSetting(const std::string &key);
  // A colour setting's current value with four components, whether it is kept
  // as a colour or as a packed 0xAARRGGBB integer.
  host::Color currentColor(const Parameter &parameter);
  void reportOnce(const std::string &message);

  const FilterClass &filter_;
  uint32_t width_;
  uint32_t height_;
  host::Graph graph_;
  host::NodeId still_ = 0;
  host::NodeId module_ = 0;
  std::vector<Control> controls_;
  std::optional<host::NodeId> onOff_;
  bool on_ = true;
  bool reported_ = false;
};

}  // namespace tessivo::frei0r
