// Framing of requests and the taking back of answers: how the buffers of a command are
// measured by its request layout, how they are laid out in the exchange buffer, and how an
// answer frame is copied into the caller's block and buffers. Free of any transport.
#pragma once

#include <cstddef>
#include <cstdint>

#include "protocol/bytes.h"
#include "protocol/records.h"
#include "protocol/request.h"

namespace tavrel {

// One of the four data parts (buffers 1, 2, 3 and the answer buffer), unpadded. A statement
// text may be longer than 65,535 bytes: it is sent whole, with the low 16 bits of its length.
struct RequestPart {
  const uint8_t* data;
  size_t length;
};
struct RequestParts {
  RequestPart part[4];
};

// Measures the buffers of a request by its row's layout. codepage receives the code-page
// block when the layout sends one (its name from buffer 3 when that is a non-empty string,
// else from defaults); parts then point into it. Layout 5 clears the channel number unless
// the command is KILL. Returns 0 or a channel code (1005-1007, 1057).
uint32_t request_measure(RequestBlock* block, const CommandRow& row, const void* buffer1,
                         const void* buffer2, const void* buffer3, const void* answer,
                         const CodePageBlock& defaults, CodePageBlock* codepage, RequestParts* parts);

// The request's data length: the four lengths padded to even, plus the four length words.
size_t request_data_length(const RequestParts& parts);

// Writes the data area (request_data_length bytes): per part a u16 length (its low 16 bits
// when longer) followed by the bytes, an odd part followed by one blank that its length
// counts.
void request_write_data(const RequestParts& parts, uint8_t* out);

// Masks the flags for sending and marks the request as sent.
void request_prepare_flags(RequestBlock* block);

// Copies an answer frame (message of length bytes, trailer included) into the caller's block
// and buffers: codes and counts, the channel number, the answer data when it fits the
// capacity at offset 40 (else 1014 with the length needed) and the second block into
// buffer 3. A frame too short or inconsistent sets 1002. Returns the block's return code.
uint32_t answer_take(const uint8_t* message, size_t length, RequestBlock* block, int row,
                     void* answer, void* buffer3);

}  // namespace tavrel
