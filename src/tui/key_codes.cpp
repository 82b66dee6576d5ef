// The table of named key codes with the key press that gives each one. Its rows follow the
// constants of key_codes.h; the keyboard tests push every press and expect its code.
#include "tui/key_codes.h"

#include <array>

#include "platform/console.h"

namespace tavrel {

namespace {

constexpr uint32_t SHIFT = CK_SHIFT, CTRL = CK_LEFT_CTRL, ALT = CK_LEFT_ALT;

constexpr std::array KEY_TABLE = {
    KeyName{"Esc", KEY_ESC, 0x01, 0x1B, 0},
    KeyName{"Enter", KEY_ENTER, 0x1C, 0x0D, 0},
    KeyName{"Tab", KEY_TAB, 0x0F, 0x09, 0},
    KeyName{"Shift+Tab", KEY_SHIFT_TAB, 0x0F, 0x09, SHIFT},
    KeyName{"Backspace", KEY_BACKSPACE, 0x0E, 0x08, 0},
    KeyName{"F1", KEY_F1, 0x3B, 0, 0},
    KeyName{"F2", KEY_F2, 0x3C, 0, 0},
    KeyName{"F3", KEY_F3, 0x3D, 0, 0},
    KeyName{"F4", KEY_F4, 0x3E, 0, 0},
    KeyName{"F5", KEY_F5, 0x3F, 0, 0},
    KeyName{"F6", KEY_F6, 0x40, 0, 0},
    KeyName{"F7", KEY_F7, 0x41, 0, 0},
    KeyName{"F8", KEY_F8, 0x42, 0, 0},
    KeyName{"F9", KEY_F9, 0x43, 0, 0},
    KeyName{"F10", KEY_F10, 0x44, 0, 0},
    KeyName{"Shift+F1", KEY_SHIFT_F1, 0x3B, 0, SHIFT},
    KeyName{"Shift+F4", KEY_SHIFT_F4, 0x3E, 0, SHIFT},
    KeyName{"Shift+F5", KEY_SHIFT_F5, 0x3F, 0, SHIFT},
    KeyName{"Shift+F9", KEY_SHIFT_F9, 0x43, 0, SHIFT},
    KeyName{"Shift+F10", KEY_SHIFT_F10, 0x44, 0, SHIFT},
    KeyName{"Ctrl+F1", KEY_CTRL_F1, 0x3B, 0, CTRL},
    KeyName{"Ctrl+F2", KEY_CTRL_F2, 0x3C, 0, CTRL},
    KeyName{"Ctrl+F3", KEY_CTRL_F3, 0x3D, 0, CTRL},
    KeyName{"Ctrl+F4", KEY_CTRL_F4, 0x3E, 0, CTRL},
    KeyName{"Ctrl+F5", KEY_CTRL_F5, 0x3F, 0, CTRL},
    KeyName{"Ctrl+F6", KEY_CTRL_F6, 0x40, 0, CTRL},
    KeyName{"Ctrl+F7", KEY_CTRL_F7, 0x41, 0, CTRL},
    KeyName{"Ctrl+F8", KEY_CTRL_F8, 0x42, 0, CTRL},
    KeyName{"Ctrl+F9", KEY_CTRL_F9, 0x43, 0, CTRL},
    KeyName{"Ctrl+F10", KEY_CTRL_F10, 0x44, 0, CTRL},
    KeyName{"Alt+F1", KEY_ALT_F1, 0x3B, 0, ALT},
    KeyName{"Alt+F2", KEY_ALT_F2, 0x3C, 0, ALT},
    KeyName{"Alt+F3", KEY_ALT_F3, 0x3D, 0, ALT},
    KeyName{"Alt+F6", KEY_ALT_F6, 0x40, 0, ALT},
    KeyName{"Alt+F8", KEY_ALT_F8, 0x42, 0, ALT},
    KeyName{"Alt+F9", KEY_ALT_F9, 0x43, 0, ALT},
    KeyName{"Up", KEY_UP, 0x48, 0, 0},
    KeyName{"Down", KEY_DOWN, 0x50, 0, 0},
    KeyName{"Left", KEY_LEFT, 0x4B, 0, 0},
    KeyName{"Right", KEY_RIGHT, 0x4D, 0, 0},
    KeyName{"PgUp", KEY_PGUP, 0x49, 0, 0},
    KeyName{"PgDn", KEY_PGDN, 0x51, 0, 0},
    KeyName{"Home", KEY_HOME, 0x47, 0, 0},
    KeyName{"End", KEY_END, 0x4F, 0, 0},
    KeyName{"Ins", KEY_INS, 0x52, 0, 0},
    KeyName{"Del", KEY_DEL, 0x53, 0, 0},
    KeyName{"Ctrl+Left", KEY_CTRL_LEFT, 0x4B, 0, CTRL},
    KeyName{"Ctrl+Right", KEY_CTRL_RIGHT, 0x4D, 0, CTRL},
    KeyName{"Ctrl+End", KEY_CTRL_END, 0x4F, 0, CTRL},
    KeyName{"Ctrl+PgDn", KEY_CTRL_PGDN, 0x51, 0, CTRL},
    KeyName{"Ctrl+Home", KEY_CTRL_HOME, 0x47, 0, CTRL},
    KeyName{"Ctrl+PgUp", KEY_CTRL_PGUP, 0x49, 0, CTRL},
    KeyName{"Alt+Up", KEY_ALT_UP, 0x48, 0, ALT},
    KeyName{"Alt+C", KEY_ALT_C, 0x2E, 'c', ALT},
    KeyName{"Alt+D", KEY_ALT_D, 0x20, 'd', ALT},
    KeyName{"Alt+M", KEY_ALT_M, 0x32, 'm', ALT},
    KeyName{"Alt+N", KEY_ALT_N, 0x31, 'n', ALT},
    KeyName{"Alt+P", KEY_ALT_P, 0x19, 'p', ALT},
    KeyName{"Alt+S", KEY_ALT_S, 0x1F, 's', ALT},
    KeyName{"Alt+U", KEY_ALT_U, 0x16, 'u', ALT},
    KeyName{"Alt+X", KEY_ALT_X, 0x2D, 'x', ALT},
    KeyName{"Ctrl+Y", KEY_CTRL_Y, 0x15, 0x19, CTRL},
};

}  // namespace

std::span<const KeyName> key_names() { return KEY_TABLE; }

const char* key_name(uint16_t code) {
  for (const KeyName& k : KEY_TABLE)
    if (k.code == code) return k.name;
  return nullptr;
}

}  // namespace tavrel
