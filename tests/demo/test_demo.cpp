// The demonstration database of --demo, run through the procedure engine as a client's
// execute runs it: every stored unit translates, and every procedure does what its text
// promises a new user (the rows it prints, its OUT parameters and result, the exceptions it
// handles and the one it passes on), the trigger keeps the salary history.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <string>
#include <vector>

#include "kernel/demo.h"
#include "kernel/engine/engine.h"
#include "kernel/storage.h"
#include "kernel/triggers.h"
#include "platform/ipc.h"
#include "text/unicode.h"
#include "values/value.h"
#include "values/value_wire.h"

namespace tavrel::kernel {
namespace {

// What the test reads of one OUT parameter or result: its type, and its value as a number
// or as a text (UTF-8); a NULL has neither.
struct Read {
  uint8_t type = TYPE_NONE;
  double number = 0;
  std::string text;
};

Read read_wire(const std::vector<uint8_t>& wire) {
  WireStore store;
  Value v;
  Read r;
  if (value_wire_get(std::span<const uint8_t>(wire), &store, &v) == 0) return r;
  r.type = v.type;
  if (is_numeric_type(v.type)) r.number = read_as_double(v);
  if (v.type == TYPE_CHAR) r.text = cp866_to_utf8(value_text(v));
  return r;
}

CallLiteral number(const char* text) { return {LiteralKind::NUMBER, text, false, 0}; }
CallLiteral null_value() { return {LiteralKind::NULL_VALUE, "", false, 0}; }
CallLiteral text_literal(const char* utf8) { return {LiteralKind::TEXT, utf8_to_cp866(utf8), false, 0}; }

class Demo : public ::testing::Test {
 protected:
  void SetUp() override {
    std::error_code error;
    dir = std::filesystem::temp_directory_path(error) /
          ("demo-" + std::to_string(ipc_process_id()) + "-" +
           ::testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::remove_all(dir, error);
    ASSERT_TRUE(std::filesystem::create_directories(dir, error));
    const std::string path = (dir / "kernel.db").string();
    std::string message;
    ASSERT_EQ(storage_create(path, &message), 0) << message;
    db = storage_connect(path, &message);
    ASSERT_NE(db, nullptr) << message;
    ASSERT_EQ(demo_create(db, &message), 0) << message;
    es = engine_session_open(db, "DEMO", "kernel.db");
    ASSERT_NE(es, nullptr);
    ASSERT_EQ(triggers_register(db, es), 0);
  }
  void TearDown() override {
    if (es != nullptr) engine_session_close(es);
    if (db != nullptr) storage_disconnect(db);
    std::error_code ignored;
    std::filesystem::remove_all(dir, ignored);
  }

  // Runs a procedure (name in UTF-8); the call itself must start.
  ExecOutcome run(const char* name, std::vector<CallLiteral> args) {
    CallRequest call{utf8_to_cp866(name), std::move(args), 0};
    ExecOutcome out;
    uint32_t position = 0;
    EXPECT_EQ(engine_execute(es, call, &out, &position), 0u) << name << " at " << position;
    return out;
  }

  // The OUT parameter of that name (UTF-8).
  static Read output(const ExecOutcome& out, const char* name) {
    for (const NamedValue& v : out.outputs) {
      if (v.name == utf8_to_cp866(name)) return read_wire(v.wire);
    }
    ADD_FAILURE() << "no output " << name;
    return {};
  }

  // What PRINT wrote, in UTF-8 (the engine keeps messages without the head PRINT writes).
  static std::vector<std::string> messages(const ExecOutcome& out) {
    std::vector<std::string> texts;
    for (const std::string& m : out.messages) texts.push_back(cp866_to_utf8(m));
    return texts;
  }

  // Rows of a select, columns joined by "|", NULL as "-".
  std::vector<std::string> rows(const char* sql) {
    std::vector<std::string> out;
    sqlite3_stmt* st = nullptr;
    EXPECT_EQ(sqlite3_prepare_v2(db, sql, -1, &st, nullptr), SQLITE_OK) << sqlite3_errmsg(db);
    while (st != nullptr && sqlite3_step(st) == SQLITE_ROW) {
      std::string row;
      for (int c = 0; c < sqlite3_column_count(st); ++c) {
        if (c != 0) row += "|";
        const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(st, c));
        row += text != nullptr ? text : "-";
      }
      out.push_back(row);
    }
    sqlite3_finalize(st);
    return out;
  }

