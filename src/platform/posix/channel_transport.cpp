// POSIX endpoints of the kernel channel: AF_UNIX datagram sockets and process-record files
// in a private run directory ($TAVREL_RUNDIR, else $XDG_RUNTIME_DIR/tavrel, else
// /tmp/tavrel-<uid>, mode 0700), and server processes watched through pidfds.
#include "platform/ipc.h"

#include "protocol/bytes.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <malloc.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace tavrel {

struct IpcEndpoint {
  int fd = -1;
  // Set by the stopping thread (or a signal handler) and read by the receiving thread: an
  // atomic, since a volatile flag is no hand-over between threads.
  std::atomic<int> stopped{0};        // an empty datagram is not a stop
  std::atomic<int> woken{0};          // an empty datagram then is a wake (reply endpoints)
  int record_fd = -1;     // servers: the locked process record
  char path[108] = {};    // bound socket path, removed on close
  char record[108] = {};  // servers: process record path, removed on close
};

struct IpcProcess {
  uint32_t pid;
  int pidfd;  // -1: watched by kill(pid, 0)
};

struct IpcWatch {
  int pipe_read = -1;
  int pipe_write = -1;
};

namespace {

// Sockets carry frames of up to 65,528 bytes and a queue of them.
constexpr int SOCKET_BUFFER = 1 << 20;

const char* route_endpoint_name(int route) {
  return route == IPC_ROUTE_AGENT ? "TavNetMailslot5" : "TavrelMailslot5";
}
const char* route_record_name(int route) {
  return route == IPC_ROUTE_AGENT ? "AgentProcessInfo" : "TavrelProcessInfo";
}

// rundir/name or rundir/name(instance); ENAMETOOLONG when it exceeds a socket path.
int build_path(char* out, const char* name, const char* instance) {
  int n;
  if (instance != nullptr && instance[0] != 0) {
    n = std::snprintf(out, 108, "%s/%s(%s)", ipc_run_directory(), name, instance);
  } else {
    n = std::snprintf(out, 108, "%s/%s", ipc_run_directory(), name);
  }
  return n < 0 || n >= 108 ? ENAMETOOLONG : 0;
}

int make_run_directory() {
  const char* dir = ipc_run_directory();
  if (mkdir(dir, 0700) != 0 && errno != EEXIST) return errno;
  return 0;
}

void set_buffers(int fd) {
  int size = SOCKET_BUFFER;
  setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
  setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
}

// Copies a zero-terminated text, cut to fit, always terminated.
void copy_text(char* dst, size_t capacity, const char* src) {
  const size_t n = strnlen(src, capacity - 1);
  std::memcpy(dst, src, n);
  dst[n] = '\0';
}

int bind_socket(IpcEndpoint* ep, const char* path) {
  ep->fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (ep->fd < 0) return errno;
  set_buffers(ep->fd);
  sockaddr_un addr{};
  addr.sun_family = AF_UNIX;
  copy_text(addr.sun_path, sizeof addr.sun_path, path);
  unlink(path);
  if (bind(ep->fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
    const int error = errno;
    close(ep->fd);
    ep->fd = -1;
    return error;
  }
  copy_text(ep->path, sizeof ep->path, path);
  return 0;
}

// The endpoint whose receive a signal stops; set by the thread that opened the server and
// read by the handler on whichever thread takes the signal.
std::atomic<IpcEndpoint*> g_signal_endpoint{nullptr};
// Both are touched inside a signal handler, which only a lock-free atomic allows.
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<IpcEndpoint*>::is_always_lock_free);

extern "C" void stop_handler(int) {
  IpcEndpoint* ep = g_signal_endpoint.load();
  if (ep != nullptr) {
    ep->stopped = 1;
    shutdown(ep->fd, SHUT_RD);
  }
}

}  // namespace

uint32_t ipc_process_id() { return static_cast<uint32_t>(getpid()); }
uint32_t ipc_thread_id() { return static_cast<uint32_t>(syscall(SYS_gettid)); }
// The sockets carry frames as the mailslots do.
uint8_t ipc_message_type() { return 13; }

