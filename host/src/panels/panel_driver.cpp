// PanelDriver: the PanelTable functions, recording every control in the model.
#include <climits>

#include "tessivo/host/panel_driver.h"
#include "settings/value_text.h"

namespace tessivo::host {

namespace {

// A module that ignores every item but OK and Cancel would otherwise wait forever.
constexpr std::size_t kMaxHitItems = 100000;

PanelRect makeRect(std::int32_t x, std::int32_t y, std::int32_t width, std::int32_t height) {
  return PanelRect{x, y, width, height};
}

// A control of a kind at a place, with its label or text when it has one.
PanelControlModel makeControl(ControlKind kind, const char *text, std::int32_t x, std::int32_t y,
                              std::int32_t width, std::int32_t height) {
  PanelControlModel control;
  control.kind = kind;
  if (text != nullptr) control.text = text;
  control.rect = makeRect(x, y, width, height);
  return control;
}

}  // namespace

// Handles are positions: a dialog is its creation count, a control its index + 1.
struct PanelDriver::Callbacks {
  static PanelDriver &from(void *cookie) { return *static_cast<PanelDriver *>(cookie); }

  static PanelDialog *dialogHandle(const PanelDriver &driver) {
    return reinterpret_cast<PanelDialog *>(static_cast<std::uintptr_t>(driver.model_.dialogsCreated));
  }

  static bool isOpen(const PanelDriver &driver, PanelDialog *dialog) {
    return driver.model_.created && !driver.model_.closed && dialog == dialogHandle(driver);
  }

  static PanelControlModel *control(PanelDriver &driver, PanelControl *handle) {
    const auto position = reinterpret_cast<std::uintptr_t>(handle);
    if (position == 0 || position > driver.model_.controls.size()) return nullptr;
    return &driver.model_.controls[position - 1];
  }

  // The static text that names a control: on the same row and to its left,
  // else the earliest one that names nothing yet.
  static std::string captionFor(PanelDriver &driver, const PanelRect &rect) {
    const auto &controls = driver.model_.controls;
    std::size_t best = controls.size();
    std::int64_t bestOverlap = 0;
    for (std::size_t i = 0; i < controls.size(); ++i) {
      if (controls[i].kind != ControlKind::StaticText || driver.claimed_[i]) continue;
      const PanelRect &text = controls[i].rect;
      const std::int64_t top = std::max<std::int64_t>(text.y, rect.y);
      const std::int64_t bottom = std::min<std::int64_t>(std::int64_t{text.y} + text.height,
                                                         std::int64_t{rect.y} + rect.height);
      if (text.x < rect.x && bottom - top > bestOverlap) {
        best = i;
        bestOverlap = bottom - top;
      }
    }
    if (best == controls.size())
      for (std::size_t i = 0; i < controls.size() && best == controls.size(); ++i)
        if (controls[i].kind == ControlKind::StaticText && !driver.claimed_[i]) best = i;
    if (best == controls.size()) return {};
    driver.claimed_[best] = true;
    return captionFromLabel(controls[best].text);
  }

  static PanelControl *add(void *cookie, PanelDialog *dialog, PanelControlModel control) noexcept {
    if (cookie == nullptr) return nullptr;
    try {
      PanelDriver &driver = from(cookie);
      if (!isOpen(driver, dialog)) return nullptr;
      if (driver.failAt_ && *driver.failAt_ == driver.controlsAttempted_++) return nullptr;
      if (control.kind == ControlKind::CheckBox || control.kind == ControlKind::Button)
        control.caption = captionFromLabel(control.text);
      else if (control.kind != ControlKind::StaticText)
        control.caption = captionFor(driver, control.rect);
      driver.model_.controls.push_back(std::move(control));
      driver.claimed_.push_back(false);
      return reinterpret_cast<PanelControl *>(static_cast<std::uintptr_t>(driver.model_.controls.size()));
    } catch (...) {
      return nullptr;
    }
  }

  static PanelDialog *createDialog(void *cookie, void *owner, std::int32_t x, std::int32_t y, std::int32_t width,
                                   std::int32_t height) noexcept {
    if (cookie == nullptr) return nullptr;
    PanelDriver &driver = from(cookie);
    if (driver.failDialog_) return nullptr;
    const std::size_t created = driver.model_.dialogsCreated + 1;
    driver.model_ = PanelModel{};
    driver.claimed_.clear();
    driver.controlsAttempted_ = 0;
    driver.model_.created = true;
    driver.model_.owner = owner;
    driver.model_.rect = makeRect(x, y, width, height);
    driver.model_.dialogsCreated = created;
    return dialogHandle(driver);
  }

  static PanelControl *addStaticText(void *cookie, PanelDialog *dialog, const char *text, std::int32_t x,
                                     std::int32_t y, std::int32_t width, std::int32_t height) noexcept {
    return add(cookie, dialog, makeControl(ControlKind::StaticText, text, x, y, width, height));
  }

  static PanelControl *addPopup(void *cookie, PanelDialog *dialog, std::int32_t x, std::int32_t y,
                                std::int32_t width, std::int32_t height) noexcept {
    return add(cookie, dialog, makeControl(ControlKind::Popup, nullptr, x, y, width, height));
  }

  static std::uint32_t addPopupEntry(void *cookie, PanelControl *popup, const char *label, std::int32_t value,
                                     std::int32_t extra1, std::int32_t extra2) noexcept {
    if (cookie == nullptr) return 0;
    try {
      PanelControlModel *control = Callbacks::control(from(cookie), popup);
      if (control == nullptr || control->kind != ControlKind::Popup) return 0;
      if (control->entries.empty() && !control->hasSelection) control->value = value;  // a menu shows its first entry
      control->entries.push_back(PopupEntry{label != nullptr ? label : "", value, extra1, extra2});
      return 1;
    } catch (...) {
      return 0;
    }
  }

