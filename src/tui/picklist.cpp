// Pick lists: drawing of the visible rows with the selection bar, the keys (moving,
// paging, incremental search), mouse clicks, and the run loop in a window of its own.
#include "tui/picklist.h"

#include <cstring>

#include "tui/colours.h"
#include "tui/keyboard.h"
#include "tui/screen.h"

namespace tavrel {

namespace {

constexpr int ROW_MAX = 256;
constexpr int COUNT_LIMIT = 100000;

int count_rows(const PickList* list) {
  char text[ROW_MAX];
  int n = 0;
  while (n < COUNT_LIMIT && list->row_text(n, text, ROW_MAX, list->context) == 1) n++;
  return n;
}

void keep_visible(PickList* list, int height) {
  if (list->selected >= list->count) list->selected = list->count - 1;
  if (list->selected < 0) list->selected = 0;
  if (list->selected < list->top) list->top = list->selected;
  if (list->selected >= list->top + height) list->top = list->selected - height + 1;
  if (list->top < 0) list->top = 0;
}

// The first row at or after from (wrapping) whose text begins with the search text,
// compared without case; -1 when none.
int find_prefix(const PickList* list, int from) {
  char text[ROW_MAX];
  for (int n = 0; n < list->count; n++) {
    int i = (from + n) % list->count;
    if (list->row_text(i, text, ROW_MAX, list->context) != 1) continue;
    const char* p = text;
    while (*p == ' ') p++;
    bool same = true;
    for (int k = 0; k < list->search_length && same; k++)
      same = p[k] != '\0' && ui_upper(static_cast<uint8_t>(p[k])) == ui_upper(static_cast<uint8_t>(list->search[k]));
    if (same) return i;
  }
  return -1;
}

}  // namespace

void picklist_init(PickList* list, RowText row_text, void* context, int count) {
  *list = PickList{};
  list->row_text = row_text;
  list->context = context;
  list->count = count;
  if (list->count < 0) list->count = count_rows(list);
}

void picklist_draw(const PickList* list, int row, int column, int height, int width, bool focused) {
  char text[ROW_MAX];
  begin_update();
  for (int r = 0; r < height; r++) {
    int index = list->top + r;
    bool selected = index == list->selected && list->count > 0;
    uint8_t attr = colour(selected ? (focused ? ROLE_LIST_SELECTED : ROLE_MENU_SELECTED) : ROLE_LIST);
    window_fill(row + r, column, row + r, column + width - 1, ' ', attr);
    if (index >= list->count || list->row_text(index, text, ROW_MAX, list->context) != 1) continue;
    text[width < ROW_MAX ? width : ROW_MAX - 1] = '\0';
    window_put_text(row + r, column, text, attr);
  }
  end_update();
}

int picklist_key(PickList* list, uint16_t key, int height) {
  if (list->count <= 0) return key == KEY_ESC ? -1 : 0;
  uint8_t ch = static_cast<uint8_t>(key & 0xFF);
  switch (key) {
    case KEY_UP: list->selected--; break;
    case KEY_DOWN: list->selected++; break;
    case KEY_PGUP: list->selected -= height; list->top -= height; break;
    case KEY_PGDN: list->selected += height; list->top += height; break;
    case KEY_HOME: list->selected = 0; break;
    case KEY_END: list->selected = list->count - 1; break;
    case KEY_ENTER: return 1;
    case KEY_ESC: return -1;
    case KEY_BACKSPACE:
      if (list->search_length > 0) list->search[--list->search_length] = '\0';
      return 0;
    default:
      if ((key >> 8) != 0 && ch == 0) return 0;
      if (ch < ' ' || list->search_length == PICK_SEARCH_MAX) return 0;
      list->search[list->search_length++] = static_cast<char>(ch);
      list->search[list->search_length] = '\0';
      if (int found = find_prefix(list, list->selected); found >= 0) {
        list->selected = found;
      } else {
        list->search[--list->search_length] = '\0';  // no row begins so: the letter is dropped
      }
      keep_visible(list, height);
      return 0;
  }
  list->search_length = 0;
  list->search[0] = '\0';
  if (list->top > list->count - height) list->top = list->count - height;
  keep_visible(list, height);
  return 0;
}

int picklist_run(PickList* list, int top, int left, int bottom, int right, const char* title,
                 uint32_t help_category) {
  uint32_t handle = window_open(top, left, bottom, right, FRAME_SINGLE, colour(ROLE_LIST), colour(ROLE_LIST));
  if (handle == 0) return -1;
  if (title != nullptr) window_set_title(title, 2, colour(ROLE_LIST));
  if (help_category != 0) window_set_help(help_category);
  window_add_shadow(0x08);
  int height = window_height(), width = window_width();
  keep_visible(list, height);
  cursor_hide();
  int result = -2;
  while (result == -2) {
    picklist_draw(list, 0, 0, height, width, true);
    force_flush();
    uint16_t key = get_key();
    if (key == KEY_MOUSE) {
      MouseState m = mouse_state();
      Window* w = window_active();
      int row = m.row - w->top - 1;
      bool inside = row >= 0 && row < height && m.column > w->left && m.column < w->right;
      if ((m.buttons & MOUSE_LEFT) == 0 || !inside) continue;
      int index = list->top + row;
      if (index >= list->count) continue;
      if (index == list->selected || (m.flags & MOUSE_DOUBLE_CLICK_FLAG) != 0) result = index;
      list->selected = index;
      continue;
    }
    int verdict = picklist_key(list, key, height);
    if (verdict == 1) result = list->selected;
    if (verdict == -1) result = -1;
  }
  window_close();
  cursor_show();
  return list->count > 0 ? result : -1;
}

}  // namespace tavrel
