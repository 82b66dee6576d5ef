// Win32 endpoints of the kernel channel, mailslot mode: the reply mailslot
// "\\.\mailslot\<pid>5", the kernel's "\\.\mailslot\TavrelMailslot5[(instance)]", the agent's
// "TavNetMailslot5[(instance)]", and the process records as named file mappings
// "<prefix>TavrelProcessInfo[(instance)]" holding the server's process id, looked up with
// the "Global\" prefix first and without it when that name does not exist.
#include "platform/ipc.h"

#include <windows.h>

#include <cstdio>
#include <cstring>
#include <vector>

namespace tavrel {

struct IpcEndpoint {
  HANDLE handle = INVALID_HANDLE_VALUE;
  HANDLE record = nullptr;  // servers: the process record mapping
  volatile LONG stopped = 0;
  char name[200] = {};      // the mailslot's own name, for waking its reader
};

struct IpcProcess {
  uint32_t pid;
  HANDLE handle;
};

struct IpcWatch {
  HANDLE event;
};

namespace {

const char* route_endpoint_name(int route) {
  return route == IPC_ROUTE_AGENT ? "TavNetMailslot5" : "TavrelMailslot5";
}
const char* route_record_name(int route) {
  return route == IPC_ROUTE_AGENT ? "AgentProcessInfo" : "TavrelProcessInfo";
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

// A security descriptor with a null DACL: every process of the machine may write.
SECURITY_ATTRIBUTES* open_security() {
  static SECURITY_DESCRIPTOR descriptor;
  static SECURITY_ATTRIBUTES attributes;
  InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION);
  SetSecurityDescriptorDacl(&descriptor, TRUE, nullptr, FALSE);
  attributes = {sizeof attributes, &descriptor, FALSE};
  return &attributes;
}

int create_mailslot(IpcEndpoint* ep, const char* name) {
  ep->handle = CreateMailslotA(name, 0, MAILSLOT_WAIT_FOREVER, open_security());
  if (ep->handle == INVALID_HANDLE_VALUE) return static_cast<int>(GetLastError());
  std::snprintf(ep->name, sizeof ep->name, "%s", name);
  return 0;
}

IpcEndpoint* volatile g_signal_endpoint = nullptr;

BOOL WINAPI console_handler(DWORD) {
  IpcEndpoint* ep = g_signal_endpoint;
  if (ep != nullptr) ipc_receive_stop(ep);
  return TRUE;
}

}  // namespace

uint32_t ipc_process_id() { return GetCurrentProcessId(); }
uint32_t ipc_thread_id() { return GetCurrentThreadId(); }
const char* ipc_run_directory() { return ""; }

int ipc_reply_open(IpcEndpoint** out) {
  char name[64];
  std::snprintf(name, sizeof name, "\\\\.\\mailslot\\%lu5", static_cast<unsigned long>(GetCurrentProcessId()));
  auto* ep = new IpcEndpoint;
  if (const int error = create_mailslot(ep, name)) {
    delete ep;
    return error;
  }
  *out = ep;
  return 0;
}

long ipc_receive(IpcEndpoint* ep, void* buffer, size_t capacity) {
  for (;;) {
    DWORD read = 0;
    if (!ReadFile(ep->handle, buffer, static_cast<DWORD>(capacity), &read, nullptr)) return -1;
    if (ep->stopped) return 0;
    if (read > 0) return static_cast<long>(read);
  }
}

void ipc_receive_stop(IpcEndpoint* ep) {
  // An empty message wakes the reader, which then sees the stop.
  InterlockedExchange(&ep->stopped, 1);
  HANDLE self = CreateFileA(ep->name, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                            FILE_ATTRIBUTE_NORMAL, nullptr);
  if (self != INVALID_HANDLE_VALUE) {
    DWORD written = 0;
    WriteFile(self, "", 0, &written, nullptr);
    CloseHandle(self);
  }
}

void ipc_close(IpcEndpoint* ep) {
  if (ep == nullptr) return;
  if (g_signal_endpoint == ep) g_signal_endpoint = nullptr;
  if (ep->handle != INVALID_HANDLE_VALUE) CloseHandle(ep->handle);
  if (ep->record != nullptr) CloseHandle(ep->record);
  delete ep;
}

int ipc_route_open(int route, const char* instance, IpcEndpoint** out, uint32_t* server_pid) {
  char name[200];
  record_name(name, sizeof name, "Global\\", route, instance);
  HANDLE record = OpenFileMappingA(FILE_MAP_READ, FALSE, name);
  if (record == nullptr && GetLastError() == ERROR_FILE_NOT_FOUND) {
    record_name(name, sizeof name, "", route, instance);
    record = OpenFileMappingA(FILE_MAP_READ, FALSE, name);
  }
  if (record == nullptr) return static_cast<int>(GetLastError());
  const void* view = MapViewOfFile(record, FILE_MAP_READ, 0, 0, 4);
  if (view == nullptr) {
    const int error = static_cast<int>(GetLastError());
    CloseHandle(record);
    return error;
  }
  uint32_t pid;
  std::memcpy(&pid, view, 4);
  UnmapViewOfFile(view);
  CloseHandle(record);
  mailslot_name(name, sizeof name, route, instance);
  HANDLE slot = CreateFileA(name, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                            FILE_ATTRIBUTE_NORMAL, nullptr);
  if (slot == INVALID_HANDLE_VALUE) return static_cast<int>(GetLastError());
  auto* ep = new IpcEndpoint;
  ep->handle = slot;
  *out = ep;
  *server_pid = pid;
  return 0;
}

int ipc_send(IpcEndpoint* ep, const void* data, size_t length) {
  DWORD written = 0;
  if (!WriteFile(ep->handle, data, static_cast<DWORD>(length), &written, nullptr)) {
    return static_cast<int>(GetLastError());
  }
  return 0;
}

bool ipc_process_alive(uint32_t pid) {
  HANDLE process = OpenProcess(SYNCHRONIZE, FALSE, pid);
  if (process == nullptr) return GetLastError() == ERROR_ACCESS_DENIED;
  const bool alive = WaitForSingleObject(process, 0) == WAIT_TIMEOUT;
  CloseHandle(process);
  return alive;
}

int ipc_process_open(uint32_t pid, IpcProcess** out) {
  HANDLE process = OpenProcess(SYNCHRONIZE, FALSE, pid);
  if (process == nullptr) return static_cast<int>(GetLastError());
  *out = new IpcProcess{pid, process};
  return 0;
}

void ipc_process_close(IpcProcess* process) {
  if (process == nullptr) return;
  CloseHandle(process->handle);
  delete process;
}

int ipc_watch_open(IpcWatch** out) {
  HANDLE event = CreateEventA(nullptr, FALSE, FALSE, nullptr);
  if (event == nullptr) return static_cast<int>(GetLastError());
  *out = new IpcWatch{event};
  return 0;
}

int ipc_watch_wait(IpcWatch* watch, IpcProcess* const* processes, int count) {
  std::vector<HANDLE> handles;
  for (int i = 0; i < count; ++i) handles.push_back(processes[i]->handle);
  handles.push_back(watch->event);
  const DWORD r = WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), FALSE, INFINITE);
  if (r >= WAIT_OBJECT_0 && r < WAIT_OBJECT_0 + static_cast<DWORD>(count)) return static_cast<int>(r - WAIT_OBJECT_0);
  return -1;
}

