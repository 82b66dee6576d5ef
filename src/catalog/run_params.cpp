// The parameters of a run: the parameter query (a select on the parameter table, then one
// row per GETN), the literal of each declared default by its type code, the previous input
// that "Предыдущий ввод" copies from, and the execute statement built from the values.
#include "catalog/run_params.h"

#include <cstdio>
#include <cstring>

#include "catalog/catalog.h"
#include "catalog/catalog_state.h"
#include "text/unicode.h"
#include "values/bigint.h"
#include "values/calendar.h"
#include "values/decimal.h"

namespace tavrel {

namespace {

const char* const INPUT_PARAMETERS =
    "select NAME, TYPE, LEN, DEFVAL from system.$$$PRCD where PROCID=%ld and MODIF in (1, 3) order by ARGID;";

std::vector<RunParameter> g_previous;
bool g_has_previous = false;

template <typename T>
T stored(const ParamRow& row) {
  T v;
  std::memcpy(&v, row.default_value, sizeof v);
  return v;
}

std::string trim_blanks(std::string text) {
  while (!text.empty() && text.back() == ' ') text.pop_back();
  size_t first = 0;
  while (first < text.size() && text[first] == ' ') ++first;
  return text.substr(first);
}

std::string integer_literal(const ParamRow& row) {
  char text[32];
  if (row.length == 2) {
    std::snprintf(text, sizeof text, "%d", stored<int16_t>(row));
  } else if (row.length == 8) {
    bigint_to_text(stored<int64_t>(row), text);
  } else {
    std::snprintf(text, sizeof text, "%ld", static_cast<long>(stored<int32_t>(row)));
  }
  return text;
}

std::string float_literal(const ParamRow& row) {
  char text[40];
  if (row.length == 4) std::snprintf(text, sizeof text, "%g", static_cast<double>(stored<float>(row)));
  else std::snprintf(text, sizeof text, "%g", stored<double>(row));
  return text;
}

std::string date_literal(const ParamRow& row) {
  DateRecord d{};
  std::memcpy(&d.day, row.default_value, 4);
  std::memcpy(&d.time, row.default_value + 4, 4);
  const BrokenDate b = date_to_broken(d);
  char text[64];
  std::snprintf(text, sizeof text, "'%d.%d.%d:%d:%d:%d'", b.day, b.month, b.year, b.hour, b.minute, b.second);
  return text;
}

std::string numeric_literal(const ParamRow& row) {
  Decimal d;
  std::memcpy(d.b, row.default_value, DECIMAL_BYTES);
  char text[DECIMAL_TEXT_CAPACITY];
  decimal_to_text(d, row.precision + 1, row.scale, false, text);
  return trim_blanks(text);
}

// The stored characters as they are, at most the stored width.
std::string char_literal(const ParamRow& row) {
  const size_t n = row.length < PARAM_DEFAULT_MAX ? row.length : PARAM_DEFAULT_MAX;
  return "'" + std::string(reinterpret_cast<const char*>(row.default_value), n) + "'";
}

// UTF-16 units converted to CP866; a character CP866 lacks becomes "?".
std::string nchar_literal(const ParamRow& row) {
  const size_t n = row.length < PARAM_DEFAULT_MAX / 2 ? row.length : PARAM_DEFAULT_MAX / 2;
  std::string text = "N'";
  for (size_t i = 0; i < n; ++i) {
    const uint32_t unit = row.default_value[2 * i] | (row.default_value[2 * i + 1] << 8);
    const int c = unicode_to_cp866(unit);
    text += static_cast<char>(c < 0 ? '?' : c);
  }
  return text + "'";
}

}  // namespace

std::string default_literal(const ParamRow& row) {
  if (row.default_null != 0) return "NULL";
  switch (row.type) {
    case PARAM_TYPE_CHAR: return char_literal(row);
    case PARAM_TYPE_INTEGER: return integer_literal(row);
    case PARAM_TYPE_FLOAT: return float_literal(row);
    case PARAM_TYPE_DATE: return date_literal(row);
    case PARAM_TYPE_NUMERIC: return numeric_literal(row);
    case PARAM_TYPE_LOGICAL:
    case PARAM_TYPE_LOGICAL_WIDE: return row.default_value[0] != 0 ? "TRUE" : "FALSE";
    case PARAM_TYPE_NCHAR: return nchar_literal(row);
    default: return {};
  }
}

int read_input_parameters(uint32_t procedure_id, std::vector<RunParameter>* out) {
  out->clear();
  RequestBlock* b = catalog_block();
  const std::string statement = catalog_format_id(INPUT_PARAMETERS, procedure_id);
  uint8_t answer[ROW_PARAM];
  std::memset(answer, 0, sizeof answer);
  set_command(b, "SLCT");
  b->answer_length = ROW_PARAM;
  uint32_t rc = kernel_call(b, nullptr, statement.c_str(), nullptr, answer);
  set_command(b, "PROC");
  // No rows: a procedure without input parameters.
  if (rc == KERNEL_NO_MORE_ROWS || rc == KERNEL_NOT_FOUND) return 0;
  if (rc != 0) {
    report_kernel_error(b, rc, b->system_code);
    return static_cast<int>(rc);
  }
  const uint32_t count = b->argument;
  set_command(b, "GETN");
  for (uint32_t i = 0; i < count; ++i) {
    ParamRow row{};
    param_row_read(answer, &row);
    RunParameter p;
    p.name = trim_blanks(std::string(row.name, strnlen(row.name, NAME_BYTES)));
    p.type = row.type;
    p.value = default_literal(row);
    if (p.value.size() > PARAM_VALUE_MAX) p.value.resize(PARAM_VALUE_MAX);
    out->push_back(std::move(p));
    std::memset(answer, 0, sizeof answer);
    b->answer_length = ROW_PARAM;
    rc = kernel_call(b, nullptr, nullptr, nullptr, answer);
    if (rc != 0) {
      if (rc != KERNEL_NO_MORE_ROWS) report_kernel_error(b, rc, b->system_code);
      break;
    }
  }
  set_command(b, "PROC");
  return 0;
}

bool has_previous_input() { return g_has_previous; }
const std::vector<RunParameter>& previous_input() { return g_previous; }

void previous_input_clear() {
  std::vector<RunParameter>().swap(g_previous);
  g_has_previous = false;
}

size_t previous_input_fill(std::vector<RunParameter>* params) {
  const size_t n = params->size() < g_previous.size() ? params->size() : g_previous.size();
  for (size_t i = 0; i < n; ++i) (*params)[i].value = g_previous[i].value;
  return n;
}

// Called by the dialog when it ends, whatever the outcome.
void previous_input_keep(const std::vector<RunParameter>& params) {
  g_previous = params;
  g_has_previous = true;
}

std::string execute_statement(std::string_view name, const std::vector<RunParameter>& params) {
  std::string s = "execute \"";
  s += name;
  s += "\"(";
  for (size_t i = 0; i < params.size(); ++i) {
    if (i > 0) s += ",";
    std::string value = params[i].value;
    while (!value.empty() && value.back() == ' ') value.pop_back();
    s += value;
  }
  s += ")";
  // Statements go to the kernel with an even length.
  if (s.size() % 2 == 0) s += " ";
  return s + ";";
}

int prepare_run_statement(uint32_t procedure_id, std::string_view name, std::string* statement) {
  std::vector<RunParameter> params;
  if (read_input_parameters(procedure_id, &params) != 0) return 1;
  if (!params.empty() && input_parameters_dialog(&params) != 1) return 1;
  *statement = execute_statement(name, params);
  return 0;
}

}  // namespace tavrel
