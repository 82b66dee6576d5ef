// The terminal screen writer, checked through a small terminal model that carries out what the
// writer sends (cursor moves, colours, UTF-8 glyphs) the way xterm and the Linux console do:
// whatever the writer chooses, the model must end up showing the program's screen. Beside
// that, the byte counts that matter (a typed character, a full paint), colour changes only at
// attribute changes, and the glyph table against the code-page library.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "text/unicode.h"
#include "platform/terminal_writer.h"

namespace tavrel {
namespace {

constexpr int COLUMNS = 80;
constexpr int ROWS = 25;
constexpr int ANSI_TO_CGA[8] = {0, 4, 2, 6, 1, 5, 3, 7};

// A terminal with automatic wrap off and no output processing, as the backend sets it up.
struct TerminalModel {
  struct Cell {
    uint32_t code_point;
    int fg, bg;
  };
  int columns, rows;
  std::vector<Cell> cells;
  int col = 0, row = 0;
  int fg = 7, bg = 0;
  bool bold = false, blink = false;
  std::string error;

  TerminalModel(int c, int r) : columns(c), rows(r), cells(static_cast<size_t>(c) * r) {
    clear();
  }
  void clear() {
    for (Cell& cell : cells) cell = {' ', fg | (bold ? 8 : 0), bg | (blink ? 8 : 0)};
  }
  // Erasing fills with the background in force (as xterm, tmux and the Linux console do).
  void erase(int from, int to) {
    for (int c = from; c < to && c < columns; ++c) {
      cells[static_cast<size_t>(row) * columns + c] = {' ', fg | (bold ? 8 : 0), bg | (blink ? 8 : 0)};
    }
  }
  const Cell& at(int c, int r) const { return cells[static_cast<size_t>(r) * columns + c]; }

  void sgr(const std::vector<int>& params) {
    for (int p : params) {
      if (p == 0) fg = 7, bg = 0, bold = blink = false;
      else if (p == 1) bold = true;
      else if (p == 5) blink = true;
      else if (p >= 30 && p <= 37) fg = ANSI_TO_CGA[p - 30];
      else if (p >= 90 && p <= 97) fg = ANSI_TO_CGA[p - 90] + 8;
      else if (p >= 40 && p <= 47) bg = ANSI_TO_CGA[p - 40];
      else if (p >= 100 && p <= 107) bg = ANSI_TO_CGA[p - 100] + 8;
      else error = "unexpected SGR " + std::to_string(p);
    }
  }

  void csi(char final, const std::vector<int>& params) {
    auto param = [&params](size_t i, int absent) {
      return i < params.size() && params[i] > 0 ? params[i] : absent;
    };
    switch (final) {
      case 'H': row = param(0, 1) - 1, col = param(1, 1) - 1; break;
      case 'A': row -= param(0, 1); break;
      case 'B': row += param(0, 1); break;
      case 'C': col += param(0, 1); break;
      case 'D': col -= param(0, 1); break;
      case 'G': col = param(0, 1) - 1; break;
      case 'J': if (param(0, 0) == 2) clear(); break;
      case 'X': erase(col, col + param(0, 1)); break;
      case 'K': erase(col, columns); break;
      case 'm': sgr(params.empty() ? std::vector<int>{0} : params); break;
      default: break;  // modes and cursor shape: no effect on the cells
    }
    if (row < 0 || row >= rows || col < 0 || col >= columns) error = "cursor off the screen";
  }

