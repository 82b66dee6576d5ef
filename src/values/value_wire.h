// The wire form of a typed value: how a Value crosses the kernel call interface (results of
// executions, OUT parameters, variables read and assigned by the debugger).
//
// One type byte, then the payload by type: NULL, no value and CURSOR none; SMALLINT 2 bytes;
// INTEGER and REAL 4; DOUBLE, BIGINT and DATE 8 (day number, then hundredths); NUMERIC the
// 16-byte decimal record; BOOL 1; CHAR the text and a NUL; NCHAR and the wide string 16-bit
// characters and a 16-bit NUL; BYTE a 16-bit count and the bytes. Little-endian throughout.
// Texts travel in the code page of the values that hold them (CP866 for the kernel's).
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>
#include <vector>

#include "values/value.h"

namespace tavrel {

// Appends the wire form of v to *out.
void value_wire_put(const Value& v, std::vector<uint8_t>* out);

// Storage for the texts of values read from the wire: each text is copied into a block of
// its own, which lives as long as the store.
struct WireStore {
  std::deque<std::vector<uint8_t>> blocks;
};

// Reads one value from the start of in; texts are copied into *store. Returns the bytes
// used, or 0 when in holds no whole value of a known type (*out is then TYPE_NONE).
size_t value_wire_get(std::span<const uint8_t> in, WireStore* store, Value* out);

}  // namespace tavrel
