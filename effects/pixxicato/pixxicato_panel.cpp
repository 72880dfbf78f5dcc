#include "pixxicato_settings.h"

#include "tessivo/frame/panel.h"

namespace tessivo {

uint32_t RunPixxicatoPanel(void *settings, const PanelTable *table) {
  if (settings == nullptr) {
    return 0;
  }
  auto &pixxicatoSettings = *static_cast<PixxicatoSettings *>(settings);
  Panel panel(table, pixxicatoSettings.hostCookie, 200, 100);
  if (!panel) {
    return 0;
  }
  const bool label = panel.addStaticText("Mode :", 20, 22, 50, 20);
  PanelControl *mode = label ? panel.addPopup(75, 20, 105, 20,
                                              {{"UpperLeft", kPixxicatoUpperLeft},
                                               {"Center", kPixxicatoCenter},
                                               {"Mean", kPixxicatoMean},
                                               {"Maximum", kPixxicatoMaximum},
                                               {"Minimum", kPixxicatoMinimum}},
                                              static_cast<int32_t>(pixxicatoSettings.mode))
                             : nullptr;
  const bool complete = mode != nullptr && panel.addButton("OK", 120, 65, 60, 20, kPanelItemOK) &&
                        panel.addButton("Cancel", 40, 65, 60, 20, kPanelItemCancel);
  // OK counts only once the host's dialog check lets it through.
  if (!complete || !panel.run(true)) {
    return 0;  // the panel closes itself
  }
  pixxicatoSettings.mode = static_cast<uint32_t>(panel.value(mode));
  panel.close();
  return 1;
}

}  // namespace tessivo