  std::filesystem::path dir;
  sqlite3* db = nullptr;
  EngineSession* es = nullptr;
};

TEST_F(Demo, EveryStoredUnitTranslates) {
  sqlite3_stmt* st = nullptr;
  ASSERT_EQ(sqlite3_prepare_v2(db, "select \"$$$NAME\", \"$$$BODY\" from \"$$$PROC\" order by \"$$$ID\";", -1, &st,
                               nullptr),
            SQLITE_OK);
  int units = 0;
  while (sqlite3_step(st) == SQLITE_ROW) {
    const std::string name = reinterpret_cast<const char*>(sqlite3_column_text(st, 0));
    const std::string body = reinterpret_cast<const char*>(sqlite3_column_text(st, 1));
    std::vector<Diagnostic> found;
    EXPECT_EQ(engine_check_unit(db, utf8_to_cp866(body), &found), 0) << name;
    for (const Diagnostic& d : found) ADD_FAILURE() << name << ": " << d.number << " at " << d.line << ":" << d.column;
    ++units;
  }
  sqlite3_finalize(st);
  // Seven units of the first demo (the trigger's action among them) and eight more.
  EXPECT_EQ(units, 15);
}

TEST_F(Demo, CursorLoopPrintsEachEmployee) {
  ExecOutcome all = run("LIST_EMPLOYEES", {null_value()});
  const std::vector<std::string> printed = messages(all);
  ASSERT_EQ(printed.size(), 5u);
  EXPECT_EQ(printed[0], "7369  SMITH     CLERK         800.00");
  EXPECT_EQ(printed[4], "7900  ИВАНОВ    CLERK         950.00");
  EXPECT_EQ(output(all, "SHOWN").number, 5);

  ExecOutcome research = run("LIST_EMPLOYEES", {number("20")});
  EXPECT_EQ(messages(research).size(), 2u);
  EXPECT_EQ(output(research, "SHOWN").number, 2);
}

TEST_F(Demo, ExceptionsAreHandledOrPassedOn) {
  // DIVZERO raised by the division and taken by the handler.
  ExecOutcome by_zero = run("CHECKED_RATIO", {number("10"), number("0")});
  EXPECT_EQ(by_zero.exception, 0);
  EXPECT_EQ(messages(by_zero), std::vector<std::string>{"Division by zero: the ratio is 0"});
  EXPECT_EQ(output(by_zero, "RATIO").number, 0);
  ExecOutcome plain = run("CHECKED_RATIO", {number("10"), number("4")});
  EXPECT_TRUE(plain.messages.empty());
  EXPECT_EQ(output(plain, "RATIO").number, 2);

  // A declared exception signalled and handled in the same procedure.
  ExecOutcome divided = run("SAFE_DIVIDE", {number("1"), number("0")});
  EXPECT_EQ(divided.exception, 0);
  EXPECT_EQ(output(divided, "Q").type, TYPE_NULL);
  EXPECT_EQ(output(run("SAFE_DIVIDE", {number("1"), number("4")}), "Q").number, 0.25);

  // LOW_SALARY leaves CHECK_SALARY: to the client on its own, to the handler of its caller.
  ExecOutcome low = run("CHECK_SALARY", {number("7369")});
  EXPECT_EQ(low.exception, 50);
  EXPECT_EQ(low.exception_name, "CUSTOM (50)");
  ExecOutcome high = run("CHECK_SALARY", {number("7839")});
  EXPECT_EQ(high.exception, 0);
  EXPECT_EQ(output(high, "SALARY").number, 5000);

  ExecOutcome reviewed = run("REVIEW_SALARY", {number("7369")});
  EXPECT_EQ(reviewed.exception, 0);
  EXPECT_EQ(output(reviewed, "VERDICT").text, "Salary under 1000");
  ExecOutcome fine = run("REVIEW_SALARY", {number("7839")});
  EXPECT_EQ(output(fine, "VERDICT").text, "Salary    5000.00 is fine");
}

TEST_F(Demo, NestedCallsAndResults) {
  ExecOutcome nested = run("NESTED", {number("3")});
  EXPECT_EQ(nested.exception, 0);
  EXPECT_EQ(output(nested, "TOTAL").number, 6);

  ExecOutcome counted = run("COUNT_DOWN", {number("5")});
  EXPECT_EQ(output(counted, "N").number, 0);

  ExecOutcome total = run("DEPT_TOTAL", {number("20")});
  ASSERT_TRUE(total.has_result);
  const Read result = read_wire(total.result);
  EXPECT_EQ(result.type, TYPE_NUMERIC);
  EXPECT_EQ(result.number, 800 + 2975);

  // Each department's total comes from DEPT_TOTAL inside an expression.
  ExecOutcome report = run("DEPT_REPORT", {});
  EXPECT_EQ(report.exception, 0);
  const std::vector<std::string> printed = messages(report);
  ASSERT_EQ(printed.size(), 4u);
  EXPECT_EQ(printed[0], "ACCOUNTING" + std::string(9, ' ') + "5000.00");
  EXPECT_EQ(printed[3], "ОПЕРАЦИИ" + std::string(12, ' ') + "950.00");
  EXPECT_EQ(output(report, "GRAND_TOTAL").number, 800 + 1600 + 2975 + 5000 + 950);

  ExecOutcome greeting = run("ПРИВЕТСТВИЕ", {text_literal("Мир")});
  EXPECT_EQ(output(greeting, "ТЕКСТ").text.rfind("Здравствуйте, Мир", 0), 0u);
  EXPECT_EQ(output(run("ПРИВЕТСТВИЕ", {null_value()}), "ТЕКСТ").text, "Здравствуйте!");

  // Every parameter type given in the literals a client writes.
  ExecOutcome types = run("ALL_TYPES", {number("-3"), number("100000"), number("5000000000"), number("1.5"),
                                        number("2.25"), number("12.345"), {LiteralKind::BOOL, "", true, 0},
                                        text_literal("abc"), null_value(), {LiteralKind::NTEXT, utf8_to_cp866("Юни"), false, 0},
                                        text_literal("05.03.2011:10:07:00"), number("1")});
  EXPECT_EQ(types.exception, 0) << types.exception_name;
  EXPECT_EQ(output(types, "RES").number, 99997);
}

TEST_F(Demo, LoopsAndSleep) {
  ExecOutcome summed = run("SUM_TO", {number("1000")});
  const Read total = output(summed, "TOTAL");
  EXPECT_EQ(total.type, TYPE_BIGINT);
  EXPECT_EQ(total.number, 500500);

  ExecOutcome slept = run("SLOW", {number("0")});
  EXPECT_EQ(messages(slept), (std::vector<std::string>{"Sleeping for 0 s", "Awake"}));
}

TEST_F(Demo, TriggerKeepsSalaryHistory) {
  ExecOutcome raised = run("RAISE_SALARY", {number("7369"), number("10")});
  EXPECT_EQ(raised.exception, 0);
  EXPECT_EQ(output(raised, "NEW_SAL").number, 880);
  std::string message;
  uint32_t changes = 0;
  // A new employee has no salary before; a change that leaves the salary alone is no change.
  ASSERT_EQ(storage_execute(db, "insert into EMP(EMPNO, ENAME, DEPTNO, SAL) values(8000, 'NEW', 10, 1200);",
                            &changes, &message),
            0u)
      << message;
  ASSERT_EQ(storage_execute(db, "update EMP set JOB = 'ANALYST' where EMPNO = 8000;", &changes, &message), 0u)
      << message;
  EXPECT_EQ(rows("select EMPNO, OLD_SAL, NEW_SAL from SAL_HISTORY order by ID;"),
            (std::vector<std::string>{"7369|800|880", "8000|-|1200"}));
}

}  // namespace
}  // namespace tavrel::kernel
