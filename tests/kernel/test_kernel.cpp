// The channel against a real tavrel-kernel in a private run directory: logging on, statements,
// long requests and answers, KILL, concurrent clients, a second kernel, malformed frames, and
// the kernel dying while a request waits or while the channel is idle.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "channel/channel.h"
#include "kernel_fixture.h"

namespace tavrel {
namespace {

namespace fs = std::filesystem;

class Kernel : public KernelTest {
 protected:
  void SetUp() override { start("tavrel-test"); }
  void TearDown() override {
    channel_shutdown();
    finish();
  }

  ChildProcess* start_kernel(const char* name = nullptr, int* status = nullptr) {
    return kernel_start(rundir, name, status);
  }
  static void stop_kernel(ChildProcess* other) { kernel_stop(other); }

  static RequestBlock block(const char* command, uint16_t capacity = 0) { return kernel_block(command, capacity); }
  static uint32_t open(RequestBlock* b, const char* connect = "\"DEMO\"/\"DEMO\"") { return kernel_open(b, connect); }
  static std::string select(RequestBlock* b, const std::string& sql, uint32_t* code = nullptr) {
    return kernel_select(b, sql, code);
  }
};

TEST_F(Kernel, LogsOnAndRefusesUnknownUsersAndWrongPasswords) {
  struct Case {
    const char* connect;
    uint32_t code;
  } cases[] = {
      {"\"DEMO\"/\"DEMO\"", 0},
      {"\"demo\"/\"DEMO\"", 0},
      {"\"NOBODY\"/\"DEMO\"", KERNEL_UNKNOWN_USER},
      {"\"DEMO\"/\"demo\"", KERNEL_WRONG_PASSWORD},
      {"DEMO/DEMO", 1074},
  };
  for (const Case& c : cases) {
    RequestBlock b;
    EXPECT_EQ(open(&b, c.connect), c.code) << c.connect;
    if (c.code == 0) {
      EXPECT_NE(b.channel, 0) << c.connect;
    } else {
      EXPECT_EQ(b.channel, 0) << c.connect;
    }
  }
}

TEST_F(Kernel, SessionRunsStatementsAndEndsWithClos) {
  RequestBlock b;
  ASSERT_EQ(open(&b), 0u);
  std::memcpy(b.command, "    ", 4);
  ASSERT_EQ(channel_call(&b, nullptr, "create table T(A text); insert into T values('x'), ('y');", nullptr, nullptr), 0u);
  EXPECT_EQ(b.argument, 2u);
  EXPECT_EQ(select(&b, "select A from T order by A;"), "x|y");
  EXPECT_EQ(b.argument, 2u);
  EXPECT_EQ(select(&b, "select DNAME from DEPT where DEPTNO = 40;"), "ОПЕРАЦИИ");

  uint32_t code;
  select(&b, "select * from MISSING;", &code);
  EXPECT_EQ(code, 2001u);
  std::vector<char> text(4096);
  std::memcpy(b.command, "GETE", 4);
  b.position = 2001;
  b.answer_length = 4096;
  ASSERT_EQ(channel_call(&b, nullptr, nullptr, nullptr, text.data()), 0u);
  EXPECT_NE(std::string(text.data(), b.answer_length).find("MISSING"), std::string::npos);

  const uint16_t channel = b.channel;
  std::memcpy(b.command, "CLOS", 4);
  EXPECT_EQ(channel_call(&b, nullptr, nullptr, nullptr, nullptr), 0u);
  EXPECT_EQ(b.channel, 0);
  b.channel = channel;
  select(&b, "select 1;", &code);
  EXPECT_EQ(code, 1069u);
}

TEST_F(Kernel, LongStatementsAndLongAnswersCrossSeveralExchanges) {
  RequestBlock b;
  ASSERT_EQ(open(&b), 0u);
  // 65,480 bytes of statement: MALL, MPUT and the final exchange.
  const std::string sql = "select length('" + std::string(65460, 'a') + "');";
  uint32_t code = 0;
  EXPECT_EQ(select(&b, sql.c_str(), &code), "65460");
  EXPECT_EQ(code, 0u);
  // An answer of 65,502 bytes does not fit one exchange: MGET fetches it.
  EXPECT_EQ(select(&b, "select printf('%.*c', 65500, 'w');"), std::string(65500, 'w'));
  EXPECT_EQ(b.answer_length, 65502);
  // The same with too small a buffer: 1014 and the length needed.
  std::memcpy(b.command, "SLCT", 4);
  std::vector<char> small(100);
  b.answer_length = 100;
  EXPECT_EQ(channel_call(&b, nullptr, "select printf('%.*c', 500, 'w');", nullptr, small.data()), 1014u);
  EXPECT_EQ(b.answer_length, 502);
}

TEST_F(Kernel, StatementsOver65535BytesRunWhole) {
  RequestBlock b;
  ASSERT_EQ(open(&b), 0u);
  // Once and twice past the 16-bit length of a request part.
  for (const size_t n : {70000u, 140000u}) {
    const std::string value = std::string(n - 1, 'a') + "z";
    const std::string sql = "select length(v) || substr(v, -1) from (select '" + value + "' as v);";
    uint32_t code = 1;
    EXPECT_EQ(select(&b, sql.c_str(), &code), std::to_string(n) + "z");
    EXPECT_EQ(code, 0u);
  }
}

TEST_F(Kernel, SelectCountsItsRowsAndKeepsARowThatFoundTooLittleRoom) {
  RequestBlock b;
  ASSERT_EQ(open(&b), 0u);
  const char* sql =
      "select 'first row' union all select printf('%.*c', 200, 'w') union all select 'third';";
  // Room for the first row only: count = all rows found.
  std::vector<char> answer(300);
  std::memcpy(b.command, "SLCT", 4);
  b.answer_length = 12;
  ASSERT_EQ(channel_call(&b, nullptr, sql, nullptr, answer.data()), 0u);
  EXPECT_EQ(b.argument, 3u);
  EXPECT_EQ(std::string(answer.data() + 2, b.answer_length - 2u), "first row");
  // The second row needs 202 bytes: 1014, and it is still the next row.
  std::memcpy(b.command, "GETN", 4);
  b.answer_length = 100;
  EXPECT_EQ(channel_call(&b, nullptr, nullptr, nullptr, answer.data()), 1014u);
  EXPECT_EQ(b.answer_length, 202);
  b.answer_length = 300;
  ASSERT_EQ(channel_call(&b, nullptr, nullptr, nullptr, answer.data()), 0u);
  EXPECT_EQ(b.argument, 2u);
  EXPECT_EQ(b.answer_length, 202 + 7);
  EXPECT_EQ(std::string(answer.data() + 2, 200), std::string(200, 'w'));

  // The same when the very first row does not fit: SLCT still counts, GETN delivers it.
  std::memcpy(b.command, "SLCT", 4);
  b.answer_length = 4;
  EXPECT_EQ(channel_call(&b, nullptr, sql, nullptr, answer.data()), 1014u);
  EXPECT_EQ(b.argument, 3u);
  EXPECT_EQ(b.answer_length, 11);
  std::memcpy(b.command, "GETN", 4);
  b.answer_length = 11;
  ASSERT_EQ(channel_call(&b, nullptr, nullptr, nullptr, answer.data()), 0u);
  EXPECT_EQ(std::string(answer.data() + 2, 9), "first row");
}

TEST_F(Kernel, RowLongerThanAnyAnswerIsRefusedNotCut) {
  RequestBlock b;
  ASSERT_EQ(open(&b), 0u);
  uint32_t code = 0;
  // 2 + 65,534 bytes: one byte more than an answer length can say.
  select(&b, "select printf('%.*c', 65534, 'w') union all select 'next';", &code);
  EXPECT_EQ(code, 1076u);
  EXPECT_EQ(b.argument, 2u);
  std::vector<char> answer(64);
  std::memcpy(b.command, "GETN", 4);
  b.answer_length = 64;
  ASSERT_EQ(channel_call(&b, nullptr, nullptr, nullptr, answer.data()), 0u);
  EXPECT_EQ(std::string(answer.data() + 2, 4), "next");
  // One byte less goes whole, fetched with MGET.
  EXPECT_EQ(select(&b, "select printf('%.*c', 65533, 'v');"), std::string(65533, 'v'));
}

TEST_F(Kernel, AsynchronousAnswerNeedingMgetEndsWith1014AndTheNextCallFetchesIt) {
  RequestBlock b;
  ASSERT_EQ(open(&b), 0u);
  static int completions = 0;
  std::vector<char> answer(65535);
  std::memcpy(b.command, "SLCT", 4);
  b.answer_length = 65535;
  b.flags = REQUEST_ASYNC;
  ASSERT_EQ(channel_call(&b, nullptr, "select printf('%.*c', 65500, 'q');", nullptr, answer.data(),
                         [](RequestBlock*, void*, void*) { ++completions; }),
            0u);
  EXPECT_EQ(channel_wait(&b, -1), 0);
  EXPECT_EQ(b.return_code, 1014u);
  EXPECT_EQ(b.answer_length, 65502);
  EXPECT_NE(b.flags & REQUEST_FETCH_REST, 0u);
  EXPECT_EQ(b.flags & REQUEST_COMPLETED, 0u);
  EXPECT_EQ(completions, 0);
  b.flags &= ~REQUEST_ASYNC;
  ASSERT_EQ(channel_call(&b, nullptr, "select 'not sent';", nullptr, answer.data()), 0u);
  EXPECT_EQ(b.answer_length, 65502);
  EXPECT_EQ(std::string(answer.data() + 2, 65500), std::string(65500, 'q'));
  EXPECT_EQ(std::string(b.command, 4), "SLCT");
}

TEST_F(Kernel, KillInterruptsTheWaitingRequestOfAnotherSession) {
  RequestBlock busy;
  ASSERT_EQ(open(&busy), 0u);
  std::memcpy(busy.command, "SLCT", 4);
  busy.flags = REQUEST_ASYNC;
  std::vector<char> answer(100);
  busy.answer_length = 100;
  ASSERT_EQ(channel_call(&busy, nullptr,
                         "with recursive c(x) as (select 1 union all select x + 1 from c) select count(*) from c;",
                         nullptr, answer.data(), [](RequestBlock*, void*, void*) {}),
            0u);
  // The query runs until it is killed; keep killing until the kernel has started it.
  RequestBlock killer;
  ASSERT_EQ(open(&killer), 0u);
  while (channel_wait(&busy, 0) != 0) {
    std::memcpy(killer.command, "KILL", 4);
    killer.position = busy.channel;
    ASSERT_EQ(channel_call(&killer, "", nullptr, nullptr, nullptr), 0u);
    channel_wait(&busy, 1);
  }
  EXPECT_EQ(busy.return_code, 1071u);
  EXPECT_NE(busy.flags & REQUEST_COMPLETED, 0u);
}

// A select repeated after it turned long: it must leave the server thread free for other
// sessions and stay killable.
TEST_F(Kernel, RepeatedSelectThatTurnsLongLeavesOtherSessionsServedAndIsKillable) {
  RequestBlock busy;
  ASSERT_EQ(open(&busy), 0u);
  std::memcpy(busy.command, "    ", 4);
  ASSERT_EQ(channel_call(&busy, nullptr, "create table LIMITS(N integer); insert into LIMITS values(3);", nullptr,
                         nullptr),
            0u);
  const char* const counting =
      "with recursive c(x) as (select 1 union all select x + 1 from c where x < (select N from LIMITS))"
      " select count(*) from c;";
  for (int i = 0; i < 3; ++i) EXPECT_EQ(select(&busy, counting), "3");
  std::memcpy(busy.command, "    ", 4);
  ASSERT_EQ(channel_call(&busy, nullptr, "update LIMITS set N = 1000000000000;", nullptr, nullptr), 0u);

  std::memcpy(busy.command, "SLCT", 4);
  busy.flags = REQUEST_ASYNC;
  std::vector<char> answer(100);
  busy.answer_length = 100;
  ASSERT_EQ(channel_call(&busy, nullptr, counting, nullptr, answer.data(), [](RequestBlock*, void*, void*) {}), 0u);
  RequestBlock other;
  ASSERT_EQ(open(&other), 0u);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(select(&other, "select DNAME from DEPT where DEPTNO = 10;"), "ACCOUNTING");
  while (channel_wait(&busy, 0) != 0) {
    std::memcpy(other.command, "KILL", 4);
    other.position = busy.channel;
    ASSERT_EQ(channel_call(&other, "", nullptr, nullptr, nullptr), 0u);
    channel_wait(&busy, 1);
  }
  EXPECT_EQ(busy.return_code, 1071u);
}

TEST_F(Kernel, RepeatedSelectSeesNewRowsAndNewColumns) {
  RequestBlock b;
  ASSERT_EQ(open(&b), 0u);
  std::memcpy(b.command, "    ", 4);
  ASSERT_EQ(channel_call(&b, nullptr, "create table T(A text); insert into T values('x');", nullptr, nullptr), 0u);
  const char* const all = "select * from T order by 1;";
  EXPECT_EQ(select(&b, all), "x");
  EXPECT_EQ(select(&b, all), "x");
  std::memcpy(b.command, "    ", 4);
  ASSERT_EQ(channel_call(&b, nullptr, "insert into T values('y');", nullptr, nullptr), 0u);
  EXPECT_EQ(select(&b, all), "x|y");
  EXPECT_EQ(b.argument, 2u);

  // Another session changes the table's shape: the kept statement is prepared anew.
  RequestBlock other;
  ASSERT_EQ(open(&other), 0u);
  std::memcpy(other.command, "    ", 4);
  ASSERT_EQ(channel_call(&other, nullptr, "alter table T add column B text default 'z';", nullptr, nullptr), 0u);
  EXPECT_EQ(select(&b, all), "x|z|y|z");
  std::vector<uint8_t> names(256);
  std::memcpy(b.command, "DESC", 4);
  b.answer_length = 256;
  ASSERT_EQ(channel_call(&b, nullptr, nullptr, nullptr, names.data()), 0u);
  EXPECT_EQ(b.argument, 2u);

  std::memcpy(other.command, "    ", 4);
  ASSERT_EQ(channel_call(&other, nullptr, "drop table T;", nullptr, nullptr), 0u);
  uint32_t code = 0;
  select(&b, all, &code);
  EXPECT_EQ(code, 2001u);
  ASSERT_EQ(channel_call(&other, nullptr, "create table T(C integer); insert into T values(7);", nullptr, nullptr), 0u);
  EXPECT_EQ(select(&b, all), "7");
}

TEST_F(Kernel, ManyDifferentSelectsInTurnKeepTheirOwnResults) {
  RequestBlock b;
  ASSERT_EQ(open(&b), 0u);
  for (int round = 0; round < 3; ++round) {
    for (int i = 0; i < 40; ++i) {
      const std::string sql = "select " + std::to_string(i) + " + 1000;";
      EXPECT_EQ(select(&b, sql.c_str()), std::to_string(i + 1000)) << sql;
    }
    // The first text once more after the others have pushed it out of what is kept.
    EXPECT_EQ(select(&b, "select 0 + 1000;"), "1000");
    std::vector<uint8_t> names(256);
    std::memcpy(b.command, "DESC", 4);
    b.answer_length = 256;
    ASSERT_EQ(channel_call(&b, nullptr, nullptr, nullptr, names.data()), 0u);
    EXPECT_EQ(b.argument, 1u);
  }
}

TEST_F(Kernel, ConcurrentClientsEachKeepTheirSession) {
  constexpr int CLIENTS = 8;
  std::vector<std::thread> threads;
  std::vector<int> good(CLIENTS, 0);
  for (int t = 0; t < CLIENTS; ++t) {
    threads.emplace_back([t, &good] {
      RequestBlock b;
      if (open(&b) != 0) return;
      for (int i = 0; i < 20; ++i) {
        const std::string sql = "select " + std::to_string(t * 1000 + i) + ";";
        if (select(&b, sql.c_str()) == std::to_string(t * 1000 + i)) ++good[t];
      }
    });
  }
  // A second process logs on at the same time: this test program again, running only the
  // child's test (a forked copy of a process with threads must not use the channel).
  const pid_t child = fork();
  if (child == 0) {
    setenv("TAVREL_TEST_CHILD", "1", 1);
    execl("/proc/self/exe", "test_kernel", "--gtest_filter=KernelChild.LogsOnAndSelects", nullptr);
    _exit(127);
  }
  for (auto& th : threads) th.join();
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  for (int t = 0; t < CLIENTS; ++t) EXPECT_EQ(good[t], 20) << t;
}

TEST_F(Kernel, SelectReadToItsEndAnswersTwoAndStaysDescribable) {
  RequestBlock b;
  ASSERT_EQ(open(&b), 0u);
  EXPECT_EQ(select(&b, "select 1 as A, 'x' as B union all select 2, 'y';"), "1|x|2|y");
  for (int i = 0; i < 2; ++i) {  // the end is reported again, not a new run of the select
    std::vector<uint8_t> answer(256);
    std::memcpy(b.command, "GETN", 4);
    b.answer_length = 256;
    EXPECT_EQ(channel_call(&b, nullptr, nullptr, nullptr, answer.data()), 2u);
  }
  std::vector<uint8_t> names(256);
  std::memcpy(b.command, "DESC", 4);
  b.answer_length = 256;
  ASSERT_EQ(channel_call(&b, nullptr, nullptr, nullptr, names.data()), 0u);
  EXPECT_EQ(b.argument, 2u);
}

// The second client process of the test above; skipped when run on its own.
TEST(KernelChild, LogsOnAndSelects) {
  if (std::getenv("TAVREL_TEST_CHILD") == nullptr) GTEST_SKIP() << "runs as a child process only";
  RequestBlock b{};
  std::memcpy(b.command, "OPEN", 4);
  std::memset(b.node, ' ', 8);
  char codepage[] = "UTF-8";
  ASSERT_EQ(channel_call(&b, "\"DEMO\"/\"DEMO\"", nullptr, codepage, nullptr), 0u);
  std::memcpy(b.command, "SLCT", 4);
  std::vector<uint8_t> answer(64);
  b.answer_length = 64;
  ASSERT_EQ(channel_call(&b, nullptr, "select 42;", nullptr, answer.data()), 0u);
  ASSERT_GE(b.answer_length, 4);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(&answer[2]), 2), "42");
  channel_shutdown();
}

