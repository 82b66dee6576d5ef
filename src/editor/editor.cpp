// The editor record, its loop and key table, cursor movement and scrolling, typing and
// the line edits, the F2 questions, and the drawing of the window: the text, the title
// with the modified mark, the mode indicator on the top frame and the position display
// on the bottom frame.
#include "editor/editor.h"

#include <cstdio>
#include <cstring>

#include "tui/colours.h"
#include "tui/hints.h"
#include "tui/keyboard.h"
#include "tui/messages.h"
#include "tui/msgbox.h"
#include "tui/screen.h"

namespace tavrel {

namespace {

EditorHooks g_hooks{};
bool g_overwrite = false;

constexpr int NOTICE_TENTHS = 7;        // how long the last-column notice stays
constexpr int WHEEL_LINES = 3;
constexpr int INDICATOR_FROM_RIGHT = 6;  // "INS" starts this many columns left of the frame's end
constexpr int POSITION_COLUMN = 2;       // the position display, from the frame's left end

int clamp(int v, int low, int high) { return v < low ? low : v > high ? high : v; }

int first_line(const Editor* e) { return e->line - e->cursor_row; }
int first_column(const Editor* e) { return e->column - e->cursor_column; }

bool is_shown(const Editor* e) {
  const Window* w = window_active();
  return e->window != 0 && w != nullptr && w->handle == e->window;
}

// --- Moves ----------------------------------------------------------------------------

void move_left(Editor* e) {
  if (e->column > 0) editor_place_column(e, e->column - 1);
}
void move_right(Editor* e) {
  if (e->column < COLUMN_MAX) editor_place_column(e, e->column + 1);
}
void move_up(Editor* e) {
  if (e->line > 0) editor_place_line(e, e->line - 1);
}
void move_down(Editor* e) {
  if (e->line < e->text.capacity - 1) editor_place_line(e, e->line + 1);
}
void move_home(Editor* e) { editor_place_column(e, 0); }
void move_end(Editor* e) { editor_place_column(e, clamp(text_length(&e->text, e->line), 0, COLUMN_MAX)); }
void move_text_start(Editor* e) { editor_place_line(e, 0); }
void move_text_end(Editor* e) {
  int last = text_last_used(&e->text);
  editor_place_line(e, last < 0 ? 0 : last);
}

// The page is one line less than the text area, so a line of the old page stays in view.
int page_lines(const Editor* e) {
  int h = e->bottom - e->top - 2;
  return h < 1 ? 1 : h;
}

void page_down(Editor* e) {
  int h = page_lines(e);
  int limit = e->text.capacity - 2;
  if (limit < 0 || e->line >= limit) return;
  if (e->line + h >= limit - h) {
    e->line = limit;
    e->cursor_row = clamp(h, 0, e->line);
  } else {
    e->line += h;  // the cursor keeps its row, the view moves a page
  }
}

void page_up(Editor* e) {
  int h = page_lines(e);
  if (e->line < h) {
    e->line = 0;
    e->cursor_row = 0;
  } else {
    e->line -= h;
    if (e->cursor_row > e->line) e->cursor_row = e->line;
  }
}

// Words are separated by blanks. Right: the rest of the word and the blanks after it,
// never past the end of the line's text. Left: the blanks, then the word, stopping on its
// first character.
void word_right(Editor* e) {
  int n = text_length(&e->text, e->line);
  int c = e->column;
  if (c >= n) return;
  while (c < n && text_cell(&e->text, e->line, c) != ' ') c++;
  while (c < n && text_cell(&e->text, e->line, c) == ' ') c++;
  editor_place_column(e, c);
}

void word_left(Editor* e) {
  int c = e->column;
  while (c > 0 && text_cell(&e->text, e->line, c - 1) == ' ') c--;
  while (c > 0 && text_cell(&e->text, e->line, c - 1) != ' ') c--;
  editor_place_column(e, c);
}

// --- Edits ----------------------------------------------------------------------------

// Reports a text status other than success; true when the edit was made.
bool done(int status) {
  if (status == TEXT_REFUSED) editor_last_column_notice();
  if (status == TEXT_NO_MEMORY) editor_no_memory();
  return status == TEXT_OK;
}

void type_char(Editor* e, uint8_t ch) {
  if (!e->editable || ch == 0) return;
  if (done(text_type_char(&e->text, e->line, e->column, static_cast<char>(ch), g_overwrite))) {
    editor_changed(e);
    move_right(e);
  }
}

// Tab inserts blanks up to the next tab stop; in overwrite mode it only moves there.
void type_tab(Editor* e) {
  int stop = (e->column / TAB_WIDTH + 1) * TAB_WIDTH;
  if (stop > COLUMN_MAX) stop = COLUMN_MAX;
  if (g_overwrite || !e->editable) {
    editor_place_column(e, stop);
    return;
  }
  while (e->column < stop) {
    int status = text_type_char(&e->text, e->line, e->column, ' ', false);
    if (!done(status)) return;
    editor_changed(e);
    move_right(e);
  }
}

void enter(Editor* e) {
  if (!done(text_split_line(&e->text, e->line, e->column))) return;
  editor_block_lines_inserted(e, e->line + 1, 1);
  editor_changed(e);
  editor_place_column(e, 0);
  move_down(e);
}

void backspace(Editor* e) {
  if (e->column > 0) {
    if (e->column <= text_length(&e->text, e->line)) {
      if (!done(text_delete_char(&e->text, e->line, e->column - 1))) return;
      editor_changed(e);
    }
    move_left(e);
    return;
  }
  if (e->line == 0) return;
  int previous = e->line - 1;
  int p = text_length(&e->text, previous);
  int n = text_length(&e->text, e->line);
  bool removed = n == 0 || n <= JOIN_WIDTH - p;
  int status = text_join_next(&e->text, previous, p);
  if (status == TEXT_NO_MEMORY) {
    editor_no_memory();
    return;
  }
  if (status == TEXT_OK) {
    if (removed) editor_block_lines_removed(e, e->line, 1);
    editor_changed(e);
  }
  move_up(e);
  editor_place_column(e, clamp(p, 0, COLUMN_MAX));
}

// Del at or past the end of the text joins the next line at the cursor.
void del(Editor* e) {
  int n = text_length(&e->text, e->line);
  if (e->column < n) {
    if (done(text_delete_char(&e->text, e->line, e->column))) editor_changed(e);
    return;
  }
  if (e->line >= text_last_used(&e->text)) return;
  int next = text_length(&e->text, e->line + 1);
  bool removed = next == 0 || next <= JOIN_WIDTH - e->column;
  if (done(text_join_next(&e->text, e->line, e->column))) {
    if (removed) editor_block_lines_removed(e, e->line + 1, 1);
    editor_changed(e);
  }
}

void delete_line(Editor* e) {
  text_remove_lines(&e->text, e->line, 1);
  editor_block_lines_removed(e, e->line, 1);
  editor_changed(e);
}

void toggle_mode(Editor*) { g_overwrite = !g_overwrite; }

void save(Editor* e) { editor_save(e); }
void write_file(Editor* e) { editor_write_file_dialog(e); }
void close_editor(Editor* e) { editor_end(e, EDITOR_CLOSE); }
void to_monitor(Editor* e) {
  e->view = VIEW_MONITOR;
  editor_end(e, EDITOR_SWITCH_VIEW);
}
void to_call_stack(Editor* e) {
  e->view = VIEW_CALL_STACK;
  editor_end(e, EDITOR_SWITCH_VIEW);
}
void shift_left(Editor* e) { editor_block_shift(e, false); }
void shift_right(Editor* e) { editor_block_shift(e, true); }

// --- The key table --------------------------------------------------------------------

enum KeyFlag : uint8_t {
  K_EDIT = 1,       // changes the text: nothing happens when it is not editable
  K_VERTICAL = 2,   // a vertical move: the block follows while marking
  K_DEBUGGER = 4,   // a debugger command: not in a read-only view
  K_NOT_IN_VIEW = 8,
};

struct KeyBinding {
  uint16_t key;
  void (*action)(Editor*);  // null: the command hook carries it out
  uint8_t flags;
};

const KeyBinding KEYS[] = {
    {KEY_LEFT, move_left, 0},
    {KEY_RIGHT, move_right, 0},
    {KEY_UP, move_up, K_VERTICAL},
    {KEY_DOWN, move_down, K_VERTICAL},
    {KEY_PGUP, page_up, K_VERTICAL},
    {KEY_PGDN, page_down, K_VERTICAL},
    {KEY_HOME, move_home, 0},
    {KEY_END, move_end, 0},
    {KEY_CTRL_LEFT, word_left, 0},
    {KEY_CTRL_RIGHT, word_right, 0},
    {KEY_CTRL_PGUP, move_text_start, K_VERTICAL},
    {KEY_CTRL_PGDN, move_text_end, K_VERTICAL},
    {KEY_ENTER, enter, K_EDIT},
    {KEY_BACKSPACE, backspace, K_EDIT},
    {KEY_DEL, del, K_EDIT},
    {KEY_CTRL_Y, delete_line, K_EDIT},
    {KEY_INS, toggle_mode, 0},
    {KEY_ALT_S, editor_search_dialog, 0},
    {KEY_ALT_N, editor_search_again, 0},
    {KEY_F2, save, K_NOT_IN_VIEW},
    {KEY_ALT_F2, write_file, 0},
    {KEY_ESC, close_editor, 0},
    {KEY_CTRL_F7, to_monitor, 0},
    {KEY_CTRL_F3, to_call_stack, 0},
    // Blocks and the clipboard.
    {KEY_ALT_M, editor_block_mark, 0},
    {KEY_ALT_C, editor_block_copy, 0},
    {KEY_ALT_P, editor_block_paste, K_EDIT},
    {KEY_ALT_D, editor_block_delete, K_EDIT},
    {KEY_ALT_U, editor_block_unmark, 0},
    {KEY_SHIFT_F4, shift_left, K_EDIT},
    {KEY_SHIFT_F5, shift_right, K_EDIT},
    // The debugger's commands.
    {KEY_F4, nullptr, K_DEBUGGER},
    {KEY_F9, nullptr, K_DEBUGGER},
    {KEY_F8, nullptr, K_DEBUGGER},
    {KEY_F7, nullptr, K_DEBUGGER},
    {KEY_CTRL_F2, nullptr, K_DEBUGGER},
    {KEY_CTRL_F4, nullptr, K_DEBUGGER},
    {KEY_CTRL_F8, nullptr, K_DEBUGGER},
    {KEY_SHIFT_F10, nullptr, K_DEBUGGER},
    {KEY_CTRL_F9, nullptr, K_DEBUGGER},
    {KEY_CTRL_F10, nullptr, K_DEBUGGER},
    {KEY_ALT_F8, nullptr, K_DEBUGGER},
    {KEY_ALT_F9, nullptr, K_DEBUGGER},
    // The catalogue's commands.
    {KEY_F3, nullptr, 0},
    {KEY_ALT_F3, nullptr, 0},
};

const KeyBinding* binding_of(uint16_t key) {
  for (const KeyBinding& b : KEYS)
    if (b.key == key) return &b;
  return nullptr;
}

// --- The mouse ------------------------------------------------------------------------

void mouse(Editor* e) {
  MouseState m = mouse_state();
  if (m.flags & MOUSE_WHEELED_FLAG) {
    // The distance stands in the high word, positive away from the user.
    auto distance = static_cast<int16_t>(m.buttons >> 16);
    editor_place_line(e, clamp(e->line + (distance > 0 ? -WHEEL_LINES : WHEEL_LINES), 0, e->text.capacity - 1));
    editor_block_follow(e);
    return;
  }
  if ((m.flags & MOUSE_MOVED_FLAG) || (m.buttons & MOUSE_LEFT) == 0) return;
  if (m.row == screen_rows() - 1) {  // a hint of the bottom row runs its key
    uint16_t key = hint_key_at(m.column);
    if (key != 0) editor_key(e, key);
    return;
  }
  if (!is_shown(e) || window_at(m.column, m.row) != window_active()) return;
  int row = m.row - e->top - 1, column = m.column - e->left - 1;
  if (row < 0 || row >= editor_rows(e) || column < 0 || column >= editor_columns(e)) return;
  int line = first_line(e) + row, col = first_column(e) + column;
  if (line >= e->text.capacity || col > COLUMN_MAX) return;
  e->line = line;
  e->cursor_row = row;
  e->column = col;
  e->cursor_column = column;
  editor_block_follow(e);
}

// --- Drawing --------------------------------------------------------------------------

// The execution line first, then the debugger's marks (breakpoints), then the block.
uint8_t line_attr(const Editor* e, int line) {
  if (line == e->exec_line) return colour(ROLE_EDITOR_EXEC_LINE);
  if (g_hooks.line_attr != nullptr) {
    uint8_t a = g_hooks.line_attr(e, line);
    if (a != 0) return a;
  }
  if (e->block_start != NO_LINE && line >= e->block_start && line <= e->block_end) return colour(ROLE_EDITOR_BLOCK);
  return colour(ROLE_EDITOR);
}

void draw_frame_marks(const Editor* e) {
  const Window* w = window_active();
  if (w->border == 0) return;
  uint8_t attr = w->frame_attr;
  // The indicator: "INS" while typing overwrites, the frame's own characters otherwise.
  int mode = clamp(e->display_mode, 0, FRAME_TYPES - 1);
  for (int i = 0; i < 3; i++) {
    uint8_t ch = g_overwrite ? static_cast<uint8_t>("INS"[i]) : FRAME_CHARS[mode][FP_TOP];
    int column = w->right - INDICATOR_FROM_RIGHT + i;
    if (column > w->left) screen_put(w->top, column, ch, attr);
  }
  char position[32];
  std::snprintf(position, sizeof position, " %d:%d ", e->line + 1, e->column + 1);
  for (int i = 0; position[i] != '\0'; i++) {
    int column = w->left + POSITION_COLUMN + i;
    if (column >= w->right) break;
    screen_put(w->bottom, column, static_cast<uint8_t>(position[i]), attr);
  }
}

}  // namespace

// --- Shared helpers -------------------------------------------------------------------

void editor_set_hooks(const EditorHooks& hooks) { g_hooks = hooks; }
const EditorHooks& editor_hooks() { return g_hooks; }
bool editor_overwrite() { return g_overwrite; }
void editor_set_overwrite(bool overwrite) { g_overwrite = overwrite; }

int editor_rows(const Editor* e) {
  int h = e->bottom - e->top - 1;
  return h < 1 ? 1 : h;
}
int editor_columns(const Editor* e) {
  int w = e->right - e->left - 1;
  return w < 1 ? 1 : w;
}

void editor_changed(Editor* e) { e->modified = 1; }

void editor_no_memory() { msgbox_info(message_text(MSG_DBG_NO_MEMORY)); }

void editor_last_column_notice() {
  if (notice(message_text(MSG_LAST_COLUMN), 0) != 0) return;
  force_flush();
  ui_pause(NOTICE_TENTHS);
  window_close();
}

void editor_place_column(Editor* e, int column) {
  column = clamp(column, 0, COLUMN_MAX);
  int first = first_column(e);
  int width = editor_columns(e);
  if (column < first) first = column;
  else if (column >= first + width) first = column - width + 1;
  e->column = column;
  e->cursor_column = column - first;
}

void editor_place_line(Editor* e, int line) {
  line = clamp(line, 0, e->text.capacity - 1);
  int first = first_line(e);
  int height = editor_rows(e);
  if (line < first) first = line;
  else if (line >= first + height) first = line - height + 1;
  e->line = line;
  e->cursor_row = line - first;
}

// --- The record -----------------------------------------------------------------------

int editor_create(Editor* e, int top, int left, int bottom, int right, int kind) {
  *e = Editor{};
  e->top = top;
  e->left = left;
  e->bottom = bottom;
  e->right = right;
  e->display_mode = FRAME_DOUBLE;
  e->kind = kind;
  e->block_start = e->block_end = e->block_anchor = NO_LINE;
  e->debug_procedure = -1;
  e->editable = kind == EDITOR_VIEW ? 0 : 1;
  e->help_category = HELP_CODE_EDITOR;
  e->state = EDITOR_RUNNING;
  e->exec_line = NO_LINE;
  return text_init(&e->text);
}

void editor_destroy(Editor* e) {
  if (is_shown(e)) window_close();
  e->window = 0;
  text_free(&e->text);
}

uint32_t editor_open_window(Editor* e, int frame_type) {
  e->display_mode = frame_type;
  e->window = window_open(e->top, e->left, e->bottom, e->right, frame_type, colour(ROLE_EDITOR_FRAME),
                          colour(ROLE_EDITOR));
  if (e->window != 0) {
    window_set_help(e->help_category);
    editor_draw(e);
  }
  return e->window;
}

void editor_attach_window(Editor* e) {
  const Window* w = window_active();
  if (w == nullptr) return;
  e->window = w->handle;
  e->top = w->top;
  e->left = w->left;
  e->bottom = w->bottom;
  e->right = w->right;
  e->display_mode = w->frame_type;
  // Keep the cursor inside the (possibly smaller) interior.
  e->cursor_row = clamp(e->cursor_row, 0, editor_rows(e) - 1);
  e->cursor_column = clamp(e->cursor_column, 0, editor_columns(e) - 1);
  if (e->cursor_row > e->line) e->cursor_row = e->line;
  if (e->cursor_column > e->column) e->cursor_column = e->column;
  editor_draw(e);
}

void editor_set_text(Editor* e, EditorText* text) {
  text_swap(&e->text, text);
  e->line = e->column = e->cursor_row = e->cursor_column = 0;
  e->block_start = e->block_end = e->block_anchor = NO_LINE;
  e->marking = false;
  e->modified = 0;
  e->exec_line = NO_LINE;
}

void editor_set_name(Editor* e, const char* name) {
  std::snprintf(e->name, sizeof e->name, "%s", name);
  int n = static_cast<int>(std::strlen(e->name));
  while (n > 0 && e->name[n - 1] == ' ') e->name[--n] = '\0';
}

std::string editor_title(const Editor* e) {
  if (e->name[0] == '\0' && !e->modified) return std::string();
  std::string title = " ";
  if (e->modified) title += "*";
  title += e->name;
  // A window whose procedure is under debugging says so.
  if (e->debug_procedure >= 0) {
    title += " ";
    title += message_text(MSG_VIEW_DEBUG_MARK);
  }
  title += " ";
  return title;
}

// --- The loop -------------------------------------------------------------------------

int editor_run(Editor* e) {
  e->state = EDITOR_RUNNING;
  if (is_shown(e)) window_set_help(e->help_category);
  hint_select(e->help_category);
  cursor_show();
  editor_draw(e);
  while (e->state == EDITOR_RUNNING) {
    force_flush();
    uint16_t key = get_key();
    if (key != KEY_NONE) editor_key(e, key);
  }
  return e->state;
}

void editor_end(Editor* e, int state) { e->state = state; }

void editor_key(Editor* e, uint16_t key) {
  if (key == KEY_MOUSE) {
    mouse(e);
  } else if (const KeyBinding* b = binding_of(key)) {
    bool allowed = !((b->flags & K_EDIT) && !e->editable) &&
                   !((b->flags & (K_DEBUGGER | K_NOT_IN_VIEW)) && e->kind == EDITOR_VIEW);
    if (allowed) {
      if (b->action != nullptr) b->action(e);
      else if (g_hooks.command != nullptr) g_hooks.command(e, key);
      if (b->flags & K_VERTICAL) editor_block_follow(e);
    }
  } else {
    auto ch = static_cast<uint8_t>(key & 0xFF);
    if (ch == '\t') type_tab(e);
    else if (ch >= 0x20) type_char(e, ch);
    else if (ch == 0 && g_hooks.command != nullptr) g_hooks.command(e, key);
    // Other control characters (Ctrl+letters without a binding) are not typed.
  }
  editor_draw(e);
}

void editor_goto(Editor* e, int line, int column) {
  line = clamp(line, 0, e->text.capacity - 1);
  int height = editor_rows(e);
  int first = first_line(e);
  if (line < first || line >= first + height) {
    first = line - height / 2;
    if (first < 0) first = 0;
    e->line = line;
    e->cursor_row = line - first;
  } else {
    editor_place_line(e, line);
  }
  editor_place_column(e, column);
  editor_block_follow(e);
  editor_draw(e);
}

int editor_save(Editor* e) {
  if (e->kind == EDITOR_VIEW) return 0;
  if (!e->modified) {
    msgbox_begin(nullptr, nullptr, 0);
    msgbox_body(message_text(MSG_SAVE_UNCHANGED));
    msgbox_add_button(message_text(MSG_NO));
    msgbox_add_button(message_text(MSG_YES));
    if (msgbox_run(0) != 2) return 0;
  }
  if (g_hooks.debug_waiting != nullptr && g_hooks.debug_waiting(e)) {
    if (msgbox_yes_no(message_text(MSG_DBG_ACTIVE_WAITING)) != 1) return 0;
    if (g_hooks.stop_debugged != nullptr) g_hooks.stop_debugged(e);
  }
  if (g_hooks.debug_off != nullptr) g_hooks.debug_off(e);
  int stored = g_hooks.store != nullptr ? g_hooks.store(e) : 0;
  if (stored == 1) e->modified = 0;
  editor_draw(e);
  return stored;
}

void editor_draw(const Editor* e) {
  if (!is_shown(e)) return;
  begin_update();
  const Window* w = window_active();
  // A view's title stands at the left, where windows beside it leave it in sight.
  window_set_title(editor_title(e).c_str(), e->kind == EDITOR_VIEW ? 1 : 2, w->frame_attr);
  draw_frame_marks(e);
  int rows = window_height(), columns = window_width();
  int top = first_line(e), left = first_column(e);
  char cells[256];
  if (columns > static_cast<int>(sizeof cells) - 1) columns = static_cast<int>(sizeof cells) - 1;
  for (int r = 0; r < rows; r++) {
    int line = top + r;
    for (int c = 0; c < columns; c++) {
      char ch = text_cell(&e->text, line, left + c);
      cells[c] = ch == '\0' ? ' ' : ch;
    }
    cells[columns] = '\0';
    window_put_text(r, 0, cells, line < e->text.capacity ? line_attr(e, line) : colour(ROLE_EDITOR));
  }
  window_set_cursor(e->cursor_row, e->cursor_column);
  end_update();
}

}  // namespace tavrel
