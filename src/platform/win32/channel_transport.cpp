// Win32 endpoints of the kernel channel, in its two modes.
// Mailslot mode (NT-family systems): the reply mailslot "\\.\mailslot\<pid>5", the kernel's
// "\\.\mailslot\TavrelMailslot5[(instance)]", the agent's "TavNetMailslot5[(instance)]".
// Shared-memory mode (other systems, or TAVREL_TRANSPORT=shared): the client's reply area
// "M<pid>" with its events "E<pid>" (answer written) and "EL<pid>" (area free), the kernel's
// request area "Tavrel[(instance)]" with "TavrelLock" (area free) and "TavrelLocal" (request
// written), the agent's "TavrelAgent", "TavrelAgentReady", "TavrelAgentAdd".
// Both modes: the process records, named file mappings "<prefix>TavrelProcessInfo[(instance)]"
// holding the server's process id, the prefix "Global\" from version 5 on, looked up without
// it when that name does not exist. A server serves both modes at once and answers each
// client in the mode named by the last byte of the request's trailer.
#include "platform/ipc.h"

#include "protocol/bytes.h"
#include "protocol/request.h"

#include <windows.h>

#include <cstdio>
#include <cstring>
#include <utility>
#include <vector>

namespace tavrel {

namespace {

// An owned kernel-object handle, closed with its owner. Null when absent (a failed
// CreateFile or CreateMailslot gives INVALID_HANDLE_VALUE, which is stored as null).
struct OwnedHandle {
  HANDLE h = nullptr;
  OwnedHandle() = default;
  explicit OwnedHandle(HANDLE handle) : h(handle == INVALID_HANDLE_VALUE ? nullptr : handle) {}
  OwnedHandle(const OwnedHandle&) = delete;
  OwnedHandle& operator=(const OwnedHandle&) = delete;
  OwnedHandle(OwnedHandle&& other) noexcept : h(std::exchange(other.h, nullptr)) {}
  OwnedHandle& operator=(OwnedHandle&& other) noexcept {
    std::swap(h, other.h);
    return *this;
  }
  ~OwnedHandle() {
    if (h != nullptr) CloseHandle(h);
  }
  explicit operator bool() const { return h != nullptr; }
};

// A mapped view of a file mapping, unmapped with its owner.
struct MappedView {
  uint8_t* p = nullptr;
  MappedView() = default;
  MappedView(const MappedView&) = delete;
  MappedView& operator=(const MappedView&) = delete;
  ~MappedView() {
    if (p != nullptr) UnmapViewOfFile(p);
  }
};

// One exchange, and the frame offsets the shared-memory mode needs to tell a frame's length
// from the bytes in an area (a mailslot message carries its length, an area does not).
constexpr size_t AREA_SIZE = EXCHANGE_MAX;
constexpr uint8_t TYPE_MAILSLOT = 13;
constexpr uint8_t TYPE_SHARED = 12;
constexpr DWORD PLATFORM_NT = 2;  // VER_PLATFORM_WIN32_NT
// How long a server waits for a client's reply area to be free before dropping the answer.
constexpr DWORD REPLY_WAIT_MS = 60000;
// How long the console handler lets the server end its sessions after a close event.
constexpr DWORD CLOSE_GRACE_MS = 5000;

enum class Mode { mailslot, shared };

struct Settings {
  Mode mode;
  const char* prefix;
};

// Chosen once per process: the platform id gives the mode, the major version the prefix.
// TAVREL_TRANSPORT ("mailslot" or "shared") overrides the mode, so that both are tested on
// one system.
const Settings& settings() {
  static const Settings s = [] {
    OSVERSIONINFOA info{};
    info.dwOSVersionInfoSize = sizeof info;
    const bool known = GetVersionExA(&info) != 0;
    Settings r{};
    r.mode = known && info.dwPlatformId == PLATFORM_NT ? Mode::mailslot : Mode::shared;
    r.prefix = known && info.dwMajorVersion >= 5 ? "Global\\" : "";
    char forced[16] = {};
    const DWORD n = GetEnvironmentVariableA("TAVREL_TRANSPORT", forced, sizeof forced);
    if (n > 0 && n < sizeof forced) {
      if (std::strcmp(forced, "shared") == 0) r.mode = Mode::shared;
      if (std::strcmp(forced, "mailslot") == 0) r.mode = Mode::mailslot;
    }
    return r;
  }();
  return s;
}

}  // namespace

struct IpcEndpoint {
  bool server = false;
  Mode mode = Mode::mailslot;
  OwnedHandle slot;        // the mailslot: read handle (reply, server) or write handle (route)
  char slot_name[200] = {};
  volatile LONG stopped = 0;
  volatile LONG woken = 0;     // reply, mailslot mode: a one-byte message is then a wake
  OwnedHandle record;      // server: its process record
  // Shared memory: the area with its two events. Reply: "M", "E" (written), "EL" (free);
  // route and server: the request area, its request event and its lock event.
  OwnedHandle area;
  MappedView view;
  OwnedHandle written_event;
  OwnedHandle free_event;
  OwnedHandle stop;            // reply and server: ends a wait on the area
  OwnedHandle wake;            // reply, shared memory: brings one wait on the area out
  OwnedHandle server_process;  // route: a send does not wait for a server that has ended
  OwnedHandle forward;         // server: its own mailslot, where area requests are queued
  OwnedHandle thread;          // server: takes requests from the area
};

struct IpcProcess {
  uint32_t pid;
  OwnedHandle handle;
};

struct IpcWatch {
  OwnedHandle event;
};

namespace {

const char* route_endpoint_name(int route) {
  return route == IPC_ROUTE_AGENT ? "TavNetMailslot5" : "TavrelMailslot5";
}
const char* route_record_name(int route) {
  return route == IPC_ROUTE_AGENT ? "AgentProcessInfo" : "TavrelProcessInfo";
}

// The three objects of a server's request area; the kernel's carry the instance, the
// agent's never do.
struct AreaNames {
  char area[160];
  char lock[160];
  char request[160];
};

AreaNames area_names(int route, const char* instance) {
  AreaNames n{};
  if (route == IPC_ROUTE_AGENT) {
    std::snprintf(n.area, sizeof n.area, "TavrelAgent");
    std::snprintf(n.lock, sizeof n.lock, "TavrelAgentReady");
    std::snprintf(n.request, sizeof n.request, "TavrelAgentAdd");
  } else if (instance != nullptr && instance[0] != 0) {
    std::snprintf(n.area, sizeof n.area, "Tavrel(%s)", instance);
    std::snprintf(n.lock, sizeof n.lock, "TavrelLock(%s)", instance);
    std::snprintf(n.request, sizeof n.request, "TavrelLocal(%s)", instance);
  } else {
    std::snprintf(n.area, sizeof n.area, "Tavrel");
    std::snprintf(n.lock, sizeof n.lock, "TavrelLock");
    std::snprintf(n.request, sizeof n.request, "TavrelLocal");
  }
  return n;
}

void mailslot_name(char* out, size_t size, int route, const char* instance) {
  if (instance != nullptr && instance[0] != 0) {
    std::snprintf(out, size, "\\\\.\\mailslot\\%s(%s)", route_endpoint_name(route), instance);
  } else {
    std::snprintf(out, size, "\\\\.\\mailslot\\%s", route_endpoint_name(route));
  }
}

void record_name(char* out, size_t size, const char* prefix, int route, const char* instance) {
  if (instance != nullptr && instance[0] != 0) {
    std::snprintf(out, size, "%s%s(%s)", prefix, route_record_name(route), instance);
  } else {
    std::snprintf(out, size, "%s%s", prefix, route_record_name(route));
  }
}

// A security descriptor with a null DACL: every process of the machine may open the object.
SECURITY_ATTRIBUTES* open_security() {
  static SECURITY_DESCRIPTOR descriptor;
  static SECURITY_ATTRIBUTES attributes;
  InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION);
  SetSecurityDescriptorDacl(&descriptor, TRUE, nullptr, FALSE);
  attributes = {sizeof attributes, &descriptor, FALSE};
  return &attributes;
}

int last_error() { return static_cast<int>(GetLastError()); }

int create_mailslot(IpcEndpoint* ep, const char* name) {
  ep->slot = OwnedHandle(CreateMailslotA(name, 0, MAILSLOT_WAIT_FOREVER, open_security()));
  if (!ep->slot) return last_error();
  std::snprintf(ep->slot_name, sizeof ep->slot_name, "%s", name);
  return 0;
}

HANDLE open_mailslot_for_writing(const char* name) {
  return CreateFileA(name, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                     FILE_ATTRIBUTE_NORMAL, nullptr);
}

// A message of length bytes (zero or one) to an endpoint's own mailslot brings its blocked
// ReadFile out.
void write_message(IpcEndpoint* ep, DWORD length) {
  OwnedHandle self(open_mailslot_for_writing(ep->slot_name));
  if (self) {
    DWORD written = 0;
    WriteFile(self.h, "\0", length, &written, nullptr);
  }
}

int map_view(IpcEndpoint* ep, DWORD access) {
  ep->view.p = static_cast<uint8_t*>(MapViewOfFile(ep->area.h, access, 0, 0, AREA_SIZE));
  return ep->view.p == nullptr ? last_error() : 0;
}

// A request frame in an area: the header, four parts of a u16 length and that many bytes,
// the trailer. Bytes that do not describe a frame give the whole area, which the kernel's
// frame reader then refuses.
size_t request_length(const uint8_t* area) {
  size_t p = FRAME_HEADER;
  for (int i = 0; i < 4; ++i) {
    if (p + 2 > AREA_SIZE - FRAME_TRAILER) return AREA_SIZE;
    p += 2 + get_u16(area + p);
  }
  return p + FRAME_TRAILER <= AREA_SIZE ? p + FRAME_TRAILER : AREA_SIZE;
}

// An answer frame in an area: the header with the total data length, the data, the trailer.
size_t answer_length(const uint8_t* area) {
  const size_t n = ANSWER_HEADER + get_u16(area + ANSWER_TOTAL_OFFSET) + FRAME_TRAILER;
  return n <= AREA_SIZE ? n : AREA_SIZE;
}

// The server's process id from its record, under the prefix and, when that name does not
// exist, without it.
int read_record(int route, const char* instance, uint32_t* pid) {
  char name[200];
  const char* prefix = settings().prefix;
  record_name(name, sizeof name, prefix, route, instance);
  OwnedHandle record(OpenFileMappingA(FILE_MAP_READ, FALSE, name));
  if (!record && GetLastError() == ERROR_FILE_NOT_FOUND && prefix[0] != 0) {
    record_name(name, sizeof name, "", route, instance);
    record = OwnedHandle(OpenFileMappingA(FILE_MAP_READ, FALSE, name));
  }
  if (!record) return last_error();
  const void* view = MapViewOfFile(record.h, FILE_MAP_READ, 0, 0, 4);
  if (view == nullptr) return last_error();
  std::memcpy(pid, view, 4);
  UnmapViewOfFile(view);
  return 0;
}

// Waits for the first handle, giving up when the second one (a process) is signalled or the
// time runs out. 0, or the error that stands for the peer having gone.
int wait_unless_ended(HANDLE wanted, HANDLE process, DWORD milliseconds) {
  const HANDLE handles[2] = {wanted, process};
  const DWORD r = WaitForMultipleObjects(process != nullptr ? 2 : 1, handles, FALSE, milliseconds);
  if (r == WAIT_OBJECT_0) return 0;
  if (r == WAIT_TIMEOUT) return ERROR_TIMEOUT;
  return ERROR_BROKEN_PIPE;
}

// The server's request-area thread: each request written to the area is copied out, the
// area handed back to the next client, and the frame queued on the server's own mailslot,
// so that the one receive loop serves both modes in arrival order.
DWORD WINAPI area_requests(void* argument) {
  auto* ep = static_cast<IpcEndpoint*>(argument);
  std::vector<uint8_t> frame(AREA_SIZE);
  const HANDLE handles[2] = {ep->written_event.h, ep->stop.h};
  for (;;) {
    if (WaitForMultipleObjects(2, handles, FALSE, INFINITE) != WAIT_OBJECT_0) return 0;
    const size_t n = request_length(ep->view.p);
    std::memcpy(frame.data(), ep->view.p, n);
    SetEvent(ep->free_event.h);
    DWORD sent = 0;
    WriteFile(ep->forward.h, frame.data(), static_cast<DWORD>(n), &sent, nullptr);
  }
}

int open_server_area(IpcEndpoint* ep, int route, const char* instance) {
  const AreaNames names = area_names(route, instance);
  SECURITY_ATTRIBUTES* security = open_security();
  ep->area = OwnedHandle(CreateFileMappingA(INVALID_HANDLE_VALUE, security, PAGE_READWRITE, 0, AREA_SIZE, names.area));
  if (!ep->area) return last_error();
  if (const int error = map_view(ep, FILE_MAP_ALL_ACCESS)) return error;
  ep->free_event = OwnedHandle(CreateEventA(security, FALSE, TRUE, names.lock));
  ep->written_event = OwnedHandle(CreateEventA(security, FALSE, FALSE, names.request));
  ep->stop = OwnedHandle(CreateEventA(nullptr, TRUE, FALSE, nullptr));
  if (!ep->free_event || !ep->written_event || !ep->stop) return last_error();
  // The objects may outlive a server that was killed while a client still held them: start
  // from a free area and no request.
  SetEvent(ep->free_event.h);
  ResetEvent(ep->written_event.h);
  ep->forward = OwnedHandle(open_mailslot_for_writing(ep->slot_name));
  if (!ep->forward) return last_error();
  ep->thread = OwnedHandle(CreateThread(nullptr, 0, area_requests, ep, 0, nullptr));
  return ep->thread ? 0 : last_error();
}

IpcEndpoint* volatile g_signal_endpoint = nullptr;
HANDLE g_signal_closed = nullptr;  // set when the signalled server's endpoint is closed

BOOL WINAPI console_handler(DWORD event) {
  IpcEndpoint* ep = g_signal_endpoint;
  if (ep != nullptr) ipc_receive_stop(ep);
  // After these events the system ends the process as soon as the handler returns.
  if (event == CTRL_CLOSE_EVENT || event == CTRL_LOGOFF_EVENT || event == CTRL_SHUTDOWN_EVENT) {
    if (ep != nullptr && g_signal_closed != nullptr) WaitForSingleObject(g_signal_closed, CLOSE_GRACE_MS);
  }
  return TRUE;
}

}  // namespace

