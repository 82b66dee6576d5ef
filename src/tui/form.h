// Forms: the input dialogs of the program. A form belongs to the active window and holds
// its items in the order they are added: labels, input fields with pictures and
// horizontal scrolling, list areas with columns, radio groups (values 1, 2, 4), check
// boxes and buttons with hot letters and keys. Tab and Shift+Tab move between items,
// Enter presses the focused button, Esc leaves; handlers see the last key and can end
// the form. Positions are interior positions of the form's window.
#pragma once

#include <cstdint>

#include "tui/picklist.h"

namespace tavrel {

enum FormItemKind : uint8_t { FORM_LABEL, FORM_FIELD, FORM_LIST, FORM_RADIO, FORM_CHECK, FORM_BUTTON };

constexpr int FORM_MAX_ITEMS = 40;
constexpr int FORM_MAX_COLUMNS = 6;
constexpr int FORM_CELL_MAX = 255;
constexpr int FORM_LABEL_MAX = 60;
constexpr int FORM_RADIO_MAX = 3;

struct Form;
// Called when a button is pressed, Enter is given in a field or a list area, or a radio
// or check item changes; it may call form_end.
using FormHandler = void (*)(Form* form, int item);
// Fills the column texts of a list row (CP866); 1, or 0 past the last row.
using ListRowText = int (*)(int row, char cells[][FORM_CELL_MAX + 1], void* context);

struct FormColumn {
  char heading[FORM_LABEL_MAX + 1];
  int width;  // visible width
};

struct FormItem {
  FormItemKind kind;
  int row, column;
  bool disabled;
  FormHandler handler;
  char label[FORM_LABEL_MAX + 1];   // label, check box, button (with its "~" mark)
  // Input field: the value buffer (capacity = picture length + 1), the picture ("*" any
  // character, "#" a digit, blank or sign; other picture characters take anything), the
  // visible width, the cursor and the first shown position. A picture between "(" and ")"
  // is a hidden field (a password): every character typed shows as one "*".
  char* value;
  const char* picture;
  int visible, cursor, scroll;
  // List area.
  int height, width;
  FormColumn columns[FORM_MAX_COLUMNS];
  int column_count;
  ListRowText row_text;
  void* context;
  PickList list;
  // Radio group: labels one per row, the selected value 1, 2 or 4.
  char radio_labels[FORM_RADIO_MAX][FORM_LABEL_MAX + 1];
  int radio_count;
  int* radio_value;
  int radio_focus;
  // Check box.
  bool* checked;
  // Button: its hot letter (lower-cased) and its key.
  uint8_t hot_letter;
  uint16_t key;
};

struct Form {
  FormItem items[FORM_MAX_ITEMS];
  int count;
  int focus;
  uint16_t last_key;
  bool ended;
  int result;
  bool insert_mode;
  uint8_t field_attr, field_focused_attr;
  uint8_t button_attr, button_focused_attr, hot_attr, focused_hot_attr;
};

// Starts a form on the active window with the given field and button attributes (0 for
// the scheme's).
void form_begin(Form* form, uint8_t field_attr = 0, uint8_t field_focused_attr = 0);
int form_add_label(Form* form, int row, int column, const char* text);
int form_add_field(Form* form, int row, int column, char* value, const char* picture, int visible,
                   FormHandler handler = nullptr);
int form_add_list(Form* form, int row, int column, int height, ListRowText row_text, void* context,
                  FormHandler handler = nullptr);
int form_list_column(Form* form, int item, const char* heading, int width);
int form_add_radio(Form* form, int row, int column, const char* const* labels, int count, int* value,
                   FormHandler handler = nullptr);
int form_add_check(Form* form, int row, int column, const char* label, bool* checked,
                   FormHandler handler = nullptr);
// The hot letter must occur in the label between "~" marks; key also presses the button.
int form_add_button(Form* form, int row, int column, const char* label, uint16_t key,
                    FormHandler handler);
void form_set_disabled(Form* form, int item, bool disabled);

// Runs the form until Esc (0), a button without a handler (its item index + 1) or
// form_end (the result given).
int form_run(Form* form);
void form_end(Form* form, int result);
uint16_t form_last_key(const Form* form);
int form_list_selected(const Form* form, int item);
int form_focus(const Form* form);
// Counts the rows of a list area again (after its data changed), keeping the selection.
void form_list_refresh(Form* form, int item);
void form_draw(Form* form);

}  // namespace tavrel
