// The transport's pending-request slots over real endpoints, with a scripted server in this
// process standing in for the kernel: it holds requests back, answers them late or twice,
// so that the slot states can be driven where a real kernel would not go.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "channel/channel.h"
#include "channel/framing.h"
#include "platform/ipc.h"

namespace tavrel {
namespace {

// Receives every request and keeps it; the test decides what is answered and when.
class ScriptedServer {
 public:
  void start() {
    ASSERT_EQ(ipc_server_open(IPC_ROUTE_KERNEL, "", &endpoint_), 0);
    reader_ = std::thread([this] {
      std::vector<uint8_t> buffer(EXCHANGE_MAX);
      for (;;) {
        const long n = ipc_receive(endpoint_, buffer.data(), buffer.size());
        if (n <= 0) break;
        std::lock_guard lock(lock_);
        frames_.emplace_back(buffer.begin(), buffer.begin() + n);
        arrived_.notify_all();
      }
    });
  }
  void stop() {
    if (endpoint_ == nullptr) return;
    ipc_receive_stop(endpoint_);
    reader_.join();
    ipc_close(endpoint_);
    endpoint_ = nullptr;
  }
  // Waits until count requests have arrived; false after five seconds.
  bool wait_for(size_t count) {
    std::unique_lock lock(lock_);
    return arrived_.wait_for(lock, std::chrono::seconds(5), [&] { return frames_.size() >= count; });
  }
  // Answers request number i (0-based, in arrival order) with a code and answer data; with
  // no data the answer length field is needed (1014: the length needed).
  void answer(size_t i, uint32_t code, const std::string& data, uint16_t needed = 0) {
    std::vector<uint8_t> frame;
    {
      std::lock_guard lock(lock_);
      frame = frames_.at(i);
    }
    std::vector<uint8_t> out(ANSWER_HEADER + data.size() + FRAME_TRAILER, 0);
    std::memcpy(&out[4], &frame[4], sizeof(RequestBlock));
    put_u32(&out[4], code);
    put_u16(&out[44], data.empty() ? needed : static_cast<uint32_t>(data.size()));
    put_u16(&out[ANSWER_TOTAL_OFFSET], static_cast<uint32_t>(data.size()));
    std::memcpy(&out[ANSWER_HEADER], data.data(), data.size());
    std::memcpy(&out[ANSWER_HEADER + data.size()], &frame[frame.size() - FRAME_TRAILER], FRAME_TRAILER);
    ASSERT_EQ(ipc_reply_to(endpoint_, get_u32(&frame[frame.size() - FRAME_TRAILER]), out.data(), out.size()), 0);
  }
  size_t received() {
    std::lock_guard lock(lock_);
    return frames_.size();
  }

 private:
  IpcEndpoint* endpoint_ = nullptr;
  std::thread reader_;
  std::mutex lock_;
  std::condition_variable arrived_;
  std::vector<std::vector<uint8_t>> frames_;
};

class Slots : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = "/tmp/tavrel-slots-XXXXXX";
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    rundir_ = pattern;
    setenv("TAVREL_RUNDIR", rundir_.c_str(), 1);
    unsetenv("TAVREL_MBX");
    server.start();
  }
  void TearDown() override {
    channel_shutdown();
    server.stop();
    std::error_code ignored;
    std::filesystem::remove_all(rundir_, ignored);
  }
  static RequestBlock block(const char* command, uint16_t capacity) {
    RequestBlock b{};
    std::memcpy(b.command, command, 4);
    std::memset(b.node, ' ', 8);
    b.answer_length = capacity;
    return b;
  }
  // Runs a synchronous SLCT on b (answer into out) that the server answers with data.
  uint32_t answered_select(RequestBlock* b, char* out, const std::string& data) {
    const size_t before = server.received();
    std::thread answering([&] {
      if (server.wait_for(before + 1)) server.answer(before, 0, data);
    });
    const uint32_t code = channel_call(b, nullptr, "select 1;", nullptr, out);
    answering.join();
    return code;
  }

  ScriptedServer server;
  std::string rundir_;
};

