// The screen and its windows. Layout of this file: the process-wide screen state, the
// cell buffers and updates, saved blocks, the window stack (open, close, move, resize),
// shadows, frames and titles, the drawing primitives, rules, and the small helpers
// (cursor, pause, case). All of it runs on the main thread and is not locked.
#include "tui/screen.h"

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <new>
#include <thread>

#include "text/codepage.h"

namespace tavrel {

const uint8_t FRAME_CHARS[FRAME_TYPES][13] = {
    // ┌ ─ ┐ │ │ └ ─ ┘ ┼ ├ ┤ ┬ ┴
    {0xDA, 0xC4, 0xBF, 0xB3, 0xB3, 0xC0, 0xC4, 0xD9, 0xC5, 0xC3, 0xB4, 0xC2, 0xC1},
    // ╔ ═ ╗ ║ ║ ╚ ═ ╝ ╬ ╠ ╣ ╦ ╩
    {0xC9, 0xCD, 0xBB, 0xBA, 0xBA, 0xC8, 0xCD, 0xBC, 0xCE, 0xCC, 0xB9, 0xCB, 0xCA},
    // ╓ ─ ╖ ║ ║ ╙ ─ ╜ ╫ ╟ ╢ ╥ ╨
    {0xD6, 0xC4, 0xB7, 0xBA, 0xBA, 0xD3, 0xC4, 0xBD, 0xD7, 0xC7, 0xB6, 0xD2, 0xD0},
    // ╒ ═ ╕ │ │ ╘ ═ ╛ ╪ ╞ ╡ ╤ ╧
    {0xD5, 0xCD, 0xB8, 0xB3, 0xB3, 0xD4, 0xCD, 0xBE, 0xD8, 0xC6, 0xB5, 0xD1, 0xCF},
    // ▄ ▄ ▄ ▌ ▐ ▀ ▀ ▀ ▌ ▌ ▌ ▌ ▌
    {0xDC, 0xDC, 0xDC, 0xDD, 0xDE, 0xDF, 0xDF, 0xDF, 0xDD, 0xDD, 0xDD, 0xDD, 0xDD},
    {' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' ', ' '},
};

namespace {

void sleep_ms(int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

// The one screen of the process.
struct ScreenState {
  // Geometry and buffers: working cells, the copy of what the console shows, and the
  // scratch rectangle of one write (rows x columns + 10 cells each).
  int rows = 25, columns = 80;
  ConsoleCell* work = nullptr;
  ConsoleCell* shown = nullptr;
  ConsoleCell* scratch = nullptr;
  int nesting = 0;
  int cursor_row = 0, cursor_col = 0;  // logical console cursor
  bool started = false;
  // The window stack.
  Window* active = nullptr;
  int open_count = 0;
  uint32_t last_handle = 0;
  int last_status = UI_OK;
  uint32_t help_category = 0;
  // Helpers.
  int codepage = 0;
  void (*pause_hook)(int) = sleep_ms;
};

ScreenState g;

uint8_t u8(int v) { return static_cast<uint8_t>(v); }

int set_status(int status) {
  g.last_status = status;
  return status;
}

ConsoleCell& cell(int row, int col) { return g.work[row * g.columns + col]; }

bool on_screen(int row, int col) {
  return row >= 0 && col >= 0 && row < g.rows && col < g.columns;
}

void put_abs(int row, int col, uint8_t ch, uint8_t attr) {
  if (on_screen(row, col)) cell(row, col) = ConsoleCell{ch, attr};
}

// --- Saved blocks ---------------------------------------------------------------------

SavedBlock* block_alloc(int top, int left, int bottom, int right) {
  size_t count = static_cast<size_t>(bottom - top + 1) * static_cast<size_t>(right - left + 1);
  auto* block = static_cast<SavedBlock*>(std::malloc(sizeof(SavedBlock) + count * sizeof(ConsoleCell)));
  if (block == nullptr) return nullptr;
  block->top = static_cast<uint16_t>(top);
  block->left = static_cast<uint16_t>(left);
  block->bottom = static_cast<uint16_t>(bottom);
  block->right = static_cast<uint16_t>(right);
  return block;
}

int block_width(const SavedBlock* b) { return b->right - b->left + 1; }

// Saves the screen cells of a rectangle (which lies on the screen).
SavedBlock* block_save(int top, int left, int bottom, int right) {
  SavedBlock* block = block_alloc(top, left, bottom, right);
  if (block == nullptr) return nullptr;
  ConsoleCell* out = saved_cells(block);
  for (int r = top; r <= bottom; r++)
    for (int c = left; c <= right; c++) *out++ = cell(r, c);
  return block;
}

void block_restore(SavedBlock* block) {
  ConsoleCell* in = saved_cells(block);
  for (int r = block->top; r <= block->bottom; r++)
    for (int c = block->left; c <= block->right; c++) cell(r, c) = *in++;
}

ConsoleCell* block_at(SavedBlock* block, int row, int col) {
  return saved_cells(block) + (row - block->top) * block_width(block) + (col - block->left);
}

// --- Window geometry ------------------------------------------------------------------

int interior_top(const Window* w) { return w->top + w->border; }
int interior_left(const Window* w) { return w->left + w->border; }
int interior_bottom(const Window* w) { return w->bottom - w->border; }
int interior_right(const Window* w) { return w->right - w->border; }

bool inside_interior(const Window* w, int row, int col) {
  return row >= 0 && col >= 0 && row <= interior_bottom(w) - interior_top(w) &&
         col <= interior_right(w) - interior_left(w);
}

void follow_cursor(Window* w) {
  g.cursor_row = w->cursor_row;
  g.cursor_col = w->cursor_col;
}

// --- Frames and titles ----------------------------------------------------------------

void draw_title(Window* w) {
  if (w->title[0] == '\0' || w->right - w->left < 2) return;
  int interior = w->right - w->left - 1;
  int width = w->right - w->left - 2;
  int length = static_cast<int>(std::strlen(w->title));
  if (length > interior) length = interior;
  int col;
  if (w->title_position == 1) {
    col = length <= width - 2 ? w->left + 2 : w->left + 1;
  } else if (w->title_position == 2) {
    col = length <= width - 1 ? (width + 1) / 2 + w->left + 1 - length / 2 : w->left + 1;
  } else {
    col = w->right - length - (length < interior ? 1 : 0);
  }
  if (col < w->left + 1) col = w->left + 1;
  for (int i = 0; i < length && col + i < w->right; i++)
    put_abs(w->top, col + i, static_cast<uint8_t>(w->title[i]), w->title_attr);
}

void draw_frame(Window* w) {
  if (w->border == 0) return;
  begin_update();
  const uint8_t* f = FRAME_CHARS[w->frame_type];
  uint8_t a = w->frame_attr;
  for (int c = w->left + 1; c < w->right; c++) {
    put_abs(w->top, c, f[FP_TOP], a);
    put_abs(w->bottom, c, f[FP_BOTTOM], a);
  }
  for (int r = w->top + 1; r < w->bottom; r++) {
    put_abs(r, w->left, f[FP_LEFT], a);
    put_abs(r, w->right, f[FP_RIGHT], a);
  }
  put_abs(w->top, w->left, f[FP_TOP_LEFT], a);
  put_abs(w->top, w->right, f[FP_TOP_RIGHT], a);
  put_abs(w->bottom, w->left, f[FP_BOTTOM_LEFT], a);
  put_abs(w->bottom, w->right, f[FP_BOTTOM_RIGHT], a);
  draw_title(w);
  end_update();
}

void fill_abs(int top, int left, int bottom, int right, uint8_t ch, uint8_t attr) {
  for (int r = top; r <= bottom; r++)
    for (int c = left; c <= right; c++) put_abs(r, c, ch, attr);
}

// --- Shadows --------------------------------------------------------------------------

void shadow_cells(SavedBlock* block, uint8_t attr) {
  if (block == nullptr) return;
  for (int r = block->top; r <= block->bottom; r++)
    for (int c = block->left; c <= block->right; c++) {
      ConsoleCell& x = cell(r, c);
      x.attr = static_cast<uint8_t>(attr | (x.attr & 0x80));
    }
}

int shadow_add(Window* w, uint8_t attr) {
  if (w->saved_shadow != nullptr) return UI_OK;
  auto* save = static_cast<SavedShadow*>(std::calloc(1, sizeof(SavedShadow)));
  if (save == nullptr) return UI_NO_MEMORY;
  int right_left = w->right + 1, right_right = w->right + 2;
  if (right_right >= g.columns) right_right = g.columns - 1;
  int right_top = w->top + 1, right_bottom = w->bottom + 1;
  if (right_bottom >= g.rows) right_bottom = g.rows - 1;
  bool ok = true;
  if (right_left <= right_right && right_top <= right_bottom) {
    save->right = block_save(right_top, right_left, right_bottom, right_right);
    ok = save->right != nullptr;
  }
  int under_row = w->bottom + 1, under_left = w->left + 2, under_right = w->right;
  if (under_right >= g.columns) under_right = g.columns - 1;
  if (ok && under_row < g.rows && under_left <= under_right) {
    save->under = block_save(under_row, under_left, under_row, under_right);
    ok = save->under != nullptr;
  }
  if (!ok) {
    std::free(save->right);
    std::free(save);
    return UI_NO_MEMORY;
  }
  begin_update();
  shadow_cells(save->right, attr);
  shadow_cells(save->under, attr);
  w->saved_shadow = save;
  w->shadow_attr = attr;
  end_update();
  return UI_OK;
}

void shadow_remove(Window* w) {
  SavedShadow* save = w->saved_shadow;
  if (save == nullptr) return;
  begin_update();
  if (save->under != nullptr) block_restore(save->under);
  if (save->right != nullptr) block_restore(save->right);
  end_update();
  std::free(save->under);
  std::free(save->right);
  std::free(save);
  w->saved_shadow = nullptr;
}

// --- Rules ----------------------------------------------------------------------------

bool is_one_of(uint8_t ch, const uint8_t* style, std::initializer_list<int> parts) {
  for (int p : parts)
    if (style[p] == ch) return true;
  return false;
}

// One rule cell with the given glyph, and the tee on the frame where it touches it.
void line_cell(Window* w, int row, int col, uint8_t attr, int style, bool vertical, uint8_t glyph) {
  const uint8_t* s = FRAME_CHARS[style];
  const uint8_t* f = FRAME_CHARS[w->frame_type];
  int abs_row = interior_top(w) + row, abs_col = interior_left(w) + col;
  if (w->border != 0) {
    if (vertical && s[FP_TOP] == f[FP_TOP]) {
      if (row == 0) put_abs(w->top, abs_col, s[FP_TEE_DOWN], w->frame_attr);
      if (abs_row == interior_bottom(w)) put_abs(w->bottom, abs_col, s[FP_TEE_UP], w->frame_attr);
    } else if (!vertical && s[FP_LEFT] == f[FP_LEFT]) {
      if (col == 0) put_abs(abs_row, w->left, s[FP_TEE_RIGHT], w->frame_attr);
      if (abs_col == interior_right(w)) put_abs(abs_row, w->right, s[FP_TEE_LEFT], w->frame_attr);
    }
  }
  put_abs(abs_row, abs_col, glyph, attr);
}

// Picks the glyph of cell i of a rule of the given length from what its two neighbours
// across the rule have (a stroke reaching the rule from either side).
uint8_t rule_glyph(const uint8_t* s, int i, int length, bool before, bool after, bool vertical) {
  int part;
  bool first = i == 0, last = i == length - 1 && length > 1;
  if (!vertical) {  // before = above, after = below
    if (first) part = before && after ? FP_TEE_RIGHT : before ? FP_BOTTOM_LEFT : after ? FP_TOP_LEFT : FP_TOP;
    else if (last) part = before && after ? FP_TEE_LEFT : before ? FP_BOTTOM_RIGHT : after ? FP_TOP_RIGHT : FP_TOP;
    else part = before && after ? FP_CROSS : before ? FP_TEE_UP : after ? FP_TEE_DOWN : FP_TOP;
  } else {  // before = left, after = right
    if (first) part = before && after ? FP_TEE_DOWN : before ? FP_TOP_RIGHT : after ? FP_TOP_LEFT : FP_LEFT;
    else if (last) part = before && after ? FP_TEE_UP : before ? FP_BOTTOM_RIGHT : after ? FP_BOTTOM_LEFT : FP_LEFT;
    else part = before && after ? FP_CROSS : before ? FP_TEE_LEFT : after ? FP_TEE_RIGHT : FP_LEFT;
  }
  return s[part];
}

int rule(int row, int col, int length, int style, uint8_t attr, bool vertical) {
  Window* w = g.active;
  if (w == nullptr) return set_status(UI_NO_WINDOW);
  if (style < 0 || style >= FRAME_TYPES) return set_status(UI_BAD_FRAME);
  int end_row = vertical ? row + length - 1 : row, end_col = vertical ? col : col + length - 1;
  if (length < 1 || !inside_interior(w, row, col) || !inside_interior(w, end_row, end_col))
    return set_status(UI_OUTSIDE);
  const uint8_t* s = FRAME_CHARS[style];
  begin_update();
  for (int i = 0; i < length; i++) {
    int r = interior_top(w) + row + (vertical ? i : 0);
    int c = interior_left(w) + col + (vertical ? 0 : i);
    bool before, after;
    if (!vertical) {
      before = on_screen(r - 1, c) && is_one_of(cell(r - 1, c).ch, s, {3, 0, 2, 8, 9, 10, 11});
      after = on_screen(r + 1, c) && is_one_of(cell(r + 1, c).ch, s, {3, 5, 7, 8, 9, 10, 12});
    } else {
      before = on_screen(r, c - 1) && is_one_of(cell(r, c - 1).ch, s, {1, 0, 5, 8, 9, 11, 12});
      after = on_screen(r, c + 1) && is_one_of(cell(r, c + 1).ch, s, {1, 2, 7, 8, 10, 11, 12});
    }
    line_cell(w, r - interior_top(w), c - interior_left(w), attr, style, vertical,
              rule_glyph(s, i, length, before, after, vertical));
  }
  end_update();
  return set_status(UI_OK);
}

// Scrolls the interior of w by count rows (clamped, at least 1).
void scroll_interior(Window* w, int count, bool up) {
  int top = interior_top(w), bottom = interior_bottom(w);
  int left = interior_left(w), right = interior_right(w);
  int height = bottom - top + 1;
  if (count > height) count = height;
  if (count < 1) count = 1;
  size_t bytes = static_cast<size_t>(right - left + 1) * sizeof(ConsoleCell);
  begin_update();
  if (up) {
    for (int r = top; r + count <= bottom; r++) std::memmove(&cell(r, left), &cell(r + count, left), bytes);
    fill_abs(bottom - count + 1, left, bottom, right, FILL_CHAR, w->window_attr);
  } else {
    for (int r = bottom; r - count >= top; r--) std::memmove(&cell(r, left), &cell(r - count, left), bytes);
    fill_abs(top, left, top + count - 1, right, FILL_CHAR, w->window_attr);
  }
  end_update();
}

}  // namespace

ConsoleCell* saved_cells(SavedBlock* block) { return reinterpret_cast<ConsoleCell*>(block + 1); }

// --- Start-up and shut-down -----------------------------------------------------------

int screen_start() {
  if (console_open() != 0) return 0;
  int columns = 80, rows = 25;
  if (console_size(&columns, &rows) != 0 || columns < 1 || rows < 1) {
    columns = 80;
    rows = 25;
  }
  // Clear the library state; windows left from an earlier session are forgotten.
  std::free(g.work);
  std::free(g.shown);
  std::free(g.scratch);
  void (*pause_hook)(int) = g.pause_hook;
  int codepage = g.codepage;
  g = ScreenState{};
  g.pause_hook = pause_hook;
  g.codepage = codepage;
  g.rows = rows;
  g.columns = columns;
  size_t cells = static_cast<size_t>(rows) * columns + 10;
  g.work = static_cast<ConsoleCell*>(std::calloc(cells, sizeof(ConsoleCell)));
  g.shown = static_cast<ConsoleCell*>(std::calloc(cells, sizeof(ConsoleCell)));
  if (g.work == nullptr || g.shown == nullptr) {
    console_close();
    return 0;
  }
  g.started = true;
  return DISPLAY_CONSOLE;
}

void screen_shutdown() {
  if (!g.started) return;
  console_flush_input();
  console_close();
  g.started = false;
}

int screen_rows() { return g.rows; }
int screen_columns() { return g.columns; }
int ui_status() { return g.last_status; }

// --- Updates --------------------------------------------------------------------------

void begin_update() {
  if (g.work == nullptr) return;
  if (g.nesting == 0) {
    ConsoleRect all{0, 0, static_cast<int16_t>(g.columns - 1), static_cast<int16_t>(g.rows - 1)};
    console_read_cells(g.work, all);
    std::memcpy(g.shown, g.work, static_cast<size_t>(g.rows) * g.columns * sizeof(ConsoleCell));
    if (g.scratch == nullptr)
      g.scratch = static_cast<ConsoleCell*>(std::calloc(static_cast<size_t>(g.rows) * g.columns + 10, sizeof(ConsoleCell)));
  }
  g.nesting++;
}

void end_update() {
  if (g.work == nullptr) return;
  if (g.nesting > 0) g.nesting--;
  if (g.nesting > 0) return;
  int top = -1, bottom = -1, left = -1, right = -1;
  for (int r = 0; r < g.rows; r++)
    for (int c = 0; c < g.columns; c++) {
      const ConsoleCell& a = g.work[r * g.columns + c];
      const ConsoleCell& b = g.shown[r * g.columns + c];
      if (a.ch == b.ch && a.attr == b.attr) continue;
      if (top < 0) top = r;
      bottom = r;
      if (left < 0 || c < left) left = c;
      if (c > right) right = c;
    }
  if (top >= 0 && g.scratch != nullptr) {
    int width = right - left + 1;
    for (int r = top; r <= bottom; r++)
      std::memcpy(g.scratch + (r - top) * width, &cell(r, left), width * sizeof(ConsoleCell));
    ConsoleRect rect{static_cast<int16_t>(left), static_cast<int16_t>(top),
                     static_cast<int16_t>(right), static_cast<int16_t>(bottom)};
    console_write_cells(g.scratch, width, rect);
    std::memcpy(g.shown, g.work, static_cast<size_t>(g.rows) * g.columns * sizeof(ConsoleCell));
  }
  console_set_cursor(g.cursor_col, g.cursor_row);
}

void force_flush() {
  g.nesting = 1;
  end_update();
  g.nesting = 0;
}

int update_nesting() { return g.nesting; }

ConsoleCell screen_cell(int row, int column) {
  if (g.work == nullptr || !on_screen(row, column)) return ConsoleCell{0, 0};
  return cell(row, column);
}

void screen_put(int row, int column, uint8_t ch, uint8_t attr) {
  if (g.work == nullptr) return;
  begin_update();
  put_abs(row, column, ch, attr);
  end_update();
}

// --- The window stack -----------------------------------------------------------------

uint32_t window_open(int top, int left, int bottom, int right, int frame_type,
                     uint8_t frame_attr, uint8_t window_attr) {
  if (frame_type < 0 || frame_type >= FRAME_TYPES) {
    set_status(UI_BAD_FRAME);
    return 0;
  }
  int border = frame_type == FRAME_NONE ? 0 : 1;
  if (top > bottom - border || left > right - border || top < 0 || left < 0 ||
      bottom >= g.rows || right >= g.columns || g.work == nullptr) {
    set_status(UI_OUTSIDE);
    return 0;
  }
  auto* w = static_cast<Window*>(std::calloc(1, sizeof(Window)));
  SavedBlock* background = w != nullptr ? block_save(top, left, bottom, right) : nullptr;
  if (background == nullptr) {
    std::free(w);
    set_status(UI_NO_MEMORY);
    return 0;
  }
  w->lower = g.active;
  if (g.active != nullptr) g.active->upper = w;
  g.active = w;
  w->saved_background = background;
  w->top = u8(top);
  w->left = u8(left);
  w->bottom = u8(bottom);
  w->right = u8(right);
  w->frame_type = u8(frame_type);
  w->frame_attr = frame_attr;
  w->window_attr = window_attr;
  w->border = u8(border);
  w->text_attr = window_attr;
  begin_update();
  draw_frame(w);
  fill_abs(top + border, left + border, bottom - border, right - border, FILL_CHAR, window_attr);
  w->handle = ++g.last_handle;
  w->cursor_row = u8(top + border);
  w->cursor_col = u8(left + border);
  g.open_count++;
  follow_cursor(w);
  end_update();
  set_status(UI_OK);
  return w->handle;
}

int window_close() {
  Window* w = g.active;
  if (w == nullptr) return set_status(UI_NO_WINDOW);
  begin_update();
  shadow_remove(w);
  block_restore(w->saved_background);
  g.open_count--;
  g.active = w->lower;
  if (g.active != nullptr) {
    g.active->upper = nullptr;
    follow_cursor(g.active);
    if (g.active->help_category != 0) g.help_category = g.active->help_category;
  }
  std::free(w->saved_background);
  std::free(w->hidden_cells);
  std::free(w);
  end_update();
  return set_status(UI_OK);
}

int window_move(int top, int left) {
  Window* w = g.active;
  if (w == nullptr) return set_status(UI_NO_WINDOW);
  int height = w->bottom - w->top, width = w->right - w->left;
  if (top < 0 || left < 0 || top + height >= g.rows || left + width >= g.columns)
    return set_status(UI_OUTSIDE);
  bool had_shadow = w->saved_shadow != nullptr;
  uint8_t shadow_attr = w->shadow_attr;
  begin_update();
  shadow_remove(w);
  int status = UI_OK;
  SavedBlock* own = block_save(w->top, w->left, w->bottom, w->right);
  if (own == nullptr) {
    status = UI_NO_MEMORY;
  } else {
    block_restore(w->saved_background);
    SavedBlock* background = block_save(top, left, top + height, left + width);
    if (background == nullptr) {
      block_restore(own);  // the window stays where it was
      status = UI_NO_MEMORY;
    } else {
      own->top = static_cast<uint16_t>(top);
      own->left = static_cast<uint16_t>(left);
      own->bottom = static_cast<uint16_t>(top + height);
      own->right = static_cast<uint16_t>(left + width);
      block_restore(own);
      std::free(w->saved_background);
      w->saved_background = background;
      int dr = top - w->top, dc = left - w->left;
      w->top = u8(top);
      w->left = u8(left);
      w->bottom = u8(top + height);
      w->right = u8(left + width);
      w->cursor_row = u8(w->cursor_row + dr);
      w->cursor_col = u8(w->cursor_col + dc);
      follow_cursor(w);
    }
    std::free(own);
  }
  if (had_shadow) shadow_add(w, shadow_attr);
  end_update();
  return set_status(status);
}

int window_resize(int bottom, int right) {
  Window* w = g.active;
  if (w == nullptr) return set_status(UI_NO_WINDOW);
  if (bottom <= w->top + w->border || right <= w->left + w->border || bottom >= g.rows ||
      right >= g.columns)
    return set_status(UI_OUTSIDE);
  SavedBlock* fresh = block_alloc(w->top, w->left, bottom, right);
  if (fresh == nullptr) return set_status(UI_NO_MEMORY);
  bool had_shadow = w->saved_shadow != nullptr;
  uint8_t shadow_attr = w->shadow_attr;
  begin_update();
  shadow_remove(w);
  SavedBlock* old = w->saved_background;
  auto in_old = [&](int r, int c) { return r >= old->top && r <= old->bottom && c >= old->left && c <= old->right; };
  auto in_new = [&](int r, int c) { return r <= bottom && c <= right; };
  // Cells only the new rectangle covers: saved from the screen, then cleared.
  for (int r = w->top; r <= bottom; r++)
    for (int c = w->left; c <= right; c++) {
      ConsoleCell* slot = block_at(fresh, r, c);
      if (in_old(r, c)) {
        *slot = *block_at(old, r, c);
        bool old_frame = w->border != 0 && (r == old->top || r == old->bottom || c == old->left || c == old->right);
        if (old_frame) cell(r, c) = ConsoleCell{FILL_CHAR, w->window_attr};
      } else {
        *slot = cell(r, c);
        cell(r, c) = ConsoleCell{FILL_CHAR, w->window_attr};
      }
    }
  // Cells the old window covered and the new one does not: their background comes back.
  for (int r = old->top; r <= old->bottom; r++)
    for (int c = old->left; c <= old->right; c++)
      if (!in_new(r, c)) cell(r, c) = *block_at(old, r, c);
  std::free(old);
  w->saved_background = fresh;
  w->bottom = u8(bottom);
  w->right = u8(right);
  draw_frame(w);
  if (w->cursor_row > interior_bottom(w) || w->cursor_col > interior_right(w)) {
    w->cursor_row = u8(interior_top(w));
    w->cursor_col = u8(interior_left(w));
  }
  follow_cursor(w);
  if (had_shadow) shadow_add(w, shadow_attr);
  end_update();
  return set_status(UI_OK);
}

Window* window_active() { return g.active; }
int window_count() { return g.open_count; }

Window* window_at(int column, int row) {
  for (Window* w = g.active; w != nullptr; w = w->lower)
    if (row >= w->top && row <= w->bottom && column >= w->left && column <= w->right) return w;
  return nullptr;
}

int window_height() {
  return g.active == nullptr ? 0 : interior_bottom(g.active) - interior_top(g.active) + 1;
}
int window_width() {
  return g.active == nullptr ? 0 : interior_right(g.active) - interior_left(g.active) + 1;
}

int window_set_help(uint32_t category) {
  if (g.active == nullptr) return set_status(UI_NO_WINDOW);
  g.active->help_category = category;
  g.help_category = category;
  return set_status(UI_OK);
}
uint32_t help_category_current() { return g.help_category; }
void help_category_set_current(uint32_t category) { g.help_category = category; }

// --- Output position ------------------------------------------------------------------

int window_set_cursor(int row, int column) {
  Window* w = g.active;
  if (w == nullptr) return set_status(UI_NO_WINDOW);
  if (!inside_interior(w, row, column)) return set_status(UI_OUTSIDE);
  w->cursor_row = u8(interior_top(w) + row);
  w->cursor_col = u8(interior_left(w) + column);
  follow_cursor(w);
  console_set_cursor(g.cursor_col, g.cursor_row);
  return set_status(UI_OK);
}
int window_cursor_row() { return g.active == nullptr ? 0 : g.active->cursor_row - interior_top(g.active); }
int window_cursor_column() { return g.active == nullptr ? 0 : g.active->cursor_col - interior_left(g.active); }

int window_set_text_attr(uint8_t attr) {
  if (g.active == nullptr) return set_status(UI_NO_WINDOW);
  g.active->text_attr = attr;
  return set_status(UI_OK);
}

// --- Drawing --------------------------------------------------------------------------

int window_put_char(uint8_t code) {
  Window* w = g.active;
  if (w == nullptr) return set_status(UI_NO_WINDOW);
  int row = w->cursor_row, col = w->cursor_col;
  int top = interior_top(w), left = interior_left(w);
  int bottom = interior_bottom(w), right = interior_right(w);
  begin_update();
  switch (code) {
    case 7:
      console_bell();
      break;
    case 8:
      if (col > left) col--;
      else if (row > top) {
        row--;
        col = right;
      }
      break;
    case 9:
      col = left + ((col - left) / TAB_WIDTH + 1) * TAB_WIDTH;
      break;
    case 10:
      row++;
      col = left;
      break;
    case 13:
      col = left;
      break;
    default:
      cell(row, col) = ConsoleCell{code, w->text_attr};
      col++;
      break;
  }
  if (col > right) {
    col = left;
    row++;
  }
  if (row > bottom) {
    scroll_interior(w, 1, true);
    row = bottom;
  }
  w->cursor_row = u8(row);
  w->cursor_col = u8(col);
  follow_cursor(w);
  end_update();
  return set_status(UI_OK);
}

int window_put_string(const char* text, int width) {
  if (g.active == nullptr) return set_status(UI_NO_WINDOW);
  begin_update();
  bool ended = false;
  for (int i = 0; i < width; i++) {
    if (!ended && text[i] == '\0') ended = true;
    window_put_char(ended ? static_cast<uint8_t>(' ') : static_cast<uint8_t>(text[i]));
  }
  end_update();
  return set_status(UI_OK);
}

int window_put_centered(int row, uint8_t attr, const char* text) {
  Window* w = g.active;
  if (w == nullptr) return set_status(UI_NO_WINDOW);
  int width = window_width();
  int length = static_cast<int>(std::strlen(text));
  if (length > width) return set_status(UI_TOO_LONG);
  if (!inside_interior(w, row, 0)) return set_status(UI_OUTSIDE);
  begin_update();
  int col = (width - length) / 2;
  for (int i = 0; i < length; i++)
    put_abs(interior_top(w) + row, interior_left(w) + col + i, static_cast<uint8_t>(text[i]), attr);
  end_update();
  return set_status(UI_OK);
}

int window_put_text(int row, int column, const char* text, uint8_t attr) {
  Window* w = g.active;
  if (w == nullptr) return set_status(UI_NO_WINDOW);
  if (!inside_interior(w, row, column)) return set_status(UI_OUTSIDE);
  begin_update();
  int width = window_width();
  for (int i = 0; text[i] != '\0' && column + i < width; i++)
    put_abs(interior_top(w) + row, interior_left(w) + column + i, static_cast<uint8_t>(text[i]), attr);
  end_update();
  return set_status(UI_OK);
}

int window_put_cell(int row, int column, uint8_t ch, uint8_t attr) {
  Window* w = g.active;
  if (w == nullptr) return set_status(UI_NO_WINDOW);
  if (!inside_interior(w, row, column)) return set_status(UI_OUTSIDE);
  begin_update();
  put_abs(interior_top(w) + row, interior_left(w) + column, ch, attr);
  end_update();
  return set_status(UI_OK);
}

int window_fill(int top, int left, int bottom, int right, uint8_t ch, uint8_t attr) {
  Window* w = g.active;
  if (w == nullptr) return set_status(UI_NO_WINDOW);
  if (top > bottom || left > right || !inside_interior(w, top, left) || !inside_interior(w, bottom, right))
    return set_status(UI_OUTSIDE);
  begin_update();
  fill_abs(interior_top(w) + top, interior_left(w) + left, interior_top(w) + bottom,
           interior_left(w) + right, ch, attr);
  end_update();
  return set_status(UI_OK);
}

int window_clear_eol() {
  Window* w = g.active;
  if (w == nullptr) return set_status(UI_NO_WINDOW);
  begin_update();
  fill_abs(w->cursor_row, w->cursor_col, w->cursor_row, interior_right(w), FILL_CHAR, w->text_attr);
  end_update();
  return set_status(UI_OK);
}

int window_clear() {
  Window* w = g.active;
  if (w == nullptr) return set_status(UI_NO_WINDOW);
  begin_update();
  fill_abs(interior_top(w), interior_left(w), interior_bottom(w), interior_right(w), FILL_CHAR, w->window_attr);
  w->cursor_row = u8(interior_top(w));
  w->cursor_col = u8(interior_left(w));
  follow_cursor(w);
  end_update();
  return set_status(UI_OK);
}

int window_scroll(int count, int direction) {
  if (g.active == nullptr) return set_status(UI_NO_WINDOW);
  scroll_interior(g.active, count, direction == 1);
  return set_status(UI_OK);
}

uint8_t window_read_cell(int row, int column) {
  Window* w = g.active;
  if (w == nullptr) {
    set_status(UI_NO_WINDOW);
    return 0;
  }
  if (!inside_interior(w, row, column)) {
    set_status(UI_OUTSIDE);
    return 0;
  }
  set_status(UI_OK);
  return cell(interior_top(w) + row, interior_left(w) + column).ch;
}

uint8_t window_read_attr(int row, int column) {
  Window* w = g.active;
  if (w == nullptr || !inside_interior(w, row, column)) return 0;
  return cell(interior_top(w) + row, interior_left(w) + column).attr;
}

int window_line_cell(int row, int column, uint8_t attr, int style, bool vertical) {
  Window* w = g.active;
  if (w == nullptr) return set_status(UI_NO_WINDOW);
  if (style < 0 || style >= FRAME_TYPES) return set_status(UI_BAD_FRAME);
  if (!inside_interior(w, row, column)) return set_status(UI_OUTSIDE);
  begin_update();
  line_cell(w, row, column, attr, style, vertical, FRAME_CHARS[style][vertical ? FP_LEFT : FP_TOP]);
  end_update();
  return set_status(UI_OK);
}

int window_hrule(int row, int column, int length, int style, uint8_t attr) {
  return rule(row, column, length, style, attr, false);
}
int window_vrule(int row, int column, int length, int style, uint8_t attr) {
  return rule(row, column, length, style, attr, true);
}

int window_mark_dialog() {
  if (g.active == nullptr) return set_status(UI_NO_WINDOW);
  g.active->dialog = true;
  return set_status(UI_OK);
}

int dialogs_hide() {
  int count = 0;
  begin_update();
  for (Window* w = g.active; w != nullptr && w->dialog && w->hidden_cells == nullptr; w = w->lower) {
    // The window with its shadow as it is drawn, then what lay beneath it.
    const int bottom = w->bottom + 1 < g.rows ? w->bottom + 1 : g.rows - 1;
    const int right = w->right + 2 < g.columns ? w->right + 2 : g.columns - 1;
    w->hidden_cells = block_save(w->top, w->left, bottom, right);
    if (w->hidden_cells == nullptr) break;
    w->hidden_shadow = w->saved_shadow != nullptr;
    shadow_remove(w);
    block_restore(w->saved_background);
    count++;
  }
  end_update();
  return count;
}

void dialogs_show() {
  // The lowest hidden dialog first: each one above it is drawn over it.
  Window* lowest = nullptr;
  for (Window* w = g.active; w != nullptr && w->hidden_cells != nullptr; w = w->lower) lowest = w;
  begin_update();
  for (Window* w = lowest; w != nullptr && w->hidden_cells != nullptr; w = w->upper) {
    if (w->hidden_shadow) shadow_add(w, w->shadow_attr);
    block_restore(w->hidden_cells);
    std::free(w->hidden_cells);
    w->hidden_cells = nullptr;
  }
  end_update();
}

int window_add_shadow(uint8_t attr) {
  if (g.active == nullptr) return set_status(UI_NO_WINDOW);
  return set_status(shadow_add(g.active, attr));
}

int window_remove_shadow() {
  if (g.active == nullptr) return set_status(UI_NO_WINDOW);
  shadow_remove(g.active);
  return set_status(UI_OK);
}

int window_set_title(const char* text, int position, uint8_t attr) {
  Window* w = g.active;
  if (w == nullptr) return set_status(UI_NO_WINDOW);
  size_t length = text == nullptr ? 0 : std::strlen(text);
  if (length > TITLE_MAX) length = TITLE_MAX;
  if (length > 0) std::memcpy(w->title, text, length);
  w->title[length] = '\0';
  w->title_position = u8(position);
  w->title_attr = attr;
  draw_frame(w);
  return set_status(UI_OK);
}

int window_redraw_frame() {
  if (g.active == nullptr) return set_status(UI_NO_WINDOW);
  draw_frame(g.active);
  return set_status(UI_OK);
}

// --- Cursor, pause, case --------------------------------------------------------------

void cursor_show() {
  int size = 25;
  bool visible = true;
  console_get_cursor_info(&size, &visible);
  console_set_cursor_info(size, true);
}

void cursor_hide() {
  int size = 25;
  bool visible = true;
  console_get_cursor_info(&size, &visible);
  console_set_cursor_info(size, false);
}

bool cursor_visible() {
  int size = 25;
  bool visible = true;
  console_get_cursor_info(&size, &visible);
  return visible;
}

void ui_pause(int n) {
  if (n > 0 && g.pause_hook != nullptr) g.pause_hook(n * 100);
}
void ui_set_pause_hook(void (*hook)(int)) { g.pause_hook = hook != nullptr ? hook : sleep_ms; }

// In KOI8-R the byte goes through CP866, whose case tables are the program's own.
static uint8_t koi8_case(uint8_t c, const uint8_t* table) {
  uint8_t cp = KOI8_TO_CP866[c - 0x80];
  uint8_t changed = table[cp];
  return changed < 0x80 ? changed : CP866_TO_KOI8[changed - 0x80];
}

uint8_t ui_upper(uint8_t c) {
  if (g.codepage == 0 || c < 0x80) return CP866_UPPER[c];
  return koi8_case(c, CP866_UPPER);
}

uint8_t ui_lower(uint8_t c) {
  if (g.codepage == 0 || c < 0x80) return CP866_LOWER[c];
  return koi8_case(c, CP866_LOWER);
}

void ui_select_codepage(int selection) { g.codepage = selection == 1 ? 1 : 0; }
int ui_codepage() { return g.codepage; }

}  // namespace tavrel
