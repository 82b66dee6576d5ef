// The desktop's work windows: the table of 100 slots, opening a window of a requested
// kind, switching, closing (with the question about an unsaved text), moving, resizing,
// cascading and zooming, and the work state that runs the current window's own loop.
// The open windows are kept on the screen in slot order with the current one on top.
#include <cstring>
#include <new>

#include "debugger/manager.h"
#include "debugger/message_log.h"
#include "debugger/view_lists.h"
#include "text/unicode.h"
#include "shell/shell.h"
#include "tui/hints.h"
#include "tui/keyboard.h"
#include "tui/msgbox.h"
#include "tui/screen.h"

namespace tavrel {

namespace {

constexpr int MIN_HEIGHT = 4;  // rows of a window, frame included, a resize keeps
constexpr int MIN_WIDTH = 12;
constexpr int CASCADE_STEPS = 15;

// The question on closing a modified text; the catalogue holds no text for it.
const char* const TEXT_CLOSE_UNSAVED = "Текст изменен и не сохранен.%%Закрыть окно?";

bool is_source_kind(uint32_t kind) { return kind == KIND_PROCEDURE || (kind >= KIND_FILE && kind <= KIND_NEW_TRIGGER); }

// The list views draw themselves; the Messages view is an editor like the source windows.
bool is_list_view(uint32_t kind) { return kind == KIND_LOCALS || kind == KIND_MONITOR || kind == KIND_CALL_STACK; }

// Takes every shown work window off the screen (they lie on top of the stack).
void hide_windows() {
  ShellState& s = shell();
  for (;;) {
    const Window* top = window_active();
    if (top == nullptr) return;
    WorkWindow* owner = nullptr;
    for (WorkWindow* w : s.slots)
      if (w != nullptr && w->editor.window == top->handle) owner = w;
    if (owner == nullptr) return;
    window_close();
    owner->editor.window = 0;
  }
}

WorkWindow* window_at_ordinal(int ordinal) {
  int n = 0;
  for (WorkWindow* w : shell().slots) {
    if (w == nullptr) continue;
    if (n == ordinal) return w;
    n++;
  }
  return nullptr;
}

int occupied_count() {
  int n = 0;
  for (const WorkWindow* w : shell().slots) n += w != nullptr;
  return n;
}

void release(WorkWindow* w) {
  if (w == nullptr) return;
  w->~WorkWindow();
  shell_free(w);
}

// The keys an editor passes on that are the shell's: the menu, the window commands, the
// open commands, and the key that makes the loop return.
void editor_command(Editor* e, uint16_t key) {
  ShellState& s = shell();
  switch (key) {
    case KEY_WINDOW_RETURN: break;  // the main state was set by whoever stuffed it
    case KEY_F10: s.main_state = STATE_MENU; break;
    case KEY_F6:
    case KEY_ALT_F6: {
      int ordinal = key == KEY_F6 ? next_window_ordinal() : previous_window_ordinal();
      if (ordinal < 0) return;
      s.kind_request = static_cast<uint32_t>(ordinal);
      s.main_state = STATE_SWITCH;
      break;
    }
    case KEY_F5: s.main_state = STATE_ZOOM; break;
    case KEY_CTRL_F5: s.main_state = STATE_MOVE; break;
    case KEY_CTRL_F6: s.main_state = STATE_RESIZE; break;
    case KEY_F3:
    case KEY_ALT_F3:
      s.kind_request = key == KEY_F3 ? KIND_PROCEDURE : KIND_FILE;
      s.main_state = STATE_OPEN;
      break;
    case KEY_VIEWS_CHANGED:
      views_sync();
      show_windows();
      return;
    default: {
      if (!is_debugger_key(key)) return;
      auto* w = static_cast<WorkWindow*>(e->owner);
      debug_command(w, key);
      // The window may have entered or left debugging: its hints follow.
      if (s.current == w && s.main_state != STATE_LEAVE) {
        window_set_help(e->help_category);
        hint_select(e->help_category);
        return;
      }
      // A stop elsewhere made another window current: its own loop runs next.
      if (s.main_state != STATE_LEAVE) s.main_state = STATE_WORK;
      break;
    }
  }
  editor_end(e, EDITOR_TO_SHELL);
}

// Draws a window that has just been opened at its place.
void draw_window(WorkWindow* w) {
  if (is_list_view(w->kind)) view_draw(&w->editor, static_cast<int>(w->kind));
}

void create_window(WorkWindow* w, uint32_t kind, int slot) {
  ShellState& s = shell();
  s.slots[slot] = w;
  s.current = w;
  s.open_count++;
  s.ever_opened++;
  if (kind == KIND_MONITOR) s.monitor_open = true;
  if (kind == KIND_CALL_STACK) s.stack_open = true;
}

int free_slot() {
  int slot = 0;
  while (slot < WINDOW_SLOTS && shell().slots[slot] != nullptr) slot++;
  return slot;
}

}  // namespace

void desktop_clear() {
  ShellState& s = shell();
  for (WorkWindow*& w : s.slots) w = nullptr;
  s.current = nullptr;
  EditorHooks hooks{};
  hooks.command = editor_command;
  hooks.store = source_store;
  hooks.line_attr = debug_line_attr;
  hooks.debug_waiting = debug_waiting;
  hooks.stop_debugged = debug_stop_waiting;
  hooks.debug_off = debug_switch_off;
  editor_set_hooks(hooks);
}

bool is_view_kind(uint32_t kind) { return kind == KIND_MESSAGES || is_list_view(kind); }

WorkWindow* window_of_kind(uint32_t kind) {
  for (WorkWindow* w : shell().slots)
    if (w != nullptr && w->kind == kind) return w;
  return nullptr;
}

WorkWindow* source_window_of(uint32_t procedure_id) {
  for (WorkWindow* w : shell().slots)
    if (w != nullptr && w->kind == KIND_PROCEDURE && w->store.procedure_id == procedure_id) return w;
  return nullptr;
}

void view_frame(uint32_t kind, int* top, int* left, int* bottom, int* right) {
  *top = WORK_TOP;
  *left = DEBUG_SPLIT;
  *bottom = DEBUG_LOCALS_BOTTOM;
  *right = WORK_RIGHT;
  switch (kind) {
    case KIND_MESSAGES:
      *top = DEBUG_SOURCE_BOTTOM + 1;
      *left = WORK_LEFT;
      *bottom = WORK_BOTTOM;
      break;
    case KIND_CALL_STACK:
      *top = DEBUG_LOCALS_BOTTOM + 1;
      *bottom = DEBUG_SOURCE_BOTTOM;
      break;
    case KIND_MONITOR:
      *top = DEBUG_SOURCE_BOTTOM + 1;
      *bottom = WORK_BOTTOM;
      break;
    default: break;  // the Locals
  }
}

int open_view_window(uint32_t kind) {
  ShellState& s = shell();
  if (WorkWindow* open = window_of_kind(kind)) {
    s.current = open;
    show_windows();
    return 0;
  }
  const int slot = free_slot();
  if (slot == WINDOW_SLOTS || !is_view_kind(kind)) return 1;
  void* memory = shell_alloc(sizeof(WorkWindow));
  auto* w = new (memory) WorkWindow{};
  w->kind = kind;
  w->opened_as = kind;
  w->slot = slot;
  int top, left, bottom, right;
  view_frame(kind, &top, &left, &bottom, &right);
  if (editor_create(&w->editor, top, left, bottom, right, EDITOR_VIEW) != 0) {
    release(w);
    return 1;
  }
  w->editor.owner = w;
  w->editor.help_category = view_help(static_cast<int>(kind));
  std::string title = view_title(static_cast<int>(kind));
  while (!title.empty() && title.back() == ' ') title.pop_back();
  editor_set_name(&w->editor, title.c_str() + title.find_first_not_of(' '));
  if (kind == KIND_MESSAGES) {
    message_log_show(&w->editor);
    manager_messages_view_open(true);
  }
  create_window(w, kind, slot);
  show_windows();
  return 0;
}

WorkWindow* open_stored_window(uint32_t procedure_id, const std::string& name) {
  const int slot = free_slot();
  if (slot == WINDOW_SLOTS) return nullptr;
  void* memory = shell_alloc(sizeof(WorkWindow));
  auto* w = new (memory) WorkWindow{};
  w->kind = KIND_PROCEDURE;
  w->opened_as = KIND_PROCEDURE;
  w->slot = slot;
  int top, left, bottom, right;
  cascade_frame(slot, &top, &left, &bottom, &right);
  if (editor_create(&w->editor, top, left, bottom, right) != 0) {
    release(w);
    return nullptr;
  }
  w->editor.owner = w;
  w->editor.help_category = HELP_CODE_EDITOR;
  if (source_open_stored(w, procedure_id, name) != 0) {
    editor_destroy(&w->editor);
    release(w);
    return nullptr;
  }
  create_window(w, KIND_PROCEDURE, slot);
  return w;
}

int window_ordinal(const WorkWindow* target) {
  int n = 0;
  for (const WorkWindow* w : shell().slots) {
    if (w == nullptr) continue;
    if (w == target) return n;
    n++;
  }
  return -1;
}

int previous_window_ordinal() {
  const int count = occupied_count();
  const int here = window_ordinal(shell().current);
  if (count < 2 || here < 0) return -1;
  return (here + count - 1) % count;
}

int next_window_ordinal() {
  const int count = occupied_count();
  const int here = window_ordinal(shell().current);
  if (count < 2 || here < 0) return -1;
  return (here + 1) % count;
}

void cascade_frame(int n, int* top, int* left, int* bottom, int* right) {
  n %= CASCADE_STEPS;
  *top = WORK_TOP + n;
  *left = WORK_LEFT + n;
  *bottom = WORK_BOTTOM;
  *right = WORK_RIGHT;
}

void show_windows() {
  ShellState& s = shell();
  begin_update();
  hide_windows();
  for (WorkWindow* w : s.slots)
    if (w != nullptr && w != s.current && editor_open_window(&w->editor, FRAME_DOUBLE) != 0) draw_window(w);
  if (s.current != nullptr) {
    editor_open_window(&s.current->editor, FRAME_DOUBLE);
    editor_attach_window(&s.current->editor);
    draw_window(s.current);
  }
  end_update();
}

int open_work_window(uint32_t kind) {
  if (is_view_kind(kind)) return open_view_window(kind);
  const int slot = free_slot();
  if (slot == WINDOW_SLOTS || !is_source_kind(kind)) return 1;
  void* memory = shell_alloc(sizeof(WorkWindow));
  auto* w = new (memory) WorkWindow{};
  w->kind = 0;
  w->opened_as = kind;
  w->slot = slot;
  int top, left, bottom, right;
  cascade_frame(slot, &top, &left, &bottom, &right);
  if (editor_create(&w->editor, top, left, bottom, right) != 0) {
    release(w);
    return 1;
  }
  w->editor.owner = w;
  w->editor.help_category = 30;  // the code editor's hints
  if (source_open(w, kind) != 0) {
    editor_destroy(&w->editor);
    release(w);
    show_windows();
    return 1;
  }
  create_window(w, KIND_PROCEDURE, slot);
  show_windows();
  return 0;
}

void switch_window(uint32_t ordinal) {
  ShellState& s = shell();
  WorkWindow* w = window_at_ordinal(static_cast<int>(ordinal));
  if (w != nullptr && w != s.current) {
    s.current = w;
    show_windows();
  }
  s.main_state = STATE_WORK;
}

int close_current_window() {
  ShellState& s = shell();
  WorkWindow* w = s.current;
  if (w == nullptr) {
    s.main_state = STATE_MENU;
    return 1;
  }
  if (w->editor.modified) {
    static const std::string question = utf8_to_cp866(TEXT_CLOSE_UNSAVED);
    if (msgbox_yes_no(question.c_str(), 2) != 1) {
      s.main_state = STATE_WORK;
      return 0;
    }
  }
  if (w->kind == KIND_PROCEDURE && debug_window_closing(w) == 0) {
    s.main_state = STATE_WORK;
    return 0;
  }
  if (w->kind == KIND_MONITOR) s.monitor_open = false;
  if (w->kind == KIND_CALL_STACK) s.stack_open = false;
  if (w->kind == KIND_MESSAGES) manager_messages_view_open(false);
  begin_update();
  hide_windows();
  editor_destroy(&w->editor);
  s.slots[w->slot] = nullptr;
  release(w);
  s.open_count--;
  s.current = nullptr;
  // The last source window takes the focus before the views do.
  for (int slot = WINDOW_SLOTS - 1; slot >= 0 && s.current == nullptr; slot--)
    if (s.slots[slot] != nullptr && s.slots[slot]->kind == KIND_PROCEDURE) s.current = s.slots[slot];
  for (int slot = WINDOW_SLOTS - 1; slot >= 0 && s.current == nullptr; slot--) s.current = s.slots[slot];
  show_windows();
  end_update();
  s.main_state = s.current != nullptr ? STATE_WORK : STATE_MENU;
  return 1;
}

// Moves or resizes the current window with the arrow keys until Enter or Esc: each arrow
// shifts the edge it names (the whole window when moving) by one cell, within the work area.
static void track_current_window(bool resize) {
  ShellState& s = shell();
  s.main_state = STATE_WORK;
  if (s.current == nullptr) return;
  for (;;) {
    force_flush();
    const uint16_t key = get_key();
    const Window* w = window_active();
    if (w == nullptr || key == KEY_ENTER || key == KEY_ESC || key == KEY_NONE) break;
    int rows = 0, columns = 0;
    if (key == KEY_UP) rows = -1;
    else if (key == KEY_DOWN) rows = 1;
    else if (key == KEY_LEFT) columns = -1;
    else if (key == KEY_RIGHT) columns = 1;
    else continue;
    if (resize) {
      const int bottom = w->bottom + rows, right = w->right + columns;
      if (bottom - w->top + 1 < MIN_HEIGHT || right - w->left + 1 < MIN_WIDTH || bottom > WORK_BOTTOM) continue;
      window_resize(bottom, right);
    } else {
      const int top = w->top + rows, left = w->left + columns;
      if (top < WORK_TOP || top + (w->bottom - w->top) > WORK_BOTTOM) continue;
      window_move(top, left);
    }
  }
  editor_attach_window(&s.current->editor);
}

void move_current_window() { track_current_window(false); }

void resize_current_window() { track_current_window(true); }

void cascade_windows() {
  ShellState& s = shell();
  int position = 0;
  auto place = [&](WorkWindow* w) {
    cascade_frame(position++, &w->editor.top, &w->editor.left, &w->editor.bottom, &w->editor.right);
    w->zoomed = false;
  };
  for (WorkWindow* w : s.slots)
    if (w != nullptr && w != s.current && w->kind == 0) place(w);
  if (s.current != nullptr && s.current->kind == 0) place(s.current);
  show_windows();
  s.main_state = STATE_WORK;
}

void zoom_current_window() {
  ShellState& s = shell();
  s.main_state = STATE_WORK;
  WorkWindow* w = s.current;
  if (w == nullptr) return;
  Editor& e = w->editor;
  if (w->zoomed) {
    e.top = w->saved_top;
    e.left = w->saved_left;
    e.bottom = w->saved_bottom;
    e.right = w->saved_right;
    w->zoomed = false;
  } else {
    w->saved_top = e.top;
    w->saved_left = e.left;
    w->saved_bottom = e.bottom;
    w->saved_right = e.right;
    e.top = WORK_TOP;
    e.left = WORK_LEFT;
    e.bottom = WORK_BOTTOM;
    e.right = WORK_RIGHT;
    w->zoomed = true;
  }
  show_windows();
}

void work_in_current_window() {
  ShellState& s = shell();
  WorkWindow* w = s.current;
  if (w == nullptr) {
    s.main_state = STATE_MENU;
    return;
  }
  if (w->kind == KIND_MESSAGES) views_sync();
  const int end = is_list_view(w->kind) ? view_run(&w->editor, static_cast<int>(w->kind)) : editor_run(&w->editor);
  if (end == EDITOR_CLOSE) {
    s.main_state = STATE_CLOSE;
  } else if (end == EDITOR_SWITCH_VIEW) {
    s.kind_request = static_cast<uint32_t>(w->editor.view);
    s.main_state = open_work_window(s.kind_request) == 0 ? STATE_WORK : STATE_MENU;
  }
  // EDITOR_TO_SHELL: whoever ended the loop has set the main state.
}

}  // namespace tavrel
