// The requests that drive executions (see control.h): a run's job on the internal channel,
// orders to parked executions, waits for calls, aborts, and the answers they give.
#include "kernel/debug/control.h"

#include <algorithm>
#include <chrono>
#include <mutex>
#include <string>
#include <thread>

#include "kernel/answer.h"
#include "kernel/debug/channels.h"
#include "kernel/debug/frames.h"
#include "kernel/dispatch.h"
#include "kernel/engine/engine.h"
#include "kernel/engine/session.h"
#include "kernel/execute_call.h"
#include "kernel/session.h"
#include "kernel/text.h"
#include "protocol/bytes.h"
#include "protocol/exec_result.h"
#include "protocol/request.h"
#include "text/unicode.h"

namespace tavrel::kernel {

// How long an abort waits for a running execution to leave (its frames unwinding).
constexpr int ABORT_WAIT_MS = 2000;

namespace {

using Lock = std::unique_lock<std::mutex>;

// Finished targets the client was never told about are of no use once it starts anew.
void drop_finished(DebugState& g, DebugClient* c) {
  const std::vector<std::shared_ptr<DebugTarget>> targets = c->targets;
  for (const std::shared_ptr<DebugTarget>& t : targets) {
    if (t->finished) target_forget(g, t.get());
  }
}

// Answers with the target's latest event: a statement that could not start, its end (the
// target is then forgotten), or the stop where it is parked.
void answer_event(DebugState& g, const std::shared_ptr<DebugTarget>& t, uint16_t room, KernelAnswer* a) {
  if (t->failure != 0) {
    a->code = t->failure;
    a->system_code = t->failure_system;
    target_forget(g, t.get());
    return;
  }
  answer_state(a, t->state, t->finished ? std::span<const uint8_t>(t->result) : std::span<const uint8_t>{}, room);
  if (t->finished) {
    target_forget(g, t.get());
  } else {
    t->told = t->state.execution_id;
  }
}

// Waits for an event of the target after `seen`, or for KILL of the session; true for an
// event.
bool await_event(Lock& hold, Session* s, DebugClient* c, const DebugTarget& t, uint64_t seen) {
  c->wake.wait(hold, [&] { return t.events > seen || s->interrupted.load(); });
  return t.events > seen;
}

// After KILL ended the wait: an execution caught from another session goes on without the
// debugger; a run of the client's own goes on until the client aborts it (PROC 27), unless
// the client was never told of it (KILL came before its first stop) and so cannot name it:
// that one ends here.
void interrupted(DebugState& g, const std::shared_ptr<DebugTarget>& t, KernelAnswer* a) {
  if (!t->started_by_run) {
    target_release(g, t);
  } else if (t->told == EXEC_NONE && !t->finished) {
    target_end(*t);
  }
  a->code = KERNEL_INTERRUPTED;
}

// The client's run that still holds its internal channel, or nullptr.
std::shared_ptr<DebugTarget> running_run(const DebugClient* c) {
  for (const std::shared_ptr<DebugTarget>& t : c->targets) {
    if (t->started_by_run && !t->finished) return t;
  }
  return nullptr;
}

// The client's target with the execution: parked in it, or (when parked is false) told last
// or ended with it.
std::shared_ptr<DebugTarget> find_target(DebugClient* c, uint16_t execution, bool parked) {
  for (const std::shared_ptr<DebugTarget>& t : c->targets) {
    if (parked && t->parked && t->parked_record != nullptr && t->parked_record->id == execution) return t;
    if (!parked && t->finished && (t->told == execution || t->root_id == execution)) return t;
  }
  return nullptr;
}

// The end of a run's statement, on the internal channel's worker: what the answer of the
// statement says becomes the target's last event.
void run_finished(DebugState& g, DebugTarget& t, const std::string& utf8, const KernelAnswer* answer,
                  DeferredSend* send) {
  t.frames.clear();
  t.root = nullptr;
  t.state = ExecState{static_cast<uint32_t>(t.root_proc), t.root_id == EXEC_NONE ? uint16_t{0} : t.root_id,
                      static_cast<uint32_t>(t.root_line), EXEC_FINISHED, 0, 0};
  if (answer == nullptr) {
    t.failure = KERNEL_BAD_CHANNEL;  // the channel ended before the statement ran
  } else if (answer->code == 0) {
    ExecResult result;
    if (execute_call_is(utf8_to_cp866(utf8)) && exec_result_read(answer->data, &result) == 0) {
      t.state.exception = result.exception;
      if ((result.flags & EXEC_RESULT_HAS_VALUE) != 0) t.result = std::move(result.value);
    }
  } else if (answer->code != KERNEL_INTERRUPTED) {
    // Interrupted is the end that a stop or an abort gives; anything else is a failure.
    t.failure = answer->code;
    t.failure_system = answer->system_code;
  }
  t.finished = true;
  if (t.client != nullptr) {
    target_event(g, t, send);  // may free t
  } else {
    ++t.events;
    target_forget(g, &t);  // may free t
  }
}

// The job of PROC 5 on the internal channel's worker, which holds that session's connection.
void run_job(const std::shared_ptr<DebugTarget>& t, const std::string& utf8, Session* i, bool run) {
  DebugState& g = debug_state();
  EngineSession* es = i->engine;
  DeferredSend send;
  bool ran = false;
  {
    std::lock_guard hold(g.lock);
    if (!run || es == nullptr) {
      run_finished(g, *t, utf8, nullptr, &send);
    } else if (t->end) {
      KernelAnswer ended;
      ended.code = KERNEL_INTERRUPTED;
      run_finished(g, *t, utf8, &ended, &send);
    } else {
      t->es = es;
      es->debugger.store(t.get());
      ran = true;
    }
  }
  if (ran) {
    KernelAnswer answer;
    session_run_text(i, text_from_utf8(utf8, i->codepage), &answer);
    std::lock_guard hold(g.lock);
    es->debugger.store(nullptr);
    run_finished(g, *t, utf8, &answer, &send);
  }
  deferred_send(send, false);
}

// The client's shared hold on a target it knows by address.
std::shared_ptr<DebugTarget> held_target(const DebugClient* c, const DebugTarget* target) {
  for (const std::shared_ptr<DebugTarget>& t : c->targets) {
    if (t.get() == target) return t;
  }
  return nullptr;
}

// Moves the client's deferred answer into send, with the channel and position a worker's
// answer would carry.
void take_deferred(DebugClient* c, DeferredSend* send) {
  DeferredAnswer& d = c->deferred;
  send->session = d.session;
  send->request = d.request;
  send->answer = KernelAnswer{};
  send->answer.channel = d.session->channel;
  send->answer.position = d.request.block.position;
  d = DeferredAnswer{};
}

}  // namespace

void target_event(DebugState& g, DebugTarget& target, DeferredSend* send) {
  ++target.events;
  DebugClient* c = target.client;
  if (c == nullptr) return;
  c->wake.notify_all();
  if (c->deferred.session == nullptr || c->deferred.target != &target) return;
  // Kept until the answer is made: a finished target is forgotten by it.
  const std::shared_ptr<DebugTarget> keep = held_target(c, &target);
  const uint16_t room = c->deferred.room;
  take_deferred(c, send);
  if (keep != nullptr) answer_event(g, keep, room, &send->answer);
}

void deferred_interrupt(DebugState& g, DebugClient* c, DeferredSend* send) {
  if (c->deferred.session == nullptr) return;
  const std::shared_ptr<DebugTarget> t = held_target(c, c->deferred.target);
  take_deferred(c, send);
  if (t != nullptr) {
    interrupted(g, t, &send->answer);
  } else {
    send->answer.code = KERNEL_INTERRUPTED;
  }
}

void deferred_send(DeferredSend& send, bool session_locked) {
  Session* s = send.session;
  if (s == nullptr) return;
  send.session = nullptr;
  IpcEndpoint* endpoint = s->endpoint;
  std::unique_lock hold(s->lock, std::defer_lock);
  if (!session_locked) hold.lock();
  const bool waiting = !s->queue.empty() || !s->jobs.empty() || s->closing;
  if (!waiting && !session_locked) {
    // Nothing waits behind the answer (the usual case): the mark goes first, so that the
    // client's next request, sent as soon as the answer is in, is served on the receiving
    // thread. The session may end from here on: only what was copied out of it is used.
    s->deferred = false;
    hold.unlock();
    if (endpoint != nullptr) answer_send(endpoint, send.request, send.answer);
    return;
  }
  // What waits behind the answer is answered after it: the answer leaves first, while the
  // mark keeps the session from running (or ending).
  if (!session_locked) hold.unlock();
  if (endpoint != nullptr) answer_send(endpoint, send.request, send.answer);
  if (!session_locked) hold.lock();
  s->deferred = false;
  if (waiting) s->wake.notify_one();
}

void answer_debugger_error(KernelAnswer* a, uint32_t number) {
  a->data.clear();
  a->code = KERNEL_DEBUGGER_ERROR;
  a->system_code = number;
}

void answer_state(KernelAnswer* a, const ExecState& state, std::span<const uint8_t> result, uint16_t room) {
  if (room < EXEC_STATE_SIZE) {
    a->code = CHANNEL_ANSWER_TOO_LONG;
    a->length_field = static_cast<uint16_t>(EXEC_STATE_SIZE);
    return;
  }
  a->data.assign(EXEC_STATE_SIZE, 0);
  exec_state_write(state, a->data);
  // A return value longer than the room is left out: the end itself matters more.
  if (!result.empty() && EXEC_STATE_SIZE + result.size() <= room) a->data.insert(a->data.end(), result.begin(), result.end());
}

void control_run(Session* s, int32_t proc_id, std::span<const uint8_t> data, uint16_t room, KernelAnswer* a) {
  ByteReader r{data};
  const uint16_t channel = r.u16();
  const uint16_t length = r.u16();
  const auto text = r.take(length);
  if (!r.ok || length == 0) return answer_debugger_error(a, DEBUGGER_BAD_PARAMETER);
  const std::string utf8 = text_to_utf8({reinterpret_cast<const char*>(text.data()), text.size()}, s->codepage);
  DebugState& g = debug_state();
  DebugClient* c = nullptr;
  auto t = std::make_shared<DebugTarget>();
  {
    Lock hold(g.lock);
    c = debug_client(g, s, true);
    if (owned_proc(g, c, proc_id) == nullptr) {
      return answer_debugger_error(a, g.procs.count(proc_id) != 0 ? DEBUGGER_DEBUGGED_ELSEWHERE : DEBUGGER_SESSION_NOT_OPEN);
    }
    // A run that has been ended (stopped, aborted, interrupted before its first stop) may still
    // be unwinding: it is given a moment to leave the internal channel. One that goes on keeps it.
    const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(ABORT_WAIT_MS);
    for (std::shared_ptr<DebugTarget> other = running_run(c); other != nullptr; other = running_run(c)) {
      if (!other->end ||
          !c->wake.wait_until(hold, until, [&] { return other->finished || s->interrupted.load(); })) {
        return answer_debugger_error(a, DEBUGGER_CHANNEL_BUSY);
      }
      if (s->interrupted.load()) {
        a->code = KERNEL_INTERRUPTED;
        return;
      }
    }
    drop_finished(g, c);
    t->client = c;
    t->started_by_run = true;
    t->root_proc = proc_id;
    c->targets.push_back(t);
  }
  // Posted without the debugger's lock: the directory and the session take their own.
  const uint32_t posted =
      channels_post_job(channel, s, [t, utf8](Session* i, bool run) { run_job(t, utf8, i, run); });
  Lock hold(g.lock);
  if (posted != 0) {
    target_forget(g, t.get());
    return answer_debugger_error(a, posted);
  }
  if (!await_event(hold, s, c, *t, 0)) return interrupted(g, t, a);
  answer_event(g, t, room, a);
}

void control_go(Session* s, uint16_t execution, RunMode mode, uint16_t room, KernelAnswer* a) {
  DebugState& g = debug_state();
  Lock hold(g.lock);
  DebugClient* c = debug_client(g, s, false);
  if (c == nullptr) return answer_debugger_error(a, DEBUGGER_NOT_WAITING);
  std::shared_ptr<DebugTarget> t = find_target(c, execution, true);
  if (t == nullptr) {
    // It ended since the client last heard of it: the end is the answer.
    if (const std::shared_ptr<DebugTarget> ended = find_target(c, execution, false)) return answer_event(g, ended, room, a);
    return answer_debugger_error(a, DEBUGGER_NOT_WAITING);
  }
  t->next_mode = mode;
  t->order = Order::GO;
  const uint64_t seen = t->events;
  t->wake.notify_all();
  if (!await_event(hold, s, c, *t, seen)) return interrupted(g, t, a);
  answer_event(g, t, room, a);
}

bool control_go_deferred(Session* s, const KernelRequest& r, RunMode mode) {
  const uint16_t room = r.block.answer_length;
  // An answer that might not fit one exchange is left to the worker, which splits it.
  if (room < EXEC_STATE_SIZE || room > ANSWER_DATA_MAX) return false;
  DebugState& g = debug_state();
  std::lock_guard hold(g.lock);
  DebugClient* c = debug_client(g, s, false);
  if (c == nullptr || c->deferred.session != nullptr) return false;
  const std::shared_ptr<DebugTarget> t = find_target(c, static_cast<uint16_t>(r.block.argument), true);
  if (t == nullptr) return false;
  DeferredAnswer& d = c->deferred;
  d.session = s;
  d.request = r;
  // The parts point into the request's message, which is gone by the time the answer leaves.
  for (int k = 0; k < 4; ++k) {
    d.request.part[k] = nullptr;
    d.request.part_length[k] = 0;
  }
  d.room = room;
  d.target = t.get();
  t->next_mode = mode;
  t->order = Order::GO;
  t->wake.notify_all();
  return true;
}

void control_stop(Session* s, uint16_t execution, uint16_t room, KernelAnswer* a) {
  DebugState& g = debug_state();
  Lock hold(g.lock);
  DebugClient* c = debug_client(g, s, false);
  if (c == nullptr) return answer_debugger_error(a, DEBUGGER_NOT_WAITING);
  std::shared_ptr<DebugTarget> t = find_target(c, execution, true);
  if (t == nullptr) {
    if (const std::shared_ptr<DebugTarget> ended = find_target(c, execution, false)) return answer_event(g, ended, room, a);
    // A caller in a parked chain: it cannot end while the procedure it called waits.
    if (ParkedFrame p; parked_frame(c, execution, &p)) return answer_debugger_error(a, DEBUGGER_CALLED_ANOTHER);
    return answer_debugger_error(a, DEBUGGER_NOT_WAITING);
  }
  t->order = Order::END;
  t->wake.notify_all();
  // An ended execution stops nowhere again: the next event is its end.
  while (!t->finished) {
    if (!await_event(hold, s, c, *t, t->events)) return interrupted(g, t, a);
  }
  answer_event(g, t, room, a);
}

void control_wait_call(Session* s, int32_t proc_id, uint16_t room, KernelAnswer* a) {
  DebugState& g = debug_state();
  Lock hold(g.lock);
  DebugClient* c = debug_client(g, s, true);
  if (proc_id != 0 && owned_proc(g, c, proc_id) == nullptr) {
    return answer_debugger_error(a, g.procs.count(proc_id) != 0 ? DEBUGGER_DEBUGGED_ELSEWHERE : DEBUGGER_SESSION_NOT_OPEN);
  }
  if (proc_id == 0 && std::none_of(g.procs.begin(), g.procs.end(), [c](const auto& e) { return e.second.client == c; })) {
    return answer_debugger_error(a, DEBUGGER_SESSION_NOT_OPEN);
  }
  drop_finished(g, c);
  auto w = std::make_shared<CallWait>();
  w->client = c;
  w->proc_id = proc_id;
  g.waits.push_back(w);
  c->wait = w;
  debug_calls_awaited().fetch_add(1);
  // Caught, the call stops at its first statement (or ends first): that is the answer.
  c->wake.wait(hold, [&] { return (w->caught != nullptr && w->caught->events > 0) || s->interrupted.load(); });
  c->wait.reset();
  if (w->caught == nullptr) {
    std::erase(g.waits, w);
    debug_calls_awaited().fetch_sub(1);
    a->code = KERNEL_INTERRUPTED;
    return;
  }
  if (w->caught->events == 0) return interrupted(g, w->caught, a);
  answer_event(g, w->caught, room, a);
}

void control_abort(Session* s, uint16_t execution, KernelAnswer* a) {
  DebugState& g = debug_state();
  // A live execution: its session's whole chain ends, whether a debugger holds it or not.
  const bool live = executions_with(execution, [&g](ExecRecord& r) {
    {
      std::lock_guard hold(g.lock);
      if (DebugTarget* t = r.session->debugger.load(); t != nullptr && !t->finished) target_end(*t);
    }
    engine_interrupt(r.session);
  });
  if (live) {
    // The answer waits (a moment at most) until the execution has left, so that a list of
    // active executions fetched right after it no longer shows it.
    const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(ABORT_WAIT_MS);
    while (executions_with(execution, [](ExecRecord&) {}) && std::chrono::steady_clock::now() < until) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return;
  }
  // One the client debugged that has ended since: nothing left to do but forget it.
  std::lock_guard hold(g.lock);
  if (DebugClient* c = debug_client(g, s, false)) {
    if (const std::shared_ptr<DebugTarget> ended = find_target(c, execution, false)) {
      target_forget(g, ended.get());
      return;
    }
  }
  answer_debugger_error(a, DEBUGGER_BAD_PROCEDURE_ID);
}

}  // namespace tavrel::kernel
