// Keys on the virtual console: the key codes of records (modifiers, the signed character
// borrow, Esc), what is never delivered, the stuffed-key queue and its wake-up, the
// filter, hot keys and their registration rules, and the mouse state.
#include "tui_fixture.h"

namespace tavrel {
namespace {

using KeyboardTest = TuiTest;

constexpr uint32_t ALT = CK_LEFT_ALT, RALT = CK_RIGHT_ALT, CTRL = CK_LEFT_CTRL, SHIFT = CK_SHIFT;

struct KeyCase {
  const char* name;
  uint16_t scan;
  uint8_t ch;
  uint32_t state;
  uint16_t key;
};

// Every key press of the key table gives the code the table names; a code written wrongly
// in the table, or a press the keyboard decodes wrongly, shows up here.
TEST_F(KeyboardTest, EveryNamedPressGivesItsNamedCode) {
  ASSERT_FALSE(key_names().empty());
  for (const KeyName& k : key_names()) {
    push_key(k.scan, k.ch, k.control_state);
    EXPECT_EQ(get_key(), k.code) << k.name;
    // Names are unique, and a code is named by the first press that gives it.
    const KeyName* first = &k;
    for (const KeyName& other : key_names()) {
      if (&other == &k) break;
      EXPECT_STRNE(other.name, k.name);
      if (other.code == k.code && first == &k) first = &other;
    }
    EXPECT_STREQ(key_name(k.code), first->name);
  }
  EXPECT_EQ(key_name(KEY_CTRL_END), std::string("Ctrl+End"));  // also Alt+Up's code
  EXPECT_EQ(key_name('a'), nullptr);
  EXPECT_EQ(virtual_console_starved(), 0);
}

// The rules beyond the named keys: characters, the signed-character borrow, the Alt digit
// range, right-hand modifiers, Esc under modifiers, keys the rules leave alone.
TEST_F(KeyboardTest, RecordsBecomeKeyCodes) {
  const KeyCase cases[] = {
      {"a", 0x1E, 'a', 0, 'a'},
      {"space", 0x39, ' ', 0, ' '},
      {"A with shift", 0x1E, 'A', SHIFT, 'A'},
      {"Alt+Esc", 0x01, 0x1B, ALT, KEY_ESC},
      {"Ctrl+Esc", 0x01, 0x1B, CTRL, KEY_ESC},
      {"Ctrl+[ gives character 27", 0x1A, 0x1B, CTRL, 0x3D1B},
      {"Alt+0", 0x0B, '0', ALT, 0x0B00},
      {"Alt+1", 0x02, '1', ALT, 0x7800},
      {"Alt+9", 0x0A, '9', RALT, 0x8000},
      {"Alt+F10", 0x44, 0, ALT, 0x7100},
      {"Ctrl+Right", 0x4D, 0, CK_RIGHT_CTRL, KEY_CTRL_RIGHT},
      {"Shift+F11 stays", 0x57, 0, SHIFT, 0x5700},
      {"Del with a character", 0x53, 0x7F, 0, KEY_DEL},
      {"numpad dot is read as a character", 0x53, 0x2E, 0, '.'},
      // CP866 а (0xA0) on the F key: the signed character borrows one from the scan.
      {"Cyrillic a", 0x21, 0xA0, 0, 0x20A0},
      {"Cyrillic ch with Alt is Alt+X", 0x2D, 0x97, ALT, KEY_ALT_X},
      {"Cyrillic with Ctrl", 0x21, 0xA0, CTRL, 0x43A0},
  };
  for (const KeyCase& c : cases) {
    push_key(c.scan, c.ch, c.state);
    EXPECT_EQ(get_key(), c.key) << c.name;
    EXPECT_FALSE(key_came_from_queue()) << c.name;
    // The pure decoding agrees with the read.
    InputRecord rec{};
    rec.kind = INPUT_KEY;
    rec.key_down = true;
    rec.scan = c.scan;
    rec.ch = c.ch;
    rec.control_state = c.state;
    EXPECT_EQ(key_for_record(rec), c.key) << c.name;
  }
  EXPECT_EQ(virtual_console_pending(), 0);
  EXPECT_EQ(virtual_console_starved(), 0);
}

TEST_F(KeyboardTest, ModifierKeysAndKeyUpsAreNeverDelivered) {
  const uint16_t ignored[] = {0x1D, 0x2A, 0x38, 0x36, 0x3A, 0x45, 0x46};
  for (uint16_t scan : ignored) push_key(scan, 0, SHIFT);
  InputRecord up{};
  up.kind = INPUT_KEY;
  up.key_down = false;
  up.scan = 0x1E;
  up.ch = 'a';
  virtual_console_push(up);
  push_char('z');
  EXPECT_EQ(get_key(), 'z');
  EXPECT_EQ(virtual_console_starved(), 0);
}

TEST_F(KeyboardTest, PeekDoesNotConsume) {
  push_key(0x3B, 0);
  EXPECT_EQ(read_key(true), 1);
  EXPECT_EQ(virtual_console_pending(), 1);
  EXPECT_EQ(get_key(), KEY_F1);
}

TEST_F(KeyboardTest, KeyboardMapIsExact) {
  EXPECT_EQ(std::string(KEYBOARD_MAP).size(), 110u);
  EXPECT_NE(std::string(KEYBOARD_MAP).find(' '), std::string::npos);
  EXPECT_EQ(std::string(KEYBOARD_MAP).find('\t'), std::string::npos);
}

int g_idle_calls = 0;
void stuff_on_first_idle() {
  if (g_idle_calls++ == 0) stuff_key(KEY_F2);
}

TEST_F(KeyboardTest, KeyStuffedDuringTheWaitComesFirstThenTypedKeys) {
  g_idle_calls = 0;
  set_idle_hook(stuff_on_first_idle);
  EXPECT_EQ(get_key(), KEY_F2);
  EXPECT_TRUE(key_came_from_queue());
  set_idle_hook(nullptr);
  push_char('q');
  EXPECT_EQ(get_key(), 'q');
  EXPECT_FALSE(key_came_from_queue());
}

TEST_F(KeyboardTest, QueueIsFirstInFirstOutAndAheadOfTheConsole) {
  push_char('c');
  stuff_key(KEY_TAB);
  stuff_key(KEY_HOME);
  EXPECT_TRUE(virtual_console_wake_pending());
  EXPECT_EQ(get_key(), KEY_TAB);
  EXPECT_EQ(get_key(), KEY_HOME);
  EXPECT_EQ(get_key(), 'c');
}

uint16_t filter_keys(uint16_t key) {
  if (key == 'x') return 1;
  if (key == 'y') return 'Y';
  return 0;
}

TEST_F(KeyboardTest, FilterDiscardsAndReplaces) {
  set_key_filter(filter_keys);
  push_char('x');
  push_char('y');
  push_char('z');
  EXPECT_EQ(get_key(), 'Y');
  EXPECT_EQ(get_key(), 'z');
  set_key_filter(nullptr);
}

int g_first = 0, g_second = 0;
void first_handler() { g_first++; }
void second_handler() { g_second++; }

TEST_F(KeyboardTest, HotKeyWithSubstituteZeroNeverReachesTheCaller) {
  g_first = 0;
  ASSERT_EQ(set_hot_key(KEY_F5, first_handler, 0), 0);
  push_key(0x3F, 0);
  push_key(0x3F, 0);
  push_char('b');
  EXPECT_EQ(get_key(), 'b');
  EXPECT_EQ(g_first, 2);
}

TEST_F(KeyboardTest, RegisteringTwiceKeepsTheFirstSubstitute) {
  g_first = g_second = 0;
  ASSERT_EQ(set_hot_key(KEY_F6, first_handler, 0x1111), 0);
  ASSERT_EQ(set_hot_key(KEY_F6, second_handler, 0x2222), 0);
  push_key(0x40, 0);
  EXPECT_EQ(get_key(), 0x1111);
  EXPECT_EQ(g_first, 0);
  EXPECT_EQ(g_second, 1);
  EXPECT_EQ(set_hot_key(KEY_F6, nullptr, 0), 0);
  EXPECT_EQ(set_hot_key(KEY_F6, nullptr, 0), 2);
  EXPECT_FALSE(hot_key_registered(KEY_F6));
  push_key(0x40, 0);
  EXPECT_EQ(get_key(), KEY_F6);
}

void handler_opening_a_window() {
  window_open(10, 10, 15, 40, FRAME_SINGLE, 0x70, 0x70);
  window_set_cursor(2, 2);
  help_category_set_current(555);
  cursor_hide();
  window_close();
}

TEST_F(KeyboardTest, HotKeyHandlerRunsInASavedContext) {
  window_open(1, 1, 8, 30, FRAME_SINGLE, 0x70, 0x70);
  window_set_help(42);
  window_set_cursor(3, 4);
  set_hot_key(KEY_F3, handler_opening_a_window, 0);
  push_key(0x3D, 0);
  push_char('k');
  EXPECT_EQ(get_key(), 'k');
  EXPECT_EQ(help_category_current(), 42u);
  EXPECT_EQ(window_cursor_row(), 3);
  EXPECT_EQ(window_cursor_column(), 4);
  EXPECT_TRUE(cursor_visible());
}

int g_mouse_calls = 0;
uint32_t g_mouse_shift = 0;
void on_mouse(int, int, uint32_t, uint32_t, uint32_t shift) {
  g_mouse_calls++;
  g_mouse_shift = shift;
}

TEST_F(KeyboardTest, MouseRecordsGiveFF00AndState) {
  g_mouse_calls = 0;
  set_mouse_handler(on_mouse);
  virtual_console_push_mouse(12, 7, MOUSE_LEFT, MOUSE_DOUBLE_CLICK_FLAG, CK_LEFT_ALT | CK_SHIFT | CK_CAPSLOCK);
  EXPECT_EQ(get_key(), KEY_MOUSE);
  MouseState m = mouse_state();
  EXPECT_EQ(m.column, 12);
  EXPECT_EQ(m.row, 7);
  EXPECT_EQ(m.buttons, MOUSE_LEFT);
  EXPECT_EQ(m.flags, MOUSE_DOUBLE_CLICK_FLAG);
  EXPECT_EQ(m.shift_flags, 0x08u | 0x03u | 0x40u);
  EXPECT_EQ(g_mouse_calls, 1);
  set_mouse_handler(nullptr);
}

TEST_F(KeyboardTest, EchoWritesPrintableCharactersOnly) {
  window_open(0, 0, 3, 20, FRAME_SINGLE, 0x07, 0x07);
  push_char('w');
  push_key(0x3B, 0);
  EXPECT_EQ(get_key_echo(), 'w');
  EXPECT_EQ(get_key_echo(), KEY_F1);
  EXPECT_EQ(window_read_cell(0, 0), 'w');
  EXPECT_EQ(window_cursor_column(), 1);
}

TEST_F(KeyboardTest, CharacterClasses) {
  uint8_t cyr = static_cast<uint8_t>(cp866("ё")[0]);
  EXPECT_TRUE(char_is_letter(cyr));
  EXPECT_TRUE(char_is_letter('q'));
  EXPECT_FALSE(char_is_letter('5'));
  EXPECT_TRUE(char_is_digit('5'));
  EXPECT_FALSE(char_is_printable(0x07));
  EXPECT_TRUE(char_is_printable(0xB3));
}

}  // namespace
}  // namespace tavrel
