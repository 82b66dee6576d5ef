// Child processes of the bench with pipes to them (Linux): started with posix_spawn, their
// standard input written line by line, their standard output and error read back as lines,
// and their exit watched through a pidfd so that no wait lasts past a deadline. A child that
// hangs fails the row that started it, never the bench.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <string_view>

namespace tavrel::bench {

using Clock = std::chrono::steady_clock;

// No exit, output or read of a command is waited for longer than this: a child that hangs
// fails the row instead of the bench.
constexpr int CHILD_TIMEOUT_MS = 10'000;

// A child process: a pidfd that polls readable once it has exited, the write end of its
// standard input and the read end of its standard output and error together, with what was
// read of those but not yet taken as lines.
struct Child {
  pid_t pid = -1;
  int pidfd = -1;
  int in = -1;
  int out = -1;
  std::string pending;
};

// Closes *fd when it is open and marks it closed.
void close_fd(int* fd);

// Starts the program at `path` with pipes to its standard input and from its standard output
// and error. 0, or the errno value of what failed.
int child_start(Child* c, const char* path, const char* const argv[]);

// Waits up to timeout_ms for the child to exit, kills it if it has not, reaps it and closes
// its descriptors. True when it exited by itself, with its wait status in *status when given.
bool child_reap(Child* c, int timeout_ms, int* status = nullptr);

// Writes `line` and a newline to the child's standard input; false when it cannot take them.
bool write_line(Child& c, std::string_view line);

// Whether the child has read all that was written to its standard input, within timeout_ms
// and before it exits.
bool input_drained(const Child& c, int timeout_ms);

enum class Seen { LINE, EXITED, CLOSED, TIMED_OUT };

// The next whole line of the reader's output, unless `watched` (when given) exits first or
// the deadline passes; output that came before that exit is taken first.
Seen next_line(Child& reader, const Child* watched, Clock::time_point deadline, std::string* line);

// The last line the child printed that was not read yet (its error, as a rule), waited for
// a moment at most.
std::string last_line(Child& c);

// What went wrong with a child, with the last line it printed.
std::string failure_text(Child& c, std::string_view what);

}  // namespace tavrel::bench
