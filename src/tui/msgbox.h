// Message boxes and buttons: the program's one dialog for questions, warnings and
// errors (built in four calls: begin, body, buttons, run), the buttons themselves, the
// notice at the top right of the screen, and waiting for a key with a time limit.
#pragma once

#include <cstdint>

namespace tavrel {

// Eight bytes: reserved, frame type, window, frame, button, focused button, button hot
// letter and focused hot letter attributes.
struct MsgBoxStyle {
  uint8_t reserved;
  uint8_t frame_type;
  uint8_t window_attr;
  uint8_t frame_attr;
  uint8_t button_attr;
  uint8_t focused_attr;
  uint8_t hot_attr;
  uint8_t focused_hot_attr;
};
extern const MsgBoxStyle MSGBOX_DEFAULT_STYLE;  // 1, 1, 0x70, 0x7F, 0x20, 0x2B, 0x2E, 0x2E

constexpr uint8_t MSGBOX_SHADOW_ATTR = 0x07;
constexpr uint8_t BUTTON_SHADOW_ATTR = 0x70;
constexpr int MSGBOX_MAX_WIDTH = 77;
constexpr int MSGBOX_MAX_BUTTONS = 8;
constexpr int MSGBOX_MAX_LINES = 20;

// Texts are CP866. In the body "%%" starts a line at the left margin and "%!" starts a
// centred one; a button text marks its hot letter between two "~".
void msgbox_begin(const char* title, const MsgBoxStyle* style, uint32_t help_category);
void msgbox_body(const char* text);
int msgbox_add_button(const char* text);  // 0, or 1 when the box holds the maximum
// 0 for Esc, else the number (1 upward) of the chosen button.
int msgbox_run(int focused);

// The geometry run computes, for tests and for callers that draw beside the box.
struct MsgBoxLayout {
  int lines, longest_line;
  int button_width;       // longest button text + 2
  int width, height;      // the window spans top..top+height, left..left+width
  int top, left;
  int button_row;         // interior row of the buttons
  int button_columns[MSGBOX_MAX_BUTTONS];
  uint8_t hot_letters[MSGBOX_MAX_BUTTONS];  // lower-cased
};
MsgBoxLayout msgbox_layout();

// The usual boxes: a question with " Да " and " Нет " (1 yes, 2 no, 0 Esc) and an
// information box with " Продолжить ".
int msgbox_yes_no(const char* text, int focused = 0);
int msgbox_info(const char* text);

// Draws a button and its shadow; returns its hot letter (as written, 0 when none).
uint8_t draw_button(const char* text, int row, int column, int width, uint8_t attr,
                    uint8_t hot_attr);
// The pressed look (one column right, no shadow, for 300 ms), then the normal look.
void press_button(const char* text, int row, int column, int width, uint8_t attr,
                  uint8_t hot_attr, uint8_t pressed_attr, uint8_t pressed_hot_attr);

// A frameless one-row window at the top right; closed after a key or the time (a time
// under 11 ms counts as 100) unless the time is 0, when it stays open for the caller.
int notice(const char* text, int milliseconds);

// The character byte of the next key after flushing the console input; with a limit,
// -1 when the time passed first.
int wait_key_limit(int milliseconds);
int wait_key();

}  // namespace tavrel
