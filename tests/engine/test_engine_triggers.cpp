// Trigger actions: row triggers through an SQLite trigger that calls the engine (installed by
// hand here as the kernel installs them), statement triggers around DML of procedures and of
// clients, refusals by SIGNAL, and COMMIT refused inside an action.
#include "engine_fixture.h"

namespace tavrel::kernel {
namespace {

// The SQL function an installed trigger calls: tavrel_fire(id, count of NEW, NEW..., OLD...).
void fire(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
  auto* es = static_cast<EngineSession*>(sqlite3_user_data(ctx));
  const int id = sqlite3_value_int(argv[0]);
  const int new_count = sqlite3_value_int(argv[1]);
  const int old_count = argc - 2 - new_count;
  std::string error;
  if (engine_fire_trigger(es, id, argv + 2, new_count, argv + 2 + new_count, old_count, &error) != 0) {
    sqlite3_result_error(ctx, error.c_str(), -1);
    return;
  }
  sqlite3_result_null(ctx);
}

class EngineTriggerTest : public EngineTest {
 protected:
  void SetUp() override {
    EngineTest::SetUp();
    sql("create table EMP(EMPNO integer primary key, SAL numeric(7,2));"
        "create table AUDIT(WHAT char(40));"
        "insert into EMP values(1, 100);");
    ASSERT_EQ(sqlite3_create_function(db_, TRIGGER_FUNCTION, -1, SQLITE_UTF8, es_, fire, nullptr, nullptr), SQLITE_OK);
  }
  // Stores the trigger and installs its SQLite side for one event of a row trigger.
  void row_trigger(const std::string& text, const std::string& when, const std::string& event) {
    ASSERT_EQ(store(text), 0u);
    const std::string id = query("select max(\"$$$ID\") from \"$$$TRIG\"");
    const bool news = event != "delete";
    const bool olds = event != "insert";
    std::string args = id + ", " + (news ? "2, NEW.EMPNO, NEW.SAL" : "0");
    if (olds) args += ", OLD.EMPNO, OLD.SAL";
    sql("create trigger T" + id + " " + when + " " + event + " on EMP for each row begin select " +
        TRIGGER_FUNCTION + "(" + args + "); end;");
  }
  // A client's DML statement with the statement triggers around it, as the kernel runs it.
  int client_dml(const std::string& text, std::string* error) {
    if (engine_statement_triggers(es_, text, true, error) != 0) return 1;
    char* message = nullptr;
    if (sqlite3_exec(db_, text.c_str(), nullptr, nullptr, &message) != SQLITE_OK) {
      *error = message != nullptr ? message : "";
      sqlite3_free(message);
      return 1;
    }
    return engine_statement_triggers(es_, text, false, error);
  }
};

TEST_F(EngineTriggerTest, RowTriggerReadsNewAndOld) {
  row_trigger(R"(create trigger RAISE_LOG after update on EMP for each row execute
declare var W char(40);
code
  // Expressions are the language's; inside SQL only the variable W is.
  W := TOCHAR(OLD.EMPNO) + ":" + TOCHAR(TOINTEGER(OLD.SAL)) + "->" + TOCHAR(TOINTEGER(NEW.SAL));
  insert into AUDIT values(W);
end;)", "after", "update");
  std::string error;
  ASSERT_EQ(client_dml("update EMP set SAL = 150 where EMPNO = 1;", &error), 0) << error;
  EXPECT_EQ(query("select trim(WHAT) from AUDIT"), "1:100->150");
}

TEST_F(EngineTriggerTest, SignalInBeforeTriggerRefusesTheStatement) {
  row_trigger(R"(create trigger NO_CUTS before update on EMP for each row execute
declare exception SALARY_CUT for 42;
code
  if NEW.SAL < OLD.SAL then signal SALARY_CUT; endif;
end;)", "before", "update");
  std::string error;
  EXPECT_NE(client_dml("update EMP set SAL = 50 where EMPNO = 1;", &error), 0);
  EXPECT_NE(error.find("CUSTOM (42)"), std::string::npos) << error;
  EXPECT_NE(error.find("NO_CUTS"), std::string::npos) << error;
  EXPECT_EQ(query("select SAL from EMP"), "100");
  EXPECT_EQ(client_dml("update EMP set SAL = 500 where EMPNO = 1;", &error), 0) << error;
  // A procedure's DML meets the refusal as APPLICATIONERROR.
  ASSERT_EQ(store(R"(create procedure CUT(out E integer)
code update EMP set SAL = 1; exceptions when APPLICATIONERROR then E := ERRCODE(); end;)"), 0u);
  ASSERT_EQ(run("CUT"), 0u);
  EXPECT_EQ(out_.exception, 0);
  EXPECT_EQ(query("select SAL from EMP"), "500");
}

TEST_F(EngineTriggerTest, StatementTriggersFireAroundProcedureAndClientDml) {
  ASSERT_EQ(store(R"(create trigger COUNT_BEFORE before insert or delete on EMP for each statement execute
code insert into AUDIT values("before"); end;)"), 0u);
  ASSERT_EQ(store(R"(create trigger COUNT_AFTER after insert on EMP for each statement execute
declare var W char(40);
code W := "after " + TOCHAR(ROWCOUNT()); insert into AUDIT values(W); end;)"), 0u);
  ASSERT_EQ(store(R"(create procedure ADD_EMP(in NO integer)
code insert into EMP values(NO, 10); end;)"), 0u);
  ASSERT_EQ(run("ADD_EMP", {"7"}), 0u);
  EXPECT_EQ(out_.exception, 0);
  std::string error;
  ASSERT_EQ(client_dml("delete from EMP where EMPNO = 7;", &error), 0) << error;
  ASSERT_EQ(client_dml("update EMP set SAL = 1;", &error), 0) << error;  // no trigger for update
  EXPECT_EQ(query("select group_concat(trim(WHAT), '|') from AUDIT"), "before|after 1|before");
}

TEST_F(EngineTriggerTest, CommitInsideTriggerActionIsRefused) {
  row_trigger(R"(create trigger EAGER after insert on EMP for each row execute
code commit work; end;)", "after", "insert");
  std::string error;
  EXPECT_NE(client_dml("insert into EMP values(2, 1);", &error), 0);
  EXPECT_NE(error.find("Invalid transaction state"), std::string::npos) << error;
  EXPECT_EQ(query("select count(*) from EMP"), "1");
}


// One statement fires a row trigger for each of its rows: every action reads its own row
// (texts included), and a NULL column copied stays NULL while arithmetic on it is refused.
TEST_F(EngineTriggerTest, RowTriggerSeesEachRowOfAStatement) {
  sql("create table ITEM(ID integer, QTY integer, NAME char(20));");
  ASSERT_EQ(store(R"(create trigger ITEM_LOG after insert on ITEM for each row execute
declare var Q integer; var W char(40);
code
  Q := NEW.QTY;
  if Q is null then W := "null " + NEW.NAME; else W := TOCHAR(NEW.ID * 1000 + NEW.QTY) + " " + NEW.NAME; endif;
  insert into AUDIT values(W);
end;)"), 0u);
  std::string error;
  ASSERT_EQ(client_dml("with recursive N(K) as (select 1 union all select K + 1 from N where K < 40) "
                       "insert into ITEM select K, K * 2, 'n' || K from N;", &error), 0) << error;
  EXPECT_EQ(query("select count(*) from AUDIT"), "40");
  EXPECT_EQ(query("select group_concat(trim(WHAT), '|') from (select WHAT from AUDIT order by rowid limit 3)"),
            "1002 n1|2004 n2|3006 n3");
  EXPECT_EQ(query("select trim(WHAT) from AUDIT order by rowid desc limit 1"), "40080 n40");
  ASSERT_EQ(client_dml("insert into ITEM values(7, NULL, 'gap');", &error), 0) << error;
  EXPECT_EQ(query("select trim(WHAT) from AUDIT order by rowid desc limit 1"), "null gap");
  ASSERT_EQ(store(R"(create trigger ITEM_CHECK before insert on ITEM for each row execute
declare var Q integer;
code Q := NEW.QTY + 1; end;)"), 0u);
  EXPECT_NE(client_dml("insert into ITEM values(100, NULL, 'bad');", &error), 0);
  EXPECT_NE(error.find("NULLDATA"), std::string::npos) << error;
  ASSERT_EQ(store(R"(create procedure ADD_ITEM(out E integer)
code insert into ITEM values(101, NULL, 'bad'); exceptions when APPLICATIONERROR then E := ERRCODE(); end;)"), 0u);
  ASSERT_EQ(run("ADD_ITEM"), 0u);
  EXPECT_EQ(output("E"), "2001");
  EXPECT_EQ(query("select count(*) from ITEM where ID >= 100"), "0");
}

// A trigger dropped and another created in its place (its number may come round again) is
// the one that fires, and statement triggers created after a procedure's statement first ran
// fire around it from then on.
TEST_F(EngineTriggerTest, TriggersFollowCreateAndDropBetweenStatements) {
  ASSERT_EQ(store(R"(create trigger T_ONE after insert on EMP for each row execute
code insert into AUDIT values("first"); end;)"), 0u);
  ASSERT_EQ(store(R"(create procedure ADD_EMP(in NO integer)
code insert into EMP values(NO, 10); end;)"), 0u);
  ASSERT_EQ(run("ADD_EMP", {"2"}), 0u);
  ASSERT_EQ(store("drop trigger T_ONE"), 0u);
  ASSERT_EQ(store(R"(create trigger T_TWO after insert on EMP for each row execute
code insert into AUDIT values("second"); end;)"), 0u);
  ASSERT_EQ(run("ADD_EMP", {"3"}), 0u);
  ASSERT_EQ(store(R"(create trigger AROUND after insert on EMP for each statement execute
code insert into AUDIT values("statement"); end;)"), 0u);
  ASSERT_EQ(run("ADD_EMP", {"4"}), 0u);
  EXPECT_EQ(out_.exception, 0);
  EXPECT_EQ(query("select group_concat(trim(WHAT), '|') from AUDIT"), "first|second|second|statement");
}

}  // namespace
}  // namespace tavrel::kernel
