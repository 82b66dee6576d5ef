// Little-endian numbers in protocol images. Frames and records are packed, so fields sit at
// any alignment; every reader and writer of the protocol goes through these.
//
// Two forms: the raw ones (get_u16 ... put_u32) at a pointer, for code that has already
// checked its bounds, and a cursor over a std::span (ByteReader / ByteWriter) that checks
// every step and remembers the first overrun instead of reading or writing past the end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace tavrel {

inline uint16_t get_u16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | p[1] << 8); }
inline uint32_t get_u32(const uint8_t* p) {
  return p[0] | p[1] << 8 | p[2] << 16 | static_cast<uint32_t>(p[3]) << 24;
}
inline void put_u16(uint8_t* p, uint32_t v) {
  p[0] = static_cast<uint8_t>(v);
  p[1] = static_cast<uint8_t>(v >> 8);
}
inline void put_u32(uint8_t* p, uint32_t v) {
  for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
}

// Reads fields one after another. A read past the end yields zeros and clears ok, so a
// caller checks once after the last field.
struct ByteReader {
  std::span<const uint8_t> bytes;
  size_t at = 0;
  bool ok = true;

  bool has(size_t n) const { return ok && at <= bytes.size() && bytes.size() - at >= n; }
  size_t left() const { return at <= bytes.size() ? bytes.size() - at : 0; }
  // The next n bytes, or an empty span (and ok cleared) when fewer remain.
  std::span<const uint8_t> take(size_t n) {
    if (!has(n)) {
      ok = false;
      return {};
    }
    const auto out = bytes.subspan(at, n);
    at += n;
    return out;
  }
  uint8_t u8() {
    const auto b = take(1);
    return b.empty() ? 0 : b[0];
  }
  uint16_t u16() {
    const auto b = take(2);
    return b.empty() ? 0 : get_u16(b.data());
  }
  uint32_t u32() {
    const auto b = take(4);
    return b.empty() ? 0 : get_u32(b.data());
  }
  void skip(size_t n) { take(n); }
};

// Writes fields one after another; a write that does not fit is dropped and clears ok.
struct ByteWriter {
  std::span<uint8_t> bytes;
  size_t at = 0;
  bool ok = true;

  std::span<uint8_t> take(size_t n) {
    if (!ok || at > bytes.size() || bytes.size() - at < n) {
      ok = false;
      return {};
    }
    const auto out = bytes.subspan(at, n);
    at += n;
    return out;
  }
  void u8(uint8_t v) {
    const auto b = take(1);
    if (!b.empty()) b[0] = v;
  }
  void u16(uint32_t v) {
    const auto b = take(2);
    if (!b.empty()) put_u16(b.data(), v);
  }
  void u32(uint32_t v) {
    const auto b = take(4);
    if (!b.empty()) put_u32(b.data(), v);
  }
  void raw(std::span<const uint8_t> src) {
    const auto b = take(src.size());
    if (!b.empty()) std::memcpy(b.data(), src.data(), src.size());
  }
  void zeros(size_t n) {
    const auto b = take(n);
    if (!b.empty()) std::memset(b.data(), 0, n);
  }
};

}  // namespace tavrel
