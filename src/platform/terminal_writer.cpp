// The terminal screen writer. A row is scanned for changed cells; before each run of them the
// cursor is brought there by the cheapest of a handful of moves (absolute, relative, CR/LF,
// or printing again the few unchanged cells in between), the colours are set when they
// differ from those in force, and the glyphs go out as UTF-8 from a table built once.
#include "platform/terminal_writer.h"

#include <array>
#include <cstring>

#include "text/unicode.h"

namespace tavrel {

namespace {

// First match wins; the last row catches every other terminal. screen erases in its
// default colours unless told otherwise, so blanks are written out there.
constexpr TermProfile TERM_PROFILES[] = {
    {"linux", TERM_COLOURS_BOLD_BLINK, TERM_CURSOR_LINUX, false, false, false, true},
    {"screen", TERM_COLOURS_16, TERM_CURSOR_DECSCUSR, true, true, true, false},
    {"", TERM_COLOURS_16, TERM_CURSOR_DECSCUSR, true, true, true, true},
};

// A run of blanks at least this long is erased (ECH or EL) rather than written.
constexpr int MIN_ERASE_RUN = 8;

// CGA colour order (blue 1, green 2, cyan 3, red 4 ...) to ANSI order (red 1, green 2 ...).
constexpr int CGA_TO_ANSI[8] = {0, 4, 2, 6, 1, 5, 3, 7};

struct Glyph {
  char bytes[4];
  uint8_t length;
};

const std::array<Glyph, 256>& glyph_table() {
  static const std::array<Glyph, 256> table = [] {
    std::array<Glyph, 256> t{};
    for (int b = 0; b < 256; ++b) {
      t[b].length = static_cast<uint8_t>(utf8_encode(cp866_display_code_point(static_cast<uint8_t>(b)), t[b].bytes));
    }
    return t;
  }();
  return table;
}

void append_number(std::string* out, int n) {
  char digits[12];
  int count = 0;
  do {
    digits[count++] = static_cast<char>('0' + n % 10);
    n /= 10;
  } while (n > 0);
  while (count > 0) out->push_back(digits[--count]);
}

// "ESC [ n letter", the count left out when it is 1.
void append_csi(std::string* out, int n, char letter) {
  out->append("\x1b[");
  if (n != 1) append_number(out, n);
  out->push_back(letter);
}

bool same_cell(ConsoleCell a, ConsoleCell b) { return a.ch == b.ch && a.attr == b.attr; }

// A cell that shows nothing but its background: its foreground colour does not matter.
bool is_blank(uint8_t ch) { return ch == ' ' || ch == 0; }

// True when the colours in force draw the cell as it should look.
bool attr_shows(int in_force, ConsoleCell cell) {
  return in_force == cell.attr || (in_force >= 0 && is_blank(cell.ch) && ((in_force ^ cell.attr) & 0xF0) == 0);
}

// The cheapest way from the terminal's cursor to column c of row r. Each candidate is built
// in its own small string and the shortest is kept.
void append_move(TermWriter* w, const ConsoleCell* screen, int c, int r, std::string* out) {
  int cc = w->cursor_column, cr = w->cursor_row;
  if (cr == r && cc == c) return;
  // "ESC [ r ; c H", with the parameters that are 1 left out where the form allows.
  std::string best = "\x1b[";
  if (r > 0 || c > 0) append_number(&best, r + 1);
  if (c > 0) {
    best.push_back(';');
    append_number(&best, c + 1);
  }
  best.push_back('H');
  if (cr < 0) {
    out->append(best);
    return;
  }
  auto consider = [&best](const std::string& candidate) {
    if (candidate.size() < best.size()) best = candidate;
  };
  std::string vertical;
  int dr = r - cr;
  if (dr == 1) {
    vertical = "\n";  // output processing is off: a plain line feed
  } else if (dr > 1) {
    append_csi(&vertical, dr, 'B');
  } else if (dr < 0) {
    append_csi(&vertical, -dr, 'A');
  }
  // Horizontal moves from a known column on the same row or after a vertical move.
  std::string absolute = vertical;
  append_csi(&absolute, c + 1, 'G');
  consider(absolute);
  std::string from_start = "\r" + vertical;
  if (c > 0) append_csi(&from_start, c, 'C');
  consider(from_start);
  if (cc >= 0) {
    std::string relative = vertical;
    if (c > cc) {
      append_csi(&relative, c - cc, 'C');
    } else if (c < cc) {
      if (cc - c <= 2) {
        relative.append(static_cast<size_t>(cc - c), '\b');
      } else {
        append_csi(&relative, cc - c, 'D');
      }
    }
    consider(relative);
    // On the same row, the unchanged cells up to c printed again when they are few, in the
    // colours in force, and cheaper than a move.
    if (dr == 0 && c > cc && w->shown_valid && c - cc < static_cast<int>(best.size())) {
      const ConsoleCell* row = screen + static_cast<size_t>(r) * w->columns;
      std::string again;
      bool usable = true;
      for (int i = cc; i < c && usable; ++i) {
        usable = attr_shows(w->attr, row[i]);
        char bytes[4];
        again.append(bytes, static_cast<size_t>(term_glyph_utf8(row[i].ch, bytes)));
      }
      if (usable) consider(again);
    }
  }
  out->append(best);
}

void append_attr(TermWriter* w, ConsoleCell cell, std::string* out) {
  if (attr_shows(w->attr, cell)) return;
  int attr = cell.attr;
  int fg = attr & 0x0F, bg = (attr >> 4) & 0x0F;
  out->append("\x1b[");
  if (w->profile->colour_mode == TERM_COLOURS_BOLD_BLINK) {
    out->append((fg & 8) ? "0;1;" : "0;");
    if (bg & 8) out->append("5;");
    append_number(out, 30 + CGA_TO_ANSI[fg & 7]);
    out->push_back(';');
    append_number(out, 40 + CGA_TO_ANSI[bg & 7]);
  } else {
    int old_fg = w->attr < 0 ? -1 : (w->attr & 0x0F);
    int old_bg = w->attr < 0 ? -1 : ((w->attr >> 4) & 0x0F);
    bool both = fg != old_fg && bg != old_bg;
    if (fg != old_fg) append_number(out, ((fg & 8) ? 90 : 30) + CGA_TO_ANSI[fg & 7]);
    if (both) out->push_back(';');
    if (bg != old_bg) append_number(out, ((bg & 8) ? 100 : 40) + CGA_TO_ANSI[bg & 7]);
  }
  out->push_back('m');
  w->attr = attr;
}

}  // namespace

int term_glyph_utf8(uint8_t cp866, char out[4]) {
  const Glyph& g = glyph_table()[cp866];
  std::memcpy(out, g.bytes, sizeof g.bytes);
  return g.length;
}

const TermProfile* term_profile_for(const char* term) {
  if (term == nullptr) term = "";
  for (const TermProfile& p : TERM_PROFILES) {
    if (std::strncmp(term, p.term_prefix, std::strlen(p.term_prefix)) == 0) return &p;
  }
  return &TERM_PROFILES[sizeof TERM_PROFILES / sizeof TERM_PROFILES[0] - 1];
}

void term_writer_init(TermWriter* w, const TermProfile* profile, int columns, int rows) {
  w->profile = profile;
  w->columns = columns;
  w->rows = rows;
  w->shown.assign(static_cast<size_t>(columns) * rows, ConsoleCell{0, 0});
  w->cursor_size = -1;
  w->cursor_visible = -1;
  term_writer_invalidate(w, columns, rows);
  w->clear_first = false;  // a fresh (alternate) screen is blank already; every cell is painted
}

void term_writer_invalidate(TermWriter* w, int visible_columns, int visible_rows) {
  w->visible_columns = visible_columns < w->columns ? visible_columns : w->columns;
  w->visible_rows = visible_rows < w->rows ? visible_rows : w->rows;
  w->shown_valid = false;
  w->clear_first = true;
  w->cursor_column = -1;
  w->cursor_row = -1;
  w->attr = -1;
}

void term_writer_update(TermWriter* w, const ConsoleCell* screen, int cursor_column,
                        int cursor_row, std::string* out) {
  const std::array<Glyph, 256>& glyphs = glyph_table();
  if (!w->shown_valid && w->clear_first) {
    out->append("\x1b[0m\x1b[H\x1b[2J");
    w->attr = -1;
    w->cursor_column = 0;
    w->cursor_row = 0;
    w->clear_first = false;
  }
  for (int r = 0; r < w->visible_rows; ++r) {
    const ConsoleCell* row = screen + static_cast<size_t>(r) * w->columns;
    ConsoleCell* shown = w->shown.data() + static_cast<size_t>(r) * w->columns;
    for (int c = 0; c < w->visible_columns; ++c) {
      if (w->shown_valid && same_cell(row[c], shown[c])) continue;
      append_move(w, screen, c, r, out);
      append_attr(w, row[c], out);
      if (w->profile->colour_erase && is_blank(row[c].ch)) {
        // A long run of blanks on one background (changed or not): erased in one go, the
        // cursor staying where it is.
        int end = c + 1;
        while (end < w->visible_columns && is_blank(row[end].ch) &&
               ((row[end].attr ^ row[c].attr) & 0xF0) == 0) {
          ++end;
        }
        if (end - c >= MIN_ERASE_RUN) {
          if (end == w->visible_columns) {
            out->append("\x1b[K");
          } else {
            append_csi(out, end - c, 'X');
          }
          for (int i = c; i < end; ++i) shown[i] = row[i];
          w->cursor_row = r;
          w->cursor_column = c;
          c = end - 1;
          continue;
        }
      }
      const Glyph& g = glyphs[row[c].ch];
      out->append(g.bytes, g.length);
      shown[c] = row[c];
      w->cursor_row = r;
      // At the right margin the cursor stays (or waits to wrap): its column is not counted on.
      w->cursor_column = c + 1 < w->visible_columns ? c + 1 : -1;
    }
  }
  w->shown_valid = true;
  if (cursor_column >= 0 && cursor_row >= 0 && cursor_column < w->visible_columns &&
      cursor_row < w->visible_rows) {
    append_move(w, screen, cursor_column, cursor_row, out);
    w->cursor_column = cursor_column;
    w->cursor_row = cursor_row;
  }
}

void term_writer_cursor(TermWriter* w, int size, bool visible, std::string* out) {
  int shape = size;
  if (w->profile->cursor_mode == TERM_CURSOR_LINUX) {
    // The Linux console: 2 underline, 4 lower half, 5 two thirds, 6 full block.
    shape = size <= 25 ? 2 : size <= 50 ? 4 : size <= 75 ? 5 : 6;
  } else {
    shape = size <= 50 ? 4 : 2;  // DECSCUSR: 4 steady underline, 2 steady block
  }
  int old_shape = -1;
  if (w->cursor_size >= 0) {
    int s = w->cursor_size;
    old_shape = w->profile->cursor_mode == TERM_CURSOR_LINUX
                    ? (s <= 25 ? 2 : s <= 50 ? 4 : s <= 75 ? 5 : 6)
                    : (s <= 50 ? 4 : 2);
  }
  if (shape != old_shape) {
    out->append(w->profile->cursor_mode == TERM_CURSOR_LINUX ? "\x1b[?" : "\x1b[");
    append_number(out, shape);
    out->append(w->profile->cursor_mode == TERM_CURSOR_LINUX ? "c" : " q");
  }
  if (w->cursor_visible != (visible ? 1 : 0)) out->append(visible ? "\x1b[?25h" : "\x1b[?25l");
  w->cursor_size = size;
  w->cursor_visible = visible ? 1 : 0;
}

void term_enter_sequence(const TermProfile* profile, std::string* out) {
  if (profile->alternate_screen) out->append("\x1b[?1049h");
  if (profile->title) out->append("\x1b[22;0t");  // push the title
  out->append("\x1b[?7l\x1b[0m\x1b[H\x1b[2J");     // no automatic wrap
  if (profile->mouse) out->append("\x1b[?1000h\x1b[?1002h\x1b[?1006h");
}

void term_leave_sequence(const TermProfile* profile, std::string* out) {
  out->append("\x1b[0m");
  if (profile->mouse) out->append("\x1b[?1006l\x1b[?1002l\x1b[?1000l");
  out->append("\x1b[?7h");
  out->append(profile->cursor_mode == TERM_CURSOR_LINUX ? "\x1b[?0c" : "\x1b[0 q");
  out->append("\x1b[?25h");
  if (profile->alternate_screen) {
    out->append("\x1b[?1049l");
  } else {
    out->append("\x1b[H\x1b[2J");
  }
  if (profile->title) out->append("\x1b[23;0t");  // pop the title
}

void term_title_sequence(const TermProfile* profile, const char* cp866_title, std::string* out) {
  if (!profile->title) return;
  out->append("\x1b]0;");
  for (const char* p = cp866_title; *p != 0; ++p) {
    auto b = static_cast<uint8_t>(*p);
    char bytes[4];
    // A control byte would end the title early: those show as blanks.
    int n = b < 0x20 || b == 0x7F ? (bytes[0] = ' ', 1) : term_glyph_utf8(b, bytes);
    out->append(bytes, static_cast<size_t>(n));
  }
  out->push_back('\a');
}

}  // namespace tavrel
