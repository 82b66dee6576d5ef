// The dialogs that start a new object: "Новая процедура" (its name and whether to translate
// it with debugging information) and "Новый триггер" (its name, its table, when it fires,
// on which operation and for what, and the debugging information). Both refuse empty names
// and stay open until the user confirms or cancels.
#include <cstring>
#include <string>

#include "catalog/catalog.h"
#include "tui/colours.h"
#include "tui/form.h"
#include "tui/hints.h"
#include "tui/keyboard.h"
#include "tui/messages.h"
#include "tui/msgbox.h"
#include "tui/screen.h"

namespace tavrel {

namespace {

constexpr int NAME_FIELD = 66;
constexpr int NAME_VISIBLE = 60;

struct NewObjectValues {
  char name[NAME_FIELD + 1];
  char table[NAME_FIELD + 1];
  bool debug;
  int time, operation, action;
  bool trigger;
};

NewObjectValues g_values;

std::string trimmed(const char* field) {
  std::string s = field;
  while (!s.empty() && s.back() == ' ') s.pop_back();
  return s;
}

// " Создать ": names checked first; the dialog stays open after a refusal.
void create_pressed(Form* form, int) {
  if (g_values.trigger) {
    if (trimmed(g_values.name).empty() || trimmed(g_values.table).empty()) {
      msgbox_info(message_text(MSG_TRIGGER_NAMES_EMPTY));
      return;
    }
  } else if (trimmed(g_values.name).empty()) {
    msgbox_info(message_text(MSG_NAME_EMPTY));
    return;
  }
  form_end(form, 1);
}

void cancel_pressed(Form* form, int) { form_end(form, 0); }

// A single-line box with a title around a radio group.
void group_frame(int top, int left, int bottom, int right, const char* title) {
  const uint8_t attr = colour(ROLE_DIALOG);
  const uint8_t* f = FRAME_CHARS[FRAME_SINGLE];
  for (int c = left + 1; c < right; ++c) {
    window_put_cell(top, c, f[FP_TOP], attr);
    window_put_cell(bottom, c, f[FP_BOTTOM], attr);
  }
  for (int r = top + 1; r < bottom; ++r) {
    window_put_cell(r, left, f[FP_LEFT], attr);
    window_put_cell(r, right, f[FP_RIGHT], attr);
  }
  window_put_cell(top, left, f[FP_TOP_LEFT], attr);
  window_put_cell(top, right, f[FP_TOP_RIGHT], attr);
  window_put_cell(bottom, left, f[FP_BOTTOM_LEFT], attr);
  window_put_cell(bottom, right, f[FP_BOTTOM_RIGHT], attr);
  window_put_text(top, left + 2, title, attr);
}

int run_form(Form* form, int buttons_row, int width) {
  const int create_width = static_cast<int>(std::strlen(message_text(MSG_CREATE)));
  const int cancel_width = static_cast<int>(std::strlen(message_text(MSG_CANCEL)));
  const int column = (width - create_width - cancel_width - 4) / 2;
  form_add_button(form, buttons_row, column, message_text(MSG_CREATE), KEY_ENTER, create_pressed);
  form_add_button(form, buttons_row, column + create_width + 4, message_text(MSG_CANCEL), KEY_ESC, cancel_pressed);
  return form_run(form);
}

uint32_t open_dialog(int top, int bottom, int title, uint32_t help) {
  const uint32_t handle = window_open(top, 5, bottom, 74, FRAME_DOUBLE, colour(ROLE_DIALOG_FRAME), colour(ROLE_DIALOG));
  if (handle == 0) return 0;
  window_mark_dialog();
  window_set_title(message_text(title), 2, colour(ROLE_DIALOG_FRAME));
  window_set_help(help);
  help_category_set_current(help);
  hint_select(help);
  return handle;
}

}  // namespace

int new_procedure_dialog(std::string* name, bool* debug) {
  static const std::string picture(NAME_FIELD, '*');
  g_values = NewObjectValues{};
  g_values.debug = true;
  if (open_dialog(8, 16, MSG_NEW_PROC_TITLE, HELP_NEW_PROC) == 0) return 0;
  static Form form;
  form_begin(&form, colour(ROLE_FIELD), colour(ROLE_FIELD_FOCUSED));
  form_add_label(&form, 1, 2, message_text(MSG_PROC_NAME));
  form_add_field(&form, 2, 2, g_values.name, picture.c_str(), NAME_VISIBLE);
  form_add_check(&form, 4, 2, message_text(MSG_DEBUG_INFO), &g_values.debug);
  const int result = run_form(&form, 6, window_width());
  window_close();
  if (result != 1) return 0;
  *name = trimmed(g_values.name);
  *debug = g_values.debug;
  return 1;
}

int new_trigger_dialog(TriggerTemplate* t) {
  static const std::string picture(NAME_FIELD, '*');
  g_values = NewObjectValues{};
  g_values.trigger = true;
  g_values.debug = true;
  g_values.time = 1;
  g_values.operation = 1;
  g_values.action = 1;
  if (open_dialog(3, 21, MSG_NEW_TRIGGER_TITLE, HELP_NEW_TRIGGER) == 0) return 0;
  static Form form;
  form_begin(&form, colour(ROLE_FIELD), colour(ROLE_FIELD_FOCUSED));
  form_add_label(&form, 1, 2, message_text(MSG_TRIGGER_NAME));
  form_add_field(&form, 2, 2, g_values.name, picture.c_str(), NAME_VISIBLE);
  form_add_label(&form, 3, 2, message_text(MSG_TABLE_NAME));
  form_add_field(&form, 4, 2, g_values.table, picture.c_str(), NAME_VISIBLE);
  const char* const times[] = {message_text(MSG_TRIGGER_BEFORE), message_text(MSG_TRIGGER_AFTER)};
  const char* const operations[] = {message_text(MSG_TRIGGER_UPDATE), message_text(MSG_TRIGGER_INSERT),
                                    message_text(MSG_TRIGGER_DELETE)};
  const char* const actions[] = {message_text(MSG_TRIGGER_EACH_ROW), message_text(MSG_TRIGGER_EACH_STATEMENT)};
  group_frame(6, 1, 10, 16, message_text(MSG_TRIGGER_TIME));
  group_frame(6, 18, 10, 33, message_text(MSG_TRIGGER_OPERATION));
  group_frame(6, 35, 10, 65, message_text(MSG_TRIGGER_ACTION));
  form_add_radio(&form, 7, 3, times, 2, &g_values.time);
  form_add_radio(&form, 7, 20, operations, 3, &g_values.operation);
  form_add_radio(&form, 7, 37, actions, 2, &g_values.action);
  form_add_check(&form, 12, 2, message_text(MSG_DEBUG_INFO), &g_values.debug);
  const int result = run_form(&form, 15, window_width());
  window_close();
  if (result != 1) return 0;
  t->name = trimmed(g_values.name);
  t->table = trimmed(g_values.table);
  t->after = g_values.time != 1;
  t->operation = g_values.operation;
  t->each_row = g_values.action == 1;
  t->debug = g_values.debug;
  return 1;
}

}  // namespace tavrel
