// The layouts of the views' answers read back from bytes cut short (the debugger's tests read
// whole answers through the scripted kernel), and the writer of printed messages at the edge
// of its room.
#include <gtest/gtest.h>

#include "protocol/records.h"

namespace tavrel {
namespace {

TEST(ViewRecords, AnswersCutShortFailAndKeepWhatWasWhole) {
  const std::vector<LocalEntry> locals = {{1, "I", {2, 5, 0}}, {VARIABLE_NONE, "RESULT", {1}}};
  const auto bytes = locals_write(locals);
  // count, then 1, length 1, "I", value length 3, the value.
  EXPECT_EQ(std::vector<uint8_t>(bytes.begin(), bytes.begin() + 11),
            (std::vector<uint8_t>{2, 0, 1, 0, 1, 'I', 3, 0, 2, 5, 0}));
  std::vector<LocalEntry> back;
  for (size_t cut = 0; cut < bytes.size(); ++cut) {
    EXPECT_EQ(locals_read(std::span(bytes).first(cut), &back), -1) << cut;
  }
  const StackEntry frames[] = {{42, 3, 9, 0x3000}, {7, 0xFFFFFFFF, 1, 0}};
  const auto stack = call_stack_write(frames);
  std::vector<StackEntry> read;
  EXPECT_EQ(call_stack_read(std::span(stack).first(stack.size() - 1), &read), -1);
  ASSERT_EQ(read.size(), 1u);
  EXPECT_EQ(read[0].flags, 0x3000);
  EXPECT_LE(call_stack_write(std::vector<StackEntry>(400)).size(), PROC_ANSWER);  // cut to one answer
  std::vector<std::string> messages;
  EXPECT_EQ(printed_messages_read(std::vector<uint8_t>{1, 0, 9, 0, 'a'}, &messages), -1);
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
  ASSERT_EQ(printed_messages_read(bytes, &back), 0);
  EXPECT_EQ(back, std::vector<std::string>{std::string(12, 'x')});
  EXPECT_TRUE(printed_messages_write(messages, 1, &taken).empty());
  EXPECT_EQ(taken, 0u);
}

}  // namespace
}  // namespace tavrel
