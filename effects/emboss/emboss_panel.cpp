#include "emboss_settings.h"

#include "tessivo/frame/panel.h"

namespace tessivo {

uint32_t RunEmbossPanel(void *settings, const PanelTable *table) {
  if (settings == nullptr) {
    return 0;
  }
  auto &embossSettings = *static_cast<EmbossSettings *>(settings);
  Panel panel(table, embossSettings.hostCookie, 280, 160);
  if (!panel) {
    return 0;
  }
  panel.addStaticText("Effect:", 20, 20, 100, 20);
  panel.addStaticText("Strongness:", 20, 50, 100, 20);
  panel.addStaticText("Direction:", 20, 80, 100, 20);
  PanelControl *effect = panel.addPopup(
      140, 20, 120, 26, {{"Emboss", 0, 0, 0}, {"Emboss with alpha", 1, 0, 0}, {"Stonify", 2, 0, 1}},
      static_cast<int32_t>(embossSettings.effect));
  PanelControl *strongness = panel.addPopup(
      140, 50, 120, 26,
      {{"Very Weak", 0, 0, 0}, {"Weak", 1, 0, 0}, {"Normal", 2, 0, 1}, {"Strong", 3, 0, 2}, {"Very Strong", 4, 0, 3}},
      static_cast<int32_t>(embossSettings.strongness));
  PanelControl *direction = panel.addPopup(
      140, 80, 120, 26,
      {{"Top Left", 0, 0, 0}, {"Top Right", 1, 0, 0}, {"Bottom Left", 2, 0, 1}, {"Bottom Right", 3, 0, 2}},
      static_cast<int32_t>(embossSettings.direction));
  // A popup the host could not make has no value to store: the panel gives up
  // as for a missing button, leaving the settings as they are.
  const bool complete = effect != nullptr && strongness != nullptr && direction != nullptr &&
                        panel.addButton("OK", 200, 120, 60, 20, kPanelItemOK) &&
                        panel.addButton("Cancel", 120, 120, 60, 20, kPanelItemCancel);
  // OK counts only once the host's dialog check accepts the contents.
  if (!complete || !panel.run(/*checkOnOK=*/true)) {
    return 0;  // the panel closes itself
  }
  embossSettings.effect = static_cast<uint32_t>(panel.value(effect));
  embossSettings.strongness = static_cast<uint32_t>(panel.value(strongness));
  embossSettings.direction = static_cast<uint32_t>(panel.value(direction));
  panel.close();
  return 1;
}

}  // namespace tessivo