const char* ipc_run_directory() {
  // Read on every call: tests point TAVREL_RUNDIR at a directory of their own.
  thread_local char dir[96];
  const char* value = std::getenv("TAVREL_RUNDIR");
  if (value != nullptr && value[0] != 0) {
    std::snprintf(dir, sizeof dir, "%s", value);
  } else if ((value = std::getenv("XDG_RUNTIME_DIR")) != nullptr && value[0] != 0) {
    std::snprintf(dir, sizeof dir, "%s/tavrel", value);
  } else {
    std::snprintf(dir, sizeof dir, "/tmp/tavrel-%u", static_cast<unsigned>(getuid()));
  }
  return dir;
}

// Removes the reply endpoints of client processes that ended without closing them (killed,
// say): names of digits ending in "5" whose process id no longer runs.
void sweep_dead_replies() {
  DIR* dir = opendir(ipc_run_directory());
  if (dir == nullptr) return;
  while (const dirent* entry = readdir(dir)) {
    const char* name = entry->d_name;
    const size_t length = std::strlen(name);
    if (length < 2 || length > 11 || name[length - 1] != '5') continue;
    long pid = 0;
    bool digits = true;
    for (size_t i = 0; i + 1 < length && digits; ++i) {
      digits = name[i] >= '0' && name[i] <= '9';
      pid = pid * 10 + (name[i] - '0');
    }
    if (!digits || pid <= 0 || pid > 0x7FFFFFFF) continue;
    if (kill(static_cast<pid_t>(pid), 0) != 0 && errno == ESRCH) unlinkat(dirfd(dir), name, 0);
  }
  closedir(dir);
}

int ipc_reply_open(IpcEndpoint** out) {
  if (const int error = make_run_directory()) return error;
  sweep_dead_replies();
  char name[32];
  std::snprintf(name, sizeof name, "%u5", ipc_process_id());
  char path[108];
  if (const int error = build_path(path, name, nullptr)) return error;
  auto* ep = new IpcEndpoint;
  if (const int error = bind_socket(ep, path)) {
    delete ep;
    return error;
  }
  *out = ep;
  return 0;
}

long ipc_receive(IpcEndpoint* ep, void* buffer, size_t capacity) {
  for (;;) {
    const ssize_t n = recv(ep->fd, buffer, capacity, 0);
    if (n > 0 || (n == 0 && ep->stopped)) return static_cast<long>(n);
    if (n == 0) {
      if (ep->woken.exchange(0) != 0) return IPC_WOKEN;
      continue;
    }
    if (errno != EINTR) return -1;
  }
}

void ipc_receive_wake(IpcEndpoint* ep) {
  ep->woken = 1;
  // An empty datagram to the endpoint's own address brings a blocked recv out.
  sockaddr_un addr{};
  addr.sun_family = AF_UNIX;
  copy_text(addr.sun_path, sizeof addr.sun_path, ep->path);
  while (sendto(ep->fd, "", 0, MSG_NOSIGNAL, reinterpret_cast<sockaddr*>(&addr), sizeof addr) < 0 && errno == EINTR) {
  }
}

void ipc_receive_stop(IpcEndpoint* ep) {
  ep->stopped = 1;
  shutdown(ep->fd, SHUT_RD);
}

void ipc_close(IpcEndpoint* ep) {
  if (ep == nullptr) return;
  IpcEndpoint* expected = ep;
  g_signal_endpoint.compare_exchange_strong(expected, nullptr);
  if (ep->fd >= 0) close(ep->fd);
  if (ep->path[0] != 0) unlink(ep->path);
  if (ep->record[0] != 0) unlink(ep->record);
  if (ep->record_fd >= 0) close(ep->record_fd);
  delete ep;
}

