// The rules of debug sessions and breakpoints in the kernel's debugger, in process: who may
// open a session, which lines take a breakpoint, what a repeated set and a clear change, the
// stop table each change builds, the limits.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <memory>

#include "kernel/debug/hooks.h"
#include "kernel/debug/procs.h"
#include "kernel/engine/compiler.h"

namespace tavrel::kernel {
namespace {

// Lines from 0: statements on 2 (two of them), 3, 4 and 6; none on 0, 1, 5.
constexpr const char* TEXT =
    "create procedure P(in A integer, out B integer) for debug\n"
    "code\n"
    "  B := 0; B := B + 1;\n"
    "  if A > 0 then\n"
    "    B := A;\n"
    "  endif;\n"
    "end;";

class Procs : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(sqlite3_open(":memory:", &db_), SQLITE_OK);
    auto unit = std::make_shared<Unit>();
    std::vector<Diagnostic> diagnostics;
    ASSERT_EQ(compile_unit(db_, TEXT, unit.get(), &diagnostics), 0);
    unit_ = unit;
    ASSERT_EQ(proc_open(g_, &client_, 7, unit_), 0u);
    pd_ = &g_.procs[7];
  }
  void TearDown() override { sqlite3_close(db_); }

  static BreakpointRequest request(uint8_t kind, uint32_t line, uint16_t number, std::vector<uint16_t> variables = {}) {
    BreakpointRequest r;
    r.kind = kind;
    r.line = line;
    r.number = number;
    r.variables = std::move(variables);
    return r;
  }
  // The lines whose statements the stop table marks with the bit.
  std::vector<int32_t> marked(uint8_t bit) const {
    std::vector<int32_t> lines;
    for (size_t pc = 0; pc < pd_->table->at.size(); ++pc) {
      if ((pd_->table->at[pc] & bit) != 0) lines.push_back(unit_->code[pc].line);
    }
    return lines;
  }

  sqlite3* db_ = nullptr;
  std::shared_ptr<const Unit> unit_;
  DebugState g_;
  DebugClient client_;
  ProcDebug* pd_ = nullptr;
};

TEST_F(Procs, OneClientSessionDebugsAProcedureAndHoldsAtMostAHundred) {
  DebugClient other;
  EXPECT_EQ(proc_open(g_, &client_, 7, unit_), 0u);  // again: the same session
  EXPECT_EQ(proc_open(g_, &other, 7, unit_), DEBUGGER_DEBUGGED_ELSEWHERE);
  EXPECT_EQ(proc_close(g_, &other, 7), DEBUGGER_SESSION_NOT_OPEN);
  for (int32_t id = 100; id < 199; ++id) ASSERT_EQ(proc_open(g_, &client_, id, unit_), 0u);
  EXPECT_EQ(proc_open(g_, &client_, 199, unit_), DEBUGGER_TOO_MANY_PROCEDURES);
  EXPECT_EQ(proc_open(g_, &other, 199, unit_), 0u);
  EXPECT_EQ(proc_close(g_, &client_, 7), 0u);
  EXPECT_EQ(owned_proc(g_, &client_, 7), nullptr);
  EXPECT_EQ(proc_open(g_, &other, 7, unit_), 0u);
}

TEST_F(Procs, LineBreakpointsMarkEveryStatementOfTheirLine) {
  EXPECT_EQ(proc_breakpoint_set(*pd_, request(BREAKPOINT_LINE, 1, 0)), DEBUGGER_BAD_LINE);
  EXPECT_EQ(proc_breakpoint_set(*pd_, request(BREAKPOINT_LINE, 5, 0)), DEBUGGER_BAD_LINE);
  EXPECT_FALSE(pd_->table->any);
  ASSERT_EQ(proc_breakpoint_set(*pd_, request(BREAKPOINT_LINE, 2, 0)), 0u);
  EXPECT_EQ(marked(STOP_BREAKPOINT), (std::vector<int32_t>{2, 2}));
  // Set again, it only takes the new number.
  ASSERT_EQ(proc_breakpoint_set(*pd_, request(BREAKPOINT_LINE, 2, 3)), 0u);
  ASSERT_EQ(pd_->breakpoints.size(), 1u);
  EXPECT_EQ(pd_->breakpoints[0].number, 3);
  // Only the first statement of a line run begins the line.
  EXPECT_TRUE(line_starts(*unit_, 0));
  EXPECT_FALSE(line_starts(*unit_, 1));
  EXPECT_TRUE(line_starts(*unit_, 2));
  // Clearing one that is not there is no error; clearing it empties the table.
  EXPECT_EQ(proc_breakpoint_clear(*pd_, request(BREAKPOINT_LINE, 4, 0)), 0u);
  EXPECT_EQ(proc_breakpoint_clear(*pd_, request(BREAKPOINT_LINE, 2, 0)), 0u);
  EXPECT_TRUE(pd_->breakpoints.empty());
  EXPECT_FALSE(pd_->table->any);
}

