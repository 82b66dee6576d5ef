// Statements of the language run through the engine: assignments, IF / ELSEIF / ELSE, WHILE,
// CASE, GOTO, CALL with IN / OUT / INOUT, RESULT and RETURN, PRINT, both spellings.
#include "engine_fixture.h"

namespace tavrel::kernel {
namespace {

TEST_F(EngineTest, AssignmentsAndArithmeticInDeclaredTypes) {
  ASSERT_EQ(store(R"(create procedure P(in A integer, out S smallint, out B bigint, out D double, out N numeric(10,2))
code
  S := 32767; S := S + 1;
  B := 5000000000 * 2;
  D := A / 4.0d;
  N := 1.25 + A;
end;)"), 0u);
  ASSERT_EQ(run("P", {"10"}), 0u);
  EXPECT_EQ(out_.exception, 0);
  EXPECT_EQ(output("S"), "-32768");  // SMALLINT wraps in its width
  EXPECT_EQ(output("B"), "10000000000");
  EXPECT_EQ(output("D"), "2.5");
  EXPECT_EQ(output("N"), "11.2500");
}

TEST_F(EngineTest, IfElseifElseChoosesOneBranch) {
  ASSERT_EQ(store(R"(create procedure P(in X integer, out R char(10))
code
  if X < 0 then R := "neg";
  elseif X = 0 then R := "zero";
  elseif X < 10 then R := "small";
  else R := "big";
  endif;
end;)"), 0u);
  const std::pair<const char*, const char*> cases[] = {{"-5", "neg"}, {"0", "zero"}, {"3", "small"}, {"99", "big"}};
  for (auto [arg, want] : cases) {
    ASSERT_EQ(run("P", {arg}), 0u);
    EXPECT_EQ(output("R"), want) << arg;
  }
}

TEST_F(EngineTest, RussianKeywordsWork) {
  ASSERT_EQ(store(R"(create procedure "СУММА"(ВХ N integer, ВЫХ S integer)
ОПИС
  ПЕРЕМ I integer default 1;
КОД
  S := 0;
  ПОКА I <= N ЦИКЛ
    ЕСЛИ I = 3 ТО S := S + 100; ИНАЧЕ S := S + I; КОНЕСЛИ;
    I := I + 1;
  КОНЦИКЛ;
КОН;)"), 0u);
  ASSERT_EQ(run("СУММА", {"4"}), 0u);
  EXPECT_EQ(out_.exception, 0);
  EXPECT_EQ(output("S"), "107");
}

TEST_F(EngineTest, WhileSumsAndGotoJumps) {
  ASSERT_EQ(store(R"(create procedure P(in N bigint, out S bigint, out G integer)
declare
  var I bigint default 1;
code
  S := 0;
  while I <= N loop S := S + I; I := I + 1; endloop;
  G := 0;
again:
  G := G + 1;
  if G < 5 then goto again; endif;
end;)"), 0u);
  ASSERT_EQ(run("P", {"100000"}), 0u);
  EXPECT_EQ(output("S"), "5000050000");
  EXPECT_EQ(output("G"), "5");
}

TEST_F(EngineTest, CaseSelectsByConstantOrOthers) {
  ASSERT_EQ(store(R"(create procedure P(in X integer, in T char(5), out R integer, out Q char(10))
code
  case X
    when 1, 2 then R := 10;
    when -3 then R := 30;
    when others then R := 0;
  endcase;
  case T when "a" then Q := "first"; when "b" then Q := "second"; endcase;
end;)"), 0u);
  ASSERT_EQ(run("P", {"2", "'a'"}), 0u);
  EXPECT_EQ(output("R"), "10");
  EXPECT_EQ(output("Q"), "first");
  ASSERT_EQ(run("P", {"-3", "'c'"}), 0u);
  EXPECT_EQ(output("R"), "30");
  EXPECT_EQ(output("Q"), "NULL");  // no branch taken, Q never assigned
  ASSERT_EQ(run("P", {"7", "'b'"}), 0u);
  EXPECT_EQ(output("R"), "0");
  EXPECT_EQ(output("Q"), "second");
}

TEST_F(EngineTest, CallPassesInByValueAndOutThroughVariables) {
  ASSERT_EQ(store(R"(create procedure ADDER(in A integer, inout ACC integer, out TWICE integer)
code
  A := A + 1000;  // a copy: the caller's value stays
  ACC := ACC + A;
  TWICE := ACC * 2;
end;)"), 0u);
  ASSERT_EQ(store(R"(create procedure P(out X integer, out ACC integer, out T integer)
code
  X := 1; ACC := 5;
  call ADDER(X, ACC, T);
end;)"), 0u);
  ASSERT_EQ(run("P"), 0u);
  EXPECT_EQ(out_.exception, 0);
  EXPECT_EQ(output("X"), "1");
  EXPECT_EQ(output("ACC"), "1006");
  EXPECT_EQ(output("T"), "2012");
}

TEST_F(EngineTest, ResultAndReturnGiveAValueToExpressions) {
  ASSERT_EQ(store(R"(create procedure FIB(in N integer) result integer
code
  if N < 2 then return N; endif;
  return FIB(N - 1) + FIB(N - 2);
end;)"), 0u);
  ASSERT_EQ(run("FIB", {"20"}), 0u);
  EXPECT_EQ(out_.exception, 0);
  EXPECT_EQ(result(), "6765");
  ASSERT_EQ(store(R"(create procedure TWICE_FIB(in N integer) result double
code
  return FIB(N) * 2.5d;
end;)"), 0u);
  ASSERT_EQ(run("TWICE_FIB", {"10"}), 0u);
  EXPECT_EQ(result(), "137.5");
}

TEST_F(EngineTest, PrintWritesMessagesInOrder) {
  ASSERT_EQ(store(R"(create procedure P(in W char(10) default "world")
code
  PRINT("hello " + W);
  PRINT(TOCHAR(1 + 2));
end;)"), 0u);
  ASSERT_EQ(run("P"), 0u);
  EXPECT_EQ(printed(), (std::vector<std::string>{"hello world", "3"}));
}

TEST_F(EngineTest, DefaultsAndNullsOfParametersAndVariables) {
  ASSERT_EQ(store(R"(create procedure P(in A integer default 7, in B char(20) default null, out R char(40))
declare
  var X, Y integer default 1, 2;
code
  if B is null then R := "null " + TOCHAR(A + X + Y); else R := B; endif;
end;)"), 0u);
  ASSERT_EQ(run("P"), 0u);
  EXPECT_EQ(output("R"), "null 10");
  ASSERT_EQ(run("P", {"1", "'given'"}), 0u);
  EXPECT_EQ(output("R"), "given");
}

TEST_F(EngineTest, CallErrorsOfTheClient) {
  ASSERT_EQ(store("create procedure P(in A integer) code end;"), 0u);
  EXPECT_EQ(run("NOPE"), KERNEL_CALL_UNKNOWN_PROCEDURE);
  EXPECT_EQ(run("P", {"1", "2"}), KERNEL_CALL_ARGUMENT_COUNT);
  EXPECT_EQ(position_, 1u);  // the extra literal
  EXPECT_EQ(run("P", {"'abc'"}), KERNEL_CALL_BAD_ARGUMENT);
  EXPECT_EQ(position_, 0u);
  EXPECT_EQ(run("P", {"99999999999"}), KERNEL_CALL_BAD_ARGUMENT);
}

}  // namespace
}  // namespace tavrel::kernel
