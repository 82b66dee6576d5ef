// The kernel-error report: the text of a return code (the debugger's own errors by their
// system code, the channel's and the login's codes by fixed texts, network codes by number,
// and everything else as the kernel words it through GETE), and its showing.
#include "client/kernel_report.h"

#include <cassert>
#include <cstdio>
#include <cstring>

#include "client/ui_post.h"
#include "tui/messages.h"
#include "tui/msgbox.h"
#include "tui/screen.h"

namespace tavrel {

namespace {

void (*g_sink)(const char* text) = nullptr;

// Debugger errors by system code.
struct DebuggerError {
  uint32_t system_code;
  int message;
};
constexpr DebuggerError DEBUGGER_ERRORS[] = {
    {DEBUGGER_UNDEFINED_PROCEDURE, MSG_DBG_UNDEFINED_PROC},
    {DEBUGGER_DEBUGGED_ELSEWHERE, MSG_DBG_OTHER_SESSION},
    {DEBUGGER_NO_DEBUG_INFO, MSG_DBG_NO_DEBUG_INFO},
    {DEBUGGER_TOO_MANY_PROCEDURES, MSG_DBG_TOO_MANY_PROCS},
    {DEBUGGER_NO_MEMORY, MSG_DBG_NO_MEMORY},
    {DEBUGGER_UNKNOWN, MSG_DBG_UNKNOWN_ERROR},
    {DEBUGGER_SESSION_NOT_OPEN, MSG_DBG_NOT_OPEN},
    {DEBUGGER_BAD_LINE, MSG_DBG_BAD_LINE},
    {DEBUGGER_TOO_MANY_BREAKPOINTS, MSG_DBG_TOO_MANY_BREAKPOINTS},
    {DEBUGGER_NOT_WAITING, MSG_DBG_NOT_WAITING},
    {DEBUGGER_BAD_COMMAND, MSG_DBG_BAD_COMMAND},
    {DEBUGGER_ACTIVE_IN_SESSION, MSG_DBG_ACTIVE_WAITING},
    {DEBUGGER_BAD_PROCEDURE_ID, MSG_DBG_BAD_PROC_ID},
    {DEBUGGER_BAD_PARAMETER, MSG_DBG_BAD_PARAMETER},
    {DEBUGGER_NO_PROCEDURES, MSG_NO_PROCEDURES},
    {DEBUGGER_CALLED_ANOTHER, MSG_DBG_CANNOT_END},
    {DEBUGGER_CHANNEL_BUSY, MSG_DBG_CHANNEL_BUSY},
};

// Codes whose text is fixed.
struct FixedText {
  uint32_t code;
  int message;
};
constexpr FixedText FIXED_TEXTS[] = {
    {CHANNEL_NOT_REACHED, MSG_KERNEL_NOT_LOADED},
    {KERNEL_UNKNOWN_USER, MSG_BAD_USER_NAME},
    {KERNEL_WRONG_PASSWORD, MSG_BAD_PASSWORD},
    {KERNEL_BAD_CHANNEL, MSG_BAD_CHANNEL},
};

std::string code_text(uint32_t code) {
  char text[80];
  std::snprintf(text, sizeof text, message_text(MSG_DBG_KERNEL_CODE), static_cast<int>(code));
  return text;
}

}  // namespace

std::string kernel_error_text(RequestBlock* block, uint32_t code, uint32_t system_code) {
  if (code == KERNEL_DEBUGGER_ERROR) {
    for (const DebuggerError& e : DEBUGGER_ERRORS)
      if (e.system_code == system_code) return message_text(e.message);
    return code_text(code);
  }
  for (const FixedText& f : FIXED_TEXTS)
    if (f.code == code) return message_text(f.message);
  if (code >= 4001 && code <= 4999) {
    char text[80];
    std::snprintf(text, sizeof text, message_text(MSG_NETWORK_ERROR), static_cast<int>(code));
    return text;
  }
  if (block == nullptr) return code_text(code);
  // The kernel's own wording; the code's number stays when the kernel cannot say it.
  char answer[GETE_ANSWER];
  set_command(block, "GETE");
  block->position = code;
  block->answer_length = GETE_ANSWER;
  const uint32_t rc = kernel_call(block, nullptr, nullptr, nullptr, answer);
  const size_t length = rc == 0 ? block->answer_length : 0;
  set_command(block, "PROC");
  std::string text(answer, length <= sizeof answer ? length : sizeof answer);
  const size_t end = text.find('\0');
  if (end != std::string::npos) text.resize(end);
  while (!text.empty() && text.back() == ' ') text.pop_back();
  return text.empty() ? code_text(code) : text;
}

void kernel_report_set_sink(void (*sink)(const char* text)) { g_sink = sink; }

void report_kernel_error(RequestBlock* block, uint32_t code, uint32_t system_code) {
  // A message box reads keys and draws: only the user-interface thread may do that. Other
  // threads hand their failures over with ui_post.
  assert(ui_thread_current());
  const std::string text = kernel_error_text(block, code, system_code);
  // Open dialogs leave the screen while the message is shown, so none can hide it.
  const int hidden = dialogs_hide();
  msgbox_info(text.c_str());
  if (hidden > 0) dialogs_show();
  if (g_sink != nullptr) g_sink(text.c_str());
}

}  // namespace tavrel
