// Speed of the value library: NUMERIC add, multiply, compare, from text and to text,
// BIGINT to text, and a date written through a picture. Each has a peer measured in the
// same binary: the decimal operations of a 128-bit decimal floating-point library (34
// significant digits, more than NUMERIC's 30), std::to_chars for BIGINT text and strftime
// for the date.
#include <benchmark/benchmark.h>

#include <charconv>
#include <cstring>
#include <ctime>

#include "values/bigint.h"
#include "values/calendar.h"
#include "values/date_picture.h"
#include "values/decimal.h"

// The peer's entry points with the rounding mode and status flags passed explicitly.
#define DECIMAL_CALL_BY_REFERENCE 0
#define DECIMAL_GLOBAL_ROUNDING 0
#define DECIMAL_GLOBAL_EXCEPTION_FLAGS 0
#include <bid_conf.h>
#include <bid_functions.h>

namespace {

using namespace tavrel;

// Operands with many significant digits on both sides of the point, and short ones.
const char* const LONG_A = "12345678901234567.1234567891";
const char* const LONG_B = "-987654321098.7654321098";
const char* const SHORT_A = "1234.5";
const char* const SHORT_B = "0.25";

struct Peer {
  BID_UINT128 a, b;
};

Peer peer_of(const char* a, const char* b) {
  _IDEC_flags flags = 0;
  return Peer{bid128_from_string(const_cast<char*>(a), BID_ROUNDING_TO_NEAREST, &flags),
              bid128_from_string(const_cast<char*>(b), BID_ROUNDING_TO_NEAREST, &flags)};
}

void numeric_add(benchmark::State& st, const char* a, const char* b) {
  Decimal x = decimal_from_text(a), y = decimal_from_text(b);
  for (auto _ : st) {
    benchmark::DoNotOptimize(x);
    benchmark::DoNotOptimize(y);
    Decimal r = decimal_add(x, y);
    benchmark::DoNotOptimize(r);
  }
}

void peer_add(benchmark::State& st, const char* a, const char* b) {
  Peer p = peer_of(a, b);
  _IDEC_flags flags = 0;
  for (auto _ : st) {
    benchmark::DoNotOptimize(p);
    BID_UINT128 r = bid128_add(p.a, p.b, BID_ROUNDING_TO_NEAREST, &flags);
    benchmark::DoNotOptimize(r);
  }
}

void numeric_mul(benchmark::State& st, const char* a, const char* b) {
  Decimal x = decimal_from_text(a), y = decimal_from_text(b);
  for (auto _ : st) {
    benchmark::DoNotOptimize(x);
    benchmark::DoNotOptimize(y);
    Decimal r = decimal_mul(x, y);
    benchmark::DoNotOptimize(r);
  }
}

void peer_mul(benchmark::State& st, const char* a, const char* b) {
  Peer p = peer_of(a, b);
  _IDEC_flags flags = 0;
  for (auto _ : st) {
    benchmark::DoNotOptimize(p);
    BID_UINT128 r = bid128_mul(p.a, p.b, BID_ROUNDING_TO_NEAREST, &flags);
    benchmark::DoNotOptimize(r);
  }
}

void numeric_compare(benchmark::State& st, const char* a, const char* b) {
  Decimal x = decimal_from_text(a), y = decimal_from_text(b);
  for (auto _ : st) {
    benchmark::DoNotOptimize(x);
    benchmark::DoNotOptimize(y);
    int r = decimal_compare(x, y);
    benchmark::DoNotOptimize(r);
  }
}

void peer_compare(benchmark::State& st, const char* a, const char* b) {
  Peer p = peer_of(a, b);
  _IDEC_flags flags = 0;
  for (auto _ : st) {
    benchmark::DoNotOptimize(p);
    // A three-way result, as decimal_compare gives.
    int r = bid128_quiet_less(p.a, p.b, &flags) ? -1 : bid128_quiet_equal(p.a, p.b, &flags) ? 0 : 1;
    benchmark::DoNotOptimize(r);
  }
}

void numeric_from_text(benchmark::State& st, const char* a) {
  for (auto _ : st) {
    benchmark::DoNotOptimize(a);
    Decimal r = decimal_from_text(a);
    benchmark::DoNotOptimize(r);
  }
}

void peer_from_text(benchmark::State& st, const char* a) {
  _IDEC_flags flags = 0;
  char text[64];
  std::strcpy(text, a);
  for (auto _ : st) {
    benchmark::DoNotOptimize(text);
    BID_UINT128 r = bid128_from_string(text, BID_ROUNDING_TO_NEAREST, &flags);
    benchmark::DoNotOptimize(r);
  }
}

void numeric_to_text(benchmark::State& st, const char* a) {
  Decimal x = decimal_from_text(a);
  char out[DECIMAL_TEXT_CAPACITY];
  for (auto _ : st) {
    benchmark::DoNotOptimize(x);
    decimal_to_text(x, DECIMAL_TEXT_WIDTH, DECIMAL_SCALE, false, out);
    benchmark::DoNotOptimize(out);
  }
}

void peer_to_text(benchmark::State& st, const char* a) {
  Peer p = peer_of(a, a);
  _IDEC_flags flags = 0;
  char out[64];
  for (auto _ : st) {
    benchmark::DoNotOptimize(p);
    bid128_to_string(out, p.a, &flags);
    benchmark::DoNotOptimize(out);
  }
}

void bigint_text(benchmark::State& st, int64_t v) {
  char out[BIGINT_TEXT_CAPACITY];
  for (auto _ : st) {
    benchmark::DoNotOptimize(v);
    int n = bigint_to_text(v, out);
    benchmark::DoNotOptimize(n);
    benchmark::DoNotOptimize(out);
  }
}

void peer_bigint_text(benchmark::State& st, int64_t v) {
  char out[BIGINT_TEXT_CAPACITY];
  for (auto _ : st) {
    benchmark::DoNotOptimize(v);
    auto r = std::to_chars(out, out + sizeof out, v);
    *r.ptr = '\0';
    benchmark::DoNotOptimize(out);
  }
}

void date_picture_text(benchmark::State& st) {
  DateRecord d{static_cast<uint32_t>(dmy_to_day_number(22, 11, 2026)),
               13 * HUNDREDTHS_PER_HOUR + 45 * HUNDREDTHS_PER_MINUTE + 7 * HUNDREDTHS_PER_SECOND};
  char out[64];
  size_t len = 0;
  for (auto _ : st) {
    benchmark::DoNotOptimize(d);
    date_to_text_picture(d, "DD.MM.YYYY HH24:MI:SS", out, sizeof out, &len);
    benchmark::DoNotOptimize(out);
  }
}

void peer_date_text(benchmark::State& st) {
  std::tm tm{};
  tm.tm_mday = 22;
  tm.tm_mon = 10;
  tm.tm_year = 126;
  tm.tm_hour = 13;
  tm.tm_min = 45;
  tm.tm_sec = 7;
  char out[64];
  for (auto _ : st) {
    benchmark::DoNotOptimize(tm);
    size_t n = std::strftime(out, sizeof out, "%d.%m.%Y %H:%M:%S", &tm);
    benchmark::DoNotOptimize(n);
    benchmark::DoNotOptimize(out);
  }
}

}  // namespace

