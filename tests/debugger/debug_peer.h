// A scripted kernel for the debugger's tests. It stands in the debugger's call seam: every
// request is recorded with its fields and the data the channel would send (the answer
// buffer up to the answer length without its trailing zeros, as the PROC layout sends it),
// and answered from the script below: procedures and variables by name, values, queued state
// records for the requests that move an execution, printed messages, the stack, the locals
// and active-list portions. An asynchronous request can be held until a KILL ends it.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "debugger/debugger.h"
#include "protocol/bytes.h"
#include "text/unicode.h"
#include "values/value_wire.h"

namespace tavrel {

struct PeerRequest {
  std::string command;
  uint32_t position = 0;
  uint32_t argument = 0;
  uint32_t flags = 0;
  uint16_t room = 0;
  uint16_t channel = 0;
  bool has_answer = false;    // an answer buffer was given
  std::vector<uint8_t> data;  // what the channel sends of the answer buffer
  std::string buffer1, buffer2;
};

struct PeerNote {
  NoteKind kind;
  std::string text;    // UTF-8
  std::string detail;  // UTF-8
  uint32_t code, system_code, position;
};

inline std::string cp866(const char* utf8) { return utf8_to_cp866(utf8); }

inline std::vector<uint8_t> wire_of(const Value& v) {
  std::vector<uint8_t> out;
  value_wire_put(v, &out);
  return out;
}
template <typename T>
Value number_value(uint8_t type, T n) {
  Value v{};
  v.type = type;
  payload_put(v, n);
  return v;
}
inline Value smallint(int16_t n) { return number_value(TYPE_SMALLINT, n); }
inline Value integer(int32_t n) { return number_value(TYPE_INTEGER, n); }

// The answer of a request that moves an execution: the state record and, behind it, the
// wire form of a return value.
inline std::vector<uint8_t> state_answer(const ExecState& s, const std::vector<uint8_t>& result = {}) {
  std::vector<uint8_t> out(EXEC_STATE_SIZE);
  exec_state_write(s, out);
  out.insert(out.end(), result.begin(), result.end());
  return out;
}

struct FakeKernel {
  // --- the script ---
  std::map<std::string, uint32_t> procedures;   // CP866 name -> identifier
  std::map<std::string, std::pair<uint16_t, uint8_t>> variables;  // CP866 upper name -> number, type
  std::map<uint16_t, std::vector<uint8_t>> values;  // variable number -> wire form
  std::deque<std::vector<uint8_t>> states;      // answers of 5-10, 16, 25 in order
  std::vector<std::string> printed;             // given out by the next 13
  std::vector<uint8_t> stack, locals;           // answers of 14 and 15
  std::deque<std::pair<std::vector<uint8_t>, uint16_t>> portions;  // answers of 26 and their counts
  std::map<uint32_t, std::pair<uint32_t, uint32_t>> fail_next;     // sub-command -> code, system code
  // A test's own answer, asked first: true when it answered (code in *code).
  std::function<bool(const PeerRequest&, RequestBlock*, uint8_t*, uint32_t*)> special;

  // --- asynchronous requests ---
  bool hold = false;       // an asynchronous request stays pending until a KILL
  int pending_polls = 0;   // an answered asynchronous request still polls pending this often
  RequestBlock* held = nullptr;
  int polls_left = 0;
  int polls = 0;           // polls of pending requests seen

  uint16_t next_channel = 7;
  std::vector<PeerRequest> calls;

  // The sub-commands of the recorded PROC requests ("1,20,5"), other commands by name.
  std::string sequence() const {
    std::string s;
    for (const PeerRequest& c : calls) {
      if (!s.empty()) s += ",";
      s += c.command == "PROC" ? std::to_string(c.position) : c.command;
    }
    return s;
  }
  std::vector<PeerRequest> proc(uint32_t subcommand) const {
    std::vector<PeerRequest> out;
    for (const PeerRequest& c : calls) {
      if (c.command == "PROC" && c.position == subcommand) out.push_back(c);
    }
    return out;
  }

  // Copies an answer in as the channel would: 1014 with the length needed when it does not fit.
  static uint32_t reply(RequestBlock* b, uint8_t* answer, const std::vector<uint8_t>& bytes) {
    if (bytes.size() > b->answer_length || answer == nullptr) {
      b->answer_length = static_cast<uint16_t>(bytes.size());
      return CHANNEL_ANSWER_TOO_LONG;
    }
    if (!bytes.empty()) std::memcpy(answer, bytes.data(), bytes.size());
    b->answer_length = static_cast<uint16_t>(bytes.size());
    return 0;
  }

  static uint32_t debugger_error(RequestBlock* b, uint32_t number) {
    b->system_code = number;
    return KERNEL_DEBUGGER_ERROR;
  }

