// Fuzz target of answer_take, the channel's reading of a kernel answer frame. The input is
//   byte 0      command-table row (modulo the table's size)
//   bytes 1-2   capacity of the answer buffer (offset 40 of the block)
//   byte 3      bit 0: no answer buffer, bit 1: no buffer 3, bit 2: REQUEST_ANSWER_WANTED
//   bytes 4-    the answer frame (cut to one exchange)
// The answer buffer is a heap block of exactly the capacity, buffer 3 one of exactly the
// frame's data area, so AddressSanitizer reports any write beyond them; every other broken
// invariant traps.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "channel/framing.h"
#include "protocol/request.h"

namespace {

using namespace tavrel;

constexpr uint8_t FILL = 0xA5;
constexpr size_t PARAMETERS = 4;

void check(bool condition) {
  if (!condition) __builtin_trap();
}

// Codes after which answer_take goes on to the answer data.
bool delivers(uint32_t code) { return static_cast<int32_t>(code) <= 1 || code == 135 || code == 7201; }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < PARAMETERS) return 0;
  const int row = data[0] % COMMAND_COUNT;
  const uint16_t capacity = get_u16(data + 1);
  const uint8_t options = data[3];
  size_t length = size - PARAMETERS;
  if (length > EXCHANGE_MAX) length = EXCHANGE_MAX;
  const std::vector<uint8_t> message(data + PARAMETERS, data + PARAMETERS + length);

  // Exactly sized heap blocks (new[] of 0 bytes still gives a block ASan guards).
  const bool with_answer = (options & 1) == 0;
  const bool with_buffer3 = (options & 2) == 0;
  const size_t area = length > ANSWER_HEADER + FRAME_TRAILER ? length - ANSWER_HEADER - FRAME_TRAILER : 0;
  auto* answer = new uint8_t[capacity];
  auto* buffer3 = new uint8_t[area];
  std::memset(answer, FILL, capacity);
  std::memset(buffer3, FILL, area);

  RequestBlock block{};
  std::memcpy(block.command, COMMAND_TABLE[row].code, 4);
  block.channel = 77;
  block.answer_length = capacity;
  block.flags = REQUEST_SENT | ((options & 4) != 0 ? REQUEST_ANSWER_WANTED : 0);

  const uint32_t code = answer_take(message.data(), length, &block, row, with_answer ? answer : nullptr,
                                    with_buffer3 ? buffer3 : nullptr);
  check(code == block.return_code);

  if (length < ANSWER_HEADER + FRAME_TRAILER) {
    // Too short to be an answer: nothing but the code changes.
    check(code == CHANNEL_EXCHANGE_FAILED);
    check(block.answer_length == capacity && block.channel == 77);
  } else {
    const uint32_t sent = get_u32(message.data() + 4);
    // The kernel's code comes back unchanged unless the channel found the frame inconsistent
    // or the answer too long for the buffer.
    check(code == sent || code == CHANNEL_EXCHANGE_FAILED || code == CHANNEL_ANSWER_TOO_LONG);
    if (code != sent) check(delivers(sent));
    check(block.position == get_u32(message.data() + 28));
    check(block.argument == get_u32(message.data() + 32));
  }
  // The delivered length never exceeds the capacity; only 1014 reports a larger one (needed).
  if (code != CHANNEL_ANSWER_TOO_LONG) check(block.answer_length <= capacity);
  // The fetch-the-rest mark is set only with 1014 and a capacity that holds the answer.
  if ((block.flags & REQUEST_FETCH_REST) != 0) {
    check(code == CHANNEL_ANSWER_TOO_LONG && block.answer_length <= capacity);
  }
  // The channel number changes only for the commands that open or close a session.
  const CommandRow& command = COMMAND_TABLE[row];
  if (!command_is(command.code, "OPEN") && !command_is(command.code, "OCUR") && !command_is(command.code, "CLOS")) {
    check(block.channel == 77);
  }

  // The answer buffer holds the frame's answer bytes up to the delivered length and nothing
  // else; with 1014 or a failed exchange it is untouched.
  const bool copied = code != CHANNEL_ANSWER_TOO_LONG && code != CHANNEL_EXCHANGE_FAILED;
  for (size_t i = 0; i < capacity; ++i) {
    if (answer[i] == FILL) continue;
    check(with_answer && copied && i < block.answer_length && answer[i] == message[ANSWER_HEADER + i]);
  }
  // Buffer 3 receives at most the second block: its two count words and n x m bytes.
  size_t written = 0;
  for (size_t i = 0; i < area; ++i) {
    if (buffer3[i] != FILL) written = i + 1;
  }
  if (written != 0) {
    check(with_buffer3 && copied && area >= 4);
    const size_t second = size_t{get_u16(buffer3)} * get_u16(buffer3 + 2) + 4;
    check(written <= second && second <= area);
  }

  delete[] answer;
  delete[] buffer3;
  return 0;
}
