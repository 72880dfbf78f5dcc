#include "filter_class.h"

#include <tessivo/host/error.h>
#include <tessivo/host/instance.h>
#include <tessivo/host/module_discovery.h>

#include <marlix/marlix.h>

#include <dlfcn.h>

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <sstream>

#ifndef TESSIVO_FREI0R_UNLISTED_CODES
#define TESSIVO_FREI0R_UNLISTED_CODES ""
#endif

namespace tessivo::frei0r {
namespace {

constexpr uint32_t kControlType = FourCC("ctrl");
constexpr uint32_t kOnOffType = FourCC("ddes");

std::string lowerCase(std::string text) {
  for (char &c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

// The bundle beside this library (libtessivo.so in the same folder), or
// $TESSIVO_BUNDLE when set.
std::string bundlePath() {
  if (const char *env = std::getenv("TESSIVO_BUNDLE"); env != nullptr && *env != '\0') return env;
  Dl_info info{};
  if (dladdr(reinterpret_cast<void *>(&bundlePath), &info) != 0 && info.dli_fname != nullptr)
    return (std::filesystem::path(info.dli_fname).parent_path() / "libtessivo.so").string();
  return "libtessivo.so";
}

// One bundle for the whole process, however many filters load: it is never
// unloaded, since frei0r hosts unload plug-ins in no fixed order.
host::Bundle *sharedBundle() {
  static std::once_flag once;
  static host::Bundle *bundle = nullptr;
  std::call_once(once, [] {
    try {
      bundle = host::Bundle::load(bundlePath()).release();
    } catch (const std::exception &error) {
      std::fprintf(stderr, "tessivo frei0r: %s\n", error.what());
    }
  });
  return bundle;
}

// Codes the registry does not list but the bundle builds (given at build time).
std::vector<uint32_t> unlistedCodes() {
  std::vector<uint32_t> codes;
  std::istringstream words(TESSIVO_FREI0R_UNLISTED_CODES);
  for (std::string word; words >> word;) codes.push_back(host::codeFromString(word));
  return codes;
}

// The module's display name: the registry's, or for an unlisted module the
// settings group it saves into (groups are named after their module).
std::string displayName(host::Bundle &bundle, uint32_t code) {
  if (const host::ModuleInfo *info = bundle.findModule(code)) return info->name;
  auto instance = host::Instance::create(bundle, code);
  return host::describeSettings(*instance).group;
}

uint32_t findCode(host::Bundle &bundle, const std::string &moduleName) {
  for (const host::ModuleInfo &info : bundle.modules())
    if (lowerCase(info.name) == moduleName) return info.code;
  for (const uint32_t code : unlistedCodes())
    if (lowerCase(displayName(bundle, code)) == moduleName) return code;
  throw host::HostError("the bundle " + bundle.path() + " has no module \"" + moduleName + "\"");
}

// A number setting's parameter: scaled by the panel control of the same
// caption when there is one, so it fits frei0r's 0..1 doubles.
Parameter make(std::string name, ParameterType type, std::string explanation, ParameterRole role, uint32_t port,
               std::string key = {}, host::ValueType valueType = host::ValueType::Double) {
  Parameter parameter;
  parameter.name = std::move(name);
  parameter.type = type;
  parameter.explanation = std::move(explanation);
  parameter.role = role;
  parameter.port = port;
  parameter.key = std::move(key);
  parameter.valueType = valueType;
  return parameter;
}

Parameter numberParameter(const host::SettingDescription &setting, const host::PanelControlModel *control) {
  Parameter parameter = make(setting.key, ParameterType::Double, "setting \"" + setting.key + "\"",
                             ParameterRole::Setting, 0, setting.key, setting.type());
  if (control != nullptr && control->kind == host::ControlKind::Popup && !control->entries.empty()) {
    parameter.scale = NumberScale::Popup;
    std::string choices;
    const size_t count = control->entries.size();
    for (size_t i = 0; i < count; ++i) {
      parameter.entries.push_back(control->entries[i].value);
      const double at = count > 1 ? static_cast<double>(i) / static_cast<double>(count - 1) : 0.0;
      choices += (i == 0 ? "" : ", ") + fmt::format("{:g} {}", at, control->entries[i].label);
    }
    parameter.explanation += ": " + choices;
  } else if (control != nullptr && control->kind == host::ControlKind::NumberField &&
             control->maximum > control->minimum) {
    parameter.scale = NumberScale::Range;
    parameter.minimum = control->minimum;
    parameter.maximum = control->maximum;
    parameter.explanation += fmt::format(": 0 to 1 spans {} to {}", control->minimum, control->maximum);
  }
  return parameter;
}

}  // namespace

double Parameter::toSetting(double parameter) const {
  switch (scale) {
    case NumberScale::Raw:
      return parameter;
    case NumberScale::Range:
      return minimum + std::clamp(parameter, 0.0, 1.0) * (maximum - minimum);
    case NumberScale::Popup: {
      const double last = static_cast<double>(entries.size() - 1);
      return static_cast<double>(entries[static_cast<size_t>(std::lround(std::clamp(parameter, 0.0, 1.0) * last))]);
    }
  }
  return parameter;
}

double Parameter::toParameter(double setting) const {
  switch (scale) {
    case NumberScale::Raw:
      return setting;
    case NumberScale::Range:
      return std::clamp((setting - minimum) / (maximum - minimum), 0.0, 1.0);
    case NumberScale::Popup:
      for (size_t i = 0; i < entries.size(); ++i)
        if (static_cast<double>(entries[i]) == setting)
          return entries.size() > 1 ? static_cast<double>(i) / static_cast<double>(entries.size() - 1) : 0.0;
      return 0.0;
  }
  return setting;
}

FilterClass::FilterClass(host::Bundle &bundle, uint32_t code, const std::string &moduleName)
    : bundle_(&bundle), code_(code), name_(displayName(bundle, code)), filterName_("tessivo_" + moduleName) {
  auto instance = host::Instance::create(bundle, code);
  std::vector<Parameter> wired;
  std::vector<Parameter> onOff;
  for (const host::PortInfo &port : instance->ports()) {
    if (port.blank() || port.direction != kPortInput) continue;
    if (port.type == kControlType) {
      parameters_.push_back(make(port.longName, ParameterType::Double,
                             "control input " + port.shortName + "; wired when set to a value other than 0.5",
                             ParameterRole::Control, port.index));
      wired.push_back(make(port.longName + " wired", ParameterType::Bool,
                       "wire " + port.longName + " even at 0.5 (unwired, the module's own default applies)",
                       ParameterRole::Wired, port.index));
    } else if (port.type == kOnOffType) {
      onOff.push_back(make(port.longName, ParameterType::Bool, "off passes the input through unchanged",
                       ParameterRole::OnOff, port.index));
    }
  }
  // Controls first (frei0r hosts such as ffmpeg set parameters by position),
  // then the On/Off input, the settings, and the controls' wired flags.
  parameters_.insert(parameters_.end(), onOff.begin(), onOff.end());
  const host::SettingsDescription settings = host::describeSettings(*instance);
  const host::PanelDescription panel = host::describePanel(*instance);
  for (const host::SettingDescription &setting : settings.settings) {
    const std::string what = "setting \"" + setting.key + "\"";
    const host::PanelControlModel *control = panel.findControl(setting.key);
    const bool packedColor = setting.type() == host::ValueType::Integer && control != nullptr &&
                             control->kind == host::ControlKind::ColorButton;
    if (setting.type() == host::ValueType::Color || packedColor) {
      Parameter color = make(setting.key, ParameterType::Color, what + ": red, green and blue",
                             ParameterRole::ColorSetting, 0, setting.key, setting.type());
      color.packedColor = packedColor;
      Parameter alpha = color;
      alpha.name = setting.key + " alpha";
      alpha.type = ParameterType::Double;
      alpha.explanation = what + ": alpha, 0 to 1";
      alpha.role = ParameterRole::ColorAlpha;
      parameters_.push_back(color);
      parameters_.push_back(alpha);
    } else if (setting.type() == host::ValueType::Boolean) {
      parameters_.push_back(make(setting.key, ParameterType::Bool, what, ParameterRole::Setting, 0, setting.key,
                                 setting.type()));
    } else if (setting.type() == host::ValueType::String) {
      parameters_.push_back(make(setting.key, ParameterType::String, what, ParameterRole::Setting, 0, setting.key,
                                 setting.type()));
    } else {
      parameters_.push_back(numberParameter(setting, control));
    }
  }
  parameters_.insert(parameters_.end(), wired.begin(), wired.end());
  explanation_ = "Tessivo " + name_ + " (module '" + host::codeToString(code) + "')";
}

const FilterClass *FilterClass::find(const std::string &moduleName) {
  static std::mutex mutex;
  static std::map<std::string, std::unique_ptr<FilterClass>> filters;
  const std::lock_guard lock(mutex);
  if (const auto known = filters.find(moduleName); known != filters.end()) return known->second.get();
  std::unique_ptr<FilterClass> filter;
  if (host::Bundle *bundle = sharedBundle()) {
    try {
      filter.reset(new FilterClass(*bundle, findCode(*bundle, moduleName), moduleName));
    } catch (const std::exception &error) {
      std::fprintf(stderr, "tessivo frei0r: tessivo_%s: %s\n", moduleName.c_str(), error.what());
    }
  }
  return (filters[moduleName] = std::move(filter)).get();
}

}  // namespace tessivo::frei0r
