// The fixture of the editor tests: an 80x25 virtual console with the screen started, an
// editor window over rows 1-23 (21 text rows, 78 columns), no hooks, insert mode, no last
// search and an empty clipboard. Helpers set lines, read them back, and catch what the
// screen shows while a dialog waits for its key.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "text/unicode.h"
#include "editor/editor.h"
#include "platform/virtual_console.h"
#include "tui/keyboard.h"
#include "tui/screen.h"

namespace tavrel {

// Everything the screen showed whenever a key was read (dialogs included) and during
// pauses (the last-column notice).
inline std::vector<std::string> g_seen_screens;

inline std::string screen_text() {
  std::string all;
  for (int r = 0; r < 25; r++) all += virtual_console_row(r) + "\n";
  return all;
}
inline uint16_t remember_screen(uint16_t) {
  g_seen_screens.push_back(screen_text());
  return 0;
}
inline void remember_on_pause(int) { g_seen_screens.push_back(screen_text()); }

inline uint8_t glyph_at(int column, int row) { return virtual_console_cell(column, row).ch; }
inline std::string cp866(const char* utf8) { return utf8_to_cp866(utf8); }

// True when some screen seen so far showed the text.
inline bool was_shown(const std::string& text) {
  for (const std::string& s : g_seen_screens)
    if (s.find(text) != std::string::npos) return true;
  return false;
}

class EditorTest : public ::testing::Test {
 protected:
  Editor e;

  void SetUp() override {
    virtual_console_reset(80, 25);
    console_select(virtual_console());
    ASSERT_EQ(screen_start(), DISPLAY_CONSOLE);
    ui_set_pause_hook(remember_on_pause);
    clear_hot_keys();
    clear_stuffed_keys();
    set_key_filter(remember_screen);
    set_mouse_handler(nullptr);
    editor_set_hooks(EditorHooks{});
    editor_set_overwrite(false);
    search_reset();
    clipboard_clear();
    g_seen_screens.clear();
    ASSERT_EQ(editor_create(&e, 1, 0, 23, 79), 0);
    editor_set_name(&e, "P1");
    ASSERT_NE(editor_open_window(&e, FRAME_DOUBLE), 0u);
  }
  void TearDown() override {
    editor_destroy(&e);
    while (window_active() != nullptr) window_close();
    set_key_filter(nullptr);
    clear_hot_keys();
    clear_stuffed_keys();
    clipboard_clear();
    screen_shutdown();
  }

  void set_lines(std::initializer_list<const char*> lines) {
    int i = 0;
    for (const char* s : lines) text_set_line(&e.text, i++, s, static_cast<int>(std::string(s).size()));
  }
  std::string line(int i) const {
    const char* p = text_line(&e.text, i);
    return p == nullptr ? std::string() : std::string(p, static_cast<size_t>(text_length(&e.text, i)));
  }
  void keys(std::initializer_list<uint16_t> codes) {
    for (uint16_t k : codes) editor_key(&e, k);
  }
  void type(const std::string& s) {
    for (char c : s) editor_key(&e, static_cast<uint8_t>(c));
  }
};

// Key records as a console delivers them.
inline void push_key(uint16_t scan, uint8_t ch, uint32_t state = 0) { virtual_console_push_key(0, scan, ch, state); }
inline void push_text(const std::string& s) {
  for (char c : s) push_key(0x1E, static_cast<uint8_t>(c));
}
inline void push_enter() { push_key(0x1C, 0x0D); }
inline void push_esc() { push_key(0x01, 0x1B); }

}  // namespace tavrel
