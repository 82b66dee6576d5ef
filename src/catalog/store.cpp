// Storing a text: the head of its first statement read with the procedure language's lexer
// (verb, kind, name, where it stands), the statement built from the lines (always ending in
// ";" at an even length), and the store loop that answers the kernel's "does not exist" and
// "already exists" with alter, create or a re-creation the user agrees to. Dropping too.
#include <cstring>

#include "catalog/catalog_state.h"
#include "translator/lexer.h"
#include "tui/messages.h"
#include "tui/msgbox.h"
#include "values/stack_mem.h"

namespace tavrel {

namespace {

const char* const VERB_CREATE_TEXT = "create ";
const char* const VERB_ALTER_TEXT = "alter ";
const char* const DROP_PROCEDURE = "drop procedure \"%s\";";
const char* const DROP_TRIGGER = "drop trigger \"%s\";";
constexpr int STORE_ATTEMPTS = 8;  // the recoverable codes cannot make the loop run away

struct HeadReader {
  Lexer lx;
  int token;
};

void advance(HeadReader& r) { r.token = next_token(r.lx); }

int token_line(const HeadReader& r) { return r.lx.token.line - 1; }
int token_column(const HeadReader& r) { return place_column(r.lx.token) - 1; }

// The object's name: an identifier (the lexer gives it upper-cased) or a quoted name.
bool read_name(HeadReader& r, std::string* name) {
  if (r.token == TOK_STRING || r.token == TOK_UNKNOWN_NAME || r.token == TOK_FUNCTION) {
    const std::string_view text = lexer_text(r.lx);
    *name = std::string(text.substr(0, text.size() < NAME_BYTES ? text.size() : NAME_BYTES));
    return !name->empty();
  }
  return false;
}

void read_head(HeadReader& r, TextHead* head) {
  advance(r);
  head->line = token_line(r);
  head->verb_column = token_column(r);
  int verb = 0;  // 0 none, 1 create, 2 alter, 3 create or replace
  if (r.token == TOK_CREATE) {
    verb = 1;
    advance(r);
    if (r.token == TOK_OR) {
      advance(r);
      if (r.token != TOK_REPLACE) return;
      verb = 3;
      advance(r);
    }
  } else if (r.token == TOK_ALTER) {
    verb = 2;
    advance(r);
  }
  // Where the verb's replacement ends: the word after the verb, on whatever line it stands.
  head->after_line = verb != 0 ? token_line(r) : head->line;
  head->column = verb != 0 ? token_column(r) : head->verb_column;
  int kind = HEAD_NONE;
  if (r.token == TOK_PROCEDURE) {
    static constexpr int BY_VERB[] = {HEAD_PROCEDURE, HEAD_CREATE_PROCEDURE, HEAD_ALTER_PROCEDURE,
                                      HEAD_REPLACE_PROCEDURE};
    kind = BY_VERB[verb];
  } else if (r.token != TOK_STRING && lexer_text(r.lx) == "TRIGGER") {
    kind = verb != 0 ? HEAD_VERB_TRIGGER : HEAD_TRIGGER;
  } else {
    return;
  }
  advance(r);
  if (read_name(r, &head->name)) head->kind = kind;
}

// The verb a head's text carries, as the store loop names it.
const char* written_verb(int kind) {
  if (kind == HEAD_ALTER_PROCEDURE) return VERB_ALTER_TEXT;
  if (kind == HEAD_CREATE_PROCEDURE) return VERB_CREATE_TEXT;
  return nullptr;  // create or replace: any wanted verb differs
}

uint32_t send_statement(const std::string& statement) {
  static char answer[STORE_ANSWER];
  RequestBlock* b = catalog_block();
  set_command(b, "    ");
  b->answer_length = STORE_ANSWER;
  const uint32_t rc = kernel_call(b, nullptr, statement.c_str(), nullptr, answer);
  set_command(b, "PROC");
  return rc;
}

bool is_trigger(int kind) { return kind == HEAD_TRIGGER || kind == HEAD_VERB_TRIGGER; }

int drop(bool procedure) {
  const int chosen = procedure ? choose_procedure(true) : choose_trigger();
  if (chosen == 0) return 0;
  const std::string name = row_name(catalog_rows()[chosen - 1]);
  if (msgbox_yes_no(message_text(procedure ? MSG_DROP_PROC_SURE : MSG_DROP_TRIGGER_SURE)) != 1) return 0;
  const std::string statement = catalog_format(procedure ? DROP_PROCEDURE : DROP_TRIGGER, name.c_str());
  const uint32_t rc = send_statement(statement);
  if (rc != 0) {
    report_kernel_error(catalog_block(), rc, catalog_block()->system_code);
    return 0;
  }
  return 1;
}

}  // namespace

TextHead classify_text(const EditorText* text) {
  TextHead head{HEAD_NONE, "", 0, 0, 0, 0};
  std::string source;
  const int last = text_last_used(text);
  for (int i = 0; i <= last; ++i) {
    const char* line = text_line(text, i);
    if (line != nullptr) source.append(line, static_cast<size_t>(text_length(text, i)));
    source += '\n';
  }
  StackMemory memory{};
  if (stack_mem_setup(memory) != 0) return head;
  MemoryText input{source.data(), source.size()};
  HeadReader r{};
  if (lexer_start(r.lx, memory_source(&input), nullptr, memory, STACK_TEXT_B) == 0) {
    lexer_names_off(r.lx, true);
    read_head(r, &head);
    lexer_finish(r.lx);
  }
  stack_mem_teardown(memory);
  if (head.kind == HEAD_NONE) head.name.clear();
  return head;
}

std::string build_statement(const EditorText* text, const char* prefix) {
  std::string s = prefix != nullptr ? prefix : "";
  for (int i = 0; i < text->capacity; ++i) {
    const char* line = text->lines[i];
    if (line != nullptr) s.append(line, static_cast<size_t>(text_length(text, i)));
    s += '\n';
  }
  while (!s.empty() && s.back() == '\n') s.pop_back();
  size_t position = s.size();
  if (!s.empty() && s.back() == ';') position = s.size() - 1;
  s.resize(position);
  // The statement's length is kept even: a blank goes before the ";" when it would be odd.
  if (position % 2 == 0) s += ' ';
  s += ';';
  return s;
}

int replace_verb(EditorText* text, const TextHead& head, const char* verb) {
  // The rest of the line the word after the verb stands on, with the new verb before it.
  const char* line = text_line(text, head.after_line);
  const int length = text_length(text, head.after_line);
  std::string shifted = verb;
  if (line != nullptr && head.column < length) shifted.append(line + head.column, static_cast<size_t>(length - head.column));
  if (const int status = text_set_line(text, head.after_line, shifted.data(), static_cast<int>(shifted.size()));
      status != TEXT_OK)
    return status;
  // The lines above it go: those before the statement and those the old verb spread over.
  if (head.after_line > 0) text_remove_lines(text, 0, head.after_line);
  return TEXT_OK;
}

int store_text(StoreTarget* target) {
  Editor* e = target->editor;
  RequestBlock* b = catalog_block();
  TextHead head = classify_text(&e->text);
  if (head.kind == HEAD_NONE) {
    msgbox_info(message_text(MSG_NO_HEAD_STATEMENT));
    return 0;
  }
  editor_set_name(e, head.name.c_str());
  const bool stored_before = target->stored_kind != HEAD_NONE && target->stored_name == head.name;
  int kind = head.kind;
  const char* prefix = "";
  const char* wanted = nullptr;  // the verb the text's own verb is to become
  switch (kind) {
    case HEAD_PROCEDURE:
      prefix = stored_before ? VERB_ALTER_TEXT : VERB_CREATE_TEXT;
      kind = stored_before ? HEAD_ALTER_PROCEDURE : HEAD_CREATE_PROCEDURE;
      break;
    case HEAD_CREATE_PROCEDURE:
    case HEAD_ALTER_PROCEDURE:
    case HEAD_REPLACE_PROCEDURE:
      if (stored_before) wanted = VERB_ALTER_TEXT;
      break;
    case HEAD_TRIGGER: prefix = VERB_CREATE_TEXT; break;
    default: break;
  }
  int result = 0;
  uint32_t rc = 0;
  for (int attempt = 0;; ++attempt) {
    // A kernel that keeps answering "missing" and "exists" in turn gets its last word shown.
    if (attempt == STORE_ATTEMPTS) {
      report_kernel_error(b, rc, b->system_code);
      break;
    }
    if (wanted != nullptr && written_verb(head.kind) != wanted) {
      if (replace_verb(&e->text, head, wanted) != TEXT_OK) {
        editor_no_memory();
        break;
      }
      editor_changed(e);
      head = classify_text(&e->text);
      kind = head.kind;
    }
    rc = send_statement(build_statement(&e->text, prefix));
    if (rc == 0) {
      target->stored_kind = kind;
      target->stored_name = head.name;
      if (is_trigger(kind)) {
        target->procedure_id = find_trigger_by_name(head.name.c_str());
        target->id_known = true;
      } else {
        target->procedure_id = find_procedure_by_name(head.name.c_str());
      }
      target->is_new = false;
      error_list() = ErrorList{};
      result = 1;
      break;
    }
    if (rc == KERNEL_TRANSLATION_ERRORS) {
      error_list_show(b, e);
      break;
    }
    if (rc == KERNEL_PROC_MISSING && kind == HEAD_ALTER_PROCEDURE) {
      if (*prefix != '\0') prefix = VERB_CREATE_TEXT;
      else wanted = VERB_CREATE_TEXT;
      kind = HEAD_CREATE_PROCEDURE;
      continue;
    }
    if (rc == KERNEL_PROC_EXISTS && kind == HEAD_CREATE_PROCEDURE) {
      if (msgbox_yes_no(message_text(MSG_PROC_EXISTS)) != 1) break;
      if (*prefix != '\0') prefix = VERB_ALTER_TEXT;
      else wanted = VERB_ALTER_TEXT;
      kind = HEAD_ALTER_PROCEDURE;
      continue;
    }
    if (rc == KERNEL_TRIGGER_EXISTS && is_trigger(kind)) {
      if (msgbox_yes_no(message_text(MSG_TRIGGER_EXISTS)) != 1) break;
      const uint32_t dropped = send_statement(catalog_format(DROP_TRIGGER, head.name.c_str()));
      if (dropped != 0) {
        report_kernel_error(b, dropped, b->system_code);
        break;
      }
      continue;
    }
    report_kernel_error(b, rc, b->system_code);
    break;
  }
  set_command(b, "PROC");
  editor_draw(e);
  return result;
}

int drop_procedure() { return drop(true); }
int drop_trigger() { return drop(false); }

}  // namespace tavrel
