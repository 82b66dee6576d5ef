// Blocks and the clipboard: marking with the vertical moves, copy and paste, delete,
// unmark, shifting, the block keeping to its lines while lines come and go, its colour,
// and what a read-only view allows.
#include <string>
#include <vector>

#include "editor_fixture.h"
#include "tui/colours.h"

namespace tavrel {
namespace {

using EditorBlocks = EditorTest;

constexpr int TEXT_ROW = 2, TEXT_COLUMN = 1;

uint8_t attr_at_row(int row) { return virtual_console_cell(TEXT_COLUMN, row).attr; }

std::vector<std::string> lines_of(const Editor& e, int count) {
  std::vector<std::string> out;
  for (int i = 0; i < count; i++) {
    const char* p = text_line(&e.text, i);
    out.push_back(p == nullptr ? "" : std::string(p, static_cast<size_t>(text_length(&e.text, i))));
  }
  return out;
}

TEST_F(EditorBlocks, MarkCopyAndPaste) {
  set_lines({"a", "b", "c", "d", "e", "f"});
  editor_goto(&e, 1, 0);
  keys({KEY_ALT_M, KEY_DOWN, KEY_DOWN, KEY_ALT_M, KEY_DOWN});
  EXPECT_EQ(e.block_start, 1);
  EXPECT_EQ(e.block_end, 3);  // marking ended before the last Down
  EXPECT_EQ(attr_at_row(TEXT_ROW + 3), colour(ROLE_EDITOR_BLOCK));
  EXPECT_EQ(attr_at_row(TEXT_ROW + 4), colour(ROLE_EDITOR));
  editor_key(&e, KEY_ALT_C);
  EXPECT_EQ(clipboard_line_count(), 3);
  keys({KEY_CTRL_PGDN, KEY_ALT_P});
  EXPECT_EQ(lines_of(e, 10), (std::vector<std::string>{"a", "b", "c", "d", "e", "b", "c", "d", "f", ""}));
  EXPECT_EQ(e.block_start, 5);
  EXPECT_EQ(e.block_end, 7);
  EXPECT_EQ(e.modified, 1);
  // The clipboard is shared: another text takes the same lines.
  EditorText other{nullptr, 0};
  text_init(&other);
  editor_set_text(&e, &other);
  text_free(&other);
  editor_key(&e, KEY_ALT_P);
  EXPECT_EQ(lines_of(e, 4), (std::vector<std::string>{"b", "c", "d", ""}));
}

TEST_F(EditorBlocks, MarkingUpwardsAndByPages) {
  editor_goto(&e, 30, 0);
  keys({KEY_ALT_M, KEY_UP, KEY_UP});
  EXPECT_EQ(e.block_start, 28);
  EXPECT_EQ(e.block_end, 30);
  keys({KEY_PGDN});
  EXPECT_EQ(e.block_start, 30);
  EXPECT_EQ(e.block_end, 48);
  keys({KEY_ALT_U});
  EXPECT_EQ(e.block_start, NO_LINE);
  EXPECT_FALSE(e.marking);
  keys({KEY_DOWN});
  EXPECT_EQ(e.block_start, NO_LINE);
}

TEST_F(EditorBlocks, DeleteTakesTheLinesAndTheCursorToTheirPlace) {
  set_lines({"a", "b", "c", "d", "e"});
  editor_goto(&e, 1, 0);
  keys({KEY_ALT_M, KEY_DOWN, KEY_ALT_M, KEY_DOWN, KEY_DOWN, KEY_ALT_D});
  EXPECT_EQ(lines_of(e, 4), (std::vector<std::string>{"a", "d", "e", ""}));
  EXPECT_EQ(e.line, 2);  // it stood on "e", which moved up
  EXPECT_EQ(e.block_start, NO_LINE);
  // Without a block nothing is deleted.
  editor_key(&e, KEY_ALT_D);
  EXPECT_EQ(lines_of(e, 3), (std::vector<std::string>{"a", "d", "e"}));
}

TEST_F(EditorBlocks, Shifting) {
  set_lines({"  x", "y", "z"});
  keys({KEY_ALT_M, KEY_DOWN, KEY_ALT_M, KEY_SHIFT_F5});
  EXPECT_EQ(lines_of(e, 3), (std::vector<std::string>{"   x", " y", "z"}));
  keys({KEY_SHIFT_F4, KEY_SHIFT_F4});
  EXPECT_EQ(lines_of(e, 3), (std::vector<std::string>{" x", "y", "z"}));
  // Without a block the cursor's line moves.
  keys({KEY_ALT_U, KEY_DOWN, KEY_SHIFT_F5});
  EXPECT_EQ(lines_of(e, 3), (std::vector<std::string>{" x", "y", " z"}));
  // A full line refuses the shift and shows the notice.
  std::string full(218, 'f');
  text_set_line(&e.text, 2, full.data(), 218);
  keys({KEY_SHIFT_F5});
  EXPECT_TRUE(was_shown(cp866(" Последний столбец ! ")));
  EXPECT_EQ(lines_of(e, 3)[2], full);
}

TEST_F(EditorBlocks, TheBlockKeepsToItsLines) {
  set_lines({"0", "1", "2", "3", "4", "5"});
  editor_goto(&e, 2, 0);
  keys({KEY_ALT_M, KEY_DOWN, KEY_DOWN, KEY_ALT_M});
  struct Step {
    int line, column;
    uint16_t key;
    int start, end;
  };
  const Step steps[] = {
      {0, 0, KEY_ENTER, 3, 5},       // a line above: the block moves down
      {0, 0, KEY_CTRL_Y, 2, 4},      // and up again
      {3, 0, KEY_CTRL_Y, 2, 3},      // a line inside: the block shrinks
      {2, 0, KEY_ENTER, 2, 4},       // a line inside: it grows
      {6, 0, KEY_CTRL_Y, 2, 4},      // below: nothing
  };
  for (const Step& s : steps) {
    editor_goto(&e, s.line, s.column);
    editor_key(&e, s.key);
    EXPECT_EQ(e.block_start, s.start) << s.line << " " << s.key;
    EXPECT_EQ(e.block_end, s.end) << s.line << " " << s.key;
  }
  // Joining the block's first line onto the line above.
  editor_goto(&e, 2, 0);
  editor_key(&e, KEY_BACKSPACE);
  EXPECT_EQ(e.block_start, 2);
  EXPECT_EQ(e.block_end, 3);
}

TEST_F(EditorBlocks, AReadOnlyViewCopiesButDoesNotChange) {
  set_lines({"a", "b"});
  e.kind = EDITOR_VIEW;
  e.editable = 0;
  keys({KEY_ALT_M, KEY_DOWN, KEY_ALT_C, KEY_ALT_D, KEY_ALT_P, KEY_SHIFT_F5});
  EXPECT_EQ(clipboard_line_count(), 2);
  EXPECT_EQ(lines_of(e, 3), (std::vector<std::string>{"a", "b", ""}));
  EXPECT_EQ(e.modified, 0);
}

}  // namespace
}  // namespace tavrel
