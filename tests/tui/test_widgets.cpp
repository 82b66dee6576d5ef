// Menus, hint lines, pick lists, forms, the file dialog's listing and the colour
// settings, driven by scripted keys on the virtual console.
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "tui/colours.h"
#include "tui/filedlg.h"
#include "tui/form.h"
#include "tui/hints.h"
#include "tui/menu.h"
#include "tui/messages.h"
#include "tui/picklist.h"
#include "tui_fixture.h"

namespace tavrel {
namespace {

using WidgetTest = TuiTest;

// Keys as scan code and character.
using Keys = std::vector<std::pair<uint16_t, uint8_t>>;
void push_keys(const Keys& keys, uint32_t state = 0) {
  for (auto [scan, ch] : keys) push_key(scan, ch, state);
}

int g_action_id = 0;
int g_action_calls = 0;
void record_action(int id) {
  g_action_id = id;
  g_action_calls++;
}
void aborting_action(int id) {
  record_action(id);
  menu_raise_abort();
}

// A bar like the program's: two entries with columns, the second with a separator, a
// disabled item and a nested column.
Menu* build_menu() {
  Menu* bar = menu_new(true, 0, 0, 0, 79, false);
  MenuItem* file = menu_add(bar, 1, " File ", MENU_BAR_ENTRY, nullptr);
  menu_add(file->submenu, 4, "~O~pen  F3", MENU_COMMAND, record_action, KEY_F3);
  menu_add(file->submenu, 5, "Save", MENU_COMMAND, record_action);
  menu_add(file->submenu, 6, "Stop", MENU_COMMAND, aborting_action, KEY_CTRL_F2);
  MenuItem* tools = menu_add(bar, 2, " Tools ", MENU_BAR_ENTRY, nullptr);
  menu_add(tools->submenu, 10, "Alpha", MENU_COMMAND, record_action);
  menu_add(tools->submenu, 11, "------", MENU_SEPARATOR, nullptr);
  menu_add(tools->submenu, 12, "Beta", MENU_COMMAND, record_action, 0, MENU_DISABLED);
  MenuItem* more = menu_add(tools->submenu, 13, "More  > ", MENU_NESTED, nullptr);
  menu_add(more->submenu, 20, "Gamma", MENU_COMMAND, record_action);
  menu_add(more->submenu, 21, "Delta", MENU_COMMAND, record_action);
  return bar;
}

TEST_F(WidgetTest, MenuLayoutFollowsTheItems) {
  Menu* bar = menu_new(true, 0, 0, 0, 0, true);
  MenuItem* a = menu_add(bar, 1, " File ", MENU_BAR_ENTRY, nullptr);
  MenuItem* b = menu_add(bar, 2, " Debugger ", MENU_BAR_ENTRY, nullptr);
  EXPECT_EQ(a->column, 0);
  EXPECT_EQ(b->column, 6);
  EXPECT_EQ(bar->right, 16);
  EXPECT_EQ(bar->default_item, a);
  Menu* column = a->submenu;
  menu_add(column, 3, "Short", MENU_COMMAND, nullptr);
  menu_add(column, 4, "A longer ~t~ext", MENU_COMMAND, nullptr);
  EXPECT_EQ(column->width, 13);
  EXPECT_EQ(column->right - column->left, 13);
  EXPECT_EQ(column->bottom - column->top, 1);
  EXPECT_EQ(menu_find(bar, 4)->hot_letter, 't');
  EXPECT_STREQ(menu_find(bar, 4)->text, "A longer text");
  EXPECT_EQ(menu_find(bar, 3)->hot_letter, 's');
  menu_free(bar);
}

TEST_F(WidgetTest, MenuKeysNavigateAndChoose) {
  struct Script {
    const char* name;
    Keys keys;
    int chosen;
  };
  const Script scripts[] = {
      {"Enter opens, Down, Enter", {{0x1C, 0x0D}, {0x50, 0}, {0x1C, 0x0D}}, 5},
      {"Right to the next entry, Enter", {{0x4D, 0}, {0x1C, 0x0D}, {0x1C, 0x0D}}, 10},
      {"Down skips separator and disabled", {{0x4D, 0}, {0x1C, 0x0D}, {0x50, 0}, {0x1C, 0x0D}, {0x50, 0}, {0x1C, 0x0D}}, 21},
      {"hot letter of the bar, then of the column", {{0x14, 't'}, {0x1E, 'a'}}, 10},
      {"Esc closes the column, Esc leaves", {{0x1C, 0x0D}, {0x01, 0x1B}, {0x01, 0x1B}}, 0},
      {"F10 leaves at once", {{0x1C, 0x0D}, {0x44, 0}}, 0},
      {"Left wraps to the last entry", {{0x4B, 0}, {0x50, 0}, {0x1C, 0x0D}}, 10},
  };
  for (const Script& s : scripts) {
    Menu* bar = build_menu();
    push_keys(s.keys);
    g_action_id = 0;
    int chosen = menu_run(bar);
    EXPECT_EQ(chosen, s.chosen) << s.name;
    if (s.chosen != 0) {
      EXPECT_EQ(g_action_id, s.chosen) << s.name;
    }
    EXPECT_EQ(window_active(), nullptr) << s.name;
    EXPECT_EQ(virtual_console_starved(), 0) << s.name;
    flush_input();
    menu_free(bar);
  }
}

TEST_F(WidgetTest, MenuMouseAndHotKeysAndAbort) {
  Menu* bar = build_menu();
  push_click(8, 0);   // " Tools "
  push_click(10, 2);  // its first item, "Alpha"
  EXPECT_EQ(menu_run(bar), 10);
  // A hot key of the tree runs its item's action while the menu runs.
  g_action_calls = 0;
  push_key(0x3D, 0);  // F3
  push_esc();
  EXPECT_EQ(menu_run(bar), 0);
  EXPECT_EQ(g_action_calls, 1);
  EXPECT_EQ(g_action_id, 4);
  // An action that raises the abort flag ends the run.
  push_key(0x5F - 0x23, 0, CK_LEFT_CTRL);  // Ctrl+F2
  push_char('x');
  EXPECT_EQ(menu_run(bar), 0);
  EXPECT_EQ(g_action_id, 6);
  EXPECT_EQ(virtual_console_pending(), 1);  // the run ended before reading "x"
  // Outside a run the tree's hot keys do nothing.
  flush_input();
  push_key(0x3D, 0);
  EXPECT_EQ(get_key(), KEY_F3);
  menu_free(bar);
}

int g_bar = -9, g_item = -9;
void remember(int bar_id, int item_id) {
  g_bar = bar_id;
  g_item = item_id;
}

TEST_F(WidgetTest, MenuReportsAndRestoresItsPosition) {
  Menu* bar = build_menu();
  menu_set_position_hook(remember);
  push_keys({{0x4D, 0}, {0x1C, 0x0D}, {0x01, 0x1B}, {0x01, 0x1B}});
  menu_run(bar);
  EXPECT_EQ(g_bar, 2);
  EXPECT_EQ(g_item, MENU_NONE);
  push_enter();
  EXPECT_EQ(menu_run(bar, 2, 13), 0);  // opens Tools at "More", Enter opens the nested column
  push_esc();
  menu_set_position_hook(nullptr);
  flush_input();
  menu_free(bar);
}

int g_hint_calls = 0;
void hint_handler() { g_hint_calls++; }

TEST_F(WidgetTest, HintLineDrawsKeysInRedAndMovesBindings) {
  EXPECT_EQ(hint_select(9999), -1);
  ASSERT_EQ(hint_set_handler(HELP_CODE_EDITOR, KEY_F2, hint_handler), 0);
  ASSERT_GE(hint_select(HELP_CODE_EDITOR), 0);
  std::string row = virtual_console_row(24);
  std::string expected = cp866("|РЕДАКТОР КОДА| F10 Меню F2 Сохранить ");
  EXPECT_EQ(row.substr(0, expected.size()), expected);
  size_t f2 = expected.find("F2");
  EXPECT_EQ(attr_at(static_cast<int>(f2), 24), HINT_KEY_ATTR);
  EXPECT_EQ(attr_at(static_cast<int>(f2) - 1, 24), HINT_ATTR);
  EXPECT_TRUE(hot_key_registered(KEY_F2));
  EXPECT_EQ(hint_key_at(static_cast<int>(f2)), KEY_F2);
  g_hint_calls = 0;
  push_key(0x3C, 0);
  push_char('a');
  EXPECT_EQ(get_key(), 'a');
  EXPECT_EQ(g_hint_calls, 1);
  hint_select(HELP_MAIN_MENU);
  EXPECT_FALSE(hot_key_registered(KEY_F2));
  EXPECT_EQ(virtual_console_row(24).substr(0, 6), cp866("|МЕНЮ|"));
  hint_set_handler(HELP_CODE_EDITOR, KEY_F2, nullptr);
  // The long text of the active-procedures set is cut to the row.
  hint_select(HELP_ACTIVE_PROCS);
  std::string cut = message_text(MSG_HINT_ACTIVE_PROCS);
  EXPECT_EQ(virtual_console_text(24, 0, static_cast<int>(cut.size()) - 1), cut);
}

const char* const FRUITS[] = {"apple", "apricot", "banana", "blueberry", "cherry", "date", "elder",
                              "fig", "grape", "guava", "kiwi", "lemon"};
int fruit(int index, char* out, int capacity, void*) {
  if (index < 0 || index >= 12) return 0;
  std::snprintf(out, static_cast<size_t>(capacity), "%s", FRUITS[index]);
  return 1;
}

TEST_F(WidgetTest, PickListMovesSearchesAndScrolls) {
  struct Script {
    const char* name;
    Keys keys;
    int chosen;
  };
  const Script scripts[] = {
      {"Enter on the first row", {{0x1C, 0x0D}}, 0},
      {"Down twice", {{0x50, 0}, {0x50, 0}, {0x1C, 0x0D}}, 2},
      {"End", {{0x4F, 0}, {0x1C, 0x0D}}, 11},
      {"PgDn past the end", {{0x51, 0}, {0x51, 0}, {0x51, 0}, {0x1C, 0x0D}}, 11},
      {"search b then l", {{0x30, 'b'}, {0x26, 'l'}, {0x1C, 0x0D}}, 3},
      {"search gu, Backspace keeps g", {{0x22, 'g'}, {0x16, 'u'}, {0x0E, 0x08}, {0x1C, 0x0D}}, 9},
      {"unknown letter is dropped", {{0x22, 'c'}, {0x2C, 'z'}, {0x1C, 0x0D}}, 4},
      {"Esc", {{0x50, 0}, {0x01, 0x1B}}, -1},
  };
  for (const Script& s : scripts) {
    PickList list;
    picklist_init(&list, fruit, nullptr);
    EXPECT_EQ(list.count, 12);
    push_keys(s.keys);
    EXPECT_EQ(picklist_run(&list, 2, 10, 8, 30, "Fruit", 0), s.chosen) << s.name;
    EXPECT_GE(list.selected, list.top) << s.name;
    EXPECT_LT(list.selected, list.top + 5) << s.name;
  }
  PickList list;
  picklist_init(&list, fruit, nullptr);
  push_click(12, 5);  // third row: selects
  push_click(12, 5);  // again: chooses
  EXPECT_EQ(picklist_run(&list, 2, 10, 8, 30, nullptr, 0), 2);
}

struct Person {
  const char* name;
  const char* value;
};
const Person PEOPLE[] = {{"one", "1"}, {"two", "2"}, {"three", "3"}};
int person_row(int row, char cells[][FORM_CELL_MAX + 1], void*) {
  if (row < 0 || row >= 3) return 0;
  std::snprintf(cells[0], FORM_CELL_MAX + 1, "%s", PEOPLE[row].name);
  std::snprintf(cells[1], FORM_CELL_MAX + 1, "%s", PEOPLE[row].value);
  return 1;
}

int g_pressed = -1;
uint16_t g_last_key = 0;
int g_list_row = -1;
void on_ok(Form* form, int item) {
  g_pressed = item;
  g_last_key = form_last_key(form);
  g_list_row = form_list_selected(form, 3);
  form_end(form, 7);
}

struct Dialog {
  char name[11] = "";
  char number[6] = "";
  int kind = 1;
  bool debug = true;
  Form form;
};

void build(Dialog& d) {
  static const char* const KINDS[] = {"Plain", "Conditional", "On change"};
  window_open(2, 5, 20, 70, FRAME_DOUBLE, 0x7F, 0x70);
  form_begin(&d.form);
  form_add_label(&d.form, 1, 1, "Name");
  form_add_field(&d.form, 1, 10, d.name, "**********", 5);           // 1
  form_add_field(&d.form, 2, 10, d.number, "#####", 5);              // 2
  int list = form_add_list(&d.form, 4, 1, 3, person_row, nullptr);   // 3
  form_list_column(&d.form, list, "Name", 8);
  form_list_column(&d.form, list, "Value", 6);
  form_add_radio(&d.form, 9, 1, KINDS, 3, &d.kind);                  // 4
  form_add_check(&d.form, 13, 1, "Debug", &d.debug);                 // 5
  form_add_button(&d.form, 15, 5, " ~O~k ", 0x2000, on_ok);          // 6
  form_add_button(&d.form, 15, 20, " ~C~ancel ", 0, nullptr);        // 7
}

TEST_F(WidgetTest, FormFieldsScrollAndObeyPictures) {
  Dialog d;
  build(d);
  for (char c : std::string("abcdefgh")) push_char(c);
  push_key(0x0F, 0x09);           // Tab to the number field
  for (char c : std::string("1x2-")) push_char(c);
  push_key(0x0F, 0x09, CK_SHIFT);  // Shift+Tab back to the name
  // Home, Del: "bcdefgh"; Right, Backspace: "cdefgh"; Esc.
  push_keys({{0x47, 0}, {0x53, 0}, {0x4D, 0}, {0x0E, 0x08}, {0x01, 0x1B}});
  EXPECT_EQ(form_run(&d.form), 0);
  EXPECT_STREQ(d.name, "cdefgh");
  EXPECT_STREQ(d.number, "12-");
  // The name field shows five characters, scrolled to keep the cursor visible.
  push_key(0x4F, 0);  // End
  push_esc();
  form_run(&d.form);
  EXPECT_EQ(virtual_console_text(4, 16, 20), "efgh ");
}

TEST_F(WidgetTest, FormNavigationRadioCheckListAndButtons) {
  Dialog d;
  build(d);
  push_keys({
      {0x0F, 0x09}, {0x0F, 0x09},  // to the list
      {0x50, 0}, {0x50, 0},         // third row
      {0x0F, 0x09},                 // radio group
      {0x50, 0}, {0x50, 0},         // third item: value 4
      {0x0F, 0x09},                 // check box
      {0x39, ' '},                  // off
      {0x0F, 0x09},                 // Ok
      {0x1C, 0x0D},
  });
  EXPECT_EQ(form_run(&d.form), 7);
  EXPECT_EQ(d.kind, 4);
  EXPECT_FALSE(d.debug);
  EXPECT_EQ(g_pressed, 6);
  EXPECT_EQ(g_last_key, KEY_ENTER);
  EXPECT_EQ(g_list_row, 2);
  // The list shows its headings and rows in columns.
  EXPECT_EQ(virtual_console_text(7, 7, 21), "Name    \xB3Value ");
  EXPECT_EQ(virtual_console_text(10, 7, 21), "three   \xB3" "3     ");
}

TEST_F(WidgetTest, FormButtonKeysHotLettersAndMouse) {
  struct Case {
    const char* name;
    Keys keys;
    uint32_t state;
    int result;
  };
  const Case cases[] = {
      {"the button's key from a field", {{0x20, 'd'}}, CK_LEFT_ALT, 7},
      {"Alt+letter from a field", {{0x2E, 'c'}}, CK_LEFT_ALT, 8},
      {"a plain letter in a field is text", {{0x2E, 'c'}, {0x01, 0x1B}}, 0, 0},
  };
  for (const Case& c : cases) {
    Dialog d;
    build(d);
    push_keys(c.keys, c.state);
    if (c.state == 0) push_esc();
    EXPECT_EQ(form_run(&d.form), c.result) << c.name;
    window_close();
    flush_input();
  }
  Dialog d;
  build(d);
  push_click(5 + 1 + 1 + 1, 2 + 1 + 13);  // the check box
  push_click(5 + 1 + 20 + 2, 2 + 1 + 15);  // Cancel
  EXPECT_EQ(form_run(&d.form), 8);
  EXPECT_FALSE(d.debug);
}

TEST_F(WidgetTest, FileListingAndMasks) {
  struct Mask {
    const char* mask;
    const char* name;
    bool match;
  };
  const Mask masks[] = {{"*.prc", "a.prc", true},   {"*.prc", "A.PRC", true}, {"*.prc", "a.prcx", false},
                        {"*.prc", ".prc", true},     {"a?c", "abc", true},     {"a?c", "ac", false},
                        {"*", "", true},             {"*x*", "abxcd", true}};
  for (const Mask& m : masks) EXPECT_EQ(mask_matches(m.mask, m.name), m.match) << m.mask << " " << m.name;

  namespace fs = std::filesystem;
  fs::path dir = fs::temp_directory_path() / "tavrel_tui_files";
  fs::remove_all(dir);
  fs::create_directories(dir / "sub");
  for (const char* name : {"b.prc", "a.prc", "notes.txt"}) std::ofstream(dir / name) << "x";
  std::vector<FileEntry> entries;
  ASSERT_EQ(file_list(dir.string(), "*.prc", &entries), 0);
  ASSERT_GE(entries.size(), 4u);
  EXPECT_EQ(entries[0].name, "..");
  EXPECT_EQ(entries[1].name, "sub");
  EXPECT_TRUE(entries[1].directory);
  EXPECT_EQ(entries[2].name, "a.prc");
  EXPECT_EQ(entries[3].name, "b.prc");
  for (const FileEntry& e : entries) EXPECT_NE(e.name, "notes.txt");
  EXPECT_EQ(file_list((dir / "missing").string(), "*", &entries), 1);

  // The dialog: into "sub" and back out, then a file from the list.
  // To the list, Down, Enter: "sub"; Enter: ".."; Down twice, Enter: "a.prc".
  push_keys({{0x0F, 0x09}, {0x50, 0}, {0x1C, 0x0D}, {0x1C, 0x0D}, {0x50, 0}, {0x50, 0}, {0x1C, 0x0D}});
  std::string chosen;
  const int editor_hints = hint_select(HELP_CODE_EDITOR);
  ASSERT_EQ(file_dialog("*.prc", dir.string(), &chosen), 0);
  EXPECT_EQ(fs::path(chosen).filename().string(), "a.prc");
  EXPECT_EQ(hint_current(), editor_hints);  // the caller's hint line is back
  // A name typed by hand.
  for (char c : std::string("new.prc")) push_char(c);
  push_enter();
  ASSERT_EQ(file_dialog("*.prc", dir.string(), &chosen), 0);
  EXPECT_EQ(fs::path(chosen), dir / "new.prc");
  // A start in "." lists the directory by its full name: no "/." left in what is chosen.
  const fs::path here = fs::current_path();
  fs::current_path(dir);
  for (char c : std::string("here.prc")) push_char(c);
  push_enter();
  ASSERT_EQ(file_dialog("*.prc", "", &chosen), 0);
  fs::current_path(here);
  EXPECT_EQ(fs::path(chosen), fs::weakly_canonical(dir) / "here.prc");
  push_esc();
  EXPECT_EQ(file_dialog("*.prc", dir.string(), &chosen), 1);
  fs::remove_all(dir);
}

TEST_F(WidgetTest, ColourSchemesAndTheirSettingsFile) {
  EXPECT_EQ(std::string(colour_scheme_name(3)), cp866("Че") + "p" + cp866("ная"));
  EXPECT_EQ(colour_scheme_name(4), nullptr);
  EXPECT_EQ(colour_scheme_select(4), 5);
  std::string path = (std::filesystem::temp_directory_path() / "tavrel_tui_settings" / "procman.ini").string();
  settings_set_path(path);
  ASSERT_EQ(colour_scheme_select(2), 0);
  uint8_t menu_blue = colour(ROLE_MENU);
  ASSERT_EQ(colour_scheme_save(), 0);
  colour_scheme_select(0);
  EXPECT_NE(colour(ROLE_MENU), menu_blue);
  ASSERT_EQ(colour_scheme_load(), 0);
  EXPECT_EQ(colour_scheme(), 2);
  std::filesystem::remove_all(std::filesystem::path(path).parent_path());
  EXPECT_EQ(colour_scheme_load(), 1);
  colour_scheme_select(0);
  settings_set_path("");
}

}  // namespace
}  // namespace tavrel
