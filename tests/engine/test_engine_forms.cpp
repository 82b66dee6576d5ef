// The integer forms of statements and the shape of compiled code: each form against the same
// computation done the general way (wrap in every width, conversions, NULL operands, division
// by powers of two), the loop tested at its bottom (quanta, KILL), the joins of IF and CASE
// that nothing reaches, and callees resolved again after a procedure changes.
#include <atomic>
#include <thread>

#include "engine_fixture.h"
#include "kernel/engine/compiler.h"
#include "kernel/engine/executions.h"
#include "kernel/engine/program.h"

namespace tavrel::kernel {
namespace {

// Each pair computes one value by an integer form (left) and by the general path (right: an
// expression the forms do not take), for arguments at the edges of each width.
TEST_F(EngineTest, IntegerFormsWrapAsTheGeneralPathDoes) {
  ASSERT_EQ(store(R"(create procedure P(in S smallint, in I integer, in B bigint, out R char(200))
declare
  var S1, S2, S3, S4 smallint;
  var I1, I2, I3, I4 integer;
  var B1, B2, B3, B4, B5, B6 bigint;
code
  S1 := S + 1;        S2 := (S + 1) + 0;
  S3 := S - S;        S4 := 1 + S;
  I1 := I + I;        I2 := (I + I) * 1;
  I3 := I - 7;        I4 := (I - 7) * 1;
  B1 := B + I;        B2 := (B + I) * 1;
  B3 := B - 1;        B4 := (B - 1) * 1;
  B5 := I;            B6 := I + 0;
  R := TOCHAR(S1) + " " + TOCHAR(S2) + " " + TOCHAR(S3) + " " + TOCHAR(S4) + " " + TOCHAR(I1) + " " + TOCHAR(I2) +
       " " + TOCHAR(I3) + " " + TOCHAR(I4) + " " + TOCHAR(B1) + " " + TOCHAR(B2) + " " + TOCHAR(B3) + " " +
       TOCHAR(B4) + " " + TOCHAR(B5) + " " + TOCHAR(B6);
end;)"), 0u);
  ASSERT_EQ(run("P", {"32767", "2147483647", "9223372036854775807"}), 0u);
  EXPECT_EQ(out_.exception, 0);
  EXPECT_EQ(output("R"),
            "-32768 -32768 0 -32768 -2 -2 2147483640 2147483640 -9223372034707292162 "
            "-9223372034707292162 9223372036854775806 9223372036854775806 2147483647 2147483647");
  ASSERT_EQ(run("P", {"-32768", "-2147483648", "-9223372036854775807"}), 0u);
  EXPECT_EQ(output("R"),
            "-32767 -32767 0 -32767 0 0 2147483641 2147483641 9223372034707292161 "
            "9223372034707292161 -9223372036854775808 -9223372036854775808 -2147483648 -2147483648");
}

TEST_F(EngineTest, ConstantsAndNarrowerTargetsConvertAsAssignmentsDo) {
  ASSERT_EQ(store(R"(create procedure P(in I integer, out R char(100))
declare
  var S1, S2 smallint;
  var I1, I2 integer;
  var B1 bigint;
code
  S1 := 100000;         // the low 16 bits of an INTEGER
  I1 := 5000000000;     // a BIGINT beyond the 32-bit range: the positive maximum
  B1 := -5;
  S2 := I + 1;          // an INTEGER sum into a SMALLINT: converted, not wrapped in 16 bits
  I2 := S2 - 1;         // a SMALLINT difference widened
  R := TOCHAR(S1) + " " + TOCHAR(I1) + " " + TOCHAR(B1) + " " + TOCHAR(S2) + " " + TOCHAR(I2);
end;)"), 0u);
  ASSERT_EQ(run("P", {"69999"}), 0u);
  EXPECT_EQ(output("R"), "-31072 2147483647 -5 4464 4463");
}

// Every comparison in both orders of a variable and a constant, and between two variables,
// at less, equal and greater; the general form of the same test beside it.
TEST_F(EngineTest, IntegerTestsAgreeWithTheGeneralComparison) {
  ASSERT_EQ(store(R"(create procedure P(in A integer, in B bigint, out R char(100))
code
  R := "";
  if A < B then R := R + "<"; endif;   if A + 0 < B then R := R + "<"; endif;
  if A <= B then R := R + "L"; endif;  if A + 0 <= B then R := R + "L"; endif;
  if A > B then R := R + ">"; endif;   if A + 0 > B then R := R + ">"; endif;
  if A >= B then R := R + "G"; endif;  if A + 0 >= B then R := R + "G"; endif;
  if A = B then R := R + "="; endif;   if A + 0 = B then R := R + "="; endif;
  if A <> B then R := R + "#"; endif;  if A + 0 <> B then R := R + "#"; endif;
  R := R + "|";
  if A < 2 then R := R + "<"; endif;   if 2 > A then R := R + "<"; endif;
  if A >= 2 then R := R + "G"; endif;  if 2 <= A then R := R + "G"; endif;
  if A = 2 then R := R + "="; endif;   if 2 <> A then R := R + "#"; endif;
end;)"), 0u);
  const std::pair<const char*, const char*> cases[] = {
      {"1", "<<LL##|<<#"}, {"2", "LLGG==|GG="}, {"3", ">>GG##|GG#"}};
  for (auto [a, want] : cases) {
    ASSERT_EQ(run("P", {a, "2"}), 0u);
    EXPECT_EQ(output("R"), want) << a;
  }
  // Beyond the 32-bit range the BIGINT side decides.
  ASSERT_EQ(run("P", {"-2147483648", "4294967296"}), 0u);
  EXPECT_EQ(output("R"), "<<LL##|<<#");
}

TEST_F(EngineTest, NullOperandsOfIntegerFormsRaiseNulldata) {
  ASSERT_EQ(store(R"(create procedure P(in WHICH integer, out R char(20))
declare
  var A, B, X integer;
code
  R := "start";
  B := 1;
  case WHICH
    when 1 then X := A + B;
    when 2 then X := A + 1;
    when 3 then if A < B then R := "less"; endif;
    when 4 then if A = 3 then R := "three"; endif;
    when 5 then A := 0; while A < 5 loop A := NULL; endloop;
    when 6 then A := 0; while A < B loop B := NULL; endloop;
    when 7 then X := 0; X := A; R := "copied";
  endcase;
exceptions
  when NULLDATA then R := "nulldata";
end;)"), 0u);
  for (const char* which : {"1", "2", "3", "4", "5", "6"}) {
    ASSERT_EQ(run("P", {which}), 0u);
    EXPECT_EQ(out_.exception, 0) << which;
    EXPECT_EQ(output("R"), "nulldata") << which;
  }
  // Copying a NULL is no arithmetic: it stays NULL.
  ASSERT_EQ(run("P", {"7"}), 0u);
  EXPECT_EQ(output("R"), "copied");
}

TEST_F(EngineTest, DivisionByPowersOfTwoTruncatesTowardZero) {
  ASSERT_EQ(store(R"(create procedure P(in A bigint, in S smallint, out R char(120))
code
  R := TOCHAR(A / 2) + " " + TOCHAR(A / (1 + 1)) + " " + TOCHAR(A \ 8) + " " + TOCHAR(A \ (4 + 4)) + " " +
       TOCHAR(S / 2) + " " + TOCHAR(S / (1 + 1)) + " " + TOCHAR(A / 4611686018427387904);
end;)"), 0u);
  ASSERT_EQ(run("P", {"-7", "-32768"}), 0u);
  EXPECT_EQ(output("R"), "-3 -3 0 0 -16384 -16384 0");
  ASSERT_EQ(run("P", {"-9223372036854775807", "7"}), 0u);
  EXPECT_EQ(output("R"),
            "-4611686018427387903 -4611686018427387903 -1152921504606846975 -1152921504606846975 3 3 -1");
}

TEST_F(EngineTest, RealAssignmentsRoundToSinglePrecision) {
  ASSERT_EQ(store(R"(create procedure P(in I integer, out R real, out D double, out Q real)
code
  R := I + 1;
  D := I + 1;
  Q := 0.1 + 0.2;
end;)"), 0u);
  ASSERT_EQ(run("P", {"16777216"}), 0u);
  EXPECT_EQ(output("R"), "1.67772e+07");
  EXPECT_EQ(output("D"), "1.67772e+07");
  ASSERT_EQ(out_.outputs.size(), 3u);
  // The REAL lost the last unit, the DOUBLE kept it.
  WireStore store_r, store_d;
  Value r, d;
  ASSERT_NE(value_wire_get(out_.outputs[0].wire, &store_r, &r), 0);
  ASSERT_NE(value_wire_get(out_.outputs[1].wire, &store_d, &d), 0);
  EXPECT_EQ(payload_get<float>(r), 16777216.0f);
  EXPECT_EQ(payload_get<double>(d), 16777217.0);
  EXPECT_EQ(output("Q"), "0.3");
}

// Waits (without a time limit of its own: the test's label gives one) until pred holds.
template <typename Pred>
void wait_until(Pred pred) {
  while (!pred()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

TEST_F(EngineTest, KillEndsALoopOfIntegerFormsOnly) {
  ASSERT_EQ(store(R"(create procedure SPIN(out N bigint)
declare var M bigint default 0;
code N := 1; while N > M loop N := N + 1; M := M + 1; endloop; end;)"), 0u);
  std::atomic<uint32_t> code{1};
  std::thread t([&] { code = run("SPIN"); });
  wait_until([] { return !executions_list().empty(); });
  engine_interrupt(es_);
  t.join();
  EXPECT_EQ(code.load(), KERNEL_INTERRUPTED);
  EXPECT_TRUE(executions_list().empty());
}

// Each turn of a loop and each GOTO back is one quantum, whichever form its test has.
TEST_F(EngineTest, QuantaCountTurnsOfLoopsAndJumpsBack) {
  ASSERT_EQ(store(R"(create procedure LOOPS
declare var I, J integer default 0, 0;
code
  while I < 10 loop I := I + 1; endloop;
  while I + 0 < 13 loop I := I + 1; endloop;
again:
  J := J + 1;
  if J < 4 then goto again; endif;
  sleep 3600;
end;)"), 0u);
  std::thread t([&] { run("LOOPS"); });
  wait_until([] {
    const auto list = executions_list();
    return !list.empty() && list[0].line == 8;
  });
  EXPECT_EQ(executions_list()[0].quanta, 16u);  // 10 + 3 turns, 3 jumps back
  engine_interrupt(es_);
  t.join();
}

TEST_F(EngineTest, LoopsRunTheirBodyAsOftenAsTheConditionHolds) {
  ASSERT_EQ(store(R"(create procedure P(in N integer, out C integer, out D integer, out E integer)
declare var I integer;
code
  C := 0; I := 0;
  while I < N loop C := C + 1; I := I + 1; endloop;
  D := 0; I := N;
  while I > 0 loop if I \ 2 * 2 = I then D := D + I; elseif I = 3 then D := D + 100; else D := D - 1; endif; I := I - 1; endloop;
  E := 0;
  while E < 0 loop E := 99; endloop;
end;)"), 0u);
  ASSERT_EQ(run("P", {"5"}), 0u);
  EXPECT_EQ(output("C"), "5");
  EXPECT_EQ(output("D"), "104");  // 4 + 2, 100 for 3, -1 each for 5 and 1
  EXPECT_EQ(output("E"), "0");
  ASSERT_EQ(run("P", {"0"}), 0u);
  EXPECT_EQ(output("C"), "0");
  EXPECT_EQ(output("D"), "0");
}

// The compiled code: every statement an instruction with its line, the joins of IF and CASE
// (line -1) reached by no jump and no fall-through, a loop's test at its bottom on the WHILE's
// line, the integer forms where they apply.
TEST_F(EngineTest, CodeIsLinkedPastJoinsAndLoopsTestAtTheBottom) {
  const std::string text = R"(create procedure P(in X integer, out R integer)
code
  R := 0;
  while R < X loop
    if R = 1 then R := R + 2;
    elseif R = 2 then R := R + 3;
    else R := R + 1;
    endif;
  endloop;
  case X when 1 then R := R + 5; when 2 then R := R + 6; when others then R := R + 0; endcase;
end;)";
  Unit u;
  std::vector<Diagnostic> diags;
  ASSERT_EQ(compile_unit(db_, text, &u, &diags), 0);
  const auto& code = u.code;
  auto reachable = [&](int p) { return p >= 0 && static_cast<size_t>(p) < code.size() && code[static_cast<size_t>(p)].line >= 0; };
  int joins = 0;
  for (size_t pc = 0; pc < code.size(); ++pc) {
    const Statement& s = code[pc];
    if (s.line < 0) {
      ++joins;
      EXPECT_EQ(s.kind, StmtKind::JUMP) << pc;
      continue;
    }
    if (s.kind != StmtKind::END_UNIT) {
      EXPECT_TRUE(reachable(s.next)) << pc;
    }
    EXPECT_EQ(s.joins, s.next != static_cast<int>(pc) + 1) << pc;
    if (s.target >= 0) {
      EXPECT_TRUE(reachable(s.target)) << pc;
    }
    if (s.lists != nullptr) {
      for (const CaseBranch& b : s.lists->cases) EXPECT_TRUE(reachable(b.target)) << pc;
    }
  }
  EXPECT_EQ(joins, 4);  // at ELSEIF and ELSE; at each WHEN after the first
  std::vector<int> loop_tests;
  for (size_t pc = 0; pc < code.size(); ++pc) {
    if (code[pc].kind == StmtKind::LOOP_INT_VV) loop_tests.push_back(static_cast<int>(pc));
  }
  ASSERT_EQ(loop_tests.size(), 1u);
  const Statement& bottom = code[static_cast<size_t>(loop_tests[0])];
  EXPECT_EQ(bottom.line, 3);  // the WHILE's line, from 0
  EXPECT_LT(bottom.target, loop_tests[0]);
  EXPECT_EQ(code[0].kind, StmtKind::INT_SET);
  EXPECT_EQ(code[1].kind, StmtKind::JUMP_INT_VV);  // the entry test
  EXPECT_EQ(code[1].line, 3);
  EXPECT_EQ(code[2].kind, StmtKind::JUMP_INT_VK);  // IF R = 1
  EXPECT_EQ(code[3].kind, StmtKind::INT_VK);
  ASSERT_EQ(store(text), 0u);
  const std::pair<const char*, const char*> cases[] = {{"1", "6"}, {"2", "9"}, {"3", "3"}};
  for (auto [x, want] : cases) {
    ASSERT_EQ(run("P", {x}), 0u);
    EXPECT_EQ(output("R"), want) << x;
  }
}

TEST_F(EngineTest, CallsFollowAProcedureAlteredOrDroppedBetweenRuns) {
  ASSERT_EQ(store("create procedure Q(in A integer) result integer code return A + 1; end;"), 0u);
  ASSERT_EQ(store(R"(create procedure P(out R integer, out S integer)
code
  R := Q(1) + Q(2);
  call BUMP(S);
end;)"), 0u);
  ASSERT_EQ(store("create procedure BUMP(out S integer) code S := 10; end;"), 0u);
  ASSERT_EQ(run("P"), 0u);
  EXPECT_EQ(output("R"), "5");
  EXPECT_EQ(output("S"), "10");
  ASSERT_EQ(store("alter procedure Q(in A integer) result integer code return A * 100; end;"), 0u);
  ASSERT_EQ(store("alter procedure BUMP(out S integer) code S := 20; end;"), 0u);
  ASSERT_EQ(run("P"), 0u);
  EXPECT_EQ(output("R"), "300");
  EXPECT_EQ(output("S"), "20");
  ASSERT_EQ(store("drop procedure BUMP"), 0u);
  ASSERT_EQ(run("P"), 0u);
  EXPECT_EQ(out_.exception_name, "UNDEFPROC");
}


// Copies keep what they copy, NULL and texts included, a copy onto itself too; a cursor a
// finished unit left open is none of the next unit's.
TEST_F(EngineTest, CopiesAndCursorsOfEndedUnits) {
  sql("create table T(A integer, B char(10)); insert into T values(1, 'x'), (2, 'y'), (3, NULL);");
  ASSERT_EQ(store(R"(create procedure LEAVE_OPEN
declare cursor C;
code open C for select A, B from T; fetch C; end;)"), 0u);
  ASSERT_EQ(store(R"(create procedure P(out R char(60))
declare cursor C; var S, S2 char(10); var N, M bigint; var I integer; var E integer;
code
  call LEAVE_OPEN();
  E := 0;
  fetch C;
  R := "not reached";
exceptions
  when CURNOTOPEN then
    open C for select A, B from T;
    fetch LAST C;
    S := C.B; S2 := S; S2 := S2; I := C.A; N := I; M := N;
    R := TOCHAR(I) + " " + TOCHAR(M);
    if S is null then R := R + " null"; endif;
    if S2 is null then R := R + " null"; endif;
    fetch FIRST C;
    S := C.B; S2 := S;
    R := R + " " + S2;
end;)"), 0u);
  ASSERT_EQ(run("P"), 0u);
  EXPECT_EQ(out_.exception, 0) << out_.exception_name;
  EXPECT_EQ(output("R"), "3 3 null null x");
}


// Integer trees of several operations run as flat programs: each value beside the same
// expression computed by the general evaluation (inside TOCHAR), each test beside the same
// comparison stored into a BOOL, across wraps, divisions by a variable and deep nesting.
TEST_F(EngineTest, FlatProgramsAgreeWithTheGeneralEvaluation) {
  ASSERT_EQ(store(R"(create procedure P(in A integer, in B integer, in S smallint, out R char(250))
declare var X, Y, Z, W integer; var T smallint; var C, D bool;
code
  X := (A + B) * 2 - A \ 4;
  Y := -(A - B) * (B + 1) + A / (B + 3);
  T := S * 3 + S * 5;
  Z := A + (A + (A + (A + (A + (A + (A + (A + (A + A))))))));
  W := (A * 1) / (B - B - 1);
  C := (A + B) * 2 > B * B - A;
  D := FALSE;
  if (A + B) * 2 > B * B - A then D := TRUE; endif;
  R := TOCHAR(X) + " " + TOCHAR((A + B) * 2 - A \ 4) + " " + TOCHAR(Y) + " " +
       TOCHAR(-(A - B) * (B + 1) + A / (B + 3)) + " " + TOCHAR(T) + " " + TOCHAR(S * 3 + S * 5) + " " + TOCHAR(Z) +
       " " + TOCHAR(W) + " " + TOCHAR(C) + " " + TOCHAR(D);
end;)"), 0u);
  ASSERT_EQ(run("P", {"7", "-2", "5000"}), 0u);
  EXPECT_EQ(out_.exception, 0) << out_.exception_name;
  EXPECT_EQ(output("R"), "9 9 16 16 -25536 -25536 70 -7 TRUE TRUE");
  ASSERT_EQ(run("P", {"-2147483648", "3", "-7"}), 0u);
  EXPECT_EQ(output("R"), "536870918 536870918 -357913929 -357913929 -56 -56 0 -2147483648 TRUE TRUE");
}

TEST_F(EngineTest, FlatProgramsLeaveNullsAndZeroDivisorsToTheTree) {
  ASSERT_EQ(store(R"(create procedure P(in WHICH integer, in A integer, out R char(20))
declare var N, X integer;
code
  R := "none";
  case WHICH
    when 1 then X := (A + N) * 2 - 1;
    when 2 then if (A + N) * 2 > A - 1 then R := "taken"; endif;
    when 3 then X := (A + 1) * 2 / (A - A);
    when 4 then while (A + 1) * 2 > N - 1 loop A := A - 1; endloop;
  endcase;
exceptions
  when NULLDATA then R := "nulldata";
  when DIVZERO then R := "divzero";
end;)"), 0u);
  const std::pair<const char*, const char*> cases[] = {
      {"1", "nulldata"}, {"2", "nulldata"}, {"3", "divzero"}, {"4", "nulldata"}};
  for (auto [which, want] : cases) {
    ASSERT_EQ(run("P", {which, "5"}), 0u);
    EXPECT_EQ(output("R"), want) << which;
  }
}


// NUMERIC sums, differences and products computed in place agree with the general evaluation
// (inside TOCHAR): integer, BIGINT and REAL operands read as NUMERIC, overflows, a NUMERIC
// routine, targets of other types; a NULL operand raises NULLDATA.
TEST_F(EngineTest, NumericArithmeticAgreesWithTheGeneralEvaluation) {
  ASSERT_EQ(store("create procedure HALF(in X numeric(20,4)) result numeric(20,4) code return X * 0.5; end;"), 0u);
  ASSERT_EQ(store(R"(create procedure P(in I integer, in B bigint, in R real, in A numeric(20,4), out T char(250),
                    out N integer, out D double)
declare var X, Y, Z numeric(20,4); var Q numeric(20,4);
code
  X := A + I * 0.5 + 1.25;
  Y := A * B - R;
  Z := HALF(A) - I;
  N := A * 2 + I;
  D := A * 3;
  T := TOCHAR(X) + TOCHAR(A + I * 0.5 + 1.25) + "|" + TOCHAR(Y) + TOCHAR(A * B - R) + "|" + TOCHAR(Z) +
       TOCHAR(HALF(A) - I);
  X := A + Q;
exceptions
  when NULLDATA then T := T + "|nulldata";
end;)"), 0u);
  ASSERT_EQ(run("P", {"-7", "9007199254740993", "0.1", "12.3456"}), 0u);
  EXPECT_EQ(out_.exception, 0) << out_.exception_name;
  const std::string t = output("T");
  const size_t a = t.find('|');
  const size_t b = t.find('|', a + 1);
  const size_t c = t.find('|', b + 1);
  ASSERT_NE(c, std::string::npos) << t;
  auto halves_agree = [](const std::string& part) {
    return part.size() % 2 == 0 && part.substr(0, part.size() / 2) == part.substr(part.size() / 2);
  };
  EXPECT_TRUE(halves_agree(t.substr(0, a))) << t;
  EXPECT_TRUE(halves_agree(t.substr(a + 1, b - a - 1))) << t;
  EXPECT_TRUE(halves_agree(t.substr(b + 1, c - b - 1))) << t;
  EXPECT_EQ(t.substr(c), "|nulldata");
  EXPECT_NE(t.find(" 10.0956000000"), std::string::npos) << t;  // 12.3456 - 3.5 + 1.25
  EXPECT_EQ(output("N"), "17");                           // 24.6912 - 7, the decimals dropped
  EXPECT_EQ(output("D"), "37.0368");
  // A product past 20 integer digits is an overflow on both ways, shown in nines.
  ASSERT_EQ(run("P", {"1", "99999999999", "0", "99999999999"}), 0u);
  const std::string o = output("T");
  const size_t oa = o.find('|');
  const size_t ob = o.find('|', oa + 1);
  EXPECT_TRUE(halves_agree(o.substr(oa + 1, ob - oa - 1))) << o;
  EXPECT_NE(o.find("99999999999999999999"), std::string::npos) << o;
}

}  // namespace
}  // namespace tavrel::kernel
