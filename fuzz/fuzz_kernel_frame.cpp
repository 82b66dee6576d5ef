// Fuzz target of the kernel's frame reader: arbitrary bytes as a request frame. Every part
// that kernel_parse_frame accepts must lie inside the frame's data area, the parts must tile
// it, and the trailer and block must be the frame's own bytes. An accepted frame is then
// answered with kernel_build_answer (its first part as answer data, its second as a second
// block) and the answer read back with answer_take must give the same bytes.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "channel/framing.h"
#include "kernel/frame.h"

namespace {

using namespace tavrel;
using namespace tavrel::kernel;

// Kept below ANSWER_DATA_MAX together: the answer, its padding byte and the second block.
constexpr size_t DATA_LIMIT = 30000;

void check(bool condition) {
  if (!condition) __builtin_trap();
}

void check_trailer(const uint8_t* data, size_t size, const KernelRequest& r) {
  check(size >= FRAME_HEADER + FRAME_TRAILER);
  check(std::memcmp(r.trailer, data + size - FRAME_TRAILER, FRAME_TRAILER) == 0);
  check(std::memcmp(&r.block, data + 4, sizeof r.block) == 0);
  check(r.client_pid == get_u32(data + size - FRAME_TRAILER) && r.client_pid != 0);
}

// The answer to an accepted frame survives the trip through the channel's reader.
void round_trip(const KernelRequest& r) {
  KernelAnswer a;
  const size_t n = r.part_length[0] < DATA_LIMIT ? r.part_length[0] : DATA_LIMIT;
  a.data.assign(r.part[0], r.part[0] + n);
  a.length_field = 0;
  const size_t items = r.part_length[1] < DATA_LIMIT ? r.part_length[1] : DATA_LIMIT;
  if (items != 0) {
    a.second = {1, 0, static_cast<uint8_t>(items), static_cast<uint8_t>(items >> 8)};
    a.second.insert(a.second.end(), r.part[1], r.part[1] + items);
  }
  std::vector<uint8_t> frame(EXCHANGE_MAX);
  const size_t length = kernel_build_answer(r, a, frame.data());
  check(length <= EXCHANGE_MAX);
  check(std::memcmp(frame.data() + length - FRAME_TRAILER, r.trailer, FRAME_TRAILER) == 0);

  RequestBlock block{};
  std::memcpy(block.command, "SLCT", 4);
  block.answer_length = static_cast<uint16_t>(n);
  auto* answer = new uint8_t[n];
  std::vector<uint8_t> buffer3(a.second.size());
  const uint32_t code = answer_take(frame.data(), length, &block, command_find("SLCT"), answer,
                                    buffer3.empty() ? nullptr : buffer3.data());
  check(code == 0);
  check(block.answer_length == n);
  check(n == 0 || std::memcmp(answer, a.data.data(), n) == 0);
  check(n == 0 || buffer3 == a.second);
  delete[] answer;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // A heap copy of exactly the input, so that a read past its end is reported.
  auto* copy = new uint8_t[size];
  if (size != 0) std::memcpy(copy, data, size);

  KernelRequest trailer_only{};
  const bool has_trailer = kernel_frame_trailer(copy, size, &trailer_only);
  if (has_trailer) check_trailer(copy, size, trailer_only);

  KernelRequest r{};
  if (kernel_parse_frame(copy, size, &r) == 0) {
    check(has_trailer && size <= EXCHANGE_MAX);
    check_trailer(copy, size, r);
    // The four parts lie end to end in the data area, each behind its length word.
    const uint8_t* p = copy + FRAME_HEADER;
    const uint8_t* end = copy + size - FRAME_TRAILER;
    for (int i = 0; i < 4; ++i) {
      check(r.part[i] == p + 2 && r.part_length[i] == get_u16(p));
      check(r.part[i] >= copy + FRAME_HEADER && r.part[i] + r.part_length[i] <= end);
      p = r.part[i] + r.part_length[i];
    }
    check(p == end);
    round_trip(r);
  }
  delete[] copy;
  return 0;
}
