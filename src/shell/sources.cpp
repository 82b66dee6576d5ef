// The source windows' contents: a procedure or a trigger opened from its pick list and read
// from the database, a "*.prc" file (its kind and name taken from the text), the template
// of a new procedure or trigger, or a stored text the debugger stopped in; and the F2 hook
// that stores a window's text.
#include "shell/shell.h"
#include "tui/messages.h"
#include "tui/msgbox.h"

namespace tavrel {

namespace {

// Puts a stored text into the window; 0, or 1 when it cannot.
int show_stored_text(WorkWindow* w, uint32_t id) {
  std::string stored;
  if (!read_procedure_text(id, &stored)) return 1;
  EditorText text{};
  if (text_init(&text) != TEXT_OK) return 1;
  bool long_lines = false;
  if (stored_text_lines(stored, &text, &long_lines) != TEXT_OK) {
    text_free(&text);
    editor_no_memory();
    return 1;
  }
  editor_set_text(&w->editor, &text);
  text_free(&text);
  if (long_lines) msgbox_info(message_text(MSG_LONG_LINES_CUT));
  return 0;
}

int open_procedure(WorkWindow* w) {
  const int chosen = choose_procedure(false);
  if (chosen == 0) return 1;
  const std::string name = row_name(catalog_rows()[chosen - 1]);
  w->store.procedure_id = find_procedure_by_name(name.c_str());
  editor_set_name(&w->editor, name.c_str());
  return show_stored_text(w, w->store.procedure_id);
}

int open_trigger(WorkWindow* w) {
  const int chosen = choose_trigger();
  if (chosen == 0) return 1;
  const CatalogRow& row = catalog_rows()[chosen - 1];
  w->store.procedure_id = row.procedure_id;
  w->store.id_known = true;
  editor_set_name(&w->editor, row_name(row).c_str());
  return show_stored_text(w, w->store.procedure_id);
}

int open_file(WorkWindow* w) {
  if (editor_read_file_dialog(&w->editor) != 0) return 1;
  const TextHead head = classify_text(&w->editor.text);
  if (head.kind == HEAD_NONE) {
    msgbox_info(message_text(MSG_NO_HEAD_STATEMENT));
    editor_set_name(&w->editor, message_text(MSG_UNKNOWN_NAME));
    return 0;
  }
  editor_set_name(&w->editor, head.name.c_str());
  if (head.kind == HEAD_TRIGGER || head.kind == HEAD_VERB_TRIGGER) {
    w->store.procedure_id = find_trigger_by_name(head.name.c_str());
    w->store.id_known = true;
  }
  return 0;
}

int from_template(WorkWindow* w, bool trigger) {
  EditorText text{};
  if (text_init(&text) != TEXT_OK) return 1;
  std::string name;
  int status = 1;
  if (trigger) {
    TriggerTemplate t;
    if (new_trigger_dialog(&t) == 1) {
      status = trigger_template(t, &text) == TEXT_OK ? 0 : 1;
      name = t.name;
    }
  } else {
    bool debug = true;
    if (new_procedure_dialog(&name, &debug) == 1) status = procedure_template(name, debug, &text) == TEXT_OK ? 0 : 1;
  }
  if (status == 0) {
    editor_set_text(&w->editor, &text);
    editor_set_name(&w->editor, name.c_str());
    w->store.is_new = true;
  }
  text_free(&text);
  return status;
}

}  // namespace

int source_open(WorkWindow* w, uint32_t kind) {
  w->store = StoreTarget{&w->editor, 0, false, HEAD_NONE, false, {}};
  switch (kind) {
    case KIND_PROCEDURE: return open_procedure(w);
    case KIND_TRIGGER: return open_trigger(w);
    case KIND_FILE: return open_file(w);
    case KIND_NEW_PROCEDURE: return from_template(w, false);
    case KIND_NEW_TRIGGER: return from_template(w, true);
    default: return 1;
  }
}

int source_open_stored(WorkWindow* w, uint32_t procedure_id, const std::string& name) {
  w->store = StoreTarget{&w->editor, procedure_id, false, HEAD_NONE, false, {}};
  // A trigger's action shows under its trigger's name; known by its identifier only, its
  // window cannot start it.
  const std::string trigger = trigger_name_by_action(procedure_id);
  w->store.id_known = !trigger.empty();
  editor_set_name(&w->editor, trigger.empty() ? name.c_str() : trigger.c_str());
  return show_stored_text(w, procedure_id);
}

int source_store(Editor* editor) {
  auto* w = static_cast<WorkWindow*>(editor->owner);
  if (w == nullptr) return 0;
  w->store.editor = editor;
  return store_text(&w->store);
}

}  // namespace tavrel
