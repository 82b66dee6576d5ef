// The menu engine. Layout of this file: building (items placed as they are added), the
// hot-key search over the active tree, drawing of the bar and of the framed pull-down
// columns, and the run loop with its levels (the bar, then each open column above it).
#include "tui/menu.h"

#include <cstring>
#include <new>

#include "tui/colours.h"
#include "tui/keyboard.h"
#include "tui/screen.h"

namespace tavrel {

namespace {

constexpr int MENU_DEPTH = 8;
constexpr uint8_t MENU_SHADOW_ATTR = 0x08;

struct Level {
  Menu* menu;
  MenuItem* current;
  uint32_t handle;  // the window of a column; 0 for the bar
};

// The running menu (one at a time) and the abort flag.
struct MenuState {
  Menu* active_tree = nullptr;
  bool abort = false;
  bool abort_taken = false;  // get key returned 0 because of an abort
  void (*position_hook)(int, int) = nullptr;
  Level levels[MENU_DEPTH];
  int depth = 0;
};

MenuState m;

int text_length(const MenuItem* item) { return static_cast<int>(std::strlen(item->text)); }

bool selectable(const MenuItem* item) {
  return item->type != MENU_SEPARATOR && (item->flags & MENU_DISABLED) == 0;
}

bool has_items(const MenuItem* item) { return item->submenu != nullptr && item->submenu->items != nullptr; }

// Copies the text without its "~" marks and finds the hot letter.
void set_text(MenuItem* item, const char* text) {
  int n = 0;
  item->hot_index = -1;
  for (const char* p = text; *p != '\0' && n < MENU_TEXT_MAX; p++) {
    if (*p == '~') {
      if (item->hot_index < 0 && p[1] != '\0' && p[1] != '~') item->hot_index = n;
      continue;
    }
    item->text[n++] = *p;
  }
  item->text[n] = '\0';
  if (item->hot_index < 0 && item->type != MENU_SEPARATOR)
    for (int i = 0; i < n; i++) {
      auto c = static_cast<uint8_t>(item->text[i]);
      if (char_is_letter(c) || char_is_digit(c)) {
        item->hot_index = i;
        break;
      }
    }
  item->hot_letter = item->hot_index >= 0 ? hot_letter_lower(static_cast<uint8_t>(item->text[item->hot_index])) : 0;
}

bool find_hot_key_in(Menu* menu, uint16_t key, MenuAction* action, int* id) {
  for (MenuItem* item = menu->items; item != nullptr; item = item->next) {
    if (item->hot_key == key && (item->flags & MENU_DISABLED) == 0 && item->action != nullptr) {
      *action = item->action;
      *id = item->id;
      return true;
    }
    if (item->submenu != nullptr && find_hot_key_in(item->submenu, key, action, id)) return true;
  }
  return false;
}

// Moves a column's rectangle so that its content starts at (top, left), on the screen.
void place(Menu* menu, int top, int left) {
  int height = menu->bottom - menu->top;
  int width = menu->right - menu->left;
  if (left + width + 2 >= screen_columns()) left = screen_columns() - width - 3;
  if (left < 1) left = 1;
  if (top + height + 1 >= screen_rows()) top = screen_rows() - height - 2;
  if (top < 1) top = 1;
  int row_shift = top - menu->top;
  menu->top = top;
  menu->bottom = top + height;
  menu->left = left;
  menu->right = left + width;
  for (MenuItem* item = menu->items; item != nullptr; item = item->next) item->row += row_shift;
}

void draw_item(const Level& level, const MenuItem* item) {
  Menu* menu = level.menu;
  bool current = item == level.current;
  bool disabled = (item->flags & MENU_DISABLED) != 0;
  uint8_t attr = colour(disabled ? ROLE_MENU_DISABLED : current ? ROLE_MENU_SELECTED : ROLE_MENU);
  uint8_t hot = colour(current ? ROLE_MENU_SELECTED_HOT : ROLE_MENU_HOT);
  if (menu->bar) {
    int column = item->column - menu->left;
    window_put_text(0, column, item->text, attr);
    if (!disabled && item->hot_index >= 0)
      window_put_cell(0, column + item->hot_index, static_cast<uint8_t>(item->text[item->hot_index]), hot);
    return;
  }
  int row = item->row - menu->top;
  if (item->type == MENU_SEPARATOR) {
    window_hrule(row, 0, window_width(), FRAME_SINGLE, colour(ROLE_MENU));
    return;
  }
  window_fill(row, 0, row, window_width() - 1, ' ', attr);
  window_put_text(row, 1, item->text, attr);
  if (!disabled && item->hot_index >= 0)
    window_put_cell(row, 1 + item->hot_index, static_cast<uint8_t>(item->text[item->hot_index]), hot);
}

void draw_level(const Level& level) {
  begin_update();
  for (MenuItem* item = level.menu->items; item != nullptr; item = item->next) draw_item(level, item);
  end_update();
}

MenuItem* first_selectable(Menu* menu) {
  for (MenuItem* item = menu->items; item != nullptr; item = item->next)
    if (selectable(item)) return item;
  return nullptr;
}

// The next (or previous) selectable item after current, wrapping; current when none.
MenuItem* step(Menu* menu, MenuItem* current, bool forward) {
  int count = 0;
  MenuItem* list[256];
  for (MenuItem* item = menu->items; item != nullptr && count < 256; item = item->next) list[count++] = item;
  int at = 0;
  for (int i = 0; i < count; i++)
    if (list[i] == current) at = i;
  for (int n = 1; n <= count; n++) {
    int i = forward ? (at + n) % count : (at - n + count) % count;
    if (selectable(list[i])) return list[i];
  }
  return current;
}

void report_position() {
  if (m.position_hook == nullptr || m.depth == 0) return;
  int bar_id = m.levels[0].current != nullptr ? m.levels[0].current->id : MENU_NONE;
  int item_id = m.depth > 1 && m.levels[1].current != nullptr ? m.levels[1].current->id : MENU_NONE;
  m.position_hook(bar_id, item_id);
}

// Opens the column of the current item of the top level; false when it has none.
bool open_column(MenuItem* start = nullptr) {
  Level& parent = m.levels[m.depth - 1];
  MenuItem* owner = parent.current;
  if (owner == nullptr || !has_items(owner) || m.depth == MENU_DEPTH) return false;
  Menu* column = owner->submenu;
  if (parent.menu->bar) place(column, parent.menu->top + 2, owner->column + 1);
  else place(column, owner->row, parent.menu->right + 3);
  begin_update();
  uint32_t handle = window_open(column->top - 1, column->left - 1, column->bottom + 1, column->right + 1,
                                FRAME_SINGLE, colour(ROLE_MENU), colour(ROLE_MENU));
  if (handle == 0) {
    end_update();
    return false;
  }
  window_add_shadow(MENU_SHADOW_ATTR);
  MenuItem* current = start != nullptr && selectable(start) ? start : column->default_item;
  if (current == nullptr || !selectable(current)) current = first_selectable(column);
  m.levels[m.depth++] = Level{column, current, handle};
  draw_level(m.levels[m.depth - 1]);
  end_update();
  return true;
}

void close_top() {
  if (m.depth <= 1) return;
  window_close();
  m.depth--;
}

void close_columns() {
  begin_update();
  while (m.depth > 1) close_top();
  end_update();
}

// Moves the bar's highlight (closing the columns) and opens its column when asked.
void select_bar(MenuItem* item, bool open) {
  begin_update();
  close_columns();
  m.levels[0].current = item;
  draw_level(m.levels[0]);
  if (open) open_column();
  end_update();
}

// The items of a menu whose hot letter is the given one.
MenuItem* match_letter(Menu* menu, MenuItem* after, uint8_t letter, int* matches) {
  MenuItem* first = nullptr;
  MenuItem* next = nullptr;
  bool passed = false;
  *matches = 0;
  for (MenuItem* item = menu->items; item != nullptr; item = item->next) {
    if (item == after) passed = true;
    if (!selectable(item) || item->hot_letter != letter) continue;
    (*matches)++;
    if (first == nullptr) first = item;
    if (passed && item != after && next == nullptr) next = item;
  }
  return next != nullptr ? next : first;
}

enum Outcome { GO_ON, LEAVE, CHOSEN };

// Chooses an item of the top level: opens its column, or ends the run with it.
Outcome choose(MenuItem* item, MenuItem** chosen) {
  if (item == nullptr || !selectable(item)) return GO_ON;
  if (has_items(item)) {
    open_column();
    return GO_ON;
  }
  if (item->type == MENU_BAR_ENTRY || item->type == MENU_NESTED) return GO_ON;  // empty column
  *chosen = item;
  return CHOSEN;
}

Outcome mouse_click(MenuItem** chosen) {
  MouseState mouse = mouse_state();
  if ((mouse.buttons & MOUSE_LEFT) == 0) return GO_ON;
  for (int d = m.depth - 1; d >= 1; d--) {
    Menu* menu = m.levels[d].menu;
    if (mouse.row < menu->top - 1 || mouse.row > menu->bottom + 1 || mouse.column < menu->left - 1 ||
        mouse.column > menu->right + 1)
      continue;
    while (m.depth - 1 > d) close_top();
    for (MenuItem* item = menu->items; item != nullptr; item = item->next)
      if (item->row == mouse.row && selectable(item) && mouse.column >= menu->left && mouse.column <= menu->right) {
        m.levels[d].current = item;
        draw_level(m.levels[d]);
        return choose(item, chosen);
      }
    return GO_ON;  // the frame or a separator
  }
  Menu* bar = m.levels[0].menu;
  if (mouse.row == bar->top)
    for (MenuItem* item = bar->items; item != nullptr; item = item->next)
      if (mouse.column >= item->column && mouse.column < item->column + text_length(item)) {
        if (!selectable(item)) return GO_ON;
        select_bar(item, false);
        return choose(item, chosen);
      }
  return LEAVE;
}

Outcome handle_key(uint16_t key, MenuItem** chosen) {
  Level& top = m.levels[m.depth - 1];
  Level& bar = m.levels[0];
  if (key == KEY_F10) return LEAVE;
  if (key == KEY_MOUSE) return mouse_click(chosen);
  if (m.depth == 1) {
    switch (key) {
      case KEY_ESC: return LEAVE;
      case KEY_LEFT: select_bar(step(bar.menu, bar.current, false), false); return GO_ON;
      case KEY_RIGHT: select_bar(step(bar.menu, bar.current, true), false); return GO_ON;
      case KEY_ENTER:
      case KEY_DOWN: return choose(bar.current, chosen);
      default: break;
    }
  } else {
    switch (key) {
      case KEY_ESC: close_top(); return GO_ON;
      case KEY_UP:
      case KEY_DOWN:
        top.current = step(top.menu, top.current, key == KEY_DOWN);
        draw_level(top);
        return GO_ON;
      case KEY_HOME:
      case KEY_END: {
        MenuItem* target = first_selectable(top.menu);
        if (key == KEY_END)
          for (MenuItem* item = top.menu->items; item != nullptr; item = item->next)
            if (selectable(item)) target = item;
        top.current = target;
        draw_level(top);
        return GO_ON;
      }
      case KEY_ENTER: return choose(top.current, chosen);
      case KEY_RIGHT:
        if (top.current != nullptr && has_items(top.current)) {
          open_column();
          return GO_ON;
        }
        select_bar(step(bar.menu, bar.current, true), true);
        return GO_ON;
      case KEY_LEFT:
        if (m.depth > 2) {
          close_top();
          return GO_ON;
        }
        select_bar(step(bar.menu, bar.current, false), true);
        return GO_ON;
      default: break;
    }
  }
  uint8_t letter = hot_letter_lower(static_cast<uint8_t>(key & 0xFF));
  if (letter == 0 && (key & 0xFF) == 0 && m.depth == 1) return GO_ON;
  if (letter == 0) return GO_ON;
  int matches = 0;
  MenuItem* item = match_letter(top.menu, top.current, letter, &matches);
  if (item == nullptr) return GO_ON;
  if (m.depth == 1) {
    select_bar(item, false);
    return choose(item, chosen);
  }
  top.current = item;
  draw_level(top);
  // One item with the letter is chosen at once; several are visited in turn.
  return matches == 1 ? choose(item, chosen) : GO_ON;
}

void free_items(Menu* menu) {
  MenuItem* item = menu->items;
  while (item != nullptr) {
    MenuItem* next = item->next;
    if (item->submenu != nullptr) menu_free(item->submenu);
    delete item;
    item = next;
  }
}

}  // namespace

uint8_t hot_letter_lower(uint8_t c) {
  if ((c >= 'A' && c <= 'Z') || (c >= 0x80 && c <= 0x9F)) return static_cast<uint8_t>(c + 32);
  return c;
}

Menu* menu_new(bool bar, int top, int left, int bottom, int right, bool self_sizing) {
  auto* menu = new (std::nothrow) Menu{};
  if (menu == nullptr) return nullptr;
  menu->bar = bar;
  menu->self_sizing = self_sizing;
  menu->top = top;
  menu->left = left;
  menu->bottom = bottom;
  menu->right = right;
  menu->next_row = top;
  menu->next_column = left;
  return menu;
}

void menu_free(Menu* menu) {
  if (menu == nullptr) return;
  free_items(menu);
  delete menu;
}

MenuItem* menu_add(Menu* menu, int id, const char* text, uint8_t type, MenuAction action,
                   uint16_t hot_key, uint8_t flags) {
  auto* item = new (std::nothrow) MenuItem{};
  if (item == nullptr) return nullptr;
  item->id = id;
  item->type = type;
  item->action = action;
  item->hot_key = hot_key;
  item->flags = flags;
  set_text(item, text);
  if (type == MENU_BAR_ENTRY || type == MENU_NESTED) {
    item->submenu = menu_new(false, 0, 0, -1, 0, true);
    if (item->submenu == nullptr) {
      delete item;
      return nullptr;
    }
  }
  int length = text_length(item);
  if (menu->bar) {
    item->row = menu->top;
    item->column = menu->next_column;
    menu->next_column += length;
    if (menu->self_sizing) menu->right = menu->next_column;
  } else {
    item->row = menu->next_row;
    item->column = menu->left;
    menu->next_row++;
    if (length > menu->width) menu->width = length;
    menu->right = menu->left + menu->width;
    if (menu->self_sizing) menu->bottom++;
  }
  if (menu->last != nullptr) menu->last->next = item;
  else menu->items = item;
  menu->last = item;
  if (menu->default_item == nullptr) menu->default_item = item;
  return item;
}

void menu_set_default(Menu* menu, MenuItem* item) { menu->default_item = item; }

MenuItem* menu_find(Menu* menu, int id) {
  if (menu == nullptr) return nullptr;
  for (MenuItem* item = menu->items; item != nullptr; item = item->next) {
    if (item->id == id) return item;
    if (MenuItem* inner = menu_find(item->submenu, id); inner != nullptr) return inner;
  }
  return nullptr;
}

void menu_set_position_hook(void (*hook)(int, int)) { m.position_hook = hook; }

int menu_run(Menu* bar, int start_bar, int start_item) {
  Menu* outer_tree = m.active_tree;
  m.active_tree = bar;
  m.abort_taken = false;
  begin_update();
  uint32_t handle = window_open(bar->top, bar->left, bar->bottom < bar->top ? bar->top : bar->bottom,
                                bar->right, FRAME_NONE, colour(ROLE_MENU), colour(ROLE_MENU));
  if (handle == 0) {
    end_update();
    m.active_tree = outer_tree;
    return 0;
  }
  MenuItem* current = start_bar != MENU_NONE ? menu_find(bar, start_bar) : nullptr;
  if (current == nullptr || !selectable(current)) current = bar->default_item;
  if (current == nullptr || !selectable(current)) current = first_selectable(bar);
  m.depth = 1;
  m.levels[0] = Level{bar, current, handle};
  draw_level(m.levels[0]);
  if (start_item != MENU_NONE && current != nullptr && current->submenu != nullptr) {
    MenuItem* start = nullptr;
    for (MenuItem* item = current->submenu->items; item != nullptr; item = item->next)
      if (item->id == start_item) start = item;
    if (start != nullptr) open_column(start);
  }
  end_update();
  cursor_hide();
  MenuItem* chosen = nullptr;
  Outcome outcome = GO_ON;
  while (outcome == GO_ON) {
    report_position();
    force_flush();
    uint16_t key = get_key();
    if (key == 0) {
      if (m.abort_taken) outcome = LEAVE;
      continue;
    }
    outcome = handle_key(key, &chosen);
  }
  report_position();
  begin_update();
  close_columns();
  window_close();
  end_update();
  m.depth = 0;
  m.active_tree = outer_tree;
  cursor_show();
  if (outcome != CHOSEN) return 0;
  if (chosen->action != nullptr) chosen->action(chosen->id);
  return chosen->id;
}

Menu* menu_active() { return m.active_tree; }

bool menu_find_hot_key(uint16_t key, MenuAction* action, int* id) {
  if (m.active_tree == nullptr) return false;
  return find_hot_key_in(m.active_tree, key, action, id);
}

void menu_raise_abort() { m.abort = true; }

bool menu_take_abort() {
  if (!m.abort) return false;
  m.abort = false;
  m.abort_taken = true;
  return true;
}

}  // namespace tavrel
