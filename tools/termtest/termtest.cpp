// termtest: a check of the native console backend by hand or by script. It takes the console,
// draws a desktop, a double-framed window with box-drawing glyphs, the classic glyphs of the
// control bytes and Cyrillic text, a list of the last input records and a hint line, sets a
// Cyrillic window title, and then shows each input record it reads (virtual key, scan code,
// CP866 character, control-key state, and the key code the keyboard layer makes of it, with
// its name on the screen when it has one; or the mouse position, buttons and flags). F10 or
// Alt+X ends it.
//
//   termtest [--log FILE]    FILE gets one line per record, and "ready" / "exit" lines.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "platform/console.h"
#include "tui/keyboard.h"

using namespace tavrel;

namespace {

constexpr int COLUMNS = 80;
constexpr int ROWS = 25;
constexpr uint8_t ATTR_DESKTOP = 0x17;
constexpr uint8_t ATTR_WINDOW = 0x1F;
constexpr uint8_t ATTR_TEXT = 0x1E;
constexpr uint8_t ATTR_LIST = 0x30;
constexpr uint8_t ATTR_HINT = 0x70;
constexpr uint8_t ATTR_HINT_KEY = 0x74;
constexpr uint8_t ATTR_BRIGHT_BACK = 0xCF;  // bright red background (bit 7), white text
constexpr int LIST_TOP = 15, LIST_ROWS = 7;

// CP866 texts (the source is UTF-8, the screen is CP866).
const char TITLE[] = "\x8F\xE0\xAE\xA2\xA5\xE0\xAA\xA0 \xE2\xA5\xE0\xAC\xA8\xAD\xA0\xAB\xA0";  // Проверка терминала
const char CYRILLIC_LINE[] =
    "\x9F\xA7\xEB\xAA: \x80\xA1\xA2\xA3\xA4\xA5\xF0\xA6 \xED\xEE\xEF \x9E\x9F "
    "\xA9\xE6\xE3\xAA\xA5\xAD \xF1\xF0";  // Язык: АбвгдеЁж эюя ЮЯ йцукен ёЁ
const char HINT[] = " F10 \x82\xEB\xE5\xAE\xA4  Alt+X \x82\xEB\xE5\xAE\xA4";  // F10 Выход  Alt+X Выход
const char LIST_TITLE[] = " \x8A\xAB\xA0\xA2\xA8\xE8\xA8 ";  // Клавиши
const uint8_t BOX_LINE[] = {0xDA, 0xC4, 0xC2, 0xC4, 0xBF, ' ', 0xC9, 0xCD, 0xCB, 0xCD, 0xBB, ' ',
                            0xC3, 0xC4, 0xC5, 0xC4, 0xB4, ' ', 0xCC, 0xCD, 0xCE, 0xCD, 0xB9, ' ',
                            0xC0, 0xC4, 0xC1, 0xC4, 0xD9, ' ', 0xC8, 0xCD, 0xCA, 0xCD, 0xBC, ' ',
                            0xB0, 0xB1, 0xB2, 0xDB, 0xDC, 0xDD, 0xDE, 0xDF, ' ', 0xB3, 0xBA, 0};
const uint8_t GLYPH_LINE[] = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, ' ', 0x0E, 0x0F, ' ', 0x10,
                              0x11, 0x1E, 0x1F, ' ', 0x18, 0x19, 0x1A, 0x1B, ' ', 0x7F, ' ',
                              0xF8, 0xFB, 0xFC, 0xFD, 0xFE, 0};

ConsoleCell g_screen[ROWS][COLUMNS];
std::vector<std::string> g_list;  // the last records, newest last
FILE* g_log = nullptr;

void put_text(int col, int row, const char* text, uint8_t attr) {
  for (const char* p = text; *p != 0 && col < COLUMNS; ++p, ++col) {
    g_screen[row][col] = {static_cast<uint8_t>(*p), attr};
  }
}

void fill(int left, int top, int right, int bottom, uint8_t ch, uint8_t attr) {
  for (int r = top; r <= bottom; ++r) {
    for (int c = left; c <= right; ++c) g_screen[r][c] = {ch, attr};
  }
}

// A window with a double (or single) frame and a title in the middle of its top edge.
void frame(int left, int top, int right, int bottom, bool double_line, const char* title,
           uint8_t attr) {
  const uint8_t* f = double_line ? reinterpret_cast<const uint8_t*>("\xC9\xCD\xBB\xBA\xC8\xBC")
                                 : reinterpret_cast<const uint8_t*>("\xDA\xC4\xBF\xB3\xC0\xD9");
  fill(left, top, right, bottom, ' ', attr);
  for (int c = left + 1; c < right; ++c) g_screen[top][c] = g_screen[bottom][c] = {f[1], attr};
  for (int r = top + 1; r < bottom; ++r) g_screen[r][left] = g_screen[r][right] = {f[3], attr};
  g_screen[top][left] = {f[0], attr};
  g_screen[top][right] = {f[2], attr};
  g_screen[bottom][left] = {f[4], attr};
  g_screen[bottom][right] = {f[5], attr};
  int width = static_cast<int>(std::strlen(title));
  put_text(left + (right - left + 1 - width) / 2, top, title, attr);
}

