// The debugger's records (see state.h): the registry, clients, and what becomes of targets
// that are released or ended; KILL and the end of a client session.
#include "kernel/debug/state.h"

#include <algorithm>

#include "kernel/debug/control.h"
#include "kernel/debug/debugger.h"
#include "kernel/engine/engine.h"
#include "kernel/engine/session.h"
#include "kernel/session.h"

namespace tavrel::kernel {

namespace {

void erase_target(std::vector<std::shared_ptr<DebugTarget>>* list, const DebugTarget* target) {
  std::erase_if(*list, [target](const std::shared_ptr<DebugTarget>& t) { return t.get() == target; });
}

}  // namespace

DebugState& debug_state() {
  static DebugState g;
  return g;
}

DebugClient* debug_client(DebugState& g, const Session* session, bool make) {
  const auto it = g.clients.find(session);
  if (it != g.clients.end()) return it->second.get();
  if (!make) return nullptr;
  auto client = std::make_unique<DebugClient>();
  DebugClient* c = client.get();
  g.clients.emplace(session, std::move(client));
  return c;
}

ProcDebug* owned_proc(DebugState& g, const DebugClient* client, int32_t proc_id) {
  const auto it = g.procs.find(proc_id);
  if (it == g.procs.end() || it->second.client != client || client == nullptr) return nullptr;
  return &it->second;
}

void target_release(DebugState& g, const std::shared_ptr<DebugTarget>& target) {
  DebugClient* c = target->client;
  if (c == nullptr) return;
  target->client = nullptr;
  const std::shared_ptr<DebugTarget> keep = target;
  erase_target(&c->targets, keep.get());
  if (!keep->finished) g.released.push_back(keep);
  if (keep->parked) keep->wake.notify_all();
}

void target_end(DebugTarget& target) {
  target.end = true;
  if (target.parked) {
    target.wake.notify_all();
  } else if (target.es != nullptr && !target.finished) {
    // Still running: the engine notices at its next backward jump or call, a SLEEP wakes, the
    // SQL being stepped stops, and every watched frame looks at its next statement, where the
    // stop hook ends it.
    for (FrameWatch& w : target.frames) {
      w.record->stops.store(nullptr, std::memory_order_relaxed);
      w.record->trap.store(true, std::memory_order_relaxed);
    }
    engine_interrupt(target.es);
  }
}

void target_forget(DebugState& g, const DebugTarget* target) {
  if (target->client != nullptr) erase_target(&target->client->targets, target);
  erase_target(&g.released, target);
}

void debugger_interrupt(Session* s) {
  DebugState& g = debug_state();
  DeferredSend send;
  {
    std::lock_guard hold(g.lock);
    // A request of the session that waits for an execution looks at the session's flag; one
    // whose answer was left to the execution is answered now.
    if (DebugClient* c = debug_client(g, s, false)) {
      c->wake.notify_all();
      deferred_interrupt(g, c, &send);
    }
    // An execution of the session that a debugger holds ends, parked or not.
    if (s->engine != nullptr) {
      if (DebugTarget* t = s->engine->debugger.load(); t != nullptr && !t->finished) target_end(*t);
    }
  }
  deferred_send(send, true);
}

void debugger_session_end(Session* s) {
  DebugState& g = debug_state();
  std::lock_guard hold(g.lock);
  const auto it = g.clients.find(s);
  if (it == g.clients.end()) return;
  DebugClient* c = it->second.get();
  if (c->wait != nullptr) {
    const auto before = g.waits.size();
    std::erase(g.waits, c->wait);
    if (g.waits.size() != before) debug_calls_awaited().fetch_sub(1);
    c->wait.reset();
  }
  std::erase_if(g.procs, [c](const auto& entry) { return entry.second.client == c; });
  // A run the client started ends with it; an execution it caught runs on without it.
  const std::vector<std::shared_ptr<DebugTarget>> targets = c->targets;
  for (const std::shared_ptr<DebugTarget>& t : targets) {
    if (t->started_by_run && !t->finished) target_end(*t);
    target_release(g, t);
  }
  g.clients.erase(it);
}

}  // namespace tavrel::kernel
