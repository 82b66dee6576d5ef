// Breakpoints: the toggle sequence and its line bits, the wire forms of the three kinds,
// duplicates, edits of active records, deletion, the list's rows, and the decisions at a
// stop (a condition that goes on while false, an on-change stop).
#include "debug_peer.h"

namespace tavrel {
namespace {

using Breakpoints = DebuggerTest;

TEST_F(Breakpoints, ToggleTwiceSetsThenClearsAnOrdinaryBreakpoint) {
  DebugSession& s = open_p();
  ASSERT_EQ(breakpoint_toggle(d, s, 12), 0);
  EXPECT_TRUE(line_marked(s.breakpoints, 12));
  ASSERT_EQ(d.breakpoints.size(), 1u);
  EXPECT_TRUE(d.breakpoints[0].active);
  ASSERT_EQ(breakpoint_toggle(d, s, 12), 0);
  EXPECT_FALSE(line_marked(s.breakpoints, 12));
  EXPECT_TRUE(d.breakpoints.empty());
  EXPECT_EQ(kernel.sequence(), "20,21");
  for (const PeerRequest& r : kernel.calls) {
    EXPECT_EQ(r.argument, 42u);
    EXPECT_EQ(r.room, BREAKPOINT_HEADER_SIZE);
    EXPECT_EQ(r.data, bytes_of({12, 0, 0, 0, BREAKPOINT_LINE, 0}));  // the trailing zeros go unsent
  }
}

TEST_F(Breakpoints, AFailedToggleLeavesTheLineAsItWas) {
  DebugSession& s = open_p();
  kernel.fail_next[PROC_SET_BREAKPOINT] = {KERNEL_DEBUGGER_ERROR, DEBUGGER_TOO_MANY_BREAKPOINTS};
  EXPECT_EQ(breakpoint_toggle(d, s, 3), static_cast<int>(KERNEL_DEBUGGER_ERROR));
  EXPECT_FALSE(line_marked(s.breakpoints, 3));
  EXPECT_TRUE(d.breakpoints.empty());
  EXPECT_EQ(note_texts(NOTE_KERNEL_ERROR), std::vector<std::string>{"Слишком много точек останова"});
  // A line past the bitmap is sent but never marked.
  EXPECT_EQ(breakpoint_toggle(d, s, 800), 0);
  EXPECT_FALSE(line_marked(s.breakpoints, 800));
}

TEST_F(Breakpoints, KindsCarryTheirVariablesOnTheWire) {
  open_p();
  kernel.variables["I"] = {2, TYPE_INTEGER};
  kernel.variables["J"] = {5, TYPE_INTEGER};
  Breakpoint conditional{false, 42, 4, BREAKPOINT_CONDITION, "i > 10 and J < i"};
  ASSERT_EQ(breakpoint_accept(d, -1, conditional), 0);
  const auto set = kernel.proc(PROC_SET_BREAKPOINT);
  ASSERT_EQ(set.size(), 1u);
  // Line 4, kind 4, number 1 (row + 1), two variables: 2 and 5, each plus 20000.
  EXPECT_EQ(set[0].room, 14);
  EXPECT_EQ(set[0].data, bytes_of({4, 0, 0, 0, 4, 0, 1, 0, 2, 0, 0x22, 0x4E, 0x25, 0x4E}));

  Breakpoint change{false, 42, 0, BREAKPOINT_CHANGE, "j"};
  ASSERT_EQ(breakpoint_accept(d, -1, change), 0);
  EXPECT_EQ(kernel.proc(PROC_SET_BREAKPOINT)[1].data, bytes_of({0, 0, 0, 0, 8, 0, 2, 0, 1, 0, 5, 0}));

  // A clear carries no number, no variables for a condition, the variable for a change.
  kernel.calls.clear();
  ASSERT_EQ(breakpoint_delete(d, 0), 0);
  ASSERT_EQ(breakpoint_delete(d, 0), 0);
  const auto clear = kernel.proc(PROC_CLEAR_BREAKPOINT);
  ASSERT_EQ(clear.size(), 2u);
  EXPECT_EQ(clear[0].room, BREAKPOINT_HEADER_SIZE);
  EXPECT_EQ(clear[0].data, bytes_of({4, 0, 0, 0, 4, 0}));
  EXPECT_EQ(clear[1].data, bytes_of({0, 0, 0, 0, 8, 0, 0, 0, 1, 0, 5, 0}));
  EXPECT_TRUE(d.breakpoints.empty());
}

TEST_F(Breakpoints, BadConditionsAndUnknownVariablesSendNothing) {
  open_p();
  kernel.variables["I"] = {2, TYPE_INTEGER};
  for (const char* condition : {"1 > 0", "I >", "NOSUCH > 1"}) {
    kernel.calls.clear();
    notes.clear();
    EXPECT_EQ(breakpoint_accept(d, -1, {false, 42, 4, BREAKPOINT_CONDITION, condition}), DBG_REFUSED) << condition;
    EXPECT_TRUE(kernel.proc(PROC_SET_BREAKPOINT).empty());
    EXPECT_EQ(note_texts(NOTE_MESSAGE), std::vector<std::string>{"Ошибка в условном выражении"});
  }
  notes.clear();
  EXPECT_EQ(breakpoint_accept(d, -1, {false, 42, 0, BREAKPOINT_CHANGE, "NOSUCH"}), DBG_REFUSED);
  EXPECT_TRUE(notes.empty());  // refused without a message of its own
  EXPECT_TRUE(d.breakpoints.empty());
}

TEST_F(Breakpoints, DuplicatesAreRefusedByKind) {
  open_p();
  kernel.variables["I"] = {2, TYPE_INTEGER};
  ASSERT_EQ(breakpoint_accept(d, -1, {false, 42, 4, BREAKPOINT_LINE, ""}), 0);
  ASSERT_EQ(breakpoint_accept(d, -1, {false, 42, 4, BREAKPOINT_CONDITION, "I > 1"}), 0);
  ASSERT_EQ(breakpoint_accept(d, -1, {false, 42, 4, BREAKPOINT_CONDITION, "i > 1"}), 0);  // case counts
  ASSERT_EQ(breakpoint_accept(d, -1, {false, 42, 9, BREAKPOINT_CHANGE, "I"}), 0);
  ASSERT_EQ(breakpoint_accept(d, -1, {false, 43, 4, BREAKPOINT_LINE, ""}), 0);   // another procedure
  const Breakpoint duplicates[] = {
      {false, 42, 4, BREAKPOINT_LINE, ""},
      {false, 42, 4, BREAKPOINT_CONDITION, "I > 1   "},  // trailing blanks do not count
      {false, 42, 1, BREAKPOINT_CHANGE, "I"},            // the line does not count for kind 8
  };
  for (const Breakpoint& b : duplicates) {
    kernel.calls.clear();
    notes.clear();
    EXPECT_EQ(breakpoint_accept(d, -1, b), DBG_REFUSED) << b.text;
    EXPECT_TRUE(kernel.calls.empty());
    EXPECT_EQ(note_texts(NOTE_MESSAGE), std::vector<std::string>{"Точка останова с такими свойствами уже есть!"});
  }
  EXPECT_EQ(d.breakpoints.size(), 5u);
}

TEST_F(Breakpoints, MovingAnActiveRecordClearsTheOldFormFirstAndMovesItsMark) {
  DebugSession& s = open_p();
  ASSERT_EQ(breakpoint_accept(d, -1, {false, 42, 4, BREAKPOINT_LINE, ""}), 0);
  ASSERT_EQ(breakpoint_accept(d, -1, {false, 42, 6, BREAKPOINT_LINE, ""}), 0);
  EXPECT_TRUE(line_marked(s.breakpoints, 6));
  kernel.calls.clear();
  ASSERT_EQ(breakpoint_accept(d, 1, {false, 42, 8, BREAKPOINT_LINE, ""}), 0);
  EXPECT_EQ(kernel.sequence(), "21,20");
  EXPECT_EQ(kernel.calls[0].data, bytes_of({6, 0, 0, 0, 1, 0}));
  EXPECT_EQ(kernel.calls[1].data, bytes_of({8, 0, 0, 0, 1, 0, 2, 0}));  // number 2: its row + 1
  EXPECT_FALSE(line_marked(s.breakpoints, 6));
  EXPECT_TRUE(line_marked(s.breakpoints, 8));
  EXPECT_TRUE(line_marked(s.breakpoints, 4));

  // Accepting unchanged sends nothing; a refused set keeps the old record, no longer in force.
  kernel.calls.clear();
  ASSERT_EQ(breakpoint_accept(d, 1, {false, 42, 8, BREAKPOINT_LINE, ""}), 0);
  EXPECT_TRUE(kernel.calls.empty());
  kernel.fail_next[PROC_SET_BREAKPOINT] = {KERNEL_DEBUGGER_ERROR, DEBUGGER_BAD_LINE};
  EXPECT_EQ(breakpoint_accept(d, 1, {false, 42, 9, BREAKPOINT_LINE, ""}), static_cast<int>(KERNEL_DEBUGGER_ERROR));
  EXPECT_EQ(d.breakpoints[1].line, 8u);
  EXPECT_FALSE(d.breakpoints[1].active);
  EXPECT_FALSE(line_marked(s.breakpoints, 8));
}

TEST_F(Breakpoints, ClosingASessionKeepsItsRecordsInactive) {
  DebugSession& s = open_p();
  ASSERT_EQ(breakpoint_accept(d, -1, {false, 42, 4, BREAKPOINT_LINE, ""}), 0);
  ASSERT_EQ(session_close(d, s), 0);
  ASSERT_EQ(d.breakpoints.size(), 1u);
  EXPECT_FALSE(d.breakpoints[0].active);
  EXPECT_EQ(std::string(breakpoint_mark(d.breakpoints[0])), " ");
  // Deleting an inactive record sends nothing; making it active again sends its set.
  ASSERT_EQ(breakpoint_accept(d, -1, {false, 43, 1, BREAKPOINT_LINE, ""}), 0);
  kernel.calls.clear();
  ASSERT_EQ(breakpoint_delete(d, 0), 0);
  EXPECT_TRUE(kernel.calls.empty());
  ASSERT_EQ(breakpoint_set_active(d, 0, false), 0);
  EXPECT_EQ(std::string(breakpoint_mark(d.breakpoints[0])), " ");
  ASSERT_EQ(breakpoint_set_active(d, 0, true), 0);
  EXPECT_EQ(kernel.sequence(), "21,20");
  EXPECT_EQ(kernel.calls[1].data, bytes_of({1, 0, 0, 0, 1, 0, 1, 0}));  // its new row + 1
}

TEST_F(Breakpoints, AFalseConditionGoesOnWithTheSameStepUntilItHolds) {
  stopped_p();
  kernel.variables["I"] = {2, TYPE_INTEGER};
  ASSERT_EQ(breakpoint_accept(d, -1, {false, 42, 5, BREAKPOINT_CONDITION, "I > 10"}), 0);
  kernel.calls.clear();
  const uint32_t at_breakpoint = EXEC_DEBUGGED | EXEC_WAITING_DEBUGGER | EXEC_AT_BREAKPOINT;
  kernel.states.push_back(state_answer({42, 11, 5, at_breakpoint, 0, 1}));
  kernel.states.push_back(state_answer({42, 12, 5, at_breakpoint, 0, 1}));
  int reads = 0;
  // I reads 5 at the first stop and 11 at the second.
  kernel.special = [&reads](const PeerRequest& r, RequestBlock* b, uint8_t* answer, uint32_t* code) {
    if (r.command != "PROC" || r.position != PROC_READ_VARIABLE) return false;
    EXPECT_EQ(r.data, bytes_of({1, 0}));
    EXPECT_EQ(r.argument, reads == 0 ? 11u : 12u);  // the stopped execution
    *code = FakeKernel::reply(b, answer, wire_of(integer(reads++ == 0 ? 5 : 11)));
    return true;
  };
  ASSERT_EQ(debugger_step(d, PROC_STEP), 0);
  EXPECT_EQ(kernel.sequence(), "6,13,28,6,13,28");
  EXPECT_EQ(kernel.calls[3].argument, 11u);  // the step again, for the execution of the new record
  EXPECT_EQ(d.current_execution, 12);
  EXPECT_EQ(d.last.outcome, RUN_STOPPED);
  EXPECT_EQ(d.last.state.breakpoint, 1);
}

TEST_F(Breakpoints, AStartGoesOnWithARunWhileTheConditionIsFalse) {
  stopped_p();
  kernel.variables["I"] = {2, TYPE_INTEGER};
  kernel.values[2] = wire_of(integer(0));
  ASSERT_EQ(breakpoint_accept(d, -1, {false, 42, 5, BREAKPOINT_CONDITION, "I > 10"}), 0);
  kernel.states.clear();
  kernel.states.push_back(state_answer({42, 9, 5, EXEC_FINISHED, 0, 0}));
  ASSERT_EQ(debugger_stop(d), 0);
  kernel.calls.clear();
  const uint32_t at_breakpoint = EXEC_DEBUGGED | EXEC_WAITING_DEBUGGER | EXEC_AT_BREAKPOINT;
  kernel.states.push_back(state_answer({42, 14, 5, at_breakpoint, 0, 1}));
  kernel.states.push_back(state_answer({42, 14, 5, EXEC_FINISHED, 0, 0}));
  ASSERT_EQ(debugger_wait_for(d, *session_find(d, 42)), 0);
  EXPECT_EQ(kernel.sequence(), "16,13,28,8,13");
  EXPECT_EQ(kernel.calls[3].argument, 14u);
  EXPECT_EQ(d.last.outcome, RUN_FINISHED);
}

TEST_F(Breakpoints, AnOnChangeStopNamesTheVariableAndStays) {
  stopped_p();
  kernel.variables["TOTAL"] = {3, TYPE_INTEGER};
  ASSERT_EQ(breakpoint_accept(d, -1, {false, 42, 0, BREAKPOINT_CHANGE, "total"}), 0);
  kernel.calls.clear();
  kernel.states.push_back(state_answer({42, 9, 6, EXEC_DEBUGGED | EXEC_WAITING_DEBUGGER | EXEC_AT_BREAKPOINT, 0, 1}));
  ASSERT_EQ(debugger_step(d, PROC_RUN), 0);
  EXPECT_EQ(kernel.sequence(), "8,13");
  EXPECT_EQ(note_texts(NOTE_VALUE_CHANGED), std::vector<std::string>{"Значение total изменилось"});
  EXPECT_EQ(d.last.changed_variable, "total");
  EXPECT_EQ(d.current_execution, 9);
}

}  // namespace
}  // namespace tavrel