// The log line of a record; the key's code is what the keyboard layer makes of it.
std::string describe(const InputRecord& r) {
  char line[128];
  if (r.kind == INPUT_KEY) {
    std::snprintf(line, sizeof line, "key vk=%02X scan=%02X ch=%02X ctrl=%04X code=%04X",
                  r.virtual_key, r.scan, r.ch, static_cast<unsigned>(r.control_state),
                  key_for_record(r));
  } else if (r.kind == INPUT_MOUSE) {
    std::snprintf(line, sizeof line, "mouse x=%d y=%d buttons=%04X flags=%04X ctrl=%04X",
                  r.mouse_x, r.mouse_y, static_cast<unsigned>(r.button_state),
                  static_cast<unsigned>(r.event_flags), static_cast<unsigned>(r.control_state));
  } else {
    std::snprintf(line, sizeof line, "other");
  }
  return line;
}

void draw_static() {
  fill(0, 0, COLUMNS - 1, ROWS - 1, 0xB2, ATTR_DESKTOP);
  frame(4, 1, 75, 11, true, TITLE, ATTR_WINDOW);
  put_text(7, 3, CYRILLIC_LINE, ATTR_TEXT);
  put_text(7, 5, reinterpret_cast<const char*>(BOX_LINE), ATTR_WINDOW);
  put_text(7, 7, reinterpret_cast<const char*>(GLYPH_LINE), ATTR_WINDOW);
  put_text(7, 9, " Bright ", ATTR_BRIGHT_BACK);
  frame(4, LIST_TOP - 1, 75, LIST_TOP + LIST_ROWS, false, LIST_TITLE, ATTR_LIST);
  fill(0, ROWS - 1, COLUMNS - 1, ROWS - 1, ' ', ATTR_HINT);
  put_text(0, ROWS - 1, HINT, ATTR_HINT);
  put_text(1, ROWS - 1, "F10", ATTR_HINT_KEY);
  put_text(12, ROWS - 1, "Alt+X", ATTR_HINT_KEY);
}

void draw_list() {
  fill(5, LIST_TOP, 74, LIST_TOP + LIST_ROWS - 1, ' ', ATTR_LIST);
  size_t first = g_list.size() > LIST_ROWS ? g_list.size() - LIST_ROWS : 0;
  for (size_t i = first; i < g_list.size(); ++i) {
    put_text(6, LIST_TOP + static_cast<int>(i - first), g_list[i].c_str(), ATTR_LIST);
  }
}

void flush(const ConsoleBackend* con) {
  ConsoleRect all = {0, 0, COLUMNS - 1, ROWS - 1};
  con->write_cells(&g_screen[0][0], COLUMNS, all);
  con->set_cursor(6, LIST_TOP + (g_list.size() < LIST_ROWS ? static_cast<int>(g_list.size())
                                                              : LIST_ROWS - 1));
}

void log_line(const std::string& line) {
  if (g_log == nullptr) return;
  std::fprintf(g_log, "%s\n", line.c_str());
  std::fflush(g_log);
}

}  // namespace

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--log") == 0 && i + 1 < argc) {
      g_log = std::fopen(argv[++i], "w");
      if (g_log == nullptr) {
        std::perror(argv[i]);
        return 2;
      }
    } else {
      std::fprintf(stderr, "usage: termtest [--log FILE]\n");
      return 2;
    }
  }
  const ConsoleBackend* con = platform_console();
  if (con->open() != 0) {
    log_line("open failed");
    return 1;
  }
  int columns = 0, rows = 0;
  con->size(&columns, &rows);
  if (columns < COLUMNS || rows < ROWS) {
    con->close();
    std::fprintf(stderr, "termtest: the console is %dx%d, smaller than 80x25\n", columns, rows);
    return 1;
  }
  char title[64];
  std::snprintf(title, sizeof title, "termtest: %s", TITLE);
  con->set_title(title);
  con->set_cursor_info(25, true);
  draw_static();
  draw_list();
  flush(con);
  char ready[64];
  std::snprintf(ready, sizeof ready, "ready %s %dx%d", con->name, columns, rows);
  log_line(ready);
  for (;;) {
    int woke = con->wait(-1);
    if (woke == CONSOLE_WAIT_ERROR) break;
    InputRecord rec;
    bool quit = false;
    while (con->read_input(&rec) == 1) {
      // Key-ups and modifier keys pressed alone are not keys.
      if (rec.kind == INPUT_KEY && key_record_class(rec) == 0) continue;
      if (rec.kind == INPUT_OTHER) continue;
      std::string line = describe(rec);
      log_line(line);
      // On the screen a named key shows its name too.
      const char* name = rec.kind == INPUT_KEY ? key_name(key_for_record(rec)) : nullptr;
      g_list.push_back(name != nullptr ? line + " " + name : line);
      if (rec.kind == INPUT_KEY) {
        uint16_t code = key_for_record(rec);
        quit = quit || code == KEY_F10 || code == KEY_ALT_X;
      }
    }
    draw_list();
    flush(con);
    if (quit) break;
  }
  con->close();
  log_line("exit");
  if (g_log != nullptr) std::fclose(g_log);
  return 0;
}
