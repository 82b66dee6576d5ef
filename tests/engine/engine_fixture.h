// A real database with the kernel's system tables for the engine's tests: units are stored
// through the catalogue's create statements and run with engine_execute on a session.
#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdio>
#include <string>
#include <vector>

#include "kernel/catalog.h"
#include "kernel/engine/engine.h"
#include "kernel/triggers.h"
#include "kernel/storage.h"
#include "platform/ipc.h"
#include "text/unicode.h"
#include "values/value_wire.h"

namespace tavrel::kernel {

class EngineTest : public ::testing::Test {
 public:
  void SetUp() override {
    // Units are kept by procedure id for the kernel's one database; each test has a new one.
    for (int32_t id = 1; id <= 200; ++id) engine_forget_unit(id);
    // CTest runs each case in a process of its own, several at once (and builds may run the
    // same case side by side): the file is named by the process and the case.
    const ::testing::TestInfo* info = ::testing::UnitTest::GetInstance()->current_test_info();
    path_ = ::testing::TempDir() + "engine-" + std::to_string(ipc_process_id()) + "-" + info->name() + ".db";
    std::remove(path_.c_str());
    std::string error;
    ASSERT_EQ(storage_create(path_, &error), 0) << error;
    db_ = storage_connect(path_, &error);
    ASSERT_NE(db_, nullptr) << error;
    ASSERT_EQ(storage_add_user(db_, "TESTER", "pw"), 0);
    es_ = engine_session_open(db_, "TESTER", "testdb");
    ASSERT_NE(es_, nullptr);
    // As on every session's connection: the SQL function that stored triggers call.
    ASSERT_EQ(triggers_register(db_, es_), 0);
  }
  void TearDown() override {
    engine_session_close(es_);
    storage_disconnect(db_);
    std::remove(path_.c_str());
  }

  // Runs SQL that returns no rows.
  void sql(const std::string& text) {
    char* message = nullptr;
    ASSERT_EQ(sqlite3_exec(db_, text.c_str(), nullptr, nullptr, &message), SQLITE_OK) << (message ? message : "");
  }
  // The first column of the first row of a query, as text ("" for none).
  std::string query(const std::string& text) {
    sqlite3_stmt* st = nullptr;
    if (sqlite3_prepare_v2(db_, text.c_str(), -1, &st, nullptr) != SQLITE_OK) return "?error";
    std::string out;
    if (sqlite3_step(st) == SQLITE_ROW && sqlite3_column_text(st, 0) != nullptr) {
      out = reinterpret_cast<const char*>(sqlite3_column_text(st, 0));
    }
    sqlite3_finalize(st);
    return out;
  }

  // Stores a create statement (UTF-8); the kernel code (0 when stored).
  uint32_t store(const std::string& utf8) {
    std::vector<uint8_t> errors;
    std::string message;
    return catalog_store(db_, "TESTER", utf8, &errors, &message);
  }
  // Translation diagnostics of a text (UTF-8).
  std::vector<Diagnostic> check(const std::string& utf8) {
    std::vector<Diagnostic> out;
    engine_check_unit(db_, utf8_to_cp866(utf8), &out);
    return out;
  }

  // Runs a procedure with literal arguments: numbers and texts as written, "NULL", "TRUE".
  uint32_t run(const std::string& name, const std::vector<std::string>& args = {}) {
    CallRequest call;
    call.procedure = utf8_to_cp866(name);
    call.name_position = 9;
    uint32_t pos = 0;
    for (const std::string& a : args) {
      CallLiteral lit{};
      lit.position = pos++;
      if (a == "NULL") {
        lit.kind = LiteralKind::NULL_VALUE;
      } else if (a == "TRUE" || a == "FALSE") {
        lit.kind = LiteralKind::BOOL;
        lit.truth = a == "TRUE";
      } else if (!a.empty() && a[0] == '\'') {
        lit.kind = LiteralKind::TEXT;
        lit.text = utf8_to_cp866(a.substr(1, a.size() - 2));
      } else {
        lit.kind = LiteralKind::NUMBER;
        lit.text = a;
      }
      call.args.push_back(lit);
    }
    out_ = ExecOutcome{};
    position_ = 0;
    return engine_execute(es_, call, &out_, &position_);
  }

  // The text form of a wire value: "NULL", a number, a text, TRUE/FALSE.
  static std::string wire_text(const std::vector<uint8_t>& wire) {
    WireStore store;
    Value v;
    if (value_wire_get(wire, &store, &v) == 0) return "?";
    char buf[64];
    switch (v.type) {
      case TYPE_NULL: return "NULL";
      case TYPE_SMALLINT: return std::to_string(payload_get<int16_t>(v));
      case TYPE_INTEGER: return std::to_string(payload_get<int32_t>(v));
      case TYPE_BIGINT: return std::to_string(payload_get<int64_t>(v));
      case TYPE_REAL: std::snprintf(buf, sizeof buf, "%g", static_cast<double>(payload_get<float>(v))); return buf;
      case TYPE_DOUBLE: std::snprintf(buf, sizeof buf, "%g", payload_get<double>(v)); return buf;
      case TYPE_NUMERIC: std::snprintf(buf, sizeof buf, "%.4f", decimal_to_double(value_decimal(v))); return buf;
      case TYPE_BOOL: return v.payload[0] != 0 ? "TRUE" : "FALSE";
      case TYPE_CHAR: return cp866_to_utf8(value_text(v));
      case TYPE_DATE: {
        char d[DATE_TEXT_CAPACITY];
        date_to_text(value_date(v), true, d);
        return d;
      }
      default: return "?type" + std::to_string(v.type);
    }
  }
  std::string output(const std::string& name) const {
    for (const NamedValue& nv : out_.outputs) {
      if (cp866_to_utf8(nv.name) == name) return wire_text(nv.wire);
    }
    return "?missing";
  }
  std::string result() const { return out_.has_result ? wire_text(out_.result) : "?none"; }
  // PRINT texts, UTF-8 (the engine keeps them without the head PRINT writes before them).
  std::vector<std::string> printed() const {
    std::vector<std::string> out;
    for (const std::string& m : out_.messages) out.push_back(cp866_to_utf8(m));
    return out;
  }

  std::string path_;
  sqlite3* db_ = nullptr;
  EngineSession* es_ = nullptr;
  ExecOutcome out_;
  uint32_t position_ = 0;
};

}  // namespace tavrel::kernel
