// Translation: the diagnostics of wrong texts with their numbers, lines, columns and arguments
// (a table), several diagnostics in one text, the limit with 78 last; the demonstration units
// translate; an expression gives the same value in the client's evaluator and in a procedure.
#include <cstring>

#include "engine_fixture.h"
#include "kernel/demo.h"
#include "translator/evaluator.h"
#include "values/stack_mem.h"
#include "values/string_pool.h"

namespace tavrel::kernel {
namespace {

struct DiagCase {
  const char* text;
  int number;
  int line;
  int column;
  const char* argument;
};

// Each text has exactly one fault; the expected place is where the compiler reports it.
const DiagCase DIAG_CASES[] = {
    {"select 1;", 61, 1, 1, ""},
    {"create procedure P code X := 1; end;", 15, 2, 1, ""},
    {"create procedure P(out X integer) code X := \"a\"; end;", 2, 2, 6, ""},
    {"create procedure P(out X integer) code if X then X := 1; endif; end;", 20, 2, 4, ""},
    {"create procedure P code if TRUE then\nif TRUE then\nend;", 23, 3, 1, "2"},
    {"create procedure P code\nwhile TRUE loop\nend;", 79, 3, 1, "1"},
    {"create procedure P(out X integer) code\ncase X when 1 then X := 1;\nend;", 80, 3, 1, "1"},
    {"create procedure P(out X integer) code X := 1 end;", 25, 2, 8, ""},
    {"create procedure P code goto nowhere; end;", 26, 2, 6, "NOWHERE"},
    {"create procedure P code\nendif;\nend;", 27, 2, 1, ""},
    {"create procedure P code endloop; end;", 28, 2, 1, ""},
    {"create procedure P code declare end;", 29, 2, 1, ""},
    {"create procedure P code code end;", 30, 2, 1, ""},
    {"create procedure P exceptions code end;", 31, 1, 20, ""},
    {"create procedure P end;", 32, 1, 20, ""},
    {"create procedure P code var X integer; end;", 33, 2, 1, ""},
    {"create procedure P code goto; end;", 35, 2, 5, ""},
    {"create procedure P code while TRUE endloop; end;", 36, 2, 12, ""},
    {"create procedure P(out X integer) code if TRUE X := 1; endif; end;", 37, 2, 9, ""},
    {"create procedure P code a: a: end;", 38, 2, 4, ""},
    {"create procedure P code if TRUE then else else endif; end;", 41, 2, 19, ""},
    {"create procedure P code if TRUE then else elseif TRUE then endif; end;", 42, 2, 19, ""},
    {"create procedure P declare var X, X integer; code end;", 43, 1, 37, ""},
    {"create procedure P declare var X widget; code end;", 44, 1, 34, ""},
    {"create procedure P declare var X integer default 1, 2; code end;", 45, 1, 53, ""},
    {"create procedure P declare cursor C default; code end;", 48, 1, 37, ""},
    {"create procedure P declare exception IF; code end;", 50, 1, 38, ""},
    {"create procedure P declare exception DIVZERO; code end;", 51, 1, 38, ""},
    {"create procedure P declare cursor C; code open C select 1; end;", 52, 2, 8, ""},
    {"create procedure P declare exception E for 1.5; code end;", 53, 1, 44, ""},
    {"create procedure P code when DIVZERO then end;", 54, 2, 1, ""},
    {"create procedure P code signal NOPE; end;", 55, 2, 8, ""},
    {"create procedure P code exceptions when DIVZERO then when DIVZERO then end;", 56, 2, 35, ""},
    {"create procedure P code resignal; end;", 58, 2, 1, ""},
    {"create procedure P(out X integer) code open X for select 1; end;", 66, 2, 6, ""},
    {"create procedure P declare cursor C; code fetch sideways C; end;", 67, 2, 7, ""},
    {"create procedure P declare cursor C; var X integer; code open C for select 1 into X; end;", 69, 2, 12, ""},
    {"create procedure P declare cursor C; code open C for delete from \"$$$USR\"; end;", 70, 2, 12, ""},
    {"create procedure P code endcase; end;", 71, 2, 1, ""},
    {"create procedure P(out X integer) code case X when X then endcase; end;", 72, 2, 13, ""},
    {"create procedure P(out X integer) code case X when \"a\" then endcase; end;", 73, 2, 13, ""},
    {"create procedure P(out X integer) code case X when others then when 1 then endcase; end;", 74, 2, 25, ""},
    {"create procedure P(out X integer) code case X when 1, 1 then endcase; end;", 75, 2, 18, ""},
    {"create procedure P(out X integer) code case X endcase; end;", 76, 2, 8, ""},
    {"create procedure P(out X integer) code return 1; end;", 77, 2, 8, ""},
    {"create procedure P code select nothing from nowhere; end;", 83, 2, 1, "1"},
    {"create procedure P code ignore; end;", 84, 2, 1, ""},
    {"create procedure P code begin transaction; end;", 85, 2, 20, ""},
};

TEST_F(EngineTest, DiagnosticsWithNumberLineColumnAndArgument) {
  for (const DiagCase& c : DIAG_CASES) {
    // The texts are written on one line after the head; put CODE's statements on line 2.
    std::string text = c.text;
    const size_t code = text.find(" code ");
    if (code != std::string::npos && text.find('\n') == std::string::npos) text.replace(code, 6, " code\n");
    const std::vector<Diagnostic> d = check(text);
    ASSERT_FALSE(d.empty()) << c.text;
    EXPECT_EQ(d[0].number, c.number) << c.text;
    EXPECT_EQ(d[0].line, c.line) << c.text;
    EXPECT_EQ(d[0].column, c.column) << c.text;
    EXPECT_EQ(d[0].argument, c.argument) << c.text;
  }
}

TEST_F(EngineTest, OneTranslationFindsEveryError) {
  const std::vector<Diagnostic> d = check(R"(create procedure P(out X integer)
code
  X := "text";
  Y := 1;
  X := 1
  X := 2;
end;)");
  ASSERT_EQ(d.size(), 3u);
  EXPECT_EQ(d[0].number, 2);
  EXPECT_EQ(d[0].line, 3);
  EXPECT_EQ(d[1].number, 15);
  EXPECT_EQ(d[1].line, 4);
  EXPECT_EQ(d[2].number, 25);
  EXPECT_EQ(d[2].line, 6);
}

TEST_F(EngineTest, DiagnosticsStopAtTheLimitWith78) {
  std::string text = "create procedure P code\n";
  for (int i = 0; i < 40; ++i) text += "  NOPE := 1;\n";
  text += "end;";
  const std::vector<Diagnostic> d = check(text);
  ASSERT_EQ(d.size(), static_cast<size_t>(DIAGNOSTICS_MAX));
  EXPECT_EQ(d.back().number, 78);
  EXPECT_EQ(d[DIAGNOSTICS_MAX - 2].number, 15);
}

TEST_F(EngineTest, DemonstrationUnitsTranslateAndRun) {
  std::string error;
  ASSERT_EQ(demo_create(db_, &error), 0) << error;
  sqlite3_stmt* st = nullptr;
  ASSERT_EQ(sqlite3_prepare_v2(db_, "select \"$$$NAME\", \"$$$BODY\" from \"$$$PROC\";", -1, &st, nullptr), SQLITE_OK);
  int units = 0;
  while (sqlite3_step(st) == SQLITE_ROW) {
    const std::string name = reinterpret_cast<const char*>(sqlite3_column_text(st, 0));
    const std::string body = reinterpret_cast<const char*>(sqlite3_column_text(st, 1));
    EXPECT_TRUE(check(body).empty()) << name;
    ++units;
  }
  sqlite3_finalize(st);
  EXPECT_GE(units, 7);
  ASSERT_EQ(run("RAISE_SALARY", {"7369", "10"}), 0u);
  EXPECT_EQ(out_.exception, 0);
  EXPECT_EQ(output("NEW_SAL"), "880.0000");
  ASSERT_EQ(run("ПРИВЕТСТВИЕ", {"'Мир'"}), 0u);
  EXPECT_EQ(output("ТЕКСТ"), "Здравствуйте, Мир!");
  ASSERT_EQ(run("NESTED", {"3"}), 0u);
  EXPECT_EQ(out_.exception, 0);
  EXPECT_EQ(output("TOTAL"), "6");
  ASSERT_EQ(run("SAFE_DIVIDE", {"1", "0"}), 0u);
  EXPECT_EQ(out_.exception, 0);
  EXPECT_EQ(output("Q"), "NULL");
}

// --- the same value in the client's evaluator and in a procedure --------------------------------

std::string client_value(const std::string& expr) {
  StackMemory memory{};
  stack_mem_setup(memory);
  auto pool = std::make_unique<StringPool>();
  string_pool_init(*pool, &memory, STACK_TEXT_A);
  EvalContext ctx{};
  ctx.strings = pool.get();
  Value v;
  std::string out = "?";
  if (evaluate(utf8_to_cp866(expr), ctx, &v) == 0) {
    std::vector<uint8_t> wire;
    value_wire_put(v, &wire);
    out = EngineTest::wire_text(wire) + "/" + std::to_string(v.type);
  }
  stack_mem_teardown(memory);
  return out;
}

TEST_F(EngineTest, SameValueInClientEvaluatorAndProcedure) {
  const char* const exprs[] = {
      "7 + 3 * 2 - 1",        "-32768 - 1",           "70000 * 70000",         "7 / 2",
      "7 \\ 2",               "2 ^ 10",               "1.5d * 4 - 0.25d",      "1.5r + 2",
      "10.25 * 3",            "1 / 3.0",              "5000000000 + 1",        "3 < 4 AND NOT (2 = 3)",
      "12 & 10",              "TRUE | FALSE",         "\"ab\" + \"cd\"",       "LEN(\"hello\") + 1",
      "SUBSTR(\"abcdef\", 2, 3)", "TOCHAR(12.5)",      "MOD(17, 5)",            "SQRT(16.0d)",
      "DAY(05.03.2011) + MONTH(05.03.2011:10:07)", "UPPER(\"abc\")",   "1.05 + 1",              "007 + 1",
  };
  int k = 0;
  for (const char* e : exprs) {
    const std::string want = client_value(e);
    ASSERT_NE(want, "?") << e;
    const std::string name = "SAME" + std::to_string(k++);
    ASSERT_EQ(store("create procedure " + name + "(out T char(40), out Y integer) declare var V char(1); code " +
                    "Y := 0; " + "PRINT(TOCHAR(" + e + ")); end;"),
              0u)
        << e;
    // The procedure prints the value's text; the evaluator's text of the same value must match.
    ASSERT_EQ(run(name), 0u) << e;
    ASSERT_EQ(out_.exception, 0) << e;
    ASSERT_EQ(printed().size(), 1u) << e;
    const std::string client_text = client_value(std::string("TOCHAR(") + e + ")");
    EXPECT_EQ(printed()[0] + "/8", client_text) << e;
  }
}

TEST_F(EngineTest, FastAndGeneralPathsAgreeOnTypedResults) {
  // The same sums through variables (fast path) and through constants with a built-in
  // (general path): every type keeps its width and rounding.
  ASSERT_EQ(store(R"(create procedure P(out A smallint, out B integer, out C real, out D double, out E bigint)
declare var S smallint default 30000; var I integer default 2000000000; var R real default 0.1r;
code
  A := S + S;                      // wraps in SMALLINT
  B := I + I;                      // wraps in INTEGER
  C := R + R + R;                  // REAL rounds to float at each step
  D := TOREAL(0.1r) + 0.2d;
  E := I + 5000000000;             // BIGINT
end;)"), 0u);
  ASSERT_EQ(run("P"), 0u);
  EXPECT_EQ(output("A") + "/2", client_value("30000 + 30000"));
  EXPECT_EQ(output("B") + "/3", client_value("2000000000i + 2000000000i"));
  EXPECT_EQ(output("C") + "/4", client_value("0.1r + 0.1r + 0.1r"));
  EXPECT_EQ(output("D") + "/5", client_value("TOREAL(0.1r) + 0.2d"));
  EXPECT_EQ(output("E") + "/16", client_value("2000000000i + 5000000000"));
}

}  // namespace
}  // namespace tavrel::kernel
