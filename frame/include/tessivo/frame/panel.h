// A settings panel built through the host's panel table: controls placed at
// (x, y) with size (width, height), run modally until OK or Cancel.
#pragma once

#include <marlix/panel.h>

#include <cstdint>
#include <initializer_list>

namespace tessivo {

struct PopupEntry {
  const char *label;
  int32_t value;
  int32_t extra1 = 0;
  int32_t extra2 = 0;
};

class Panel {
 public:
  static constexpr int32_t kMaxPanelHits = 1 << 16;

  // Creates the dialog at the host's default position; false when it cannot.
  Panel(const PanelTable *table, void *owner, int32_t width, int32_t height);
  ~Panel();  // closes the dialog if it is still open
  Panel(const Panel &) = delete;
  Panel &operator=(const Panel &) = delete;
  explicit operator bool() const { return dialog_ != nullptr; }

  bool addStaticText(const char *text, int32_t x, int32_t y, int32_t width, int32_t height);
  // Each add returns null when the host cannot create the control.
  PanelControl *addPopup(int32_t x, int32_t y, int32_t width, int32_t height,
                         std::initializer_list<PopupEntry> entries, int32_t selected);
  PanelControl *addCheckBox(const char *label, int32_t x, int32_t y, int32_t width, int32_t height, bool checked);
  PanelControl *addNumberField(int32_t x, int32_t y, int32_t width, int32_t height, int32_t value,
                               int32_t minimum, int32_t maximum, int32_t step, int32_t digits);
  PanelControl *addColorButton(int32_t x, int32_t y, int32_t width, int32_t height, uint32_t rgb,
                               const char *title);
  bool addButton(const char *label, int32_t x, int32_t y, int32_t width, int32_t height, int32_t item);

  // Shows the panel and takes hit items until OK (true) or Cancel (false).
  // With checkOnOK, OK counts only once the host's dialog check answers 0.
  // A negative item (the host's error), or kMaxPanelHits items without OK or
  // Cancel, also gives false. The controls stay readable until close().
  bool run(bool checkOnOK = false);
  int64_t value(PanelControl *control) const;
  void close();

 private:
  const PanelTable *table_;
  PanelDialog *dialog_;
};

}  // namespace tessivo
