// The answer of an `execute "P"(...)` statement sent with the blank command or SLCT: what
// the procedure printed, its OUT and INOUT parameters, its return value and the exception
// that left it. One writer (the kernel) and one reader (the clients).
//
// Layout, little-endian, packed:
//   u16 flags              EXEC_RESULT_HAS_VALUE: a return value follows the outputs;
//                          EXEC_RESULT_MESSAGES_CUT: messages were left out to fit the answer
//   i16 exception          0 when the procedure ended normally
//   u16 n, n bytes         the exception's name ("DIVZERO", "CUSTOM (5)"); empty when none
//   u16 count              messages, each: u16 n, n bytes of text
//   u16 count              outputs, each: u16 n, n bytes of name; u16 n, n bytes of value
//   [u16 n, n bytes]       the return value, when flagged
// Names and messages are in the session's code page. Values are opaque here: each is one
// typed value in its wire form (values/value_wire.h), whose texts are CP866.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tavrel {

constexpr uint16_t EXEC_RESULT_HAS_VALUE = 0x0001;
constexpr uint16_t EXEC_RESULT_MESSAGES_CUT = 0x0002;

// One OUT or INOUT parameter: its name and its value's wire bytes.
struct ExecOutput {
  std::string name;
  std::vector<uint8_t> value;
};

struct ExecResult {
  uint16_t flags = 0;
  int16_t exception = 0;
  std::string exception_name;
  std::vector<std::string> messages;
  std::vector<ExecOutput> outputs;
  std::vector<uint8_t> value;  // the return value's wire bytes, when EXEC_RESULT_HAS_VALUE
};

// Writes the answer into *out, at most max bytes. Messages that would make it longer are
// left out from the last one back, and EXEC_RESULT_MESSAGES_CUT is set; returns -1 (out
// empty) when even without messages it does not fit, or a field is longer than 65,535 bytes.
int exec_result_write(const ExecResult& result, size_t max, std::vector<uint8_t>* out);

// Reads an answer; -1 when the bytes end inside a field or hold more than the fields say
// (*out then keeps what was read).
int exec_result_read(std::span<const uint8_t> bytes, ExecResult* out);

}  // namespace tavrel
