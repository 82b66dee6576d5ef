// The main loop and its windows: transitions of the state dispatcher, the exit check with
// a refused close, the hot keys, the desktop table (switching, closing, cascade, zoom, the
// 100-slot limit), the registration dialog's attempts against a fake session opener, and
// the calculator's results.
#include <cstring>
#include <string>
#include <vector>

#include "shell_fixture.h"
#include "tui/messages.h"
#include "protocol/codes.h"

namespace tavrel {
namespace {

using MainLoop = ShellTest;

// The characters of the screen's working buffer on a row, columns from..to.
std::string buffer_text(int row, int from, int to) {
  std::string text;
  for (int c = from; c <= to; c++) text += static_cast<char>(screen_cell(row, c).ch);
  return text;
}

TEST_F(MainLoop, OpenThenAltXInTheWindowLeaves) {
  shell().main_state = STATE_OPEN;
  shell().kind_request = KIND_NEW_PROCEDURE;
  answer_new_procedure();
  push_alt_x();
  run_dispatcher();
  EXPECT_EQ(shell().main_state, STATE_LEAVE);
  EXPECT_EQ(shell().open_count, 1u);
  EXPECT_EQ(shell().ever_opened, 1u);
  ASSERT_NE(shell().current, nullptr);
  EXPECT_EQ(shell().current->kind, 0u);
  EXPECT_EQ(shell().current->opened_as, KIND_NEW_PROCEDURE);
  EXPECT_EQ(stuffed_key_count(), 0);  // the window's loop took the return key
  EXPECT_EQ(exit_check(), 1);
  EXPECT_EQ(shell().open_count, 0u);
  EXPECT_EQ(shell().current, nullptr);
}

TEST_F(MainLoop, KindsWithoutAKernelOrAScreenOpenNothing) {
  for (uint32_t kind : {KIND_PROCEDURE, 3u, KIND_TRIGGER, 10u}) {
    EXPECT_EQ(open_work_window(kind), 1) << kind;
    EXPECT_EQ(shell().open_count, 0u) << kind;
  }
}

TEST_F(MainLoop, ViewsOpenOnceEachAtTheirPlaces) {
  for (uint32_t kind : {KIND_MESSAGES, KIND_LOCALS, KIND_MONITOR, KIND_CALL_STACK}) {
    ASSERT_EQ(open_work_window(kind), 0) << kind;
    EXPECT_EQ(shell().current->kind, kind);
    int top, left, bottom, right;
    view_frame(kind, &top, &left, &bottom, &right);
    EXPECT_EQ(shell().current->editor.top, top) << kind;
    EXPECT_EQ(shell().current->editor.right, right) << kind;
  }
  EXPECT_EQ(shell().open_count, 4u);
  EXPECT_TRUE(shell().monitor_open);
  EXPECT_TRUE(shell().stack_open);
  // Asking again makes the open one current.
  ASSERT_EQ(open_work_window(KIND_LOCALS), 0);
  EXPECT_EQ(shell().current->kind, KIND_LOCALS);
  EXPECT_EQ(shell().open_count, 4u);
  EXPECT_TRUE(screen_shows(cp866(" Локальные переменные ")));
  EXPECT_TRUE(screen_shows(cp866(" Сообщения ")));
  // The Messages along the bottom, the Monitor over its right end.
  int top, left, bottom, right;
  view_frame(KIND_MESSAGES, &top, &left, &bottom, &right);
  EXPECT_EQ(top, 16);
  EXPECT_EQ(left, 0);
  EXPECT_EQ(bottom, 23);
  EXPECT_EQ(right, 79);
  // Closing the monitor lets the menu offer it again.
  shell().current = window_of_kind(KIND_MONITOR);
  EXPECT_EQ(close_current_window(), 1);
  EXPECT_FALSE(shell().monitor_open);
  EXPECT_EQ(window_of_kind(KIND_MONITOR), nullptr);
}

TEST_F(MainLoop, EscClosesTheWindowAndLeavesForTheMenu) {
  ASSERT_EQ(open_new_trigger(), 0);
  shell().main_state = STATE_WORK;
  push_esc();
  // Work: Esc ends the editor's loop with close; close: no window is left, so the menu.
  work_in_current_window();
  EXPECT_EQ(shell().main_state, STATE_CLOSE);
  EXPECT_EQ(close_current_window(), 1);
  EXPECT_EQ(shell().main_state, STATE_MENU);
  EXPECT_EQ(shell().open_count, 0u);
}

TEST_F(MainLoop, RefusedCloseCancelsTheExit) {
  ASSERT_EQ(open_new_procedure(), 0);
  ASSERT_EQ(open_new_procedure(), 0);
  shell().current->editor.modified = 1;
  push_esc();  // the question about the unsaved text: Esc keeps the window
  EXPECT_EQ(exit_check(), 0);
  EXPECT_EQ(shell().main_state, STATE_WORK);
  EXPECT_EQ(shell().open_count, 2u);
  // Answered " Да ": both windows close and the exit proceeds.
  push_key(0x1C, 0x0D);  // Enter on the focused first button
  shell().current->editor.modified = 1;
  EXPECT_EQ(exit_check(), 1);
  EXPECT_EQ(shell().open_count, 0u);
}

TEST_F(MainLoop, DispatcherStatesAboveNineLeave) {
  shell().main_state = 10;
  run_dispatcher();
  EXPECT_EQ(shell().main_state, STATE_LEAVE);
  shell().main_state = STATE_WORK;  // no current window: the menu, then Alt+X
  push_alt_x();
  run_dispatcher();
  EXPECT_EQ(shell().main_state, STATE_LEAVE);
  EXPECT_EQ(virtual_console_starved(), 0);
}

TEST_F(MainLoop, SwitchPreviousNextAndCloseOrder) {
  for (int i = 0; i < 3; i++) ASSERT_EQ(open_new_procedure(), 0);
  WorkWindow* third = shell().current;
  EXPECT_EQ(window_ordinal(third), 2);
  EXPECT_EQ(next_window_ordinal(), 0);
  EXPECT_EQ(previous_window_ordinal(), 1);
  switch_window(0);
  EXPECT_EQ(shell().main_state, STATE_WORK);
  EXPECT_EQ(window_ordinal(shell().current), 0);
  // The current window lies on top of the screen's stack.
  EXPECT_EQ(window_active()->handle, shell().current->editor.window);
  switch_window(7);  // no such window: the current one stays
  EXPECT_EQ(window_ordinal(shell().current), 0);
  // Closing makes the last window in slot order current.
  close_current_window();
  EXPECT_EQ(shell().current, third);
  EXPECT_EQ(shell().slots[0], nullptr);
  // A new window takes the first empty slot.
  ASSERT_EQ(open_new_procedure(), 0);
  EXPECT_EQ(shell().current->slot, 0);
  shell().current = third;
  close_current_window();
  close_current_window();
  EXPECT_EQ(previous_window_ordinal(), -1);
  EXPECT_EQ(next_window_ordinal(), -1);
}

TEST_F(MainLoop, AHundredWindowsAtMost) {
  for (int i = 0; i < WINDOW_SLOTS; i++) ASSERT_EQ(open_new_procedure(), 0) << i;
  shell().main_state = STATE_OPEN;
  shell().kind_request = KIND_NEW_PROCEDURE;
  EXPECT_EQ(open_work_window(KIND_NEW_PROCEDURE), 1);
  EXPECT_EQ(shell().open_count, 100u);
}

TEST_F(MainLoop, CascadeAndZoom) {
  for (int i = 0; i < 3; i++) ASSERT_EQ(open_new_procedure(), 0);
  switch_window(0);
  shell().current->editor.top = 5;
  cascade_windows();
  EXPECT_EQ(shell().main_state, STATE_WORK);
  // The others take positions 0 and 1 in slot order; the current one comes last.
  int top, left, bottom, right;
  const struct {
    int slot, position;
  } expected[] = {{1, 0}, {2, 1}, {0, 2}};
  for (const auto& e : expected) {
    cascade_frame(e.position, &top, &left, &bottom, &right);
    EXPECT_EQ(shell().slots[e.slot]->editor.top, top) << e.slot;
    EXPECT_EQ(shell().slots[e.slot]->editor.left, left) << e.slot;
  }
  Editor& ed = shell().current->editor;
  const int before[4] = {ed.top, ed.left, ed.bottom, ed.right};
  zoom_current_window();
  EXPECT_TRUE(shell().current->zoomed);
  EXPECT_EQ(ed.top, WORK_TOP);
  EXPECT_EQ(ed.left, WORK_LEFT);
  EXPECT_EQ(ed.bottom, WORK_BOTTOM);
  EXPECT_EQ(ed.right, WORK_RIGHT);
  EXPECT_EQ(window_active()->top, WORK_TOP);
  zoom_current_window();
  EXPECT_FALSE(shell().current->zoomed);
  const int after[4] = {ed.top, ed.left, ed.bottom, ed.right};
  EXPECT_EQ(std::vector<int>(before, before + 4), std::vector<int>(after, after + 4));
}

TEST_F(MainLoop, ResizeAndMoveWithArrows) {
  ASSERT_EQ(open_new_procedure(), 0);
  Editor& ed = shell().current->editor;
  const int bottom = ed.bottom, right = ed.right;
  push_key(0x48, 0);  // Up
  push_key(0x48, 0);
  push_key(0x4B, 0);  // Left
  push_enter();
  resize_current_window();
  EXPECT_EQ(ed.bottom, bottom - 2);
  EXPECT_EQ(ed.right, right - 1);
  const int top = ed.top, left = ed.left;
  push_key(0x50, 0);  // Down
  push_key(0x4D, 0);  // Right
  push_key(0x50, 0);
  push_key(0x50, 0);  // a third row down would leave the work area: refused
  push_enter();
  move_current_window();
  EXPECT_EQ(ed.top, top + 2);
  EXPECT_EQ(ed.left, left + 1);
  EXPECT_EQ(ed.bottom, WORK_BOTTOM);
  EXPECT_EQ(shell().main_state, STATE_WORK);
}

TEST_F(MainLoop, ShellKeysInTheEditor) {
  ASSERT_EQ(open_new_procedure(), 0);
  const struct {
    uint16_t scan;
    uint32_t control;
    uint32_t state;
  } cases[] = {
      {0x44, 0, STATE_MENU},              // F10
      {0x3F, 0, STATE_ZOOM},              // F5
      {0x3F, CK_LEFT_CTRL, STATE_MOVE},   // Ctrl+F5
      {0x40, CK_LEFT_CTRL, STATE_RESIZE}, // Ctrl+F6
      {0x3D, 0, STATE_OPEN},              // F3
  };
  for (const auto& c : cases) {
    shell().main_state = STATE_WORK;
    push_key(c.scan, 0, c.control);
    work_in_current_window();
    EXPECT_EQ(shell().main_state, c.state) << c.scan;
  }
}

// --- The registration dialog against a fake session opener ------------------------------

std::vector<std::string> g_connects;
std::vector<std::string> g_nodes;
int g_succeed_on = 0;  // the call (from 1) that succeeds, 0 none

uint32_t fake_open(RequestBlock*) {
  g_connects.push_back(connect_string());
  std::string node = login_settings().node;
  while (!node.empty() && node.back() == ' ') node.pop_back();
  g_nodes.push_back(node);
  return static_cast<int>(g_connects.size()) == g_succeed_on ? 0 : KERNEL_WRONG_PASSWORD;
}

class Login : public ShellTest {
 protected:
  void SetUp() override {
    ShellTest::SetUp();
    g_connects.clear();
    g_nodes.clear();
    g_succeed_on = 0;
    login_set_opener(fake_open);
  }
  int run(std::vector<std::string> args) {
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    args_ = std::move(args);
    return login(static_cast<int>(argv.size()), argv.data());
  }
  void type_attempt(const std::string& user, const std::string& password, const char* node = nullptr) {
    push_text(user);
    push_enter();
    push_text(password);
    push_enter();
    if (node != nullptr) {
      push_text(node);
      push_enter();
    }
  }
  std::vector<std::string> args_;
};

TEST_F(Login, UserGivenOneAttempt) {
  EXPECT_EQ(run({"procman", "-U", "DEMO/bad"}), 0);
  EXPECT_EQ(g_connects, std::vector<std::string>{"\"DEMO\"/\"bad\""});
  g_connects.clear();
  g_succeed_on = 1;
  EXPECT_EQ(run({"procman", "-UDEMO/DEMO"}), 1);
  EXPECT_EQ(g_connects.size(), 1u);
  EXPECT_EQ(virtual_console_starved(), 0);  // no dialog asked for anything
  EXPECT_TRUE(screen_shows(cp866(" Менеджер хранимых процедур в.1.00    СУБД Таврел в6.0")));
}

TEST_F(Login, ThreeFailuresAreDenied) {
  for (int i = 0; i < 3; i++) {
    type_attempt("DEMO", "wrong" + std::to_string(i), "");
  }
  // Esc closes "Доступ запрещен!" (the script runs out there); a key filter sees it shown.
  static bool denied_shown;
  denied_shown = false;
  set_key_filter([](uint16_t) -> uint16_t {
    std::string all;
    for (int row = 0; row < 25; row++) all += buffer_text(row, 0, 79);
    if (all.find(utf8_to_cp866("Доступ запрещен!")) != std::string::npos) denied_shown = true;
    return 0;
  });
  EXPECT_EQ(run({"procman"}), 0);
  set_key_filter(nullptr);
  EXPECT_TRUE(denied_shown);
  ASSERT_EQ(g_connects.size(), 3u);
  EXPECT_EQ(g_connects[0], "\"DEMO\"/\"wrong0\"");
  EXPECT_EQ(g_connects[2], "\"DEMO\"/\"wrong2\"");
  EXPECT_EQ(window_count(), 0);
}

TEST_F(Login, SecondAttemptSucceedsWithTrailingBlanksCut) {
  type_attempt("x", "y", "");
  type_attempt("DE MO  ", "DEMO", "node1");
  g_succeed_on = 2;
  EXPECT_EQ(run({"procman"}), 1);
  ASSERT_EQ(g_connects.size(), 2u);
  EXPECT_EQ(g_connects[1], "\"DE MO\"/\"DEMO\"");
  EXPECT_EQ(g_nodes[1], "node1");
  EXPECT_EQ(window_count(), 0);
}

TEST_F(Login, EscGivesUp) {
  push_esc();
  EXPECT_EQ(run({"procman"}), 0);
  EXPECT_TRUE(g_connects.empty());
}

TEST_F(Login, NodeGivenMakesTheDialogShorter) {
  // The dialog has two fields: Enter in the password field confirms.
  type_attempt("DEMO", "DEMO");
  g_succeed_on = 1;
  EXPECT_EQ(run({"procman", "-Nsrv"}), 1);
  ASSERT_EQ(g_nodes.size(), 1u);
  EXPECT_EQ(g_nodes[0], "srv");
}

TEST_F(Login, DialogGeometryAndTexts) {
  // Nothing scripted: the first read gives Esc, after the dialog is drawn.
  push_esc();
  std::vector<std::string> args = {"procman"};
  std::vector<char*> argv = {args[0].data()};
  // The screen is read by a key filter while the dialog waits for its first key.
  static std::string row7, row9, row11, row13;
  static uint8_t corner_top_left, corner_bottom_right;
  set_key_filter([](uint16_t) -> uint16_t {
    row7 = buffer_text(7, 17, 55);
    row9 = buffer_text(9, 17, 55);
    row11 = buffer_text(11, 17, 55);
    row13 = buffer_text(13, 17, 55);
    corner_top_left = screen_cell(7, 17).ch;
    corner_bottom_right = screen_cell(15, 55).ch;
    return 0;
  });
  EXPECT_EQ(login(1, argv.data()), 0);
  set_key_filter(nullptr);
  EXPECT_NE(row7.find(cp866(" Регистрация пользователя ")), std::string::npos) << row7;
  EXPECT_EQ(row9.substr(1, 15), cp866(" Пользователь :"));
  EXPECT_EQ(row11.substr(1, 15), cp866(" Пароль       :"));
  EXPECT_EQ(row13.substr(1, 15), cp866(" Таврел-сервер:"));
  EXPECT_EQ(corner_top_left, 0xC9);      // ╔ of the double frame at 7,17
  EXPECT_EQ(corner_bottom_right, 0xBC);  // ╝ at 15,55
}

TEST_F(Login, PasswordShowsOneStarPerCharacter) {
  type_attempt("DEMO", "secret", "");
  push_esc();
  // Every screen the dialog waits on is kept: the password must never appear, its stars must.
  static std::vector<std::string> password_rows;
  password_rows.clear();
  set_key_filter([](uint16_t) -> uint16_t {
    password_rows.push_back(buffer_text(11, 17, 55));
    return 0;
  });
  EXPECT_EQ(run({"procman"}), 0);
  set_key_filter(nullptr);
  bool stars_seen = false;
  for (const std::string& row : password_rows) {
    EXPECT_EQ(row.find("secret"), std::string::npos) << row;
    EXPECT_EQ(row.find("*******"), std::string::npos) << row;  // never more stars than characters
    if (row.find("******") != std::string::npos) stars_seen = true;
  }
  EXPECT_TRUE(stars_seen);
  ASSERT_EQ(g_connects.size(), 1u);
  EXPECT_EQ(g_connects[0], "\"DEMO\"/\"secret\"");  // the typed text itself is sent
}

// --- The calculator ------------------------------------------------------------------

TEST_F(MainLoop, CalculatorResults) {
  const struct {
    const char* formula;
    const char* result;
  } cases[] = {
      {"2+3", "5 (SMALLINT)"},
      {"UPPER(\"ab\")", "{AB} (STRING)"},
      {"1/", "Ошибка при вычислении"},
      {"\"a\" + 1", "Ошибка при вычислении"},
      {"", "Ошибка при вычислении"},
  };
  for (const auto& c : cases) EXPECT_EQ(calculator_result(c.formula), cp866(c.result)) << c.formula;
}

TEST_F(MainLoop, ShiftF9OpensTheCalculatorWindow) {
  static std::string title_row, result_row;
  shell().main_state = STATE_MENU;
  push_key(0x43, 0, CK_SHIFT);  // Shift+F9 inside the menu
  push_text("2+3");
  push_enter();
  // Seen before the Enter that closes the window.
  set_key_filter([](uint16_t key) -> uint16_t {
    if (key == KEY_ENTER && stuffed_key_count() == 0 && virtual_console_pending() == 1) {
      title_row = buffer_text(9, 6, 70);
      result_row = buffer_text(13, 6, 70);
    }
    return 0;
  });
  push_enter();
  push_alt_x();
  run_dispatcher();
  set_key_filter(nullptr);
  EXPECT_EQ(shell().main_state, STATE_LEAVE);
  EXPECT_NE(title_row.find(cp866(" Вычисление : ")), std::string::npos) << title_row;
  EXPECT_NE(result_row.find(cp866("Результат")), std::string::npos) << result_row;
  EXPECT_NE(result_row.find("5 (SMALLINT)"), std::string::npos) << result_row;
  EXPECT_EQ(virtual_console_starved(), 0);
}

}  // namespace
}  // namespace tavrel
