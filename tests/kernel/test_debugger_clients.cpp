// The kernel's debugger and its clients: debugger errors where their situations arise, KILL
// of a request that waits for an execution, and clients (tavrel-dbg processes) killed while
// they hold a parked execution: the kernel and the other sessions go on.
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "debugger_fixture.h"
#include "platform/process.h"
#include "protocol/bytes.h"

namespace tavrel {
namespace {

using Clients = DebuggerKernel;

// Breakpoints a debug session keeps.
constexpr uint16_t BREAKPOINTS_KEPT = 256;

// The debugger error of the last request on a block (0 when it was no debugger error).
uint32_t debugger_error(int code, const RequestBlock& b) {
  return code == static_cast<int>(KERNEL_DEBUGGER_ERROR) ? b.system_code : 0;
}

std::vector<uint8_t> open_by_id(uint32_t id) {
  std::vector<uint8_t> data(PROC_OPEN_BY_ID_SIZE, 0);
  put_u32(data.data() + 1, id);
  return data;
}

TEST_F(Clients, DebuggerErrorsWhereTheirSituationsArise) {
  // 1: no procedure of that name; 13: no procedure of that id; 3: stored without FOR DEBUG.
  EXPECT_EQ(run({"open NOPE", "open PLAIN"}), "");
  EXPECT_EQ(tool.err,
            "error 7204: Неопределенная процедура\n"
            "error 7204: Процедура без отладочной информации\n");
  EXPECT_EQ(debugger_error(proc(PROC_OPEN_SESSION, 0, open_by_id(999999), PROC_OPEN_BY_ID_SIZE), main_),
            DEBUGGER_BAD_PROCEDURE_ID);
  // 2: a procedure another client session debugs.
  ASSERT_EQ(run({"open OUTER"}), "");
  RequestBlock other;
  ASSERT_EQ(open_cp866(&other), 0u);
  Debugger d2;
  debugger_init(d2, &other, CONNECT, "CP866");
  DebugSession* s = nullptr;
  EXPECT_EQ(session_open(d2, "OUTER", 0, false, &s), static_cast<int>(KERNEL_DEBUGGER_ERROR));
  EXPECT_EQ(other.system_code, DEBUGGER_DEBUGGED_ELSEWHERE);
  // 7: breakpoints, a wait or a catch without a debug session.
  BreakpointRequest line{3, BREAKPOINT_LINE, 0, {}};
  std::vector<uint8_t> bytes(breakpoint_request_size(line));
  breakpoint_request_write(line, bytes);
  uint32_t inner = 0;
  ASSERT_EQ(session_open(d2, "INNER", 0, false, &s), 0);
  inner = s->procedure_id;
  EXPECT_EQ(debugger_error(proc(PROC_SET_BREAKPOINT, inner, bytes, static_cast<uint16_t>(bytes.size())), main_),
            DEBUGGER_SESSION_NOT_OPEN);
  EXPECT_EQ(debugger_error(proc(PROC_WAIT_FOR_CALL, inner, {}, PROC_ANSWER), main_), DEBUGGER_DEBUGGED_ELSEWHERE);
  EXPECT_EQ(session_close(d2, *s), 0);
  EXPECT_EQ(debugger_error(proc(PROC_WAIT_FOR_CALL, inner, {}, PROC_ANSWER), main_), DEBUGGER_SESSION_NOT_OPEN);
  EXPECT_EQ(debugger_error(proc_call(d2, PROC_CATCH_ANY, 0, {}, PROC_ANSWER), other), DEBUGGER_SESSION_NOT_OPEN);
  debugger_shutdown(d2);
  close_block(&other);
  // 8: a line without a statement ("code").
  tool.err.clear();
  EXPECT_EQ(run({"break OUTER 4"}), "");
  EXPECT_EQ(tool.err, "error 7204: Неверный номер строки для начала инструкции\n");
  const uint32_t outer = session_find_name(d, "OUTER")->procedure_id;
  // 17: a second statement while the first still runs on the internal channel.
  ASSERT_EQ(run({"break OUTER 5", "run execute \"OUTER\"(1);"}), "breakpoint 1\nstopped OUTER line 5 breakpoint 1\n");
  const std::string statement = "execute \"OUTER\"(1);";
  std::vector<uint8_t> data(PROC_EXECUTE_HEAD + statement.size());
  put_u16(data.data(), d.internal.channel);
  put_u16(data.data() + 2, static_cast<uint32_t>(statement.size()));
  std::memcpy(data.data() + PROC_EXECUTE_HEAD, statement.data(), statement.size());
  EXPECT_EQ(debugger_error(proc(PROC_EXECUTE, outer, data, PROC_ANSWER), main_), DEBUGGER_CHANNEL_BUSY);
  EXPECT_EQ(run({"stop"}), "finished OUTER\n");
  // 14: the main channel itself is no internal channel.
  put_u16(data.data(), main_.channel);
  EXPECT_EQ(debugger_error(proc(PROC_EXECUTE, outer, data, PROC_ANSWER), main_), DEBUGGER_BAD_PARAMETER);
  // 9: more breakpoints than a session keeps; the first conditional one takes the place of the
  // ordinary one above on the same line.
  int code = 0;
  for (uint16_t n = 1; n <= 258 && code == 0; ++n) {
    BreakpointRequest conditional{4, BREAKPOINT_CONDITION, n, {VARIABLE_NUMBER_OFFSET + 1}};
    bytes.assign(breakpoint_request_size(conditional), 0);
    breakpoint_request_write(conditional, bytes);
    code = proc(PROC_SET_BREAKPOINT, outer, bytes, static_cast<uint16_t>(bytes.size()));
    if (code != 0) {
      EXPECT_EQ(n, BREAKPOINTS_KEPT + 1);
    }
  }
  EXPECT_EQ(debugger_error(code, main_), DEBUGGER_TOO_MANY_BREAKPOINTS);
  // 10: steps of an execution that is not stopped in the debugger.
  EXPECT_EQ(debugger_error(proc(PROC_STEP, 1234, {}, PROC_ANSWER), main_), DEBUGGER_NOT_WAITING);
  EXPECT_EQ(debugger_error(proc(PROC_LOCALS, 1234, {}, PROC_LARGE_ANSWER), main_), DEBUGGER_NOT_WAITING);
  // 11: no such sub-command; 14: data that do not hold their layout.
  EXPECT_EQ(debugger_error(proc(4, 0, {}, PROC_ANSWER), main_), DEBUGGER_BAD_COMMAND);
  EXPECT_EQ(debugger_error(proc(PROC_EXECUTE, outer, {1, 0}, PROC_ANSWER), main_), DEBUGGER_BAD_PARAMETER);
  EXPECT_EQ(debugger_error(proc(PROC_FIND_VARIABLE, 777, {1, 'X'}, 2), main_), DEBUGGER_BAD_PARAMETER);
}

// Answers "end the wait" at the tenth look, as a person pressing Esc would.
bool tenth_look(void* user) { return ++*static_cast<int*>(user) >= 10; }

TEST_F(Clients, AParkedChainKeepsItsSessionsOpenAndItsCallersFromEnding) {
  ASSERT_EQ(run({"open OUTER", "open INNER", "break INNER 3", "run execute \"OUTER\"(1);"}),
            "breakpoint 1\nstopped INNER line 3 breakpoint 1\n");
  const uint32_t outer = session_find_name(d, "OUTER")->procedure_id;
  const std::vector<ActiveEntry> list = active_entries(another());
  const auto caller = std::find_if(list.begin(), list.end(), [outer](const ActiveEntry& e) { return e.procedure_id == outer; });
  ASSERT_NE(caller, list.end());
  // 16: OUTER waits for INNER, which it called; 12: OUTER's session has a frame that waits
  // (tavrel-dbg itself refuses to close the procedure that it shows stopped).
  EXPECT_EQ(debugger_error(proc(PROC_STOP, caller->execution_id, {}, PROC_ANSWER), main_), DEBUGGER_CALLED_ANOTHER);
  EXPECT_EQ(run({"close OUTER", "close INNER"}), "");
  EXPECT_EQ(tool.err,
            "error 7204: В данной сессии имеется активная процедура, ждущая ответа от отладчика. Завершить ее?\n"
            "error: INNER is stopped in the debugger\n");
  // Ended, the chain lets both go.
  tool.err.clear();
  EXPECT_EQ(run({"stop", "close OUTER", "close INNER"}), "finished OUTER\n");
  EXPECT_EQ(tool.err, "");
}

TEST_F(Clients, ABreakpointSetWhileTheRunGoesOnStopsItWithoutANewCall) {
  // Continued past its breakpoint, the loop runs on after KILL ended the wait (the run is not
  // aborted here, as a client that lets it go on would not).
  ASSERT_EQ(run({"open LOOPS", "break LOOPS 6", "run execute \"LOOPS\"();", "delete 1"}),
            "breakpoint 1\nstopped LOOPS line 6 breakpoint 1\n");
  const uint32_t loops_id = session_find_name(d, "LOOPS")->procedure_id;
  int looks = 0;
  d.interrupt_wanted = tenth_look;
  d.person_user = &looks;
  bool interrupted = false;
  proc_call_waiting(d, PROC_RUN, d.current_execution, {}, PROC_ANSWER, &interrupted);
  ASSERT_TRUE(interrupted);
  d.interrupt_wanted = nullptr;
  RequestBlock* watcher = another();
  await_active(watcher, [](const ActiveEntry& e) { return e.flags == EXEC_DEBUGGED && e.quanta > 1000; });
  // The loop never calls anything: only a breakpoint that reaches its running frame stops it.
  ASSERT_EQ(request_breakpoint(d, PROC_SET_BREAKPOINT, loops_id, BreakpointRequest{5, BREAKPOINT_LINE, 1, {}}), 0);
  const std::vector<ActiveEntry> list =
      await_active(watcher, [](const ActiveEntry& e) { return e.flags == (PARKED | EXEC_AT_BREAKPOINT); });
  ASSERT_EQ(request_abort(d, list.front().execution_id), 0);
  while (!active_entries(watcher).empty()) std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

TEST_F(Clients, AProcedureAlteredWhileDebuggedStopsAtTheBreakpointsOfItsNewText) {
  ASSERT_EQ(run({"open INNER", "break INNER 5"}), "breakpoint 1\n");
  // Two lines more before the breakpoint's line: line 5 is now "ACC := ACC + X;".
  ASSERT_EQ(execute(&sql_,
                    "create or replace procedure INNER(in X integer, inout ACC integer) for debug\n"
                    "declare\n"
                    "  var K integer;\n"
                    "code\n"
                    "  ACC := ACC + X;\n"
                    "  K := 1;\n"
                    "end;"),
            0u);
  EXPECT_EQ(run({"run execute \"INNER\"(1, 2);", "locals", "step", "continue"}),
            "stopped INNER line 5 breakpoint 1\n{ X } = 1 (INTEGER)\n{ ACC } = 2 (INTEGER)\n{ K } = (NULL)\n"
            "stopped INNER line 6\nfinished INNER\n");
  // A breakpoint set now is checked against the new text: line 4 is "code" (it was "if").
  EXPECT_EQ(run({"break INNER 4"}), "");
  EXPECT_EQ(tool.err, "error 7204: Неверный номер строки для начала инструкции\n");
}

TEST_F(Clients, KillEndsAWaitAndARunThatNeverStops) {
  int looks = 0;
  d.interrupt_wanted = tenth_look;
  d.person_user = &looks;
  EXPECT_EQ(run({"open INNER", "wait INNER"}), "interrupted\n");
  // The wait is gone: a call runs by.
  ASSERT_EQ(execute(another(), "execute \"INNER\"(1, 1);"), 0u);
  // A run that never stops, interrupted before the client has heard of it: the client cannot
  // name it to abort it, so it ends with the interruption and frees the internal channel.
  looks = 0;
  EXPECT_EQ(run({"open SPIN", "run execute \"SPIN\"();"}), "interrupted\n");
  d.interrupt_wanted = nullptr;
  EXPECT_EQ(run({"break INNER 3", "run execute \"INNER\"(1, 2);", "stop"}),
            "breakpoint 1\nstopped INNER line 3 breakpoint 1\nfinished INNER\n");
  EXPECT_TRUE(active_entries(another()).empty());
  EXPECT_EQ(tool.err, "");
}

TEST_F(Clients, KillEndsAnOrderWhoseExecutionNeverStopsAgain) {
  int looks = 0;
  d.interrupt_wanted = tenth_look;
  d.person_user = &looks;
  // Continued past its only breakpoint, the loop never stops: the order's answer is owed by
  // an execution that will not give it, and KILL gives it instead. The library then aborts
  // the run it started.
  EXPECT_EQ(run({"open SPIN", "break SPIN 1", "run execute \"SPIN\"();", "delete 1", "continue"}),
            "breakpoint 1\nstopped SPIN line 1 breakpoint 1\ninterrupted\n");
  d.interrupt_wanted = nullptr;
  RequestBlock* watcher = another();
  while (!active_entries(watcher).empty()) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  // The session takes requests again, on the server thread's path and on the worker's.
  EXPECT_EQ(run({"open INNER", "break INNER 3", "run execute \"INNER\"(1, 2);", "step", "locals", "continue"}),
            "breakpoint 1\nstopped INNER line 3 breakpoint 1\nstopped INNER line 4\n"
            "{ X } = 1 (INTEGER)\n{ ACC } = 3 (INTEGER)\nfinished INNER\n");
}

// tavrel-dbg running a script; the process.
ChildProcess* start_dbg(const std::string& dir, const std::string& script) {
  const std::string path = (std::filesystem::path(dir) / "script.dbg").string();
  std::ofstream(path) << script;
  const char* args[] = {"tavrel-dbg", "-U", "DEMO/DEMO", "-x", path.c_str(), nullptr};
  ChildProcess* child = nullptr;
  return process_start(TAVREL_DBG_PATH, args, &child) == 0 ? child : nullptr;
}

TEST_F(Clients, AClientKilledWhileItHoldsACaughtCallReleasesIt) {
  // The client catches tavrel-sql's call, then waits for another call while holding it.
  ChildProcess* dbg = start_dbg(rundir, "open INNER\nwait INNER\ncatch\n");
  ASSERT_NE(dbg, nullptr);
  RequestBlock* watcher = another();
  const char* args[] = {"tavrel-sql", "-U", "DEMO/DEMO", "-c", "execute \"INNER\"(5, 1);", nullptr};
  ChildProcess* sql = nullptr;
  for (bool caught = false; !caught;) {
    ASSERT_EQ(process_start(TAVREL_SQL_PATH, args, &sql), 0);
    int status = 0;
    while (!caught && !process_wait(sql, 20, &status)) {
      for (const ActiveEntry& e : active_entries(watcher)) caught = caught || e.flags == PARKED;
    }
    if (!caught) process_end(sql);
  }
  process_end(dbg);
  // The call runs on without the debugger and tavrel-sql ends well.
  int status = -1;
  EXPECT_TRUE(process_wait(sql, -1, &status));
  EXPECT_EQ(status, 0);
  process_end(sql);
  // The kernel serves on: the procedure is free to debug again.
  EXPECT_EQ(run({"open INNER", "break INNER 3", "run execute \"INNER\"(1, 2);", "continue"}),
            "breakpoint 1\nstopped INNER line 3 breakpoint 1\nfinished INNER\n");
  EXPECT_EQ(tool.err, "");
}

TEST_F(Clients, AClientKilledWhileItsOwnRunIsParkedEndsTheRun) {
  ChildProcess* dbg = start_dbg(rundir, "open OUTER\nbreak OUTER 5\nrun execute \"OUTER\"(1);\ncatch\n");
  ASSERT_NE(dbg, nullptr);
  RequestBlock* watcher = another();
  await_active(watcher, [](const ActiveEntry& e) { return e.flags == (PARKED | EXEC_AT_BREAKPOINT); });
  process_end(dbg);
  // Its sessions end (the kernel looks for dead clients every second), and the run with them.
  while (!active_entries(watcher).empty()) std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_EQ(kernel_select(&sql_, "select count(*) from LOG;"), "0");
  EXPECT_EQ(run({"open OUTER", "break OUTER 5", "run execute \"OUTER\"(1);", "stop"}),
            "breakpoint 1\nstopped OUTER line 5 breakpoint 1\nfinished OUTER\n");
}

TEST_F(Clients, AClientKilledWhileItsOrderRunsEndsTheRun) {
  // The client's last request is an order whose execution loops for ever: its session stays
  // busy with the answer owed until the kernel finds the client gone.
  ChildProcess* dbg = start_dbg(rundir, "open SPIN\nbreak SPIN 1\nrun execute \"SPIN\"();\ndelete 1\ncontinue\n");
  ASSERT_NE(dbg, nullptr);
  RequestBlock* watcher = another();
  // Running under the debugger with many turns done: past the breakpoint, continued.
  await_active(watcher, [](const ActiveEntry& e) { return e.flags == EXEC_DEBUGGED && e.quanta > 1000; });
  process_end(dbg);
  while (!active_entries(watcher).empty()) std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_EQ(run({"open SPIN", "break SPIN 1", "run execute \"SPIN\"();", "stop"}),
            "breakpoint 1\nstopped SPIN line 1 breakpoint 1\nfinished SPIN\n");
}

}  // namespace
}  // namespace tavrel
