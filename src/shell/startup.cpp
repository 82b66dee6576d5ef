// Start-up and shut-down of procman: the shell's state, the version texts and options,
// the allocation routine with its out-of-memory stop, the start-up order (title, screen,
// desktop, work buffer, login, hot keys, stores) and the exit sequence.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "channel/channel.h"
#include "text/unicode.h"
#include "platform/console.h"
#include "platform/platform.h"
#include "catalog/catalog.h"
#include "client/ui_post.h"
#include "debugger/manager.h"
#include "shell/shell.h"
#include "tui/help.h"
#include "tui/keyboard.h"
#include "tui/menu.h"
#include "tui/messages.h"
#include "tui/screen.h"

namespace tavrel {

namespace {

constexpr long VERSION[4] = {6, 0, 15, 13};
constexpr const char* PLATFORM_WORD = "Win32";
constexpr const char* BUILD_WORD = "";
constexpr const char* PRODUCT = "Tavrel SQL Kelvora";
constexpr const char* NOTICE = "Copyright (C) Tavrel DBMS developers. All rights reserved.";
constexpr const char* HELP_FILE = "kalvet.hlp";
constexpr int CHANNEL_OPTION_OEM = 5;
constexpr uint8_t DESKTOP_ATTR = 0x19;
constexpr int VERSION_FORMS = 5;

ShellState g_shell;

// Every key passes unchanged.
uint16_t pass_every_key(uint16_t) { return 0; }

// Text for standard output: the console's own code page where the system keeps it, UTF-8
// where the locale comes from the environment.
std::string for_stdout(const std::string& cp866) {
  return platform_locale_from_env() ? cp866_to_utf8(cp866) : cp866;
}

}  // namespace

ShellState& shell() { return g_shell; }

void shell_reset() {
  g_shell = ShellState{};
  g_shell.main_state = STATE_MENU;
  g_shell.menu_bar_position = NO_POSITION;
  g_shell.menu_item_position = NO_POSITION;
}

const char* version_text(int form) {
  static char text[128];
  std::memset(text, 0, sizeof text);
  switch (form) {
    case 0:
      std::snprintf(text, sizeof text, "%s v. %ld.%ld.%ld.%ld for %s %s", PRODUCT, VERSION[0], VERSION[1],
                    VERSION[2], VERSION[3], PLATFORM_WORD, BUILD_WORD);
      break;
    case 1: std::snprintf(text, sizeof text, "%s", NOTICE); break;
    case 2:
      std::snprintf(text, sizeof text, "%ld.%ld.%ld.%ld", VERSION[0], VERSION[1], VERSION[2], VERSION[3]);
      break;
    case 3: std::snprintf(text, sizeof text, "%s", PRODUCT); break;
    case 4:
      std::snprintf(text, sizeof text, "%s v. %ld.%ld.%ld.%ld", PRODUCT, VERSION[0], VERSION[1], VERSION[2],
                    VERSION[3]);
      break;
    default: break;
  }
  static_assert(VERSION_FORMS == 5);
  return text;
}

int version_option(int argc, char** argv, FILE* out) {
  if (argc < 2 || (argv[1][0] != '-' && argv[1][0] != '/')) return 0;
  const char* word = argv[1] + 1;
  if (std::strcmp(word, "briefversion") == 0) {
    std::fprintf(out, "%s\n", version_text(2));
    return 1;
  }
  if (std::strcmp(word, "version") == 0) {
    char banner[128];
    std::snprintf(banner, sizeof banner, message_text(MSG_VERSION_BANNER), KERNEL_VERSION_MAJOR,
                  KERNEL_VERSION_MINOR);
    std::fprintf(out, "%s\n", for_stdout(banner).c_str());
    std::fprintf(out, "%s\n", version_text(0));
    std::fprintf(out, "%s\n", version_text(1));
    return 1;
  }
  return 0;
}

std::string help_path_from(const char* argv0) {
  std::string path = argv0 != nullptr ? argv0 : "";
  // Both separators: the program runs where either one ends a directory.
  const size_t cut = path.find_last_of("\\/");
  if (cut == std::string::npos) return HELP_FILE;
  return path.substr(0, cut + 1) + HELP_FILE;
}

void* shell_alloc(size_t bytes) {
  void* block = std::malloc(bytes);
  if (block == nullptr) {
    screen_shutdown();
    std::printf("\a%s\n", for_stdout(message_text(MSG_NO_MEMORY_EXIT)).c_str());
    std::fflush(stdout);
    std::exit(0);  // deliberately 0
  }
  g_shell.alloc_count++;
  return block;
}

void shell_free(void* block) {
  if (block == nullptr) return;
  std::free(block);
}

void shell_shutdown() {
  ShellState& s = g_shell;
  if (s.scratch != nullptr) {
    text_free(s.scratch);
    shell_free(s.scratch);
    s.scratch = nullptr;
  }
  calculator_shutdown();
  // The debugger's internal channel closes before the main session.
  manager_debugger_stop();
  std::memcpy(s.main_block.command, "CLOS", 4);
  if (s.main_block.channel != 0) channel_call(&s.main_block, nullptr, nullptr, nullptr, nullptr);
  if (s.second_open) {
    std::memcpy(s.second_block.command, "CLOS", 4);
    channel_call(&s.second_block, nullptr, nullptr, nullptr, nullptr);
  }
  channel_shutdown();
  // The channel's threads have ended: nothing posts any more.
  ui_post_stop();
  set_key_filter(nullptr);
  clear_hot_keys();
  clear_stuffed_keys();
  while (window_active() != nullptr) window_close();
  screen_shutdown();
  shell_free(s.work_buffer);
  s.work_buffer = nullptr;
}

int procman_main(int argc, char** argv) {
  const int32_t one = 1;
  channel_set_option(CHANNEL_OPTION_OEM, &one, sizeof one);
  if (version_option(argc, argv, stdout) != 0) return 0;
  shell_reset();
  console_select(platform_console());
  if (screen_start() != DISPLAY_CONSOLE) {
    std::fprintf(stderr, "procman: the console cannot be taken (80x25 at least is needed)\n");
    return 1;
  }
  // Completion routines on the channel's reader thread reach the user through here.
  ui_post_start();
  // The title goes to the console the screen has taken (a terminal takes it only then).
  console_set_title(message_text(MSG_CONSOLE_TITLE));
  // Ctrl+C and Ctrl+Break never end the program through the system.
  platform_ignore_console_events();
  begin_update();
  window_open(0, 0, 24, 79, FRAME_NONE, DESKTOP_ATTR, DESKTOP_ATTR);
  window_fill(0, 0, 24, 79, GLYPH_DESKTOP, DESKTOP_ATTR);
  end_update();
  g_shell.work_buffer = static_cast<char*>(shell_alloc(SHELL_BUFFER_SIZE));
  if (login(argc, argv) == 0) {
    shell_free(g_shell.work_buffer);
    g_shell.work_buffer = nullptr;
    channel_shutdown();
    ui_post_stop();
    while (window_active() != nullptr) window_close();
    screen_shutdown();
    return 1;
  }
  catalog_bind(&g_shell.main_block, login_settings().user);
  manager_debugger_start(&g_shell.main_block, connect_string(), "");
  const std::string help = help_path_from(argc > 0 ? argv[0] : nullptr);
  std::snprintf(g_shell.work_buffer, SHELL_BUFFER_SIZE, "%s", help.c_str());
  help_set_file(g_shell.work_buffer);
  register_hot_keys();
  desktop_clear();
  calculator_init();
  g_shell.scratch = static_cast<EditorText*>(shell_alloc(sizeof(EditorText)));
  *g_shell.scratch = EditorText{};
  if (text_init(g_shell.scratch, SCRATCH_LINES) != TEXT_OK) {
    shell_free(g_shell.scratch);
    g_shell.scratch = nullptr;
  }
  g_shell.menu_bar_position = NO_POSITION;
  g_shell.menu_item_position = NO_POSITION;
  set_key_filter(pass_every_key);
  g_shell.main_state = STATE_MENU;
  run_main_loop();
  shell_shutdown();
  return 0;
}

}  // namespace tavrel
