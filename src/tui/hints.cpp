// The hint line: a table of sets, each serving a range of help categories, with its items
// (catalogue text, key, handler). Selecting a set redraws the bottom row and moves the
// key bindings from the previous set to the new one.
#include "tui/hints.h"

#include <cstring>

#include "tui/messages.h"
#include "tui/screen.h"

namespace tavrel {

namespace {

constexpr HintItem END = {0, 0, nullptr};

// The sets of the program, first match wins. Handlers are bound by the screens.
HintSet SETS[] = {
    {HELP_MAIN_MENU, HELP_MAIN_MENU, nullptr,
     {{MSG_HINT_MENU, 0, nullptr}, {MSG_HINT_CHOOSE, KEY_ENTER, nullptr}, END}, 2},
    {HELP_PROC_CHOICE, HELP_TRIGGER_CHOICE, nullptr,
     {{MSG_HINT_PROC_CHOICE, 0, nullptr}, {MSG_HINT_CHOOSE, KEY_ENTER, nullptr},
      {MSG_HINT_CANCEL, KEY_ESC, nullptr}}, 3},
    {HELP_CODE_EDITOR, HELP_CODE_EDITOR, nullptr,
     {{MSG_HINT_CODE_EDITOR, KEY_F10, nullptr}, {MSG_HINT_SAVE, KEY_F2, nullptr},
      {MSG_HINT_DEBUG, KEY_F4, nullptr}, {MSG_HINT_RUN_BANG, KEY_F9, nullptr},
      {MSG_HINT_CLOSE, KEY_ESC, nullptr}}, 5},
    {HELP_DEBUG_EDITOR, HELP_DEBUG_EDITOR, nullptr,
     {{MSG_HINT_DEBUG_EDITOR, KEY_F10, nullptr}, {MSG_HINT_STEP, KEY_F8, nullptr},
      {MSG_HINT_RUN, KEY_F9, nullptr}, {MSG_HINT_BREAKPOINT, KEY_CTRL_F8, nullptr},
      {MSG_HINT_STOP, KEY_CTRL_F2, nullptr}, {MSG_HINT_DEBUG_OFF, KEY_CTRL_F4, nullptr},
      {MSG_HINT_CLOSE_MORE, KEY_ESC, nullptr}}, 7},
    {HELP_MESSAGES, HELP_MESSAGES, nullptr,
     {{MSG_HINT_MESSAGES, KEY_F10, nullptr}, {MSG_HINT_CLOSE, KEY_ESC, nullptr},
      {MSG_HINT_NEXT_WINDOW, KEY_F6, nullptr}, {MSG_HINT_PREVIOUS_WINDOW, KEY_ALT_F6, nullptr}}, 4},
    {HELP_LOCALS, HELP_LOCALS, nullptr,
     {{MSG_HINT_LOCALS, KEY_F10, nullptr}, {MSG_HINT_CLOSE, KEY_ESC, nullptr},
      {MSG_HINT_NEXT_WINDOW, KEY_F6, nullptr}, {MSG_HINT_PREVIOUS_WINDOW, KEY_ALT_F6, nullptr}}, 4},
    {HELP_STACK, HELP_STACK, nullptr,
     {{MSG_HINT_STACK, KEY_F10, nullptr}, {MSG_HINT_SWITCH_CONTEXT, KEY_ENTER, nullptr},
      {MSG_HINT_CLOSE, KEY_ESC, nullptr}, {MSG_HINT_NEXT_WINDOW_MORE, KEY_F6, nullptr}}, 4},
    {HELP_MONITOR, HELP_MONITOR, nullptr,
     {{MSG_HINT_MONITOR, KEY_F10, nullptr}, {MSG_HINT_ADD, KEY_CTRL_F7, nullptr},
      {MSG_HINT_DELETE, KEY_ALT_D, nullptr}, {MSG_HINT_CLOSE_DOTS, KEY_ESC, nullptr}}, 4},
    {HELP_ERRORS, HELP_ERRORS, nullptr,
     {{MSG_HINT_ERRORS, KEY_F10, nullptr}, {MSG_HINT_GO_TO_LINE, KEY_ENTER, nullptr},
      {MSG_HINT_CLOSE, KEY_ESC, nullptr}, {MSG_HINT_NEXT_WINDOW_MORE, KEY_F6, nullptr}}, 4},
    {HELP_BREAKPOINTS, HELP_BREAKPOINTS, nullptr,
     {{MSG_HINT_BREAKPOINTS, KEY_ENTER, nullptr}, {MSG_HINT_CLOSE_PLAIN, KEY_ESC, nullptr}}, 2},
    {HELP_BREAKPOINTS_EDIT, HELP_BREAKPOINTS_EDIT, nullptr,
     {{MSG_HINT_BREAKPOINTS_EDIT, KEY_ENTER, nullptr}}, 1},
    {HELP_BREAKPOINT_PROPS, HELP_BREAKPOINT_PROPS, nullptr,
     {{MSG_HINT_BREAKPOINT_PROPS, KEY_ENTER, nullptr}}, 1},
    {HELP_ACTIVE_PROCS, HELP_ACTIVE_PROCS, nullptr, {{MSG_HINT_ACTIVE_PROCS, 0, nullptr}}, 1},
    {HELP_NEW_PROC, HELP_NEW_PROC, nullptr, {{MSG_HINT_NEW_PROC, 0, nullptr}}, 1},
    {HELP_FILE_CHOICE, HELP_FILE_CHOICE, nullptr, {{MSG_HINT_FILE_CHOICE, 0, nullptr}}, 1},
};

constexpr int SET_COUNT = static_cast<int>(sizeof SETS / sizeof SETS[0]);

// The set on the bottom row and where each of its items begins and ends.
struct HintState {
  int shown = -1;
  int item_start[HINT_MAX_ITEMS];
  int item_end[HINT_MAX_ITEMS];
};

HintState h;

int set_for(uint32_t category) {
  for (int i = 0; i < SET_COUNT; i++)
    if (category >= SETS[i].lowest && category <= SETS[i].highest) return i;
  return -1;
}

void bind(const HintSet& set, bool on) {
  for (int i = 0; i < set.item_count; i++) {
    const HintItem& item = set.items[i];
    if (item.key == 0 || item.handler == nullptr) continue;
    set_hot_key(item.key, on ? item.handler : nullptr, 0);
  }
}

}  // namespace

int hint_select(uint32_t category) {
  int index = set_for(category);
  if (index < 0) return -1;
  int row = screen_rows() - 1;
  begin_update();
  for (int c = 0; c < 80 && c < screen_columns(); c++) screen_put(row, c, ' ', HINT_ATTR);
  if (h.shown >= 0) bind(SETS[h.shown], false);
  const HintSet& set = SETS[index];
  bind(set, true);
  int column = 0;
  for (int i = 0; i < set.item_count; i++) {
    const char* text = message_text(set.items[i].message);
    if (set.format != nullptr) text = set.format(i, text);
    h.item_start[i] = column;
    uint8_t attr = HINT_ATTR;
    for (const char* p = text; *p != '\0' && column < screen_columns(); p++) {
      if (*p == '~') {
        attr = attr == HINT_ATTR ? HINT_KEY_ATTR : HINT_ATTR;
        continue;
      }
      screen_put(row, column++, static_cast<uint8_t>(*p), attr);
    }
    h.item_end[i] = column;
  }
  h.shown = index;
  end_update();
  return index;
}

int hint_current() { return h.shown; }

int hint_set_handler(uint32_t category, uint16_t key, HotKeyHandler handler) {
  int index = set_for(category);
  if (index < 0) return 1;
  for (int i = 0; i < SETS[index].item_count; i++)
    if (SETS[index].items[i].key == key) {
      SETS[index].items[i].handler = handler;
      return 0;
    }
  return 1;
}

int hint_set_format(uint32_t category, HintFormat format) {
  int index = set_for(category);
  if (index < 0) return 1;
  SETS[index].format = format;
  return 0;
}

uint16_t hint_key_at(int column) {
  if (h.shown < 0) return 0;
  const HintSet& set = SETS[h.shown];
  for (int i = 0; i < set.item_count; i++)
    if (column >= h.item_start[i] && column < h.item_end[i]) return set.items[i].key;
  return 0;
}

int hint_set_count() { return SET_COUNT; }
const HintSet* hint_set_at(int index) { return index >= 0 && index < SET_COUNT ? &SETS[index] : nullptr; }

}  // namespace tavrel
