// BIGINT text: reading 64-bit integers with and without the range test, and writing them.
#include "values/bigint.h"
#include "values/digits.h"

#include <cstring>

namespace tavrel {

namespace {

constexpr char MINIMUM_TEXT[] = "-9223372036854775808";
constexpr char MAXIMUM_DIGITS[] = "9223372036854775807";
constexpr size_t MAXIMUM_DIGIT_COUNT = sizeof MAXIMUM_DIGITS - 1;

// The common accumulation: leading blanks and tabs, one optional "-", then digits, wrapping
// in 64 bits. Gives the position of the first digit and of the character after the last.
int64_t accumulate(std::string_view text, size_t* first, size_t* after) {
  size_t i = 0;
  const size_t n = text.size();
  while (i < n && (text[i] == ' ' || text[i] == '\t')) ++i;
  const bool negative = i < n && text[i] == '-';
  if (negative) ++i;
  *first = i;
  uint64_t acc = 0;
  for (; i < n && is_digit(text[i]); ++i) acc = acc * 10 + static_cast<uint64_t>(text[i] - '0');
  *after = i;
  // Converting an unsigned value above the signed range wraps (defined since C++20).
  return static_cast<int64_t>(negative ? 0 - acc : acc);
}

}  // namespace

int bigint_from_text(std::string_view text, int64_t* out) {
  size_t first = 0;
  size_t after = 0;
  *out = accumulate(text, &first, &after);
  const size_t count = after - first;
  if (count == 0) return BIGINT_SYNTAX;
  if (after < text.size() && text[after] != ' ') return BIGINT_SYNTAX;
  if (count > MAXIMUM_DIGIT_COUNT) return BIGINT_OVERFLOW;
  if (count == MAXIMUM_DIGIT_COUNT &&
      std::memcmp(text.data() + first, MAXIMUM_DIGITS, MAXIMUM_DIGIT_COUNT) > 0) {
    return BIGINT_OVERFLOW;
  }
  return BIGINT_OK;
}

int64_t bigint_from_text_unchecked(std::string_view text) {
  size_t first = 0;
  size_t after = 0;
  return accumulate(text, &first, &after);
}

int bigint_to_text(int64_t v, char* out) {
  if (v == INT64_MIN) {
    std::memcpy(out, MINIMUM_TEXT, sizeof MINIMUM_TEXT);
    return static_cast<int>(sizeof MINIMUM_TEXT - 1);
  }
  // Digits from the least significant up, two at a time, at the end of a scratch field.
  char digits[BIGINT_TEXT_CAPACITY];
  char* p = digits + sizeof digits;
  uint64_t magnitude = v < 0 ? static_cast<uint64_t>(-v) : static_cast<uint64_t>(v);
  while (magnitude >= 100) {
    p -= 2;
    std::memcpy(p, DIGIT_PAIRS.c + 2 * (magnitude % 100), 2);
    magnitude /= 100;
  }
  if (magnitude >= 10) {
    p -= 2;
    std::memcpy(p, DIGIT_PAIRS.c + 2 * magnitude, 2);
  } else {
    *--p = static_cast<char>('0' + magnitude);
  }
  if (v < 0) *--p = '-';
  const auto length = static_cast<int>(digits + sizeof digits - p);
  std::memcpy(out, p, static_cast<size_t>(length));
  out[length] = 0;
  return length;
}

}  // namespace tavrel
