// The built-in function table and everything about a call that is not its computation:
// the 134 rows (name, static result type, argument rule, family) in number order, the
// lookup by name, the argument rules as a table of records, the dispatch of builtin_call
// to the family files, and the argument readers and result-text makers they share.
#include <cstring>
#include <string_view>

#include "text/unicode.h"
#include "translator/builtins_impl.h"
#include "values/value_text.h"

namespace tavrel {

namespace {

// --- argument rules ----------------------------------------------------------------------

constexpr uint32_t type_bit(int type) { return uint32_t{1} << type; }

constexpr uint32_t T_NULL = type_bit(TYPE_NULL);
constexpr uint32_t T_NUMERIC = type_bit(TYPE_SMALLINT) | type_bit(TYPE_INTEGER) |
                               type_bit(TYPE_REAL) | type_bit(TYPE_DOUBLE) |
                               type_bit(TYPE_NUMERIC) | type_bit(TYPE_BIGINT);
constexpr uint32_t T_BOOL = type_bit(TYPE_BOOL);
constexpr uint32_t T_CHAR = type_bit(TYPE_CHAR);
constexpr uint32_t T_DATE = type_bit(TYPE_DATE);
constexpr uint32_t T_CURSOR = type_bit(TYPE_CURSOR);
constexpr uint32_t T_BYTE = type_bit(TYPE_BYTE);
constexpr uint32_t T_NCHAR = type_bit(TYPE_NCHAR) | type_bit(TYPE_WSTRING);
// The first argument of every function without a rule of its own.
constexpr uint32_t T_FIRST = T_NUMERIC | T_CHAR | T_BOOL | T_NCHAR | T_DATE | T_NULL;

constexpr uint8_t MANY = 255;  // no upper limit on the argument count
constexpr int SHAPE_POSITIONS = 7;

// One accepted form of a call: the argument count and the types accepted at each
// position. A zero mask (and every position past the seventh) is not examined.
struct ArgShape {
  uint8_t min;
  uint8_t max;
  uint32_t pos[SHAPE_POSITIONS];
};

// A rule accepts a call when any of its shapes does.
struct ArgRule {
  uint8_t shapes;
  ArgShape shape[4];
};

enum RuleId : uint8_t {
  R_GENERIC,
  R_TEXT_UPTO2,
  R_SUBSTR,
  R_STRPOS,
  R_NUMERIC_1TO3,
  R_DTOA,
  R_DATE,
  R_MAKE_DATE,
  R_CURSOR,
  R_OPT_CURSOR,
  R_ADD_BLOB,  // checked by check_add_blob
  R_READ_BLOB,
  R_BYTE,
  R_CURSOR_NUMERIC,
  R_BTOA,
  R_ASC,
  R_NSUBSTR,
  R_NSTRPOS,
  R_NCHAR,
  R_NUMERIC_FLAG,
  R_NUMERIC2,
  R_NONE,
  R_OPT_NUMERIC,
  R_MAKESTR,
  R_DUPCHAR,
  R_ENCODE,
  R_MODIFY_BLOB,
  R_NUMERIC,
  R_NEXT_DAY,
  R_ADD_MONTHS,
  RULE_COUNT
};

// Indexed by RuleId.
constexpr ArgRule ARG_RULES[RULE_COUNT] = {
    {1, {{1, MANY, {T_FIRST}}}},                                      // R_GENERIC
    {1, {{1, 2, {T_CHAR}}}},                                          // R_TEXT_UPTO2
    {1, {{3, 3, {T_CHAR, T_NUMERIC, T_NUMERIC}}}},                    // R_SUBSTR
    {1, {{2, 3, {T_CHAR, T_CHAR, T_BOOL}}}},                          // R_STRPOS
    {1, {{1, 3, {T_NUMERIC, T_NUMERIC, T_NUMERIC}}}},                 // R_NUMERIC_1TO3
    {1, {{1, MANY, {T_DATE, T_BOOL | T_CHAR}}}},                      // R_DTOA
    {1, {{1, 1, {T_DATE}}}},                                          // R_DATE
    {1, {{3, MANY, {T_NUMERIC, T_NUMERIC, T_NUMERIC, T_NUMERIC, T_NUMERIC, T_NUMERIC,
                    T_NUMERIC}}}},                                    // R_MAKE_DATE
    {1, {{1, 1, {T_CURSOR}}}},                                        // R_CURSOR
    {1, {{0, 1, {T_CURSOR}}}},                                        // R_OPT_CURSOR
    {0, {}},                                                          // R_ADD_BLOB
    {2, {{3, 3, {T_CURSOR, T_BYTE, T_NUMERIC}}, {2, 2, {T_BYTE, T_NUMERIC}}}},  // R_READ_BLOB
    {1, {{1, 1, {T_BYTE}}}},                                          // R_BYTE
    {2, {{2, 2, {T_CURSOR, T_NUMERIC}}, {1, 1, {T_NUMERIC}}}},        // R_CURSOR_NUMERIC
    {1, {{1, MANY, {T_BYTE, T_BOOL}}}},                               // R_BTOA
    {1, {{2, 2, {T_CHAR | T_NCHAR, T_BYTE | T_NULL}}}},               // R_ASC
    {1, {{3, 3, {T_NCHAR, T_NUMERIC, T_NUMERIC}}}},                   // R_NSUBSTR
    {1, {{2, 3, {T_NCHAR, T_NCHAR, T_BOOL}}}},                        // R_NSTRPOS
    {1, {{1, 1, {T_NCHAR}}}},                                         // R_NCHAR
    {1, {{1, MANY, {T_NUMERIC, T_BOOL}}}},                            // R_NUMERIC_FLAG
    {1, {{2, 2, {T_NUMERIC, T_NUMERIC}}}},                            // R_NUMERIC2
    {1, {{0, 0, {}}}},                                                // R_NONE
    {1, {{0, 1, {T_NUMERIC}}}},                                       // R_OPT_NUMERIC
    {1, {{1, MANY, {T_CHAR}}}},                                       // R_MAKESTR
    {1, {{2, 2, {T_CHAR, T_CHAR}}}},                                  // R_DUPCHAR
    {1, {{2, 3, {T_BYTE, T_CHAR, T_CHAR}}}},                          // R_ENCODE
    {4, {{3, 3, {T_CURSOR, T_NUMERIC, T_NUMERIC}}, {2, 2, {T_CURSOR, T_NUMERIC}},
         {2, 2, {T_NUMERIC, T_NUMERIC}}, {1, 1, {T_NUMERIC}}}},       // R_MODIFY_BLOB
    {1, {{1, 1, {T_NUMERIC}}}},                                       // R_NUMERIC
    {1, {{2, 2, {T_DATE, T_CHAR}}}},                                  // R_NEXT_DAY
    {1, {{2, 2, {T_DATE, T_NUMERIC}}}},                               // R_ADD_MONTHS
};

// --- the table ---------------------------------------------------------------------------

enum Family : uint8_t { FAMILY_TEXT, FAMILY_MATH, FAMILY_DATE, FAMILY_CONVERT, FAMILY_BOUND };

struct BuiltinRow {
  const char* name;
  uint8_t result;  // static result type
  RuleId rule;
  Family family;
};

// In number order: the row index is the function's number (BuiltinNumber).
constexpr BuiltinRow BUILTINS[BUILTIN_COUNT] = {
    {"TRIM", TYPE_CHAR, R_TEXT_UPTO2, FAMILY_TEXT},  // 0
    {"SUBSTR", TYPE_CHAR, R_SUBSTR, FAMILY_TEXT},  // 1
    {"STRPOS", TYPE_SMALLINT, R_STRPOS, FAMILY_TEXT},  // 2
    {"LEN", TYPE_SMALLINT, R_TEXT_UPTO2, FAMILY_TEXT},  // 3
    {"ITOA", TYPE_CHAR, R_GENERIC, FAMILY_CONVERT},  // 4
    {"FTOA", TYPE_CHAR, R_GENERIC, FAMILY_CONVERT},  // 5
    {"NTOA", TYPE_CHAR, R_NUMERIC_1TO3, FAMILY_CONVERT},  // 6
    {"DTOA", TYPE_CHAR, R_DTOA, FAMILY_DATE},  // 7
    {"ATOD", TYPE_DATE, R_TEXT_UPTO2, FAMILY_DATE},  // 8
    {"MONTH", TYPE_DOUBLE, R_DATE, FAMILY_DATE},  // 9
    {"YEAR", TYPE_DOUBLE, R_DATE, FAMILY_DATE},  // 10
    {"DAY", TYPE_DOUBLE, R_DATE, FAMILY_DATE},  // 11
    {"HOUR", TYPE_DOUBLE, R_DATE, FAMILY_DATE},  // 12
    {"MINUTE", TYPE_DOUBLE, R_DATE, FAMILY_DATE},  // 13
    {"SECOND", TYPE_DOUBLE, R_DATE, FAMILY_DATE},  // 14
    {"TICKS", TYPE_DOUBLE, R_DATE, FAMILY_DATE},  // 15
    {"MAKE_DATE", TYPE_DATE, R_MAKE_DATE, FAMILY_DATE},  // 16
    {"TOSMALLINT", TYPE_SMALLINT, R_GENERIC, FAMILY_CONVERT},  // 17
    {"TOINTEGER", TYPE_INTEGER, R_GENERIC, FAMILY_CONVERT},  // 18
    {"TOREAL", TYPE_REAL, R_GENERIC, FAMILY_CONVERT},  // 19
    {"TONUMERIC", TYPE_DOUBLE, R_GENERIC, FAMILY_CONVERT},  // 20
    {"MAX", TYPE_DOUBLE, R_NUMERIC_1TO3, FAMILY_MATH},  // 21
    {"OUTOFCURSOR", TYPE_BOOL, R_CURSOR, FAMILY_BOUND},  // 22
    {"ROWCOUNT", TYPE_INTEGER, R_OPT_CURSOR, FAMILY_BOUND},  // 23
    {"ERRCODE", TYPE_INTEGER, R_OPT_CURSOR, FAMILY_BOUND},  // 24
    {"PRINT", TYPE_DOUBLE, R_TEXT_UPTO2, FAMILY_CONVERT},  // 25
    {"ADD_BLOB", TYPE_INTEGER, R_ADD_BLOB, FAMILY_BOUND},  // 26
    {"READ_BLOB", TYPE_SMALLINT, R_READ_BLOB, FAMILY_BOUND},  // 27
    {"CLEAR_BLOB", TYPE_INTEGER, R_OPT_CURSOR, FAMILY_BOUND},  // 28
    {"BLOB_SIZE", TYPE_INTEGER, R_BYTE, FAMILY_BOUND},  // 29
    {"READ_BLOB_INT", TYPE_INTEGER, R_OPT_CURSOR, FAMILY_BOUND},  // 30
    {"READ_BLOB_SMALLINT", TYPE_SMALLINT, R_OPT_CURSOR, FAMILY_BOUND},  // 31
    {"READ_BLOB_REAL", TYPE_REAL, R_OPT_CURSOR, FAMILY_BOUND},  // 32
    {"READ_BLOB_NUMERIC", TYPE_NUMERIC, R_OPT_CURSOR, FAMILY_BOUND},  // 33
    {"READ_BLOB_CHAR", TYPE_CHAR, R_OPT_CURSOR, FAMILY_BOUND},  // 34
    {"READ_BLOB_DATE", TYPE_DATE, R_OPT_CURSOR, FAMILY_BOUND},  // 35
    {"READ_BLOB_BOOL", TYPE_BOOL, R_OPT_CURSOR, FAMILY_BOUND},  // 36
    {"SEEK_BLOB", TYPE_INTEGER, R_CURSOR_NUMERIC, FAMILY_BOUND},  // 37
    {"READ_BLOB_DOUBLE", TYPE_DOUBLE, R_OPT_CURSOR, FAMILY_BOUND},  // 38
    {"CURROW", TYPE_INTEGER, R_CURSOR, FAMILY_BOUND},  // 39
    {"BTOA", TYPE_CHAR, R_BTOA, FAMILY_CONVERT},  // 40
    {"SET_CUR_BLOB", TYPE_INTEGER, R_CURSOR_NUMERIC, FAMILY_BOUND},  // 41
    {"CHR", TYPE_CHAR, R_BYTE, FAMILY_TEXT},  // 42
    {"ASC", TYPE_SMALLINT, R_ASC, FAMILY_TEXT},  // 43
    {"TOCHAR", TYPE_CHAR, R_GENERIC, FAMILY_CONVERT},  // 44
    {"TO_CHAR", TYPE_CHAR, R_GENERIC, FAMILY_CONVERT},  // 45
    {"TOUPPER", TYPE_CHAR, R_TEXT_UPTO2, FAMILY_TEXT},  // 46
    {"TOLOWER", TYPE_CHAR, R_TEXT_UPTO2, FAMILY_TEXT},  // 47
    {"TOBIGINT", TYPE_BIGINT, R_GENERIC, FAMILY_CONVERT},  // 48
    {"READ_BLOB_BIGINT", TYPE_BIGINT, R_OPT_CURSOR, FAMILY_BOUND},  // 49
    {"TONCHAR", TYPE_NCHAR, R_GENERIC, FAMILY_CONVERT},  // 50
    {"NTRIM", TYPE_NCHAR, R_TEXT_UPTO2, FAMILY_TEXT},  // 51
    {"NSUBSTR", TYPE_NCHAR, R_NSUBSTR, FAMILY_TEXT},  // 52
    {"NSTRPOS", TYPE_SMALLINT, R_NSTRPOS, FAMILY_TEXT},  // 53
    {"NLEN", TYPE_SMALLINT, R_NCHAR, FAMILY_TEXT},  // 54
    {"READ_BLOB_NCHAR", TYPE_NCHAR, R_OPT_CURSOR, FAMILY_BOUND},  // 55
    {"NTOUPPER", TYPE_NCHAR, R_NCHAR, FAMILY_TEXT},  // 56
    {"NTOLOWER", TYPE_NCHAR, R_NCHAR, FAMILY_TEXT},  // 57
    {"CEIL", TYPE_DOUBLE, R_NUMERIC_FLAG, FAMILY_MATH},  // 58
    {"FLOOR", TYPE_DOUBLE, R_NUMERIC_FLAG, FAMILY_MATH},  // 59
    {"ROUND", TYPE_DOUBLE, R_NUMERIC2, FAMILY_MATH},  // 60
    {"TRUNC", TYPE_DOUBLE, R_NUMERIC2, FAMILY_MATH},  // 61
    {"SIGN", TYPE_INTEGER, R_NUMERIC_FLAG, FAMILY_MATH},  // 62
    {"COS", TYPE_DOUBLE, R_NUMERIC_FLAG, FAMILY_MATH},  // 63
    {"SIN", TYPE_DOUBLE, R_NUMERIC_FLAG, FAMILY_MATH},  // 64
    {"COSH", TYPE_DOUBLE, R_NUMERIC_FLAG, FAMILY_MATH},  // 65
    {"SINH", TYPE_DOUBLE, R_NUMERIC_FLAG, FAMILY_MATH},  // 66
    {"TAN", TYPE_DOUBLE, R_NUMERIC_FLAG, FAMILY_MATH},  // 67
    {"TANH", TYPE_DOUBLE, R_NUMERIC_FLAG, FAMILY_MATH},  // 68
    {"EXP", TYPE_DOUBLE, R_NUMERIC_FLAG, FAMILY_MATH},  // 69
    {"LN", TYPE_DOUBLE, R_NUMERIC_FLAG, FAMILY_MATH},  // 70
    {"LOG", TYPE_DOUBLE, R_NUMERIC2, FAMILY_MATH},  // 71
    {"SQRT", TYPE_DOUBLE, R_NUMERIC_FLAG, FAMILY_MATH},  // 72
    {"SYSDATE", TYPE_DATE, R_NONE, FAMILY_DATE},  // 73
    {"USERNAME", TYPE_CHAR, R_NONE, FAMILY_BOUND},  // 74
    {"MOD", TYPE_DOUBLE, R_NUMERIC2, FAMILY_MATH},  // 75
    {"RAND", TYPE_INTEGER, R_NONE, FAMILY_MATH},  // 76
    {"RANDOMIZE", TYPE_INTEGER, R_OPT_NUMERIC, FAMILY_MATH},  // 77
    {"MAKESTR", TYPE_CHAR, R_MAKESTR, FAMILY_CONVERT},  // 78
    {"DUPCHAR", TYPE_CHAR, R_DUPCHAR, FAMILY_TEXT},  // 79
    {"CLEARPUTM", TYPE_INTEGER, R_NONE, FAMILY_BOUND},  // 80
    {"FLUSHPUTM", TYPE_INTEGER, R_NONE, FAMILY_BOUND},  // 81
    {"GETPUTMRECS", TYPE_INTEGER, R_NONE, FAMILY_BOUND},  // 82
    {"RAISE_ERROR", TYPE_BOOL, R_NUMERIC_FLAG, FAMILY_BOUND},  // 83
    {"ENCODE_STRING", TYPE_BOOL, R_ENCODE, FAMILY_CONVERT},  // 84
    {"SYSEVENT", TYPE_INTEGER, R_NONE, FAMILY_BOUND},  // 85
    {"MODIFY_BLOB_TYPE", TYPE_INTEGER, R_MODIFY_BLOB, FAMILY_BOUND},  // 86
    {"DBNAME", TYPE_CHAR, R_NONE, FAMILY_BOUND},  // 87
    {"LPAD", TYPE_CHAR, R_GENERIC, FAMILY_TEXT},  // 88
    {"RPAD", TYPE_CHAR, R_GENERIC, FAMILY_TEXT},  // 89
    {"RIGHT_SUBSTR", TYPE_CHAR, R_GENERIC, FAMILY_TEXT},  // 90
    {"REPEAT_STRING", TYPE_CHAR, R_GENERIC, FAMILY_TEXT},  // 91
    {"LTRIM", TYPE_CHAR, R_GENERIC, FAMILY_TEXT},  // 92
    {"RTRIM", TYPE_CHAR, R_GENERIC, FAMILY_TEXT},  // 93
    {"INSTR", TYPE_INTEGER, R_GENERIC, FAMILY_TEXT},  // 94
    {"LOWER", TYPE_CHAR, R_GENERIC, FAMILY_TEXT},  // 95
    {"UPPER", TYPE_CHAR, R_GENERIC, FAMILY_TEXT},  // 96
    {"INITCAP", TYPE_CHAR, R_GENERIC, FAMILY_TEXT},  // 97
    {"INSERT", TYPE_CHAR, R_GENERIC, FAMILY_TEXT},  // 98
    {"REPLACE", TYPE_CHAR, R_GENERIC, FAMILY_TEXT},  // 99
    {"TRANSLATE", TYPE_CHAR, R_GENERIC, FAMILY_TEXT},  // 100
    {"SOUNDEX", TYPE_CHAR, R_GENERIC, FAMILY_TEXT},  // 101
    {"DIFFERENCE", TYPE_INTEGER, R_GENERIC, FAMILY_TEXT},  // 102
    {"LENGTH", TYPE_INTEGER, R_GENERIC, FAMILY_TEXT},  // 103
    {"OCTET_LENGTH", TYPE_INTEGER, R_GENERIC, FAMILY_TEXT},  // 104
    {"NLPAD", TYPE_NCHAR, R_GENERIC, FAMILY_TEXT},  // 105
    {"NRPAD", TYPE_NCHAR, R_GENERIC, FAMILY_TEXT},  // 106
    {"NRIGHT_SUBSTR", TYPE_NCHAR, R_GENERIC, FAMILY_TEXT},  // 107
    {"NREPEAT_STRING", TYPE_NCHAR, R_GENERIC, FAMILY_TEXT},  // 108
    {"NLTRIM", TYPE_NCHAR, R_GENERIC, FAMILY_TEXT},  // 109
    {"NRTRIM", TYPE_NCHAR, R_GENERIC, FAMILY_TEXT},  // 110
    {"NLOWER", TYPE_NCHAR, R_NCHAR, FAMILY_TEXT},  // 111
    {"NUPPER", TYPE_NCHAR, R_NCHAR, FAMILY_TEXT},  // 112
    {"NINITCAP", TYPE_NCHAR, R_GENERIC, FAMILY_TEXT},  // 113
    {"NINSERT", TYPE_NCHAR, R_GENERIC, FAMILY_TEXT},  // 114
    {"NREPLACE", TYPE_NCHAR, R_GENERIC, FAMILY_TEXT},  // 115
    {"NTRANSLATE", TYPE_NCHAR, R_GENERIC, FAMILY_TEXT},  // 116
    {"ATAN2", TYPE_DOUBLE, R_NUMERIC2, FAMILY_MATH},  // 117
    {"ATAN", TYPE_DOUBLE, R_NUMERIC, FAMILY_MATH},  // 118
    {"ACOS", TYPE_DOUBLE, R_NUMERIC, FAMILY_MATH},  // 119
    {"ASIN", TYPE_DOUBLE, R_NUMERIC, FAMILY_MATH},  // 120
    {"ABS", TYPE_DOUBLE, R_NUMERIC, FAMILY_MATH},  // 121
    {"LAST_DAY", TYPE_DATE, R_DATE, FAMILY_DATE},  // 122
    {"NEXT_DAY", TYPE_DATE, R_NEXT_DAY, FAMILY_DATE},  // 123
    {"ADD_MONTHS", TYPE_DATE, R_ADD_MONTHS, FAMILY_DATE},  // 124
    {"HEXTORAW", TYPE_BYTE, R_GENERIC, FAMILY_CONVERT},  // 125
    {"RAWTOHEX", TYPE_CHAR, R_GENERIC, FAMILY_CONVERT},  // 126
    {"TO_DATE", TYPE_DATE, R_TEXT_UPTO2, FAMILY_DATE},  // 127
    {"CHAR_LENGTH", TYPE_INTEGER, R_GENERIC, FAMILY_TEXT},  // 128
    {"DATE_ROUND", TYPE_DATE, R_GENERIC, FAMILY_DATE},  // 129
    {"DATE_TRUNC", TYPE_DATE, R_GENERIC, FAMILY_DATE},  // 130
    {"DATESPLIT", TYPE_INTEGER, R_GENERIC, FAMILY_DATE},  // 131
    {"MULTIME", TYPE_DATE, R_GENERIC, FAMILY_DATE},  // 132
    {"DIVTIME", TYPE_INTEGER, R_GENERIC, FAMILY_DATE},  // 133
};

struct SortedName {
  std::string_view name;
  int number;
};

// The names in plain byte order, for binary search. Sorted once, when the program is built.
constexpr auto sort_names() {
  struct Sorted {
    SortedName row[BUILTIN_COUNT];
  } s{};
  for (int i = 0; i < BUILTIN_COUNT; i++) {
    SortedName item{BUILTINS[i].name, i};
    int j = i;
    for (; j > 0 && item.name < s.row[j - 1].name; j--) s.row[j] = s.row[j - 1];
    s.row[j] = item;
  }
  return s;
}
constexpr auto SORTED_NAMES = sort_names();

// Where the names of each first byte begin in SORTED_NAMES (entry 256 is the end), so that a
// search looks only at names of the word's first byte.
constexpr auto index_names() {
  struct Index {
    int16_t start[257];
  } x{};
  int row = 0;
  for (int b = 0; b < 256; b++) {
    x.start[b] = static_cast<int16_t>(row);
    while (row < BUILTIN_COUNT && static_cast<uint8_t>(SORTED_NAMES.row[row].name[0]) == b) row++;
  }
  x.start[256] = static_cast<int16_t>(row);
  return x;
}
constexpr auto NAME_INDEX = index_names();
static_assert(NAME_INDEX.start[256] == BUILTIN_COUNT, "every name is indexed by its first byte");

bool type_in(uint8_t type, uint32_t mask) { return type < 32 && ((mask >> type) & 1u) != 0; }

bool shape_accepts(const ArgShape& s, int argc, const Value* args) {
  if (argc < s.min || (s.max != MANY && argc > s.max)) return false;
  for (int i = 0; i < argc && i < SHAPE_POSITIONS; i++) {
    if (s.pos[i] != 0 && !type_in(args[i].type, s.pos[i])) return false;
  }
  return true;
}

// ADD_BLOB: [CURSOR,] value [, numeric [, numeric]]. The cursor leads only when more than
// one argument is given; the value is neither unset, NULL nor CURSOR; a BYTE value takes
// one or two numerics after it, any other value none or one.
bool check_add_blob(int argc, const Value* args) {
  int i = 0;
  if (argc > 1 && args[0].type == TYPE_CURSOR) i = 1;
  if (i >= argc) return false;
  uint8_t t = args[i].type;
  if (t == TYPE_NONE || t == TYPE_NULL || t == TYPE_CURSOR) return false;
  int rest = argc - i - 1;
  if (t == TYPE_BYTE ? (rest < 1 || rest > 2) : rest > 1) return false;
  for (int k = i + 1; k < argc; k++) {
    if (!is_numeric_type(args[k].type)) return false;
  }
  return true;
}

}  // namespace

int builtin_find(std::string_view upper_name) {
  if (upper_name.empty()) return -1;
  const uint8_t first = static_cast<uint8_t>(upper_name[0]);
  int low = NAME_INDEX.start[first];
  int high = NAME_INDEX.start[first + 1];
  while (low < high) {
    int mid = (low + high) / 2;
    int c = upper_name.compare(SORTED_NAMES.row[mid].name);
    if (c == 0) return SORTED_NAMES.row[mid].number;
    if (c < 0) {
      high = mid;
    } else {
      low = mid + 1;
    }
  }
  return -1;
}

const char* builtin_name(int number) {
  return number >= 0 && number < BUILTIN_COUNT ? BUILTINS[number].name : nullptr;
}

uint8_t builtin_result_type(int number) {
  return number >= 0 && number < BUILTIN_COUNT ? BUILTINS[number].result : uint8_t{TYPE_NONE};
}

bool builtin_check_args(int number, int argc, const Value* args) {
  if (number < 0 || argc < 0 || (argc > 0 && args == nullptr)) return false;
  RuleId rule = number < BUILTIN_COUNT ? BUILTINS[number].rule : R_GENERIC;
  if (rule == R_ADD_BLOB) return check_add_blob(argc, args);
  const ArgRule& r = ARG_RULES[rule];
  for (int k = 0; k < r.shapes; k++) {
    if (shape_accepts(r.shape[k], argc, args)) return true;
  }
  return false;
}

int builtin_call(int number, int argc, const Value* args, Value* result, EvalContext& ctx) {
  *result = make_null();
  if (number < 0 || number >= BUILTIN_COUNT || argc < 0 || (argc > 0 && args == nullptr))
    return BUILTIN_BAD_PARAMETER;
  switch (BUILTINS[number].family) {
    case FAMILY_TEXT:
      return builtins_text_call(number, ctx, args, argc, result);
    case FAMILY_MATH:
      return builtins_math_call(number, ctx, args, argc, result);
    case FAMILY_DATE:
      return builtins_date_call(number, ctx, args, argc, result);
    case FAMILY_CONVERT:
      return builtins_convert_call(number, ctx, args, argc, result);
    case FAMILY_BOUND:
      return builtins_bound_call(number, ctx, args, argc, result);
  }
  return BUILTIN_BAD_PARAMETER;
}

// --- argument readers ----------------------------------------------------------------------

int arg_failure(int status, Value* result) {
  *result = make_null();
  return status == ARG_NULL ? 0 : BUILTIN_BAD_PARAMETER;
}

int arg_int(const Value* args, int argc, int i, int64_t dflt, int64_t* out) {
  if (i >= argc) {
    *out = dflt;
    return ARG_OK;
  }
  if (args[i].type == TYPE_NULL) return ARG_NULL;
  if (!is_numeric_type(args[i].type)) return ARG_BAD;
  *out = read_as_bigint(args[i]);
  return ARG_OK;
}

int arg_double(const Value* args, int argc, int i, double dflt, double* out) {
  if (i >= argc) {
    *out = dflt;
    return ARG_OK;
  }
  if (args[i].type == TYPE_NULL) return ARG_NULL;
  if (!is_numeric_type(args[i].type)) return ARG_BAD;
  *out = read_as_double(args[i]);
  return ARG_OK;
}

int arg_flag(const Value* args, int argc, int i, bool* out) {
  *out = false;
  if (i >= argc) return ARG_OK;
  if (args[i].type == TYPE_NULL) return ARG_NULL;
  if (args[i].type != TYPE_BOOL) return ARG_BAD;
  *out = args[i].payload[0] != 0;
  return ARG_OK;
}

TextArg::~TextArg() {
  if (temp != nullptr && pool != nullptr) pool_free_text(*pool, temp);
}

WideArg::~WideArg() {
  if (temp != nullptr && pool != nullptr) pool_free_text(*pool, temp);
}

static size_t wide_length(const uint16_t* w) {
  size_t n = 0;
  while (w != nullptr && w[n] != 0) n++;
  return n;
}

uint16_t cp866_to_wide(uint8_t c) { return CP866_TO_UNICODE[c]; }

uint8_t wide_to_cp866(uint16_t c) {
  int b = unicode_to_cp866(c);
  return static_cast<uint8_t>(b < 0 ? '?' : b);
}

int arg_text(EvalContext& ctx, const Value* args, int argc, int i, TextArg* out) {
  if (i >= argc) return ARG_ABSENT;
  const Value& v = args[i];
  if (v.type == TYPE_NULL) return ARG_NULL;
  if (v.type == TYPE_CHAR) {
    const char* t = value_text(v);
    out->p = reinterpret_cast<const uint8_t*>(t != nullptr ? t : "");
    out->n = t != nullptr ? std::strlen(t) : 0;
    return ARG_OK;
  }
  if (ctx.strings == nullptr) return ARG_BAD;
  out->pool = ctx.strings;
  if (is_nchar_type(v.type)) {
    const uint16_t* w = value_wide(v);
    size_t n = wide_length(w);
    char* t = alloc_text(ctx, n);
    if (t == nullptr) return ARG_NULL;  // the run status says why
    for (size_t k = 0; k < n; k++) t[k] = static_cast<char>(wide_to_cp866(w[k]));
    out->temp = t;
    out->p = reinterpret_cast<const uint8_t*>(t);
    out->n = n;
    return ARG_OK;
  }
  Value text = value_to_text(*ctx.strings, &v, 1);
  if (text.type != TYPE_CHAR) return ARG_BAD;
  const char* t = value_text(text);
  if (t == nullptr) return ARG_NULL;  // no memory: the run status is -8
  // The text of NULL is a constant, not pool text; freeing it is harmless either way.
  out->temp = t;
  out->p = reinterpret_cast<const uint8_t*>(t);
  out->n = std::strlen(t);
  return ARG_OK;
}

int arg_wide(EvalContext& ctx, const Value* args, int argc, int i, WideArg* out) {
  if (i >= argc) return ARG_ABSENT;
  const Value& v = args[i];
  if (v.type == TYPE_NULL) return ARG_NULL;
  if (is_nchar_type(v.type)) {
    static const uint16_t EMPTY[1] = {0};
    const uint16_t* w = value_wide(v);
    out->p = w != nullptr ? w : EMPTY;
    out->n = wide_length(w);
    return ARG_OK;
  }
  TextArg text;
  int status = arg_text(ctx, args, argc, i, &text);
  if (status != ARG_OK) return status;
  uint16_t* w = alloc_wide(ctx, text.n);
  if (w == nullptr) return ARG_NULL;
  for (size_t k = 0; k < text.n; k++) w[k] = cp866_to_wide(text.p[k]);
  out->pool = ctx.strings;
  out->temp = reinterpret_cast<const char*>(w);
  out->p = w;
  out->n = text.n;
  return ARG_OK;
}

// --- result texts --------------------------------------------------------------------------

char* alloc_text(EvalContext& ctx, size_t n) {
  if (ctx.strings == nullptr) return nullptr;
  if (n > CHAR_RESULT_MAX) {
    ctx.strings->run_status = RUN_NO_MEMORY;
    return nullptr;
  }
  return pool_alloc_text(*ctx.strings, n);
}

uint16_t* alloc_wide(EvalContext& ctx, size_t n) {
  StringPool* pool = ctx.strings;
  if (pool == nullptr) return nullptr;
  if (n > NCHAR_RESULT_MAX) {
    pool->run_status = RUN_NO_MEMORY;
    return nullptr;
  }
  // Stack memory hands out bytes without alignment, and block data starts 16-aligned, so
  // an odd free offset would give an odd address: one byte of padding keeps 16-bit
  // characters aligned (a fresh block starts at an even offset).
  StackMark mark = stack_mark(*pool->stack, pool->text_pool);
  if (mark.block != nullptr && (mark.free & 1u) != 0 && pool->count < pool->capacity)
    get_stack_mem(*pool->stack, pool->text_pool, 1);
  char* t = pool_alloc_text(*pool, 2 * n + 1);
  if (t == nullptr) return nullptr;
  if ((reinterpret_cast<uintptr_t>(t) & 1u) != 0) {
    pool_free_text(*pool, t);
    pool->run_status = RUN_NO_MEMORY;
    return nullptr;
  }
  uint16_t* w = reinterpret_cast<uint16_t*>(t);
  w[n] = 0;
  return w;
}

Value result_text(EvalContext& ctx, const uint8_t* p, size_t n) {
  char* t = alloc_text(ctx, n);
  if (t == nullptr) return make_char(nullptr);
  if (n > 0) std::memmove(t, p, n);  // p may be the pool's scratch area too
  return make_char(t);
}

Value result_wide(EvalContext& ctx, const uint16_t* p, size_t n) {
  uint16_t* w = alloc_wide(ctx, n);
  if (w == nullptr) return make_nchar(nullptr);
  if (n > 0) std::memmove(w, p, n * sizeof(uint16_t));
  return make_nchar(w);
}

}  // namespace tavrel
