// Texts as editor lines: the templates of a new procedure and a new trigger, and a stored
// text split into lines (LF, CR or CR LF; a line's first 1024 characters kept; a line too
// long for an ordinary editor line held whole, which the caller reports).
#include <string>

#include "catalog/catalog.h"

namespace tavrel {

namespace {

int add_line(EditorText* text, int* at, const std::string& line) {
  const int status = text_set_line(text, *at, line.data(), static_cast<int>(line.size()));
  if (status == TEXT_OK) ++*at;
  return status;
}

int add_lines(EditorText* text, std::initializer_list<std::string> lines) {
  text_clear(text);
  int at = 0;
  for (const std::string& line : lines)
    if (const int status = add_line(text, &at, line); status != TEXT_OK) return status;
  return TEXT_OK;
}

const char* operation_word(int operation) {
  switch (operation) {
    case 1: return "update ";
    case 2: return "insert ";
    case 4: return "delete ";
    default: return "";
  }
}

}  // namespace

int procedure_template(const std::string& name, bool debug, EditorText* text) {
  std::string head = "create procedure \"" + name + "\"()";
  if (debug) head += " for debug";
  return add_lines(text, {head, "code", "end;"});
}

int trigger_template(const TriggerTemplate& t, EditorText* text) {
  std::string when = t.after ? "after " : "before ";
  when += operation_word(t.operation);
  when += "on " + t.table + " for each ";
  when += t.each_row ? "row" : "statement";
  return add_lines(text, {"create trigger \"" + t.name + "\"", when,
                          t.debug ? "execute for debug" : "execute", "code", "end;"});
}

int stored_text_lines(const std::string& stored, EditorText* text, bool* long_lines) {
  text_clear(text);
  *long_lines = false;
  size_t end = stored.find('\0');
  if (end == std::string::npos) end = stored.size();
  int line = 0;
  size_t at = 0;
  while (at < end) {
    size_t stop = at;
    while (stop < end && stored[stop] != '\n' && stored[stop] != '\r') ++stop;
    size_t length = stop - at;
    if (length > static_cast<size_t>(STORED_LINE_MAX)) length = STORED_LINE_MAX;
    if (length > static_cast<size_t>(LINE_CELLS)) *long_lines = true;
    if (const int status = text_set_line(text, line, stored.data() + at, static_cast<int>(length)); status != TEXT_OK)
      return status;
    ++line;
    // CR LF is one line end.
    if (stop < end && stored[stop] == '\r' && stop + 1 < end && stored[stop + 1] == '\n') ++stop;
    at = stop + 1;
  }
  return TEXT_OK;
}

}  // namespace tavrel
