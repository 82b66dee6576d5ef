// Running a procedure with input parameters: the parameter query on the system tables, the
// literal each declared default starts as, the dialog "Входные параметры" with the input of
// the previous dialog, and the execute statement the debugger sends. Texts are CP866.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "protocol/records.h"

namespace tavrel {

// Type codes of the parameter rows, as the DBMS keeps them.
constexpr uint8_t PARAM_TYPE_CHAR = 1;
constexpr uint8_t PARAM_TYPE_INTEGER = 2;
constexpr uint8_t PARAM_TYPE_FLOAT = 3;
constexpr uint8_t PARAM_TYPE_DATE = 4;
constexpr uint8_t PARAM_TYPE_NUMERIC = 5;
constexpr uint8_t PARAM_TYPE_LOGICAL = 10;
constexpr uint8_t PARAM_TYPE_LOGICAL_WIDE = 100;
constexpr uint8_t PARAM_TYPE_NCHAR = 11;

constexpr size_t PARAM_VALUE_MAX = 255;  // characters of a value text
constexpr int PARAM_NAME_SHOWN = 18;
constexpr int PARAM_VALUE_SHOWN = 25;
constexpr int PARAM_ROWS_SHOWN = 10;

// One input parameter as the dialog edits it.
struct RunParameter {
  std::string name;   // blank-trimmed
  std::string value;  // the literal the user sends, at most PARAM_VALUE_MAX characters
  uint8_t type = 0;
};

// The literal a parameter's declared default starts as: "NULL" for a NULL default, quoted
// texts, numbers, dates as '5.3.2011:10:7:0', TRUE or FALSE; empty for a type without one.
std::string default_literal(const ParamRow& row);

// Reads the input parameters of a procedure in declaration order (none: an empty list).
// 0, or the kernel's code after it was reported.
int read_input_parameters(uint32_t procedure_id, std::vector<RunParameter>* out);

// The previous dialog's entries; has_previous_input is false before the first dialog.
bool has_previous_input();
const std::vector<RunParameter>& previous_input();
void previous_input_clear();
// "Предыдущий ввод": the previous values by position, for as many entries as both have;
// the number copied.
size_t previous_input_fill(std::vector<RunParameter>* params);

// Keeps entries as the previous input (the dialog does when it ends).
void previous_input_keep(const std::vector<RunParameter>& params);

// The dialog: 1 accepted, 0 cancelled. Either way the entries become the previous input.
int input_parameters_dialog(std::vector<RunParameter>* params);

// execute "NAME"(v1,v2); with the values' trailing blanks removed; a blank goes before the
// ";" when the statement would have an odd length.
std::string execute_statement(std::string_view name, const std::vector<RunParameter>& params);

// The whole query before a run: 0 with the statement, 1 when the run does not start (the
// query failed and was reported, or the dialog was cancelled).
int prepare_run_statement(uint32_t procedure_id, std::string_view name, std::string* statement);

}  // namespace tavrel
