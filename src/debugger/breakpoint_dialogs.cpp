// The list "Точки останова" and the dialog "Свойства точки останова" over the debugger's one
// breakpoint table: rows with their marks, switching records on and off, deleting them,
// creating and editing them through the dialog, whose kind group enables the fields that
// kind uses and whose procedure field offers the procedure list.
#include "debugger/breakpoint_dialogs.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "catalog/catalog.h"
#include "debugger/manager.h"
#include "debugger/texts.h"
#include "tui/colours.h"
#include "tui/form.h"
#include "tui/hints.h"
#include "tui/keyboard.h"
#include "tui/messages.h"
#include "tui/msgbox.h"
#include "tui/picklist.h"
#include "tui/screen.h"

namespace tavrel {

namespace {

// The list's window.
constexpr int LIST_TOP = 5, LIST_LEFT = 15, LIST_BOTTOM = 18, LIST_RIGHT = 64;
// The dialog's window and its items (interior positions).
constexpr int PROPS_TOP = 5, PROPS_LEFT = 12, PROPS_BOTTOM = 18, PROPS_RIGHT = 67;
constexpr int FIELD_COLUMN = 16;
constexpr int PROCEDURE_SHOWN = 18;
constexpr int CONDITION_SHOWN = 19;
constexpr int CONDITION_MAX = 60;
constexpr int LINE_DIGITS = 5;
constexpr uint8_t SHADOW_ATTR = 0x07;

}  // namespace

int breakpoint_kind_to_group(uint8_t kind) {
  switch (kind) {
    case BREAKPOINT_CONDITION: return 2;
    case BREAKPOINT_CHANGE: return 4;
    default: return 1;
  }
}

uint8_t breakpoint_group_to_kind(int group) {
  switch (group) {
    case 2: return BREAKPOINT_CONDITION;
    case 4: return BREAKPOINT_CHANGE;
    default: return BREAKPOINT_LINE;
  }
}

std::string breakpoint_list_row(Debugger& d, size_t row) {
  if (row >= d.breakpoints.size()) return std::string();
  const Breakpoint& b = d.breakpoints[row];
  return std::string(" ") + breakpoint_mark(b) + " " + breakpoint_row_text(d, b);
}

// --- The properties dialog ---------------------------------------------------------------

namespace {

struct PropsDialog {
  Form form;
  char procedure[NAME_BYTES + 1];
  char line[LINE_DIGITS + 1];
  char condition[CONDITION_MAX + 1];
  int group;
  int line_item, condition_item;
  int index;             // the row edited, -1 for a new record
  Breakpoint original;
  int result;
};

PropsDialog g_props;

void enable_fields(Form* form) {
  form_set_disabled(form, g_props.line_item, g_props.group == 4);
  form_set_disabled(form, g_props.condition_item, g_props.group == 1);
  form_draw(form);
}

void kind_changed(Form* form, int) { enable_fields(form); }

// Enter in the procedure field: the name is chosen from the procedure list.
void pick_procedure(Form* form, int) {
  const int chosen = choose_procedure(false);
  if (chosen > 0) {
    const std::string name = row_name(catalog_rows()[chosen - 1]);
    std::snprintf(g_props.procedure, sizeof g_props.procedure, "%s", name.c_str());
  }
  form_draw(form);
}

std::string trimmed(const char* text) {
  std::string s = text;
  while (!s.empty() && s.back() == ' ') s.pop_back();
  size_t first = 0;
  while (first < s.size() && s[first] == ' ') ++first;
  return s.substr(first);
}

// The procedure named in the field: the record's own when the name is unchanged, else a
// procedure of the user, else the procedure of a trigger; 0 when there is none.
uint32_t named_procedure(Debugger& d, const std::string& name) {
  if (g_props.original.procedure_id != 0 && procedure_name(d, g_props.original.procedure_id) == name)
    return g_props.original.procedure_id;
  if (const uint32_t id = find_procedure_by_name(name.c_str())) return id;
  return find_trigger_by_name(name.c_str());
}

void accept(Form* form, int) {
  Debugger& d = manager_debugger();
  Breakpoint edited = g_props.original;
  const std::string name = trimmed(g_props.procedure);
  edited.procedure_id = name.empty() ? 0 : named_procedure(d, name);
  if (edited.procedure_id == 0) {
    msgbox_info(debugger_error_text(DEBUGGER_UNDEFINED_PROCEDURE).c_str());
    return;
  }
  edited.kind = breakpoint_group_to_kind(g_props.group);
  const long number = std::strtol(g_props.line, nullptr, 10);
  edited.line = edited.kind == BREAKPOINT_CHANGE ? g_props.original.line
                                                 : static_cast<uint32_t>(number > 1 ? number - 1 : 0);
  edited.text = edited.kind == BREAKPOINT_LINE ? std::string() : std::string(g_props.condition);
  const int code = breakpoint_accept(d, g_props.index, edited);
  // A duplicate or a condition that does not translate keeps the dialog open (the box said
  // why); a refusal of the kernel ends it with the table as it was.
  if (code == DBG_REFUSED) return;
  form_end(form, code == 0 ? 1 : 0);
}

void cancel(Form* form, int) { form_end(form, 0); }

}  // namespace

int breakpoint_properties(int index, const Breakpoint& record) {
  Debugger& d = manager_debugger();
  PropsDialog& p = g_props;
  p = PropsDialog{};
  p.index = index;
  p.original = record;
  p.group = breakpoint_kind_to_group(record.kind);
  const std::string name = record.procedure_id != 0 ? procedure_name(d, record.procedure_id) : std::string();
  std::snprintf(p.procedure, sizeof p.procedure, "%s", name.c_str());
  // The field holds five digits: a later line is not offered.
  if (record.kind != BREAKPOINT_CHANGE && record.line < 99999) {
    const std::string number = std::to_string(record.line + 1);
    std::memcpy(p.line, number.c_str(), number.size() + 1);
  }
  std::snprintf(p.condition, sizeof p.condition, "%s", record.text.c_str());

  const uint32_t category = help_category_current();
  if (window_open(PROPS_TOP, PROPS_LEFT, PROPS_BOTTOM, PROPS_RIGHT, FRAME_DOUBLE, colour(ROLE_DIALOG_FRAME),
                  colour(ROLE_DIALOG)) == 0)
    return 0;
  window_mark_dialog();
  const std::string title = std::string(" ") + message_text(MSG_BREAKPOINT_PROPS_TITLE) + " ";
  window_set_title(title.c_str(), 2, colour(ROLE_DIALOG_FRAME));
  window_add_shadow(SHADOW_ATTR);
  window_set_help(HELP_BREAKPOINT_PROPS);
  hint_select(HELP_BREAKPOINT_PROPS);
  static const std::string name_picture(NAME_BYTES, '*');
  static const std::string condition_picture(CONDITION_MAX, '*');
  const char* const kinds[] = {message_text(MSG_BP_PLAIN), message_text(MSG_BP_CONDITIONAL),
                               message_text(MSG_BP_ON_CHANGE)};
  Form* form = &p.form;
  form_begin(form);
  form_add_label(form, 1, 2, message_text(MSG_BP_PROCEDURE));
  form_add_field(form, 1, FIELD_COLUMN, p.procedure, name_picture.c_str(), PROCEDURE_SHOWN, pick_procedure);
  form_add_label(form, 3, 2, message_text(MSG_BP_TYPE));
  form_add_radio(form, 3, FIELD_COLUMN, kinds, 3, &p.group, kind_changed);
  form_add_label(form, 7, 2, message_text(MSG_BP_LINE));
  p.line_item = form_add_field(form, 7, FIELD_COLUMN, p.line, "#####", LINE_DIGITS);
  form_add_label(form, 8, 2, message_text(MSG_BP_CONDITION));
  p.condition_item =
      form_add_field(form, 8, FIELD_COLUMN, p.condition, condition_picture.c_str(), CONDITION_SHOWN);
  std::string enter = message_text(MSG_ENTER);
  enter.insert(enter.find_first_not_of(' '), "~");
  std::string quit = message_text(MSG_CANCEL);
  quit.insert(quit.find_first_not_of(' '), "~");
  // The buttons' keys are the Alt combinations of the Latin keys under В and О.
  form_add_button(form, 10, 12, enter.c_str(), 0x2000, accept);
  form_add_button(form, 10, 30, quit.c_str(), 0x2400, cancel);
  enable_fields(form);
  form_run(form);
  const int result = form->result;
  window_close();
  help_category_set_current(category);
  hint_select(category);
  return result == 1 ? 1 : 0;
}

// --- The list ----------------------------------------------------------------------------

namespace {

int list_row_text(int index, char* out, int capacity, void*) {
  Debugger& d = manager_debugger();
  if (index < 0 || static_cast<size_t>(index) > d.breakpoints.size()) return 0;
  std::snprintf(out, static_cast<size_t>(capacity), "%s", breakpoint_list_row(d, static_cast<size_t>(index)).c_str());
  return 1;
}

void recount(PickList* list) {
  const int selected = list->selected, top = list->top;
  picklist_init(list, list_row_text, nullptr);
  list->selected = selected < list->count ? selected : list->count - 1;
  list->top = top <= list->selected ? top : list->selected;
}

void show_mode(bool edit) {
  const uint32_t category = edit ? HELP_BREAKPOINTS_EDIT : HELP_BREAKPOINTS;
  window_set_help(category);
  hint_select(category);
}

}  // namespace

void breakpoint_list_run(uint32_t procedure_id, uint32_t line) {
  Debugger& d = manager_debugger();
  const uint32_t category = help_category_current();
  if (window_open(LIST_TOP, LIST_LEFT, LIST_BOTTOM, LIST_RIGHT, FRAME_DOUBLE, colour(ROLE_DIALOG_FRAME),
                  colour(ROLE_LIST)) == 0)
    return;
  window_mark_dialog();
  const std::string title = std::string(" ") + message_text(MSG_BREAKPOINTS_TITLE) + " ";
  window_set_title(title.c_str(), 2, colour(ROLE_DIALOG_FRAME));
  window_add_shadow(SHADOW_ATTR);
  bool edit = false;
  show_mode(edit);
  PickList list;
  picklist_init(&list, list_row_text, nullptr);
  const int height = window_height();
  for (;;) {
    picklist_draw(&list, 0, 0, height, window_width(), true);
    cursor_hide();
    force_flush();
    const uint16_t key = get_key();
    if (key == KEY_NONE) continue;
    if (key == KEY_TAB || key == KEY_SHIFT_TAB) {
      edit = !edit;
      show_mode(edit);
      continue;
    }
    const size_t row = static_cast<size_t>(list.selected < 0 ? 0 : list.selected);
    if (key == KEY_DEL) {
      breakpoint_delete(d, row);
      recount(&list);
      continue;
    }
    const int verdict = picklist_key(&list, key, height);
    if (verdict < 0) break;
    if (verdict == 0) continue;
    if (row >= d.breakpoints.size()) {
      breakpoint_properties(-1, Breakpoint{false, procedure_id, line, BREAKPOINT_LINE, {}});
    } else if (edit) {
      breakpoint_properties(static_cast<int>(row), d.breakpoints[row]);
    } else {
      breakpoint_set_active(d, row, !d.breakpoints[row].active);
    }
    recount(&list);
    show_mode(edit);
  }
  window_close();
  cursor_show();
  help_category_set_current(category);
  hint_select(category);
}

}  // namespace tavrel
