#include "diffusion_settings.h"

#include "tessivo/frame/panel.h"

namespace tessivo {

uint32_t RunDiffusionPanel(void *settings, const PanelTable *table) {
  if (settings == nullptr) {
    return 0;
  }
  auto &diffusionSettings = *static_cast<DiffusionSettings *>(settings);
  Panel panel(table, diffusionSettings.hostCookie, 240, 130);
  if (!panel) {
    return 0;
  }
  // The first control that cannot be created ends the panel (it closes itself).
  panel.addStaticText("Mode :", 20, 20, 60, 20);
  PanelControl *mode = panel.addPopup(100, 19, 120, 20, {{"Always", 0}, {"Realistic", 1}},
                                      static_cast<int32_t>(diffusionSettings.mode));
  if (mode == nullptr) {
    return 0;
  }
  panel.addStaticText("Direction :", 20, 50, 70, 20);
  PanelControl *direction = panel.addPopup(100, 49, 120, 20, {{"X", 0}, {"Y", 1}, {"X and Y", 2, 0, 1}},
                                           static_cast<int32_t>(diffusionSettings.direction));
  if (direction == nullptr || !panel.addButton("OK", 120, 90, 60, 20, kPanelItemOK) ||
      !panel.addButton("Cancel", 40, 90, 60, 20, kPanelItemCancel) || !panel.run()) {
    return 0;
  }
  diffusionSettings.mode = static_cast<uint32_t>(panel.value(mode));
  diffusionSettings.direction = static_cast<uint32_t>(panel.value(direction));
  panel.close();
  return 1;
}

}  // namespace tessivo
