// Console events on a terminal: the interrupt and quit characters raise signals, which the
// program ignores (its terminal modes usually keep them from being sent at all).
#include <csignal>

#include "platform/platform.h"

namespace tavrel {

void platform_ignore_console_events() { std::signal(SIGINT, SIG_IGN); }

}  // namespace tavrel
