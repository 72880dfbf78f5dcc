// ScriptedPanel: plays set/hit actions against the recorded panel.
#include "tessivo/host/scripted_panel.h"

#include "tessivo/host/error.h"
#include "settings/value_text.h"

namespace tessivo::host {

ScriptedPanel &ScriptedPanel::set(std::string control, std::string value) {
  actions_.push_back(PanelAction{PanelAction::Kind::Set, std::move(control), std::move(value), 0});
  return *this;
}

ScriptedPanel &ScriptedPanel::hit(std::int32_t item) {
  actions_.push_back(PanelAction{PanelAction::Kind::Hit, {}, {}, item});
  return *this;
}

ScriptedPanel &ScriptedPanel::checkAnswers(std::vector<std::uint32_t> answers) {
  checkAnswers_ = std::move(answers);
  nextCheck_ = 0;
  return *this;
}

std::int32_t ScriptedPanel::nextHitItem(PanelModel &model) {
  while (next_ < actions_.size()) {
    const PanelAction &action = actions_[next_++];
    if (action.kind == PanelAction::Kind::Hit) return action.item;
    PanelControlModel *control = model.find(action.control);
    std::optional<std::string> error;
    if (control == nullptr)
      error = "no control \"" + action.control + "\" in this panel";
    else if (auto problem = setControlFromText(*control, action.value))
      error = "\"" + action.control + "\": " + *problem;
    if (error) {
      errors_.push_back(*error);
      next_ = actions_.size();
      return kPanelItemCancel;
    }
  }
  if (!actions_.empty()) errors_.push_back("the panel asked for another item after the script ended");
  return kPanelItemCancel;
}

std::uint32_t ScriptedPanel::checkDialog(const PanelModel &) {
  return nextCheck_ < checkAnswers_.size() ? checkAnswers_[nextCheck_++] : 0;
}

PanelAction parsePanelAction(std::string_view text) {
  const std::string_view action = trimmed(text);
  if (equalsIgnoreCase(action, "ok")) return PanelAction{PanelAction::Kind::Hit, {}, {}, kPanelItemOK};
  if (equalsIgnoreCase(action, "cancel")) return PanelAction{PanelAction::Kind::Hit, {}, {}, kPanelItemCancel};
  if (action.size() > 4 && equalsIgnoreCase(action.substr(0, 4), "hit:"))
    if (const auto item = parseInteger(action.substr(4)); item && *item >= INT32_MIN && *item <= INT32_MAX)
      return PanelAction{PanelAction::Kind::Hit, {}, {}, static_cast<std::int32_t>(*item)};
  if (const auto equals = action.find('='); equals != std::string_view::npos) {
    const std::string_view control = trimmed(action.substr(0, equals));
    if (!control.empty())
      return PanelAction{PanelAction::Kind::Set, std::string(control), std::string(trimmed(action.substr(equals + 1))),
                         0};
  }
  throw HostError("panel action \"" + std::string(action) + "\": expected CONTROL=VALUE, ok, cancel or hit:N");
}

}  // namespace tessivo::host
