// The terminal key decoder: turns the bytes a terminal sends (UTF-8 text, control bytes,
// xterm-style CSI and SS3 sequences with modifier parameters, the Linux console's own
// sequences, SGR mouse reports) into input records in the Win32 console's shape, with PC
// keyboard scan codes, so that the keyboard layer reads a terminal as it reads the Win32
// console. Pure: the caller feeds bytes and keeps what is not yet taken.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/console.h"

namespace tavrel {

// Win32 virtual-key codes of the keys the decoder produces.
constexpr uint16_t VK_BACK_KEY = 0x08;
constexpr uint16_t VK_TAB_KEY = 0x09;
constexpr uint16_t VK_CLEAR_KEY = 0x0C;
constexpr uint16_t VK_RETURN_KEY = 0x0D;
constexpr uint16_t VK_ESCAPE_KEY = 0x1B;
constexpr uint16_t VK_SPACE_KEY = 0x20;
constexpr uint16_t VK_PRIOR_KEY = 0x21;
constexpr uint16_t VK_NEXT_KEY = 0x22;
constexpr uint16_t VK_END_KEY = 0x23;
constexpr uint16_t VK_HOME_KEY = 0x24;
constexpr uint16_t VK_LEFT_KEY = 0x25;
constexpr uint16_t VK_UP_KEY = 0x26;
constexpr uint16_t VK_RIGHT_KEY = 0x27;
constexpr uint16_t VK_DOWN_KEY = 0x28;
constexpr uint16_t VK_INSERT_KEY = 0x2D;
constexpr uint16_t VK_DELETE_KEY = 0x2E;
constexpr uint16_t VK_F1_KEY = 0x70;  // F1..F12 are consecutive

// What one call of term_decode_input did.
enum TermDecodeStatus {
  TERM_DECODE_ACCEPT = 0,     // took `consumed` bytes and gave `count` records (0 or 1)
  TERM_DECODE_NEED_MORE = 1,  // the bytes begin a sequence: call again with more of them
  TERM_DECODE_REJECT = 2,     // the first `consumed` bytes mean nothing: drop them
};

// Held by the caller between calls: mouse reports tell which button changed, records carry
// the state of all buttons.
struct TermInputState {
  uint32_t mouse_buttons;
};

struct TermDecodeResult {
  int status;  // TermDecodeStatus
  int consumed;
  int count;
  InputRecord record;
};

// Decodes the start of data. `final` says no more bytes are coming soon (the Esc time-out
// passed): a lone ESC is then the Esc key and a cut sequence is taken as far as it goes,
// instead of NEED_MORE. ESC followed by a key's bytes is that key with Alt.
void term_decode_input(const uint8_t* data, size_t size, bool final, TermInputState* state,
                       TermDecodeResult* out);

// The record of a plain key press of a CP866 character, as the Win32 console gives it for the
// key that types it on a PC keyboard (ЙЦУКЕН for Cyrillic); the scan code is 0 for a
// character no key types. Used for text typed as UTF-8 and for the xterm forms that name a
// character with modifiers.
InputRecord term_char_record(uint8_t cp866, uint32_t control_state);

}  // namespace tavrel
