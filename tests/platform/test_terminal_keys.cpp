// The terminal key decoder: byte strings as xterm, tmux, rxvt and the Linux console send
// them, the records they must give, and the key codes the keyboard layer makes of those
// records, named from its key table where the program binds them (so that a wrong scan code,
// character or modifier bit shows up as the wrong key).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/terminal_keys.h"
#include "tui/keyboard.h"

namespace tavrel {
namespace {

// Decodes all of bytes (as one read, the Esc time-out passed at the end).
std::vector<InputRecord> decode_all(const std::string& bytes, TermInputState* state) {
  std::vector<InputRecord> records;
  size_t pos = 0;
  while (pos < bytes.size()) {
    TermDecodeResult r;
    term_decode_input(reinterpret_cast<const uint8_t*>(bytes.data()) + pos, bytes.size() - pos,
                      true, state, &r);
    EXPECT_NE(r.status, TERM_DECODE_NEED_MORE) << "with the time-out passed";
    EXPECT_GT(r.consumed, 0);
    if (r.consumed <= 0) break;
    if (r.status == TERM_DECODE_ACCEPT && r.count == 1) records.push_back(r.record);
    pos += static_cast<size_t>(r.consumed);
  }
  return records;
}

constexpr uint32_t ALT = CK_LEFT_ALT, CTRL = CK_LEFT_CTRL, SHIFT = CK_SHIFT, ENH = CK_ENHANCED;

struct KeyCase {
  const char* terminal;
  const char* bytes;
  uint16_t vk;
  uint16_t scan;
  uint8_t ch;
  uint32_t control;
  uint16_t key;  // what the keyboard layer must make of it
};

const KeyCase KEY_CASES[] = {
    // Text and the keys of the main block.
    {"any", "a", 'A', 0x1E, 'a', 0, 'a'},
    {"any", "A", 'A', 0x1E, 'A', SHIFT, 'A'},
    {"any", " ", 0x20, 0x39, ' ', 0, ' '},
    {"any", "?", 0xBF, 0x35, '?', SHIFT, '?'},
    {"any", "\r", 0x0D, 0x1C, 0x0D, 0, KEY_ENTER},
    {"any", "\t", 0x09, 0x0F, 0x09, 0, KEY_TAB},
    {"any", "\x7f", 0x08, 0x0E, 0x08, 0, KEY_BACKSPACE},
    {"any", "\x08", 0x08, 0x0E, 0x08, 0, KEY_BACKSPACE},
    {"any", "\x1b", 0x1B, 0x01, 0x1B, 0, KEY_ESC},
    {"any", "\x19", 'Y', 0x15, 0x19, CTRL, KEY_CTRL_Y},  // Ctrl+Y
    {"any", "\x01", 'A', 0x1E, 0x01, CTRL, 0x4101},  // Ctrl+A
    {"any", "\x0a", 'J', 0x24, 0x0A, CTRL, 0x470A},  // Ctrl+J, not Enter
    // Cyrillic typed as UTF-8: the CP866 byte and the scan code of the ЙЦУКЕН key.
    {"any", "ф", 'A', 0x1E, 0xE4, 0, 0x1DE4},
    {"any", "Ч", 'X', 0x2D, 0x97, SHIFT, 0x2C97},
    {"any", "й", 'Q', 0x10, 0xA9, 0, 0x0FA9},
    {"any", "ю", 0xBE, 0x34, 0xEE, 0, 0x33EE},
    {"any", "ё", 0xC0, 0x29, 0xF1, 0, 0x28F1},
    {"any", "Ё", 0xC0, 0x29, 0xF0, SHIFT, 0x28F0},
    {"any", "э", 0xDE, 0x28, 0xED, 0, 0x27ED},
    {"any", "№", 0, 0, 0xFC, 0, 0xFFFC},
    // Alt as an ESC prefix, Cyrillic letters included: Alt+Ч is Alt+X.
    {"xterm", "\x1bx", 'X', 0x2D, 'x', ALT, KEY_ALT_X},
    {"xterm", "\x1b" "ч", 'X', 0x2D, 0xE7, ALT, KEY_ALT_X},
    {"xterm", "\x1b" "Ч", 'X', 0x2D, 0x97, ALT | SHIFT, KEY_ALT_X},
    {"xterm", "\x1b" "в", 'D', 0x20, 0xA2, ALT, KEY_ALT_D},
    {"xterm", "\x1b" "1", '1', 0x02, '1', ALT, 0x7800},
    {"xterm", "\x1b" "0", '0', 0x0B, '0', ALT, 0x0B00},
    {"xterm", "\x1b\x1b[A", 0x26, 0x48, 0, ALT | ENH, KEY_ALT_UP},  // rxvt's Alt+Up
    {"xterm", "\x1b\x19", 'Y', 0x15, 0x19, ALT | CTRL, 0x1500},
    // Function keys with modifiers.
    {"xterm", "\x1bOP", 0x70, 0x3B, 0, 0, KEY_F1},
    {"xterm", "\x1bOS", 0x73, 0x3E, 0, 0, KEY_F4},
    {"xterm", "\x1b[1;2P", 0x70, 0x3B, 0, SHIFT, KEY_SHIFT_F1},
    {"xterm", "\x1b[1;5P", 0x70, 0x3B, 0, CTRL, KEY_CTRL_F1},
    {"xterm", "\x1b[1;3P", 0x70, 0x3B, 0, ALT, KEY_ALT_F1},
    {"xterm", "\x1b[15~", 0x74, 0x3F, 0, 0, KEY_F5},
    {"xterm", "\x1b[18;5~", 0x76, 0x41, 0, CTRL, KEY_CTRL_F7},
    {"xterm", "\x1b[20;2~", 0x78, 0x43, 0, SHIFT, KEY_SHIFT_F9},
    {"xterm", "\x1b[21~", 0x79, 0x44, 0, 0, KEY_F10},
    {"xterm", "\x1b[21;2~", 0x79, 0x44, 0, SHIFT, KEY_SHIFT_F10},
    {"xterm", "\x1b[21;3~", 0x79, 0x44, 0, ALT, 0x7100},
    {"xterm", "\x1b[21;9~", 0x79, 0x44, 0, ALT, 0x7100},  // Meta counts as Alt
    {"xterm", "\x1b[24~", 0x7B, 0x58, 0, 0, 0x5800},  // F12: the code of Shift+F5
    {"konsole", "\x1bO2P", 0x70, 0x3B, 0, SHIFT, KEY_SHIFT_F1},
    // Cursor block.
    {"xterm", "\x1b[A", 0x26, 0x48, 0, ENH, KEY_UP},
    {"xterm", "\x1bOB", 0x28, 0x50, 0, ENH, KEY_DOWN},
    {"xterm", "\x1b[H", 0x24, 0x47, 0, ENH, KEY_HOME},
    {"xterm", "\x1b[F", 0x23, 0x4F, 0, ENH, KEY_END},
    {"xterm", "\x1b[1;3A", 0x26, 0x48, 0, ALT | ENH, KEY_ALT_UP},
    {"xterm", "\x1b[1;5D", 0x25, 0x4B, 0, CTRL | ENH, KEY_CTRL_LEFT},
    {"xterm", "\x1b[1;5C", 0x27, 0x4D, 0, CTRL | ENH, KEY_CTRL_RIGHT},
    {"xterm", "\x1b[1;5F", 0x23, 0x4F, 0, CTRL | ENH, KEY_CTRL_END},
    {"xterm", "\x1b[1;5H", 0x24, 0x47, 0, CTRL | ENH, KEY_CTRL_HOME},
    {"xterm", "\x1b[5;5~", 0x21, 0x49, 0, CTRL | ENH, KEY_CTRL_PGUP},
    {"xterm", "\x1b[6;5~", 0x22, 0x51, 0, CTRL | ENH, KEY_CTRL_PGDN},
    {"xterm", "\x1b[2~", 0x2D, 0x52, 0, ENH, KEY_INS},
    {"xterm", "\x1b[3~", 0x2E, 0x53, 0, ENH, KEY_DEL},
    {"xterm", "\x1b[3;3~", 0x2E, 0x53, 0, ALT | ENH, 0x8000},
    {"xterm", "\x1b[Z", 0x09, 0x0F, 0x09, SHIFT, KEY_SHIFT_TAB},
    {"xterm", "\x1bOM", 0x0D, 0x1C, 0x0D, ENH, KEY_ENTER},
    // xterm's forms that name a character with its modifiers.
    {"xterm", "\x1b[27;5;121~", 'Y', 0x15, 0x19, CTRL, KEY_CTRL_Y},
    {"kitty", "\x1b[121;3u", 'Y', 0x15, 'y', ALT, 0x1500},
    {"kitty", "\x1b[1095;3u", 'X', 0x2D, 0xE7, ALT, KEY_ALT_X},  // Alt+ч
    {"kitty", "\x1b[27u", 0x1B, 0x01, 0x1B, 0, KEY_ESC},
    // tmux (its own key encoding inside the pane).
    {"tmux", "\x1b[1~", 0x24, 0x47, 0, ENH, KEY_HOME},
    {"tmux", "\x1b[4~", 0x23, 0x4F, 0, ENH, KEY_END},
    {"tmux", "\x1b[15;5~", 0x74, 0x3F, 0, CTRL, KEY_CTRL_F5},
    {"tmux", "\x1b[1;6P", 0x70, 0x3B, 0, CTRL | SHIFT, KEY_CTRL_F1},
    // rxvt.
    {"rxvt", "\x1b[7~", 0x24, 0x47, 0, ENH, KEY_HOME},
    {"rxvt", "\x1b[8~", 0x23, 0x4F, 0, ENH, KEY_END},
    // The Linux console.
    {"linux", "\x1b[[A", 0x70, 0x3B, 0, 0, KEY_F1},
    {"linux", "\x1b[[E", 0x74, 0x3F, 0, 0, KEY_F5},
    {"linux", "\x1b[17~", 0x75, 0x40, 0, 0, KEY_F6},
    {"linux", "\x1b[25~", 0x72, 0x3D, 0, SHIFT, 0x5600},
    {"linux", "\x1b[34~", 0x79, 0x44, 0, SHIFT, KEY_SHIFT_F10},
    {"linux", "\x1b[G", 0x0C, 0x4C, 0, 0, 0x4C00},
};

TEST(TerminalKeys, SequencesGiveTheirRecordsAndKeyCodes) {
  for (const KeyCase& c : KEY_CASES) {
    SCOPED_TRACE(std::string(c.terminal) + " " + testing::PrintToString(std::string(c.bytes)));
    TermInputState state{};
    std::vector<InputRecord> records = decode_all(c.bytes, &state);
    ASSERT_EQ(records.size(), 1u);
    const InputRecord& r = records[0];
    EXPECT_EQ(r.kind, INPUT_KEY);
    EXPECT_TRUE(r.key_down);
    EXPECT_EQ(r.repeat, 1);
    EXPECT_EQ(r.virtual_key, c.vk);
    EXPECT_EQ(r.scan, c.scan);
    EXPECT_EQ(r.ch, c.ch);
    EXPECT_EQ(r.control_state, c.control);
    EXPECT_EQ(key_for_record(r), c.key);
  }
}

// Bytes trickling in one at a time give the same record, and only once the sequence is whole.
TEST(TerminalKeys, ByteByByteWaitsForTheWholeSequence) {
  for (const KeyCase& c : KEY_CASES) {
    std::string bytes = c.bytes;
    if (bytes == "\x1b") continue;  // a lone ESC waits for the time-out by design
    SCOPED_TRACE(testing::PrintToString(bytes));
    TermInputState state{};
    TermDecodeResult r{};
    size_t given = 0;
    do {
      ++given;
      term_decode_input(reinterpret_cast<const uint8_t*>(bytes.data()), given, false, &state, &r);
    } while (r.status == TERM_DECODE_NEED_MORE && given < bytes.size());
    ASSERT_EQ(r.status, TERM_DECODE_ACCEPT);
    EXPECT_EQ(static_cast<size_t>(r.consumed), bytes.size());
    EXPECT_EQ(given, bytes.size()) << "accepted before the sequence was whole";
    ASSERT_EQ(r.count, 1);
    EXPECT_EQ(key_for_record(r.record), c.key);
  }
}

TEST(TerminalKeys, UnfinishedInputBeforeAndAfterTheTimeOut) {
  struct Case {
    const char* bytes;
    int status_when_final;
    int consumed_when_final;
    uint16_t key_when_final;  // 0: no record
  } cases[] = {
      {"\x1b", TERM_DECODE_ACCEPT, 1, KEY_ESC},              // Esc
      {"\x1b[", TERM_DECODE_ACCEPT, 2, 0x1A00},             // Alt+[
      {"\x1bO", TERM_DECODE_ACCEPT, 2, 0x1800},             // Alt+O
      {"\x1b[1;5", TERM_DECODE_ACCEPT, 2, 0x1A00},          // cut short: Alt+[, then text
      {"\x1b[[", TERM_DECODE_ACCEPT, 2, 0x1A00},
      {"\x1b[<0;10", TERM_DECODE_ACCEPT, 2, 0x1A00},
      {"\x1b\x1b", TERM_DECODE_ACCEPT, 1, KEY_ESC},          // two Esc presses, not Alt+Esc
      {"\xd1", TERM_DECODE_REJECT, 1, 0},                   // half a character
      {"\x1b\xd1", TERM_DECODE_ACCEPT, 1, KEY_ESC},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(std::string(c.bytes)));
    const auto* data = reinterpret_cast<const uint8_t*>(c.bytes);
    size_t size = std::string(c.bytes).size();
    TermInputState state{};
    TermDecodeResult r;
    term_decode_input(data, size, false, &state, &r);
    EXPECT_EQ(r.status, TERM_DECODE_NEED_MORE);
    term_decode_input(data, size, true, &state, &r);
    EXPECT_EQ(r.status, c.status_when_final);
    EXPECT_EQ(r.consumed, c.consumed_when_final);
    EXPECT_EQ(r.count, c.key_when_final != 0 ? 1 : 0);
    if (r.count == 1) {
      EXPECT_EQ(key_for_record(r.record), c.key_when_final);
    }
  }
}

TEST(TerminalKeys, NoiseIsDroppedWithoutSwallowingWhatFollows) {
  struct Case {
    const char* bytes;
    std::vector<uint16_t> keys;
  } cases[] = {
      {"\x1b[Ia", {'a'}},              // focus report, then a key
      {"\x1b[?1;2cb", {'b'}},          // a device attributes reply
      {"\x1b[99~c", {'c'}},            // an unknown function key
      {"\xff" "d", {'d'}},             // not UTF-8
      {"\xe2\x82\xac" "e", {'e'}},     // € has no CP866 byte
      {"\x1b[A\x1b[B\x1bOP", {KEY_UP, KEY_DOWN, KEY_F1}},
      {"\x1b\x1b", {KEY_ESC, KEY_ESC}},
      {"\x1b[1;5", {0x1A00, '1', ';', '5'}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(std::string(c.bytes)));
    TermInputState state{};
    std::vector<uint16_t> keys;
    for (const InputRecord& r : decode_all(c.bytes, &state)) keys.push_back(key_for_record(r));
    EXPECT_EQ(keys, c.keys);
  }
}

TEST(TerminalKeys, MouseReports) {
  struct Case {
    const char* bytes;
    int16_t x, y;
    uint32_t buttons;
    uint32_t flags;
    uint32_t control;
  } steps[] = {
      // One continuing story: the button state is carried from report to report.
      {"\x1b[<0;10;5M", 9, 4, MOUSE_LEFT, 0, 0},
      {"\x1b[<32;11;5M", 10, 4, MOUSE_LEFT, MOUSE_MOVED_FLAG, 0},
      {"\x1b[<2;11;5M", 10, 4, MOUSE_LEFT | MOUSE_RIGHT, 0, 0},
      {"\x1b[<0;11;5m", 10, 4, MOUSE_RIGHT, 0, 0},
      {"\x1b[<18;11;6m", 10, 5, 0, 0, CK_LEFT_CTRL},
      {"\x1b[<64;3;3M", 2, 2, 120u << 16, MOUSE_WHEELED_FLAG, 0},
      {"\x1b[<65;3;3M", 2, 2, 0xFF88u << 16, MOUSE_WHEELED_FLAG, 0},
      {"\x1b[<12;80;25M", 79, 24, MOUSE_LEFT, 0, CK_SHIFT | CK_LEFT_ALT},
      {"\x1b[M#!!", 0, 0, 0, 0, 0},   // legacy encoding: release
      {"\x1b[M\x22!\x22", 0, 1, MOUSE_RIGHT, 0, 0},
  };
  TermInputState state{};
  for (const Case& c : steps) {
    SCOPED_TRACE(testing::PrintToString(std::string(c.bytes)));
    std::vector<InputRecord> records = decode_all(c.bytes, &state);
    ASSERT_EQ(records.size(), 1u);
    const InputRecord& r = records[0];
    EXPECT_EQ(r.kind, INPUT_MOUSE);
    EXPECT_EQ(r.mouse_x, c.x);
    EXPECT_EQ(r.mouse_y, c.y);
    EXPECT_EQ(r.button_state, c.buttons);
    EXPECT_EQ(r.event_flags, c.flags);
    EXPECT_EQ(r.control_state, c.control);
  }
}

// Every CP866 letter comes back from its UTF-8 form as itself, with the scan code of a key
// (the Cyrillic ones through their ЙЦУКЕН key), and Alt gives the same key code as Alt on
// the Latin letter of that key.
TEST(TerminalKeys, EveryCyrillicLetterHasItsLatinKey) {
  const char* lower = "абвгдеёжзийклмнопрстуфхцчшщъыьэюя";
  const char* latin = "f,dult`;pbqrkvyjghcnea[wxio]sm'.z";  // ё on `, the rest ЙЦУКЕН
  std::string text = lower;
  size_t pos = 0;
  for (int i = 0; latin[i] != 0; ++i) {
    size_t n = (static_cast<uint8_t>(text[pos]) >= 0xC0) ? 2 : 1;
    std::string letter = text.substr(pos, n);
    pos += n;
    SCOPED_TRACE(letter);
    TermInputState state{};
    std::vector<InputRecord> cyr = decode_all("\x1b" + letter, &state);
    std::vector<InputRecord> lat = decode_all(std::string("\x1b") + latin[i], &state);
    ASSERT_EQ(cyr.size(), 1u);
    ASSERT_EQ(lat.size(), 1u);
    EXPECT_GE(cyr[0].ch, 0xA0);
    EXPECT_EQ(cyr[0].scan, lat[0].scan);
    EXPECT_EQ(cyr[0].virtual_key, lat[0].virtual_key);
    EXPECT_EQ(key_for_record(cyr[0]), key_for_record(lat[0]));
  }
}

}  // namespace
}  // namespace tavrel
