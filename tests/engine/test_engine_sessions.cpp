// Executions seen from other threads: KILL of a loop and of a SLEEP, two sessions running at
// once, the table of executions with their ids, lines and callers.
#include <atomic>
#include <thread>

#include "engine_fixture.h"
#include "kernel/engine/executions.h"

namespace tavrel::kernel {
namespace {

// Waits (without a time limit of its own: the test's label gives one) until pred holds.
template <typename Pred>
void wait_until(Pred pred) {
  while (!pred()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

TEST_F(EngineTest, InterruptEndsAnEndlessLoopAndTheSessionGoesOn) {
  ASSERT_EQ(store(R"(create procedure SPIN(out N bigint)
code N := 0; while TRUE loop N := N + 1; endloop; end;)"), 0u);
  std::atomic<uint32_t> code{1};
  std::thread t([&] { code = run("SPIN"); });
  wait_until([] { return !executions_list().empty(); });
  engine_interrupt(es_);
  t.join();
  EXPECT_EQ(code.load(), KERNEL_INTERRUPTED);
  EXPECT_TRUE(executions_list().empty());
  ASSERT_EQ(store("create procedure OK(out X integer) code X := 2; end;"), 0u);
  ASSERT_EQ(run("OK"), 0u);
  EXPECT_EQ(output("X"), "2");
}

TEST_F(EngineTest, InterruptWakesASleep) {
  ASSERT_EQ(store("create procedure NAP code sleep 3600; end;"), 0u);
  std::atomic<uint32_t> code{1};
  std::thread t([&] { code = run("NAP"); });
  wait_until([] { return !executions_list().empty(); });
  engine_interrupt(es_);
  t.join();
  EXPECT_EQ(code.load(), KERNEL_INTERRUPTED);
}

TEST_F(EngineTest, ExecutionRecordsShowCallersAndLines) {
  ASSERT_EQ(store(R"(create procedure LEAF
code
  sleep 3600;
end;)"), 0u);
  ASSERT_EQ(store(R"(create procedure ROOT
code
  call LEAF();
end;)"), 0u);
  std::thread t([&] { run("ROOT"); });
  wait_until([] { return executions_list().size() == 2; });
  const std::vector<ExecSnapshot> list = executions_list();
  const ExecSnapshot& root = list[0].caller == EXEC_NONE ? list[0] : list[1];
  const ExecSnapshot& leaf = list[0].caller == EXEC_NONE ? list[1] : list[0];
  EXPECT_EQ(leaf.caller, root.id);
  EXPECT_EQ(root.line, 2);  // lines from 0 of the stored text
  EXPECT_EQ(leaf.line, 2);
  EXPECT_EQ(root.quanta, 1u);  // one call made
  engine_interrupt(es_);
  t.join();
}

TEST_F(EngineTest, TwoSessionsRunAtOnce) {
  ASSERT_EQ(store(R"(create procedure SUM_TO(in N bigint, out S bigint)
declare var I bigint default 1;
code S := 0; while I <= N loop S := S + I; I := I + 1; endloop; end;)"), 0u);
  std::string error;
  sqlite3* db2 = storage_connect(path_, &error);
  ASSERT_NE(db2, nullptr);
  EngineSession* es2 = engine_session_open(db2, "TESTER", "testdb");
  ExecOutcome out2;
  uint32_t code2 = 1;
  std::thread t([&] {
    CallRequest call;
    call.procedure = "SUM_TO";
    call.args.push_back(CallLiteral{LiteralKind::NUMBER, "200000", false, 0});
    uint32_t pos = 0;
    for (int k = 0; k < 5 && code2 != 0xFFFF; ++k) code2 = engine_execute(es2, call, &out2, &pos);
  });
  for (int k = 0; k < 5; ++k) {
    ASSERT_EQ(run("SUM_TO", {"100000"}), 0u);
    EXPECT_EQ(output("S"), "5000050000");
  }
  t.join();
  EXPECT_EQ(code2, 0u);
  ASSERT_EQ(out2.outputs.size(), 1u);
  EXPECT_EQ(wire_text(out2.outputs[0].wire), "20000100000");
  engine_session_close(es2);
  storage_disconnect(db2);
}

}  // namespace
}  // namespace tavrel::kernel
