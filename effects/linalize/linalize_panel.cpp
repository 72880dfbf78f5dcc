#include "linalize_settings.h"

#include "tessivo/frame/panel.h"

namespace tessivo {
namespace {

constexpr int32_t kFieldMinimum = 1;
constexpr int32_t kFieldMaximum = 2147483647;
constexpr int32_t kFieldStep = 10;

}  // namespace

uint32_t RunLinalizePanel(void *settings, const PanelTable *table) {
  if (settings == nullptr) {
    return 0;
  }
  auto &linalize = *static_cast<LinalizeSettings *>(settings);
  Panel panel(table, linalize.hostCookie, 200, 130);
  if (!panel) {
    return 0;
  }
  // Every item counts: one that cannot be created ends the panel.
  const bool labels = panel.addStaticText("Length :", 20, 20, 70, 20) && panel.addStaticText("Width :", 20, 50, 70, 20);
  PanelControl *length = labels ? panel.addNumberField(100, 19, 80, 20, static_cast<int32_t>(linalize.lineLength),
                                                       kFieldMinimum, kFieldMaximum, kFieldStep, 0)
                                : nullptr;
  PanelControl *width = length ? panel.addNumberField(100, 49, 80, 20, static_cast<int32_t>(linalize.lineWidth),
                                                      kFieldMinimum, kFieldMaximum, kFieldStep, 0)
                               : nullptr;
  const bool complete = width != nullptr && panel.addButton("OK", 110, 90, 60, 20, kPanelItemOK) &&
                        panel.addButton("Cancel", 30, 90, 60, 20, kPanelItemCancel);
  if (!complete || !panel.run(true)) {
    return 0;  // the panel closes itself
  }
  linalize.lineLength = static_cast<uint32_t>(panel.value(length));
  linalize.lineWidth = static_cast<uint32_t>(panel.value(width));
  panel.close();
  return 1;
}

}  // namespace tessivo
