// Evaluator: precedence and types, NULL rules, the brace and "$" forms, diagnostics with
// their place, frames that nest and survive abandonment, check-only mode, assignment, the
// classes of expressions and the diagnostics table.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "text/unicode.h"
#include "translator/builtins.h"
#include "translator/diagnostics.h"
#include "translator/eval_ops.h"
#include "translator/evaluator.h"
#include "translator/value_form.h"

namespace tavrel {
namespace {

// Variables of the test unit: X INTEGER 21, N NULL, S CHAR "abc", B BYTE (indexable),
// C a cursor with column ID INTEGER; routine TWICE(n).
int find_variable(void*, std::string_view name, bool indexed, uint8_t* type) {
  struct Var {
    const char* name;
    uint8_t type;
  };
  static const Var VARS[] = {{"X", TYPE_INTEGER}, {"N", TYPE_NULL},   {"S", TYPE_CHAR},
                             {"B", TYPE_BYTE},    {"C", TYPE_CURSOR}, {"F", TYPE_BOOL}};
  for (int i = 0; i < 6; i++) {
    if (name == VARS[i].name && (!indexed || VARS[i].type == TYPE_BYTE)) {
      *type = indexed ? uint8_t{TYPE_SMALLINT} : VARS[i].type;
      return i;
    }
  }
  return -1;
}

int find_column(void*, int cursor, std::string_view name, uint8_t* type) {
  if (cursor != 4 || name != "ID") return -1;
  *type = TYPE_INTEGER;
  return 7;
}

int find_routine(void*, std::string_view name, uint8_t* type) {
  if (name != "TWICE") return -1;
  *type = TYPE_INTEGER;
  return 0;
}

const UnitSymbols UNIT{nullptr, find_variable, find_column, find_routine};

struct Harness {
  int reads = 0;
  std::vector<int> reports;
  std::vector<std::string> assigned;
  std::string inner_result;  // what a nested evaluation inside a variable read gave
  const char* nested_text = nullptr;
  bool endless = false;
};

Harness* harness(EvalContext& ctx) { return static_cast<Harness*>(ctx.user); }

int read_variable(EvalContext& ctx, int variable, int column, const Value* index, Value* out) {
  Harness* h = harness(ctx);
  h->reads++;
  if (h->nested_text != nullptr) {
    // An evaluation started while this one is suspended (and reading no variable of its
    // own through here, unless the test wants an endless chain).
    const char* text = h->nested_text;
    if (!h->endless) h->nested_text = nullptr;
    Value inner;
    EvalOutcome o;
    int rc = evaluate(text, ctx, &inner, &o);
    h->nested_text = text;
    h->inner_result = rc == 0 ? typed_value_form(inner, *ctx.strings)
                              : "error " + std::to_string(o.diagnostic);
  }
  static const uint8_t BLOCK[] = {3, 0, 10, 20, 30};
  switch (variable) {
    case 0: *out = make_integer(21); return 0;
    case 1: *out = make_null(); return 0;
    case 2: *out = make_char("abc"); return 0;
    case 3:
      if (index == nullptr) {
        *out = make_byte(BLOCK);
        return 0;
      }
      if (read_as_integer(*index) > 2) return DIAG_BAD_INDEX;
      *out = make_smallint(BLOCK[2 + read_as_integer(*index)]);
      return 0;
    case 4:
      if (column != 7) {
        Value v = make_none();
        v.type = TYPE_CURSOR;
        *out = v;
        return 0;
      }
      *out = make_integer(1000);
      return 0;
    default:
      *out = make_bool(false);
      return 0;
  }
}

int assign_variable(EvalContext& ctx, int variable, int, const Value* index, const Value& value) {
  std::string s = std::to_string(variable);
  if (index != nullptr) s += "[" + std::to_string(read_as_integer(*index)) + "]";
  harness(ctx)->assigned.push_back(s + "=" + typed_value_form(value, *ctx.strings));
  return 0;
}

int call_routine(EvalContext&, int routine, const Value* args, int argc, Value* result) {
  if (routine != 0 || argc != 1) return DIAG_BAD_ARGUMENT;
  *result = make_integer(2 * read_as_integer(args[0]));
  return 0;
}

void reporter(void* user, int number, int, int) {
  static_cast<Harness*>(user)->reports.push_back(number);
}

class EvaluatorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    string_pool_init(pool_, &mem_, STACK_TEXT_A);
    ctx_.strings = &pool_;
    ctx_.user = &h_;
    ctx_.reporter = reporter;
    ctx_.reporter_user = &h_;
  }
  void TearDown() override {
    EXPECT_EQ(ctx_.frame, nullptr);
    stack_mem_teardown(mem_);
  }

