// The procedures bench_engine stores in its kernel and the computations in C++ that both
// sides of a row must agree with (see engine_objects.h).
#include "engine_objects.h"

#include <cstdio>

namespace tavrel::bench {

namespace {

int64_t sum_to(int64_t n) { return n * (n + 1) / 2; }

int64_t nested_count(int64_t n) {
  int64_t even = 0;
  int64_t signed_count = 0;
  for (int64_t i = 0; i < n; ++i) {
    for (int64_t j = 0; j < n; ++j) {
      if ((i + j) / 2 * 2 == i + j) ++even;
      else if (i < j) ++signed_count;
      else --signed_count;
    }
  }
  return even + signed_count;
}

int64_t fib(int64_t n) { return n < 2 ? n : fib(n - 1) + fib(n - 2); }

// Every term is a multiple of 0.25, so doubles and decimals agree exactly.
double numeric_sum(int64_t n) { return 0.5 * static_cast<double>(sum_to(n)) + 1.25 * static_cast<double>(n); }

// The RESULT of BENCH_FIB is used inside an expression: a procedure that declares RESULT is
// called there by name like a function, and its value is the RETURN's.
const Workload WORKLOAD_TABLE[] = {
    {"sum_bigint_1e7", "lua",
     R"(create procedure BENCH_SUM(in N bigint default 10000000, out S bigint)
declare
  var I bigint default 1;
code
  S := 0;
  while I <= N loop
    S := S + I;
    I := I + 1;
  endloop;
end;)",
     "execute \"BENCH_SUM\"(10000000);", "return sum_to(10000000)", SUM_N, static_cast<double>(sum_to(SUM_N)), "S"},
    {"nested_if_1e6", "lua",
     R"(create procedure BENCH_NESTED(in N integer default 1000, out R integer)
declare
  var I, J, E, C integer default 0, 0, 0, 0;
code
  while I < N loop
    J := 0;
    while J < N loop
      if (I + J) / 2 * 2 = I + J then
        E := E + 1;
      elseif I < J then
        C := C + 1;
      else
        C := C - 1;
      endif;
      J := J + 1;
    endloop;
    I := I + 1;
  endloop;
  R := E + C;
end;)",
     "execute \"BENCH_NESTED\"(1000);", "return nested(1000)", NESTED_N * NESTED_N,
     static_cast<double>(nested_count(NESTED_N)), "R"},
    {"string_build_3e5", "lua",
     R"(create procedure BENCH_STRING(in REPEATS integer default 100, in LENGTH integer default 3000, out TOTAL integer)
declare
  var S varchar(4000);
  var I, R integer default 0, 0;
code
  TOTAL := 0;
  while R < REPEATS loop
    S := "";
    I := 0;
    while I < LENGTH loop
      S := S + ITOA(I - I / 10 * 10);
      I := I + 1;
    endloop;
    TOTAL := TOTAL + LEN(S);
    R := R + 1;
  endloop;
end;)",
     "execute \"BENCH_STRING\"(100, 3000);", "return build(100, 3000)", STRING_REPEATS * STRING_LENGTH,
     static_cast<double>(STRING_REPEATS * STRING_LENGTH), "TOTAL"},
    {"fib_25_calls", "lua",
     R"(create procedure BENCH_FIB(in N integer) result integer
code
  if N < 2 then
    return N;
  endif;
  return BENCH_FIB(N - 1) + BENCH_FIB(N - 2);
end;)",
     "execute \"BENCH_FIB\"(25);", "return fib(25)",
     // calls made: 2 fib(n + 1) - 1
     2 * 121393 - 1, static_cast<double>(fib(FIB_N)), nullptr},
    {"numeric_sum_1e6", "lua_double",
     R"(create procedure BENCH_NUMERIC(in N integer default 1000000, out A numeric(20,4))
declare
  var I integer default 1;
code
  A := 0;
  while I <= N loop
    A := A + I * 0.5 + 1.25;
    I := I + 1;
  endloop;
end;)",
     "execute \"BENCH_NUMERIC\"(1000000);", "return numeric(1000000)", NUMERIC_N, numeric_sum(NUMERIC_N), "A"},
};

