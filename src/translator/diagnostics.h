// Translation diagnostics: the numbers raised by the client-side evaluator and reported by the
// kernel's translator, and their message texts (CP866). The number-to-text mapping is not the
// identity: 63 and 64 share a text, and 81, 82 and every number outside 0..85 give "???".
// Some texts hold a "%d" or "%s" that whoever shows them fills in.
#pragma once

namespace tavrel {

enum Diagnostic : int {
  DIAG_NO_MEMORY = 0,
  DIAG_SYNTAX = 1,
  DIAG_TYPE_MISMATCH = 2,
  DIAG_NEED_LBRACKET = 3,
  DIAG_NEED_RBRACKET = 4,
  DIAG_NEED_RBRACE = 5,
  DIAG_DIVISION_BY_ZERO = 6,  // a warning: the result is zero and evaluation goes on
  DIAG_NEED_DOLLAR = 7,
  DIAG_NEED_RPAREN = 8,
  DIAG_MISSING_OPERAND = 9,
  DIAG_NULL_OPERATION = 10,
  DIAG_NEED_LPAREN = 11,
  DIAG_BAD_ARGUMENT = 12,
  DIAG_BAD_INDEX = 13,
  DIAG_BAD_NUMBER = 14,
  DIAG_BAD_IDENTIFIER = 15,
  DIAG_UNTERMINATED_STRING = 16,
  DIAG_BAD_HEX_CODE = 17,
  DIAG_BAD_DATE = 18,
  DIAG_BAD_TYPE = 44,
  DIAG_BAD_FIELD = 49,
};

constexpr int DIAGNOSTIC_MAX = 85;

// The message of a diagnostic number; "???" for 81, 82 and numbers outside 0..85.
const char* diagnostic_message(int number);

// Two texts of the same catalogue that no number reaches.
extern const char* const DIAG_TEXT_VARIABLE_TOO_BIG;  // "слишком большая переменная"
extern const char* const DIAG_TEXT_BLOB_ROW;          // "the row value with blob can't be triggered"

// What the calculator and the monitor show for a text that assigns a variable.
extern const char* const TEXT_ASSIGNMENT_ATTEMPT;  // "Попытка присвоения"

}  // namespace tavrel
