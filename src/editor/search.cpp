// Search and search again: the " Поиск " dialog with its pattern field, the search from
// the column after the cursor to the end of the text, and the placing of a match in the
// middle of the window's width. The last pattern and the last match are shared by all
// editors.
#include <cstdio>
#include <cstring>

#include "editor/editor.h"
#include "tui/colours.h"
#include "tui/form.h"
#include "tui/hints.h"
#include "tui/messages.h"
#include "tui/msgbox.h"
#include "tui/screen.h"

namespace tavrel {

namespace {

// The dialog's window and the places of its items (interior coordinates).
constexpr int DIALOG_TOP = 8, DIALOG_LEFT = 16, DIALOG_BOTTOM = 13, DIALOG_RIGHT = 56;
constexpr int FIELD_ROW = 0, FIELD_COLUMN = 2;
constexpr int BUTTON_ROW = 2, ENTER_COLUMN = 8, CANCEL_COLUMN = 23;
constexpr uint8_t DIALOG_SHADOW_ATTR = 0x08;
constexpr int SEARCH_CONFIRMED = 100;  // the form's result for Enter in the field

struct SearchState {
  char pattern[SEARCH_PATTERN_MAX + 1] = "";
  int match_line = NO_LINE;
  int match_column = 0;
};

SearchState g_search;

void trim(char* s) {
  int n = static_cast<int>(std::strlen(s));
  while (n > 0 && s[n - 1] == ' ') s[--n] = '\0';
}

void on_field_enter(Form* form, int) { form_end(form, SEARCH_CONFIRMED); }

}  // namespace

const char* search_last_pattern() { return g_search.pattern; }

void search_last_match(int* line, int* column) {
  *line = g_search.match_line;
  *column = g_search.match_column;
}

void search_reset() { g_search = SearchState{}; }

bool editor_search(Editor* e, const char* pattern) {
  if (pattern != g_search.pattern) std::snprintf(g_search.pattern, sizeof g_search.pattern, "%s", pattern);
  trim(g_search.pattern);
  if (g_search.pattern[0] == '\0') return false;
  int line = 0, column = 0;
  if (!text_find(&e->text, g_search.pattern, e->line, e->column + 1, &line, &column)) {
    g_search.match_line = NO_LINE;
    msgbox_info(message_text(MSG_PATTERN_NOT_FOUND));
    return false;
  }
  g_search.match_line = line;
  g_search.match_column = column;
  // A line out of view comes to the middle of the height; the match always stands in the
  // middle of the width (or as near as the text's start allows).
  int rows = editor_rows(e);
  int first = e->line - e->cursor_row;
  if (line < first || line >= first + rows) {
    first = line - rows / 2;
    if (first < 0) first = 0;
  }
  e->line = line;
  e->cursor_row = line - first;
  int left = column - editor_columns(e) / 2;
  if (left < 0) left = 0;
  e->column = column;
  e->cursor_column = column - left;
  editor_block_follow(e);
  editor_draw(e);
  return true;
}

void editor_search_dialog(Editor* e) {
  char value[SEARCH_PATTERN_MAX + 1];
  char picture[SEARCH_PATTERN_MAX + 1];
  std::snprintf(value, sizeof value, "%s", g_search.pattern);
  std::memset(picture, '*', SEARCH_PATTERN_MAX);
  picture[SEARCH_PATTERN_MAX] = '\0';
  uint32_t handle = window_open(DIALOG_TOP, DIALOG_LEFT, DIALOG_BOTTOM, DIALOG_RIGHT, FRAME_DOUBLE,
                                colour(ROLE_DIALOG_FRAME), colour(ROLE_DIALOG));
  if (handle == 0) return;
  window_mark_dialog();
  window_set_title(message_text(MSG_SEARCH_TITLE), 2, colour(ROLE_DIALOG_FRAME));
  window_add_shadow(DIALOG_SHADOW_ATTR);
  window_set_help(HELP_SEARCH);
  Form form;
  form_begin(&form);
  int field = form_add_field(&form, FIELD_ROW, FIELD_COLUMN, value, picture, SEARCH_PATTERN_MAX, on_field_enter);
  int enter = form_add_button(&form, BUTTON_ROW, ENTER_COLUMN, message_text(MSG_ENTER), 0, nullptr);
  form_add_button(&form, BUTTON_ROW, CANCEL_COLUMN, message_text(MSG_CANCEL), 0, nullptr);
  // The last pattern stands in the field, the cursor after it.
  int length = static_cast<int>(std::strlen(value));
  form.items[field].cursor = length < SEARCH_PATTERN_MAX ? length : SEARCH_PATTERN_MAX - 1;
  form.focus = field;
  int result = form_run(&form);
  window_close();
  if (result != SEARCH_CONFIRMED && result != enter + 1) return;
  trim(value);
  if (value[0] != '\0') editor_search(e, value);
}

void editor_search_again(Editor* e) {
  if (g_search.pattern[0] == '\0') editor_search_dialog(e);
  else editor_search(e, g_search.pattern);
}

}  // namespace tavrel