uint32_t ipc_process_id() { return GetCurrentProcessId(); }
uint32_t ipc_thread_id() { return GetCurrentThreadId(); }
const char* ipc_run_directory() { return ""; }
uint8_t ipc_message_type() { return settings().mode == Mode::shared ? TYPE_SHARED : TYPE_MAILSLOT; }

int ipc_reply_open(IpcEndpoint** out) {
  const unsigned long pid = GetCurrentProcessId();
  auto* ep = new IpcEndpoint;
  ep->mode = settings().mode;
  int error = 0;
  if (ep->mode == Mode::mailslot) {
    char name[64];
    std::snprintf(name, sizeof name, "\\\\.\\mailslot\\%lu5", pid);
    error = create_mailslot(ep, name);
  } else {
    char area[32], written[32], free_name[32];
    std::snprintf(area, sizeof area, "M%lu", pid);
    std::snprintf(written, sizeof written, "E%lu", pid);
    std::snprintf(free_name, sizeof free_name, "EL%lu", pid);
    SECURITY_ATTRIBUTES* security = open_security();
    ep->area = OwnedHandle(CreateFileMappingA(INVALID_HANDLE_VALUE, security, PAGE_READWRITE, 0, AREA_SIZE, area));
    error = ep->area ? map_view(ep, FILE_MAP_ALL_ACCESS) : last_error();
    if (error == 0) {
      ep->written_event = OwnedHandle(CreateEventA(security, FALSE, FALSE, written));
      ep->free_event = OwnedHandle(CreateEventA(security, FALSE, TRUE, free_name));
      ep->stop = OwnedHandle(CreateEventA(nullptr, TRUE, FALSE, nullptr));
      ep->wake = OwnedHandle(CreateEventA(nullptr, FALSE, FALSE, nullptr));
      if (!ep->written_event || !ep->free_event || !ep->stop || !ep->wake) error = last_error();
    }
  }
  if (error != 0) {
    delete ep;
    return error;
  }
  *out = ep;
  return 0;
}