void ipc_watch_wake(IpcWatch* watch) { SetEvent(watch->event); }

void ipc_watch_close(IpcWatch* watch) {
  if (watch == nullptr) return;
  CloseHandle(watch->event);
  delete watch;
}

int ipc_server_open(int route, const char* instance, IpcEndpoint** out) {
  char name[200];
  // The process record under "Global\" and, where that namespace is refused, without it.
  record_name(name, sizeof name, "Global\\", route, instance);
  HANDLE record = CreateFileMappingA(INVALID_HANDLE_VALUE, open_security(), PAGE_READWRITE, 0, 4096, name);
  if (record == nullptr) {
    record_name(name, sizeof name, "", route, instance);
    record = CreateFileMappingA(INVALID_HANDLE_VALUE, open_security(), PAGE_READWRITE, 0, 4096, name);
  }
  if (record == nullptr) return static_cast<int>(GetLastError());
  if (GetLastError() == ERROR_ALREADY_EXISTS) {
    CloseHandle(record);
    return IPC_BUSY;
  }
  auto* ep = new IpcEndpoint;
  ep->record = record;
  mailslot_name(name, sizeof name, route, instance);
  if (const int error = create_mailslot(ep, name)) {
    ipc_close(ep);
    return error == ERROR_ALREADY_EXISTS ? IPC_BUSY : error;
  }
  void* view = MapViewOfFile(record, FILE_MAP_WRITE, 0, 0, 4);
  if (view == nullptr) {
    const int error = static_cast<int>(GetLastError());
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
  char name[64];
  std::snprintf(name, sizeof name, "\\\\.\\mailslot\\%lu5", static_cast<unsigned long>(client_pid));
  HANDLE slot = CreateFileA(name, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                            FILE_ATTRIBUTE_NORMAL, nullptr);
  if (slot == INVALID_HANDLE_VALUE) return static_cast<int>(GetLastError());
  DWORD written = 0;
  const BOOL ok = WriteFile(slot, data, static_cast<DWORD>(length), &written, nullptr);
  const int error = ok ? 0 : static_cast<int>(GetLastError());
  CloseHandle(slot);
  return error;
}

void ipc_stop_on_signals(IpcEndpoint* server) {
  g_signal_endpoint = server;
  SetConsoleCtrlHandler(console_handler, TRUE);
}

}  // namespace tavrel
