// Selects of ordinary SQL, run to their end when opened and kept as encoded rows.
#include "kernel/select.h"

#include <sqlite3.h>

#include <cassert>
#include <chrono>
#include <cstdlib>

#include "text/codepage.h"
#include "kernel/errors.h"
#include "kernel/storage.h"
#include "kernel/text.h"
#include "kernel/triggers.h"
#include "platform/platform.h"
#include "protocol/records.h"

namespace tavrel::kernel {

namespace {

// A select runs on the server thread only while it stays within these: the server thread
// must return soon to receive for every other session. Beyond them it is abandoned (it only
// reads) and handed to the worker, which runs it again from the start.
constexpr auto QUICK_TIME_MAX = std::chrono::microseconds(200);
constexpr size_t QUICK_BYTES_MAX = size_t{1} << 20;
constexpr int QUICK_CHECK_OPS = 100;  // SQLite VM instructions between looks at the clock
// What one select's rows may take in memory (TAVREL_RESULT_MAX overrides it, in bytes).
constexpr size_t RESULT_BYTES_MAX = size_t{256} << 20;

std::string_view part_text(const KernelRequest& r, int i) {
  return {reinterpret_cast<const char*>(r.part[i]), r.part_length[i]};
}

void append_u16(std::vector<uint8_t>& out, uint32_t v) {
  out.push_back(static_cast<uint8_t>(v));
  out.push_back(static_cast<uint8_t>(v >> 8));
}

// One row. A value of 65,535 bytes or more keeps all its bytes, which makes the row longer
// than any answer can carry: it is refused when its turn comes, never sent cut.
std::vector<uint8_t> encode_row(sqlite3_stmt* st, uint16_t codepage) {
  std::vector<uint8_t> row;
  const int columns = sqlite3_column_count(st);
  for (int c = 0; c < columns; ++c) {
    if (sqlite3_column_type(st, c) == SQLITE_NULL) {
      append_u16(row, FIELD_NULL_LENGTH);
      continue;
    }
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(st, c));
    const std::string_view utf8(text != nullptr ? text : "", static_cast<size_t>(sqlite3_column_bytes(st, c)));
    // A UTF-8 session takes the text as it is, without a converted copy.
    std::string converted;
    const std::string_view value = codepage == CODEPAGE_OTHER ? utf8 : (converted = text_from_utf8(utf8, codepage));
    append_u16(row, static_cast<uint32_t>(value.size() < FIELD_NULL_LENGTH ? value.size() : FIELD_NULL_LENGTH - 1));
    row.insert(row.end(), value.begin(), value.end());
  }
  return row;
}

size_t result_bytes_max() {
  static const size_t limit = [] {
    char text[32];
    if (platform_getenv("TAVREL_RESULT_MAX", text, sizeof text) <= 0) return RESULT_BYTES_MAX;
    const unsigned long long n = std::strtoull(text, nullptr, 10);
    return n > 0 ? static_cast<size_t>(n) : RESULT_BYTES_MAX;
  }();
  return limit;
}

// Steps the cursor to its end, every row into the session's rows: SQLITE_DONE when all were
// read (the statement is then reset), SQLITE_FULL when they exceed bytes_max, else the code
// of the failing step.
int read_rows(Session* s, size_t bytes_max) {
  assert(s->cursor != nullptr && s->rows.empty() && s->next_row == 0);
  size_t bytes = 0;
  for (;;) {
    const int rc = sqlite3_step(s->cursor);
    if (rc == SQLITE_DONE) {
      sqlite3_reset(s->cursor);
      return rc;
    }
    if (rc != SQLITE_ROW) return rc;
    s->rows.push_back(encode_row(s->cursor, s->codepage));
    bytes += s->rows.back().size();
    if (bytes > bytes_max) return SQLITE_FULL;
  }
}

// Runs the select to its end, count = rows found, and answers with the first rows. The
// statement stays prepared, so that DESC describes it and GETN answers 2 once every row has
// gone, until the next select or CLOS. A kept statement notes whether it may run on the
// server thread next time.
void run_select(Session* s, sqlite3_stmt* statement, CachedStatement* kept, uint16_t capacity, KernelAnswer* a) {
  s->cursor = statement;
  s->cursor_kept = kept != nullptr;
  const auto start = std::chrono::steady_clock::now();
  const int rc = read_rows(s, result_bytes_max());
  if (kept != nullptr) {
    kept->quick = rc == SQLITE_DONE && sqlite3_stmt_readonly(statement) != 0 &&
                  std::chrono::steady_clock::now() - start <= QUICK_TIME_MAX;
  }
  if (rc != SQLITE_DONE) {
    a->code = rc == SQLITE_FULL ? KERNEL_RESULT_TOO_LARGE : storage_code(rc);
    s->last_message = rc == SQLITE_FULL ? "" : sqlite3_errmsg(connection_db(s->connection));
    select_close(s);
    Rows().swap(s->rows);
    return;
  }
  a->argument = static_cast<uint32_t>(s->rows.size());
  rows_deliver(s->rows, &s->next_row, capacity, a);
}

// A statement that changes rows (an insert with returning, or any DML sent as a select) runs
// between the statement triggers of its table; utf8 is its text, made when needed.
void run_select_dml(Session* s, sqlite3_stmt* statement, CachedStatement* kept, uint16_t capacity,
                    std::string_view utf8, KernelAnswer* a) {
  sqlite3* db = connection_db(s->connection);
  if (sqlite3_stmt_readonly(statement) != 0 || !statement_is_dml(utf8)) {
    run_select(s, statement, kept, capacity, a);
    return;
  }
  bool began = false;
  a->code = dml_begin(db, s->engine, utf8, &began, &s->last_message);
  if (a->code != 0) {
    if (kept == nullptr) sqlite3_finalize(statement);
    return;
  }
  run_select(s, statement, kept, capacity, a);
  // The statement ran when its cursor stays open; the answer's own code may still say that
  // there are no rows to show, or that the first does not fit.
  const uint32_t ran = s->cursor != nullptr ? 0 : a->code;
  const uint32_t code = dml_end(db, s->engine, utf8, ran, began, &s->last_message);
  if (code != 0 && ran == 0) {
    // Rows an AFTER action refused are not shown: the statement has been undone.
    select_close(s);
    a->code = code;
    a->data.clear();
    a->argument = 0;
  }
}

struct QuickBudget {
  std::chrono::steady_clock::time_point deadline;
};

int over_budget(void* budget) {
  return std::chrono::steady_clock::now() > static_cast<QuickBudget*>(budget)->deadline ? 1 : 0;
}

}  // namespace

