// Settings panels as the bundle builds them through a PanelTable: every
// control is recorded in a PanelModel, and a concrete driver decides how the
// panel is answered (script, terminal, capture).
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "marlix/panel.h"

namespace tessivo::host {

enum class ControlKind { StaticText, Popup, CheckBox, NumberField, ColorButton, Button };

std::string_view controlKindName(ControlKind kind);  // "static text", "popup", ...

struct PanelRect {
  std::int32_t x = 0, y = 0, width = 0, height = 0;
  bool operator==(const PanelRect &) const = default;
};

struct PopupEntry {
  std::string label;
  std::int32_t value = 0;
  std::int32_t extra1 = 0, extra2 = 0;
  bool operator==(const PopupEntry &) const = default;
};

struct PanelControlModel {
  ControlKind kind = ControlKind::StaticText;
  // Static text: its text; check box and button: their label; colour button:
  // the picker title.
  std::string text;
  // The static text that names this control (same row, to its left, or else
  // the earliest unclaimed one), without a trailing ':'; check boxes and
  // buttons use their own label. Empty when nothing names it.
  std::string caption;
  PanelRect rect;
  // Current value as ControlValue reports it: popup selected value, check box
  // 0/1, number field value, colour button 0x00RRGGBB.
  std::int64_t value = 0;
  bool hasSelection = false;          // popup: a value was selected
  std::vector<PopupEntry> entries;    // popup
  std::int32_t minimum = 0, maximum = 0, step = 0, digits = 0;  // number field
  std::int32_t item = 0;              // button

  bool isEditable() const;  // popup, check box, number field or colour button
  const PopupEntry *selectedEntry() const;  // popup entry with the current value, or null
  // Human-readable current value: entry label, on/off, number, #RRGGBB.
  std::string valueText() const;
};

// Sets an editable control from user text: popup entry label (case-insensitive)
// or its value; on/off/true/false/yes/no/1/0; a number within the field's range;
// #RRGGBB. Returns an error message, or nullopt when the control was changed.
std::optional<std::string> setControlFromText(PanelControlModel &control, std::string_view text);

// One dialog as the module built it, and what happened to it.
struct PanelModel {
  bool created = false;
  void *owner = nullptr;
  PanelRect rect;  // position (-32768, -32768) is the host's default placement
  std::vector<PanelControlModel> controls;
  bool shown = false;
  bool closed = false;
  std::vector<std::int32_t> hitItems;  // items returned by NextHitItem, in order
  std::size_t checkCalls = 0;          // CheckDialog calls
  std::size_t closeCalls = 0;          // CloseDialog calls, also those on a closed dialog
  std::size_t dialogsCreated = 0;      // over the driver's life

  // Controls matched by caption or text (case-insensitive), or "#N" (1-based
  // position among all controls). Null when nothing matches.
  PanelControlModel *find(std::string_view selector);
  const PanelControlModel *find(std::string_view selector) const;
  std::vector<const PanelControlModel *> editableControls() const;
};

class PanelDriver {
public:
  PanelDriver();
  virtual ~PanelDriver();
  PanelDriver(const PanelDriver &) = delete;
  PanelDriver &operator=(const PanelDriver &) = delete;

  // The table handed to a module's panel builder; every function is noexcept.
  const PanelTable *table() const noexcept { return &table_; }
  const PanelModel &model() const noexcept { return model_; }

  // Makes the Nth control creation (0-based, counting every Add* call that
  // creates a control) fail, as a host out of resources would.
  void failControlCreation(std::size_t index) { failAt_ = index; }
  void failDialogCreation(bool fail = true) { failDialog_ = fail; }

protected:
  // The item the user activates next. May change control values first.
  virtual std::int32_t nextHitItem(PanelModel &model) = 0;
  // Non-zero while the contents are not acceptable; default: always acceptable.
  virtual std::uint32_t checkDialog(const PanelModel &model);
  virtual void dialogShown(const PanelModel &model);

private:
  struct Callbacks;
  friend struct Callbacks;

  PanelTable table_;
  PanelModel model_;
  std::optional<std::size_t> failAt_;
  bool failDialog_ = false;
  std::size_t controlsAttempted_ = 0;
  std::vector<bool> claimed_;  // static texts already naming a control
};

// Answers nothing and cancels at once: used to learn what a panel contains.
class CapturingPanel final : public PanelDriver {
protected:
  std::int32_t nextHitItem(PanelModel &model) override;
};

}  // namespace tessivo::host
