// The procedure and trigger catalogue of the kernel: the manager's catalogue statements
// answered in their fixed row layouts, the PROC listing and GPRC text portions, and the
// create / alter / drop statements that store procedures and triggers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kernel/engine/engine.h"
#include "kernel/frame.h"
#include "protocol/codes.h"
#include "protocol/records.h"

struct sqlite3;

namespace tavrel::kernel {

// What a session keeps between catalogue requests.
struct CatalogState {
  bool active = false;  // the current select is a catalogue statement (GETN reads rows)
  Rows rows;
  size_t next = 0;
  bool text_selected = false;  // a stored text selected by the $$$BODY statement, for GPRC
  std::string text;            // in the session's code page
  std::vector<uint8_t> errors = {0, 0};  // the GETE 7200 answer of the last store
  uint16_t row_size = 0;  // the fixed size of the current select's rows (the answer word)
};

// The session's user and code page, as catalogue requests need them.
struct CatalogContext {
  sqlite3* db;
  std::string user;
  uint16_t codepage;
  CatalogState* state;
  std::string* message;  // the database's text for the last failure (GETE appends it)
};

// SLCT: when the statement is one of the manager's catalogue statements, runs it and fills
// the answer (rows in the fixed layout, count = rows found, answer word = the row's size);
// true when it was one.
bool catalog_select(const CatalogContext& c, std::string_view sql, uint16_t capacity, KernelAnswer* a);
// GETN after a catalogue select: the next rows; code 2 when none are left.
void catalog_next(const CatalogContext& c, uint16_t capacity, KernelAnswer* a);
// GPRC: capacity bytes of the selected text from the 1-based position.
void catalog_text_portion(const CatalogContext& c, uint32_t position, uint16_t capacity, KernelAnswer* a);
// PROC: sub-command 18 lists the user's procedures from the portion key in argument.
void catalog_proc_command(const CatalogContext& c, uint32_t subcommand, uint32_t key, uint16_t capacity,
                          KernelAnswer* a);
// GETE 7200: the translation errors of the last store.
void catalog_translation_errors(const CatalogContext& c, KernelAnswer* a);

// A blank-command statement: when it creates, alters or drops a procedure or a trigger, it
// is run here and true is returned (a->code tells the outcome).
bool catalog_statement(const CatalogContext& c, std::string_view utf8, KernelAnswer* a);

// Stores a create / alter / drop statement (UTF-8) for owner; 0 or a kernel code. Used by
// catalog_statement and by the demonstration data. The whole text of a create or alter must
// translate first: otherwise nothing is stored, the code is KERNEL_TRANSLATION_ERRORS and
// errors receives the GETE 7200 answer listing every diagnostic (arguments in CP866). A
// trigger that fires for each row is installed in SQLite with the store (kernel/triggers.h);
// the compiled forms of the units changed are given up once it commits.
uint32_t catalog_store(sqlite3* db, const std::string& owner, std::string_view utf8,
                       std::vector<uint8_t>* errors, std::string* message);

// The GETE 7200 answer for a list of diagnostics: a message that takes a number gets the
// argument as a number when it is one, any other argument travels as text.
std::vector<uint8_t> translation_answer(const std::vector<Diagnostic>& diagnostics);

// The mechanical rewrite that lets SQLite read statements on the system tables: "system."
// before a $$$ name goes, and every $$$ name becomes a quoted upper-case identifier. Quoted
// texts are left alone. With placeholders, '%s' and %ld become "?" parameters.
std::string catalog_rewrite(std::string_view sql, bool placeholders = false);

}  // namespace tavrel::kernel
