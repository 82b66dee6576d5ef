// Fuzz target of the kernel's debugger requests: the input is a run of PROC requests, each a
// sub-command number, a target (the argument/count field), an answer length and its data, run
// in process on a session of the demonstration database as the session's worker runs them, or
// first as the kernel's receiving thread tries them.
// The debugger must answer every one (an error is an answer) without crashing, hanging or
// leaking. What the requests left (debug sessions, breakpoints, variable tables) is released
// after each input, as when a client's session ends.
//
// Sub-commands that wait for a call from another session (16, 25) would wait for ever with no
// other session here: they are sent as 26 instead. A run (5) names an internal channel, which
// no session of this process has, so it is refused at once.
#include <sqlite3.h>

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "channel/framing.h"
#include "kernel/debug/debugger.h"
#include "kernel/demo.h"
#include "kernel/dispatch.h"
#include "kernel/engine/engine.h"
#include "kernel/session.h"
#include "kernel/storage.h"
#include "kernel/triggers.h"
#include "protocol/bytes.h"
#include "protocol/codes.h"
#include "text/codepage.h"

namespace {

using namespace tavrel;
using namespace tavrel::kernel;

constexpr uint32_t CLIENT_PID = 4242;
constexpr size_t REQUEST_HEAD = 7;     // sub-command, u32 target, u16 answer length
constexpr size_t REQUESTS_MAX = 8;     // requests of one input
constexpr size_t DATA_MAX = 600;       // data bytes of one request

struct Fixture {
  Session session;
  bool ready = false;
};

Fixture* fixture() {
  static Fixture* f = [] {
    auto* x = new Fixture;
    const std::filesystem::path dir =
        std::filesystem::temp_directory_path() / ("fuzz-kernel-proc-" + std::to_string(getpid()));
    std::filesystem::remove_all(dir);
    std::filesystem::create_directories(dir);
    const std::string path = (dir / "kernel.db").string();
    std::string message;
    if (storage_create(path, &message) != 0) return x;
    sqlite3* db = storage_connect(path, &message);
    if (db == nullptr || demo_create(db, &message) != 0) return x;
    debugger_install();
    Session& s = x->session;
    s.channel = 7;
    s.client_pid = CLIENT_PID;
    s.user = "DEMO";
    s.codepage = CODEPAGE_OTHER;
    s.connection.db = db;
    s.engine = engine_session_open(db, s.user, "kernel");
    if (s.engine == nullptr || triggers_register(db, s.engine) != 0) return x;
    connection_hold(&s.connection);
    x->ready = true;
    return x;
  }();
  return f;
}

// A PROC request frame as the channel sends it.
std::vector<uint8_t> proc_frame(uint8_t subcommand, uint32_t target, uint16_t answer_length, const uint8_t* data,
                                size_t size) {
  RequestBlock b{};
  std::memcpy(b.command, "PROC", 4);
  std::memset(b.node, ' ', 8);
  b.position = subcommand;
  b.argument = target;
  b.answer_length = answer_length;
  RequestParts parts{};
  parts.part[3] = {data, size};  // the data travel in the answer buffer
  std::vector<uint8_t> frame(FRAME_HEADER + request_data_length(parts) + FRAME_TRAILER);
  std::memcpy(frame.data() + 4, &b, sizeof b);
  request_write_data(parts, frame.data() + FRAME_HEADER);
  put_u32(frame.data() + frame.size() - FRAME_TRAILER, CLIENT_PID);
  return frame;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  Fixture* f = fixture();
  if (!f->ready) __builtin_trap();
  size_t at = 0;
  for (size_t n = 0; n < REQUESTS_MAX && size - at >= REQUEST_HEAD; ++n) {
    uint8_t subcommand = bytes[at];
    if (subcommand == PROC_WAIT_FOR_CALL || subcommand == PROC_CATCH_ANY) subcommand = PROC_ACTIVE_LIST;
    const uint32_t target = get_u32(bytes + at + 1);
    const uint16_t answer_length = get_u16(bytes + at + 5);
    at += REQUEST_HEAD;
    // The data run to the next 0xFF byte (or the end), at most DATA_MAX bytes.
    size_t end = at;
    while (end < size && bytes[end] != 0xFF && end - at < DATA_MAX) ++end;
    const std::vector<uint8_t> frame = proc_frame(subcommand, target, answer_length, bytes + at, end - at);
    at = end < size ? end + 1 : end;
    KernelRequest request;
    KernelAnswer answer;
    // Every other request is first tried as the receiving thread tries it while the worker is
    // idle; what it leaves goes on to the worker's path, as there.
    if (n % 2 == 0 && kernel_parse_frame(frame.data(), frame.size(), &request) == 0) {
      const DebuggerServed served = debugger_serve_here(&f->session, request, &answer);
      if (served == DebuggerServed::LEFT_TO_EXECUTION) __builtin_trap();  // nothing is parked here
      if (served == DebuggerServed::ANSWERED) {
        if (answer.data.size() > 65535) __builtin_trap();
        continue;
      }
    }
    const Handled handled = session_handle(&f->session, frame, &request, &answer);
    if (!handled.answered) __builtin_trap();  // every PROC request is answered
    if (answer.data.size() > 65535) __builtin_trap();
  }
  debugger_session_end(&f->session);
  return 0;
}