  void with_unit() {
    ctx_.unit = &UNIT;
    ctx_.read_variable = read_variable;
    ctx_.assign_variable = assign_variable;
    ctx_.call_routine = call_routine;
  }

  // The typed-value form of the result, or "error N L:C".
  std::string eval(const std::string& text, unsigned flags = 0) {
    Value v;
    return form(evaluate(text, ctx_, &v, &outcome_, flags), v);
  }
  std::string form(int rc, const Value& v) {
    if (rc != 0) {
      EXPECT_EQ(v.type, TYPE_NONE);
      return "error " + std::to_string(outcome_.diagnostic) + " " +
             std::to_string(outcome_.line) + ":" + std::to_string(outcome_.column);
    }
    return cp866_to_utf8(typed_value_form(v, pool_));
  }

  StackMemory mem_{};
  StringPool pool_;
  EvalContext ctx_{};
  EvalOutcome outcome_{};
  Harness h_;
};

struct Case {
  const char* text;
  const char* expected;
};

TEST_F(EvaluatorTest, PrecedenceAndAssociativity) {
  const Case cases[] = {
      {"1 + 2 * 3", "7 (SMALLINT)"},
      {"(1 + 2) * 3", "9 (SMALLINT)"},
      {"10 - 4 - 3", "3 (SMALLINT)"},
      {"2 ^ 3 ^ 2", "512 (SMALLINT)"},
      {"-2 ^ 2", "-4 (SMALLINT)"},
      {"2 ^ -1", "0 (SMALLINT)"},
      {"-3 * -3", "9 (SMALLINT)"},
      {"7 / 2 * 2", "6 (SMALLINT)"},
      {"7 \\ 2", "3 (SMALLINT)"},
      {"7.0d / 2", "3.5 (DOUBLE)"},
      {"7.5d \\ 2", "3 (DOUBLE)"},
      {"1 + 2 = 3", "TRUE (LOGICAL)"},
      {"1 < 2 AND 3 > 4", "FALSE (LOGICAL)"},
      {"TRUE OR FALSE AND FALSE", "TRUE (LOGICAL)"},
      {"NOT 1 = 2", "TRUE (LOGICAL)"},
      {"NOT 1 = 1 OR TRUE", "TRUE (LOGICAL)"},
      {"NOT TRUE AND FALSE", "FALSE (LOGICAL)"},
      {"1 < 2 = TRUE", "TRUE (LOGICAL)"},
      {"6 & 3 + 1", "4 (SMALLINT)"},
      {"6 | 3", "7 (SMALLINT)"},
      {"12 & 4 = 4", "TRUE (LOGICAL)"},
      {"TRUE & FALSE | TRUE", "TRUE (LOGICAL)"},
      {"1; 2", "2 (SMALLINT)"},
      {"1; 2;", "2 (SMALLINT)"},
      {"((((7))))", "7 (SMALLINT)"},
      {"+5", "5 (SMALLINT)"},
  };
  for (const Case& c : cases) EXPECT_EQ(eval(c.text), c.expected) << c.text;
}

