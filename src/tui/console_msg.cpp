// Plain console messages: a red box centred on the screen with the text and a grey
// prompt line, drawn through the window library; when no window can be opened, a fixed
// line on the top row of the console instead.
#include "tui/console_msg.h"

#include <cstring>

#include "platform/console.h"
#include "tui/keyboard.h"
#include "tui/msgbox.h"
#include "tui/screen.h"

namespace tavrel {

namespace {

const char PROMPT_KEY[] = " Hit a key ";
const char PROMPT_YES_NO[] = " Yes - Enter, No - Esc ";
const char NO_MEMORY[] = "   No Enough Memory. Hit a key.     ";
const char STRING_TOO_LONG[] = " String to long ";

constexpr uint8_t TEXT_ATTR = 0x4F;
constexpr uint8_t PROMPT_ATTR = 0x70;

// Splits the text (cut to 254 bytes) at line feeds into out; returns the line count.
int split(const char* text, char lines[][CONSOLE_MSG_TEXT_MAX + 1], int capacity) {
  int count = 1, length = 0;
  lines[0][0] = '\0';
  for (int i = 0; text[i] != '\0' && i < CONSOLE_MSG_TEXT_MAX; i++) {
    if (text[i] == '\n') {
      if (count == capacity) break;
      lines[count][0] = '\0';
      count++;
      length = 0;
      continue;
    }
    lines[count - 1][length++] = text[i];
    lines[count - 1][length] = '\0';
  }
  return count;
}

constexpr int MAX_LINES = 24;

}  // namespace

ConsoleMsgLayout console_message_layout(const char* text, int kind) {
  static char lines[MAX_LINES][CONSOLE_MSG_TEXT_MAX + 1];
  int count = split(text, lines, MAX_LINES - 1);
  ConsoleMsgLayout l{};
  // The prompt has a line of its own and counts towards the width like the text.
  l.width = static_cast<int>(std::strlen(kind == 1 ? PROMPT_YES_NO : PROMPT_KEY));
  for (int i = 0; i < count; i++) {
    int n = static_cast<int>(std::strlen(lines[i]));
    if (n > l.width) l.width = n;
  }
  l.lines = count + 1;
  l.left = (screen_columns() - l.width) / 2 - 1;
  l.right = l.left + l.width + 1;
  l.top = (screen_rows() - l.lines) / 2 - 1;
  l.bottom = l.top + l.lines + 1;
  return l;
}

int console_message(const char* text, int kind) {
  static char lines[MAX_LINES][CONSOLE_MSG_TEXT_MAX + 1];
  int count = split(text, lines, MAX_LINES - 1);
  ConsoleMsgLayout l = console_message_layout(text, kind);
  uint32_t handle = window_open(l.top, l.left, l.bottom, l.right, FRAME_SINGLE, TEXT_ATTR, TEXT_ATTR);
  if (handle == 0) {
    ConsoleCell cells[sizeof NO_MEMORY];
    int n = static_cast<int>(std::strlen(NO_MEMORY));
    for (int i = 0; i < n; i++) cells[i] = ConsoleCell{static_cast<uint8_t>(NO_MEMORY[i]), TEXT_ATTR};
    console_write_cells(cells, n, ConsoleRect{0, 0, static_cast<int16_t>(n - 1), 0});
    wait_key();
    return 0;
  }
  begin_update();
  for (int i = 0; i < count; i++) window_put_text(i, 0, lines[i], TEXT_ATTR);
  window_fill(count, 0, count, window_width() - 1, ' ', PROMPT_ATTR);
  window_put_centered(count, PROMPT_ATTR, kind == 1 ? PROMPT_YES_NO : PROMPT_KEY);
  end_update();
  int result = 0;
  if (kind == 1) {
    for (;;) {
      uint16_t key = get_key();
      uint8_t ch = static_cast<uint8_t>(key & 0xFF);
      if (key == KEY_ENTER || ch == 'Y' || ch == 'y') {
        result = 1;
        break;
      }
      if (key == KEY_ESC || ch == 'N' || ch == 'n') break;
    }
  } else {
    get_key();
  }
  window_close();
  return result;
}

int path_complete(char* path, int capacity) {
  int length = static_cast<int>(std::strlen(path));
  if (length > 0 && path[length - 1] == '\\') return 0;
  if (capacity > length + 1) {
    path[length] = '\\';
    path[length + 1] = '\0';
    return 0;
  }
  console_message(STRING_TOO_LONG, 0);
  return 1;
}

}  // namespace tavrel
