// The MALL/MPUT joining of long requests and the MGET portions of long answers.
#include "kernel/assembly.h"

#include <cassert>

#include "protocol/request.h"
#include "kernel/errors.h"

namespace tavrel::kernel {

void assembly_begin(Assembly* s, uint16_t total) {
  s->data.clear();
  s->total = total;
  s->active = true;
}

uint32_t assembly_add(Assembly* s, uint32_t position, const uint8_t* piece, size_t length) {
  if (!s->active || position != s->data.size() || s->data.size() + length > ASSEMBLY_MAX) {
    s->active = false;
    s->data.clear();
    return KERNEL_MALFORMED;
  }
  s->data.insert(s->data.end(), piece, piece + length);
  return 0;
}

uint32_t assembly_finish(Assembly* s, KernelRequest* request) {
  assert(s->active);
  s->active = false;
  std::vector<uint8_t>* joined = &s->joined;
  joined->clear();
  joined->swap(s->data);
  joined->insert(joined->end(), request->part[3], request->part[3] + request->part_length[3]);
  if ((joined->size() & 0xFFFF) != s->total) return KERNEL_MALFORMED;
  return kernel_parse_stream(joined->data(), joined->size(), request) == 0 ? 0 : KERNEL_MALFORMED;
}

void answer_fit(const KernelRequest& request, KernelAnswer* answer, PendingAnswer* pending) {
  const size_t size = answer->data.size() + (answer->second.empty() ? 0 : answer->second.size() + 1);
  if (size <= ANSWER_DATA_MAX) return;
  const int row = command_find(request.block.command);
  const bool fetchable = row >= 0 && (COMMAND_TABLE[row].properties & COMMAND_FETCH) != 0;
  const size_t needed = answer->data.size();
  const bool describable = needed <= ROW_MAX;
  if (describable && pending != nullptr && fetchable && request.block.answer_length >= needed) {
    pending->data = std::move(answer->data);
    pending->head = *answer;
  }
  // An answer that no 16-bit length can describe is refused, never sent cut.
  KernelAnswer refusal;
  refusal.code = describable ? CHANNEL_ANSWER_TOO_LONG : KERNEL_ANSWER_TOO_LONG;
  refusal.channel = answer->channel;
  refusal.position = answer->position;
  refusal.argument = answer->argument;
  refusal.length_field = describable ? static_cast<uint16_t>(needed) : 0;
  *answer = std::move(refusal);
}

void pending_fetch(PendingAnswer* pending, uint32_t position, uint16_t capacity, KernelAnswer* a) {
  if (position >= pending->data.size()) {
    a->code = KERNEL_NO_SELECT;
    return;
  }
  size_t n = pending->data.size() - position;
  if (n > capacity) n = capacity;
  if (n > ANSWER_DATA_MAX) n = ANSWER_DATA_MAX;
  a->code = pending->head.code;
  a->argument = pending->head.argument;
  a->answer_word = pending->head.answer_word;
  a->system_code = pending->head.system_code;
  const auto from = pending->data.begin() + static_cast<long>(position);
  a->data.assign(from, from + static_cast<long>(n));
  if (position + n >= pending->data.size()) pending->data.clear();
}

}  // namespace tavrel::kernel
