// Forms. Layout of this file: adding items, drawing each kind, the keys of each kind
// (field editing with horizontal scrolling, list moves, radio and check changes, button
// presses), focus movement, mouse hits, and the run loop.
#include "tui/form.h"

#include <cstdio>
#include <cstring>

#include "tui/colours.h"
#include "tui/keyboard.h"
#include "tui/menu.h"
#include "tui/msgbox.h"
#include "tui/screen.h"

namespace tavrel {

namespace {

constexpr uint8_t RADIO_MARK = 0x07;  // the dot glyph of a screen cell
constexpr uint8_t COLUMN_RULE = 0xB3;

void copy_label(char* dst, const char* src) {
  std::snprintf(dst, FORM_LABEL_MAX + 1, "%s", src != nullptr ? src : "");
}

int add(Form* form, FormItemKind kind, int row, int column) {
  if (form->count == FORM_MAX_ITEMS) return -1;
  int index = form->count++;
  FormItem& item = form->items[index];
  item = FormItem{};
  item.kind = kind;
  item.row = row;
  item.column = column;
  return index;
}

bool focusable(const FormItem& item) { return item.kind != FORM_LABEL && !item.disabled; }

int shown_length(const char* text) {
  int n = 0;
  for (const char* p = text; *p != '\0'; p++)
    if (*p != '~') n++;
  return n;
}

// A list row as one text: the columns cut or padded to their widths, with rules between.
int list_row_text(int index, char* out, int capacity, void* context) {
  const FormItem* item = static_cast<const FormItem*>(context);
  static char cells[FORM_MAX_COLUMNS][FORM_CELL_MAX + 1];
  for (auto& cell : cells) cell[0] = '\0';
  if (item->row_text(index, cells, item->context) != 1) return 0;
  int n = 0;
  for (int c = 0; c < item->column_count; c++) {
    if (c > 0 && n < capacity - 1) out[n++] = static_cast<char>(COLUMN_RULE);
    int length = static_cast<int>(std::strlen(cells[c]));
    for (int i = 0; i < item->columns[c].width && n < capacity - 1; i++) out[n++] = i < length ? cells[c][i] : ' ';
  }
  out[n] = '\0';
  return 1;
}

// --- Drawing --------------------------------------------------------------------------

// A picture in parentheses hides what is typed: each character shows as "*".
bool masked_picture(const char* picture) {
  size_t n = std::strlen(picture);
  return n >= 2 && picture[0] == '(' && picture[n - 1] == ')';
}

void draw_field(const Form* form, const FormItem& item, bool focused) {
  uint8_t attr = focused ? form->field_focused_attr : form->field_attr;
  if (item.disabled) attr = colour(ROLE_MENU_DISABLED);
  int length = static_cast<int>(std::strlen(item.value));
  const bool masked = masked_picture(item.picture);
  for (int i = 0; i < item.visible; i++) {
    int at = item.scroll + i;
    uint8_t ch = at < length ? (masked ? '*' : static_cast<uint8_t>(item.value[at])) : ' ';
    window_put_cell(item.row, item.column + i, ch, attr);
  }
}

void draw_list(const FormItem& item, bool focused) {
  int column = item.column;
  for (int c = 0; c < item.column_count; c++) {
    char heading[FORM_CELL_MAX + 1];
    std::snprintf(heading, sizeof heading, "%-*.*s", item.columns[c].width, item.columns[c].width,
                  item.columns[c].heading);
    window_put_text(item.row, column, heading, colour(ROLE_LIST_HEADING));
    column += item.columns[c].width;
    if (c + 1 < item.column_count) window_put_cell(item.row, column++, COLUMN_RULE, colour(ROLE_LIST_HEADING));
  }
  picklist_draw(&item.list, item.row + 1, item.column, item.height, item.width, focused);
}

void draw_radio(const Form* form, const FormItem& item, bool focused) {
  uint8_t attr = item.disabled ? colour(ROLE_MENU_DISABLED) : colour(ROLE_DIALOG);
  for (int i = 0; i < item.radio_count; i++) {
    bool on = *item.radio_value == (1 << i);
    bool here = focused && i == item.radio_focus;
    uint8_t a = here ? form->field_focused_attr : attr;
    window_put_cell(item.row + i, item.column, '(', a);
    window_put_cell(item.row + i, item.column + 1, on ? RADIO_MARK : ' ', a);
    window_put_cell(item.row + i, item.column + 2, ')', a);
    window_put_text(item.row + i, item.column + 4, item.radio_labels[i], attr);
  }
}

void draw_check(const Form* form, const FormItem& item, bool focused) {
  uint8_t attr = item.disabled ? colour(ROLE_MENU_DISABLED) : colour(ROLE_DIALOG);
  uint8_t a = focused ? form->field_focused_attr : attr;
  window_put_cell(item.row, item.column, '[', a);
  window_put_cell(item.row, item.column + 1, *item.checked ? 'X' : ' ', a);
  window_put_cell(item.row, item.column + 2, ']', a);
  window_put_text(item.row, item.column + 4, item.label, attr);
}

int button_width(const FormItem& item) { return shown_length(item.label); }

void draw_one(Form* form, int index) {
  FormItem& item = form->items[index];
  bool focused = index == form->focus;
  switch (item.kind) {
    case FORM_LABEL: window_put_text(item.row, item.column, item.label, colour(ROLE_DIALOG)); break;
    case FORM_FIELD: draw_field(form, item, focused); break;
    case FORM_LIST: draw_list(item, focused); break;
    case FORM_RADIO: draw_radio(form, item, focused); break;
    case FORM_CHECK: draw_check(form, item, focused); break;
    case FORM_BUTTON:
      draw_button(item.label, item.row, item.column, button_width(item),
                  focused ? form->button_focused_attr : form->button_attr,
                  focused ? form->focused_hot_attr : form->hot_attr);
      break;
  }
}

void place_cursor(Form* form) {
  FormItem& item = form->items[form->focus];
  if (item.kind == FORM_FIELD) {
    window_set_cursor(item.row, item.column + item.cursor - item.scroll);
    cursor_show();
  } else {
    cursor_hide();
  }
}

// --- Keys of each kind ----------------------------------------------------------------

bool fits_picture(const FormItem& item, int at, uint8_t ch) {
  if (item.picture[at] != '#') return true;
  return (ch >= '0' && ch <= '9') || ch == ' ' || ch == '-' || ch == '+';
}

void keep_cursor_visible(FormItem& item) {
  if (item.cursor < item.scroll) item.scroll = item.cursor;
  if (item.cursor >= item.scroll + item.visible) item.scroll = item.cursor - item.visible + 1;
}

// Edits a field; true when the key was the field's.
bool field_key(Form* form, FormItem& item, uint16_t key) {
  int capacity = static_cast<int>(std::strlen(item.picture));
  int length = static_cast<int>(std::strlen(item.value));
  uint8_t ch = static_cast<uint8_t>(key & 0xFF);
  switch (key) {
    case KEY_LEFT: if (item.cursor > 0) item.cursor--; break;
    case KEY_RIGHT: if (item.cursor < length && item.cursor < capacity - 1) item.cursor++; break;
    case KEY_HOME: item.cursor = 0; break;
    case KEY_END: item.cursor = length < capacity ? length : capacity - 1; break;
    case KEY_INS: form->insert_mode = !form->insert_mode; break;
    case KEY_BACKSPACE:
      if (item.cursor == 0) break;
      item.cursor--;
      [[fallthrough]];
    case KEY_DEL:
      if (item.cursor < length) std::memmove(item.value + item.cursor, item.value + item.cursor + 1, length - item.cursor);
      break;
    default:
      if (ch < ' ' || ((key >> 8) != 0 && ch == 0) || item.cursor >= capacity) return false;
      if (!fits_picture(item, item.cursor, ch)) return true;
      if (form->insert_mode || item.cursor >= length) {
        if (length >= capacity) return true;
        std::memmove(item.value + item.cursor + 1, item.value + item.cursor, length - item.cursor + 1);
      }
      item.value[item.cursor] = static_cast<char>(ch);
      if (item.cursor < capacity - 1 || length < capacity) item.cursor++;
      if (item.cursor > capacity - 1) item.cursor = capacity - 1;
      break;
  }
  keep_cursor_visible(item);
  return true;
}

void call(Form* form, int index) {
  if (form->items[index].handler != nullptr) form->items[index].handler(form, index);
}

void press(Form* form, int index) {
  FormItem& item = form->items[index];
  press_button(item.label, item.row, item.column, button_width(item), form->button_attr, form->hot_attr,
               form->button_focused_attr, form->focused_hot_attr);
  if (item.handler != nullptr) item.handler(form, index);
  else form_end(form, index + 1);
}

void move_focus(Form* form, bool forward) {
  for (int n = 1; n <= form->count; n++) {
    int i = forward ? (form->focus + n) % form->count : (form->focus - n + form->count) % form->count;
    if (focusable(form->items[i])) {
      form->focus = i;
      return;
    }
  }
}

// The button whose hot letter or key this is; -1 when none.
int button_for(const Form* form, uint16_t key, bool letters) {
  uint8_t letter = hot_letter_lower(static_cast<uint8_t>(key & 0xFF));
  for (int i = 0; i < form->count; i++) {
    const FormItem& item = form->items[i];
    if (item.kind != FORM_BUTTON || item.disabled) continue;
    if (item.key != 0 && item.key == key) return i;
    if (letters && letter != 0 && item.hot_letter == letter) return i;
  }
  return -1;
}

void mouse_hit(Form* form) {
  MouseState m = mouse_state();
  Window* w = window_active();
  if ((m.buttons & MOUSE_LEFT) == 0 || w == nullptr) return;
  int row = m.row - w->top - w->border, column = m.column - w->left - w->border;
  for (int i = 0; i < form->count; i++) {
    FormItem& item = form->items[i];
    if (!focusable(item)) continue;
    switch (item.kind) {
      case FORM_FIELD:
        if (row == item.row && column >= item.column && column < item.column + item.visible) {
          form->focus = i;
          int length = static_cast<int>(std::strlen(item.value));
          item.cursor = item.scroll + column - item.column;
          if (item.cursor > length) item.cursor = length;
          return;
        }
        break;
      case FORM_LIST:
        if (row > item.row && row <= item.row + item.height && column >= item.column && column < item.column + item.width) {
          form->focus = i;
          int index = item.list.top + row - item.row - 1;
          if (index < item.list.count) {
            item.list.selected = index;
            if (m.flags & MOUSE_DOUBLE_CLICK_FLAG) {
              form->last_key = KEY_ENTER;
              call(form, i);
            }
          }
          return;
        }
        break;
      case FORM_RADIO:
        if (row >= item.row && row < item.row + item.radio_count && column >= item.column) {
          form->focus = i;
          item.radio_focus = row - item.row;
          *item.radio_value = 1 << item.radio_focus;
          call(form, i);
          return;
        }
        break;
      case FORM_CHECK:
        if (row == item.row && column >= item.column && column < item.column + 4 + static_cast<int>(std::strlen(item.label))) {
          form->focus = i;
          *item.checked = !*item.checked;
          call(form, i);
          return;
        }
        break;
      case FORM_BUTTON:
        if (row == item.row && column >= item.column && column < item.column + button_width(item)) {
          form->focus = i;
          press(form, i);
          return;
        }
        break;
      case FORM_LABEL: break;
    }
  }
}

void handle_key(Form* form, uint16_t key) {
  FormItem& item = form->items[form->focus];
  if (key == KEY_MOUSE) {
    mouse_hit(form);
    return;
  }
  if (key == KEY_ESC) {
    form_end(form, 0);
    return;
  }
  if (key == KEY_TAB || key == KEY_SHIFT_TAB) {
    move_focus(form, key == KEY_TAB);
    return;
  }
  if (int b = button_for(form, key, false); b >= 0) {  // a button's own key, from anywhere
    form->focus = b;
    press(form, b);
    return;
  }
  switch (item.kind) {
    case FORM_FIELD:
      if (key == KEY_ENTER) {
        if (item.handler != nullptr) call(form, form->focus);
        else move_focus(form, true);
        return;
      }
      if (key == KEY_UP || key == KEY_DOWN) {
        move_focus(form, key == KEY_DOWN);
        return;
      }
      if (field_key(form, item, key)) return;
      break;
    case FORM_LIST: {
      int verdict = picklist_key(&item.list, key, item.height);
      if (verdict == 1) call(form, form->focus);
      if (verdict != 0 || key == KEY_UP || key == KEY_DOWN || key == KEY_PGUP || key == KEY_PGDN ||
          key == KEY_HOME || key == KEY_END)
        return;
      break;
    }
    case FORM_RADIO:
      if (key == KEY_UP && item.radio_focus > 0) item.radio_focus--;
      else if (key == KEY_DOWN && item.radio_focus < item.radio_count - 1) item.radio_focus++;
      else if (key != ' ' && key != KEY_UP && key != KEY_DOWN) break;
      *item.radio_value = 1 << item.radio_focus;
      call(form, form->focus);
      return;
    case FORM_CHECK:
      if (key == ' ') {
        *item.checked = !*item.checked;
        call(form, form->focus);
        return;
      }
      break;
    case FORM_BUTTON:
      if (key == KEY_ENTER || key == ' ') {
        press(form, form->focus);
        return;
      }
      if (key == KEY_LEFT || key == KEY_RIGHT || key == KEY_UP || key == KEY_DOWN) {
        move_focus(form, key == KEY_RIGHT || key == KEY_DOWN);
        return;
      }
      break;
    case FORM_LABEL: break;
  }
  // Hot letters press buttons; in a field only with Alt (the letter itself is text).
  if (item.kind == FORM_FIELD && (key & 0xFF) != 0) return;
  uint8_t ch = static_cast<uint8_t>(key & 0xFF);
  int b = -1;
  if (ch != 0) {
    b = button_for(form, key, true);
  } else {
    // Alt+letter arrives as the scan code alone: compare with the Latin letter of the key.
    static const char SCAN_LETTERS[] = "qwertyuiop....asdfghjkl.....zxcvbnm";
    int scan = key >> 8;
    if (scan >= 0x10 && scan < 0x10 + static_cast<int>(sizeof SCAN_LETTERS) - 1 && SCAN_LETTERS[scan - 0x10] != '.')
      b = button_for(form, static_cast<uint16_t>(SCAN_LETTERS[scan - 0x10]), true);
  }
  if (b >= 0) {
    form->focus = b;
    press(form, b);
  }
}

}  // namespace

void form_begin(Form* form, uint8_t field_attr, uint8_t field_focused_attr) {
  *form = Form{};
  form->field_attr = field_attr != 0 ? field_attr : colour(ROLE_FIELD);
  form->field_focused_attr = field_focused_attr != 0 ? field_focused_attr : colour(ROLE_FIELD_FOCUSED);
  form->button_attr = colour(ROLE_BUTTON);
  form->button_focused_attr = colour(ROLE_BUTTON_FOCUSED);
  form->hot_attr = colour(ROLE_BUTTON_HOT);
  form->focused_hot_attr = colour(ROLE_BUTTON_HOT);
  form->insert_mode = true;
  form->focus = -1;
  Window* w = window_active();
  if (w != nullptr) w->items = form;
}

int form_add_label(Form* form, int row, int column, const char* text) {
  int i = add(form, FORM_LABEL, row, column);
  if (i >= 0) copy_label(form->items[i].label, text);
  return i;
}

int form_add_field(Form* form, int row, int column, char* value, const char* picture, int visible,
                   FormHandler handler) {
  int i = add(form, FORM_FIELD, row, column);
  if (i < 0) return i;
  FormItem& item = form->items[i];
  item.value = value;
  item.picture = picture;
  item.visible = visible;
  item.handler = handler;
  return i;
}

int form_add_list(Form* form, int row, int column, int height, ListRowText row_text, void* context,
                  FormHandler handler) {
  int i = add(form, FORM_LIST, row, column);
  if (i < 0) return i;
  FormItem& item = form->items[i];
  item.height = height;
  item.row_text = row_text;
  item.context = context;
  item.handler = handler;
  picklist_init(&item.list, list_row_text, &item);
  return i;
}

int form_list_column(Form* form, int index, const char* heading, int width) {
  FormItem& item = form->items[index];
  if (item.kind != FORM_LIST || item.column_count == FORM_MAX_COLUMNS) return 1;
  FormColumn& column = item.columns[item.column_count++];
  copy_label(column.heading, heading);
  column.width = width;
  item.width += width + (item.column_count > 1 ? 1 : 0);
  picklist_init(&item.list, list_row_text, &item);  // rows are counted with all columns
  return 0;
}

int form_add_radio(Form* form, int row, int column, const char* const* labels, int count, int* value,
                   FormHandler handler) {
  int i = add(form, FORM_RADIO, row, column);
  if (i < 0) return i;
  FormItem& item = form->items[i];
  item.radio_count = count < FORM_RADIO_MAX ? count : FORM_RADIO_MAX;
  for (int k = 0; k < item.radio_count; k++) copy_label(item.radio_labels[k], labels[k]);
  item.radio_value = value;
  item.handler = handler;
  for (int k = 0; k < item.radio_count; k++)
    if (*value == (1 << k)) item.radio_focus = k;
  return i;
}

int form_add_check(Form* form, int row, int column, const char* label, bool* checked, FormHandler handler) {
  int i = add(form, FORM_CHECK, row, column);
  if (i < 0) return i;
  copy_label(form->items[i].label, label);
  form->items[i].checked = checked;
  form->items[i].handler = handler;
  return i;
}

int form_add_button(Form* form, int row, int column, const char* label, uint16_t key, FormHandler handler) {
  int i = add(form, FORM_BUTTON, row, column);
  if (i < 0) return i;
  FormItem& item = form->items[i];
  copy_label(item.label, label);
  item.key = key;
  item.handler = handler;
  const char* tilde = std::strchr(label, '~');
  item.hot_letter = tilde != nullptr && tilde[1] != '\0' ? hot_letter_lower(static_cast<uint8_t>(tilde[1])) : 0;
  return i;
}

void form_set_disabled(Form* form, int item, bool disabled) {
  if (item >= 0 && item < form->count) form->items[item].disabled = disabled;
}

void form_draw(Form* form) {
  begin_update();
  for (int i = 0; i < form->count; i++) draw_one(form, i);
  end_update();
}

int form_run(Form* form) {
  form->ended = false;
  form->result = 0;
  if (form->focus < 0 || form->focus >= form->count || !focusable(form->items[form->focus])) {
    form->focus = 0;
    if (form->count > 0 && !focusable(form->items[0])) move_focus(form, true);
  }
  if (form->count == 0 || !focusable(form->items[form->focus])) return 0;
  while (!form->ended) {
    FormItem& item = form->items[form->focus];
    if (item.kind == FORM_LIST) {
      if (item.list.selected >= item.list.count) item.list.selected = item.list.count - 1;
      if (item.list.selected < 0) item.list.selected = 0;
    }
    form_draw(form);
    place_cursor(form);
    force_flush();
    uint16_t key = get_key();
    form->last_key = key;
    if (key != 0) handle_key(form, key);
  }
  cursor_show();
  return form->result;
}

void form_end(Form* form, int result) {
  form->ended = true;
  form->result = result;
}

uint16_t form_last_key(const Form* form) { return form->last_key; }

int form_list_selected(const Form* form, int item) {
  if (item < 0 || item >= form->count || form->items[item].kind != FORM_LIST) return -1;
  return form->items[item].list.selected;
}

int form_focus(const Form* form) { return form->focus; }

void form_list_refresh(Form* form, int item) {
  if (item < 0 || item >= form->count || form->items[item].kind != FORM_LIST) return;
  PickList& list = form->items[item].list;
  int selected = list.selected, top = list.top;
  picklist_init(&list, list_row_text, &form->items[item]);
  list.selected = selected < list.count ? selected : list.count - 1;
  if (list.selected < 0) list.selected = 0;
  list.top = top <= list.selected ? top : list.selected;
}

}  // namespace tavrel
