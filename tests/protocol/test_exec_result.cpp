// The execution result answer: the writer against bytes laid out by hand, the round trip,
// messages left out when the answer would grow too long, and the reader refusing every cut
// or overlong answer.
#include <gtest/gtest.h>

#include <vector>

#include "protocol/exec_result.h"

namespace tavrel {
namespace {

using Bytes = std::vector<uint8_t>;

ExecResult sample() {
  ExecResult r;
  r.flags = EXEC_RESULT_HAS_VALUE;
  r.exception = -17;
  r.exception_name = "APPLICATIONERROR";
  r.messages = {"first", "", "third message"};
  r.outputs = {{"N", {2, 0, 0}}, {"TEXT", {8, 'a', 'b', 0}}, {"NOTHING", {1}}};
  r.value = {3, 0x2A, 0, 0, 0};
  return r;
}

TEST(ExecResult, WriterLaysTheFieldsOutInOrder) {
  ExecResult r;
  r.flags = EXEC_RESULT_HAS_VALUE;
  r.exception = -2;
  r.exception_name = "DZ";
  r.messages = {"hi"};
  r.outputs = {{"N", {2, 5, 0}}};
  r.value = {7, 1};
  Bytes out;
  ASSERT_EQ(exec_result_write(r, 0xFFFF, &out), 0);
  const Bytes expected = {
      1, 0,                  // flags
      0xFE, 0xFF,            // exception -2
      2, 0, 'D', 'Z',        // its name
      1, 0, 2, 0, 'h', 'i',  // one message
      1, 0, 1, 0, 'N', 3, 0, 2, 5, 0,  // one output: name, value
      2, 0, 7, 1,            // the return value
  };
  EXPECT_EQ(out, expected);

  // Without a return value nothing follows the outputs, whatever the value field holds.
  r.flags = 0;
  ASSERT_EQ(exec_result_write(r, 0xFFFF, &out), 0);
  Bytes without = Bytes(expected.begin(), expected.end() - 4);
  without[0] = 0;
  EXPECT_EQ(out, without);
}

TEST(ExecResult, RoundTrip) {
  const ExecResult r = sample();
  Bytes out;
  ASSERT_EQ(exec_result_write(r, 0xFFFF, &out), 0);
  ExecResult back;
  ASSERT_EQ(exec_result_read(out, &back), 0);
  EXPECT_EQ(back.flags, r.flags);
  EXPECT_EQ(back.exception, r.exception);
  EXPECT_EQ(back.exception_name, r.exception_name);
  EXPECT_EQ(back.messages, r.messages);
  ASSERT_EQ(back.outputs.size(), r.outputs.size());
  for (size_t i = 0; i < r.outputs.size(); ++i) {
    EXPECT_EQ(back.outputs[i].name, r.outputs[i].name);
    EXPECT_EQ(back.outputs[i].value, r.outputs[i].value);
  }
  EXPECT_EQ(back.value, r.value);
}

TEST(ExecResult, MessagesGiveWayWhenTheAnswerWouldBeTooLong) {
  ExecResult r = sample();
  Bytes whole;
  ASSERT_EQ(exec_result_write(r, 0xFFFF, &whole), 0);
  // Room for all but the last message (2 + 13 bytes): it is left out and flagged.
  Bytes out;
  ASSERT_EQ(exec_result_write(r, whole.size() - 1, &out), 0);
  ExecResult back;
  ASSERT_EQ(exec_result_read(out, &back), 0);
  EXPECT_EQ(back.messages, (std::vector<std::string>{"first", ""}));
  EXPECT_EQ(back.flags, EXEC_RESULT_HAS_VALUE | EXEC_RESULT_MESSAGES_CUT);
  EXPECT_EQ(back.outputs.size(), 3u);
  EXPECT_EQ(back.value, r.value);
  EXPECT_EQ(out.size(), whole.size() - 15);

  // Room for nothing but the outputs and the value: no message at all.
  const size_t bare = whole.size() - (2 + 5) - 2 - (2 + 13);
  ASSERT_EQ(exec_result_write(r, bare, &out), 0);
  ASSERT_EQ(exec_result_read(out, &back), 0);
  EXPECT_TRUE(back.messages.empty());
  EXPECT_NE(back.flags & EXEC_RESULT_MESSAGES_CUT, 0);

  // Outputs are never left out: an answer without room for them is refused.
  EXPECT_EQ(exec_result_write(r, bare - 1, &out), -1);
  EXPECT_TRUE(out.empty());
  r.outputs[0].value.assign(0x10000, 0);
  EXPECT_EQ(exec_result_write(r, 1u << 20, &out), -1);
}

TEST(ExecResult, ReaderRefusesCutAndOverlongAnswers) {
  Bytes whole;
  ASSERT_EQ(exec_result_write(sample(), 0xFFFF, &whole), 0);
  ExecResult back;
  for (size_t n = 0; n < whole.size(); ++n) {
    EXPECT_EQ(exec_result_read({whole.data(), n}, &back), -1) << "cut at " << n;
  }
  Bytes longer = whole;
  longer.push_back(0);
  EXPECT_EQ(exec_result_read(longer, &back), -1);
  // A count that promises more than there is.
  Bytes lying = {0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0, 0};
  EXPECT_EQ(exec_result_read(lying, &back), -1);
}

}  // namespace
}  // namespace tavrel
