// Building and sending answer frames.
#include "kernel/answer.h"

#include <cassert>
#include <vector>

#include "protocol/request.h"
#include "platform/ipc.h"

namespace tavrel::kernel {

void answer_send(IpcEndpoint* endpoint, const KernelRequest& request, const KernelAnswer& answer) {
  assert(endpoint != nullptr);
  assert(answer.data.size() + (answer.second.empty() ? 0 : answer.second.size() + 1) <= ANSWER_DATA_MAX &&
         "an answer is fitted to one exchange before it is sent");
  // One frame buffer per thread, neither allocated nor cleared per answer: the builder
  // writes every byte it sends.
  thread_local std::vector<uint8_t> frame(EXCHANGE_MAX);
  const size_t length = kernel_build_answer(request, answer, frame.data());
  ipc_reply_to(endpoint, request.client_pid, frame.data(), length);
}

}  // namespace tavrel::kernel
