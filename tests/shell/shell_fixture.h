// The fixture of the shell's tests: an 80x25 virtual console with the screen started, the
// shell's state reset, its hot keys registered and no work windows; everything the shell
// opened is closed again afterwards.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "text/unicode.h"
#include "platform/virtual_console.h"
#include "shell/shell.h"
#include "tui/keyboard.h"
#include "tui/screen.h"

namespace tavrel {

inline void no_pause(int) {}

class ShellTest : public ::testing::Test {
 protected:
  void SetUp() override {
    virtual_console_reset(80, 25);
    console_select(virtual_console());
    ASSERT_EQ(screen_start(), DISPLAY_CONSOLE);
    ui_set_pause_hook(no_pause);
    clear_hot_keys();
    clear_stuffed_keys();
    set_key_filter(nullptr);
    shell_reset();
    desktop_clear();
    register_hot_keys();
    login_set_opener(nullptr);
    // No kernel here: every catalogue request finds it not loaded.
    kernel_call_set([](RequestBlock* b, const void*, const void*, void*, void*) {
      b->return_code = CHANNEL_NOT_REACHED;
      return CHANNEL_NOT_REACHED;
    });
    catalog_bind(&shell().main_block, "DEMO");
  }
  void TearDown() override {
    ShellState& s = shell();
    s.main_state = STATE_LEAVE;
    while (s.open_count > 0) {
      s.current->editor.modified = 0;
      close_current_window();
    }
    while (window_active() != nullptr) window_close();
    clear_hot_keys();
    clear_stuffed_keys();
    login_set_opener(nullptr);
    kernel_call_set(nullptr);
    screen_shutdown();
  }
};

inline void push_key(uint16_t scan, uint8_t ch, uint32_t state = 0) {
  virtual_console_push_key(0, scan, ch, state);
}
inline void push_text(const std::string& text) {
  for (char c : text) push_key(0x1E, static_cast<uint8_t>(c));
}
inline void push_enter() { push_key(0x1C, 0x0D); }
inline void push_esc() { push_key(0x01, 0x1B); }
inline void push_alt_x() { push_key(0x2D, 'x', CK_LEFT_ALT); }
inline void push_tab() { push_key(0x0F, 0x09); }
// Answers the dialog of a new procedure (name P) or trigger (T on table X) in advance.
inline void answer_new_procedure() {
  push_text("P");
  push_enter();
}
inline void answer_new_trigger() {
  push_text("T");
  push_tab();
  push_text("X");
  push_enter();
}
inline int open_new_procedure() {
  answer_new_procedure();
  return open_work_window(KIND_NEW_PROCEDURE);
}
inline int open_new_trigger() {
  answer_new_trigger();
  return open_work_window(KIND_NEW_TRIGGER);
}

inline std::string cp866(const char* utf8) { return utf8_to_cp866(utf8); }
// True when some row of the screen holds the text (CP866).
inline bool screen_shows(const std::string& text) {
  for (int row = 0; row < 25; row++)
    if (virtual_console_row(row).find(text) != std::string::npos) return true;
  return false;
}

}  // namespace tavrel
