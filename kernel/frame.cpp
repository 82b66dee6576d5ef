// Request frames in, answer frames out, rows into answers.
#include "kernel/frame.h"

#include <cstring>

#include "channel/framing.h"
#include "kernel/errors.h"

namespace tavrel::kernel {

namespace {

// Reads parts i..3 from p so that they end exactly at end. Each length is the u16 written
// plus k x 65,536; the last part has a single candidate, so a stream of S bytes costs at
// most (S / 65,536)^2 tries.
bool tile_parts(const uint8_t* p, const uint8_t* end, int i, KernelRequest* out) {
  if (i == 4) return p == end;
  if (end - p < 2) return false;
  const size_t room = static_cast<size_t>(end - p) - 2;
  const size_t written = get_u16(p);
  if (i == 3) {
    if (room < written || (room - written) % 0x10000 != 0) return false;
    out->part[3] = p + 2;
    out->part_length[3] = room;
    return true;
  }
  for (size_t n = written; n <= room; n += 0x10000) {
    out->part[i] = p + 2;
    out->part_length[i] = n;
    if (tile_parts(p + 2 + n, end, i + 1, out)) return true;
  }
  return false;
}

}  // namespace

int kernel_parse_stream(const uint8_t* data, size_t length, KernelRequest* out) {
  return tile_parts(data, data + length, 0, out) ? 0 : -1;
}

bool kernel_frame_trailer(const uint8_t* message, size_t length, KernelRequest* out) {
  if (length < FRAME_HEADER + FRAME_TRAILER) return false;
  std::memcpy(out->trailer, message + length - FRAME_TRAILER, FRAME_TRAILER);
  std::memcpy(&out->block, message + 4, sizeof out->block);
  out->client_pid = get_u32(out->trailer);
  return out->client_pid != 0;
}

int kernel_parse_frame(const uint8_t* message, size_t length, KernelRequest* out) {
  if (length > EXCHANGE_MAX || !kernel_frame_trailer(message, length, out)) return -1;
  // One exchange is shorter than 65,536 bytes: every length is the one written.
  return kernel_parse_stream(message + FRAME_HEADER, length - FRAME_TRAILER - FRAME_HEADER, out);
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

size_t rows_deliver(Rows& rows, size_t* next, uint16_t capacity, KernelAnswer* a) {
  if (*next >= rows.size()) {
    a->code = KERNEL_NO_MORE_ROWS;
    return 0;
  }
  const size_t first = rows[*next].size();
  if (first > ROW_MAX) {
    ++*next;
    a->code = KERNEL_ANSWER_TOO_LONG;
    return 0;
  }
  if (first > capacity) {
    a->code = CHANNEL_ANSWER_TOO_LONG;
    a->length_field = static_cast<uint16_t>(first);
    return 0;
  }
  size_t count = 0;
  while (*next < rows.size() && a->data.size() + rows[*next].size() <= capacity) {
    if (a->data.empty()) {
      a->data.swap(rows[*next]);
    } else {
      a->data.insert(a->data.end(), rows[*next].begin(), rows[*next].end());
    }
    ++*next;
    ++count;
  }
  return count;
}

}  // namespace tavrel::kernel