  uint32_t answer_proc(const PeerRequest& r, RequestBlock* b, uint8_t* answer) {
    if (auto f = fail_next.find(r.position); f != fail_next.end()) {
      b->system_code = f->second.second;
      const uint32_t code = f->second.first;
      fail_next.erase(f);
      b->answer_length = 0;
      return code;
    }
    const std::vector<uint8_t>& d = r.data;
    switch (r.position) {
      case PROC_OPEN_SESSION: {
        b->answer_length = 0;
        if (d.empty() || d[0] == 0) {
          std::vector<uint8_t> padded = d;  // the kernel reads unsent bytes as zeros
          padded.resize(PROC_OPEN_BY_ID_SIZE);
          b->argument = get_u32(padded.data() + 1);
          return 0;
        }
        const auto it = procedures.find(std::string(d.begin() + 1, d.begin() + 1 + d[0]));
        b->argument = it == procedures.end() ? 0 : it->second;
        return it == procedures.end() ? debugger_error(b, DEBUGGER_UNDEFINED_PROCEDURE) : 0;
      }
      case PROC_EXECUTE: case PROC_STEP: case PROC_TRACE: case PROC_RUN: case PROC_RUN_TO_RETURN:
      case PROC_STOP: case PROC_WAIT_FOR_CALL: case PROC_CATCH_ANY: {
        if (states.empty()) return debugger_error(b, DEBUGGER_NOT_WAITING);
        const std::vector<uint8_t> s = states.front();
        states.pop_front();
        return reply(b, answer, s);
      }
      case PROC_READ_TABLE: {
        size_t taken = 0;
        const auto bytes = printed_messages_write(printed, b->answer_length, &taken);
        printed.erase(printed.begin(), printed.begin() + static_cast<std::ptrdiff_t>(taken));
        b->argument = static_cast<uint32_t>(printed.size());
        return reply(b, answer, bytes);
      }
      case PROC_CALL_STACK: return reply(b, answer, stack);
      case PROC_LOCALS: return reply(b, answer, locals);
      case PROC_VARIABLE_TABLE: b->argument = r.argument + 100; b->answer_length = 0; return 0;
      case PROC_FIND_VARIABLE: {
        const std::string name(d.begin() + 1, d.begin() + 1 + (d.empty() ? 0 : d[0]));
        const auto it = variables.find(name);
        b->argument = it == variables.end() ? VARIABLE_NONE : it->second.first;
        return reply(b, answer, {static_cast<uint8_t>(it == variables.end() ? 0 : it->second.second)});
      }
      case PROC_ACTIVE_LIST: {
        if (portions.empty()) return reply(b, answer, {0, 0});
        auto [bytes, count] = portions.front();
        portions.pop_front();
        b->argument = count;
        return reply(b, answer, bytes);
      }
      case PROC_READ_VARIABLE: {
        std::vector<uint8_t> padded = d;
        padded.resize(2);
        const uint16_t place = get_u16(padded.data());
        const uint16_t number = place == VARIABLE_NONE ? VARIABLE_NONE : static_cast<uint16_t>(place + 1);
        const auto it = values.find(number);
        if (it == values.end()) return debugger_error(b, DEBUGGER_BAD_PARAMETER);
        return reply(b, answer, it->second);
      }
      default: b->answer_length = 0; return 0;
    }
  }

  uint32_t answer_select(const PeerRequest& r, RequestBlock* b, uint8_t* answer) {
    const size_t at = r.buffer2.find("$$$proc where $$$id = ");
    if (at == std::string::npos) return KERNEL_NO_MORE_ROWS;
    const uint32_t id = static_cast<uint32_t>(std::stoul(r.buffer2.substr(at + 22)));
    for (const auto& [name, pid] : procedures) {
      if (pid != id) continue;
      std::vector<uint8_t> field(NAME_BYTES);
      name_field_put(field, name);
      return reply(b, answer, field);
    }
    return KERNEL_NO_MORE_ROWS;
  }

