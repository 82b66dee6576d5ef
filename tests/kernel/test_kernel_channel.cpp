// The channel's transport against a real tavrel-kernel, in whichever mode the process uses
// (the Windows build runs this program once per mode, chosen by TAVREL_TRANSPORT): logging
// on, statements and GETE, the largest frames an exchange holds, many requests in flight at
// once, a second kernel on a served instance, and the kernel killed while a request waits
// and while the channel is idle. (The kernel's console control handler is driven in the
// procman tmux test: a console event cannot be sent from here under Wine.) Each run serves an instance of its
// own, so that runs sharing one machine-wide namespace keep apart.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "channel/channel.h"
#include "channel/framing.h"
#include "kernel_fixture.h"

namespace tavrel {
namespace {

const std::string INSTANCE = "test" + std::to_string(ipc_process_id());
const char* const ENDLESS = "with recursive c(x) as (select 1 union all select x + 1 from c) select count(*) from c;";

class KernelChannel : public KernelTest {
 protected:
  void SetUp() override { start("tavrel-channel", INSTANCE.c_str()); }
  void TearDown() override {
    channel_shutdown();
    finish();
  }

  static uint32_t open(RequestBlock* b, const char* connect = "\"DEMO\"/\"DEMO\"") { return kernel_open(b, connect); }
  static std::string select(RequestBlock* b, const std::string& sql, uint32_t* code = nullptr) {
    return kernel_select(b, sql, code);
  }
};

// The mode asked for is the one whose message type the frames carry; the kernel answers in
// the mode the type names, so every test below fails when the two sides disagree.
TEST(KernelChannelMode, FramesCarryTheModeAskedFor) {
  char mode[16] = {};
  platform_getenv("TAVREL_TRANSPORT", mode, sizeof mode);
  if (std::string(mode) == "shared") {
    EXPECT_EQ(ipc_message_type(), 12);
  } else {
    EXPECT_EQ(ipc_message_type(), 13);
  }
}

// A caller blocked in the reply endpoint's receive is brought out by a wake (the channel's
// way of telling it that its server has ended), and the endpoint goes on receiving after it.
TEST(KernelChannelMode, AWakeBringsABlockedReceiveOutAndTheEndpointServesOn) {
  IpcEndpoint* reply = nullptr;
  ASSERT_EQ(ipc_reply_open(&reply), 0);
  std::vector<uint8_t> buffer(EXCHANGE_MAX);
  long woken = 0;
  std::thread receiving([&] { woken = ipc_receive(reply, buffer.data(), buffer.size()); });
  ipc_receive_wake(reply);
  receiving.join();
  EXPECT_EQ(woken, IPC_WOKEN);
  // The endpoint still serves: an answer-shaped message in this process's mode comes through.
  std::vector<uint8_t> message(ANSWER_HEADER + FRAME_TRAILER, 0);
  message.back() = ipc_message_type();
  ASSERT_EQ(ipc_reply_to(reply, ipc_process_id(), message.data(), message.size()), 0);
  EXPECT_EQ(ipc_receive(reply, buffer.data(), buffer.size()), static_cast<long>(message.size()));
  ipc_close(reply);
}

TEST_F(KernelChannel, LogsOnOrRefusesTheUserAndThePassword) {
  RequestBlock b;
  EXPECT_EQ(open(&b), 0u);
  EXPECT_NE(b.channel, 0);
  EXPECT_EQ(open(&b, "\"NOBODY\"/\"DEMO\""), KERNEL_UNKNOWN_USER);
  EXPECT_EQ(open(&b, "\"DEMO\"/\"demo\""), KERNEL_WRONG_PASSWORD);
  EXPECT_EQ(b.channel, 0);
}

TEST_F(KernelChannel, StatementsAndTheKernelsErrorText) {
  RequestBlock b;
  ASSERT_EQ(open(&b), 0u);
  EXPECT_EQ(select(&b, "select DNAME from DEPT where DEPTNO = 40;"), "ОПЕРАЦИИ");
  uint32_t code = 0;
  select(&b, "select * from MISSING;", &code);
  EXPECT_EQ(code, 2001u);
  std::vector<char> text(4096);
  std::memcpy(b.command, "GETE", 4);
  b.position = 2001;
  b.answer_length = 4096;
  ASSERT_EQ(channel_call(&b, nullptr, nullptr, nullptr, text.data()), 0u);
  EXPECT_NE(std::string(text.data(), b.answer_length).find("MISSING"), std::string::npos);
}

// A statement of 65,460 bytes goes in pieces; an answer of 65,502 bytes comes back in two.
// The full exchanges fill the shared areas to their last byte.
TEST_F(KernelChannel, LongRequestsAndAnswersCrossExchanges) {
  RequestBlock b;
  ASSERT_EQ(open(&b), 0u);
  uint32_t code = 0;
  EXPECT_EQ(select(&b, "select length('" + std::string(65460, 'a') + "');", &code), "65460");
  EXPECT_EQ(code, 0u);
  EXPECT_EQ(select(&b, "select printf('%.*c', 65500, 'w');"), std::string(65500, 'w'));
}

TEST_F(KernelChannel, ManyRequestsInFlightEachGetTheirAnswer) {
  constexpr int THREADS = 12;
  std::vector<std::thread> threads;
  std::vector<int> good(THREADS, 0);
  for (int t = 0; t < THREADS; ++t) {
    threads.emplace_back([t, &good] {
      RequestBlock b;
      if (open(&b) != 0) return;
      for (int i = 0; i < 15; ++i) {
        const std::string n = std::to_string(t * 1000 + i);
        if (select(&b, "select " + n + ";") == n) ++good[t];
      }
    });
  }
  for (auto& th : threads) th.join();
  for (int t = 0; t < THREADS; ++t) EXPECT_EQ(good[t], 15) << t;
}

TEST_F(KernelChannel, SecondKernelOnTheInstanceIsRefused) {
  int status = 0;
  EXPECT_EQ(kernel_start(rundir, INSTANCE.c_str(), &status), nullptr);
  EXPECT_EQ(status, 3);
  RequestBlock b;
  EXPECT_EQ(open(&b), 0u);
}

TEST_F(KernelChannel, KernelKilledWhileARequestWaitsThenStartedAgain) {
  RequestBlock b;
  ASSERT_EQ(open(&b), 0u);
  uint32_t code = 0;
  std::thread waiting([&] { select(&b, ENDLESS, &code); });
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  kernel_stop(kernel);
  kernel = nullptr;
  waiting.join();
  EXPECT_GE(code, 1001u);
  EXPECT_LE(code, 1003u);
  // No kernel: 1001. A new kernel takes the instance over and the channel attaches again.
  RequestBlock again;
  EXPECT_EQ(open(&again), 1001u);
  kernel = kernel_start(rundir, INSTANCE.c_str());
  ASSERT_NE(kernel, nullptr);
  EXPECT_EQ(open(&again), 0u);
  EXPECT_EQ(select(&again, "select 'back';"), "back");
}

TEST_F(KernelChannel, KernelKilledWhileIdle) {
  RequestBlock b;
  ASSERT_EQ(open(&b), 0u);
  kernel_stop(kernel);
  kernel = nullptr;
  uint32_t code = 0;
  select(&b, "select 1;", &code);
  EXPECT_GE(code, 1001u);
  EXPECT_LE(code, 1003u);
  // The same block logs on again once a kernel serves.
  kernel = kernel_start(rundir, INSTANCE.c_str());
  ASSERT_NE(kernel, nullptr);
  EXPECT_EQ(open(&b), 0u);
  EXPECT_EQ(select(&b, "select 2;"), "2");
}

}  // namespace
}  // namespace tavrel
