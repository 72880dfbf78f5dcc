// What one module looks like as a frei0r filter: its parameters, learned from
// the module's own ports, settings and panel through the host library.
#pragma once

#include <tessivo/host/bundle.h>
#include <tessivo/host/settings_store.h>

#include <cstdint>
#include <string>
#include <vector>

namespace tessivo::frei0r {

// frei0r parameter types (the values frei0r.h gives them).
enum class ParameterType : int { Bool = 0, Double = 1, Color = 2, String = 4 };

// What a frei0r parameter drives.
enum class ParameterRole {
  Control,      // a 'ctrl' input's value; setting it wires the input
  Wired,        // whether that 'ctrl' input is wired
  OnOff,        // the On/Off input
  Setting,      // a persisted setting (number, popup value, boolean, string)
  ColorSetting, // a colour setting's red, green and blue
  ColorAlpha,   // a colour setting's alpha
};

// How a number setting travels in frei0r's double, whose range hosts such as
// GStreamer hold to 0..1.
enum class NumberScale {
  Raw,     // the value itself (no range is known)
  Range,   // 0..1 spans the panel field's minimum..maximum
  Popup,   // 0..1 spans the popup's entries in order
};

struct Parameter {
  std::string name;
  ParameterType type = ParameterType::Double;
  std::string explanation;
  ParameterRole role = ParameterRole::Setting;
  uint32_t port = 0;         // Control, Wired, OnOff
  std::string key;           // Setting, ColorSetting, ColorAlpha
  host::ValueType valueType = host::ValueType::Double;  // Setting
  bool packedColor = false;  // ColorSetting, ColorAlpha: an integer holding 0xAARRGGBB
  NumberScale scale = NumberScale::Raw;  // Setting of integer or double type
  double minimum = 0.0, maximum = 0.0;   // Range
  std::vector<int64_t> entries;          // Popup: entry values in panel order

  // A number setting's value from frei0r's double, and back.
  double toSetting(double parameter) const;
  double toParameter(double setting) const;
};

class FilterClass {
 public:
  // The filter for a module named in lower case ("kagami"), or null when the
  // bundle cannot be loaded or offers no such module; the reason goes to stderr
  // once. Filters live for the process, over one bundle loaded once.
  static const FilterClass *find(const std::string &moduleName);

  host::Bundle &bundle() const { return *bundle_; }
  uint32_t code() const { return code_; }
  const std::string &name() const { return name_; }          // "Kagami"
  const std::string &filterName() const { return filterName_; }  // "tessivo_kagami"
  const std::string &explanation() const { return explanation_; }
  const std::vector<Parameter> &parameters() const { return parameters_; }

 private:
  FilterClass(host::Bundle &bundle, uint32_t code, const std::string &moduleName);

  host::Bundle *bundle_;
  uint32_t code_;
  std::string name_;
  std::string filterName_;
  std::string explanation_;
  std::vector<Parameter> parameters_;
};

}  // namespace tessivo::frei0r
