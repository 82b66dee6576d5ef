// The built-in functions of the procedure language: the table of 134 names and numbers,
// their static result types, their argument rules and their computation on the client.
#pragma once

#include <cstdint>
#include <string_view>

#include "translator/eval_context.h"
#include "values/value.h"

namespace tavrel {

constexpr int BUILTIN_COUNT = 134;  // numbers from 134 up are routines of the unit

// What PRINT puts before its text; clients that show a procedure's messages put it there too.
constexpr std::string_view PRINT_HEAD = "*** Message from Stored Procedure: ";

// The numbers of the built-ins: their positions in the table, fixed for good (the kernel
// and stored procedures know functions by these numbers).
enum BuiltinNumber : int {
  BI_TRIM = 0, BI_SUBSTR = 1, BI_STRPOS = 2, BI_LEN = 3,
  BI_ITOA = 4, BI_FTOA = 5, BI_NTOA = 6, BI_DTOA = 7,
  BI_ATOD = 8, BI_MONTH = 9, BI_YEAR = 10, BI_DAY = 11,
  BI_HOUR = 12, BI_MINUTE = 13, BI_SECOND = 14, BI_TICKS = 15,
  BI_MAKE_DATE = 16, BI_TOSMALLINT = 17, BI_TOINTEGER = 18, BI_TOREAL = 19,
  BI_TONUMERIC = 20, BI_MAX = 21, BI_OUTOFCURSOR = 22, BI_ROWCOUNT = 23,
  BI_ERRCODE = 24, BI_PRINT = 25, BI_ADD_BLOB = 26, BI_READ_BLOB = 27,
  BI_CLEAR_BLOB = 28, BI_BLOB_SIZE = 29, BI_READ_BLOB_INT = 30, BI_READ_BLOB_SMALLINT = 31,
  BI_READ_BLOB_REAL = 32, BI_READ_BLOB_NUMERIC = 33, BI_READ_BLOB_CHAR = 34, BI_READ_BLOB_DATE = 35,
  BI_READ_BLOB_BOOL = 36, BI_SEEK_BLOB = 37, BI_READ_BLOB_DOUBLE = 38, BI_CURROW = 39,
  BI_BTOA = 40, BI_SET_CUR_BLOB = 41, BI_CHR = 42, BI_ASC = 43,
  BI_TOCHAR = 44, BI_TO_CHAR = 45, BI_TOUPPER = 46, BI_TOLOWER = 47,
  BI_TOBIGINT = 48, BI_READ_BLOB_BIGINT = 49, BI_TONCHAR = 50, BI_NTRIM = 51,
  BI_NSUBSTR = 52, BI_NSTRPOS = 53, BI_NLEN = 54, BI_READ_BLOB_NCHAR = 55,
  BI_NTOUPPER = 56, BI_NTOLOWER = 57, BI_CEIL = 58, BI_FLOOR = 59,
  BI_ROUND = 60, BI_TRUNC = 61, BI_SIGN = 62, BI_COS = 63,
  BI_SIN = 64, BI_COSH = 65, BI_SINH = 66, BI_TAN = 67,
  BI_TANH = 68, BI_EXP = 69, BI_LN = 70, BI_LOG = 71,
  BI_SQRT = 72, BI_SYSDATE = 73, BI_USERNAME = 74, BI_MOD = 75,
  BI_RAND = 76, BI_RANDOMIZE = 77, BI_MAKESTR = 78, BI_DUPCHAR = 79,
  BI_CLEARPUTM = 80, BI_FLUSHPUTM = 81, BI_GETPUTMRECS = 82, BI_RAISE_ERROR = 83,
  BI_ENCODE_STRING = 84, BI_SYSEVENT = 85, BI_MODIFY_BLOB_TYPE = 86, BI_DBNAME = 87,
  BI_LPAD = 88, BI_RPAD = 89, BI_RIGHT_SUBSTR = 90, BI_REPEAT_STRING = 91,
  BI_LTRIM = 92, BI_RTRIM = 93, BI_INSTR = 94, BI_LOWER = 95,
  BI_UPPER = 96, BI_INITCAP = 97, BI_INSERT = 98, BI_REPLACE = 99,
  BI_TRANSLATE = 100, BI_SOUNDEX = 101, BI_DIFFERENCE = 102, BI_LENGTH = 103,
  BI_OCTET_LENGTH = 104, BI_NLPAD = 105, BI_NRPAD = 106, BI_NRIGHT_SUBSTR = 107,
  BI_NREPEAT_STRING = 108, BI_NLTRIM = 109, BI_NRTRIM = 110, BI_NLOWER = 111,
  BI_NUPPER = 112, BI_NINITCAP = 113, BI_NINSERT = 114, BI_NREPLACE = 115,
  BI_NTRANSLATE = 116, BI_ATAN2 = 117, BI_ATAN = 118, BI_ACOS = 119,
  BI_ASIN = 120, BI_ABS = 121, BI_LAST_DAY = 122, BI_NEXT_DAY = 123,
  BI_ADD_MONTHS = 124, BI_HEXTORAW = 125, BI_RAWTOHEX = 126, BI_TO_DATE = 127,
  BI_CHAR_LENGTH = 128, BI_DATE_ROUND = 129, BI_DATE_TRUNC = 130, BI_DATESPLIT = 131,
  BI_MULTIME = 132, BI_DIVTIME = 133,
};
static_assert(BI_DIVTIME + 1 == BUILTIN_COUNT, "one number per built-in");

// Diagnostics that builtin_call gives besides 0.
constexpr int BUILTIN_DIV_BY_ZERO = 6;     // division by zero; the result is zero
constexpr int BUILTIN_BAD_PARAMETER = 12;  // "неверный параметр функции"
constexpr int BUILTIN_BAD_DATE = 18;       // "неверная дата": a text or parts that name no date

// Number of a built-in by its upper-case name, or -1.
int builtin_find(std::string_view upper_name);
// Name of a built-in by number (nullptr outside 0..133).
const char* builtin_name(int number);
// The type code a call is given before it is computed.
uint8_t builtin_result_type(int number);
// Whether the arguments pass the function's rule (a "no" is diagnostic 12).
bool builtin_check_args(int number, int argc, const Value* args);
// Computes a call whose arguments passed the check. Returns 0 with *result set, or a
// diagnostic number (with *result set to what the evaluation goes on with, if anything).
// Result texts come from ctx.strings; a text that cannot be had leaves the result without
// text, sets ctx.strings->run_status to -8 and still returns 0, so the caller tests the run
// status after each call. Arguments of unexpected types never crash a call: they give 12.
int builtin_call(int number, int argc, const Value* args, Value* result, EvalContext& ctx);

}  // namespace tavrel
