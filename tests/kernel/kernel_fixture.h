// A real tavrel-kernel for integration tests: a private directory (the run directory on
// POSIX, where the endpoints live), a kernel started on a demo database in it (dying with the
// test process, even a killed one), and the clean-up. Where endpoint names are machine-wide
// (Win32), a test keeps apart from others by an instance name of its own.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "channel/channel.h"
#include "platform/ipc.h"
#include "platform/platform.h"
#include "platform/process.h"
#include "protocol/bytes.h"
#include "protocol/codes.h"

namespace tavrel {

// The pid in the process record of the kernel serving the instance, 0 when none serves.
inline uint32_t kernel_serving_pid(const char* instance) {
  IpcEndpoint* endpoint = nullptr;
  uint32_t pid = 0;
  if (ipc_route_open(IPC_ROUTE_KERNEL, instance, &endpoint, &pid) != 0) return 0;
  ipc_close(endpoint);
  return pid;
}

// Starts a kernel on dir/kernel.db (on an instance when given) and waits, generously, until
// it serves. Returns it, or nullptr when it ended first (its exit status in *status).
inline ChildProcess* kernel_start(const std::string& dir, const char* instance = nullptr, int* status = nullptr) {
  const std::string db = (std::filesystem::path(dir) / "kernel.db").string();
  const char* args_default[] = {"tavrel-kernel", "--db", db.c_str(), "--demo", nullptr};
  const char* args_instance[] = {"tavrel-kernel", "--db", db.c_str(), "--demo", "--instance", instance, nullptr};
  ChildProcess* child = nullptr;
  if (process_start(TAVREL_KERNEL_PATH, instance != nullptr ? args_instance : args_default, &child) != 0) {
    return nullptr;
  }
  for (int i = 0; i < 600; ++i) {
    // A killed kernel may leave its record behind: wait for the new kernel's own.
    if (kernel_serving_pid(instance) == process_pid(child)) return child;
    if (process_wait(child, 0, status)) {
      process_end(child);
      return nullptr;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  process_end(child);
  return nullptr;
}

inline void kernel_stop(ChildProcess* kernel) { process_end(kernel); }

// A request block for a command on the local kernel.
inline RequestBlock kernel_block(const char* command, uint16_t capacity = 0) {
  RequestBlock b{};
  std::memcpy(b.command, command, 4);
  std::memset(b.node, ' ', 8);
  b.answer_length = capacity;
  return b;
}
// Logs a block on (as DEMO unless told otherwise, texts in UTF-8); the return code.
inline uint32_t kernel_open(RequestBlock* b, const char* connect = "\"DEMO\"/\"DEMO\"") {
  *b = kernel_block("OPEN");
  char codepage[] = "UTF-8";
  return channel_call(b, connect, nullptr, codepage, nullptr);
}
// Runs a select and returns every value of its first answer, joined with "|".
inline std::string kernel_select(RequestBlock* b, const std::string& sql, uint32_t* code = nullptr) {
  std::memcpy(b->command, "SLCT", 4);
  std::vector<uint8_t> answer(65535);
  b->answer_length = 65535;
  const uint32_t rc = channel_call(b, nullptr, sql.c_str(), nullptr, answer.data());
  if (code != nullptr) *code = rc;
  std::string out;
  for (size_t p = 0; rc == 0 && p + 2 <= b->answer_length;) {
    const size_t n = get_u16(&answer[p]);
    if (!out.empty()) out += '|';
    out.append(reinterpret_cast<const char*>(&answer[p + 2]), n == 0xFFFF ? 0 : n);
    p += 2 + (n == 0xFFFF ? 0 : n);
  }
  return out;
}

// A test with its own directory and a kernel serving it, on the default instance or on
// the given one (then also named by TAVREL_MBX for the channel).
class KernelTest : public ::testing::Test {
 protected:
  void start(const char* prefix, const char* instance_name = nullptr) {
    static int count = 0;
    const std::string name =
        std::string(prefix) + "-" + std::to_string(ipc_process_id()) + "-" + std::to_string(++count);
    std::error_code error;
    rundir = (std::filesystem::temp_directory_path(error) / name).string();
    // Process ids come round again (quickly under Wine): a directory an interrupted run
    // left behind is emptied first.
    std::filesystem::remove_all(rundir, error);
    ASSERT_TRUE(std::filesystem::create_directories(rundir, error)) << rundir;
    platform_setenv("TAVREL_RUNDIR", rundir.c_str());
    instance = instance_name != nullptr ? instance_name : "";
    platform_setenv("TAVREL_MBX", instance_name);
    kernel = kernel_start(rundir, instance_name);
    ASSERT_NE(kernel, nullptr);
  }
  void finish() {
    kernel_stop(kernel);
    kernel = nullptr;
    std::error_code ignored;
    std::filesystem::remove_all(rundir, ignored);
  }
  const char* instance_or_null() const { return instance.empty() ? nullptr : instance.c_str(); }

  std::string rundir;
  std::string instance;
  ChildProcess* kernel = nullptr;
};

}  // namespace tavrel
