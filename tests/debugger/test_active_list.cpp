// The active list: portions and their keys, the stop after 1000 entries, the column texts of
// a row, and ending the execution of a selected row with the 16-byte row stride.
#include "debug_peer.h"

namespace tavrel {
namespace {

using Active = DebuggerTest;

// A portion: the entries, then the u16 key of the next one.
std::vector<uint8_t> portion(const std::vector<ActiveEntry>& entries, uint16_t next_key) {
  std::vector<uint8_t> out(entries.size() * ACTIVE_ENTRY_SIZE + 2);
  for (size_t i = 0; i < entries.size(); ++i) {
    active_entry_write(entries[i], std::span<uint8_t>(out).subspan(i * ACTIVE_ENTRY_SIZE));
  }
  put_u16(out.data() + out.size() - 2, next_key);
  return out;
}

TEST_F(Active, PortionsFollowTheirKeysAndAKeyOnlyAnswerAddsNothing) {
  const std::vector<ActiveEntry> first = {{42, 9, EXEC_DEBUGGED | EXEC_WAITING_DEBUGGER, 12, ACTIVE_CALLER_OUTSIDE},
                                          {43, 10, EXEC_WAITING_DEBUGGER | EXEC_FINISHED, 3, 0}};
  kernel.portions.push_back({portion(first, 5), 2});
  kernel.portions.push_back({portion({}, 0), 0});
  ActiveList list;
  ASSERT_EQ(active_fetch(d, &list), 0);
  EXPECT_EQ(kernel.sequence(), "26,26");
  EXPECT_EQ(kernel.calls[0].argument, 0u);
  EXPECT_EQ(kernel.calls[1].argument, 5u);
  EXPECT_EQ(kernel.calls[0].room, PROC_PORTION);
  EXPECT_EQ(list.count, 2u);
  EXPECT_EQ(list.entries.size(), 30u);

  ActiveRow row;
  ASSERT_EQ(active_row_text(d, list, 0, &row), 1);
  EXPECT_EQ(row.name, "P");
  EXPECT_EQ(row.id, "9");
  EXPECT_EQ(cp866_to_utf8(row.state), "Отлаживается; Ожидание отладчика");
  EXPECT_EQ(row.quanta, "12");
  EXPECT_EQ(cp866_to_utf8(row.caller), "Извне");
  ASSERT_EQ(active_row_text(d, list, 1, &row), 1);
  EXPECT_EQ(cp866_to_utf8(row.state), "Ожидание отладчика");  // the first that applies
  EXPECT_EQ(row.caller, "0");
  EXPECT_EQ(active_row_text(d, list, 2, &row), 0);
}

TEST_F(Active, FetchingStopsPastAThousandEntries) {
  std::vector<ActiveEntry> many(250, ActiveEntry{42, 1, 0, 0, ACTIVE_CALLER_OUTSIDE});
  for (int i = 0; i < 6; ++i) kernel.portions.push_back({portion(many, static_cast<uint16_t>(i + 1)), 250});
  ActiveList list;
  ASSERT_EQ(active_fetch(d, &list), 0);
  EXPECT_EQ(kernel.calls.size(), 5u);  // 1000 is not yet too many; 1250 is
  EXPECT_EQ(list.count, 1250u);
  EXPECT_EQ(note_texts(NOTE_MESSAGE),
            std::vector<std::string>{"Слишком много контекстов исполнения процедур.%%Возможно, вызвана процедура с "
                                     "бесконечной рекурсией?"});
}

TEST_F(Active, AKernelErrorKeepsTheEntriesSoFar) {
  kernel.portions.push_back({portion({{42, 1, 0, 0, 0}}, 9), 1});
  ActiveList list;
  kernel.special = [](const PeerRequest& r, RequestBlock* b, uint8_t*, uint32_t* code) {
    if (r.argument != 9) return false;
    b->system_code = 0;
    *code = 2001;
    return true;
  };
  EXPECT_EQ(active_fetch(d, &list), 2001);
  EXPECT_EQ(list.count, 1u);
  EXPECT_EQ(note_texts(NOTE_KERNEL_ERROR).size(), 1u);
}

TEST_F(Active, EndingARowReadsItsIdentifiersAtSixteenBytesARow) {
  std::vector<ActiveEntry> entries;
  for (uint16_t i = 0; i < 4; ++i) {
    entries.push_back({100u + i, static_cast<uint16_t>(200 + i), static_cast<uint16_t>(0x1000 + i), 0, 0});
  }
  kernel.portions.push_back({portion(entries, 0), 4});
  ActiveList list;
  ASSERT_EQ(active_fetch(d, &list), 0);
  // Row 2's execution lies at 2 * 15 + 4; what is read lies at 32 + 4: row 2's state flags.
  const uint16_t read_at_36 = get_u16(list.entries.data() + 36);
  ASSERT_EQ(read_at_36, 0x1002);
  kernel.calls.clear();
  ASSERT_EQ(active_end_selected(d, &list, 2, nullptr), 0);
  ASSERT_EQ(kernel.sequence(), "27");
  EXPECT_EQ(kernel.calls[0].argument, read_at_36);
  EXPECT_EQ(kernel.calls[0].room, 0);
  EXPECT_TRUE(list.refresh);

  kernel.calls.clear();
  ASSERT_EQ(active_end_selected(d, &list, 0, nullptr), 0);
  EXPECT_EQ(kernel.calls[0].argument, 200u);  // row 0 is read right
  // Far past the array the bytes read are zeros: nothing is read out of bounds.
  kernel.calls.clear();
  ASSERT_EQ(active_end_selected(d, &list, 50, nullptr), 0);
  EXPECT_EQ(kernel.calls[0].argument, 0u);
}

TEST_F(Active, EndingTheDebuggedProcedureStopsIt) {
  DebugSession& s = stopped_p();
  kernel.portions.push_back({portion({{42, 9, EXEC_DEBUGGED | EXEC_WAITING_DEBUGGER, 1, ACTIVE_CALLER_OUTSIDE}}, 0), 1});
  ActiveList list;
  ASSERT_EQ(active_fetch(d, &list), 0);
  kernel.calls.clear();
  kernel.states.push_back(state_answer({42, 9, 2, EXEC_FINISHED, 0, 0}));
  ASSERT_EQ(active_end_selected(d, &list, 0, &s), 0);
  EXPECT_EQ(kernel.sequence(), "10,13");
  EXPECT_EQ(d.current_execution, EXECUTION_NONE);
  EXPECT_TRUE(list.refresh);

  // An empty list does nothing; a refused abort leaves the dialog as it is.
  ActiveList empty;
  EXPECT_EQ(active_end_selected(d, &empty, 0, nullptr), DBG_NOTHING);
  kernel.fail_next[PROC_ABORT] = {KERNEL_DEBUGGER_ERROR, DEBUGGER_CALLED_ANOTHER};
  list.refresh = false;
  EXPECT_EQ(active_end_selected(d, &list, 0, &s), static_cast<int>(KERNEL_DEBUGGER_ERROR));
  EXPECT_FALSE(list.refresh);
}

}  // namespace
}  // namespace tavrel
