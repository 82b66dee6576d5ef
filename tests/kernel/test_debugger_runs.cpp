// The kernel's debugger against a real kernel through the debugger library and tavrel-dbg's
// commands: where step, trace, run to return, run to cursor and breakpoints of each kind
// stop, Stop, and calls caught from another process (tavrel-sql) by a wait or a catch.
#include <atomic>
#include <thread>

#include "debugger_fixture.h"
#include "platform/process.h"

namespace tavrel {
namespace {

using Runs = DebuggerKernel;

TEST_F(Runs, StepTraceAndRunToReturnThroughNestedCallsAndATriggerAction) {
  // Each turn of the loop stops at its WHILE line, where the condition is tested; ENDLOOP is
  // no stop.
  EXPECT_EQ(run({"open OUTER", "break OUTER 5", "run execute \"OUTER\"(2);", "step", "step", "step", "step", "step",
                 "step"}),
            "breakpoint 1\n"
            "stopped OUTER line 5 breakpoint 1\n"
            "stopped OUTER line 6\n"
            "stopped OUTER line 7\n"
            "stopped OUTER line 8\n"
            "stopped OUTER line 9\n"  // the call of INNER stepped over
            "stopped OUTER line 7\n"
            "stopped OUTER line 8\n");
  // Into INNER, which has no debug session yet: tracing opens one; out again to the caller.
  EXPECT_EQ(run({"trace", "stack", "step", "trace", "finish"}),
            "stopped INNER line 3\n"
            "#0 INNER line 3\n"
            "#1 OUTER line 8\n"
            "stopped INNER line 4\n"
            "stopped INNER line 7\n"
            "stopped OUTER line 9\n");
  // The loop ends; the insert fires the trigger's action, which trace enters.
  EXPECT_EQ(run({"step", "step", "step", "trace", "stack", "locals", "finish", "continue"}),
            "stopped OUTER line 7\n"
            "stopped OUTER line 11\n"
            "*** Message from Stored Procedure: done\n"
            "stopped OUTER line 12\n"
            "stopped Trigger #2 line 4\n"
            "#0 Trigger #2 line 4\n"
            "#1 OUTER line 12\n"
            "{ NEW } = (CURSOR)\n"
            "{ OLD } = (CURSOR)\n"
            "*** Message from Stored Procedure: logged 3\n"
            "stopped OUTER line 13\n"
            "finished OUTER\n");
  EXPECT_EQ(tool.err, "");
  EXPECT_EQ(kernel_select(&sql_, "select V from LOG;"), "3");
}

TEST_F(Runs, AConditionalBreakpointGoesOnWhileItsConditionIsFalse) {
  // INNER is called with ACC 0, 1 and 3: the kernel stops each time and reports the
  // breakpoint; the library goes on twice and stops where ACC > 2 holds.
  EXPECT_EQ(run({"open INNER", "break INNER 3 if ACC > 2", "run execute \"OUTER\"(3);", "print ACC", "print X"}),
            "breakpoint 1\n"
            "stopped INNER line 3 breakpoint 1\n"
            "3 (INTEGER)\n"
            "3 (INTEGER)\n");
  EXPECT_EQ(d.last.state.flags, PARKED | EXEC_AT_BREAKPOINT);
  EXPECT_EQ(d.last.state.breakpoint, 1u);
  EXPECT_EQ(run({"continue"}),
            "*** Message from Stored Procedure: done\n"
            "*** Message from Stored Procedure: logged 6\n"
            "finished OUTER\n");
  // A condition that does not translate is refused before anything is sent.
  EXPECT_EQ(run({"break INNER 4 if ACC >"}), "");
  EXPECT_EQ(tool.err, "error: Ошибка в условном выражении\n");
}

TEST_F(Runs, ABreakpointMadeConditionalInPlaceStopsOnlyWhenItsConditionHolds) {
  ASSERT_EQ(run({"open INNER", "break INNER 3"}), "breakpoint 1\n");
  // The dialog turns the ordinary record conditional on the same line: it is sent again
  // without a clear, and the kernel keeps one breakpoint for the line.
  ASSERT_EQ(d.breakpoints.size(), 1u);
  Breakpoint edited = d.breakpoints[0];
  edited.kind = BREAKPOINT_CONDITION;
  edited.text = "ACC > 2";
  ASSERT_EQ(breakpoint_accept(d, 0, edited), 0);
  EXPECT_EQ(run({"run execute \"OUTER\"(3);", "print ACC"}),
            "stopped INNER line 3 breakpoint 1\n"
            "3 (INTEGER)\n");
}

TEST_F(Runs, AnOnChangeBreakpointStopsAfterTheStatementThatChangedItsVariable) {
  EXPECT_EQ(run({"watch OUTER R", "run execute \"OUTER\"(2);", "stack", "continue", "stack", "continue", "stack",
                 "continue"}),
            "breakpoint 1\n"
            "Значение R изменилось\n"
            "#0 OUTER line 6\n"  // after R := 0 (R was NULL)
            "Значение R изменилось\n"
            "#0 OUTER line 9\n"  // after the first call of INNER: 1
            "Значение R изменилось\n"
            "#0 OUTER line 9\n"  // after the second: 3
            "*** Message from Stored Procedure: done\n"
            "*** Message from Stored Procedure: logged 3\n"
            "finished OUTER\n");
  EXPECT_EQ(tool.err, "");
}

TEST_F(Runs, RunToCursorStopsOnceAtItsLine) {
  EXPECT_EQ(run({"break OUTER 6", "run execute \"OUTER\"(2);", "until 9", "continue"}),
            "breakpoint 1\n"
            "stopped OUTER line 6 breakpoint 1\n"
            "stopped OUTER line 9\n"
            // The second turn of the loop passes line 9 again: the cursor's stop is spent.
            "*** Message from Stored Procedure: done\n"
            "*** Message from Stored Procedure: logged 3\n"
            "finished OUTER\n");
  EXPECT_EQ(run({"run execute \"OUTER\"(1);", "until 4"}), "stopped OUTER line 6 breakpoint 1\n");
  EXPECT_EQ(tool.err, "error 7204: Неверный номер строки для начала инструкции\n");
  EXPECT_EQ(run({"stop"}), "finished OUTER\n");
}

TEST_F(Runs, BreakpointsInAnIntegerLoopStopEveryTurnWhereverTheyAre) {
  // The loop's test is run straight after its last statement when nothing stops there: a
  // breakpoint on the test's line, and one on the body's, must each stop every turn.
  EXPECT_EQ(run({"open LOOPS", "break LOOPS 5", "run execute \"LOOPS\"();", "continue", "continue", "locals"}),
            "breakpoint 1\nstopped LOOPS line 5 breakpoint 1\nstopped LOOPS line 5 breakpoint 1\n"
            "stopped LOOPS line 5 breakpoint 1\n{ I } = 2 (INTEGER)\n");
  EXPECT_EQ(run({"delete 1", "break LOOPS 6", "continue", "continue", "locals", "stop"}),
            "breakpoint 1\nstopped LOOPS line 6 breakpoint 1\nstopped LOOPS line 6 breakpoint 1\n"
            "{ I } = 3 (INTEGER)\nfinished LOOPS\n");
}

TEST_F(Runs, StopEndsTheRunAndLeavesTheInternalChannelFree) {
  // The next run follows the stop at once, while the stopped run's job may still be ending.
  EXPECT_EQ(run({"break OUTER 12", "run execute \"OUTER\"(2);", "stop", "run execute \"OUTER\"(1);", "continue"}),
            "breakpoint 1\n"
            "*** Message from Stored Procedure: done\n"
            "stopped OUTER line 12 breakpoint 1\n"
            "finished OUTER\n"
            "*** Message from Stored Procedure: done\n"
            "stopped OUTER line 12 breakpoint 1\n"
            "*** Message from Stored Procedure: logged 1\n"
            "finished OUTER\n");
  EXPECT_EQ(tool.err, "");
  // The insert of the stopped run never ran.
  EXPECT_EQ(kernel_select(&sql_, "select group_concat(V) from LOG;"), "1");
  ASSERT_EQ(run({"run execute \"OUTER\"(3);", "stop"}), "*** Message from Stored Procedure: done\n"
                                                          "stopped OUTER line 12 breakpoint 1\n"
                                                          "finished OUTER\n");
  EXPECT_EQ(d.last.state.flags, EXEC_FINISHED);
}

// Starts tavrel-sql with the statement again and again until one of its calls is caught (it
// then stays in the kernel, stopped); that process.
ChildProcess* sql_until_caught(const char* statement, const std::atomic<bool>& caught) {
  const char* args[] = {"tavrel-sql", "-U", "DEMO/DEMO", "-c", statement, nullptr};
  for (;;) {
    ChildProcess* child = nullptr;
    if (process_start(TAVREL_SQL_PATH, args, &child) != 0) return nullptr;
    int status = 0;
    while (!process_wait(child, 20, &status)) {
      if (caught) return child;
    }
    process_end(child);  // it ran before the wait was there: again
  }
}

TEST_F(Runs, AWaitCatchesTheCallThatTavrelSqlMakesFromAnotherProcess) {
  ASSERT_EQ(run({"open INNER"}), "");
  std::atomic<bool> caught{false};
  std::string waited;
  std::thread waiter([&] {
    waited = run({"wait INNER"});
    caught = true;
  });
  ChildProcess* sql = sql_until_caught("execute \"INNER\"(5, 1);", caught);
  waiter.join();
  ASSERT_NE(sql, nullptr);
  EXPECT_EQ(waited, "stopped INNER line 3\n");
  // The caught call is tavrel-sql's: its INOUT parameter changed here reaches it.
  EXPECT_EQ(run({"locals", "step", "set ACC 40", "continue"}),
            "{ X } = 5 (INTEGER)\n"
            "{ ACC } = 1 (INTEGER)\n"
            "stopped INNER line 4\n"
            "finished INNER\n");
  int status = -1;
  EXPECT_TRUE(process_wait(sql, -1, &status));
  EXPECT_EQ(status, 0);
  process_end(sql);
  EXPECT_EQ(tool.err, "");
}

TEST_F(Runs, CatchAnyTakesTheFirstCallOfAProcedureTheClientDebugs) {
  ASSERT_EQ(run({"open OUTER", "open INNER"}), "");
  std::atomic<bool> caught{false};
  std::string waited;
  std::thread waiter([&] {
    waited = run({"catch"});
    caught = true;
  });
  // PLAIN has no debug session: its calls run by; OUTER's is caught at its first statement.
  ASSERT_EQ(execute(another(), "execute \"PLAIN\"(1);"), 0u);
  ChildProcess* sql = sql_until_caught("execute \"OUTER\"(1);", caught);
  waiter.join();
  ASSERT_NE(sql, nullptr);
  EXPECT_EQ(waited, "stopped OUTER line 5\n");
  EXPECT_EQ(run({"step", "step", "step", "trace", "finish", "continue"}),
            "stopped OUTER line 6\n"
            "stopped OUTER line 7\n"
            "stopped OUTER line 8\n"
            "stopped INNER line 3\n"
            "stopped OUTER line 9\n"
            "*** Message from Stored Procedure: done\n"
            "*** Message from Stored Procedure: logged 1\n"
            "finished OUTER\n");
  int status = -1;
  EXPECT_TRUE(process_wait(sql, -1, &status));
  EXPECT_EQ(status, 0);
  process_end(sql);
}

}  // namespace
}  // namespace tavrel