  uint32_t call(RequestBlock* b, const void* buffer1, const void* buffer2, void* answer) {
    PeerRequest r;
    r.command.assign(b->command, 4);
    r.position = b->position;
    r.argument = b->argument;
    r.flags = b->flags;
    r.room = b->answer_length;
    r.channel = b->channel;
    r.has_answer = answer != nullptr;
    if (buffer1 != nullptr) r.buffer1 = static_cast<const char*>(buffer1);
    if (buffer2 != nullptr) r.buffer2 = static_cast<const char*>(buffer2);
    if (answer != nullptr && r.command == "PROC") {
      const auto* bytes = static_cast<const uint8_t*>(answer);
      size_t n = b->answer_length;
      while (n > 0 && bytes[n - 1] == 0) --n;
      n += n & 1;
      n = std::min<size_t>(n, b->answer_length);
      r.data.assign(bytes, bytes + n);
    }
    calls.push_back(r);
    auto* out = static_cast<uint8_t*>(answer);
    b->system_code = 0;
    uint32_t code = 0;
    if (special && special(r, b, out, &code)) {
    } else if (r.command == "OPEN") {
      b->channel = next_channel++;
    } else if (r.command == "CLOS") {
      b->channel = 0;
    } else if (r.command == "KILL") {
      if (held != nullptr) held->return_code = KERNEL_INTERRUPTED;
      held = nullptr;
    } else if (r.command == "SLCT") {
      code = answer_select(r, b, out);
    } else if (r.command == "GETE") {
      code = reply(b, out, {'k', 'e', 'r', 'n', 'e', 'l'});
    } else if ((r.flags & REQUEST_ASYNC) != 0 && hold) {
      held = b;
      b->return_code = 0;
      return 0;
    } else {
      code = answer_proc(r, b, out);
    }
    b->return_code = code;
    if ((r.flags & REQUEST_ASYNC) != 0) {
      polls_left = pending_polls;
      return 0;
    }
    return code;
  }

  int wait(RequestBlock* b, int) {
    if (held == b || polls_left > 0) {
      ++polls;
      if (polls_left > 0) --polls_left;
      return 1;
    }
    return 0;
  }
};

inline FakeKernel* g_kernel = nullptr;
inline int g_interrupt_after = -1;  // polls before the person asks to interrupt; -1 never
inline int g_wait_shows = 0;

inline uint32_t peer_call(RequestBlock* b, const void* b1, const void* b2, void*, void* answer, CompletionRoutine) {
  return g_kernel->call(b, b1, b2, answer);
}
inline int peer_wait(RequestBlock* b, int seconds) { return g_kernel->wait(b, seconds); }
inline void peer_pause(const DebugCalls&, RequestBlock*, int) {}
inline bool peer_interrupt(void*) { return g_interrupt_after >= 0 && g_kernel->polls > g_interrupt_after; }
inline void peer_wait_shown(void*, bool) { ++g_wait_shows; }

// A debugger bound to the fake kernel through its seam; notes are kept in UTF-8.
class DebuggerTest : public ::testing::Test {
 protected:
  FakeKernel kernel;
  RequestBlock block{};
  std::unique_ptr<Debugger> owner = std::make_unique<Debugger>();
  Debugger& d = *owner;
  std::vector<PeerNote> notes;

  void SetUp() override {
    g_kernel = &kernel;
    g_interrupt_after = -1;
    g_wait_shows = 0;
    block.channel = 3;
    debugger_init(d, &block, "\"U\"/\"P\"", "CP866");
    d.calls = DebugCalls{peer_call, peer_wait, peer_pause};
    d.sink = [](void* user, const DebugNote& n) {
      static_cast<DebuggerTest*>(user)->notes.push_back(
          {n.kind, cp866_to_utf8(n.text), cp866_to_utf8(n.detail), n.code, n.system_code, n.position});
    };
    d.sink_user = this;
    d.interrupt_wanted = peer_interrupt;
    d.wait_shown = peer_wait_shown;
    kernel.procedures[cp866("P")] = 42;
    kernel.procedures[cp866("Q")] = 43;
  }
  void TearDown() override {
    debugger_shutdown(d);
    g_kernel = nullptr;
  }

  // Opens P's session and forgets the requests so far.
  DebugSession& open_p() {
    DebugSession* s = nullptr;
    EXPECT_EQ(session_open(d, "P", 0, true, &s), 0);
    kernel.calls.clear();
    notes.clear();
    return *s;
  }
  // P stopped at a line (from 0) in execution 9, as after a step.
  DebugSession& stopped_p(uint32_t line = 2) {
    DebugSession& s = open_p();
    kernel.states.push_back(state_answer({42, 9, line, EXEC_DEBUGGED | EXEC_WAITING_DEBUGGER, 0, 0}));
    EXPECT_EQ(debugger_catch_any(d), 0);
    kernel.calls.clear();
    notes.clear();
    return s;
  }
  std::vector<std::string> note_texts(NoteKind kind) const {
    std::vector<std::string> out;
    for (const PeerNote& n : notes) {
      if (n.kind == kind) out.push_back(n.text);
    }
    return out;
  }
};

inline std::vector<uint8_t> bytes_of(std::initializer_list<int> list) {
  std::vector<uint8_t> out;
  for (int b : list) out.push_back(static_cast<uint8_t>(b));
  return out;
}

}  // namespace tavrel
