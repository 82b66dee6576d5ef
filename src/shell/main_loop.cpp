// The main loop: the state dispatcher over the ten main states, the exit check that
// closes every work window before the program may end, and the program-wide hot keys.
#include "shell/shell.h"
#include "tui/help.h"
#include "tui/keyboard.h"
#include "tui/menu.h"

namespace tavrel {

void run_dispatcher() {
  ShellState& s = shell();
  while (s.main_state != STATE_LEAVE) {
    switch (s.main_state) {
      case STATE_WORK: work_in_current_window(); break;
      case STATE_MENU: run_main_menu(); break;
      case STATE_OPEN: s.main_state = open_work_window(s.kind_request) == 0 ? STATE_WORK : STATE_MENU; break;
      case STATE_SWITCH: switch_window(s.kind_request); break;
      case STATE_CLOSE: close_current_window(); break;
      case STATE_MOVE: move_current_window(); break;
      case STATE_RESIZE: resize_current_window(); break;
      case STATE_CASCADE: cascade_windows(); break;
      case STATE_ZOOM: zoom_current_window(); break;
      default: s.main_state = STATE_LEAVE; break;
    }
  }
}

int exit_check() {
  ShellState& s = shell();
  if (s.open_count == 0) return 1;
  while (s.open_count > 0) {
    if (close_current_window() == 0) return 0;  // refused: the loop goes on in state 1
    if (s.main_state == STATE_MENU) return 1;
  }
  return 1;
}

void run_main_loop() {
  do {
    run_dispatcher();
  } while (exit_check() == 0);
}

void alt_x_pressed() {
  ShellState& s = shell();
  if (s.main_state == STATE_MENU) {
    // The menu leaves at once, whatever column is open.
    menu_raise_abort();
  } else {
    stuff_key(KEY_WINDOW_RETURN);
  }
  s.main_state = STATE_LEAVE;
}

namespace {

void shift_f9_pressed() { calculator_open(); }

}  // namespace

void register_hot_keys() {
  set_hot_key(KEY_F1, help_f1, 0);
  set_hot_key(KEY_SHIFT_F9, shift_f9_pressed, 0);
  set_hot_key(KEY_ALT_X, alt_x_pressed, 0);
}

}  // namespace tavrel
