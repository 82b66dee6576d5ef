// The kernel's side of the framing: reading a request frame from outside bytes (never
// trusting them) and building answer frames.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "channel/request.h"

namespace tavrel {

struct KernelRequest {
  RequestBlock block;
  uint32_t client_pid;
  const uint8_t* part[4];   // buffers 1, 2, 3 and the answer buffer, padded lengths
  uint16_t part_length[4];
  uint8_t trailer[48];
};

// 0 when the message is a well-formed request frame, else -1 (nothing in out is valid).
int kernel_parse_frame(const uint8_t* message, size_t length, KernelRequest* out);

// The trailer alone, for answering a frame that is otherwise malformed; false when even the
// trailer is missing.
bool kernel_frame_trailer(const uint8_t* message, size_t length, KernelRequest* out);

struct KernelAnswer {
  uint32_t code = 0;
  uint32_t system_code = 0;
  uint16_t channel = 0;
  uint16_t answer_word = 0;
  uint32_t position = 0;
  uint32_t argument = 0;
  std::vector<uint8_t> data;    // the answer buffer's bytes
  std::vector<uint8_t> second;  // the second block (u16 count, u16 size, items), or empty
  uint16_t length_field = 0;    // answer length sent when data is empty (1014: length needed)
};

// Builds the answer frame for a request into out (EXCHANGE_MAX bytes) and returns its
// length. The data must fit one exchange (ANSWER_DATA_MAX with the second block).
size_t kernel_build_answer(const KernelRequest& request, const KernelAnswer& answer, uint8_t* out);

}  // namespace tavrel
