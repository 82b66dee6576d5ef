// The layouts of the views' answers: the call stack, the locals, the printed messages and
// the return value behind a state record, read back from their writers and from bytes cut
// short.
#include <gtest/gtest.h>

#include "protocol/bytes.h"
#include "protocol/records.h"

namespace tavrel {
namespace {

TEST(ViewRecords, StackFramesRoundTripAndAShortAnswerFails) {
  const StackEntry frames[] = {{42, 3, 9, 0x3000}, {7, 0xFFFFFFFF, 1, 0}};
  const auto bytes = call_stack_write(frames);
  ASSERT_EQ(bytes.size(), 2 + 2 * STACK_ENTRY_SIZE);
  EXPECT_EQ(get_u32(bytes.data() + 2 + 12), 7u);  // the second frame's procedure at 14
  std::vector<StackEntry> back;
  ASSERT_EQ(call_stack_read(bytes, &back), 0);
  ASSERT_EQ(back.size(), 2u);
  EXPECT_EQ(back[1].line, 0xFFFFFFFFu);
  EXPECT_EQ(back[0].flags, 0x3000);
  EXPECT_EQ(call_stack_read(std::span(bytes).first(bytes.size() - 1), &back), -1);
  EXPECT_EQ(back.size(), 1u);  // the whole frames before the cut stay
  // A deeper stack is cut to what one answer holds.
  const std::vector<StackEntry> deep(400);
  EXPECT_EQ(call_stack_write(deep).size(), 2 + STACK_ENTRIES_MAX * STACK_ENTRY_SIZE);
  EXPECT_LE(call_stack_write(deep).size(), PROC_ANSWER);
}

TEST(ViewRecords, LocalsCarryNumberNameAndValueBytes) {
  const std::vector<LocalEntry> locals = {{1, "I", {2, 5, 0}}, {VARIABLE_NONE, "RESULT", {1}}};
  const auto bytes = locals_write(locals);
  // count, then 1, length 1, "I", value length 3, the value.
  EXPECT_EQ(std::vector<uint8_t>(bytes.begin(), bytes.begin() + 11),
            (std::vector<uint8_t>{2, 0, 1, 0, 1, 'I', 3, 0, 2, 5, 0}));
  std::vector<LocalEntry> back;
  ASSERT_EQ(locals_read(bytes, &back), 0);
  ASSERT_EQ(back.size(), 2u);
  EXPECT_EQ(back[1].number, VARIABLE_NONE);
  EXPECT_EQ(back[1].name, "RESULT");
  EXPECT_EQ(back[1].value, std::vector<uint8_t>{1});
  for (size_t cut = 0; cut < bytes.size(); ++cut) {
    EXPECT_EQ(locals_read(std::span(bytes).first(cut), &back), -1) << cut;
  }
}

TEST(ViewRecords, PrintedMessagesFillAnAnswerWithWholeMessages) {
  const std::vector<std::string> messages = {"one", "two", std::string(20, 'x')};
  size_t taken = 0;
  auto bytes = printed_messages_write(messages, 16, &taken);
  EXPECT_EQ(taken, 2u);  // 2 + 5 + 5 bytes; the third does not fit whole
  std::vector<std::string> back;
  ASSERT_EQ(printed_messages_read(bytes, &back), 0);
  EXPECT_EQ(back, (std::vector<std::string>{"one", "two"}));
  // A first message longer than the answer is cut to fit, so that it never blocks the rest.
  bytes = printed_messages_write(std::span(messages).subspan(2), 16, &taken);
  EXPECT_EQ(taken, 1u);
  ASSERT_EQ(printed_messages_read(bytes, &back), 0);
  EXPECT_EQ(back, std::vector<std::string>{std::string(12, 'x')});
  EXPECT_TRUE(printed_messages_write(messages, 1, &taken).empty());
  EXPECT_EQ(taken, 0u);
  EXPECT_EQ(printed_messages_read(std::vector<uint8_t>{1, 0, 9, 0, 'a'}, &back), -1);
}

TEST(ViewRecords, TheReturnValueFollowsTheStateRecord) {
  std::vector<uint8_t> answer(EXEC_STATE_SIZE, 0);
  EXPECT_TRUE(exec_state_result(answer).empty());
  answer.push_back(2);
  answer.push_back(5);
  answer.push_back(0);
  EXPECT_EQ(std::vector<uint8_t>(exec_state_result(answer).begin(), exec_state_result(answer).end()),
            (std::vector<uint8_t>{2, 5, 0}));
  EXPECT_TRUE(exec_state_result(std::vector<uint8_t>(5)).empty());
}

}  // namespace
}  // namespace tavrel
