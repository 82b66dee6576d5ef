// Keys: console input events become 16-bit key codes (high byte the PC scan code, low
// byte the character), and each key is routed before it reaches the caller: keys the
// program queued itself come first, then the key filter, then the hot-key registry, then
// the hot keys of the active menu. Keys are read on the main thread, in a wait on the
// console and on a wake-up event that a stuffed key signals.
#pragma once

#include <cstdint>

#include "platform/console.h"
#include "tui/key_codes.h"

namespace tavrel {

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

// The key code read_key delivers for a record that is the only input: KEY_NONE for what is
// never delivered (key-ups, modifier keys), KEY_MOUSE for a mouse record, the character
// alone for a key read through character reading, else the decoded record.
uint16_t key_for_record(const InputRecord& rec);

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
