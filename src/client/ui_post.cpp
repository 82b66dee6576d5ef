// Posting to the user-interface thread: a queue under a mutex, filled by any thread and
// emptied by the user-interface thread when the console's wake-up event ends its key wait
// (the keyboard layer's wake hook). An item is queued before the wake-up is signalled, so
// the wait that sees the signal also sees the item.
#include "client/ui_post.h"

#include <atomic>
#include <cassert>
#include <mutex>
#include <new>
#include <thread>

#include "platform/console.h"
#include "tui/keyboard.h"

namespace tavrel {

namespace {

struct PostedItem {
  PostedItem* next;
  PostedAction action;  // null: a key
  void* user;
  uint16_t key;
};

// First in, first out; every field under lock.
struct PostState {
  std::mutex lock;
  PostedItem* head = nullptr;
  PostedItem* tail = nullptr;
  int count = 0;
  bool open = false;
};

PostState& state() {
  static PostState s;
  return s;
}

// Static initialisation runs on the main thread, which is the user-interface thread until a
// start says otherwise.
const std::thread::id g_main_thread = std::this_thread::get_id();
std::atomic<std::thread::id> g_ui_thread{g_main_thread};

void take_on_wake() { ui_post_take(); }

// Unlinks the whole queue; the caller owns the nodes.
PostedItem* detach_all(PostState& s) {
  PostedItem* all = s.head;
  s.head = s.tail = nullptr;
  s.count = 0;
  return all;
}

void free_items(PostedItem* item) {
  while (item != nullptr) {
    PostedItem* next = item->next;
    delete item;
    item = next;
  }
}

int post(PostedAction action, void* user, uint16_t key) {
  // Allocated outside the lock, so a poster never holds it across the allocator.
  auto* item = new (std::nothrow) PostedItem{nullptr, action, user, key};
  if (item == nullptr) return 1;
  PostState& s = state();
  {
    std::lock_guard<std::mutex> guard(s.lock);
    if (!s.open) {
      delete item;
      return 2;
    }
    if (s.tail != nullptr) s.tail->next = item;
    else s.head = item;
    s.tail = item;
    s.count++;
    assert((s.head == nullptr) == (s.count == 0));
  }
  console_wake();
  return 0;
}

}  // namespace

int ui_post_start() {
  g_ui_thread.store(std::this_thread::get_id());
  PostState& s = state();
  {
    std::lock_guard<std::mutex> guard(s.lock);
    s.open = true;
  }
  set_wake_hook(take_on_wake);
  return 0;
}

void ui_post_stop() {
  assert(ui_thread_current());
  set_wake_hook(nullptr);
  PostState& s = state();
  PostedItem* dropped;
  {
    std::lock_guard<std::mutex> guard(s.lock);
    s.open = false;
    dropped = detach_all(s);
  }
  free_items(dropped);
}

int ui_post_key(uint16_t key) { return post(nullptr, nullptr, key); }

int ui_post_action(PostedAction action, void* user) {
  assert(action != nullptr);
  return post(action, user, 0);
}

int ui_post_take() {
  assert(ui_thread_current());
  PostedItem* taken;
  {
    PostState& s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    taken = detach_all(s);
  }
  // Outside the lock: an action may post again.
  int count = 0;
  for (PostedItem* item = taken; item != nullptr; item = item->next, count++) {
    if (item->action != nullptr) item->action(item->user);
    else stuff_key(item->key);
  }
  free_items(taken);
  return count;
}

int ui_post_pending() {
  PostState& s = state();
  std::lock_guard<std::mutex> guard(s.lock);
  return s.count;
}

bool ui_thread_current() { return g_ui_thread.load() == std::this_thread::get_id(); }

}  // namespace tavrel