  static std::uint32_t selectPopupValue(void *cookie, PanelControl *popup, std::int32_t value) noexcept {
    if (cookie == nullptr) return 0;
    PanelControlModel *control = Callbacks::control(from(cookie), popup);
    if (control == nullptr || control->kind != ControlKind::Popup) return 0;
    // Kept even when no entry stands for it, so a corrupt setting stays visible.
    control->value = value;
    control->hasSelection = true;
    return control->selectedEntry() != nullptr ? 1 : 0;
  }

  static PanelControl *addCheckBox(void *cookie, PanelDialog *dialog, const char *label, std::int32_t x,
                                   std::int32_t y, std::int32_t width, std::int32_t height,
                                   std::int32_t checked) noexcept {
    PanelControlModel control = makeControl(ControlKind::CheckBox, label, x, y, width, height);
    control.value = checked != 0 ? 1 : 0;
    return add(cookie, dialog, std::move(control));
  }

  static PanelControl *addNumberField(void *cookie, PanelDialog *dialog, std::int32_t x, std::int32_t y,
                                      std::int32_t width, std::int32_t height, std::int32_t value,
                                      std::int32_t minimum, std::int32_t maximum, std::int32_t step,
                                      std::int32_t digits) noexcept {
    PanelControlModel control = makeControl(ControlKind::NumberField, nullptr, x, y, width, height);
    control.value = value;
    control.minimum = minimum;
    control.maximum = maximum;
    control.step = step;
    control.digits = digits;
    return add(cookie, dialog, std::move(control));
  }

  static PanelControl *addColorButton(void *cookie, PanelDialog *dialog, std::int32_t x, std::int32_t y,
                                      std::int32_t width, std::int32_t height, std::uint32_t rgb,
                                      const char *title) noexcept {
    PanelControlModel control = makeControl(ControlKind::ColorButton, title, x, y, width, height);
    control.value = rgb & 0xFFFFFFu;
    return add(cookie, dialog, std::move(control));
  }

  static PanelControl *addButton(void *cookie, PanelDialog *dialog, const char *label, std::int32_t x,
                                 std::int32_t y, std::int32_t width, std::int32_t height,
                                 std::int32_t item) noexcept {
    PanelControlModel control = makeControl(ControlKind::Button, label, x, y, width, height);
    control.item = item;
    return add(cookie, dialog, std::move(control));
  }

  static std::uint32_t showDialog(void *cookie, PanelDialog *dialog) noexcept {
    if (cookie == nullptr) return 0;
    PanelDriver &driver = from(cookie);
    if (!isOpen(driver, dialog)) return 0;
    driver.model_.shown = true;
    try {
      driver.dialogShown(driver.model_);
    } catch (...) {
    }
    return 1;
  }

  static std::int32_t nextHitItem(void *cookie, PanelDialog *dialog) noexcept {
    if (cookie == nullptr) return kPanelItemCancel;
    PanelDriver &driver = from(cookie);
    std::int32_t item = kPanelItemCancel;
    try {
      if (isOpen(driver, dialog) && driver.model_.hitItems.size() < kMaxHitItems)
        item = driver.nextHitItem(driver.model_);
      driver.model_.hitItems.push_back(item);
    } catch (...) {
      item = kPanelItemCancel;
    }
    return item;
  }

  static std::uint32_t checkDialog(void *cookie, PanelDialog *dialog) noexcept {
    if (cookie == nullptr) return 0;
    PanelDriver &driver = from(cookie);
    if (!isOpen(driver, dialog)) return 0;
    ++driver.model_.checkCalls;
    try {
      return driver.checkDialog(driver.model_);
    } catch (...) {
      return 0;
    }
  }

  static std::int64_t controlValue(void *cookie, PanelControl *handle) noexcept {
    if (cookie == nullptr) return 0;
    const PanelControlModel *control = Callbacks::control(from(cookie), handle);
    return control != nullptr ? control->value : 0;
  }

  static std::uint32_t closeDialog(void *cookie, PanelDialog *dialog) noexcept {
    if (cookie == nullptr) return 0;
    PanelDriver &driver = from(cookie);
    ++driver.model_.closeCalls;
    if (!isOpen(driver, dialog)) return 0;
    driver.model_.closed = true;
    return 1;
  }
};

PanelDriver::PanelDriver() {
  table_.cookie = this;
  table_.CreateDialog = &Callbacks::createDialog;
  table_.AddStaticText = &Callbacks::addStaticText;
  table_.AddPopup = &Callbacks::addPopup;
  table_.AddPopupEntry = &Callbacks::addPopupEntry;
  table_.SelectPopupValue = &Callbacks::selectPopupValue;
  table_.AddCheckBox = &Callbacks::addCheckBox;
  table_.AddNumberField = &Callbacks::addNumberField;
  table_.AddColorButton = &Callbacks::addColorButton;
  table_.AddButton = &Callbacks::addButton;
  table_.ShowDialog = &Callbacks::showDialog;
  table_.NextHitItem = &Callbacks::nextHitItem;
  table_.CheckDialog = &Callbacks::checkDialog;
  table_.ControlValue = &Callbacks::controlValue;
  table_.CloseDialog = &Callbacks::closeDialog;
}

PanelDriver::~PanelDriver() = default;

std::uint32_t PanelDriver::checkDialog(const PanelModel &) { return 0; }

void PanelDriver::dialogShown(const PanelModel &) {}

std::int32_t CapturingPanel::nextHitItem(PanelModel &) { return kPanelItemCancel; }

}  // namespace tessivo::host
