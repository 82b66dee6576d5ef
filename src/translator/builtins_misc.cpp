// Conversion built-ins (TOCHAR, TO_CHAR, MAKESTR and BTOA through the text forms of
// values; ITOA, FTOA, NTOA; the TO<type> readers; TONCHAR; HEXTORAW and RAWTOHEX;
// ENCODE_STRING), PRINT, and the functions bound to a database or a session, which go to
// the context's hook or, without one, give the stand-alone results of BOUND_DEFAULTS.
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "translator/builtins_impl.h"
#include "values/bigint.h"
#include "values/value_text.h"

namespace tavrel {

namespace {

// A number read from the first argument: numbers as they are, BOOL as 1 or 0, texts
// (CHAR or NCHAR) as an integer or else a decimal number, blanks around it ignored.
int arg_number(EvalContext& ctx, const Value* args, int argc, Value* out) {
  if (argc < 1) return ARG_BAD;
  const Value& v = args[0];
  if (v.type == TYPE_NULL) return ARG_NULL;
  if (is_numeric_type(v.type)) {
    *out = v;
    return ARG_OK;
  }
  if (v.type == TYPE_BOOL) {
    *out = make_integer(v.payload[0] != 0 ? 1 : 0);
    return ARG_OK;
  }
  if (v.type != TYPE_CHAR && !is_nchar_type(v.type)) return ARG_BAD;
  TextArg text;
  int st = arg_text(ctx, args, argc, 0, &text);
  if (st != ARG_OK) return st;
  std::string_view s(reinterpret_cast<const char*>(text.p), text.n);
  while (!s.empty() && s.front() == ' ') s.remove_prefix(1);
  while (!s.empty() && s.back() == ' ') s.remove_suffix(1);
  int64_t i = 0;
  if (bigint_from_text(s, &i) == BIGINT_OK) {
    *out = make_bigint(i);
    return ARG_OK;
  }
  double d = 0;
  if (!s.empty() && read_double_text(s, &d) == 0) {
    *out = make_double(d);
    return ARG_OK;
  }
  return ARG_BAD;
}

// TOSMALLINT, TOINTEGER, TOBIGINT, TOREAL, TONUMERIC: the number read in the type by the
// rules of reading one type as another. TONUMERIC gives a NUMERIC value at run time
// (its declared type is DOUBLE); a text is read as a decimal exactly.
int op_to_number(int number, EvalContext& ctx, const Value* args, int argc, Value* result) {
  if (number == BI_TONUMERIC && argc > 0 && args[0].type == TYPE_CHAR) {
    TextArg text;
    int st = arg_text(ctx, args, argc, 0, &text);
    if (st != ARG_OK) return arg_failure(st, result);
    Decimal d = decimal_from_text(std::string_view(reinterpret_cast<const char*>(text.p), text.n));
    if (decimal_classify(d) == DEC_INVALID) return BUILTIN_BAD_PARAMETER;
    *result = make_numeric(d);
    return 0;
  }
  Value v{};
  int st = arg_number(ctx, args, argc, &v);
  if (st != ARG_OK) return arg_failure(st, result);
  switch (number) {
    case BI_TOSMALLINT: *result = make_smallint(read_as_smallint(v)); break;
    case BI_TOINTEGER: *result = make_integer(read_as_integer(v)); break;
    case BI_TOBIGINT: *result = make_bigint(read_as_bigint(v)); break;
    case BI_TOREAL: *result = make_real(static_cast<float>(read_as_real(v))); break;
    default: *result = make_numeric(read_as_numeric(v)); break;
  }
  return 0;
}

// ITOA: (x [, radix]), the integer (x read as BIGINT) in the radix 2..36 (10 by default),
// digits past 9 in small letters.
int op_itoa(EvalContext& ctx, const Value* args, int argc, Value* result) {
  Value v{};
  int64_t radix = 10;
  int st = arg_number(ctx, args, argc, &v);
  if (st == ARG_OK) st = arg_int(args, argc, 1, 10, &radix);
  if (st != ARG_OK) return arg_failure(st, result);
  if (radix < 2 || radix > 36) return BUILTIN_BAD_PARAMETER;
  static const char DIGITS[] = "0123456789abcdefghijklmnopqrstuvwxyz";
  int64_t x = read_as_bigint(v);
  uint64_t magnitude = x < 0 ? 0 - static_cast<uint64_t>(x) : static_cast<uint64_t>(x);
  auto base = static_cast<uint64_t>(radix);
  uint8_t text[72];
  size_t n = sizeof text;
  do {
    text[--n] = static_cast<uint8_t>(DIGITS[magnitude % base]);
    magnitude /= base;
  } while (magnitude != 0);
  if (x < 0) text[--n] = '-';
  *result = result_text(ctx, text + n, sizeof text - n);
  return 0;
}

// FTOA: (x [, decimals]), the number as "%g", or with 0..30 decimals as "%.*f".
int op_ftoa(EvalContext& ctx, const Value* args, int argc, Value* result) {
  Value v{};
  int64_t decimals = -1;
  int st = arg_number(ctx, args, argc, &v);
  if (st == ARG_OK) st = arg_int(args, argc, 1, -1, &decimals);
  if (st != ARG_OK) return arg_failure(st, result);
  if (argc > 1 && (decimals < 0 || decimals > 30)) return BUILTIN_BAD_PARAMETER;
  char text[400];
  double x = read_as_double(v);
  int n = decimals < 0 ? std::snprintf(text, sizeof text, "%g", x)
                       : std::snprintf(text, sizeof text, "%.*f", static_cast<int>(decimals), x);
  if (n < 0 || static_cast<size_t>(n) >= sizeof text) return BUILTIN_BAD_PARAMETER;
  *result = result_text(ctx, reinterpret_cast<const uint8_t*>(text), static_cast<size_t>(n));
  return 0;
}

// NTOA: (x [, width [, scale]]), the number as a decimal in a field of width (30) with
// scale (10) decimals, blanks around it removed; without a scale, trailing zeros of the
// fraction (and a point left bare) are dropped as well.
int op_ntoa(EvalContext& ctx, const Value* args, int argc, Value* result) {
  if (argc < 1 || !is_numeric_type(args[0].type) || ctx.strings == nullptr)
    return arg_failure(argc > 0 && args[0].type == TYPE_NULL ? ARG_NULL : ARG_BAD, result);
  for (int k = 1; k < argc && k < 3; k++) {
    if (args[k].type == TYPE_NULL) return arg_failure(ARG_NULL, result);
    if (!is_numeric_type(args[k].type)) return BUILTIN_BAD_PARAMETER;
  }
  Value in[3];
  in[0] = make_numeric(read_as_numeric(args[0]));
  in[1] = argc > 1 ? args[1] : make_smallint(DECIMAL_TEXT_WIDTH);
  in[2] = argc > 2 ? args[2] : make_smallint(DECIMAL_SCALE);
  Value text = value_to_text(*ctx.strings, in, 3);
  const char* t = value_text(text);
  if (t == nullptr) {
    *result = text;
    return 0;
  }
  size_t b = 0;
  size_t e = std::strlen(t);
  while (b < e && t[b] == ' ') b++;
  while (e > b && t[e - 1] == ' ') e--;
  if (argc < 3 && std::memchr(t + b, '.', e - b) != nullptr) {
    while (e > b && t[e - 1] == '0') e--;
    if (e > b && t[e - 1] == '.') e--;
  }
  *result = result_text(ctx, reinterpret_cast<const uint8_t*>(t + b), e - b);
  pool_free_text(*ctx.strings, t);
  return 0;
}

// TOCHAR, TO_CHAR, BTOA: the text forms of values (with a picture, a width and scale, or a
// flag as further arguments). A picture the value cannot be written through is 12.
int op_tochar(EvalContext& ctx, const Value* args, int argc, Value* result) {
  if (argc < 1 || ctx.strings == nullptr) return BUILTIN_BAD_PARAMETER;
  *result = value_to_text(*ctx.strings, args, argc);
  if (result->type != TYPE_CHAR) {
    *result = make_null();
    return BUILTIN_BAD_PARAMETER;
  }
  if (value_text(*result) == nullptr && ctx.strings->run_status == 0)
    return BUILTIN_BAD_PARAMETER;
  return 0;
}

// MAKESTR: the template with its "?" filled; NULL when values are missing.
int op_makestr(EvalContext& ctx, const Value* args, int argc, Value* result) {
  if (argc < 1 || ctx.strings == nullptr) return BUILTIN_BAD_PARAMETER;
  if (args[0].type == TYPE_NULL) return arg_failure(ARG_NULL, result);
  if (args[0].type != TYPE_CHAR) return BUILTIN_BAD_PARAMETER;
  *result = value_format(*ctx.strings, args, argc);
  return 0;
}

// TONCHAR: (x), a national text: NCHAR copied, anything else through its text form.
int op_tonchar(EvalContext& ctx, const Value* args, int argc, Value* result) {
  WideArg w;
  int st = arg_wide(ctx, args, argc, 0, &w);
  if (st != ARG_OK) return arg_failure(st == ARG_ABSENT ? ARG_BAD : st, result);
  *result = result_wide(ctx, w.p, w.n);
  return 0;
}

int hex_digit(uint8_t c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// HEXTORAW: (text), the BYTE value whose bytes the hex digits give, two a byte; an odd
// count reads as if led by a 0. Anything but hex digits is 12.
int op_hextoraw(EvalContext& ctx, const Value* args, int argc, Value* result) {
  TextArg text;
  int st = arg_text(ctx, args, argc, 0, &text);
  if (st != ARG_OK) return arg_failure(st == ARG_ABSENT ? ARG_BAD : st, result);
  size_t count = (text.n + 1) / 2;
  for (size_t k = 0; k < text.n; k++) {
    if (hex_digit(text.p[k]) < 0) return BUILTIN_BAD_PARAMETER;
  }
  // The block: a 16-bit byte count, then the bytes (the pool adds a terminator).
  char* block = alloc_text(ctx, count + 1);
  if (block == nullptr) {
    *result = make_byte(nullptr);
    return 0;
  }
  auto n16 = static_cast<uint16_t>(count);
  std::memcpy(block, &n16, sizeof n16);
  auto* data = reinterpret_cast<uint8_t*>(block + sizeof n16);
  size_t k = 0;
  for (size_t b = 0; b < count; b++) {
    int high = (text.n % 2 == 1 && b == 0) ? 0 : hex_digit(text.p[k++]);
    int low = hex_digit(text.p[k++]);
    data[b] = static_cast<uint8_t>(high * 16 + low);
  }
  *result = make_byte(reinterpret_cast<const uint8_t*>(block));
  return 0;
}

// RAWTOHEX: (x), the bytes of a text as capital hex digits, two a byte; a national
// character takes four digits (its 16-bit code), other values their text form's bytes.
int op_rawtohex(EvalContext& ctx, const Value* args, int argc, Value* result) {
  static const char HEX[] = "0123456789ABCDEF";
  if (argc > 0 && is_nchar_type(args[0].type)) {
    WideArg w;
    int st = arg_wide(ctx, args, argc, 0, &w);
    if (st != ARG_OK) return arg_failure(st, result);
    char* out = alloc_text(ctx, 4 * w.n);
    if (out == nullptr) {
      *result = make_char(nullptr);
      return 0;
    }
    for (size_t k = 0; k < w.n; k++) {
      for (size_t d = 0; d < 4; d++) out[4 * k + d] = HEX[(w.p[k] >> (12 - 4 * d)) & 15u];
    }
    *result = make_char(out);
    return 0;
  }
  TextArg text;
  int st = arg_text(ctx, args, argc, 0, &text);
  if (st != ARG_OK) return arg_failure(st == ARG_ABSENT ? ARG_BAD : st, result);
  char* out = alloc_text(ctx, 2 * text.n);
  if (out == nullptr) {
    *result = make_char(nullptr);
    return 0;
  }
  for (size_t k = 0; k < text.n; k++) {
    out[2 * k] = HEX[text.p[k] >> 4];
    out[2 * k + 1] = HEX[text.p[k] & 15];
  }
  *result = make_char(out);
  return 0;
}

// ENCODE_STRING: (code, text [, key]) to BOOL: whether the BYTE value holds the encoding of
// the text, each byte of the text XORed with the key's bytes taken in turn (the text's
// own bytes without a key or with an empty one). This hides a password from a casual
// look; it is not encryption.
int op_encode_string(EvalContext& ctx, const Value* args, int argc, Value* result) {
  if (argc < 2) return BUILTIN_BAD_PARAMETER;
  if (args[0].type == TYPE_NULL) return arg_failure(ARG_NULL, result);
  if (args[0].type != TYPE_BYTE) return BUILTIN_BAD_PARAMETER;
  TextArg text, key;
  int st = arg_text(ctx, args, argc, 1, &text);
  if (st == ARG_OK && argc > 2) st = arg_text(ctx, args, argc, 2, &key);
  if (st != ARG_OK) return arg_failure(st, result);
  size_t count = byte_count(args[0]);
  const uint8_t* code = byte_data(args[0]);
  bool same = count == text.n;
  for (size_t k = 0; same && k < count; k++) {
    uint8_t c = key.n > 0 ? static_cast<uint8_t>(text.p[k] ^ key.p[k % key.n]) : text.p[k];
    same = code[k] == c;
  }
  *result = make_bool(same);
  return 0;
}

// PRINT: (text) gives "*** Message from Stored Procedure: " and the text (no new line) to
// the context's print sink; yields the characters of the message as an INTEGER (the
// declared type is DOUBLE).
int op_print(EvalContext& ctx, const Value* args, int argc, Value* result) {
  TextArg text;
  int st = arg_text(ctx, args, argc, 0, &text);
  if (st != ARG_OK) return arg_failure(st == ARG_ABSENT ? ARG_BAD : st, result);
  std::string message;
  message.reserve(PRINT_HEAD.size() + text.n);
  message.append(PRINT_HEAD);
  message.append(reinterpret_cast<const char*>(text.p), text.n);
  // The text ends at its first zero byte, as a C string would.
  message.resize(std::strlen(message.c_str()));
  if (ctx.print != nullptr) ctx.print(ctx.print_user, message);
  *result = make_integer(static_cast<int32_t>(message.size()));
  return 0;
}

// --- functions bound to a database or a session ---------------------------------------

enum BoundDefault : uint8_t {
  GIVES_NULL,       // a value read from a cursor or BLOB: nothing to read
  GIVES_ZERO,       // a count, position or status: INTEGER 0
  GIVES_SMALL_ZERO, // READ_BLOB: SMALLINT 0 bytes read
  GIVES_TRUE,       // OUTOFCURSOR: no cursor has a current row
  GIVES_FALSE,      // RAISE_ERROR: nothing raised
  GIVES_EMPTY,      // USERNAME, DBNAME: no session, an empty name
  GIVES_BYTE_COUNT, // BLOB_SIZE: the size of the BYTE value given
};

struct BoundRow {
  int number;
  BoundDefault stand_alone;
};

// The result of each bound function when the context supplies no hook.
constexpr BoundRow BOUND_DEFAULTS[] = {
    {BI_OUTOFCURSOR, GIVES_TRUE},         {BI_ROWCOUNT, GIVES_ZERO},
    {BI_ERRCODE, GIVES_ZERO},             {BI_ADD_BLOB, GIVES_ZERO},
    {BI_READ_BLOB, GIVES_SMALL_ZERO},     {BI_CLEAR_BLOB, GIVES_ZERO},
    {BI_BLOB_SIZE, GIVES_BYTE_COUNT},     {BI_READ_BLOB_INT, GIVES_NULL},
    {BI_READ_BLOB_SMALLINT, GIVES_NULL},  {BI_READ_BLOB_REAL, GIVES_NULL},
    {BI_READ_BLOB_NUMERIC, GIVES_NULL},   {BI_READ_BLOB_CHAR, GIVES_NULL},
    {BI_READ_BLOB_DATE, GIVES_NULL},      {BI_READ_BLOB_BOOL, GIVES_NULL},
    {BI_SEEK_BLOB, GIVES_ZERO},           {BI_READ_BLOB_DOUBLE, GIVES_NULL},
    {BI_CURROW, GIVES_ZERO},              {BI_SET_CUR_BLOB, GIVES_ZERO},
    {BI_READ_BLOB_BIGINT, GIVES_NULL},    {BI_READ_BLOB_NCHAR, GIVES_NULL},
    {BI_USERNAME, GIVES_EMPTY},           {BI_CLEARPUTM, GIVES_ZERO},
    {BI_FLUSHPUTM, GIVES_ZERO},           {BI_GETPUTMRECS, GIVES_ZERO},
    {BI_RAISE_ERROR, GIVES_FALSE},        {BI_SYSEVENT, GIVES_ZERO},
    {BI_MODIFY_BLOB_TYPE, GIVES_ZERO},    {BI_DBNAME, GIVES_EMPTY},
};

}  // namespace

int builtins_convert_call(int number, EvalContext& ctx, const Value* args, int argc,
                          Value* result) {
  switch (number) {
    case BI_TOSMALLINT:
    case BI_TOINTEGER:
    case BI_TOBIGINT:
    case BI_TOREAL:
    case BI_TONUMERIC: return op_to_number(number, ctx, args, argc, result);
    case BI_ITOA: return op_itoa(ctx, args, argc, result);
    case BI_FTOA: return op_ftoa(ctx, args, argc, result);
    case BI_NTOA: return op_ntoa(ctx, args, argc, result);
    case BI_TOCHAR:
    case BI_TO_CHAR:
    case BI_BTOA: return op_tochar(ctx, args, argc, result);
    case BI_MAKESTR: return op_makestr(ctx, args, argc, result);
    case BI_TONCHAR: return op_tonchar(ctx, args, argc, result);
    case BI_HEXTORAW: return op_hextoraw(ctx, args, argc, result);
    case BI_RAWTOHEX: return op_rawtohex(ctx, args, argc, result);
    case BI_ENCODE_STRING: return op_encode_string(ctx, args, argc, result);
    case BI_PRINT: return op_print(ctx, args, argc, result);
    default: return BUILTIN_BAD_PARAMETER;
  }
}

int builtins_bound_call(int number, EvalContext& ctx, const Value* args, int argc,
                        Value* result) {
  if (ctx.bound != nullptr) return ctx.bound(ctx, number, args, argc, result);
  for (const BoundRow& row : BOUND_DEFAULTS) {
    if (row.number != number) continue;
    switch (row.stand_alone) {
      case GIVES_NULL: *result = make_null(); break;
      case GIVES_ZERO: *result = make_integer(0); break;
      case GIVES_SMALL_ZERO: *result = make_smallint(0); break;
      case GIVES_TRUE: *result = make_bool(true); break;
      case GIVES_FALSE: *result = make_bool(false); break;
      case GIVES_EMPTY: *result = make_char(""); break;
      case GIVES_BYTE_COUNT:
        *result = make_integer(argc > 0 && args[0].type == TYPE_BYTE ? byte_count(args[0]) : 0);
        break;
    }
    return 0;
  }
  return BUILTIN_BAD_PARAMETER;
}

}  // namespace tavrel
