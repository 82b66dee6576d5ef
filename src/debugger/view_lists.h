// The list views of the debugger beside the source windows: Locals (the variables of the
// selected frame), Monitor (watched expressions, evaluated at every stop) and Stack (the
// call stack, from which the selected frame is switched). Each lives in the window of an
// editor record that gives it its rectangle, window handle and loop state; the record's
// current line is the view's selected row. Column widths follow the window's interior
// width w, as the formulas below say.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "debugger/debugger.h"
#include "editor/editor.h"

namespace tavrel {

// The views, numbered as the window kinds that show them.
constexpr int VIEW_MESSAGES = 1;
constexpr int VIEW_LOCALS = 2;
constexpr int VIEW_WATCH = VIEW_MONITOR;  // 4
constexpr int VIEW_STACK = VIEW_CALL_STACK;  // 5

// Widths of a view's columns: the marker column, then the first and second text columns
// (0 when the view has none). Locals: 3, (2w - 10) / 5, w - 5 - name. Monitor: no marker,
// (2w - 2) / 5, w - 1 - expression. Stack: 3, w - 2.
struct ViewColumns {
  int marker, first, second;
};
ViewColumns view_columns(int view, int width);

// One row's texts (CP866).
struct ViewRow {
  std::string marker, first, second;
};
// Rows of a view: the Monitor always has one more, empty, for a new expression.
size_t view_row_count(Debugger& d, int view);
// The texts of a row; false past the last.
bool view_row(Debugger& d, int view, size_t row, ViewRow* out);

// After a stop or the end of a run: the stack and the locals fetched again (the selected
// frame back at the innermost), and every watched expression evaluated again. Locals whose
// value changed since the last stop in the same frame are marked.
void views_after_stop(Debugger& d);
// The watched expressions evaluated again in the selected frame (after an edit or a frame
// switch).
void monitor_values_refresh(Debugger& d);
const std::string& monitor_value_text(size_t row);

// Draws a view into its editor's window, which must be the active one.
void view_draw(const Editor* e, int view);
// The title of a view's window (CP866).
const char* view_title(int view);
// The help category of a view.
uint32_t view_help(int view);

// The key code a view hands to the shell when every window must be drawn again (another
// view's contents changed).
constexpr uint16_t KEY_VIEWS_CHANGED = 0xF700;

// The view's loop: keys until Esc (EDITOR_CLOSE), a view key (EDITOR_SWITCH_VIEW) or a key
// the shell takes over (the command hook ends the loop). One key, as the loop handles it.
int view_run(Editor* e, int view);
void view_key(Editor* e, int view, uint16_t key);

}  // namespace tavrel
