// The kernel's server loop and the session table: the server thread receives every frame,
// answers OPEN and KILL itself (they need no session's connection, or another session's),
// and hands every other request to the session its channel names. A session's connection
// is opened with the engine's session over it and the trigger function on it.
#include "kernel/server.h"

#include <cassert>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

#include "kernel/answer.h"
#include "protocol/records.h"
#include "text/codepage.h"
#include "kernel/debug/channels.h"
#include "kernel/debug/debugger.h"
#include "kernel/demo.h"
#include "kernel/dispatch.h"
#include "kernel/engine/engine.h"
#include "kernel/errors.h"
#include "kernel/session.h"
#include "kernel/storage.h"
#include "kernel/text.h"
#include "kernel/triggers.h"
#include "kernel/worker.h"
#include "platform/ipc.h"

struct sqlite3;

namespace tavrel::kernel {

namespace {

constexpr size_t SESSIONS_MAX = 1000;
// How often the server looks for sessions whose client process has gone.
constexpr auto REAP_PERIOD = std::chrono::seconds(1);

struct Server {
  KernelOptions options;
  IpcEndpoint* endpoint = nullptr;
  sqlite3* db = nullptr;  // the server thread's own connection, for logging on
  std::map<uint16_t, std::unique_ptr<Session>> sessions;
  uint16_t next_channel = 1;
};

// "USER"/"PASSWORD": the connect string of OPEN.
bool parse_connect(std::string_view text, std::string* user, std::string* password) {
  while (!text.empty() && (text.back() == 0 || text.back() == ' ')) text.remove_suffix(1);
  const size_t middle = text.find("\"/\"");
  if (text.size() < 5 || text.front() != '"' || text.back() != '"' || middle == std::string_view::npos) return false;
  *user = std::string(text.substr(1, middle - 1));
  *password = std::string(text.substr(middle + 3, text.size() - middle - 4));
  return true;
}

uint16_t client_codepage(const KernelRequest& r) {
  if (r.part_length[2] < sizeof(CodePageBlock)) return CODEPAGE_866;
  CodePageBlock block;
  std::memcpy(&block, r.part[2], sizeof block);
  if (block.present == 0) return CODEPAGE_866;
  const size_t length = block.length < CODEPAGE_NAME_MAX ? block.length : CODEPAGE_NAME_MAX;
  const std::string_view name(block.name, length);
  if (name == "UTF-8" || name == "utf8" || name == "CP65001") return CODEPAGE_OTHER;
  const uint16_t value = codepage_classify(name);
  return value != CODEPAGE_OTHER ? value : static_cast<uint16_t>(CODEPAGE_866);
}

// What DBNAME gives a session: the database file's name without its extension.
std::string database_name(const KernelOptions& options) {
  return std::filesystem::path(options.db_path).stem().string();
}

// Ends a session: no request reaches it any more, what it runs is interrupted (a procedure,
// one parked in the debugger, a debugger request waiting for an execution), and its worker
// ends after the requests already posted.
void end_session(Server& server, uint16_t channel) {
  auto it = server.sessions.find(channel);
  if (it == server.sessions.end()) return;
  channels_remove(it->second.get());
  session_interrupt(it->second.get());
  session_stop(it->second.get());
  server.sessions.erase(it);
}

// Wakes the server's receiving every REAP_PERIOD, so that the sessions of clients that died
// are ended even while no request comes: what they debugged must not wait for them.
struct Reaper {
  IpcEndpoint* endpoint = nullptr;
  std::mutex lock;
  std::condition_variable wake;
  bool stop = false;
  std::thread thread;

