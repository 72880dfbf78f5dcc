// Learning a module's settings and panel through the contract alone.
#include "tessivo/host/module_discovery.h"

#include "tessivo/host/error.h"
#include "tessivo/host/instance.h"
#include "tables/cf_reference.h"
#include "settings/value_text.h"

#include <climits>
#include <cstdint>

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
  const PanelDescription panel = describePanel(instance);
  for (const std::string &key : scratch.keys(description.group)) {
    SettingDescription setting{key, *scratch.get(description.group, key)};
    const PanelControlModel *control = panel.findControl(key);
    setting.packedColor = setting.type() == ValueType::Integer && control != nullptr &&
                          control->kind == ControlKind::ColorButton;
    description.settings.push_back(std::move(setting));
  }
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

std::string unknownKey(std::string_view key, const SettingsDescription &settings) {
  std::vector<std::string> names;
  std::string keys;
  for (const SettingDescription &setting : settings.settings) {
    names.push_back(setting.key);
    keys += (keys.empty() ? "" : ", ") + setting.key;
  }
  return "unknown setting" + didYouMean(key, names) + " (" +
         (keys.empty() ? "this module has no settings" : "known: " + keys) + ")";
}

// The modules keep integer settings in 32-bit fields (the low word of what is stored).
constexpr std::int64_t kSmallestInteger = INT32_MIN;
constexpr std::int64_t kLargestInteger = UINT32_MAX;

std::optional<std::string> integerDoesNotFit(std::int64_t value, bool packedColor) {
  if (packedColor && (value < 0 || value > kLargestInteger))
    return std::to_string(value) + " is not a packed colour (0 to 0xFFFFFFFF)";
  if (value < kSmallestInteger || value > kLargestInteger)
    return std::to_string(value) + " does not fit the module's 32-bit field";
  return std::nullopt;
}

// An integer setting: a popup entry, a colour for a packed colour, or a number
// within the panel field's range that fits 32 bits.
std::int64_t parseIntegerSetting(const SettingDescription &setting, std::string_view text,
                                 const PanelControlModel *control) {
  if (setting.packedColor) {
    const auto colour = parseColor(text);
    if (colour) return colour->argb;
    if (parseInteger(text) || text.find_first_not_of("+-0123456789") == std::string_view::npos)
      refuse(setting.key, "\"" + std::string(text) + "\" does not fit a packed colour (0 to 0xFFFFFFFF)");
    refuse(setting.key, "\"" + std::string(text) + "\" is not a colour #RRGGBB, #RRGGBBAA or 0xAARRGGBB");
  }
  if (control != nullptr && (control->kind == ControlKind::Popup || control->kind == ControlKind::NumberField)) {
    PanelControlModel trial = *control;
    if (const auto error = setControlFromText(trial, text)) refuse(setting.key, *error);
    return trial.value;
  }
  const auto number = parseInteger(text);
  if (!number) {
    const bool digits = !text.empty() && text.find_first_not_of("+-0123456789") == std::string_view::npos;
    refuse(setting.key, "\"" + std::string(text) + "\" " + (digits ? "does not fit the module's 32-bit field" : "is not a whole number"));
  }
  if (const auto error = integerDoesNotFit(*number, false)) refuse(setting.key, *error);
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
  if (setting == nullptr) refuse(key, unknownKey(key, settings));
  const PanelControlModel *control = panel.findControl(setting->key);

  SettingAssignment assignment{setting->key, {}};
  switch (setting->type()) {
    case ValueType::Integer:
      assignment.value = parseIntegerSetting(*setting, value, control);
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
      const auto colour = parseColor(value);
      if (!colour) refuse(setting->key, "\"" + std::string(value) + "\" is not a colour #RRGGBB, #RRGGBBAA or 0xAARRGGBB");
      assignment.value = Color::fromPacked(colour->argb);
      break;
    }
    case ValueType::String:
      assignment.value = std::string(value);
      break;
  }
  return assignment;
}

void checkSettingsGroup(const SettingsStore &store, const SettingsDescription &settings, std::string_view source) {
  for (const std::string &key : store.keys(settings.group)) {
    const auto fail = [&](const std::string &what) {
      throw HostError(std::string(source) + ": group \"" + settings.group + "\" key \"" + key + "\": " + what);
    };
    const SettingDescription *setting = nullptr;
    for (const SettingDescription &known : settings.settings)
      if (known.key == key) setting = &known;  // the module looks keys up exactly
    if (setting == nullptr) fail(unknownKey(key, settings));
    const SettingValue value = *store.get(settings.group, key);
    const ValueType wanted = setting->type();
    const bool numberForDouble = wanted == ValueType::Double && value.type() == ValueType::Integer;
    if (value.type() != wanted && !numberForDouble)
      fail("expected " + std::string(valueTypeName(wanted)) + ", found " + std::string(valueTypeName(value.type())) +
           " " + value.toString());
    if (wanted == ValueType::Integer)
      if (const auto error = integerDoesNotFit(value.asInteger(), setting->packedColor)) fail(*error);
    if (wanted == ValueType::Color && value.asColor().components.size() != 4)
      fail("expected a colour with red, green, blue and alpha, found " + value.toString());
  }
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
