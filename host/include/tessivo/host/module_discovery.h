// What a module's settings and panel look like, learned only through the
// contract: a fresh instance saves into a scratch store, and its panel builder
// runs against a capturing panel that cancels.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tessivo/host/panel_driver.h"
#include "tessivo/host/settings_store.h"

namespace tessivo::host {

class Instance;

struct SettingDescription {
  std::string key;
  SettingValue defaultValue;  // its type is the setting's type
  // An integer holding a packed 0xAARRGGBB colour (its panel control is a colour button).
  bool packedColor = false;
  ValueType type() const { return defaultValue.type(); }
};

struct SettingsDescription {
  bool saved = false;  // the save callback ran and reported success
  std::string group;   // the group it wrote (empty if none)
  std::vector<SettingDescription> settings;

  const SettingDescription *find(std::string_view key) const;  // case-insensitive
};

struct PanelDescription {
  bool available = false;  // the module has a panel and built a dialog
  PanelRect rect;
  std::vector<PanelControlModel> controls;

  // The editable control whose caption matches name (case-insensitive).
  const PanelControlModel *findControl(std::string_view name) const;
};

SettingsDescription describeSettings(Instance &instance);
PanelDescription describePanel(Instance &instance);

// "KEY=VALUE" turned into the key's typed value: integers (decimal or 0x..)
// that fit the modules' 32-bit fields, doubles, booleans
// (true/false/on/off/yes/no/1/0), colours as parseColor reads them (also for
// integers holding a packed colour), and popup entry labels of the panel
// control named like the key. Number-field ranges are checked. Throws
// HostError naming the key for an unknown key (with the nearest known one) or
// a bad value.
struct SettingAssignment {
  std::string key;  // as the module spells it
  SettingValue value;
};
SettingAssignment parseSettingAssignment(std::string_view text, const SettingsDescription &settings,
                                         const PanelDescription &panel);

// Checks a settings group as a module will read it: every key is one of its
// settings, with a value of the setting's type (an integer also serves a
// double) that fits. Throws HostError "<source>: group "G" key "K": what is
// wrong" otherwise; nothing else is changed.
void checkSettingsGroup(const SettingsStore &store, const SettingsDescription &settings, std::string_view source);

// Changes one setting of a live instance the way a host does: by key through
// the module's parameter record when it has one, else by writing the value into
// its settings group and letting the module load the group. Throws HostError
// when the module refuses the value.
void applySetting(Instance &instance, const SettingsDescription &settings, const SettingAssignment &assignment);

}  // namespace tessivo::host
