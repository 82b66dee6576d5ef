// The child processes of the bench (see child_process.h): posix_spawn with the child's
// standard output and error on one pipe, a pidfd to poll for its exit beside its output, and
// FIONREAD on its input pipe to see that it has read its commands.
#include "child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <thread>

namespace tavrel::bench {

void close_fd(int* fd) {
  if (*fd >= 0) close(*fd);
  *fd = -1;
}

bool child_reap(Child* c, int timeout_ms, int* status) {
  if (c->pid < 0) return false;
  pollfd exit_fd{c->pidfd, POLLIN, 0};
  const bool exited = c->pidfd >= 0 && poll(&exit_fd, 1, timeout_ms) == 1;
  if (!exited) kill(c->pid, SIGKILL);
  int reaped = 0;
  while (waitpid(c->pid, &reaped, 0) < 0 && errno == EINTR) {
  }
  if (status != nullptr) *status = reaped;
  c->pid = -1;
  close_fd(&c->pidfd);
  close_fd(&c->in);
  close_fd(&c->out);
  c->pending.clear();
  return exited;
}

int child_start(Child* c, const char* path, const char* const argv[]) {
  int to_child[2] = {-1, -1};
  int from_child[2] = {-1, -1};
  if (pipe2(to_child, O_CLOEXEC) != 0 || pipe2(from_child, O_CLOEXEC) != 0) {
    const int e = errno;
    for (int* fd : {&to_child[0], &to_child[1], &from_child[0], &from_child[1]}) close_fd(fd);
    return e;
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, to_child[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, from_child[1], STDOUT_FILENO);
  // Error lines come in the same stream as the rest, in the order they were written.
  posix_spawn_file_actions_adddup2(&actions, from_child[1], STDERR_FILENO);
  const int spawned = posix_spawn(&c->pid, path, &actions, nullptr, const_cast<char* const*>(argv), environ);
  posix_spawn_file_actions_destroy(&actions);
  close_fd(&to_child[0]);
  close_fd(&from_child[1]);
  c->in = to_child[1];
  c->out = from_child[0];
  if (spawned != 0) {
    c->pid = -1;
    close_fd(&c->in);
    close_fd(&c->out);
    return spawned;
  }
  // A child that has already exited still has its pidfd until it is reaped. The system call
  // directly: the C library's declaration of it cannot be linked from C++ here.
  c->pidfd = static_cast<int>(syscall(SYS_pidfd_open, c->pid, 0));
  if (c->pidfd < 0) {
    const int e = errno;
    child_reap(c, 0);
    return e;
  }
  return 0;
}

bool write_line(Child& c, std::string_view line) {
  std::string text(line);
  text += '\n';
  size_t done = 0;
  while (done < text.size()) {
    const ssize_t n = write(c.in, text.data() + done, text.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<size_t>(n);
  }
  return true;
}

bool input_drained(const Child& c, int timeout_ms) {
  const auto deadline = Clock::now() + std::chrono::milliseconds(timeout_ms);
  for (;;) {
    int queued = 0;
    if (ioctl(c.in, FIONREAD, &queued) != 0) return false;
    if (queued == 0) return true;
    pollfd exit_fd{c.pidfd, POLLIN, 0};
    if (poll(&exit_fd, 1, 0) != 0 || Clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::microseconds(200));
  }
}

Seen next_line(Child& reader, const Child* watched, Clock::time_point deadline, std::string* line) {
  for (;;) {
    const size_t end = reader.pending.find('\n');
    if (end != std::string::npos) {
      line->assign(reader.pending, 0, end);
      reader.pending.erase(0, end + 1);
      return Seen::LINE;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    if (left <= 0) return Seen::TIMED_OUT;
    // A descriptor of -1 is left out by poll.
    pollfd fds[2] = {{reader.out, POLLIN, 0}, {watched != nullptr ? watched->pidfd : -1, POLLIN, 0}};
    if (poll(fds, 2, static_cast<int>(std::min<int64_t>(left, CHILD_TIMEOUT_MS))) < 0) {
      if (errno == EINTR) continue;
      return Seen::CLOSED;
    }
    if ((fds[0].revents & (POLLIN | POLLHUP | POLLERR)) != 0) {
      char chunk[4096];
      const ssize_t n = read(reader.out, chunk, sizeof chunk);
      if (n > 0) {
        reader.pending.append(chunk, static_cast<size_t>(n));
        continue;
      }
      if (n < 0 && errno == EINTR) continue;
      return Seen::CLOSED;
    }
    if ((fds[1].revents & POLLIN) != 0) return Seen::EXITED;
  }
}

std::string last_line(Child& c) {
  std::string last;
  std::string line;
  const auto deadline = Clock::now() + std::chrono::milliseconds(100);
  while (next_line(c, nullptr, deadline, &line) == Seen::LINE) last = line;
  return c.pending.empty() ? last : c.pending;
}

std::string failure_text(Child& c, std::string_view what) {
  const std::string last = last_line(c);
  return last.empty() ? std::string(what) : std::string(what) + ": " + last;
}

}  // namespace tavrel::bench
