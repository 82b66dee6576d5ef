// Message boxes, buttons, notices and timed key waits. The box being built is one
// process-wide record: begin clears it, body and buttons fill it, run lays it out, shows
// it, reads keys until a choice and closes it.
#include "tui/msgbox.h"

#include <chrono>
#include <cstring>

#include "platform/console.h"
#include "tui/keyboard.h"
#include "tui/menu.h"
#include "tui/messages.h"
#include "tui/screen.h"

namespace tavrel {

const MsgBoxStyle MSGBOX_DEFAULT_STYLE = {1, 1, 0x70, 0x7F, 0x20, 0x2B, 0x2E, 0x2E};

namespace {

constexpr int LINE_MAX = 254;

struct BodyLine {
  char text[LINE_MAX + 1];
  bool centred;
};

// The box being built.
struct MsgBoxState {
  char title[TITLE_MAX + 1];
  MsgBoxStyle style;
  uint32_t help_category;
  BodyLine lines[MSGBOX_MAX_LINES];
  int line_count;
  int longest_line;
  char buttons[MSGBOX_MAX_BUTTONS][TITLE_MAX + 1];
  int button_count;
  int longest_button;
  MsgBoxLayout layout;
};

MsgBoxState box;

void copy_cut(char* dst, const char* src, size_t capacity) {
  size_t n = std::strlen(src);
  if (n >= capacity) n = capacity - 1;
  std::memcpy(dst, src, n);
  dst[n] = '\0';
}

// Length of a text as shown (the "~" marks are not).
int shown_length(const char* text) {
  int n = 0;
  for (const char* p = text; *p != '\0'; p++)
    if (*p != '~') n++;
  return n;
}

void compute_layout() {
  MsgBoxLayout& l = box.layout;
  l = MsgBoxLayout{};
  bool framed = box.style.frame_type != FRAME_NONE;
  l.lines = box.line_count;
  l.longest_line = box.longest_line;
  l.button_width = box.longest_button + 2;
  int content = box.longest_line;
  int row_of_buttons = (l.button_width + 3) * box.button_count;
  if (row_of_buttons > content) content = row_of_buttons;
  l.width = content + 3 + (framed ? 2 : 1);
  if (l.width > MSGBOX_MAX_WIDTH) l.width = MSGBOX_MAX_WIDTH;
  l.height = box.line_count + 3 + (framed ? 2 : 1);
  l.top = (23 - l.height) / 2;
  l.left = (77 - l.width) / 2;
  l.button_row = l.height - 3 + (framed ? 0 : 1);
  int n = box.button_count;
  int gap = n > 0 ? (l.width - l.button_width * n) / (n + 1) : 0;
  for (int i = 0; i < n; i++) {
    l.button_columns[i] = gap + (l.button_width + gap) * i;
    l.hot_letters[i] = 0;
    const char* tilde = std::strchr(box.buttons[i], '~');
    if (tilde != nullptr && tilde[1] != '\0') l.hot_letters[i] = hot_letter_lower(static_cast<uint8_t>(tilde[1]));
  }
}

void draw_box_button(int i, bool focused) {
  const MsgBoxStyle& s = box.style;
  draw_button(box.buttons[i], box.layout.button_row, box.layout.button_columns[i],
              box.layout.button_width, focused ? s.focused_attr : s.button_attr,
              focused ? s.focused_hot_attr : s.hot_attr);
}

int button_under_mouse() {
  Window* w = window_active();
  MouseState m = mouse_state();
  if (w == nullptr || (m.buttons & MOUSE_LEFT) == 0) return -1;
  int row = m.row - w->top - w->border, column = m.column - w->left - w->border;
  if (row != box.layout.button_row) return -1;
  for (int i = 0; i < box.button_count; i++)
    if (column >= box.layout.button_columns[i] && column < box.layout.button_columns[i] + box.layout.button_width)
      return i;
  return -1;
}

}  // namespace

void msgbox_begin(const char* title, const MsgBoxStyle* style, uint32_t help_category) {
  box = MsgBoxState{};
  copy_cut(box.title, title != nullptr ? title : "", sizeof box.title);
  box.style = style != nullptr ? *style : MSGBOX_DEFAULT_STYLE;
  box.help_category = help_category;
}

void msgbox_body(const char* text) {
  box.line_count = 0;
  box.longest_line = 0;
  BodyLine* line = &box.lines[0];
  *line = BodyLine{};
  int length = 0;
  box.line_count = 1;
  for (const char* p = text; *p != '\0'; p++) {
    if (p[0] == '%' && (p[1] == '%' || p[1] == '!')) {
      bool centred = p[1] == '!';
      p++;
      if (p == text + 1) {  // at the very start: no break, only the kind of the first line
        line->centred = centred;
        continue;
      }
      if (box.line_count == MSGBOX_MAX_LINES) break;
      line = &box.lines[box.line_count++];
      *line = BodyLine{};
      line->centred = centred;
      length = 0;
      continue;
    }
    if (length < LINE_MAX) line->text[length++] = *p;
  }
  for (int i = 0; i < box.line_count; i++) {
    int n = static_cast<int>(std::strlen(box.lines[i].text));
    if (n > box.longest_line) box.longest_line = n;
  }
}

int msgbox_add_button(const char* text) {
  if (box.button_count == MSGBOX_MAX_BUTTONS) return 1;
  copy_cut(box.buttons[box.button_count++], text, TITLE_MAX + 1);
  int n = shown_length(text);
  if (n > box.longest_button) box.longest_button = n;
  return 0;
}

MsgBoxLayout msgbox_layout() {
  compute_layout();
  return box.layout;
}

int msgbox_run(int focused) {
  compute_layout();
  const MsgBoxLayout& l = box.layout;
  const MsgBoxStyle& s = box.style;
  begin_update();
  uint32_t handle = window_open(l.top, l.left, l.top + l.height, l.left + l.width, s.frame_type,
                                s.frame_attr, s.window_attr);
  if (handle != 0) {
    if (box.title[0] != '\0') window_set_title(box.title, 2, s.frame_attr);
    window_add_shadow(MSGBOX_SHADOW_ATTR);
    if (box.help_category != 0) window_set_help(box.help_category);
    int inner = window_width();
    for (int i = 0; i < box.line_count; i++) {
      const BodyLine& line = box.lines[i];
      int length = static_cast<int>(std::strlen(line.text));
      int column = line.centred ? (inner - length) / 2 : 1;
      if (column < 0) column = 0;
      window_put_text(1 + i, column, line.text, s.window_attr);
    }
    for (int i = 0; i < box.button_count; i++) draw_box_button(i, i == focused);
  }
  end_update();
  if (box.button_count == 0) {
    wait_key();
    if (handle != 0) window_close();
    return 0;
  }
  if (focused < 0 || focused >= box.button_count) focused = 0;
  cursor_hide();
  int result = -1;
  while (result < 0) {
    if (handle != 0) draw_box_button(focused, true);
    force_flush();
    uint16_t key = get_key();
    if (handle != 0) draw_box_button(focused, false);
    if (key == KEY_MOUSE) {
      int hit = handle != 0 ? button_under_mouse() : -1;
      if (hit >= 0) {
        focused = hit;
        result = focused + 1;
      }
    } else if (key == KEY_LEFT) {
      focused = focused == 0 ? box.button_count - 1 : focused - 1;
    } else if (key == KEY_RIGHT) {
      focused = focused == box.button_count - 1 ? 0 : focused + 1;
    } else if (key == KEY_ESC) {
      result = 0;
    } else if (key == KEY_ENTER) {
      result = focused + 1;
    } else {
      uint8_t letter = hot_letter_lower(static_cast<uint8_t>(key & 0xFF));
      if (letter != 0)
        for (int i = box.button_count - 1; i >= 0; i--)
          if (l.hot_letters[i] == letter) {
            focused = i;
            result = i + 1;
            break;
          }
    }
  }
  if (result > 0 && handle != 0) {
    int i = result - 1;
    press_button(box.buttons[i], l.button_row, l.button_columns[i], l.button_width, s.button_attr,
                 s.hot_attr, s.focused_attr, s.focused_hot_attr);
  }
  if (handle != 0) window_close();
  cursor_show();
  return result;
}

int msgbox_yes_no(const char* text, int focused) {
  msgbox_begin(nullptr, nullptr, 0);
  msgbox_body(text);
  msgbox_add_button(message_text(MSG_YES));
  msgbox_add_button(message_text(MSG_NO));
  return msgbox_run(focused);
}

int msgbox_info(const char* text) {
  msgbox_begin(nullptr, nullptr, 0);
  msgbox_body(text);
  msgbox_add_button(message_text(MSG_CONTINUE));
  return msgbox_run(0);
}

uint8_t draw_button(const char* text, int row, int column, int width, uint8_t attr, uint8_t hot_attr) {
  uint8_t hot = 0;
  begin_update();
  for (int i = 0; i < width; i++) window_put_cell(row, column + i, ' ', attr);
  int col = column + (width - shown_length(text)) / 2;
  if (col < column) col = column;
  for (const char* p = text; *p != '\0'; p++) {
    if (*p == '~') {
      if (p[1] != '\0' && p[1] != '~') {
        hot = static_cast<uint8_t>(p[1]);
        window_put_cell(row, col++, hot, hot_attr);
        p++;
        if (p[1] == '~') p++;  // the closing mark
      }
      continue;
    }
    window_put_cell(row, col++, static_cast<uint8_t>(*p), attr);
  }
  window_put_cell(row, column + width, GLYPH_BUTTON_SHADOW_RIGHT, BUTTON_SHADOW_ATTR);
  for (int i = 0; i < width; i++)
    window_put_cell(row + 1, column + 1 + i, GLYPH_BUTTON_SHADOW_UNDER, BUTTON_SHADOW_ATTR);
  end_update();
  return hot;
}

void press_button(const char* text, int row, int column, int width, uint8_t attr, uint8_t hot_attr,
                  uint8_t pressed_attr, uint8_t pressed_hot_attr) {
  Window* w = window_active();
  if (w == nullptr) return;
  uint8_t back = w->window_attr;
  begin_update();
  window_fill(row, column, row, column + width, ' ', back);
  if (row + 1 < window_height()) window_fill(row + 1, column, row + 1, column + width, ' ', back);
  // The pressed look: shifted right, without the shadow, which the fill has erased.
  begin_update();
  draw_button(text, row, column + 1, width, pressed_attr, pressed_hot_attr);
  window_fill(row, column + width + 1, row, column + width + 1, ' ', back);
  if (row + 1 < window_height()) window_fill(row + 1, column, row + 1, column + width + 1, ' ', back);
  end_update();
  end_update();
  ui_pause(3);
  begin_update();
  window_fill(row, column, row, column + width + 1, ' ', back);
  draw_button(text, row, column, width, attr, hot_attr);
  end_update();
  ui_pause(2);
}

int notice(const char* text, int milliseconds) {
  int length = static_cast<int>(std::strlen(text));
  int left = 77 - length;
  if (left < 0) left = 0;
  uint32_t handle = window_open(0, left, 0, screen_columns() - 1, FRAME_NONE, 0x70, 0x70);
  if (handle == 0) return ui_status();
  window_put_centered(0, 0x70, text);
  if (milliseconds == 0) return 0;
  if (milliseconds < 11) milliseconds = 100;
  wait_key_limit(milliseconds);
  window_close();
  return 0;
}

int wait_key_limit(int milliseconds) {
  using clock = std::chrono::steady_clock;
  flush_input();
  auto deadline = clock::now() + std::chrono::milliseconds(milliseconds);
  for (;;) {
    if (stuffed_key_count() > 0) return get_key() & 0xFF;
    InputRecord rec{};
    while (console_peek_input(&rec) == 1) {
      if (key_record_class(rec) != 0) return get_key() & 0xFF;
      console_read_input(&rec);
    }
    keyboard_idle();
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - clock::now()).count();
    if (left <= 0) return -1;
    console_wait(static_cast<int>(left < 50 ? left : 50));
  }
}

int wait_key() {
  flush_input();
  return get_key() & 0xFF;
}

}  // namespace tavrel
