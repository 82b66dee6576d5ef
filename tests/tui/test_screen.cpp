// Screen and windows on the virtual console: geometry and statuses, the stack, updates
// writing once and only the changed rectangle, put character, scrolling, rules and
// frames, shadows, move and resize.
#include <cstring>

#include "tui_fixture.h"

namespace tavrel {
namespace {

using ScreenTest = TuiTest;

struct OpenCase {
  int top, left, bottom, right, frame;
  uint32_t handle_nonzero;
  int status;
  int height, width;
};

// Every character and attribute of the working buffer.
std::string screen_image() {
  std::string image;
  for (int r = 0; r < 25; r++)
    for (int c = 0; c < 80; c++) {
      image += static_cast<char>(screen_cell(r, c).ch);
      image += static_cast<char>(screen_cell(r, c).attr);
    }
  return image;
}

TEST_F(ScreenTest, DialogsLeaveTheScreenAroundAMessageAndComeBack) {
  window_open(0, 0, 24, 79, FRAME_NONE, 0x17, 0x17);
  window_fill(0, 0, 24, 79, 0xB2, 0x17);
  const std::string desktop = screen_image();
  window_open(3, 3, 12, 40, FRAME_DOUBLE, 0x70, 0x70);
  window_mark_dialog();
  window_add_shadow(0x08);
  window_put_text(1, 1, "first", 0x70);
  window_open(8, 20, 16, 60, FRAME_SINGLE, 0x30, 0x30);  // overlaps the first and its shadow
  window_mark_dialog();
  window_add_shadow(0x08);
  window_put_text(1, 1, "second", 0x30);
  const std::string both = screen_image();

  EXPECT_EQ(dialogs_hide(), 2);
  EXPECT_EQ(screen_image(), desktop);
  EXPECT_EQ(dialogs_hide(), 0);  // hidden already
  window_open(10, 10, 14, 70, FRAME_DOUBLE, 0x4F, 0x4F);  // the message
  window_close();
  dialogs_show();
  EXPECT_EQ(screen_image(), both);
  // They are whole windows again: closing them gives the desktop back.
  window_close();
  window_close();
  EXPECT_EQ(screen_image(), desktop);

  // A window that is no dialog's stops the hiding.
  window_open(3, 3, 12, 40, FRAME_DOUBLE, 0x70, 0x70);
  window_mark_dialog();
  window_open(5, 5, 10, 30, FRAME_SINGLE, 0x1F, 0x1F);
  EXPECT_EQ(dialogs_hide(), 0);
}

TEST_F(ScreenTest, OpenGeometryAndStatuses) {
  const OpenCase cases[] = {
      {0, 0, 24, 79, FRAME_NONE, 1, UI_OK, 25, 80},
      {0, 0, 24, 79, FRAME_DOUBLE, 1, UI_OK, 23, 78},
      {5, 5, 5, 20, FRAME_SINGLE, 0, UI_OUTSIDE, 0, 0},  // a frame needs two rows
      {5, 5, 5, 20, FRAME_NONE, 1, UI_OK, 1, 16},
      {5, 5, 6, 20, FRAME_SINGLE, 1, UI_OK, 0, 14},      // frame only, no interior rows
      {5, 5, 10, 20, 6, 0, UI_BAD_FRAME, 0, 0},
      {5, 5, 25, 20, FRAME_SINGLE, 0, UI_OUTSIDE, 0, 0},
      {-1, 5, 10, 20, FRAME_SINGLE, 0, UI_OUTSIDE, 0, 0},
  };
  for (const OpenCase& c : cases) {
    int before = window_count();
    uint32_t handle = window_open(c.top, c.left, c.bottom, c.right, c.frame, 0x1F, 0x17);
    SCOPED_TRACE(testing::Message() << c.top << "," << c.left << "-" << c.bottom << "," << c.right << " frame " << c.frame);
    EXPECT_EQ(handle != 0, c.handle_nonzero != 0);
    EXPECT_EQ(ui_status(), c.status);
    if (handle != 0) {
      EXPECT_EQ(window_height(), c.height);
      EXPECT_EQ(window_width(), c.width);
      EXPECT_EQ(window_count(), before + 1);
      EXPECT_EQ(window_close(), UI_OK);
    } else {
      EXPECT_EQ(window_count(), before);
    }
  }
}

TEST_F(ScreenTest, FrameGlyphsAndInterior) {
  window_open(2, 3, 6, 12, FRAME_DOUBLE, 0x1F, 0x17);
  EXPECT_EQ(glyph(3, 2), 0xC9);
  EXPECT_EQ(glyph(12, 2), 0xBB);
  EXPECT_EQ(glyph(3, 6), 0xC8);
  EXPECT_EQ(glyph(12, 6), 0xBC);
  EXPECT_EQ(glyph(7, 2), 0xCD);
  EXPECT_EQ(glyph(3, 4), 0xBA);
  EXPECT_EQ(attr_at(3, 2), 0x1F);
  EXPECT_EQ(glyph(4, 3), ' ');
  EXPECT_EQ(attr_at(4, 3), 0x17);
}

TEST_F(ScreenTest, CloseWithoutWindowAndHandlesNeverReused) {
  int writes = virtual_console_write_count();
  EXPECT_EQ(window_close(), UI_NO_WINDOW);
  EXPECT_EQ(ui_status(), UI_NO_WINDOW);
  EXPECT_EQ(virtual_console_write_count(), writes);
  uint32_t first = window_open(1, 1, 5, 10, FRAME_SINGLE, 0x70, 0x70);
  window_close();
  uint32_t second = window_open(1, 1, 5, 10, FRAME_SINGLE, 0x70, 0x70);
  EXPECT_EQ(second, first + 1);
}

TEST_F(ScreenTest, CloseRestoresBackgroundAndActivatesLower) {
  window_open(0, 0, 24, 79, FRAME_NONE, 0x00, 0x1E);
  window_fill(0, 0, 24, 79, GLYPH_DESKTOP, 0x1E);
  window_set_help(77);
  std::string before = virtual_console_row(5);
  uint32_t upper = window_open(3, 10, 8, 40, FRAME_SINGLE, 0x70, 0x70);
  window_set_help(88);
  ASSERT_NE(upper, 0u);
  EXPECT_NE(virtual_console_row(5), before);
  window_close();
  EXPECT_EQ(virtual_console_row(5), before);
  EXPECT_EQ(help_category_current(), 77u);
  EXPECT_EQ(window_active()->upper, nullptr);
}

TEST_F(ScreenTest, NestedUpdatesWriteOnceAtTheOutermostEnd) {
  window_open(0, 0, 24, 79, FRAME_NONE, 0x07, 0x07);
  int writes = virtual_console_write_count();
  begin_update();
  begin_update();
  window_put_cell(5, 10, 'A', 0x1F);
  end_update();
  window_put_cell(7, 3, 'B', 0x1F);
  EXPECT_EQ(virtual_console_write_count(), writes);
  end_update();
  EXPECT_EQ(virtual_console_write_count(), writes + 1);
  ConsoleRect r = virtual_console_last_write();
  EXPECT_EQ(r.left, 3);
  EXPECT_EQ(r.top, 5);
  EXPECT_EQ(r.right, 10);
  EXPECT_EQ(r.bottom, 7);
  EXPECT_EQ(glyph(10, 5), 'A');
  EXPECT_EQ(glyph(3, 7), 'B');
  // An extra end leaves the counter at 0.
  end_update();
  EXPECT_EQ(update_nesting(), 0);
}

TEST_F(ScreenTest, UpdateWithoutChangesWritesNothingButPlacesTheCursor) {
  window_open(2, 2, 10, 30, FRAME_SINGLE, 0x07, 0x07);
  window_set_cursor(3, 4);
  int writes = virtual_console_write_count();
  begin_update();
  window_put_cell(0, 0, ' ', 0x07);  // what is already there
  end_update();
  EXPECT_EQ(virtual_console_write_count(), writes);
  int column = 0, row = 0;
  bool visible = false;
  virtual_console_cursor(&column, &row, &visible);
  EXPECT_EQ(column, 2 + 1 + 4);
  EXPECT_EQ(row, 2 + 1 + 3);
}

TEST_F(ScreenTest, PutCharacterControlsAndTabs) {
  window_open(0, 0, 5, 21, FRAME_SINGLE, 0x07, 0x07);  // interior 4 x 20
  struct Step {
    int row, column;
    uint8_t code;
    int expect_row, expect_column;
  };
  const Step steps[] = {
      {0, 3, 9, 0, 8},     // tab to the next multiple of 8
      {0, 8, 9, 0, 16},
      {0, 16, 9, 1, 0},    // past the right edge: the next row
      {1, 5, 13, 1, 0},    // carriage return
      {1, 5, 10, 2, 0},    // line feed
      {2, 0, 8, 1, 19},    // backspace at the left edge: previous row's end
      {0, 0, 8, 0, 0},     // but not above the first row
      {1, 4, 'x', 1, 5},
      {1, 19, 'x', 2, 0},
      {1, 4, 12, 1, 5},    // 12 is a glyph
  };
  for (const Step& s : steps) {
    window_set_cursor(s.row, s.column);
    window_put_char(s.code);
    EXPECT_EQ(window_cursor_row(), s.expect_row) << "code " << int(s.code) << " at " << s.row << "," << s.column;
    EXPECT_EQ(window_cursor_column(), s.expect_column) << "code " << int(s.code) << " at " << s.row << "," << s.column;
  }
  int bells = virtual_console_bells();
  window_set_cursor(2, 2);
  window_put_char(7);
  EXPECT_EQ(virtual_console_bells(), bells + 1);
  EXPECT_EQ(window_cursor_column(), 2);
}

TEST_F(ScreenTest, WritingTheBottomRightCellScrollsUp) {
  window_open(0, 0, 4, 11, FRAME_SINGLE, 0x07, 0x17);  // interior 3 x 10
  window_set_cursor(0, 0);
  window_put_string("first", 10);
  window_set_cursor(2, 9);
  window_put_char('Z');
  EXPECT_EQ(window_cursor_row(), 2);
  EXPECT_EQ(window_cursor_column(), 0);
  EXPECT_EQ(window_read_cell(1, 9), 'Z');
  EXPECT_EQ(window_read_cell(2, 9), ' ');
  EXPECT_EQ(window_read_attr(2, 9), 0x17);
  // "first" was on row 0 and left the interior.
  EXPECT_EQ(window_read_cell(0, 0), ' ');
  // A line feed on the bottom row scrolls too.
  window_set_cursor(1, 0);
  window_put_char('Q');
  window_set_cursor(2, 0);
  window_put_char(10);
  EXPECT_EQ(window_read_cell(0, 0), 'Q');
}

TEST_F(ScreenTest, ScrollBothWaysClampsAndClears) {
  window_open(0, 0, 5, 5, FRAME_SINGLE, 0x07, 0x17);  // interior 4 x 4
  for (int r = 0; r < 4; r++) window_put_cell(r, 0, static_cast<uint8_t>('0' + r), 0x17);
  window_scroll(1, 2);
  EXPECT_EQ(window_read_cell(0, 0), ' ');
  EXPECT_EQ(window_read_cell(1, 0), '0');
  EXPECT_EQ(window_read_cell(3, 0), '2');
  window_scroll(2, 1);
  EXPECT_EQ(window_read_cell(0, 0), '1');
  EXPECT_EQ(window_read_cell(2, 0), ' ');
  window_scroll(99, 1);
  for (int r = 0; r < 4; r++) EXPECT_EQ(window_read_cell(r, 0), ' ');
  window_put_cell(3, 0, 'k', 0x17);
  window_scroll(0, 1);  // at least one row moves
  EXPECT_EQ(window_read_cell(2, 0), 'k');
}

TEST_F(ScreenTest, StatusesOfDrawing) {
  EXPECT_EQ(window_set_cursor(0, 0), UI_NO_WINDOW);
  window_open(0, 0, 4, 11, FRAME_SINGLE, 0x07, 0x07);  // interior 3 x 10
  EXPECT_EQ(window_put_centered(0, 0x07, "12345678901"), UI_TOO_LONG);
  EXPECT_EQ(window_put_centered(0, 0x07, "1234567890"), UI_OK);
  EXPECT_EQ(window_put_centered(1, 0x07, "ab"), UI_OK);
  EXPECT_EQ(window_read_cell(1, 4), 'a');
  EXPECT_EQ(window_fill(0, 0, 3, 9, '*', 0x07), UI_OUTSIDE);
  EXPECT_EQ(window_fill(0, 0, 2, 9, '*', 0x07), UI_OK);
  EXPECT_EQ(window_set_cursor(3, 0), UI_OUTSIDE);
  EXPECT_EQ(window_hrule(0, 0, 3, 7, 0x07), UI_BAD_FRAME);
  window_set_cursor(1, 6);
  window_set_text_attr(0x4E);
  window_clear_eol();
  EXPECT_EQ(window_read_cell(1, 5), '*');
  EXPECT_EQ(window_read_cell(1, 6), ' ');
  EXPECT_EQ(window_read_attr(1, 9), 0x4E);
}

TEST_F(ScreenTest, RulesJoinTheFrameAndEachOther) {
  window_open(0, 0, 6, 10, FRAME_DOUBLE, 0x07, 0x07);  // interior rows 1-5, columns 1-9
  ASSERT_EQ(window_hrule(2, 0, 9, FRAME_DOUBLE, 0x07), UI_OK);
  EXPECT_EQ(glyph(0, 3), 0xCC);  // ╠ on the left frame
  EXPECT_EQ(glyph(10, 3), 0xB9);  // ╣ on the right frame
  EXPECT_EQ(glyph(5, 3), 0xCD);
  ASSERT_EQ(window_vrule(0, 4, 5, FRAME_DOUBLE, 0x07), UI_OK);
  EXPECT_EQ(glyph(5, 0), 0xCB);  // ╦ on the top frame
  EXPECT_EQ(glyph(5, 6), 0xCA);  // ╩ on the bottom frame
  EXPECT_EQ(glyph(5, 3), 0xCE);  // ╬ where the rules cross
  EXPECT_EQ(glyph(5, 2), 0xBA);
}

TEST_F(ScreenTest, RuleEndsBecomeCornersAndTees) {
  window_open(0, 0, 8, 20, FRAME_SINGLE, 0x07, 0x07);
  // A vertical rule first, then horizontal ones ending on it and starting from it.
  window_vrule(2, 5, 3, FRAME_SINGLE, 0x07);       // rows 3-5, column 6 absolute
  window_hrule(2, 0, 6, FRAME_SINGLE, 0x07);       // ends on the rule's top cell
  EXPECT_EQ(glyph(6, 3), 0xBF);                    // ┐: only the stroke below
  EXPECT_EQ(glyph(0, 3), 0xC3);                    // ├ on the frame
  window_hrule(3, 5, 4, FRAME_SINGLE, 0x07);       // starts on the rule's middle
  EXPECT_EQ(glyph(6, 4), 0xC3);                    // ├: strokes above and below
  // A single-line rule in a double frame leaves the frame alone.
  window_close();
  window_open(0, 0, 8, 20, FRAME_DOUBLE, 0x07, 0x07);
  window_hrule(1, 0, 19, FRAME_SINGLE, 0x07);
  EXPECT_EQ(glyph(0, 2), 0xBA);
  EXPECT_EQ(window_line_cell(0, 3, 0x07, FRAME_DOUBLE, true), UI_OK);
  EXPECT_EQ(glyph(4, 0), 0xCB);
  EXPECT_EQ(glyph(4, 1), 0xBA);
}

TEST_F(ScreenTest, ShadowKeepsBrightBackgroundBitAndComesOff) {
  window_open(0, 0, 24, 79, FRAME_NONE, 0x07, 0x07);
  window_fill(0, 0, 24, 79, 'x', 0x9E);  // bit 7 set
  window_fill(0, 0, 24, 0, 'y', 0x1E);
  window_open(5, 0, 8, 10, FRAME_SINGLE, 0x70, 0x70);
  ASSERT_EQ(window_add_shadow(0x08), UI_OK);
  EXPECT_EQ(attr_at(11, 6), 0x88);
  EXPECT_EQ(attr_at(12, 9), 0x88);
  EXPECT_EQ(attr_at(2, 9), 0x88);
  EXPECT_EQ(attr_at(11, 5), 0x9E);  // the top row has none
  EXPECT_EQ(attr_at(1, 9), 0x9E);   // nor the first two columns under the window
  EXPECT_EQ(glyph(11, 6), 'x');
  EXPECT_EQ(window_add_shadow(0x07), UI_OK);  // one shadow only
  EXPECT_EQ(attr_at(11, 6), 0x88);
  window_remove_shadow();
  EXPECT_EQ(attr_at(11, 6), 0x9E);
  window_add_shadow(0x08);
  window_close();
  EXPECT_EQ(attr_at(11, 6), 0x9E);
  EXPECT_EQ(attr_at(5, 9), 0x9E);
}

TEST_F(ScreenTest, MoveCarriesContentsAndShadow) {
  window_open(0, 0, 24, 79, FRAME_NONE, 0x07, 0x07);
  window_fill(0, 0, 24, 79, '.', 0x07);
  window_open(2, 2, 5, 12, FRAME_SINGLE, 0x70, 0x70);
  window_put_text(0, 0, "hello", 0x70);
  window_set_cursor(1, 3);
  window_add_shadow(0x08);
  EXPECT_EQ(window_move(-1, 4), UI_OUTSIDE);
  EXPECT_EQ(window_move(10, 30), UI_OK);
  EXPECT_EQ(virtual_console_text(11, 31, 35), "hello");
  EXPECT_EQ(glyph(3, 3), '.');
  EXPECT_EQ(attr_at(3, 3), 0x07);
  EXPECT_EQ(attr_at(41, 12), 0x08);  // the shadow came along
  EXPECT_EQ(attr_at(13, 3), 0x07);   // and left the old place
  EXPECT_EQ(window_cursor_row(), 1);
  EXPECT_EQ(window_cursor_column(), 3);
  window_close();
  EXPECT_EQ(glyph(31, 11), '.');
}

TEST_F(ScreenTest, ResizeKeepsTopLeftAndRestoresUncoveredCells) {
  window_open(0, 0, 24, 79, FRAME_NONE, 0x07, 0x07);
  window_fill(0, 0, 24, 79, '.', 0x07);
  window_open(2, 2, 8, 20, FRAME_SINGLE, 0x70, 0x71);
  window_put_text(0, 0, "keep", 0x71);
  window_set_cursor(5, 15);
  EXPECT_EQ(window_resize(3, 20), UI_OUTSIDE);  // bottom must pass top + border
  EXPECT_EQ(window_resize(5, 10), UI_OK);
  EXPECT_EQ(window_height(), 2);
  EXPECT_EQ(window_width(), 7);
  EXPECT_EQ(virtual_console_text(3, 3, 6), "keep");
  EXPECT_EQ(glyph(15, 7), '.');  // uncovered again
  EXPECT_EQ(glyph(10, 5), 0xD9);  // the new corner
  EXPECT_EQ(window_cursor_row(), 0);  // the output position was outside
  EXPECT_EQ(window_resize(12, 30), UI_OK);
  EXPECT_EQ(glyph(6, 5), ' ');  // the old frame inside is cleared
  EXPECT_EQ(glyph(10, 3), ' ');
  EXPECT_EQ(attr_at(25, 10), 0x71);
  window_close();
  EXPECT_EQ(virtual_console_text(10, 20, 30), "...........");
}

TEST_F(ScreenTest, TitlePositions) {
  window_open(0, 0, 4, 21, FRAME_SINGLE, 0x70, 0x70);  // w = 19
  window_set_title("ab", 1, 0x7F);
  EXPECT_EQ(glyph(2, 0), 'a');
  window_set_title("ab", 2, 0x7F);
  EXPECT_EQ(glyph(2, 0), 0xC4);  // the earlier title is gone
  EXPECT_EQ(glyph(10, 0), 'a');  // (19 + 1) / 2 + 0 + 1 - 1
  window_set_title("ab", 3, 0x7F);
  EXPECT_EQ(glyph(18, 0), 'a');
  EXPECT_EQ(glyph(19, 0), 'b');
  EXPECT_EQ(glyph(20, 0), 0xC4);
  window_set_title(nullptr, 1, 0x7F);
  EXPECT_EQ(glyph(19, 0), 0xC4);
}

TEST_F(ScreenTest, CaseTablesFollowTheSelectedCodePage) {
  EXPECT_EQ(ui_upper(static_cast<uint8_t>(cp866("ж")[0])), static_cast<uint8_t>(cp866("Ж")[0]));
  EXPECT_EQ(ui_lower('Q'), 'q');
  ui_select_codepage(1);
  EXPECT_EQ(ui_upper(0xC1), 0xE1);  // KOI8-R а -> А
  ui_select_codepage(0);
}

}  // namespace
}  // namespace tavrel