// The procedures of the SQL rows, the debug pair and the round trip.
const char* const SQL_OBJECT_TABLE[] = {
    "create table BENCH_T(ID integer primary key, V integer);",
    "with recursive N(K) as (select 1 union all select K + 1 from N where K < 1000) "
    "insert into BENCH_T select K, K * 3 from N;",
    "create table BENCH_ITEM(ID integer, V integer);",
    "create table BENCH_AUDIT(ITEM integer, V2 integer);",
    "create table BENCH_PLAIN(ID integer, V integer);",
    R"(create procedure BENCH_SELECT(in N integer default 100000, out S bigint)
declare
  var K, J, X integer default 0, 0, 0;
code
  S := 0;
  while K < N loop
    J := K - K / 1000 * 1000 + 1;
    select V into X from BENCH_T where ID = J;
    S := S + X;
    K := K + 1;
  endloop;
end;)",
    R"(create trigger BENCH_ITEM_AUDIT
after insert on BENCH_ITEM for each row
execute
declare
  var I, V integer;
code
  I := NEW.ID;
  V := NEW.V * 2;
  insert into BENCH_AUDIT values(I, V);
end;)",
    R"(create procedure BENCH_SELECT_ONE_TRANSACTION(in N integer default 100000, out S bigint)
declare
  var K, J, X integer default 0, 0, 0;
code
  S := 0;
  begin transaction;
  while K < N loop
    J := K - K / 1000 * 1000 + 1;
    select V into X from BENCH_T where ID = J;
    S := S + X;
    K := K + 1;
  endloop;
  commit transaction;
end;)",
    R"(create procedure BENCH_INSERTS(in N integer default 10000)
declare
  var K integer default 0;
code
  begin transaction;
  while K < N loop
    insert into BENCH_ITEM values(K, K);
    K := K + 1;
  endloop;
  commit transaction;
end;)",
    R"(create procedure BENCH_INSERTS_PLAIN(in N integer default 10000)
declare
  var K integer default 0;
code
  begin transaction;
  while K < N loop
    insert into BENCH_PLAIN values(K, K);
    K := K + 1;
  endloop;
  commit transaction;
end;)",
    "create procedure BENCH_EMPTY()\ncode\nend;",
    // Called by tavrel-sql while tavrel-dbg waits for it: it stops at line 5, "S := 0;".
    R"(create procedure BENCH_WAIT(in N integer default 3, out S integer) for debug
declare
  var I integer default 0;
code
  S := 0;
  while I < N loop
    S := S + I;
    I := I + 1;
  endloop;
end;)",
};

// The procedure of the debug pair, stored once plain and once FOR DEBUG (the suffix).
const char* const LOOP_HEAD = "create procedure BENCH_LOOP%s(in N integer default 1000000, out S bigint)%s";
const char* const LOOP_BODY = R"(
declare
  var I integer default 0;
code
  S := 0;
  while I < N loop
    if I / 2 * 2 = I then S := S + I; else S := S - 1; endif;
    I := I + 1;
  endloop;
end;)";

}  // namespace

int64_t select_sum(int64_t n) {
  int64_t s = 0;
  for (int64_t k = 0; k < n; ++k) s += (k % SELECT_ROWS + 1) * 3;
  return s;
}

constinit const std::span<const Workload> WORKLOADS(WORKLOAD_TABLE);
constinit const std::span<const char* const> SQL_OBJECTS(SQL_OBJECT_TABLE);

std::string loop_procedure(bool debug) {
  char head[128];
  std::snprintf(head, sizeof head, LOOP_HEAD, debug ? "_DEBUG" : "", debug ? " for debug" : "");
  return head + std::string(LOOP_BODY);
}

}  // namespace tavrel::bench
