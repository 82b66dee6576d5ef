// The manager's one road to the kernel: every request of the catalogue, the editor and the
// debugger goes through kernel_call, which is channel_call unless a test put a peer in its
// place. Numbers, codes and record layouts come from the protocol vocabulary.
#pragma once

#include <cstdint>

#include "protocol/bytes.h"
#include "protocol/codes.h"
#include "protocol/request.h"

namespace tavrel {

using KernelCall = uint32_t (*)(RequestBlock* block, const void* buffer1, const void* buffer2,
                                void* buffer3, void* answer);
// channel_call, or the peer a test put in (null puts channel_call back). Set before the
// requests it should see; it is read on the thread that calls kernel_call.
void kernel_call_set(KernelCall call);
uint32_t kernel_call(RequestBlock* block, const void* buffer1, const void* buffer2, void* buffer3,
                     void* answer);

// Sets the four-letter command code of a block.
void set_command(RequestBlock* block, const char* code);

}  // namespace tavrel