  void start(IpcEndpoint* server_endpoint) {
    endpoint = server_endpoint;
    thread = std::thread([this] {
      std::unique_lock hold(lock);
      while (!wake.wait_for(hold, REAP_PERIOD, [this] { return stop; })) ipc_receive_wake(endpoint);
    });
  }
  void finish() {
    {
      std::lock_guard hold(lock);
      stop = true;
    }
    wake.notify_one();
    if (thread.joinable()) thread.join();
  }
};

// Sessions whose worker has ended (CLOS) or whose client process has gone.
void reap(Server& server) {
  for (auto it = server.sessions.begin(); it != server.sessions.end();) {
    Session* s = it->second.get();
    const uint16_t channel = it->first;
    ++it;
    if (s->finished || !ipc_process_alive(s->client_pid)) end_session(server, channel);
  }
}

void open_session(Server& server, const KernelRequest& r) {
  KernelAnswer a;
  reap(server);
  const uint16_t codepage = client_codepage(r);
  std::string user;
  std::string password;
  const std::string_view connect(reinterpret_cast<const char*>(r.part[0]), r.part_length[0]);
  if (!parse_connect(connect, &user, &password)) {
    a.code = KERNEL_BAD_CONNECT_STRING;
  } else {
    user = text_to_utf8(user, codepage);
    password = text_to_utf8(password, codepage);
    a.code = storage_check_user(server.db, user, password);
  }
  if (a.code == 0 && server.sessions.size() >= SESSIONS_MAX) a.code = KERNEL_TOO_MANY_SESSIONS;
  std::string error;
  sqlite3* db = a.code == 0 ? storage_connect(server.options.db_path, &error) : nullptr;
  if (a.code == 0 && db == nullptr) a.code = KERNEL_SQL_ERROR;
  EngineSession* engine = a.code == 0 ? engine_session_open(db, user, database_name(server.options)) : nullptr;
  if (a.code == 0 && (engine == nullptr || triggers_register(db, engine) != 0)) {
    if (engine != nullptr) engine_session_close(engine);
    storage_disconnect(db);
    a.code = KERNEL_SQL_ERROR;
  }
  if (a.code != 0) {
    answer_send(server.endpoint, r, a);
    return;
  }
  while (server.next_channel == 0 || server.sessions.count(server.next_channel) != 0) ++server.next_channel;
  auto session = std::make_unique<Session>();
  session->channel = server.next_channel++;
  session->client_pid = r.client_pid;
  session->user = user;
  session->codepage = codepage;
  session->connection.db = db;
  session->engine = engine;
  session->endpoint = server.endpoint;
  a.channel = session->channel;
  session_start(session.get());
  channels_add(session.get());
  server.sessions.emplace(a.channel, std::move(session));
  answer_send(server.endpoint, r, a);
}

// KILL: interrupts what the session on the channel in position runs: its SQL, a procedure
// it executes, a wait for a lock.
void kill_request(Server& server, const KernelRequest& r) {
  KernelAnswer a;
  a.channel = r.block.channel;
  auto target = server.sessions.find(static_cast<uint16_t>(r.block.position));
  if (target == server.sessions.end()) {
    a.code = KERNEL_BAD_CHANNEL;
  } else {
    session_interrupt(target->second.get());
  }
  answer_send(server.endpoint, r, a);
}

void answer_code(Server& server, const KernelRequest& r, uint32_t code) {
  KernelAnswer a;
  a.code = code;
  answer_send(server.endpoint, r, a);
}

void dispatch(Server& server, std::vector<uint8_t> message) {
  KernelRequest r{};
  if (kernel_parse_frame(message.data(), message.size(), &r) != 0) {
    // A malformed frame still reaches its session when the header names one; otherwise it
    // is answered here when its trailer tells where to.
    if (kernel_frame_trailer(message.data(), message.size(), &r)) {
      auto it = server.sessions.find(r.block.channel);
      if (it != server.sessions.end() && !command_is(r.block.command, "OPEN") &&
          session_post(it->second.get(), message)) {
        return;
      }
      answer_code(server, r, KERNEL_MALFORMED);
    }
    return;
  }
  const KernelCommand* command = kernel_command_find(r.block.command);
  if (command != nullptr && (command->flags & COMMAND_LOGGED_ON) == 0) {
    assert(command_is(command->code, "OPEN"));
    open_session(server, r);
    return;
  }
  auto it = server.sessions.find(r.block.channel);
  if (it == server.sessions.end() || it->second->finished) {
    answer_code(server, r, KERNEL_BAD_CHANNEL);
    return;
  }
  if (command != nullptr && (command->flags & COMMAND_ON_SERVER) != 0) {
    assert(command_is(command->code, "KILL"));
    kill_request(server, r);
    return;
  }
  // Every other code, served or not, goes through the session's queue, in order: even an
  // unknown one may be the final exchange of a request being joined.
  if (!session_post(it->second.get(), std::move(message))) answer_code(server, r, KERNEL_BAD_CHANNEL);
}

}  // namespace

int kernel_serve(const KernelOptions& options) {
  Server server;
  server.options = options;
  // The instance first: a second kernel is refused before it touches the database that the
  // first one serves. Requests arriving meanwhile wait in the endpoint.
  const int status = ipc_server_open(IPC_ROUTE_KERNEL, options.instance.c_str(), &server.endpoint);
  if (status != 0) {
    if (status == IPC_BUSY) {
      std::fprintf(stderr, "tavrel-kernel: another kernel already serves the instance \"%s\"\n",
                   options.instance.empty() ? "(default)" : options.instance.c_str());
    } else {
      std::fprintf(stderr, "tavrel-kernel: cannot create the kernel endpoint %s: system error %d\n",
                   ipc_run_directory(), status);
    }
    return 3;
  }
  // A stop during the set-up below ends the loop before its first request.
  ipc_stop_on_signals(server.endpoint);
  std::string error;
  if (storage_create(options.db_path, &error) != 0) {
    std::fprintf(stderr, "tavrel-kernel: cannot use the database %s: %s\n", options.db_path.c_str(), error.c_str());
    ipc_close(server.endpoint);
    return 2;
  }
  server.db = storage_connect(options.db_path, &error);
  if (server.db == nullptr) {
    std::fprintf(stderr, "tavrel-kernel: cannot open the database %s: %s\n", options.db_path.c_str(), error.c_str());
    ipc_close(server.endpoint);
    return 2;
  }
  // Statements on tables with triggers of ours need the function, even where no action runs.
  triggers_register(server.db, nullptr);
  if (options.demo && demo_create(server.db, &error) != 0) {
    std::fprintf(stderr, "tavrel-kernel: cannot create the demo data: %s\n", error.c_str());
    storage_disconnect(server.db);
    ipc_close(server.endpoint);
    return 2;
  }
  debugger_install();
  Reaper reaper;
  reaper.start(server.endpoint);
  std::vector<uint8_t> buffer(EXCHANGE_MAX);
  for (;;) {
    const long n = ipc_receive(server.endpoint, buffer.data(), buffer.size());
    if (n == IPC_WOKEN) {
      reap(server);
      continue;
    }
    if (n <= 0) break;
    dispatch(server, std::vector<uint8_t>(buffer.begin(), buffer.begin() + n));
  }
  reaper.finish();
  while (!server.sessions.empty()) end_session(server, server.sessions.begin()->first);
  ipc_close(server.endpoint);
  storage_disconnect(server.db);
  return 0;
}

}  // namespace tavrel::kernel
