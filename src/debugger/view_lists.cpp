// The Locals, Monitor and Stack views: their columns and row texts over the debugger's data,
// the values of the watched expressions kept from the last evaluation, the marks of locals
// that changed, the drawing (a heading row, then the rows with a selection bar) and the keys
// of each view.
#include "debugger/view_lists.h"

#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "debugger/manager.h"
#include "debugger/texts.h"
#include "translator/value_form.h"
#include "tui/colours.h"
#include "tui/form.h"
#include "tui/hints.h"
#include "tui/keyboard.h"
#include "tui/messages.h"
#include "tui/screen.h"

namespace tavrel {

namespace {

constexpr uint8_t COLUMN_RULE = 0xB3;
constexpr uint8_t CONTEXT_MARK = 0x10;  // ► before the selected frame
constexpr const char* CHANGED_MARK = " * ";

struct ViewState {
  std::vector<std::string> monitor_values;  // by expression row
  // The locals' forms at the last stop, by name, and the frame they belong to.
  std::map<std::string, std::string> previous_locals;
  uint32_t previous_procedure = 0;
  uint16_t previous_execution = 0;
  std::map<std::string, bool> changed;
};

ViewState g_views;

std::string value_form(Debugger& d, const Value& v) {
  pool_enter_level(d.pool);
  std::string form = typed_value_form(v, d.pool);
  pool_leave_level(d.pool);
  return form;
}

bool has_heading(int view) { return view != VIEW_STACK; }

// Marks the locals whose form differs from the last stop's in the same frame.
void mark_changed_locals(Debugger& d) {
  uint32_t procedure_id = 0;
  uint16_t execution = 0;
  const bool stopped = context_frame(d, &procedure_id, &execution);
  const bool same_frame =
      stopped && procedure_id == g_views.previous_procedure && execution == g_views.previous_execution;
  std::map<std::string, std::string> now;
  g_views.changed.clear();
  for (const LocalRow& row : d.views.locals) {
    const std::string form = value_form(d, row.value);
    if (same_frame) {
      const auto before = g_views.previous_locals.find(row.name);
      g_views.changed[row.name] = before == g_views.previous_locals.end() || before->second != form;
    }
    now[row.name] = form;
  }
  g_views.previous_locals = std::move(now);
  g_views.previous_procedure = stopped ? procedure_id : 0;
  g_views.previous_execution = stopped ? execution : 0;
}

int first_data_row(int view) { return has_heading(view) ? 1 : 0; }

int visible_rows(const Editor* e, int view) {
  const int rows = editor_rows(e) - first_data_row(view);
  return rows < 1 ? 1 : rows;
}

// Keeps the selected row (the editor record's current line) within the rows and in view.
void place_selection(Editor* e, int view, int row) {
  const int count = manager_debugger_started() ? static_cast<int>(view_row_count(manager_debugger(), view)) : 0;
  if (row >= count) row = count - 1;
  if (row < 0) row = 0;
  const int rows = visible_rows(e, view);
  int top = e->line - e->cursor_row;
  if (row < top) top = row;
  if (row >= top + rows) top = row - rows + 1;
  e->line = row;
  e->cursor_row = row - top;
}

}  // namespace

ViewColumns view_columns(int view, int w) {
  switch (view) {
    case VIEW_LOCALS: {
      const int name = (2 * w - 10) / 5;
      return {3, name, w - 5 - name};
    }
    case VIEW_WATCH: {
      const int expression = (2 * w - 2) / 5;
      return {0, expression, w - 1 - expression};
    }
    case VIEW_STACK: return {3, w - 2, 0};
    default: return {0, w, 0};
  }
}

size_t view_row_count(Debugger& d, int view) {
  switch (view) {
    case VIEW_LOCALS: return d.views.locals.size();
    case VIEW_WATCH: return d.views.monitor.size() + 1;
    case VIEW_STACK: return d.views.stack.size();
    default: return 0;
  }
}

bool view_row(Debugger& d, int view, size_t row, ViewRow* out) {
  *out = ViewRow{};
  if (row >= view_row_count(d, view)) return false;
  switch (view) {
    case VIEW_LOCALS: {
      const LocalRow& local = d.views.locals[row];
      const auto changed = g_views.changed.find(local.name);
      out->marker = changed != g_views.changed.end() && changed->second ? CHANGED_MARK : "   ";
      out->first = local.name;
      out->second = value_form(d, local.value);
      return true;
    }
    case VIEW_WATCH:
      if (row < d.views.monitor.size()) {
        out->first = d.views.monitor[row];
        out->second = monitor_value_text(row);
      }
      return true;
    case VIEW_STACK: {
      const StackEntry& frame = d.views.stack[row];
      out->marker = row == d.views.context ? std::string(1, static_cast<char>(CONTEXT_MARK)) + "  " : "   ";
      out->first = procedure_name(d, frame.procedure_id) + ":" + std::to_string(frame.line + 1);
      return true;
    }
    default: return false;
  }
}

void views_after_stop(Debugger& d) {
  d.views.context = 0;
  // A stack that cannot be read leaves the locals of the stopped frame to be shown.
  stack_fetch(d);
  locals_fetch(d);
  mark_changed_locals(d);
  monitor_values_refresh(d);
}

void monitor_values_refresh(Debugger& d) {
  g_views.monitor_values.assign(d.views.monitor.size(), std::string());
  uint32_t procedure_id = 0;
  uint16_t execution = 0;
  // Nothing stopped: the expressions are shown without values.
  if (!context_frame(d, &procedure_id, &execution)) return;
  for (size_t row = 0; row < d.views.monitor.size(); ++row) g_views.monitor_values[row] = monitor_value(d, row);
}

const std::string& monitor_value_text(size_t row) {
  static const std::string none;
  return row < g_views.monitor_values.size() ? g_views.monitor_values[row] : none;
}

const char* view_title(int view) {
  switch (view) {
    case VIEW_MESSAGES: return message_text(MSG_VIEW_MESSAGES);
    case VIEW_LOCALS: return message_text(MSG_VIEW_LOCALS);
    case VIEW_WATCH: return message_text(MSG_VIEW_MONITOR);
    case VIEW_STACK: return message_text(MSG_VIEW_STACK);
    default: return "";
  }
}

uint32_t view_help(int view) {
  switch (view) {
    case VIEW_MESSAGES: return HELP_MESSAGES;
    case VIEW_LOCALS: return HELP_LOCALS;
    case VIEW_WATCH: return HELP_MONITOR;
    case VIEW_STACK: return HELP_STACK;
    default: return HELP_GENERAL;
  }
}

namespace {

// Writes a cell text cut or padded to its width; the next column.
int put_column(int row, int column, const std::string& text, int width, uint8_t attr) {
  if (width <= 0) return column;
  std::string cell = text.substr(0, static_cast<size_t>(width));
  cell.resize(static_cast<size_t>(width), ' ');
  window_put_text(row, column, cell.c_str(), attr);
  return column + width;
}

void draw_row(int row, const ViewColumns& c, const ViewRow& texts, uint8_t attr, uint8_t rule_attr) {
  int column = put_column(row, 0, texts.marker, c.marker, attr);
  if (c.marker > 0) window_put_cell(row, column++, COLUMN_RULE, rule_attr);
  column = put_column(row, column, texts.first, c.first, attr);
  if (c.second > 0) {
    window_put_cell(row, column++, COLUMN_RULE, rule_attr);
    put_column(row, column, texts.second, c.second, attr);
  }
}

}  // namespace

void view_draw(const Editor* e, int view) {
  if (e->window == 0 || window_active() == nullptr || window_active()->handle != e->window) return;
  if (!manager_debugger_started()) return;
  Debugger& d = manager_debugger();
  begin_update();
  const Window* w = window_active();
  window_set_title(view_title(view), 2, w->frame_attr);
  const int width = window_width();
  const ViewColumns c = view_columns(view, width);
  const uint8_t normal = colour(ROLE_VIEW);
  window_fill(0, 0, window_height() - 1, width - 1, ' ', normal);
  if (has_heading(view)) {
    ViewRow heading;
    heading.first = message_text(view == VIEW_LOCALS ? MSG_NAME : MSG_VIEW_EXPRESSION);
    heading.second = message_text(MSG_VALUE);
    draw_row(0, c, heading, colour(ROLE_LIST_HEADING), colour(ROLE_LIST_HEADING));
  }
  const int first = first_data_row(view);
  const int top = e->line - e->cursor_row;
  const bool focused = help_category_current() == view_help(view);
  for (int r = 0; r < visible_rows(e, view); ++r) {
    ViewRow texts;
    const size_t row = static_cast<size_t>(top + r);
    if (!view_row(d, view, row, &texts)) break;
    const bool selected = static_cast<int>(row) == e->line;
    draw_row(first + r, c, texts, selected && focused ? colour(ROLE_VIEW_SELECTED) : normal, normal);
  }
  window_set_cursor(first + e->cursor_row, 0);
  end_update();
}

namespace {

// Edits a watched expression in place: a one-field form over the row's expression column.
// Returns 1 with *text when Enter accepted it.
int edit_expression(const Editor* e, int view, std::string* text) {
  static const std::string picture(MONITOR_TEXT_MAX, '*');
  static char value[MONITOR_TEXT_MAX + 1];
  std::snprintf(value, sizeof value, "%s", text->c_str());
  const ViewColumns c = view_columns(view, window_width());
  static Form form;
  form_begin(&form, colour(ROLE_FIELD_FOCUSED), colour(ROLE_FIELD_FOCUSED));
  const int field = form_add_field(&form, first_data_row(view) + e->cursor_row, 0, value, picture.c_str(), c.first,
                                   [](Form* f, int) { form_end(f, 1); });
  form.items[field].cursor = static_cast<int>(std::strlen(value));
  if (form.items[field].cursor >= c.first) form.items[field].scroll = form.items[field].cursor - c.first + 1;
  const int result = form_run(&form);
  if (Window* w = window_active()) w->items = nullptr;
  if (result != 1) return 0;
  text->assign(value);
  while (!text->empty() && text->back() == ' ') text->pop_back();
  return 1;
}

void monitor_edit(Editor* e, int view, uint16_t first_key) {
  Debugger& d = manager_debugger();
  const size_t row = static_cast<size_t>(e->line);
  std::string text = row < d.views.monitor.size() ? d.views.monitor[row] : std::string();
  // A character typed on a row starts a new text with it.
  if (first_key != KEY_ENTER) text.assign(1, static_cast<char>(first_key & 0xFF));
  if (edit_expression(e, view, &text) != 1) return;
  if (text.empty()) {
    if (row < d.views.monitor.size()) monitor_delete(d.views, row);
  } else if (monitor_set(d.views, row, text) != 0) {
    return;
  }
  monitor_values_refresh(d);
  place_selection(e, view, e->line);
}

void move(Editor* e, int view, int rows) { place_selection(e, view, e->line + rows); }

void mouse(Editor* e, int view) {
  const MouseState m = mouse_state();
  const Window* w = window_active();
  if ((m.buttons & MOUSE_LEFT) == 0 || (m.flags & MOUSE_MOVED_FLAG) != 0 || w == nullptr) return;
  if (m.row == screen_rows() - 1) {
    if (const uint16_t key = hint_key_at(m.column)) view_key(e, view, key);
    return;
  }
  if (window_at(m.column, m.row) != w) return;
  const int row = m.row - w->top - w->border - first_data_row(view);
  if (row < 0 || row >= visible_rows(e, view)) return;
  place_selection(e, view, e->line - e->cursor_row + row);
  if ((m.flags & MOUSE_DOUBLE_CLICK_FLAG) != 0) view_key(e, view, KEY_ENTER);
}

}  // namespace

void view_key(Editor* e, int view, uint16_t key) {
  if (!manager_debugger_started()) return editor_end(e, EDITOR_CLOSE);
  Debugger& d = manager_debugger();
  const int page = visible_rows(e, view);
  switch (key) {
    case KEY_MOUSE: return mouse(e, view);
    case KEY_UP: return move(e, view, -1);
    case KEY_DOWN: return move(e, view, 1);
    case KEY_PGUP: return move(e, view, -page);
    case KEY_PGDN: return move(e, view, page);
    case KEY_HOME:
    case KEY_CTRL_PGUP: return place_selection(e, view, 0);
    case KEY_END:
    case KEY_CTRL_PGDN: return place_selection(e, view, static_cast<int>(view_row_count(d, view)) - 1);
    case KEY_ESC: return editor_end(e, EDITOR_CLOSE);
    default: break;
  }
  if (view == VIEW_WATCH) {
    if (key == KEY_CTRL_F7) {
      if (monitor_insert(d.views, static_cast<size_t>(e->line)) == 0) {
        monitor_values_refresh(d);
        monitor_edit(e, view, KEY_ENTER);
      }
      return;
    }
    if (key == KEY_ALT_D) {
      if (monitor_delete(d.views, static_cast<size_t>(e->line)) == 0) monitor_values_refresh(d);
      return place_selection(e, view, e->line);
    }
    const uint8_t ch = static_cast<uint8_t>(key & 0xFF);
    if (key == KEY_ENTER || (ch >= ' ' && ch != 0x7F)) return monitor_edit(e, view, key);
  }
  if (view == VIEW_STACK && key == KEY_ENTER) {
    if (stack_select(d, static_cast<size_t>(e->line)) == 0) {
      monitor_values_refresh(d);
      // The Locals and the Monitor show another frame now.
      if (editor_hooks().command != nullptr) editor_hooks().command(e, KEY_VIEWS_CHANGED);
    }
    return;
  }
  if (key == KEY_CTRL_F7 || key == KEY_CTRL_F3) {
    e->view = key == KEY_CTRL_F7 ? VIEW_WATCH : VIEW_STACK;
    if (e->view != view) editor_end(e, EDITOR_SWITCH_VIEW);
    return;
  }
  // Function and window keys belong to the shell.
  if ((key & 0xFF) == 0 && editor_hooks().command != nullptr) editor_hooks().command(e, key);
}

int view_run(Editor* e, int view) {
  e->state = EDITOR_RUNNING;
  window_set_help(view_help(view));
  hint_select(view_help(view));
  place_selection(e, view, e->line);
  while (e->state == EDITOR_RUNNING) {
    view_draw(e, view);
    cursor_hide();
    force_flush();
    const uint16_t key = get_key();
    if (key != KEY_NONE) view_key(e, view, key);
  }
  cursor_show();
  return e->state;
}

}  // namespace tavrel
