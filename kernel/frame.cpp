// Request frames in, answer frames out.
#include "kernel/frame.h"

#include <cstring>

#include "channel/framing.h"

namespace tavrel {

bool kernel_frame_trailer(const uint8_t* message, size_t length, KernelRequest* out) {
  if (length < FRAME_HEADER + FRAME_TRAILER) return false;
  std::memcpy(out->trailer, message + length - FRAME_TRAILER, FRAME_TRAILER);
  std::memcpy(&out->block, message + 4, sizeof out->block);
  out->client_pid = get_u32(out->trailer);
  return out->client_pid != 0;
}

int kernel_parse_frame(const uint8_t* message, size_t length, KernelRequest* out) {
  if (length > EXCHANGE_MAX || !kernel_frame_trailer(message, length, out)) return -1;
  const uint8_t* p = message + FRAME_HEADER;
  const uint8_t* end = message + length - FRAME_TRAILER;
  for (int i = 0; i < 4; ++i) {
    if (end - p < 2) return -1;
    const uint16_t n = get_u16(p);
    if (end - p - 2 < n) return -1;
    out->part[i] = p + 2;
    out->part_length[i] = n;
    p += 2 + n;
  }
  return p == end ? 0 : -1;
}

size_t kernel_build_answer(const KernelRequest& request, const KernelAnswer& answer, uint8_t* out) {
  const size_t data = answer.data.size();
  const size_t padded = answer.second.empty() ? data : data + (data & 1u);
  const size_t total = padded + answer.second.size();
  std::memset(out, 0, ANSWER_HEADER);
  std::memcpy(out + 4, &request.block, sizeof request.block);
  put_u32(out + 4, answer.code);
  put_u16(out + 8, answer.answer_word);
  put_u16(out + 10, answer.channel);
  put_u32(out + 28, answer.position);
  put_u32(out + 32, answer.argument);
  put_u32(out + 40, answer.system_code);
  put_u16(out + 44, data != 0 ? static_cast<uint32_t>(data) : answer.length_field);
  put_u16(out + ANSWER_TOTAL_OFFSET, static_cast<uint32_t>(total));
  uint8_t* p = out + ANSWER_HEADER;
  if (data != 0) std::memcpy(p, answer.data.data(), data);
  if (padded != data) p[data] = 0;
  if (!answer.second.empty()) std::memcpy(p + padded, answer.second.data(), answer.second.size());
  std::memcpy(p + total, request.trailer, FRAME_TRAILER);
  return ANSWER_HEADER + total + FRAME_TRAILER;
}

}  // namespace tavrel