TEST_F(Kernel, SelectBeyondTheResultLimitIsRefusedAndTheSessionGoesOn) {
  // A kernel of its own that keeps at most 4 KB of rows for a select.
  setenv("TAVREL_RESULT_MAX", "4096", 1);
  ChildProcess* small = start_kernel("small");
  unsetenv("TAVREL_RESULT_MAX");
  ASSERT_NE(small, nullptr);
  setenv("TAVREL_MBX", "small", 1);
  channel_set_option(7, nullptr, 0);
  RequestBlock b;
  ASSERT_EQ(open(&b), 0u);
  uint32_t code = 0;
  select(&b, "with recursive c(x) as (select 1 union all select x + 1 from c where x < 5000) select x from c;",
         &code);
  EXPECT_EQ(code, 1077u);
  EXPECT_EQ(select(&b, "select 'still here';"), "still here");
  unsetenv("TAVREL_MBX");
  channel_set_option(7, nullptr, 0);
  stop_kernel(small);
}

// Runs a statement with the blank command; the return code.
uint32_t execute(RequestBlock* b, const char* sql) {
  std::memcpy(b->command, "    ", 4);
  b->answer_length = 0;
  return channel_call(b, nullptr, sql, nullptr, nullptr);
}

// Starts a statement asynchronously on b and sends KILL for it from killer until it ends;
// the statement's return code.
uint32_t kill_until_done(RequestBlock* b, const char* sql, RequestBlock* killer) {
  std::memcpy(b->command, "    ", 4);
  b->flags = REQUEST_ASYNC;
  static std::vector<char> answer(8192);
  b->answer_length = 8192;
  if (channel_call(b, nullptr, sql, nullptr, answer.data(), [](RequestBlock*, void*, void*) {}) != 0) {
    return b->return_code;
  }
  // KILL reaches only what runs: keep sending it until the statement has started and ended.
  while (channel_wait(b, 0) != 0) {
    std::memcpy(killer->command, "KILL", 4);
    killer->position = b->channel;
    EXPECT_EQ(channel_call(killer, "", nullptr, nullptr, nullptr), 0u);
    channel_wait(b, 1);
  }
  b->flags &= ~REQUEST_ASYNC;
  return b->return_code;
}

