// Message endpoints between the channel's clients and the servers (the local kernel and the
// network agent), the server's process record, and the watching of server processes.
// Win32: mailslots, or shared areas with named events, and process records as named file
// mappings; POSIX: AF_UNIX datagram sockets and record files in the run directory. One
// message is one frame of at most 65,528 bytes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tavrel {

constexpr int IPC_ROUTE_AGENT = 0;
constexpr int IPC_ROUTE_KERNEL = 1;
// Returned by ipc_server_open when another server already serves the instance.
constexpr int IPC_BUSY = -2;

struct IpcEndpoint;
struct IpcProcess;
struct IpcWatch;

uint32_t ipc_process_id();
uint32_t ipc_thread_id();
// The message-type byte of this process's frame trailers: 13 for the mailslot mode (and the
// POSIX sockets), 12 for the shared-memory mode.
uint8_t ipc_message_type();

// The run directory that holds the endpoints (POSIX), or "" where the system names them.
const char* ipc_run_directory();

// Client side. Every function returns 0 or the system error number.
// The reply endpoint of this process, named after its process id.
int ipc_reply_open(IpcEndpoint** out);
// Blocks for one message: its length, 0 when the endpoint was stopped, IPC_WOKEN when
// ipc_receive_wake brought it out without a message, -1 on failure.
long ipc_receive(IpcEndpoint* endpoint, void* buffer, size_t capacity);
constexpr long IPC_WOKEN = -3;
// Makes a blocked (or the next) ipc_receive on a reply endpoint return IPC_WOKEN once; the
// endpoint goes on serving. Callable from any thread. The channel uses it when a server has
// ended, so that a caller waiting for that server's answer looks at its slot again.
void ipc_receive_wake(IpcEndpoint* endpoint);
// Makes a blocked (or the next) ipc_receive on the endpoint return 0; callable from any
// thread and from a signal handler.
void ipc_receive_stop(IpcEndpoint* endpoint);
// Closes an endpoint; a server or reply endpoint's names are removed.
void ipc_close(IpcEndpoint* endpoint);

// Opens the route's server endpoint for writing (instance: "" or NULL for the default) and
// reads the server's process id from its process record.
int ipc_route_open(int route, const char* instance, IpcEndpoint** out, uint32_t* server_pid);
int ipc_send(IpcEndpoint* endpoint, const void* data, size_t length);

// A handle on a running process, for watching.
int ipc_process_open(uint32_t pid, IpcProcess** out);
void ipc_process_close(IpcProcess* process);
bool ipc_process_alive(uint32_t pid);

// Waits until one of the processes has ended (returns its index) or the watch is woken
// (returns -1).
int ipc_watch_open(IpcWatch** out);
int ipc_watch_wait(IpcWatch* watch, IpcProcess* const* processes, int count);
void ipc_watch_wake(IpcWatch* watch);
void ipc_watch_close(IpcWatch* watch);

// Server side: creates the endpoint and the process record of the instance; IPC_BUSY when
// another live server holds them.
int ipc_server_open(int route, const char* instance, IpcEndpoint** out);
// Sends an answer to the reply endpoint of a client process.
int ipc_reply_to(IpcEndpoint* server, uint32_t client_pid, const void* data, size_t length);
// SIGTERM/SIGINT (Ctrl+C, Ctrl+Break and console close on Win32) stop the server's
// ipc_receive, so that its loop ends and the names are removed.
void ipc_stop_on_signals(IpcEndpoint* server);

}  // namespace tavrel
