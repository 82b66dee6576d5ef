// The debugger from the shell's side: the debugger keys of a source window and the menu's
// debugger commands carried out on the manager's debugger; the debug look of a window (its
// title mark, its hint line, its place beside the views); the views opened when debugging
// starts; after every command that moves an execution, the window of the stopped procedure
// brought forward or opened with its cursor and execution mark on the stopped line, the
// views fetched again and every window drawn again; the facts of the menu's enabling
// rules; and what closing or storing a window under debugging asks first.
#include "catalog/run_params.h"
#include "debugger/active_dialog.h"
#include "debugger/breakpoint_dialogs.h"
#include "debugger/manager.h"
#include "debugger/message_log.h"
#include "debugger/view_lists.h"
#include "shell/shell.h"
#include "tui/hints.h"
#include "tui/keyboard.h"
#include "tui/messages.h"
#include "tui/msgbox.h"

namespace tavrel {

namespace {

// A command is under way: keys that arrive meanwhile (through a nested loop) are ignored.
bool g_busy = false;
uint32_t g_messages_shown = 0;  // the log version the Messages view shows

constexpr uint16_t DEBUGGER_KEYS[] = {KEY_F4,  KEY_CTRL_F4, KEY_CTRL_F8,  KEY_F9,       KEY_CTRL_F9, KEY_ALT_F9,
                                      KEY_F7,  KEY_F8,      KEY_SHIFT_F10, KEY_CTRL_F10, KEY_CTRL_F2, KEY_ALT_F8};

DebugSession* session_of(const WorkWindow* w) {
  if (!manager_debugger_started() || w == nullptr || w->kind != KIND_PROCEDURE || w->store.procedure_id == 0)
    return nullptr;
  DebugSession* s = session_find(manager_debugger(), w->store.procedure_id);
  return s != nullptr && s->open ? s : nullptr;
}

// The window's execution is the current one: the stepping keys act.
bool has_execution(const DebugSession* s) {
  return s != nullptr && s->execution > 0 && manager_debugger().current_execution != EXECUTION_NONE;
}

// A source window in a debug session moves to the upper left, beside the views, and shows
// the debugging hints and the title mark; out of it, it goes back to the code editor's.
void set_debug_look(WorkWindow* w, const DebugSession* s) {
  Editor& e = w->editor;
  if (s == nullptr) {
    e.debug_procedure = -1;
    e.help_category = HELP_CODE_EDITOR;
    e.exec_line = NO_LINE;
    return;
  }
  const bool entering = e.debug_procedure < 0;
  e.debug_procedure = static_cast<int>(s->procedure_id);
  e.help_category = HELP_DEBUG_EDITOR;
  if (!entering || w->zoomed) return;
  e.top = WORK_TOP;
  e.left = WORK_LEFT;
  e.bottom = DEBUG_SOURCE_BOTTOM;
  e.right = DEBUG_SPLIT - 1;
  // The cursor stays on its line and column inside the smaller window.
  editor_place_line(&e, e.line);
  editor_place_column(&e, e.column);
}

// The Messages and the Locals open with the first debug session; the current window stays.
void open_views() {
  ShellState& s = shell();
  WorkWindow* keep = s.current;
  if (window_of_kind(KIND_MESSAGES) == nullptr) open_view_window(KIND_MESSAGES);
  if (window_of_kind(KIND_LOCALS) == nullptr) open_view_window(KIND_LOCALS);
  s.current = keep;
}

// The window's debug session, opened when it is not. Windows that know their procedure's
// identifier open it by identifier, the others by name.
DebugSession* session_for(WorkWindow* w, bool check_other) {
  if (DebugSession* s = session_of(w)) return s;
  Debugger& d = manager_debugger();
  DebugSession* s = nullptr;
  const uint32_t id = w->store.procedure_id;
  if (session_open(d, id != 0 ? std::string_view{} : std::string_view(w->editor.name), id, check_other, &s) != 0 ||
      s == nullptr)
    return nullptr;
  w->store.procedure_id = s->procedure_id;
  set_debug_look(w, s);
  open_views();
  return s;
}

// Every window as the debugger's state says: the look of each source window, the stopped
// window current with its cursor and mark on the stopped line, the views' contents.
void show_state(bool moved) {
  Debugger& d = manager_debugger();
  ShellState& sh = shell();
  for (WorkWindow* w : sh.slots) {
    if (w == nullptr || w->kind != KIND_PROCEDURE) continue;
    set_debug_look(w, session_of(w));
    w->editor.exec_line = NO_LINE;
  }
  if (moved && d.last.outcome == RUN_STOPPED && d.current_execution != EXECUTION_NONE) {
    const ExecState& state = d.last.state;
    WorkWindow* t = source_window_of(state.procedure_id);
    if (t == nullptr) t = open_stored_window(state.procedure_id, d.last.procedure);
    if (t != nullptr) {
      set_debug_look(t, session_of(t));
      const int line = static_cast<int>(state.line);
      t->editor.exec_line = line;
      editor_goto(&t->editor, line, 0);
      sh.current = t;
      open_views();
    }
  }
  if (moved) views_after_stop(d);
  views_sync();
  show_windows();
}

// Before a waiting request shows its window: the banner just written is on the screen.
void before_wait() {
  views_sync();
  show_windows();
}

// After a command that moved an execution: the screen, then the box of a procedure that ended.
void after_move() {
  show_state(true);
  manager_show_finished();
}

void run(WorkWindow* w) {
  Debugger& d = manager_debugger();
  DebugSession* s = session_of(w);
  // A trigger is started by the statements that fire it, not from its window.
  if (w->store.id_known && !has_execution(s)) return;
  s = session_for(w, false);
  if (s == nullptr) return show_state(false);
  std::string statement;
  // Without a run of its own to go on with, a new run needs its parameters first.
  if (!has_execution(s) && !d.debugging) {
    show_state(false);
    if (prepare_run_statement(s->procedure_id, s->name, &statement) != 0) return;
  }
  debugger_run(d, *s, statement);
  after_move();
}

void wait_for_call(WorkWindow* w) {
  if (has_execution(session_of(w))) return;
  DebugSession* s = session_for(w, false);
  if (s == nullptr) return show_state(false);
  show_state(false);
  debugger_wait_for(manager_debugger(), *s);
  after_move();
}

void step(WorkWindow* w, uint32_t subcommand) {
  if (!has_execution(session_of(w))) return;
  debugger_step(manager_debugger(), subcommand);
  after_move();
}

}  // namespace

bool is_debugger_key(uint16_t key) {
  for (uint16_t k : DEBUGGER_KEYS)
    if (k == key) return true;
  return false;
}

void debug_command(WorkWindow* w, uint16_t key) {
  if (!manager_debugger_started() || g_busy || w == nullptr) return;
  manager_set_before_wait(before_wait);
  if (key == KEY_ALT_F8) return breakpoints_command();
  // From a view the keys act on the window of the stopped procedure.
  if (w->kind != KIND_PROCEDURE) {
    const Debugger& d = manager_debugger();
    w = d.current_execution != EXECUTION_NONE ? source_window_of(d.current_procedure) : nullptr;
  }
  if (w == nullptr) return;
  g_busy = true;
  Debugger& d = manager_debugger();
  DebugSession* s = session_of(w);
  switch (key) {
    case KEY_F4:
      // From the menu the session is refused while another procedure is debugged.
      session_for(w, key_came_from_queue());
      show_state(false);
      break;
    case KEY_CTRL_F4:
      if (s != nullptr) session_close(d, *s);
      show_state(false);
      break;
    case KEY_CTRL_F8:
      if (s != nullptr) breakpoint_toggle(d, *s, static_cast<uint32_t>(w->editor.line));
      show_state(false);
      break;
    case KEY_F9: run(w); break;
    case KEY_CTRL_F9: wait_for_call(w); break;
    case KEY_ALT_F9:
      if (!has_execution(s)) {
        debugger_catch_any(d);
        after_move();
      }
      break;
    case KEY_F7: step(w, PROC_TRACE); break;
    case KEY_F8: step(w, PROC_STEP); break;
    case KEY_SHIFT_F10: step(w, PROC_RUN_TO_RETURN); break;
    case KEY_CTRL_F10:
      if (has_execution(s)) {
        debugger_run_to_line(d, *s, static_cast<uint32_t>(w->editor.line));
        after_move();
      }
      break;
    case KEY_CTRL_F2:
      if (d.current_execution != EXECUTION_NONE) {
        debugger_stop(d);
        after_move();
      }
      break;
    default: break;
  }
  g_busy = false;
}

void breakpoints_command() {
  if (!manager_debugger_started() || g_busy) return;
  g_busy = true;
  // A new breakpoint starts at the cursor of the current source window.
  const WorkWindow* w = shell().current;
  uint32_t procedure_id = 0, line = 0;
  if (w != nullptr && w->kind == KIND_PROCEDURE) {
    procedure_id = w->store.procedure_id;
    line = static_cast<uint32_t>(w->editor.line);
  }
  breakpoint_list_run(procedure_id, line);
  show_state(false);
  g_busy = false;
}

void active_procedures_command() {
  if (!manager_debugger_started() || g_busy) return;
  g_busy = true;
  const uint16_t before = manager_debugger().current_execution;
  active_list_run(session_of(shell().current));
  // Ending the debugged execution ends its run as a Stop does.
  if (manager_debugger().current_execution != before) after_move();
  else show_state(false);
  g_busy = false;
}

void debug_facts_update() {
  for (WorkWindow* w : shell().slots) {
    if (w == nullptr || w->kind != KIND_PROCEDURE) continue;
    const DebugSession* s = session_of(w);
    w->in_debug = s != nullptr;
    w->active_runs = has_execution(s) ? 1 : 0;
    w->cannot_start = w->store.id_known && w->active_runs < 1;
  }
}

void views_sync() {
  if (g_messages_shown == message_log_version()) return;
  if (WorkWindow* w = window_of_kind(KIND_MESSAGES)) {
    message_log_show(&w->editor);
    g_messages_shown = message_log_version();
  }
}

int debug_window_closing(WorkWindow* w) {
  DebugSession* s = session_of(w);
  if (s == nullptr) return 1;
  Debugger& d = manager_debugger();
  if (s->marked_line >= 0 || has_execution(s)) {
    if (msgbox_yes_no(message_text(MSG_DBG_ACTIVE_WAITING)) != 1) return 0;
    debugger_stop(d);
  }
  session_close(d, *s);
  views_after_stop(d);
  manager_show_finished();
  return 1;
}

bool debug_waiting(Editor*) {
  if (!manager_debugger_started()) return false;
  const Debugger& d = manager_debugger();
  return d.debugging && d.current_execution != EXECUTION_NONE;
}

void debug_stop_waiting(Editor*) {
  debugger_stop(manager_debugger());
  show_state(true);
  manager_show_finished();
}

void debug_switch_off(Editor* e) {
  auto* w = static_cast<WorkWindow*>(e->owner);
  if (DebugSession* s = session_of(w)) session_close(manager_debugger(), *s);
  set_debug_look(w, nullptr);
}

}  // namespace tavrel
