// Reading `execute` statements into call requests: every literal kind with its position, the
// name in quotes, bare and in Russian, and malformed statements with the code and the
// offset of the fault; then the answer of a finished call in the session's code page.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kernel/execute_call.h"
#include "protocol/codes.h"
#include "protocol/exec_result.h"
#include "text/codepage.h"

namespace tavrel::kernel {
namespace {

// "Юни" and "вып" in CP866.
const std::string YUNI = "\x9e\xad\xa8";
const std::string VYP_LOWER = "\xa2\xeb\xaf";

struct Expected {
  LiteralKind kind;
  std::string text;
  bool truth;
  uint32_t position;
};

struct GoodCase {
  std::string statement;
  std::string procedure;
  uint32_t name_position;
  std::vector<Expected> args;
};

TEST(ExecuteCall, ReadsEveryLiteralKindWithItsPosition) {
  using K = LiteralKind;
  const GoodCase cases[] = {
      {"execute \"P\"();", "P", 8, {}},
      {"execute \"P\"( ) ; ", "P", 8, {}},
      // The padding a statement may travel with: a NUL and a blank after the ";".
      {"EXECUTE \"Mixed Case\"(NULL, null,TRUE , false);" + std::string(1, '\0') + " ", "Mixed Case", 8,
       {{K::NULL_VALUE, "", false, 21}, {K::NULL_VALUE, "", false, 27}, {K::BOOL, "", true, 32},
        {K::BOOL, "", false, 39}}},
      {"execute count_down(5);", "COUNT_DOWN", 8, {{K::NUMBER, "5", false, 19}}},
      {"execute P", "P", 8, {}},
      {"execute\n  \"P\"\n(-12,+3.5,.5,1e10,-2.5E-3);", "P", 10,
       {{K::NUMBER, "-12", false, 15}, {K::NUMBER, "+3.5", false, 19}, {K::NUMBER, ".5", false, 24},
        {K::NUMBER, "1e10", false, 27}, {K::NUMBER, "-2.5E-3", false, 32}}},
      {"execute \"P\"('it''s', '', N'" + YUNI + "', n'', '5.3.2011:10:7:0');", "P", 8,
       {{K::TEXT, "it's", false, 12}, {K::TEXT, "", false, 21}, {K::NTEXT, YUNI, false, 25}, {K::NTEXT, "", false, 33},
        {K::TEXT, "5.3.2011:10:7:0", false, 38}}},
      {"execute \"P\"('a,b)', 'semi;colon');", "P", 8, {{K::TEXT, "a,b)", false, 12}, {K::TEXT, "semi;colon", false, 20}}},
      // The Russian spellings of the verb and the truth values, in either case.
      {VYP_LOWER + " \"" + YUNI + "\"(\x88\x91\x92\x88\x8d\x80, \xab\xae\xa6\xec);", YUNI, 4,
       {{K::BOOL, "", true, 10}, {K::BOOL, "", false, 18}}},
  };
  for (const GoodCase& c : cases) {
    SCOPED_TRACE(c.statement);
    EXPECT_TRUE(execute_call_is(c.statement));
    CallRequest call;
    uint32_t position = 99;
    ASSERT_EQ(execute_call_parse(c.statement, &call, &position), 0u) << "at " << position;
    EXPECT_EQ(call.procedure, c.procedure);
    EXPECT_EQ(call.name_position, c.name_position);
    ASSERT_EQ(call.args.size(), c.args.size());
    for (size_t i = 0; i < c.args.size(); ++i) {
      EXPECT_EQ(call.args[i].kind, c.args[i].kind) << "argument " << i;
      EXPECT_EQ(call.args[i].text, c.args[i].text) << "argument " << i;
      if (c.args[i].kind == K::BOOL) {
        EXPECT_EQ(call.args[i].truth, c.args[i].truth) << "argument " << i;
      }
      EXPECT_EQ(call.args[i].position, c.args[i].position) << "argument " << i;
    }
  }
}

TEST(ExecuteCall, MalformedStatementsNameTheFaultAndWhereItIs) {
  struct BadCase {
    std::string statement;
    uint32_t code;
    uint32_t position;
  } cases[] = {
      {"execute \"P\"(1,,2);", KERNEL_CALL_LITERAL, 14},
      {"execute \"P\"(1,);", KERNEL_CALL_LITERAL, 14},
      {"execute \"P\"(1 2);", KERNEL_CALL_SYNTAX, 14},
      {"execute \"P\"(1, 2;", KERNEL_CALL_SYNTAX, 16},
      {"execute \"P\"(1", KERNEL_CALL_SYNTAX, 13},
      {"execute \"P\"('abc);", KERNEL_CALL_LITERAL, 12},
      {"execute \"P\"(N'abc);", KERNEL_CALL_LITERAL, 12},
      {"execute \"P\"(12abc);", KERNEL_CALL_LITERAL, 12},
      {"execute \"P\"(1.2.3);", KERNEL_CALL_LITERAL, 12},
      {"execute \"P\"(-);", KERNEL_CALL_LITERAL, 12},
      {"execute \"P\"(1e);", KERNEL_CALL_LITERAL, 12},
      {"execute \"P\"(maybe);", KERNEL_CALL_LITERAL, 12},
      {"execute \"P\"(X + 1);", KERNEL_CALL_LITERAL, 12},
      {"execute \"P\"(1) extra;", KERNEL_CALL_SYNTAX, 15},
      {"execute \"P\"(1);;", KERNEL_CALL_SYNTAX, 15},
      {"execute \"P\" 1;", KERNEL_CALL_SYNTAX, 12},
      {"execute \"\"();", KERNEL_CALL_NAME, 8},
      {"execute \"P();", KERNEL_CALL_NAME, 8},
      {"execute (1);", KERNEL_CALL_NAME, 8},
      {"execute ;", KERNEL_CALL_NAME, 8},
      {"execute \"" + std::string(67, 'N') + "\"();", KERNEL_CALL_NAME, 8},
      {"select 1;", KERNEL_CALL_SYNTAX, 0},
  };
  for (const BadCase& c : cases) {
    SCOPED_TRACE(c.statement);
    CallRequest call;
    uint32_t position = 0;
    EXPECT_EQ(execute_call_parse(c.statement, &call, &position), c.code);
    EXPECT_EQ(position, c.position);
    // Every code of a statement that cannot start lies where a client looks for one.
    EXPECT_GE(c.code, KERNEL_STATEMENT_FIRST);
    EXPECT_LE(c.code, KERNEL_STATEMENT_LAST);
  }
  EXPECT_FALSE(execute_call_is("select 1;"));
  EXPECT_FALSE(execute_call_is("executes \"P\"();"));
  EXPECT_TRUE(execute_call_is("  execute\"P\"();"));
}

TEST(ExecuteCall, AProcedureTakesAtMost255Arguments) {
  std::string statement = "execute \"P\"(0";
  for (int i = 1; i < 255; ++i) statement += ",1";
  CallRequest call;
  uint32_t position = 0;
  ASSERT_EQ(execute_call_parse(statement + ");", &call, &position), 0u);
  EXPECT_EQ(call.args.size(), 255u);
  const uint32_t extra = static_cast<uint32_t>(statement.size()) + 1;
  EXPECT_EQ(execute_call_parse(statement + ",2);", &call, &position), KERNEL_CALL_TOO_MANY);
  EXPECT_EQ(position, extra);
}

TEST(ExecuteCall, TheAnswerSpeaksTheSessionsCodePage) {
  ExecOutcome outcome;
  outcome.messages = {"\x8f\xe0\xa8\xa2\xa5\xe2", "plain"};  // "Привет"
  outcome.outputs = {{"\x92\x85\x8a\x91\x92", {2, 5, 0}}};  // "ТЕКСТ", SMALLINT 5
  outcome.has_result = true;
  outcome.result = {7, 1};
  outcome.exception = -2;
  outcome.exception_name = "DIVZERO";

  std::vector<uint8_t> bytes;
  ASSERT_EQ(execute_call_answer(outcome, CODEPAGE_OTHER, &bytes), 0);
  ExecResult r;
  ASSERT_EQ(exec_result_read(bytes, &r), 0);
  EXPECT_EQ(r.messages, (std::vector<std::string>{"Привет", "plain"}));
  ASSERT_EQ(r.outputs.size(), 1u);
  EXPECT_EQ(r.outputs[0].name, "ТЕКСТ");
  EXPECT_EQ(r.outputs[0].value, (std::vector<uint8_t>{2, 5, 0}));
  EXPECT_EQ(r.flags, EXEC_RESULT_HAS_VALUE);
  EXPECT_EQ(r.value, (std::vector<uint8_t>{7, 1}));
  EXPECT_EQ(r.exception, -2);
  EXPECT_EQ(r.exception_name, "DIVZERO");

  // A CP866 session reads the engine's texts as they are.
  ASSERT_EQ(execute_call_answer(outcome, CODEPAGE_866, &bytes), 0);
  ASSERT_EQ(exec_result_read(bytes, &r), 0);
  EXPECT_EQ(r.messages[0], outcome.messages[0]);
  EXPECT_EQ(r.outputs[0].name, outcome.outputs[0].name);

  // A procedure that ends normally has no exception name, whatever the record holds.
  outcome.exception = 0;
  ASSERT_EQ(execute_call_answer(outcome, CODEPAGE_866, &bytes), 0);
  ASSERT_EQ(exec_result_read(bytes, &r), 0);
  EXPECT_EQ(r.exception_name, "");
}

}  // namespace
}  // namespace tavrel::kernel
