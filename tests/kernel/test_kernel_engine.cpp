// How the kernel's requests reach the procedure engine, in process: the GETE 7200 list of a
// text that does not translate, our triggers installed in SQLite and the rows they hand to
// the engine, statement triggers around a client's DML, the units given up when they
// change, and execute calls with their answers and errors. Tests that look at how the kernel
// calls the engine run against the stand-in that records the calls; tests that need procedures
// to run are skipped until the engine is built in.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "kernel/catalog.h"
#include "kernel/engine/engine.h"
#include "protocol/exec_result.h"
#include "protocol/records.h"
#include "session_fixture.h"
#include "values/value.h"
#include "values/value_wire.h"

#ifdef TAVREL_ENGINE_STUB
#include "tests/kernel/engine_stub.h"
#define NEEDS_ENGINE() GTEST_SKIP() << "the procedure engine is not built in"
#else
#define NEEDS_ENGINE() (void)0
#endif

namespace tavrel::kernel {
namespace {

class KernelEngine : public KernelSession {
 protected:
  KernelAnswer statement(const std::string& sql) { return run({"    ", {"", sql, "", ""}, 0, 8192}); }
  KernelAnswer select(const std::string& sql) { return run(select_frame(sql)); }
  std::string value(const std::string& sql) { return first_value(select(sql)); }
  KernelAnswer error_text(uint32_t code) { return run({"GETE", {"", "", "", ""}, code, GETE_ANSWER}); }
  std::string text_of(uint32_t code) {
    const KernelAnswer a = error_text(code);
    return {a.data.begin(), a.data.end()};
  }
  std::vector<TranslationError> translation_errors() {
    std::vector<TranslationError> errors;
    EXPECT_EQ(translation_errors_read(error_text(KERNEL_TRANSLATION_ERRORS).data, &errors), 0);
    return errors;
  }
  // The names of the SQLite triggers installed for our trigger of that name, in order.
  std::string installed(const std::string& trigger) {
    const std::string id = value("select $$$ID from system.$$$TRIG where $$$NAME = '" + trigger + "';");
    if (id == "<no row>") return "<no trigger>";
    return value("select group_concat(name, ',') from (select name from sqlite_schema where type = 'trigger' and "
                 "name like 'tavrel~_trigger~_" + id + "~_%' escape '~' order by name);");
  }
};

TEST(TranslationAnswer, EveryDiagnosticTravelsWithItsPlaceAndArgument) {
  const std::vector<Diagnostic> diagnostics = {
      {23, 3, 5, "2"},      // "незавершено %d блоков IF": a number
      {26, 7, 9, "L1"},     // "GOTO : не найдена метка %s": a text
      {1, 8, 1, ""},        // no argument
      {79, 9, 2, "many"},   // a number's place, but no number: sent as text
      {23, 10, 1, "70000"}, // too big for the 16-bit number: text
      {78, 0, 0, ""},       // no position
  };
  std::vector<TranslationError> errors;
  ASSERT_EQ(translation_errors_read(translation_answer(diagnostics), &errors), 0);
  ASSERT_EQ(errors.size(), diagnostics.size());
  struct Expected {
    uint32_t line, column;
    uint8_t kind;
    uint16_t number;
    std::string text;
  } expected[] = {
      {3, 5, TRANSLATION_ARG_NUMBER, 2, ""},      {7, 9, TRANSLATION_ARG_TEXT, 0, "L1"},
      {8, 1, TRANSLATION_ARG_NONE, 0, ""},        {9, 2, TRANSLATION_ARG_TEXT, 0, "many"},
      {10, 1, TRANSLATION_ARG_TEXT, 0, "70000"},  {TRANSLATION_NO_POSITION, 0, TRANSLATION_ARG_NONE, 0, ""},
  };
  for (size_t i = 0; i < errors.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(errors[i].number, static_cast<uint32_t>(diagnostics[i].number));
    EXPECT_EQ(errors[i].line, expected[i].line);
    EXPECT_EQ(errors[i].column, expected[i].column);
    EXPECT_EQ(errors[i].argument_kind, expected[i].kind);
    EXPECT_EQ(errors[i].argument_number, expected[i].number);
    EXPECT_EQ(errors[i].argument_text, expected[i].text);
  }
}

TEST_F(KernelEngine, AStoreThatDoesNotTranslateListsEveryErrorOfItsBody) {
  NEEDS_ENGINE();
  const KernelAnswer a = statement(
      "create procedure \"BROKEN\"() declare var Y integer;\n"
      "code\n"
      "  Y := ;\n"
      "  Y := 1 +;\n"
      "  GOTO NOWHERE;\n"
      "end;");
  ASSERT_EQ(a.code, KERNEL_TRANSLATION_ERRORS);
  const std::vector<TranslationError> errors = translation_errors();
  ASSERT_GE(errors.size(), 3u);
  // Every error in the order of the text, those of both broken lines among them.
  std::vector<uint32_t> lines;
  for (const TranslationError& e : errors) {
    EXPECT_NE(e.number, 0u);
    if (e.line != TRANSLATION_NO_POSITION) lines.push_back(e.line);
  }
  EXPECT_TRUE(std::is_sorted(lines.begin(), lines.end()));
  EXPECT_NE(std::find(lines.begin(), lines.end(), 3u), lines.end());
  EXPECT_NE(std::find(lines.begin(), lines.end(), 4u), lines.end());
  // Nothing was stored; a good text afterwards empties the list.
  EXPECT_EQ(value("select count(*) from system.$$$PROC where $$$NAME = 'BROKEN';"), "0");
  ASSERT_EQ(statement("create procedure \"BROKEN\"() declare var Y integer; code Y := 1; end;").code, 0u);
  EXPECT_TRUE(translation_errors().empty());
}

TEST_F(KernelEngine, RowTriggersAreSqliteTriggersPerEventAndGoWithTheirTrigger) {
  ASSERT_EQ(statement("create table T(A integer, B text);").code, 0u);
  ASSERT_EQ(statement("create trigger TR before insert or delete on t for each row execute code end;").code, 0u);
  EXPECT_EQ(installed("TR"), "tavrel_trigger_" +
                                 value("select $$$ID from system.$$$TRIG where $$$NAME = 'TR';") + "_delete,tavrel_trigger_" +
                                 value("select $$$ID from system.$$$TRIG where $$$NAME = 'TR';") + "_insert");
  EXPECT_EQ(value("select count(*) from sqlite_schema where type = 'trigger' and tbl_name = 'T' and "
                  "sql like '%before insert on \"T\"%';"),
            "1");
  // A statement trigger is no SQLite trigger.
  ASSERT_EQ(statement("create trigger TS after update on T for each statement execute code end;").code, 0u);
  EXPECT_EQ(installed("TS"), "<null>");
  // Re-created, a trigger's old SQLite triggers go and its new ones come.
  ASSERT_EQ(statement("create or replace trigger TR after update on T for each row execute code end;").code, 0u);
  EXPECT_EQ(value("select count(*) from sqlite_schema where type = 'trigger' and tbl_name = 'T';"), "1");
  EXPECT_NE(installed("TR").find("_update"), std::string::npos);
  ASSERT_EQ(statement("drop trigger TR;").code, 0u);
  EXPECT_EQ(installed("TR"), "<no trigger>");
  EXPECT_EQ(value("select count(*) from sqlite_schema where type = 'trigger' and tbl_name = 'T';"), "0");
  // A refused store installs nothing.
  EXPECT_EQ(statement("create trigger TX after insert on NO_SUCH_TABLE for each row execute code end;").code,
            KERNEL_NO_OBJECT);
  EXPECT_EQ(value("select count(*) from sqlite_schema where type = 'trigger';"),
            value("select count(*) from sqlite_schema where type = 'trigger' and name like 'tavrel%';"));
}

TEST_F(KernelEngine, CallsThatCannotStartCarryTheirPositionAndSayWhy) {
  KernelAnswer a = statement("execute \"NO_SUCH_PROCEDURE\"(1);");
  EXPECT_EQ(a.code, KERNEL_CALL_UNKNOWN_PROCEDURE);
  EXPECT_EQ(a.system_code, 8u << 16);
  EXPECT_EQ(text_of(KERNEL_CALL_UNKNOWN_PROCEDURE), "Процедура не найдена: NO_SUCH_PROCEDURE");

  a = run(select_frame("execute \"COUNT_DOWN\"(1,,2);"));
  EXPECT_EQ(a.code, KERNEL_CALL_LITERAL);
  EXPECT_EQ(a.system_code, 23u << 16);
  EXPECT_EQ(text_of(KERNEL_CALL_LITERAL), "Аргумент вызова не является константой");

  // The session goes on, and the codes a call shares with SQL errors speak of SQL again
  // after an SQL error.
  EXPECT_EQ(statement("execute \"NO_SUCH_PROCEDURE\"();").code, KERNEL_CALL_UNKNOWN_PROCEDURE);
  a = select("select * from NO_SUCH_TABLE;");
  EXPECT_EQ(a.code, KERNEL_SQL_ERROR);
  EXPECT_EQ(text_of(KERNEL_SQL_ERROR).rfind("Ошибка в SQL-операторе", 0), 0u) << text_of(KERNEL_SQL_ERROR);
  a = statement("execute \"COUNT_DOWN\" 5;");
  EXPECT_EQ(a.code, KERNEL_CALL_SYNTAX);
}

TEST_F(KernelEngine, ExecuteAnswersWithTheProceduresOutputs) {
  NEEDS_ENGINE();
  for (const char* command : {"    ", "SLCT"}) {
    SCOPED_TRACE(command);
    const KernelAnswer a = run({command, {"", "execute \"COUNT_DOWN\"(3);", "", ""}, 0, 8192});
    ASSERT_EQ(a.code, 0u);
    ExecResult r;
    ASSERT_EQ(exec_result_read(a.data, &r), 0);
    EXPECT_EQ(r.exception, 0);
    ASSERT_EQ(r.outputs.size(), 1u);
    EXPECT_EQ(r.outputs[0].name, "N");
    WireStore store;
    Value v;
    ASSERT_EQ(value_wire_get(r.outputs[0].value, &store, &v), r.outputs[0].value.size());
    EXPECT_EQ(v.type, TYPE_SMALLINT);
    EXPECT_EQ(payload_get<int16_t>(v), 0);
  }
}

TEST_F(KernelEngine, ARowTriggerActsOnTheSameConnectionAndCanRefuseTheStatement) {
  NEEDS_ENGINE();
  ASSERT_EQ(statement("create table T(A integer, B text);").code, 0u);
  ASSERT_EQ(statement("create table AUDIT(X integer);").code, 0u);
  ASSERT_EQ(statement("create trigger T_AUDIT after insert on T for each row execute\n"
                      "declare var V integer;\ncode\n  V := NEW.A;\n  insert into AUDIT values(V);\nend;")
                .code,
            0u);
  ASSERT_EQ(statement("create trigger T_GUARD before delete on T for each row execute\n"
                      "code\n  signal APPLICATIONERROR;\nend;")
                .code,
            0u);
  EXPECT_EQ(statement("insert into T values(7, 'x');").code, 0u);
  EXPECT_EQ(select("insert into T values(8, 'y') returning A;").code, 0u);
  EXPECT_EQ(value("select group_concat(X) from (select X from AUDIT order by X);"), "7,8");
  EXPECT_EQ(statement("delete from T where A = 7;").code, KERNEL_SQL_ERROR);
  EXPECT_NE(text_of(KERNEL_SQL_ERROR).find("APPLICATIONERROR"), std::string::npos) << text_of(KERNEL_SQL_ERROR);
  EXPECT_EQ(value("select count(*) from T;"), "2");
}

#ifdef TAVREL_ENGINE_STUB

// The stand-in's record of what the kernel asked of the engine, emptied.
StubLog& fresh_log() {
  StubLog& log = engine_stub_log();
  std::lock_guard guard(log.lock);
  log.firings.clear();
  log.statements.clear();
  log.forgotten.clear();
  return log;
}

TEST_F(KernelEngine, TriggerFunctionHandsNewAndOldRowsOfTheEvent) {
  ASSERT_EQ(statement("create table T(A integer, B text);").code, 0u);
  ASSERT_EQ(statement("create trigger TR after insert or update or delete on T for each row execute code end;").code,
            0u);
  const int32_t id = std::stoi(value("select $$$ID from system.$$$TRIG where $$$NAME = 'TR';"));
  StubLog& log = fresh_log();
  ASSERT_EQ(statement("insert into T values(1, 'a');").code, 0u);
  ASSERT_EQ(select("update T set B = 'b' where A = 1;").code, KERNEL_NO_MORE_ROWS);  // no rows to show
  ASSERT_EQ(statement("delete from T;").code, 0u);
  using Row = std::vector<std::string>;
  ASSERT_EQ(log.firings.size(), 3u);
  for (const StubFiring& f : log.firings) EXPECT_EQ(f.trigger_id, id);
  EXPECT_EQ(log.firings[0].new_row, (Row{"1", "a"}));
  EXPECT_EQ(log.firings[0].old_row, Row{});
  EXPECT_EQ(log.firings[1].new_row, (Row{"1", "b"}));
  EXPECT_EQ(log.firings[1].old_row, (Row{"1", "a"}));
  EXPECT_EQ(log.firings[2].new_row, Row{});
  EXPECT_EQ(log.firings[2].old_row, (Row{"1", "b"}));

  // An action that fails refuses the statement with its text, and the row is not there.
  const KernelAnswer a = statement(std::string("insert into T values(2, '") + STUB_REFUSE + "');");
  EXPECT_EQ(a.code, KERNEL_SQL_ERROR);
  EXPECT_NE(text_of(KERNEL_SQL_ERROR).find(STUB_REFUSAL_TEXT), std::string::npos) << text_of(KERNEL_SQL_ERROR);
  EXPECT_EQ(value("select count(*) from T;"), "0");
}

TEST_F(KernelEngine, StatementTriggersAreAskedAroundEveryDmlOfAClient) {
  ASSERT_EQ(statement("create table T(A integer);").code, 0u);
  StubLog& log = fresh_log();
  ASSERT_EQ(statement("insert into T values(1);").code, 0u);
  ASSERT_EQ(select("update T set A = 2;").code, KERNEL_NO_MORE_ROWS);
  ASSERT_EQ(select("select A from T;").code, 0u);
  ASSERT_EQ(statement("create index TA on T(A);").code, 0u);
  // Statements travel padded to an even length.
  for (std::string& s : log.statements) {
    while (s.back() == ' ') s.pop_back();
  }
  EXPECT_EQ(log.statements, (std::vector<std::string>{"before insert into T values(1);", "after insert into T values(1);",
                                                      "before update T set A = 2;", "after update T set A = 2;"}));
  // A text that ends the transaction itself keeps its work.
  ASSERT_EQ(statement("insert into T values(9); commit;").code, 0u);
  EXPECT_EQ(value("select count(*) from T where A = 9;"), "1");
  // A statement that fails is undone and no AFTER trigger is asked.
  log.statements.clear();
  EXPECT_EQ(statement("insert into T values(3); insert into NOWHERE values(4);").code, KERNEL_SQL_ERROR);
  EXPECT_EQ(log.statements.size(), 1u);
  EXPECT_EQ(value("select count(*) from T where A = 3;"), "0");
}

TEST_F(KernelEngine, UnitsThatChangeAreGivenUp) {
  const std::string id = value("select $$$ID from system.$$$PROC where $$$NAME = 'COUNT_DOWN';");
  StubLog& log = fresh_log();
  ASSERT_EQ(statement("alter procedure COUNT_DOWN(inout N smallint default 1) code N := 0; end;").code, 0u);
  ASSERT_EQ(log.forgotten.size(), 1u);
  EXPECT_EQ(log.forgotten[0], std::stoi(id));
  ASSERT_EQ(statement("drop procedure COUNT_DOWN;").code, 0u);
  EXPECT_EQ(log.forgotten.back(), std::stoi(id));
  // A store that fails gives up nothing.
  log.forgotten.clear();
  EXPECT_EQ(statement("drop procedure COUNT_DOWN;").code, KERNEL_PROC_MISSING);
  EXPECT_TRUE(log.forgotten.empty());
}

#endif  // TAVREL_ENGINE_STUB

}  // namespace
}  // namespace tavrel::kernel
