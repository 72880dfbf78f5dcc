// `tessivo info CODE`: a module's ports, settings and panel controls, learned
// by asking a fresh instance (save into a scratch group, capture its panel).
#include "cli_common.h"
#include "port_listing.h"

#include <tessivo/host/error.h>
#include <tessivo/host/module_discovery.h>
#include <tessivo/host/module_notes.h>
#include <tessivo/host/user_values.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace tessivo::cli {

namespace {

std::string describeControl(const host::PanelControlModel& control) {
  std::string text = fmt::format("{} \"{}\"", host::controlKindName(control.kind),
                                 control.caption.empty() ? control.text : control.caption);
  switch (control.kind) {
    case host::ControlKind::Popup: {
      std::string entries;
      for (const host::PopupEntry& entry : control.entries)
        entries += fmt::format("{}\"{}\" = {}", entries.empty() ? "" : ", ", entry.label, entry.value);
      text += fmt::format(": {}", entries);
      break;
    }
    case host::ControlKind::NumberField:
      text += fmt::format(": {} to {}", control.minimum, control.maximum);
      break;
    case host::ControlKind::CheckBox:
      text += ": on/off";
      break;
    case host::ControlKind::ColorButton:
      text += ": #RRGGBB";
      break;
    default:
      break;
  }
  return text + fmt::format("  (now {})", control.valueText());
}

// A setting's value as a person reads it: colours as colours.
std::string describeValue(const host::SettingDescription& setting) {
  const host::SettingValue& value = setting.defaultValue;
  if (setting.packedColor && value.asInteger() >= 0 && value.asInteger() <= 0xFFFFFFFF)
    return host::describeColor(static_cast<uint32_t>(value.asInteger()));
  if (value.type() == host::ValueType::Color && value.asColor().components.size() == 4)
    return host::describeColor(value.asColor().packed());
  return value.toString();
}

// The control inputs with the range their module documents and their value when nothing is wired.
void printControls(const host::Instance& instance, uint32_t code) {
  bool any = false;
  for (const host::PortInfo& port : instance.ports()) {
    if (port.blank() || port.direction != kPortInput || port.type != kTypeControl) continue;
    if (!any) fmt::print("Controls:\n");
    any = true;
    const host::ControlRange* range = host::findControlRange(code, port.index);
    if (range == nullptr) {
      fmt::print("  {} \"{}\": range not documented\n", port.index, port.shortName);
      continue;
    }
    fmt::print("  {} \"{}\": {} to {} ({}); unwired: {}\n", port.index, port.shortName, range->minimum,
               range->maximum, range->meaning, range->unwired);
  }
}

void runInfo(const GlobalOptions& options, const std::string& codeText) {
  auto bundle = loadBundle(options);
  const uint32_t code = parseModuleCode(*bundle, codeText);
  auto instance = createInstance(*bundle, code);
  const host::ModuleInfo* listed = bundle->findModule(code);
  fmt::print("{}  {}{}\n", host::codeToString(code), instance->name(),
             listed != nullptr ? fmt::format("  box {}x{}", listed->boxWidth, listed->boxHeight)
                               : std::string("  (not listed by the bundle)"));
  fmt::print("Ports:\n{}", describePorts(*instance, "  "));
  printControls(*instance, code);

  const host::SettingsDescription settings = host::describeSettings(*instance);
  if (!settings.saved || settings.settings.empty()) {
    fmt::print("Settings: none\n");
  } else {
    fmt::print("Settings (group \"{}\"{}):\n", settings.group,
               instance->hasParameters() ? ", also set by key" : "");
    for (const host::SettingDescription& setting : settings.settings)
      fmt::print("  \"{}\"  {}  default {}\n", setting.key,
                 setting.packedColor ? std::string("colour (an integer 0xAARRGGBB)")
                 : setting.type() == host::ValueType::Color ? std::string("colour")
                                                            : std::string(host::valueTypeName(setting.type())),
                 describeValue(setting));
    if (const std::string_view note = host::greyFormatNote(code); !note.empty())
      fmt::print("  Grey format: {}\n", note);
  }

  const host::PanelDescription panel = host::describePanel(*instance);
  if (!panel.available) {
    fmt::print("Panel: none\n");
    return;
  }
  fmt::print("Panel ({}x{}):\n", panel.rect.width, panel.rect.height);
  for (const host::PanelControlModel& control : panel.controls)
    if (control.isEditable()) fmt::print("  {}\n", describeControl(control));
}

}  // namespace

void addInfoCommand(CLI::App& app, GlobalOptions& options) {
  auto* command = app.add_subcommand("info", "Describe one module: ports, settings with defaults, panel controls");
  auto code = std::make_shared<std::string>();
  command->add_option("CODE", *code, "Module code, e.g. fadr")->required();
  command->callback([&options, code] { runInfo(options, *code); });
}

}  // namespace tessivo::cli
