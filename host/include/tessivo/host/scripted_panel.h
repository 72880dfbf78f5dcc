// A panel answered from a script: set controls, then hit an item.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tessivo/host/panel_driver.h"

namespace tessivo::host {

struct PanelAction {
  enum class Kind { Set, Hit };
  Kind kind = Kind::Hit;
  std::string control;  // Set: selector as PanelModel::find takes it
  std::string value;    // Set: text as setControlFromText takes it
  std::int32_t item = kPanelItemOK;  // Hit
};

class ScriptedPanel : public PanelDriver {
public:
  ScriptedPanel() = default;
  explicit ScriptedPanel(std::vector<PanelAction> actions) : actions_(std::move(actions)) {}

  ScriptedPanel &set(std::string control, std::string value);
  ScriptedPanel &hit(std::int32_t item);
  ScriptedPanel &ok() { return hit(kPanelItemOK); }
  ScriptedPanel &cancel() { return hit(kPanelItemCancel); }
  // Answers of successive CheckDialog calls; 0 (acceptable) once used up.
  ScriptedPanel &checkAnswers(std::vector<std::uint32_t> answers);

  // Problems met while playing the script (unknown control, bad value, script
  // exhausted). A failing action makes the panel answer Cancel.
  const std::vector<std::string> &errors() const { return errors_; }

protected:
  std::int32_t nextHitItem(PanelModel &model) override;
  std::uint32_t checkDialog(const PanelModel &model) override;

private:
  std::vector<PanelAction> actions_;
  std::size_t next_ = 0;
  std::vector<std::uint32_t> checkAnswers_;
  std::size_t nextCheck_ = 0;
  std::vector<std::string> errors_;
};

// Parses "CONTROL=VALUE" into a Set action, "ok"/"cancel"/"hit:N" into a Hit.
// Throws HostError with a one-line message on anything else.
PanelAction parsePanelAction(std::string_view text);

}  // namespace tessivo::host
