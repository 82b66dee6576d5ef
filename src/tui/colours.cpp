// Colour schemes: one row of attributes per scheme, one column per role, and the small
// settings file that keeps the user's choice between runs.
#include "tui/colours.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "platform/platform.h"
#include "tui/messages.h"

namespace tavrel {

namespace {

struct ColourScheme {
  int name_slot;  // in the message catalogue
  uint8_t attr[ROLE_COUNT];
};

// Columns in the order of ColourRole.
const ColourScheme SCHEMES[COLOUR_SCHEMES] = {
    // Cyan desktop, grey menus and dialogs, blue editor.
    {MSG_SCHEME_CYAN,
     {0x37, 0x70, 0x74, 0x20, 0x24, 0x78, 0x70, 0x7F, 0x1F, 0x30, 0x20, 0x2B, 0x2E, 0x30, 0x0F,
      0x31, 0x1E, 0x1F, 0x71, 0x4F, 0x2F, 0x30, 0x3F, 0x1F, 0x30, 0x3F, 0x3E, 0x3E, 0x1E}},
    // Everything in greys.
    {MSG_SCHEME_GREY,
     {0x78, 0x70, 0x7F, 0x0F, 0x0F, 0x78, 0x70, 0x7F, 0x07, 0x0F, 0x07, 0x0F, 0x7F, 0x70, 0x0F,
      0x78, 0x07, 0x0F, 0x70, 0x78, 0x7F, 0x70, 0x7F, 0x0F, 0x70, 0x7F, 0x7F, 0x78, 0x0F}},
    // Light blue.
    {MSG_SCHEME_BLUE,
     {0x19, 0x30, 0x34, 0x1F, 0x1E, 0x38, 0x3F, 0x3F, 0x1F, 0x1E, 0x20, 0x2B, 0x2E, 0x3F, 0x1F,
      0x31, 0x1F, 0x1B, 0x3F, 0x4F, 0x2F, 0x3F, 0x3B, 0x1F, 0x3F, 0x3B, 0x3E, 0x3E, 0x1E}},
    // Black: light text on black (the name is spelled with a Latin "p", kept).
    {MSG_SCHEME_BLACK,
     {0x08, 0x07, 0x0F, 0x70, 0x74, 0x08, 0x07, 0x0F, 0x70, 0x1F, 0x70, 0x1F, 0x7E, 0x07, 0x70,
      0x0F, 0x07, 0x0F, 0x70, 0x4F, 0x2F, 0x07, 0x0F, 0x70, 0x07, 0x0F, 0x0E, 0x0B, 0x30}},
};

// The scheme in use and where the choice is kept.
struct ColourState {
  int scheme = 0;
  std::string path;  // empty: the default path
};

ColourState c;

std::string config_dir() {
  char buffer[1024];
  if (platform_getenv("APPDATA", buffer, sizeof buffer) > 0) return buffer;
  if (platform_getenv("XDG_CONFIG_HOME", buffer, sizeof buffer) > 0) return buffer;
  if (platform_getenv("HOME", buffer, sizeof buffer) > 0) return std::string(buffer) + "/.config";
  return ".";
}

}  // namespace

uint8_t colour(ColourRole role) {
  if (role < 0 || role >= ROLE_COUNT) return 0x07;
  return SCHEMES[c.scheme].attr[role];
}

int colour_scheme() { return c.scheme; }

int colour_scheme_select(int scheme) {
  if (scheme < 0 || scheme >= COLOUR_SCHEMES) return 5;
  c.scheme = scheme;
  return 0;
}

const char* colour_scheme_name(int scheme) {
  if (scheme < 0 || scheme >= COLOUR_SCHEMES) return nullptr;
  return message_text(SCHEMES[scheme].name_slot);
}

std::string settings_path() {
  if (!c.path.empty()) return c.path;
  return config_dir() + "/tavrel/procman.ini";
}

void settings_set_path(const std::string& path) { c.path = path; }

int colour_scheme_load() {
  std::ifstream in(settings_path());
  if (!in) return 1;
  std::string line;
  while (std::getline(in, line)) {
    if (line.rfind("colour_scheme=", 0) != 0) continue;
    int value = std::atoi(line.c_str() + 14);
    return colour_scheme_select(value) == 0 ? 0 : 1;
  }
  return 1;
}

int colour_scheme_save() {
  std::filesystem::path path(settings_path());
  std::error_code error;
  if (path.has_parent_path()) std::filesystem::create_directories(path.parent_path(), error);
  std::ofstream out(path, std::ios::trunc);
  if (!out) return 1;
  out << "colour_scheme=" << c.scheme << "\n";
  return out.good() ? 0 : 1;
}

}  // namespace tavrel
