// The terminal writer beside ncurses drawing the same screens on an xterm-256color terminal:
// bytes sent for a full repaint, for a dialog opening over the desktop, and for a typed
// character, and the time of a full repaint. ncurses writes into a pipe whose bytes are
// counted after each refresh. The byte counts are reported as counters of each benchmark.
#define NCURSES_WIDECHAR 1
#include <benchmark/benchmark.h>
#include <curses.h>
#include <fcntl.h>
#include <unistd.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "text/unicode.h"
#include "platform/terminal_writer.h"

namespace {

using tavrel::ConsoleCell;

constexpr int COLUMNS = 80;
constexpr int ROWS = 25;
constexpr int FIELD_ROW = 10, FIELD_COL = 30;  // where the typed characters go
constexpr int CGA_TO_ANSI[8] = {0, 4, 2, 6, 1, 5, 3, 7};

using Screen = std::vector<ConsoleCell>;

void put(Screen& s, int c, int r, uint8_t ch, uint8_t attr) {
  s[static_cast<size_t>(r) * COLUMNS + c] = {ch, attr};
}

void put_text(Screen& s, int c, int r, const char* cp866, uint8_t attr) {
  for (; *cp866 != 0; ++cp866) put(s, c++, r, static_cast<uint8_t>(*cp866), attr);
}

void window(Screen& s, int left, int top, int right, int bottom, uint8_t attr) {
  for (int r = top; r <= bottom; ++r) {
    for (int c = left; c <= right; ++c) {
      bool er = r == top || r == bottom, ec = c == left || c == right;
      uint8_t ch = er && ec ? (r == top ? (c == left ? 0xC9 : 0xBB) : (c == left ? 0xC8 : 0xBC))
                   : er     ? 0xCD
                   : ec     ? 0xBA
                            : ' ';
      put(s, c, r, ch, attr);
    }
  }
  // The shadow: two columns to the right and a row below, dimmed.
  for (int r = top + 1; r <= bottom + 1; ++r) {
    for (int c = right + 1; c <= right + 2; ++c) s[static_cast<size_t>(r) * COLUMNS + c].attr = 0x08;
  }
  for (int c = left + 2; c <= right + 2; ++c) s[static_cast<size_t>(bottom + 1) * COLUMNS + c].attr = 0x08;
}

// The program's main screen: desktop, menu bar, a list window, the hint line.
Screen main_screen() {
  Screen s(static_cast<size_t>(COLUMNS) * ROWS, ConsoleCell{0xB2, 0x17});
  for (int c = 0; c < COLUMNS; ++c) put(s, c, 0, ' ', 0x70);
  put_text(s, 2, 0, "\x94\xA0\xA9\xAB  \x8F\xE0\xAE\xE6\xA5\xA4\xE3\xE0\xEB  \x8E\xE2\xAB\xA0\xA4\xAA\xA0", 0x70);
  window(s, 3, 2, 60, 20, 0x1F);
  const char* names[] = {"\x8F\xE0\xAE\xE6\xA5\xA4\xE3\xE0\xA0 payroll_update", "calc_bonus",
                         "\x8E\xE2\xE7\xF1\xE2 \xA7\xA0 \xAC\xA5\xE1\xEF\xE6", "trg_orders_insert"};
  for (int i = 0; i < 16; ++i) put_text(s, 5, 3 + i, names[i % 4], i == 2 ? 0x30 : 0x1E);
  for (int c = 0; c < COLUMNS; ++c) put(s, c, ROWS - 1, ' ', 0x70);
  put_text(s, 1, ROWS - 1, "F1 \x8F\xAE\xAC\xAE\xE9\xEC  F2 \x91\xAE\xE5\xE0\xA0\xAD\xA8\xE2\xEC  F10 \x8C\xA5\xAD\xEE", 0x70);
  return s;
}

// The same screen with a dialog open over it: an input field with the cursor in it.
Screen dialog_screen() {
  Screen s = main_screen();
  window(s, 15, 6, 64, 14, 0x70);
  put_text(s, 18, 8, "\x88\xAC\xEF \xAF\xE0\xAE\xE6\xA5\xA4\xE3\xE0\xEB:", 0x70);
  for (int c = FIELD_COL; c < 60; ++c) put(s, c, FIELD_ROW, ' ', 0x1F);
  put_text(s, 25, 12, " \x8E\xAA ", 0x2F);
  put_text(s, 40, 12, " \x8E\xE2\xAC\xA5\xAD\xA0 ", 0x2F);
  return s;
}

size_t glyph_bytes(const Screen& s) {
  size_t n = 0;
  char b[4];
  for (ConsoleCell c : s) n += static_cast<size_t>(tavrel::term_glyph_utf8(c.ch, b));
  return n;
}

// ---------------------------------------------------------------------------------------
// Our writer.

struct OurTerminal {
  tavrel::TermWriter writer;
  std::string out;
  OurTerminal() {
    tavrel::term_writer_init(&writer, tavrel::term_profile_for("xterm-256color"), COLUMNS, ROWS);
  }
  size_t draw(const Screen& s, int cc, int cr) {
    out.clear();
    tavrel::term_writer_update(&writer, s.data(), cc, cr, &out);
    return out.size();
  }
  size_t repaint(const Screen& s, int cc, int cr) {
    tavrel::term_writer_invalidate(&writer, COLUMNS, ROWS);
    return draw(s, cc, cr);
  }
};

// ---------------------------------------------------------------------------------------
// ncurses on a pipe.

struct CursesTerminal {
  SCREEN* screen = nullptr;
  int out_fds[2] = {-1, -1};
  int in_fds[2] = {-1, -1};
  FILE* out = nullptr;
  FILE* in = nullptr;

