// The kernel-wide table of executions (see executions.h): a slot per possible id, handed out
// round-robin so that an id is not reused at once after its execution ends.
#include "kernel/engine/executions.h"

#include <array>
#include <memory>

namespace tavrel::kernel {

namespace {

constexpr size_t EXEC_IDS = EXEC_NONE;  // ids 0 .. 0xFFFE

struct ExecTable {
  std::mutex lock;
  std::unique_ptr<std::array<ExecRecord*, EXEC_IDS>> slots = std::make_unique<std::array<ExecRecord*, EXEC_IDS>>();
  size_t next = 1;  // id 0 means "none" to the manager, so ids start at 1
  size_t used = 0;
};

ExecTable& table() {
  static ExecTable t;
  return t;
}

}  // namespace

std::mutex& executions_lock() { return table().lock; }

std::atomic<int>& debug_calls_awaited() {
  static std::atomic<int> count{0};
  return count;
}

ExecRecord* executions_find_locked(uint16_t id) {
  if (id >= EXEC_IDS) return nullptr;
  return (*table().slots)[id];
}

int executions_enter(ExecRecord* rec) {
  ExecTable& t = table();
  std::lock_guard<std::mutex> hold(t.lock);
  if (t.used + 1 >= EXEC_IDS) return 1;
  for (size_t k = 0; k < EXEC_IDS; ++k) {
    size_t id = t.next;
    t.next = t.next + 1 >= EXEC_IDS ? 1 : t.next + 1;
    if ((*t.slots)[id] == nullptr) {
      (*t.slots)[id] = rec;
      rec->id = static_cast<uint16_t>(id);
      t.used++;
      return 0;
    }
  }
  return 1;
}

void executions_leave(ExecRecord* rec) {
  ExecTable& t = table();
  std::lock_guard<std::mutex> hold(t.lock);
  if (rec->id < EXEC_IDS && (*t.slots)[rec->id] == rec) {
    (*t.slots)[rec->id] = nullptr;
    t.used--;
  }
}

std::vector<ExecSnapshot> executions_list() {
  ExecTable& t = table();
  std::vector<ExecSnapshot> out;
  std::lock_guard<std::mutex> hold(t.lock);
  for (size_t id = 1; id < EXEC_IDS && out.size() < t.used; ++id) {
    const ExecRecord* r = (*t.slots)[id];
    if (r == nullptr) continue;
    out.push_back(ExecSnapshot{r->id, r->proc_id, r->caller, r->line.load(std::memory_order_relaxed),
                               r->flags.load(std::memory_order_relaxed), r->quanta.load(std::memory_order_relaxed),
                               r->exception.load(std::memory_order_relaxed)});
  }
  return out;
}

}  // namespace tavrel::kernel
