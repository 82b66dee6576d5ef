// The editor's keys on the virtual console: typing and the mode indicator, the last-column
// notice, the line edits, word and page moves, scrolling and the position display,
// search, the F2 questions and the store hook, read-only views, the loop's ends and the
// mouse.
#include <string>
#include <vector>

#include "editor_fixture.h"
#include "tui/colours.h"
#include "tui/messages.h"

namespace tavrel {
namespace {

using EditorKeys = EditorTest;

// Interior of the fixture's window: rows 2-22, columns 1-78.
constexpr int TEXT_ROW = 2, TEXT_COLUMN = 1;

TEST_F(EditorKeys, TypingInsertOverwriteAndTheIndicator) {
  push_text("abc");
  push_key(0x4B, 0);  // Left
  push_text("X");
  push_key(0x52, 0);  // Ins: overwrite
  push_text("Y");
  push_esc();
  EXPECT_EQ(editor_run(&e), EDITOR_CLOSE);
  EXPECT_EQ(line(0), "abXY");
  EXPECT_EQ(e.column, 4);
  EXPECT_EQ(e.modified, 1);
  EXPECT_EQ(virtual_console_text(TEXT_ROW, TEXT_COLUMN, TEXT_COLUMN + 3), "abXY");
  // "INS" stands on the top frame six columns left of its end while typing overwrites.
  EXPECT_EQ(virtual_console_text(1, 73, 75), "INS");
  editor_key(&e, KEY_INS);
  std::string frame(3, static_cast<char>(FRAME_CHARS[FRAME_DOUBLE][FP_TOP]));
  EXPECT_EQ(virtual_console_text(1, 73, 75), frame);
  EXPECT_FALSE(editor_overwrite());
}

TEST_F(EditorKeys, TheLastColumnsRefuseCharacters) {
  const std::string notice_text = cp866(" Последний столбец ! ");
  set_lines({(std::string(217, 'x') + "y").c_str()});
  type("Q");
  EXPECT_TRUE(was_shown(notice_text));
  EXPECT_EQ(line(0), std::string(217, 'x') + "y");
  EXPECT_EQ(e.modified, 0);
  EXPECT_EQ(e.column, 0);
  // An empty line takes a character at column 217; after it the line is full.
  g_seen_screens.clear();
  editor_goto(&e, 3, 217);
  type("A");
  EXPECT_FALSE(was_shown(notice_text));
  EXPECT_EQ(line(3), std::string(217, ' ') + "A");
  type("B");
  EXPECT_TRUE(was_shown(notice_text));
  EXPECT_EQ(line(3), std::string(217, ' ') + "A");
  // Column 218 of an empty line, in insert mode.
  g_seen_screens.clear();
  editor_goto(&e, 5, 218);
  type("C");
  EXPECT_TRUE(was_shown(notice_text));
  EXPECT_EQ(line(5), "");
}

TEST_F(EditorKeys, LineEdits) {
  struct Case {
    const char* name;
    std::vector<std::string> before;
    int line, column;
    std::vector<uint16_t> keys;
    std::vector<std::string> after;
    int cursor_line, cursor_column;
    bool modifies;
  };
  const std::string long210(210, 'p');
  const Case cases[] = {
      {"Enter splits", {"code end"}, 0, 4, {KEY_ENTER}, {"code", " end"}, 1, 0, true},
      {"Enter at column 0 pushes the line down", {"a", "b"}, 1, 0, {KEY_ENTER}, {"a", "", "b"}, 2, 0, true},
      {"Backspace joins", {"abc", "def"}, 1, 0, {KEY_BACKSPACE}, {"abc" "def", ""}, 0, 3, true},
      {"Backspace at the start of the text", {"abc"}, 0, 0, {KEY_BACKSPACE}, {"abc"}, 0, 0, false},
      {"Backspace deletes left", {"abc"}, 0, 2, {KEY_BACKSPACE}, {"ac"}, 0, 1, true},
      {"Backspace past the text only moves", {"abc"}, 0, 6, {KEY_BACKSPACE}, {"abc"}, 0, 5, false},
      {"Backspace join that overflows", {long210, std::string(20, 'q')}, 1, 0, {KEY_BACKSPACE},
       {long210 + std::string(8, 'q'), std::string(12, 'q')}, 0, 210, true},
      {"Del deletes at the cursor", {"abc"}, 0, 0, {KEY_DEL}, {"bc"}, 0, 0, true},
      {"Del at the end joins the next line", {"ab", "cd"}, 0, 2, {KEY_DEL}, {"abcd", ""}, 0, 2, true},
      {"Ctrl+Y deletes the line", {"a", "b", "c"}, 1, 1, {KEY_CTRL_Y}, {"a", "c", ""}, 1, 1, true},
      {"typing then Enter", {""}, 0, 0, {'i', 'f', KEY_ENTER, 'x'}, {"if", "x"}, 1, 1, true},
  };
  for (const Case& c : cases) {
    EditorText fresh{nullptr, 0};
    text_init(&fresh);
    editor_set_text(&e, &fresh);
    text_free(&fresh);
    for (size_t i = 0; i < c.before.size(); i++)
      text_set_line(&e.text, static_cast<int>(i), c.before[i].data(), static_cast<int>(c.before[i].size()));
    editor_goto(&e, c.line, c.column);
    for (uint16_t k : c.keys) editor_key(&e, k);
    for (size_t i = 0; i < c.after.size(); i++) EXPECT_EQ(line(static_cast<int>(i)), c.after[i]) << c.name << " line " << i;
    EXPECT_EQ(e.line, c.cursor_line) << c.name;
    EXPECT_EQ(e.column, c.cursor_column) << c.name;
    EXPECT_EQ(e.modified != 0, c.modifies) << c.name;
  }
}

TEST_F(EditorKeys, WordMoves) {
  set_lines({"  alpha  beta gamma"});
  struct Case {
    uint16_t key;
    int from, to;
  };
  const Case cases[] = {
      {KEY_CTRL_RIGHT, 0, 2},   {KEY_CTRL_RIGHT, 2, 9},  {KEY_CTRL_RIGHT, 10, 14},
      {KEY_CTRL_RIGHT, 14, 19}, {KEY_CTRL_RIGHT, 19, 19}, {KEY_CTRL_RIGHT, 25, 25},
      {KEY_CTRL_LEFT, 19, 14},  {KEY_CTRL_LEFT, 14, 9},  {KEY_CTRL_LEFT, 11, 9},
      {KEY_CTRL_LEFT, 9, 2},    {KEY_CTRL_LEFT, 2, 0},   {KEY_CTRL_LEFT, 30, 14},
  };
  for (const Case& c : cases) {
    editor_goto(&e, 0, c.from);
    editor_key(&e, c.key);
    EXPECT_EQ(e.column, c.to) << (c.key == KEY_CTRL_RIGHT ? "right from " : "left from ") << c.from;
  }
}

TEST_F(EditorKeys, PageMoves) {
  // The window's text area has 21 rows: a page is 20 lines; 500 slots.
  struct Case {
    uint16_t key;
    int line, row;
    int to_line, to_row;
  };
  const Case cases[] = {
      {KEY_PGDN, 0, 0, 20, 0},    {KEY_PGDN, 5, 5, 25, 5},      {KEY_PGDN, 457, 3, 477, 3},
      {KEY_PGDN, 460, 3, 498, 20}, {KEY_PGUP, 5, 5, 0, 0},       {KEY_PGUP, 30, 20, 10, 10},
      {KEY_PGUP, 40, 3, 20, 3},   {KEY_CTRL_PGUP, 40, 3, 0, 0},
  };
  for (const Case& c : cases) {
    e.line = c.line;
    e.cursor_row = c.row;
    editor_key(&e, c.key);
    EXPECT_EQ(e.line, c.to_line) << std::hex << c.key << std::dec << " from " << c.line;
    EXPECT_EQ(e.cursor_row, c.to_row) << std::hex << c.key << std::dec << " from " << c.line;
  }
  editor_key(&e, KEY_CTRL_PGDN);
  EXPECT_EQ(e.line, 0);  // all lines empty
  set_lines({"a", "", "", "", "", "", "", "last"});
  editor_key(&e, KEY_CTRL_PGDN);
  EXPECT_EQ(e.line, 7);
}

TEST_F(EditorKeys, HorizontalScrollingAndThePositionDisplay) {
  type(std::string(90, 'a') + "Z");
  EXPECT_EQ(e.column, 91);
  EXPECT_EQ(e.cursor_column, 77);
  EXPECT_EQ(glyph_at(TEXT_COLUMN + 76, TEXT_ROW), 'Z');
  EXPECT_EQ(virtual_console_text(23, 2, 7), " 1:92 ");
  editor_key(&e, KEY_HOME);
  EXPECT_EQ(e.cursor_column, 0);
  EXPECT_EQ(virtual_console_text(23, 2, 6), " 1:1 ");
  // Left at the window's edge scrolls one column.
  editor_key(&e, KEY_END);
  for (int i = 0; i < 80; i++) editor_key(&e, KEY_LEFT);
  EXPECT_EQ(e.column, 11);
  EXPECT_EQ(e.cursor_column, 0);
  EXPECT_EQ(glyph_at(TEXT_COLUMN, TEXT_ROW), 'a');
}

TEST_F(EditorKeys, SearchAndSearchAgain) {
  const std::string not_found = cp866("Шаблон не найден");
  set_lines({"begin", "  x := alpha;", "  beta", "alpha again"});
  push_text("alpha");
  push_enter();
  editor_key(&e, KEY_ALT_S);
  EXPECT_TRUE(was_shown(cp866(" Поиск ")));
  EXPECT_EQ(e.line, 1);
  EXPECT_EQ(e.column, 7);
  EXPECT_STREQ(search_last_pattern(), "alpha");
  editor_key(&e, KEY_ALT_N);
  EXPECT_EQ(e.line, 3);
  EXPECT_EQ(e.column, 0);
  // Nothing after it: the box, the cursor stays and the last match is forgotten.
  push_enter();
  editor_key(&e, KEY_ALT_N);
  EXPECT_TRUE(was_shown(not_found));
  EXPECT_EQ(e.line, 3);
  int match_line = 0, match_column = 0;
  search_last_match(&match_line, &match_column);
  EXPECT_EQ(match_line, NO_LINE);
  // Again from the cursor, elsewhere.
  editor_goto(&e, 0, 0);
  editor_key(&e, KEY_ALT_N);
  EXPECT_EQ(e.line, 1);
  // Esc leaves the dialog without searching.
  push_esc();
  editor_key(&e, KEY_ALT_S);
  EXPECT_EQ(e.line, 1);
  EXPECT_EQ(e.column, 7);
}

TEST_F(EditorKeys, AMatchStandsInTheMiddleOfTheWidth) {
  std::string far = std::string(150, ' ') + "target";
  text_set_line(&e.text, 60, far.data(), static_cast<int>(far.size()));
  EXPECT_TRUE(editor_search(&e, "target"));
  EXPECT_EQ(e.line, 60);
  EXPECT_EQ(e.column, 150);
  EXPECT_EQ(e.cursor_column, 39);
  EXPECT_EQ(virtual_console_text(TEXT_ROW + e.cursor_row, TEXT_COLUMN + 39, TEXT_COLUMN + 44), "target");
}

int g_stores = 0, g_store_result = 1, g_stops = 0, g_debug_offs = 0;
bool g_waiting = false;
int count_store(Editor*) {
  g_stores++;
  return g_store_result;
}
bool waiting(Editor*) { return g_waiting; }
void stop(Editor*) { g_stops++; }
void debug_off(Editor*) { g_debug_offs++; }

TEST_F(EditorKeys, SaveAsksItsQuestionsAndCallsTheStoreHook) {
  EditorHooks hooks{};
  hooks.store = count_store;
  hooks.debug_waiting = waiting;
  hooks.stop_debugged = stop;
  hooks.debug_off = debug_off;
  editor_set_hooks(hooks);
  struct Case {
    const char* name;
    bool modified, debug_waiting;
    int store_result;
    std::vector<std::pair<uint16_t, uint8_t>> answers;  // scan, character
    int stores, stops;
    bool modified_after;
    const char* question;
  };
  const std::pair<uint16_t, uint8_t> ENTER = {0x1C, 0x0D}, RIGHT = {0x4D, 0};
  const Case cases[] = {
      {"unchanged, Нет is focused", false, false, 1, {ENTER}, 0, 0, false, " Форма не изменялась. Сохранить все равно? "},
      {"unchanged, Да", false, false, 1, {RIGHT, ENTER}, 1, 0, false, " Форма не изменялась. Сохранить все равно? "},
      {"changed, stored", true, false, 1, {}, 1, 0, false, nullptr},
      {"changed, not stored", true, false, 0, {}, 1, 0, true, nullptr},
      {"debugged, Нет", true, true, 1, {RIGHT, ENTER}, 0, 0, true, "Завершить ее?"},
      {"debugged, Да", true, true, 1, {ENTER}, 1, 1, false, "Завершить ее?"},
  };
  for (const Case& c : cases) {
    g_stores = g_stops = g_debug_offs = 0;
    g_store_result = c.store_result;
    g_waiting = c.debug_waiting;
    g_seen_screens.clear();
    e.modified = c.modified ? 1 : 0;
    for (auto [scan, ch] : c.answers) push_key(scan, ch);
    editor_key(&e, KEY_F2);
    EXPECT_EQ(g_stores, c.stores) << c.name;
    EXPECT_EQ(g_stops, c.stops) << c.name;
    EXPECT_EQ(g_debug_offs, c.stores) << c.name;
    EXPECT_EQ(e.modified != 0, c.modified_after) << c.name;
    if (c.question != nullptr) {
      EXPECT_TRUE(was_shown(cp866(c.question))) << c.name;
    }
    EXPECT_EQ(virtual_console_pending(), 0) << c.name;
  }
}

TEST_F(EditorKeys, TheTitleMarksAModifiedText) {
  EXPECT_NE(virtual_console_row(1).find(" P1 "), std::string::npos);
  type("x");
  EXPECT_NE(virtual_console_row(1).find(" *P1 "), std::string::npos);
  EXPECT_EQ(editor_title(&e), " *P1 ");
  EditorHooks hooks{};
  hooks.store = count_store;
  editor_set_hooks(hooks);
  g_store_result = 1;
  editor_key(&e, KEY_F2);
  EXPECT_NE(virtual_console_row(1).find(" P1 "), std::string::npos);
  EXPECT_EQ(virtual_console_row(1).find('*'), std::string::npos);
}

std::vector<uint16_t> g_commands;
void record_command(Editor*, uint16_t key) { g_commands.push_back(key); }

TEST_F(EditorKeys, CommandKeysAndReadOnlyViews) {
  EditorHooks hooks{};
  hooks.command = record_command;
  hooks.store = count_store;
  editor_set_hooks(hooks);
  g_commands.clear();
  keys({KEY_F9, KEY_CTRL_F8, KEY_F3, 0x4000 /* F6 */, KEY_CTRL_LEFT});
  EXPECT_EQ(g_commands, (std::vector<uint16_t>{KEY_F9, KEY_CTRL_F8, KEY_F3, 0x4000}));

  set_lines({"text", "more"});
  e.kind = EDITOR_VIEW;
  e.editable = 0;
  e.modified = 0;
  g_commands.clear();
  g_stores = 0;
  editor_goto(&e, 0, 2);
  keys({'a', KEY_ENTER, KEY_BACKSPACE, KEY_DEL, KEY_CTRL_Y, KEY_SHIFT_F5, KEY_F2});
  keys({KEY_F9, KEY_F8, KEY_CTRL_F4, KEY_F4, KEY_F3});
  EXPECT_EQ(line(0), "text");
  EXPECT_EQ(line(1), "more");
  EXPECT_EQ(e.modified, 0);
  EXPECT_EQ(g_stores, 0);
  EXPECT_EQ(g_commands, (std::vector<uint16_t>{KEY_F3}));
  // Moving still works.
  keys({KEY_DOWN, KEY_END});
  EXPECT_EQ(e.line, 1);
  EXPECT_EQ(e.column, 4);
}

TEST_F(EditorKeys, TheLoopEndsOnEscAndTheViewKeys) {
  struct Case {
    uint16_t scan;
    uint32_t state;
    int result, view;
  };
  const Case cases[] = {
      {0x41, CK_LEFT_CTRL, EDITOR_SWITCH_VIEW, VIEW_MONITOR},     // Ctrl+F7
      {0x3D, CK_LEFT_CTRL, EDITOR_SWITCH_VIEW, VIEW_CALL_STACK},  // Ctrl+F3
      {0x01, 0, EDITOR_CLOSE, 0},
  };
  for (const Case& c : cases) {
    e.view = 0;
    push_key(c.scan, c.scan == 0x01 ? 0x1B : 0, c.state);
    push_text("never typed");
    EXPECT_EQ(editor_run(&e), c.result);
    EXPECT_EQ(e.view, c.view);
    EXPECT_EQ(line(0), "");
    flush_input();
  }
}

TEST_F(EditorKeys, AClickMovesTheCursorToTheCell) {
  set_lines({"one", "two", "three", "four"});
  virtual_console_push_mouse(TEXT_COLUMN + 9, TEXT_ROW + 3, MOUSE_LEFT);
  push_text("!");
  push_esc();
  editor_run(&e);
  EXPECT_EQ(line(3), "four     !");
  // A click outside the text area changes nothing.
  editor_goto(&e, 0, 0);
  virtual_console_push_mouse(0, 0, MOUSE_LEFT);
  push_esc();
  editor_run(&e);
  EXPECT_EQ(e.line, 0);
  EXPECT_EQ(e.column, 0);
}

TEST_F(EditorKeys, TheExecutionLineAndBlocksHaveTheirColours) {
  set_lines({"a", "b", "c"});
  e.exec_line = 1;
  editor_draw(&e);
  EXPECT_EQ(virtual_console_cell(TEXT_COLUMN, TEXT_ROW + 1).attr, colour(ROLE_EDITOR_EXEC_LINE));
  EXPECT_EQ(virtual_console_cell(TEXT_COLUMN, TEXT_ROW + 2).attr, colour(ROLE_EDITOR));
}

}  // namespace
}  // namespace tavrel
