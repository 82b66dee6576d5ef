// The kernel's procedure and trigger catalogue on the SQLite system tables. The manager's
// catalogue statements are recognised byte for byte (with their holes for names and
// identifiers), reach SQLite after the mechanical rewrite of the system names, and their rows
// are encoded into the fixed binary layouts the manager reads.
#include "kernel/catalog.h"

#include <sqlite3.h>

#include <cctype>
#include <cstdlib>
#include <cstring>

#include "protocol/bytes.h"
#include "text/codepage.h"
#include "text/unicode.h"
#include "translator/diagnostics.h"
#include "kernel/engine/engine.h"
#include "kernel/errors.h"
#include "kernel/proc_header.h"
#include "kernel/storage.h"
#include "kernel/text.h"
#include "kernel/triggers.h"

namespace tavrel::kernel {

namespace {

enum RowLayout {
  LAYOUT_ID,       // u32 of column 0
  LAYOUT_TRIGGER,  // u32 of column 0, 66-byte name of column 1, 2 bytes
  LAYOUT_BODY,     // u32 length of the text in column 0, 20 zero bytes; the text kept for GPRC
  LAYOUT_PARAM,    // the 327-byte parameter row
  LAYOUT_NAME,     // 66-byte name of column 0
};

struct CatalogStatement {
  const char* text;  // as the manager sends it; %s and %ld are the holes
  const char* sql;   // nullptr: the rewrite of text with the holes as parameters
  RowLayout layout;
};

// The size of a layout's rows, which answers carry in their answer word.
uint16_t row_size(RowLayout layout) {
  switch (layout) {
    case LAYOUT_ID: return ROW_ID;
    case LAYOUT_TRIGGER: return ROW_TRIGGER;
    case LAYOUT_BODY: return ROW_BODY;
    case LAYOUT_PARAM: return ROW_PARAM;
    case LAYOUT_NAME: return ROW_NAME;
  }
  return 0;
}

const CatalogStatement CATALOG_STATEMENTS[] = {
    {"select $$$id from system.$$$proc, system.$$$usr where $$$name = '%s' and $$$s32 = 0 and $$$s31 > 0 and "
     "$$$s34 =  '%s' and $$$s31=$$$owner;",
     nullptr, LAYOUT_ID},
    {"select $$$proc from system.$$$trig, system.$$$usr where $$$name = '%s' and $$$s32 = 0 and $$$s31 > 0 and "
     "$$$s34 =  '%s' and $$$s31=$$$owner;",
     nullptr, LAYOUT_ID},
    {"select $$$proc, $$$name from system.$$$trig,system.$$$usr where $$$s32 = 0 and $$$s31 > 0 and $$$s34 =  "
     "'%s' and $$$s31=$$$owner;",
     nullptr, LAYOUT_TRIGGER},
    {"select $$$BODY from SYSTEM.$$$PROC where $$$ID = %ld and $$$OWNER <> 0;", nullptr, LAYOUT_BODY},
    // The parameter row needs the precision, scale and NULL flag beside the four columns.
    {"select NAME, TYPE, LEN, DEFVAL from system.$$$PRCD where PROCID=%ld and MODIF in (1, 3) order by ARGID;",
     "select NAME, TYPE, LEN, DEFVAL, PREC, SCALE, DEFNULL from \"$$$PRCD\" where PROCID=? and MODIF in (1, 3)"
     " order by ARGID;",
     LAYOUT_PARAM},
    {"select $$$name from system.$$$proc where $$$id = %ld;", nullptr, LAYOUT_NAME},
    {"select $$$name from system.$$$trig where $$$proc = %ld;", nullptr, LAYOUT_NAME},
    {"select $$$trig.$$$name from system.$$$trig $$$trig, system.$$$proc $$$proc where $$$proc.$$$name = '%s' "
     "and $$$proc.$$$id = $$$trig.$$$proc;",
     nullptr, LAYOUT_NAME},
};

constexpr const char* TRIGGER_ACTION_PREFIX = "Trigger #";

// The text of a hole of a matched statement; numbers are %ld holes.
struct Hole {
  std::string text;
  bool number;
};

bool hole_at(std::string_view t, size_t i, std::string_view hole) { return t.substr(i, hole.size()) == hole; }

// Matches a statement against a template; the holes' texts go to values in order.
bool match_template(std::string_view pattern, std::string_view text, std::vector<Hole>* values) {
  values->clear();
  size_t i = 0;
  size_t j = 0;
  while (i < pattern.size()) {
    if (hole_at(pattern, i, "%ld")) {
      i += 3;
      const size_t start = j;
      if (j < text.size() && text[j] == '-') ++j;
      while (j < text.size() && text[j] >= '0' && text[j] <= '9') ++j;
      if (j == start || (j == start + 1 && text[start] == '-')) return false;
      values->push_back(Hole{std::string(text.substr(start, j - start)), true});
    } else if (hole_at(pattern, i, "%s")) {
      i += 2;
      // The text up to where the rest of the template, to its next hole, comes next.
      size_t next_hole = pattern.find('%', i);
      if (next_hole == std::string_view::npos) next_hole = pattern.size();
      const std::string_view literal = pattern.substr(i, next_hole - i);
      const size_t end = text.find(literal, j);
      if (end == std::string_view::npos) return false;
      values->push_back(Hole{std::string(text.substr(j, end - j)), false});
      j = end;
    } else {
      if (j >= text.size() || text[j] != pattern[i]) return false;
      ++i;
      ++j;
    }
  }
  return j == text.size();
}

// The statement as it travels: up to its ";", maybe followed by a padding blank.
std::string_view trimmed(std::string_view sql) {
  while (!sql.empty() && (sql.back() == ' ' || sql.back() == '\0' || sql.back() == '\n' || sql.back() == '\r')) {
    sql.remove_suffix(1);
  }
  return sql;
}

// A name in the session's code page, blank-padded or cut to width bytes (never inside a
// UTF-8 character).
void put_name(std::vector<uint8_t>& out, const char* utf8, uint16_t codepage, size_t width) {
  std::string name = text_from_utf8(utf8 != nullptr ? utf8 : "", codepage);
  if (name.size() > width) {
    size_t cut = width;
    if (codepage == 0) {
      while (cut > 0 && (static_cast<uint8_t>(name[cut]) & 0xC0) == 0x80) --cut;
    }
    name.resize(cut);
  }
  out.insert(out.end(), name.begin(), name.end());
  out.insert(out.end(), width - name.size(), ' ');
}

const char* column_text(sqlite3_stmt* st, int c) { return reinterpret_cast<const char*>(sqlite3_column_text(st, c)); }

std::vector<uint8_t> encode_row(sqlite3_stmt* st, RowLayout layout, const CatalogContext& c) {
  std::vector<uint8_t> row;
  switch (layout) {
    case LAYOUT_ID:
      row.resize(ROW_ID);
      put_u32(row.data(), static_cast<uint32_t>(sqlite3_column_int64(st, 0)));
      break;
    case LAYOUT_TRIGGER: {
      TriggerRow trigger{static_cast<uint32_t>(sqlite3_column_int64(st, 0)), {}};
      std::vector<uint8_t> name;
      put_name(name, column_text(st, 1), c.codepage, NAME_BYTES);
      std::memcpy(trigger.name, name.data(), NAME_BYTES);
      row.resize(ROW_TRIGGER);
      trigger_row_write(trigger, row);
      break;
    }
    case LAYOUT_BODY: {
      const char* text = column_text(st, 0);
      c.state->text = text_from_utf8(text != nullptr ? text : "", c.codepage);
      c.state->text_selected = true;
      row.resize(ROW_BODY, 0);
      put_u32(row.data(), static_cast<uint32_t>(c.state->text.size()));
      break;
    }
    case LAYOUT_PARAM: {
      ParamRow param{};
      std::vector<uint8_t> name;
      put_name(name, column_text(st, 0), c.codepage, NAME_BYTES);
      std::memcpy(param.name, name.data(), NAME_BYTES);
      param.type = static_cast<uint8_t>(sqlite3_column_int(st, 1));
      param.precision = static_cast<uint8_t>(sqlite3_column_int(st, 4));
      param.scale = static_cast<uint8_t>(sqlite3_column_int(st, 5));
      param.length = static_cast<uint16_t>(sqlite3_column_int(st, 2));
      param.default_null = sqlite3_column_int(st, 6) != 0 ? 1 : 0;
      const auto* value = static_cast<const uint8_t*>(sqlite3_column_blob(st, 3));
      size_t n = static_cast<size_t>(sqlite3_column_bytes(st, 3));
      if (n > PARAM_DEFAULT_MAX) n = PARAM_DEFAULT_MAX;
      if (value != nullptr) std::memcpy(param.default_value, value, n);
      row.resize(ROW_PARAM);
      param_row_write(param, row);
      break;
    }
    case LAYOUT_NAME:
      put_name(row, column_text(st, 0), c.codepage, NAME_BYTES);
      break;
  }
  return row;
}

// Rows of the pending catalogue result that fit the capacity; at the end the result is
// dropped.
size_t deliver(CatalogState* s, uint16_t capacity, KernelAnswer* a) {
  a->answer_word = s->row_size;
  const size_t count = rows_deliver(s->rows, &s->next, capacity, a);
  if (a->code == KERNEL_NO_MORE_ROWS) {
    s->active = false;
    s->rows.clear();
  }
  return count;
}

// One statement with text parameters; 0 or a kernel code.
uint32_t run(sqlite3* db, const char* sql, std::initializer_list<std::string_view> params, sqlite3_int64* id,
             std::string* message) {
  sqlite3_stmt* st = nullptr;
  int rc = sqlite3_prepare_v2(db, sql, -1, &st, nullptr);
  int k = 1;
  for (std::string_view p : params) {
    if (rc == SQLITE_OK) rc = sqlite3_bind_text(st, k++, p.data(), static_cast<int>(p.size()), SQLITE_TRANSIENT);
  }
  if (rc == SQLITE_OK) rc = sqlite3_step(st);
  if (id != nullptr) *id = rc == SQLITE_ROW ? sqlite3_column_int64(st, 0) : 0;
  if (rc != SQLITE_ROW && rc != SQLITE_DONE && message != nullptr) *message = sqlite3_errmsg(db);
  sqlite3_finalize(st);
  return rc == SQLITE_ROW || rc == SQLITE_DONE ? 0 : storage_code(rc);
}

std::vector<uint8_t> one_error(const ProcHeader& h) {
  return translation_answer({Diagnostic{h.diagnostic, h.line, h.column, {}}});
}

// Whether a message takes a number ("%d", "%ld") for its argument.
bool takes_number(int number) {
  const std::string_view message = diagnostic_message(number);
  return message.find("%d") != std::string_view::npos || message.find("%ld") != std::string_view::npos;
}

// The argument as a 16-bit number, when it is one.
bool small_number(const std::string& text, uint16_t* out) {
  if (text.empty() || text.size() > 5) return false;
  uint32_t n = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
    n = n * 10 + static_cast<uint32_t>(c - '0');
  }
  if (n > 0xFFFF) return false;
  *out = static_cast<uint16_t>(n);
  return true;
}

uint32_t insert_params(sqlite3* db, sqlite3_int64 proc_id, const ProcHeader& h, std::string* message) {
  sqlite3_stmt* st = nullptr;
  int rc = sqlite3_prepare_v2(db,
                              "insert into \"$$$PRCD\"(PROCID, ARGID, NAME, TYPE, PREC, SCALE, LEN, DEFNULL, "
                              "DEFVAL, MODIF) values(?, ?, ?, ?, ?, ?, ?, ?, ?, ?);",
                              -1, &st, nullptr);
  int argid = 0;
  for (const ProcParam& p : h.params) {
    if (rc != SQLITE_OK) break;
    ++argid;
    const std::string name = cp866_to_utf8(p.name);
    sqlite3_reset(st);
    sqlite3_bind_int64(st, 1, proc_id);
    sqlite3_bind_int(st, 2, argid);
    sqlite3_bind_text(st, 3, name.c_str(), -1, SQLITE_TRANSIENT);
    sqlite3_bind_int(st, 4, p.type);
    sqlite3_bind_int(st, 5, p.precision);
    sqlite3_bind_int(st, 6, p.scale);
    sqlite3_bind_int(st, 7, p.length);
    sqlite3_bind_int(st, 8, p.default_null ? 1 : 0);
    if (p.default_null) {
      sqlite3_bind_null(st, 9);
    } else {
      sqlite3_bind_blob(st, 9, p.default_value.data(), static_cast<int>(p.default_value.size()), SQLITE_TRANSIENT);
    }
    sqlite3_bind_int(st, 10, p.mode);
    rc = sqlite3_step(st);
    if (rc == SQLITE_DONE) rc = SQLITE_OK;
  }
  if (rc != SQLITE_OK) *message = sqlite3_errmsg(db);
  sqlite3_finalize(st);
  return storage_code(rc);
}

// The name of a table as SQLite keeps it, found without regard to letter case.
uint32_t table_name(sqlite3* db, std::string* name, std::string* message) {
  sqlite3_stmt* st = nullptr;
  int rc = sqlite3_prepare_v2(db, "select name from sqlite_schema where type = 'table' and name = ? collate nocase;",
                              -1, &st, nullptr);
  if (rc == SQLITE_OK) rc = sqlite3_bind_text(st, 1, name->c_str(), -1, SQLITE_TRANSIENT);
  if (rc == SQLITE_OK) rc = sqlite3_step(st);
  const bool found = rc == SQLITE_ROW;
  if (found) *name = column_text(st, 0);
  if (rc != SQLITE_ROW && rc != SQLITE_DONE) *message = sqlite3_errmsg(db);
  sqlite3_finalize(st);
  if (found) return 0;
  if (rc == SQLITE_DONE) {
    *message = "no such table: " + *name;
    return KERNEL_NO_OBJECT;
  }
  return storage_code(rc);
}

uint32_t drop_procedure_rows(sqlite3* db, sqlite3_int64 id, std::string* message) {
  const std::string text = std::to_string(id);
  uint32_t code = run(db, "delete from \"$$$PRCD\" where PROCID = ?;", {text}, nullptr, message);
  if (code == 0) code = run(db, "delete from \"$$$PROC\" where \"$$$ID\" = ?;", {text}, nullptr, message);
  return code;
}

// The statement's work, inside the caller's transaction.
// Units whose compiled form goes once the transaction commits land in *changed.
uint32_t store(sqlite3* db, const std::string& owner, std::string_view utf8, const ProcHeader& h,
               std::vector<int32_t>* changed, std::string* message) {
  sqlite3_int64 owner_id = 0;
  uint32_t code = run(db, "select \"$$$S31\" from \"$$$USR\" where \"$$$S34\" = ?;", {owner}, &owner_id, message);
  if (code != 0) return code;
  if (owner_id == 0) return KERNEL_UNKNOWN_USER;
  const std::string owner_text = std::to_string(owner_id);
  const std::string name = cp866_to_utf8(h.name);
  const std::string body(utf8);

  if (h.object == OBJECT_PROCEDURE) {
    sqlite3_int64 id = 0;
    code = run(db, "select \"$$$ID\" from \"$$$PROC\" where \"$$$NAME\" = ? and \"$$$KIND\" = 0;", {name}, &id,
               message);
    if (code != 0) return code;
    if (id != 0) changed->push_back(static_cast<int32_t>(id));
    if (h.verb == VERB_DROP) return id == 0 ? KERNEL_PROC_MISSING : drop_procedure_rows(db, id, message);
    if (h.verb == VERB_CREATE && id != 0) return KERNEL_PROC_EXISTS;
    if (h.verb == VERB_ALTER && id == 0) return KERNEL_PROC_MISSING;
    if (id != 0) {
      const std::string id_text = std::to_string(id);
      code = run(db, "update \"$$$PROC\" set \"$$$BODY\" = ?, \"$$$DEBUG\" = ? where \"$$$ID\" = ?;",
                 {body, h.debug ? "1" : "0", id_text}, nullptr, message);
      if (code == 0) code = run(db, "delete from \"$$$PRCD\" where PROCID = ?;", {id_text}, nullptr, message);
    } else {
      // A trigger action of that name blocks the name too (the unique index says so).
      code = run(db,
                 "insert into \"$$$PROC\"(\"$$$NAME\", \"$$$OWNER\", \"$$$KIND\", \"$$$BODY\", \"$$$DEBUG\") "
                 "values(?, ?, 0, ?, ?) returning \"$$$ID\";",
                 {name, owner_text, body, h.debug ? "1" : "0"}, &id, message);
      if (code == KERNEL_CONSTRAINT) return KERNEL_PROC_EXISTS;
      // An identifier may come round again after the procedure that had it was dropped.
      if (code == 0) changed->push_back(static_cast<int32_t>(id));
    }
    return code != 0 ? code : insert_params(db, id, h, message);
  }

  sqlite3_int64 trigger_id = 0;
  code = run(db, "select \"$$$ID\" from \"$$$TRIG\" where \"$$$NAME\" = ?;", {name}, &trigger_id, message);
  if (code != 0) return code;
  if (trigger_id != 0) {
    if (h.verb == VERB_CREATE) return KERNEL_TRIGGER_EXISTS;
    sqlite3_int64 action = 0;
    const std::string id_text = std::to_string(trigger_id);
    code = run(db, "select \"$$$PROC\" from \"$$$TRIG\" where \"$$$ID\" = ?;", {id_text}, &action, message);
    if (code == 0) changed->push_back(static_cast<int32_t>(action));
    if (code == 0) code = triggers_remove(db, trigger_id, message);
    if (code == 0) code = drop_procedure_rows(db, action, message);
    if (code == 0) code = run(db, "delete from \"$$$TRIG\" where \"$$$ID\" = ?;", {id_text}, nullptr, message);
    if (code != 0 || h.verb == VERB_DROP) return code;
  } else if (h.verb == VERB_DROP) {
    return KERNEL_NO_OBJECT;
  }
  // The table as SQLite names it: the head's name may differ in letter case.
  std::string table = cp866_to_utf8(h.table);
  code = table_name(db, &table, message);
  if (code != 0) return code;
  code = run(db,
             "insert into \"$$$TRIG\"(\"$$$NAME\", \"$$$OWNER\", \"$$$PROC\", \"$$$TABLE\", \"$$$EVENTS\", "
             "\"$$$BEFORE\", \"$$$ROW\") values(?, ?, 0, ?, ?, ?, ?) returning \"$$$ID\";",
             {name, owner_text, table, std::to_string(h.events), h.before ? "1" : "0", h.for_each_row ? "1" : "0"},
             &trigger_id, message);
  if (code != 0) return code;
  // The trigger's action is a procedure named after the trigger's number.
  const std::string action_name = TRIGGER_ACTION_PREFIX + std::to_string(trigger_id);
  sqlite3_int64 action = 0;
  code = run(db,
             "insert into \"$$$PROC\"(\"$$$NAME\", \"$$$OWNER\", \"$$$KIND\", \"$$$BODY\", \"$$$DEBUG\") "
             "values(?, ?, 1, ?, ?) returning \"$$$ID\";",
             {action_name, owner_text, body, h.debug ? "1" : "0"}, &action, message);
  if (code == 0) {
    changed->push_back(static_cast<int32_t>(action));
    code = run(db, "update \"$$$TRIG\" set \"$$$PROC\" = ? where \"$$$ID\" = ?;",
               {std::to_string(action), std::to_string(trigger_id)}, nullptr, message);
  }
  if (code == 0) code = triggers_install(db, trigger_id, table, h.before, h.events, h.for_each_row, message);
  return code;
}

}  // namespace

