// The recorded panel: control values as text, and finding controls by name.
#include <string>

#include "tessivo/host/panel_driver.h"
#include "settings/value_text.h"

namespace tessivo::host {

std::string_view controlKindName(ControlKind kind) {
  switch (kind) {
    case ControlKind::StaticText: return "static text";
    case ControlKind::Popup: return "popup";
    case ControlKind::CheckBox: return "check box";
    case ControlKind::NumberField: return "number field";
    case ControlKind::ColorButton: return "colour button";
    case ControlKind::Button: return "button";
  }
  return "control";
}

bool PanelControlModel::isEditable() const {
  return kind == ControlKind::Popup || kind == ControlKind::CheckBox || kind == ControlKind::NumberField ||
         kind == ControlKind::ColorButton;
}

const PopupEntry *PanelControlModel::selectedEntry() const {
  for (const PopupEntry &entry : entries)
    if (entry.value == value) return &entry;
  return nullptr;
}

std::string PanelControlModel::valueText() const {
  switch (kind) {
    case ControlKind::Popup: {
      const PopupEntry *entry = selectedEntry();
      return entry != nullptr ? entry->label : "(value " + std::to_string(value) + ")";
    }
    case ControlKind::CheckBox: return value != 0 ? "on" : "off";
    case ControlKind::NumberField: return std::to_string(value);
    case ControlKind::ColorButton: return formatRgb(static_cast<std::uint32_t>(value));
    case ControlKind::StaticText:
    case ControlKind::Button: return text;
  }
  return {};
}

std::optional<std::string> setControlFromText(PanelControlModel &control, std::string_view text) {
  text = trimmed(text);
  switch (control.kind) {
    case ControlKind::Popup: {
      for (const PopupEntry &entry : control.entries)
        if (equalsIgnoreCase(entry.label, text)) {
          control.value = entry.value;
          return std::nullopt;
        }
      if (const auto number = parseInteger(text))
        for (const PopupEntry &entry : control.entries)
          if (entry.value == *number) {
            control.value = entry.value;
            return std::nullopt;
          }
      std::string choices;
      for (const PopupEntry &entry : control.entries) choices += (choices.empty() ? "" : ", ") + entry.label;
      return "\"" + std::string(text) + "\" is not one of: " + choices;
    }
    case ControlKind::CheckBox: {
      const auto flag = parseBoolean(text);
      if (!flag) return "\"" + std::string(text) + "\" is not on or off";
      control.value = *flag ? 1 : 0;
      return std::nullopt;
    }
    case ControlKind::NumberField: {
      const auto number = parseInteger(text);
      if (!number) return "\"" + std::string(text) + "\" is not a whole number";
      if (control.minimum <= control.maximum && (*number < control.minimum || *number > control.maximum))
        return std::to_string(*number) + " is outside " + std::to_string(control.minimum) + ".." +
               std::to_string(control.maximum);
      control.value = *number;
      return std::nullopt;
    }
    case ControlKind::ColorButton: {
      // The button holds red, green and blue; an alpha other than opaque belongs elsewhere.
      const auto color = parseColor(text);
      if (!color || (color->hasAlpha && (color->argb >> 24) != 0xFF && text.front() == '#'))
        return "\"" + std::string(text) + "\" is not a colour #RRGGBB";
      control.value = color->argb & 0xFFFFFFu;
      return std::nullopt;
    }
    case ControlKind::StaticText:
    case ControlKind::Button: break;
  }
  return "a " + std::string(controlKindName(control.kind)) + " cannot be changed";
}

const PanelControlModel *PanelModel::find(std::string_view selector) const {
  selector = trimmed(selector);
  if (!selector.empty() && selector.front() == '#') {
    const auto position = parseInteger(selector.substr(1));
    if (!position || *position < 1 || static_cast<std::uint64_t>(*position) > controls.size()) return nullptr;
    return &controls[static_cast<std::size_t>(*position - 1)];
  }
  for (const PanelControlModel &control : controls)
    if (control.isEditable() && equalsIgnoreCase(control.caption, selector)) return &control;
  for (const PanelControlModel &control : controls)
    if (equalsIgnoreCase(control.text, selector) || equalsIgnoreCase(captionFromLabel(control.text), selector))
      return &control;
  return nullptr;
}

PanelControlModel *PanelModel::find(std::string_view selector) {
  return const_cast<PanelControlModel *>(static_cast<const PanelModel &>(*this).find(selector));
}

std::vector<const PanelControlModel *> PanelModel::editableControls() const {
  std::vector<const PanelControlModel *> editable;
  for (const PanelControlModel &control : controls)
    if (control.isEditable()) editable.push_back(&control);
  return editable;
}

}  // namespace tessivo::host
