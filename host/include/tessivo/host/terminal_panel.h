// A panel shown to a person on a terminal: the controls are listed and
// changed by number ("3 = Realistic"), then "ok" or "cancel".
#pragma once

#include <iosfwd>

#include "tessivo/host/panel_driver.h"

namespace tessivo::host {

class TerminalPanel final : public PanelDriver {
public:
  TerminalPanel(std::istream &in, std::ostream &out) : in_(in), out_(out) {}

protected:
  std::int32_t nextHitItem(PanelModel &model) override;

private:
  void list(const PanelModel &model) const;

  std::istream &in_;
  std::ostream &out_;
  bool lastWasOK_ = false;
};

}  // namespace tessivo::host
