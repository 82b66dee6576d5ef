// The line table without a screen: the typing rules at the last columns, joining at a
// column, growth that never drops a line, long lines, search, shifting and line copies.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "editor/text.h"

namespace tavrel {
namespace {

std::string at(const EditorText& t, int i) {
  const char* p = text_line(&t, i);
  return p == nullptr ? std::string() : std::string(p, static_cast<size_t>(text_length(&t, i)));
}

void put(EditorText& t, int i, const std::string& s) {
  ASSERT_EQ(text_set_line(&t, i, s.data(), static_cast<int>(s.size())), TEXT_OK);
}

struct Text {
  EditorText t{nullptr, 0};
  Text() { text_init(&t); }
  ~Text() { text_free(&t); }
};

TEST(EditorText, TypingRulesAtTheLastColumns) {
  const std::string x217 = std::string(217, 'x');
  struct Case {
    const char* name;
    std::string line;
    int column;
    bool overwrite;
    int status;
    std::string after;
  };
  const Case cases[] = {
      {"insert moves the rest right", "abc", 1, false, TEXT_OK, "aQbc"},
      {"overwrite replaces", "abc", 1, true, TEXT_OK, "aQc"},
      {"empty line gets a buffer", "", 3, false, TEXT_OK, "   Q"},
      {"empty line, column 217", "", 217, false, TEXT_OK, std::string(217, ' ') + "Q"},
      {"empty line, column 218, insert", "", 218, false, TEXT_REFUSED, ""},
      {"column 218 in overwrite mode", "abc", 218, true, TEXT_REFUSED, "abc"},
      {"column 218, insert, last cells free", "abc", 218, false, TEXT_OK, "abc" + std::string(215, ' ') + "Q"},
      {"past the last cell", "abc", 219, false, TEXT_REFUSED, "abc"},
      {"cell 217 taken: full", x217 + "y", 0, false, TEXT_REFUSED, x217 + "y"},
      {"full in overwrite mode too", x217 + "y", 0, true, TEXT_REFUSED, x217 + "y"},
      {"cell 218 taken: full", x217 + " z", 5, true, TEXT_REFUSED, x217 + " z"},
      {"217 characters leave room", x217, 0, false, TEXT_OK, "Q" + x217},
  };
  for (const Case& c : cases) {
    Text t;
    put(t.t, 0, c.line);
    EXPECT_EQ(text_type_char(&t.t, 0, c.column, 'Q', c.overwrite), c.status) << c.name;
    EXPECT_EQ(at(t.t, 0), c.after) << c.name;
  }
}

TEST(EditorText, JoinAtAColumnPastTheTextPadsWithBlanks) {
  Text t;
  put(t.t, 0, "ab");
  put(t.t, 1, "cd");
  EXPECT_EQ(text_join_next(&t.t, 0, 5), TEXT_OK);
  EXPECT_EQ(at(t.t, 0), "ab   cd");
  // No room left at all: nothing moves.
  put(t.t, 0, std::string(218, 'x'));
  put(t.t, 1, "cd");
  EXPECT_EQ(text_join_next(&t.t, 0, 218), TEXT_REFUSED);
  EXPECT_EQ(at(t.t, 1), "cd");
}

TEST(EditorText, TheTableDoublesInsteadOfDroppingTheLastLine) {
  Text t;
  put(t.t, TEXT_INITIAL_SLOTS - 1, "last");
  put(t.t, 0, "first");
  ASSERT_EQ(text_split_line(&t.t, 0, 0), TEXT_OK);
  EXPECT_EQ(t.t.capacity, 2 * TEXT_INITIAL_SLOTS);
  EXPECT_EQ(at(t.t, TEXT_INITIAL_SLOTS), "last");
  EXPECT_EQ(at(t.t, 1), "first");
  put(t.t, 2500, "far");
  EXPECT_EQ(t.t.capacity, 4000);
  EXPECT_EQ(at(t.t, 2500), "far");
}

TEST(EditorText, LongLinesAreKeptWhole) {
  Text t;
  std::string long_line(300, 'L');
  put(t.t, 0, long_line);
  EXPECT_EQ(at(t.t, 0), long_line);
  EXPECT_EQ(text_type_char(&t.t, 0, 5, 'Q', false), TEXT_REFUSED);
  ASSERT_EQ(text_split_line(&t.t, 0, 10), TEXT_OK);
  EXPECT_EQ(at(t.t, 0), std::string(10, 'L'));
  EXPECT_EQ(at(t.t, 1), std::string(290, 'L'));
}

TEST(EditorText, FindSearchesForwardExactly) {
  Text t;
  put(t.t, 0, "select x from t");
  put(t.t, 3, "SELECT y");
  put(t.t, 5, "x select");
  struct Case {
    const char* pattern;
    int line, column;
    bool found;
    int found_line, found_column;
  };
  const Case cases[] = {
      {"select", 0, 0, true, 0, 0},
      {"select", 0, 1, true, 5, 2},   // case matters: "SELECT" is passed over
      {"SELECT", 0, 1, true, 3, 0},
      {"x", 3, 7, true, 5, 0},        // the rest of line 3 holds none, line 5 does
      {"t", 0, 14, true, 0, 14},      // the last character of a line
      {"nothing", 0, 0, false, 0, 0},
      {"select", 5, 3, false, 0, 0},
  };
  for (const Case& c : cases) {
    int line = -1, column = -1;
    EXPECT_EQ(text_find(&t.t, c.pattern, c.line, c.column, &line, &column), c.found) << c.pattern;
    if (c.found) {
      EXPECT_EQ(line, c.found_line) << c.pattern;
      EXPECT_EQ(column, c.found_column) << c.pattern;
    }
  }
}

TEST(EditorText, ShiftingLines) {
  Text t;
  put(t.t, 0, "  a");
  put(t.t, 2, "b");
  EXPECT_EQ(text_shift_left(&t.t, 0, 2), 1);
  EXPECT_EQ(at(t.t, 0), " a");
  EXPECT_EQ(at(t.t, 2), "b");
  EXPECT_EQ(text_shift_right(&t.t, 0, 2), TEXT_OK);
  EXPECT_EQ(at(t.t, 0), "  a");
  EXPECT_EQ(at(t.t, 1), "");
  EXPECT_EQ(at(t.t, 2), " b");
  // One full line refuses the whole shift.
  put(t.t, 1, std::string(218, 'f'));
  EXPECT_EQ(text_shift_right(&t.t, 0, 2), TEXT_REFUSED);
  EXPECT_EQ(at(t.t, 0), "  a");
}

TEST(EditorText, RemovingAndInsertingCopies) {
  Text t, source;
  for (int i = 0; i < 5; i++) put(t.t, i, std::string(1, static_cast<char>('a' + i)));
  put(source.t, 0, "x");
  put(source.t, 2, "z");
  text_remove_lines(&t.t, 1, 2);
  EXPECT_EQ(at(t.t, 1), "d");
  EXPECT_EQ(text_last_used(&t.t), 2);
  ASSERT_EQ(text_insert_copies(&t.t, 1, &source.t, 0, 3), TEXT_OK);
  const char* expected[] = {"a", "x", "", "z", "d", "e"};
  for (int i = 0; i < 6; i++) EXPECT_EQ(at(t.t, i), expected[i]) << i;
  // The copies are the table's own.
  put(source.t, 0, "changed");
  EXPECT_EQ(at(t.t, 1), "x");
}

}  // namespace
}  // namespace tavrel