TEST_F(EvaluatorTest, NumericTypesCombineInTheirCommonType) {
  const Case cases[] = {
      {"1 + 70000", "70001 (INTEGER)"},
      {"1 + 7b", "8 (BIGINT)"},
      {"7b + 1.5r", "8.5 (REAL)"},
      {"1.5r + 1.5d", "3 (DOUBLE)"},
      {"1 + 1.5", "2.5000000000 (NUMERIC)"},
      {"1.25 * 4", "5.0000000000 (NUMERIC)"},
      {"1 / 3.0", "0.3333333333 (NUMERIC)"},
      {"7.5 \\ 2", "3.0000000000 (NUMERIC)"},
      {"-7.5 \\ 2", "-3.0000000000 (NUMERIC)"},
      {"1.5 ^ 2", "2.2500000000 (NUMERIC)"},
      {"32767 + 1", "-32768 (SMALLINT)"},
      {"2147483647i + 1", "-2147483648 (INTEGER)"},
      {"9223372036854775807 + 1", "-9223372036854775808 (BIGINT)"},
      {"-32767 - 1 \\ -1", "-32766 (SMALLINT)"},
      {"(-32767 - 1) \\ -1", "-32768 (SMALLINT)"},
      {"2b ^ 63", "-9223372036854775808 (BIGINT)"},
      {"2 ^ 62 * 2b", "0 (BIGINT)"},  // 2 ^ 62 is computed in SMALLINT
      {"3 ^ 40", "-6111 (SMALLINT)"},
      {"0.1d + 0.2d = 0.3d", "FALSE (LOGICAL)"},
      {"1.05 > 1.04999d", "TRUE (LOGICAL)"},
      {"007 = 7", "TRUE (LOGICAL)"},
  };
  for (const Case& c : cases) EXPECT_EQ(eval(c.text), c.expected) << c.text;
}

TEST_F(EvaluatorTest, CheckedTypesMatchComputedTypes) {
  // The type worked out while only checking must be the type computed.
  const char* operands[] = {"3", "70000", "3b", "1.5r", "1.5d", "1.5"};
  const char* ops[] = {"+", "-", "*", "/", "\\", "^"};
  for (const char* a : operands) {
    for (const char* b : operands) {
      for (const char* op : ops) {
        std::string text = std::string(a) + " " + op + " " + b;
        Value run, check;
        ASSERT_EQ(evaluate(text, ctx_, &run), 0) << text;
        ASSERT_EQ(evaluate(text, ctx_, &check, nullptr, EVAL_CHECK_ONLY), 0) << text;
        EXPECT_EQ(run.type, check.type) << text;
      }
    }
  }
}

TEST_F(EvaluatorTest, TextsDatesAndBytes) {
  const Case cases[] = {
      {"\"ab\" + \"cd\"", "{abcd} (STRING)"},
      {"\"ab\" \"cd\" + \"e\"", "{abcde} (STRING)"},
      {"\"a\" < \"b\"", "TRUE (LOGICAL)"},
      {"\"ab\" = \"ab\"", "TRUE (LOGICAL)"},
      {"\"\\xe0\" > \"z\"", "TRUE (LOGICAL)"},  // bytes compare unsigned
      {"31.12.2010 > 1.1.2010", "TRUE (LOGICAL)"},
      {"1.1.2010:10 > 1.1.2010", "TRUE (LOGICAL)"},
      {"31.12.2010:23:59:59.99", "31.12.2010:23:59:59.99 (DATE)"},
      {"{1, 2, 255, 256}", "{ 1  2 ff  0 } (BYTE)"},
      {"{\"ab\", 0} + {}", "{61 62  0 } (BYTE)"},
      {"{}", "{} (BYTE)"},
      {"{1} < {1, 0}", "TRUE (LOGICAL)"},
      {"$\"ab\" + $\"c\"", "{abc} (NCHAR)"},
      {"$\"б\" > $\"а\"", "TRUE (LOGICAL)"},
  };
  for (const Case& c : cases) EXPECT_EQ(eval(utf8_to_cp866(c.text)), c.expected) << c.text;
}

TEST_F(EvaluatorTest, NullRules) {
  const Case cases[] = {
      {"NULL", "(NULL)"},
      {"NULL = NULL", "TRUE (LOGICAL)"},
      {"1 = NULL", "FALSE (LOGICAL)"},
      {"NULL <> \"a\"", "TRUE (LOGICAL)"},
      {"NULL + 1", "error 10 1:9"},
      {"1 - NULL", "error 10 1:9"},
      {"NULL < 1", "error 10 1:9"},
      {"NOT NULL", "error 10 1:9"},
      {"-NULL", "error 10 1:6"},
      {"NULL AND TRUE", "error 10 1:14"},
      {"{NULL}", "error 10 1:7"},
      {"$NULL", "error 10 1:6"},
  };
  for (const Case& c : cases) EXPECT_EQ(eval(c.text), c.expected) << c.text;
}

