// The procedure and trigger catalogue: what the manager learns from the kernel about the
// stored procedures and triggers of the logged-in user (lookups by name, names by
// identifier, stored texts read in portions, the " Процедуры " and " Триггеры " pick
// lists), and what it sends back (new texts from templates, storing a text with the
// create/alter choice, dropping). Every request goes through one request block whose
// resting command code is "PROC"; statements are sent exactly as written here, in CP866.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "client/kernel_call.h"
#include "client/kernel_report.h"
#include "editor/editor.h"
#include "editor/error_list.h"
#include "protocol/codes.h"
#include "protocol/records.h"
#include "protocol/request.h"

namespace tavrel {

constexpr size_t CATALOG_ROW_TEXT = 136;
constexpr uint16_t STORE_ANSWER = 8192;
constexpr int STORED_LINE_MAX = 1024;          // characters of a stored line that are kept
constexpr uint32_t STORED_TEXT_MAX = 64u << 20;  // bytes of a stored text the manager reads

// One row of a pick list: the display text (blank-filled, NUL after the text) and the
// trigger's procedure identifier (0 in the procedure list).
struct CatalogRow {
  char text[CATALOG_ROW_TEXT];
  uint32_t procedure_id;
};
static_assert(sizeof(CatalogRow) == 140);

// The block every request uses and the user whose objects are listed; call before any
// other routine. The block's command code is set to "PROC".
void catalog_bind(RequestBlock* block, const char* user_name);
RequestBlock* catalog_block();
// Frees the rows of the last list.
void catalog_release();

// --- Queries (queries.cpp) ------------------------------------------------------------
// The identifier of the user's procedure / the procedure of the user's trigger with that
// name; 0 when there is none or the request failed (reported unless "no rows").
uint32_t find_procedure_by_name(const char* name);
uint32_t find_trigger_by_name(const char* name);
// The name of a procedure, or of the trigger whose action it is; "" on failure.
std::string procedure_name_by_id(uint32_t id);
// The name of the trigger whose action a procedure is; "" when it is no trigger's action.
std::string trigger_name_by_action(uint32_t id);
// The stored text of a procedure; false (after the report) when it could not be read.
bool read_procedure_text(uint32_t id, std::string* text);

// --- Lists (lists.cpp) ----------------------------------------------------------------
// Rebuild the row array; the number of rows. for_drop hides the trigger actions.
int fill_procedure_list(bool for_drop);
int fill_trigger_list();
const CatalogRow* catalog_rows();
int catalog_row_count();
// The pick lists: the chosen row's position (1-based), 0 when cancelled or empty.
int choose_procedure(bool for_drop);
int choose_trigger();
// The name part of a row (up to its 66 bytes, trailing blanks removed).
std::string row_name(const CatalogRow& row);

// --- Texts of new objects and stored texts as lines (texts.cpp) -----------------------
struct TriggerTemplate {
  std::string name, table;
  bool after;         // the time group: "До" (false) or "После"
  int operation;      // 1 update, 2 insert, 4 delete
  bool each_row;
  bool debug;
};
int procedure_template(const std::string& name, bool debug, EditorText* text);
// The dialogs that ask for them (dialogs.cpp): 1 confirmed, 0 cancelled.
int new_procedure_dialog(std::string* name, bool* debug);
int new_trigger_dialog(TriggerTemplate* t);
int trigger_template(const TriggerTemplate& t, EditorText* text);
// Splits a stored text into lines (LF, CR or CR LF; at most 1024 characters a line kept;
// the text ends at a NUL). long_lines is set when a line of 220 characters or more was
// kept whole. 0, or TEXT_NO_MEMORY.
int stored_text_lines(const std::string& stored, EditorText* text, bool* long_lines);

// --- Classifying and storing (store.cpp) ----------------------------------------------
enum HeadKind : int {
  HEAD_NONE = 0,
  HEAD_CREATE_PROCEDURE = 1,
  HEAD_ALTER_PROCEDURE = 2,
  HEAD_PROCEDURE = 3,        // "procedure" without a verb
  HEAD_TRIGGER = 4,          // "trigger" without a verb
  HEAD_VERB_TRIGGER = 5,
  HEAD_REPLACE_PROCEDURE = 6,  // create or replace procedure
};
struct TextHead {
  int kind;
  std::string name;  // CP866; identifiers upper-cased, quoted names as written
  int line;          // the line the statement begins on
  int verb_column;   // where the verb begins
  int after_line;    // where the word after the verb begins (line, column)
  int column;
};
// Reads the head of the first statement of a text.
TextHead classify_text(const EditorText* text);
// The statement sent for a text: the prefix, the lines' texts with LF, the trailing LFs
// removed and ";" appended so that the length is even.
std::string build_statement(const EditorText* text, const char* prefix);
// Replaces the verb in place: the lines above the statement are dropped and the new verb
// takes the place of the old one, up to the word after it (the statement's first line then
// reads the new verb and that word).
int replace_verb(EditorText* text, const TextHead& head, const char* verb);

// What a source window knows about its object.
struct StoreTarget {
  Editor* editor;
  uint32_t procedure_id;
  bool id_known;
  int stored_kind;   // HEAD_* of the last successful store, HEAD_NONE before it
  bool is_new;
  std::string stored_name;  // the name stored last; another name is another object
};
// Sends the window's text to the kernel; 1 when stored, 0 when not.
int store_text(StoreTarget* target);
// The pick list, the question and the statement; 1 when dropped.
int drop_procedure();
int drop_trigger();

}  // namespace tavrel
