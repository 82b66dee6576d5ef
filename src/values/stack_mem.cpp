// The chained 4096-byte blocks of the three stack-memory pools.
#include "values/stack_mem.h"

#include <new>

namespace tavrel {

static StackBlock* new_block() {
  StackBlock* b = new (std::nothrow) StackBlock;
  if (b != nullptr) {
    b->next = nullptr;
    b->free = STACK_BLOCK_HEADER;
  }
  return b;
}

static void free_chain(StackBlock* b) {
  while (b != nullptr) {
    StackBlock* next = b->next;
    delete b;
    b = next;
  }
}

int stack_mem_setup(StackMemory& mem) {
  if (mem.setups++ > 0) return 0;
  for (StackPool& p : mem.pools) {
    p.first = new_block();
    p.current = p.first;
    if (p.first == nullptr) {
      stack_mem_teardown(mem);
      return 1;
    }
  }
  return 0;
}

void stack_mem_teardown(StackMemory& mem) {
  for (StackPool& p : mem.pools) {
    free_chain(p.first);
    p.first = p.current = nullptr;
  }
  mem.setups = 0;
}

void* get_stack_mem(StackMemory& mem, int pool, size_t n) {
  StackPool& p = mem.pools[pool];
  if (p.current == nullptr) {
    mem.notice = "TSP: invalid use of get_stack_mem()!\n";
    return nullptr;
  }
  if (n + STACK_BLOCK_HEADER >= STACK_BLOCK_SIZE + 1) return nullptr;
  StackBlock* b = p.current;
  if (b->free + n > STACK_BLOCK_SIZE) {
    if (b->next == nullptr) {
      b->next = new_block();
      if (b->next == nullptr) {
        mem.notice = "No enough memory!\n";
        return nullptr;
      }
    }
    b = b->next;
    b->free = STACK_BLOCK_HEADER;
    p.current = b;
  }
  void* out = b->data + b->free;
  b->free = static_cast<uint16_t>(b->free + n);
  return out;
}

StackMark stack_mark(const StackMemory& mem, int pool) {
  const StackPool& p = mem.pools[pool];
  return StackMark{p.current, p.current != nullptr ? p.current->free : uint16_t{0}};
}

void stack_release(StackMemory& mem, int pool, StackMark mark) {
  StackPool& p = mem.pools[pool];
  if (mark.block == nullptr) return;
  p.current = mark.block;
  p.current->free = mark.free;
  if (mark.free < STACK_RELEASE_BELOW) {
    free_chain(p.current->next);
    p.current->next = nullptr;
  }
}

}  // namespace tavrel
