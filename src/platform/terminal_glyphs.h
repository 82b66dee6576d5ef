// The glyphs of CP866 screen cells and the UTF-8 form the terminal backend exchanges with the
// terminal. Kept here rather than taken from the code-page library, which itself builds on the
// platform library: a screen cell is not text, so the control bytes 0x01-0x1F and 0x7F show
// their classic PC glyphs (☺, ♪, ►, ↑, ⌂ ...) and 0x00 shows a blank.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tavrel {

// The code point each CP866 cell byte shows.
extern const uint16_t TERM_CP866_GLYPHS[256];

// The CP866 byte that shows a code point (the inverse of TERM_CP866_GLYPHS; U+0000 and the
// control characters of ASCII give their own byte), or -1 when no cell shows it.
int term_cp866_of_code_point(uint32_t code_point);

// Writes the UTF-8 form of a code point (1..4 bytes) into out; returns the count.
int term_utf8_encode(uint32_t code_point, char* out);

// Decodes the code point at the start of data. Returns the bytes it takes (1..4); 0 when data
// holds only the beginning of a sequence; -1 when the first byte starts no valid sequence.
int term_utf8_decode(const uint8_t* data, size_t size, uint32_t* code_point);

}  // namespace tavrel