int ipc_route_open(int route, const char* instance, IpcEndpoint** out, uint32_t* server_pid) {
  char path[108];
  if (const int error = build_path(path, route_record_name(route), instance)) return error;
  const int rfd = open(path, O_RDONLY | O_CLOEXEC);
  if (rfd < 0) return errno;
  unsigned char bytes[4];
  const ssize_t n = pread(rfd, bytes, 4, 0);
  close(rfd);
  if (n != 4) return ENOENT;
  const uint32_t pid = get_u32(bytes);
  if (!ipc_process_alive(pid)) return ESRCH;
  if (const int error = build_path(path, route_endpoint_name(route), instance)) return error;
  const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return errno;
  set_buffers(fd);
  sockaddr_un addr{};
  addr.sun_family = AF_UNIX;
  copy_text(addr.sun_path, sizeof addr.sun_path, path);
  if (connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
    const int error = errno;
    close(fd);
    return error;
  }
  auto* ep = new IpcEndpoint;
  ep->fd = fd;
  *out = ep;
  *server_pid = pid;
  return 0;
}

int ipc_send(IpcEndpoint* ep, const void* data, size_t length) {
  for (;;) {
    if (send(ep->fd, data, length, MSG_NOSIGNAL) >= 0) return 0;
    if (errno != EINTR) return errno;
  }
}

bool ipc_process_alive(uint32_t pid) {
  return pid != 0 && (kill(static_cast<pid_t>(pid), 0) == 0 || errno == EPERM);
}

int ipc_process_open(uint32_t pid, IpcProcess** out) {
  if (!ipc_process_alive(pid)) return ESRCH;
  int pidfd = -1;
#ifdef SYS_pidfd_open
  pidfd = static_cast<int>(syscall(SYS_pidfd_open, static_cast<pid_t>(pid), 0));
#endif
  *out = new IpcProcess{pid, pidfd};
  return 0;
}

void ipc_process_close(IpcProcess* process) {
  if (process == nullptr) return;
  if (process->pidfd >= 0) close(process->pidfd);
  delete process;
}

int ipc_watch_open(IpcWatch** out) {
  int fds[2];
  if (pipe2(fds, O_CLOEXEC | O_NONBLOCK) != 0) return errno;
  *out = new IpcWatch{fds[0], fds[1]};
  return 0;
}

int ipc_watch_wait(IpcWatch* watch, IpcProcess* const* processes, int count) {
  std::vector<pollfd> fds;
  fds.push_back({watch->pipe_read, POLLIN, 0});
  bool fallback = false;
  for (int i = 0; i < count; ++i) {
    fds.push_back({processes[i]->pidfd, POLLIN, 0});  // a negative fd is ignored by poll
    if (processes[i]->pidfd < 0) fallback = true;
  }
  for (;;) {
    // Without pidfds the processes are looked at five times a second.
    const int ready = poll(fds.data(), fds.size(), fallback ? 200 : -1);
    if (ready < 0 && errno != EINTR) return -1;
    if (fds[0].revents != 0) {
      char drain[64];
      while (read(watch->pipe_read, drain, sizeof drain) > 0) {
      }
      return -1;
    }
    for (int i = 0; i < count; ++i) {
      if (processes[i]->pidfd >= 0 ? fds[i + 1].revents != 0 : !ipc_process_alive(processes[i]->pid)) {
        return i;
      }
    }
  }
}

void ipc_watch_wake(IpcWatch* watch) {
  const char byte = 1;
  [[maybe_unused]] const ssize_t n = write(watch->pipe_write, &byte, 1);
}

void ipc_watch_close(IpcWatch* watch) {
  if (watch == nullptr) return;
  close(watch->pipe_read);
  close(watch->pipe_write);
  delete watch;
}

