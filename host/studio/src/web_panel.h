// A module's settings panel answered by the page: the controls the page
// changed are set, then the item it pressed is hit. When the module asks for
// another item after that (a button other than OK and Cancel, or OK its
// dialog check refused), the panel as it then stands is kept for the page and
// the module is told Cancel, so nothing is changed behind the person's back.
#pragma once

#include <tessivo/host/panel_driver.h>

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tessivo::studio {

class WebPanel final : public host::PanelDriver {
 public:
  // No answer: the panel is only looked at (Cancel at once).
  WebPanel() = default;
  WebPanel(std::vector<std::pair<size_t, std::string>> values, int32_t hit)
      : values_(std::move(values)), hit_(hit) {}

  // Values the page sent that do not fit their control.
  const std::vector<std::string>& errors() const { return errors_; }
  const std::optional<host::PanelModel>& reopened() const { return reopened_; }

 protected:
  int32_t nextHitItem(host::PanelModel& model) override;
  uint32_t checkDialog(const host::PanelModel& model) override;

 private:
  std::vector<std::pair<size_t, std::string>> values_;
  std::optional<int32_t> hit_;
  int calls_ = 0;
  std::vector<std::string> errors_;
  std::optional<host::PanelModel> reopened_;
};

// {"dialog": {"x", "y", "width", "height"}, "controls": [{"index", "kind",
// "text", "caption", "rect": [x, y, w, h], "value", "valueText", "editable",
// "entries": [{"label", "value"}], "minimum", "maximum", "item"}]}
nlohmann::json panelJson(const host::PanelModel& model);

}  // namespace tessivo::studio
