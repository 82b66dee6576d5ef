// Plain console messages: a box with an English prompt for the places where the dialogs
// of the library are not at hand (start-up and shut-down, the channel), and the
// completion of a directory path with its message.
#pragma once

namespace tavrel {

constexpr int CONSOLE_MSG_TEXT_MAX = 254;

// Kind 0 shows " Hit a key " and returns 0 after any key; kind 1 shows
// " Yes - Enter, No - Esc " and returns 1 for Enter, "Y" or "y" and 0 for Esc, "N" or
// "n" (other keys are ignored). The text's lines are split at line feeds.
int console_message(const char* text, int kind);

// The box's rectangle for a text and kind, as console_message draws it.
struct ConsoleMsgLayout {
  int lines;      // text lines plus the prompt line
  int width;
  int top, left, bottom, right;
};
ConsoleMsgLayout console_message_layout(const char* text, int kind);

// Appends "\" to a path that does not end with one when the buffer (capacity bytes, the
// terminating zero counted) has room for it; otherwise shows " String to long ". 0 when
// the path ends with "\" afterwards.
int path_complete(char* path, int capacity);

}  // namespace tavrel
