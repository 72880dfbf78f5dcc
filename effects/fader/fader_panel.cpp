#include "fader_settings.h"

#include "tessivo/frame/panel.h"

namespace tessivo {

uint32_t RunFaderPanel(void *settings, const PanelTable *table) {
  if (settings == nullptr) {
    return 0;
  }
  auto &faderSettings = *static_cast<FaderSettings *>(settings);
  Panel panel(table, faderSettings.hostCookie, 200, 140);
  if (!panel) {
    return 0;
  }
  panel.addStaticText("Fade color :", 20, 20, 100, 20);
  panel.addStaticText("Fade alpha :", 20, 50, 100, 20);
  // All four controls are asked for, even after one fails, before the panel gives up.
  PanelControl *color =
      panel.addColorButton(120, 16, 32, 26, faderSettings.fadeColor & 0x00FFFFFFu, "Pick up a color");
  PanelControl *alpha =
      panel.addNumberField(120, 46, 40, 26, static_cast<int32_t>(faderSettings.fadeColor >> 24), 0, 255, 4, 0);
  const bool ok = panel.addButton("OK", 120, 100, 60, 20, kPanelItemOK);
  const bool cancel = panel.addButton("Cancel", 40, 100, 60, 20, kPanelItemCancel);
  const bool complete = color != nullptr && alpha != nullptr && ok && cancel;
  if (!complete || !panel.run()) {
    return 0;  // the panel closes itself
  }
  faderSettings.fadeColor = static_cast<uint32_t>(panel.value(color)) | static_cast<uint32_t>(panel.value(alpha)) << 24;
  panel.close();
  return 1;
}

}  // namespace tessivo
