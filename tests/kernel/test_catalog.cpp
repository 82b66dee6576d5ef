// The catalogue against a real tavrel-kernel in a private run directory: the manager's
// catalogue statements answered in their fixed row layouts, the PROC listing in portions,
// stored texts read in GPRC portions, create / alter / drop with their codes, parameter rows
// from the heads, and the translation-error list of a wrong head.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "channel/channel.h"
#include "kernel_fixture.h"
#include "protocol/bytes.h"
#include "protocol/codes.h"
#include "protocol/records.h"

namespace tavrel {
namespace {

namespace fs = std::filesystem;

// The manager's statements, exactly as it sends them.
const char* const FIND_PROCEDURE =
    "select $$$id from system.$$$proc, system.$$$usr where $$$name = '%s' and $$$s32 = 0 and $$$s31 > 0 and "
    "$$$s34 =  '%s' and $$$s31=$$$owner;";
const char* const FIND_TRIGGER =
    "select $$$proc from system.$$$trig, system.$$$usr where $$$name = '%s' and $$$s32 = 0 and $$$s31 > 0 and "
    "$$$s34 =  '%s' and $$$s31=$$$owner;";
const char* const TRIGGER_LIST =
    "select $$$proc, $$$name from system.$$$trig,system.$$$usr where $$$s32 = 0 and $$$s31 > 0 and $$$s34 =  "
    "'%s' and $$$s31=$$$owner;";
const char* const PROCEDURE_BODY = "select $$$BODY from SYSTEM.$$$PROC where $$$ID = %ld and $$$OWNER <> 0;";
const char* const INPUT_PARAMETERS =
    "select NAME, TYPE, LEN, DEFVAL from system.$$$PRCD where PROCID=%ld and MODIF in (1, 3) order by ARGID;";
const char* const PROCEDURE_NAME = "select $$$name from system.$$$proc where $$$id = %ld;";
const char* const TRIGGER_NAME = "select $$$name from system.$$$trig where $$$proc = %ld;";
const char* const TRIGGER_OF_ACTION =
    "select $$$trig.$$$name from system.$$$trig $$$trig, system.$$$proc $$$proc where $$$proc.$$$name = '%s' "
    "and $$$proc.$$$id = $$$trig.$$$proc;";

std::string format(const char* pattern, const std::string& a, const std::string& b = "") {
  std::vector<char> out(strlen(pattern) + a.size() + b.size() + 1);
  std::snprintf(out.data(), out.size(), pattern, a.c_str(), b.c_str());
  return out.data();
}
std::string format(const char* pattern, long id) {
  std::vector<char> out(strlen(pattern) + 32);
  std::snprintf(out.data(), out.size(), pattern, id);
  return out.data();
}

std::string padded(const std::string& name, size_t width = NAME_BYTES) { return name + std::string(width - name.size(), ' '); }

uint32_t u32_at(const std::vector<uint8_t>& b, size_t at) { return get_u32(b.data() + at); }

class Catalog : public KernelTest {
 protected:
  void SetUp() override {
    start("tavrel-catalog");
    ASSERT_EQ(open(&b), 0u);
  }
  void TearDown() override {
    channel_shutdown();
    finish();
  }

  static uint32_t open(RequestBlock* block, const char* connect = "\"DEMO\"/\"DEMO\"") { return kernel_open(block, connect); }

