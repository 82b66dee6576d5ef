// Colour schemes: the attribute of every user-interface role in each of the four named
// schemes the user can switch between. The choice is kept between runs in a small
// settings file in the user's configuration directory.
#pragma once

#include <cstdint>
#include <string>

namespace tavrel {

// Roles, in the order of the columns of the scheme table.
enum ColourRole : int {
  ROLE_DESKTOP,            // the "▓" pattern behind all windows
  ROLE_MENU,               // menu bar and pull-downs
  ROLE_MENU_HOT,           // hot letter of an item
  ROLE_MENU_SELECTED,      // the highlighted item
  ROLE_MENU_SELECTED_HOT,
  ROLE_MENU_DISABLED,
  ROLE_DIALOG,             // dialog interiors and their frames
  ROLE_DIALOG_FRAME,
  ROLE_FIELD,              // input fields
  ROLE_FIELD_FOCUSED,
  ROLE_BUTTON,
  ROLE_BUTTON_FOCUSED,
  ROLE_BUTTON_HOT,
  ROLE_LIST,               // pick lists and list areas
  ROLE_LIST_SELECTED,
  ROLE_LIST_HEADING,
  ROLE_EDITOR,             // the source editor
  ROLE_EDITOR_FRAME,
  ROLE_EDITOR_BLOCK,       // a marked block
  ROLE_EDITOR_BREAKPOINT,
  ROLE_EDITOR_EXEC_LINE,   // the line the debugger stopped on
  ROLE_VIEW,               // debugger views: messages, locals, monitor, stack, errors
  ROLE_VIEW_FRAME,
  ROLE_VIEW_SELECTED,
  ROLE_HELP,               // the help viewer
  ROLE_HELP_FRAME,
  ROLE_HELP_HIGHLIGHT,
  ROLE_HELP_LINK,
  ROLE_HELP_LINK_SELECTED,
  ROLE_COUNT
};

constexpr int COLOUR_SCHEMES = 4;

uint8_t colour(ColourRole role);
int colour_scheme();                       // 0..3
int colour_scheme_select(int scheme);      // 0, or 5 for a number outside 0..3
const char* colour_scheme_name(int scheme);  // CP866; null outside 0..3

// The settings file: <config dir>/tavrel/procman.ini (APPDATA, else XDG_CONFIG_HOME, else
// HOME/.config), one "name=value" line per setting. The path can be set (tests do).
std::string settings_path();
void settings_set_path(const std::string& path);
// Reads the scheme from the settings file (0 when it cannot, the scheme left unchanged);
// writes it (0, or 1 when the file cannot be written).
int colour_scheme_load();
int colour_scheme_save();

}  // namespace tavrel