TEST_F(EvaluatorTest, DiagnosticsWithTheirPlace) {
  const Case cases[] = {
      {"1 2", "error 1 1:4"},
      {"", "error 9 1:1"},
      {"1 +", "error 9 1:4"},
      {"(1 + 2", "error 8 1:7"},
      {"(1 + )", "error 9 1:7"},
      {"* 2", "error 9 1:2"},
      {"1 + \"a\"", "error 2 1:8"},
      {"\"a\" - \"b\"", "error 2 1:10"},
      {"TRUE + 1", "error 2 1:9"},
      {"1 AND TRUE", "error 2 1:11"},
      {"1.5 & 1", "error 2 1:8"},
      {"\n\n  #", "error 1 3:4"},
      {"1 +\n  zz", "error 15 2:5"},
      {"\"abc", "error 16 1:5"},
      {"\"\\xq\"", "error 17 1:4"},
      {"31/12/2010", "error 18 1:11"},
      {"LEN 1", "error 11 1:6"},
      {"LEN(\"a\"", "error 8 1:8"},
      {"SUBSTR(\"a\", 1)", "error 12 1:15"},
      {"LEN(\"a\",)", "error 9 1:10"},
      {"{1, 2", "error 1 1:6"},
      {"IF", "error 1 1:3"},
      {"1;\n2 3", "error 1 2:4"},
  };
  for (const Case& c : cases) EXPECT_EQ(eval(c.text), c.expected) << c.text;
  // Only the first diagnostic of an evaluation is reported.
  h_.reports.clear();
  EXPECT_EQ(eval("(1 + \"a\""), "error 2 1:9");
  EXPECT_EQ(h_.reports, (std::vector<int>{DIAG_TYPE_MISMATCH}));
}

