// Tests of the protocol's records: each writer against a byte vector laid out by hand from
// the record's offsets, each reader back to the same values, and the short inputs that a
// reader of outside bytes must refuse.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "protocol/bytes.h"
#include "protocol/records.h"

namespace tavrel {
namespace {

using Bytes = std::vector<uint8_t>;

TEST(ByteCursor, ReadsAndWritesLittleEndianAndStopsAtTheEnd) {
  Bytes buffer(7, 0xEE);
  ByteWriter w{buffer};
  w.u32(0x04030201);
  w.u16(0xBEEF);
  w.u16(1);  // one byte left: dropped, and the writer remembers it
  EXPECT_FALSE(w.ok);
  EXPECT_EQ(buffer, (Bytes{1, 2, 3, 4, 0xEF, 0xBE, 0xEE}));

  ByteReader r{buffer};
  EXPECT_EQ(r.u32(), 0x04030201u);
  EXPECT_EQ(r.u16(), 0xBEEF);
  EXPECT_TRUE(r.ok);
  EXPECT_EQ(r.u16(), 0);
  EXPECT_FALSE(r.ok);
  EXPECT_EQ(r.u8(), 0) << "a reader that has failed stays failed";
}

TEST(NameField, PadsCutsAndTrims) {
  Bytes field(8, 0);
  name_field_put(field, "P1");
  EXPECT_EQ(field, (Bytes{'P', '1', ' ', ' ', ' ', ' ', ' ', ' '}));
  EXPECT_EQ(name_field_get(field), "P1");
  name_field_put(field, "ABCDEFGHIJ");
  EXPECT_EQ(name_field_get(field), "ABCDEFGH");
  const Bytes with_nul = {'A', ' ', 'B', 0, 'C', ' ', ' ', ' '};
  EXPECT_EQ(name_field_get(with_nul), "A B");
}

TEST(CatalogueRows, TriggerRow) {
  TriggerRow row{0x01020304, {}};
  std::memset(row.name, ' ', NAME_BYTES);
  std::memcpy(row.name, "T1", 2);
  Bytes out(ROW_TRIGGER, 0xEE);
  ASSERT_EQ(trigger_row_write(row, out), 0);
  Bytes expected = {4, 3, 2, 1, 'T', '1'};
  expected.resize(4 + NAME_BYTES, ' ');
  expected.resize(ROW_TRIGGER, 0);
  EXPECT_EQ(out, expected);

  TriggerRow back;
  ASSERT_EQ(trigger_row_read(out, &back), 0);
  EXPECT_EQ(back.procedure_id, 0x01020304u);
  EXPECT_EQ(std::memcmp(back.name, row.name, NAME_BYTES), 0);
  EXPECT_EQ(trigger_row_read(std::span(out).first(ROW_TRIGGER - 1), &back), -1);
}

TEST(CatalogueRows, ParamRow) {
  ParamRow row{};
  std::memset(row.name, ' ', NAME_BYTES);
  std::memcpy(row.name, "A", 1);
  row.type = 5;
  row.precision = 10;
  row.scale = 2;
  row.length = 0x0110;
  row.default_null = 1;
  row.default_value[0] = 0x77;
  row.default_value[PARAM_DEFAULT_MAX - 1] = 0x88;
  Bytes out(ROW_PARAM, 0xEE);
  ASSERT_EQ(param_row_write(row, out), 0);
  EXPECT_EQ(out[0], 'A');
  EXPECT_EQ(out[65], ' ');
  EXPECT_EQ((Bytes{out.begin() + 66, out.begin() + 73}), (Bytes{5, 10, 2, 0x10, 0x01, 1, 0x77}));
  EXPECT_EQ(out[326], 0x88);

  ParamRow back;
  ASSERT_EQ(param_row_read(out, &back), 0);
  EXPECT_EQ(std::memcmp(&back, &row, sizeof row), 0);
  EXPECT_EQ(param_row_read(std::span(out).first(ROW_PARAM - 1), &back), -1);
  EXPECT_EQ(param_row_write(row, std::span(out).first(ROW_PARAM - 1)), -1);
}

TEST(ProcedureList, PortionOfNamesAndKey) {
  Bytes answer(2 * NAME_BYTES);
  name_field_put(std::span(answer).first(NAME_BYTES), "FIRST");
  name_field_put(std::span(answer).subspan(NAME_BYTES), "SECOND");
  proc_list_finish(&answer, 63);
  ASSERT_EQ(answer.size(), 2 * NAME_BYTES + 4);
  EXPECT_EQ((Bytes{answer.end() - 4, answer.end()}), (Bytes{63, 0, 0, 0}));
  EXPECT_EQ(proc_list_count(answer.size()), 2u);
  EXPECT_EQ(proc_list_key(answer), 63u);
  EXPECT_EQ(name_field_get(proc_list_name(answer, 1)), "SECOND");
  EXPECT_TRUE(proc_list_name(answer, 2).empty());
  // A full portion of 4096 bytes holds 62 names; an answer without room for the key none.
  EXPECT_EQ(proc_list_count(4096), PROC_LIST_NAMES_MAX);
  EXPECT_EQ(proc_list_count(3), 0u);
  EXPECT_EQ(proc_list_key(Bytes{1, 2, 3}), 0u);
}

TEST(TranslationErrors, EveryArgumentKindRoundTrips) {
  const std::vector<TranslationError> errors = {
      {7, 3, 12, TRANSLATION_ARG_NONE, 0, ""},
      {8, TRANSLATION_NO_POSITION, 0, TRANSLATION_ARG_NUMBER, 0x0102, ""},
      {9, 1, 1, TRANSLATION_ARG_TEXT, 0, "XY"},
  };
  const Bytes out = translation_errors_write(errors);
  const Bytes expected = {
      3, 0,                                                      // count
      7, 0, 0, 0, 3, 0, 0, 0, 12, 0, 0, 0, 0,                    // no argument
      8, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 1, 2, 1,   // a number
      9, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 2, 2, 0, 'X', 'Y',     // a text
  };
  EXPECT_EQ(out, expected);

  std::vector<TranslationError> back;
  ASSERT_EQ(translation_errors_read(out, &back), 0);
  ASSERT_EQ(back.size(), 3u);
  EXPECT_EQ(back[1].line, TRANSLATION_NO_POSITION);
  EXPECT_EQ(back[1].argument_number, 0x0102);
  EXPECT_EQ(back[2].argument_text, "XY");
  EXPECT_EQ(back[0].column, 12u);

  // Cut inside the third entry's text: the first two stay, the answer is refused.
  ASSERT_EQ(translation_errors_read(std::span(out).first(out.size() - 1), &back), -1);
  EXPECT_EQ(back.size(), 2u);
  // An unknown argument kind carries no argument.
  Bytes odd = {1, 0, 5, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 9};
  ASSERT_EQ(translation_errors_read(odd, &back), 0);
  ASSERT_EQ(back.size(), 1u);
  EXPECT_EQ(back[0].number, 5u);
}

void add_length(std::vector<uint8_t>& out, uint16_t n) {
  out.push_back(static_cast<uint8_t>(n & 0xFF));
  out.push_back(static_cast<uint8_t>(n >> 8));
}

TEST(SelectRows, FieldsNullsAndLengthsThatRunPastTheEnd) {
  std::vector<uint8_t> rows;
  add_length(rows, 2);
  rows.push_back('A');
  rows.push_back('B');
  add_length(rows, FIELD_NULL_LENGTH);
  add_length(rows, 0);
  std::vector<RowField> fields;
  ASSERT_EQ(row_fields_read(rows, &fields), 0);
  ASSERT_EQ(fields.size(), 3u);
  EXPECT_EQ(fields[0].text, "AB");
  EXPECT_FALSE(fields[0].null);
  EXPECT_TRUE(fields[1].null);
  EXPECT_EQ(fields[2].text, "");
  EXPECT_FALSE(fields[2].null);
  // A length beyond the bytes, and half a length, are refused.
  rows.push_back(5);
  EXPECT_EQ(row_fields_read(rows, &fields), -1);
  add_length(rows, 9);
  rows.push_back('x');
  EXPECT_EQ(row_fields_read(std::span<const uint8_t>(rows).subspan(7), &fields), -1);
}

TEST(DebuggerRecords, ExecutionState) {
  const ExecState state{0x0A0B0C0D, 0x0102, 41, 0x00004001, -17, 3};
  Bytes out(EXEC_STATE_SIZE + 2, 0xEE);
  ASSERT_EQ(exec_state_write(state, out), 0);
  EXPECT_EQ(out, (Bytes{0x0D, 0x0C, 0x0B, 0x0A, 0x02, 0x01, 41, 0, 0, 0, 0x01, 0x40, 0, 0,
                        0xEF, 0xFF, 3, 0, 0xEE, 0xEE}));
  ExecState back;
  ASSERT_EQ(exec_state_read(out, &back), 0);
  EXPECT_EQ(back.procedure_id, state.procedure_id);
  EXPECT_EQ(back.execution_id, state.execution_id);
  EXPECT_EQ(back.line, state.line);
  EXPECT_EQ(back.flags, state.flags);
  EXPECT_EQ(back.exception, -17);
  EXPECT_EQ(back.breakpoint, 3);
  EXPECT_EQ(exec_state_read(std::span(out).first(EXEC_STATE_SIZE - 1), &back), -1);
  EXPECT_EQ(back.procedure_id, 0u);
}

TEST(DebuggerRecords, BreakpointHeaderWithVariables) {
  const BreakpointRequest request{0x0105, BREAKPOINT_CONDITION, 2, {20001, 20007}};
  ASSERT_EQ(breakpoint_request_size(request), 14u);
  Bytes out(14, 0xEE);
  ASSERT_EQ(breakpoint_request_write(request, out), 0);
  EXPECT_EQ(out, (Bytes{0x05, 0x01, 0, 0, 4, 0, 2, 0, 2, 0, 0x21, 0x4E, 0x27, 0x4E}));
  BreakpointRequest back;
  ASSERT_EQ(breakpoint_request_read(out, &back), 0);
  EXPECT_EQ(back.line, request.line);
  EXPECT_EQ(back.kind, request.kind);
  EXPECT_EQ(back.number, request.number);
  EXPECT_EQ(back.variables, request.variables);
  // A count that promises more numbers than follow, and room too small to write.
  EXPECT_EQ(breakpoint_request_read(std::span(out).first(13), &back), -1);
  EXPECT_TRUE(back.variables.empty());
  EXPECT_EQ(breakpoint_request_write(request, std::span(out).first(13)), -1);
}

TEST(DebuggerRecords, RunToCursorBreakpoint) {
  Bytes out(TEMP_BREAKPOINT_SIZE, 0xEE);
  ASSERT_EQ(temp_breakpoint_write({300, true}, out), 0);
  EXPECT_EQ(out, (Bytes{0x2C, 0x01, 0, 0, 1, 0, 0, 0}));
  TempBreakpoint back;
  ASSERT_EQ(temp_breakpoint_read(out, &back), 0);
  EXPECT_EQ(back.line, 300u);
  EXPECT_TRUE(back.set);
}

TEST(DebuggerRecords, ActiveEntriesAndTheTerminateStride) {
  const ActiveEntry first{7, 1, 0x3000, 0x00010002, ACTIVE_CALLER_OUTSIDE};
  const ActiveEntry second{8, 2, 0x0010, 5, 1};
  Bytes list(2 * ACTIVE_ENTRY_SIZE, 0xEE);
  ASSERT_EQ(active_entry_write(first, list), 0);
  ASSERT_EQ(active_entry_write(second, std::span(list).subspan(ACTIVE_ENTRY_SIZE)), 0);
  EXPECT_EQ((Bytes{list.begin(), list.begin() + ACTIVE_ENTRY_SIZE}),
            (Bytes{7, 0, 0, 0, 1, 0, 0x00, 0x30, 2, 0, 1, 0, 0xFF, 0xFF, 0}));

  ActiveEntry back;
  ASSERT_EQ(active_entry_read(std::span(list).subspan(ACTIVE_ENTRY_SIZE), &back), 0);
  EXPECT_EQ(back.procedure_id, 8u);
  EXPECT_EQ(back.execution_id, 2);
  EXPECT_EQ(back.flags, 0x0010);
  EXPECT_EQ(back.quanta, 5u);
  EXPECT_EQ(back.caller, 1);
  // Row 1 read with the terminate request's stride starts one byte into the second entry:
  // the identifiers come out shifted, and the entry no longer fits the list.
  EXPECT_EQ(get_u32(list.data() + ACTIVE_KILL_STRIDE), 0x02000000u);
  EXPECT_EQ(get_u16(list.data() + ACTIVE_KILL_STRIDE + 4), 0x1000);
  EXPECT_EQ(active_entry_read(std::span(list).subspan(ACTIVE_KILL_STRIDE), &back), -1);
}

}  // namespace
}  // namespace tavrel