  void feed(const std::string& bytes) {
    const auto* data = reinterpret_cast<const uint8_t*>(bytes.data());
    size_t i = 0, n = bytes.size();
    while (i < n && error.empty()) {
      uint8_t b = data[i];
      if (b == 0x1B && i + 1 < n && data[i + 1] == '[') {
        i += 2;
        std::vector<int> params;
        int current = -1;
        while (i < n && !(data[i] >= 0x40 && data[i] <= 0x7E)) {
          if (data[i] >= '0' && data[i] <= '9') {
            current = (current < 0 ? 0 : current * 10) + (data[i] - '0');
          } else if (data[i] == ';') {
            params.push_back(current < 0 ? 0 : current);
            current = -1;
          }
          ++i;
        }
        if (current >= 0 || !params.empty()) params.push_back(current < 0 ? 0 : current);
        if (i < n) csi(static_cast<char>(data[i++]), params);
      } else if (b == 0x1B && i + 1 < n && data[i + 1] == ']') {
        while (i < n && data[i] != 0x07) ++i;
        ++i;
      } else if (b == '\r') {
        col = 0, ++i;
      } else if (b == '\n') {
        if (++row >= rows) error = "line feed scrolled the screen";
        ++i;
      } else if (b == '\b') {
        if (--col < 0) error = "backspace past the margin";
        ++i;
      } else if (b < 0x20) {
        error = "unexpected control byte " + std::to_string(b);
      } else {
        uint32_t cp = 0;
        int len = utf8_decode(std::string_view(reinterpret_cast<const char*>(data + i), n - i), &cp);
        if (len <= 0 || cp == 0xFFFD) {
          error = "bad UTF-8";
          break;
        }
        i += static_cast<size_t>(len);
        cells[static_cast<size_t>(row) * columns + col] = {cp, fg | (bold ? 8 : 0),
                                                           bg | (blink ? 8 : 0)};
        if (col + 1 < columns) ++col;  // no automatic wrap: the cursor stays at the margin
      }
    }
  }

