// A modal settings panel over the host's panel table. Missing host
// functions count as controls that could not be created.
#include "tessivo/frame/panel.h"

namespace tessivo {

Panel::Panel(const PanelTable *table, void *owner, int32_t width, int32_t height)
    : table_(table),
      dialog_(table != nullptr && table->CreateDialog != nullptr
                  ? table->CreateDialog(table->cookie, owner, kPanelDefaultPosition, kPanelDefaultPosition, width,
                                        height)
                  : nullptr) {}

Panel::~Panel() { close(); }

bool Panel::addStaticText(const char *text, int32_t x, int32_t y, int32_t width, int32_t height) {
  if (dialog_ == nullptr || table_->AddStaticText == nullptr) return false;
  return table_->AddStaticText(table_->cookie, dialog_, text, x, y, width, height) != nullptr;
}

PanelControl *Panel::addPopup(int32_t x, int32_t y, int32_t width, int32_t height,
                              std::initializer_list<PopupEntry> entries, int32_t selected) {
  if (dialog_ == nullptr || table_->AddPopup == nullptr) return nullptr;
  PanelControl *popup = table_->AddPopup(table_->cookie, dialog_, x, y, width, height);
  if (popup == nullptr) return nullptr;
  if (table_->AddPopupEntry != nullptr) {
    for (const PopupEntry &entry : entries) {
      table_->AddPopupEntry(table_->cookie, popup, entry.label, entry.value, entry.extra1, entry.extra2);
    }
  }
  if (table_->SelectPopupValue != nullptr) table_->SelectPopupValue(table_->cookie, popup, selected);
  return popup;
}

PanelControl *Panel::addCheckBox(const char *label, int32_t x, int32_t y, int32_t width, int32_t height,
                                 bool checked) {
  if (dialog_ == nullptr || table_->AddCheckBox == nullptr) return nullptr;
  return table_->AddCheckBox(table_->cookie, dialog_, label, x, y, width, height, checked ? 1 : 0);
}

PanelControl *Panel::addNumberField(int32_t x, int32_t y, int32_t width, int32_t height, int32_t value,
                                    int32_t minimum, int32_t maximum, int32_t step, int32_t digits) {
  if (dialog_ == nullptr || table_->AddNumberField == nullptr) return nullptr;
  return table_->AddNumberField(table_->cookie, dialog_, x, y, width, height, value, minimum, maximum, step,
                                digits);
}

PanelControl *Panel::addColorButton(int32_t x, int32_t y, int32_t width, int32_t height, uint32_t rgb,
                                    const char *title) {
  if (dialog_ == nullptr || table_->AddColorButton == nullptr) return nullptr;
  return table_->AddColorButton(table_->cookie, dialog_, x, y, width, height, rgb, title);
}

bool Panel::addButton(const char *label, int32_t x, int32_t y, int32_t width, int32_t height, int32_t item) {
  if (dialog_ == nullptr || table_->AddButton == nullptr) return false;
  return table_->AddButton(table_->cookie, dialog_, label, x, y, width, height, item) != nullptr;
}

bool Panel::run(bool checkOnOK) {
  if (dialog_ == nullptr || table_->NextHitItem == nullptr) return false;
  if (table_->ShowDialog != nullptr) table_->ShowDialog(table_->cookie, dialog_);
  for (int32_t hits = 0; hits < kMaxPanelHits; ++hits) {
    const int32_t item = table_->NextHitItem(table_->cookie, dialog_);
    if (item == kPanelItemCancel || item < 0) return false;  // a negative item is the host's error
    if (item != kPanelItemOK) continue;  // other controls are read at the end
    const bool acceptable =
        !checkOnOK || table_->CheckDialog == nullptr || table_->CheckDialog(table_->cookie, dialog_) == 0;
    if (acceptable) return true;
  }
  return false;  // a host that never answers OK or Cancel
}

int64_t Panel::value(PanelControl *control) const {
  if (table_ == nullptr || table_->ControlValue == nullptr || control == nullptr) return 0;
  return table_->ControlValue(table_->cookie, control);
}

void Panel::close() {
  if (dialog_ == nullptr) return;
  if (table_->CloseDialog != nullptr) table_->CloseDialog(table_->cookie, dialog_);
  dialog_ = nullptr;
}

}  // namespace tessivo
