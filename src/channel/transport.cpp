// The portable half of the channel's transport: routes, pending-request slots, the reader
// and watcher threads. The OS endpoints behind it are those of platform/ipc.h.
#include "channel/transport.h"

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "channel/framing.h"
#include "platform/ipc.h"
#include "platform/platform.h"

namespace tavrel {

namespace {

constexpr int SLOTS_PER_BLOCK = 32;
constexpr int SLOT_BLOCKS_MAX = 255;
constexpr int INSTANCE_MAX = 130;

// Slot states. A kept slot stays bound to its request block after a synchronous call that
// asked for an answer in any case (REQUEST_ANSWER_WANTED): an answer that arrives later
// still lands in the block and its buffers, and channel_wait on the block waits for it.
constexpr uint8_t SLOT_FREE = 0;
constexpr uint8_t SLOT_WAITING = 1;
constexpr uint8_t SLOT_KEPT = 2;

// Whether a thread still runs: the flag is cleared when the thread ends, so that an answer
// for a request block on the stack of an ended thread is dropped, not written.
using ThreadLife = std::shared_ptr<const std::atomic<bool>>;

struct ThreadLifeKeeper {
  std::shared_ptr<std::atomic<bool>> alive = std::make_shared<std::atomic<bool>>(true);
  ~ThreadLifeKeeper() { *alive = false; }
};

ThreadLife current_thread_life() {
  thread_local ThreadLifeKeeper keeper;
  return keeper.alive;
}

struct Slot {
  CallContext call{};
  uint8_t state = SLOT_FREE;
  uint8_t block_number = 0;
  uint8_t index = 0;
  bool async = false;
  bool signalled = false;     // the answer of a synchronous request is in
  bool sync_waiting = false;  // a synchronous caller has not yet taken its answer
  int route = -1;
  ThreadLife owner;           // the thread that sent the request
};
using SlotBlock = std::array<Slot, SLOTS_PER_BLOCK>;

struct Route {
  IpcEndpoint* endpoint = nullptr;
  uint32_t pid = 0;
  // Shared with the watcher, which may be waiting on it while the route is detached.
  std::shared_ptr<IpcProcess> process;
};

struct Transport {
  std::mutex start_lock;
  std::mutex attach_lock;  // route attach, route choice and the write of one request
  std::mutex slot_lock;    // the pending-request slots, and who receives
  // Notified whenever a slot is answered or freed and whenever the reply endpoint is let go.
  std::condition_variable slot_freed;
  // The reply endpoint has one receiver at a time (under slot_lock). A synchronous caller
  // receives its answer itself when nobody else does, without a hand-over from another
  // thread; the reader thread receives only while asynchronous or kept requests wait.
  bool receiving = false;
  std::condition_variable reader_wake;
  std::vector<std::unique_ptr<SlotBlock>> blocks;
  Route routes[2];
  IpcEndpoint* reply = nullptr;
  IpcWatch* watch = nullptr;
  std::thread reader;
  std::thread watcher;
  std::atomic<bool> started{false};
  std::atomic<bool> stopping{false};
  std::atomic<bool> reader_running{false};
  bool environment_read = false;
  char instance[2][INSTANCE_MAX + 1] = {};
  ExchangeHook hook = nullptr;
  void* hook_user = nullptr;
};

struct ShutdownAtExit {
  ~ShutdownAtExit() { transport_shutdown(); }
};

Transport& transport() {
  static Transport t;
  static ShutdownAtExit guard;  // destroyed before t: joins the threads first
  return t;
}

// Raised while a completion routine runs on this thread: it must not wait for an answer.
thread_local bool in_completion = false;

void set_completed(RequestBlock* block) {
  std::atomic_ref<uint32_t>(block->flags).fetch_or(REQUEST_COMPLETED);
}

bool node_is_local(const RequestBlock* block) {
  if (block->node[0] == 0) return true;
  for (char c : block->node) {
    if (c != ' ') return false;
  }
  return true;
}

// Under the attach lock.
void detach(Transport& t, int route) {
  Route& r = t.routes[route];
  if (r.endpoint == nullptr) return;
  ipc_close(r.endpoint);
  r.endpoint = nullptr;
  r.pid = 0;
  r.process.reset();
  if (t.watch != nullptr) ipc_watch_wake(t.watch);
}

// Under the attach lock.
int attach(Transport& t, int route) {
  if (!t.environment_read) {
    if (platform_getenv("NET_MBX", t.instance[IPC_ROUTE_AGENT], INSTANCE_MAX + 1) < 0) {
      t.instance[IPC_ROUTE_AGENT][0] = 0;
    }
    if (platform_getenv("TAVREL_MBX", t.instance[IPC_ROUTE_KERNEL], INSTANCE_MAX + 1) < 0) {
      t.instance[IPC_ROUTE_KERNEL][0] = 0;
    }
    t.environment_read = true;
  }
  Route& r = t.routes[route];
  if (r.endpoint != nullptr) return 0;
  IpcEndpoint* endpoint = nullptr;
  uint32_t pid = 0;
  if (const int error = ipc_route_open(route, t.instance[route], &endpoint, &pid)) return error;
  IpcProcess* process = nullptr;
  if (const int error = ipc_process_open(pid, &process)) {
    ipc_close(endpoint);
    return error;
  }
  r.endpoint = endpoint;
  r.pid = pid;
  r.process = std::shared_ptr<IpcProcess>(process, ipc_process_close);
  ipc_watch_wake(t.watch);  // the route-added event
  return 0;
}

// Completes every request still waiting on a route whose server has gone: 1002.
void fail_pending(Transport& t, int route) {
  std::vector<CallContext> completions;
  {
    std::lock_guard lock(t.slot_lock);
    for (auto& block : t.blocks) {
      for (Slot& s : *block) {
        if (s.state == SLOT_FREE || s.route != route) continue;
        const bool owner_alive = s.owner && *s.owner;
        s.state = SLOT_FREE;
        if (!owner_alive) continue;
        s.call.block->return_code = CHANNEL_EXCHANGE_FAILED;
        s.call.block->system_code = 0;
        if (s.async) {
          set_completed(s.call.block);
          completions.push_back(s.call);
        } else {
          s.signalled = true;
        }
      }
    }
    t.slot_freed.notify_all();
  }
  // A synchronous caller may be inside the receive, waiting for an answer that will not
  // come: the wake brings it out to find its slot answered with 1002.
  ipc_receive_wake(t.reply);
  for (const CallContext& c : completions) {
    if (c.done != nullptr) c.done(c.block, c.answer, c.buffer3);
  }
}

// Copies an answer into its slot's request and wakes the caller. An asynchronous answer
// that must be fetched with MGET ends the request with 1014 and the fetch-rest flag: it is
// not marked completed and its completion routine does not run; the next channel_call on
// the block fetches the answer.
void take_answer(Transport& t, const uint8_t* message, size_t length) {
  if (length < ANSWER_HEADER + FRAME_TRAILER) return;
  const uint8_t* trailer = message + length - FRAME_TRAILER;
  CallContext call{};
  bool completes = false;
  int route = -1;
  uint32_t code;
  {
    std::lock_guard lock(t.slot_lock);
    const size_t block_number = trailer[12];
    const size_t index = trailer[13];
    if (block_number >= t.blocks.size() || index >= SLOTS_PER_BLOCK) return;
    Slot& s = (*t.blocks[block_number])[index];
    if (s.state == SLOT_FREE) return;
    if (!s.owner || !*s.owner) {
      s.state = SLOT_FREE;
      s.signalled = true;
      t.slot_freed.notify_all();
      return;
    }
    code = answer_take(message, length, s.call.block, s.call.row, s.call.answer, s.call.buffer3);
    call = s.call;
    route = s.route;
    s.state = SLOT_FREE;
    if (s.async) {
      completes = (call.block->flags & REQUEST_FETCH_REST) == 0;
      if (completes) set_completed(call.block);
    } else {
      s.signalled = true;
    }
    t.slot_freed.notify_all();
  }
  if (completes && call.done != nullptr) {
    in_completion = true;
    call.done(call.block, call.answer, call.buffer3);
    in_completion = false;
  }
  if (code >= CHANNEL_NOT_REACHED && code <= CHANNEL_CONNECTION_LOST && route >= 0) {
    std::lock_guard lock(t.attach_lock);
    detach(t, route);
  }
}

// Under slot_lock: requests that no synchronous caller waits for, whose answers the reader
// thread must receive.
bool reader_needed(const Transport& t) {
  for (const auto& block : t.blocks) {
    for (const Slot& s : *block) {
      if ((s.state == SLOT_WAITING && s.async) || s.state == SLOT_KEPT) return true;
    }
  }
  return false;
}

// Receives one message as the endpoint's receiver and takes the answer in it; called with
// slot_lock held and t.receiving just set, returns with it held and t.receiving cleared.
// false when the endpoint has been stopped. A wake (a server has ended) receives nothing:
// the receiver looks at the slots again.
bool receive_one(Transport& t, std::unique_lock<std::mutex>& lock) {
  thread_local std::vector<uint8_t> buffer(EXCHANGE_MAX);
  lock.unlock();
  const long n = ipc_receive(t.reply, buffer.data(), buffer.size());
  if (n > 0) take_answer(t, buffer.data(), static_cast<size_t>(n));
  lock.lock();
  t.receiving = false;
  const bool serving = n > 0 || n == IPC_WOKEN;
  if (!serving) t.reader_running = false;
  t.slot_freed.notify_all();
  // Waking the reader when it has nothing to receive would cost a needless switch per answer.
  if (reader_needed(t)) t.reader_wake.notify_one();
  return serving;
}

void reader_loop(Transport& t) {
  std::unique_lock lock(t.slot_lock);
  for (;;) {
    t.reader_wake.wait(lock, [&t] { return t.stopping || !t.reader_running || (!t.receiving && reader_needed(t)); });
    if (t.stopping || !t.reader_running) break;
    t.receiving = true;
    if (!receive_one(t, lock)) break;
  }
  t.reader_running = false;
}

void watcher_loop(Transport& t) {
  while (!t.stopping) {
    std::vector<std::shared_ptr<IpcProcess>> held;
    std::vector<int> routes;
    {
      std::lock_guard lock(t.attach_lock);
      for (int r = 0; r < 2; ++r) {
        if (t.routes[r].process) {
          held.push_back(t.routes[r].process);
          routes.push_back(r);
        }
      }
    }
    std::vector<IpcProcess*> raw;
    for (auto& p : held) raw.push_back(p.get());
    const int ended = ipc_watch_wait(t.watch, raw.data(), static_cast<int>(raw.size()));
    if (ended < 0) continue;
    const int route = routes[static_cast<size_t>(ended)];
    {
      std::lock_guard lock(t.attach_lock);
      if (t.routes[route].process == held[static_cast<size_t>(ended)]) detach(t, route);
    }
    fail_pending(t, route);
  }
}

int start(Transport& t) {
  std::lock_guard lock(t.start_lock);
  if (t.started) return 0;
  if (const int error = ipc_reply_open(&t.reply)) return error;
  if (const int error = ipc_watch_open(&t.watch)) {
    ipc_close(t.reply);
    t.reply = nullptr;
    return error;
  }
  t.stopping = false;
  t.reader_running = true;
  t.reader = std::thread(reader_loop, std::ref(t));
  t.watcher = std::thread(watcher_loop, std::ref(t));
  t.started = true;
  return 0;
}

// Takes a slot for the call, under the slot-table lock; nullptr when the table is full. A
// busy slot of the same request block is taken over, unless a synchronous caller still
// waits on it: then this caller waits until that request has been answered.
Slot* take_slot(Transport& t, const CallContext& call, bool async) {
  std::unique_lock lock(t.slot_lock);
  for (;;) {
    Slot* same = nullptr;
    Slot* free_slot = nullptr;
    bool busy = false;
    for (auto& block : t.blocks) {
      for (Slot& s : *block) {
        if (s.state != SLOT_FREE && s.call.block == call.block) {
          if (s.state == SLOT_WAITING && !s.async) busy = true;
          same = &s;
        } else if (s.state == SLOT_FREE && !s.sync_waiting && free_slot == nullptr) {
          free_slot = &s;
        }
      }
    }
    if (busy) {
      t.slot_freed.wait(lock);
      continue;
    }
    Slot* s = same != nullptr ? same : free_slot;
    if (s == nullptr) {
      if (t.blocks.size() >= SLOT_BLOCKS_MAX) return nullptr;
      auto block = std::make_unique<SlotBlock>();
      for (int i = 0; i < SLOTS_PER_BLOCK; ++i) {
        (*block)[i].block_number = static_cast<uint8_t>(t.blocks.size());
        (*block)[i].index = static_cast<uint8_t>(i);
      }
      s = &(*block)[0];
      t.blocks.push_back(std::move(block));
    }
    s->call = call;
    s->state = SLOT_WAITING;
    s->async = async;
    s->signalled = false;
    s->sync_waiting = !async;
    s->route = -1;
    s->owner = current_thread_life();
    std::atomic_ref<uint32_t>(call.block->flags).fetch_and(~REQUEST_COMPLETED);
    return s;
  }
}

void free_slot(Transport& t, Slot* s) {
  std::lock_guard lock(t.slot_lock);
  s->state = SLOT_FREE;
  s->sync_waiting = false;
  t.slot_freed.notify_all();
}

void write_trailer(uint8_t* trailer, uint8_t block_number, uint8_t index) {
  std::memset(trailer, 0, FRAME_TRAILER);
  put_u32(trailer, ipc_process_id());
  trailer[12] = block_number;
  trailer[13] = index;
  put_u32(trailer + 36, ipc_process_id());
  trailer[47] = ipc_message_type();
}

uint32_t send_through_hook(Transport& t, uint8_t* frame, size_t length, const CallContext& call) {
  write_trailer(frame + length, 0, 0);
  std::vector<uint8_t> answer(EXCHANGE_MAX);
  const size_t n = t.hook(t.hook_user, frame, length + FRAME_TRAILER, answer.data());
  const uint32_t code = answer_take(answer.data(), n, call.block, call.row, call.answer, call.buffer3);
  if ((call.block->flags & REQUEST_ASYNC) != 0) {
    set_completed(call.block);
    if (call.done != nullptr) call.done(call.block, call.answer, call.buffer3);
    return 0;
  }
  return code;
}

}  // namespace

uint32_t transport_attach_for(RequestBlock* block) {
  Transport& t = transport();
  if (t.hook != nullptr) return 0;
  int error = start(t);
  if (error == 0) {
    std::lock_guard lock(t.attach_lock);
    if (node_is_local(block) && attach(t, IPC_ROUTE_KERNEL) == 0) return 0;
    error = attach(t, IPC_ROUTE_AGENT);
    if (error == 0) return 0;
    if (node_is_local(block)) error = attach(t, IPC_ROUTE_KERNEL);  // the kernel's error is the telling one
  }
  block->return_code = CHANNEL_NOT_REACHED;
  block->system_code = static_cast<uint32_t>(error);
  return CHANNEL_NOT_REACHED;
}

uint32_t transport_send(uint8_t* frame, size_t length, const CallContext& call) {
  Transport& t = transport();
  if (t.hook != nullptr) return send_through_hook(t, frame, length, call);
  RequestBlock* block = call.block;
  const bool async = (block->flags & REQUEST_ASYNC) != 0 && t.reader_running;
  Slot* s = take_slot(t, call, async);
  if (s == nullptr) {
    block->return_code = CHANNEL_SEND_FAILED;
    block->system_code = 0;
    return block->return_code;
  }
  put_u32(frame, ipc_thread_id());
  write_trailer(frame + length, s->block_number, s->index);
  int error = 0;
  bool attached = false;
  {
    std::lock_guard lock(t.attach_lock);
    const int route = node_is_local(block) && t.routes[IPC_ROUTE_KERNEL].endpoint != nullptr
                          ? IPC_ROUTE_KERNEL
                          : IPC_ROUTE_AGENT;
    if (t.routes[route].endpoint != nullptr) {
      attached = true;
      {
        std::lock_guard slot_lock(t.slot_lock);
        s->route = route;
      }
      error = ipc_send(t.routes[route].endpoint, frame, length + FRAME_TRAILER);
      if (error != 0) detach(t, route);
    }
  }
  if (!attached || error != 0) {
    free_slot(t, s);
    block->return_code = attached ? CHANNEL_SEND_FAILED : CHANNEL_NOT_REACHED;
    block->system_code = static_cast<uint32_t>(error);
    return block->return_code;
  }
  std::unique_lock lock(t.slot_lock);
  if (async) {
    t.reader_wake.notify_one();
    return 0;
  }
  // Receive the answer here while nobody else receives; otherwise wait for the receiver to
  // take it in or to let the endpoint go.
  while (!s->signalled) {
    if (!t.receiving && t.reader_running) {
      t.receiving = true;
      receive_one(t, lock);
    } else if (!t.reader_running) {
      // The endpoint has been stopped: no answer can come any more.
      block->return_code = CHANNEL_EXCHANGE_FAILED;
      s->state = SLOT_FREE;
      break;
    } else {
      t.slot_freed.wait(lock);
    }
  }
  s->sync_waiting = false;
  if ((block->flags & REQUEST_ANSWER_WANTED) != 0 && s->state == SLOT_FREE) {
    s->state = SLOT_KEPT;
    t.reader_wake.notify_one();
  }
  t.slot_freed.notify_all();
  return block->return_code;
}

int transport_wait(RequestBlock* block, int milliseconds) {
  Transport& t = transport();
  std::unique_lock lock(t.slot_lock);
  Slot* found = nullptr;
  for (auto& b : t.blocks) {
    for (Slot& s : *b) {
      if (s.state != SLOT_FREE && s.call.block == block) found = &s;
    }
  }
  if (found == nullptr) return 0;
  auto done = [found, block] { return found->state == SLOT_FREE || found->call.block != block; };
  if (milliseconds < 0) {
    t.slot_freed.wait(lock, done);
  } else if (milliseconds > 0) {
    t.slot_freed.wait_for(lock, std::chrono::milliseconds(milliseconds), done);
  }
  return done() ? 0 : 1;
}

bool transport_in_completion() { return in_completion; }

void transport_reread_environment() {
  Transport& t = transport();
  std::lock_guard lock(t.attach_lock);
  t.environment_read = false;
}

void transport_shutdown() {
  Transport& t = transport();
  std::lock_guard lock(t.start_lock);
  if (!t.started) return;
  {
    std::lock_guard slot_lock(t.slot_lock);
    t.stopping = true;
    t.reader_wake.notify_all();
  }
  ipc_receive_stop(t.reply);
  ipc_watch_wake(t.watch);
  t.reader.join();
  t.watcher.join();
  {
    std::lock_guard attach_lock(t.attach_lock);
    detach(t, IPC_ROUTE_AGENT);
    detach(t, IPC_ROUTE_KERNEL);
  }
  ipc_close(t.reply);
  t.reply = nullptr;
  ipc_watch_close(t.watch);
  t.watch = nullptr;
  {
    std::lock_guard slot_lock(t.slot_lock);
    t.blocks.clear();
  }
  t.started = false;
}

void transport_set_exchange_hook(ExchangeHook hook, void* user) {
  Transport& t = transport();
  t.hook = hook;
  t.hook_user = user;
}

}  // namespace tavrel