std::string catalog_rewrite(std::string_view sql, bool placeholders) {
  std::string out;
  out.reserve(sql.size() + 32);
  size_t i = 0;
  while (i < sql.size()) {
    const char ch = sql[i];
    if (placeholders && sql.substr(i, 4) == "'%s'") {
      out += '?';
      i += 4;
    } else if (placeholders && sql.substr(i, 3) == "%ld") {
      out += '?';
      i += 3;
    } else if (ch == '\'' || ch == '"') {
      // A quoted text or name, doubled quotes included, as it stands.
      size_t end = i + 1;
      while (end < sql.size() && (sql[end] != ch || (end + 1 < sql.size() && sql[end + 1] == ch))) {
        end += sql[end] == ch ? 2 : 1;
      }
      end = end < sql.size() ? end + 1 : end;
      out.append(sql.substr(i, end - i));
      i = end;
    } else if ((ch == 's' || ch == 'S') && (i == 0 || !(std::isalnum(static_cast<unsigned char>(sql[i - 1])) ||
                                                        sql[i - 1] == '_' || sql[i - 1] == '$')) &&
               sql.size() - i >= 10 && sql.substr(i + 7, 3) == "$$$" &&
               (sql.substr(i, 7) == "system." || sql.substr(i, 7) == "SYSTEM." || sql.substr(i, 7) == "System.")) {
      i += 7;
    } else if (sql.substr(i, 3) == "$$$") {
      size_t end = i + 3;
      while (end < sql.size() && (std::isalnum(static_cast<unsigned char>(sql[end])) || sql[end] == '_')) ++end;
      out += '"';
      for (size_t k = i; k < end; ++k) out += static_cast<char>(std::toupper(static_cast<unsigned char>(sql[k])));
      out += '"';
      i = end;
    } else {
      out += ch;
      ++i;
    }
  }
  return out;
}

