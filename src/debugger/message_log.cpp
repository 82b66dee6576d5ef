// The Messages view's lines: a bounded log, and the view's editor filled from it.
#include "debugger/message_log.h"

namespace tavrel {

namespace {

std::vector<std::string> g_lines;
uint32_t g_version = 0;

void add_piece(std::string_view piece) {
  if (g_lines.size() == MESSAGE_LINES) g_lines.erase(g_lines.begin());
  g_lines.emplace_back(piece);
}

}  // namespace

void message_log_add(std::string_view line) {
  do {
    const size_t n = line.size() < static_cast<size_t>(LINE_CELLS) ? line.size() : static_cast<size_t>(LINE_CELLS);
    add_piece(line.substr(0, n));
    line.remove_prefix(n);
  } while (!line.empty());
  ++g_version;
}

const std::vector<std::string>& message_log() { return g_lines; }
uint32_t message_log_version() { return g_version; }

void message_log_clear() {
  std::vector<std::string>().swap(g_lines);
  ++g_version;
}

void message_log_show(Editor* view) {
  EditorText text{};
  const int capacity = static_cast<int>(MESSAGE_LINES) + 1;
  if (text_init(&text, capacity) != TEXT_OK) return;
  int at = 0;
  for (const std::string& line : g_lines) {
    if (text_set_line(&text, at, line.data(), static_cast<int>(line.size())) != TEXT_OK) break;
    ++at;
  }
  editor_set_text(view, &text);
  text_free(&text);
  editor_goto(view, at, 0);
}

}  // namespace tavrel
