// Fuzz target of the UTF-8 decoder and the CP866 <-> UTF-8 conversions: arbitrary bytes are
// decoded as UTF-8 and, separately, taken as CP866 text; any broken invariant traps.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "text/unicode.h"

namespace {

void check(bool condition) {
  if (!condition) __builtin_trap();
}

void decode_all(std::string_view text) {
  while (!text.empty()) {
    uint32_t code_point = 0;
    const int n = tavrel::utf8_decode(text, &code_point);
    check(n >= 0 && static_cast<size_t>(n) <= text.size() && n <= 4);
    if (n == 0) {
      // Only a valid beginning of a sequence may be left waiting.
      check(text.size() < 4 && static_cast<uint8_t>(text[0]) >= 0xC2);
      return;
    }
    check(code_point <= 0x10FFFF);
    check(code_point < 0xD800 || code_point > 0xDFFF);
    // A well-formed sequence is exactly the encoding of what it decodes to.
    if (code_point != 0xFFFD || n == 3) {
      char encoded[4];
      const int length = tavrel::utf8_encode(code_point, encoded);
      check(length == n && std::string_view(encoded, static_cast<size_t>(length)) ==
                               text.substr(0, static_cast<size_t>(n)));
    }
    text.remove_prefix(static_cast<size_t>(n));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  decode_all(bytes);

  // UTF-8 to CP866 gives at most one byte per input byte, and CP866 text read back from
  // UTF-8 is unchanged, so a second pass is the identity.
  const std::string cp866 = tavrel::utf8_to_cp866(bytes);
  check(cp866.size() <= size);
  check(tavrel::utf8_to_cp866(tavrel::cp866_to_utf8(cp866)) == cp866);

  // The same bytes as CP866 text survive the trip through UTF-8.
  const std::string utf8 = tavrel::cp866_to_utf8(bytes);
  check(tavrel::utf8_to_cp866(utf8) == bytes);
  decode_all(utf8);
  return 0;
}