bool catalog_select(const CatalogContext& c, std::string_view sql, uint16_t capacity, KernelAnswer* a) {
  const std::string_view text = trimmed(sql);
  std::vector<Hole> values;
  const CatalogStatement* found = nullptr;
  for (const CatalogStatement& s : CATALOG_STATEMENTS) {
    if (match_template(s.text, text, &values)) {
      found = &s;
      break;
    }
  }
  if (found == nullptr) return false;
  CatalogState* state = c.state;
  state->active = false;
  state->rows.clear();
  state->next = 0;
  state->row_size = row_size(found->layout);
  const std::string rewritten = found->sql != nullptr ? found->sql : catalog_rewrite(found->text, true);
  sqlite3_stmt* st = nullptr;
  int rc = sqlite3_prepare_v2(c.db, rewritten.c_str(), -1, &st, nullptr);
  for (size_t k = 0; k < values.size() && rc == SQLITE_OK; ++k) {
    const int index = static_cast<int>(k + 1);
    if (values[k].number) {
      rc = sqlite3_bind_int64(st, index, std::strtoll(values[k].text.c_str(), nullptr, 10));
    } else {
      rc = sqlite3_bind_text(st, index, values[k].text.c_str(), -1, SQLITE_TRANSIENT);
    }
  }
  if (found->layout == LAYOUT_BODY) {
    state->text_selected = false;
    state->text.clear();
  }
  while (rc == SQLITE_OK || rc == SQLITE_ROW) {
    rc = sqlite3_step(st);
    if (rc == SQLITE_ROW) state->rows.push_back(encode_row(st, found->layout, c));
  }
  sqlite3_finalize(st);
  if (rc != SQLITE_DONE) {
    a->code = storage_code(rc);
    if (c.message != nullptr) *c.message = sqlite3_errmsg(c.db);
    state->rows.clear();
    return true;
  }
  state->active = true;
  a->argument = static_cast<uint32_t>(state->rows.size());
  deliver(state, capacity, a);
  return true;
}

