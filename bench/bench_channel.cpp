// The kernel channel's round trip through channel_call and a real tavrel-kernel (started here
// in a private run directory), beside raw AF_UNIX datagram exchanges of the same sizes
// between two processes: a plain ping-pong, the same with a reader thread that hands each
// answer over through a condition variable (the shape of the channel's client), and a
// stream of 64 KB datagrams. Sizes are those of the channel's own frames.
#include <benchmark/benchmark.h>

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <string>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "channel/channel.h"

namespace {

using namespace tavrel;

constexpr size_t DATAGRAM_MAX = 65536;
// The row of the 64 KB answer: 2 length bytes and the value, one exchange in all.
constexpr size_t BIG_VALUE = 65400;
constexpr int SOCKET_BUFFER = 1 << 20;

[[noreturn]] void fail(const char* what) {
  std::fprintf(stderr, "bench_channel: %s: %s\n", what, std::strerror(errno));
  std::exit(1);
}

std::string make_rundir() {
  char pattern[] = "/tmp/tavrel-bench-XXXXXX";
  if (mkdtemp(pattern) == nullptr) fail("mkdtemp");
  return pattern;
}

// A tavrel-kernel on a demo database in its own run directory, and one session on it.
struct Kernel {
  std::string rundir;
  pid_t pid = -1;
  RequestBlock session{};

  Kernel() {
    rundir = make_rundir();
    setenv("TAVREL_RUNDIR", rundir.c_str(), 1);
    unsetenv("TAVREL_MBX");
    pid = fork();
    if (pid == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      const std::string db = rundir + "/kernel.db";
      execl(TAVREL_KERNEL_PATH, "tavrel-kernel", "--db", db.c_str(), "--demo", nullptr);
      _exit(127);
    }
    std::memset(session.node, ' ', 8);
    char codepage[] = "UTF-8";
    for (int i = 0; i < 600; ++i) {
      std::memcpy(session.command, "OPEN", 4);
      if (channel_call(&session, "\"DEMO\"/\"DEMO\"", nullptr, codepage, nullptr) == 0) break;
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    if (session.return_code != 0) fail("no kernel");
    std::memcpy(session.command, "    ", 4);
    const std::string fill = "create table BIG(V text); insert into BIG values(printf('%.*c', " +
                             std::to_string(BIG_VALUE) + ", 'x'));";
    if (channel_call(&session, nullptr, fill.c_str(), nullptr, nullptr) != 0) fail("BIG");
  }
  ~Kernel() {
    channel_shutdown();
    kill(pid, SIGTERM);
    waitpid(pid, nullptr, 0);
    std::error_code ignored;
    std::filesystem::remove_all(rundir, ignored);
  }
};

Kernel& kernel() {
  static Kernel k;
  return k;
}

// The frame sizes of the channel's requests, as measured by the calls themselves.
constexpr size_t FRAME_OVERHEAD = 48 + 8 + 48;  // header, four length words, trailer
constexpr size_t ANSWER_OVERHEAD = 56 + 48;     // answer header, trailer
const char* const ONE_ROW = "select DNAME from DEPT where DEPTNO = 10;";
const char* const BIG_ROW = "select V from BIG;";

size_t statement_frame(const char* sql) {
  const size_t n = std::strlen(sql);
  return FRAME_OVERHEAD + n + (n & 1);
}

// Round trip of GETE 1071: answered from a table, no database work.
void BM_channel_gete(benchmark::State& state) {
  RequestBlock b = kernel().session;
  std::vector<char> answer(256);
  for (auto _ : state) {
    std::memcpy(b.command, "GETE", 4);
    b.position = 1071;
    b.answer_length = 256;
    if (channel_call(&b, nullptr, nullptr, nullptr, answer.data()) != 0) state.SkipWithError("GETE");
  }
  state.counters["request"] = FRAME_OVERHEAD;
  state.counters["answer"] = static_cast<double>(ANSWER_OVERHEAD + b.answer_length);
}

// Round trip of a one-row SLCT on a demo table.
void BM_channel_slct_one_row(benchmark::State& state) {
  RequestBlock b = kernel().session;
  std::vector<char> answer(256);
  for (auto _ : state) {
    std::memcpy(b.command, "SLCT", 4);
    b.answer_length = 256;
    if (channel_call(&b, nullptr, ONE_ROW, nullptr, answer.data()) != 0) state.SkipWithError("SLCT");
  }
  state.counters["request"] = static_cast<double>(statement_frame(ONE_ROW));
  state.counters["answer"] = static_cast<double>(ANSWER_OVERHEAD + b.answer_length);
}

// A 64 KB answer: SLCT of one stored value of 65,400 bytes.
void BM_channel_answer_64k(benchmark::State& state) {
  RequestBlock b = kernel().session;
  std::vector<char> answer(65535);
  for (auto _ : state) {
    std::memcpy(b.command, "SLCT", 4);
    b.answer_length = 65535;
    if (channel_call(&b, nullptr, BIG_ROW, nullptr, answer.data()) != 0) state.SkipWithError("SLCT BIG");
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * b.answer_length);
  state.counters["request"] = static_cast<double>(statement_frame(BIG_ROW));
  state.counters["answer"] = static_cast<double>(ANSWER_OVERHEAD + b.answer_length);
}

// The raw peer: a child process that answers every datagram with one of the size asked for
// in its first four bytes (0: no answer, for streams; the stream ends with a size of 1 to
// which it answers once).
struct RawPeer {
  std::string dir;
  pid_t pid = -1;
  int fd = -1;