void select_close(Session* s) {
  assert(connection_held_here(s->connection));
  if (s->cursor_kept) {
    sqlite3_reset(s->cursor);
  } else {
    sqlite3_finalize(s->cursor);
  }
  s->cursor = nullptr;
  s->cursor_kept = false;
  s->rows.clear();
  s->next_row = 0;
}

void select_open(Session* s, const KernelRequest& r, KernelAnswer* a) {
  sqlite3* db = connection_db(s->connection);
  select_close(s);
  s->catalog.active = false;
  const std::string_view sent = part_text(r, 1);
  if (CachedStatement* kept = statement_find(&s->statements, sent)) {
    if (sqlite3_stmt_readonly(kept->statement) != 0) {
      run_select(s, kept->statement, kept, r.block.answer_length, a);
    } else {
      run_select_dml(s, kept->statement, kept, r.block.answer_length, catalog_rewrite(text_to_utf8(sent, s->codepage)),
                     a);
    }
    return;
  }
  const std::string text = text_to_utf8(sent, s->codepage);
  const CatalogContext c{db, s->user, s->codepage, &s->catalog, &s->last_message};
  if (catalog_select(c, text, r.block.answer_length, a)) return;
  const bool keep = sent.size() <= STATEMENT_TEXT_CACHED_MAX;
  sqlite3_stmt* statement = nullptr;
  const std::string sql = catalog_rewrite(text);
  a->code = storage_prepare(db, sql, &statement, &s->last_message, keep);
  if (a->code != 0) return;
  run_select_dml(s, statement, keep ? statement_keep(&s->statements, sent, statement) : nullptr,
                 r.block.answer_length, sql, a);
}

bool select_open_quick(Session* s, const KernelRequest& r, KernelAnswer* a) {
  sqlite3* db = connection_db(s->connection);
  CachedStatement* kept = statement_find(&s->statements, part_text(r, 1));
  if (kept == nullptr || !kept->quick) return false;
  select_close(s);
  s->catalog.active = false;
  s->cursor = kept->statement;
  s->cursor_kept = true;
  QuickBudget budget{std::chrono::steady_clock::now() + QUICK_TIME_MAX};
  sqlite3_progress_handler(db, QUICK_CHECK_OPS, over_budget, &budget);
  s->busy_no_wait = true;
  const int rc = read_rows(s, QUICK_BYTES_MAX);
  sqlite3_progress_handler(db, 0, nullptr, nullptr);
  s->busy_no_wait = false;
  if (rc != SQLITE_DONE) {
    kept->quick = false;
    select_close(s);
    return false;
  }
  a->argument = static_cast<uint32_t>(s->rows.size());
  rows_deliver(s->rows, &s->next_row, r.block.answer_length, a);
  return true;
}

void select_next(Session* s, uint16_t capacity, KernelAnswer* a) {
  if (s->cursor == nullptr) {
    a->code = KERNEL_NO_SELECT;
    return;
  }
  a->argument = static_cast<uint32_t>(rows_deliver(s->rows, &s->next_row, capacity, a));
}

void select_describe(Session* s, KernelAnswer* a) {
  if (s->cursor == nullptr) {
    a->code = KERNEL_NO_SELECT;
    return;
  }
  assert(connection_held_here(s->connection));
  const int columns = sqlite3_column_count(s->cursor);
  for (int c = 0; c < columns; ++c) {
    const std::string name = text_from_utf8(sqlite3_column_name(s->cursor, c), s->codepage);
    const char* declared = sqlite3_column_decltype(s->cursor, c);
    const std::string type = declared != nullptr ? declared : "";
    append_u16(a->data, static_cast<uint32_t>(name.size()));
    a->data.insert(a->data.end(), name.begin(), name.end());
    append_u16(a->data, static_cast<uint32_t>(type.size()));
    a->data.insert(a->data.end(), type.begin(), type.end());
  }
  a->argument = static_cast<uint32_t>(columns);
}

}  // namespace tavrel::kernel
