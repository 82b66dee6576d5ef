// The kernel's reading of procedure and trigger heads: verbs, names, parameter modes, types,
// defaults in their stored form, trigger clauses, and the diagnostics of wrong heads.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "text/unicode.h"
#include "kernel/proc_header.h"
#include "translator/diagnostics.h"

namespace tavrel::kernel {
namespace {

std::vector<uint8_t> bytes(const void* p, size_t n) {
  const auto* b = static_cast<const uint8_t*>(p);
  return std::vector<uint8_t>(b, b + n);
}

TEST(HeaderParser, VerbsObjectsAndNames) {
  struct Case {
    const char* text;
    int status;
    int verb;
    int object;
    const char* name;
    bool debug;
  } cases[] = {
      {"create procedure \"P\"() for debug\ncode\nend;", 0, VERB_CREATE, OBJECT_PROCEDURE, "P", true},
      {"CREATE OR REPLACE PROCEDURE p1\ncode\nend;", 0, VERB_CREATE_OR_REPLACE, OBJECT_PROCEDURE, "P1", false},
      {"alter procedure \"Mixed Case\"()\ncode end;", 0, VERB_ALTER, OBJECT_PROCEDURE, "Mixed Case", false},
      {"drop procedure \"P\";", 0, VERB_DROP, OBJECT_PROCEDURE, "P", false},
      {"drop trigger \"T1\";", 0, VERB_DROP, OBJECT_TRIGGER, "T1", false},
      {"  // leading comment\n create trigger t2 before delete on X for each statement execute code end;", 0,
       VERB_CREATE, OBJECT_TRIGGER, "T2", false},
      {"create table T(A integer);", 1, 0, 0, "", false},
      {"drop table T;", 1, 0, 0, "", false},
      {"select 1;", 1, 0, 0, "", false},
      {"create or replace view V as select 1;", 1, 0, 0, "", false},
      {"alter trigger T1;", 1, 0, 0, "", false},
      {"create procedure ;", 2, VERB_CREATE, OBJECT_PROCEDURE, "", false},
      {"drop procedure P extra;", 2, VERB_DROP, OBJECT_PROCEDURE, "P", false},
  };
  for (const Case& c : cases) {
    ProcHeader h;
    EXPECT_EQ(parse_proc_header(c.text, &h), c.status) << c.text;
    if (c.status == 1) continue;
    EXPECT_EQ(h.verb, c.verb) << c.text;
    EXPECT_EQ(h.object, c.object) << c.text;
    if (c.status == 0) {
      EXPECT_EQ(h.name, c.name) << c.text;
      EXPECT_EQ(h.debug, c.debug) << c.text;
    }
  }
}

TEST(HeaderParser, QuickTestFindsOnlyCandidates) {
  EXPECT_TRUE(looks_like_proc_statement("create procedure \"P\"()"));
  EXPECT_TRUE(looks_like_proc_statement("Create Or Replace Procedure X"));
  EXPECT_TRUE(looks_like_proc_statement("drop trigger \"T\";"));
  EXPECT_TRUE(looks_like_proc_statement(utf8_to_cp866("create ПРОЦ X")));
  EXPECT_FALSE(looks_like_proc_statement("create table procedure_log(a);"));
  EXPECT_FALSE(looks_like_proc_statement("insert into T values('create procedure');"));
  EXPECT_FALSE(looks_like_proc_statement(""));
}

TEST(HeaderParser, ParametersModesTypesAndDefaults) {
  const char* text =
      "create procedure ALL_TYPES(in S smallint default -3, I integer default 100000,"
      " out B bigint, inout BB bigint default 5000000000, R real default 1.5, D double default -2.25,"
      " N numeric(10,3) default 12.345, NN numeric, L bool default true, L2 bool default false,"
      " C char(5) default \"ab\", C1 char, V varchar(20) default null, W nchar(3) default \"Юн\","
      " T date default 05.03.2011:10:07:00)\ncode\nend;";
  ProcHeader h;
  ASSERT_EQ(parse_proc_header(utf8_to_cp866(text), &h), 0) << h.diagnostic << " at " << h.line << ":" << h.column;
  ASSERT_EQ(h.params.size(), 15u);
  struct Expect {
    const char* name;
    int mode;
    uint8_t type;
    uint16_t length;
    uint8_t precision;
    uint8_t scale;
    bool null_default;
  } expect[] = {
      {"S", PARAM_IN, PARAM_INTEGER, 2, 0, 0, false},     {"I", PARAM_IN, PARAM_INTEGER, 4, 0, 0, false},
      {"B", PARAM_OUT, PARAM_INTEGER, 8, 0, 0, true},     {"BB", PARAM_INOUT, PARAM_INTEGER, 8, 0, 0, false},
      {"R", PARAM_IN, PARAM_FLOAT, 4, 0, 0, false},       {"D", PARAM_IN, PARAM_FLOAT, 8, 0, 0, false},
      {"N", PARAM_IN, PARAM_NUMERIC, 16, 10, 3, false},   {"NN", PARAM_IN, PARAM_NUMERIC, 16, 15, 2, true},
      {"L", PARAM_IN, PARAM_LOGICAL, 1, 0, 0, false},     {"L2", PARAM_IN, PARAM_LOGICAL, 1, 0, 0, false},
      {"C", PARAM_IN, PARAM_CHAR, 5, 0, 0, false},        {"C1", PARAM_IN, PARAM_CHAR, 1, 0, 0, true},
      {"V", PARAM_IN, PARAM_CHAR, 20, 0, 0, true},        {"W", PARAM_IN, PARAM_NCHAR, 3, 0, 0, false},
      {"T", PARAM_IN, PARAM_DATE, 8, 0, 0, false},
  };
  for (size_t i = 0; i < h.params.size(); ++i) {
    const ProcParam& p = h.params[i];
    const Expect& e = expect[i];
    EXPECT_EQ(p.name, e.name) << i;
    EXPECT_EQ(p.mode, e.mode) << e.name;
    EXPECT_EQ(p.type, e.type) << e.name;
    EXPECT_EQ(p.length, e.length) << e.name;
    EXPECT_EQ(p.precision, e.precision) << e.name;
    EXPECT_EQ(p.scale, e.scale) << e.name;
    EXPECT_EQ(p.default_null, e.null_default) << e.name;
    if (e.null_default) {
      EXPECT_TRUE(p.default_value.empty()) << e.name;
    }
  }
  const int16_t s = -3;
  const int32_t i = 100000;
  const int64_t bb = 5000000000;
  const float r = 1.5F;
  const double d = -2.25;
  EXPECT_EQ(h.params[0].default_value, bytes(&s, 2));
  EXPECT_EQ(h.params[1].default_value, bytes(&i, 4));
  EXPECT_EQ(h.params[3].default_value, bytes(&bb, 8));
  EXPECT_EQ(h.params[4].default_value, bytes(&r, 4));
  EXPECT_EQ(h.params[5].default_value, bytes(&d, 8));
  // 12.345: state positive, fraction bytes from the tenths, units byte 12.
  const std::vector<uint8_t> n = h.params[6].default_value;
  ASSERT_EQ(n.size(), 16u);
  EXPECT_EQ(n[0], 2);
  EXPECT_EQ(n[5], 34);
  EXPECT_EQ(n[4], 50);
  EXPECT_EQ(n[6], 12);
  EXPECT_EQ(h.params[8].default_value, std::vector<uint8_t>{1});
  EXPECT_EQ(h.params[9].default_value, std::vector<uint8_t>{0});
  EXPECT_EQ(h.params[10].default_value, (std::vector<uint8_t>{'a', 'b', ' ', ' ', ' '}));
  EXPECT_EQ(h.params[13].default_value, (std::vector<uint8_t>{0x2E, 0x04, 0x3D, 0x04, ' ', 0}));
  ASSERT_EQ(h.params[14].default_value.size(), 8u);
  uint32_t day = 0;
  int32_t time = 0;
  std::memcpy(&day, h.params[14].default_value.data(), 4);
  std::memcpy(&time, h.params[14].default_value.data() + 4, 4);
  EXPECT_GT(day, 0u);
  EXPECT_EQ(time, (10 * 3600 + 7 * 60) * 100);
}

TEST(HeaderParser, RussianSpellingsOfModesTypesAndDefault) {
  // ВХ / ВЫХ / ВХВЫХ, ДЛИН, СТРОКА, ЛОГИЧ, ИНИТ, ПРОЦ.
  const std::string text = utf8_to_cp866(
      "create ПРОЦ \"СЧЁТ\"(ВХ АА ДЛИН ИНИТ 7, ВЫХ ББ СТРОКА(4), ВХВЫХ ВВ ЛОГИЧ ИНИТ ИСТИНА)\ncode\nend;");
  ProcHeader h;
  ASSERT_EQ(parse_proc_header(text, &h), 0) << h.diagnostic;
  EXPECT_EQ(cp866_to_utf8(h.name), "СЧЁТ");
  ASSERT_EQ(h.params.size(), 3u);
  EXPECT_EQ(cp866_to_utf8(h.params[0].name), "АА");
  EXPECT_EQ(h.params[0].mode, PARAM_IN);
  EXPECT_EQ(h.params[0].type, PARAM_INTEGER);
  const int32_t seven = 7;
  EXPECT_EQ(h.params[0].default_value, bytes(&seven, 4));
  EXPECT_EQ(h.params[1].mode, PARAM_OUT);
  EXPECT_EQ(h.params[1].type, PARAM_CHAR);
  EXPECT_EQ(h.params[1].length, 4);
  EXPECT_EQ(h.params[2].mode, PARAM_INOUT);
  EXPECT_EQ(h.params[2].default_value, std::vector<uint8_t>{1});
}

TEST(HeaderParser, TriggerClauses) {
  struct Case {
    const char* text;
    bool before;
    uint8_t events;
    bool row;
    const char* table;
    bool debug;
  } cases[] = {
      {"create trigger \"T1\"\nafter insert on ORDERS for each row\nexecute for debug\ncode\nend;", false,
       EVENT_INSERT, true, "ORDERS", true},
      {"create trigger T2 before update or delete on \"Mixed\" for each statement execute code end;", true,
       EVENT_UPDATE | EVENT_DELETE, false, "Mixed", false},
      {"create or replace trigger T3 after insert, update, delete on emp for each row execute code end;", false,
       EVENT_INSERT | EVENT_UPDATE | EVENT_DELETE, true, "EMP", false},
  };
  for (const Case& c : cases) {
    ProcHeader h;
    ASSERT_EQ(parse_proc_header(c.text, &h), 0) << c.text << " diag " << h.diagnostic;
    EXPECT_EQ(h.object, OBJECT_TRIGGER) << c.text;
    EXPECT_EQ(h.before, c.before) << c.text;
    EXPECT_EQ(h.events, c.events) << c.text;
    EXPECT_EQ(h.for_each_row, c.row) << c.text;
    EXPECT_EQ(h.table, c.table) << c.text;
    EXPECT_EQ(h.debug, c.debug) << c.text;
  }
}

TEST(HeaderParser, WrongHeadsGiveDiagnosticsWithPlaces) {
  struct Case {
    const char* text;
    int diagnostic;
    int line;
    int column;
  } cases[] = {
      {"create procedure P(A integer", DIAG_NEED_RPAREN, 1, 29},
      {"create procedure P(A blob)", DIAG_BAD_TYPE, 1, 22},
      {"create procedure P(\n  A integer default \"x\")", DIAG_TYPE_MISMATCH, 2, 21},
      {"create procedure P(A numeric(40))", DIAG_BAD_NUMBER, 1, 30},
      {"create procedure P(A smallint default 40000)", DIAG_BAD_NUMBER, 1, 39},
      {"create procedure P(A char(2) default \"abc\")", DIAG_TYPE_MISMATCH, 1, 38},
      {"create procedure P(A varchar)", DIAG_NEED_LPAREN, 1, 29},
      {"create procedure P(A integer, A integer)", DIAG_BAD_IDENTIFIER, 1, 40},
      {"create procedure P(A bool default 1)", DIAG_TYPE_MISMATCH, 1, 35},
      {"create procedure P() for code end;", DIAG_SYNTAX, 1, 26},
      {"create trigger T during insert on X for each row execute", DIAG_SYNTAX, 1, 18},
      {"create trigger T after insert on X for each row", DIAG_SYNTAX, 1, 48},
      {"create trigger T after truncate on X for each row execute", DIAG_SYNTAX, 1, 24},
      {"create procedure \"P\"(A date default \"31.02.2011\")", DIAG_BAD_DATE, 1, 37},
  };
  for (const Case& c : cases) {
    ProcHeader h;
    EXPECT_EQ(parse_proc_header(c.text, &h), 2) << c.text;
    EXPECT_EQ(h.diagnostic, c.diagnostic) << c.text;
    EXPECT_EQ(h.line, c.line) << c.text;
    EXPECT_EQ(h.column, c.column) << c.text;
  }
}

}  // namespace
}  // namespace tavrel::kernel