TEST_F(EvaluatorTest, DivisionByZeroGivesZeroAndWarns) {
  const Case cases[] = {
      {"1 / 0", "0 (SMALLINT)"},
      {"1 \\ 0", "0 (SMALLINT)"},
      {"1.5 / 0", "0.0000000000 (NUMERIC)"},
      {"1.5d / 0", "0 (DOUBLE)"},
      {"1.5r / 0.0r", "0 (REAL)"},
      {"0 ^ -1", "0 (SMALLINT)"},
      {"5 + 1 / 0", "5 (SMALLINT)"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(eval(c.text), c.expected) << c.text;
    EXPECT_EQ(outcome_.warning, DIAG_DIVISION_BY_ZERO) << c.text;
    EXPECT_EQ(outcome_.diagnostic, -1) << c.text;
  }
  EXPECT_TRUE(h_.reports.empty());
  EXPECT_EQ(eval("1 /\n 0"), "0 (SMALLINT)");
  EXPECT_EQ(outcome_.warning_line, 2);
  EXPECT_EQ(outcome_.warning_column, 3);
}

TEST_F(EvaluatorTest, AndOrSkipOperandsThatCannotMatter) {
  with_unit();
  EXPECT_EQ(eval("FALSE AND 1 / 0 = 1"), "FALSE (LOGICAL)");
  EXPECT_EQ(outcome_.warning, -1);
  EXPECT_EQ(eval("TRUE OR X = 1"), "TRUE (LOGICAL)");
  EXPECT_EQ(h_.reads, 0);
  EXPECT_EQ(eval("X = 21 AND X > 20"), "TRUE (LOGICAL)");
  EXPECT_EQ(h_.reads, 2);
  // A skipped operand is still checked.
  EXPECT_EQ(eval("FALSE AND 1"), "error 2 1:12");
  EXPECT_EQ(eval("TRUE OR NULL"), "error 10 1:13");
}

TEST_F(EvaluatorTest, VariablesColumnsAndRoutines) {
  with_unit();
  const Case cases[] = {
      {"X * 2", "42 (INTEGER)"},
      {"x + 0.5", "21.5000000000 (NUMERIC)"},
      {"N", "(NULL)"},
      {"N = NULL", "TRUE (LOGICAL)"},
      {"S + \"d\"", "{abcd} (STRING)"},
      {"B", "{ a 14 1e } (BYTE)"},
      {"B[1] + B[2]", "50 (SMALLINT)"},
      {"B[1 + 1]", "30 (SMALLINT)"},
      {"C.ID + 1", "1001 (INTEGER)"},
      {"TWICE(X)", "42 (INTEGER)"},
      {"LEN(S) + TWICE(1)", "5 (INTEGER)"},
      {"B[3]", "error 13 1:5"},
      {"B[\"a\"]", "error 13 1:7"},
      {"B[]", "error 13 1:4"},
      {"B[1", "error 4 1:4"},
      {"C", "error 49 1:2"},
      {"C + 1", "error 49 1:6"},
      {"C.NAME", "error 49 1:7"},
  };
  for (const Case& c : cases) EXPECT_EQ(eval(c.text), c.expected) << c.text;
}

TEST_F(EvaluatorTest, AssignmentIsRecognisedNotPerformed) {
  with_unit();
  struct AssignCase {
    const char* text;
    bool assignment;
    const char* expected;
  };
  const AssignCase cases[] = {
      {"X := 5", true, "(NIL)"},
      {"B[1] := 1 / 0", true, "(NIL)"},
      {"X = 5", false, "FALSE (LOGICAL)"},
      {"B[1] = 10", false, "FALSE (LOGICAL)"},
      {"X := 1; X", true, "21 (INTEGER)"},
  };
  for (const AssignCase& c : cases) {
    EXPECT_EQ(eval(c.text), c.expected) << c.text;
    EXPECT_EQ(outcome_.assignment, c.assignment) << c.text;
    EXPECT_EQ(outcome_.warning, -1) << c.text;  // nothing of it was computed
  }
  EXPECT_TRUE(h_.assigned.empty());
  EXPECT_EQ(eval("X := \"a\" + 1"), "error 2 1:13");
  EXPECT_TRUE(outcome_.assignment);
}

TEST_F(EvaluatorTest, AssignmentCanBePerformed) {
  with_unit();
  EXPECT_EQ(eval("X := X + 1", EVAL_ASSIGN), "22 (INTEGER)");
  EXPECT_EQ(eval("B[2 - 1] := 7", EVAL_ASSIGN), "7 (SMALLINT)");
  EXPECT_EQ(eval("X := 5", EVAL_ASSIGN | EVAL_CHECK_ONLY), "(NIL)");
  EXPECT_EQ(h_.assigned, (std::vector<std::string>{"0=22 (INTEGER)", "3[1]=7 (SMALLINT)"}));
}

TEST_F(EvaluatorTest, CheckOnlyComputesNothing) {
  with_unit();
  Value v;
  ASSERT_EQ(evaluate("X + 1.5 + 1 / 0", ctx_, &v, &outcome_, EVAL_CHECK_ONLY), 0);
  EXPECT_EQ(v.type, TYPE_NUMERIC);
  EXPECT_EQ(outcome_.warning, -1);
  EXPECT_EQ(h_.reads, 0);
  ASSERT_EQ(evaluate("S + \"x\"", ctx_, &v, &outcome_, EVAL_CHECK_ONLY), 0);
  EXPECT_EQ(v.type, TYPE_CHAR);
  EXPECT_EQ(evaluate("S + 1", ctx_, &v, &outcome_, EVAL_CHECK_ONLY), EVAL_FAILED);
  EXPECT_EQ(outcome_.diagnostic, DIAG_TYPE_MISMATCH);
  // PRINT would write: while checking, it is given its declared type and not called.
  std::string printed;
  ctx_.print = [](void* user, std::string_view text) {
    static_cast<std::string*>(user)->append(text);
  };
  ctx_.print_user = &printed;
  ASSERT_EQ(evaluate("PRINT(\"abc\")", ctx_, &v, &outcome_, EVAL_CHECK_ONLY), 0);
  EXPECT_EQ(v.type, builtin_result_type(builtin_find("PRINT")));
  EXPECT_EQ(printed, "");
  ASSERT_EQ(evaluate("PRINT(\"abc\")", ctx_, &v, &outcome_), 0);
  EXPECT_EQ(printed, "*** Message from Stored Procedure: abc");
}

TEST_F(EvaluatorTest, EvaluateAsType) {
  struct AsCase {
    uint8_t type;
    const char* text;
    const char* expected;
  };
  const AsCase cases[] = {
      {TYPE_INTEGER, "5", "5 (INTEGER)"},
      {TYPE_SMALLINT, "70000", "4464 (SMALLINT)"},
      {TYPE_DOUBLE, "1.5", "1.5 (DOUBLE)"},
      {TYPE_BIGINT, "2.9d", "2 (BIGINT)"},
      {TYPE_NUMERIC, "NULL", "(NULL)"},
      {TYPE_BOOL, "1 < 2", "TRUE (LOGICAL)"},
      {TYPE_CHAR, "\"a\"", "{a} (STRING)"},
      {TYPE_DATE, "1.2.2003", "1.2.2003:0:0:0.0 (DATE)"},
      {TYPE_NCHAR, "$\"w\"", "{w} (NCHAR)"},
      {TYPE_BYTE, "{7}", "{ 7 } (BYTE)"},
      {TYPE_INTEGER, "\"a\"", "error 2 1:4"},
      {TYPE_CHAR, "1", "error 2 1:2"},
      {TYPE_BOOL, "1", "error 2 1:2"},
      {TYPE_CURSOR, "1", "error 44 1:2"},
      {TYPE_NONE, "1", "error 44 1:2"},
  };
  for (const AsCase& c : cases) {
    Value v;
    EXPECT_EQ(form(evaluate_as(c.type, c.text, ctx_, &v, &outcome_), v), c.expected) << c.text;
  }
}

TEST_F(EvaluatorTest, FramesNestAndSurviveAbandonment) {
  with_unit();
  const char* inner_texts[] = {"1 + \"a\"", "(((", "\"unterminated", "X * 2"};
  const char* inner_results[] = {"error 2", "error 9", "error 16", "42 (INTEGER)"};
  for (int i = 0; i < 4; i++) {
    h_.nested_text = inner_texts[i];
    EXPECT_EQ(eval("\"x\" + S + \"y\"; X * 2 + LEN(\"abcd\")"), "46 (INTEGER)") << inner_texts[i];
    EXPECT_EQ(h_.inner_result, inner_results[i]);
    EXPECT_EQ(outcome_.diagnostic, -1);
  }
  // The outer failure after an inner success is the outer's own.
  h_.nested_text = "1";
  EXPECT_EQ(eval("S + X"), "error 2 1:6");
  // Evaluations that keep starting evaluations end with a diagnostic, not a crash.
  h_.nested_text = "S";
  h_.endless = true;
  h_.reads = 0;
  EXPECT_EQ(eval("S"), "{abc} (STRING)");
  EXPECT_EQ(h_.reads, MAX_FRAMES);
}

TEST_F(EvaluatorTest, StackMemoryComesBackAfterEveryEvaluation) {
  EvalScope scope = eval_scope_open(ctx_);
  const int stacks[] = {STACK_FRAMES, STACK_TEXT_A, STACK_TEXT_B};
  StackMark marks[3];
  for (int k = 0; k < 3; k++) marks[k] = stack_mark(mem_, stacks[k]);
  int count = pool_.count;
  const char* texts_to_run[] = {"\"abc\" + \"def\"; 1", "TRIM(\"  a  \") = \"a\"",
                                "1 + \"a\"",        "{1, 2, \"xyz\"} = {}",
                                "((((1 +",          "$\"abc\" = $\"abc\""};
  for (int round = 0; round < 300; round++) {
    for (const char* t : texts_to_run) {
      Value v;
      evaluate(t, ctx_, &v);
    }
  }
  EXPECT_EQ(pool_.count, count);
  for (int k = 0; k < 3; k++) {
    StackMark after = stack_mark(mem_, stacks[k]);
    EXPECT_EQ(after.block, marks[k].block) << k;
    EXPECT_EQ(after.free, marks[k].free) << k;
  }
  eval_scope_close(ctx_, scope);
}

TEST_F(EvaluatorTest, ResultTextsOutliveTheFrame) {
  EvalScope scope = eval_scope_open(ctx_);
  Value a, b;
  ASSERT_EQ(evaluate("\"abc\" + \"def\"", ctx_, &a), 0);
  ASSERT_EQ(evaluate("{1, 2} + {3}", ctx_, &b), 0);  // reuses the memory the first frame freed
  Value c;
  ASSERT_EQ(evaluate("$\"wide\"", ctx_, &c), 0);
  EXPECT_STREQ(value_text(a), "abcdef");
  EXPECT_EQ(typed_value_form(b, pool_), "{ 1  2  3 } (BYTE)");
  EXPECT_EQ(typed_value_form(c, pool_), "{wide} (NCHAR)");
  eval_scope_close(ctx_, scope);
}

TEST_F(EvaluatorTest, DeepNestingIsADiagnosticNotACrash) {
  std::string deep(5000, '(');
  EXPECT_EQ(eval(deep + "1"), "error 0 1:" + std::to_string(MAX_NESTING + 2));
  EXPECT_EQ(eval(std::string(5000, '-') + "1").substr(0, 7), "error 0");
  std::string args = "MAKESTR(\"?\"";
  for (int i = 0; i < MAX_CALL_ARGS; i++) args += ",1";
  EXPECT_EQ(eval(args + ")").substr(0, 8), "error 12");
}

TEST_F(EvaluatorTest, FullStringPoolIsNoMemory) {
  // Every string constant and every join takes a pool text: 200 of each pass MAX_STRINGS.
  std::string text = "\"a\"";
  for (int i = 0; i < 200; i++) text += " + \"b\"";
  ::testing::internal::CaptureStderr();
  std::string got = eval(text);
  std::string err = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(got.substr(0, 7), "error 0");
  EXPECT_NE(err.find("LANGLIB: MAX_STRINGS too small!"), std::string::npos);
  EXPECT_EQ(pool_.count, 0);
  EXPECT_EQ(eval("\"a\" + \"b\""), "{ab} (STRING)");
  // No string pool at all is no memory either.
  EvalContext bare{};
  Value v;
  EXPECT_EQ(evaluate("1", bare, &v, &outcome_), EVAL_FAILED);
  EXPECT_EQ(outcome_.diagnostic, DIAG_NO_MEMORY);
}

TEST_F(EvaluatorTest, ExpressionClasses) {
  with_unit();
  struct ClassCase {
    const char* text;
    int cls;
  };
  const ClassCase cases[] = {
      {"1 + 2", CLASS_NUMERIC},     {"1.5d", CLASS_NUMERIC},    {"7b", CLASS_NUMERIC},
      {"((X))", CLASS_NUMERIC},     {"LEN(S)", CLASS_NUMERIC},  {"(((B", CLASS_BYTES},
      {"B[1]", CLASS_NUMERIC},      {"\"a\" + S", CLASS_STRING}, {"S", CLASS_STRING},
      {"TRIM(S)", CLASS_STRING},    {"F", CLASS_LOGICAL},       {"NOT F", CLASS_LOGICAL},
      {"FALSE", CLASS_LOGICAL},     {"N", CLASS_NULL},          {"NULL", CLASS_NULL},
      {"1.1.2000", CLASS_DATE},     {"TWICE(1)", CLASS_NUMERIC}, {"-1", TOK_MINUS},
      {"TONCHAR(S)", CLASS_WIDE},   {"C.ID", CLASS_NUMERIC},
  };
  for (const ClassCase& c : cases) {
    int d = -1;
    EXPECT_EQ(text_expression_class(c.text, ctx_, &d), c.cls) << c.text;
    EXPECT_EQ(d, -1) << c.text;
  }
  int d = -1;
  EXPECT_EQ(text_expression_class("(C)", ctx_, &d), 0);
  EXPECT_EQ(d, DIAG_BAD_TYPE);
  EXPECT_EQ(text_expression_class("zz", ctx_, &d), 0);
  EXPECT_EQ(d, DIAG_BAD_IDENTIFIER);
}

// The table's odd texts (a leading blank, a Latin "p", a shared text, a count to fill in) and
// its holes; the ordinary texts are not restated here.
TEST(DiagnosticsTable, NumbersMapToTheirTexts) {
  struct Text {
    int number;
    const char* utf8;
  };
  const Text texts[] = {
      {6, " Деление на ноль в выражении. Результат обнуляется."},
      {14, "невеpное число"},
      {63, "недопустимый объект для TYPEOF"},
      {64, "недопустимый объект для TYPEOF"},
      {79, "незавершено %d блоков WHILE"},
      {81, "???"},
      {82, "???"},
      {86, "???"},
      {-1, "???"},
      {1000, "???"},
  };
  for (const Text& t : texts) {
    EXPECT_EQ(std::string(diagnostic_message(t.number)), utf8_to_cp866(t.utf8)) << t.number;
  }
  // Every number in 0..85 but 81 and 82 has a text of its own or shared with 63/64.
  for (int n = 0; n <= DIAGNOSTIC_MAX; n++) {
    if (n == 81 || n == 82) continue;
    EXPECT_STRNE(diagnostic_message(n), "???") << n;
  }
}

}  // namespace
}  // namespace tavrel
