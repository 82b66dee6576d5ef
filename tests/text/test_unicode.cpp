// Tests of the CP866 character table, the display glyphs, and UTF-8 encoding and decoding.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "text/unicode.h"

namespace tavrel {
namespace {

// The upper half of CP866 and the glyphs of the control bytes, written out independently of
// the tables under test.
const char32_t CP866_UPPER_HALF[] =
    U"АБВГДЕЖЗИЙКЛМНОП"  // 80
    U"РСТУФХЦЧШЩЪЫЬЭЮЯ"  // 90
    U"абвгдежзийклмноп"  // A0
    U"░▒▓│┤╡╢╖╕╣║╗╝╜╛┐"  // B0
    U"└┴┬├─┼╞╟╚╔╩╦╠═╬╧"  // C0
    U"╨╤╥╙╘╒╓╫╪┘┌█▄▌▐▀"  // D0
    U"рстуфхцчшщъыьэюя"  // E0
    U"ЁёЄєЇїЎў°∙·√№¤■\u00A0";  // F0
const char32_t CONTROL_GLYPHS[] = U" ☺☻♥♦♣♠•◘○◙♂♀♪♫☼►◄↕‼¶§▬↨↑↓→←∟↔▲▼";
static_assert(sizeof CP866_UPPER_HALF / sizeof(char32_t) == 129);
static_assert(sizeof CONTROL_GLYPHS / sizeof(char32_t) == 33);

TEST(Cp866Unicode, TableHoldsAsciiAndTheCp866UpperHalf) {
  for (int b = 0; b < 128; ++b) EXPECT_EQ(CP866_TO_UNICODE[b], b);
  for (int b = 128; b < 256; ++b) {
    EXPECT_EQ(CP866_TO_UNICODE[b], CP866_UPPER_HALF[b - 128]) << "byte " << b;
  }
}

TEST(Cp866Unicode, DisplayGlyphs) {
  for (int b = 0; b < 256; ++b) {
    const auto c = static_cast<uint8_t>(b);
    const char32_t expected = b < 32 ? CONTROL_GLYPHS[b] : b == 0x7F ? U'⌂' : CP866_TO_UNICODE[b];
    EXPECT_EQ(cp866_display_code_point(c), expected) << "byte " << b;
  }
}

TEST(Cp866Unicode, ReverseLookup) {
  for (int b = 0; b < 256; ++b) {
    const auto c = static_cast<uint8_t>(b);
    EXPECT_EQ(unicode_to_cp866(CP866_TO_UNICODE[b]), b) << "byte " << b;
    if (b != 0) {
      EXPECT_EQ(unicode_to_cp866(cp866_display_code_point(c)), b) << "byte " << b;
    }
  }
  // Near misses: neighbours of CP866 characters in the Cyrillic block and elsewhere.
  const uint32_t absent_code_points[] = {U'Ѐ', U'Ђ', U'Ѓ', U'ѐ', U'џ', U'Ґ', U'€', U'©',
                                         U'¡', U'▀' - 1, U'\uFFFD', 0x10FFFF, 0x110000};
  for (const uint32_t absent : absent_code_points) {
    EXPECT_EQ(unicode_to_cp866(absent), -1) << absent;
  }
}

TEST(Utf8, EncodeAndDecodeAtTheLengthBoundaries) {
  struct Case {
    uint32_t code_point;
    std::string bytes;
  };
  const Case cases[] = {
      {0x00, std::string(1, '\0')},
      {0x7F, "\x7F"},
      {0x80, "\xC2\x80"},
      {0x7FF, "\xDF\xBF"},
      {0x800, "\xE0\xA0\x80"},
      {0xD7FF, "\xED\x9F\xBF"},
      {0xE000, "\xEE\x80\x80"},
      {0xFFFF, "\xEF\xBF\xBF"},
      {0x10000, "\xF0\x90\x80\x80"},
      {0x10FFFF, "\xF4\x8F\xBF\xBF"},
  };
  for (const Case& c : cases) {
    char out[4];
    const int n = utf8_encode(c.code_point, out);
    EXPECT_EQ(std::string(out, static_cast<size_t>(n)), c.bytes) << c.code_point;
    uint32_t decoded = 0;
    EXPECT_EQ(utf8_decode(c.bytes + "x", &decoded), static_cast<int>(c.bytes.size()));
    EXPECT_EQ(decoded, c.code_point);
  }
  for (const uint32_t invalid : {0xD800u, 0xDFFFu, 0x110000u, 0xFFFFFFFFu}) {
    char out[4];
    EXPECT_EQ(std::string(out, static_cast<size_t>(utf8_encode(invalid, out))), "\xEF\xBF\xBD");
  }
}

TEST(Utf8, MalformedAndIncompleteSequences) {
  struct Case {
    const char* label;
    std::string bytes;
    int consumed;  // 1 = the first byte alone as U+FFFD, 0 = wait for more
  };
  const Case cases[] = {
      {"empty", "", 0},
      {"stray continuation", "\x80" "a", 1},
      {"overlong 2-byte", "\xC0\x80", 1},
      {"overlong 2-byte C1", "\xC1\xBF", 1},
      {"overlong 3-byte", "\xE0\x9F\xBF", 1},
      {"overlong 4-byte", "\xF0\x8F\xBF\xBF", 1},
      {"surrogate", "\xED\xA0\x80", 1},
      {"above U+10FFFF", "\xF4\x90\x80\x80", 1},
      {"lead F5", "\xF5\x80\x80\x80", 1},
      {"lead FF", "\xFF", 1},
      {"missing continuation", "\xD0" "A", 1},
      {"broken third byte", "\xE2\x82" "A", 1},
      {"broken fourth byte", "\xF0\x9F\x98" "A", 1},
      {"invalid even though cut short", "\xE0\x80", 1},
      {"cut short 2-byte", "\xD0", 0},
      {"cut short 3-byte", "\xE2\x82", 0},
      {"cut short 4-byte", "\xF0\x9F\x98", 0},
  };
  for (const Case& c : cases) {
    uint32_t code_point = 0x1234;
    EXPECT_EQ(utf8_decode(c.bytes, &code_point), c.consumed) << c.label;
    if (c.consumed == 1) {
      EXPECT_EQ(code_point, 0xFFFDu) << c.label;
    }
  }
}

TEST(Utf8, WholeTexts) {
  std::string every_byte;
  for (int b = 0; b < 256; ++b) every_byte += static_cast<char>(b);
  const std::string utf8 = cp866_to_utf8(every_byte);
  EXPECT_EQ(utf8_to_cp866(utf8), every_byte);

  EXPECT_EQ(cp866_to_utf8("\x8F\xE0\xA8\xA2\xA5\xE2, \xF1\xA6!"), "Привет, ёж!");
  struct Case {
    std::string utf8, cp866;
  };
  const Case cases[] = {
      {"Ёлка ╔═╗", "\xF0\xAB\xAA\xA0 \xC9\xCD\xBB"},
      {"€ 5", "? 5"},                       // CP866 lacks the character
      {"\xC0\x80x", "??x"},                  // each malformed byte stands alone
      {"\xD0\x90\xD0", "\x80?"},             // a sequence cut off at the end
      {"▲▼→", "\x1E\x1F\x1A"},               // display glyphs come back as their bytes
  };
  for (const Case& c : cases) EXPECT_EQ(utf8_to_cp866(c.utf8), c.cp866) << c.utf8;
}

}  // namespace
}  // namespace tavrel
