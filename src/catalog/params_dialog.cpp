// The dialog "Входные параметры": a list of the input parameters with the columns "Имя" and
// "Значение" (the value editable in place, scrolling sideways), and the buttons " Ввод ",
// " Отмена " and, once a dialog has run before, "Предыдущий ввод", which copies that
// dialog's values by position and stays. Up and Down move between parameters, Enter
// accepts, Tab moves to the buttons, Esc cancels.
#include <cstring>
#include <string>

#include "catalog/run_params.h"
#include "tui/colours.h"
#include "tui/hints.h"
#include "tui/keyboard.h"
#include "tui/menu.h"
#include "tui/messages.h"
#include "tui/msgbox.h"
#include "tui/screen.h"

namespace tavrel {

namespace {

// Window and interior layout.
constexpr int DIALOG_TOP = 4, DIALOG_LEFT = 16, DIALOG_BOTTOM = 19, DIALOG_RIGHT = 63;
constexpr int HEADING_ROW = 0;
constexpr int FIRST_ROW = 1;
constexpr int NAME_COLUMN = 1;
constexpr int VALUE_COLUMN = NAME_COLUMN + PARAM_NAME_SHOWN + 1;
constexpr int BUTTON_ROW = FIRST_ROW + PARAM_ROWS_SHOWN + 1;
constexpr int BUTTON_GAP = 3;
constexpr uint8_t COLUMN_RULE = 0xB3;
constexpr uint8_t SHADOW_ATTR = 0x07;

enum Button : int { BUTTON_ENTER, BUTTON_CANCEL, BUTTON_PREVIOUS, BUTTON_COUNT };

// The buttons' keys: the Alt combinations of the Latin keys that carry the hot letters
// В, О and П on the Russian layout.
constexpr uint16_t BUTTON_KEYS[BUTTON_COUNT] = {0x2000, 0x2400, 0x2200};
constexpr int BUTTON_TEXTS[BUTTON_COUNT] = {MSG_ENTER, MSG_CANCEL, MSG_PREVIOUS_INPUT};

struct Dialog {
  std::vector<RunParameter>* params;
  int row = 0, top = 0;        // the focused parameter and the first one shown
  int cursor = 0, scroll = 0;  // in the focused value
  int focus = -1;              // -1 the list, else a button
  bool insert = true;
  int buttons = 2;
  std::string labels[BUTTON_COUNT];  // with the hot letter marked
  int columns[BUTTON_COUNT] = {};
  int widths[BUTTON_COUNT] = {};
  int result = -1;             // set when the dialog ends
};

// The label with "~" before its first letter.
std::string hot_label(const char* text) {
  std::string s = text;
  size_t first = s.find_first_not_of(' ');
  if (first != std::string::npos) s.insert(first, "~");
  return s;
}

void lay_out_buttons(Dialog& g) {
  int column = NAME_COLUMN + 1;
  for (int i = 0; i < g.buttons; ++i) {
    g.labels[i] = hot_label(message_text(BUTTON_TEXTS[i]));
    g.widths[i] = static_cast<int>(std::strlen(message_text(BUTTON_TEXTS[i])));
    g.columns[i] = column;
    column += g.widths[i] + BUTTON_GAP;
  }
}

std::string& value_of(Dialog& g) { return (*g.params)[static_cast<size_t>(g.row)].value; }

void keep_cursor_shown(Dialog& g) {
  if (g.cursor < g.scroll) g.scroll = g.cursor;
  if (g.cursor >= g.scroll + PARAM_VALUE_SHOWN) g.scroll = g.cursor - PARAM_VALUE_SHOWN + 1;
}

void draw(Dialog& g) {
  begin_update();
  const uint8_t heading = colour(ROLE_LIST_HEADING);
  window_fill(HEADING_ROW, 0, HEADING_ROW, window_width() - 1, ' ', heading);
  window_put_text(HEADING_ROW, NAME_COLUMN, message_text(MSG_NAME), heading);
  window_put_cell(HEADING_ROW, VALUE_COLUMN - 1, COLUMN_RULE, heading);
  window_put_text(HEADING_ROW, VALUE_COLUMN, message_text(MSG_VALUE), heading);
  const int count = static_cast<int>(g.params->size());
  for (int r = 0; r < PARAM_ROWS_SHOWN; ++r) {
    const int index = g.top + r;
    const int row = FIRST_ROW + r;
    const bool focused = index == g.row;
    const uint8_t name_attr = focused ? colour(ROLE_LIST_SELECTED) : colour(ROLE_DIALOG);
    window_fill(row, 0, row, window_width() - 1, ' ', colour(ROLE_DIALOG));
    if (index >= count) continue;
    const RunParameter& p = (*g.params)[static_cast<size_t>(index)];
    std::string name = p.name.substr(0, PARAM_NAME_SHOWN);
    name.resize(PARAM_NAME_SHOWN, ' ');
    window_put_text(row, NAME_COLUMN, name.c_str(), name_attr);
    window_put_cell(row, VALUE_COLUMN - 1, COLUMN_RULE, colour(ROLE_DIALOG));
    const int from = focused ? g.scroll : 0;
    std::string shown = from < static_cast<int>(p.value.size()) ? p.value.substr(static_cast<size_t>(from)) : "";
    shown.resize(PARAM_VALUE_SHOWN, ' ');
    const uint8_t field = focused && g.focus < 0 ? colour(ROLE_FIELD_FOCUSED) : colour(ROLE_FIELD);
    window_put_text(row, VALUE_COLUMN, shown.c_str(), field);
  }
  for (int i = 0; i < g.buttons; ++i) {
    const bool focused = i == g.focus;
    draw_button(g.labels[i].c_str(), BUTTON_ROW, g.columns[i], g.widths[i],
                focused ? colour(ROLE_BUTTON_FOCUSED) : colour(ROLE_BUTTON), colour(ROLE_BUTTON_HOT));
  }
  if (g.focus < 0 && count > 0) {
    window_set_cursor(FIRST_ROW + g.row - g.top, VALUE_COLUMN + g.cursor - g.scroll);
    cursor_show();
  } else {
    cursor_hide();
  }
  end_update();
}

void go_to_row(Dialog& g, int row) {
  const int count = static_cast<int>(g.params->size());
  if (row >= count) row = count - 1;
  if (row < 0) row = 0;
  g.row = row;
  if (g.row < g.top) g.top = g.row;
  if (g.row >= g.top + PARAM_ROWS_SHOWN) g.top = g.row - PARAM_ROWS_SHOWN + 1;
  g.cursor = g.scroll = 0;
}

void press(Dialog& g, int button) {
  press_button(g.labels[button].c_str(), BUTTON_ROW, g.columns[button], g.widths[button], colour(ROLE_BUTTON),
               colour(ROLE_BUTTON_HOT), colour(ROLE_BUTTON_FOCUSED), colour(ROLE_BUTTON_HOT));
  switch (button) {
    case BUTTON_ENTER: g.result = 1; break;
    case BUTTON_CANCEL: g.result = 0; break;
    default:
      previous_input_fill(g.params);
      g.cursor = g.scroll = 0;
      break;
  }
}

// Edits the focused value; true when the key was an edit or a move inside it.
bool edit_key(Dialog& g, uint16_t key) {
  std::string& value = value_of(g);
  const int length = static_cast<int>(value.size());
  const uint8_t ch = static_cast<uint8_t>(key & 0xFF);
  switch (key) {
    case KEY_LEFT: if (g.cursor > 0) --g.cursor; break;
    case KEY_RIGHT: if (g.cursor < length) ++g.cursor; break;
    case KEY_HOME: g.cursor = 0; break;
    case KEY_END: g.cursor = length; break;
    case KEY_INS: g.insert = !g.insert; break;
    case KEY_BACKSPACE:
      if (g.cursor == 0) break;
      value.erase(static_cast<size_t>(--g.cursor), 1);
      break;
    case KEY_DEL:
      if (g.cursor < length) value.erase(static_cast<size_t>(g.cursor), 1);
      break;
    default:
      // A character key: its byte, without a scan code of a function or cursor key.
      if (ch < ' ' || ((key >> 8) != 0 && ch == 0)) return false;
      if (g.insert || g.cursor >= length) {
        if (value.size() >= PARAM_VALUE_MAX) return true;
        value.insert(static_cast<size_t>(g.cursor), 1, static_cast<char>(ch));
      } else {
        value[static_cast<size_t>(g.cursor)] = static_cast<char>(ch);
      }
      ++g.cursor;
      break;
  }
  keep_cursor_shown(g);
  return true;
}

int button_of_key(const Dialog& g, uint16_t key) {
  for (int i = 0; i < g.buttons; ++i)
    if (BUTTON_KEYS[i] == key) return i;
  // On the buttons their letters press them as they are.
  if (g.focus >= 0) {
    const uint8_t letter = hot_letter_lower(static_cast<uint8_t>(key & 0xFF));
    for (int i = 0; i < g.buttons; ++i) {
      const size_t mark = g.labels[i].find('~');
      if (letter != 0 && mark != std::string::npos &&
          hot_letter_lower(static_cast<uint8_t>(g.labels[i][mark + 1])) == letter)
        return i;
    }
  }
  return -1;
}

void mouse(Dialog& g) {
  const MouseState m = mouse_state();
  const Window* w = window_active();
  if ((m.buttons & MOUSE_LEFT) == 0 || (m.flags & MOUSE_MOVED_FLAG) != 0 || w == nullptr) return;
  const int row = m.row - w->top - w->border, column = m.column - w->left - w->border;
  if (row == BUTTON_ROW) {
    for (int i = 0; i < g.buttons; ++i)
      if (column >= g.columns[i] && column < g.columns[i] + g.widths[i]) press(g, i);
    return;
  }
  const int index = g.top + row - FIRST_ROW;
  if (row >= FIRST_ROW && row < FIRST_ROW + PARAM_ROWS_SHOWN && index < static_cast<int>(g.params->size())) {
    g.focus = -1;
    go_to_row(g, index);
  }
}

void key(Dialog& g, uint16_t k) {
  if (k == KEY_MOUSE) return mouse(g);
  if (k == KEY_ESC) {
    g.result = 0;
    return;
  }
  // A button's key presses it and leaves the focus where it is.
  if (const int b = button_of_key(g, k); b >= 0) return press(g, b);
  if (k == KEY_TAB || k == KEY_SHIFT_TAB) {
    const int stops = g.buttons + 1;  // the list, then each button
    const int at = g.focus + 1;
    g.focus = (at + (k == KEY_TAB ? 1 : stops - 1)) % stops - 1;
    return;
  }
  if (g.focus >= 0) {
    if (k == KEY_ENTER || k == ' ') press(g, g.focus);
    else if (k == KEY_LEFT || k == KEY_UP) g.focus = (g.focus + g.buttons - 1) % g.buttons;
    else if (k == KEY_RIGHT || k == KEY_DOWN) g.focus = (g.focus + 1) % g.buttons;
    return;
  }
  switch (k) {
    // Enter in the list accepts at once; the button's pressed look is for the button itself.
    case KEY_ENTER: g.result = 1; return;
    case KEY_UP: go_to_row(g, g.row - 1); return;
    case KEY_DOWN: go_to_row(g, g.row + 1); return;
    case KEY_PGUP: go_to_row(g, g.row - PARAM_ROWS_SHOWN); return;
    case KEY_PGDN: go_to_row(g, g.row + PARAM_ROWS_SHOWN); return;
    default: edit_key(g, k); return;
  }
}

}  // namespace

int input_parameters_dialog(std::vector<RunParameter>* params) {
  Dialog g;
  g.params = params;
  g.buttons = has_previous_input() ? 3 : 2;
  lay_out_buttons(g);
  const uint32_t category = help_category_current();
  if (window_open(DIALOG_TOP, DIALOG_LEFT, DIALOG_BOTTOM, DIALOG_RIGHT, FRAME_DOUBLE, colour(ROLE_DIALOG_FRAME),
                  colour(ROLE_DIALOG)) == 0) {
    previous_input_keep(*params);
    return 0;
  }
  window_mark_dialog();
  const std::string title = std::string(" ") + message_text(MSG_INPUT_PARAMETERS) + " ";
  window_set_title(title.c_str(), 2, colour(ROLE_DIALOG_FRAME));
  window_add_shadow(SHADOW_ATTR);
  window_set_help(HELP_RUN_PARAMS);
  while (g.result < 0) {
    draw(g);
    force_flush();
    const uint16_t k = get_key();
    if (k != KEY_NONE) key(g, k);
  }
  window_close();
  cursor_show();
  help_category_set_current(category);
  previous_input_keep(*params);
  return g.result;
}

}  // namespace tavrel