int ipc_server_open(int route, const char* instance, IpcEndpoint** out) {
  if (const int error = make_run_directory()) return error;
  // A server builds frames of up to 64 KB on many threads, one request after another. The
  // allocator would hand the freed memory of each back to the system and fault it in again
  // for the next (a quarter of the time of a 64 KB answer): it keeps it instead.
  mallopt(M_TRIM_THRESHOLD, 32 << 20);
  mallopt(M_MMAP_THRESHOLD, 32 << 20);
  char record[108];
  char path[108];
  if (const int error = build_path(record, route_record_name(route), instance)) return error;
  if (const int error = build_path(path, route_endpoint_name(route), instance)) return error;
  // The record stays locked while the server lives: a second server finds it locked, and a
  // killed server's lock goes with it.
  const int rfd = open(record, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (rfd < 0) return errno;
  if (flock(rfd, LOCK_EX | LOCK_NB) != 0) {
    const int error = errno;
    close(rfd);
    return error == EWOULDBLOCK ? IPC_BUSY : error;
  }
  auto* ep = new IpcEndpoint;
  ep->record_fd = rfd;
  if (const int error = bind_socket(ep, path)) {
    close(rfd);
    delete ep;
    return error;
  }
  const uint32_t pid = ipc_process_id();
  const unsigned char bytes[4] = {static_cast<unsigned char>(pid), static_cast<unsigned char>(pid >> 8),
                                  static_cast<unsigned char>(pid >> 16), static_cast<unsigned char>(pid >> 24)};
  if (ftruncate(rfd, 0) != 0 || pwrite(rfd, bytes, 4, 0) != 4) {
    const int error = errno;
    ipc_close(ep);
    return error;
  }
  copy_text(ep->record, sizeof ep->record, record);
  *out = ep;
  return 0;
}

namespace {

// Sockets connected to the reply endpoints of the clients a thread has answered lately: a
// connected send skips the lookup of the endpoint's path on every answer. A session's
// worker answers one client, so a few entries per thread suffice.
struct ReplySocket {
  uint32_t pid = 0;
  int fd = -1;
};
constexpr size_t REPLY_SOCKETS = 4;

struct ReplySockets {
  ReplySocket entry[REPLY_SOCKETS];
  size_t next = 0;  // the entry replaced next
  ~ReplySockets() {
    for (ReplySocket& e : entry) {
      if (e.fd >= 0) close(e.fd);
    }
  }
};

int reply_address(uint32_t client_pid, sockaddr_un* addr) {
  char name[32];
  std::snprintf(name, sizeof name, "%u5", client_pid);
  *addr = {};
  addr->sun_family = AF_UNIX;
  return build_path(addr->sun_path, name, nullptr);
}

// A socket connected to the client's reply endpoint, or -1.
int connected_reply_socket(ReplySockets& cache, uint32_t client_pid) {
  for (ReplySocket& e : cache.entry) {
    if (e.fd >= 0 && e.pid == client_pid) return e.fd;
  }
  sockaddr_un addr;
  if (reply_address(client_pid, &addr) != 0) return -1;
  const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return -1;
  set_buffers(fd);
  if (connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
    close(fd);
    return -1;
  }
  ReplySocket& e = cache.entry[cache.next];
  cache.next = (cache.next + 1) % REPLY_SOCKETS;
  if (e.fd >= 0) close(e.fd);
  e = {client_pid, fd};
  return fd;
}

void forget_reply_socket(ReplySockets& cache, int fd) {
  for (ReplySocket& e : cache.entry) {
    if (e.fd == fd) {
      close(fd);
      e = {};
    }
  }
}

}  // namespace

int ipc_reply_to(IpcEndpoint* server, uint32_t client_pid, const void* data, size_t length) {
  thread_local ReplySockets cache;
  // A client that has ended, or a new process under its pid, makes the connected socket
  // fail: it is dropped and the answer goes by the endpoint's path once more.
  if (const int fd = connected_reply_socket(cache, client_pid); fd >= 0) {
    for (;;) {
      if (send(fd, data, length, MSG_NOSIGNAL) >= 0) return 0;
      if (errno != EINTR) break;
    }
    forget_reply_socket(cache, fd);
  }
  sockaddr_un addr;
  if (reply_address(client_pid, &addr) != 0) return ENAMETOOLONG;
  for (;;) {
    if (sendto(server->fd, data, length, MSG_NOSIGNAL, reinterpret_cast<sockaddr*>(&addr), sizeof addr) >= 0) {
      return 0;
    }
    if (errno != EINTR) return errno;
  }
}

void ipc_stop_on_signals(IpcEndpoint* server) {
  g_signal_endpoint = server;
  struct sigaction action {};
  action.sa_handler = stop_handler;
  sigemptyset(&action.sa_mask);
  sigaction(SIGTERM, &action, nullptr);
  sigaction(SIGINT, &action, nullptr);
  signal(SIGPIPE, SIG_IGN);
}

}  // namespace tavrel