long ipc_receive(IpcEndpoint* ep, void* buffer, size_t capacity) {
  if (ep->mode == Mode::shared && !ep->server) {
    const HANDLE handles[3] = {ep->written_event.h, ep->stop.h, ep->wake.h};
    const DWORD r = WaitForMultipleObjects(3, handles, FALSE, INFINITE);
    if (r == WAIT_OBJECT_0 + 2 && !ep->stopped) return IPC_WOKEN;
    if (r != WAIT_OBJECT_0) return ep->stopped ? 0 : -1;
    const size_t n = answer_length(ep->view.p);
    std::memcpy(buffer, ep->view.p, n < capacity ? n : capacity);
    SetEvent(ep->free_event.h);
    return static_cast<long>(n < capacity ? n : capacity);
  }
  for (;;) {
    DWORD read = 0;
    if (!ReadFile(ep->slot.h, buffer, static_cast<DWORD>(capacity), &read, nullptr)) return -1;
    if (ep->stopped) return 0;
    if (read == 1 && InterlockedExchange(&ep->woken, 0) != 0) return IPC_WOKEN;
    if (read > 0) return static_cast<long>(read);
  }
}

void ipc_receive_wake(IpcEndpoint* ep) {
  if (ep->mode == Mode::shared && !ep->server) {
    SetEvent(ep->wake.h);
    return;
  }
  // One byte, not an empty message: Wine fails the read of an empty mailslot message, which
  // would end the receiving. No frame is that short, so the byte is never taken for one.
  InterlockedExchange(&ep->woken, 1);
  write_message(ep, 1);
}

