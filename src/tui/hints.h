// Help categories and the hint line. Every screen of the program has a help category:
// it picks the help topic that F1 shows and the set of hints on the bottom row, whose
// items also bind their keys while the set is shown.
#pragma once

#include <cstdint>

#include "tui/keyboard.h"

namespace tavrel {

// Help categories of the program's screens (the topic numbers of the help file).
enum HelpCategory : uint32_t {
  HELP_GENERAL = 0,          // the contents topic, F1 inside help
  HELP_MAIN_MENU = 10,
  HELP_LOGIN = 19,
  HELP_PROC_CHOICE = 20,
  HELP_TRIGGER_CHOICE = 21,
  HELP_CODE_EDITOR = 30,
  HELP_DEBUG_EDITOR = 31,
  HELP_ERRORS = 40,
  HELP_BREAKPOINTS = 50,
  HELP_BREAKPOINTS_EDIT = 51,
  HELP_BREAKPOINT_PROPS = 52,
  HELP_ACTIVE_PROCS = 60,
  HELP_NEW_PROC = 70,
  HELP_NEW_TRIGGER = 71,
  HELP_FILE_CHOICE = 80,
  HELP_CALCULATOR = 90,
  HELP_RUN_PARAMS = 100,
  HELP_SEARCH = 110,
  HELP_HELP_VIEWER = 120,
  HELP_MESSAGES = 777,
  HELP_LOCALS = 888,
  HELP_MONITOR = 999,
  HELP_STACK = 1010,
};

constexpr uint8_t HINT_ATTR = 0x70;
constexpr uint8_t HINT_KEY_ATTR = 0x74;
constexpr int HINT_MAX_ITEMS = 8;

// Produces the text of item i of a set (CP866) from its catalogue text.
using HintFormat = const char* (*)(int item, const char* text);

struct HintItem {
  int message;            // catalogue slot of the text
  uint16_t key;
  HotKeyHandler handler;  // null: the key is not bound (a click on the item stuffs it)
};

struct HintSet {
  uint32_t lowest, highest;  // the help categories the set serves
  HintFormat format;
  HintItem items[HINT_MAX_ITEMS];
  int item_count;
};

// Shows the first set whose range holds the category on the bottom row and binds its
// keys (unbinding those of the set shown before). Returns the set's index, or -1 (the
// row is left as it is) when no set serves the category.
int hint_select(uint32_t category);
int hint_current();
// Binds a handler to the key of an item of the set serving the category; it takes effect
// the next time the set is selected. 0, or 1 when there is no such set or item.
int hint_set_handler(uint32_t category, uint16_t key, HotKeyHandler handler);
int hint_set_format(uint32_t category, HintFormat format);
// The key of the hint item under a column of the bottom row, 0 when none.
uint16_t hint_key_at(int column);
int hint_set_count();
const HintSet* hint_set_at(int index);

}  // namespace tavrel
