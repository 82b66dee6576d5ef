// tavrel-dbg's commands against the scripted kernel: what each command sends, and the lines
// it prints (stops, ends with their return values, printed messages, locals, the stack, the
// active list, breakpoints, errors).
#include "dbg_script.h"
#include "debug_peer.h"

namespace tavrel {
namespace {

class Tool : public DebuggerTest {
 protected:
  DbgTool tool;
  void SetUp() override {
    DebuggerTest::SetUp();
    dbg_bind(tool, d);
  }
  // Runs the commands; the standard output they gave.
  std::string run(std::initializer_list<const char*> lines) {
    tool.out.clear();
    tool.err.clear();
    for (const char* line : lines) dbg_execute(tool, line);
    return tool.out;
  }
};

constexpr uint32_t WAITING = EXEC_DEBUGGED | EXEC_WAITING_DEBUGGER;

TEST_F(Tool, ABreakpointStopsARunAndTheEndShowsTheReturnValue) {
  kernel.states.push_back(state_answer({42, 9, 2, WAITING | EXEC_AT_BREAKPOINT, 0, 1}));
  EXPECT_EQ(run({"open P", "break P 3", "run execute \"P\"(3);"}), "breakpoint 1\nstopped P line 3 breakpoint 1\n");
  EXPECT_EQ(tool.err, "");
  EXPECT_EQ(kernel.proc(PROC_SET_BREAKPOINT)[0].data, bytes_of({2, 0, 0, 0, 1, 0, 1, 0}));  // line 3 is 2 from 0
  const std::string statement = "execute \"P\"(3);";
  const auto runs = kernel.proc(PROC_EXECUTE);
  ASSERT_EQ(runs.size(), 1u);
  EXPECT_EQ(std::string(runs[0].data.begin() + 4, runs[0].data.begin() + 4 + static_cast<long>(statement.size())), statement);

  kernel.printed = {"hello", cp866("мир")};
  kernel.states.push_back(state_answer({42, 9, 8, EXEC_FINISHED, 0, 0}, wire_of(integer(7))));
  EXPECT_EQ(run({"continue"}),
            "*** Message from Stored Procedure: hello\n"
            "*** Message from Stored Procedure: мир\n"
            "finished P\n"
            "Возвращаемое значение: 7 (INTEGER)\n");
  EXPECT_FALSE(tool.failed);
}

TEST_F(Tool, StepsPrintWhereTheyStoppedAndExceptions) {
  kernel.states.push_back(state_answer({42, 9, 0, WAITING, 0, 0}));
  kernel.states.push_back(state_answer({42, 9, 1, WAITING, -17, 0}));
  kernel.states.push_back(state_answer({43, 10, 4, WAITING, 0, 0}));
  kernel.states.push_back(state_answer({42, 9, 9, EXEC_FINISHED, -17, 0}));
  EXPECT_EQ(run({"wait P", "step", "trace", "finish"}),
            "stopped P line 1\n"
            "Состояние исключения APPLICATIONERROR\n"
            "stopped P line 2\n"
            "stopped Q line 5\n"
            "finished P\n"
            "Передано состояние исключения APPLICATIONERROR\n");
  EXPECT_EQ(kernel.proc(PROC_TRACE)[0].argument, 9u);
  EXPECT_EQ(kernel.proc(PROC_RUN_TO_RETURN)[0].argument, 10u);
}

TEST_F(Tool, LocalsStackFramesPrintAndSet) {
  kernel.states.push_back(state_answer({43, 10, 4, WAITING, 0, 0}));
  run({"catch"});
  const StackEntry frames[] = {{43, 4, 10, WAITING}, {42, 7, 9, WAITING}};
  kernel.stack = call_stack_write(frames);
  kernel.locals = locals_write(std::vector<LocalEntry>{{1, "I", wire_of(smallint(5))}, {2, "S", {TYPE_CHAR, 'a', 'b', 0}}});
  kernel.variables["I"] = {1, TYPE_SMALLINT};
  kernel.values[1] = wire_of(smallint(5));
  EXPECT_EQ(run({"locals", "stack", "print I * 2 + 1"}),
            "{ I } = 5 (SMALLINT)\n{ S } = {ab} (STRING)\n#0 Q line 5\n#1 P line 8\n11 (SMALLINT)\n");
  EXPECT_EQ(kernel.proc(PROC_CALL_STACK)[0].argument, 10u);
  EXPECT_EQ(kernel.proc(PROC_LOCALS)[0].argument, 10u);
  kernel.calls.clear();
  EXPECT_EQ(run({"frame 1", "set I 40 + 2"}), "#1 P line 8\n");
  EXPECT_EQ(tool.err, "");
  EXPECT_EQ(run({"print I +", "set I \"x\""}), "");
  EXPECT_EQ(tool.err,
            "error: Ошибка при вычислении: пропущен операнд\n"
            "error: Ошибка при вычислении: ошибка несовместимости типов\n");
  tool.err.clear();
  EXPECT_EQ(tool.err, "");
  const auto reads = kernel.proc(PROC_LOCALS);
  ASSERT_EQ(reads.size(), 2u);  // the frame's locals, then again after the assignment
  EXPECT_EQ(reads[0].argument, 9u);
  const auto set = kernel.proc(PROC_ASSIGN_VARIABLE);
  ASSERT_EQ(set.size(), 1u);
  EXPECT_EQ(set[0].argument, 9u);  // the selected frame's execution
  EXPECT_EQ(set[0].data, bytes_of({0x21, 0x4E, TYPE_SMALLINT, 42}));  // 20001, then 42 as SMALLINT
  kernel.calls.clear();
  EXPECT_EQ(stack_select(d, 1), DBG_NOTHING);  // the selected frame again
  EXPECT_EQ(stack_select(d, 2), DBG_NOTHING);  // past the stack
  EXPECT_TRUE(kernel.calls.empty());
}

TEST_F(Tool, WatchConditionAndTheBreakpointList) {
  kernel.variables["I"] = {1, TYPE_SMALLINT};
  EXPECT_EQ(run({"break P 3", "break P 4 if I > 10", "watch P I", "breaks"}),
            "breakpoint 1\nbreakpoint 2\nbreakpoint 3\n1 X P:3\n2 X P:4(I > 10)\n3 X P:(I)\n");
  kernel.states.push_back(state_answer({42, 9, 6, WAITING | EXEC_AT_BREAKPOINT, 0, 3}));
  EXPECT_EQ(run({"wait P"}), "Значение I изменилось\n");
  EXPECT_EQ(run({"delete 1", "breaks"}), "1 X P:4(I > 10)\n2 X P:(I)\n");
  EXPECT_EQ(run({"break P 4 if I > 10"}), "");
  EXPECT_EQ(tool.err, "error: Точка останова с такими свойствами уже есть!\n");
}

TEST_F(Tool, TheActiveListAndAbort) {
  std::vector<uint8_t> bytes(2 * ACTIVE_ENTRY_SIZE + 2);
  active_entry_write({42, 3, WAITING, 12, ACTIVE_CALLER_OUTSIDE}, bytes);
  active_entry_write({43, 4, 0, 7, 3}, std::span(bytes).subspan(ACTIVE_ENTRY_SIZE));
  kernel.portions.push_back({bytes, 2});
  EXPECT_EQ(run({"active"}), "3 P Отлаживается; Ожидание отладчика 12 Извне\n4 Q Выполняется 7 3\n");
  kernel.calls.clear();
  run({"abort 4"});
  EXPECT_EQ(kernel.proc(PROC_ABORT)[0].argument, 4u);
}

TEST_F(Tool, ErrorsGoToTheErrorStreamAndFailTheRun) {
  run({"step"});
  EXPECT_EQ(tool.err, "error: no execution is stopped in the debugger\n");
  kernel.fail_next[PROC_OPEN_SESSION] = {KERNEL_DEBUGGER_ERROR, DEBUGGER_DEBUGGED_ELSEWHERE};
  run({"open P"});
  EXPECT_EQ(tool.err, "error 7204: Процедура отлаживается в другой сессии\n");
  kernel.fail_next[PROC_OPEN_SESSION] = {KERNEL_DEBUGGER_ERROR, DEBUGGER_CHANNEL_BUSY};
  run({"open P"});
  // The catalogue's line breaks become blanks; the text's leading break goes.
  EXPECT_EQ(tool.err.rfind("error 7204: Внутренний канал уже используется для исполнения процедуры. Должно", 0), 0u)
      << tool.err;
  kernel.fail_next[PROC_OPEN_SESSION] = {2001, 0};
  run({"open P"});
  EXPECT_EQ(tool.err, "error 2001: kernel\n");  // the kernel's text through GETE
  run({"frobnicate", "break P", "break P 0", "break P 2 when I", "delete 9", "print 1", "print 1 +"});
  EXPECT_EQ(tool.err,
            "error: unknown command frobnicate (tavrel-dbg --help lists them)\n"
            "error: a line number from 1 is needed\n"
            "error: a line number from 1 is needed\n"
            "error: expected: if CONDITION\n"
            "error: no such breakpoint\n"
            "error: no execution is stopped in the debugger\n"
            "error: no execution is stopped in the debugger\n");
  EXPECT_TRUE(tool.failed);
  EXPECT_EQ(dbg_execute(tool, "# a comment"), 0);
  EXPECT_EQ(dbg_execute(tool, "   "), 0);
  dbg_execute(tool, "quit");
  EXPECT_TRUE(tool.quit);
}

TEST_F(Tool, AStatementErrorNamesThePosition) {
  kernel.fail_next[PROC_EXECUTE] = {2001, 12 * 65536};
  run({"run execute P(x)"});
  EXPECT_EQ(tool.err, "error 2001: Ошибка в запросе 2001 (проверьте параметры) at 12: execute P(x)\n");
  EXPECT_EQ(kernel.proc(PROC_EXECUTE)[0].argument, 42u);  // the session was opened for P
}

}  // namespace
}  // namespace tavrel