void ipc_receive_stop(IpcEndpoint* ep) {
  InterlockedExchange(&ep->stopped, 1);
  if (ep->mode == Mode::shared && !ep->server) {
    SetEvent(ep->stop.h);
    return;
  }
  // A message wakes the reader, which then sees the stop.
  write_message(ep, 0);
}

void ipc_close(IpcEndpoint* ep) {
  if (ep == nullptr) return;
  if (ep->thread) {
    SetEvent(ep->stop.h);
    WaitForSingleObject(ep->thread.h, INFINITE);
  }
  const bool signalled = g_signal_endpoint == ep;
  if (signalled) g_signal_endpoint = nullptr;
  delete ep;
  if (signalled && g_signal_closed != nullptr) SetEvent(g_signal_closed);
}

int ipc_route_open(int route, const char* instance, IpcEndpoint** out, uint32_t* server_pid) {
  uint32_t pid = 0;
  if (const int error = read_record(route, instance, &pid)) return error;
  auto* ep = new IpcEndpoint;
  ep->mode = settings().mode;
  int error = 0;
  if (ep->mode == Mode::mailslot) {
    mailslot_name(ep->slot_name, sizeof ep->slot_name, route, instance);
    ep->slot = OwnedHandle(open_mailslot_for_writing(ep->slot_name));
    if (!ep->slot) error = last_error();
  } else {
    const AreaNames names = area_names(route, instance);
    ep->free_event = OwnedHandle(OpenEventA(EVENT_ALL_ACCESS, FALSE, names.lock));
    ep->written_event = OwnedHandle(OpenEventA(EVENT_ALL_ACCESS, FALSE, names.request));
    ep->area = OwnedHandle(OpenFileMappingA(FILE_MAP_WRITE, FALSE, names.area));
    ep->server_process = OwnedHandle(OpenProcess(SYNCHRONIZE, FALSE, pid));
    if (!ep->free_event || !ep->written_event || !ep->area || !ep->server_process) {
      error = last_error();
    } else {
      error = map_view(ep, FILE_MAP_WRITE);
    }
  }
  if (error != 0) {
    delete ep;
    return error;
  }
  *out = ep;
  *server_pid = pid;
  return 0;
}

