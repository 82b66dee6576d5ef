// Child processes on POSIX: fork and exec, with a parent-death signal so that a child dies
// with its parent even when the parent is killed.
#include "platform/process.h"

#include <cerrno>
#include <csignal>
#include <ctime>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tavrel {

struct ChildProcess {
  pid_t pid;
  bool reaped = false;
  int status = 0;
};

namespace {

int exit_status(int wait_status) {
  if (WIFEXITED(wait_status)) return WEXITSTATUS(wait_status);
  if (WIFSIGNALED(wait_status)) return 128 + WTERMSIG(wait_status);
  return -1;
}

}  // namespace

int process_start(const char* program, const char* const* args, ChildProcess** out) {
  const pid_t parent = getpid();
  const pid_t child = fork();
  if (child < 0) return errno;
  if (child == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // The parent may have ended before the signal was asked for.
    if (getppid() != parent) _exit(127);
    execv(program, const_cast<char* const*>(args));
    _exit(127);
  }
  *out = new ChildProcess{child};
  return 0;
}

uint32_t process_pid(const ChildProcess* child) { return static_cast<uint32_t>(child->pid); }

bool process_wait(ChildProcess* child, int milliseconds, int* status) {
  // Polled in steps of 10 ms: there is no waitpid with a time-out.
  for (int waited = 0; !child->reaped; waited += 10) {
    int s = 0;
    const pid_t r = waitpid(child->pid, &s, milliseconds < 0 ? 0 : WNOHANG);
    if (r == child->pid) {
      child->reaped = true;
      child->status = exit_status(s);
      break;
    }
    if (r < 0 && errno != EINTR) return false;
    if (milliseconds >= 0 && waited >= milliseconds) return false;
    if (r == 0) {
      const timespec step{0, 10'000'000};
      nanosleep(&step, nullptr);
    }
  }
  if (status != nullptr) *status = child->status;
  return true;
}

int process_interrupt(ChildProcess* child) {
  if (child->reaped) return ESRCH;
  return kill(child->pid, SIGINT) == 0 ? 0 : errno;
}

void process_end(ChildProcess* child) {
  if (child == nullptr) return;
  if (!child->reaped) {
    kill(child->pid, SIGKILL);
    process_wait(child, -1, nullptr);
  }
  delete child;
}

}  // namespace tavrel
