// The help viewer: F1 shows the topic of the current help category from the help file,
// page by page, with links to other topics and a history of the topics shown (kept from
// one F1 to the next) to go back through.
#pragma once

#include <string>

#include "tui/help_file.h"

namespace tavrel {

constexpr int HELP_HISTORY_MAX = 50;

// Result codes of one topic display besides a topic number to follow.
constexpr int HELP_VIEW_ESC = -7;
constexpr int HELP_VIEW_PREVIOUS = -6;
constexpr int HELP_VIEW_GENERAL = -5;

struct HelpHistoryEntry {
  int topic, page, link;
};

void help_set_file(const std::string& path);  // UTF-8
const std::string& help_file_path();

// Runs the viewer from a topic until the user leaves: HELP_OK, HELP_NO_FILE,
// HELP_NO_TOPIC (help_missing_topic tells which) or HELP_BAD_FORMAT.
int help_show(int topic);
int help_missing_topic();

// The F1 hot-key handler: shows help on the current help category and reports a missing
// topic or a bad file in a message box (a file that cannot be opened shows nothing).
void help_f1();

int help_history_count();
HelpHistoryEntry help_history_at(int index);  // 0 = the oldest
void help_history_clear();

}  // namespace tavrel