void catalog_next(const CatalogContext& c, uint16_t capacity, KernelAnswer* a) {
  a->argument = static_cast<uint32_t>(deliver(c.state, capacity, a));
}

void catalog_text_portion(const CatalogContext& c, uint32_t position, uint16_t capacity, KernelAnswer* a) {
  const CatalogState* state = c.state;
  if (!state->text_selected) {
    a->code = KERNEL_NO_SELECT;
    return;
  }
  if (position == 0 || position > state->text.size()) {
    a->code = KERNEL_NO_MORE_ROWS;
    return;
  }
  size_t n = state->text.size() - (position - 1);
  if (n > capacity) n = capacity;
  if (n > TEXT_PORTION_MAX) n = TEXT_PORTION_MAX;
  const char* from = state->text.data() + position - 1;
  a->data.assign(from, from + n);
}

void catalog_proc_command(const CatalogContext& c, uint32_t subcommand, uint32_t key, uint16_t capacity,
                          KernelAnswer* a) {
  if (subcommand != PROC_LIST_PROCEDURES) {
    a->code = KERNEL_UNSUPPORTED;
    return;
  }
  size_t per_portion = capacity >= 4 ? (capacity - 4u) / NAME_BYTES : 0;
  if (per_portion > PROC_LIST_NAMES_MAX) per_portion = PROC_LIST_NAMES_MAX;
  if (per_portion == 0) {
    a->code = CHANNEL_ANSWER_TOO_LONG;
    a->length_field = static_cast<uint16_t>(NAME_BYTES + 4);
    return;
  }
  // The key is the 1-based place of the portion's first name; one name more than the
  // portion holds tells whether another portion follows.
  const uint32_t first = key == 0 ? 1 : key;
  sqlite3_stmt* st = nullptr;
  int rc = sqlite3_prepare_v2(c.db,
                              "select p.\"$$$NAME\" from \"$$$PROC\" p, \"$$$USR\" u where u.\"$$$S34\" = ? and "
                              "u.\"$$$S31\" = p.\"$$$OWNER\" order by p.\"$$$ID\" limit ? offset ?;",
                              -1, &st, nullptr);
  if (rc == SQLITE_OK) rc = sqlite3_bind_text(st, 1, c.user.c_str(), -1, SQLITE_TRANSIENT);
  if (rc == SQLITE_OK) rc = sqlite3_bind_int64(st, 2, static_cast<sqlite3_int64>(per_portion + 1));
  if (rc == SQLITE_OK) rc = sqlite3_bind_int64(st, 3, static_cast<sqlite3_int64>(first - 1));
  size_t names = 0;
  bool more = false;
  while (rc == SQLITE_OK || rc == SQLITE_ROW) {
    rc = sqlite3_step(st);
    if (rc != SQLITE_ROW) break;
    if (names == per_portion) {
      more = true;
      continue;
    }
    put_name(a->data, column_text(st, 0), c.codepage, NAME_BYTES);
    ++names;
  }
  sqlite3_finalize(st);
  if (rc != SQLITE_DONE) {
    a->code = storage_code(rc);
    a->data.clear();
    return;
  }
  if (names == 0 && first == 1) {
    a->code = KERNEL_DEBUGGER_ERROR;
    a->system_code = DEBUGGER_NO_PROCEDURES;
    a->data.clear();
    return;
  }
  proc_list_finish(&a->data, more ? static_cast<uint32_t>(first + names) : 0);
  a->argument = key;
}

