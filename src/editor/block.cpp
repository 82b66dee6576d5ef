// Block marking and the clipboard: a block is a run of whole lines, marked with Alt+M and
// extended by the vertical moves while marking is on; the clipboard ("карман") holds a
// copy of lines shared by all editors. Pasting inserts the lines above the cursor's line
// and marks them; shifting moves the block's lines (or the cursor's line when nothing is
// marked) one column left or right.
#include <cstdlib>

#include "editor/editor.h"

namespace tavrel {

namespace {

struct Clipboard {
  EditorText text{nullptr, 0};
  int count = 0;
};

Clipboard g_clipboard;

bool has_block(const Editor* e) { return e->block_start != NO_LINE; }

void forget_block(Editor* e) {
  e->block_start = e->block_end = e->block_anchor = NO_LINE;
  e->marking = false;
}

}  // namespace

int clipboard_line_count() { return g_clipboard.count; }
const EditorText* clipboard_text() { return &g_clipboard.text; }

void clipboard_clear() {
  text_free(&g_clipboard.text);
  g_clipboard.count = 0;
}

void editor_block_follow(Editor* e) {
  if (!e->marking || e->block_anchor == NO_LINE) return;
  e->block_start = e->line < e->block_anchor ? e->line : e->block_anchor;
  e->block_end = e->line < e->block_anchor ? e->block_anchor : e->line;
}

void editor_block_mark(Editor* e) {
  if (e->marking) {
    e->marking = false;
    return;
  }
  e->marking = true;
  e->block_anchor = e->block_start = e->block_end = e->line;
}

void editor_block_unmark(Editor* e) { forget_block(e); }

void editor_block_copy(Editor* e) {
  if (!has_block(e)) return;
  int count = e->block_end - e->block_start + 1;
  EditorText copy{nullptr, 0};
  if (text_init(&copy, count) != TEXT_OK || text_insert_copies(&copy, 0, &e->text, e->block_start, count) != TEXT_OK) {
    text_free(&copy);
    editor_no_memory();
    return;
  }
  text_free(&g_clipboard.text);
  g_clipboard.text = copy;
  g_clipboard.count = count;
  e->marking = false;
}

void editor_block_paste(Editor* e) {
  if (g_clipboard.count == 0) return;
  if (text_insert_copies(&e->text, e->line, &g_clipboard.text, 0, g_clipboard.count) != TEXT_OK) {
    editor_no_memory();
    return;
  }
  e->block_start = e->block_anchor = e->line;
  e->block_end = e->line + g_clipboard.count - 1;
  e->marking = false;
  editor_changed(e);
}

void editor_block_delete(Editor* e) {
  if (!has_block(e)) return;
  int first = e->block_start, count = e->block_end - e->block_start + 1;
  text_remove_lines(&e->text, first, count);
  int line = e->line > e->block_end ? e->line - count : e->line >= first ? first : e->line;
  forget_block(e);
  editor_place_line(e, line);
  editor_changed(e);
}

void editor_block_shift(Editor* e, bool right) {
  int first = has_block(e) ? e->block_start : e->line;
  int last = has_block(e) ? e->block_end : e->line;
  if (right) {
    if (text_shift_right(&e->text, first, last) != TEXT_OK) {
      editor_last_column_notice();
      return;
    }
    editor_changed(e);
  } else if (text_shift_left(&e->text, first, last) > 0) {
    editor_changed(e);
  }
}

void editor_block_lines_inserted(Editor* e, int at, int count) {
  if (!has_block(e)) return;
  if (at <= e->block_start) e->block_start += count;
  if (at <= e->block_end) e->block_end += count;
  if (e->block_anchor != NO_LINE && at <= e->block_anchor) e->block_anchor += count;
}

void editor_block_lines_removed(Editor* e, int first, int count) {
  if (!has_block(e)) return;
  int end = first + count;  // one past the last removed line
  if (e->block_start >= first && e->block_end < end) {
    forget_block(e);
    return;
  }
  // A line below the removed ones moves up; one inside them lands on the first line after.
  auto moved = [&](int x) { return x >= end ? x - count : x >= first ? first : x; };
  int last = e->block_end >= end ? e->block_end - count : e->block_end >= first ? first - 1 : e->block_end;
  e->block_start = moved(e->block_start);
  e->block_end = last;
  if (e->block_anchor != NO_LINE) e->block_anchor = moved(e->block_anchor);
}

}  // namespace tavrel
