// The kernel seam: channel_call, or the peer a test put in its place.
#include "client/kernel_call.h"

#include <cassert>
#include <cstring>

#include "channel/channel.h"

namespace tavrel {

namespace {

KernelCall g_call = nullptr;

}  // namespace

void kernel_call_set(KernelCall call) { g_call = call; }

uint32_t kernel_call(RequestBlock* block, const void* buffer1, const void* buffer2, void* buffer3,
                     void* answer) {
  assert(block != nullptr);
  if (g_call != nullptr) return g_call(block, buffer1, buffer2, buffer3, answer);
  return channel_call(block, buffer1, buffer2, buffer3, answer);
}

void set_command(RequestBlock* block, const char* code) {
  assert(block != nullptr && code != nullptr && std::strlen(code) == 4);
  std::memcpy(block->command, code, 4);
}

}  // namespace tavrel
