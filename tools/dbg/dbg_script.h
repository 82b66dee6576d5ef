// The commands of tavrel-dbg, one a line, executed on a Debugger: parsing, the calls into the
// debugger library, and the lines they print. Kept apart from main so that tests drive the
// commands against a scripted kernel peer.
#pragma once

#include <string>
#include <string_view>

#include "debugger/debugger.h"

namespace tavrel {

struct DbgTool {
  Debugger* d = nullptr;
  std::string out;  // lines for standard output, UTF-8
  std::string err;  // lines for standard error, UTF-8
  bool failed = false;       // some command failed: exit status 1
  bool quit = false;         // "quit" was read
  bool command_failed = false;
  ActiveList active;
};

// Binds the tool to a debugger: the debugger's notes become the tool's lines.
void dbg_bind(DbgTool& tool, Debugger& d);

// Executes one command line (UTF-8). Returns 0, or 1 when the command failed.
int dbg_execute(DbgTool& tool, std::string_view line);

// The text of --help.
const char* dbg_usage();

}  // namespace tavrel
