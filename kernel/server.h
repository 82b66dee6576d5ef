// The kernel's server loop: receives request frames on the instance's endpoint, logs
// sessions on (OPEN), routes KILL, and hands every other request to its session.
#pragma once

#include <string>

namespace tavrel::kernel {

struct KernelOptions {
  std::string db_path;
  std::string instance;
  bool demo = false;
};

// Runs until SIGTERM/SIGINT; returns the process exit status.
int kernel_serve(const KernelOptions& options);

}  // namespace tavrel::kernel
