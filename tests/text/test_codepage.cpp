// Tests of the code-page tables, the conversion routines and the name classification.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "text/codepage.h"
#include "text/unicode.h"

namespace tavrel {
namespace {

// The published upper halves of KOI8-R and CP1251, written out independently of the tables
// under test (CP1251 0x98 is unassigned: \0).
const char32_t KOI8_CHARS[] =
    U"─│┌┐└┘├┤┬┴┼▀▄█▌▐"  // 80
    U"░▒▓⌠■∙√≈≤≥\u00A0⌡°²·÷"  // 90
    U"═║╒ё╓╔╕╖╗╘╙╚╛╜╝╞"  // A0
    U"╟╠╡Ё╢╣╤╥╦╧╨╩╪╫╬©"  // B0
    U"юабцдефгхийклмно"  // C0
    U"пярстужвьызшэщчъ"  // D0
    U"ЮАБЦДЕФГХИЙКЛМНО"  // E0
    U"ПЯРСТУЖВЬЫЗШЭЩЧЪ";  // F0
const char32_t CP1251_CHARS[] =
    U"ЂЃ‚ѓ„…†‡€‰Љ‹ЊЌЋЏ"  // 80
    U"ђ‘’“”•–—\0™љ›њќћџ"  // 90
    U"\u00A0ЎўЈ¤Ґ¦§Ё©Є«¬\u00AD®Ї"  // A0
    U"°±Ііґµ¶·ё№є»јЅѕї"  // B0
    U"АБВГДЕЖЗИЙКЛМНОП"  // C0
    U"РСТУФХЦЧШЩЪЫЬЭЮЯ"  // D0
    U"абвгдежзийклмноп"  // E0
    U"рстуфхцчшщъыьэюя";  // F0
static_assert(sizeof KOI8_CHARS / sizeof(char32_t) == 129);
static_assert(sizeof CP1251_CHARS / sizeof(char32_t) == 129);

// What a CP866 byte stands for.
char32_t cp866_char(uint8_t b) { return CP866_TO_UNICODE[b]; }

// Whether the upper half of CP866 holds the character.
bool cp866_has(char32_t c) { return unicode_to_cp866(c) >= 128; }

bool contains(const char32_t* chars, char32_t c) {
  for (int i = 0; i < 128; ++i) {
    if (chars[i] == c) return true;
  }
  return false;
}

// Case of a character by Unicode's own layout (Latin, the Cyrillic basic block and the
// Ѐ-Џ/ѐ-џ row), independent of the CP866 case tables.
char32_t expected_upper(char32_t c) {
  if (c >= U'a' && c <= U'z') return c - 0x20;
  if (c >= 0x430 && c <= 0x44F) return c - 0x20;
  if (c >= 0x450 && c <= 0x45F) return c - 0x50;
  return c;
}
char32_t expected_lower(char32_t c) {
  if (c >= U'A' && c <= U'Z') return c + 0x20;
  if (c >= 0x410 && c <= 0x42F) return c + 0x20;
  if (c >= 0x400 && c <= 0x40F) return c + 0x50;
  return c;
}

// A forward table that is a permutation, with the back table undoing it at every byte, makes
// the back table the inverse permutation too.
TEST(CodePageTables, ArePermutationsAndPairsAreInverse) {
  struct TablePair {
    const char* name;
    const uint8_t* forward;
    const uint8_t* back;
  };
  const TablePair pairs[] = {{"CP866/KOI8-R", CP866_TO_KOI8, KOI8_TO_CP866},
                             {"CP866/CP1251", CP866_TO_CP1251, CP1251_TO_CP866}};
  for (const TablePair& pair : pairs) {
    std::set<int> images;
    for (int i = 0; i < 128; ++i) {
      const uint8_t image = pair.forward[i];
      ASSERT_GE(image, 128) << pair.name << " byte " << i + 128;
      images.insert(image);
      EXPECT_EQ(pair.back[image - 128], i + 128) << pair.name << " byte " << i + 128;
    }
    EXPECT_EQ(images.size(), 128u) << pair.name;
  }
}

// Every character that CP866 also holds keeps its identity, apart from the kept departures of
// CP1251 (the crossed Ў/ў and the no-break space); any other character may only take the place
// of a CP866 character that its code page lacks.
TEST(CodePageTables, SharedCharactersKeepTheirIdentity) {
  struct Departure {
    uint8_t from, cp866;
  };
  const Departure cp1251_departures[] = {{0xA1, 0xF7}, {0xA2, 0xF6}, {0xA0, 0xD3}, {0xBE, 0xFF}};
  struct CodePage {
    const char* name;
    const char32_t* chars;
    const uint8_t* to_866;
    std::vector<Departure> departures;
  };
  const CodePage code_pages[] = {
      {"KOI8-R", KOI8_CHARS, KOI8_TO_CP866, {}},
      {"CP1251", CP1251_CHARS, CP1251_TO_CP866,
       {std::begin(cp1251_departures), std::end(cp1251_departures)}},
  };
  for (const CodePage& page : code_pages) {
    for (int b = 128; b < 256; ++b) {
      const uint8_t in_866 = page.to_866[b - 128];
      bool departs = false;
      for (const Departure& d : page.departures) {
        if (d.from == b) {
          EXPECT_EQ(in_866, d.cp866) << page.name << " byte " << b;
          departs = true;
        }
      }
      const char32_t c = page.chars[b - 128];
      if (departs) continue;
      if (cp866_has(c)) {
        EXPECT_EQ(cp866_char(in_866), c) << page.name << " byte " << b;
      } else {
        EXPECT_FALSE(contains(page.chars, cp866_char(in_866))) << page.name << " byte " << b;
      }
    }
  }
}

using Routine = char* (*)(const char*, char*, uint16_t);

struct NamedRoutine {
  const char* name;
  Routine routine;
};
const NamedRoutine ROUTINES[] = {
    {"cp866_to_koi8", cp866_to_koi8},   {"koi8_to_cp866", koi8_to_cp866},
    {"cp866_to_cp1251", cp866_to_cp1251}, {"cp1251_to_cp866", cp1251_to_cp866},
    {"cp1251_to_koi8", cp1251_to_koi8}, {"koi8_to_cp1251", koi8_to_cp1251},
    {"cp866_upper", cp866_upper},       {"cp866_lower", cp866_lower},
    {"koi8_upper", koi8_upper},         {"koi8_lower", koi8_lower},
    {"cp1251_upper", cp1251_upper},     {"cp1251_lower", cp1251_lower},
};

std::string convert_text(Routine routine, const std::string& text) {
  std::string out(text.size(), '\x55');
  routine(text.c_str(), out.data(), static_cast<uint16_t>(text.size()));
  return out;
}

// All bytes 1..255, the source of the round trips.
std::string all_bytes() {
  std::string text;
  for (int b = 1; b < 256; ++b) text += static_cast<char>(b);
  return text;
}

TEST(CodePageRoutines, StopAtMaximumOrTerminator) {
  // Source "abc": at most max bytes are written, the terminator only when there is room.
  const struct {
    uint16_t max;
    std::ptrdiff_t written;
  } cases[] = {{0, 0}, {2, 2}, {3, 3}, {4, 4}, {6, 4}};
  for (const NamedRoutine& r : ROUTINES) {
    for (const auto& c : cases) {
      char dst[8];
      std::memset(dst, 0x55, sizeof dst);
      EXPECT_EQ(r.routine("abc", dst, c.max), dst);
      const std::ptrdiff_t written = std::find(dst, dst + 8, 0x55) - dst;
      EXPECT_EQ(written, c.written) << r.name << " max " << c.max;
      EXPECT_EQ(std::count(dst, dst + 8, 0x55), 8 - c.written) << r.name << " max " << c.max;
      EXPECT_EQ(std::memchr(dst, 0, sizeof dst) != nullptr, c.written == 4) << r.name;
    }
  }
}

TEST(CodePageRoutines, ConversionsRoundTripEveryByte) {
  const std::string text = all_bytes();
  EXPECT_EQ(convert_text(koi8_to_cp866, convert_text(cp866_to_koi8, text)), text);
  EXPECT_EQ(convert_text(cp1251_to_cp866, convert_text(cp866_to_cp1251, text)), text);
  EXPECT_EQ(convert_text(koi8_to_cp1251, convert_text(cp1251_to_koi8, text)), text);
  EXPECT_EQ(convert_text(cp1251_to_koi8, convert_text(koi8_to_cp1251, text)), text);
  // The two-step routines agree with the steps taken one at a time.
  EXPECT_EQ(convert_text(cp1251_to_koi8, text),
            convert_text(cp866_to_koi8, convert_text(cp1251_to_cp866, text)));
  EXPECT_EQ(convert_text(koi8_to_cp1251, text),
            convert_text(cp866_to_cp1251, convert_text(koi8_to_cp866, text)));
}

// The crossed Ў/ў (a kept departure) in the string and the single-character routines.
TEST(CodePageRoutines, CrossedLettersInTheRoutines) {
  EXPECT_EQ(convert_text(cp1251_to_cp866, "\xA1\xA2"), "\xF7\xF6");
  EXPECT_EQ(cp1251_char_to_cp866(0xA1), 0xF7);
  EXPECT_EQ(cp1251_char_to_cp866(0xC0), 0x80);  // А
  EXPECT_EQ(cp1251_char_to_cp866('A'), 'A');
}

// Each case routine changes the character a byte stands for exactly as Unicode does; a KOI8-R
// or CP1251 byte stands for the character of its CP866 image.
TEST(CodePageRoutines, CaseRoutinesFollowUnicodeInEveryCodePage) {
  struct CaseRoutine {
    const char* name;
    Routine routine;
    Routine to_866;  // nullptr: the routine works on CP866 itself
    bool upper;
  };
  const CaseRoutine routines[] = {
      {"cp866_upper", cp866_upper, nullptr, true},
      {"cp866_lower", cp866_lower, nullptr, false},
      {"koi8_upper", koi8_upper, koi8_to_cp866, true},
      {"koi8_lower", koi8_lower, koi8_to_cp866, false},
      {"cp1251_upper", cp1251_upper, cp1251_to_cp866, true},
      {"cp1251_lower", cp1251_lower, cp1251_to_cp866, false},
  };
  const std::string text = all_bytes();
  for (const CaseRoutine& r : routines) {
    const std::string changed = convert_text(r.routine, text);
    const std::string before = r.to_866 ? convert_text(r.to_866, text) : text;
    const std::string after = r.to_866 ? convert_text(r.to_866, changed) : changed;
    for (size_t i = 0; i < text.size(); ++i) {
      const char32_t c = cp866_char(static_cast<uint8_t>(before[i]));
      EXPECT_EQ(cp866_char(static_cast<uint8_t>(after[i])),
                r.upper ? expected_upper(c) : expected_lower(c))
          << r.name << " byte " << i + 1;
    }
  }
  EXPECT_EQ(convert_text(cp866_upper, "Hello, \xAC\xA8\xE0 \xF1!"), "HELLO, \x8C\x88\x90 \xF0!");
}

TEST(CodePageNames, Classification) {
  struct Case {
    const char* name;
    uint16_t value;
  };
  const Case cases[] = {
      {"1251", CODEPAGE_1251}, {"CP1251", CODEPAGE_1251}, {"koi8", CODEPAGE_KOI8},
      {"KOI8-R", CODEPAGE_KOI8}, {"866", CODEPAGE_866}, {"CP866", CODEPAGE_866},
      {"cp866", CODEPAGE_OTHER}, {"KOI8", CODEPAGE_OTHER}, {"koi8-r", CODEPAGE_OTHER},
      {"CP866 ", CODEPAGE_OTHER}, {"CP86", CODEPAGE_OTHER}, {"", CODEPAGE_OTHER},
      {"CP437", CODEPAGE_OTHER},
  };
  for (const Case& c : cases) EXPECT_EQ(codepage_classify(c.name), c.value) << c.name;
}

}  // namespace
}  // namespace tavrel
