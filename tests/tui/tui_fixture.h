// The fixture of the user-interface tests: a fresh 80x25 virtual console, the screen
// started on it, no pauses, no hot keys, no queued keys, no windows left behind.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "text/unicode.h"
#include "platform/virtual_console.h"
#include "tui/keyboard.h"
#include "tui/screen.h"

namespace tavrel {

inline void no_pause(int) {}

class TuiTest : public ::testing::Test {
 protected:
  void SetUp() override {
    virtual_console_reset(80, 25);
    console_select(virtual_console());
    ASSERT_EQ(screen_start(), DISPLAY_CONSOLE);
    ui_set_pause_hook(no_pause);
    clear_hot_keys();
    clear_stuffed_keys();
    set_key_filter(nullptr);
    set_idle_hook(nullptr);
    set_mouse_handler(nullptr);
  }
  void TearDown() override {
    while (window_active() != nullptr) window_close();
    clear_hot_keys();
    clear_stuffed_keys();
    set_idle_hook(nullptr);
    screen_shutdown();
  }
};

// Key records as a console delivers them.
inline void push_key(uint16_t scan, uint8_t ch, uint32_t state = 0) {
  virtual_console_push_key(0, scan, ch, state);
}
inline void push_char(char c) { push_key(0x1E, static_cast<uint8_t>(c)); }
inline void push_enter() { push_key(0x1C, 0x0D); }
inline void push_esc() { push_key(0x01, 0x1B); }
inline void push_click(int column, int row) {
  virtual_console_push_mouse(column, row, MOUSE_LEFT);
}

inline std::string cp866(const char* utf8) { return utf8_to_cp866(utf8); }
inline uint8_t glyph(int column, int row) { return virtual_console_cell(column, row).ch; }
inline uint8_t attr_at(int column, int row) { return virtual_console_cell(column, row).attr; }

}  // namespace tavrel
