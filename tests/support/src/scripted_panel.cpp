#include "tessivo/test/scripted_panel.h"

namespace tessivo::test {
namespace {

uintptr_t Arg(int64_t value) { return static_cast<uintptr_t>(value); }

}  // namespace

ScriptedPanel::ScriptedPanel(CallLog &log) : log_(log) {
  table_.cookie = this;
  table_.CreateDialog = &CreateDialog;
  table_.AddStaticText = &AddStaticText;
  table_.AddPopup = &AddPopup;
  table_.AddPopupEntry = &AddPopupEntry;
  table_.SelectPopupValue = &SelectPopupValue;
  table_.AddCheckBox = &AddCheckBox;
  table_.AddNumberField = &AddNumberField;
  table_.AddColorButton = &AddColorButton;
  table_.AddButton = &AddButton;
  table_.ShowDialog = &ShowDialog;
  table_.NextHitItem = &NextHitItem;
  table_.CheckDialog = &CheckDialog;
  table_.ControlValue = &ControlValue;
  table_.CloseDialog = &CloseDialog;
}

// Control handles are 1-based indices into controls.
PanelControl *ScriptedPanel::addControl(Control control) {
  log_.add({"Add:" + control.kind,
            {Arg(control.x), Arg(control.y), Arg(control.width), Arg(control.height), Arg(control.value)},
            {control.label},
            {}});
  if (creations_++ == failAtControl) return nullptr;
  controls.push_back(std::move(control));
  return reinterpret_cast<PanelControl *>(controls.size());
}

ScriptedPanel::Control *ScriptedPanel::find(PanelControl *handle) {
  const auto index = reinterpret_cast<uintptr_t>(handle);
  if (index == 0 || index > controls.size()) return nullptr;
  return &controls[index - 1];
}

PanelDialog *ScriptedPanel::CreateDialog(void *cookie, void *owner, int32_t x, int32_t y, int32_t w, int32_t h) {
  ScriptedPanel &self = Self(cookie);
  self.log_.add({"CreateDialog", {reinterpret_cast<uintptr_t>(owner), Arg(x), Arg(y), Arg(w), Arg(h)}, {}, {}});
  if (self.refuseDialog) return nullptr;
  self.owner = owner;
  self.dialogX = x;
  self.dialogY = y;
  self.dialogWidth = w;
  self.dialogHeight = h;
  return reinterpret_cast<PanelDialog *>(&self);
}

namespace {

ScriptedPanel::Control Placed(const char *kind, const char *label, int32_t x, int32_t y, int32_t w, int32_t h) {
  ScriptedPanel::Control control;
  control.kind = kind;
  control.label = label != nullptr ? label : "";
  control.x = x;
  control.y = y;
  control.width = w;
  control.height = h;
  return control;
}

}  // namespace

PanelControl *ScriptedPanel::AddStaticText(void *cookie, PanelDialog *, const char *text, int32_t x, int32_t y,
                                           int32_t w, int32_t h) {
  return Self(cookie).addControl(Placed("text", text, x, y, w, h));
}

PanelControl *ScriptedPanel::AddPopup(void *cookie, PanelDialog *, int32_t x, int32_t y, int32_t w, int32_t h) {
  return Self(cookie).addControl(Placed("popup", nullptr, x, y, w, h));
}

uint32_t ScriptedPanel::AddPopupEntry(void *cookie, PanelControl *popup, const char *label, int32_t value,
                                      int32_t extra1, int32_t extra2) {
  ScriptedPanel &self = Self(cookie);
  self.log_.add({"AddPopupEntry", {Arg(value), Arg(extra1), Arg(extra2)}, {label}, {}});
  Control *control = self.find(popup);
  if (control == nullptr) return 0;
  control->entries.emplace_back(label, value);
  return 1;
}

uint32_t ScriptedPanel::SelectPopupValue(void *cookie, PanelControl *popup, int32_t value) {
  ScriptedPanel &self = Self(cookie);
  self.log_.add({"SelectPopupValue", {Arg(value)}, {}, {}});
  Control *control = self.find(popup);
  if (control == nullptr) return 0;
  control->value = value;
  return 1;
}

PanelControl *ScriptedPanel::AddCheckBox(void *cookie, PanelDialog *, const char *label, int32_t x, int32_t y,
                                         int32_t w, int32_t h, int32_t checked) {
  Control control = Placed("checkbox", label, x, y, w, h);
  control.value = checked;
  return Self(cookie).addControl(std::move(control));
}

PanelControl *ScriptedPanel::AddNumberField(void *cookie, PanelDialog *, int32_t x, int32_t y, int32_t w, int32_t h,
                                            int32_t value, int32_t minimum, int32_t maximum, int32_t step,
                                            int32_t digits) {
  Control control = Placed("number", nullptr, x, y, w, h);
  control.value = value;
  control.minimum = minimum;
  control.maximum = maximum;
  control.step = step;
  control.digits = digits;
  return Self(cookie).addControl(std::move(control));
}

PanelControl *ScriptedPanel::AddColorButton(void *cookie, PanelDialog *, int32_t x, int32_t y, int32_t w, int32_t h,
                                            uint32_t rgb, const char *title) {
  Control control = Placed("color", title, x, y, w, h);
  control.value = rgb;
  return Self(cookie).addControl(std::move(control));
}

PanelControl *ScriptedPanel::AddButton(void *cookie, PanelDialog *, const char *label, int32_t x, int32_t y,
                                       int32_t w, int32_t h, int32_t item) {
  Control control = Placed("button", label, x, y, w, h);
  control.item = item;
  return Self(cookie).addControl(std::move(control));
}

uint32_t ScriptedPanel::ShowDialog(void *cookie, PanelDialog *) {
  ScriptedPanel &self = Self(cookie);
  self.log_.add({"ShowDialog", {}, {}, {}});
  ++self.shown;
  return 1;
}

int32_t ScriptedPanel::NextHitItem(void *cookie, PanelDialog *) {
  ScriptedPanel &self = Self(cookie);
  int32_t item = kPanelItemCancel;
  if (!self.hits.empty()) {
    item = self.hits.front();
    self.hits.pop_front();
  }
  self.log_.add({"NextHitItem", {Arg(item)}, {}, {}});
  return item;
}

uint32_t ScriptedPanel::CheckDialog(void *cookie, PanelDialog *) {
  ScriptedPanel &self = Self(cookie);
  uint32_t answer = 0;
  if (!self.checks.empty()) {
    answer = self.checks.front();
    self.checks.pop_front();
  }
  self.log_.add({"CheckDialog", {answer}, {}, {}});
  return answer;
}

int64_t ScriptedPanel::ControlValue(void *cookie, PanelControl *handle) {
  ScriptedPanel &self = Self(cookie);
  const auto index = reinterpret_cast<uintptr_t>(handle);
  self.log_.add({"ControlValue", {index}, {}, {}});
  const Control *control = self.find(handle);
  if (control == nullptr) return 0;
  auto answer = self.answers.find(index - 1);
  return answer != self.answers.end() ? answer->second : control->value;
}

uint32_t ScriptedPanel::CloseDialog(void *cookie, PanelDialog *) {
  ScriptedPanel &self = Self(cookie);
  self.log_.add({"CloseDialog", {}, {}, {}});
  ++self.closed;
  return 1;
}

}  // namespace tessivo::test
