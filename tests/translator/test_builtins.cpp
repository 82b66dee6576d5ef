// The built-in table: names and numbers, lookup, static result types, argument rules,
// the functions bound to a session with and without the context's hook, PRINT, and calls
// with arguments of every kind that must never misbehave.
#include <cstdio>

#include "builtin_fixture.h"

namespace tavrel {
namespace {

using Table = BuiltinTest;
using ArgRules = BuiltinTest;
using Bound = BuiltinTest;

TEST(BuiltinTable, EveryNameFindsItsOwnNumber) {
  for (int n = 0; n < BUILTIN_COUNT; n++) {
    ASSERT_NE(builtin_name(n), nullptr) << n;
    EXPECT_EQ(builtin_find(builtin_name(n)), n) << builtin_name(n);
  }
  EXPECT_EQ(builtin_name(-1), nullptr);
  EXPECT_EQ(builtin_name(BUILTIN_COUNT), nullptr);
}

TEST(BuiltinTable, NumbersFollowTheListedOrder) {
  struct Row {
    const char* name;
    int number;
  };
  const Row rows[] = {{"TRIM", 0},       {"ATOD", 8},         {"MAKE_DATE", 16},
                      {"PRINT", 25},     {"READ_BLOB_DOUBLE", 38}, {"TO_CHAR", 45},
                      {"TONCHAR", 50},   {"CEIL", 58},        {"SYSDATE", 73},
                      {"RANDOMIZE", 77}, {"DBNAME", 87},      {"INSERT", 98},
                      {"NLPAD", 105},    {"ATAN2", 117},      {"CHAR_LENGTH", 128},
                      {"DIVTIME", 133}};
  for (const Row& r : rows) EXPECT_EQ(builtin_find(r.name), r.number) << r.name;
}

TEST(BuiltinTable, MissesGiveMinusOne) {
  // Names reach the table upper-cased by the lexer; the table itself matches exactly.
  for (const char* name : {"trim", "Trim", "", "TRIMX", "TRI", "A", "ZZZZ", "TO_CHARS", "_"})
    EXPECT_EQ(builtin_find(name), -1) << name;
}

TEST(BuiltinTable, StaticResultTypesKeepTheirSurprises) {
  struct Row {
    const char* name;
    uint8_t type;
  };
  const Row rows[] = {
      {"MONTH", TYPE_DOUBLE},        {"TICKS", TYPE_DOUBLE},      {"TONUMERIC", TYPE_DOUBLE},
      {"MAX", TYPE_DOUBLE},          {"PRINT", TYPE_DOUBLE},      {"READ_BLOB", TYPE_SMALLINT},
      {"TRIM", TYPE_CHAR},           {"RAWTOHEX", TYPE_CHAR},     {"NTRANSLATE", TYPE_NCHAR},
      {"TONCHAR", TYPE_NCHAR},       {"STRPOS", TYPE_SMALLINT},   {"NLEN", TYPE_SMALLINT},
      {"SIGN", TYPE_INTEGER},        {"DIVTIME", TYPE_INTEGER},   {"TOBIGINT", TYPE_BIGINT},
      {"TOREAL", TYPE_REAL},         {"READ_BLOB_NUMERIC", TYPE_NUMERIC},
      {"RAISE_ERROR", TYPE_BOOL},    {"ENCODE_STRING", TYPE_BOOL}, {"MULTIME", TYPE_DATE},
      {"HEXTORAW", TYPE_BYTE},
  };
  for (const Row& r : rows) EXPECT_EQ(builtin_result_type(builtin_find(r.name)), r.type) << r.name;
  EXPECT_EQ(builtin_result_type(BUILTIN_COUNT), TYPE_NONE);
}

// Argument lists written one letter a value: C CHAR, W NCHAR, V wide string, I INTEGER,
// S SMALLINT, G BIGINT, R REAL, F DOUBLE, M NUMERIC, L BOOL, D DATE, K CURSOR, Y BYTE,
// Z NULL, U unset.
std::vector<Value> args_of(BuiltinTest& t, const char* kinds) {
  std::vector<Value> out;
  for (const char* k = kinds; *k != '\0'; k++) {
    Value v = make_none();
    switch (*k) {
      case 'C': v = t.chr("x"); break;
      case 'W': v = t.nch(u"x"); break;
      case 'V': v = make_nchar(value_wide(t.nch(u"x")), TYPE_WSTRING); break;
      case 'I': v = make_integer(1); break;
      case 'S': v = make_smallint(1); break;
      case 'G': v = make_bigint(1); break;
      case 'R': v = make_real(1); break;
      case 'F': v = make_double(1); break;
      case 'M': v = make_numeric(decimal_from_int32(1)); break;
      case 'L': v = make_bool(true); break;
      case 'D': v = BuiltinTest::date("01.01.2000"); break;
      case 'K': v.type = TYPE_CURSOR; break;
      case 'Y': v = t.bytes({1}); break;
      case 'Z': v = make_null(); break;
      default: break;
    }
    out.push_back(v);
  }
  return out;
}

TEST_F(ArgRules, AcceptAndReject) {
  struct Row {
    const char* name;
    const char* args;
    bool ok;
  };
  const Row rows[] = {
      {"SUBSTR", "CII", true},       {"SUBSTR", "CI", false},        {"SUBSTR", "CIIC", false},
      {"SUBSTR", "WII", false},      {"SUBSTR", "CMF", true},        {"SUBSTR", "CLI", false},
      {"STRPOS", "CC", true},        {"STRPOS", "CCL", true},        {"STRPOS", "CCI", false},
      {"STRPOS", "CW", false},       {"MAKE_DATE", "II", false},     {"MAKE_DATE", "III", true},
      {"MAKE_DATE", "IIIIIII", true}, {"MAKE_DATE", "IIIIIIIC", true}, {"MAKE_DATE", "IIIC", false},
      {"TRIM", "", false},           {"TRIM", "C", true},            {"TRIM", "CK", true},
      {"TRIM", "CCC", false},        {"TRIM", "Z", false},           {"NTRIM", "C", true},
      {"NTRIM", "W", false},         {"PRINT", "C", true},           {"TO_DATE", "CC", true},
      {"NTOA", "M", true},           {"NTOA", "MII", true},          {"NTOA", "MIII", false},
      {"MAX", "IC", false},          {"DTOA", "D", true},            {"DTOA", "DL", true},
      {"DTOA", "DC", true},          {"DTOA", "DI", false},          {"DTOA", "DLII", true},
      {"MONTH", "D", true},          {"MONTH", "C", false},          {"LAST_DAY", "DD", false},
      {"OUTOFCURSOR", "K", true},    {"OUTOFCURSOR", "", false},     {"ROWCOUNT", "", true},
      {"ROWCOUNT", "K", true},       {"ROWCOUNT", "I", false},       {"ADD_BLOB", "C", true},
      {"ADD_BLOB", "CI", true},      {"ADD_BLOB", "CII", false},     {"ADD_BLOB", "KC", true},
      {"ADD_BLOB", "K", false},      {"ADD_BLOB", "Z", false},       {"ADD_BLOB", "U", false},
      {"ADD_BLOB", "Y", false},      {"ADD_BLOB", "YI", true},       {"ADD_BLOB", "YII", true},
      {"ADD_BLOB", "KYII", true},    {"ADD_BLOB", "YIII", false},    {"ADD_BLOB", "YIC", false},
      {"READ_BLOB", "KYI", true},    {"READ_BLOB", "YI", true},      {"READ_BLOB", "KY", false},
      {"BLOB_SIZE", "Y", true},      {"CHR", "I", false},            {"READ_BLOB_CHAR", "", true},
      {"SEEK_BLOB", "KI", true},     {"SEEK_BLOB", "I", true},       {"SEEK_BLOB", "IK", false},
      {"SET_CUR_BLOB", "KF", true},  {"BTOA", "Y", true},            {"BTOA", "YL", true},
      {"BTOA", "YI", false},         {"ASC", "CZ", true},            {"ASC", "WY", true},
      {"ASC", "C", false},           {"ASC", "CI", false},           {"NSUBSTR", "WII", true},
      {"NSUBSTR", "VII", true},      {"NSUBSTR", "CII", false},      {"NSTRPOS", "WWL", true},
      {"NLEN", "W", true},           {"NLEN", "C", false},           {"NUPPER", "WW", false},
      {"SQRT", "F", true},           {"SQRT", "FL", true},           {"SQRT", "FI", false},
      {"RAISE_ERROR", "IL", true},   {"ROUND", "F", false},          {"ROUND", "FI", true},
      {"SYSDATE", "", true},         {"SYSDATE", "I", false},        {"RANDOMIZE", "", true},
      {"RANDOMIZE", "G", true},      {"RANDOMIZE", "II", false},     {"MAKESTR", "CIFDZ", true},
      {"MAKESTR", "I", false},       {"DUPCHAR", "CC", true},        {"DUPCHAR", "CI", false},
      {"ENCODE_STRING", "YC", true}, {"ENCODE_STRING", "YCC", true},
      {"ENCODE_STRING", "YCI", false},
      {"MODIFY_BLOB_TYPE", "KII", true}, {"MODIFY_BLOB_TYPE", "KI", true},
      {"MODIFY_BLOB_TYPE", "II", true},  {"MODIFY_BLOB_TYPE", "I", true},
      {"MODIFY_BLOB_TYPE", "K", false},  {"MODIFY_BLOB_TYPE", "IK", false},
      {"ABS", "I", true},            {"ABS", "II", false},           {"NEXT_DAY", "DC", true},
      {"NEXT_DAY", "DI", false},     {"ADD_MONTHS", "DF", true},     {"ADD_MONTHS", "DC", false},
      // Every other function: one argument or more, the first numeric, CHAR, BOOL, NCHAR,
      // DATE or NULL; further arguments are not examined.
      {"TOCHAR", "Z", true},         {"TOCHAR", "Y", false},         {"TOCHAR", "K", false},
      {"TOCHAR", "", false},         {"RAWTOHEX", "Y", false},       {"LPAD", "CKYU", true},
      {"DATESPLIT", "D", true},      {"TONCHAR", "V", true},         {"INITCAP", "U", false},
  };
  for (const Row& r : rows) {
    std::vector<Value> args = args_of(*this, r.args);
    EXPECT_EQ(builtin_check_args(builtin_find(r.name), static_cast<int>(args.size()), args.data()),
              r.ok)
        << r.name << "(" << r.args << ")";
  }
}

TEST_F(ArgRules, RoutinesOfTheUnitFollowTheGeneralRule) {
  std::vector<Value> good = args_of(*this, "DK");
  std::vector<Value> bad = args_of(*this, "K");
  EXPECT_TRUE(builtin_check_args(BUILTIN_COUNT, 2, good.data()));
  EXPECT_TRUE(builtin_check_args(500, 2, good.data()));
  EXPECT_FALSE(builtin_check_args(BUILTIN_COUNT, 1, bad.data()));
  EXPECT_FALSE(builtin_check_args(BUILTIN_COUNT, 0, nullptr));
  EXPECT_FALSE(builtin_check_args(-1, 2, good.data()));
}

// Bound functions without a hook give their stand-alone results.
TEST_F(Bound, WithoutAHookGiveDocumentedResults) {
  struct Row {
    const char* name;
    const char* args;
    uint8_t type;
  };
  const Row rows[] = {{"OUTOFCURSOR", "K", TYPE_BOOL}, {"ROWCOUNT", "", TYPE_INTEGER},
                      {"ERRCODE", "K", TYPE_INTEGER},  {"READ_BLOB", "YI", TYPE_SMALLINT},
                      {"READ_BLOB_INT", "", TYPE_NULL}, {"READ_BLOB_NCHAR", "K", TYPE_NULL},
                      {"USERNAME", "", TYPE_CHAR},     {"DBNAME", "", TYPE_CHAR},
                      {"RAISE_ERROR", "I", TYPE_BOOL}, {"GETPUTMRECS", "", TYPE_INTEGER},
                      {"MODIFY_BLOB_TYPE", "I", TYPE_INTEGER}};
  for (const Row& r : rows) {
    std::vector<Value> args = args_of(*this, r.args);
    CallResult c = run(r.name, args);
    EXPECT_EQ(c.status, 0) << r.name;
    EXPECT_EQ(c.value.type, r.type) << r.name;
  }
  EXPECT_EQ(run("OUTOFCURSOR", args_of(*this, "K")).value.payload[0], 1);
  EXPECT_EQ(text_of(run("USERNAME", {}).value), "");
  EXPECT_EQ(payload_get<int32_t>(run("BLOB_SIZE", {bytes({1, 2, 3})}).value), 3);
}

struct HookLog {
  int number = -1;
  int argc = -1;
  uint8_t first_type = 0;
};

int test_hook(EvalContext& ctx, int number, const Value* args, int argc, Value* result) {
  auto* log = static_cast<HookLog*>(ctx.user);
  log->number = number;
  log->argc = argc;
  log->first_type = argc > 0 ? args[0].type : 0;
  *result = make_integer(77);
  return number == BI_RAISE_ERROR ? 12 : 0;
}

TEST_F(Bound, HookReceivesTheCallAndItsStatusIsReturned) {
  HookLog log;
  ctx.bound = test_hook;
  ctx.user = &log;
  CallResult r = run("ROWCOUNT", args_of(*this, "K"));
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(payload_get<int32_t>(r.value), 77);
  EXPECT_EQ(log.number, BI_ROWCOUNT);
  EXPECT_EQ(log.argc, 1);
  EXPECT_EQ(log.first_type, TYPE_CURSOR);
  EXPECT_EQ(run("RAISE_ERROR", {i(5)}).status, 12);
  EXPECT_EQ(log.number, BI_RAISE_ERROR);
  // Functions computed here never reach the hook.
  log.number = -1;
  EXPECT_EQ(text("UPPER", {chr("a")}), "A");
  EXPECT_EQ(log.number, -1);
}

void gather(void* user, std::string_view text) { static_cast<std::string*>(user)->append(text); }

TEST_F(Table, PrintWritesTheMessageAndCountsItsCharacters) {
  std::string printed;
  ctx.print = gather;
  ctx.print_user = &printed;
  CallResult r = run("PRINT", {chr("abc")});
  EXPECT_EQ(r.status, 0);
  ASSERT_EQ(r.value.type, TYPE_INTEGER);  // declared DOUBLE, computed INTEGER
  const std::string expected = "*** Message from Stored Procedure: abc";
  EXPECT_EQ(payload_get<int32_t>(r.value), static_cast<int32_t>(expected.size()));
  EXPECT_EQ(printed, expected);
  // Without a sink the message goes nowhere, and is still counted.
  ctx.print = nullptr;
  r = run("PRINT", {chr("abc")});
  EXPECT_EQ(payload_get<int32_t>(r.value), static_cast<int32_t>(expected.size()));
  EXPECT_EQ(printed, expected);
}

// Every function with argument lists of every kind, checked or not: the call gives one of
// its documented statuses, a result of a real type, and never touches memory it must not
// (the sanitizer build watches that).
TEST_F(Table, AnyArgumentsGiveADefinedOutcome) {
  const char* lists[] = {"", "Z", "C", "W", "I", "F", "M", "G", "L", "D", "K", "Y", "U",
                         "CZ", "CI", "CC", "ZZZ", "CIC", "DC", "DI", "DD", "YC", "YCC",
                         "WII", "WWL", "KYI", "CKYU", "IIIIIIII", "CII", "FF", "IZ"};
  std::string printed;
  ctx.print = gather;
  ctx.print_user = &printed;
  for (int n = 0; n < BUILTIN_COUNT; n++) {
    for (const char* kinds : lists) {
      std::vector<Value> args = args_of(*this, kinds);
      Value result = make_none();
      pool->run_status = 0;
      int status = builtin_call(n, static_cast<int>(args.size()), args.data(), &result, ctx);
      EXPECT_TRUE(status == 0 || status == BUILTIN_DIV_BY_ZERO ||
                  status == BUILTIN_BAD_PARAMETER || status == BUILTIN_BAD_DATE)
          << builtin_name(n) << "(" << kinds << ") gave " << status;
      if (status == 0 && result.type == TYPE_CHAR && pool->run_status == 0) {
        EXPECT_NE(value_text(result), nullptr) << builtin_name(n) << "(" << kinds << ")";
      }
      pool_leave_level(*pool);  // frees this round's texts (level 0 is re-entered below)
      pool_enter_level(*pool);
    }
  }
  Value r = make_none();
  EXPECT_EQ(builtin_call(BUILTIN_COUNT, 0, nullptr, &r, ctx), BUILTIN_BAD_PARAMETER);
  EXPECT_EQ(builtin_call(-5, 0, nullptr, &r, ctx), BUILTIN_BAD_PARAMETER);
}

}  // namespace
}  // namespace tavrel