int ipc_send(IpcEndpoint* ep, const void* data, size_t length) {
  if (ep->mode == Mode::shared) {
    if (length > AREA_SIZE) return ERROR_INVALID_PARAMETER;
    if (const int error = wait_unless_ended(ep->free_event.h, ep->server_process.h, INFINITE)) return error;
    std::memcpy(ep->view.p, data, length);
    return SetEvent(ep->written_event.h) ? 0 : last_error();
  }
  DWORD written = 0;
  if (!WriteFile(ep->slot.h, data, static_cast<DWORD>(length), &written, nullptr)) return last_error();
  return 0;
}

bool ipc_process_alive(uint32_t pid) {
  OwnedHandle process(OpenProcess(SYNCHRONIZE, FALSE, pid));
  if (!process) return GetLastError() == ERROR_ACCESS_DENIED;
  return WaitForSingleObject(process.h, 0) == WAIT_TIMEOUT;
}

int ipc_process_open(uint32_t pid, IpcProcess** out) {
  OwnedHandle process(OpenProcess(SYNCHRONIZE, FALSE, pid));
  if (!process) return last_error();
  *out = new IpcProcess{pid, std::move(process)};
  return 0;
}

void ipc_process_close(IpcProcess* process) { delete process; }

int ipc_watch_open(IpcWatch** out) {
  OwnedHandle event(CreateEventA(nullptr, FALSE, FALSE, nullptr));
  if (!event) return last_error();
  *out = new IpcWatch{std::move(event)};
  return 0;
}

int ipc_watch_wait(IpcWatch* watch, IpcProcess* const* processes, int count) {
  std::vector<HANDLE> handles;
  for (int i = 0; i < count; ++i) handles.push_back(processes[i]->handle.h);
  handles.push_back(watch->event.h);
  const DWORD r = WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), FALSE, INFINITE);
  if (r >= WAIT_OBJECT_0 && r < WAIT_OBJECT_0 + static_cast<DWORD>(count)) return static_cast<int>(r - WAIT_OBJECT_0);
  return -1;
}

