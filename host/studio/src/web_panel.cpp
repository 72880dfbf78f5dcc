#include "web_panel.h"

#include <fmt/format.h>
#include <marlix/panel.h>

namespace tessivo::studio {

int32_t WebPanel::nextHitItem(host::PanelModel& model) {
  if (!hit_) return kPanelItemCancel;
  if (calls_++ > 0) {
    reopened_ = model;
    return kPanelItemCancel;
  }
  for (const auto& [index, text] : values_) {
    if (index >= model.controls.size()) {
      errors_.push_back(fmt::format("the panel has no control {}", index));
      return kPanelItemCancel;
    }
    host::PanelControlModel& control = model.controls[index];
    if (!control.isEditable()) {
      errors_.push_back(fmt::format("control {} (\"{}\") cannot be changed", index, control.text));
      return kPanelItemCancel;
    }
    if (auto problem = host::setControlFromText(control, text)) {
      const std::string name = control.caption.empty() ? fmt::format("control {}", index) : control.caption;
      errors_.push_back(fmt::format("{}: {}", name, *problem));
      return kPanelItemCancel;
    }
  }
  return *hit_;
}

// The host's own check: every number field within its range.
uint32_t WebPanel::checkDialog(const host::PanelModel& model) {
  for (const host::PanelControlModel& control : model.controls)
    if (control.kind == host::ControlKind::NumberField && control.minimum <= control.maximum &&
        (control.value < control.minimum || control.value > control.maximum))
      return 1;
  return 0;
}

nlohmann::json panelJson(const host::PanelModel& model) {
  nlohmann::json controls = nlohmann::json::array();
  for (size_t i = 0; i < model.controls.size(); ++i) {
    const host::PanelControlModel& control = model.controls[i];
    nlohmann::json entry = {{"index", i},
                            {"kind", host::controlKindName(control.kind)},
                            {"text", control.text},
                            {"caption", control.caption},
                            {"rect", {control.rect.x, control.rect.y, control.rect.width, control.rect.height}},
                            {"value", control.value},
                            {"valueText", control.valueText()},
                            {"editable", control.isEditable()}};
    switch (control.kind) {
      case host::ControlKind::Popup: {
        nlohmann::json entries = nlohmann::json::array();
        for (const host::PopupEntry& popup : control.entries)
          entries.push_back({{"label", popup.label}, {"value", popup.value}});
        entry["entries"] = entries;
        break;
      }
      case host::ControlKind::NumberField:
        entry["minimum"] = control.minimum;
        entry["maximum"] = control.maximum;
        entry["step"] = control.step;
        entry["digits"] = control.digits;
        break;
      case host::ControlKind::Button:
        entry["item"] = control.item;
        break;
      default:
        break;
    }
    controls.push_back(entry);
  }
  return {{"dialog", {{"x", model.rect.x}, {"y", model.rect.y}, {"width", model.rect.width}, {"height", model.rect.height}}},
          {"controls", controls}};
}

}  // namespace tessivo::studio
