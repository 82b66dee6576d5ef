// Text between a session's code page and UTF-8. The kernel keeps and runs everything in
// UTF-8 (SQLite's own encoding); statements arrive and rows leave in the code page that the
// client named when it logged on (CP866, CP1251, KOI8-R, or UTF-8 taken as it is).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tavrel::kernel {

// codepage is codepage_classify's value; CODEPAGE_OTHER stands for UTF-8.
std::string text_to_utf8(std::string_view text, uint16_t codepage);
std::string text_from_utf8(std::string_view text, uint16_t codepage);

}  // namespace tavrel::kernel
