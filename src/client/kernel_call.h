// The manager's one road to the kernel: every request of the catalogue, the editor and the
// debugger goes through kernel_call, which is channel_call unless a test put a peer in its
// place. Also the small readers of kernel answers that those callers share.
#pragma once

#include <cstdint>

#include "channel/request.h"

namespace tavrel {

using KernelCall = uint32_t (*)(RequestBlock* block, const void* buffer1, const void* buffer2,
                                void* buffer3, void* answer);
// channel_call, or the peer a test put in (null puts channel_call back). Set before the
// requests it should see; it is read on the thread that calls kernel_call.
void kernel_call_set(KernelCall call);
uint32_t kernel_call(RequestBlock* block, const void* buffer1, const void* buffer2, void* buffer3,
                     void* answer);

// Numbers in kernel answers are little-endian, whatever their alignment.
inline uint32_t answer_u32(const uint8_t* p) {
  return p[0] | p[1] << 8 | p[2] << 16 | static_cast<uint32_t>(p[3]) << 24;
}
inline uint16_t answer_u16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | p[1] << 8); }
// Sets the four-letter command code of a block.
void set_command(RequestBlock* block, const char* code);

constexpr uint32_t KERNEL_DEBUGGER_ERROR = 7204;
constexpr uint16_t GETE_ANSWER = 4096;

}  // namespace tavrel
