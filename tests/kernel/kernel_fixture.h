// A real tavrel-kernel for integration tests: a private run directory, a kernel started on a
// demo database in it (dying with the test process, even a killed one), and the clean-up.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace tavrel {

// The kernel's pid from its process record (4 bytes, little-endian), 0 when there is none.
inline uint32_t kernel_record_pid(const std::string& path) {
  FILE* f = std::fopen(path.c_str(), "rb");
  if (f == nullptr) return 0;
  unsigned char bytes[4] = {};
  const size_t n = std::fread(bytes, 1, 4, f);
  std::fclose(f);
  return n == 4 ? bytes[0] | bytes[1] << 8 | bytes[2] << 16 | static_cast<uint32_t>(bytes[3]) << 24 : 0;
}

// Starts a kernel on rundir/kernel.db (on an instance when given) and waits, generously,
// until it serves. Returns its pid, or -1 when it ended first (its wait status in *status).
inline pid_t kernel_start(const std::string& rundir, const char* instance = nullptr, int* status = nullptr) {
  const pid_t child = fork();
  if (child == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const std::string db = rundir + "/kernel.db";
    if (instance != nullptr) {
      execl(TAVREL_KERNEL_PATH, "tavrel-kernel", "--db", db.c_str(), "--demo", "--instance", instance, nullptr);
    } else {
      execl(TAVREL_KERNEL_PATH, "tavrel-kernel", "--db", db.c_str(), "--demo", nullptr);
    }
    _exit(127);
  }
  const std::string record =
      rundir + (instance != nullptr ? "/TavrelProcessInfo(" + std::string(instance) + ")" : std::string("/TavrelProcessInfo"));
  for (int i = 0; i < 600; ++i) {
    // A killed kernel leaves its record behind: wait for the new kernel's own.
    if (kernel_record_pid(record) == static_cast<uint32_t>(child)) return child;
    int s;
    if (waitpid(child, &s, WNOHANG) == child) {
      if (status != nullptr) *status = s;
      return -1;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  return -1;
}

inline void kernel_stop(pid_t kernel) {
  if (kernel <= 0) return;
  kill(kernel, SIGKILL);
  waitpid(kernel, nullptr, 0);
}

// A test with its own run directory and a kernel serving it.
class KernelTest : public ::testing::Test {
 protected:
  void start(const char* prefix) {
    std::string pattern = std::string("/tmp/") + prefix + "-XXXXXX";
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    rundir = pattern;
    setenv("TAVREL_RUNDIR", rundir.c_str(), 1);
    unsetenv("TAVREL_MBX");
    pid = kernel_start(rundir);
    ASSERT_GT(pid, 0);
  }
  void finish() {
    kernel_stop(pid);
    pid = -1;
    std::error_code ignored;
    std::filesystem::remove_all(rundir, ignored);
  }

  std::string rundir;
  pid_t pid = -1;
};

}  // namespace tavrel
