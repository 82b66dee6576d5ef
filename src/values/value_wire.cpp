// The wire form of a typed value (layout in value_wire.h).
#include "values/value_wire.h"

#include <cstring>

namespace tavrel {

namespace {

template <typename T>
void put(std::vector<uint8_t>* out, T x) {
  uint8_t bytes[sizeof(T)];
  std::memcpy(bytes, &x, sizeof(T));
  out->insert(out->end(), bytes, bytes + sizeof(T));
}

template <typename T>
T get(std::span<const uint8_t> in, size_t at) {
  T x;
  std::memcpy(&x, in.data() + at, sizeof(T));
  return x;
}

// Payload bytes of the fixed-size types; -1 for the types of variable size or unknown codes.
int fixed_size(uint8_t type) {
  switch (type) {
    case TYPE_NONE:
    case TYPE_NULL:
    case TYPE_CURSOR: return 0;
    case TYPE_BOOL: return 1;
    case TYPE_SMALLINT: return 2;
    case TYPE_INTEGER:
    case TYPE_REAL: return 4;
    case TYPE_DOUBLE:
    case TYPE_BIGINT:
    case TYPE_DATE: return 8;
    case TYPE_NUMERIC: return 16;
    default: return -1;
  }
}

uint8_t* new_block(WireStore* store, size_t n) {
  store->blocks.emplace_back(n == 0 ? 1 : n);
  return store->blocks.back().data();
}

}  // namespace

void value_wire_put(const Value& v, std::vector<uint8_t>* out) {
  out->push_back(v.type);
  int size = fixed_size(v.type);
  if (size >= 0) {
    out->insert(out->end(), v.payload, v.payload + size);
    return;
  }
  switch (v.type) {
    case TYPE_CHAR: {
      const char* text = value_text(v);
      size_t n = text != nullptr ? std::strlen(text) : 0;
      out->insert(out->end(), text, text + n);
      out->push_back(0);
      return;
    }
    case TYPE_NCHAR:
    case TYPE_WSTRING: {
      const uint16_t* wide = value_wide(v);
      for (size_t i = 0; wide != nullptr && wide[i] != 0; i++) put<uint16_t>(out, wide[i]);
      put<uint16_t>(out, 0);
      return;
    }
    case TYPE_BYTE: {
      uint16_t count = byte_count(v);
      put<uint16_t>(out, count);
      const uint8_t* data = byte_data(v);
      if (count > 0) out->insert(out->end(), data, data + count);
      return;
    }
    default:
      return;  // an unknown code travels as its type byte alone
  }
}

size_t value_wire_get(std::span<const uint8_t> in, WireStore* store, Value* out) {
  *out = make_none();
  if (in.empty()) return 0;
  uint8_t type = in[0];
  int size = fixed_size(type);
  if (size >= 0) {
    if (in.size() < 1 + static_cast<size_t>(size)) return 0;
    out->type = type;
    std::memcpy(out->payload, in.data() + 1, static_cast<size_t>(size));
    return 1 + static_cast<size_t>(size);
  }
  switch (type) {
    case TYPE_CHAR: {
      const uint8_t* end = static_cast<const uint8_t*>(std::memchr(in.data() + 1, 0, in.size() - 1));
      if (end == nullptr) return 0;
      size_t n = static_cast<size_t>(end - (in.data() + 1));
      uint8_t* text = new_block(store, n + 1);
      std::memcpy(text, in.data() + 1, n + 1);
      *out = make_char(reinterpret_cast<const char*>(text));
      return n + 2;
    }
    case TYPE_NCHAR:
    case TYPE_WSTRING: {
      size_t n = 0;
      for (;; n++) {
        if (1 + 2 * n + 2 > in.size()) return 0;
        if (get<uint16_t>(in, 1 + 2 * n) == 0) break;
      }
      uint8_t* block = new_block(store, 2 * n + 2);
      std::memcpy(block, in.data() + 1, 2 * n + 2);
      *out = make_nchar(reinterpret_cast<const uint16_t*>(block), type);
      return 2 * n + 3;
    }
    case TYPE_BYTE: {
      if (in.size() < 3) return 0;
      uint16_t count = get<uint16_t>(in, 1);
      if (in.size() < 3 + static_cast<size_t>(count)) return 0;
      // The block is the value's own layout: the 16-bit count, then the bytes.
      uint8_t* block = new_block(store, 2 + static_cast<size_t>(count));
      std::memcpy(block, in.data() + 1, 2 + static_cast<size_t>(count));
      *out = make_byte(block);
      return 3 + static_cast<size_t>(count);
    }
    default:
      return 0;
  }
}

}  // namespace tavrel
