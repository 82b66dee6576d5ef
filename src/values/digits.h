// Small helpers shared by the writers and readers of number text.
#pragma once

namespace tavrel {

// "00" "01" ... "99": the two characters of a number below 100, at offset 2 * n.
struct DigitPairs {
  char c[200];
  constexpr DigitPairs() : c() {
    for (int i = 0; i < 100; ++i) {
      c[2 * i] = static_cast<char>('0' + i / 10);
      c[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
  }
};
inline constexpr DigitPairs DIGIT_PAIRS;

inline bool is_digit(char c) { return c >= '0' && c <= '9'; }

}  // namespace tavrel