TEST_F(Kernel, TwoSessionsWritingAtOnceWaitABoundedTimeThenHearTheDatabaseIsBusy) {
  // A kernel of its own whose statements wait 200 ms for another session's lock.
  setenv("TAVREL_BUSY_MS", "200", 1);
  ChildProcess* patient = start_kernel("busy");
  unsetenv("TAVREL_BUSY_MS");
  ASSERT_NE(patient, nullptr);
  setenv("TAVREL_MBX", "busy", 1);
  channel_set_option(7, nullptr, 0);
  RequestBlock first, second;
  ASSERT_EQ(open(&first), 0u);
  ASSERT_EQ(open(&second), 0u);
  // The first session keeps a write transaction open.
  ASSERT_EQ(execute(&first, "begin immediate; insert into DEPT values(60, 'FIRST', 'HERE');"), 0u);
  EXPECT_EQ(execute(&second, "insert into DEPT values(61, 'SECOND', 'THERE');"), KERNEL_BUSY);
  // Readers are not held up, and see what was committed.
  EXPECT_EQ(select(&second, "select count(*) from DEPT where DEPTNO >= 60;"), "0");
  EXPECT_EQ(execute(&second, "update DEPT set LOC = 'X' where DEPTNO = 10;"), KERNEL_BUSY);
  ASSERT_EQ(execute(&first, "commit;"), 0u);
  EXPECT_EQ(execute(&second, "insert into DEPT values(61, 'SECOND', 'THERE');"), 0u);
  EXPECT_EQ(select(&first, "select group_concat(DNAME) from (select DNAME from DEPT where DEPTNO >= 60 order by 1);"),
            "FIRST,SECOND");
  unsetenv("TAVREL_MBX");
  channel_set_option(7, nullptr, 0);
  stop_kernel(patient);
}

