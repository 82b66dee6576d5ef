// The executor's hooks of the debugger (see hooks.h): watching, arming, catching calls, the
// stop decision, parking and the end of a caught root.
#include "kernel/debug/hooks.h"

#include <mutex>

#include "kernel/debug/control.h"
#include "kernel/debug/procs.h"
#include "kernel/engine/session.h"
#include "values/value_wire.h"

namespace tavrel::kernel {

namespace {

// Whether a frame stops at each line it enters, as its target runs on now.
bool stepping(const DebugTarget& t, const FrameWatch& w) {
  switch (t.mode) {
    case RunMode::RUN: return false;
    case RunMode::STEP: return w.depth <= t.ref_depth;
    case RunMode::TRACE: return true;
    case RunMode::RETURN: return w.depth < t.ref_depth;
    case RunMode::FIRST: return w.record == t.root;
  }
  return false;
}

void disarm(ExecRecord* record) {
  record->trap.store(false, std::memory_order_relaxed);
  record->stops.store(nullptr, std::memory_order_relaxed);
}

// A released or ended target forgets its frames: they run on without a debugger.
void disarm_all(DebugTarget& t) {
  for (FrameWatch& w : t.frames) {
    disarm(w.record);
    w.record->flags.store(0, std::memory_order_relaxed);
  }
  t.frames.clear();
}

void snapshot_take(FrameWatch& w) {
  const Frame& f = *w.record->frame;
  w.snapshot.assign(w.watched.size(), {});
  for (size_t k = 0; k < w.watched.size(); ++k) value_wire_put(f.vars[w.watched[k]], &w.snapshot[k]);
}

void arm(DebugState& g, const DebugTarget& t, FrameWatch& w) {
  ExecRecord* record = w.record;
  ProcDebug* pd = owned_proc(g, t.client, record->proc_id);
  // A frame of a procedure altered since its session opened: the session takes the new text's
  // unit. Breakpoints hold for the unit they were set on; a frame of an older text runs without.
  if (pd != nullptr && pd->unit.get() != record->unit) proc_refresh(*pd, nullptr);
  const bool same_unit = pd != nullptr && pd->unit.get() == record->unit;
  w.table = same_unit ? pd->table : nullptr;
  std::vector<int> watched = same_unit ? pd->watched : std::vector<int>{};
  if (watched != w.watched) {
    w.watched = std::move(watched);
    snapshot_take(w);
  }
  // Stepping and on-change watching look at every statement; breakpoints only at theirs.
  const bool every = stepping(t, w) || !w.watched.empty();
  const bool marked = w.table != nullptr && w.table->any;
  record->stops.store(every || !marked ? nullptr : w.table->at.data(), std::memory_order_relaxed);
  record->trap.store(every || marked, std::memory_order_relaxed);
}

// The first watched variable whose value changed since the last look, as an index into
// w.watched, or -1; every changed one is looked at anew.
int changed_variable(FrameWatch& w) {
  const Frame& f = *w.record->frame;
  int first = -1;
  std::vector<uint8_t> now;
  for (size_t k = 0; k < w.watched.size(); ++k) {
    now.clear();
    value_wire_put(f.vars[w.watched[k]], &now);
    if (now == w.snapshot[k]) continue;
    w.snapshot[k].swap(now);
    if (first < 0) first = static_cast<int>(k);
  }
  return first;
}

// The number a stop at a breakpoint line reports: an ordinary breakpoint's before a
// conditional one's, whose condition the client evaluates.
uint16_t line_breakpoint(const ProcDebug* pd, int32_t line) {
  if (pd == nullptr) return 0;
  const KernelBreakpoint* conditional = nullptr;
  for (const KernelBreakpoint& b : pd->breakpoints) {
    if (static_cast<int64_t>(b.line) != line) continue;
    if (b.kind == BREAKPOINT_LINE) return b.number;
    if (b.kind == BREAKPOINT_CONDITION && conditional == nullptr) conditional = &b;
  }
  return conditional != nullptr ? conditional->number : 0;
}

uint16_t change_breakpoint(const ProcDebug* pd, int variable) {
  if (pd == nullptr) return 0;
  for (const KernelBreakpoint& b : pd->breakpoints) {
    if (b.kind != BREAKPOINT_CHANGE) continue;
    for (int v : b.variables) {
      if (v == variable) return b.number;
    }
  }
  return 0;
}

// Parks the execution at a statement: the client is told, and the thread waits on the
// target's own condition variable for an order. Returns what the stop hook returns.
int32_t park(DebugState& g, std::unique_lock<std::mutex>& hold, DebugTarget& t, EngineSession* es,
             ExecRecord* record, int depth, const ExecState& state) {
  record->line.store(static_cast<int32_t>(state.line), std::memory_order_relaxed);
  record->flags.store(state.flags, std::memory_order_relaxed);
  t.state = state;
  t.parked = true;
  t.parked_record = record;
  t.order = Order::NONE;
  proc_cursors_clear(g, t.client);
  DeferredSend send;
  target_event(g, t, &send);
  if (send.session != nullptr) {
    // The answer leaves from here, without the lock; an order that comes meanwhile is seen
    // by the wait below.
    hold.unlock();
    deferred_send(send, false);
    hold.lock();
  }
  t.wake.wait(hold, [&] {
    return t.order != Order::NONE || t.end || t.client == nullptr || es->interrupted.load(std::memory_order_relaxed);
  });
  t.parked = false;
  t.parked_record = nullptr;
  const Order order = t.order;
  t.order = Order::NONE;
  if (t.end || order == Order::END || es->interrupted.load(std::memory_order_relaxed)) {
    // Ended: the interruption runs up the whole chain, as KILL's does, without handlers.
    t.end = true;
    es->interrupted.store(true);
    record->flags.store(EXEC_DEBUGGED, std::memory_order_relaxed);
    return RAISE_INTERRUPT;
  }
  if (t.client == nullptr) {
    disarm_all(t);
    return 0;
  }
  record->flags.store(EXEC_DEBUGGED, std::memory_order_relaxed);
  t.mode = t.next_mode;
  t.ref_depth = depth;
  target_arm(g, t);
  return 0;
}

// The end of a caught root: the client learns it with the exception and the return value.
void finish_caught(DebugState& g, DebugTarget& t, EngineSession* es, ExecRecord* record, int32_t code,
                   DeferredSend* send) {
  const bool exception = code != 0 && code != RAISE_INTERRUPT;
  t.state = ExecState{static_cast<uint32_t>(t.root_proc), t.root_id,
                      static_cast<uint32_t>(record->line.load(std::memory_order_relaxed)), EXEC_FINISHED,
                      static_cast<int16_t>(exception ? code : 0), 0};
  if (code == 0 && record->unit->has_result) value_wire_put(record->frame->result, &t.result);
  disarm_all(t);
  t.root = nullptr;
  t.finished = true;
  es->debugger.store(nullptr);
  // Either may free t: the last thing done with it.
  if (t.client != nullptr) {
    target_event(g, t, send);
  } else {
    ++t.events;
    target_forget(g, &t);
  }
}

// A call in a session without a debugger, while clients wait for calls: the first wait it
// matches catches it, and it becomes the root of a new target that stops at its first
// statement.
void catch_call(DebugState& g, EngineSession* es, ExecRecord* record) {
  for (auto it = g.waits.begin(); it != g.waits.end(); ++it) {
    const std::shared_ptr<CallWait> w = *it;
    if (w->proc_id != 0 && w->proc_id != record->proc_id) continue;
    if (owned_proc(g, w->client, record->proc_id) == nullptr) continue;
    auto t = std::make_shared<DebugTarget>();
    t->es = es;
    t->client = w->client;
    t->mode = RunMode::FIRST;
    t->root = record;
    t->root_id = record->id;
    t->root_proc = record->proc_id;
    w->client->targets.push_back(t);
    w->caught = t;
    g.waits.erase(it);
    debug_calls_awaited().fetch_sub(1);
    es->debugger.store(t.get());
    target_watch(g, *t, record, es->depth);
    w->client->wake.notify_all();
    return;
  }
}

void on_enter(EngineSession* es, ExecRecord* record) {
  DebugState& g = debug_state();
  std::lock_guard hold(g.lock);
  DebugTarget* t = es->debugger.load();
  if (t == nullptr) {
    if (!g.waits.empty()) catch_call(g, es, record);
    return;
  }
  if (t->end) {
    // Ended before this frame came: it ends at its first statement.
    record->stops.store(nullptr, std::memory_order_relaxed);
    record->trap.store(true, std::memory_order_relaxed);
    return;
  }
  if (t->client == nullptr) return;
  // A run's root is its statement's first top-level execution.
  if (t->started_by_run && t->root_id == EXEC_NONE && es->depth == 1) {
    t->root = record;
    t->root_id = record->id;
    t->root_proc = record->proc_id;
  }
  target_watch(g, *t, record, es->depth);
}

void on_leave(EngineSession* es, ExecRecord* record, int32_t code) {
  DebugState& g = debug_state();
  std::unique_lock hold(g.lock);
  DebugTarget* t = es->debugger.load();
  if (t == nullptr) return;
  if (!t->frames.empty() && t->frames.back().record == record) {
    disarm(record);
    t->frames.pop_back();
  }
  if (record != t->root) return;
  if (t->started_by_run) {
    // The run's job tells the end, when the whole statement has run.
    t->root_line = record->line.load(std::memory_order_relaxed);
    t->root = nullptr;
    return;
  }
  // Made only here: every call of a debugged session passes the lines above.
  DeferredSend send;
  finish_caught(g, *t, es, record, code, &send);
  hold.unlock();
  deferred_send(send, false);
}

int32_t on_stop(EngineSession* es, ExecRecord* record, int pc) {
  DebugState& g = debug_state();
  std::unique_lock hold(g.lock);
  DebugTarget* t = es->debugger.load();
  if (t == nullptr) {
    disarm(record);
    return 0;
  }
  if (t->end || es->interrupted.load(std::memory_order_relaxed)) {
    es->interrupted.store(true);
    return RAISE_INTERRUPT;
  }
  if (t->client == nullptr) {
    disarm_all(*t);
    return 0;
  }
  if (t->rearm) {
    t->rearm = false;
    target_arm(g, *t);
  }
  FrameWatch* w = nullptr;
  for (auto it = t->frames.rbegin(); it != t->frames.rend() && w == nullptr; ++it) {
    if (it->record == record) w = &*it;
  }
  if (w == nullptr) {
    disarm(record);
    return 0;
  }
  const Unit& u = *record->unit;
  const int32_t line = u.code[static_cast<size_t>(pc)].line;
  // The record still holds the line of the statement run before in this frame.
  const bool entered = line_starts(u, pc) || record->line.load(std::memory_order_relaxed) != line;
  // Breakpoints count while the frame's procedure has its debug session (the frame may still
  // hold the table of one closed since it was armed).
  const ProcDebug* pd = owned_proc(g, t->client, record->proc_id);
  const int changed = pd == nullptr || w->watched.empty() ? -1 : changed_variable(*w);
  const uint8_t marks = pd != nullptr && w->table != nullptr && static_cast<size_t>(pc) < w->table->at.size()
                            ? w->table->at[static_cast<size_t>(pc)]
                            : 0;
  const bool step = entered && stepping(*t, *w);
  const bool at_breakpoint = entered && (marks & STOP_BREAKPOINT) != 0;
  const bool at_cursor = entered && (marks & STOP_CURSOR) != 0;
  if (!step && !at_breakpoint && !at_cursor && changed < 0) return 0;
  ExecState state{static_cast<uint32_t>(record->proc_id), record->id, static_cast<uint32_t>(line),
                  EXEC_DEBUGGED | EXEC_WAITING_DEBUGGER, static_cast<int16_t>(record->frame->handling), 0};
  // A step reports no breakpoint: the client would go on past a condition that is false.
  if (!step && at_breakpoint) {
    state.flags |= EXEC_AT_BREAKPOINT;
    state.breakpoint = line_breakpoint(pd, line);
  } else if (!step && !at_cursor && changed >= 0) {
    state.flags |= EXEC_AT_BREAKPOINT;
    state.breakpoint = change_breakpoint(pd, w->watched[static_cast<size_t>(changed)]);
  }
  return park(g, hold, *t, es, record, w->depth, state);
}

void on_print(EngineSession* es, std::string_view text) {
  DebugState& g = debug_state();
  std::lock_guard hold(g.lock);
  DebugTarget* t = es->debugger.load();
  if (t == nullptr || t->client == nullptr) return;
  std::deque<std::string>& printed = t->client->printed;
  printed.emplace_back(text);
  if (printed.size() > PRINTED_KEPT_MAX) printed.pop_front();
}

}  // namespace

bool line_starts(const Unit& u, int pc) {
  return pc == 0 || u.code[static_cast<size_t>(pc) - 1].line != u.code[static_cast<size_t>(pc)].line;
}

void hooks_install() {
  DebugHooks hooks;
  hooks.stop = on_stop;
  hooks.enter = on_enter;
  hooks.leave = on_leave;
  hooks.print = on_print;
  set_debug_hooks(hooks);
}

void target_arm(DebugState& g, DebugTarget& t) {
  for (FrameWatch& w : t.frames) arm(g, t, w);
}

void target_watch(DebugState& g, DebugTarget& t, ExecRecord* record, int depth) {
  // Tracing also enters a procedure compiled for debugging that no client debugs yet.
  if (owned_proc(g, t.client, record->proc_id) == nullptr &&
      (t.mode != RunMode::TRACE || !record->unit->debug || g.procs.count(record->proc_id) != 0)) {
    return;
  }
  FrameWatch w;
  w.record = record;
  w.depth = depth;
  t.frames.push_back(std::move(w));
  record->flags.store(EXEC_DEBUGGED, std::memory_order_relaxed);
  arm(g, t, t.frames.back());
}

void watch_refresh(FrameWatch& w) { snapshot_take(w); }

void targets_rearm(const DebugClient* c, int32_t proc_id) {
  for (const std::shared_ptr<DebugTarget>& t : c->targets) {
    if (t->parked || t->finished) continue;
    for (FrameWatch& w : t->frames) {
      if (w.record->proc_id != proc_id) continue;
      // Its stop table stays alive: the executing thread may be reading it now.
      w.record->stops.store(nullptr, std::memory_order_relaxed);
      w.record->trap.store(true, std::memory_order_relaxed);
      t->rearm = true;
    }
  }
}

}  // namespace tavrel::kernel
