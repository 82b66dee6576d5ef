// The main menu: the table against the catalogue texts, the enabling rules over the
// current window's facts, the actions of the items, and the " Окно " list with its
// "Другие    > " columns.
#include <cstring>
#include <vector>

#include "shell_fixture.h"
#include "tui/menu.h"
#include "tui/messages.h"

namespace tavrel {
namespace {

using MenuTree = ShellTest;

TEST_F(MenuTree, TableTextsAndIds) {
  const struct {
    int id;
    const char* text;
  } items[] = {
      {4, "Открыть процедуру...  F3"}, {119, "Открыть триггер...    "}, {7, "Прочитать из файла... Alt+F3"},
      {6, "Выход                 Alt+X"}, {331, "Найти               Alt+S"},
      {114, "Вычислить выражение...     Shift+F9"}, {16, "Закрыть      Esc"}, {118, "Список активных процедур"},
  };
  for (const auto& item : items) {
    const MenuRecord* r = menu_record(item.id);
    ASSERT_NE(r, nullptr) << item.id;
    EXPECT_EQ(std::string(message_text(r->message)), cp866(item.text)) << item.id;
    EXPECT_EQ(r->type, MENU_COMMAND) << item.id;
  }
  // Ids 2 and 3 name the save items, not the bar entries with the same numbers.
  EXPECT_EQ(menu_record(2)->value, KEY_F2);
  EXPECT_EQ(menu_record(3)->value, KEY_ALT_F2);
  int bars = 0;
  for (int i = 0; i < MENU_TABLE_SIZE; i++) bars += MENU_TABLE[i].type == MENU_BAR_ENTRY;
  EXPECT_EQ(bars, 5);
}

// Window facts for the enabling rules.
struct Facts {
  bool window;
  uint32_t kind;
  bool in_debug;
  int16_t runs;
  bool cannot_start;
  bool stack_open;
};

TEST_F(MenuTree, EnablingRules) {
  struct Case {
    const char* what;
    Facts f;
    std::vector<int> enabled, disabled;
  };
  const Case cases[] = {
      {"no window", {false, 0, false, 0, false, false}, {4, 6, 111, 114}, {2, 3, 100, 101, 103, 104, 105, 122, 106, 112}},
      {"source, no debug", {true, 0, false, 0, false, false}, {2, 3, 100, 104, 105, 122}, {101, 103, 106, 107, 108, 109, 112, 113}},
      {"other kind", {true, 4, false, 0, false, false}, {4}, {2, 3, 100, 104, 105, 122}},
      {"cannot start", {true, 0, false, 0, true, false}, {105, 122}, {104}},
      {"debugging, idle", {true, 0, true, 0, false, false}, {101, 103, 104}, {100, 106, 107, 108, 109, 112, 113}},
      {"debugging, running", {true, 0, true, 1, true, false}, {104, 106, 107, 108, 109, 112, 113}, {105, 122}},
      {"running, stack open", {true, 0, true, 2, false, true}, {106, 113}, {112}},
  };
  for (const Case& c : cases) {
    shell_reset();
    WorkWindow w{};
    if (c.f.window) {
      w.kind = c.f.kind;
      w.in_debug = c.f.in_debug;
      w.active_runs = c.f.runs;
      w.cannot_start = c.f.cannot_start;
      shell().current = &w;
      shell().open_count = 1;
    }
    shell().stack_open = c.f.stack_open;
    for (int id : c.enabled) EXPECT_TRUE(menu_item_enabled(id)) << c.what << " item " << id;
    for (int id : c.disabled) EXPECT_FALSE(menu_item_enabled(id)) << c.what << " item " << id;
    EXPECT_EQ(menu_item_enabled(3, true), c.f.window) << c.what;
    EXPECT_EQ(menu_item_enabled(9, true), c.f.window) << c.what;
    shell().current = nullptr;
    shell().open_count = 0;
  }
  shell().monitor_open = true;
  EXPECT_FALSE(menu_item_enabled(111));
}

TEST_F(MenuTree, ActionsSetStateKindAndKeys) {
  struct Case {
    int id;
    uint32_t state, kind;
    uint16_t key;  // the key pushed, 0 none
  };
  const Case cases[] = {
      {4, STATE_OPEN, KIND_PROCEDURE, 0},   {119, STATE_OPEN, KIND_TRIGGER, 0},
      {7, STATE_OPEN, KIND_FILE, 0},        {8, STATE_OPEN, KIND_NEW_PROCEDURE, 0},
      {120, STATE_OPEN, KIND_NEW_TRIGGER, 0}, {2, STATE_WORK, 77, KEY_F2},
      {3, STATE_WORK, 77, KEY_ALT_F2},      {6, STATE_LEAVE, 77, 0},
      {301, STATE_WORK, 77, KEY_ALT_M},     {329, STATE_WORK, 77, KEY_SHIFT_F5},
      {332, STATE_WORK, 77, KEY_ALT_N},     {100, STATE_WORK, 77, KEY_F4},
      {108, STATE_WORK, 77, KEY_SHIFT_F10}, {114, STATE_MENU, 77, KEY_SHIFT_F9},
      {12, STATE_CASCADE, 77, 0},           {13, STATE_ZOOM, 77, 0},
      {14, STATE_MOVE, 77, 0},              {15, STATE_RESIZE, 77, 0},
      {16, STATE_CLOSE, 77, 0},             {10, STATE_WORK, 77, 0},
      {11, STATE_WORK, 77, 0},              {117, STATE_MENU, 77, 0},
  };
  clear_hot_keys();  // the keys are read back, not acted on
  for (const Case& c : cases) {
    clear_stuffed_keys();
    shell().main_state = STATE_MENU;
    shell().kind_request = 77;
    menu_do(c.id);
    EXPECT_EQ(shell().main_state, c.state) << c.id;
    EXPECT_EQ(shell().kind_request, c.kind) << c.id;
    EXPECT_EQ(stuffed_key_count(), c.key != 0 ? 1 : 0) << c.id;
    if (c.key != 0 && stuffed_key_count() == 1) {
      EXPECT_EQ(get_key(), c.key) << c.id;
    }
  }
  clear_stuffed_keys();
}

TEST_F(MenuTree, BuildFollowsTheRules) {
  Menu* bar = menu_build();
  ASSERT_NE(bar, nullptr);
  MenuItem* editor = bar->items->next;
  ASSERT_NE(editor, nullptr);
  EXPECT_EQ(editor->id, 3);
  EXPECT_NE(editor->flags & MENU_DISABLED, 0);
  EXPECT_EQ(editor->submenu->items, nullptr);  // no items without a current window
  MenuItem* save = menu_find(bar->items->submenu, 2);
  ASSERT_NE(save, nullptr);
  EXPECT_NE(save->flags & MENU_DISABLED, 0);
  EXPECT_EQ(std::string(bar->items->text), cp866(" Файл "));
  menu_free(bar);
}

TEST_F(MenuTree, WindowListWithFurtherColumns) {
  for (int i = 0; i < 30; i++) ASSERT_EQ(open_new_procedure(), 0);
  shell().current->editor.modified = 1;  // the title gets its mark
  Menu* bar = menu_build();
  ASSERT_NE(bar, nullptr);
  MenuItem* window = menu_find(bar, 9);
  ASSERT_NE(window, nullptr);
  EXPECT_EQ(window->flags & MENU_DISABLED, 0);
  int count = 0;
  MenuItem* more = nullptr;
  for (MenuItem* item = window->submenu->items; item != nullptr; item = item->next) {
    count++;
    if (item->type == MENU_NESTED) more = item;
  }
  EXPECT_EQ(count, 8 + 9 + 1);  // commands and separator, nine windows, "Другие    > "
  ASSERT_NE(more, nullptr);
  EXPECT_EQ(std::string(more->text), cp866("Другие    > "));
  EXPECT_EQ(std::string(menu_find(window->submenu, 500)->text), " 1:    P ");
  // The tenth window is the first of the nested column.
  EXPECT_EQ(std::string(more->submenu->items->text), "10:    P ");
  int nested = 0;
  MenuItem* more2 = nullptr;
  for (MenuItem* item = more->submenu->items; item != nullptr; item = item->next) {
    nested++;
    if (item->type == MENU_NESTED) more2 = item;
  }
  EXPECT_EQ(nested, 17 + 1);
  ASSERT_NE(more2, nullptr);
  // The current (last) window carries the mark and its title.
  MenuItem* last = menu_find(bar, 529);
  ASSERT_NE(last, nullptr);
  EXPECT_EQ(std::string(last->text), "30: \xFB  *P ");
  menu_free(bar);
  // Choosing a window item switches to that ordinal.
  menu_do(509);
  EXPECT_EQ(shell().main_state, STATE_SWITCH);
  EXPECT_EQ(shell().kind_request, 9u);
  shell().current->editor.modified = 0;
}

TEST_F(MenuTree, EscWithoutWindowsStaysInMenu) {
  shell().main_state = STATE_MENU;
  push_esc();
  run_main_menu();
  EXPECT_EQ(shell().main_state, STATE_MENU);
  EXPECT_FALSE(shell().in_menu);
  ASSERT_EQ(open_new_procedure(), 0);
  shell().main_state = STATE_MENU;
  push_esc();
  run_main_menu();
  EXPECT_EQ(shell().main_state, STATE_WORK);
}

TEST_F(MenuTree, ChoosingByKeysAndRememberedPosition) {
  // The bar starts on " Файл "; Enter opens it, End goes to "Выход", Enter chooses it.
  push_enter();
  push_key(0x4F, 0);  // End
  push_enter();
  shell().main_state = STATE_MENU;
  run_main_menu();
  EXPECT_EQ(shell().main_state, STATE_LEAVE);
  EXPECT_EQ(shell().menu_bar_position, 1);
  EXPECT_EQ(shell().menu_item_position, 6);
  // The next entry opens at the remembered item: Enter chooses "Выход" again.
  push_enter();
  shell().main_state = STATE_MENU;
  run_main_menu();
  EXPECT_EQ(shell().main_state, STATE_LEAVE);
}

TEST_F(MenuTree, AltXInsideAPullDownLeaves) {
  push_enter();  // the " Файл " column is open
  push_alt_x();
  shell().main_state = STATE_MENU;
  run_main_menu();
  EXPECT_EQ(shell().main_state, STATE_LEAVE);
  EXPECT_EQ(stuffed_key_count(), 0);
  EXPECT_EQ(virtual_console_starved(), 0);
}

}  // namespace
}  // namespace tavrel
