// The debugger's requests as the kernel receives them: sub-command, argument, answer length,
// the no-wait flag where the run waits, and the data bytes the channel sends.
#include "debug_peer.h"
#include "debugger/requests.h"

namespace tavrel {
namespace {

using Requests = DebuggerTest;

TEST_F(Requests, SessionsOpenByNameOrIdentifierAndClose) {
  DebugSession* s = nullptr;
  ASSERT_EQ(session_open(d, "P", 0, true, &s), 0);
  const PeerRequest by_name = kernel.calls[0];
  EXPECT_EQ(by_name.position, PROC_OPEN_SESSION);
  EXPECT_EQ(by_name.room, 2);
  EXPECT_EQ(by_name.data, bytes_of({1, 'P'}));
  EXPECT_EQ(s->procedure_id, 42u);
  EXPECT_EQ(s->name, "P");
  EXPECT_EQ(kernel.calls.size(), 1u);  // the name is known: no lookup

  kernel.calls.clear();
  ASSERT_EQ(session_open(d, "", 43, true, &s), 0);
  EXPECT_EQ(kernel.calls[0].room, PROC_OPEN_BY_ID_SIZE);
  // The trailing zeros of the identifier are not sent: the kernel reads missing bytes as zeros.
  EXPECT_EQ(kernel.calls[0].data, bytes_of({0, 43}));

  kernel.calls.clear();
  ASSERT_EQ(session_close(d, *s), 0);
  ASSERT_EQ(kernel.calls.size(), 1u);
  EXPECT_EQ(kernel.calls[0].position, PROC_CLOSE_SESSION);
  EXPECT_EQ(kernel.calls[0].argument, 43u);
  EXPECT_EQ(kernel.calls[0].room, 0);
  EXPECT_FALSE(kernel.calls[0].has_answer);
  EXPECT_FALSE(s->open);
}

TEST_F(Requests, ARunGoesOnTheInternalChannelWithoutWaiting) {
  DebugSession& s = open_p();
  kernel.states.push_back(state_answer({42, 9, 0, EXEC_DEBUGGED | EXEC_WAITING_DEBUGGER, 0, 0}));
  const std::string statement = "execute \"P\"(3);";
  ASSERT_EQ(debugger_run(d, s, statement), 0);
  EXPECT_EQ(kernel.sequence(), "OPEN,5,13");
  EXPECT_EQ(kernel.calls[0].buffer1, "\"U\"/\"P\"");
  const PeerRequest run = kernel.calls[1];
  EXPECT_EQ(run.argument, 42u);
  EXPECT_EQ(run.room, PROC_ANSWER);
  EXPECT_NE(run.flags & REQUEST_ASYNC, 0u);
  std::vector<uint8_t> data = bytes_of({7, 0, static_cast<int>(statement.size()), 0});
  data.insert(data.end(), statement.begin(), statement.end());
  data.push_back(0);  // an odd length goes rounded up to even
  EXPECT_EQ(run.data, data);
  EXPECT_EQ(block.flags & REQUEST_ASYNC, 0u);
  EXPECT_TRUE(d.started);
  EXPECT_EQ(d.current_execution, 9);
  EXPECT_EQ(note_texts(NOTE_LINE), std::vector<std::string>{"---------- ... Исполнение ... -----------"});
  const PeerRequest printed = kernel.calls[2];
  EXPECT_EQ(printed.argument, 42u);
  EXPECT_EQ(printed.room, PROC_LARGE_ANSWER);

  // With a current execution the same key continues it (8); the channel stays open.
  kernel.calls.clear();
  kernel.states.push_back(state_answer({42, 9, 1, EXEC_DEBUGGED | EXEC_WAITING_DEBUGGER, 0, 0}));
  ASSERT_EQ(debugger_run(d, s, statement), 0);
  EXPECT_EQ(kernel.sequence(), "8,13");
  EXPECT_EQ(kernel.calls[0].argument, 9u);
}

TEST_F(Requests, SteppingSendsTheExecutionAndStopIsNotAWaitingRequest) {
  stopped_p();
  for (uint32_t sub : {PROC_STEP, PROC_TRACE, PROC_RUN_TO_RETURN, PROC_RUN}) {
    kernel.calls.clear();
    kernel.states.push_back(state_answer({42, 9, 3, EXEC_DEBUGGED | EXEC_WAITING_DEBUGGER, 0, 0}));
    ASSERT_EQ(debugger_step(d, sub), 0) << sub;
    ASSERT_EQ(kernel.calls.size(), 2u);
    EXPECT_EQ(kernel.calls[0].position, sub);
    EXPECT_EQ(kernel.calls[0].argument, 9u);
    EXPECT_EQ(kernel.calls[0].room, PROC_ANSWER);
    EXPECT_TRUE(kernel.calls[0].data.empty());
    EXPECT_NE(kernel.calls[0].flags & REQUEST_ASYNC, 0u);
  }
  kernel.calls.clear();
  DebugSession* s = session_find(d, 42);
  kernel.states.push_back(state_answer({42, 9, 6, EXEC_DEBUGGED | EXEC_WAITING_DEBUGGER, 0, 0}));
  ASSERT_EQ(debugger_run_to_line(d, *s, 6), 0);
  EXPECT_EQ(kernel.sequence(), "3,8,13");
  EXPECT_EQ(kernel.calls[0].argument, 42u);
  EXPECT_EQ(kernel.calls[0].room, TEMP_BREAKPOINT_SIZE);
  EXPECT_EQ(kernel.calls[0].data, bytes_of({6, 0, 0, 0, 1, 0}));

  kernel.calls.clear();
  kernel.states.push_back(state_answer({42, 9, 6, EXEC_FINISHED, 0, 0}));
  ASSERT_EQ(debugger_stop(d), 0);
  EXPECT_EQ(kernel.calls[0].position, PROC_STOP);
  EXPECT_EQ(kernel.calls[0].argument, 9u);
  EXPECT_EQ(kernel.calls[0].flags & REQUEST_ASYNC, 0u);
  EXPECT_EQ(d.current_execution, EXECUTION_NONE);
  EXPECT_EQ(d.last.outcome, RUN_FINISHED);
  EXPECT_EQ(debugger_step(d, PROC_STEP), DBG_NOTHING);  // nothing left to step
}

TEST_F(Requests, WaitAndCatchNameTheProcedureOrNothing) {
  DebugSession& s = open_p();
  kernel.states.push_back(state_answer({42, 5, 0, EXEC_DEBUGGED | EXEC_WAITING_DEBUGGER, 0, 0}));
  ASSERT_EQ(debugger_wait_for(d, s), 0);
  EXPECT_EQ(kernel.calls[0].position, PROC_WAIT_FOR_CALL);
  EXPECT_EQ(kernel.calls[0].argument, 42u);
  EXPECT_EQ(note_texts(NOTE_LINE), std::vector<std::string>{"---------- ...  Ожидание  ... -----------"});
  // Nothing is sent while the session has a current execution.
  kernel.calls.clear();
  EXPECT_EQ(debugger_wait_for(d, s), DBG_NOTHING);
  EXPECT_TRUE(kernel.calls.empty());

  kernel.states.push_back(state_answer({43, 6, 0, EXEC_DEBUGGED | EXEC_WAITING_DEBUGGER, 0, 0}));
  ASSERT_EQ(debugger_catch_any(d), 0);
  EXPECT_EQ(kernel.calls[0].position, PROC_CATCH_ANY);
  EXPECT_EQ(kernel.calls[0].argument, 0u);
  // The stop is in Q, which had no session: one is opened for it by identifier.
  EXPECT_EQ(kernel.sequence(), "25,13,1,SLCT");
  EXPECT_EQ(kernel.calls[3].buffer2, "select $$$name from system.$$$proc where $$$id = 43;");
  EXPECT_EQ(kernel.calls[3].room, NAME_BYTES);
  EXPECT_EQ(std::string(block.command, 4), "PROC");  // the resting command again
  ASSERT_NE(session_find(d, 43), nullptr);
  EXPECT_EQ(session_find(d, 43)->marked_line, 0);
}

TEST_F(Requests, VariablesAreFoundThroughOneHandleAndReadAndAssignedByNumber) {
  stopped_p();
  kernel.variables[cp866("COUNTER")] = {4, TYPE_INTEGER};
  kernel.values[4] = wire_of(integer(70000));
  kernel.values[VARIABLE_NONE] = wire_of(smallint(1));
  VariableInfo info;
  ASSERT_EQ(variable_find(d, 42, "counter", &info), 0);
  ASSERT_EQ(variable_find(d, 42, "Counter", &info), 0);  // cached: no second request
  EXPECT_EQ(kernel.sequence(), "22,24");
  EXPECT_EQ(kernel.calls[0].argument, 42u);
  EXPECT_EQ(kernel.calls[1].argument, 142u);  // the handle
  EXPECT_EQ(kernel.calls[1].room, 8);
  EXPECT_EQ(kernel.calls[1].data, bytes_of({7, 'C', 'O', 'U', 'N', 'T', 'E', 'R'}));
  EXPECT_EQ(info.number, 4);
  EXPECT_EQ(info.type, TYPE_INTEGER);

  kernel.calls.clear();
  Value v;
  ASSERT_EQ(variable_read(d, 9, 4, &v), 0);
  EXPECT_EQ(payload_get<int32_t>(v), 70000);
  ASSERT_EQ(variable_read(d, 9, VARIABLE_NONE, &v), 0);
  EXPECT_EQ(kernel.calls[0].argument, 9u);
  EXPECT_EQ(kernel.calls[0].room, PROC_VALUE_ANSWER);
  EXPECT_EQ(kernel.calls[0].data, bytes_of({3, 0}));  // number - 1
  EXPECT_EQ(kernel.calls[1].data, bytes_of({0xFF, 0xFF}));

  // A value longer than 16 bytes is asked again with the length it needs.
  kernel.calls.clear();
  Value text{};
  text.type = TYPE_CHAR;
  const char long_text[] = "twenty characters ok";
  payload_put<const char*>(text, long_text);
  kernel.values[4] = wire_of(text);
  ASSERT_EQ(variable_read(d, 9, 4, &v), 0);
  ASSERT_EQ(kernel.calls.size(), 2u);
  EXPECT_EQ(kernel.calls[1].room, 22);
  EXPECT_STREQ(value_text(v), long_text);

  kernel.calls.clear();
  kernel.locals = locals_write(std::vector<LocalEntry>{});
  TextValue failure;
  ASSERT_EQ(assign_text(d, "counter", "5 + 2", &failure), 0) << failure.failure;
  const auto assigned = kernel.proc(PROC_ASSIGN_VARIABLE);
  ASSERT_EQ(assigned.size(), 1u);
  EXPECT_EQ(assigned[0].argument, 9u);
  EXPECT_EQ(assigned[0].room, 7);  // 2 + type + 4 value bytes
  EXPECT_EQ(assigned[0].data, bytes_of({0x24, 0x4E, TYPE_INTEGER, 7}));  // 20004, then 7 as INTEGER
}

TEST_F(Requests, HandlesAreReleasedWhenASessionCloses) {
  DebugSession& s = open_p();
  VariableInfo info;
  kernel.variables["X"] = {1, TYPE_SMALLINT};
  ASSERT_EQ(variable_find(d, 42, "X", &info), 0);
  ASSERT_EQ(variable_find(d, 43, "X", &info), 0);
  kernel.calls.clear();
  ASSERT_EQ(session_close(d, s), 0);
  EXPECT_EQ(kernel.sequence(), "2,23,23");
  EXPECT_EQ(kernel.calls[1].argument, 142u);
  EXPECT_EQ(kernel.calls[2].argument, 143u);
  EXPECT_TRUE(d.handles.entries.empty());
}

TEST_F(Requests, LocalsTooLongAreReportedOncePerSession) {
  stopped_p();
  std::vector<LocalEntry> many;
  for (uint16_t i = 1; i <= 1000; ++i) many.push_back({i, "VARIABLE_" + std::to_string(i), wire_of(integer(i))});
  kernel.locals = locals_write(many);
  ASSERT_GT(kernel.locals.size(), PROC_LARGE_ANSWER);
  EXPECT_EQ(locals_fetch(d), static_cast<int>(CHANNEL_ANSWER_TOO_LONG));
  EXPECT_EQ(locals_fetch(d), static_cast<int>(CHANNEL_ANSWER_TOO_LONG));
  EXPECT_EQ(note_texts(NOTE_KERNEL_ERROR).size(), 1u);
  EXPECT_TRUE(d.views.locals.empty());
}

TEST_F(Requests, PrintedMessagesAreAskedUntilNoneAreKept) {
  stopped_p();
  // Two messages of 10,000 characters do not go in one 16,384-byte answer.
  kernel.printed = {std::string(10000, 'a'), std::string(10000, 'b'), "end"};
  kernel.states.push_back(state_answer({42, 9, 3, EXEC_DEBUGGED | EXEC_WAITING_DEBUGGER, 0, 0}));
  ASSERT_EQ(debugger_step(d, PROC_STEP), 0);
  EXPECT_EQ(kernel.sequence(), "6,13,13");
  const auto printed = note_texts(NOTE_PRINTED);
  ASSERT_EQ(printed.size(), 3u);
  EXPECT_EQ(printed[1], std::string(10000, 'b'));
  EXPECT_EQ(printed[2], "end");
}

TEST_F(Requests, TheMonitorKeepsFiftyExpressionsEvaluatedInTheFrame) {
  stopped_p();
  kernel.variables["I"] = {1, TYPE_SMALLINT};
  kernel.values[1] = wire_of(smallint(5));
  Views& v = d.views;
  EXPECT_EQ(monitor_delete(v, 0), DBG_REFUSED);  // nothing to delete
  ASSERT_EQ(monitor_set(v, 0, "I + 1"), 0);       // typing into the empty last row appends
  ASSERT_EQ(monitor_set(v, 1, "I := 3"), 0);
  ASSERT_EQ(monitor_set(v, 2, "NOSUCH"), 0);
  ASSERT_EQ(monitor_insert(v, 0), 0);
  EXPECT_EQ(monitor_value(d, 0), "");
  EXPECT_EQ(monitor_value(d, 1), "6 (SMALLINT)");
  EXPECT_EQ(cp866_to_utf8(monitor_value(d, 2)), "Попытка присвоения");
  EXPECT_EQ(cp866_to_utf8(monitor_value(d, 3)), "Ошибка при вычислении");
  EXPECT_EQ(monitor_value(d, 4), "");  // the empty last row
  EXPECT_TRUE(kernel.proc(PROC_ASSIGN_VARIABLE).empty());  // an assignment is not performed
  ASSERT_EQ(monitor_set(v, 1, std::string(600, 'x')), 0);
  EXPECT_EQ(v.monitor[1].size(), MONITOR_TEXT_MAX);
  while (v.monitor.size() < MONITOR_MAX) ASSERT_EQ(monitor_insert(v, v.monitor.size()), 0);
  EXPECT_EQ(monitor_insert(v, 0), DBG_REFUSED);  // a 51st
  EXPECT_EQ(monitor_set(v, MONITOR_MAX, "1"), DBG_REFUSED);
  EXPECT_EQ(monitor_delete(v, MONITOR_MAX), DBG_REFUSED);
  EXPECT_EQ(monitor_delete(v, 0), 0);
  EXPECT_EQ(v.monitor.size(), MONITOR_MAX - 1);
  EXPECT_EQ(v.monitor[1], "I := 3");  // the rows below moved up
}

}  // namespace
}  // namespace tavrel
