// Message boxes, buttons, hot letters, notices and the plain console messages.
#include <cstring>

#include "tui/console_msg.h"
#include "tui/menu.h"
#include "tui/messages.h"
#include "tui/msgbox.h"
#include "tui_fixture.h"

namespace tavrel {
namespace {

using MsgBoxTest = TuiTest;

// The box's interior row r, as text.
std::string box_row(const MsgBoxLayout& l, int r) {
  return virtual_console_text(l.top + 1 + r, l.left + 1, l.left + l.width - 1);
}

TEST_F(MsgBoxTest, LayoutArithmetic) {
  msgbox_begin("T", nullptr, 0);
  msgbox_body("Hello");
  msgbox_add_button(" ~Y~es ");
  msgbox_add_button(" ~N~o ");
  MsgBoxLayout l = msgbox_layout();
  EXPECT_EQ(l.button_width, 7);              // " Yes " is 5 shown
  EXPECT_EQ(l.width, 20 + 3 + 2);            // (7 + 3) x 2 buttons beat the body
  EXPECT_EQ(l.height, 1 + 3 + 2);
  EXPECT_EQ(l.top, (23 - 6) / 2);
  EXPECT_EQ(l.left, (77 - 25) / 2);
  EXPECT_EQ(l.button_row, 3);
  EXPECT_EQ(l.button_columns[0], 3);         // gap (25 - 14) / 3
  EXPECT_EQ(l.button_columns[1], 13);
  EXPECT_EQ(l.hot_letters[0], 'y');
  EXPECT_EQ(l.hot_letters[1], 'n');

  msgbox_begin(nullptr, nullptr, 0);
  msgbox_body(std::string(90, 'w').c_str());
  msgbox_add_button(" OK ");
  EXPECT_EQ(msgbox_layout().width, MSGBOX_MAX_WIDTH);

  MsgBoxStyle frameless = MSGBOX_DEFAULT_STYLE;
  frameless.frame_type = FRAME_NONE;
  msgbox_begin(nullptr, &frameless, 0);
  msgbox_body("a%%b%%c");
  msgbox_add_button(" OK ");
  l = msgbox_layout();
  EXPECT_EQ(l.lines, 3);
  EXPECT_EQ(l.height, 3 + 3 + 1);
  EXPECT_EQ(l.width, 3 * 1 + 0 + 3 + 1 + 6);  // (6 + 3) x 1 = 9 beats 1: 9 + 3 + 1
  EXPECT_EQ(l.button_row, l.height - 2);
}

// Runs a box and returns its result, with the keys pushed before.
int run_with(const char* body, std::initializer_list<const char*> buttons, int focused = 0) {
  msgbox_begin(nullptr, nullptr, 0);
  msgbox_body(body);
  for (const char* b : buttons) msgbox_add_button(b);
  return msgbox_run(focused);
}

TEST_F(MsgBoxTest, KeysChooseButtons) {
  push_key(0x4B, 0);  // Left on the first button wraps to the last
  push_enter();
  EXPECT_EQ(run_with("q", {" ~A~ ", " ~B~ ", " ~C~ "}), 3);
  push_key(0x4D, 0);
  push_key(0x4D, 0);
  push_key(0x4D, 0);  // Right on the last wraps to the first
  push_enter();
  EXPECT_EQ(run_with("q", {" ~A~ ", " ~B~ ", " ~C~ "}), 1);
  push_esc();
  EXPECT_EQ(run_with("q", {" ~A~ ", " ~B~ "}), 0);
  push_char('s');  // two buttons with the same hot letter: the later one
  EXPECT_EQ(run_with("q", {" ~S~ave ", " ~O~pen ", " ~S~kip "}), 3);
  push_char('Q');  // no such letter: ignored
  push_key(0x3B, 0);
  push_enter();
  EXPECT_EQ(run_with("q", {" ~A~ ", " ~B~ "}, 1), 2);
  EXPECT_EQ(virtual_console_starved(), 0);
  EXPECT_EQ(window_active(), nullptr);
}

TEST_F(MsgBoxTest, CyrillicHotLettersKeepTheHalfTableRule) {
  struct Case {
    const char* letter_utf8;
    const char* typed_utf8;
    bool matches;
  };
  const Case cases[] = {
      {"П", "п", true},   // 0x8F -> 0xAF
      {"А", "а", true},
      {"Р", "р", false},  // 0x90 -> 0xB0, while р is 0xE0
      {"Я", "я", false},
      {"д", "д", true},
  };
  for (const Case& c : cases) {
    std::string button = " ~" + cp866(c.letter_utf8) + "~ ";
    uint8_t typed = static_cast<uint8_t>(cp866(c.typed_utf8)[0]);
    push_key(0x22, typed);
    push_esc();
    int result = run_with("q", {" ~Z~ ", button.c_str()});
    EXPECT_EQ(result, c.matches ? 2 : 0) << c.letter_utf8;
    clear_stuffed_keys();
    flush_input();
  }
  EXPECT_EQ(hot_letter_lower(0x90), 0xB0);
  EXPECT_EQ(hot_letter_lower(0x9F), 0xBF);
  EXPECT_EQ(hot_letter_lower(0xA0), 0xA0);
  EXPECT_EQ(hot_letter_lower('Z'), 'z');
}

TEST_F(MsgBoxTest, MouseClickOnAButtonChoosesIt) {
  msgbox_begin(nullptr, nullptr, 0);
  msgbox_body("click");
  msgbox_add_button(" One ");
  msgbox_add_button(" Two ");
  MsgBoxLayout l = msgbox_layout();
  push_click(l.left + 1 + 2, l.top + 1);  // on the body: nothing
  push_click(l.left + 1 + l.button_columns[1] + 1, l.top + 1 + l.button_row);
  EXPECT_EQ(msgbox_run(0), 2);
}

// Looks at the box while it waits for its key.
std::string g_seen_rows[8];
MsgBoxLayout g_seen;
void look_at_box() {
  for (int r = 0; r < 8 && r <= g_seen.height - 2; r++) g_seen_rows[r] = box_row(g_seen, r);
  stuff_key(KEY_ESC);
}

TEST_F(MsgBoxTest, DrawnBodyTitleButtonsAndShadow) {
  msgbox_begin("Title", nullptr, 0);
  msgbox_body("%!mid%%left");
  msgbox_add_button(" ~G~o ");
  msgbox_add_button(" Stop ");
  g_seen = msgbox_layout();
  set_idle_hook(look_at_box);
  set_idle_period(1);
  // The first wait of the run times out, which calls the hook while the box is shown.
  EXPECT_EQ(msgbox_run(0), 0);
  set_idle_hook(nullptr);
  int inner = g_seen.width - 1;
  EXPECT_EQ(g_seen_rows[1].substr((inner - 3) / 2, 3), "mid");
  EXPECT_EQ(g_seen_rows[2].substr(1, 4), "left");
  EXPECT_EQ(g_seen.button_width, 8);
  EXPECT_EQ(g_seen_rows[g_seen.button_row].substr(g_seen.button_columns[0], 8), "   Go   ");
  EXPECT_EQ(static_cast<uint8_t>(g_seen_rows[g_seen.button_row + 1][g_seen.button_columns[0] + 1]), GLYPH_BUTTON_SHADOW_UNDER);
  // After the run the screen is as before.
  EXPECT_EQ(glyph(g_seen.left, g_seen.top), ' ');
}

TEST_F(MsgBoxTest, NoButtonsWaitsForOneKeyAndReturnsZero) {
  msgbox_begin(nullptr, nullptr, 0);
  msgbox_body("just text");
  stuff_key('x');
  EXPECT_EQ(msgbox_run(0), 0);
  EXPECT_EQ(window_active(), nullptr);
}

TEST_F(MsgBoxTest, DrawButtonCentresAndReturnsTheHotLetter) {
  window_open(0, 0, 5, 30, FRAME_SINGLE, 0x70, 0x70);
  EXPECT_EQ(draw_button(" ~R~un ", 1, 2, 9, 0x20, 0x2E), 'R');
  EXPECT_EQ(virtual_console_text(2, 3, 11), "   Run   ");
  EXPECT_EQ(attr_at(3 + 3, 2), 0x2E);  // the R
  EXPECT_EQ(attr_at(3 + 4, 2), 0x20);
  EXPECT_EQ(glyph(3 + 9, 2), GLYPH_BUTTON_SHADOW_RIGHT);
  EXPECT_EQ(glyph(3 + 1, 3), GLYPH_BUTTON_SHADOW_UNDER);
  EXPECT_EQ(glyph(3 + 9, 3), GLYPH_BUTTON_SHADOW_UNDER);
  EXPECT_EQ(glyph(3, 3), ' ');
  EXPECT_EQ(attr_at(3 + 9, 2), BUTTON_SHADOW_ATTR);
}

TEST_F(MsgBoxTest, NoticeAtTheTopRight) {
  EXPECT_EQ(notice("Busy", 0), 0);
  Window* w = window_active();
  ASSERT_NE(w, nullptr);
  EXPECT_EQ(w->left, 73);
  EXPECT_EQ(w->right, 79);
  EXPECT_EQ(w->top, 0);
  EXPECT_EQ(virtual_console_text(0, 74, 77), "Busy");
  window_close();
  push_char('k');
  EXPECT_EQ(notice("Gone", 1), 0);  // a key ends it early
  EXPECT_EQ(window_active(), nullptr);
  EXPECT_EQ(wait_key_limit(5), -1);
}

TEST_F(MsgBoxTest, ConsoleMessageLayoutAndAnswers) {
  ConsoleMsgLayout l = console_message_layout("line one\nsecond line is longer than the prompt", 0);
  EXPECT_EQ(l.lines, 3);
  EXPECT_EQ(l.width, 37);
  EXPECT_EQ(l.left, (80 - 37) / 2 - 1);
  EXPECT_EQ(l.right, l.left + 38);
  EXPECT_EQ(console_message_layout("ok", 1).width, 23);  // the prompt is wider
  EXPECT_EQ(l.top, (25 - 3) / 2 - 1);
  EXPECT_EQ(l.bottom, l.top + 4);
  struct Answer {
    uint16_t scan;
    uint8_t ch;
    int result;
  };
  const Answer answers[] = {{0x1C, 0x0D, 1}, {0x15, 'y', 1}, {0x15, 'Y', 1},
                            {0x01, 0x1B, 0}, {0x31, 'n', 0}, {0x31, 'N', 0}};
  for (const Answer& a : answers) {
    push_char('q');  // ignored
    push_key(a.scan, a.ch);
    EXPECT_EQ(console_message("Sure?", 1), a.result) << int(a.ch);
  }
  push_char('q');
  EXPECT_EQ(console_message("Done", 0), 0);
  EXPECT_EQ(virtual_console_pending(), 0);
}

TEST_F(MsgBoxTest, PathCompletion) {
  char path[8] = "C:\\dir";
  EXPECT_EQ(path_complete(path, sizeof path), 0);
  EXPECT_STREQ(path, "C:\\dir\\");
  EXPECT_EQ(path_complete(path, sizeof path), 0);
  EXPECT_STREQ(path, "C:\\dir\\");
  char full[7] = "C:\\dir";
  push_char('k');
  EXPECT_EQ(path_complete(full, sizeof full), 1);
  EXPECT_STREQ(full, "C:\\dir");
}

TEST_F(MsgBoxTest, CatalogueHoldsExactCp866Texts) {
  EXPECT_EQ(std::string(message_text(MSG_YES)), cp866(" Да "));
  EXPECT_EQ(std::string(message_text(MSG_SCHEME_BLACK)), "\x97\xA5p\xAD\xA0\xEF");  // Latin p kept
  EXPECT_EQ(std::string(message_text(MSG_DEBUG_ON_MARK)).substr(0, 1), "\xFB");
  EXPECT_EQ(std::string(message_text(MSG_MENU_OPEN_TRIGGER)), cp866("Открыть триггер...    "));
  EXPECT_STREQ(message_text(99999), "");
  // Slots ascend and every slot holds a text.
  for (int i = 0; i < message_count(); i++) {
    if (i > 0) {
      EXPECT_LT(message_slot_at(i - 1), message_slot_at(i));
    }
    EXPECT_NE(message_text(message_slot_at(i))[0], '\0') << message_slot_at(i);
  }
}

}  // namespace
}  // namespace tavrel