BENCHMARK_CAPTURE(numeric_add, long, LONG_A, LONG_B);
BENCHMARK_CAPTURE(peer_add, long, LONG_A, LONG_B);
BENCHMARK_CAPTURE(numeric_add, short, SHORT_A, SHORT_B);
BENCHMARK_CAPTURE(peer_add, short, SHORT_A, SHORT_B);
BENCHMARK_CAPTURE(numeric_mul, long, LONG_B, SHORT_A);
BENCHMARK_CAPTURE(peer_mul, long, LONG_B, SHORT_A);
BENCHMARK_CAPTURE(numeric_mul, short, SHORT_A, SHORT_B);
BENCHMARK_CAPTURE(peer_mul, short, SHORT_A, SHORT_B);
BENCHMARK_CAPTURE(numeric_compare, long, LONG_A, LONG_B);
BENCHMARK_CAPTURE(peer_compare, long, LONG_A, LONG_B);
BENCHMARK_CAPTURE(numeric_from_text, long, LONG_A);
BENCHMARK_CAPTURE(peer_from_text, long, LONG_A);
BENCHMARK_CAPTURE(numeric_from_text, short, SHORT_A);
BENCHMARK_CAPTURE(peer_from_text, short, SHORT_A);
BENCHMARK_CAPTURE(numeric_to_text, long, LONG_A);
BENCHMARK_CAPTURE(peer_to_text, long, LONG_A);
BENCHMARK_CAPTURE(bigint_text, max, INT64_MAX);
BENCHMARK_CAPTURE(peer_bigint_text, max, INT64_MAX);
BENCHMARK_CAPTURE(bigint_text, small, -42);
BENCHMARK_CAPTURE(peer_bigint_text, small, -42);
BENCHMARK(date_picture_text);
BENCHMARK(peer_date_text);

BENCHMARK_MAIN();
