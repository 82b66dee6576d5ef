// Stack memory: three stack-like pools (translation frames and two pools for evaluation
// texts), each a chain of 4096-byte blocks. Memory is never freed piece by piece: a frame
// marks a pool on entry and releases to the mark on exit. Nothing here prints: a failure's
// message is left in the record for the caller to show.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tavrel {

constexpr int STACK_BLOCK_SIZE = 4096;
constexpr int STACK_BLOCK_HEADER = 6;  // the first free offset of a fresh block
// Releasing to a mark below this offset also gives back the blocks after the marked one.
constexpr int STACK_RELEASE_BELOW = 2048;

enum StackPoolId { STACK_FRAMES = 0, STACK_TEXT_A = 1, STACK_TEXT_B = 2, STACK_POOLS = 3 };

struct StackBlock {
  StackBlock* next;
  uint16_t free;  // offset of the first free byte of data, from STACK_BLOCK_HEADER
  alignas(16) uint8_t data[STACK_BLOCK_SIZE];
};

struct StackPool {
  StackBlock* first;
  StackBlock* current;
};

struct StackMark {
  StackBlock* block;
  uint16_t free;
};

struct StackMemory {
  StackPool pools[STACK_POOLS];
  int setups;  // set-up calls so far; only the first allocates
  // The message of the last failure ("TSP: invalid use of get_stack_mem()!\n" or
  // "No enough memory!\n"), null when none; the caller shows it and clears it.
  const char* notice;
};

// Sets the pools up on the first call (0 on success, non-zero without memory); later
// calls only count up.
int stack_mem_setup(StackMemory& mem);
// Gives every block back; the pools are then as if never set up.
void stack_mem_teardown(StackMemory& mem);

// n bytes from a pool, or nullptr: a pool never set up leaves the notice
// "TSP: invalid use of get_stack_mem()!\n", a request of n + 6 >= 4097 gives nothing,
// and a block that cannot be had leaves "No enough memory!\n".
void* get_stack_mem(StackMemory& mem, int pool, size_t n);
StackMark stack_mark(const StackMemory& mem, int pool);
void stack_release(StackMemory& mem, int pool, StackMark mark);

}  // namespace tavrel
