// Mathematical built-ins and random numbers. Arguments of any numeric type are read as
// doubles (MOD keeps integers exact); results are DOUBLE as the table declares, except
// SIGN, RAND and RANDOMIZE (INTEGER). A result that is not a finite number (a square root
// of a negative number, a logarithm of zero, EXP(1000), ACOS(2)) is diagnostic 12.
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "translator/builtins_impl.h"

namespace tavrel {

namespace {

constexpr double PI = 3.14159265358979323846;

// The functions of one numeric argument, with whether a TRUE second argument means the
// argument is in degrees.
struct UnaryMath {
  int number;
  double (*fn)(double);
  bool degrees;
};

double fn_exp(double x) { return std::exp(x); }
double fn_ln(double x) { return std::log(x); }
double fn_sqrt(double x) { return std::sqrt(x); }
double fn_sin(double x) { return std::sin(x); }
double fn_cos(double x) { return std::cos(x); }
double fn_tan(double x) { return std::tan(x); }
double fn_sinh(double x) { return std::sinh(x); }
double fn_cosh(double x) { return std::cosh(x); }
double fn_tanh(double x) { return std::tanh(x); }
double fn_asin(double x) { return std::asin(x); }
double fn_acos(double x) { return std::acos(x); }
double fn_atan(double x) { return std::atan(x); }
double fn_ceil(double x) { return std::ceil(x); }
double fn_floor(double x) { return std::floor(x); }
double fn_abs(double x) { return std::fabs(x); }

constexpr UnaryMath UNARY[] = {
    {BI_CEIL, fn_ceil, false}, {BI_FLOOR, fn_floor, false}, {BI_COS, fn_cos, true},
    {BI_SIN, fn_sin, true},    {BI_TAN, fn_tan, true},      {BI_COSH, fn_cosh, false},
    {BI_SINH, fn_sinh, false}, {BI_TANH, fn_tanh, false},   {BI_EXP, fn_exp, false},
    {BI_LN, fn_ln, false},     {BI_SQRT, fn_sqrt, false},   {BI_ATAN, fn_atan, false},
    {BI_ACOS, fn_acos, false}, {BI_ASIN, fn_asin, false},   {BI_ABS, fn_abs, false},
};

int double_result(double r, Value* result) {
  if (!std::isfinite(r)) return BUILTIN_BAD_PARAMETER;
  *result = make_double(r);
  return 0;
}

int op_unary(const UnaryMath& f, const Value* args, int argc, Value* result) {
  double x = 0;
  int st = argc > 0 ? arg_double(args, argc, 0, 0, &x) : ARG_BAD;
  if (st != ARG_OK) return arg_failure(st, result);
  if (f.degrees && argc > 1 && args[1].type == TYPE_BOOL && args[1].payload[0] != 0)
    x = x * PI / 180.0;
  return double_result(f.fn(x), result);
}

// ROUND and TRUNC to n decimals (n < 0 rounds to tens, hundreds, ...), worked on the
// value's decimal digits as shown to 15 significant places, so that ROUND(2.675, 2) is
// 2.68 although the double 2.675 lies just below it. ROUND takes halves away from zero.
double round_decimal(double x, int64_t places, bool round) {
  if (x == 0 || !std::isfinite(x)) return x;
  char text[40];
  std::snprintf(text, sizeof text, "%.14e", std::fabs(x));
  // text: d.dddddddddddddde[+-]x
  char digits[16];
  digits[0] = text[0];
  for (int k = 0; k < 14; k++) digits[k + 1] = text[k + 2];
  long exponent = std::strtol(text + 17, nullptr, 10);
  // Digits kept: those before the point (exponent + 1) and the places after it.
  int64_t keep = exponent + 1 + places;
  if (keep >= 15) return x;
  int64_t mantissa = 0;
  if (keep >= 0) {
    for (int64_t k = 0; k < keep; k++) mantissa = mantissa * 10 + (digits[k] - '0');
    if (round && digits[keep] >= '5') mantissa++;
  }
  if (mantissa == 0) return 0.0;
  // The result is mantissa * 10^-places.
  double r = static_cast<double>(mantissa);
  double scale = std::pow(10.0, static_cast<double>(places < 0 ? -places : places));
  r = places < 0 ? r * scale : r / scale;
  return x < 0 ? -r : r;
}

int op_round(const Value* args, int argc, bool round, Value* result) {
  double x = 0;
  int64_t places = 0;
  int st = arg_double(args, argc, 0, 0, &x);
  if (st == ARG_OK) st = arg_int(args, argc, 1, 0, &places);
  if (st != ARG_OK) return arg_failure(st, result);
  if (places > 400) places = 400;
  if (places < -400) places = -400;
  return double_result(round_decimal(x, places, round), result);
}

// MOD: the remainder of a / b with the sign of a; exact for integer types.
int op_mod(const Value* args, int argc, Value* result) {
  if (argc < 2) return BUILTIN_BAD_PARAMETER;
  auto is_integer = [](uint8_t t) {
    return t == TYPE_SMALLINT || t == TYPE_INTEGER || t == TYPE_BIGINT;
  };
  if (is_integer(args[0].type) && is_integer(args[1].type)) {
    int64_t a = read_as_bigint(args[0]);
    int64_t b = read_as_bigint(args[1]);
    if (b == 0) {
      *result = make_double(0);
      return BUILTIN_DIV_BY_ZERO;
    }
    *result = make_double(b == -1 ? 0.0 : static_cast<double>(a % b));
    return 0;
  }
  double a = 0;
  double b = 0;
  int st = arg_double(args, argc, 0, 0, &a);
  if (st == ARG_OK) st = arg_double(args, argc, 1, 0, &b);
  if (st != ARG_OK) return arg_failure(st, result);
  if (b == 0) {
    *result = make_double(0);
    return BUILTIN_DIV_BY_ZERO;
  }
  return double_result(std::fmod(a, b), result);
}

// LOG: (base, x), the logarithm of x to the base.
int op_log(const Value* args, int argc, Value* result) {
  double base = 0;
  double x = 0;
  int st = arg_double(args, argc, 0, 0, &base);
  if (st == ARG_OK) st = arg_double(args, argc, 1, 0, &x);
  if (st != ARG_OK) return arg_failure(st, result);
  if (base <= 0 || base == 1 || x <= 0) return BUILTIN_BAD_PARAMETER;
  return double_result(std::log(x) / std::log(base), result);
}

int op_atan2(const Value* args, int argc, Value* result) {
  double y = 0;
  double x = 0;
  int st = arg_double(args, argc, 0, 0, &y);
  if (st == ARG_OK) st = arg_double(args, argc, 1, 0, &x);
  if (st != ARG_OK) return arg_failure(st, result);
  return double_result(std::atan2(y, x), result);
}

// SIGN: -1, 0 or 1 as INTEGER.
int op_sign(const Value* args, int argc, Value* result) {
  if (argc > 0 && args[0].type == TYPE_NUMERIC) {
    int state = decimal_classify(value_decimal(args[0]));
    if (state == DEC_INVALID) return BUILTIN_BAD_PARAMETER;
    bool negative = state == DEC_NEGATIVE || state == DEC_NEG_OVERFLOW;
    *result = make_integer(state == DEC_ZERO ? 0 : negative ? -1 : 1);
    return 0;
  }
  double x = 0;
  int st = argc > 0 ? arg_double(args, argc, 0, 0, &x) : ARG_BAD;
  if (st != ARG_OK) return arg_failure(st, result);
  if (std::isnan(x)) return BUILTIN_BAD_PARAMETER;
  *result = make_integer(x > 0 ? 1 : x < 0 ? -1 : 0);
  return 0;
}

// MAX: the largest of one to three numbers, as DOUBLE.
int op_max(const Value* args, int argc, Value* result) {
  if (argc < 1) return BUILTIN_BAD_PARAMETER;
  double best = 0;
  for (int k = 0; k < argc && k < 3; k++) {
    double x = 0;
    int st = arg_double(args, argc, k, 0, &x);
    if (st != ARG_OK) return arg_failure(st, result);
    if (k == 0 || x > best) best = x;
  }
  *result = make_double(best);
  return 0;
}

// RAND: the next number 0..32767 of the evaluation's generator (a linear congruential
// generator on ctx.rand_state, the same sequence for the same seed on every platform).
int op_rand(EvalContext& ctx, Value* result) {
  ctx.rand_state = ctx.rand_state * 1103515245u + 12345u;
  *result = make_integer(static_cast<int32_t>((ctx.rand_state >> 16) & 0x7FFFu));
  return 0;
}

// RANDOMIZE: ([seed]) sets the generator's state to the seed (read as INTEGER), or without
// one to a seed taken from the clock; gives the seed used.
int op_randomize(EvalContext& ctx, const Value* args, int argc, Value* result) {
  int32_t seed = 0;
  if (argc > 0) {
    if (args[0].type == TYPE_NULL) return arg_failure(ARG_NULL, result);
    if (!is_numeric_type(args[0].type)) return BUILTIN_BAD_PARAMETER;
    seed = read_as_integer(args[0]);
  } else {
    auto ticks = std::chrono::system_clock::now().time_since_epoch().count();
    auto mixed = static_cast<uint64_t>(ticks) ^ (static_cast<uint64_t>(ticks) >> 29);
    seed = static_cast<int32_t>(mixed & 0x7FFFFFFFu);
  }
  ctx.rand_state = static_cast<uint32_t>(seed);
  *result = make_integer(seed);
  return 0;
}

}  // namespace

int builtins_math_call(int number, EvalContext& ctx, const Value* args, int argc,
                       Value* result) {
  for (const UnaryMath& f : UNARY) {
    if (f.number == number) return op_unary(f, args, argc, result);
  }
  switch (number) {
    case BI_ROUND: return op_round(args, argc, true, result);
    case BI_TRUNC: return op_round(args, argc, false, result);
    case BI_MOD: return op_mod(args, argc, result);
    case BI_LOG: return op_log(args, argc, result);
    case BI_ATAN2: return op_atan2(args, argc, result);
    case BI_SIGN: return op_sign(args, argc, result);
    case BI_MAX: return op_max(args, argc, result);
    case BI_RAND: return op_rand(ctx, result);
    case BI_RANDOMIZE: return op_randomize(ctx, args, argc, result);
    default: return BUILTIN_BAD_PARAMETER;
  }
}

}  // namespace tavrel
