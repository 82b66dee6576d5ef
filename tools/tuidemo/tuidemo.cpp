// tuidemo: the user-interface library on the native console, by hand or by script. It
// starts the screen, fills the desktop and a hint line, opens a double-framed window with
// a shadow and a Cyrillic title and text, asks in a message box whether to open the form,
// and then runs a small form: a name field, a number field whose picture takes digits
// only, a check box, a radio group and OK / Cancel. Alt+X (a hot key) or Esc leaves any
// step; the program then closes its windows and gives the terminal back.
//
//   tuidemo [--log FILE]    FILE gets "ready", one "key XXXX" line per key code get_key
//                           reads (hex, before any routing), "msgbox N", the form's
//                           result and values (UTF-8), and "exit".
#include <cstdio>
#include <cstring>
#include <string>

#include "text/unicode.h"
#include "platform/console.h"
#include "tui/colours.h"
#include "tui/form.h"
#include "tui/keyboard.h"
#include "tui/msgbox.h"
#include "tui/screen.h"

using namespace tavrel;

namespace {

constexpr uint8_t ATTR_WINDOW = 0x1F;
constexpr uint8_t ATTR_TEXT = 0x1E;
constexpr uint8_t ATTR_SHADOW = 0x07;
constexpr uint8_t ATTR_HINT = 0x70;
constexpr uint8_t ATTR_HINT_KEY = 0x74;

// The name field takes any 20 characters, the number field five digits, blanks or signs.
const char NAME_PICTURE[] = "********************";
const char NUMBER_PICTURE[] = "#####";

FILE* g_log = nullptr;
bool g_quit = false;

void log_line(const std::string& line) {
  if (g_log == nullptr) return;
  std::fprintf(g_log, "%s\n", line.c_str());
  std::fflush(g_log);
}

// The key filter: sees every key get_key reads, before hot keys and menus; keeps it.
uint16_t log_key(uint16_t key) {
  char line[16];
  std::snprintf(line, sizeof line, "key %04X", static_cast<unsigned>(key));
  log_line(line);
  return 0;
}

// Alt+X: marks the end; the hot key's substitute (Esc) then closes whatever is running.
void quit_requested() { g_quit = true; }

std::string cp(const char* utf8) { return utf8_to_cp866(utf8); }

void put_row_text(int row, int column, const std::string& text, uint8_t attr) {
  for (size_t i = 0; i < text.size() && column + static_cast<int>(i) < screen_columns(); ++i) {
    screen_put(row, column + static_cast<int>(i), static_cast<uint8_t>(text[i]), attr);
  }
}

// The desktop pattern over the whole screen and the hint line on its bottom row.
void draw_desktop() {
  int rows = screen_rows(), columns = screen_columns();
  begin_update();
  for (int r = 0; r < rows - 1; ++r) {
    for (int c = 0; c < columns; ++c) screen_put(r, c, GLYPH_DESKTOP, colour(ROLE_DESKTOP));
  }
  for (int c = 0; c < columns; ++c) screen_put(rows - 1, c, ' ', ATTR_HINT);
  put_row_text(rows - 1, 1, cp("Alt+X Выход  Tab Поле  Enter OK"), ATTR_HINT);
  put_row_text(rows - 1, 1, "Alt+X", ATTR_HINT_KEY);
  put_row_text(rows - 1, 14, "Tab", ATTR_HINT_KEY);
  put_row_text(rows - 1, 24, "Enter", ATTR_HINT_KEY);
  end_update();
}

// The first window: a double frame, a centred Cyrillic title, a shadow and some text.
int open_main_window() {
  begin_update();
  uint32_t handle = window_open(1, 4, 7, 62, FRAME_DOUBLE, ATTR_WINDOW, ATTR_WINDOW);
  if (handle != 0) {
    window_set_title(cp(" Tuidemo: Окно с тенью ").c_str(), 2, ATTR_WINDOW);
    window_add_shadow(ATTR_SHADOW);
    window_put_text(1, 2, cp("Привет! Съешь ещё этих мягких булок, Ёж.").c_str(), ATTR_TEXT);
    window_put_text(3, 2, "Library window: double frame and shadow", ATTR_WINDOW);
  }
  end_update();
  return handle != 0 ? 0 : 1;
}

// 1 open the form, 2 quit, 0 Esc or Alt+X.
int ask() {
  msgbox_begin(cp(" Вопрос / Question ").c_str(), nullptr, 0);
  msgbox_body(cp("%!Открыть форму?%!Open the form?").c_str());
  msgbox_add_button(" ~O~pen form ");
  msgbox_add_button(" ~Q~uit ");
  return msgbox_run(0);
}

struct FormValues {
  char name[sizeof NAME_PICTURE];
  char number[sizeof NUMBER_PICTURE];
  bool debug;
  int mode;  // radio value: 1, 2 or 4
};

// Runs the form in its own window; the form's result (0 Esc, else the button's item + 1)
// and the index of the OK button.
int run_form(FormValues* values, int* ok_item) {
  uint32_t handle = window_open(5, 14, 19, 65, FRAME_SINGLE, colour(ROLE_DIALOG_FRAME),
                                colour(ROLE_DIALOG));
  if (handle == 0) return -1;
  window_set_title(cp(" Параметры / Options ").c_str(), 2, colour(ROLE_DIALOG_FRAME));
  window_add_shadow(ATTR_SHADOW);
  static Form form;
  form_begin(&form);
  form_add_label(&form, 1, 2, cp("Имя / Name:").c_str());
  form_add_field(&form, 1, 20, values->name, NAME_PICTURE, 20);
  form_add_label(&form, 3, 2, cp("Число / Number:").c_str());
  form_add_field(&form, 3, 20, values->number, NUMBER_PICTURE, 5);
  form_add_check(&form, 5, 2, cp("Отладка / Debug").c_str(), &values->debug);
  const std::string radio[] = {cp("Один / One"), cp("Два / Two"), cp("Три / Three")};
  const char* labels[] = {radio[0].c_str(), radio[1].c_str(), radio[2].c_str()};
  form_add_radio(&form, 7, 2, labels, 3, &values->mode);
  *ok_item = form_add_button(&form, 11, 10, "   ~O~K   ", 0, nullptr);
  form_add_button(&form, 11, 28, " ~C~ancel ", 0, nullptr);
  int result = form_run(&form);
  window_close();
  return result;
}

void log_form(int result, int ok_item, const FormValues& values) {
  const char* how = result == 0 ? "esc" : result == ok_item + 1 ? "ok" : "cancel";
  char line[160];
  std::snprintf(line, sizeof line, "form %s name=%s number=%s debug=%d mode=%d", how,
                cp866_to_utf8(values.name).c_str(), cp866_to_utf8(values.number).c_str(),
                values.debug ? 1 : 0, values.mode);
  log_line(line);
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
      std::fprintf(stderr, "usage: tuidemo [--log FILE]\n");
      return 2;
    }
  }
  console_select(platform_console());
  if (screen_start() != DISPLAY_CONSOLE) {
    std::fprintf(stderr, "tuidemo: the console cannot be taken\n");
    log_line("no console");
    return 1;
  }
  console_set_title(cp("tuidemo: Демонстрация").c_str());
  set_key_filter(log_key);
  set_hot_key(KEY_ALT_X, quit_requested, KEY_ESC);
  draw_desktop();
  int status = open_main_window();
  if (status == 0) {
    log_line("ready");
    int choice = ask();
    log_line("msgbox " + std::to_string(choice));
    if (choice == 1 && !g_quit) {
      FormValues values{};
      values.mode = 1;
      int ok_item = -1;
      int result = run_form(&values, &ok_item);
      if (result < 0) status = 1;
      else log_form(result, ok_item, values);
    }
  }
  if (g_quit) log_line("quit");
  while (window_active() != nullptr) window_close();
  set_key_filter(nullptr);
  clear_hot_keys();
  screen_shutdown();
  log_line("exit");
  if (g_log != nullptr) std::fclose(g_log);
  return status;
}
