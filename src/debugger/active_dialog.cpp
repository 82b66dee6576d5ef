// The active procedures dialog: one window, in which the list and the buttons are built
// again after every refresh; the columns come from the debugger's active list.
#include "debugger/active_dialog.h"

#include <cstdio>
#include <string>

#include "debugger/active_list.h"
#include "debugger/manager.h"
#include "tui/form.h"
#include "tui/hints.h"
#include "tui/keyboard.h"
#include "tui/messages.h"
#include "tui/screen.h"

namespace tavrel {

namespace {

constexpr int ACTIVE_TOP = 3, ACTIVE_LEFT = 1, ACTIVE_BOTTOM = 20, ACTIVE_RIGHT = 76;
constexpr uint8_t ACTIVE_ATTR = 0x70;
constexpr uint8_t ACTIVE_TITLE_ATTR = 0x7F;
constexpr int LIST_ROW = 1, LIST_COLUMN = 1, LIST_HEIGHT = 11;
constexpr int BUTTON_ROW = 14;
// The buttons' keys: the Alt combinations of the Latin keys that carry О, З and В.
constexpr uint16_t KEY_REFRESH = 0x2400, KEY_END_PROCEDURE = 0x1900, KEY_ENTER_BUTTON = 0x2000;

struct ActiveDialog {
  Form form;
  ActiveList list;
  DebugSession* current;
  int list_item;
};

ActiveDialog g_active;

int row_text(int row, char cells[][FORM_CELL_MAX + 1], void*) {
  ActiveRow r;
  if (row < 0 || active_row_text(manager_debugger(), g_active.list, static_cast<size_t>(row), &r) == 0) return 0;
  const std::string* columns[] = {&r.name, &r.id, &r.state, &r.quanta, &r.caller};
  for (int c = 0; c < 5; ++c) std::snprintf(cells[c], FORM_CELL_MAX + 1, "%s", columns[c]->c_str());
  return 1;
}

// " Обновить ": only when activated with Enter.
void refresh_pressed(Form* form, int) {
  if (form_last_key(form) != KEY_ENTER) return;
  g_active.list.refresh = true;
  form_end(form, 1);
}

// " Завершить процедуру ": only with Enter and rows in the list; a failure keeps the dialog.
void end_pressed(Form* form, int) {
  if (form_last_key(form) != KEY_ENTER || g_active.list.count == 0) return;
  const int selected = form_list_selected(form, g_active.list_item);
  const int code = active_end_selected(manager_debugger(), &g_active.list, static_cast<size_t>(selected < 0 ? 0 : selected),
                                       g_active.current);
  if (code == 0) form_end(form, 1);
}

std::string hot(int message) {
  std::string s = message_text(message);
  s.insert(s.find_first_not_of(' '), "~");
  return s;
}

void build(Form* form) {
  form_begin(form);
  form->button_attr = 0x20;
  form->button_focused_attr = 0x2F;
  form->hot_attr = 0x20;
  form->focused_hot_attr = 0x2E;
  const int list = form_add_list(form, LIST_ROW, LIST_COLUMN, LIST_HEIGHT, row_text, nullptr);
  g_active.list_item = list;
  form_list_column(form, list, message_text(MSG_NAME), 18);
  form_list_column(form, list, message_text(MSG_ACTIVE_ID), 5);
  form_list_column(form, list, message_text(MSG_ACTIVE_STATE), 32);
  form_list_column(form, list, message_text(MSG_ACTIVE_QUANTA), 7);
  form_list_column(form, list, message_text(MSG_ACTIVE_CALLER), 6);
  form_add_button(form, BUTTON_ROW, 14, hot(MSG_ACTIVE_REFRESH).c_str(), KEY_REFRESH, refresh_pressed);
  form_add_button(form, BUTTON_ROW, 26, hot(MSG_ACTIVE_END_PROC).c_str(), KEY_END_PROCEDURE, end_pressed);
  form_add_button(form, BUTTON_ROW, 49, hot(MSG_ENTER).c_str(), KEY_ENTER_BUTTON, nullptr);
}

}  // namespace

void active_list_run(DebugSession* current) {
  ActiveDialog& a = g_active;
  a.current = current;
  a.list = ActiveList{};
  const uint32_t category = help_category_current();
  begin_update();
  if (window_open(ACTIVE_TOP, ACTIVE_LEFT, ACTIVE_BOTTOM, ACTIVE_RIGHT, FRAME_DOUBLE, ACTIVE_ATTR, ACTIVE_ATTR) == 0) {
    end_update();
    return;
  }
  window_mark_dialog();
  const std::string title = std::string(" ") + message_text(MSG_MENU_ACTIVE_PROCS) + " ";
  window_set_title(title.c_str(), 2, ACTIVE_TITLE_ATTR);
  window_set_help(HELP_ACTIVE_PROCS);
  hint_select(HELP_ACTIVE_PROCS);
  do {
    a.list.refresh = false;
    active_fetch(manager_debugger(), &a.list);
    window_clear();
    build(&a.form);
    end_update();
    form_run(&a.form);
    if (Window* w = window_active()) w->items = nullptr;
    if (a.list.refresh) begin_update();
  } while (a.list.refresh);
  window_close();
  a.list = ActiveList{};
  help_category_set_current(category);
  hint_select(category);
}

}  // namespace tavrel
