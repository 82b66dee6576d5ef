// Tests of the protocol's vocabularies: the command table's lookup and the exception names.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "protocol/codes.h"
#include "protocol/request.h"

namespace tavrel {
namespace {

TEST(CommandTable, FindsTheFirstRowOfEveryCodeAndRefusesOthers) {
  std::set<std::string> codes;
  for (int i = 0; i < COMMAND_COUNT; ++i) {
    const std::string code(COMMAND_TABLE[i].code, 4);
    EXPECT_TRUE(codes.insert(code).second) << "duplicate row " << code;
    EXPECT_EQ(command_find(COMMAND_TABLE[i].code), i) << code;
  }
  EXPECT_EQ(command_find("    "), 3);
  EXPECT_EQ(command_find("proc"), -1) << "codes are compared byte for byte";
  EXPECT_EQ(command_find("XXXX"), -1);
  const CommandRow& proc = COMMAND_TABLE[command_find("PROC")];
  EXPECT_EQ(proc.answer_kind, 1);
  EXPECT_EQ(proc.layout, 8);
  EXPECT_TRUE(command_is(proc.code, "PROC"));
}

TEST(Exceptions, SystemNamesAndCustomCodes) {
  EXPECT_EQ(exception_text(EXCEPTION_DIVZERO), "DIVZERO");
  EXPECT_EQ(exception_text(-17), "APPLICATIONERROR");
  EXPECT_EQ(exception_text(-18), "Invalid transaction state");
  // Holes in the negative range and positive codes are a procedure's own exceptions.
  for (int code : {-1, -5, -11, -13, 40}) {
    EXPECT_EQ(exception_name(code), nullptr) << code;
    EXPECT_EQ(exception_text(code), "CUSTOM (" + std::to_string(code) + ")");
  }
}

}  // namespace
}  // namespace tavrel