TEST_F(Procs, ConditionalBreakpointsKeepTheirNumbersAndAClearTakesTheLatest) {
  // A condition's variables come with 20000 added; A is 1, B is 2.
  EXPECT_EQ(proc_breakpoint_set(*pd_, request(BREAKPOINT_CONDITION, 3, 1, {1})), DEBUGGER_BAD_PARAMETER);
  EXPECT_EQ(proc_breakpoint_set(*pd_, request(BREAKPOINT_CONDITION, 3, 1, {20003})), DEBUGGER_BAD_PARAMETER);
  ASSERT_EQ(proc_breakpoint_set(*pd_, request(BREAKPOINT_CONDITION, 3, 1, {20001})), 0u);
  ASSERT_EQ(proc_breakpoint_set(*pd_, request(BREAKPOINT_CONDITION, 3, 2, {20001, 20002})), 0u);
  ASSERT_EQ(proc_breakpoint_set(*pd_, request(BREAKPOINT_CONDITION, 3, 2, {20002})), 0u);
  ASSERT_EQ(pd_->breakpoints.size(), 2u);
  EXPECT_EQ(marked(STOP_BREAKPOINT), (std::vector<int32_t>{3}));
  ASSERT_EQ(proc_breakpoint_clear(*pd_, request(BREAKPOINT_CONDITION, 3, 0)), 0u);
  ASSERT_EQ(pd_->breakpoints.size(), 1u);
  EXPECT_EQ(pd_->breakpoints[0].number, 1);
  EXPECT_EQ(proc_breakpoint_set(*pd_, request(2, 3, 1)), DEBUGGER_BAD_PARAMETER);
  // A record turned from ordinary to conditional and back is sent again without a clear: it
  // takes the place of its old form.
  ASSERT_EQ(proc_breakpoint_set(*pd_, request(BREAKPOINT_LINE, 4, 5)), 0u);
  ASSERT_EQ(proc_breakpoint_set(*pd_, request(BREAKPOINT_CONDITION, 4, 5, {20002})), 0u);
  ASSERT_EQ(pd_->breakpoints.size(), 2u);
  EXPECT_EQ(pd_->breakpoints[1].kind, BREAKPOINT_CONDITION);
  ASSERT_EQ(proc_breakpoint_set(*pd_, request(BREAKPOINT_LINE, 4, 5)), 0u);
  ASSERT_EQ(pd_->breakpoints.size(), 2u);
  EXPECT_EQ(pd_->breakpoints[1].kind, BREAKPOINT_LINE);
  EXPECT_EQ(marked(STOP_BREAKPOINT), (std::vector<int32_t>{3, 4}));
}

TEST_F(Procs, OnChangeBreakpointsWatchTheirVariablesEachOnce) {
  EXPECT_EQ(proc_breakpoint_set(*pd_, request(BREAKPOINT_CHANGE, 0, 1)), DEBUGGER_BAD_PARAMETER);
  EXPECT_EQ(proc_breakpoint_set(*pd_, request(BREAKPOINT_CHANGE, 0, 1, {0})), DEBUGGER_BAD_PARAMETER);
  EXPECT_EQ(proc_breakpoint_set(*pd_, request(BREAKPOINT_CHANGE, 0, 1, {3})), DEBUGGER_BAD_PARAMETER);
  // The line does not count for them, nor do they mark lines.
  ASSERT_EQ(proc_breakpoint_set(*pd_, request(BREAKPOINT_CHANGE, 1, 1, {2})), 0u);
  ASSERT_EQ(proc_breakpoint_set(*pd_, request(BREAKPOINT_CHANGE, 0, 2, {2, 1})), 0u);
  EXPECT_EQ(pd_->watched, (std::vector<int>{1, 0}));
  EXPECT_FALSE(pd_->table->any);
  ASSERT_EQ(proc_breakpoint_clear(*pd_, request(BREAKPOINT_CHANGE, 9, 0, {2})), 0u);
  EXPECT_EQ(pd_->watched, (std::vector<int>{1, 0}));
  ASSERT_EQ(proc_breakpoint_clear(*pd_, request(BREAKPOINT_CHANGE, 0, 0, {2, 1})), 0u);
  EXPECT_TRUE(pd_->watched.empty());
}

TEST_F(Procs, TheCursorLineIsMarkedUntilAStopClearsIt) {
  EXPECT_EQ(proc_cursor(*pd_, 5, true), DEBUGGER_BAD_LINE);
  ASSERT_EQ(proc_cursor(*pd_, 4, true), 0u);
  EXPECT_EQ(marked(STOP_CURSOR), (std::vector<int32_t>{4}));
  proc_cursors_clear(g_, &client_);
  EXPECT_EQ(pd_->cursor_line, -1);
  EXPECT_FALSE(pd_->table->any);
  ASSERT_EQ(proc_cursor(*pd_, 6, true), 0u);
  ASSERT_EQ(proc_cursor(*pd_, 0, false), 0u);
  EXPECT_FALSE(pd_->table->any);
}

TEST_F(Procs, ADebugSessionKeepsAtMostItsBreakpoints) {
  for (uint16_t n = 1; n <= BREAKPOINTS_MAX; ++n) {
    ASSERT_EQ(proc_breakpoint_set(*pd_, request(BREAKPOINT_CONDITION, 6, n, {20001})), 0u) << n;
  }
  EXPECT_EQ(proc_breakpoint_set(*pd_, request(BREAKPOINT_LINE, 2, 0)), DEBUGGER_TOO_MANY_BREAKPOINTS);
  // A set of one that is there is no new breakpoint.
  EXPECT_EQ(proc_breakpoint_set(*pd_, request(BREAKPOINT_CONDITION, 6, 1, {20002})), 0u);
}

}  // namespace
}  // namespace tavrel::kernel
