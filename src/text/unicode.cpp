// CP866 and Unicode: the table of the 256 CP866 characters, the display glyphs of the control
// bytes, the reverse lookup, and UTF-8 encoding and decoding of single code points and texts.
#include "text/unicode.h"

#include <array>

namespace tavrel {

constexpr uint16_t CP866_TO_UNICODE[256] = {
    0x0000, 0x0001, 0x0002, 0x0003, 0x0004, 0x0005, 0x0006, 0x0007,  // 00
    0x0008, 0x0009, 0x000A, 0x000B, 0x000C, 0x000D, 0x000E, 0x000F,  // 08
    0x0010, 0x0011, 0x0012, 0x0013, 0x0014, 0x0015, 0x0016, 0x0017,  // 10
    0x0018, 0x0019, 0x001A, 0x001B, 0x001C, 0x001D, 0x001E, 0x001F,  // 18
    0x0020, 0x0021, 0x0022, 0x0023, 0x0024, 0x0025, 0x0026, 0x0027,  // 20
    0x0028, 0x0029, 0x002A, 0x002B, 0x002C, 0x002D, 0x002E, 0x002F,  // 28
    0x0030, 0x0031, 0x0032, 0x0033, 0x0034, 0x0035, 0x0036, 0x0037,  // 30
    0x0038, 0x0039, 0x003A, 0x003B, 0x003C, 0x003D, 0x003E, 0x003F,  // 38
    0x0040, 0x0041, 0x0042, 0x0043, 0x0044, 0x0045, 0x0046, 0x0047,  // 40
    0x0048, 0x0049, 0x004A, 0x004B, 0x004C, 0x004D, 0x004E, 0x004F,  // 48
    0x0050, 0x0051, 0x0052, 0x0053, 0x0054, 0x0055, 0x0056, 0x0057,  // 50
    0x0058, 0x0059, 0x005A, 0x005B, 0x005C, 0x005D, 0x005E, 0x005F,  // 58
    0x0060, 0x0061, 0x0062, 0x0063, 0x0064, 0x0065, 0x0066, 0x0067,  // 60
    0x0068, 0x0069, 0x006A, 0x006B, 0x006C, 0x006D, 0x006E, 0x006F,  // 68
    0x0070, 0x0071, 0x0072, 0x0073, 0x0074, 0x0075, 0x0076, 0x0077,  // 70
    0x0078, 0x0079, 0x007A, 0x007B, 0x007C, 0x007D, 0x007E, 0x007F,  // 78
    0x0410, 0x0411, 0x0412, 0x0413, 0x0414, 0x0415, 0x0416, 0x0417,  // 80 АБВГДЕЖЗ
    0x0418, 0x0419, 0x041A, 0x041B, 0x041C, 0x041D, 0x041E, 0x041F,  // 88 ИЙКЛМНОП
    0x0420, 0x0421, 0x0422, 0x0423, 0x0424, 0x0425, 0x0426, 0x0427,  // 90 РСТУФХЦЧ
    0x0428, 0x0429, 0x042A, 0x042B, 0x042C, 0x042D, 0x042E, 0x042F,  // 98 ШЩЪЫЬЭЮЯ
    0x0430, 0x0431, 0x0432, 0x0433, 0x0434, 0x0435, 0x0436, 0x0437,  // A0 абвгдежз
    0x0438, 0x0439, 0x043A, 0x043B, 0x043C, 0x043D, 0x043E, 0x043F,  // A8 ийклмноп
    0x2591, 0x2592, 0x2593, 0x2502, 0x2524, 0x2561, 0x2562, 0x2556,  // B0 ░▒▓│┤╡╢╖
    0x2555, 0x2563, 0x2551, 0x2557, 0x255D, 0x255C, 0x255B, 0x2510,  // B8 ╕╣║╗╝╜╛┐
    0x2514, 0x2534, 0x252C, 0x251C, 0x2500, 0x253C, 0x255E, 0x255F,  // C0 └┴┬├─┼╞╟
    0x255A, 0x2554, 0x2569, 0x2566, 0x2560, 0x2550, 0x256C, 0x2567,  // C8 ╚╔╩╦╠═╬╧
    0x2568, 0x2564, 0x2565, 0x2559, 0x2558, 0x2552, 0x2553, 0x256B,  // D0 ╨╤╥╙╘╒╓╫
    0x256A, 0x2518, 0x250C, 0x2588, 0x2584, 0x258C, 0x2590, 0x2580,  // D8 ╪┘┌█▄▌▐▀
    0x0440, 0x0441, 0x0442, 0x0443, 0x0444, 0x0445, 0x0446, 0x0447,  // E0 рстуфхцч
    0x0448, 0x0449, 0x044A, 0x044B, 0x044C, 0x044D, 0x044E, 0x044F,  // E8 шщъыьэюя
    0x0401, 0x0451, 0x0404, 0x0454, 0x0407, 0x0457, 0x040E, 0x045E,  // F0 ЁёЄєЇїЎў
    0x00B0, 0x2219, 0x00B7, 0x221A, 0x2116, 0x00A4, 0x25A0, 0x00A0,  // F8 °∙·√№¤■ 
};

namespace {

constexpr uint32_t REPLACEMENT_CHARACTER = 0xFFFD;
constexpr uint32_t MAX_CODE_POINT = 0x10FFFF;

// The classic PC glyphs of the control bytes 0x01-0x1F as they appear in screen cells; 0x00 is
// an empty cell.
constexpr uint16_t CONTROL_GLYPHS[32] = {
    0x0020, 0x263A, 0x263B, 0x2665, 0x2666, 0x2663, 0x2660, 0x2022,  // 00 ☺☻♥♦♣♠•
    0x25D8, 0x25CB, 0x25D9, 0x2642, 0x2640, 0x266A, 0x266B, 0x263C,  // 08 ◘○◙♂♀♪♫☼
    0x25BA, 0x25C4, 0x2195, 0x203C, 0x00B6, 0x00A7, 0x25AC, 0x21A8,  // 10 ►◄↕‼¶§▬↨
    0x2191, 0x2193, 0x2192, 0x2190, 0x221F, 0x2194, 0x25B2, 0x25BC,  // 18 ↑↓→←∟↔▲▼
};
constexpr uint16_t DEL_GLYPH = 0x2302;  // ⌂, the glyph of 0x7F

// Reverse lookup. The Cyrillic block U+0400-U+045F, which holds most non-ASCII text, is a
// direct index (0 = not in CP866); every other character of CP866's upper half and the
// control glyphs sit in a table sorted by code point for a binary search. Both are built at
// compile time from the tables above, so they cannot drift apart.
constexpr uint32_t CYRILLIC_FIRST = 0x0400;
constexpr uint32_t CYRILLIC_COUNT = 0x60;

constexpr bool in_cyrillic_block(uint32_t code_point) {
  return code_point >= CYRILLIC_FIRST && code_point < CYRILLIC_FIRST + CYRILLIC_COUNT;
}

constexpr std::array<uint8_t, CYRILLIC_COUNT> build_cyrillic_index() {
  std::array<uint8_t, CYRILLIC_COUNT> index{};
  for (int b = 128; b < 256; ++b) {
    if (in_cyrillic_block(CP866_TO_UNICODE[b])) {
      index[CP866_TO_UNICODE[b] - CYRILLIC_FIRST] = static_cast<uint8_t>(b);
    }
  }
  return index;
}

struct ReverseEntry {
  uint16_t code_point;
  uint8_t byte;
};

constexpr size_t count_other_entries() {
  size_t count = 32;  // the glyphs of 0x01-0x1F and 0x7F
  for (int b = 128; b < 256; ++b) {
    if (!in_cyrillic_block(CP866_TO_UNICODE[b])) ++count;
  }
  return count;
}

constexpr size_t OTHER_COUNT = count_other_entries();

constexpr std::array<ReverseEntry, OTHER_COUNT> build_other_table() {
  std::array<ReverseEntry, OTHER_COUNT> table{};
  size_t n = 0;
  for (int b = 1; b < 32; ++b) table[n++] = {CONTROL_GLYPHS[b], static_cast<uint8_t>(b)};
  table[n++] = {DEL_GLYPH, 0x7F};
  for (int b = 128; b < 256; ++b) {
    if (!in_cyrillic_block(CP866_TO_UNICODE[b])) {
      table[n++] = {CP866_TO_UNICODE[b], static_cast<uint8_t>(b)};
    }
  }
  for (size_t i = 1; i < n; ++i) {  // insertion sort: a few dozen entries, once, at compile time
    const ReverseEntry entry = table[i];
    size_t j = i;
    for (; j > 0 && table[j - 1].code_point > entry.code_point; --j) table[j] = table[j - 1];
    table[j] = entry;
  }
  return table;
}

constexpr std::array<uint8_t, CYRILLIC_COUNT> CYRILLIC_INDEX = build_cyrillic_index();
constexpr std::array<ReverseEntry, OTHER_COUNT> OTHER_TABLE = build_other_table();

constexpr bool strictly_sorted(const std::array<ReverseEntry, OTHER_COUNT>& table) {
  for (size_t i = 1; i < table.size(); ++i) {
    if (table[i - 1].code_point >= table[i].code_point) return false;
  }
  return true;
}
static_assert(strictly_sorted(OTHER_TABLE), "a code point must name one CP866 byte");

}  // namespace

uint32_t cp866_display_code_point(uint8_t c) {
  if (c < 32) return CONTROL_GLYPHS[c];
  if (c == 0x7F) return DEL_GLYPH;
  return CP866_TO_UNICODE[c];
}

int unicode_to_cp866(uint32_t code_point) {
  if (code_point < 0x80) return static_cast<int>(code_point);
  if (in_cyrillic_block(code_point)) {
    const uint8_t b = CYRILLIC_INDEX[code_point - CYRILLIC_FIRST];
    return b != 0 ? b : -1;
  }
  size_t low = 0;
  size_t high = OTHER_TABLE.size();
  while (low < high) {
    const size_t mid = (low + high) / 2;
    if (OTHER_TABLE[mid].code_point < code_point) {
      low = mid + 1;
    } else {
      high = mid;
    }
  }
  if (low < OTHER_TABLE.size() && OTHER_TABLE[low].code_point == code_point) {
    return OTHER_TABLE[low].byte;
  }
  return -1;
}

int utf8_encode(uint32_t code_point, char* out) {
  if (code_point > MAX_CODE_POINT || (code_point >= 0xD800 && code_point <= 0xDFFF)) {
    code_point = REPLACEMENT_CHARACTER;
  }
  if (code_point < 0x80) {
    out[0] = static_cast<char>(code_point);
    return 1;
  }
  if (code_point < 0x800) {
    out[0] = static_cast<char>(0xC0 | (code_point >> 6));
    out[1] = static_cast<char>(0x80 | (code_point & 0x3F));
    return 2;
  }
  if (code_point < 0x10000) {
    out[0] = static_cast<char>(0xE0 | (code_point >> 12));
    out[1] = static_cast<char>(0x80 | ((code_point >> 6) & 0x3F));
    out[2] = static_cast<char>(0x80 | (code_point & 0x3F));
    return 3;
  }
  out[0] = static_cast<char>(0xF0 | (code_point >> 18));
  out[1] = static_cast<char>(0x80 | ((code_point >> 12) & 0x3F));
  out[2] = static_cast<char>(0x80 | ((code_point >> 6) & 0x3F));
  out[3] = static_cast<char>(0x80 | (code_point & 0x3F));
  return 4;
}

// The lead byte fixes the length and the range allowed for the second byte; the narrowed
// ranges after E0, ED, F0 and F4 are what exclude overlong forms, surrogates and values
// above U+10FFFF. C0, C1 and F5-FF can only start overlong or out-of-range forms.
int utf8_decode(std::string_view text, uint32_t* code_point) {
  if (text.empty()) return 0;
  const auto lead = static_cast<uint8_t>(text[0]);
  if (lead < 0x80) {
    *code_point = lead;
    return 1;
  }
  size_t length = 0;
  uint32_t value = 0;
  uint8_t second_low = 0x80;
  uint8_t second_high = 0xBF;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
    value = lead & 0x1Fu;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    value = lead & 0x0Fu;
    if (lead == 0xE0) second_low = 0xA0;
    if (lead == 0xED) second_high = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    value = lead & 0x07u;
    if (lead == 0xF0) second_low = 0x90;
    if (lead == 0xF4) second_high = 0x8F;
  } else {
    *code_point = REPLACEMENT_CHARACTER;
    return 1;
  }
  for (size_t i = 1; i < length; ++i) {
    if (i >= text.size()) return 0;  // a valid beginning: wait for the rest
    const auto c = static_cast<uint8_t>(text[i]);
    const uint8_t low = i == 1 ? second_low : 0x80;
    const uint8_t high = i == 1 ? second_high : 0xBF;
    if (c < low || c > high) {
      *code_point = REPLACEMENT_CHARACTER;
      return 1;
    }
    value = (value << 6) | (c & 0x3Fu);
  }
  *code_point = value;
  return static_cast<int>(length);
}

std::string cp866_to_utf8(std::string_view cp866) {
  std::string out;
  out.reserve(cp866.size() * 2);
  char buffer[4];
  for (const char c : cp866) {
    const int n = utf8_encode(CP866_TO_UNICODE[static_cast<uint8_t>(c)], buffer);
    out.append(buffer, static_cast<size_t>(n));
  }
  return out;
}

// A sequence cut off at the end of the text becomes a single '?'.
std::string utf8_to_cp866(std::string_view utf8) {
  std::string out;
  out.reserve(utf8.size());
  while (!utf8.empty()) {
    uint32_t code_point = 0;
    const int n = utf8_decode(utf8, &code_point);
    if (n == 0) {
      out += '?';
      break;
    }
    const int b = unicode_to_cp866(code_point);
    out += static_cast<char>(b < 0 ? '?' : b);
    utf8.remove_prefix(static_cast<size_t>(n));
  }
  return out;
}

}  // namespace tavrel
