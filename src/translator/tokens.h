// Token codes of the procedure language. A token is a small number; its text or value stays
// in the lexer until the next token is read. The codes are shared with the kernel's
// translator, so they never change: keep this enum, the keyword table (keywords.cpp) and
// the single-character table of the lexer (lexer.cpp) in step.
#pragma once

namespace tavrel {

enum Token : int {
  TOK_ERROR = 0,  // the lexer raised a diagnostic (Lexer::error)
  TOK_END = 1,
  TOK_SMALLINT = 3,  // constants
  TOK_INTEGER = 4,
  TOK_REAL = 5,
  TOK_NUMERIC = 6,
  TOK_DATE = 7,
  TOK_STRING = 8,
  TOK_FUNCTION = 9,   // a built-in (0..133) or a routine of the unit (134 up)
  TOK_VARIABLE = 10,  // a variable, or a column of a cursor variable
  TOK_INDEXED = 11,   // a variable directly followed by "["
  TOK_NOT = 12,       // keywords 12..22
  TOK_AND = 13,
  TOK_OR = 14,
  TOK_TRUE = 15,
  TOK_FALSE = 16,
  TOK_EIF = 17,
  TOK_ELSE = 18,
  TOK_ASSIGN = 19,  // ":="
  TOK_LE = 20,      // "<="
  TOK_GE = 21,      // ">="
  TOK_NE = 22,      // "<>"
  TOK_LABEL = 23,   // a name directly followed by ":" (not ":=")
  TOK_NULL = 24,    // keywords 24..75
  TOK_PROCEDURE = 25,
  TOK_IN = 26,
  TOK_OUT = 27,
  TOK_INOUT = 28,
  TOK_RESULT = 29,
  TOK_DECLARE = 30,
  TOK_VAR = 31,
  TOK_EXCEPTION = 32,
  TOK_KW_SMALLINT = 33,
  TOK_KW_INT = 34,
  TOK_KW_INTEGER = 35,
  TOK_KW_REAL = 36,
  TOK_KW_NUMERIC = 37,
  TOK_KW_DOUBLE = 38,
  TOK_KW_BOOL = 39,
  TOK_KW_CHAR = 40,
  TOK_KW_DATE = 41,
  TOK_CURSOR = 42,
  TOK_TYPEOF = 43,
  TOK_DEFAULT = 44,
  TOK_CODE = 45,
  TOK_FOR = 46,
  TOK_WHILE = 47,
  TOK_LOOP = 48,
  TOK_ENDLOOP = 49,
  TOK_IF = 50,
  TOK_THEN = 51,
  TOK_ELSEIF = 52,
  TOK_ENDIF = 53,
  TOK_CASE = 54,
  TOK_ENDCASE = 55,
  TOK_GOTO = 56,
  TOK_SIGNAL = 57,
  TOK_RESIGNAL = 58,
  TOK_RETURN = 59,
  TOK_CALL = 60,
  TOK_INTO = 61,
  TOK_OPEN = 62,
  TOK_CLOSE = 63,
  TOK_EXECUTE = 64,
  TOK_FETCH = 65,
  TOK_NEXT = 66,
  TOK_PREVIOUS = 67,
  TOK_FIRST = 68,
  TOK_LAST = 69,
  TOK_ABSOLUTE = 70,
  TOK_RELATIVE = 71,
  TOK_EXCEPTIONS = 72,
  TOK_WHEN = 73,
  TOK_OTHERS = 74,
  TOK_KW_END = 75,
  TOK_PLUS = 76,  // single characters 76..94
  TOK_MINUS = 77,
  TOK_SLASH = 78,
  TOK_STAR = 79,
  TOK_BACKSLASH = 80,
  TOK_CARET = 81,
  TOK_LPAREN = 82,
  TOK_RPAREN = 83,
  TOK_LBRACKET = 84,
  TOK_RBRACKET = 85,
  TOK_LBRACE = 86,
  TOK_RBRACE = 87,
  TOK_EQ = 88,
  TOK_LT = 89,
  TOK_GT = 90,
  TOK_COMMA = 91,
  TOK_SEMICOLON = 92,
  TOK_DOLLAR = 93,
  TOK_COLON = 94,
  TOK_UNKNOWN_NAME = 95,  // only while name checking is off
  TOK_CREATE = 98,        // keywords 98..108
  TOK_ALTER = 99,
  TOK_DIRECT = 100,
  TOK_DEBUG = 101,
  TOK_AS = 102,
  TOK_COMMIT = 103,
  TOK_ROLLBACK = 104,
  TOK_WORK = 105,
  TOK_RELEASE = 106,
  TOK_KW_BYTE = 107,
  TOK_BLOB = 108,
  TOK_POINT = 109,
  TOK_DOUBLE = 110,  // DOUBLE constant; also the numeric expression class
  TOK_KW_NCHAR = 111,
  TOK_KW_BIGINT = 112,
  TOK_BIGINT = 113,  // BIGINT constant
  TOK_START = 114,   // keywords 114..123
  TOK_APPEND = 115,
  TOK_FROM = 116,
  TOK_PUTM = 117,
  TOK_VARCHAR = 118,
  TOK_VARBYTE = 119,
  TOK_NVARCHAR = 120,
  TOK_COLUMN = 121,
  TOK_REPLACE = 122,
  TOK_ALL = 123,
  TOK_AMPERSAND = 125,
  TOK_BAR = 126,
  TOK_AUTHID = 127,  // keywords 127..134
  TOK_DEFINER = 128,
  TOK_CURRENT_USER = 129,
  TOK_IGNORE = 130,
  TOK_SLEEP = 131,
  TOK_TRANSACTION = 132,
  TOK_BEGIN = 133,
  TOK_BLOCK = 134,
};

// Expression classes are named by token codes (see expression_class in evaluator.h).
constexpr int CLASS_NULL = TOK_NULL;
constexpr int CLASS_NUMERIC = TOK_DOUBLE;
constexpr int CLASS_LOGICAL = TOK_TRUE;
constexpr int CLASS_STRING = TOK_STRING;
constexpr int CLASS_DATE = TOK_DATE;
constexpr int CLASS_BYTES = TOK_KW_BYTE;
constexpr int CLASS_WIDE = TOK_KW_NCHAR;

}  // namespace tavrel