  CursesTerminal() {
    std::setlocale(LC_ALL, "C.UTF-8");
    if (pipe(out_fds) != 0 || pipe(in_fds) != 0) std::abort();
    fcntl(out_fds[0], F_SETPIPE_SZ, 1 << 20);
    fcntl(out_fds[0], F_SETFL, O_NONBLOCK);
    out = fdopen(out_fds[1], "w");
    in = fdopen(in_fds[0], "r");
    setenv("LINES", "25", 1);
    setenv("COLUMNS", "80", 1);
    screen = newterm("xterm-256color", out, in);
    if (screen == nullptr) std::abort();
    set_term(screen);
    start_color();
    // One colour pair per attribute byte.
    for (int a = 0; a < 256; ++a) {
      int fg = CGA_TO_ANSI[a & 7] + ((a & 8) ? 8 : 0);
      int bg = CGA_TO_ANSI[(a >> 4) & 7] + ((a & 0x80) ? 8 : 0);
      init_pair(static_cast<short>(a + 1), static_cast<short>(fg), static_cast<short>(bg));
    }
    refresh();
    drain();
  }
  ~CursesTerminal() {
    endwin();
    delscreen(screen);
    std::fclose(out);
    std::fclose(in);
    close(out_fds[0]);
    close(in_fds[1]);
  }
  size_t drain() {
    std::fflush(out);
    char buffer[65536];
    size_t total = 0;
    ssize_t n;
    while ((n = read(out_fds[0], buffer, sizeof buffer)) > 0) total += static_cast<size_t>(n);
    return total;
  }
  void set_cell(int c, int r, ConsoleCell cell) {
    wchar_t text[2] = {static_cast<wchar_t>(tavrel::cp866_display_code_point(cell.ch)), 0};
    cchar_t cc;
    setcchar(&cc, text, A_NORMAL, static_cast<short>(cell.attr + 1), nullptr);
    mvadd_wch(r, c, &cc);
  }
  size_t draw(const Screen& s, int cc, int cr) {
    for (int r = 0; r < ROWS; ++r) {
      for (int c = 0; c < COLUMNS; ++c) {
        // The bottom-right cell would scroll a curses window: insert it instead.
        if (r == ROWS - 1 && c == COLUMNS - 1) {
          wchar_t text[2] = {static_cast<wchar_t>(tavrel::cp866_display_code_point(s.back().ch)), 0};
          cchar_t ch;
          setcchar(&ch, text, A_NORMAL, static_cast<short>(s.back().attr + 1), nullptr);
          mvins_wch(r, c, &ch);
        } else {
          set_cell(c, r, s[static_cast<size_t>(r) * COLUMNS + c]);
        }
      }
    }
    move(cr, cc);
    refresh();
    return drain();
  }
  size_t repaint() {
    clearok(curscr, TRUE);
    refresh();
    return drain();
  }
};

// Typing into the dialog's field: each key changes one cell and moves the cursor on.
struct Typing {
  Screen screen = dialog_screen();
  int col = FIELD_COL;
  void type() {
    screen[static_cast<size_t>(FIELD_ROW) * COLUMNS + col] = {static_cast<uint8_t>('a' + col % 26), 0x1F};
    if (++col >= 59) col = FIELD_COL;
  }
};

void BM_TavrelFullRepaint(benchmark::State& state) {
  OurTerminal t;
  Screen s = main_screen();
  t.draw(s, 0, 0);
  size_t bytes = 0;
  for (auto _ : state) bytes = t.repaint(s, 0, 0);
  state.counters["bytes"] = static_cast<double>(bytes);
  state.counters["glyph_bytes"] = static_cast<double>(glyph_bytes(s));
}
BENCHMARK(BM_TavrelFullRepaint);

void BM_CursesFullRepaint(benchmark::State& state) {
  CursesTerminal t;
  Screen s = main_screen();
  t.draw(s, 0, 0);
  size_t bytes = 0;
  for (auto _ : state) bytes = t.repaint();
  state.counters["bytes"] = static_cast<double>(bytes);
  state.counters["glyph_bytes"] = static_cast<double>(glyph_bytes(s));
}
BENCHMARK(BM_CursesFullRepaint);

// From the main screen to the dialog and back.
void BM_TavrelDialogOpenClose(benchmark::State& state) {
  OurTerminal t;
  Screen a = main_screen(), b = dialog_screen();
  t.draw(a, 0, 0);
  size_t open_bytes = 0, close_bytes = 0;
  for (auto _ : state) {
    open_bytes = t.draw(b, FIELD_COL, FIELD_ROW);
    close_bytes = t.draw(a, 0, 0);
  }
  state.counters["open_bytes"] = static_cast<double>(open_bytes);
  state.counters["close_bytes"] = static_cast<double>(close_bytes);
}
BENCHMARK(BM_TavrelDialogOpenClose);

void BM_CursesDialogOpenClose(benchmark::State& state) {
  CursesTerminal t;
  Screen a = main_screen(), b = dialog_screen();
  t.draw(a, 0, 0);
  size_t open_bytes = 0, close_bytes = 0;
  for (auto _ : state) {
    open_bytes = t.draw(b, FIELD_COL, FIELD_ROW);
    close_bytes = t.draw(a, 0, 0);
  }
  state.counters["open_bytes"] = static_cast<double>(open_bytes);
  state.counters["close_bytes"] = static_cast<double>(close_bytes);
}
BENCHMARK(BM_CursesDialogOpenClose);

// A typed character: the first after the dialog was drawn, then the steady state.
void BM_TavrelTypedChar(benchmark::State& state) {
  OurTerminal t;
  Typing k;
  t.draw(k.screen, k.col, FIELD_ROW);
  k.type();
  size_t first = t.draw(k.screen, k.col, FIELD_ROW);
  size_t bytes = 0;
  for (auto _ : state) {
    k.type();
    bytes = t.draw(k.screen, k.col, FIELD_ROW);
  }
  state.counters["first_bytes"] = static_cast<double>(first);
  state.counters["bytes"] = static_cast<double>(bytes);
}
BENCHMARK(BM_TavrelTypedChar);

void BM_CursesTypedChar(benchmark::State& state) {
  CursesTerminal t;
  Typing k;
  t.draw(k.screen, k.col, FIELD_ROW);
  k.type();
  size_t first = t.draw(k.screen, k.col, FIELD_ROW);
  size_t bytes = 0;
  for (auto _ : state) {
    k.type();
    bytes = t.draw(k.screen, k.col, FIELD_ROW);
  }
  state.counters["first_bytes"] = static_cast<double>(first);
  state.counters["bytes"] = static_cast<double>(bytes);
}
BENCHMARK(BM_CursesTypedChar);

}  // namespace

BENCHMARK_MAIN();
