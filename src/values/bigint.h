// BIGINT: reading and writing the text of 64-bit integers.
#pragma once

#include <cstdint>
#include <string_view>

namespace tavrel {

enum BigintTextStatus { BIGINT_OK = 0, BIGINT_SYNTAX = 1, BIGINT_OVERFLOW = 2 };

// Leading blanks and tabs are skipped, one "-" may lead, then digits. BIGINT_SYNTAX when
// no digit is found or the digits are followed by anything but a blank or the end;
// BIGINT_OVERFLOW for 20 digits or more, or 19 digits above "9223372036854775807"
// compared as text without the sign (so the minimum's own text is an overflow).
int bigint_from_text(std::string_view text, int64_t* out);
// The same accumulation with no test at all.
int64_t bigint_from_text_unchecked(std::string_view text);

constexpr int BIGINT_TEXT_CAPACITY = 21;  // "-9223372036854775808" and the terminator
// Writes the decimal digits and a terminator; returns the length.
int bigint_to_text(int64_t v, char* out);

}  // namespace tavrel
