// The editor's text: a table of line pointers, 500 slots at creation and doubled whenever
// more are needed, where an empty line is a null pointer and any other line is a buffer of
// 221 bytes holding up to 219 characters padded with blanks (a terminator at index 219).
// A line read whole from the database may be longer; it is then held at its own length.
// The text of a line is its content with trailing blanks removed. Every operation here
// either completes or, when memory runs out, returns TEXT_NO_MEMORY and leaves the text
// exactly as it was.
#pragma once

#include <cstddef>

namespace tavrel {

constexpr int TEXT_INITIAL_SLOTS = 500;
constexpr int LINE_CELLS = 219;        // cells 0..218 of an ordinary line
constexpr int LINE_BUFFER = 221;       // bytes of an ordinary line's buffer
constexpr int COLUMN_MAX = 219;        // the cursor may stand one past the last cell
constexpr int FULL_CELL_FIRST = 217;   // a line whose cell 217 or 218 holds a character is full
constexpr int FULL_CELL_LAST = 218;
constexpr int JOIN_WIDTH = 218;        // a join makes lines of at most this many characters

// Statuses of the text operations.
constexpr int TEXT_OK = 0;
constexpr int TEXT_REFUSED = 1;        // the line is full, or the column is past the last one
constexpr int TEXT_NO_MEMORY = 2;

struct EditorText {
  char** lines;   // capacity slots; null = empty line
  int capacity;
};

int text_init(EditorText* text, int capacity = TEXT_INITIAL_SLOTS);
void text_free(EditorText* text);
// Frees every line; the capacity stays.
void text_clear(EditorText* text);
void text_swap(EditorText* a, EditorText* b);
// Makes room for index slot, doubling the capacity as often as needed.
int text_reserve(EditorText* text, int slot);

// The line's buffer (null for an empty line or an index outside the table).
const char* text_line(const EditorText* text, int line);
// The length of the line's text (trailing blanks not counted).
int text_length(const EditorText* text, int line);
// The character in a cell; a blank past the buffer or for an empty line.
char text_cell(const EditorText* text, int line, int column);
// Index of the last line that holds text, -1 when the text is empty.
int text_last_used(const EditorText* text);
// Replaces a line with the first n characters of s (a blank text makes it empty). A text
// longer than LINE_CELLS is kept whole at its own length. The table grows when needed.
int text_set_line(EditorText* text, int line, const char* s, int n);

// Typing one character at a column (see the editor's typing rules).
int text_type_char(EditorText* text, int line, int column, char ch, bool overwrite);
// Deletes the character in a cell; the cells right of it move left.
int text_delete_char(EditorText* text, int line, int column);
// Splits a line at a column: the text from the column on becomes a new line under it.
int text_split_line(EditorText* text, int line, int column);
// Joins line + 1 onto line, its text placed at column at (not before the line's text):
// all of it when the result stays within JOIN_WIDTH characters (line + 1 is then removed),
// else as much as fits, the rest staying in line + 1 moved to its start.
int text_join_next(EditorText* text, int line, int at);
// Removes count lines from first on; the lines below move up and empty slots fill the end.
void text_remove_lines(EditorText* text, int first, int count);
// Inserts copies of count lines of source (from source_first on) before line at.
int text_insert_copies(EditorText* text, int at, const EditorText* source, int source_first, int count);
// Moves the lines first..last one column right (TEXT_REFUSED, nothing changed, when one of
// them has no room), or left: lines that do not begin with a blank stay as they are, and
// the number of lines moved is returned.
int text_shift_right(EditorText* text, int first, int last);
int text_shift_left(EditorText* text, int first, int last);

// The first exact occurrence of a pattern at or after (line, column), reading each line's
// text; true with its position when found.
bool text_find(const EditorText* text, const char* pattern, int line, int column, int* found_line,
               int* found_column);

}  // namespace tavrel
