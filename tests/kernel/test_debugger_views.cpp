// What a client reads of executions through the kernel's debugger: values of every type read
// and assigned in their wire form, the stack and locals of every frame of a parked chain, the
// active list across portions and past a thousand entries, and aborts of a parked run and of
// a running loop.
#include <cstring>

#include "debugger_fixture.h"
#include "values/decimal.h"
#include "values/value_wire.h"

namespace tavrel {
namespace {

using Views = DebuggerKernel;

std::vector<uint8_t> wire(const Value& v) {
  std::vector<uint8_t> out;
  value_wire_put(v, &out);
  return out;
}

// The procedure id of a unit by name.
uint32_t proc_id_of(RequestBlock* b, const char* name) {
  const std::string id =
      kernel_select(b, std::string("select \"$$$ID\" from \"$$$PROC\" where \"$$$NAME\" = '") + name + "';");
  return static_cast<uint32_t>(std::stoul(id));
}

TEST_F(Views, ValuesOfEveryTypeAreReadAndAssignedInTheirWireForm) {
  ASSERT_EQ(run({"open ALLV", "break ALLV 7", "run execute \"ALLV\"();"}),
            "breakpoint 1\nstopped ALLV line 7 breakpoint 1\n");
  const uint16_t exec = d.current_execution;
  const uint8_t bytes[] = {3, 0, 0x0A, 0x1F, 0x00};
  const uint16_t wide[] = {0x042E, 0x043D, 0x0438, 0};
  struct Case {
    uint16_t number;  // S I B R D N L C T Y W: 1 .. 11
    Value value;
  } cases[] = {
      {1, make_smallint(-12)},
      {2, make_integer(100000)},
      {3, make_bigint(5000000000)},
      {4, make_real(1.5f)},
      {5, make_double(2.25)},
      {6, make_numeric(decimal_from_text("12.345"))},  // 17 bytes: read again with more room
      {7, make_bool(true)},
      {8, make_char("abc")},
      {9, make_date(DateRecord{734201, 3642000})},
      {10, make_byte(bytes)},
      {11, make_nchar(wide)},
  };
  for (const Case& c : cases) {
    const std::vector<uint8_t> sent = wire(c.value);
    ASSERT_EQ(request_assign_variable(d, exec, c.number, sent), 0) << c.number;
    std::vector<uint8_t> back;
    ASSERT_EQ(request_read_variable(d, exec, c.number, &back), 0) << c.number;
    EXPECT_EQ(back, sent) << c.number;
  }
  // Values take the declared type: a number of another type is converted, a text is cut to
  // CHAR(10), NULL is NULL; a text for a number and any value for a cursor are refused.
  std::vector<uint8_t> back;
  ASSERT_EQ(request_assign_variable(d, exec, 1, wire(make_integer(300))), 0);
  ASSERT_EQ(request_read_variable(d, exec, 1, &back), 0);
  EXPECT_EQ(back, wire(make_smallint(300)));
  ASSERT_EQ(request_assign_variable(d, exec, 8, wire(make_char("abcdefghijklmno"))), 0);
  ASSERT_EQ(request_read_variable(d, exec, 8, &back), 0);
  EXPECT_EQ(back, wire(make_char("abcdefghij")));
  ASSERT_EQ(request_assign_variable(d, exec, 3, wire(make_null())), 0);
  ASSERT_EQ(request_read_variable(d, exec, 3, &back), 0);
  EXPECT_EQ(back, std::vector<uint8_t>{TYPE_NULL});
  EXPECT_EQ(request_assign_variable(d, exec, 2, wire(make_char("7"))), static_cast<int>(KERNEL_DEBUGGER_ERROR));
  EXPECT_EQ(main_.system_code, DEBUGGER_BAD_PARAMETER);
  ASSERT_EQ(request_read_variable(d, exec, 12, &back), 0);
  EXPECT_EQ(back, std::vector<uint8_t>{TYPE_CURSOR});
  EXPECT_EQ(request_assign_variable(d, exec, 12, wire(make_integer(1))), static_cast<int>(KERNEL_DEBUGGER_ERROR));
  EXPECT_EQ(request_assign_variable(d, exec, 13, wire(make_integer(1))), static_cast<int>(KERNEL_DEBUGGER_ERROR));
  // The return value before the return: NULL.
  ASSERT_EQ(request_read_variable(d, exec, VARIABLE_NONE, &back), 0);
  EXPECT_EQ(back, std::vector<uint8_t>{TYPE_NULL});
  // The evaluator's assignments go the same way; the procedure then sees every value.
  EXPECT_EQ(run({"set B 6 * 7", "set L 1 > 2", "continue"}),
            "finished ALLV\n"
            "Возвращаемое значение: {1|100000|42|1.5|2.25|      12.345|FALSE|abcdefghij|"
            "05.03.2011:10:07:00.00|0a1f00|Юни} (STRING)\n");
  EXPECT_EQ(tool.err, "");
}

TEST_F(Views, StackAndLocalsOfEveryFrameOfAParkedChain) {
  ASSERT_EQ(run({"open INNER", "break INNER 4", "run execute \"OUTER\"(2);"}),
            "breakpoint 1\nstopped INNER line 4 breakpoint 1\n");
  EXPECT_EQ(run({"stack", "locals", "frame 1", "locals", "print I + N * 10"}),
            "#0 INNER line 4\n"
            "#1 OUTER line 8\n"
            "{ X } = 1 (INTEGER)\n"
            "{ ACC } = 1 (INTEGER)\n"
            "#1 OUTER line 8\n"
            "{ N } = 2 (INTEGER)\n"
            "{ R } = 0 (INTEGER)\n"
            "{ I } = 1 (INTEGER)\n"
            "21 (INTEGER)\n");
  // The stack asked from the caller's execution starts there; both frames are stopped.
  const uint16_t inner = d.views.stack[0].execution_id;
  const uint16_t outer = d.views.stack[1].execution_id;
  ASSERT_EQ(proc(PROC_CALL_STACK, outer, {}, PROC_ANSWER), 0);
  std::vector<StackEntry> frames;
  ASSERT_EQ(call_stack_read({d.answer.data(), main_.answer_length}, &frames), 0);
  ASSERT_EQ(frames.size(), 1u);
  EXPECT_EQ(frames[0].execution_id, outer);
  EXPECT_EQ(frames[0].flags, EXEC_DEBUGGED);
  EXPECT_EQ(d.views.stack[0].flags, PARKED | EXEC_AT_BREAKPOINT);
  // Locals longer than the room: 1014 with the length they need.
  EXPECT_EQ(proc(PROC_LOCALS, inner, {}, 8), static_cast<int>(CHANNEL_ANSWER_TOO_LONG));
  EXPECT_GT(main_.answer_length, 8u);
  EXPECT_EQ(run({"continue"}),
            "stopped INNER line 4 breakpoint 1\n");
  EXPECT_EQ(run({"stop"}), "finished OUTER\n");
  EXPECT_EQ(tool.err, "");
}

TEST_F(Views, TheActiveListGoesPastOnePortionAndPastAThousandEntries) {
  // The engine allows 150 nested calls a session: eight sessions, each 141 deep, sleeping at
  // the bottom, hold 1128 executions.
  constexpr int SESSIONS = 8;
  constexpr int DEPTH = 140;
  constexpr size_t TOTAL = SESSIONS * (DEPTH + 1);
  std::vector<RequestBlock*> blocks;
  std::vector<std::vector<char>> answers(SESSIONS);
  for (int i = 0; i < SESSIONS; ++i) {
    blocks.push_back(another());
    start_statement(blocks.back(), "execute \"REC\"(" + std::to_string(DEPTH) + ");", &answers[i]);
  }
  RequestBlock* watcher = another();
  int portions = 0;
  std::vector<ActiveEntry> list;
  do {
    list = active_entries(watcher, &portions);
  } while (list.size() < TOTAL);
  ASSERT_EQ(list.size(), TOTAL);
  EXPECT_EQ(portions, 5);  // 272 entries a 4096-byte portion
  const uint32_t rec = proc_id_of(&sql_, "REC");
  int tops = 0;
  for (size_t i = 0; i < list.size(); ++i) {
    const ActiveEntry& e = list[i];
    EXPECT_EQ(e.procedure_id, rec);
    EXPECT_EQ(e.flags, 0u);  // running, not debugged
    if (i > 0) {
      EXPECT_GT(e.execution_id, list[i - 1].execution_id);
    }
    if (e.caller == ACTIVE_CALLER_OUTSIDE) {
      ++tops;
      continue;
    }
    // Every other one was called by an execution in the list, which used a quantum for it.
    const auto caller = std::find_if(list.begin(), list.end(), [&](const ActiveEntry& c) { return c.execution_id == e.caller; });
    ASSERT_NE(caller, list.end());
    EXPECT_EQ(caller->quanta, 1u);
  }
  EXPECT_EQ(tops, SESSIONS);
  // The library stops past a thousand and says why.
  run({"active"});
  EXPECT_NE(tool.err.find("Слишком много контекстов исполнения процедур."), std::string::npos);
  EXPECT_GT(tool.active.count, ACTIVE_LIST_MAX);
  EXPECT_LT(tool.active.count, TOTAL);
  for (RequestBlock* b : blocks) {
    ASSERT_EQ(kill(watcher, b->channel), 0u);
    EXPECT_EQ(finish_statement(b), KERNEL_INTERRUPTED);
  }
  EXPECT_TRUE(active_entries(watcher).empty());
}

TEST_F(Views, AbortEndsAParkedRunAndARunningLoop) {
  const std::string stopped = run({"break OUTER 5", "run execute \"OUTER\"(1);", "active"});
  ASSERT_EQ(stopped, "breakpoint 1\n"
                     "stopped OUTER line 5 breakpoint 1\n" +
                         std::to_string(d.current_execution) + " OUTER Отлаживается; Ожидание отладчика 0 Извне\n");
  ASSERT_EQ(run({("abort " + std::to_string(d.current_execution)).c_str()}), "");
  RequestBlock* watcher = another();
  while (!active_entries(watcher).empty()) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  // The internal channel is free again; nothing of the aborted run was stored.
  EXPECT_EQ(run({"run execute \"OUTER\"(1);", "stop"}), "stopped OUTER line 5 breakpoint 1\nfinished OUTER\n");
  EXPECT_EQ(kernel_select(&sql_, "select count(*) from LOG;"), "0");

  // A loop that runs on another session, not debugged.
  RequestBlock* spinner = another();
  std::vector<char> answer;
  start_statement(spinner, "execute \"SPIN\"();", &answer);
  const uint32_t spin = proc_id_of(&sql_, "SPIN");
  const std::vector<ActiveEntry> list =
      await_active(watcher, [spin](const ActiveEntry& e) { return e.procedure_id == spin && e.quanta > 0; });
  const auto entry = std::find_if(list.begin(), list.end(), [spin](const ActiveEntry& e) { return e.procedure_id == spin; });
  ASSERT_EQ(run({("abort " + std::to_string(entry->execution_id)).c_str()}), "");
  EXPECT_EQ(finish_statement(spinner), KERNEL_INTERRUPTED);
  // An execution that is gone is no execution.
  EXPECT_EQ(request_abort(d, entry->execution_id), static_cast<int>(KERNEL_DEBUGGER_ERROR));
  EXPECT_EQ(main_.system_code, DEBUGGER_BAD_PROCEDURE_ID);
  EXPECT_EQ(tool.err, "");
}

}  // namespace
}  // namespace tavrel
