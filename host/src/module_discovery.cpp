// Learning a module's settings and panel through the contract alone.
#include "tessivo/host/module_discovery.h"

#include "tessivo/host/error.h"
#include "tessivo/host/instance.h"
#include "cf_reference.h"
#include "value_text.h"

namespace tessivo::host {

const SettingDescription *SettingsDescription::find(std::string_view key) const {
  for (const SettingDescription &setting : settings)
    if (equalsIgnoreCase(setting.key, trimmed(key))) return &setting;
  return nullptr;
}

const PanelControlModel *PanelDescription::findControl(std::string_view name) const {
  for (const PanelControlModel &control : controls)
    if (control.isEditable() && equalsIgnoreCase(control.caption, trimmed(name))) return &control;
  return nullptr;
}

SettingsDescription describeSettings(Instance &instance) {
  SettingsStore scratch;
  SettingsDescription description;
  description.saved = instance.save(scratch.table());
  const std::vector<std::string> groups = scratch.groups();
  if (groups.empty()) return description;
  description.group = groups.front();
  for (const std::string &key : scratch.keys(description.group))
    description.settings.push_back(SettingDescription{key, *scratch.get(description.group, key)});
  return description;
}

PanelDescription describePanel(Instance &instance) {
  PanelDescription description;
  if (!instance.hasPanel()) return description;
  CapturingPanel panel;
  instance.runPanel(panel.table());
  const PanelModel &model = panel.model();
  description.available = model.created;
  description.rect = model.rect;
  description.controls = model.controls;
  return description;
}

namespace {

[[noreturn]] void refuse(std::string_view key, const std::string &why) {
  throw HostError("setting \"" + std::string(key) + "\": " + why);
}

std::string knownKeys(const SettingsDescription &settings) {
  std::string keys;
  for (const SettingDescription &setting : settings.settings) keys += (keys.empty() ? "" : ", ") + setting.key;
  return keys.empty() ? "this module has no settings" : "known: " + keys;
}

// An integer setting: a popup entry, a colour word, or a number within the
// panel field's range.
std::int64_t parseIntegerSetting(std::string_view key, std::string_view text, const PanelControlModel *control) {
  if (const auto colour = parseHexColor(text)) return colour->argb;
  if (control != nullptr && (control->kind == ControlKind::Popup || control->kind == ControlKind::NumberField)) {
    PanelControlModel trial = *control;
    if (const auto error = setControlFromText(trial, text)) refuse(key, *error);
    return trial.value;
  }
  const auto number = parseInteger(text);
  if (!number) refuse(key, "\"" + std::string(text) + "\" is not a whole number");
  return *number;
}

}  // namespace

SettingAssignment parseSettingAssignment(std::string_view text, const SettingsDescription &settings,
                                         const PanelDescription &panel) {
  const auto equals = text.find('=');
  if (equals == std::string_view::npos) throw HostError("\"" + std::string(text) + "\": expected KEY=VALUE");
  const std::string_view key = trimmed(text.substr(0, equals));
  const std::string_view value = trimmed(text.substr(equals + 1));
  const SettingDescription *setting = settings.find(key);
  if (setting == nullptr) refuse(key, "unknown setting (" + knownKeys(settings) + ")");
  const PanelControlModel *control = panel.findControl(setting->key);

  SettingAssignment assignment{setting->key, {}};
  switch (setting->type()) {
    case ValueType::Integer:
      assignment.value = parseIntegerSetting(setting->key, value, control);
      break;
    case ValueType::Double: {
      const auto number = parseDouble(value);
      if (!number) refuse(setting->key, "\"" + std::string(value) + "\" is not a number");
      assignment.value = *number;
      break;
    }
    case ValueType::Boolean: {
      const auto flag = parseBoolean(value);
      if (!flag) refuse(setting->key, "\"" + std::string(value) + "\" is not on or off");
      assignment.value = *flag;
      break;
    }
    case ValueType::Color: {
      const auto colour = parseHexColor(value);
      if (!colour) refuse(setting->key, "\"" + std::string(value) + "\" is not a colour #RRGGBB or #AARRGGBB");
      assignment.value = Color::fromPacked(colour->argb);
      break;
    }
    case ValueType::String:
      assignment.value = std::string(value);
      break;
  }
  return assignment;
}

void applySetting(Instance &instance, const SettingsDescription &settings, const SettingAssignment &assignment) {
  if (instance.hasParameters()) {
    const CFReference key{CFStringCreateWithCString(nullptr, assignment.key.c_str(), kCFStringEncodingUTF8)};
    const CFReference value{makeCFValue(assignment.value)};
    if (key == nullptr || value == nullptr)
      throw HostError(instance.name() + ": cannot build the value of \"" + assignment.key + "\"");
    if (!instance.setParameter(static_cast<CFStringRef>(key.get()), value.get()))
      throw HostError(instance.name() + " refused " + assignment.value.toString() + " for \"" + assignment.key + "\"");
    return;
  }
  // The group holds every current value, so the module reloads all of them unchanged but the one key.
  SettingsStore scratch;
  if (!instance.save(scratch.table()) || settings.group.empty())
    throw HostError(instance.name() + " does not save its settings, so \"" + assignment.key + "\" cannot be set");
  scratch.set(settings.group, assignment.key, assignment.value);
  if (!instance.load(scratch.table()))
    throw HostError(instance.name() + " refused its settings group with \"" + assignment.key + "\" = " +
                    assignment.value.toString());
}

}  // namespace tessivo::host
