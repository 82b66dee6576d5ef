// The manager's debugging against a scripted kernel: F4 and the debug look of a window, the
// views it opens, Ctrl+F8 and the breakpoint colour, F9 with its statement, the stop that
// brings the stopped procedure's window forward with its execution mark (opening it when no
// window shows it), stepping, the end of a run with its box and return value, Esc during a
// waiting request, the statement the kernel refused, and the facts of the menu's rules.
#include "catalog/run_params.h"
#include "debug_fixture.h"
#include "tui/colours.h"
#include "tui/hints.h"
#include "tui/keyboard.h"

namespace tavrel {
namespace {

using Debugging = DebuggingTest;

// The attribute of a text row of a source window (the frame is one row above its first).
uint8_t line_colour(const WorkWindow* w, int line) {
  const Editor& e = w->editor;
  const int row = e.top + 1 + line - (e.line - e.cursor_row);
  return virtual_console_cell(e.left + 1, row).attr;
}

TEST_F(Debugging, F4OpensTheSessionAndTheViewsBesideTheWindow) {
  WorkWindow* w = open_source(42, "P");
  debug_command(w, KEY_F4);
  // The window knows its procedure: the session is opened by identifier.
  ASSERT_EQ(kernel.sequence(), "1,SLCT");  // then its name
  EXPECT_EQ(kernel.calls[0].data, bytes_of({0, 42}));  // by identifier; trailing zeros stay home
  EXPECT_EQ(w->editor.debug_procedure, 42);
  EXPECT_EQ(w->editor.help_category, static_cast<uint32_t>(HELP_DEBUG_EDITOR));
  EXPECT_EQ(editor_title(&w->editor), cp866(" P (ОТЛАДКА) "));
  EXPECT_EQ(w->editor.bottom, DEBUG_SOURCE_BOTTOM);
  EXPECT_EQ(w->editor.right, DEBUG_SPLIT - 1);
  EXPECT_EQ(shell().current, w);
  ASSERT_NE(window_of_kind(KIND_MESSAGES), nullptr);
  ASSERT_NE(window_of_kind(KIND_LOCALS), nullptr);
  EXPECT_TRUE(screen_has("P (ОТЛАДКА)"));
  debug_facts_update();
  EXPECT_TRUE(w->in_debug);
  EXPECT_EQ(w->active_runs, 0);

  // Ctrl+F4 closes it again; the window goes back to the code editor's look.
  kernel.calls.clear();
  debug_command(w, KEY_CTRL_F4);
  EXPECT_EQ(kernel.sequence(), "2");
  EXPECT_EQ(w->editor.debug_procedure, -1);
  EXPECT_EQ(editor_title(&w->editor), " P ");
}

TEST_F(Debugging, CtrlF8MarksTheLineAndSendsTheBreakpoint) {
  WorkWindow* w = open_source(42, "P");
  debug_command(w, KEY_F4);
  kernel.calls.clear();
  editor_goto(&w->editor, 2, 0);
  const uint8_t plain = line_colour(w, 1);
  debug_command(w, KEY_CTRL_F8);
  ASSERT_EQ(kernel.sequence(), "20");
  EXPECT_EQ(kernel.calls[0].argument, 42u);
  BreakpointRequest sent;
  std::vector<uint8_t> data = kernel.calls[0].data;
  data.resize(BREAKPOINT_HEADER_SIZE);  // the trailing zeros do not travel
  ASSERT_EQ(breakpoint_request_read(data, &sent), 0);
  EXPECT_EQ(sent.line, 2u);
  EXPECT_EQ(sent.kind, BREAKPOINT_LINE);
  EXPECT_EQ(sent.number, 0);
  EXPECT_EQ(line_colour(w, 2), colour(ROLE_EDITOR_BREAKPOINT));
  EXPECT_EQ(line_colour(w, 1), plain);
  debug_command(w, KEY_CTRL_F8);
  EXPECT_EQ(kernel.sequence(), "20,21");
  EXPECT_NE(line_colour(w, 2), colour(ROLE_EDITOR_BREAKPOINT));
  EXPECT_TRUE(d().breakpoints.empty());
}

TEST_F(Debugging, F9RunsTheStatementAndTheStopMarksTheLine) {
  WorkWindow* w = open_source(42, "P");
  stop_at(42, 3);
  kernel.locals = locals_write(std::vector<LocalEntry>{{1, cp866("N"), wire_of(smallint(5))}});
  kernel.stack = call_stack_write(std::vector<StackEntry>{{42, 3, 9, EXEC_DEBUGGED | EXEC_WAITING_DEBUGGER}});
  debug_command(w, KEY_F9);
  // The session opens first; the parameter query finds none, so no dialog.
  const std::vector<PeerRequest> runs = kernel.proc(PROC_EXECUTE);
  ASSERT_EQ(runs.size(), 1u);
  EXPECT_EQ(runs[0].argument, 42u);
  const std::string statement(runs[0].data.begin() + 4, runs[0].data.end());
  EXPECT_EQ(statement, "execute \"P\"();");
  EXPECT_EQ(get_u16(runs[0].data.data() + 2), statement.size());
  EXPECT_NE(runs[0].flags & REQUEST_ASYNC, 0u);  // through the waiting request
  EXPECT_TRUE(log_has("---------- ... Исполнение ... -----------"));
  // The stop: the window current, its cursor and mark on the line, the locals shown.
  EXPECT_EQ(shell().current, w);
  EXPECT_EQ(w->editor.exec_line, 3);
  EXPECT_EQ(w->editor.line, 3);
  EXPECT_EQ(line_colour(w, 3), colour(ROLE_EDITOR_EXEC_LINE));
  EXPECT_FALSE(kernel.proc(PROC_LOCALS).empty());
  EXPECT_TRUE(screen_has("5 (SMALLINT)"));
  debug_facts_update();
  EXPECT_EQ(w->active_runs, 1);

  // F8 steps with the execution; the mark follows.
  kernel.calls.clear();
  stop_at(42, 4);
  debug_command(w, KEY_F8);
  ASSERT_EQ(kernel.proc(PROC_STEP).size(), 1u);
  EXPECT_EQ(kernel.proc(PROC_STEP)[0].argument, 9u);
  EXPECT_EQ(w->editor.exec_line, 4);
  EXPECT_NE(line_colour(w, 3), colour(ROLE_EDITOR_EXEC_LINE));

  // F9 again goes on (8) to the end: the box, the value under its heading, no mark.
  kernel.calls.clear();
  kernel.states.push_back(state_answer({42, 9, 4, EXEC_FINISHED, 0, 0}, wire_of(smallint(4))));
  debug_command(w, KEY_F9);
  EXPECT_EQ(kernel.sequence().find("5"), std::string::npos);
  ASSERT_EQ(kernel.proc(PROC_RUN).size(), 1u);
  EXPECT_TRUE(log_has("Процедура/триггер 'P' завершилась"));
  EXPECT_TRUE(log_has("Возвращаемое значение"));
  EXPECT_TRUE(log_has("4 (SMALLINT)"));
  EXPECT_TRUE(manager_finished_text().empty());  // the box was shown
  EXPECT_EQ(w->editor.exec_line, NO_LINE);
  debug_facts_update();
  EXPECT_EQ(w->active_runs, 0);
}

TEST_F(Debugging, TraceOpensTheCalledProcedureAndRunToReturnComesBack) {
  WorkWindow* p = open_source(42, "P");
  stop_at(42, 2);
  debug_command(p, KEY_F9);
  kernel.calls.clear();
  stop_at(43, 2);
  debug_command(p, KEY_F7);
  ASSERT_EQ(kernel.proc(PROC_TRACE).size(), 1u);
  // Q had no window: one is opened from its stored text, current and marked.
  WorkWindow* q = source_window_of(43);
  ASSERT_NE(q, nullptr);
  EXPECT_EQ(shell().current, q);
  EXPECT_EQ(q->editor.exec_line, 2);
  EXPECT_EQ(p->editor.exec_line, NO_LINE);
  EXPECT_EQ(std::string(q->editor.name), "Q");
  EXPECT_TRUE(screen_has("print 'q';"));
  EXPECT_FALSE(q->store.id_known);  // a procedure, which F9 may start

  kernel.calls.clear();
  stop_at(42, 3);
  debug_command(q, KEY_SHIFT_F10);
  ASSERT_EQ(kernel.proc(PROC_RUN_TO_RETURN).size(), 1u);
  EXPECT_EQ(shell().current, p);
  EXPECT_EQ(p->editor.exec_line, 3);
  EXPECT_EQ(q->editor.exec_line, NO_LINE);
}

TEST_F(Debugging, EscDuringAWaitInterruptsAndAbortsTheRun) {
  WorkWindow* w = open_source(42, "P");
  stop_at(42, 2);
  debug_command(w, KEY_F9);
  kernel.calls.clear();
  kernel.hold = true;  // the step does not come back until a KILL
  virtual_console_push_key(0, 0x01, 0x1B);
  debug_command(w, KEY_F8);
  // Then the open sessions are asked for again.
  EXPECT_EQ(kernel.sequence(), "6,OPEN,KILL,CLOS,27,1");
  EXPECT_EQ(kernel.calls[4].argument, 9u);
  EXPECT_TRUE(log_has("---------- Операция прервана  -----------"));
  EXPECT_EQ(d().current_execution, EXECUTION_NONE);
  EXPECT_EQ(w->editor.exec_line, NO_LINE);
  EXPECT_FALSE(screen_has(" Ожидание ответа от сервера БД"));
}

TEST_F(Debugging, TheWaitingWindowShowsOnlyWhenTheAnswerIsSlow) {
  const int writes = virtual_console_write_count();
  manager_wait_shown(nullptr, true);
  for (int i = 0; i < 5; ++i) EXPECT_FALSE(manager_interrupt_wanted(nullptr));
  manager_wait_shown(nullptr, false);
  EXPECT_EQ(virtual_console_write_count(), writes);  // a quick answer leaves the screen alone
  EXPECT_FALSE(screen_has(" Ожидание ответа от сервера БД"));

  manager_wait_shown(nullptr, true);
  for (int i = 0; i < 30; ++i) manager_interrupt_wanted(nullptr);
  EXPECT_TRUE(screen_has(" Ожидание ответа от сервера БД"));
  EXPECT_TRUE(screen_has("<ESC> - прервать"));
  // Keys other than Esc are dropped; Esc asks for the end.
  virtual_console_push_key(0, 0x1E, 'a');
  EXPECT_FALSE(manager_interrupt_wanted(nullptr));
  EXPECT_EQ(virtual_console_pending(), 0);
  virtual_console_push_key(0, 0x01, 0x1B);
  EXPECT_TRUE(manager_interrupt_wanted(nullptr));
  manager_wait_shown(nullptr, false);
  EXPECT_FALSE(screen_has(" Ожидание ответа от сервера БД"));
}

TEST_F(Debugging, ARefusedStatementIsShownWithItsPlace) {
  WorkWindow* w = open_source(42, "P");
  kernel.special = [this](const PeerRequest& r, RequestBlock* b, uint8_t* answer, uint32_t* code) {
    if (r.command == "PROC" && r.position == PROC_EXECUTE) {
      b->system_code = 9u * 65536u;
      *code = 2002;
      return true;
    }
    return catalogue(r, b, answer, code);
  };
  debug_command(w, KEY_F9);
  EXPECT_TRUE(log_has("Ошибка в запросе 2002 (проверьте параметры)"));
  EXPECT_EQ(d().current_execution, EXECUTION_NONE);
  EXPECT_EQ(shell().current, w);
}

TEST_F(Debugging, CtrlF9WaitsForTheWindowsProcedure) {
  WorkWindow* w = open_source(42, "P");
  stop_at(42, 1);
  debug_command(w, KEY_CTRL_F9);
  const std::vector<PeerRequest> waits = kernel.proc(PROC_WAIT_FOR_CALL);
  ASSERT_EQ(waits.size(), 1u);
  EXPECT_EQ(waits[0].argument, 42u);
  EXPECT_TRUE(log_has("---------- ...  Ожидание  ... -----------"));
  EXPECT_EQ(w->editor.exec_line, 1);
  // With an execution of its own the window does not wait again.
  kernel.calls.clear();
  debug_command(w, KEY_CTRL_F9);
  EXPECT_TRUE(kernel.calls.empty());
}

TEST_F(Debugging, AnotherProceduresRunIsRefused) {
  WorkWindow* p = open_source(42, "P");
  stop_at(42, 2);
  debug_command(p, KEY_F9);
  WorkWindow* q = open_source(43, "Q");
  debug_command(q, KEY_F9);
  // Q's session opens, but no statement is sent while P is debugged.
  EXPECT_TRUE(kernel.proc(PROC_EXECUTE).empty());
  EXPECT_EQ(d().current_execution, 9);
}

TEST_F(Debugging, ATriggerWindowCannotStartButWaits) {
  // 43 is the action of the trigger AUDIT here: its window is named after the trigger.
  kernel.special = [this](const PeerRequest& r, RequestBlock* b, uint8_t* answer, uint32_t* code) {
    if (r.command == "SLCT" && r.buffer2 == "select $$$name from system.$$$trig where $$$proc = 43;") {
      std::vector<uint8_t> field(NAME_BYTES);
      name_field_put(field, "AUDIT");
      *code = FakeKernel::reply(b, answer, field);
      return true;
    }
    return catalogue(r, b, answer, code);
  };
  WorkWindow* t = open_stored_window(43, cp866("Trigger #1"));
  ASSERT_NE(t, nullptr);
  EXPECT_TRUE(t->store.id_known);
  EXPECT_EQ(std::string(t->editor.name), "AUDIT");
  kernel.calls.clear();
  debug_facts_update();
  EXPECT_TRUE(t->cannot_start);
  debug_command(t, KEY_F9);
  EXPECT_TRUE(kernel.calls.empty());
  stop_at(43, 2);
  debug_command(t, KEY_CTRL_F9);
  EXPECT_EQ(kernel.proc(PROC_WAIT_FOR_CALL).size(), 1u);
  debug_facts_update();
  EXPECT_FALSE(t->cannot_start);  // stopped: F9 goes on
}

TEST_F(Debugging, ClosingAStoppedWindowAsksAndEndsTheRun) {
  WorkWindow* w = open_source(42, "P");
  stop_at(42, 2);
  debug_command(w, KEY_F9);
  kernel.calls.clear();
  shell().current = w;
  // "No" keeps the window and the run.
  virtual_console_push_key(0, 0x4D, 0);  // Right: to " Нет "
  virtual_console_push_key(0, 0x1C, 0x0D);
  EXPECT_EQ(close_current_window(), 0);
  EXPECT_TRUE(kernel.calls.empty());
  // "Yes" stops it (10) and closes the session (2).
  kernel.states.push_back(state_answer({42, 9, 2, EXEC_FINISHED, 0, 0}));
  virtual_console_push_key(0, 0x1C, 0x0D);
  EXPECT_EQ(close_current_window(), 1);
  EXPECT_EQ(kernel.sequence(), "10,13,2");
  EXPECT_EQ(source_window_of(42), nullptr);
}

// P has one input parameter, A integer default 7.
class DebuggingWithParameters : public DebuggingTest {
 protected:
  uint32_t params_answer(RequestBlock* b, uint8_t* answer) override {
    ParamRow row{};
    std::memset(row.name, ' ', sizeof row.name);
    row.name[0] = 'A';
    row.type = PARAM_TYPE_INTEGER;
    row.length = 4;
    const int32_t seven = 7;
    std::memcpy(row.default_value, &seven, sizeof seven);
    param_row_write(row, {answer, ROW_PARAM});
    b->argument = 1;
    b->answer_length = ROW_PARAM;
    return 0;
  }
};

TEST_F(DebuggingWithParameters, F9AsksForTheParametersFirst) {
  WorkWindow* w = open_source(42, "P");
  stop_at(42, 2);
  // The default is edited in the dialog, Enter runs.
  virtual_console_push_key(0, 0x4F, 0);     // End
  virtual_console_push_key(0, 0x1E, '0');
  virtual_console_push_key(0, 0x1C, 0x0D);
  debug_command(w, KEY_F9);
  const std::vector<PeerRequest> runs = kernel.proc(PROC_EXECUTE);
  ASSERT_EQ(runs.size(), 1u);
  EXPECT_EQ(std::string(runs[0].data.begin() + 4, runs[0].data.end()), "execute \"P\"(70);");
  EXPECT_EQ(w->editor.exec_line, 2);

  // Cancelling the dialog sends nothing (the run ended first).
  kernel.states.push_back(state_answer({42, 9, 4, EXEC_FINISHED, 0, 0}));
  debug_command(w, KEY_F9);
  kernel.calls.clear();
  virtual_console_push_key(0, 0x01, 0x1B);
  debug_command(w, KEY_F9);
  EXPECT_TRUE(kernel.proc(PROC_EXECUTE).empty());
  EXPECT_EQ(kernel.sequence(), "SLCT,GETN");  // the parameter query only
}

}  // namespace
}  // namespace tavrel
