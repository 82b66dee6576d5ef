// Keys: console input events become 16-bit key codes (high byte the PC scan code, low
// byte the character), and each key is routed before it reaches the caller: keys the
// program queued itself come first, then the key filter, then the hot-key registry, then
// the hot keys of the active menu. Keys are read on the main thread, in a wait on the
// console and on a wake-up event that a stuffed key signals.
#pragma once

#include <cstdint>

#include "platform/console.h"

namespace tavrel {

// Key codes the program binds.
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

// The characters read through the console's own character reading (110 of them; the
// runs of blanks are part of it, so the space bar is in the set).
extern const char KEYBOARD_MAP[];

using HotKeyHandler = void (*)();
using KeyFilter = uint16_t (*)(uint16_t key);  // 0 keep, 1 discard, else the replacement
using IdleHook = void (*)();
using MouseHandler = void (*)(int column, int row, uint32_t buttons, uint32_t flags,
                              uint32_t shift_flags);

// The last mouse event.
struct MouseState {
  int column, row;
  uint32_t buttons;
  uint32_t flags;
  uint32_t shift_flags;  // BIOS layout: Alt 0x08, Ctrl 0x04, Shift 0x03, Num 0x20, Scroll 0x10, Caps 0x40
};

uint16_t get_key();
// Waits for and decodes one console event. With peek set it returns 1 as soon as the next
// event is a key that would be delivered, without consuming it.
uint16_t read_key(bool peek);
uint16_t get_key_echo();
// Decodes one key record into a key code (steps 8-10 of the reading: the signed character
// added to the scan code, the navigation keys' characters cleared, the modifiers, Esc).
uint16_t key_from_record_fields(uint16_t scan, uint8_t ch, uint32_t control_state);

// The class of an input record as the read sees it: 0 not delivered as a key (mouse,
// key-up, modifier keys), 1 read through character reading, 2 read as a record.
int key_record_class(const InputRecord& rec);
// Calls the idle hook once, when one is set.
void keyboard_idle();

// The stuffed-key queue belongs to the user-interface thread; other threads hand keys over
// through client/ui_post.h.
int stuff_key(uint16_t key);  // 0, or 1 out of memory
bool key_came_from_queue();
int stuffed_key_count();
void clear_stuffed_keys();

// Registers (handler set), replaces the handler of (already registered: the first
// substitute key stays) or removes (handler null) a hot key. 0, 1 out of memory, 2 when
// asked to remove a key that is not registered.
int set_hot_key(uint16_t key, HotKeyHandler handler, uint16_t substitute);
bool hot_key_registered(uint16_t key);
// The handler and substitute key of a registered hot key; false when not registered.
bool hot_key_get(uint16_t key, HotKeyHandler* handler, uint16_t* substitute);
void clear_hot_keys();

void set_key_filter(KeyFilter filter);
void set_idle_hook(IdleHook hook);
// Called on the reading thread when get key finds the stuffed-key queue empty and each time
// the wake-up event ends a key wait: work that other threads posted is taken here.
void set_wake_hook(void (*hook)());
void set_idle_period(int milliseconds);
void set_mouse_handler(MouseHandler handler);
MouseState mouse_state();
void flush_input();

// Runs a handler the way hot keys run: the active window, help category, output position
// and console cursor shape are saved before and restored after.
void run_in_saved_context(HotKeyHandler handler);
void run_in_saved_context(void (*handler)(int), int argument);

// The character classes of the selected code page (ui_select_codepage).
bool char_is_letter(uint8_t c);
bool char_is_digit(uint8_t c);
bool char_is_printable(uint8_t c);

}  // namespace tavrel
