#include "kagami_settings.h"

#include "tessivo/frame/panel.h"

namespace tessivo {

uint32_t RunKagamiPanel(void *settings, const PanelTable *table) {
  if (settings == nullptr) {
    return 0;
  }
  auto &kagamiSettings = *static_cast<KagamiSettings *>(settings);
  Panel panel(table, kagamiSettings.hostCookie, 240, 130);
  if (!panel) {
    return 0;
  }
  // Every control is asked for, even after one fails, before the panel gives up.
  panel.addStaticText("Mode :", 20, 20, 60, 20);
  PanelControl *mode = panel.addPopup(100, 19, 120, 20, {{"Always", 0}, {"Realistic", 1}}, kagamiSettings.mode);
  panel.addStaticText("Direction :", 20, 50, 70, 20);
  // The last entry carries the host's extra item flag.
  PanelControl *direction =
      panel.addPopup(100, 49, 120, 20, {{"X", 0}, {"Y", 1}, {"X and Y", 2, 1}}, kagamiSettings.direction);
  const bool ok = panel.addButton("OK", 120, 90, 60, 20, kPanelItemOK);
  const bool cancel = panel.addButton("Cancel", 40, 90, 60, 20, kPanelItemCancel);
  const bool complete = mode != nullptr && direction != nullptr && ok && cancel;
  if (!complete || !panel.run()) {
    return 0;  // the panel closes itself
  }
  kagamiSettings.mode = static_cast<int32_t>(panel.value(mode));
  kagamiSettings.direction = static_cast<int32_t>(panel.value(direction));
  panel.close();
  return 1;
}

}  // namespace tessivo
