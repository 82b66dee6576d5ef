// The menu engine: a bar of entries with pull-down columns, nested submenus, separators,
// disabled items, hot letters (a letter between two "~"; without one, the first letter
// of the text) and hot keys that run an item's action from anywhere while its menu tree
// is active. Items are laid out as they are added; the tree is drawn and run by menu_run.
#pragma once

#include <cstdint>

namespace tavrel {

// Item types and flags.
constexpr uint8_t MENU_BAR_ENTRY = 1;
constexpr uint8_t MENU_SEPARATOR = 2;
constexpr uint8_t MENU_NESTED = 4;
constexpr uint8_t MENU_COMMAND = 8;
constexpr uint8_t MENU_DISABLED = 2;  // flags bit 1

constexpr int MENU_TEXT_MAX = 80;
constexpr int MENU_NONE = -1;  // no remembered position

struct Menu;
using MenuAction = void (*)(int item_id);

struct MenuItem {
  MenuItem* next;
  Menu* submenu;        // the pull-down of a bar entry, or a nested column
  MenuAction action;
  uint16_t hot_key;
  uint8_t flags;
  uint8_t type;
  int id;
  int row, column;      // place within the menu's rectangle
  uint8_t hot_letter;   // lower-cased; 0 = none
  char text[MENU_TEXT_MAX + 1];  // CP866, "~" marks removed
  int hot_index;        // position of the hot letter in text, -1 = none
};

// A bar (items side by side on one row) or a column (one item per row). The rectangle
// is the menu's content area, absolute; a column is drawn inside a frame around it.
struct Menu {
  bool bar;
  bool self_sizing;
  int top, left, bottom, right;
  int next_row, next_column;
  int width;            // longest item text of a column
  MenuItem* items;
  MenuItem* last;
  MenuItem* default_item;
};

Menu* menu_new(bool bar, int top, int left, int bottom, int right, bool self_sizing);
void menu_free(Menu* menu);  // with its items and submenus
// Adds an item at the menu's next position. A bar entry or nested item gets an empty
// self-sizing column as its submenu. Returns the item, or null out of memory.
MenuItem* menu_add(Menu* menu, int id, const char* text, uint8_t type, MenuAction action,
                   uint16_t hot_key = 0, uint8_t flags = 0);
void menu_set_default(Menu* menu, MenuItem* item);
MenuItem* menu_find(Menu* menu, int id);  // depth first

// Reported whenever the highlight moves: the bar entry's id and the item's id (MENU_NONE
// when only the bar is highlighted).
void menu_set_position_hook(void (*hook)(int bar_id, int item_id));
// Runs a bar menu on screen until an item is chosen (its id, after its action ran) or the
// user leaves (0). The pull-down of start_bar opens at start_item when given.
int menu_run(Menu* bar, int start_bar = MENU_NONE, int start_item = MENU_NONE);
Menu* menu_active();

// For the keyboard: an enabled item of the active menu tree with this hot key and an
// action (depth first in item order).
bool menu_find_hot_key(uint16_t key, MenuAction* action, int* id);
// The abort flag: an action raises it to make get key return 0 (and a running menu end).
void menu_raise_abort();
bool menu_take_abort();

// The hot letter of a key as the menus and message boxes compare them: A-Z and the
// bytes 0x80-0x9F get 32 added (so the capitals Р-Я land on 0xB0-0xBF; deliberate).
uint8_t hot_letter_lower(uint8_t c);

}  // namespace tavrel