void ipc_watch_wake(IpcWatch* watch) { SetEvent(watch->event.h); }

void ipc_watch_close(IpcWatch* watch) { delete watch; }

int ipc_server_open(int route, const char* instance, IpcEndpoint** out) {
  char name[200];
  // A record whose server still runs means the instance is served. One left by a killed
  // server lives on only while a client holds it, and is taken over.
  uint32_t running = 0;
  if (read_record(route, instance, &running) == 0 && running != GetCurrentProcessId() && ipc_process_alive(running)) {
    return IPC_BUSY;
  }
  // The process record under the prefix and, where that namespace is refused, without it.
  const char* prefix = settings().prefix;
  record_name(name, sizeof name, prefix, route, instance);
  OwnedHandle record(CreateFileMappingA(INVALID_HANDLE_VALUE, open_security(), PAGE_READWRITE, 0, 4096, name));
  if (!record && prefix[0] != 0) {
    record_name(name, sizeof name, "", route, instance);
    record = OwnedHandle(CreateFileMappingA(INVALID_HANDLE_VALUE, open_security(), PAGE_READWRITE, 0, 4096, name));
  }
  if (!record) return last_error();
  auto* ep = new IpcEndpoint;
  ep->server = true;
  ep->record = std::move(record);
  mailslot_name(name, sizeof name, route, instance);
  int error = create_mailslot(ep, name);
  if (error == ERROR_ALREADY_EXISTS) error = IPC_BUSY;
  if (error == 0) error = open_server_area(ep, route, instance);
  void* view = error == 0 ? MapViewOfFile(ep->record.h, FILE_MAP_WRITE, 0, 0, 4) : nullptr;
  if (error == 0 && view == nullptr) error = last_error();
  if (error != 0) {
    ipc_close(ep);
    return error;
  }
  const uint32_t pid = GetCurrentProcessId();
  std::memcpy(view, &pid, 4);
  UnmapViewOfFile(view);
  *out = ep;
  return 0;
}

int ipc_reply_to(IpcEndpoint*, uint32_t client_pid, const void* data, size_t length) {
  const auto* bytes = static_cast<const uint8_t*>(data);
  const unsigned long pid = client_pid;
  // The answer carries the request's trailer, whose last byte names the client's mode.
  if (length > 0 && bytes[length - 1] == TYPE_SHARED) {
    if (length > AREA_SIZE) return ERROR_INVALID_PARAMETER;
    char area_name[32], written_name[32], free_name[32];
    std::snprintf(area_name, sizeof area_name, "M%lu", pid);
    std::snprintf(written_name, sizeof written_name, "E%lu", pid);
    std::snprintf(free_name, sizeof free_name, "EL%lu", pid);
    OwnedHandle area(OpenFileMappingA(FILE_MAP_WRITE, FALSE, area_name));
    OwnedHandle written(OpenEventA(EVENT_ALL_ACCESS, FALSE, written_name));
    OwnedHandle ready(OpenEventA(EVENT_ALL_ACCESS, FALSE, free_name));
    OwnedHandle client(OpenProcess(SYNCHRONIZE, FALSE, client_pid));
    if (!area || !written || !ready) return last_error();
    if (const int error = wait_unless_ended(ready.h, client.h, REPLY_WAIT_MS)) return error;
    void* view = MapViewOfFile(area.h, FILE_MAP_WRITE, 0, 0, AREA_SIZE);
    if (view == nullptr) {
      const int error = last_error();
      SetEvent(ready.h);
      return error;
    }
    std::memcpy(view, data, length);
    UnmapViewOfFile(view);
    return SetEvent(written.h) ? 0 : last_error();
  }
  char name[64];
  std::snprintf(name, sizeof name, "\\\\.\\mailslot\\%lu5", pid);
  OwnedHandle slot(open_mailslot_for_writing(name));
  if (!slot) return last_error();
  DWORD written = 0;
  return WriteFile(slot.h, data, static_cast<DWORD>(length), &written, nullptr) ? 0 : last_error();
}

void ipc_stop_on_signals(IpcEndpoint* server) {
  if (g_signal_closed == nullptr) g_signal_closed = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  g_signal_endpoint = server;
  SetConsoleCtrlHandler(console_handler, TRUE);
}

}  // namespace tavrel
