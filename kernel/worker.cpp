// The session's worker thread and the hand-over of its connection to the server thread for
// requests that are answered at once.
#include "kernel/worker.h"

#include <sqlite3.h>

#include <cassert>
#include <chrono>
#include <cstdlib>
#include <thread>

#include "kernel/answer.h"
#include "kernel/assembly.h"
#include "kernel/debug/debugger.h"
#include "kernel/dispatch.h"
#include "kernel/engine/engine.h"
#include "kernel/engine/session.h"
#include "kernel/select.h"
#include "kernel/storage.h"
#include "platform/platform.h"

namespace tavrel::kernel {

namespace {

// The longest sleep between two looks at a lock.
constexpr int BUSY_SLEEP_MAX_MS = 20;

// Runs a request on the calling thread, which holds the connection, and answers it.
// Returns false when the session ends with it.
bool run_and_answer(Session* s, const std::vector<uint8_t>& message) {
  KernelRequest request;
  KernelAnswer answer;
  const Handled handled = session_handle(s, message, &request, &answer);
  if (handled.ends_session) {
    // Closed before the answer leaves, so that the client's next request on this channel
    // is answered by the server thread and not posted to a worker that is ending.
    std::lock_guard lock(s->lock);
    s->closed = true;
  }
  if (handled.answered) answer_send(s->endpoint, request, answer);
  return !handled.ends_session;
}

enum class Here : uint8_t { NOT_HERE, ANSWERED, LEFT };

// A debugger's request tried on the server thread.
Here debugger_here(Session* s, const std::vector<uint8_t>& message) {
  KernelRequest request{};
  if (kernel_parse_frame(message.data(), message.size(), &request) != 0) return Here::NOT_HERE;
  KernelAnswer answer;
  answer.channel = s->channel;
  answer.position = request.block.position;
  switch (debugger_serve_here(s, request, &answer)) {
    case DebuggerServed::ON_WORKER: return Here::NOT_HERE;
    case DebuggerServed::LEFT_TO_EXECUTION: return Here::LEFT;
    case DebuggerServed::ANSWERED: break;
  }
  answer_fit(request, &answer, &s->pending);
  answer_send(s->endpoint, request, answer);
  return Here::ANSWERED;
}

// A request tried on the server thread while it holds the connection: NOT_HERE when it must
// go to the worker after all (nothing has been answered then), LEFT when its answer is left
// to another thread.
Here run_here(Session* s, const std::vector<uint8_t>& message, const KernelCommand& command) {
  // The final exchange of a request being joined finishes it on the worker.
  if (s->assembly.active) return Here::NOT_HERE;
  if ((command.flags & COMMAND_DEBUGGER) != 0) return debugger_here(s, message);
  if ((command.flags & COMMAND_FROM_MEMORY) != 0) {
    run_and_answer(s, message);  // never ends the session: only worker commands do
    return Here::ANSWERED;
  }
  assert((command.flags & COMMAND_QUICK_SELECT) != 0);
  KernelRequest request{};
  if (kernel_parse_frame(message.data(), message.size(), &request) != 0) return Here::NOT_HERE;
  KernelAnswer answer;
  answer.channel = s->channel;
  answer.position = request.block.position;
  if (!select_open_quick(s, request, &answer)) return Here::NOT_HERE;
  answer_fit(request, &answer, &s->pending);
  answer_send(s->endpoint, request, answer);
  return Here::ANSWERED;
}

// Interrupts what the session runs; its lock is held. Not the holder: sqlite3_interrupt is
// the one call made on a connection another thread holds, and the lock keeps the worker from
// closing it meanwhile.
void interrupt_held(Session* session) {
  if (session->running) session->interrupted = true;
  if (session->connection.db != nullptr) sqlite3_interrupt(session->connection.db);
  if (session->engine != nullptr) engine_interrupt(session->engine);
  debugger_interrupt(session);
}

void worker(Session* s) {
  for (;;) {
    std::vector<uint8_t> message;
    SessionJob job;
    {
      std::unique_lock lock(s->lock);
      s->wake.wait(lock, [s] {
        return !s->running && !s->deferred && (!s->queue.empty() || !s->jobs.empty() || s->closing);
      });
      if (!s->jobs.empty()) {
        job = std::move(s->jobs.front());
        s->jobs.pop_front();
      } else if (s->queue.empty()) {
        break;
      } else {
        message = std::move(s->queue.front());
        s->queue.pop_front();
      }
      s->running = true;
      s->running_job = static_cast<bool>(job);
      s->interrupted = false;
      // A KILL of an earlier request is over: the engine's flag would end the next trigger
      // action that a plain statement fires (an execute call clears it itself).
      if (s->engine != nullptr) s->engine->interrupted.store(false);
      connection_hold(&s->connection);
    }
    bool more = true;
    if (job) {
      job(s, true);
    } else {
      more = run_and_answer(s, message);
    }
    {
      std::lock_guard lock(s->lock);
      connection_release(&s->connection);
      s->running = false;
      s->running_job = false;
    }
    if (!more) break;
  }
  // Jobs that came too late are told so; then what the session debugged is released.
  std::deque<SessionJob> late;
  {
    std::lock_guard lock(s->lock);
    late.swap(s->jobs);
  }
  for (SessionJob& job : late) job(s, false);
  debugger_session_end(s);
  std::lock_guard lock(s->lock);
  assert(!s->running);
  connection_hold(&s->connection);
  select_close(s);
  statements_release(&s->statements);
  if (s->engine != nullptr) engine_session_close(s->engine);
  s->engine = nullptr;
  storage_disconnect(connection_db(s->connection));
  s->connection.db = nullptr;
  connection_release(&s->connection);
  s->finished = true;
}

}  // namespace

void session_start(Session* session) {
  assert(session->connection.db != nullptr && !session->worker.joinable());
  debugger_install();
  sqlite3_busy_handler(session->connection.db, session_busy, session);
  session->worker = std::thread(worker, session);
}

bool session_post(Session* session, std::vector<uint8_t> message) {
  std::unique_lock lock(session->lock);
  if (session->closed || session->closing) return false;
  const KernelCommand* command = kernel_command_of_frame(message);
  // The client closes a channel on which the debugger runs a statement for it (its internal
  // channel): the statement ends, parked or not, so that the close is answered.
  if (command != nullptr && (command->flags & COMMAND_ENDS_SESSION) != 0 && session->running_job) {
    interrupt_held(session);
  }
  constexpr uint32_t HERE = COMMAND_FROM_MEMORY | COMMAND_QUICK_SELECT | COMMAND_DEBUGGER;
  if (command != nullptr && (command->flags & HERE) != 0 && !session->running && !session->deferred &&
      session->queue.empty() && session->jobs.empty()) {
    session->running = true;
    session->interrupted = false;
    // An order's answer may leave from the execution's thread (and clear the mark) before
    // this thread is back.
    const bool may_defer = (command->flags & COMMAND_DEBUGGER) != 0;
    session->deferred = may_defer;
    connection_hold(&session->connection);
    lock.unlock();
    const Here served = run_here(session, message, *command);
    lock.lock();
    connection_release(&session->connection);
    session->running = false;
    if (served != Here::LEFT && may_defer) session->deferred = false;
    if (served != Here::NOT_HERE) {
      if (!session->queue.empty() || !session->jobs.empty() || session->closing) session->wake.notify_one();
      return true;
    }
  }
  session->queue.push_back(std::move(message));
  session->wake.notify_one();
  return true;
}

bool session_post_job(Session* session, SessionJob job) {
  std::lock_guard lock(session->lock);
  // Jobs wait behind jobs (one that is ending as this one comes, say); a request of the
  // client's own, running or waiting, makes the session busy.
  if (session->closed || session->closing || (session->running && !session->running_job) || session->deferred ||
      !session->queue.empty()) {
    return false;
  }
  session->jobs.push_back(std::move(job));
  session->wake.notify_one();
  return true;
}

void session_stop(Session* session) {
  {
    std::lock_guard lock(session->lock);
    session->closing = true;
    session->wake.notify_one();
  }
  if (session->worker.joinable()) session->worker.join();
}

void session_interrupt(Session* session) {
  std::lock_guard lock(session->lock);
  interrupt_held(session);
}

int session_busy_ms() {
  static const int limit = [] {
    char text[32];
    if (platform_getenv("TAVREL_BUSY_MS", text, sizeof text) <= 0) return STORAGE_BUSY_MS;
    const long n = std::strtol(text, nullptr, 10);
    return n >= 0 && n <= 3600 * 1000 ? static_cast<int>(n) : STORAGE_BUSY_MS;
  }();
  return limit;
}

int session_busy(void* session, int count) {
  // Called by SQLite on the thread that holds the connection.
  auto* s = static_cast<Session*>(session);
  if (s->busy_no_wait || s->interrupted) return 0;
  const auto now = std::chrono::steady_clock::now();
  if (count == 0) s->busy_since = now;
  if (now - s->busy_since >= std::chrono::milliseconds(session_busy_ms())) return 0;
  std::this_thread::sleep_for(std::chrono::milliseconds(count + 1 < BUSY_SLEEP_MAX_MS ? count + 1 : BUSY_SLEEP_MAX_MS));
  return 1;
}

}  // namespace tavrel::kernel
