// The kernel's side of the framing: reading a request frame from outside bytes (never
// trusting them), joining a request that came in pieces, building answer frames, and laying
// a select's rows into answers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "protocol/request.h"

namespace tavrel::kernel {

struct KernelRequest {
  RequestBlock block;
  uint32_t client_pid;
  const uint8_t* part[4];   // buffers 1, 2, 3 and the answer buffer, padded lengths
  size_t part_length[4];
  uint8_t trailer[48];
};

// 0 when the message is a well-formed request frame, else -1 (nothing in out is valid).
int kernel_parse_frame(const uint8_t* message, size_t length, KernelRequest* out);

// The four parts of a request's data stream (per part a u16 length and the bytes), for a
// request joined from MALL/MPUT pieces: 0 when they tile the stream exactly, else -1. A part
// longer than 65,535 bytes travels with only the low 16 bits of its length, so a length may
// be the one written plus a multiple of 65,536; the shortest reading that tiles wins.
int kernel_parse_stream(const uint8_t* data, size_t length, KernelRequest* out);

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

// The longest row an answer can carry: the answer length field is 16 bits wide.
constexpr size_t ROW_MAX = 0xFFFF;

using Rows = std::vector<std::vector<uint8_t>>;

// Puts rows from *next on into the answer while they fit capacity and returns how many.
// Nothing left: code 2. The next row longer than capacity: code 1014 with the length
// needed, and the row stays next, so that a request with more room receives it. The next
// row longer than ROW_MAX: code 1076, and the row is passed over. A row delivered is not
// read again: the first one of an empty answer is moved into it rather than copied.
size_t rows_deliver(Rows& rows, size_t* next, uint16_t capacity, KernelAnswer* a);

}  // namespace tavrel::kernel
