// The translation-error list: the GETE 7200 answer read into texts and positions, and the
// " Список ошибок " window whose rows move the editor's cursor to the error.
#include "editor/error_list.h"

#include <cstdio>
#include <cstring>

#include "client/kernel_call.h"
#include "protocol/codes.h"
#include "protocol/records.h"
#include "translator/diagnostics.h"
#include "tui/hints.h"
#include "tui/messages.h"
#include "tui/picklist.h"
#include "tui/screen.h"

namespace tavrel {

namespace {

constexpr int LIST_TOP = 14, LIST_BOTTOM = 23;

ErrorList g_list;


// The message as printf would make it with the one argument: "%%" gives "%", the first "%d"
// or "%s" (or "%ld") the argument; any other "%" is copied as it stands, so a message can
// never read past what it was given.
std::string fill_message(const char* message, const std::string& argument, bool has_argument) {
  std::string out;
  bool filled = !has_argument;
  for (const char* p = message; *p != '\0'; ++p) {
    if (p[0] == '%' && p[1] == '%') {
      out += '%';
      ++p;
      continue;
    }
    if (!filled && p[0] == '%') {
      const char* q = p + 1;
      if (*q == 'l') ++q;
      if (*q == 'd' || *q == 's') {
        out += argument;
        filled = true;
        p = q;
        continue;
      }
    }
    out += *p;
  }
  return out;
}

int row_text(int index, char* out, int capacity, void*) {
  if (index < 0 || index >= static_cast<int>(g_list.texts.size())) return 0;
  std::snprintf(out, static_cast<size_t>(capacity), "%s", g_list.texts[static_cast<size_t>(index)].c_str());
  return 1;
}

}  // namespace

ErrorList& error_list() { return g_list; }

bool error_list_parse(const uint8_t* answer, size_t length, ErrorList* out) {
  *out = ErrorList{};
  std::vector<TranslationError> errors;
  const int status = translation_errors_read({answer, length}, &errors);
  for (const TranslationError& e : errors) {
    std::string argument;
    bool has_argument = false;
    if (e.argument_kind == TRANSLATION_ARG_NUMBER) {
      argument = std::to_string(e.argument_number);
      has_argument = true;
    } else if (e.argument_kind == TRANSLATION_ARG_TEXT) {
      argument = e.argument_text;
      argument.resize(std::strlen(argument.c_str()));  // ended at its first NUL
      has_argument = true;
    }
    char head[120];
    if (e.line != TRANSLATION_NO_POSITION) {
      std::snprintf(head, sizeof head, message_text(MSG_ERROR_AT), static_cast<long>(e.line),
                    static_cast<long>(e.column));
    } else {
      std::snprintf(head, sizeof head, "%s", message_text(MSG_ERROR_PLAIN));
    }
    const int number_in_range = e.number > 0x7FFFFFFF ? -1 : static_cast<int>(e.number);
    out->texts.push_back(head + fill_message(diagnostic_message(number_in_range), argument, has_argument));
    const bool positioned = e.line != TRANSLATION_NO_POSITION;
    out->lines.push_back(positioned ? static_cast<int>(e.line) - 1 : -1);
    out->columns.push_back(positioned ? static_cast<int>(e.column) - 1 : 0);
  }
  return status == 0;
}

void error_list_fetch(RequestBlock* block, ErrorList* out) {
  static uint8_t answer[GETE_ANSWER];
  set_command(block, "GETE");
  block->position = KERNEL_TRANSLATION_ERRORS;
  block->answer_length = GETE_ANSWER;
  const uint32_t rc = kernel_call(block, nullptr, nullptr, nullptr, answer);
  set_command(block, "PROC");
  *out = ErrorList{};
  if (rc == 0) error_list_parse(answer, block->answer_length, out);
}

void error_list_show(RequestBlock* block, Editor* editor) {
  error_list_fetch(block, &g_list);
  if (g_list.texts.empty()) return;
  PickList list;
  picklist_init(&list, row_text, nullptr, static_cast<int>(g_list.texts.size()));
  const int chosen = picklist_run(&list, LIST_TOP, 0, LIST_BOTTOM, screen_columns() - 1,
                                  message_text(MSG_ERROR_LIST_TITLE), HELP_ERRORS);
  if (chosen < 0 || editor == nullptr) return;
  const auto row = static_cast<size_t>(chosen);
  if (g_list.lines[row] >= 0) editor_goto(editor, g_list.lines[row], g_list.columns[row]);
}

}  // namespace tavrel
