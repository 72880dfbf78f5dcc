#include "filter_instance.h"

#include <tessivo/host/error.h>
#include <tessivo/host/image.h>
#include <tessivo/host/module_discovery.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>

namespace tessivo::frei0r {
namespace {

constexpr uint32_t kImageType = FourCC("imag");

uint32_t imageInput(host::Instance &instance) {
  for (const host::PortInfo &port : instance.ports())
    if (!port.blank() && port.direction == kPortInput && port.type == kImageType) return port.index;
  throw host::HostError(instance.name() + " has no image input");
}

float channel(double component) { return static_cast<float>(std::clamp(component, 0.0, 1.0)); }

}  // namespace

FilterInstance::FilterInstance(const FilterClass &filter, uint32_t width, uint32_t height)
    : filter_(filter), width_(width), height_(height), graph_(filter.bundle()) {
  still_ = graph_.addStill(host::Image(width, height, host::kARGB32));
  module_ = graph_.addModule(filter.code());
  graph_.connect(still_, module_, imageInput(graph_.instance(module_)));
  for (const Parameter &parameter : filter.parameters())
    if (parameter.role == ParameterRole::Control) controls_.push_back({parameter.port, graph_.addConstant(kControlDefault)});
}

FilterInstance::~FilterInstance() = default;

void FilterInstance::reportOnce(const std::string &message) {
  if (reported_) return;
  reported_ = true;
  std::fprintf(stderr, "tessivo frei0r: %s: %s\n", filter_.filterName().c_str(), message.c_str());
}

void FilterInstance::rewire(Control &control) {
  // Wired when asked to be, or when given a value other than the default: a
  // host that sets every parameter to its default leaves the inputs unwired.
  const bool wired = control.wiredFlag || control.value != kControlDefault;
  if (wired == control.wired) return;
  if (wired) {
    graph_.connect(control.source, module_, control.port);
  } else {
    graph_.disconnect(module_, control.port);
  }
  control.wired = wired;
}

void FilterInstance::setOnOff(bool on) {
  on_ = on;
  // The input stays unwired until the first "off", as in a patch where nobody
  // has connected a switch; from then on the switch follows the parameter.
  if (!onOff_) {
    if (on) return;
    for (const Parameter &parameter : filter_.parameters()) {
      if (parameter.role != ParameterRole::OnOff) continue;
      onOff_ = graph_.addOnOff(false);
      graph_.connect(*onOff_, module_, parameter.port);
      return;
    }
    return;
  }
  graph_.setOnOff(*onOff_, on);
}

std::optional<host::SettingValue> FilterInstance::currentSetting(const std::string &key) {
  const host::SettingsDescription settings = host::describeSettings(graph_.instance(module_));
  const host::SettingDescription *setting = settings.find(key);
  if (setting == nullptr) return std::nullopt;
  return setting->defaultValue;  // what a save of the live instance wrote: its current value
}

host::Color FilterInstance::currentColor(const Parameter &parameter) {
  const std::optional<host::SettingValue> current = currentSetting(parameter.key);
  host::Color color;
  if (current && current->type() == host::ValueType::Integer) {
    color = host::Color::fromPacked(static_cast<std::uint32_t>(current->asInteger()));
  } else if (current && current->type() == host::ValueType::Color) {
    color = current->asColor();
  }
  color.components.resize(4, 1.0);
  return color;
}

void FilterInstance::applySetting(const std::string &key, host::SettingValue value) {
  host::Instance &instance = graph_.instance(module_);
  host::applySetting(instance, host::describeSettings(instance), host::SettingAssignment{key, std::move(value)});
}

void FilterInstance::set(int index, const ParameterValue &value) {
  const std::vector<Parameter> &parameters = filter_.parameters();
  if (index < 0 || static_cast<size_t>(index) >= parameters.size()) return;
  const Parameter &parameter = parameters[static_cast<size_t>(index)];
  try {
    switch (parameter.role) {
      case ParameterRole::Control:
      case ParameterRole::Wired:
        for (Control &control : controls_) {
          if (control.port != parameter.port) continue;
          if (parameter.role == ParameterRole::Wired) {
            control.wiredFlag = value.number >= 0.5;
          } else {
            control.value = static_cast<float>(value.number);
            graph_.setConstant(control.source, control.value);
          }
          rewire(control);
        }
        break;
      case ParameterRole::OnOff:
        setOnOff(value.number >= 0.5);
        break;
      case ParameterRole::Setting:
        if (parameter.valueType == host::ValueType::Boolean) {
          applySetting(parameter.key, host::SettingValue(value.number >= 0.5));
        } else if (parameter.valueType == host::ValueType::Integer) {
          // Integers travel as doubles; values beyond 64 bits are refused.
          const double rounded = std::nearbyint(parameter.toSetting(value.number));
          if (!(std::fabs(rounded) < 9.2e18)) throw host::HostError("\"" + parameter.key + "\" is out of range");
          applySetting(parameter.key, host::SettingValue(static_cast<std::int64_t>(rounded)));
        } else if (parameter.valueType == host::ValueType::String) {
          applySetting(parameter.key, host::SettingValue(value.text));
        } else {
          applySetting(parameter.key, host::SettingValue(parameter.toSetting(value.number)));
        }
        break;
      case ParameterRole::ColorSetting:
      case ParameterRole::ColorAlpha: {
        host::Color color = currentColor(parameter);
        if (parameter.role == ParameterRole::ColorSetting) {
          color.components[0] = channel(value.red);
          color.components[1] = channel(value.green);
          color.components[2] = channel(value.blue);
        } else {
          color.components[3] = channel(value.number);
        }
        if (parameter.packedColor) {
          applySetting(parameter.key, host::SettingValue(static_cast<std::int64_t>(color.packed())));
          break;
        }
        applySetting(parameter.key, host::SettingValue(color));
        break;
      }
    }
  } catch (const std::exception &error) {
    std::fprintf(stderr, "tessivo frei0r: %s: parameter \"%s\": %s\n", filter_.filterName().c_str(),
                 parameter.name.c_str(), error.what());
  }
}

ParameterValue FilterInstance::get(int index) {
  ParameterValue result;
  const std::vector<Parameter> &parameters = filter_.parameters();
  if (index < 0 || static_cast<size_t>(index) >= parameters.size()) return result;
  const Parameter &parameter = parameters[static_cast<size_t>(index)];
  try {
    switch (parameter.role) {
      case ParameterRole::Control:
      case ParameterRole::Wired:
        for (const Control &control : controls_)
          if (control.port == parameter.port)
            result.number = parameter.role == ParameterRole::Control ? control.value : (control.wiredFlag ? 1.0 : 0.0);
        break;
      case ParameterRole::OnOff:
        result.number = on_ ? 1.0 : 0.0;
        break;
      case ParameterRole::ColorSetting:
      case ParameterRole::ColorAlpha: {
        const host::Color color = currentColor(parameter);
        result.red = channel(color.components[0]);
        result.green = channel(color.components[1]);
        result.blue = channel(color.components[2]);
        result.number = channel(color.components[3]);
        break;
      }
      case ParameterRole::Setting: {
        const std::optional<host::SettingValue> current = currentSetting(parameter.key);
        if (!current) break;
        switch (current->type()) {
          case host::ValueType::Integer: result.number = parameter.toParameter(static_cast<double>(current->asInteger())); break;
          case host::ValueType::Double: result.number = parameter.toParameter(current->asDouble()); break;
          case host::ValueType::Boolean: result.number = current->asBoolean() ? 1.0 : 0.0; break;
          case host::ValueType::String: result.text = current->asString(); break;
          case host::ValueType::Color: break;
        }
        break;
      }
    }
  } catch (const std::exception &error) {
    std::fprintf(stderr, "tessivo frei0r: %s: parameter \"%s\": %s\n", filter_.filterName().c_str(),
                 parameter.name.c_str(), error.what());
  }
  return result;
}

void FilterInstance::update(double time, const uint32_t *input, uint32_t *output) {
  const size_t rowBytes = size_t{width_} * 4;
  try {
    host::Image frame(width_, height_, host::kARGB32);
    for (uint32_t y = 0; y < height_; ++y) std::memcpy(frame.mutableRow(y), input + size_t{y} * width_, rowBytes);
    graph_.setStill(still_, std::move(frame));
    const auto result = graph_.renderFrame(module_, time, width_, height_, host::kARGB32);
    for (uint32_t y = 0; y < height_; ++y) std::memcpy(output + size_t{y} * width_, result->row(y), rowBytes);
  } catch (const std::exception &error) {
    reportOnce(error.what());
    if (output != input) std::memcpy(output, input, rowBytes * height_);
  }
}

}  // namespace tessivo::frei0r
