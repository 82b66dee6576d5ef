// Connection and login: the login settings, the "-N" and "-U" options, the connect string,
// open_session on a request block, the registration dialog with its three attempts, and
// the server-error display that reports a failed OPEN.
#include <cstdio>
#include <cstring>

#include "channel/channel.h"
#include "client/kernel_report.h"
#include "text/unicode.h"
#include "shell/shell.h"
#include "tui/form.h"
#include "tui/hints.h"
#include "tui/keyboard.h"
#include "tui/messages.h"
#include "tui/msgbox.h"
#include "tui/screen.h"

namespace tavrel {

namespace {

constexpr int USER_MAX = 68;
constexpr int PASSWORD_MAX = 20;
constexpr int NODE_MAX = 8;
constexpr int ATTEMPTS = 3;
constexpr uint8_t LOGIN_ATTR = 0x70;
constexpr uint8_t LOGIN_TITLE_ATTR = 0x7F;
constexpr uint8_t BANNER_ATTR = 0x70;
constexpr uint8_t FIELD_ATTR = 0x30;
constexpr uint8_t FIELD_FOCUSED_ATTR = 0x1F;

LoginSettings g_login;
SessionOpener g_opener = nullptr;

void fill_blanks(char* field, int size) {
  std::memset(field, ' ', static_cast<size_t>(size));
  field[size] = '\0';
}

// Copies up to max characters of text into a blank-filled field.
void set_field(char* field, int max, const char* text, size_t length) {
  fill_blanks(field, max);
  std::memcpy(field, text, length < static_cast<size_t>(max) ? length : static_cast<size_t>(max));
}

std::string trimmed(const char* field) {
  std::string s = field;
  while (!s.empty() && s.back() == ' ') s.pop_back();
  return s;
}

void set_user_value(const char* value) {
  LoginSettings& l = g_login;
  const char* slash = std::strchr(value, '/');
  if (slash == nullptr) {
    set_field(l.user, USER_MAX, value, std::strlen(value));
    fill_blanks(l.password, PASSWORD_MAX);
  } else {
    set_field(l.user, USER_MAX, value, static_cast<size_t>(slash - value));
    set_field(l.password, PASSWORD_MAX, slash + 1, std::strlen(slash + 1));
  }
  l.user_given = true;
}

// Enter in the dialog's last field confirms it.
void confirm(Form* form, int) { form_end(form, 1); }

// The dialog's field values: the pictures' lengths plus a terminator.
struct DialogValues {
  char user[67];
  char password[21];
  char node[9];
};

// Runs the dialog once: 1 confirmed, 0 Esc.
int run_dialog(DialogValues* v) {
  static const std::string user_picture(66, '*');
  static const std::string password_picture = "(" + std::string(18, '*') + ")";
  static const char node_picture[] = "********";
  static Form form;
  form_begin(&form, FIELD_ATTR, FIELD_FOCUSED_ATTR);
  const bool node_field = !g_login.node_given;
  form_add_label(&form, 1, 1, message_text(MSG_LOGIN_USER));
  form_add_label(&form, 3, 1, message_text(MSG_LOGIN_PASSWORD));
  form_add_field(&form, 1, 16, v->user, user_picture.c_str(), 18);
  form_add_field(&form, 3, 16, v->password, password_picture.c_str(), 18, node_field ? nullptr : confirm);
  if (node_field) {
    form_add_label(&form, 5, 1, message_text(MSG_LOGIN_SERVER));
    form_add_field(&form, 5, 16, v->node, node_picture, 18, confirm);
  }
  help_category_set_current(HELP_LOGIN);
  hint_select(HELP_LOGIN);
  return form_run(&form);
}

}  // namespace

LoginSettings& login_settings() { return g_login; }

void login_reset() {
  fill_blanks(g_login.user, USER_MAX);
  fill_blanks(g_login.password, PASSWORD_MAX);
  fill_blanks(g_login.node, NODE_MAX);
  g_login.node_given = false;
  g_login.user_given = false;
}

void login_scan_options(int argc, char** argv) {
  for (int i = 1; i < argc; i++) {
    const char* arg = argv[i];
    if (arg[0] != '-' || arg[1] == '\0') continue;
    const char letter = arg[1];
    if (letter != 'N' && letter != 'n' && letter != 'U' && letter != 'u') continue;
    const char* value = arg + 2;
    if (*value == '\0') {
      if (i + 1 >= argc) continue;  // a letter standing last is ignored
      value = argv[++i];
    }
    if (letter == 'N' || letter == 'n') {
      set_field(g_login.node, NODE_MAX, value, std::strlen(value));
      g_login.node_given = true;
    } else {
      set_user_value(value);
    }
  }
}

std::string connect_string() {
  return "\"" + trimmed(g_login.user) + "\"/\"" + trimmed(g_login.password) + "\"";
}

std::string server_error_text(uint32_t code) { return kernel_error_text(nullptr, code, 0); }

uint32_t open_session(RequestBlock* block) {
  *block = RequestBlock{};
  std::memset(block->node, ' ', sizeof block->node);
  const std::string node = trimmed(g_login.node);
  std::memcpy(block->node, node.data(), node.size() < 8 ? node.size() : 8);
  std::memcpy(block->command, "OPEN", 4);
  const std::string connect = connect_string();
  const uint32_t rc = channel_call(block, connect.c_str(), nullptr, nullptr, nullptr);
  if (rc != 0) report_kernel_error(nullptr, rc, block->system_code);
  return rc;
}

void login_set_opener(SessionOpener opener) { g_opener = opener; }

int login(int argc, char** argv) {
  SessionOpener open = g_opener != nullptr ? g_opener : open_session;
  char banner[120];
  std::snprintf(banner, sizeof banner, message_text(MSG_VERSION_BANNER), KERNEL_VERSION_MAJOR,
                KERNEL_VERSION_MINOR);
  for (int c = 0; banner[c] != '\0' && c < screen_columns(); c++)
    screen_put(0, c, static_cast<uint8_t>(banner[c]), BANNER_ATTR);
  login_reset();
  login_scan_options(argc, argv);
  ShellState& s = shell();
  if (g_login.user_given) return open(&s.main_block) == 0 ? 1 : 0;

  const int bottom = g_login.node_given ? 13 : 15;
  if (window_open(7, 17, bottom, 55, FRAME_DOUBLE, LOGIN_ATTR, LOGIN_ATTR) == 0) return 0;
  window_mark_dialog();
  window_set_title(message_text(MSG_LOGIN_TITLE), 2, LOGIN_TITLE_ATTR);
  window_set_help(HELP_LOGIN);
  for (int attempt = 0; attempt < ATTEMPTS; attempt++) {
    DialogValues v{};
    std::snprintf(v.node, sizeof v.node, "%s", trimmed(g_login.node).c_str());
    if (run_dialog(&v) == 0) {
      window_close();
      return 0;
    }
    set_field(g_login.user, USER_MAX, v.user, std::strlen(v.user));
    set_field(g_login.password, PASSWORD_MAX, v.password, std::strlen(v.password));
    if (!g_login.node_given) set_field(g_login.node, NODE_MAX, v.node, std::strlen(v.node));
    if (open(&s.main_block) == 0) {
      window_close();
      return 1;
    }
  }
  msgbox_info(message_text(MSG_LOGIN_DENIED));
  window_close();
  return 0;
}

}  // namespace tavrel
