// tavrel-dbg: a line-mode debugger of stored procedures.
//   tavrel-dbg [-N NODE] -U USER/PASSWORD [-x FILE]
// Logs on to the kernel (code page CP866, the debugger's own), reads commands from FILE or
// standard input, one a line, and prints what they give in UTF-8 (dbg_script.cpp). Ctrl+C ends
// a request that waits for a procedure; elsewhere it ends the program. Exit status 0, 1 after
// a failed command or a failed logon, 2 for bad arguments.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>

#include "channel/channel.h"
#include "dbg_script.h"

namespace {

using namespace tavrel;

constexpr size_t NODE_MAX = 8;
constexpr int EXIT_ERROR = 1;
constexpr int EXIT_USAGE = 2;

volatile std::sig_atomic_t g_waiting = 0;
volatile std::sig_atomic_t g_interrupt = 0;

void on_interrupt(int) {
  if (g_waiting == 0) std::_Exit(130);
  g_interrupt = 1;
  std::signal(SIGINT, on_interrupt);
}

bool interrupt_wanted(void*) {
  if (g_interrupt == 0) return false;
  g_interrupt = 0;
  return true;
}

void wait_shown(void*, bool visible) {
  g_interrupt = 0;
  g_waiting = visible ? 1 : 0;
}

struct Options {
  std::string node;
  std::string connect;
  std::string file;
};

int usage(const char* message) {
  if (message != nullptr) std::fprintf(stderr, "tavrel-dbg: %s\n", message);
  std::fputs(dbg_usage(), stderr);
  return EXIT_USAGE;
}

int parse_options(int argc, char** argv, Options* options) {
  std::string user;
  for (int i = 1; i < argc; ++i) {
    const std::string_view arg = argv[i];
    if (arg == "--help" || arg == "-h") {
      std::fputs(dbg_usage(), stdout);
      std::exit(0);
    }
    if ((arg == "-N" || arg == "-U" || arg == "-x") && i + 1 == argc) return usage("an option lacks its value");
    if (arg == "-N") {
      options->node = argv[++i];
      if (options->node.size() > NODE_MAX) return usage("a node name has at most 8 characters");
    } else if (arg == "-U") {
      user = argv[++i];
    } else if (arg == "-x") {
      options->file = argv[++i];
    } else {
      return usage(nullptr);
    }
  }
  if (user.empty()) return usage("-U USER/PASSWORD is required");
  if (!connect_string(user, &options->connect)) return usage("-U takes USER/PASSWORD");
  return 0;
}

void flush(DbgTool& tool) {
  std::fwrite(tool.out.data(), 1, tool.out.size(), stdout);
  std::fflush(stdout);
  std::fwrite(tool.err.data(), 1, tool.err.size(), stderr);
  std::fflush(stderr);
  tool.out.clear();
  tool.err.clear();
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (const int rc = parse_options(argc, argv, &options)) return rc;
  std::ifstream file;
  if (!options.file.empty()) {
    file.open(options.file, std::ios::binary);
    if (!file) {
      std::fprintf(stderr, "tavrel-dbg: cannot read %s\n", options.file.c_str());
      return EXIT_USAGE;
    }
  }
  std::istream& in = options.file.empty() ? std::cin : file;

  RequestBlock block{};
  std::memset(block.node, ' ', NODE_MAX);
  std::memcpy(block.node, options.node.data(), options.node.size());
  std::memcpy(block.command, "OPEN", 4);
  char codepage[] = "CP866";
  auto d = std::make_unique<Debugger>();
  DbgTool tool;
  debugger_init(*d, &block, options.connect, codepage);
  dbg_bind(tool, *d);
  std::memcpy(block.command, "OPEN", 4);
  if (const uint32_t code = channel_call(&block, options.connect.c_str(), nullptr, codepage, nullptr)) {
    debugger_report(*d, code, block.system_code);
    flush(tool);
    channel_shutdown();
    return EXIT_ERROR;
  }
  std::memcpy(block.command, "PROC", 4);
  d->interrupt_wanted = interrupt_wanted;
  d->wait_shown = wait_shown;
  std::signal(SIGINT, on_interrupt);

  std::string line;
  while (!tool.quit && std::getline(in, line)) {
    dbg_execute(tool, line);
    flush(tool);
  }

  debugger_shutdown(*d);
  flush(tool);
  std::memcpy(block.command, "CLOS", 4);
  channel_call(&block, nullptr, nullptr, nullptr, nullptr);
  channel_shutdown();
  return tool.failed ? EXIT_ERROR : 0;
}