TEST_F(Kernel, KillEndsAWaitForAnotherSessionsLock) {
  // The default wait is long: only KILL ends this one early.
  RequestBlock holder, waiter, killer;
  ASSERT_EQ(open(&holder), 0u);
  ASSERT_EQ(open(&waiter), 0u);
  ASSERT_EQ(open(&killer), 0u);
  ASSERT_EQ(execute(&holder, "begin immediate; insert into DEPT values(70, 'HOLDER', 'HERE');"), 0u);
  EXPECT_EQ(kill_until_done(&waiter, "insert into DEPT values(71, 'WAITER', 'THERE');", &killer), KERNEL_INTERRUPTED);
  ASSERT_EQ(execute(&holder, "rollback;"), 0u);
  EXPECT_EQ(execute(&waiter, "insert into DEPT values(71, 'WAITER', 'THERE');"), 0u);
}

TEST_F(Kernel, KillEndsARunningExecution) {
#ifdef TAVREL_ENGINE_STUB
  GTEST_SKIP() << "the procedure engine is not built in";
#endif
  RequestBlock runner, killer;
  ASSERT_EQ(open(&runner), 0u);
  ASSERT_EQ(open(&killer), 0u);
  ASSERT_EQ(execute(&runner, "create procedure \"FOREVER\"() code while 1 = 1 loop endloop; end;"), 0u);
  EXPECT_EQ(kill_until_done(&runner, "execute \"FOREVER\"();", &killer), KERNEL_INTERRUPTED);
  // The session goes on.
  EXPECT_EQ(select(&runner, "select 'after the kill';"), "after the kill");
}

