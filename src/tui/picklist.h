// Pick lists: a framed window with a scrolling list of rows, a selection bar, and
// incremental search by the first letters of a row. The rows come from a routine, so a
// list can show anything that can be numbered.
#pragma once

#include <cstdint>

namespace tavrel {

// Fills out (CP866, at most capacity - 1 characters) with the text of row index; 1, or 0
// past the last row.
using RowText = int (*)(int index, char* out, int capacity, void* context);

constexpr int PICK_SEARCH_MAX = 40;

struct PickList {
  RowText row_text;
  void* context;
  int count;         // rows; counted from row_text when negative
  int selected;      // the row under the selection bar
  int top;           // the first row shown
  char search[PICK_SEARCH_MAX + 1];
  int search_length;
};

void picklist_init(PickList* list, RowText row_text, void* context, int count = -1);
// Runs the list in a framed window (absolute rectangle, frame included) with a centred
// title. Returns the chosen row (Enter, a double click, or a click on the selected row),
// or -1 for Esc and for an empty list.
int picklist_run(PickList* list, int top, int left, int bottom, int right, const char* title,
                 uint32_t help_category);

// The key handling of a list whose interior is height rows: 1 when the key chose the
// selected row, -1 when it left, 0 otherwise (the list may have moved). Used by the
// list areas of forms too.
int picklist_key(PickList* list, uint16_t key, int height);
// Draws height rows of the list at an interior position of the active window.
void picklist_draw(const PickList* list, int row, int column, int height, int width, bool focused);

}  // namespace tavrel
