// The desktop's work windows: the table of 100 slots, opening a window of a requested
// kind, switching, closing (with the question about an unsaved text), moving, resizing,
// cascading and zooming, and the work state that runs the current window's own loop.
// The open windows are kept on the screen in slot order with the current one on top.
#include <cstring>
#include <new>

#include "text/unicode.h"
#include "shell/shell.h"
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
    default: return;  // the debugger's keys: nothing visible yet
  }
  editor_end(e, EDITOR_TO_SHELL);
}

}  // namespace

void desktop_clear() {
  ShellState& s = shell();
  for (WorkWindow*& w : s.slots) w = nullptr;
  s.current = nullptr;
  EditorHooks hooks{};
  hooks.command = editor_command;
  hooks.store = source_store;
  editor_set_hooks(hooks);
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
    if (w != nullptr && w != s.current) editor_open_window(&w->editor, FRAME_DOUBLE);
  if (s.current != nullptr) {
    editor_open_window(&s.current->editor, FRAME_DOUBLE);
    editor_attach_window(&s.current->editor);
  }
  end_update();
}

int open_work_window(uint32_t kind) {
  ShellState& s = shell();
  int slot = 0;
  while (slot < WINDOW_SLOTS && s.slots[slot] != nullptr) slot++;
  if (slot == WINDOW_SLOTS || !is_source_kind(kind)) return 1;  // other kinds open elsewhere
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
  s.slots[slot] = w;
  s.current = w;
  s.open_count++;
  s.ever_opened++;
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
  begin_update();
  hide_windows();
  editor_destroy(&w->editor);
  s.slots[w->slot] = nullptr;
  release(w);
  s.open_count--;
  s.current = nullptr;
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
  const int end = editor_run(&w->editor);
  if (end == EDITOR_CLOSE) {
    s.main_state = STATE_CLOSE;
  } else if (end == EDITOR_SWITCH_VIEW) {
    s.kind_request = static_cast<uint32_t>(w->editor.view);
    s.main_state = open_work_window(s.kind_request) == 0 ? STATE_WORK : STATE_MENU;
  }
  // EDITOR_TO_SHELL: whoever ended the loop has set the main state.
}

}  // namespace tavrel
