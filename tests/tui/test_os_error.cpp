// Tests of the texts of operating-system error numbers.
#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "tui/os_error.h"

namespace tavrel {
namespace {

TEST(OsErrorText, KnownUnknownAndEmptyEntries) {
  struct Case {
    int number;
    const char* text;
  };
  const Case cases[] = {
      {0, " Error 0 \n"},
      {4, " Too many open files \n"},
      {23, " Too many open files \n"},
      {25, " Inappropriate I/O control operation \n"},
      {46, " Is a directory \n"},
      {47, "  \n"},
      {48, " Unknown OS error 48 \n"},
      {-1, " Unknown OS error -1 \n"},
      {INT_MIN, " Unknown OS error -2147483648 \n"},
  };
  for (const Case& c : cases) EXPECT_STREQ(os_error_text(c.number), c.text) << c.number;
}

TEST(OsErrorText, NextCallOverwritesTheText) {
  const char* first = os_error_text(2);
  const std::string copy = first;
  const char* second = os_error_text(3);
  EXPECT_EQ(first, second);
  EXPECT_EQ(copy, " No such file or directory \n");
  EXPECT_STREQ(second, " Path not found \n");
}

}  // namespace
}  // namespace tavrel
