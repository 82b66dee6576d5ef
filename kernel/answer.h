// Answers leaving the kernel: the answer frame of a request, built in a per-thread buffer
// and sent to the client's reply endpoint. An answer must fit one exchange (answer_fit in
// kernel/assembly.h sees to that for the answers of a session).
#pragma once

#include "kernel/frame.h"

namespace tavrel {
struct IpcEndpoint;
}

namespace tavrel::kernel {

void answer_send(IpcEndpoint* endpoint, const KernelRequest& request, const KernelAnswer& answer);

}  // namespace tavrel::kernel
