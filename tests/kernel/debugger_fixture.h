// A real tavrel-kernel for the debugger's tests, with the debugger library as its client:
// procedures of known lines stored on a demo database, a Debugger logged on with CP866 as
// tavrel-dbg logs on, tavrel-dbg's commands for readable sequences (lines counted from 1),
// raw PROC requests where bytes matter, and helpers that run statements asynchronously on
// further sessions and watch the active list.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <deque>
#include <initializer_list>
#include <string>
#include <thread>
#include <vector>

#include "dbg_script.h"
#include "debugger/debugger.h"
#include "debugger/requests.h"
#include "kernel_fixture.h"
#include "protocol/records.h"

namespace tavrel {

inline constexpr const char* CONNECT = "\"DEMO\"/\"DEMO\"";

// The units the tests debug. Their lines, counted from 1 as tavrel-dbg shows them, are
// what the expected stops name.
inline const char* const DEBUGGED_UNITS[] = {
    "create table LOG(V integer);",
    // 1 .. 13
    "create procedure OUTER(in N integer, out R integer) for debug\n"
    "declare\n"
    "  var I integer;\n"
    "code\n"
    "  R := 0;\n"
    "  I := 1;\n"
    "  while I <= N loop\n"
    "    call INNER(I, R);\n"
    "    I := I + 1;\n"
    "  endloop;\n"
    "  PRINT(\"done\");\n"
    "  insert into LOG values(R);\n"
    "end;",
    // 1 .. 7
    "create procedure INNER(in X integer, inout ACC integer) for debug\n"
    "code\n"
    "  ACC := ACC + X;\n"
    "  if ACC > 100 then\n"
    "    ACC := 100;\n"
    "  endif;\n"
    "end;",
    // 1 .. 5
    "create trigger LOG_TRG after insert on LOG for each row\n"
    "execute for debug\n"
    "code\n"
    "  PRINT(\"logged \" + ITOA(NEW.V));\n"
    "end;",
    "create procedure PLAIN(in X integer) code X := X + 1; end;",
    // 1 .. 9: a variable of every type, and a return value made of them all.
    "create procedure ALLV() result varchar(250) for debug\n"
    "declare\n"
    "  var S smallint; var I integer; var B bigint; var R real; var D double;\n"
    "  var N numeric(10,3); var L bool; var C char(10); var T date; var Y byte(8); var W nchar(5);\n"
    "  cursor K;\n"
    "code\n"
    "  S := 1;\n"
    "  return TOCHAR(S) + \"|\" + TOCHAR(I) + \"|\" + TOCHAR(B) + \"|\" + TOCHAR(R) + \"|\" + TOCHAR(D) + \"|\" + "
    "TOCHAR(N, 12, 3) + \"|\" + TOCHAR(L) + \"|\" + C + \"|\" + TOCHAR(T) + \"|\" + BTOA(Y) + \"|\" + TOCHAR(W);\n"
    "end;",
    // An endless loop, and a recursion whose deepest call sleeps.
    "create procedure SPIN() for debug declare var I integer default 0; code while true loop I := I + 1; endloop; end;",
    // 1 .. 8: the same loop on lines of its own.
    "create procedure LOOPS() for debug\n"
    "declare\n"
    "  var I integer default 0;\n"
    "code\n"
    "  while true loop\n"
    "    I := I + 1;\n"
    "  endloop;\n"
    "end;",
    "create procedure REC(in N integer) code if N > 0 then call REC(N - 1); else sleep 600; endif; end;",
};

// The state flags of an execution stopped in the debugger.
inline constexpr uint32_t PARKED = EXEC_DEBUGGED | EXEC_WAITING_DEBUGGER;

class DebuggerKernel : public KernelTest {
 protected:
  void SetUp() override {
    start("kdebug");
    ASSERT_EQ(kernel_open(&sql_), 0u);
    for (const char* text : DEBUGGED_UNITS) ASSERT_EQ(execute(&sql_, text), 0u) << text;
    ASSERT_EQ(open_cp866(&main_), 0u);
    debugger_init(d, &main_, CONNECT, "CP866");
    dbg_bind(tool, d);
  }
  void TearDown() override {
    debugger_shutdown(d);
    for (RequestBlock& b : opened_) close_block(&b);
    close_block(&main_);
    close_block(&sql_);
    channel_shutdown();
    finish();
  }

