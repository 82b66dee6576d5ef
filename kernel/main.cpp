// tavrel-kernel: the reference kernel. tavrel-kernel [--db FILE] [--instance NAME] [--demo]
// A thin entry over the kernel library: options in, kernel_serve (kernel/server.h) runs.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "kernel/server.h"

namespace {

// $XDG_DATA_HOME/tavrel/tavrel.db, else ~/.local/share/tavrel/tavrel.db (%APPDATA% on Win32).
std::string default_database() {
  std::filesystem::path dir;
  if (const char* data = std::getenv("XDG_DATA_HOME"); data != nullptr && data[0] != 0) {
    dir = std::filesystem::path(data) / "tavrel";
  } else if (const char* app = std::getenv("APPDATA"); app != nullptr && app[0] != 0) {
    dir = std::filesystem::path(app) / "tavrel";
  } else if (const char* home = std::getenv("HOME"); home != nullptr && home[0] != 0) {
    dir = std::filesystem::path(home) / ".local" / "share" / "tavrel";
  } else {
    dir = ".";
  }
  std::error_code ignored;
  std::filesystem::create_directories(dir, ignored);
  return (dir / "tavrel.db").string();
}

int usage() {
  std::fprintf(stderr, "usage: tavrel-kernel [--db FILE] [--instance NAME] [--demo]\n");
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  tavrel::kernel::KernelOptions options;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--db") == 0 && i + 1 < argc) {
      options.db_path = argv[++i];
    } else if (std::strcmp(argv[i], "--instance") == 0 && i + 1 < argc) {
      options.instance = argv[++i];
    } else if (std::strcmp(argv[i], "--demo") == 0) {
      options.demo = true;
    } else {
      return usage();
    }
  }
  if (options.instance.size() > 130) {
    std::fprintf(stderr, "tavrel-kernel: an instance name has at most 130 characters\n");
    return 1;
  }
  if (options.db_path.empty()) options.db_path = default_database();
  return tavrel::kernel::kernel_serve(options);
}
