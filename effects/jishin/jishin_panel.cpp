#include "jishin_settings.h"

#include "tessivo/frame/panel.h"

namespace tessivo {

uint32_t RunJishinPanel(void *settings, const PanelTable *table) {
  if (settings == nullptr) {
    return 0;
  }
  auto &jishin = *static_cast<JishinSettings *>(settings);
  Panel panel(table, jishin.hostCookie, 240, 130);
  if (!panel) {
    return 0;
  }
  // Labels that fail to appear do not stop the panel; popups and buttons do.
  panel.addStaticText("Mode :", 20, 20, 60, 20);
  PanelControl *mode =
      panel.addPopup(100, 19, 120, 20, {{"Always", kJishinAlways}, {"Realistic", kJishinRealistic}}, jishin.mode);
  if (mode == nullptr) {
    return 0;
  }
  panel.addStaticText("Direction :", 20, 50, 70, 20);
  PanelControl *direction = panel.addPopup(
      100, 49, 120, 20, {{"X", kJishinX}, {"Y", kJishinY}, {"X and Y", kJishinXAndY, 1}}, jishin.direction);
  const bool complete = direction != nullptr && panel.addButton("OK", 120, 90, 60, 20, kPanelItemOK) &&
                        panel.addButton("Cancel", 40, 90, 60, 20, kPanelItemCancel);
  if (!complete || !panel.run()) {
    return 0;  // the panel closes itself
  }
  jishin.mode = static_cast<int32_t>(panel.value(mode));
  jishin.direction = static_cast<int32_t>(panel.value(direction));
  panel.close();
  return 1;
}

}  // namespace tessivo
