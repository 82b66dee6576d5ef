// The application shell of procman: the program-wide state (main state, window kind
// request, the desktop table of work windows, the kernel sessions), and the entry points
// of its modules: start-up and shut-down, the main loop, the main menu, the login, the
// calculator and the work windows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "catalog/catalog.h"
#include "protocol/request.h"
#include "editor/editor.h"

namespace tavrel {

// Main states of the main loop.
constexpr uint32_t STATE_LEAVE = 0;
constexpr uint32_t STATE_WORK = 1;
constexpr uint32_t STATE_MENU = 2;
constexpr uint32_t STATE_OPEN = 3;
constexpr uint32_t STATE_SWITCH = 4;
constexpr uint32_t STATE_CLOSE = 5;
constexpr uint32_t STATE_MOVE = 6;
constexpr uint32_t STATE_RESIZE = 7;
constexpr uint32_t STATE_CASCADE = 8;
constexpr uint32_t STATE_ZOOM = 9;

// Kinds of work window a menu item asks for. Kinds 1, 2, 4 and 5 are the debugger's views.
constexpr uint32_t KIND_PROCEDURE = 0;
constexpr uint32_t KIND_MESSAGES = 1;
constexpr uint32_t KIND_LOCALS = 2;
constexpr uint32_t KIND_MONITOR = 4;
constexpr uint32_t KIND_CALL_STACK = 5;
constexpr uint32_t KIND_FILE = 6;
constexpr uint32_t KIND_NEW_PROCEDURE = 7;
constexpr uint32_t KIND_TRIGGER = 8;
constexpr uint32_t KIND_NEW_TRIGGER = 9;

constexpr int WINDOW_SLOTS = 100;
constexpr size_t SHELL_BUFFER_SIZE = 65535;  // the work buffer
constexpr int SCRATCH_LINES = 1000;
constexpr int NO_POSITION = -1;  // the remembered menu position "none" (all bits set)

// The key a hot key stuffs to make the current window's loop return to the main loop.
constexpr uint16_t KEY_WINDOW_RETURN = 0xF600;
// What an editor loop returns when the shell ended it (the main state says what next).
constexpr int EDITOR_TO_SHELL = 2;

// Kernel interface version shown in the banner.
constexpr int KERNEL_VERSION_MAJOR = 6;
constexpr int KERNEL_VERSION_MINOR = 0;

// One work window. Every source window (opened as kind 0 or 6 to 9) is recorded with kind 0;
// opened_as keeps the kind it was asked for.
struct WorkWindow {
  uint32_t kind;
  uint32_t opened_as;
  int slot;
  Editor editor;
  StoreTarget store;  // what the window knows about its object in the database
  bool zoomed;
  int saved_top, saved_left, saved_bottom, saved_right;
  // Debugger facts the menu's enabling rules read.
  bool in_debug;
  int16_t active_runs;
  bool cannot_start;
};

struct ShellState {
  uint32_t main_state;
  uint32_t kind_request;  // state 3: the kind to open; state 4: the ordinal to switch to
  WorkWindow* slots[WINDOW_SLOTS];
  WorkWindow* current;
  uint32_t open_count;
  uint32_t ever_opened;
  char* work_buffer;
  uint32_t alloc_count;
  RequestBlock main_block;
  RequestBlock second_block;
  bool second_open;
  bool in_menu;
  int menu_bar_position;
  int menu_item_position;
  bool monitor_open;
  bool stack_open;
  EditorText* scratch;  // hidden off-screen text
};

ShellState& shell();
void shell_reset();  // everything to its initial value (nothing is released)

// --- main.cpp / startup.cpp ------------------------------------------------------------
// The version text of a form 0-4 (128-byte static buffer; empty above 4).
const char* version_text(int form);
// Tests the first argument for "-briefversion" / "-version" (or with "/"); on a match the
// text goes to out and 1 is returned, else 0.
int version_option(int argc, char** argv, FILE* out);
// The help file path built from argument 0 ("kalvet.hlp" beside the program).
std::string help_path_from(const char* argv0);
// The whole program: start-up, login, main loop, shut-down; the exit status.
int procman_main(int argc, char** argv);
// The shell's allocation: counted; out of memory stops the program (status 0).
void* shell_alloc(size_t bytes);
void shell_free(void* block);
// The exit sequence: releases, CLOS, screen restored. Does not end the process.
void shell_shutdown();

// --- main_loop.cpp ---------------------------------------------------------------------
// Acts on the main state until it is 0.
void run_dispatcher();
// 1 when the program may end (every window closed), 0 when a close was refused.
int exit_check();
// Repeats dispatcher and exit check until the exit check lets the program end.
void run_main_loop();
// The hot keys F1, Shift+F9 and Alt+X.
void register_hot_keys();
void alt_x_pressed();

// --- menu_tree.cpp ---------------------------------------------------------------------
struct MenuRecord {
  int id;
  int parent;     // the bar entry's id, 0 for a bar entry itself
  int message;    // catalogue slot of the text
  uint8_t type;   // MENU_BAR_ENTRY, MENU_SEPARATOR, MENU_COMMAND
  uint8_t action; // MenuActionKind
  uint32_t value; // the state, the kind or the key of the action
};
enum MenuActionKind : uint8_t {
  ACT_NONE,        // bar entries and separators
  ACT_STATE,       // main state = value
  ACT_OPEN,        // main state 3, window kind = value
  ACT_PUSH_KEY,    // main state 1, push key value
  ACT_KEY_ONLY,    // push key value, main state unchanged
  ACT_OPEN_NOW,    // open a window of kind value at once
  ACT_PREVIOUS,    // previous window
  ACT_NEXT,        // next window
  ACT_DROP,        // drop a procedure (value 0) or a trigger (value 1)
  ACT_BREAKPOINTS, // the breakpoint list
  ACT_ACTIVE_LIST, // the list of active procedures
};
extern const MenuRecord MENU_TABLE[];
extern const int MENU_TABLE_SIZE;
const MenuRecord* menu_record(int id);
// Whether an item (or a bar entry) is enabled for the current window facts.
bool menu_item_enabled(int id, bool bar_entry = false);
struct Menu;
// Builds the whole tree (with the " Окно " list); null out of memory.
Menu* menu_build();
// Runs the main menu once (state 2).
void run_main_menu();
// Carries out the action of an item as choosing it does.
void menu_do(int id);

// --- login.cpp -------------------------------------------------------------------------
struct LoginSettings {
  char user[69];
  char password[21];
  char node[9];
  bool node_given;
  bool user_given;
};
LoginSettings& login_settings();
void login_reset();
void login_scan_options(int argc, char** argv);
std::string connect_string();
// Opens a session on a block; the return code (0 success) after reporting a failure.
uint32_t open_session(RequestBlock* block);
using SessionOpener = uint32_t (*)(RequestBlock* block);
void login_set_opener(SessionOpener opener);  // null: open_session
// 1 when the session is open, 0 when not (the user gave up or three attempts failed).
int login(int argc, char** argv);
// The text of the server-error display for a code.
std::string server_error_text(uint32_t code);

// --- calculator.cpp --------------------------------------------------------------------
void calculator_init();
void calculator_shutdown();
// The result field's text for a formula (CP866).
std::string calculator_result(const std::string& formula);
void calculator_open();  // the Shift+F9 window

// --- sources.cpp ---------------------------------------------------------------------
// Fills a new source window for the kind it is opened as: from the procedure or trigger
// pick list, from a file, or from a template. 0 when it holds a text, 1 when the user
// cancelled or nothing could be read.
int source_open(WorkWindow* w, uint32_t kind);
// Fills a new source window with the stored text of a procedure or trigger action known by
// its identifier and name (the debugger stopped in it); 0, or 1 when it cannot be read.
int source_open_stored(WorkWindow* w, uint32_t procedure_id, const std::string& name);
// The editor's F2 hook: stores the window's text.
int source_store(Editor* editor);

// --- windows.cpp -----------------------------------------------------------------------
void desktop_clear();
int window_ordinal(const WorkWindow* w);   // among the occupied slots, -1 when none
int previous_window_ordinal();             // -1 when there is none
int next_window_ordinal();
int open_work_window(uint32_t kind);       // state 3
void switch_window(uint32_t ordinal);      // state 4
int close_current_window();                // state 5: 1 closed, 0 refused
void move_current_window();                // state 6
void resize_current_window();              // state 7
void cascade_windows();                    // state 8
void zoom_current_window();                 // state 9
void work_in_current_window();             // state 1
bool is_view_kind(uint32_t kind);
// The open window of a kind, the first in slot order; null when none.
WorkWindow* window_of_kind(uint32_t kind);
// The source window that shows a procedure; null when none.
WorkWindow* source_window_of(uint32_t procedure_id);
// Opens a source window for a stored procedure (made current); null when it cannot.
WorkWindow* open_stored_window(uint32_t procedure_id, const std::string& name);
// Opens a debugger view's window, or makes the open one current; 0, or 1 when it cannot.
int open_view_window(uint32_t kind);
// Shows the open windows again, in slot order with the current one on top.
void show_windows();
// The geometry of cascade position n.
void cascade_frame(int n, int* top, int* left, int* bottom, int* right);
// The work area a zoomed window fills.
constexpr int WORK_TOP = 1, WORK_LEFT = 0, WORK_BOTTOM = 23, WORK_RIGHT = 79;
// While debugging: source windows in the upper left, the Locals and the Stack to their right,
// the Messages along the bottom with the Monitor over its right end.
constexpr int DEBUG_SPLIT = 44;           // first column right of the source windows
constexpr int DEBUG_SOURCE_BOTTOM = 15;
constexpr int DEBUG_LOCALS_BOTTOM = 8;
// The rectangle of a view's window (frame included).
void view_frame(uint32_t kind, int* top, int* left, int* bottom, int* right);

// --- debugging.cpp ---------------------------------------------------------------------
// The debugger's keys in a source window: F4, Ctrl+F4, Ctrl+F8, F9, Ctrl+F9, Alt+F9, F7, F8,
// Shift+F10, Ctrl+F10, Ctrl+F2 and Alt+F8. After a command that moved an execution the
// stopped procedure's window is current (opened when none showed it), the views are fetched
// again and every window is drawn again.
bool is_debugger_key(uint16_t key);
void debug_command(WorkWindow* w, uint16_t key);
// The breakpoint list (Alt+F8, menu) and the active procedures list (menu).
void breakpoints_command();
void active_procedures_command();
// The facts of the menu's enabling rules for every source window: in a debug session, a
// current execution, a trigger that cannot be started.
void debug_facts_update();
// The views' contents brought up to date (the Messages view from the log).
void views_sync();
// Before a source window under debugging closes: a stopped execution is ended after the
// question, and the session closed. 1 when the window may close.
int debug_window_closing(WorkWindow* w);
// The editor's hooks of storing under debugging.
bool debug_waiting(Editor* e);
void debug_stop_waiting(Editor* e);
void debug_switch_off(Editor* e);

}  // namespace tavrel