void catalog_translation_errors(const CatalogContext& c, KernelAnswer* a) {
  a->data = c.state->errors;
}

uint32_t catalog_store(sqlite3* db, const std::string& owner, std::string_view utf8, std::vector<uint8_t>* errors,
                       std::string* message) {
  ProcHeader h;
  const int parsed = parse_proc_header(utf8_to_cp866(utf8), &h);
  if (parsed == 1) return KERNEL_SQL_ERROR;
  if (parsed == 2) {
    *errors = one_error(h);
    return KERNEL_TRANSLATION_ERRORS;
  }
  *errors = {0, 0};
  // The whole text translates before anything is stored; a drop has no text to translate.
  if (h.verb != VERB_DROP) {
    std::vector<Diagnostic> diagnostics;
    if (engine_check_unit(db, utf8_to_cp866(utf8), &diagnostics) != 0) {
      // A text refused without a word from the translator still gets an entry to show.
      if (diagnostics.empty()) diagnostics.push_back(Diagnostic{DIAG_SYNTAX, 0, 0, {}});
      *errors = translation_answer(diagnostics);
      return KERNEL_TRANSLATION_ERRORS;
    }
  }
  // One transaction: a kernel killed half-way leaves the catalogue as it was.
  char* error = nullptr;
  if (sqlite3_exec(db, "begin immediate;", nullptr, nullptr, &error) != SQLITE_OK) {
    *message = error != nullptr ? error : "begin failed";
    sqlite3_free(error);
    return KERNEL_BUSY;
  }
  std::vector<int32_t> changed;
  uint32_t code = store(db, owner, trimmed(utf8), h, &changed, message);
  if (code == 0 && sqlite3_exec(db, "commit;", nullptr, nullptr, &error) != SQLITE_OK) {
    *message = error != nullptr ? error : "commit failed";
    sqlite3_free(error);
    code = KERNEL_BUSY;
  }
  if (code != 0) {
    sqlite3_exec(db, "rollback;", nullptr, nullptr, nullptr);
    return code;
  }
  for (int32_t id : changed) engine_forget_unit(id);
  return 0;
}

