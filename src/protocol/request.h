// The request block that stands for one kernel session, the command table that decides how
// each command's buffers are measured and its answer taken back, the channel's own return
// codes and flag bits, and the limits of one exchange. Shared by the manager's channel and
// the kernel, which read and write the same images.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

namespace tavrel {

static_assert(std::endian::native == std::endian::little,
              "request blocks and frames are little-endian images of these records");

// 44 bytes, owned by the caller, reused for every command of its session.
struct RequestBlock {
  uint32_t return_code;    // 0, a kernel code or a channel code (CHANNEL_* below)
  uint16_t answer_word;    // answer bytes 8-9, not interpreted here
  uint16_t channel;        // session number from OPEN/OCUR, cleared by CLOS
  uint8_t reserved1[4];
  char command[4];         // four ASCII letters, compared as one 32-bit word
  char node[8];            // blank-padded node name; blanks or a first 0 byte = local kernel
  uint32_t position;       // sub-function; MPUT byte position; copied back from the answer
  uint32_t argument;       // argument, and the count returned by the kernel
  uint32_t flags;          // REQUEST_* bits
  uint32_t system_code;    // OS error when the kernel was not reached, else kernel's secondary code
  uint16_t answer_length;  // capacity before the call, delivered (or needed, 1014) after it
  uint16_t reserved2;
};
static_assert(sizeof(RequestBlock) == 44);
static_assert(offsetof(RequestBlock, channel) == 6);
static_assert(offsetof(RequestBlock, command) == 12);
static_assert(offsetof(RequestBlock, node) == 16);
static_assert(offsetof(RequestBlock, position) == 24);
static_assert(offsetof(RequestBlock, argument) == 28);
static_assert(offsetof(RequestBlock, flags) == 32);
static_assert(offsetof(RequestBlock, system_code) == 36);
static_assert(offsetof(RequestBlock, answer_length) == 40);

// Flag bits (offset 32).
constexpr uint32_t REQUEST_PAGE_ACCESS = 0x00000010;
constexpr uint32_t REQUEST_ASYNC = 0x00001000;
constexpr uint32_t REQUEST_COMPLETED = 0x00002000;
constexpr uint32_t REQUEST_FETCH_REST = 0x00020000;
constexpr uint32_t REQUEST_ANSWER_WANTED = 0x00200000;
constexpr uint32_t REQUEST_SENT = 0x10000000;
constexpr uint32_t REQUEST_FLAG_MASK = 0x00F2F703;

// Return codes of the channel itself; the kernel's codes pass through unchanged.
constexpr uint32_t CHANNEL_UNKNOWN_COMMAND = 1000;
constexpr uint32_t CHANNEL_NOT_REACHED = 1001;
constexpr uint32_t CHANNEL_EXCHANGE_FAILED = 1002;
constexpr uint32_t CHANNEL_SEND_FAILED = 1003;
constexpr uint32_t CHANNEL_CONNECTION_LOST = 1004;
constexpr uint32_t CHANNEL_NO_SEMICOLON_1 = 1005;
constexpr uint32_t CHANNEL_NO_SEMICOLON_2 = 1006;
constexpr uint32_t CHANNEL_NO_SEMICOLON_3 = 1007;
constexpr uint32_t CHANNEL_ANSWER_TOO_LONG = 1014;
constexpr uint32_t CHANNEL_MISSING_BUFFER = 1057;
constexpr uint32_t CHANNEL_SYNC_IN_COMPLETION = 1085;

// Properties of a command-table row.
constexpr uint32_t COMMAND_FETCH = 0x1;
constexpr uint32_t COMMAND_CODEPAGE = 0x2;

// Answer kinds of a row (byte 4).
constexpr uint8_t ANSWER_NONE = 0;
constexpr uint8_t ANSWER_DATA_ONLY = 5;

// One 16-byte row of the command table.
struct CommandRow {
  char code[4];
  uint8_t answer_kind;  // for request layout 2 also the length class of buffer 1
  uint8_t layout;       // request layout 0-8
  uint8_t zero1[2];
  uint32_t properties;  // COMMAND_* bits
  uint8_t zero2[4];
};
static_assert(sizeof(CommandRow) == 16);

constexpr int COMMAND_COUNT = 56;
extern const CommandRow COMMAND_TABLE[COMMAND_COUNT];

// Index of the first row whose code equals the four bytes at code, or -1.
int command_find(const char* code);
// True when the four bytes at code equal the four letters of name.
bool command_is(const char* code, const char* name);

// Limits of one exchange: a message is at most 65,528 bytes; a request frame carries
// 48 bytes of header, at most 65,414 data bytes and the 48-byte trailer.
constexpr size_t EXCHANGE_MAX = 65528;
constexpr size_t FRAME_HEADER = 48;
constexpr size_t FRAME_TRAILER = 48;
constexpr size_t REQUEST_DATA_MAX = 65414;
constexpr size_t ANSWER_HEADER = 56;
// Answer frame offsets (the frame header is the 4-byte slot word and the 44-byte block).
constexpr size_t ANSWER_TOTAL_OFFSET = 54;  // u16 total data length (answer + second block)
constexpr size_t ANSWER_DATA_MAX = EXCHANGE_MAX - ANSWER_HEADER - FRAME_TRAILER;

}  // namespace tavrel
