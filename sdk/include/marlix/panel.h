/* The host's panel operations: modal settings panels built control by
 * control and run item by item. Positions are (x, y), sizes (width, height). */
#ifndef MARLIX_PANEL_H
#define MARLIX_PANEL_H

#include <stdint.h>

#include "marlix/layout_check.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The host's default placement of a panel. */
enum { kPanelDefaultPosition = -32768 };
/* Item numbers of the two buttons every panel has. */
enum { kPanelItemOK = 1, kPanelItemCancel = 2 };

typedef struct PanelDialog PanelDialog;
typedef struct PanelControl PanelControl;

/* owner is the instance cookie kept in the module's settings block. */
typedef PanelDialog *(*CreateDialogFn)(void *cookie, void *owner, int32_t x, int32_t y, int32_t width,
                                       int32_t height);
typedef PanelControl *(*AddStaticTextFn)(void *cookie, PanelDialog *dialog, const char *text, int32_t x,
                                         int32_t y, int32_t width, int32_t height);
typedef PanelControl *(*AddPopupFn)(void *cookie, PanelDialog *dialog, int32_t x, int32_t y, int32_t width,
                                    int32_t height);
/* Adds an entry standing for value; extra1 and extra2 are the host's item flags. */
typedef uint32_t (*AddPopupEntryFn)(void *cookie, PanelControl *popup, const char *label, int32_t value,
                                    int32_t extra1, int32_t extra2);
typedef uint32_t (*SelectPopupValueFn)(void *cookie, PanelControl *popup, int32_t value);
typedef PanelControl *(*AddCheckBoxFn)(void *cookie, PanelDialog *dialog, const char *label, int32_t x,
                                       int32_t y, int32_t width, int32_t height, int32_t checked);
/* A number field holding value within [minimum, maximum]; step and digits are display hints. */
typedef PanelControl *(*AddNumberFieldFn)(void *cookie, PanelDialog *dialog, int32_t x, int32_t y,
                                          int32_t width, int32_t height, int32_t value, int32_t minimum,
                                          int32_t maximum, int32_t step, int32_t digits);
/* A colour button showing rgb (0x00RRGGBB); title heads the colour picker. */
typedef PanelControl *(*AddColorButtonFn)(void *cookie, PanelDialog *dialog, int32_t x, int32_t y,
                                          int32_t width, int32_t height, uint32_t rgb, const char *title);
typedef PanelControl *(*AddButtonFn)(void *cookie, PanelDialog *dialog, const char *label, int32_t x,
                                     int32_t y, int32_t width, int32_t height, int32_t item);
typedef uint32_t (*ShowDialogFn)(void *cookie, PanelDialog *dialog);
/* Blocks until the user activates an item; returns its number. */
typedef int32_t (*NextHitItemFn)(void *cookie, PanelDialog *dialog);
/* Non-zero while the panel's contents are not acceptable yet. */
typedef uint32_t (*CheckDialogFn)(void *cookie, PanelDialog *dialog);
/* Popup: selected value; check box: 0 or 1; number field: its value; colour button: 0x00RRGGBB. */
typedef int64_t (*ControlValueFn)(void *cookie, PanelControl *control);
typedef uint32_t (*CloseDialogFn)(void *cookie, PanelDialog *dialog);

typedef struct PanelTable {
  void *cookie;                        /* slot 0 */
  CreateDialogFn CreateDialog;         /* slot 1 */
  AddStaticTextFn AddStaticText;       /* slot 2 */
  AddPopupFn AddPopup;                 /* slot 3 */
  AddPopupEntryFn AddPopupEntry;       /* slot 4 */
  SelectPopupValueFn SelectPopupValue; /* slot 5 */
  AddCheckBoxFn AddCheckBox;           /* slot 6 */
  AddNumberFieldFn AddNumberField;     /* slot 7 */
  AddColorButtonFn AddColorButton;     /* slot 8 */
  AddButtonFn AddButton;               /* slot 9 */
  ShowDialogFn ShowDialog;             /* slot 10 */
  NextHitItemFn NextHitItem;           /* slot 11 */
  CheckDialogFn CheckDialog;           /* slot 12 */
  ControlValueFn ControlValue;         /* slot 13 */
  CloseDialogFn CloseDialog;           /* slot 14 */
} PanelTable;
MARLIX_CHECK_OFFSET(PanelTable, CreateDialog, 1 * 8);
MARLIX_CHECK_OFFSET(PanelTable, CloseDialog, 14 * 8);

#ifdef __cplusplus
}
#endif

#endif
