// The parameters of a run: each type's default literal, the parameter query row by row, the
// dialog "Входные параметры" driven with keys on the virtual console (editing, cancelling,
// "Предыдущий ввод" by position) and the execute statement it gives.
#include "catalog/run_params.h"
#include "catalog_peer.h"
#include "values/calendar.h"
#include "values/decimal.h"

namespace tavrel {
namespace {

ParamRow param(const char* name, uint8_t type, uint16_t length) {
  ParamRow row{};
  std::memset(row.name, ' ', sizeof row.name);
  std::memcpy(row.name, name, std::strlen(name));
  row.type = type;
  row.length = length;
  return row;
}

template <typename T>
ParamRow with_default(ParamRow row, T value) {
  std::memcpy(row.default_value, &value, sizeof value);
  return row;
}

TEST(DefaultLiterals, EachTypeStartsAsItsLiteral) {
  ParamRow null_int = param("A", PARAM_TYPE_INTEGER, 4);
  null_int.default_null = 1;
  ParamRow text = param("C", PARAM_TYPE_CHAR, 6);
  std::memcpy(text.default_value, "abc   ", 6);
  ParamRow nchar = param("W", PARAM_TYPE_NCHAR, 3);
  const uint16_t units[3] = {0x042E, 0x043D, 0x0020};  // "Юн "
  std::memcpy(nchar.default_value, units, sizeof units);
  ParamRow numeric = param("N", PARAM_TYPE_NUMERIC, 16);
  numeric.precision = 10;
  numeric.scale = 3;
  const Decimal d = decimal_from_text("12.345");
  std::memcpy(numeric.default_value, d.b, sizeof d.b);
  DateRecord date{};
  date.day = static_cast<uint32_t>(dmy_to_day_number(5, 3, 2011));
  date.time = 10 * HUNDREDTHS_PER_HOUR + 7 * HUNDREDTHS_PER_MINUTE;

  const struct {
    ParamRow row;
    const char* literal;
  } cases[] = {
      {null_int, "NULL"},
      {with_default(param("S", PARAM_TYPE_INTEGER, 2), int16_t{-3}), "-3"},
      {with_default(param("I", PARAM_TYPE_INTEGER, 4), int32_t{100000}), "100000"},
      {with_default(param("B", PARAM_TYPE_INTEGER, 8), int64_t{5000000000}), "5000000000"},
      {with_default(param("R", PARAM_TYPE_FLOAT, 4), 1.5f), "1.5"},
      {with_default(param("D", PARAM_TYPE_FLOAT, 8), 2.25), "2.25"},
      {numeric, "12.345"},
      {with_default(param("L", PARAM_TYPE_LOGICAL, 1), uint8_t{1}), "TRUE"},
      {with_default(param("L", PARAM_TYPE_LOGICAL_WIDE, 1), uint8_t{0}), "FALSE"},
      {with_default(param("T", PARAM_TYPE_DATE, 8), date), "'5.3.2011:10:7:0'"},
      {text, "'abc   '"},
      {nchar, "N'\x9E\xAD '"},  // CP866 "Юн"
      {with_default(param("X", 7, 4), int32_t{5}), ""},
  };
  for (const auto& c : cases) EXPECT_EQ(default_literal(c.row), c.literal) << c.row.name[0];
}

TEST(ExecuteStatement, ValuesJoinedAndTheLengthMadeEven) {
  EXPECT_EQ(execute_statement("P", {}), "execute \"P\"();");
  EXPECT_EQ(execute_statement("PQ", {}), "execute \"PQ\"() ;");
  std::vector<RunParameter> params = {{"A", "1   ", 2}, {"B", "'x y'", 1}};
  EXPECT_EQ(execute_statement("P", params), "execute \"P\"(1,'x y') ;");
}

// A kernel whose procedure 42 has the given input parameters; every row comes alone.
class RunParams : public CatalogTest {
 protected:
  std::vector<ParamRow> rows;
  size_t next = 0;
  void SetUp() override {
    CatalogTest::SetUp();
    previous_input_clear();
    g_handler = [this](const PeerCall& c, RequestBlock* b, uint8_t* answer) -> uint32_t {
      if (c.command == "SLCT") {
        next = 0;
        if (rows.empty()) return KERNEL_NO_MORE_ROWS;
        b->argument = static_cast<uint32_t>(rows.size());
      } else if (c.command != "GETN" || next >= rows.size()) {
        return KERNEL_NO_MORE_ROWS;
      }
      param_row_write(rows[next++], {answer, ROW_PARAM});
      return 0;
    };
  }
  void TearDown() override {
    previous_input_clear();
    CatalogTest::TearDown();
  }
  void three_params() {
    rows = {with_default(param("A", PARAM_TYPE_INTEGER, 4), int32_t{7}),
            with_default(param("B", PARAM_TYPE_LOGICAL, 1), uint8_t{1}), param("C", PARAM_TYPE_CHAR, 3)};
    rows[2].default_null = 1;
  }
};

void push_key(uint16_t scan, uint8_t ch, uint32_t state = 0) { virtual_console_push_key(0, scan, ch, state); }
void push_text(const char* text) {
  for (const char* p = text; *p != '\0'; ++p) push_key(0x1E, static_cast<uint8_t>(*p));
}

TEST_F(RunParams, AProcedureWithoutParametersRunsAtOnce) {
  std::string statement;
  ASSERT_EQ(prepare_run_statement(42, "P", &statement), 0);
  EXPECT_EQ(statement, "execute \"P\"();");
  EXPECT_EQ(commands(), "SLCT");
  EXPECT_EQ(g_calls[0].statement,
            "select NAME, TYPE, LEN, DEFVAL from system.$$$PRCD where PROCID=42 and MODIF in (1, 3) order by ARGID;");
  EXPECT_EQ(g_calls[0].answer_length, ROW_PARAM);
  EXPECT_FALSE(has_previous_input());  // no dialog was shown
  EXPECT_EQ(virtual_console_starved(), 0);
}

TEST_F(RunParams, TheQueryReadsEveryRowAndEndsOnProc) {
  three_params();
  std::vector<RunParameter> params;
  ASSERT_EQ(read_input_parameters(42, &params), 0);
  EXPECT_EQ(commands(), "SLCT,GETN,GETN,GETN");
  ASSERT_EQ(params.size(), 3u);
  EXPECT_EQ(params[0].name, "A");
  EXPECT_EQ(params[0].value, "7");
  EXPECT_EQ(params[1].value, "TRUE");
  EXPECT_EQ(params[2].value, "NULL");
  EXPECT_EQ(params[2].type, PARAM_TYPE_CHAR);
  EXPECT_EQ(std::string(block.command, 4), "PROC");
}

TEST_F(RunParams, AFailedQueryIsReportedAndNothingRuns) {
  g_handler = [](const PeerCall& c, RequestBlock*, uint8_t*) -> uint32_t { return c.command == "GETE" ? 2 : 2001; };
  std::string statement;
  EXPECT_EQ(prepare_run_statement(42, "P", &statement), 1);
  EXPECT_EQ(commands(), "SLCT,GETE");
  EXPECT_TRUE(statement.empty());
}

TEST_F(RunParams, TheDialogShowsTheDefaultsAndSendsTheEditedValues) {
  three_params();
  // The first value is replaced, the second kept, the third gets text after NULL's end.
  push_key(0x53, 0);  // Del
  push_text("12");
  push_key(0x50, 0);  // Down
  push_key(0x50, 0);
  push_key(0x4F, 0);  // End
  push_key(0x0E, 0x08);  // Backspace
  push_key(0x0E, 0x08);
  push_key(0x0E, 0x08);
  push_key(0x0E, 0x08);
  push_text("'q'");
  push_key(0x1C, 0x0D);  // Enter accepts
  std::string statement;
  ASSERT_EQ(prepare_run_statement(42, "P", &statement), 0);
  EXPECT_EQ(statement, "execute \"P\"(12,TRUE,'q') ;");
  EXPECT_EQ(virtual_console_starved(), 0);
  ASSERT_TRUE(has_previous_input());
  EXPECT_EQ(previous_input()[0].value, "12");
}

TEST_F(RunParams, CancellingSendsNothing) {
  three_params();
  push_text("99");
  push_key(0x01, 0x1B);
  std::string statement = "kept";
  EXPECT_EQ(prepare_run_statement(42, "P", &statement), 1);
  EXPECT_EQ(statement, "kept");
  EXPECT_EQ(previous_input()[0].value, "997");  // typed in front of the default, then cancelled
}

TEST_F(RunParams, PreviousInputFillsByPosition) {
  rows = {with_default(param("X", PARAM_TYPE_INTEGER, 4), int32_t{0}), param("Y", PARAM_TYPE_CHAR, 1)};
  std::memcpy(rows[1].default_value, "z", 1);
  // First run: values 1 and 'A'.
  push_key(0x53, 0);
  push_text("1");
  push_key(0x50, 0);
  push_key(0x4F, 0);
  push_key(0x0E, 0x08);
  push_key(0x0E, 0x08);
  push_key(0x0E, 0x08);
  push_text("'A'");
  push_key(0x1C, 0x0D);
  std::string statement;
  ASSERT_EQ(prepare_run_statement(42, "P", &statement), 0);
  EXPECT_EQ(statement, "execute \"P\"(1,'A') ;");

  // A procedure with three parameters: Alt+G presses "Предыдущий ввод", Enter runs.
  three_params();
  push_key(0x22, 'g', CK_LEFT_ALT);
  push_key(0x1C, 0x0D);
  ASSERT_EQ(prepare_run_statement(43, "Q", &statement), 0);
  EXPECT_EQ(statement, "execute \"Q\"(1,'A',NULL);");
  EXPECT_EQ(virtual_console_starved(), 0);
}

// The screen as the dialog shows it while it waits for its first key (taken by the idle
// hook, which then ends the dialog with Esc).
std::string g_shown;
std::string dialog_screen(std::vector<RunParameter>* params) {
  g_shown.clear();
  set_idle_hook([] {
    if (!g_shown.empty()) return;
    for (int row = 0; row < 25; ++row) g_shown += virtual_console_row(row) + "\n";
    push_key(0x01, 0x1B);
  });
  EXPECT_EQ(input_parameters_dialog(params), 0);
  set_idle_hook(nullptr);
  return g_shown;
}

TEST_F(RunParams, TheDialogShowsNamesDefaultsAndThePreviousInputButtonOnlyLater) {
  three_params();
  std::vector<RunParameter> params;
  ASSERT_EQ(read_input_parameters(42, &params), 0);
  const std::string first = dialog_screen(&params);
  EXPECT_NE(first.find(cp866("Входные параметры")), std::string::npos);
  EXPECT_NE(first.find(cp866("Имя")), std::string::npos);
  EXPECT_NE(first.find(cp866("Значение")), std::string::npos);
  EXPECT_NE(first.find("TRUE"), std::string::npos);
  EXPECT_NE(first.find(cp866(" Ввод ")), std::string::npos);
  EXPECT_EQ(first.find(cp866("Предыдущий ввод")), std::string::npos);
  // A cancelled dialog is remembered too: the next one offers its input.
  EXPECT_TRUE(has_previous_input());
  const std::string second = dialog_screen(&params);
  EXPECT_NE(second.find(cp866("Предыдущий ввод")), std::string::npos);
}

}  // namespace
}  // namespace tavrel