  // SLCT with the answer length wanted; the answer holds what came.
  uint32_t select(const std::string& sql, uint16_t length, std::vector<uint8_t>* answer) {
    std::memcpy(b.command, "SLCT", 4);
    answer->assign(length, 0xEE);
    b.answer_length = length;
    const uint32_t rc = channel_call(&b, nullptr, sql.c_str(), nullptr, answer->data());
    answer->resize(rc == 0 ? b.answer_length : 0);
    return rc;
  }
  uint32_t next(uint16_t length, std::vector<uint8_t>* answer) {
    std::memcpy(b.command, "GETN", 4);
    answer->assign(length, 0xEE);
    b.answer_length = length;
    const uint32_t rc = channel_call(&b, nullptr, nullptr, nullptr, answer->data());
    answer->resize(rc == 0 ? b.answer_length : 0);
    return rc;
  }
  // A statement under the blank command, as the manager stores texts.
  uint32_t statement(const std::string& sql) {
    std::memcpy(b.command, "    ", 4);
    std::vector<char> answer(8192);
    b.answer_length = 8192;
    return channel_call(&b, nullptr, sql.c_str(), nullptr, answer.data());
  }
  uint32_t procedure_id(const std::string& name) {
    std::vector<uint8_t> answer;
    if (select(format(FIND_PROCEDURE, name, "DEMO"), 4, &answer) != 0 || answer.size() != 4) return 0;
    return u32_at(answer, 0);
  }
  uint32_t proc_portion(uint32_t key, std::vector<uint8_t>* answer) {
    std::memcpy(b.command, "PROC", 4);
    b.position = PROC_LIST_PROCEDURES;
    b.argument = key;
    b.answer_length = PROC_PORTION;
    answer->assign(PROC_PORTION, 0xEE);
    const uint32_t rc = channel_call(&b, nullptr, nullptr, nullptr, answer->data());
    answer->resize(rc == 0 ? b.answer_length : 0);
    return rc;
  }
  // The stored text through the $$$BODY statement and GPRC portions; the positions asked.
  std::string read_text(uint32_t id, std::vector<uint32_t>* positions) {
    std::vector<uint8_t> head;
    if (select(format(PROCEDURE_BODY, static_cast<long>(id)), 24, &head) != 0 || head.size() != 24) return "<none>";
    const uint32_t length = u32_at(head, 0);
    std::string text;
    std::memcpy(b.command, "GPRC", 4);
    while (text.size() < length) {
      const size_t portion = length - text.size() < 4000 ? length - text.size() : 4000;
      std::vector<char> buffer(portion);
      b.position = static_cast<uint32_t>(text.size() + 1);
      b.answer_length = static_cast<uint16_t>(portion);
      positions->push_back(b.position);
      if (channel_call(&b, nullptr, nullptr, nullptr, buffer.data()) != 0 || b.answer_length == 0) return "<failed>";
      text.append(buffer.data(), b.answer_length);
    }
    return text;
  }

