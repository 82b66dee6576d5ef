// The debugger's list views and dialogs against a scripted kernel: the columns of Locals,
// Monitor and Stack, the Monitor's limit and its editing in place, the Stack's 200 rows and
// Enter on a frame, the marks of changed locals, the breakpoint list's rows and keys, the
// active list's rows and the 16-byte stride of " Завершить процедуру ", and the calculator
// in the stopped frame.
#include "debug_fixture.h"
#include "debugger/active_dialog.h"
#include "debugger/breakpoint_dialogs.h"
#include "tui/keyboard.h"

namespace tavrel {
namespace {

using Views = DebuggingTest;

void push(uint16_t scan, uint8_t ch, uint32_t state = 0) { virtual_console_push_key(0, scan, ch, state); }
void push_text(const char* text) {
  for (const char* p = text; *p != '\0'; ++p) push(0x1E, static_cast<uint8_t>(*p));
}

TEST(ViewColumns, WidthsFollowTheInterior) {
  for (int w : {34, 78}) {
    const ViewColumns locals = view_columns(VIEW_LOCALS, w);
    EXPECT_EQ(locals.marker, 3);
    EXPECT_EQ(locals.first, (2 * w - 10) / 5);
    EXPECT_EQ(locals.second, w - 5 - locals.first);
    const ViewColumns monitor = view_columns(VIEW_WATCH, w);
    EXPECT_EQ(monitor.marker, 0);
    EXPECT_EQ(monitor.first, (2 * w - 2) / 5);
    EXPECT_EQ(monitor.second, w - 1 - monitor.first);
    const ViewColumns stack = view_columns(VIEW_STACK, w);
    EXPECT_EQ(stack.marker, 3);
    EXPECT_EQ(stack.first, w - 2);
  }
  EXPECT_EQ(view_columns(VIEW_LOCALS, 34).first, 11);
  EXPECT_EQ(view_columns(VIEW_LOCALS, 34).second, 18);
}

// P stopped in execution 9 with N = 5 (variable 1).
class StoppedViews : public Views {
 protected:
  WorkWindow* source = nullptr;
  void SetUp() override {
    Views::SetUp();
    kernel.variables[cp866("N")] = {1, TYPE_SMALLINT};
    kernel.values[1] = wire_of(smallint(5));
    kernel.locals = locals_write(std::vector<LocalEntry>{{1, cp866("N"), wire_of(smallint(5))}});
    kernel.stack = call_stack_write(std::vector<StackEntry>{{42, 2, 9, EXEC_DEBUGGED}});
    source = open_source(42, "P");
    stop_at(42, 2);
    debug_command(source, KEY_F9);
    kernel.calls.clear();
  }
};

TEST_F(StoppedViews, TheMonitorEditsInPlaceAndKeepsFiftyExpressions) {
  ASSERT_EQ(open_work_window(KIND_MONITOR), 0);
  Editor* e = &shell().current->editor;
  // Ctrl+F7 inserts an expression at the row and edits it at once.
  push_text("N + 1");
  push(0x1C, 0x0D);
  view_key(e, VIEW_WATCH, KEY_CTRL_F7);
  ASSERT_EQ(d().views.monitor.size(), 1u);
  EXPECT_EQ(d().views.monitor[0], "N + 1");
  EXPECT_EQ(monitor_value_text(0), "6 (SMALLINT)");
  EXPECT_FALSE(kernel.proc(PROC_READ_VARIABLE).empty());
  ViewRow row;
  ASSERT_TRUE(view_row(d(), VIEW_WATCH, 1, &row));  // the empty last row
  EXPECT_TRUE(row.first.empty());
  EXPECT_TRUE(row.second.empty());
  EXPECT_FALSE(view_row(d(), VIEW_WATCH, 2, &row));
  view_draw(e, VIEW_WATCH);
  EXPECT_TRUE(screen_has("6 (SMALLINT)"));

  // An assignment is not performed in the monitor.
  push_text("N := 1");
  push(0x1C, 0x0D);
  e->line = 1;
  view_key(e, VIEW_WATCH, KEY_ENTER);
  EXPECT_EQ(monitor_value_text(1), cp866("Попытка присвоения"));
  EXPECT_TRUE(kernel.proc(PROC_ASSIGN_VARIABLE).empty());

  // Alt+D on the empty row does nothing, on an expression deletes it.
  e->line = 2;
  view_key(e, VIEW_WATCH, KEY_ALT_D);
  EXPECT_EQ(d().views.monitor.size(), 2u);
  e->line = 0;
  view_key(e, VIEW_WATCH, KEY_ALT_D);
  ASSERT_EQ(d().views.monitor.size(), 1u);
  EXPECT_EQ(d().views.monitor[0], "N := 1");

  // The 51st expression is refused: Ctrl+F7 inserts nothing and edits nothing.
  d().views.monitor.assign(MONITOR_MAX, "N");
  push_text("X");
  push(0x1C, 0x0D);
  view_key(e, VIEW_WATCH, KEY_CTRL_F7);
  EXPECT_EQ(d().views.monitor.size(), MONITOR_MAX);
  EXPECT_EQ(virtual_console_pending(), 2);
}

TEST_F(StoppedViews, TheStackShowsTwoHundredFramesAndEnterSwitchesTheFrame) {
  std::vector<StackEntry> frames;
  for (uint16_t i = 0; i < 250; ++i) frames.push_back({i % 2 == 0 ? 42u : 43u, i, static_cast<uint16_t>(100 + i), 0});
  kernel.stack = call_stack_write(frames);
  stop_at(42, 3);
  debug_command(source, KEY_F8);
  EXPECT_EQ(view_row_count(d(), VIEW_STACK), STACK_ROWS_MAX);
  ViewRow row;
  ASSERT_TRUE(view_row(d(), VIEW_STACK, 1, &row));
  EXPECT_EQ(row.first, "Q:2");
  EXPECT_EQ(row.marker, "   ");
  ASSERT_TRUE(view_row(d(), VIEW_STACK, 0, &row));
  EXPECT_EQ(row.marker[0], '\x10');  // the selected frame

  ASSERT_EQ(open_work_window(KIND_CALL_STACK), 0);
  Editor* e = &shell().current->editor;
  kernel.calls.clear();
  view_key(e, VIEW_STACK, KEY_DOWN);
  view_key(e, VIEW_STACK, KEY_ENTER);
  const std::vector<PeerRequest> locals = kernel.proc(PROC_LOCALS);
  ASSERT_EQ(locals.size(), 1u);
  EXPECT_EQ(locals[0].argument, 101u);  // the frame's execution
  EXPECT_EQ(d().views.context, 1u);
  // Enter on the selected frame does nothing.
  kernel.calls.clear();
  view_key(e, VIEW_STACK, KEY_ENTER);
  EXPECT_TRUE(kernel.calls.empty());
  // The next stop goes back to the innermost frame.
  stop_at(42, 4);
  debug_command(source, KEY_F8);
  EXPECT_EQ(d().views.context, 0u);
}

TEST_F(StoppedViews, LocalsThatChangedAreMarked) {
  ViewRow row;
  ASSERT_TRUE(view_row(d(), VIEW_LOCALS, 0, &row));
  EXPECT_EQ(row.first, "N");
  EXPECT_EQ(row.second, "5 (SMALLINT)");
  EXPECT_EQ(row.marker, "   ");
  kernel.locals = locals_write(std::vector<LocalEntry>{{1, cp866("N"), wire_of(smallint(4))}});
  stop_at(42, 3);
  debug_command(source, KEY_F8);
  ASSERT_TRUE(view_row(d(), VIEW_LOCALS, 0, &row));
  EXPECT_EQ(row.second, "4 (SMALLINT)");
  EXPECT_EQ(row.marker, " * ");
  EXPECT_TRUE(screen_has("4 (SMALLINT)"));
  stop_at(42, 4);
  debug_command(source, KEY_F8);
  ASSERT_TRUE(view_row(d(), VIEW_LOCALS, 0, &row));
  EXPECT_EQ(row.marker, "   ");
}

TEST_F(StoppedViews, WideNumbersShowInFullBeforeAnyEvaluation) {
  Value big{};
  big.type = TYPE_BIGINT;
  payload_put(big, int64_t{5000000000});
  kernel.locals = locals_write(std::vector<LocalEntry>{{2, cp866("TOTAL"), wire_of(big)}});
  stop_at(42, 3);
  debug_command(source, KEY_F8);
  ViewRow row;
  ASSERT_TRUE(view_row(d(), VIEW_LOCALS, 0, &row));
  EXPECT_EQ(row.second, "5000000000 (BIGINT)");
}

TEST_F(StoppedViews, TheCalculatorEvaluatesAndAssignsInTheFrame) {
  std::string result;
  bool assigned = false;
  ASSERT_TRUE(debug_calculate("N * 2", &result, &assigned));
  EXPECT_EQ(result, "10 (SMALLINT)");
  EXPECT_FALSE(assigned);
  kernel.calls.clear();
  ASSERT_TRUE(debug_calculate("N := 3", &result, &assigned));
  EXPECT_TRUE(assigned);
  const std::vector<PeerRequest> sets = kernel.proc(PROC_ASSIGN_VARIABLE);
  ASSERT_EQ(sets.size(), 1u);
  EXPECT_EQ(sets[0].argument, 9u);
  EXPECT_EQ(get_u16(sets[0].data.data()), 20001);
  EXPECT_EQ(sets[0].data[2], TYPE_SMALLINT);
  ASSERT_TRUE(debug_calculate("1 +", &result, &assigned));
  EXPECT_EQ(result, cp866("Ошибка при вычислении"));
  // Nothing stopped: the ordinary calculator answers.
  d().current_execution = EXECUTION_NONE;
  d().views.stack.clear();
  EXPECT_FALSE(debug_calculate("N", &result, &assigned));
}

TEST_F(Views, TheBreakpointListShowsMarksAndTakesItsKeys) {
  d().breakpoints = {{true, 42, 2, BREAKPOINT_LINE, {}},
                     {false, 42, 2, BREAKPOINT_CONDITION, "I > 10"},
                     {true, 43, 0, BREAKPOINT_CHANGE, "N"}};
  EXPECT_EQ(breakpoint_list_row(d(), 0), " X P:3");
  EXPECT_EQ(breakpoint_list_row(d(), 1), "   P:3(I > 10)");
  EXPECT_EQ(breakpoint_list_row(d(), 2), " X Q:(N)");
  EXPECT_EQ(breakpoint_list_row(d(), 3), "");
  EXPECT_EQ(breakpoint_kind_to_group(BREAKPOINT_CHANGE), 4);
  EXPECT_EQ(breakpoint_group_to_kind(2), BREAKPOINT_CONDITION);

  // Enter switches the first off (21); Del deletes the second (inactive: nothing sent).
  kernel.calls.clear();
  push(0x1C, 0x0D);
  push(0x50, 0);
  push(0x53, 0);
  push(0x01, 0x1B);
  breakpoint_list_run(42, 0);
  EXPECT_EQ(kernel.sequence(), "21");
  ASSERT_EQ(d().breakpoints.size(), 2u);
  EXPECT_FALSE(d().breakpoints[0].active);
  EXPECT_EQ(d().breakpoints[1].kind, BREAKPOINT_CHANGE);
  EXPECT_EQ(virtual_console_starved(), 0);
}

TEST_F(Views, ANewBreakpointFromTheDialog) {
  ASSERT_EQ(session_open(d(), "P", 0, false, nullptr), 0);
  kernel.calls.clear();
  // The empty row, Enter: the dialog with P at line 5 (the cursor's line 4 + 1); Alt+D
  // presses its accept button.
  push(0x1C, 0x0D);
  push(0x20, 'd', CK_LEFT_ALT);
  push(0x01, 0x1B);
  breakpoint_list_run(42, 4);
  ASSERT_EQ(d().breakpoints.size(), 1u);
  EXPECT_EQ(d().breakpoints[0].procedure_id, 42u);
  EXPECT_EQ(d().breakpoints[0].line, 4u);
  EXPECT_TRUE(d().breakpoints[0].active);
  const std::vector<PeerRequest> sets = kernel.proc(PROC_SET_BREAKPOINT);
  ASSERT_EQ(sets.size(), 1u);
  std::vector<uint8_t> data = sets[0].data;
  data.resize(BREAKPOINT_HEADER_SIZE);
  BreakpointRequest sent;
  ASSERT_EQ(breakpoint_request_read(data, &sent), 0);
  EXPECT_EQ(sent.number, 1);  // the row + 1, from the dialog
  EXPECT_EQ(sent.line, 4u);
  EXPECT_EQ(virtual_console_starved(), 0);
}

// A portion of the active list: the entries, then the next key.
std::vector<uint8_t> portion(const std::vector<ActiveEntry>& entries) {
  std::vector<uint8_t> out(entries.size() * ACTIVE_ENTRY_SIZE + 2);
  for (size_t i = 0; i < entries.size(); ++i)
    active_entry_write(entries[i], std::span<uint8_t>(out).subspan(i * ACTIVE_ENTRY_SIZE));
  return out;
}

TEST_F(Views, TheActiveListShowsItsRowsAndEndsWithTheSixteenByteStride) {
  const std::vector<ActiveEntry> entries = {{42, 9, EXEC_DEBUGGED | EXEC_WAITING_DEBUGGER, 12, ACTIVE_CALLER_OUTSIDE},
                                            {43, 10, EXEC_WAITING_QUERY, 3, 9},
                                            {42, 11, 0, 7, 0}};
  kernel.portions.push_back({portion(entries), 3});
  kernel.portions.push_back({portion(entries), 3});  // the refresh after the end
  // Row 2 (Down twice), Tab to the list's buttons: " Обновить ", Tab: " Завершить процедуру ".
  push(0x50, 0);
  push(0x50, 0);
  push(0x0F, 0x09);
  push(0x0F, 0x09);
  static std::string shown;
  shown.clear();
  set_idle_hook([] {
    for (int row = 0; row < 25; ++row) shown += virtual_console_row(row) + "\n";
    push(0x1C, 0x0D);  // Enter on " Завершить процедуру "
    set_idle_hook([] { push(0x01, 0x1B); });
  });
  active_list_run(nullptr);
  set_idle_hook(nullptr);
  EXPECT_NE(shown.find(cp866("Отлаживается; Ожидание отладчика")), std::string::npos);
  EXPECT_NE(shown.find(cp866("Ожидание запроса")), std::string::npos);
  EXPECT_NE(shown.find(cp866("Извне")), std::string::npos);
  EXPECT_NE(shown.find(cp866("Список активных процедур")), std::string::npos);
  const std::vector<PeerRequest> aborts = kernel.proc(PROC_ABORT);
  ASSERT_EQ(aborts.size(), 1u);
  // Row 2 read at 2 x 16: the execution field of that place, not entry 2's 11.
  std::vector<uint8_t> array = portion(entries);
  EXPECT_EQ(aborts[0].argument, get_u16(array.data() + 32 + 4));
  EXPECT_NE(aborts[0].argument, 11u);
  EXPECT_EQ(kernel.proc(PROC_ACTIVE_LIST).size(), 2u);  // fetched again after the end
}

}  // namespace
}  // namespace tavrel
