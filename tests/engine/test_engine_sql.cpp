// Embedded SQL, cursors with every FETCH orientation, transactions and dynamic SQL.
#include <tuple>

#include "engine_fixture.h"

namespace tavrel::kernel {
namespace {

class EngineSqlTest : public EngineTest {
 protected:
  void SetUp() override {
    EngineTest::SetUp();
    sql("create table EMP(EMPNO integer primary key, ENAME char(10), SAL numeric(7,2), HIRED date);"
        "insert into EMP values(1, 'SMITH', 800, '1980-12-17'), (2, 'ALLEN', 1600, '1981-02-20'),"
        "(3, 'JONES', 2975, '1981-04-02');");
  }
};

TEST_F(EngineSqlTest, SelectIntoAndDmlBindVariablesNotText) {
  ASSERT_EQ(store(R"(create procedure RAISE(in NO integer, in PCT numeric(5,2), out NEW_SAL numeric(7,2), out NAME char(10), out H date, out N integer)
code
  update EMP set SAL = SAL * (100 + PCT) / 100 where EMPNO = NO;
  N := ROWCOUNT();
  select SAL, ENAME, HIRED into NEW_SAL, NAME, H from EMP where EMPNO = NO;
end;)"), 0u);
  ASSERT_EQ(run("RAISE", {"2", "10"}), 0u);
  EXPECT_EQ(out_.exception, 0);
  EXPECT_EQ(output("NEW_SAL"), "1760.0000");
  EXPECT_EQ(output("NAME"), "ALLEN");
  EXPECT_EQ(output("H"), "20.02.1981:00:00:00.00");
  EXPECT_EQ(output("N"), "1");
  EXPECT_EQ(query("select SAL from EMP where EMPNO = 2"), "1760");
  // A quoted name in SQL is the column even where a variable has that name.
  ASSERT_EQ(store(R"(create procedure Q(in ENAME char(10), out C integer)
code
  select count(*) into C from EMP where "ENAME" = ENAME;
end;)"), 0u);
  ASSERT_EQ(run("Q", {"'JONES'"}), 0u);
  EXPECT_EQ(output("C"), "1");
  // A text with a quote in it is bound, never spliced into the statement.
  ASSERT_EQ(run("Q", {"'x'' or 1=1 --'"}), 0u);
  EXPECT_EQ(output("C"), "0");
}

TEST_F(EngineSqlTest, SelectIntoWithoutRowGivesNullsAndRowcountZero) {
  ASSERT_EQ(store(R"(create procedure P(out NAME char(10), out N integer)
code
  NAME := "before";
  select ENAME into NAME from EMP where EMPNO = 99;
  N := ROWCOUNT();
end;)"), 0u);
  ASSERT_EQ(run("P"), 0u);
  EXPECT_EQ(output("NAME"), "NULL");
  EXPECT_EQ(output("N"), "0");
}

// Integer columns into integer variables of every width read as a BIGINT is read: the low
// bits while the high half is plain, else the type's maximum; NULL and a REAL column too.
TEST_F(EngineSqlTest, SelectIntoIntegerVariablesOfEachWidth) {
  sql("create table NUMS(K integer, X integer, R real);"
      "insert into NUMS values(1, 70000, 2.75), (2, -5, NULL), (3, 5000000000, -1.5), (4, -4294967297, 0);");
  ASSERT_EQ(store(R"(create procedure P(in K integer, out S smallint, out I integer, out B bigint, out T integer)
code
  select X, X, X, R into S, I, B, T from NUMS where "K" = K;
end;)"), 0u);
  const std::tuple<const char*, const char*, const char*, const char*, const char*> cases[] = {
      {"1", "4464", "70000", "70000", "2"},
      {"2", "-5", "-5", "-5", "NULL"},
      {"3", "32767", "2147483647", "5000000000", "-1"},
      {"4", "32767", "2147483647", "-4294967297", "0"},
  };
  for (auto [k, s, i, b, t] : cases) {
    ASSERT_EQ(run("P", {k}), 0u);
    EXPECT_EQ(out_.exception, 0) << k;
    EXPECT_EQ(output("S"), s) << k;
    EXPECT_EQ(output("I"), i) << k;
    EXPECT_EQ(output("B"), b) << k;
    EXPECT_EQ(output("T"), t) << k;
  }
}

TEST_F(EngineSqlTest, CursorFetchOrientations) {
  ASSERT_EQ(store(R"(create procedure P(out LOG char(200))
declare
  cursor C;
  var NO integer;
  var NAME char(10);
code
  LOG := "";
  open C for select EMPNO, ENAME from EMP order by EMPNO;
  fetch C into NO, NAME;               LOG := LOG + TOCHAR(NO);
  fetch next C into NO;                LOG := LOG + TOCHAR(NO);
  fetch previous C into NO;            LOG := LOG + TOCHAR(NO);
  fetch last C into NO;                LOG := LOG + TOCHAR(NO);
  fetch first C into NO;               LOG := LOG + TOCHAR(NO);
  fetch absolute -1 C into NO;         LOG := LOG + TOCHAR(NO);
  fetch relative -1 C into NO;         LOG := LOG + TOCHAR(NO);
  LOG := LOG + " " + C.ENAME + " " + TOCHAR(CURROW(C)) + " " + TOCHAR(ROWCOUNT(C));
  fetch absolute 9 C;
  if OUTOFCURSOR(C) then LOG := LOG + " out"; endif;
  fetch previous C into NO;
  if not OUTOFCURSOR(C) then LOG := LOG + " back " + TOCHAR(NO); endif;
  close C;
end;)"), 0u);
  ASSERT_EQ(run("P"), 0u);
  EXPECT_EQ(out_.exception, 0);
  EXPECT_EQ(output("LOG"), "1213132 ALLEN 2 3 out back 3");
}

TEST_F(EngineSqlTest, CursorLoopAndItsExceptions) {
  ASSERT_EQ(store(R"(create procedure P(in MIN numeric(7,2), out TOTAL numeric(9,2))
declare
  cursor C;
code
  TOTAL := 0;
  open C for select SAL from EMP where SAL >= MIN;
  fetch C;
  while not OUTOFCURSOR(C) loop
    TOTAL := TOTAL + C.SAL;
    fetch C;
  endloop;
  close C;
end;)"), 0u);
  ASSERT_EQ(run("P", {"1000"}), 0u);
  EXPECT_EQ(output("TOTAL"), "4575.0000");
  ASSERT_EQ(store(R"(create procedure NOTOPEN(out X integer) declare cursor C; code fetch C; end;)"), 0u);
  ASSERT_EQ(run("NOTOPEN"), 0u);
  EXPECT_EQ(out_.exception_name, "CURNOTOPEN");
  ASSERT_EQ(store(R"(create procedure TOOMANY(out A integer, out B integer, out D integer)
declare cursor C;
code
  open C for select EMPNO, ENAME from EMP;
  fetch C into A, B, D;
end;)"), 0u);
  ASSERT_EQ(run("TOOMANY"), 0u);
  EXPECT_EQ(out_.exception_name, "BADCURSOR");
}

TEST_F(EngineSqlTest, FailedStatementSetsErrcodeAndRaisesApplicationError) {
  ASSERT_EQ(store(R"(create procedure P(out E integer)
declare exception DUP;
code
  insert into EMP values(1, 'AGAIN', 1, '2000-01-01');
exceptions
  when APPLICATIONERROR then E := ERRCODE();
end;)"), 0u);
  ASSERT_EQ(run("P"), 0u);
  EXPECT_EQ(out_.exception, 0);
  EXPECT_EQ(output("E"), std::to_string(KERNEL_CONSTRAINT));
}

TEST_F(EngineSqlTest, ExecuteRunsTextBuiltAtRunTime) {
  ASSERT_EQ(store(R"X(create procedure P(in T char(20), out N integer)
code
  execute "create table " + T + "(A integer)";
  execute "insert into " + T + " values(1); insert into " + T + " values(2)";
  execute "delete from " + T + " where A = 1";
  N := ROWCOUNT();
end;)X"), 0u);
  ASSERT_EQ(run("P", {"'DYN'"}), 0u);
  EXPECT_EQ(out_.exception, 0);
  EXPECT_EQ(output("N"), "1");
  EXPECT_EQ(query("select count(*) from DYN"), "1");
}

TEST_F(EngineSqlTest, CommitAndRollback) {
  ASSERT_EQ(store(R"(create procedure P
code
  begin transaction;
  delete from EMP where EMPNO = 1;
  rollback transaction;
  begin transaction;
  delete from EMP where EMPNO = 2;
  commit transaction;
  commit work;  // outside a transaction: nothing to do
end;)"), 0u);
  ASSERT_EQ(run("P"), 0u);
  EXPECT_EQ(out_.exception, 0);
  EXPECT_EQ(query("select group_concat(EMPNO) from EMP"), "1,3");
  ASSERT_EQ(store(R"(create procedure TWICE code begin transaction; begin transaction; commit transaction; commit transaction; end;)"), 0u);
  ASSERT_EQ(run("TWICE"), 0u);
  EXPECT_EQ(out_.exception_name, "Invalid transaction state");
  sql("rollback;");
}

TEST_F(EngineSqlTest, HandlerRollsBackItsBlockOnly) {
  ASSERT_EQ(store(R"(create procedure P
code
  delete from EMP where EMPNO = 1;
  signal APPLICATIONERROR;
exceptions
  when others then delete from EMP where EMPNO = 3;
end;)"), 0u);
  ASSERT_EQ(run("P"), 0u);
  EXPECT_EQ(out_.exception, 0);
  // The block's changes before the exception went back; the handler's stayed.
  EXPECT_EQ(query("select group_concat(EMPNO) from EMP"), "1,2");
}

}  // namespace
}  // namespace tavrel::kernel
