// Code-page conversion of a session's texts, through CP866 and the channel's tables.
#include "kernel/text.h"

#include "text/codepage.h"
#include "text/unicode.h"

namespace tavrel::kernel {

std::string text_to_utf8(std::string_view text, uint16_t codepage) {
  if (codepage == CODEPAGE_OTHER) return std::string(text);
  std::string cp866(text.size(), '\0');
  for (size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<uint8_t>(text[i]);
    uint8_t out = c;
    if (c >= 128 && codepage == CODEPAGE_1251) out = CP1251_TO_CP866[c - 128];
    if (c >= 128 && codepage == CODEPAGE_KOI8) out = KOI8_TO_CP866[c - 128];
    cp866[i] = static_cast<char>(out);
  }
  return cp866_to_utf8(cp866);
}

std::string text_from_utf8(std::string_view text, uint16_t codepage) {
  if (codepage == CODEPAGE_OTHER) return std::string(text);
  std::string out = utf8_to_cp866(text);
  for (char& ch : out) {
    const auto c = static_cast<uint8_t>(ch);
    if (c >= 128 && codepage == CODEPAGE_1251) ch = static_cast<char>(CP866_TO_CP1251[c - 128]);
    if (c >= 128 && codepage == CODEPAGE_KOI8) ch = static_cast<char>(CP866_TO_KOI8[c - 128]);
  }
  return out;
}

}  // namespace tavrel::kernel
