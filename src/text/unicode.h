// CP866 and Unicode: the standard mapping of the 256 CP866 bytes, and UTF-8 encoding and
// decoding, used by the terminal backend to draw CP866 cells and read typed text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tavrel {

// The character of each CP866 byte, as text: 0x00-0x7F are ASCII (control codes included).
extern const uint16_t CP866_TO_UNICODE[256];

// The glyph a screen cell holding the byte shows. Screen cells are not text: the UI puts the
// bytes 0x01-0x1F and 0x7F there for their classic PC glyphs (arrows, triangles, ☺, ♪, ⌂ ...),
// so these are drawn as such; 0x00 is drawn as a space, and every other byte as in
// CP866_TO_UNICODE.
uint32_t cp866_display_code_point(uint8_t c);

// The CP866 byte of a code point, or -1 when CP866 has no such character. The display glyphs
// of 0x01-0x1F and 0x7F map back to those bytes.
int unicode_to_cp866(uint32_t code_point);

// Writes the UTF-8 form of a code point (1..4 bytes) to out; returns the bytes written. A
// surrogate or a value above U+10FFFF is written as U+FFFD.
int utf8_encode(uint32_t code_point, char* out);
// Decodes one code point from the start of text. Returns the bytes consumed (1..4) and
// stores the code point; 0 when text is empty or holds only the beginning of a sequence
// (the caller waits for more bytes); a malformed byte is consumed alone as U+FFFD.
int utf8_decode(std::string_view text, uint32_t* code_point);

// Whole texts. A code point that CP866 lacks becomes '?'.
std::string cp866_to_utf8(std::string_view cp866);
// A sequence cut off at the end of the text becomes one '?'.
std::string utf8_to_cp866(std::string_view utf8);

}  // namespace tavrel