  // A session logged on as tavrel-dbg logs on (names and messages in CP866).
  uint32_t open_cp866(RequestBlock* b) {
    *b = kernel_block("OPEN");
    char codepage[] = "CP866";
    const uint32_t code = channel_call(b, CONNECT, nullptr, codepage, nullptr);
    std::memcpy(b->command, "PROC", 4);
    return code;
  }
  // A further UTF-8 session, closed with the test.
  RequestBlock* another() {
    RequestBlock& b = opened_.emplace_back();
    EXPECT_EQ(kernel_open(&b), 0u);
    return &b;
  }
  static void close_block(RequestBlock* b) {
    std::memcpy(b->command, "CLOS", 4);
    channel_call(b, nullptr, nullptr, nullptr, nullptr);
  }
  static uint32_t execute(RequestBlock* b, const std::string& text) {
    std::memcpy(b->command, "    ", 4);
    b->answer_length = 0;
    return channel_call(b, nullptr, text.c_str(), nullptr, nullptr);
  }
  // Starts a statement on b without waiting for it (channel_wait tells its end).
  static void start_statement(RequestBlock* b, const std::string& text, std::vector<char>* answer) {
    std::memcpy(b->command, "    ", 4);
    b->flags = REQUEST_ASYNC;
    answer->assign(8192, 0);
    b->answer_length = 8192;
    ASSERT_EQ(channel_call(b, nullptr, text.c_str(), nullptr, answer->data(), [](RequestBlock*, void*, void*) {}), 0u);
  }
  static uint32_t finish_statement(RequestBlock* b) {
    channel_wait(b, -1);
    b->flags &= ~REQUEST_ASYNC;
    return b->return_code;
  }
  static uint32_t kill(RequestBlock* killer, uint16_t channel) {
    std::memcpy(killer->command, "KILL", 4);
    killer->position = channel;
    return channel_call(killer, "", nullptr, nullptr, nullptr);
  }

  // tavrel-dbg's commands; what they printed on standard output (UTF-8).
  std::string run(std::initializer_list<const char*> lines) {
    tool.out.clear();
    tool.err.clear();
    for (const char* line : lines) dbg_execute(tool, line);
    return tool.out;
  }

  // Every entry of the active list, read portion by portion on b.
  static std::vector<ActiveEntry> active_entries(RequestBlock* b, int* portions = nullptr) {
    std::vector<ActiveEntry> out;
    std::vector<uint8_t> answer(PROC_PORTION);
    uint32_t key = 0;
    int count = 0;
    do {
      std::memcpy(b->command, "PROC", 4);
      b->position = PROC_ACTIVE_LIST;
      b->argument = key;
      b->answer_length = PROC_PORTION;
      std::fill(answer.begin(), answer.end(), 0);
      if (channel_call(b, nullptr, nullptr, nullptr, answer.data()) != 0 || b->answer_length < 2) break;
      const size_t entries = (b->answer_length - 2u) / ACTIVE_ENTRY_SIZE;
      EXPECT_EQ(entries, b->argument);
      for (size_t i = 0; i < entries; ++i) {
        ActiveEntry e;
        active_entry_read(std::span<const uint8_t>(answer).subspan(i * ACTIVE_ENTRY_SIZE), &e);
        out.push_back(e);
      }
      key = get_u16(answer.data() + b->answer_length - 2);
      ++count;
    } while (key != 0);
    if (portions != nullptr) *portions = count;
    return out;
  }
  // Polls the active list until some entry satisfies pred (the test's time limit bounds it).
  template <typename Pred>
  static std::vector<ActiveEntry> await_active(RequestBlock* b, Pred pred) {
    for (;;) {
      std::vector<ActiveEntry> list = active_entries(b);
      for (const ActiveEntry& e : list) {
        if (pred(e)) return list;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
  }

  // A raw PROC request on the debugger's main session: its code, the answer in d.answer.
  int proc(uint32_t subcommand, uint32_t argument, std::vector<uint8_t> data, uint16_t room) {
    return proc_call(d, subcommand, argument, data, room);
  }

  RequestBlock sql_{};   // statements, UTF-8
  RequestBlock main_{};  // the debugger's session, CP866
  Debugger d;
  DbgTool tool;

 private:
  std::deque<RequestBlock> opened_;
};

}  // namespace tavrel
