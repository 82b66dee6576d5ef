// The main menu: the tree as one table of records (bar entries, items, separators with
// their catalogue texts and actions), the enabling rules over the current window's facts,
// the " Окно " list of open windows with its "Другие    > " columns, the remembered
// position, and one run of the menu in main state 2.
#include <cstdio>
#include <cstring>

#include "shell/shell.h"
#include "tui/hints.h"
#include "tui/keyboard.h"
#include "tui/menu.h"
#include "tui/messages.h"
#include "tui/screen.h"

namespace tavrel {

namespace {

constexpr int BAR_FILE = 1, BAR_DEBUGGER = 2, BAR_EDITOR = 3, BAR_WINDOW = 9, BAR_UTILITIES = 116;
constexpr int WINDOW_ITEM_BASE = 500;
constexpr int WINDOW_MORE_BASE = 499;
constexpr int WINDOW_ITEMS_FIRST = 9;    // window items on " Окно " itself
constexpr int WINDOW_ITEMS_NESTED = 17;  // window items on each "Другие    > " column
constexpr uint8_t MARK_CURRENT = 0xFB;   // CP866 "√"

}  // namespace

// In menu order: each bar entry, then its items.
const MenuRecord MENU_TABLE[] = {
    {BAR_FILE, 0, MSG_MENU_FILE, MENU_BAR_ENTRY, ACT_NONE, 0},
    {4, BAR_FILE, MSG_MENU_OPEN_PROC, MENU_COMMAND, ACT_OPEN, KIND_PROCEDURE},
    {119, BAR_FILE, MSG_MENU_OPEN_TRIGGER, MENU_COMMAND, ACT_OPEN, KIND_TRIGGER},
    {7, BAR_FILE, MSG_MENU_READ_FILE, MENU_COMMAND, ACT_OPEN, KIND_FILE},
    {8, BAR_FILE, MSG_MENU_NEW_PROC, MENU_COMMAND, ACT_OPEN, KIND_NEW_PROCEDURE},
    {120, BAR_FILE, MSG_MENU_NEW_TRIGGER, MENU_COMMAND, ACT_OPEN, KIND_NEW_TRIGGER},
    {2, BAR_FILE, MSG_MENU_SAVE, MENU_COMMAND, ACT_PUSH_KEY, KEY_F2},
    {3, BAR_FILE, MSG_MENU_SAVE_FILE, MENU_COMMAND, ACT_PUSH_KEY, KEY_ALT_F2},
    {5, BAR_FILE, MSG_MENU_FILE_SEPARATOR, MENU_SEPARATOR, ACT_NONE, 0},
    {6, BAR_FILE, MSG_MENU_EXIT, MENU_COMMAND, ACT_STATE, STATE_LEAVE},

    {BAR_EDITOR, 0, MSG_MENU_EDITOR, MENU_BAR_ENTRY, ACT_NONE, 0},
    {301, BAR_EDITOR, MSG_MENU_MARK_BLOCK, MENU_COMMAND, ACT_PUSH_KEY, KEY_ALT_M},
    {302, BAR_EDITOR, MSG_MENU_COPY_BLOCK, MENU_COMMAND, ACT_PUSH_KEY, KEY_ALT_C},
    {303, BAR_EDITOR, MSG_MENU_PASTE_BLOCK, MENU_COMMAND, ACT_PUSH_KEY, KEY_ALT_P},
    {304, BAR_EDITOR, MSG_MENU_DELETE_BLOCK, MENU_COMMAND, ACT_PUSH_KEY, KEY_ALT_D},
    {305, BAR_EDITOR, MSG_MENU_UNMARK_BLOCK, MENU_COMMAND, ACT_PUSH_KEY, KEY_ALT_U},
    {328, BAR_EDITOR, MSG_MENU_SHIFT_LEFT, MENU_COMMAND, ACT_PUSH_KEY, KEY_SHIFT_F4},
    {329, BAR_EDITOR, MSG_MENU_SHIFT_RIGHT, MENU_COMMAND, ACT_PUSH_KEY, KEY_SHIFT_F5},
    {330, BAR_EDITOR, MSG_MENU_EDITOR_SEPARATOR, MENU_SEPARATOR, ACT_NONE, 0},
    {331, BAR_EDITOR, MSG_MENU_FIND, MENU_COMMAND, ACT_PUSH_KEY, KEY_ALT_S},
    {332, BAR_EDITOR, MSG_MENU_FIND_NEXT, MENU_COMMAND, ACT_PUSH_KEY, KEY_ALT_N},

    {BAR_DEBUGGER, 0, MSG_MENU_DEBUGGER, MENU_BAR_ENTRY, ACT_NONE, 0},
    {100, BAR_DEBUGGER, MSG_MENU_OPEN_SESSION, MENU_COMMAND, ACT_PUSH_KEY, KEY_F4},
    {101, BAR_DEBUGGER, MSG_MENU_CLOSE_SESSION, MENU_COMMAND, ACT_PUSH_KEY, KEY_CTRL_F4},
    {102, BAR_DEBUGGER, MSG_MENU_DEBUGGER_SEPARATOR, MENU_SEPARATOR, ACT_NONE, 0},
    {103, BAR_DEBUGGER, MSG_MENU_TOGGLE_BREAKPOINT, MENU_COMMAND, ACT_PUSH_KEY, KEY_CTRL_F8},
    {104, BAR_DEBUGGER, MSG_MENU_RUN, MENU_COMMAND, ACT_PUSH_KEY, KEY_F9},
    {105, BAR_DEBUGGER, MSG_MENU_WAIT_PROC, MENU_COMMAND, ACT_PUSH_KEY, KEY_CTRL_F9},
    {122, BAR_DEBUGGER, MSG_MENU_CATCH_ANY, MENU_COMMAND, ACT_PUSH_KEY, KEY_ALT_F9},
    {106, BAR_DEBUGGER, MSG_MENU_TRACE, MENU_COMMAND, ACT_PUSH_KEY, KEY_F7},
    {107, BAR_DEBUGGER, MSG_MENU_STEP, MENU_COMMAND, ACT_PUSH_KEY, KEY_F8},
    {108, BAR_DEBUGGER, MSG_MENU_RUN_TO_RETURN, MENU_COMMAND, ACT_PUSH_KEY, KEY_SHIFT_F10},
    {113, BAR_DEBUGGER, MSG_MENU_RUN_TO_CURSOR, MENU_COMMAND, ACT_PUSH_KEY, KEY_CTRL_F10},
    {109, BAR_DEBUGGER, MSG_MENU_STOP, MENU_COMMAND, ACT_PUSH_KEY, KEY_CTRL_F2},
    {110, BAR_DEBUGGER, MSG_MENU_DEBUGGER_SEPARATOR, MENU_SEPARATOR, ACT_NONE, 0},
    {111, BAR_DEBUGGER, MSG_MENU_MONITOR, MENU_COMMAND, ACT_OPEN_NOW, KIND_MONITOR},
    {114, BAR_DEBUGGER, MSG_MENU_EVALUATE, MENU_COMMAND, ACT_KEY_ONLY, KEY_SHIFT_F9},
    {112, BAR_DEBUGGER, MSG_MENU_CALL_STACK, MENU_COMMAND, ACT_OPEN_NOW, KIND_CALL_STACK},
    {115, BAR_DEBUGGER, MSG_MENU_BREAKPOINTS, MENU_COMMAND, ACT_BREAKPOINTS, 0},

    {BAR_WINDOW, 0, MSG_MENU_WINDOW, MENU_BAR_ENTRY, ACT_NONE, 0},
    {10, BAR_WINDOW, MSG_MENU_PREVIOUS, MENU_COMMAND, ACT_PREVIOUS, 0},
    {11, BAR_WINDOW, MSG_MENU_NEXT, MENU_COMMAND, ACT_NEXT, 0},
    {12, BAR_WINDOW, MSG_MENU_CASCADE, MENU_COMMAND, ACT_STATE, STATE_CASCADE},
    {13, BAR_WINDOW, MSG_MENU_ZOOM, MENU_COMMAND, ACT_STATE, STATE_ZOOM},
    {14, BAR_WINDOW, MSG_MENU_MOVE, MENU_COMMAND, ACT_STATE, STATE_MOVE},
    {15, BAR_WINDOW, MSG_MENU_RESIZE, MENU_COMMAND, ACT_STATE, STATE_RESIZE},
    {16, BAR_WINDOW, MSG_MENU_CLOSE, MENU_COMMAND, ACT_STATE, STATE_CLOSE},
    {17, BAR_WINDOW, MSG_MENU_WINDOW_SEPARATOR, MENU_SEPARATOR, ACT_NONE, 0},

    {BAR_UTILITIES, 0, MSG_MENU_UTILITIES, MENU_BAR_ENTRY, ACT_NONE, 0},
    {117, BAR_UTILITIES, MSG_MENU_DROP_PROC, MENU_COMMAND, ACT_DROP, 0},
    {121, BAR_UTILITIES, MSG_MENU_DROP_TRIGGER, MENU_COMMAND, ACT_DROP, 1},
    {118, BAR_UTILITIES, MSG_MENU_ACTIVE_PROCS, MENU_COMMAND, ACT_ACTIVE_LIST, 0},
};
const int MENU_TABLE_SIZE = static_cast<int>(sizeof MENU_TABLE / sizeof MENU_TABLE[0]);

const MenuRecord* menu_record(int id) {
  // Bar entries share ids with items (2, 3): an id names the item.
  for (const MenuRecord& r : MENU_TABLE)
    if (r.id == id && r.type != MENU_BAR_ENTRY) return &r;
  return nullptr;
}

bool menu_item_enabled(int id, bool bar_entry) {
  const ShellState& s = shell();
  if (bar_entry) {
    if (id == BAR_EDITOR) return s.current != nullptr;
    if (id == BAR_WINDOW) return s.open_count > 0;
    return true;
  }
  const WorkWindow* w = s.current;
  const bool source = w != nullptr && w->kind == 0;
  const bool debugging = source && w->in_debug;
  const bool running = debugging && w->active_runs >= 1;
  switch (id) {
    case 2:
    case 3: return source;
    case 100: return source && !w->in_debug;
    case 101:
    case 103: return debugging;
    case 104: return source && !(w->active_runs < 1 && w->cannot_start);
    case 105:
    case 122: return source && w->active_runs < 1;
    case 106:
    case 107:
    case 108:
    case 109:
    case 113: return running;
    case 112: return running && !s.stack_open;
    case 111: return !s.monitor_open;
    default: return true;
  }
}

void menu_do(int id) {
  ShellState& s = shell();
  if (id >= WINDOW_ITEM_BASE) {
    s.kind_request = static_cast<uint32_t>(id - WINDOW_ITEM_BASE);
    s.main_state = STATE_SWITCH;
    return;
  }
  const MenuRecord* r = menu_record(id);
  if (r == nullptr) return;
  switch (r->action) {
    case ACT_STATE: s.main_state = r->value; break;
    case ACT_OPEN:
      s.kind_request = r->value;
      s.main_state = STATE_OPEN;
      break;
    case ACT_PUSH_KEY:
      s.main_state = STATE_WORK;
      stuff_key(static_cast<uint16_t>(r->value));
      break;
    case ACT_KEY_ONLY: stuff_key(static_cast<uint16_t>(r->value)); break;
    case ACT_OPEN_NOW:
      s.kind_request = r->value;
      s.main_state = open_work_window(r->value) == 0 ? STATE_WORK : STATE_MENU;
      break;
    case ACT_PREVIOUS:
    case ACT_NEXT: {
      int ordinal = r->action == ACT_PREVIOUS ? previous_window_ordinal() : next_window_ordinal();
      if (ordinal >= 0) {
        s.kind_request = static_cast<uint32_t>(ordinal);
        s.main_state = STATE_SWITCH;
      } else {
        s.main_state = STATE_WORK;
      }
      break;
    }
    case ACT_DROP:
      if (r->value == 0) drop_procedure();
      else drop_trigger();
      s.main_state = s.current != nullptr ? STATE_WORK : STATE_MENU;
      break;
    case ACT_BREAKPOINTS:
    case ACT_ACTIVE_LIST:
      if (r->action == ACT_BREAKPOINTS) breakpoints_command();
      else active_procedures_command();
      s.main_state = s.current != nullptr ? STATE_WORK : STATE_MENU;
      break;
    default: break;
  }
}

namespace {

void menu_action(int id) { menu_do(id); }

void remember_position(int bar_id, int item_id) {
  shell().menu_bar_position = bar_id;
  shell().menu_item_position = item_id;
}

// The " Окно " items of the open windows: nine on the column itself, then nested
// "Другие    > " columns of seventeen each.
bool add_window_items(Menu* column) {
  const ShellState& s = shell();
  int ordinal = 0;
  int room = WINDOW_ITEMS_FIRST;
  for (int slot = 0; slot < WINDOW_SLOTS; slot++) {
    const WorkWindow* w = s.slots[slot];
    if (w == nullptr) continue;
    if (room == 0) {
      MenuItem* more = menu_add(column, WINDOW_MORE_BASE + ordinal, message_text(MSG_MENU_MORE), MENU_NESTED,
                                nullptr);
      if (more == nullptr) return false;
      column = more->submenu;
      room = WINDOW_ITEMS_NESTED;
    }
    std::string title = editor_title(&w->editor);
    while (!title.empty() && title.back() == ' ') title.pop_back();
    char text[80];
    std::snprintf(text, sizeof text, message_text(MSG_MENU_WINDOW_ITEM), slot + 1,
                  w == s.current ? MARK_CURRENT : ' ', title.c_str());
    if (menu_add(column, WINDOW_ITEM_BASE + ordinal, text, MENU_COMMAND, menu_action) == nullptr) return false;
    ordinal++;
    room--;
  }
  return true;
}

}  // namespace

Menu* menu_build() {
  Menu* bar = menu_new(true, 0, 0, 0, 79, false);
  if (bar == nullptr) return nullptr;
  Menu* column = nullptr;
  for (const MenuRecord& r : MENU_TABLE) {
    const uint8_t flags = menu_item_enabled(r.id, r.type == MENU_BAR_ENTRY) ? 0 : MENU_DISABLED;
    if (r.type == MENU_BAR_ENTRY) {
      MenuItem* entry = menu_add(bar, r.id, message_text(r.message), MENU_BAR_ENTRY, nullptr, 0, flags);
      if (entry == nullptr) break;
      column = entry->submenu;
      continue;
    }
    // The editor's items exist only while a window is current.
    if (r.parent == BAR_EDITOR && shell().current == nullptr) continue;
    if (menu_add(column, r.id, message_text(r.message), r.type, r.type == MENU_COMMAND ? menu_action : nullptr,
                 0, flags) == nullptr) {
      menu_free(bar);
      return nullptr;
    }
    if (r.id == 17 && !add_window_items(column)) {
      menu_free(bar);
      return nullptr;
    }
  }
  return bar;
}

void run_main_menu() {
  ShellState& s = shell();
  s.in_menu = true;
  help_category_set_current(HELP_MAIN_MENU);
  hint_select(HELP_MAIN_MENU);
  debug_facts_update();
  Menu* bar = menu_build();
  if (bar == nullptr) {
    s.in_menu = false;
    s.main_state = STATE_LEAVE;
    return;
  }
  menu_set_position_hook(remember_position);
  // The remembered bar entry becomes the bar's default: its id may also be an item's,
  // which a search by id would find first.
  for (MenuItem* entry = bar->items; entry != nullptr; entry = entry->next)
    if (entry->id == s.menu_bar_position && (entry->flags & MENU_DISABLED) == 0) menu_set_default(bar, entry);
  int chosen = menu_run(bar, MENU_NONE, s.menu_bar_position != NO_POSITION ? s.menu_item_position : MENU_NONE);
  if (chosen == 0 && s.open_count > 0 && s.main_state != STATE_LEAVE) s.main_state = STATE_WORK;
  menu_free(bar);
  s.in_menu = false;
}

}  // namespace tavrel
