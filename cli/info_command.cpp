// `tessivo info CODE`: a module's ports, settings and panel controls, learned
// by asking a fresh instance (save into a scratch group, capture its panel).
#include "cli_common.h"
#include "port_listing.h"

#include <tessivo/host/error.h>
#include <tessivo/host/module_discovery.h>

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

void runInfo(const GlobalOptions& options, const std::string& codeText) {
  auto bundle = loadBundle(options);
  const uint32_t code = parseModuleCode(*bundle, codeText);
  auto instance = createInstance(*bundle, code);
  const host::ModuleInfo* listed = bundle->findModule(code);
  fmt::print("{}  {}{}\n", host::codeToString(code), instance->name(),
             listed != nullptr ? fmt::format("  box {}x{}", listed->boxWidth, listed->boxHeight)
                               : std::string("  (not listed by the bundle)"));
  fmt::print("Ports:\n{}", describePorts(*instance, "  "));

  const host::SettingsDescription settings = host::describeSettings(*instance);
  if (!settings.saved || settings.settings.empty()) {
    fmt::print("Settings: none\n");
  } else {
    fmt::print("Settings (group \"{}\"{}):\n", settings.group,
               instance->hasParameters() ? ", also set by key" : "");
    for (const host::SettingDescription& setting : settings.settings)
      fmt::print("  \"{}\"  {}  default {}\n", setting.key, host::valueTypeName(setting.type()),
                 setting.defaultValue.toString());
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