  static int bound(const std::string& path, const std::string& peer) {
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) fail("socket");
    // A datagram of 64 KB needs a send buffer of more than 64 KB.
    int size = SOCKET_BUFFER;
    setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
    setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::snprintf(addr.sun_path, sizeof addr.sun_path, "%s", path.c_str());
    if (bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) fail("bind");
    std::snprintf(addr.sun_path, sizeof addr.sun_path, "%s", peer.c_str());
    for (int i = 0; connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0; ++i) {
      if (i > 500) fail("connect");
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return fd;
  }

  RawPeer() {
    dir = make_rundir();
    const std::string a = dir + "/a";
    const std::string b = dir + "/b";
    pid = fork();
    if (pid == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      const int peer = bound(b, a);
      std::vector<uint8_t> in(DATAGRAM_MAX);
      std::vector<uint8_t> out(DATAGRAM_MAX, 0x55);
      for (;;) {
        const ssize_t n = recv(peer, in.data(), in.size(), 0);
        if (n < 4) continue;
        uint32_t size;
        std::memcpy(&size, in.data(), 4);
        if (size != 0 && send(peer, out.data(), size, 0) < 0) _exit(1);
      }
    }
    fd = bound(a, b);
  }
  ~RawPeer() {
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    close(fd);
    std::error_code ignored;
    std::filesystem::remove_all(dir, ignored);
  }
  void send_asking(std::vector<uint8_t>& request, uint32_t answer) const {
    std::memcpy(request.data(), &answer, 4);
    if (send(fd, request.data(), request.size(), 0) < 0) fail("send");
  }
};

RawPeer& raw_peer() {
  static RawPeer p;
  return p;
}

// Plain ping-pong: request of range(0) bytes, answer of range(1) bytes.
void BM_raw_pingpong(benchmark::State& state) {
  RawPeer& p = raw_peer();
  std::vector<uint8_t> request(static_cast<size_t>(state.range(0)));
  std::vector<uint8_t> answer(DATAGRAM_MAX);
  const auto size = static_cast<uint32_t>(state.range(1));
  for (auto _ : state) {
    p.send_asking(request, size);
    if (recv(p.fd, answer.data(), answer.size(), 0) != static_cast<ssize_t>(size)) state.SkipWithError("recv");
  }
  if (size > 4096) state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * (size - ANSWER_OVERHEAD));
}

// The same with a reader thread that receives and hands each answer to the caller through a
// mutex and a condition variable, as the channel's client does.
void BM_raw_pingpong_reader_thread(benchmark::State& state) {
  RawPeer& p = raw_peer();
  std::vector<uint8_t> request(static_cast<size_t>(state.range(0)));
  const auto size = static_cast<uint32_t>(state.range(1));
  std::mutex lock;
  std::condition_variable arrived;
  bool ready = false;
  bool stop = false;
  std::vector<uint8_t> delivered(DATAGRAM_MAX);
  std::thread reader([&] {
    std::vector<uint8_t> buffer(DATAGRAM_MAX);
    for (;;) {
      const ssize_t n = recv(p.fd, buffer.data(), buffer.size(), 0);
      std::lock_guard guard(lock);
      if (stop) return;
      if (n > 0) std::memcpy(delivered.data(), buffer.data(), static_cast<size_t>(n));
      ready = true;
      arrived.notify_one();
    }
  });
  for (auto _ : state) {
    p.send_asking(request, size);
    std::unique_lock guard(lock);
    arrived.wait(guard, [&] { return ready; });
    ready = false;
  }
  {
    std::lock_guard guard(lock);
    stop = true;
  }
  p.send_asking(request, 4);  // wakes the reader, which then ends
  reader.join();
  if (size > 4096) state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * (size - ANSWER_OVERHEAD));
}

// One-way stream of 64 KB datagrams to the peer, which echoes nothing until the last.
void BM_raw_stream_64k(benchmark::State& state) {
  RawPeer& p = raw_peer();
  std::vector<uint8_t> datagram(static_cast<size_t>(state.range(0)));
  std::vector<uint8_t> answer(DATAGRAM_MAX);
  for (auto _ : state) p.send_asking(datagram, 0);
  std::vector<uint8_t> last(8);
  p.send_asking(last, 4);
  recv(p.fd, answer.data(), answer.size(), 0);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

void sizes_like_gete(benchmark::internal::Benchmark* b) { b->Args({FRAME_OVERHEAD, ANSWER_OVERHEAD + 28}); }
void sizes_like_one_row(benchmark::internal::Benchmark* b) {
  b->Args({static_cast<int64_t>(statement_frame(ONE_ROW)), ANSWER_OVERHEAD + 2 + 14});
}
void sizes_like_64k(benchmark::internal::Benchmark* b) {
  b->Args({static_cast<int64_t>(statement_frame(BIG_ROW)), ANSWER_OVERHEAD + 2 + BIG_VALUE});
}

BENCHMARK(BM_channel_gete)->UseRealTime();
BENCHMARK(BM_raw_pingpong)->Apply(sizes_like_gete)->UseRealTime();
BENCHMARK(BM_raw_pingpong_reader_thread)->Apply(sizes_like_gete)->UseRealTime();
BENCHMARK(BM_channel_slct_one_row)->UseRealTime();
BENCHMARK(BM_raw_pingpong)->Apply(sizes_like_one_row)->UseRealTime();
BENCHMARK(BM_raw_pingpong_reader_thread)->Apply(sizes_like_one_row)->UseRealTime();
BENCHMARK(BM_channel_answer_64k)->UseRealTime();
BENCHMARK(BM_raw_pingpong)->Apply(sizes_like_64k)->UseRealTime();
BENCHMARK(BM_raw_pingpong_reader_thread)->Apply(sizes_like_64k)->UseRealTime();
BENCHMARK(BM_raw_stream_64k)->Arg(ANSWER_OVERHEAD + 2 + BIG_VALUE)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
