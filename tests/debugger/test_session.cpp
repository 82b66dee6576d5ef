// Processing of state records (finished, exceptions, return values, debugger errors), the
// waiting request with its polling and interruption, and the statement errors of a run.
#include "debug_peer.h"
#include "debugger/texts.h"

namespace tavrel {
namespace {

using States = DebuggerTest;

TEST_F(States, AFinishedRecordWithAnExceptionShowsTheEndAndTheValue) {
  stopped_p();
  d.started = true;
  kernel.printed = {cp866("готово")};
  kernel.states.push_back(state_answer({42, 9, 7, EXEC_FINISHED, EXCEPTION_APPLICATIONERROR, 0}, wire_of(smallint(5))));
  ASSERT_EQ(debugger_step(d, PROC_RUN), 0);
  ASSERT_EQ(notes.size(), 5u);
  EXPECT_EQ(notes[0].kind, NOTE_PRINTED);
  EXPECT_EQ(notes[0].text, "готово");
  EXPECT_EQ(notes[1].text, "-----------------------------------------");
  EXPECT_EQ(notes[2].kind, NOTE_FINISHED);
  EXPECT_EQ(notes[2].text, "Процедура/триггер 'P' завершилась");
  EXPECT_EQ(notes[3].kind, NOTE_EXCEPTION);
  EXPECT_EQ(notes[3].text, "Передано состояние исключения APPLICATIONERROR");
  EXPECT_EQ(notes[4].kind, NOTE_RETURN_VALUE);
  EXPECT_EQ(notes[4].text, "Возвращаемое значение");
  EXPECT_EQ(notes[4].detail, "5 (SMALLINT)");
  EXPECT_EQ(d.current_execution, EXECUTION_NONE);
  EXPECT_FALSE(d.debugging);
  EXPECT_FALSE(d.started);
  EXPECT_EQ(session_find(d, 42)->execution, 0);
  EXPECT_EQ(session_find(d, 42)->marked_line, -1);
  EXPECT_EQ(d.last.outcome, RUN_FINISHED);
}

TEST_F(States, AProcedureWithoutResultEndsWithoutAValue) {
  stopped_p();
  kernel.states.push_back(state_answer({42, 9, 7, EXEC_FINISHED, 0, 0}));
  ASSERT_EQ(debugger_step(d, PROC_STEP), 0);
  EXPECT_TRUE(note_texts(NOTE_RETURN_VALUE).empty());
  EXPECT_TRUE(note_texts(NOTE_EXCEPTION).empty());
  EXPECT_FALSE(d.last.has_result);
}

TEST_F(States, ExceptionsOfAStopAreNamedOrCustom) {
  stopped_p();
  const int16_t codes[] = {40, -5, EXCEPTION_DIVZERO, EXCEPTION_TRANSACTION_STATE};
  for (int16_t code : codes) {
    kernel.states.push_back(state_answer({42, 9, 3, EXEC_DEBUGGED | EXEC_WAITING_DEBUGGER, code, 0}));
    ASSERT_EQ(debugger_step(d, PROC_STEP), 0);
  }
  EXPECT_EQ(note_texts(NOTE_EXCEPTION),
            (std::vector<std::string>{"Состояние исключения CUSTOM (40)", "Состояние исключения CUSTOM (-5)",
                                      "Состояние исключения DIVZERO",
                                      "Состояние исключения Invalid transaction state"}));
  EXPECT_EQ(d.current_execution, 9);  // an exception stops, it does not end
}

TEST_F(States, DebuggerErrorsAreReportedWithTheirTexts) {
  stopped_p();
  kernel.fail_next[PROC_STEP] = {KERNEL_DEBUGGER_ERROR, 99};
  EXPECT_EQ(debugger_step(d, PROC_STEP), static_cast<int>(KERNEL_DEBUGGER_ERROR));
  ASSERT_EQ(notes.size(), 1u);
  EXPECT_EQ(notes[0].kind, NOTE_KERNEL_ERROR);
  EXPECT_EQ(notes[0].code, KERNEL_DEBUGGER_ERROR);
  EXPECT_EQ(notes[0].text, "Код возврата Таврела 7204");
  // Another debugger error keeps the execution: the procedure may still wait for us.
  EXPECT_EQ(d.current_execution, 9);
  EXPECT_FALSE(d.debugging);

  // "Session not open" and "not waiting" end it, and so does any other kernel error.
  kernel.fail_next[PROC_STEP] = {KERNEL_DEBUGGER_ERROR, DEBUGGER_NOT_WAITING};
  debugger_step(d, PROC_STEP);
  EXPECT_EQ(notes.back().text, "Процедура не находится в ожидании команды от отладчика");
  EXPECT_EQ(d.current_execution, EXECUTION_NONE);
  EXPECT_EQ(cp866_to_utf8(debugger_error_text(0)), "Код возврата Таврела 7204");
}

TEST_F(States, AnAnswerShorterThanAStateRecordIsAFailedExchange) {
  stopped_p();
  kernel.states.push_back(std::vector<uint8_t>(EXEC_STATE_SIZE - 1, 1));
  EXPECT_EQ(debugger_step(d, PROC_STEP), static_cast<int>(CHANNEL_EXCHANGE_FAILED));
  ASSERT_EQ(notes.size(), 1u);
  EXPECT_EQ(notes[0].code, CHANNEL_EXCHANGE_FAILED);
  EXPECT_EQ(d.current_execution, EXECUTION_NONE);
  EXPECT_EQ(kernel.sequence(), "6");  // nothing more is asked
}

TEST_F(States, TheWaitingRequestPollsUntilTheAnswerComes) {
  stopped_p();
  g_wait_shows = 0;
  kernel.pending_polls = 4;
  kernel.states.push_back(state_answer({42, 9, 4, EXEC_DEBUGGED | EXEC_WAITING_DEBUGGER, 0, 0}));
  ASSERT_EQ(debugger_step(d, PROC_STEP), 0);
  EXPECT_EQ(kernel.polls, 4);
  EXPECT_EQ(g_wait_shows, 2);  // shown, then hidden
  EXPECT_EQ(d.last.outcome, RUN_STOPPED);
  EXPECT_EQ(d.last.state.line, 4u);
}

TEST_F(States, EndingAWaitKillsTheRequestAndAbortsTheStartedRun) {
  stopped_p();
  d.started = true;
  kernel.hold = true;
  g_interrupt_after = 3;
  EXPECT_EQ(debugger_step(d, PROC_STEP), DBG_INTERRUPTED);
  // The step, a further channel for KILL naming the main channel, its close, the abort of the
  // execution, and the open sessions asked for again.
  EXPECT_EQ(kernel.sequence(), "6,OPEN,KILL,CLOS,27,1");
  const PeerRequest kill = kernel.calls[2];
  EXPECT_EQ(kill.position, 3u);
  EXPECT_EQ(kill.channel, 7u);  // on the further channel
  EXPECT_EQ(kernel.calls[4].argument, 9u);
  EXPECT_EQ(kernel.calls[4].room, 0);
  EXPECT_EQ(block.channel, 3u);  // the main block keeps its session
  EXPECT_EQ(block.flags & REQUEST_ASYNC, 0u);
  EXPECT_EQ(note_texts(NOTE_LINE), std::vector<std::string>{"---------- Операция прервана  -----------"});
  EXPECT_EQ(d.current_execution, EXECUTION_NONE);
  EXPECT_FALSE(d.started);
  EXPECT_EQ(d.last.outcome, RUN_INTERRUPTED);
}

TEST_F(States, AnInterruptedWaitThatStartedNothingAbortsNothing) {
  DebugSession& s = open_p();
  kernel.hold = true;
  g_interrupt_after = 0;
  EXPECT_EQ(debugger_wait_for(d, s), DBG_INTERRUPTED);
  EXPECT_EQ(kernel.sequence(), "16,OPEN,KILL,CLOS");
}

TEST_F(States, AStatementErrorShowsTheStatementAndThePosition) {
  DebugSession& s = open_p();
  kernel.fail_next[PROC_EXECUTE] = {2001, 14 * 65536};
  const std::string statement = "execute \"P\"(x);";
  EXPECT_EQ(debugger_run(d, s, statement), 2001);
  const auto errors = note_texts(NOTE_QUERY_ERROR);
  ASSERT_EQ(errors.size(), 1u);
  EXPECT_EQ(errors[0], "Ошибка в запросе 2001 (проверьте параметры)");
  EXPECT_EQ(notes.back().detail, statement);
  EXPECT_EQ(notes.back().position, 14u);
  EXPECT_FALSE(d.started);
  EXPECT_FALSE(d.debugging);
}

TEST_F(States, OnlyOneProcedureIsDebuggedAtATime) {
  stopped_p();
  DebugSession* q = nullptr;
  EXPECT_EQ(session_open(d, "Q", 0, true, &q), DBG_REFUSED);
  EXPECT_EQ(note_texts(NOTE_MESSAGE), std::vector<std::string>{"Другая процедура находится в состоянии отладки"});
  EXPECT_TRUE(kernel.calls.empty());
  // A stopped procedure's session is not closed under it.
  EXPECT_EQ(session_close(d, *session_find(d, 42)), DBG_REFUSED);
}

}  // namespace
}  // namespace tavrel
