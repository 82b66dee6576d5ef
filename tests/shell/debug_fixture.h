// The fixture of the debugging screens' tests: the shell on an 80x25 virtual console with
// the manager's debugger started on the main block, every request (the debugger's, the
// catalogue's and the error report's) answered by the scripted kernel of the debugger's
// tests, and stored texts for the procedures P (42) and Q (43).
#pragma once

#include <map>
#include <string>

#include "../debugger/debug_peer.h"
#include "debugger/manager.h"
#include "debugger/message_log.h"
#include "debugger/view_lists.h"
#include "platform/virtual_console.h"
#include "shell/shell.h"
#include "tui/keyboard.h"
#include "tui/screen.h"

namespace tavrel {

inline void debug_no_pause(int) {}

class DebuggingTest : public ::testing::Test {
 protected:
  FakeKernel kernel;
  std::map<uint32_t, std::string> texts;  // stored texts by procedure
  uint32_t selected_text = 0;

  void SetUp() override {
    virtual_console_reset(80, 25);
    console_select(virtual_console());
    ASSERT_EQ(screen_start(), DISPLAY_CONSOLE);
    ui_set_pause_hook(debug_no_pause);
    clear_hot_keys();
    clear_stuffed_keys();
    set_key_filter(nullptr);
    shell_reset();
    desktop_clear();
    register_hot_keys();
    message_log_clear();
    g_kernel = &kernel;
    g_interrupt_after = -1;
    kernel.procedures[cp866("P")] = 42;
    kernel.procedures[cp866("Q")] = 43;
    texts[42] = "create procedure P(in N smallint default 5) for debug\ncode\n  call Q();\n  N := N - 1;\nend;";
    texts[43] = "create procedure Q() for debug\ncode\n  print 'q';\nend;";
    kernel.special = [this](const PeerRequest& r, RequestBlock* b, uint8_t* answer, uint32_t* code) {
      return catalogue(r, b, answer, code);
    };
    kernel_call_set([](RequestBlock* b, const void* b1, const void* b2, void*, void* answer) {
      return g_kernel->call(b, b1, b2, answer);
    });
    shell().main_block.channel = 3;
    catalog_bind(&shell().main_block, "DEMO");
    manager_debugger_start(&shell().main_block, "\"DEMO\"/\"DEMO\"", "");
    manager_debugger().calls = DebugCalls{peer_call, peer_wait, peer_pause};
  }
  void TearDown() override {
    ShellState& s = shell();
    s.main_state = STATE_LEAVE;
    // Windows go without the questions of a stopped execution.
    manager_debugger().current_execution = EXECUTION_NONE;
    for (DebugSession& session : manager_debugger().sessions) session.marked_line = -1;
    while (s.open_count > 0) {
      s.current->editor.modified = 0;
      close_current_window();
    }
    while (window_active() != nullptr) window_close();
    manager_debugger_stop();
    kernel_call_set(nullptr);
    clear_hot_keys();
    clear_stuffed_keys();
    screen_shutdown();
    g_kernel = nullptr;
  }

  // The catalogue's statements: lookups by name, stored texts, no parameters.
  bool catalogue(const PeerRequest& r, RequestBlock* b, uint8_t* answer, uint32_t* code) {
    if (r.command == "SLCT" && r.buffer2.find("$$$proc, system.$$$usr where $$$name = '") != std::string::npos) {
      const size_t at = r.buffer2.find("$$$name = '") + 11;
      const std::string name = r.buffer2.substr(at, r.buffer2.find('\'', at) - at);
      const auto it = kernel.procedures.find(name);
      if (it == kernel.procedures.end()) {
        *code = KERNEL_NO_MORE_ROWS;
        return true;
      }
      std::vector<uint8_t> id(4);
      put_u32(id.data(), it->second);
      *code = FakeKernel::reply(b, answer, id);
      return true;
    }
    if (r.command == "SLCT" && r.buffer2.find("$$$BODY") != std::string::npos) {
      selected_text = static_cast<uint32_t>(std::stoul(r.buffer2.substr(r.buffer2.find("$$$ID = ") + 8)));
      std::vector<uint8_t> row(ROW_BODY);
      put_u32(row.data(), static_cast<uint32_t>(texts[selected_text].size()));
      *code = FakeKernel::reply(b, answer, row);
      return true;
    }
    if (r.command == "GPRC") {
      const std::string& text = texts[selected_text];
      const size_t from = r.position - 1;
      const std::string part = text.substr(from, std::min<size_t>(b->answer_length, text.size() - from));
      *code = FakeKernel::reply(b, answer, std::vector<uint8_t>(part.begin(), part.end()));
      return true;
    }
    if (r.command == "SLCT" && r.buffer2.find("$$$PRCD") != std::string::npos) {
      *code = params_answer(b, answer);
      return true;
    }
    if (r.command == "GETN") {
      *code = KERNEL_NO_MORE_ROWS;
      return true;
    }
    return false;
  }
  // The parameter query: none unless a test says otherwise.
  virtual uint32_t params_answer(RequestBlock*, uint8_t*) { return KERNEL_NO_MORE_ROWS; }

  Debugger& d() { return manager_debugger(); }
  // Opens P's (or Q's) stored text in a source window, made current.
  WorkWindow* open_source(uint32_t id, const char* name) {
    WorkWindow* w = open_stored_window(id, cp866(name));
    EXPECT_NE(w, nullptr);
    if (w != nullptr) show_windows();
    kernel.calls.clear();
    return w;
  }
  // A state record of P's execution 9 stopped at a line.
  void stop_at(uint32_t procedure, uint32_t line, uint32_t flags = EXEC_DEBUGGED | EXEC_WAITING_DEBUGGER,
               uint16_t breakpoint = 0) {
    kernel.states.push_back(state_answer({procedure, 9, line, flags, 0, breakpoint}));
  }
  bool log_has(const char* utf8) const {
    for (const std::string& line : message_log())
      if (line == cp866(utf8)) return true;
    return false;
  }
  static bool screen_has(const char* utf8) {
    const std::string text = cp866(utf8);
    for (int row = 0; row < 25; ++row)
      if (virtual_console_row(row).find(text) != std::string::npos) return true;
    return false;
  }
};

}  // namespace tavrel
