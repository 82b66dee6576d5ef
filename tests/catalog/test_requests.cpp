// The catalogue's requests as the kernel sees them: lookups by name and names by
// identifier (statements byte for byte, "no rows" silent, the resting command "PROC"),
// stored texts in GPRC portions, the procedure list across portions with trigger actions,
// the trigger list row by row, the kernel-error texts and the translation-error list.
#include "catalog_peer.h"
#include "client/kernel_report.h"
#include "editor/error_list.h"

namespace tavrel {
namespace {

using Requests = CatalogTest;

TEST_F(Requests, LookupsSendTheStatementsAndEndOnProc) {
  g_handler = [](const PeerCall& c, RequestBlock*, uint8_t* answer) -> uint32_t {
    if (c.statement.find("$$$proc,") != std::string::npos) {
      put32(answer, 42);
      return 0;
    }
    return 2;  // no such trigger
  };
  EXPECT_EQ(find_procedure_by_name("P1"), 42u);
  EXPECT_EQ(find_trigger_by_name("T1"), 0u);
  ASSERT_EQ(g_calls.size(), 2u);  // "no rows" is no error: nothing reported, no GETE
  EXPECT_EQ(g_calls[0].command, "SLCT");
  EXPECT_EQ(g_calls[0].answer_length, 4);
  EXPECT_EQ(g_calls[0].statement,
            "select $$$id from system.$$$proc, system.$$$usr where $$$name = 'P1' and $$$s32 = 0 and "
            "$$$s31 > 0 and $$$s34 =  'DEMO' and $$$s31=$$$owner;");
  EXPECT_EQ(g_calls[1].statement,
            "select $$$proc from system.$$$trig, system.$$$usr where $$$name = 'T1' and $$$s32 = 0 and "
            "$$$s31 > 0 and $$$s34 =  'DEMO' and $$$s31=$$$owner;");
  EXPECT_EQ(std::string(block.command, 4), "PROC");
}

TEST_F(Requests, AFailedLookupIsReportedWithTheKernelsText) {
  g_handler = [](const PeerCall& c, RequestBlock* b, uint8_t* answer) -> uint32_t {
    if (c.command == "GETE") {
      std::memcpy(answer, "bad statement", 13);
      b->answer_length = 13;
      return 0;
    }
    return 2001;
  };
  EXPECT_EQ(find_procedure_by_name("P1"), 0u);
  EXPECT_EQ(commands(), "SLCT,GETE");
  EXPECT_EQ(g_calls[1].position, 2001u);
  EXPECT_EQ(g_calls[1].answer_length, GETE_ANSWER);
  EXPECT_EQ(std::string(block.command, 4), "PROC");
}

TEST_F(Requests, ABlankNameIsAskedOfTheTriggers) {
  g_handler = [](const PeerCall& c, RequestBlock*, uint8_t* answer) -> uint32_t {
    std::memset(answer, ' ', NAME_BYTES);
    if (c.statement.find("$$$trig") != std::string::npos) std::memcpy(answer, "AUDIT", 5);
    return 0;
  };
  EXPECT_EQ(procedure_name_by_id(7), "AUDIT");
  ASSERT_EQ(g_calls.size(), 2u);
  EXPECT_EQ(g_calls[0].statement, "select $$$name from system.$$$proc where $$$id = 7;");
  EXPECT_EQ(g_calls[1].statement, "select $$$name from system.$$$trig where $$$proc = 7;");
  EXPECT_EQ(g_calls[1].answer_length, NAME_BYTES);

  g_calls.clear();
  g_handler = [](const PeerCall& c, RequestBlock*, uint8_t* answer) -> uint32_t {
    std::memset(answer, ' ', NAME_BYTES);
    return c.statement.find("$$$trig") != std::string::npos ? KERNEL_NOT_FOUND : 0;
  };
  EXPECT_EQ(procedure_name_by_id(7), "");
  EXPECT_EQ(commands(), "SLCT,SLCT");  // 2202 from the triggers is silent
}

TEST_F(Requests, StoredTextComesInPortionsOf4000) {
  const std::string stored = [] {
    std::string s;
    for (int i = 0; s.size() < 9000; ++i) s += "line " + std::to_string(i) + "\n";
    return s.substr(0, 9000);
  }();
  g_handler = [&stored](const PeerCall& c, RequestBlock* b, uint8_t* answer) -> uint32_t {
    if (c.command == "SLCT") {
      put32(answer, 9000);
      return 0;
    }
    std::memcpy(answer, stored.data() + c.position - 1, c.answer_length);
    b->answer_length = c.answer_length;
    return 0;
  };
  std::string text;
  ASSERT_TRUE(read_procedure_text(5, &text));
  EXPECT_EQ(text, stored);
  ASSERT_EQ(g_calls.size(), 4u);
  EXPECT_EQ(g_calls[0].statement, "select $$$BODY from SYSTEM.$$$PROC where $$$ID = 5 and $$$OWNER <> 0;");
  EXPECT_EQ(g_calls[0].answer_length, ROW_BODY);
  const uint32_t positions[] = {1, 4001, 8001};
  const uint16_t lengths[] = {4000, 4000, 1000};
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(g_calls[1 + i].command, "GPRC");
    EXPECT_EQ(g_calls[1 + i].position, positions[i]);
    EXPECT_EQ(g_calls[1 + i].answer_length, lengths[i]);
  }
  EXPECT_EQ(std::string(block.command, 4), "PROC");
}

TEST_F(Requests, AnEmptyStoredTextIsKernelError7214) {
  g_handler = [](const PeerCall& c, RequestBlock*, uint8_t* answer) -> uint32_t {
    if (c.command == "SLCT") put32(answer, 0);
    return c.command == "SLCT" ? 0 : 2;
  };
  std::string text;
  EXPECT_FALSE(read_procedure_text(5, &text));
  EXPECT_EQ(commands(), "SLCT,GETE");
  EXPECT_EQ(g_calls[1].position, KERNEL_EMPTY_TEXT);
}

TEST_F(Requests, AShortTextEndsQuietlyAFailedFirstPortionIsReported) {
  g_handler = [](const PeerCall& c, RequestBlock*, uint8_t* answer) -> uint32_t {
    if (c.command == "SLCT") {
      put32(answer, 6000);
      return 0;
    }
    if (c.command == "GETE") return 2;
    if (c.position > 1) return 2;  // the kernel has less than it said
    std::memset(answer, 'x', c.answer_length);
    return 0;
  };
  std::string text;
  ASSERT_TRUE(read_procedure_text(5, &text));
  EXPECT_EQ(text.size(), 4000u);
  EXPECT_EQ(commands(), "SLCT,GPRC,GPRC");

  g_calls.clear();
  g_handler = [](const PeerCall& c, RequestBlock*, uint8_t* answer) -> uint32_t {
    if (c.command == "SLCT") put32(answer, 6000);
    return c.command == "SLCT" ? 0 : 2;
  };
  EXPECT_FALSE(read_procedure_text(5, &text));
  EXPECT_EQ(commands(), "SLCT,GPRC,GETE");
  EXPECT_EQ(std::string(block.command, 4), "PROC");
}

// Names of a listing portion: 66 bytes each, blank-filled, then the continuation key.
uint16_t portion(uint8_t* answer, const std::vector<std::string>& names, uint32_t key) {
  size_t at = 0;
  for (const std::string& n : names) {
    std::memset(answer + at, ' ', NAME_BYTES);
    std::memcpy(answer + at, n.data(), n.size());
    at += NAME_BYTES;
  }
  put32(answer + at, key);
  return static_cast<uint16_t>(at + 4);
}

TEST_F(Requests, ProcedureListSpansPortionsAndNamesTriggerActions) {
  std::vector<std::string> first;
  for (int i = 0; i < 62; ++i) first.push_back("P" + std::to_string(i));
  first[10] = "Trigger #3";
  first[11] = "trigger #4";  // another letter case: an ordinary procedure
  g_handler = [&first](const PeerCall& c, RequestBlock* b, uint8_t* answer) -> uint32_t {
    if (c.command == "PROC") {
      b->answer_length = c.argument == 1 ? portion(answer, first, 99) : portion(answer, {"LAST"}, 0);
      return 0;
    }
    std::memset(answer, ' ', NAME_BYTES);
    std::memcpy(answer, "EMP_AUDIT", 9);
    return 0;
  };
  ASSERT_EQ(fill_procedure_list(false), 63);
  EXPECT_EQ(commands(), "PROC,SLCT,PROC");
  EXPECT_EQ(g_calls[0].position, PROC_LIST_PROCEDURES);
  EXPECT_EQ(g_calls[0].argument, 1u);
  EXPECT_EQ(g_calls[0].answer_length, PROC_PORTION);
  EXPECT_EQ(g_calls[2].argument, 99u);  // the continuation key
  EXPECT_EQ(g_calls[1].statement,
            "select $$$trig.$$$name from system.$$$trig $$$trig, system.$$$proc $$$proc where "
            "$$$proc.$$$name = 'Trigger #3' and $$$proc.$$$id = $$$trig.$$$proc;");
  const CatalogRow* rows = catalog_rows();
  EXPECT_EQ(std::string(rows[10].text), "Trigger #3" + std::string(56, ' ') + "(EMP_AUDIT)");
  EXPECT_EQ(row_name(rows[11]), "trigger #4");
  EXPECT_EQ(row_name(rows[62]), "LAST");
  EXPECT_EQ(rows[10].procedure_id, 0u);

  g_calls.clear();
  ASSERT_EQ(fill_procedure_list(true), 62);  // for dropping, the action is not offered
  EXPECT_EQ(commands(), "PROC,PROC");
  EXPECT_EQ(row_name(catalog_rows()[10]), "trigger #4");
}

TEST_F(Requests, TriggerListReadsItsRowsWithGetn) {
  int served = 0;
  g_handler = [&served](const PeerCall& c, RequestBlock* b, uint8_t* answer) -> uint32_t {
    if (served == 2) return 2;
    std::memset(answer, 0, ROW_TRIGGER);
    put32(answer, 100 + static_cast<uint32_t>(served));
    std::memset(answer + 4, ' ', NAME_BYTES);
    answer[4] = static_cast<uint8_t>('A' + served++);
    if (c.command == "SLCT") b->argument = 2;
    return 0;
  };
  ASSERT_EQ(fill_trigger_list(), 2);
  EXPECT_EQ(commands(), "SLCT,GETN,GETN");
  EXPECT_EQ(g_calls[0].statement,
            "select $$$proc, $$$name from system.$$$trig,system.$$$usr where $$$s32 = 0 and $$$s31 > 0 and "
            "$$$s34 =  'DEMO' and $$$s31=$$$owner;");
  EXPECT_EQ(g_calls[0].answer_length, ROW_TRIGGER);
  EXPECT_EQ(row_name(catalog_rows()[1]), "B");
  EXPECT_EQ(catalog_rows()[1].procedure_id, 101u);
  EXPECT_EQ(std::string(block.command, 4), "PROC");

  g_calls.clear();
  g_handler = [](const PeerCall&, RequestBlock*, uint8_t*) -> uint32_t { return 2; };
  EXPECT_EQ(fill_trigger_list(), 0);  // "Нет доступных триггеров", no rows asked for
  EXPECT_EQ(commands(), "SLCT");
}

TEST_F(Requests, KernelErrorTexts) {
  g_handler = [](const PeerCall&, RequestBlock* b, uint8_t* answer) -> uint32_t {
    std::memcpy(answer, "kernel words  ", 14);
    b->answer_length = 14;
    return 0;
  };
  EXPECT_EQ(kernel_error_text(&block, KERNEL_WRONG_PASSWORD, 0), cp866(" Неверный пароль! "));
  EXPECT_EQ(kernel_error_text(&block, 4005, 0), cp866("Ошибка обмена данными по сети 4005"));
  EXPECT_EQ(kernel_error_text(&block, KERNEL_DEBUGGER_ERROR, 9), cp866("Слишком много точек останова"));
  EXPECT_EQ(kernel_error_text(&block, KERNEL_DEBUGGER_ERROR, 99), cp866("Код возврата Таврела 7204"));
  EXPECT_TRUE(g_calls.empty());  // none of these asks the kernel
  EXPECT_EQ(kernel_error_text(&block, KERNEL_PROC_EXISTS, 0), "kernel words");
  ASSERT_EQ(g_calls.size(), 1u);
  EXPECT_EQ(g_calls[0].position, KERNEL_PROC_EXISTS);
  g_handler = [](const PeerCall&, RequestBlock*, uint8_t*) -> uint32_t { return 1069; };
  EXPECT_EQ(kernel_error_text(&block, KERNEL_PROC_EXISTS, 0), cp866("Код возврата Таврела 2245"));
}

// One error entry of a GETE 7200 answer.
void entry(std::vector<uint8_t>* a, uint32_t number, uint32_t line, uint32_t column, uint8_t kind,
           const std::string& argument = "", uint16_t number_argument = 0) {
  uint8_t head[13];
  put32(head, number);
  put32(head + 4, line);
  put32(head + 8, column);
  head[12] = kind;
  a->insert(a->end(), head, head + 13);
  uint8_t n[2];
  if (kind == 1) {
    put16(n, number_argument);
    a->insert(a->end(), n, n + 2);
  } else if (kind == 2) {
    put16(n, static_cast<uint16_t>(argument.size()));
    a->insert(a->end(), n, n + 2);
    a->insert(a->end(), argument.begin(), argument.end());
  }
}

TEST_F(Requests, TranslationErrorListTextsAndPositions) {
  std::vector<uint8_t> a = {5, 0};
  entry(&a, 1, 3, 7, 0);
  entry(&a, 1, 0xFFFFFFFF, 0, 0);
  entry(&a, 999, 1, 1, 2, "X%s");  // an unknown number and a text argument
  entry(&a, 23, 4, 1, 1, "", 2);
  entry(&a, 26, 5, 2, 2, std::string("L1\0junk", 7));
  ErrorList list;
  ASSERT_TRUE(error_list_parse(a.data(), a.size(), &list));
  ASSERT_EQ(list.texts.size(), 5u);
  EXPECT_EQ(list.texts[0], cp866("Ошибка в строке 3 позиция 7: синтаксическая ошибка"));
  EXPECT_EQ(list.lines[0], 2);
  EXPECT_EQ(list.columns[0], 6);
  EXPECT_EQ(list.texts[1], cp866("Ошибка: синтаксическая ошибка"));
  EXPECT_EQ(list.lines[1], -1);
  EXPECT_EQ(list.texts[2], cp866("Ошибка в строке 1 позиция 1: ???"));
  EXPECT_EQ(list.texts[3], cp866("Ошибка в строке 4 позиция 1: незавершено 2 блоков IF"));
  EXPECT_EQ(list.texts[4], cp866("Ошибка в строке 5 позиция 2: GOTO : не найдена метка L1"));
  // A count larger than the entries that follow is malformed; what was read is kept.
  a[0] = 6;
  EXPECT_FALSE(error_list_parse(a.data(), a.size(), &list));
  EXPECT_EQ(list.texts.size(), 5u);
  EXPECT_FALSE(error_list_parse(a.data(), 1, &list));
}

}  // namespace
}  // namespace tavrel
