// Key codes: the one reference for the 16-bit codes the program binds (high byte the PC
// scan code, low byte the character, in the BIOS convention), and a table that names each
// of them together with the key press that gives it on a PC keyboard. The keyboard, the
// terminal check program and the tests all take their codes from here.
#pragma once

#include <cstdint>
#include <span>

namespace tavrel {

// Key codes the program binds. KEY_NAMES below names every one of them.
constexpr uint16_t KEY_NONE = 0x0000;
constexpr uint16_t KEY_MOUSE = 0xFF00;
constexpr uint16_t KEY_ESC = 0x011B;
constexpr uint16_t KEY_ENTER = 0x1C0D;
constexpr uint16_t KEY_TAB = 0x0F09;
constexpr uint16_t KEY_SHIFT_TAB = 0x0F00;
constexpr uint16_t KEY_BACKSPACE = 0x0E08;
constexpr uint16_t KEY_F1 = 0x3B00, KEY_F2 = 0x3C00, KEY_F3 = 0x3D00, KEY_F4 = 0x3E00,
                   KEY_F5 = 0x3F00, KEY_F6 = 0x4000, KEY_F7 = 0x4100, KEY_F8 = 0x4200,
                   KEY_F9 = 0x4300, KEY_F10 = 0x4400;
constexpr uint16_t KEY_SHIFT_F1 = 0x5400, KEY_SHIFT_F4 = 0x5700, KEY_SHIFT_F5 = 0x5800,
                   KEY_SHIFT_F9 = 0x5C00, KEY_SHIFT_F10 = 0x5D00;
constexpr uint16_t KEY_CTRL_F1 = 0x5E00, KEY_CTRL_F2 = 0x5F00, KEY_CTRL_F3 = 0x6000,
                   KEY_CTRL_F4 = 0x6100, KEY_CTRL_F5 = 0x6200, KEY_CTRL_F6 = 0x6300,
                   KEY_CTRL_F7 = 0x6400, KEY_CTRL_F8 = 0x6500, KEY_CTRL_F9 = 0x6600,
                   KEY_CTRL_F10 = 0x6700;
constexpr uint16_t KEY_ALT_F1 = 0x6800, KEY_ALT_F2 = 0x6900, KEY_ALT_F3 = 0x6A00,
                   KEY_ALT_F6 = 0x6D00, KEY_ALT_F8 = 0x6F00, KEY_ALT_F9 = 0x7000;
constexpr uint16_t KEY_UP = 0x4800, KEY_DOWN = 0x5000, KEY_LEFT = 0x4B00, KEY_RIGHT = 0x4D00,
                   KEY_PGUP = 0x4900, KEY_PGDN = 0x5100, KEY_HOME = 0x4700, KEY_END = 0x4F00,
                   KEY_INS = 0x5200, KEY_DEL = 0x5300;
constexpr uint16_t KEY_CTRL_LEFT = 0x7300, KEY_CTRL_RIGHT = 0x7400, KEY_CTRL_END = 0x7500,
                   KEY_CTRL_PGDN = 0x7600, KEY_CTRL_HOME = 0x7700, KEY_CTRL_PGUP = 0x8400;
constexpr uint16_t KEY_ALT_UP = 0x7500;
constexpr uint16_t KEY_ALT_C = 0x2E00, KEY_ALT_D = 0x2000, KEY_ALT_M = 0x3200,
                   KEY_ALT_N = 0x3100, KEY_ALT_P = 0x1900, KEY_ALT_S = 0x1F00,
                   KEY_ALT_U = 0x1600, KEY_ALT_X = 0x2D00;

constexpr uint16_t KEY_CTRL_Y = 0x3819;

// A named key code and the press that gives it: scan code, CP866 character and control-key
// state of the key record (the Win32 values of platform/console.h).
struct KeyName {
  const char* name;  // as the hint lines write it: "F1", "Shift+F9", "Ctrl+Right", "Alt+X"
  uint16_t code;
  uint16_t scan;
  uint8_t ch;
  uint32_t control_state;
};

// Every named key press, KEY_NONE and KEY_MOUSE aside (they are no key press).
std::span<const KeyName> key_names();
// The name of a code; null when it has none. Where two presses share a code (Alt+Up and
// Ctrl+End are both 0x7500) the first in the table names it.
const char* key_name(uint16_t code);

}  // namespace tavrel