  RequestBlock b{};
};

TEST_F(Catalog, LookupsByNameAnswerFourByteIdentifiers) {
  const uint32_t raise = procedure_id("RAISE_SALARY");
  const uint32_t greeting = procedure_id("ПРИВЕТСТВИЕ");
  EXPECT_NE(raise, 0u);
  EXPECT_NE(greeting, 0u);
  EXPECT_NE(raise, greeting);
  std::vector<uint8_t> answer;
  // Unknown names, another user's name and a trigger name asked as a procedure: no rows, code 2.
  EXPECT_EQ(select(format(FIND_PROCEDURE, "NO_SUCH", "DEMO"), 4, &answer), 2u);
  EXPECT_EQ(select(format(FIND_PROCEDURE, "RAISE_SALARY", "OTHER"), 4, &answer), 2u);
  EXPECT_EQ(select(format(FIND_PROCEDURE, "raise_salary", "DEMO"), 4, &answer), 2u);

  ASSERT_EQ(select(format(FIND_TRIGGER, "EMP_AUDIT", "DEMO"), 4, &answer), 0u);
  ASSERT_EQ(answer.size(), 4u);
  const uint32_t action = u32_at(answer, 0);
  EXPECT_NE(action, 0u);
  EXPECT_EQ(b.argument, 1u);
  EXPECT_EQ(select(format(FIND_TRIGGER, "RAISE_SALARY", "DEMO"), 4, &answer), 2u);

  // The trigger's action procedure is named after the trigger's number, and statements 6-8
  // lead from one to the other.
  ASSERT_EQ(select(format(PROCEDURE_NAME, static_cast<long>(action)), 66, &answer), 0u);
  const std::string action_name(answer.begin(), answer.end());
  ASSERT_EQ(action_name.size(), 66u);
  EXPECT_EQ(action_name.rfind("Trigger #", 0), 0u);
  ASSERT_EQ(select(format(TRIGGER_NAME, static_cast<long>(action)), 66, &answer), 0u);
  EXPECT_EQ(std::string(answer.begin(), answer.end()), padded("EMP_AUDIT"));
  const std::string bare = action_name.substr(0, action_name.find_last_not_of(' ') + 1);
  ASSERT_EQ(select(format(TRIGGER_OF_ACTION, bare), 66, &answer), 0u);
  EXPECT_EQ(std::string(answer.begin(), answer.end()), padded("EMP_AUDIT"));
  ASSERT_EQ(select(format(PROCEDURE_NAME, static_cast<long>(greeting)), 66, &answer), 0u);
  EXPECT_EQ(std::string(answer.begin(), answer.end()), padded("ПРИВЕТСТВИЕ"));  // 22 bytes of UTF-8, 44 blanks
  EXPECT_EQ(select(format(PROCEDURE_NAME, 999999L), 66, &answer), 2u);
  EXPECT_EQ(select(format(TRIGGER_NAME, static_cast<long>(raise)), 66, &answer), 2u);
}

TEST_F(Catalog, TriggerListRowsAreSeventyTwoBytes) {
  ASSERT_EQ(statement("create table ORDERS(ID integer);"), 0u);
  ASSERT_EQ(statement("create trigger \"T1\"\nafter insert on ORDERS for each row\nexecute for debug\ncode\nend;"), 0u);
  std::vector<uint8_t> row;
  ASSERT_EQ(select(format(TRIGGER_LIST, "DEMO"), ROW_TRIGGER, &row), 0u);
  ASSERT_EQ(b.argument, 2u);  // rows found
  std::vector<std::vector<uint8_t>> rows = {row};
  ASSERT_EQ(next(ROW_TRIGGER, &row), 0u);
  rows.push_back(row);
  EXPECT_EQ(next(ROW_TRIGGER, &row), 2u);
  std::vector<uint8_t> found;
  for (const auto& r : rows) {
    ASSERT_EQ(r.size(), ROW_TRIGGER);
    const std::string name(r.begin() + 4, r.begin() + 70);
    const std::string trimmed = name.substr(0, name.find_last_not_of(' ') + 1);
    ASSERT_EQ(select(format(FIND_TRIGGER, trimmed, "DEMO"), 4, &found), 0u) << trimmed;
    EXPECT_EQ(u32_at(r, 0), u32_at(found, 0)) << trimmed;
    EXPECT_EQ(name, padded(trimmed));
    EXPECT_EQ(r[70], 0);
    EXPECT_EQ(r[71], 0);
  }
  // Another user owns no triggers.
  EXPECT_EQ(select(format(TRIGGER_LIST, "NOBODY"), ROW_TRIGGER, &row), 2u);
}

TEST_F(Catalog, StoredTextsAreReadInPortionsOfFourThousandBytes) {
  struct Case {
    const char* name;
    size_t body_lines;
    std::vector<uint32_t> positions;
  } cases[] = {
      {"SHORT", 1, {1}},
      {"LONG", 300, {1, 4001, 8001}},  // about 9,300 bytes
  };
  for (const Case& c : cases) {
    std::string text = std::string("create procedure \"") + c.name + "\"(in X integer default 1)\ncode\n";
    for (size_t i = 0; i < c.body_lines; ++i) text += "  X := X + " + std::to_string(i) + "; // line text\n";
    text += "end;";
    ASSERT_EQ(statement(text), 0u) << c.name;
    const uint32_t id = procedure_id(c.name);
    ASSERT_NE(id, 0u);
    std::vector<uint32_t> positions;
    EXPECT_EQ(read_text(id, &positions), text) << c.name;
    EXPECT_EQ(positions, c.positions) << c.name;
  }
  // Beyond the end: code 2. An identifier without a text: no row.
  std::memcpy(b.command, "GPRC", 4);
  std::vector<char> buffer(100);
  b.position = 100000;
  b.answer_length = 100;
  EXPECT_EQ(channel_call(&b, nullptr, nullptr, nullptr, buffer.data()), 2u);
  std::vector<uint8_t> head;
  EXPECT_EQ(select(format(PROCEDURE_BODY, 999999L), 24, &head), 2u);
}

TEST_F(Catalog, ProcedureListComesInPortionsWithContinuationKeys) {
  std::vector<uint8_t> portion;
  ASSERT_EQ(proc_portion(1, &portion), 0u);
  std::vector<std::string> demo;
  ASSERT_EQ((portion.size() - 4) % 66, 0u);
  for (size_t at = 0; at + 4 < portion.size(); at += NAME_BYTES) demo.emplace_back(portion.begin() + at, portion.begin() + at + NAME_BYTES);
  EXPECT_EQ(u32_at(portion, portion.size() - 4), 0u);
  ASSERT_GE(demo.size(), 2u);
  EXPECT_EQ(demo[0], padded("RAISE_SALARY"));
  size_t triggers = 0;
  for (const std::string& name : demo) triggers += name.rfind("Trigger #", 0) == 0 ? 1 : 0;
  EXPECT_EQ(triggers, 1u);

  for (int i = 0; i < 130; ++i) {
    char name[32];
    std::snprintf(name, sizeof name, "GEN_%03d", i);
    ASSERT_EQ(statement(std::string("create procedure \"") + name + "\"()\ncode\nend;"), 0u) << name;
  }
  std::vector<std::string> names;
  std::vector<size_t> counts;
  uint32_t key = 1;
  while (key != 0 && counts.size() < 10) {
    ASSERT_EQ(proc_portion(key, &portion), 0u) << key;
    ASSERT_GE(portion.size(), 4u);
    ASSERT_EQ((portion.size() - 4) % 66, 0u);
    counts.push_back(proc_list_count(portion.size()));
    for (size_t at = 0; at + 4 < portion.size(); at += NAME_BYTES) names.emplace_back(portion.begin() + at, portion.begin() + at + NAME_BYTES);
    key = u32_at(portion, portion.size() - 4);
  }
  const size_t total = demo.size() + 130;
  ASSERT_EQ(names.size(), total);
  EXPECT_EQ(counts, (std::vector<size_t>{62, 62, total - 124}));
  for (size_t i = 0; i < demo.size(); ++i) EXPECT_EQ(names[i], demo[i]);
  for (int i = 0; i < 130; ++i) {
    char name[32];
    std::snprintf(name, sizeof name, "GEN_%03d", i);
    EXPECT_EQ(names[demo.size() + static_cast<size_t>(i)], padded(name));
  }
}

TEST_F(Catalog, UserWithoutProceduresGetsTheDebuggerError) {
  ASSERT_EQ(statement("insert into system.$$$usr($$$s34, $$$password) values('EMPTY', 'E');"), 0u);
  RequestBlock other;
  ASSERT_EQ(open(&other, "\"EMPTY\"/\"E\""), 0u);
  std::memcpy(other.command, "PROC", 4);
  other.position = PROC_LIST_PROCEDURES;
  other.argument = 1;
  other.answer_length = PROC_PORTION;
  std::vector<char> answer(PROC_PORTION);
  EXPECT_EQ(channel_call(&other, nullptr, nullptr, nullptr, answer.data()), KERNEL_DEBUGGER_ERROR);
  EXPECT_EQ(other.system_code, DEBUGGER_NO_PROCEDURES);
}

TEST_F(Catalog, CreateAlterDropAnswerTheirCodes) {
  ASSERT_EQ(statement("create table ORDERS(ID integer);"), 0u);
  struct Step {
    const char* sql;
    uint32_t code;
  } steps[] = {
      {"alter procedure \"P\"()\ncode\nend;", KERNEL_PROC_MISSING},
      {"create procedure \"P\"()\ncode\nend;", 0},
      {"create procedure \"P\"(in A integer)\ncode\nend ;", KERNEL_PROC_EXISTS},
      {"alter procedure \"P\"(in A integer)\ncode\nend ;", 0},
      {"create or replace procedure \"P\"(in A integer, in B integer)\ncode\nend;", 0},
      {"create or replace procedure \"Q\"()\ncode\nend;", 0},
      {"drop procedure \"Q\";", 0},
      {"drop procedure \"Q\";", KERNEL_PROC_MISSING},
      {"create trigger \"T\"\nafter insert on ORDERS for each row\nexecute\ncode\nend;", 0},
      {"create trigger \"T\"\nafter delete on ORDERS for each row\nexecute\ncode\nend;", KERNEL_TRIGGER_EXISTS},
      {"create or replace trigger \"T\"\nbefore delete on ORDERS for each row\nexecute\ncode\nend;", 0},
      {"drop trigger \"T\";", 0},
      {"drop trigger \"T\";", 2002},
      {"create trigger \"U\"\nafter insert on NO_TABLE for each row\nexecute\ncode\nend;", 2002},
      {"create procedure \"BAD\"(in A blob)\ncode\nend;", KERNEL_TRANSLATION_ERRORS},
  };
  for (const Step& s : steps) EXPECT_EQ(statement(s.sql), s.code) << s.sql;
  // The stored text is the last one sent; the procedure kept its identifier through alter.
  std::vector<uint32_t> positions;
  EXPECT_EQ(read_text(procedure_id("P"), &positions),
            "create or replace procedure \"P\"(in A integer, in B integer)\ncode\nend;");
  EXPECT_EQ(procedure_id("Q"), 0u);
  EXPECT_EQ(procedure_id("BAD"), 0u);
  // Dropping the trigger dropped its action too: only the demo's trigger is left.
  std::vector<uint8_t> row;
  ASSERT_EQ(select(format(TRIGGER_LIST, "DEMO"), ROW_TRIGGER, &row), 0u);
  EXPECT_EQ(b.argument, 1u);
}

TEST_F(Catalog, WrongHeadGivesTheTranslationErrorList) {
  ASSERT_EQ(statement("create procedure \"BAD\"(\n  in A integer default \"x\")\ncode\nend;"), KERNEL_TRANSLATION_ERRORS);
  std::memcpy(b.command, "GETE", 4);
  b.position = KERNEL_TRANSLATION_ERRORS;
  b.answer_length = GETE_ANSWER;
  std::vector<uint8_t> list(GETE_ANSWER);
  ASSERT_EQ(channel_call(&b, nullptr, nullptr, nullptr, list.data()), 0u);
  ASSERT_EQ(b.answer_length, 2 + 13);
  EXPECT_EQ(get_u16(list.data()), 1);
  EXPECT_EQ(u32_at(list, 2), 2u);   // type mismatch
  EXPECT_EQ(u32_at(list, 6), 2u);   // line 2
  EXPECT_EQ(u32_at(list, 10), 24u); // at the default
  EXPECT_EQ(list[14], 0);           // no argument
  // A good store empties the list.
  ASSERT_EQ(statement("create procedure \"GOOD\"()\ncode\nend;"), 0u);
  std::memcpy(b.command, "GETE", 4);
  b.position = KERNEL_TRANSLATION_ERRORS;
  b.answer_length = GETE_ANSWER;
  ASSERT_EQ(channel_call(&b, nullptr, nullptr, nullptr, list.data()), 0u);
  ASSERT_EQ(b.answer_length, 2);
  EXPECT_EQ(get_u16(list.data()), 0);
}

// The expected 327-byte row of an input parameter.
std::vector<uint8_t> param_row(const std::string& name, uint8_t type, uint8_t precision, uint8_t scale,
                               uint16_t length, bool null_default, const std::vector<uint8_t>& value) {
  std::vector<uint8_t> row(ROW_PARAM, 0);
  const std::string n = padded(name);
  std::memcpy(row.data(), n.data(), 66);
  row[66] = type;
  row[67] = precision;
  row[68] = scale;
  row[69] = static_cast<uint8_t>(length);
  row[70] = static_cast<uint8_t>(length >> 8);
  row[71] = null_default ? 1 : 0;
  std::copy(value.begin(), value.end(), row.begin() + 72);
  return row;
}

template <typename T>
std::vector<uint8_t> le(T v) {
  std::vector<uint8_t> out(sizeof v);
  std::memcpy(out.data(), &v, sizeof v);
  return out;
}

TEST_F(Catalog, InputParameterRowsComeFromTheHead) {
  ASSERT_EQ(statement("create procedure \"PARAMS\"(in S smallint default -3, out O integer, inout B bigint default 7,"
                      " R real default 1.5, D double default 2.25, N numeric(10,3) default 12.345,"
                      " L bool default true, C char(4) default \"ab\", V varchar(300) default null, I integer,"
                      " W nchar(2) default \"Юн\", T date default 05.03.2011:10:07:00)\ncode\nend;"),
            0u);
  const uint32_t id = procedure_id("PARAMS");
  ASSERT_NE(id, 0u);
  std::vector<uint8_t> numeric(16, 0);
  numeric[0] = 2;  // positive
  numeric[4] = 50;
  numeric[5] = 34;
  numeric[6] = 12;
  std::vector<std::vector<uint8_t>> expected = {
      param_row("S", 2, 0, 0, 2, false, le<int16_t>(-3)),
      param_row("B", 2, 0, 0, 8, false, le<int64_t>(7)),
      param_row("R", 3, 0, 0, 4, false, le<float>(1.5F)),
      param_row("D", 3, 0, 0, 8, false, le<double>(2.25)),
      param_row("N", 5, 10, 3, 16, false, numeric),
      param_row("L", 10, 0, 0, 1, false, {1}),
      param_row("C", 1, 0, 0, 4, false, {'a', 'b', ' ', ' '}),
      param_row("V", 1, 0, 0, 300, true, {}),
      param_row("I", 2, 0, 0, 4, true, {}),
      param_row("W", 11, 0, 0, 2, false, {0x2E, 0x04, 0x3D, 0x04}),
  };
  std::vector<uint8_t> row;
  ASSERT_EQ(select(format(INPUT_PARAMETERS, static_cast<long>(id)), ROW_PARAM, &row), 0u);
  EXPECT_EQ(b.argument, 11u);
  std::vector<std::vector<uint8_t>> rows;
  uint32_t rc = 0;
  while (rc == 0 && rows.size() < 20) {
    rows.push_back(row);
    rc = next(ROW_PARAM, &row);
  }
  EXPECT_EQ(rc, 2u);
  ASSERT_EQ(rows.size(), 11u);
  for (size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(rows[i], expected[i]) << "parameter " << i;
  // The date: its time of day in hundredths of a second after the day number.
  ASSERT_EQ(rows[10].size(), ROW_PARAM);
  EXPECT_EQ(std::string(rows[10].begin(), rows[10].begin() + 66), padded("T"));
  EXPECT_EQ(rows[10][66], 4);
  EXPECT_EQ(u32_at(rows[10], 76), static_cast<uint32_t>((10 * 3600 + 7 * 60) * 100));

  // Without input parameters: code 2 at once.
  ASSERT_EQ(statement("create procedure \"NONE\"(out X integer)\ncode\nend;"), 0u);
  EXPECT_EQ(select(format(INPUT_PARAMETERS, static_cast<long>(procedure_id("NONE"))), ROW_PARAM, &row), 2u);
}

TEST_F(Catalog, SystemTablesAnswerOtherStatementsThroughTheRewrite) {
  std::vector<uint8_t> answer;
  // A statement that is not one of the manager's: the usual row form.
  ASSERT_EQ(select("select count(*) from system.$$$proc where $$$name like 'RAISE%';", 100, &answer), 0u);
  ASSERT_EQ(answer.size(), 3u);
  EXPECT_EQ(answer[0], 1);
  EXPECT_EQ(answer[2], '1');
  // A string holding $$$ is left alone.
  ASSERT_EQ(select("select '$$$name system.$$$x';", 100, &answer), 0u);
  EXPECT_EQ(std::string(answer.begin() + 2, answer.end()), "$$$name system.$$$x");
}

}  // namespace
}  // namespace tavrel
