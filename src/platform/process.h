// Child processes, for the programs and tests that start a server of their own: start one,
// wait for its end, interrupt or kill it. A child never outlives the process that started it.
#pragma once

#include <cstdint>

namespace tavrel {

struct ChildProcess;

// Starts program with the arguments args (args[0] is the program's name; nullptr ends the
// list). 0, or the system error number.
int process_start(const char* program, const char* const* args, ChildProcess** out);

uint32_t process_pid(const ChildProcess* child);

// Waits up to milliseconds (-1: without limit) for the child to end. True when it has ended,
// with its exit status in *status (a child ended by a signal: 128 + the signal number).
bool process_wait(ChildProcess* child, int milliseconds, int* status);

// Asks the child to stop as the console's interrupt key would: SIGINT, or Ctrl+Break to the
// child's own console process group. 0, or the system error number.
int process_interrupt(ChildProcess* child);

// Kills the child when it still runs, waits for its end and frees the record.
void process_end(ChildProcess* child);

}  // namespace tavrel