TEST_F(Kernel, SecondKernelOnTheSameInstanceIsRefused) {
  int status = 0;
  EXPECT_EQ(start_kernel(nullptr, &status), nullptr);
  EXPECT_EQ(status, 3);
  ChildProcess* other = start_kernel("second");
  EXPECT_NE(other, nullptr);
  setenv("TAVREL_MBX", "second", 1);
  channel_set_option(7, nullptr, 0);
  RequestBlock b;
  EXPECT_EQ(open(&b), 0u);
  unsetenv("TAVREL_MBX");
  channel_set_option(7, nullptr, 0);
  stop_kernel(other);
}

TEST_F(Kernel, InterruptRemovesTheEndpointAndTheRecord) {
  ASSERT_TRUE(fs::exists(rundir + "/TavrelMailslot5"));
  ASSERT_EQ(process_interrupt(kernel), 0);
  int status = -1;
  EXPECT_TRUE(process_wait(kernel, 10000, &status));
  EXPECT_EQ(status, 0);
  EXPECT_FALSE(fs::exists(rundir + "/TavrelMailslot5"));
  EXPECT_FALSE(fs::exists(rundir + "/TavrelProcessInfo"));
}

TEST_F(Kernel, MalformedFramesLeaveKernelAndSessionsAlive) {
  RequestBlock b;
  ASSERT_EQ(open(&b), 0u);
  const int fd = socket(AF_UNIX, SOCK_DGRAM, 0);
  sockaddr_un addr{};
  addr.sun_family = AF_UNIX;
  std::snprintf(addr.sun_path, sizeof addr.sun_path, "%s/TavrelMailslot5", rundir.c_str());
  std::vector<std::vector<uint8_t>> junk = {{}, {1, 2, 3}, std::vector<uint8_t>(96, 0xFF),
                                            std::vector<uint8_t>(200, 0x00), std::vector<uint8_t>(65528, 0x41)};
  // A frame with the session's channel whose part lengths run past its end.
  std::vector<uint8_t> lying(48 + 8 + 48, 0);
  std::memcpy(&lying[4], &b, sizeof b);
  std::memcpy(&lying[4 + 12], "SLCT", 4);
  lying[48] = 0xFF;
  lying[49] = 0xFF;
  junk.push_back(lying);
  for (const auto& j : junk) {
    sendto(fd, j.data(), j.size(), 0, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
  }
  close(fd);
  uint32_t code = 0;
  EXPECT_EQ(select(&b, "select 'alive';", &code), "alive");
  EXPECT_EQ(code, 0u);
}

}  // namespace
}  // namespace tavrel
