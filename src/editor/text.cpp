// The line table and its operations. Lines are made by one routine (make_line) so that
// every buffer has the same shape; each operation allocates what it needs before it
// changes anything, so running out of memory never leaves a half-done edit.
#include "editor/text.h"

#include <cstdlib>
#include <cstring>

namespace tavrel {

namespace {

// A fresh line for n characters of s: an ordinary blank-padded buffer, or one of its own
// length for a longer text. Null when out of memory.
char* make_line(const char* s, int n) {
  size_t size = n > LINE_CELLS ? static_cast<size_t>(n) + 1 : static_cast<size_t>(LINE_BUFFER);
  auto* p = static_cast<char*>(std::malloc(size));
  if (p == nullptr) return nullptr;
  std::memset(p, ' ', size);
  if (n > 0) std::memcpy(p, s, static_cast<size_t>(n));
  if (n > LINE_CELLS) {
    p[n] = '\0';
  } else {
    p[LINE_CELLS] = '\0';
    p[LINE_BUFFER - 1] = '\0';
  }
  return p;
}

int trimmed(const char* s, int n) {
  while (n > 0 && s[n - 1] == ' ') n--;
  return n;
}

int cells_of(const char* p) { return static_cast<int>(std::strlen(p)); }

// A line left blank by an edit becomes an empty line.
void drop_if_blank(EditorText* text, int line) {
  char* p = text->lines[line];
  if (p != nullptr && trimmed(p, cells_of(p)) == 0) {
    std::free(p);
    text->lines[line] = nullptr;
  }
}

bool valid(const EditorText* text, int line) { return line >= 0 && line < text->capacity; }

// Opens an empty slot at index at (the lines from it on move down), growing the table when
// the last slot holds a line, so that no line is ever pushed out.
int open_slot(EditorText* text, int at) {
  int last = text_last_used(text);
  if (text_reserve(text, last + 1 > at ? last + 1 : at) != TEXT_OK) return TEXT_NO_MEMORY;
  if (at <= last)
    std::memmove(text->lines + at + 1, text->lines + at, static_cast<size_t>(last - at + 1) * sizeof(char*));
  text->lines[at] = nullptr;
  return TEXT_OK;
}

}  // namespace

int text_init(EditorText* text, int capacity) {
  if (capacity < 1) capacity = 1;
  text->lines = static_cast<char**>(std::calloc(static_cast<size_t>(capacity), sizeof(char*)));
  text->capacity = text->lines == nullptr ? 0 : capacity;
  return text->lines == nullptr ? TEXT_NO_MEMORY : TEXT_OK;
}

void text_free(EditorText* text) {
  if (text->lines != nullptr) text_clear(text);
  std::free(text->lines);
  text->lines = nullptr;
  text->capacity = 0;
}

void text_clear(EditorText* text) {
  for (int i = 0; i < text->capacity; i++) {
    std::free(text->lines[i]);
    text->lines[i] = nullptr;
  }
}

void text_swap(EditorText* a, EditorText* b) {
  EditorText t = *a;
  *a = *b;
  *b = t;
}

int text_reserve(EditorText* text, int slot) {
  if (slot < text->capacity) return TEXT_OK;
  int capacity = text->capacity < 1 ? TEXT_INITIAL_SLOTS : text->capacity;
  while (capacity <= slot) capacity *= 2;
  auto* lines = static_cast<char**>(std::calloc(static_cast<size_t>(capacity), sizeof(char*)));
  if (lines == nullptr) return TEXT_NO_MEMORY;
  if (text->capacity > 0) std::memcpy(lines, text->lines, static_cast<size_t>(text->capacity) * sizeof(char*));
  std::free(text->lines);
  text->lines = lines;
  text->capacity = capacity;
  return TEXT_OK;
}

const char* text_line(const EditorText* text, int line) {
  return valid(text, line) ? text->lines[line] : nullptr;
}

int text_length(const EditorText* text, int line) {
  const char* p = text_line(text, line);
  return p == nullptr ? 0 : trimmed(p, cells_of(p));
}

char text_cell(const EditorText* text, int line, int column) {
  const char* p = text_line(text, line);
  if (p == nullptr || column < 0 || column >= cells_of(p)) return ' ';
  return p[column];
}

int text_last_used(const EditorText* text) {
  for (int i = text->capacity - 1; i >= 0; i--)
    if (text->lines[i] != nullptr) return i;
  return -1;
}

int text_set_line(EditorText* text, int line, const char* s, int n) {
  if (line < 0) return TEXT_REFUSED;
  n = trimmed(s, n);
  char* p = nullptr;
  if (n > 0 && (p = make_line(s, n)) == nullptr) return TEXT_NO_MEMORY;
  if (text_reserve(text, line) != TEXT_OK) {
    std::free(p);
    return TEXT_NO_MEMORY;
  }
  std::free(text->lines[line]);
  text->lines[line] = p;
  return TEXT_OK;
}

int text_type_char(EditorText* text, int line, int column, char ch, bool overwrite) {
  if (!valid(text, line) || column < 0 || column >= COLUMN_MAX) return TEXT_REFUSED;
  char* p = text->lines[line];
  if (p == nullptr) {
    if (column >= FULL_CELL_LAST) return TEXT_REFUSED;
    if ((p = make_line(nullptr, 0)) == nullptr) return TEXT_NO_MEMORY;
    text->lines[line] = p;
  } else {
    if (overwrite && column >= FULL_CELL_LAST) return TEXT_REFUSED;
    // Full when either of the last two cells is taken, in overwrite mode too.
    if (p[FULL_CELL_FIRST] != ' ' || p[FULL_CELL_LAST] != ' ') return TEXT_REFUSED;
    if (!overwrite && column < FULL_CELL_LAST)
      std::memmove(p + column + 1, p + column, static_cast<size_t>(FULL_CELL_LAST - column));
  }
  p[column] = ch;
  drop_if_blank(text, line);
  return TEXT_OK;
}

int text_delete_char(EditorText* text, int line, int column) {
  char* p = const_cast<char*>(text_line(text, line));
  if (p == nullptr || column < 0) return TEXT_OK;
  int n = cells_of(p);
  if (column >= n) return TEXT_OK;
  std::memmove(p + column, p + column + 1, static_cast<size_t>(n - column - 1));
  p[n - 1] = ' ';
  drop_if_blank(text, line);
  return TEXT_OK;
}

int text_split_line(EditorText* text, int line, int column) {
  if (!valid(text, line)) return TEXT_REFUSED;
  if (column < 0) column = 0;
  int length = text_length(text, line);
  char* tail = nullptr;
  if (column < length && (tail = make_line(text->lines[line] + column, length - column)) == nullptr)
    return TEXT_NO_MEMORY;
  if (open_slot(text, line + 1) != TEXT_OK) {
    std::free(tail);
    return TEXT_NO_MEMORY;
  }
  text->lines[line + 1] = tail;
  if (tail != nullptr) {
    std::memset(text->lines[line] + column, ' ', static_cast<size_t>(length - column));
    drop_if_blank(text, line);
  }
  return TEXT_OK;
}

int text_join_next(EditorText* text, int line, int at) {
  if (!valid(text, line) || !valid(text, line + 1)) return TEXT_REFUSED;
  int length = text_length(text, line);
  if (at < length) at = length;
  int next_length = text_length(text, line + 1);
  if (next_length == 0) {
    text_remove_lines(text, line + 1, 1);
    return TEXT_OK;
  }
  int room = JOIN_WIDTH - at;
  if (room <= 0) return TEXT_REFUSED;
  int moved = next_length <= room ? next_length : room;
  char* p = text->lines[line];
  if (p == nullptr) {
    if ((p = make_line(nullptr, 0)) == nullptr) return TEXT_NO_MEMORY;
    text->lines[line] = p;
  }
  char* next = text->lines[line + 1];
  std::memcpy(p + at, next, static_cast<size_t>(moved));
  if (moved == next_length) {
    text_remove_lines(text, line + 1, 1);
  } else {
    int n = cells_of(next);
    std::memmove(next, next + moved, static_cast<size_t>(n - moved));
    std::memset(next + n - moved, ' ', static_cast<size_t>(moved));
  }
  return TEXT_OK;
}

void text_remove_lines(EditorText* text, int first, int count) {
  if (first < 0 || count <= 0 || first >= text->capacity) return;
  if (first + count > text->capacity) count = text->capacity - first;
  for (int i = first; i < first + count; i++) std::free(text->lines[i]);
  int rest = text->capacity - first - count;
  std::memmove(text->lines + first, text->lines + first + count, static_cast<size_t>(rest) * sizeof(char*));
  for (int i = text->capacity - count; i < text->capacity; i++) text->lines[i] = nullptr;
}

int text_insert_copies(EditorText* text, int at, const EditorText* source, int source_first, int count) {
  if (count <= 0) return TEXT_OK;
  if (at < 0) at = 0;
  auto** copies = static_cast<char**>(std::calloc(static_cast<size_t>(count), sizeof(char*)));
  if (copies == nullptr) return TEXT_NO_MEMORY;
  bool failed = false;
  for (int i = 0; i < count && !failed; i++) {
    const char* s = text_line(source, source_first + i);
    if (s != nullptr && (copies[i] = make_line(s, trimmed(s, cells_of(s)))) == nullptr) failed = true;
  }
  int last = text_last_used(text);
  int end = (last >= at ? last : at - 1) + count;
  if (!failed && text_reserve(text, end) != TEXT_OK) failed = true;
  if (failed) {
    for (int i = 0; i < count; i++) std::free(copies[i]);
    std::free(copies);
    return TEXT_NO_MEMORY;
  }
  if (at <= last)
    std::memmove(text->lines + at + count, text->lines + at, static_cast<size_t>(last - at + 1) * sizeof(char*));
  std::memcpy(text->lines + at, copies, static_cast<size_t>(count) * sizeof(char*));
  std::free(copies);
  return TEXT_OK;
}

int text_shift_right(EditorText* text, int first, int last) {
  if (first < 0) first = 0;
  if (last >= text->capacity) last = text->capacity - 1;
  for (int i = first; i <= last; i++) {
    const char* p = text->lines[i];
    if (p != nullptr && (cells_of(p) > LINE_CELLS || p[FULL_CELL_FIRST] != ' ' || p[FULL_CELL_LAST] != ' '))
      return TEXT_REFUSED;
  }
  for (int i = first; i <= last; i++) {
    char* p = text->lines[i];
    if (p == nullptr) continue;
    std::memmove(p + 1, p, static_cast<size_t>(FULL_CELL_LAST));
    p[0] = ' ';
  }
  return TEXT_OK;
}

int text_shift_left(EditorText* text, int first, int last) {
  if (first < 0) first = 0;
  if (last >= text->capacity) last = text->capacity - 1;
  int moved = 0;
  for (int i = first; i <= last; i++) {
    const char* p = text->lines[i];
    if (p != nullptr && p[0] == ' ') {
      text_delete_char(text, i, 0);
      moved++;
    }
  }
  return moved;
}

bool text_find(const EditorText* text, const char* pattern, int line, int column, int* found_line,
               int* found_column) {
  int m = static_cast<int>(std::strlen(pattern));
  if (m == 0) return false;
  if (line < 0) line = 0;
  for (int i = line; i < text->capacity; i++, column = 0) {
    const char* p = text->lines[i];
    if (p == nullptr) continue;
    int n = trimmed(p, cells_of(p));
    for (int c = column < 0 ? 0 : column; c + m <= n; c++)
      if (p[c] == pattern[0] && std::memcmp(p + c, pattern, static_cast<size_t>(m)) == 0) {
        *found_line = i;
        *found_column = c;
        return true;
      }
  }
  return false;
}

}  // namespace tavrel