std::vector<uint8_t> translation_answer(const std::vector<Diagnostic>& diagnostics) {
  std::vector<TranslationError> errors;
  errors.reserve(diagnostics.size());
  for (const Diagnostic& d : diagnostics) {
    TranslationError e;
    e.number = static_cast<uint32_t>(d.number);
    e.line = d.line > 0 ? static_cast<uint32_t>(d.line) : TRANSLATION_NO_POSITION;
    e.column = d.line > 0 && d.column > 0 ? static_cast<uint32_t>(d.column) : 0;
    if (takes_number(d.number) && small_number(d.argument, &e.argument_number)) {
      e.argument_kind = TRANSLATION_ARG_NUMBER;
    } else if (!d.argument.empty()) {
      e.argument_kind = TRANSLATION_ARG_TEXT;
      e.argument_text = d.argument;
    }
    errors.push_back(std::move(e));
  }
  return translation_errors_write(errors);
}

bool catalog_statement(const CatalogContext& c, std::string_view utf8, KernelAnswer* a) {
  const std::string cp866 = utf8_to_cp866(utf8);
  if (!looks_like_proc_statement(cp866)) return false;
  ProcHeader h;
  if (parse_proc_header(cp866, &h) == 1) return false;
  std::string message;
  a->code = catalog_store(c.db, c.user, utf8, &c.state->errors, &message);
  if (c.message != nullptr) *c.message = message;
  // The arguments of the diagnostics are CP866, as the translator gives them; the session
  // reads its own code page.
  if (a->code == KERNEL_TRANSLATION_ERRORS && c.codepage != CODEPAGE_866) {
    std::vector<TranslationError> errors;
    translation_errors_read(c.state->errors, &errors);
    for (TranslationError& e : errors) e.argument_text = text_from_utf8(cp866_to_utf8(e.argument_text), c.codepage);
    c.state->errors = translation_errors_write(errors);
  }
  return true;
}

}  // namespace tavrel::kernel
