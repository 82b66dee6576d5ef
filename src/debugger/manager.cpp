// The manager's debugger and its link to the screen: the notes of the debugger turned into
// lines of the Messages view, message boxes and kernel-error reports; the window of a
// waiting request, drawn only when the answer is slow in coming, and the Esc that ends the
// wait; the breakpoint colour of source lines; and the calculator against the stopped
// execution.
#include "debugger/manager.h"

#include <chrono>
#include <cstring>
#include <memory>
#include <thread>

#include "client/kernel_report.h"
#include "debugger/message_log.h"
#include "debugger/texts.h"
#include "translator/builtins.h"
#include "values/stack_mem.h"
#include "tui/colours.h"
#include "tui/keyboard.h"
#include "tui/messages.h"
#include "tui/msgbox.h"
#include "tui/screen.h"

namespace tavrel {

namespace {

// The waiting request's window, and how many 5 ms polls pass before it reaches the
// screen: a request answered sooner leaves the screen untouched.
constexpr int WAIT_TOP = 10, WAIT_LEFT = 22, WAIT_BOTTOM = 13, WAIT_RIGHT = 57;
constexpr int WAIT_SHOWN_AFTER_POLLS = 20;
constexpr uint8_t WAIT_SHADOW_ATTR = 0x07;
// How much of a refused statement the box shows around the place of the fault.
constexpr size_t STATEMENT_SHOWN = 70;

struct ManagerState {
  std::unique_ptr<Debugger> debugger;
  std::string finished;        // the box a command left to show
  bool messages_open = false;
  bool wait_open = false;      // the waiting window is open
  bool wait_held = false;      // ... and its update not yet ended (nothing written yet)
  int wait_polls = 0;
  void (*before_wait)() = nullptr;
};

ManagerState g;

void add_to_messages(const char* text) { message_log_add(text); }

// "Ошибка в запросе N (проверьте параметры)" over the statement, a mark under the fault.
void show_query_error(const DebugNote& note) {
  std::string statement(note.detail);
  size_t position = note.position < statement.size() ? note.position : statement.size();
  if (statement.size() > STATEMENT_SHOWN) {
    const size_t first = position > STATEMENT_SHOWN / 2 ? position - STATEMENT_SHOWN / 2 : 0;
    statement = statement.substr(first, STATEMENT_SHOWN);
    position -= first;
  }
  std::string body(note.text);
  body += "%%" + statement + "%%" + std::string(position, ' ') + "^";
  const int hidden = dialogs_hide();
  msgbox_info(body.c_str());
  if (hidden > 0) dialogs_show();
}

void on_note(void*, const DebugNote& note) {
  Debugger& d = *g.debugger;
  switch (note.kind) {
    case NOTE_LINE:
    case NOTE_EXCEPTION:
    case NOTE_VALUE_CHANGED: message_log_add(note.text); break;
    case NOTE_PRINTED: message_log_add(std::string(PRINT_HEAD) + std::string(note.text)); break;
    case NOTE_FINISHED:
      message_log_add(note.text);
      g.finished.assign(note.text);
      break;
    case NOTE_RETURN_VALUE:
      message_log_add(note.text);
      message_log_add(note.detail);
      break;
    case NOTE_MESSAGE: msgbox_info(std::string(note.text).c_str()); break;
    case NOTE_KERNEL_ERROR: report_kernel_error(d.block, note.code, note.system_code); break;
    case NOTE_QUERY_ERROR:
      message_log_add(note.text);
      show_query_error(note);
      break;
  }
}

}  // namespace

Debugger& manager_debugger() { return *g.debugger; }
bool manager_debugger_started() { return g.debugger != nullptr; }

void manager_debugger_start(RequestBlock* block, std::string_view connect, std::string_view codepage) {
  manager_debugger_stop();
  g.debugger = std::make_unique<Debugger>();
  Debugger& d = *g.debugger;
  debugger_init(d, block, connect, codepage);
  d.sink = on_note;
  d.interrupt_wanted = manager_interrupt_wanted;
  d.wait_shown = manager_wait_shown;
}

void manager_debugger_stop() {
  if (g.debugger == nullptr) return;
  debugger_shutdown(*g.debugger);
  g.debugger.reset();
  g.finished.clear();
  manager_messages_view_open(false);
}

void manager_show_finished() {
  if (g.finished.empty()) return;
  const std::string text = std::move(g.finished);
  g.finished.clear();
  msgbox_info(text.c_str());
}

const std::string& manager_finished_text() { return g.finished; }

void manager_messages_view_open(bool open) {
  g.messages_open = open;
  kernel_report_set_sink(open ? add_to_messages : nullptr);
}

void manager_set_before_wait(void (*hook)()) { g.before_wait = hook; }

void manager_wait_shown(void*, bool visible) {
  if (visible && !g.wait_open) {
    if (g.before_wait != nullptr) g.before_wait();
    g.wait_polls = 0;
    // The update stays open: only a wait long enough to matter writes the window out.
    begin_update();
    g.wait_held = true;
    if (window_open(WAIT_TOP, WAIT_LEFT, WAIT_BOTTOM, WAIT_RIGHT, FRAME_DOUBLE, colour(ROLE_DIALOG_FRAME),
                    colour(ROLE_DIALOG)) != 0) {
      g.wait_open = true;
      window_add_shadow(WAIT_SHADOW_ATTR);
      window_put_text(0, 0, message_text(MSG_WAIT_SERVER), colour(ROLE_DIALOG));
      window_put_text(1, 0, message_text(MSG_WAIT_ESC), colour(ROLE_DIALOG));
    } else {
      end_update();
      g.wait_held = false;
    }
  } else if (!visible && g.wait_open) {
    window_close();
    g.wait_open = false;
    if (g.wait_held) end_update();
    g.wait_held = false;
  }
}

bool manager_interrupt_wanted(void*) {
  if (g.wait_held && ++g.wait_polls >= WAIT_SHOWN_AFTER_POLLS) {
    g.wait_held = false;
    end_update();
  }
  // Keys typed while the kernel works are dropped; Esc ends the wait.
  InputRecord rec{};
  while (console_peek_input(&rec) == 1) {
    console_read_input(&rec);
    if (key_for_record(rec) == KEY_ESC) return true;
  }
  return false;
}

uint8_t debug_line_attr(const Editor* e, int line) {
  if (g.debugger == nullptr || e->debug_procedure < 0 || line < 0) return 0;
  const DebugSession* s = session_find(*g.debugger, static_cast<uint32_t>(e->debug_procedure));
  if (s != nullptr && s->open && line_marked(s->breakpoints, static_cast<uint32_t>(line)))
    return colour(ROLE_EDITOR_BREAKPOINT);
  return 0;
}

namespace {

bool name_char(uint8_t c, bool first) {
  if (c == '_' || c == '$' || c >= 0x80 || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z')) return true;
  return !first && c >= '0' && c <= '9';
}

// "NAME := expression": the name and the expression; false for any other text.
bool split_assignment(std::string_view text, std::string_view* name, std::string_view* expression) {
  size_t at = 0;
  while (at < text.size() && text[at] == ' ') ++at;
  const size_t first = at;
  while (at < text.size() && name_char(static_cast<uint8_t>(text[at]), at == first)) ++at;
  if (at == first) return false;
  *name = text.substr(first, at - first);
  while (at < text.size() && text[at] == ' ') ++at;
  if (text.substr(at, 2) != ":=") return false;
  *expression = text.substr(at + 2);
  return true;
}

}  // namespace

bool debug_calculate(std::string_view formula, std::string* result, bool* assigned) {
  *assigned = false;
  if (g.debugger == nullptr) return false;
  Debugger& d = *g.debugger;
  uint32_t procedure_id = 0;
  uint16_t execution = 0;
  if (!context_frame(d, &procedure_id, &execution)) return false;
  std::string_view name, expression;
  TextValue value;
  if (split_assignment(formula, &name, &expression)) {
    if (assign_text(d, name, expression, &value) == 0) {
      *assigned = true;
      evaluate_text(d, name, &value);
    }
  } else {
    evaluate_text(d, formula, &value);
  }
  if (!value.failure.empty()) *result = value.failure;
  else if (!value.form.empty()) *result = value.form;
  else *result = debug_text(TXT_EVAL_FAILED);
  return true;
}

}  // namespace tavrel
