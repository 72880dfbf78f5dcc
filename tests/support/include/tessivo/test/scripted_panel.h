// The host's panel table answered by a script: records every control the
// module creates and answers NextHitItem from a queue.
#pragma once

#include <marlix/panel.h>

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tessivo/test/call_log.h"

namespace tessivo::test {

class ScriptedPanel {
 public:
  struct Control {
    std::string kind;   // "text", "popup", "checkbox", "number", "color", "button"
    std::string label;  // text, label or colour picker title
    int32_t x = 0, y = 0, width = 0, height = 0;
    int64_t value = 0;  // what ControlValue answers: selection, check, number, rgb
    int32_t minimum = 0, maximum = 0, step = 0, digits = 0;
    int32_t item = 0;   // button item number
    std::vector<std::pair<std::string, int32_t>> entries;  // popup entries
  };

  explicit ScriptedPanel(CallLog &log);
  const PanelTable *table() const { return &table_; }

  // Script.
  bool refuseDialog = false;
  int failAtControl = -1;            // this creation (0-based, any kind) answers null
  std::deque<int32_t> hits;          // NextHitItem answers; Cancel (2) once empty
  std::deque<uint32_t> checks;       // CheckDialog answers; 0 once empty
  std::map<size_t, int64_t> answers; // ControlValue by control index, instead of the control's value

  // Record.
  std::vector<Control> controls;
  void *owner = nullptr;
  int32_t dialogX = 0, dialogY = 0, dialogWidth = 0, dialogHeight = 0;
  int shown = 0;
  int closed = 0;

 private:
  static ScriptedPanel &Self(void *cookie) { return *static_cast<ScriptedPanel *>(cookie); }
  PanelControl *addControl(Control control);
  Control *find(PanelControl *handle);

  static PanelDialog *CreateDialog(void *cookie, void *owner, int32_t x, int32_t y, int32_t w, int32_t h);
  static PanelControl *AddStaticText(void *cookie, PanelDialog *, const char *text, int32_t x, int32_t y, int32_t w,
                                     int32_t h);
  static PanelControl *AddPopup(void *cookie, PanelDialog *, int32_t x, int32_t y, int32_t w, int32_t h);
  static uint32_t AddPopupEntry(void *cookie, PanelControl *popup, const char *label, int32_t value, int32_t extra1,
                                int32_t extra2);
  static uint32_t SelectPopupValue(void *cookie, PanelControl *popup, int32_t value);
  static PanelControl *AddCheckBox(void *cookie, PanelDialog *, const char *label, int32_t x, int32_t y, int32_t w,
                                   int32_t h, int32_t checked);
  static PanelControl *AddNumberField(void *cookie, PanelDialog *, int32_t x, int32_t y, int32_t w, int32_t h,
                                      int32_t value, int32_t minimum, int32_t maximum, int32_t step, int32_t digits);
  static PanelControl *AddColorButton(void *cookie, PanelDialog *, int32_t x, int32_t y, int32_t w, int32_t h,
                                      uint32_t rgb, const char *title);
  static PanelControl *AddButton(void *cookie, PanelDialog *, const char *label, int32_t x, int32_t y, int32_t w,
                                 int32_t h, int32_t item);
  static uint32_t ShowDialog(void *cookie, PanelDialog *);
  static int32_t NextHitItem(void *cookie, PanelDialog *);
  static uint32_t CheckDialog(void *cookie, PanelDialog *);
  static int64_t ControlValue(void *cookie, PanelControl *control);
  static uint32_t CloseDialog(void *cookie, PanelDialog *);

  CallLog &log_;
  PanelTable table_{};
  int creations_ = 0;
};

}  // namespace tessivo::test
