// The lines of the Messages view: banners, what debugged executions printed, exceptions,
// the end of a procedure with its return value, and the kernel errors reported while the
// view is open. The log keeps the last 500 lines; the view is a read-only editor filled from
// it whenever the log has changed.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "editor/editor.h"

namespace tavrel {

constexpr size_t MESSAGE_LINES = 500;

// Appends a line (CP866); a line longer than an editor line goes on in the next ones, and
// the oldest lines go once more than MESSAGE_LINES are kept.
void message_log_add(std::string_view line);
const std::vector<std::string>& message_log();
// Counts the changes, so that a view knows whether it shows the log as it is.
uint32_t message_log_version();
void message_log_clear();

// Fills a Messages view's editor with the log, the cursor on the line after the last one.
void message_log_show(Editor* view);

}  // namespace tavrel
