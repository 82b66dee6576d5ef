// The calendar behind DATE values: month lengths and names, leap years, the mapping
// between day numbers and day/month/year (proleptic Gregorian, day 1 = 1 January 0001),
// the broken-down form of a date record, and the plain text form of a date with its
// reader, which the lexer uses to check DATE constants.
#include "values/calendar.h"

namespace tavrel {

const uint8_t MONTH_DAYS[2][13] = {
    {0, 31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31},
    {0, 31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31},
};

const char MONTH_NAMES[12][20] = {"january", "february", "march",     "april",
                                  "may",     "june",     "july",      "august",
                                  "september", "october", "november", "december"};

const char DAY_NAMES[7][20] = {"monday", "tuesday",  "wednesday", "thursday",
                               "friday", "saturday", "sunday"};

namespace {

constexpr int64_t DAYS_PER_100_YEARS = 36524;
constexpr int64_t DAYS_PER_4_YEARS = 1461;
constexpr int64_t DAYS_PER_YEAR = 365;
// The largest day number a record can carry; larger ones would overflow the year.
constexpr int64_t DAY_NUMBER_LIMIT = 4294967295;

// Writes v as printf's "%0*d" would (the sign counts towards the width); returns the
// number of characters written. v is small enough here for 12 characters.
int put_number(char* out, int v, int width) {
  char digits[12];
  int n = 0;
  int64_t m = v < 0 ? -static_cast<int64_t>(v) : v;
  do {
    digits[n++] = static_cast<char>('0' + m % 10);
    m /= 10;
  } while (m != 0);
  int len = 0;
  if (v < 0) out[len++] = '-';
  for (int pad = n + len; pad < width; ++pad) out[len++] = '0';
  while (n > 0) out[len++] = digits[--n];
  return len;
}

int put_text(char* out, const char* text) {
  int len = 0;
  while (text[len] != '\0') {
    out[len] = text[len];
    ++len;
  }
  return len;
}

// Reads one or more digits (at most 9, so the value fits an int) from text at *pos.
bool read_field(std::string_view text, size_t* pos, int* value) {
  size_t p = *pos;
  int v = 0;
  while (p < text.size() && text[p] >= '0' && text[p] <= '9') {
    if (p - *pos == 9) return false;
    v = v * 10 + (text[p] - '0');
    ++p;
  }
  if (p == *pos) return false;
  *pos = p;
  *value = v;
  return true;
}

}  // namespace

bool is_leap_year(int year) {
  return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

void day_number_to_dmy(int64_t day_number, int* day, int* month, int* year) {
  *day = *month = *year = 0;
  if (day_number < 1 || day_number > DAY_NUMBER_LIMIT) return;
  int64_t n = day_number - 1;  // days since 1 January 0001
  int64_t cycles = n / DAYS_PER_400_YEARS;
  n %= DAYS_PER_400_YEARS;
  // The last day of a 400-year cycle is the 366th day of its fourth century's last year,
  // and the last day of a four-year group the 366th day of its fourth year.
  int64_t centuries = n / DAYS_PER_100_YEARS;
  if (centuries == 4) centuries = 3;
  n -= centuries * DAYS_PER_100_YEARS;
  int64_t groups = n / DAYS_PER_4_YEARS;
  n %= DAYS_PER_4_YEARS;
  int64_t years = n / DAYS_PER_YEAR;
  if (years == 4) years = 3;
  n -= years * DAYS_PER_YEAR;

  int y = static_cast<int>(cycles * 400 + centuries * 100 + groups * 4 + years + 1);
  int rest = static_cast<int>(n) + 1;  // day of the year
  const uint8_t* lengths = MONTH_DAYS[is_leap_year(y) ? 1 : 0];
  int m = 1;
  while (rest > lengths[m]) {
    rest -= lengths[m];
    ++m;
  }
  *day = rest;
  *month = m;
  *year = y;
}

int64_t dmy_to_day_number(int day, int month, int year) {
  if (year < 1 || year > CALENDAR_YEAR_MAX || month < 1 || month > 12) return 0;
  const uint8_t* lengths = MONTH_DAYS[is_leap_year(year) ? 1 : 0];
  if (day < 1 || day > lengths[month]) return 0;
  int64_t y = year - 1;
  int64_t n = y * DAYS_PER_YEAR + y / 4 - y / 100 + y / 400;
  for (int m = 1; m < month; ++m) n += lengths[m];
  return n + day;
}

int day_of_week(int64_t day_number) {
  // Day 1 was a Monday; the modulus is kept non-negative for day numbers below 1.
  int64_t r = (day_number - 1) % 7;
  return static_cast<int>(r < 0 ? r + 7 : r);
}

BrokenDate date_to_broken(DateRecord d) {
  int day = 0, month = 0, year = 0;
  if (d.day <= DAY_NUMBER_MAX) day_number_to_dmy(d.day, &day, &month, &year);
  int32_t t = d.time;
  BrokenDate b{};
  b.day = static_cast<int16_t>(day);
  b.month = static_cast<int16_t>(month);
  b.year = static_cast<int16_t>(year);
  b.hour = static_cast<int16_t>(t / HUNDREDTHS_PER_HOUR);
  b.minute = static_cast<int16_t>(t % HUNDREDTHS_PER_HOUR / HUNDREDTHS_PER_MINUTE);
  b.second = static_cast<int16_t>(t % HUNDREDTHS_PER_MINUTE / HUNDREDTHS_PER_SECOND);
  b.hundredths = static_cast<int16_t>(t % HUNDREDTHS_PER_SECOND);
  return b;
}

int broken_to_date(const BrokenDate& b, DateRecord* out) {
  int64_t day = dmy_to_day_number(b.day, b.month, b.year);
  if (day == 0) return 1;
  if (b.hour < 0 || b.hour > 23 || b.minute < 0 || b.minute > 59 || b.second < 0 ||
      b.second > 59 || b.hundredths < 0 || b.hundredths > 99)
    return 1;
  out->day = static_cast<uint32_t>(day);
  out->time = b.hour * HUNDREDTHS_PER_HOUR + b.minute * HUNDREDTHS_PER_MINUTE +
              b.second * HUNDREDTHS_PER_SECOND + b.hundredths;
  return 0;
}

int date_to_text(DateRecord d, bool with_time, char* out) {
  int len = 0;
  if (d.day > DAY_NUMBER_MAX) {
    len += put_text(out, "??.??.????");
  } else {
    int day, month, year;
    day_number_to_dmy(d.day, &day, &month, &year);
    len += put_number(out + len, day, 2);
    out[len++] = '.';
    len += put_number(out + len, month, 2);
    out[len++] = '.';
    len += put_number(out + len, year, 4);
  }
  if (with_time) {
    if (d.time < 0 || d.time >= HUNDREDTHS_PER_DAY) {
      len += put_text(out + len, ":??:??:??.??");
    } else {
      BrokenDate b = date_to_broken(d);
      out[len++] = ':';
      len += put_number(out + len, b.hour, 2);
      out[len++] = ':';
      len += put_number(out + len, b.minute, 2);
      out[len++] = ':';
      len += put_number(out + len, b.second, 2);
      out[len++] = '.';
      len += put_number(out + len, b.hundredths, 2);
    }
  }
  out[len] = '\0';
  return len;
}

int date_text_check(std::string_view text, DateRecord* out) {
  // Fields in order, each with the separator that precedes it; the time fields may stop
  // after any of them, the date fields may not.
  static constexpr char SEPARATORS[7] = {'\0', '.', '.', ':', ':', ':', '.'};
  int fields[7] = {0, 0, 0, 0, 0, 0, 0};
  size_t pos = 0;
  for (int i = 0; i < 7; ++i) {
    if (i > 0) {
      if (i >= 3 && pos == text.size()) break;
      if (pos >= text.size() || text[pos] != SEPARATORS[i]) return 1;
      ++pos;
    }
    if (!read_field(text, &pos, &fields[i])) return 1;
  }
  if (pos != text.size()) return 1;
  for (int f : fields)
    if (f > 32767) return 1;  // keeps the broken-down fields honest
  BrokenDate b{};
  b.day = static_cast<int16_t>(fields[0]);
  b.month = static_cast<int16_t>(fields[1]);
  b.year = static_cast<int16_t>(fields[2]);
  b.hour = static_cast<int16_t>(fields[3]);
  b.minute = static_cast<int16_t>(fields[4]);
  b.second = static_cast<int16_t>(fields[5]);
  b.hundredths = static_cast<int16_t>(fields[6]);
  return broken_to_date(b, out);
}

}  // namespace tavrel