  // Empty when the model shows screen with the cursor at cc, cr. A blank shows only its
  // background, so its foreground is not compared.
  std::string differs_from(const std::vector<ConsoleCell>& screen, int cc, int cr) const {
    if (!error.empty()) return error;
    for (int r = 0; r < rows; ++r) {
      for (int c = 0; c < columns; ++c) {
        const Cell& m = at(c, r);
        ConsoleCell s = screen[static_cast<size_t>(r) * columns + c];
        bool blank = m.code_point == ' ';
        if (m.code_point != cp866_display_code_point(s.ch) || (!blank && m.fg != (s.attr & 0x0F)) ||
            m.bg != (s.attr >> 4)) {
          return "cell " + std::to_string(c) + "," + std::to_string(r) + " differs";
        }
      }
    }
    if (col != cc || row != cr) return "cursor at " + std::to_string(col) + "," + std::to_string(row);
    return "";
  }
};

// The screens the program draws: a desktop, a framed window with Cyrillic text, a hint line.
std::vector<ConsoleCell> ui_screen() {
  std::vector<ConsoleCell> s(static_cast<size_t>(COLUMNS) * ROWS, ConsoleCell{0xB2, 0x17});
  auto put = [&s](int c, int r, uint8_t ch, uint8_t attr) {
    s[static_cast<size_t>(r) * COLUMNS + c] = {ch, attr};
  };
  for (int r = 5; r <= 15; ++r) {
    for (int c = 10; c <= 60; ++c) {
      bool edge_row = r == 5 || r == 15, edge_col = c == 10 || c == 60;
      uint8_t ch = edge_row && edge_col ? (r == 5 ? (c == 10 ? 0xC9 : 0xBB) : (c == 10 ? 0xC8 : 0xBC))
                   : edge_row           ? 0xCD
                   : edge_col           ? 0xBA
                                        : ' ';
      put(c, r, ch, 0x3F);
    }
  }
  const uint8_t text[] = {0x8F, 0xE0, 0xAE, 0xE6, 0xA5, 0xA4, 0xE3, 0xE0, 0xEB};  // Процедуры
  for (int i = 0; i < 9; ++i) put(12 + i, 7, text[i], 0x3E);
  for (int c = 0; c < COLUMNS; ++c) put(c, ROWS - 1, c % 10 == 0 ? 'F' : ' ', c % 10 < 2 ? 0x74 : 0x70);
  return s;
}

TermWriter writer(const char* term) {
  TermWriter w;
  term_writer_init(&w, term_profile_for(term), COLUMNS, ROWS);
  return w;
}

// The bytes one update sends.
std::string update(TermWriter& w, const std::vector<ConsoleCell>& screen, int column, int row) {
  std::string out;
  term_writer_update(&w, screen.data(), column, row, &out);
  return out;
}

size_t glyph_bytes(const std::vector<ConsoleCell>& screen) {
  size_t total = 0;
  char bytes[4];
  for (ConsoleCell c : screen) total += static_cast<size_t>(term_glyph_utf8(c.ch, bytes));
  return total;
}

TEST(TerminalWriter, RandomEditsAlwaysReachTheTerminal) {
  for (const char* term : {"xterm-256color", "linux", "screen"}) {
    SCOPED_TRACE(term);
    std::mt19937 rng(12345);
    auto pick = [&rng](int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); };
    // Few glyphs and colours, so that edits often leave cells as they were and runs form.
    const uint8_t glyphs[] = {' ', 'a', 0xB2, 0xC4, 0xA4, 0x01, 0x7F, 0xFF, 0x00};
    const uint8_t attrs[] = {0x07, 0x17, 0x1F, 0x70, 0xCE, 0x8F, 0xF0};
    std::vector<ConsoleCell> screen = ui_screen();
    TermWriter w = writer(term);
    TerminalModel model(COLUMNS, ROWS);
    for (int step = 0; step < 400; ++step) {
      int edits = step == 0 ? 0 : 1 + pick(12);
      for (int e = 0; e < edits; ++e) {
        int r = pick(ROWS), c = pick(COLUMNS), len = pick(4) == 0 ? 1 + pick(30) : 1;
        ConsoleCell cell{glyphs[pick(sizeof glyphs)], attrs[pick(sizeof attrs)]};
        for (int i = c; i < c + len && i < COLUMNS; ++i) {
          screen[static_cast<size_t>(r) * COLUMNS + i] = cell;
        }
      }
      if (step % 97 == 50) {  // the terminal was resized, and lost its contents
        term_writer_invalidate(&w, COLUMNS, ROWS);
        model.fg = pick(8), model.bg = pick(8);
        model.clear();
      }
      int cc = pick(COLUMNS), cr = pick(ROWS);
      model.feed(update(w, screen, cc, cr));
      std::string diff = model.differs_from(screen, cc, cr);
      ASSERT_EQ(diff, "") << "step " << step;
    }
  }
}

TEST(TerminalWriter, TypingACharacterSendsOnlyThatCharacter) {
  struct Case {
    uint8_t ch;
    const char* expected;
  } cases[] = {{'x', "x"}, {0xA6, "ж"}, {0xC4, "─"}};
  for (const Case& c : cases) {
    std::vector<ConsoleCell> screen = ui_screen();
    TermWriter w = writer("xterm");
    update(w, screen, 30, 10);
    // The first key typed there brings the colours of the field; the next one only its glyph.
    screen[10 * COLUMNS + 30].ch = 'a';
    update(w, screen, 31, 10);
    screen[10 * COLUMNS + 31].ch = c.ch;  // typed at the cursor, which moves on by one
    EXPECT_EQ(update(w, screen, 32, 10), c.expected);
  }
}

TEST(TerminalWriter, CheapestCursorMoves) {
  struct Case {
    const char* what;
    int from_col, from_row;  // the cursor after the first update
    int change_col, change_row;
    uint8_t attr;            // of the changed cell
    const char* expected;
  } cases[] = {
      {"same row, forward", 5, 3, 9, 3, 0x07, "\x1b[4CX"},
      {"same row, next-but-one cell", 5, 3, 6, 3, 0x07, " X"},  // the blank printed again
      {"same row, back one", 5, 3, 4, 3, 0x07, "\bX"},
      {"same row, far back", 60, 3, 4, 3, 0x07, "\x1b[5GX"},
      {"next row, same column", 5, 3, 5, 4, 0x07, "\nX"},
      {"next row, first column", 40, 3, 0, 4, 0x07, "\r\nX"},
      {"far away", 5, 3, 70, 20, 0x07, "\x1b[21;71HX"},
      {"home", 50, 20, 0, 0, 0x07, "\x1b[HX"},
      {"another colour", 5, 3, 5, 3, 0x1E, "\x1b[93;44mX"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    std::vector<ConsoleCell> screen(static_cast<size_t>(COLUMNS) * ROWS, ConsoleCell{' ', 0x07});
    TermWriter w = writer("xterm");
    update(w, screen, c.from_col, c.from_row);
    screen[static_cast<size_t>(c.change_row) * COLUMNS + c.change_col] = {'X', c.attr};
    // The cursor ends just after the change (or back where it was, for "far back").
    bool back = std::string(c.what) == "same row, far back";
    EXPECT_EQ(update(w, screen, back ? 5 : c.change_col + 1, c.change_row), c.expected);
  }
}

TEST(TerminalWriter, ColoursChangeOnlyWhereTheAttributeChanges) {
  std::vector<ConsoleCell> screen(static_cast<size_t>(COLUMNS) * ROWS, ConsoleCell{'.', 0x07});
  // Row 2: four runs; the rest of the screen in the attribute the row ends with.
  const uint8_t runs[] = {0x1F, 0x1E, 0x4F, 0x07};
  for (int c = 0; c < COLUMNS; ++c) screen[2 * COLUMNS + c].attr = runs[c / 20];
  TermWriter w = writer("xterm");
  const std::string out = update(w, screen, 0, 0);
  size_t sgr = 0;
  for (size_t i = out.find("\x1b["); i != std::string::npos; i = out.find("\x1b[", i + 1)) {
    size_t j = i + 2;
    while (j < out.size() && (isdigit(static_cast<unsigned char>(out[j])) || out[j] == ';')) ++j;
    if (j < out.size() && out[j] == 'm') ++sgr;
  }
  // The first colour, then the four runs of row 2 (the last one back to 0x07).
  EXPECT_EQ(sgr, 5u);
  // Only the foreground changes between 0x1F and 0x1E.
  EXPECT_NE(out.find("\x1b[93m"), std::string::npos);
}

TEST(TerminalWriter, FullPaintCostsLittleMoreThanTheGlyphs) {
  std::vector<ConsoleCell> screen = ui_screen();
  TermWriter w = writer("xterm-256color");
  size_t glyphs = glyph_bytes(screen);
  EXPECT_LE(update(w, screen, 0, 0).size(), glyphs + glyphs / 10);
  EXPECT_EQ(update(w, screen, 0, 0), "");  // nothing changed: nothing sent
}

TEST(TerminalWriter, SmallerTerminalGetsWhatFits) {
  std::vector<ConsoleCell> screen = ui_screen();
  TermWriter w = writer("xterm");
  update(w, screen, 0, 0);
  term_writer_invalidate(&w, 40, 10);
  TerminalModel model(40, 10);
  model.feed(update(w, screen, 70, 20));  // a cursor out of sight stays put
  ASSERT_EQ(model.error, "");
  for (int r = 0; r < 10; ++r) {
    for (int c = 0; c < 40; ++c) {
      EXPECT_EQ(model.at(c, r).code_point, cp866_display_code_point(screen[r * COLUMNS + c].ch));
    }
  }
}

TEST(TerminalWriter, CursorShapeAndVisibilityOnlyWhenChanged) {
  struct Step {
    int size;
    bool visible;
    const char* xterm;
    const char* linux_console;
  } steps[] = {
      {25, true, "\x1b[4 q\x1b[?25h", "\x1b[?2c\x1b[?25h"},
      {25, true, "", ""},
      {20, false, "\x1b[?25l", "\x1b[?25l"},
      {100, false, "\x1b[2 q", "\x1b[?6c"},
      {100, true, "\x1b[?25h", "\x1b[?25h"},
  };
  TermWriter x = writer("xterm"), l = writer("linux");
  for (const Step& s : steps) {
    std::string out_x, out_l;
    term_writer_cursor(&x, s.size, s.visible, &out_x);
    term_writer_cursor(&l, s.size, s.visible, &out_l);
    EXPECT_EQ(out_x, s.xterm);
    EXPECT_EQ(out_l, s.linux_console);
  }
}

TEST(TerminalWriter, TitleIsSentAsUtf8) {
  const char title[] = {'\x8C', '\xA5', '\xAD', '\xA5', '\xA4', '\xA6', '\xA5', '\xE0',
                        '\x07', '1', 0};  // "Менеджер", a BEL, "1"
  std::string out;
  term_title_sequence(term_profile_for("tmux-256color"), title, &out);
  EXPECT_EQ(out, "\x1b]0;Менеджер 1\a");
  out.clear();
  term_title_sequence(term_profile_for("linux"), title, &out);
  EXPECT_EQ(out, "");
}

TEST(TerminalWriter, EnterAndLeaveUndoEachOther) {
  for (const char* term : {"xterm", "linux"}) {
    std::string enter, leave;
    term_enter_sequence(term_profile_for(term), &enter);
    term_leave_sequence(term_profile_for(term), &leave);
    // Every private mode set on entry is reset on leaving.
    for (size_t i = enter.find("\x1b[?"); i != std::string::npos; i = enter.find("\x1b[?", i + 1)) {
      size_t end = enter.find_first_of("hl", i);
      ASSERT_NE(end, std::string::npos);
      std::string mode = enter.substr(i, end - i);
      std::string undo = mode + (enter[end] == 'h' ? "l" : "h");
      EXPECT_NE(leave.find(undo), std::string::npos) << term << ": " << mode.substr(1);
    }
  }
}

}  // namespace
}  // namespace tavrel
