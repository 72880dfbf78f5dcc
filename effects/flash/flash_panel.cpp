#include "flash_settings.h"

#include "tessivo/frame/panel.h"

namespace tessivo {

uint32_t RunFlashPanel(void *settings, const PanelTable *table) {
  if (settings == nullptr) {
    return 0;
  }
  auto &flashSettings = *static_cast<FlashSettings *>(settings);
  Panel panel(table, flashSettings.hostCookie, 200, 100);
  if (!panel) {
    return 0;
  }
  PanelControl *blend = panel.addCheckBox("Blend flash with Alpha", 20, 20, 160, 20, flashSettings.blendAlpha != 0);
  const bool complete = blend != nullptr && panel.addButton("OK", 120, 60, 60, 20, kPanelItemOK) &&
                        panel.addButton("Cancel", 40, 60, 60, 20, kPanelItemCancel);
  if (!complete || !panel.run()) {
    return 0;  // the panel closes itself
  }
  flashSettings.blendAlpha = panel.value(blend) != 0 ? 1 : 0;
  panel.close();
  return 1;
}

}  // namespace tessivo
