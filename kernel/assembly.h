// Requests and answers longer than one exchange.
//
// A request longer than one exchange arrives as MALL (announcing the length's low 16 bits),
// MPUT pieces (each carrying its byte position and the piece as the fourth part) and the
// final exchange of the real command, whose parts then belong to the joined data stream.
// An answer longer than one exchange is refused with 1014 and the length needed, and kept:
// the client fetches it with MGET in portions from a byte position. Both are plain records
// of the session with free functions over them; they touch neither SQLite nor the transport.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "kernel/frame.h"

namespace tavrel::kernel {

// A joined request is refused beyond this size.
constexpr size_t ASSEMBLY_MAX = size_t{64} << 20;

struct Assembly {
  std::vector<uint8_t> data;  // the pieces so far
  uint16_t total = 0;         // the length MALL announced: its low 16 bits
  bool active = false;        // between MALL and the final exchange
  std::vector<uint8_t> joined;  // the last joined request, which its parts point into
};

// MALL: starts a request of the announced length (low 16 bits).
void assembly_begin(Assembly* s, uint16_t total);
// MPUT: adds a piece at position; 0, or KERNEL_MALFORMED when the piece is out of order, no
// MALL came first or the request grows beyond ASSEMBLY_MAX (the assembly is then dropped).
uint32_t assembly_add(Assembly* s, uint32_t position, const uint8_t* piece, size_t length);
// The final exchange: appends its answer-buffer part, checks the joined length against
// MALL's and reads the joined stream's four parts into *request, which then point into
// s->joined until the next request is joined. 0, or KERNEL_MALFORMED. The assembly is over
// either way.
uint32_t assembly_finish(Assembly* s, KernelRequest* request);

// An answer kept for MGET: its bytes and the head (code, count) sent with each portion.
struct PendingAnswer {
  std::vector<uint8_t> data;
  KernelAnswer head;
};

// Keeps answer (moving its data) when it is too long for one exchange, the command fetches
// with MGET and the caller's capacity holds it; the answer becomes the refusal that goes
// out instead (1014 with the length needed, or 1076 when no 16-bit length can say it).
// An answer that fits one exchange is left as it is.
void answer_fit(const KernelRequest& request, KernelAnswer* answer, PendingAnswer* pending);
// MGET: the portion of the kept answer from position, at most capacity bytes; the kept
// answer is dropped with its last portion. No answer kept there: KERNEL_NO_SELECT.
void pending_fetch(PendingAnswer* pending, uint32_t position, uint16_t capacity, KernelAnswer* a);

}  // namespace tavrel::kernel
