// tavrel-sql's lines for execution results, translation errors and catalogue rows.
#include "tools/sql/sql_output.h"

#include <cstdio>
#include <cstring>
#include <string_view>

#include "protocol/bytes.h"
#include "protocol/exec_result.h"
#include "protocol/records.h"
#include "text/unicode.h"
#include "translator/builtins.h"
#include "translator/diagnostics.h"
#include "translator/value_form.h"
#include "values/calendar.h"
#include "values/decimal.h"
#include "values/stack_mem.h"
#include "values/string_pool.h"
#include "values/value_wire.h"

namespace tavrel {

namespace {

constexpr const char* RESULT_PREFIX = "Возвращаемое значение: ";
constexpr const char* EXCEPTION_PREFIX = "Передано состояние исключения ";

// Type codes of the parameter rows (the stored forms of their defaults).
constexpr uint8_t PARAM_CHAR = 1;
constexpr uint8_t PARAM_INTEGER = 2;
constexpr uint8_t PARAM_FLOAT = 3;
constexpr uint8_t PARAM_DATE = 4;
constexpr uint8_t PARAM_NUMERIC = 5;
constexpr uint8_t PARAM_LOGICAL = 10;
constexpr uint8_t PARAM_LOGICAL_OLD = 100;
constexpr uint8_t PARAM_NCHAR = 11;

// The typed form of a value in its wire form, or nothing when the bytes hold no whole value.
bool typed_form(const std::vector<uint8_t>& wire, std::string* out) {
  static StackMemory memory{};
  static StringPool pool;
  // The texts of BIGINT and NUMERIC forms are carved from the stack memory's text pool.
  static const bool ready = stack_mem_setup(memory) == 0 && (string_pool_init(pool, &memory, STACK_TEXT_A), true);
  if (!ready) return false;
  WireStore store;
  Value v;
  if (value_wire_get(wire, &store, &v) != wire.size() || wire.empty()) return false;
  pool_enter_level(pool);
  *out = cp866_to_utf8(typed_value_form(v, pool));
  pool_leave_level(pool);
  return true;
}

// A message with its one argument filled in as printf would ("%d", "%ld" or "%s"; "%%" is
// one "%"); what remains as "%%" then is the catalogue's line break, shown as a blank.
std::string fill_message(std::string_view message, const std::string& argument, bool has_argument) {
  std::string out;
  bool filled = !has_argument;
  for (size_t i = 0; i < message.size(); ++i) {
    if (message[i] == '%' && i + 1 < message.size() && message[i + 1] == '%') {
      out += '%';
      ++i;
      continue;
    }
    if (!filled && message[i] == '%') {
      size_t j = i + 1;
      if (j < message.size() && message[j] == 'l') ++j;
      if (j < message.size() && (message[j] == 'd' || message[j] == 's')) {
        out += argument;
        filled = true;
        i = j;
        continue;
      }
    }
    out += message[i];
  }
  for (size_t at = out.find("%%"); at != std::string::npos; at = out.find("%%", at)) out.replace(at, 2, " ");
  return out;
}

std::string number_text(long long n) { return std::to_string(n); }

std::string trimmed(std::string text) {
  while (!text.empty() && (text.back() == ' ' || text.back() == '\0')) text.pop_back();
  size_t start = 0;
  while (start < text.size() && text[start] == ' ') ++start;
  return text.substr(start);
}

// The default of a parameter row as the literal of a call.
std::string default_literal(const ParamRow& p) {
  if (p.default_null != 0) return "NULL";
  const uint8_t* v = p.default_value;
  switch (p.type) {
    case PARAM_CHAR: {
      const size_t n = p.length < PARAM_DEFAULT_MAX ? p.length : PARAM_DEFAULT_MAX;
      return "'" + cp866_to_utf8(std::string_view(reinterpret_cast<const char*>(v), n)) + "'";
    }
    case PARAM_INTEGER:
      if (p.length == 2) return number_text(static_cast<int16_t>(get_u16(v)));
      if (p.length == 8) return number_text(static_cast<int64_t>(get_u32(v) | uint64_t{get_u32(v + 4)} << 32));
      return number_text(static_cast<int32_t>(get_u32(v)));
    case PARAM_FLOAT: {
      char text[64];
      if (p.length == 4) {
        float f;
        std::memcpy(&f, v, sizeof f);
        std::snprintf(text, sizeof text, "%g", static_cast<double>(f));
      } else {
        double d;
        std::memcpy(&d, v, sizeof d);
        std::snprintf(text, sizeof text, "%g", d);
      }
      return text;
    }
    case PARAM_DATE: {
      const BrokenDate b = date_to_broken(DateRecord{get_u32(v), static_cast<int32_t>(get_u32(v + 4))});
      char text[64];
      std::snprintf(text, sizeof text, "'%d.%d.%d:%d:%d:%d'", b.day, b.month, b.year, b.hour, b.minute, b.second);
      return text;
    }
    case PARAM_NUMERIC: {
      Decimal d;
      std::memcpy(d.b, v, DECIMAL_BYTES);
      const int width = p.precision + 1 < DECIMAL_TEXT_WIDTH ? p.precision + 1 : DECIMAL_TEXT_WIDTH;
      char text[DECIMAL_TEXT_CAPACITY];
      decimal_to_text(d, width, p.scale <= 10 ? p.scale : 10, false, text);
      return trimmed(text);
    }
    case PARAM_LOGICAL:
    case PARAM_LOGICAL_OLD: return v[0] != 0 ? "TRUE" : "FALSE";
    case PARAM_NCHAR: {
      std::string text = "N'";
      for (size_t i = 0; i + 1 < PARAM_DEFAULT_MAX && i / 2 < p.length; i += 2) {
        char utf8[4];
        text.append(utf8, static_cast<size_t>(utf8_encode(get_u16(v + i), utf8)));
      }
      return text + "'";
    }
    default: return {};
  }
}

}  // namespace

int call_result_lines(std::span<const uint8_t> answer, std::vector<std::string>* lines, bool* exception) {
  *exception = false;
  ExecResult r;
  if (exec_result_read(answer, &r) != 0) return -1;
  for (const std::string& m : r.messages) lines->push_back(std::string(PRINT_HEAD) + m);
  if ((r.flags & EXEC_RESULT_MESSAGES_CUT) != 0) lines->push_back("*** (further messages did not fit the answer)");
  std::string form;
  for (const ExecOutput& o : r.outputs) {
    if (!typed_form(o.value, &form)) return -1;
    lines->push_back("{ " + o.name + " } = " + form);
  }
  if ((r.flags & EXEC_RESULT_HAS_VALUE) != 0) {
    if (!typed_form(r.value, &form)) return -1;
    lines->push_back(RESULT_PREFIX + form);
  }
  if (r.exception != 0) {
    *exception = true;
    lines->push_back(EXCEPTION_PREFIX + r.exception_name);
  }
  return 0;
}

int translation_error_lines(std::span<const uint8_t> answer, std::vector<std::string>* lines) {
  std::vector<TranslationError> errors;
  const int status = translation_errors_read(answer, &errors);
  for (const TranslationError& e : errors) {
    std::string argument = e.argument_kind == TRANSLATION_ARG_NUMBER ? std::to_string(e.argument_number)
                                                                     : e.argument_text;
    argument.resize(std::strlen(argument.c_str()));
    const bool has_argument = e.argument_kind == TRANSLATION_ARG_NUMBER || e.argument_kind == TRANSLATION_ARG_TEXT;
    const std::string text =
        fill_message(cp866_to_utf8(diagnostic_message(static_cast<int>(e.number))), argument, has_argument);
    if (e.line == TRANSLATION_NO_POSITION) {
      lines->push_back(text);
    } else {
      lines->push_back("line " + std::to_string(e.line) + ", column " + std::to_string(e.column) + ": " + text);
    }
  }
  return status;
}

bool catalogue_row_line(std::span<const uint8_t> row, std::string* line) {
  switch (row.size()) {
    case ROW_ID: *line = std::to_string(get_u32(row.data())); return true;
    case ROW_NAME: *line = name_field_get(row); return true;
    case ROW_BODY: *line = std::to_string(get_u32(row.data())); return true;
    case ROW_TRIGGER: {
      TriggerRow t;
      trigger_row_read(row, &t);
      *line = std::to_string(t.procedure_id) + " | " +
              name_field_get({reinterpret_cast<const uint8_t*>(t.name), NAME_BYTES});
      return true;
    }
    case ROW_PARAM: {
      ParamRow p;
      param_row_read(row, &p);
      *line = name_field_get({reinterpret_cast<const uint8_t*>(p.name), NAME_BYTES}) + " | " +
              std::to_string(p.type) + " | " + std::to_string(p.precision) + " | " + std::to_string(p.scale) +
              " | " + std::to_string(p.length) + " | " + default_literal(p);
      return true;
    }
    default: return false;
  }
}

}  // namespace tavrel