TEST_F(Slots, LateAnswerLandsOnlyWhereTheAnswerWasWanted) {
  char kept_answer[16] = {};
  RequestBlock kept = block("SLCT", 16);
  kept.flags = REQUEST_ANSWER_WANTED;
  ASSERT_EQ(answered_select(&kept, kept_answer, "first"), 0u);
  EXPECT_EQ(std::string(kept_answer, kept.answer_length), "first");
  // The slot stays with the block: a second answer to the same request is still awaited.
  EXPECT_EQ(channel_wait(&kept, 0), 1);

  char plain_answer[16] = {};
  RequestBlock plain = block("SLCT", 16);
  ASSERT_EQ(answered_select(&plain, plain_answer, "one"), 0u);
  EXPECT_EQ(channel_wait(&plain, 0), 0);

  // A thread that asked for the answer in any case and has ended: its late answer is dropped.
  auto gone = std::make_unique<RequestBlock>(block("SLCT", 16));
  gone->flags = REQUEST_ANSWER_WANTED;
  char gone_answer[16] = {};
  std::thread([&] { EXPECT_EQ(answered_select(gone.get(), gone_answer, "early"), 0u); }).join();

  const size_t kept_request = 0;
  const size_t plain_request = 1;
  const size_t gone_request = 2;
  kept.answer_length = 16;  // offset 40 is the room for the answer still to come
  server.answer(plain_request, 7, "stray");
  server.answer(gone_request, 7, "stray");
  server.answer(kept_request, 135, "second");
  EXPECT_EQ(channel_wait(&kept, 5), 0);
  EXPECT_EQ(kept.return_code, 135u);
  EXPECT_EQ(std::string(kept_answer, kept.answer_length), "second");
  // Answers are taken in order: the two strays have been seen and dropped.
  EXPECT_EQ(plain.return_code, 0u);
  EXPECT_EQ(std::string(plain_answer, plain.answer_length), "one");
  EXPECT_EQ(gone->return_code, 0u);
  EXPECT_EQ(std::string(gone_answer, gone->answer_length), "early");

  // The kept slot serves the block's next request as usual.
  kept.flags = 0;
  ASSERT_EQ(answered_select(&kept, kept_answer, "third"), 0u);
  EXPECT_EQ(std::string(kept_answer, kept.answer_length), "third");
  EXPECT_EQ(channel_wait(&kept, 0), 0);
}

TEST_F(Slots, FullTableFailsTheSendUntilAnAnswerFreesASlot) {
  constexpr size_t TABLE = 255 * 32;
  static std::atomic<int> completed{0};
  completed = 0;
  const auto done = [](RequestBlock*, void*, void*) { ++completed; };
  std::vector<RequestBlock> blocks(TABLE + 1, block("SLCT", 0));
  for (size_t i = 0; i < TABLE; ++i) {
    blocks[i].flags = REQUEST_ASYNC;
    ASSERT_EQ(channel_call(&blocks[i], nullptr, "select 1;", nullptr, nullptr, done), 0u) << i;
  }
  RequestBlock& extra = blocks[TABLE];
  extra.flags = REQUEST_ASYNC;
  EXPECT_EQ(channel_call(&extra, nullptr, "select 1;", nullptr, nullptr, done), 1003u);
  ASSERT_TRUE(server.wait_for(TABLE));
  EXPECT_EQ(server.received(), TABLE);  // the refused request never left

  server.answer(17, 0, "");
  EXPECT_EQ(channel_wait(&blocks[17], 5), 0);
  EXPECT_NE(blocks[17].flags & REQUEST_COMPLETED, 0u);
  EXPECT_EQ(completed, 1);
  extra.flags = REQUEST_ASYNC;
  EXPECT_EQ(channel_call(&extra, nullptr, "select 1;", nullptr, nullptr, done), 0u);
  EXPECT_EQ(channel_wait(&extra, 0), 1);
}

TEST_F(Slots, AsynchronousAnswerNeedingMgetEndsWith1014WithoutCompletion) {
  static std::atomic<int> completed{0};
  completed = 0;
  std::vector<char> answer(65535);
  RequestBlock b = block("SLCT", 65535);
  b.flags = REQUEST_ASYNC;
  ASSERT_EQ(channel_call(&b, nullptr, "select 1;", nullptr, answer.data(),
                         [](RequestBlock*, void*, void*) { ++completed; }),
            0u);
  ASSERT_TRUE(server.wait_for(1));
  server.answer(0, 1014, "", 65500);
  EXPECT_EQ(channel_wait(&b, 5), 0);
  EXPECT_EQ(b.return_code, 1014u);
  EXPECT_EQ(b.answer_length, 65500);
  EXPECT_NE(b.flags & REQUEST_FETCH_REST, 0u);
  EXPECT_EQ(b.flags & REQUEST_COMPLETED, 0u);
  EXPECT_EQ(completed, 0);
}

}  // namespace
}  // namespace tavrel

namespace tavrel {
namespace {

// A client killed without closing leaves its reply endpoint behind; the next client's open
// removes it, and keeps those of live processes and every other name.
TEST_F(Slots, DeadClientsRepliesAreSweptAway) {
  const std::string dead = rundir_ + "/99999995";  // process ids never reach 9999999
  const std::string alive = rundir_ + "/" + std::to_string(getppid()) + "5";
  const std::string other = rundir_ + "/notes5";
  for (const std::string& path : {dead, alive, other}) std::fclose(std::fopen(path.c_str(), "w"));
  IpcEndpoint* reply = nullptr;
  ASSERT_EQ(ipc_reply_open(&reply), 0);
  EXPECT_FALSE(std::filesystem::exists(dead));
  EXPECT_TRUE(std::filesystem::exists(alive));
  EXPECT_TRUE(std::filesystem::exists(other));
  ipc_close(reply);
}

}  // namespace
}  // namespace tavrel
