// Date built-ins: the parts of a date, MAKE_DATE, SYSDATE, the calendar arithmetic
// (LAST_DAY, NEXT_DAY, ADD_MONTHS), text to date and back (ATOD, TO_DATE, DTOA) with the
// date pictures, DATE_ROUND and DATE_TRUNC, DATESPLIT, and the interval arithmetic of
// MULTIME and DIVTIME, which read a DATE as a span of days and hundredths.
//
// A text or a set of parts that names no date is diagnostic 18; a date outside the
// calendar (day 0, or past 31.12.9999) where the calendar is needed is 18 too.
#include <chrono>
#include <cstring>
#include <ctime>
#include <mutex>

#include "text/codepage.h"
#include "translator/builtins_impl.h"
#include "values/date_picture.h"
#include "values/value_text.h"

namespace tavrel {

namespace {

int arg_date(const Value* args, int argc, int i, DateRecord* out) {
  if (i >= argc) return ARG_BAD;
  if (args[i].type == TYPE_NULL) return ARG_NULL;
  if (args[i].type != TYPE_DATE) return ARG_BAD;
  *out = value_date(args[i]);
  return ARG_OK;
}

bool in_calendar(DateRecord d) {
  return d.day >= 1 && d.day <= DAY_NUMBER_MAX && d.time >= 0 && d.time < HUNDREDTHS_PER_DAY;
}

// MONTH, YEAR, DAY, HOUR, MINUTE, SECOND, TICKS (hundredths): one part of a date, DOUBLE.
struct DatePart {
  int number;
  int16_t BrokenDate::*field;
};
constexpr DatePart DATE_PARTS[] = {
    {BI_MONTH, &BrokenDate::month},   {BI_YEAR, &BrokenDate::year},
    {BI_DAY, &BrokenDate::day},       {BI_HOUR, &BrokenDate::hour},
    {BI_MINUTE, &BrokenDate::minute}, {BI_SECOND, &BrokenDate::second},
    {BI_TICKS, &BrokenDate::hundredths},
};

int op_part(const DatePart& part, const Value* args, int argc, Value* result) {
  DateRecord d{};
  int st = arg_date(args, argc, 0, &d);
  if (st != ARG_OK) return arg_failure(st, result);
  BrokenDate b = date_to_broken(d);
  *result = make_double(b.*part.field);
  return 0;
}

// MAKE_DATE: (day, month, year [, hour [, minute [, second [, hundredths]]]]), in the order
// of the date text dd.mm.yyyy:hh:mi:ss.hh.
int op_make_date(const Value* args, int argc, Value* result) {
  int16_t fields[7] = {0, 0, 0, 0, 0, 0, 0};
  for (int k = 0; k < 7 && k < argc; k++) {
    int64_t x = 0;
    int st = arg_int(args, argc, k, 0, &x);
    if (st != ARG_OK) return arg_failure(st, result);
    if (x < -32768 || x > 32767) return BUILTIN_BAD_DATE;
    fields[k] = static_cast<int16_t>(x);
  }
  BrokenDate b{fields[0], fields[1], fields[2], fields[3], fields[4], fields[5], fields[6]};
  DateRecord d{};
  if (broken_to_date(b, &d) != 0) return BUILTIN_BAD_DATE;
  *result = make_date(d);
  return 0;
}

// SYSDATE: the local date and time of this computer, to the hundredth.
int op_sysdate(Value* result) {
  static std::mutex clock_lock;  // std::localtime shares one buffer between threads
  auto now = std::chrono::system_clock::now();
  std::time_t t = std::chrono::system_clock::to_time_t(now);
  auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count();
  std::tm tm{};
  {
    std::lock_guard<std::mutex> hold(clock_lock);
    const std::tm* local = std::localtime(&t);
    if (local == nullptr) return BUILTIN_BAD_DATE;
    tm = *local;
  }
  BrokenDate b{static_cast<int16_t>(tm.tm_mday),
               static_cast<int16_t>(tm.tm_mon + 1),
               static_cast<int16_t>(tm.tm_year + 1900),
               static_cast<int16_t>(tm.tm_hour),
               static_cast<int16_t>(tm.tm_min),
               static_cast<int16_t>(tm.tm_sec > 59 ? 59 : tm.tm_sec),  // leap second
               static_cast<int16_t>((ms % 1000 + 1000) % 1000 / 10)};
  DateRecord d{};
  if (broken_to_date(b, &d) != 0) return BUILTIN_BAD_DATE;
  *result = make_date(d);
  return 0;
}

// LAST_DAY: the last day of the date's month, at the same time of day.
int op_last_day(const Value* args, int argc, Value* result) {
  DateRecord d{};
  int st = arg_date(args, argc, 0, &d);
  if (st != ARG_OK) return arg_failure(st, result);
  if (!in_calendar(d)) return BUILTIN_BAD_DATE;
  int day, month, year;
  day_number_to_dmy(d.day, &day, &month, &year);
  int last = MONTH_DAYS[is_leap_year(year) ? 1 : 0][month];
  d.day = static_cast<uint32_t>(d.day + static_cast<uint32_t>(last - day));
  *result = make_date(d);
  return 0;
}

// Day names NEXT_DAY understands, Monday first: English (also by their first three
// letters) and Russian in CP866 (also by their usual two-letter abbreviations).
struct DayName {
  const char* full;
  const char* abbreviation;
};
constexpr DayName RUSSIAN_DAYS[7] = {
    {"\xaf\xae\xad\xa5\xa4\xa5\xab\xec\xad\xa8\xaa", "\xaf\xad"},  // понедельник, пн
    {"\xa2\xe2\xae\xe0\xad\xa8\xaa", "\xa2\xe2"},                  // вторник, вт
    {"\xe1\xe0\xa5\xa4\xa0", "\xe1\xe0"},                          // среда, ср
    {"\xe7\xa5\xe2\xa2\xa5\xe0\xa3", "\xe7\xe2"},                  // четверг, чт
    {"\xaf\xef\xe2\xad\xa8\xe6\xa0", "\xaf\xe2"},                  // пятница, пт
    {"\xe1\xe3\xa1\xa1\xae\xe2\xa0", "\xe1\xa1"},                  // суббота, сб
    {"\xa2\xae\xe1\xaa\xe0\xa5\xe1\xa5\xad\xec\xa5", "\xa2\xe1"},  // воскресенье, вс
};

// Weekday (0 = Monday) of a name, any case, blanks around it ignored; -1 when unknown.
int weekday_of_name(const uint8_t* p, size_t n) {
  while (n > 0 && *p == ' ') {
    p++;
    n--;
  }
  while (n > 0 && p[n - 1] == ' ') n--;
  char lower[16];
  if (n == 0 || n >= sizeof lower) return -1;
  for (size_t k = 0; k < n; k++) lower[k] = static_cast<char>(CP866_LOWER[p[k]]);
  lower[n] = '\0';
  std::string_view name(lower, n);
  for (int w = 0; w < 7; w++) {
    std::string_view english(DAY_NAMES[w]);
    if (name == english || (n == 3 && name == english.substr(0, 3))) return w;
    if (name == RUSSIAN_DAYS[w].full || name == RUSSIAN_DAYS[w].abbreviation) return w;
  }
  return -1;
}

// NEXT_DAY: (d, name), the first day after d that falls on the named weekday, same time.
int op_next_day(EvalContext& ctx, const Value* args, int argc, Value* result) {
  DateRecord d{};
  TextArg name;
  int st = arg_date(args, argc, 0, &d);
  if (st == ARG_OK) st = arg_text(ctx, args, argc, 1, &name);
  if (st != ARG_OK) return arg_failure(st == ARG_ABSENT ? ARG_BAD : st, result);
  if (!in_calendar(d)) return BUILTIN_BAD_DATE;
  int want = weekday_of_name(name.p, name.n);
  if (want < 0) return BUILTIN_BAD_PARAMETER;
  int ahead = (want - day_of_week(d.day) + 7) % 7;
  d.day += static_cast<uint32_t>(ahead == 0 ? 7 : ahead);
  if (d.day > DAY_NUMBER_MAX) return BUILTIN_BAD_DATE;
  *result = make_date(d);
  return 0;
}

// ADD_MONTHS: (d, n), n months later (earlier when negative); a day past the end of the
// new month becomes its last day (31 January + 1 month is 28 or 29 February).
int op_add_months(const Value* args, int argc, Value* result) {
  DateRecord d{};
  int64_t months = 0;
  int st = arg_date(args, argc, 0, &d);
  if (st == ARG_OK) st = argc > 1 ? arg_int(args, argc, 1, 0, &months) : ARG_BAD;
  if (st != ARG_OK) return arg_failure(st, result);
  if (!in_calendar(d)) return BUILTIN_BAD_DATE;
  if (months > 12 * CALENDAR_YEAR_MAX || months < -12 * CALENDAR_YEAR_MAX)
    return BUILTIN_BAD_DATE;
  int day, month, year;
  day_number_to_dmy(d.day, &day, &month, &year);
  int64_t index = int64_t{year} * 12 + (month - 1) + months;
  auto new_year = static_cast<int>(index / 12);
  int new_month = static_cast<int>(index % 12) + 1;
  if (new_year < 1 || new_year > CALENDAR_YEAR_MAX) return BUILTIN_BAD_DATE;
  int last = MONTH_DAYS[is_leap_year(new_year) ? 1 : 0][new_month];
  int64_t n = dmy_to_day_number(day < last ? day : last, new_month, new_year);
  if (n == 0) return BUILTIN_BAD_DATE;
  d.day = static_cast<uint32_t>(n);
  *result = make_date(d);
  return 0;
}

// ATOD, TO_DATE: (s [, picture]). Without a picture s is read as dd.mm.yyyy, optionally
// followed by :hh, :mi, :ss and .hh; blanks around it are ignored.
int op_to_date(EvalContext& ctx, const Value* args, int argc, Value* result) {
  TextArg text, picture;
  int st = arg_text(ctx, args, argc, 0, &text);
  if (st != ARG_OK) return arg_failure(st == ARG_ABSENT ? ARG_BAD : st, result);
  const uint8_t* p = text.p;
  size_t n = text.n;
  DateRecord d{};
  if (argc > 1) {
    if (args[1].type != TYPE_CHAR && args[1].type != TYPE_NULL) return BUILTIN_BAD_PARAMETER;
    st = arg_text(ctx, args, argc, 1, &picture);
    if (st != ARG_OK) return arg_failure(st, result);
    std::string_view s(reinterpret_cast<const char*>(p), n);
    std::string_view pic(reinterpret_cast<const char*>(picture.p), picture.n);
    if (date_from_text_picture(s, pic, &d) != DATE_PICTURE_OK) return BUILTIN_BAD_DATE;
  } else {
    while (n > 0 && *p == ' ') {
      p++;
      n--;
    }
    while (n > 0 && p[n - 1] == ' ') n--;
    if (date_text_check(std::string_view(reinterpret_cast<const char*>(p), n), &d) != 0)
      return BUILTIN_BAD_DATE;
  }
  *result = make_date(d);
  return 0;
}

// DTOA: (d [, FALSE | picture]), the date's text as TOCHAR writes it.
int op_dtoa(EvalContext& ctx, const Value* args, int argc, Value* result) {
  if (argc < 1) return BUILTIN_BAD_PARAMETER;
  if (args[0].type == TYPE_NULL) return arg_failure(ARG_NULL, result);
  if (args[0].type != TYPE_DATE || ctx.strings == nullptr) return BUILTIN_BAD_PARAMETER;
  *result = value_to_text(*ctx.strings, args, argc);
  // A picture the date cannot be written through leaves no text without a memory failure.
  if (result->type == TYPE_CHAR && value_text(*result) == nullptr &&
      ctx.strings->run_status == 0)
    return BUILTIN_BAD_PARAMETER;
  return 0;
}

// The upper-cased picture element of argument i into out (dflt when absent); false when
// it is not a text or too long to be an element.
int element_arg(EvalContext& ctx, const Value* args, int argc, int i, const char* dflt,
                char* out, size_t capacity) {
  TextArg text;
  int st = arg_text(ctx, args, argc, i, &text);
  if (st == ARG_ABSENT) {
    std::strcpy(out, dflt);
    return ARG_OK;
  }
  if (st != ARG_OK) return st;
  if (args[i].type != TYPE_CHAR || text.n >= capacity) return ARG_BAD;
  for (size_t k = 0; k < text.n; k++) out[k] = static_cast<char>(CP866_UPPER[text.p[k]]);
  out[text.n] = '\0';
  return ARG_OK;
}

// DATE_ROUND, DATE_TRUNC: (d [, element]), the date rounded or cut to the unit an element
// of the date pictures names; the element defaults to DD (the day) and may be in any case.
int op_round_date(EvalContext& ctx, const Value* args, int argc, bool round, Value* result) {
  DateRecord d{};
  char element[16];
  int st = arg_date(args, argc, 0, &d);
  if (st == ARG_OK) st = element_arg(ctx, args, argc, 1, "DD", element, sizeof element);
  if (st != ARG_OK) return arg_failure(st, result);
  DateRecord out{};
  int r = round ? date_round(d, element, &out) : date_trunc(d, element, &out);
  if (r == DATE_PICTURE_BAD_ELEMENT) return BUILTIN_BAD_PARAMETER;
  if (r != DATE_PICTURE_OK) return BUILTIN_BAD_DATE;
  *result = make_date(out);
  return 0;
}

// DATESPLIT: (d [, part]), one part of a date as INTEGER, or without a part the date as
// the number yyyymmdd.
enum SplitPart { SPLIT_YEAR, SPLIT_MONTH, SPLIT_DAY, SPLIT_HOUR, SPLIT_MINUTE, SPLIT_SECOND,
                 SPLIT_HUNDREDTHS, SPLIT_DAY_OF_YEAR, SPLIT_WEEKDAY, SPLIT_DAY_NUMBER };
struct SplitName {
  const char* name;
  SplitPart part;
};
constexpr SplitName SPLIT_NAMES[] = {
    {"YYYY", SPLIT_YEAR},   {"MM", SPLIT_MONTH},          {"DD", SPLIT_DAY},
    {"HH", SPLIT_HOUR},     {"HH24", SPLIT_HOUR},         {"MI", SPLIT_MINUTE},
    {"SS", SPLIT_SECOND},   {"FF", SPLIT_HUNDREDTHS},     {"DDD", SPLIT_DAY_OF_YEAR},
    {"D", SPLIT_WEEKDAY},   {"J", SPLIT_DAY_NUMBER},
};

int op_datesplit(EvalContext& ctx, const Value* args, int argc, Value* result) {
  DateRecord d{};
  char name[16];
  int st = arg_date(args, argc, 0, &d);
  if (st == ARG_OK) st = element_arg(ctx, args, argc, 1, "", name, sizeof name);
  if (st != ARG_OK) return arg_failure(st, result);
  if (!in_calendar(d)) return BUILTIN_BAD_DATE;
  BrokenDate b = date_to_broken(d);
  if (name[0] == '\0') {
    *result = make_integer(int32_t{b.year} * 10000 + b.month * 100 + b.day);
    return 0;
  }
  for (const SplitName& s : SPLIT_NAMES) {
    if (std::strcmp(s.name, name) != 0) continue;
    int32_t v = 0;
    switch (s.part) {
      case SPLIT_YEAR: v = b.year; break;
      case SPLIT_MONTH: v = b.month; break;
      case SPLIT_DAY: v = b.day; break;
      case SPLIT_HOUR: v = b.hour; break;
      case SPLIT_MINUTE: v = b.minute; break;
      case SPLIT_SECOND: v = b.second; break;
      case SPLIT_HUNDREDTHS: v = b.hundredths; break;
      case SPLIT_DAY_OF_YEAR:
        v = static_cast<int32_t>(int64_t{d.day} - dmy_to_day_number(1, 1, b.year) + 1);
        break;
      case SPLIT_WEEKDAY: v = day_of_week(d.day) + 1; break;
      case SPLIT_DAY_NUMBER: v = static_cast<int32_t>(d.day); break;
    }
    *result = make_integer(v);
    return 0;
  }
  return BUILTIN_BAD_PARAMETER;
}

// A DATE read as a span: its days and hundredths in hundredths.
int64_t span_hundredths(DateRecord d) { return int64_t{d.day} * HUNDREDTHS_PER_DAY + d.time; }

// MULTIME: (span, k), a span of days and time multiplied by a number, as a DATE; the
// product is cut to whole hundredths. A negative or too large product is 12.
int op_multime(const Value* args, int argc, Value* result) {
  DateRecord d{};
  int st = arg_date(args, argc, 0, &d);
  if (st == ARG_OK && argc < 2) st = ARG_BAD;
  if (st == ARG_OK && args[1].type == TYPE_NULL) st = ARG_NULL;
  if (st == ARG_OK && !is_numeric_type(args[1].type)) st = ARG_BAD;
  if (st != ARG_OK) return arg_failure(st, result);
  Decimal product = decimal_mul(decimal_from_int64(span_hundredths(d)), read_as_numeric(args[1]));
  int state = decimal_classify(product);
  if (state == DEC_ZERO) {
    *result = make_date(DateRecord{0, 0});
    return 0;
  }
  if (state != DEC_POSITIVE) return BUILTIN_BAD_PARAMETER;
  int64_t days = 0;
  int32_t hundredths = 0;
  decimal_hundredths_to_days(product, &days, &hundredths);
  if (days > int64_t{UINT32_MAX}) return BUILTIN_BAD_PARAMETER;
  *result = make_date(DateRecord{static_cast<uint32_t>(days), hundredths});
  return 0;
}

// DIVTIME: (span, span), how many whole times the second span goes into the first.
int op_divtime(const Value* args, int argc, Value* result) {
  DateRecord a{};
  DateRecord b{};
  int st = arg_date(args, argc, 0, &a);
  if (st == ARG_OK) st = arg_date(args, argc, 1, &b);
  if (st != ARG_OK) return arg_failure(st, result);
  int64_t divisor = span_hundredths(b);
  if (divisor == 0) {
    *result = make_integer(0);
    return BUILTIN_DIV_BY_ZERO;
  }
  int64_t q = span_hundredths(a) / divisor;
  if (q > INT32_MAX || q < INT32_MIN) return BUILTIN_BAD_PARAMETER;
  *result = make_integer(static_cast<int32_t>(q));
  return 0;
}

}  // namespace

int builtins_date_call(int number, EvalContext& ctx, const Value* args, int argc,
                       Value* result) {
  for (const DatePart& part : DATE_PARTS) {
    if (part.number == number) return op_part(part, args, argc, result);
  }
  switch (number) {
    case BI_MAKE_DATE: return op_make_date(args, argc, result);
    case BI_SYSDATE: return op_sysdate(result);
    case BI_LAST_DAY: return op_last_day(args, argc, result);
    case BI_NEXT_DAY: return op_next_day(ctx, args, argc, result);
    case BI_ADD_MONTHS: return op_add_months(args, argc, result);
    case BI_ATOD:
    case BI_TO_DATE: return op_to_date(ctx, args, argc, result);
    case BI_DTOA: return op_dtoa(ctx, args, argc, result);
    case BI_DATE_ROUND: return op_round_date(ctx, args, argc, true, result);
    case BI_DATE_TRUNC: return op_round_date(ctx, args, argc, false, result);
    case BI_DATESPLIT: return op_datesplit(ctx, args, argc, result);
    case BI_MULTIME: return op_multime(args, argc, result);
    case BI_DIVTIME: return op_divtime(args, argc, result);
    default: return BUILTIN_BAD_PARAMETER;
  }
}

}  // namespace tavrel
