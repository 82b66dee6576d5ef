// The calendar: day numbers against day/month/year, leap years, the broken-down date and
// the plain text form of a date with its reader.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "values/calendar.h"

namespace tavrel {
namespace {

struct Dmy {
  int day, month, year;
};

Dmy dmy_of(int64_t n) {
  Dmy r{};
  day_number_to_dmy(n, &r.day, &r.month, &r.year);
  return r;
}

TEST(Calendar, KnownDayNumbers) {
  struct Case {
    int64_t n;
    Dmy expect;
  };
  const Case cases[] = {
      {1, {1, 1, 1}},          {0, {0, 0, 0}},           {-7, {0, 0, 0}},
      {365, {31, 12, 1}},      {1461, {31, 12, 4}},      {1462, {1, 1, 5}},
      {36524, {31, 12, 100}},  {36525, {1, 1, 101}},     {146097, {31, 12, 400}},
      {146098, {1, 1, 401}},   {730120, {1, 1, 2000}},   {730179, {29, 2, 2000}},
      {DAY_NUMBER_MAX, {31, 12, 9999}},
      {4294967296, {0, 0, 0}},  // past anything a record can carry
  };
  for (const Case& c : cases) {
    Dmy got = dmy_of(c.n);
    EXPECT_EQ(got.day, c.expect.day) << c.n;
    EXPECT_EQ(got.month, c.expect.month) << c.n;
    EXPECT_EQ(got.year, c.expect.year) << c.n;
    if (c.expect.year != 0) {
      EXPECT_EQ(dmy_to_day_number(c.expect.day, c.expect.month, c.expect.year), c.n);
    }
  }
}

// Walks the whole calendar one day at a time with its own simple month arithmetic and
// compares both directions and the day of the week on every day.
TEST(Calendar, EveryDayAgreesWithAWalk) {
  static const int LENGTHS[13] = {0, 31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  int d = 1, m = 1, y = 1;
  int weekday = 0;  // 1 January 0001 was a Monday
  for (int64_t n = 1; n <= DAY_NUMBER_MAX; ++n) {
    Dmy got = dmy_of(n);
    if (got.day != d || got.month != m || got.year != y || dmy_to_day_number(d, m, y) != n ||
        day_of_week(n) != weekday) {
      FAIL() << "day " << n << ": expected " << d << "." << m << "." << y << " got " << got.day
             << "." << got.month << "." << got.year;
    }
    bool leap = y % 400 == 0 || (y % 4 == 0 && y % 100 != 0);
    int length = m == 2 && leap ? 29 : LENGTHS[m];
    weekday = (weekday + 1) % 7;
    if (++d > length) {
      d = 1;
      if (++m > 12) {
        m = 1;
        ++y;
      }
    }
  }
  EXPECT_EQ(y, CALENDAR_YEAR_MAX + 1);
  EXPECT_EQ(day_of_week(730120), 5);  // 1 January 2000, a Saturday
}

// Far beyond the years the record names the cycles must still line up.
TEST(Calendar, CycleBoundariesFarOut) {
  for (int64_t k = 1; k * DAYS_PER_400_YEARS < 4294967295; k += 997) {
    Dmy last = dmy_of(k * DAYS_PER_400_YEARS);
    EXPECT_EQ(last.day, 31);
    EXPECT_EQ(last.month, 12);
    EXPECT_EQ(last.year, 400 * k);
    Dmy next = dmy_of(k * DAYS_PER_400_YEARS + 1);
    EXPECT_EQ(next.day, 1);
    EXPECT_EQ(next.month, 1);
    EXPECT_EQ(next.year, 400 * k + 1);
  }
}

TEST(Calendar, LeapYearsAndImpossibleDates) {
  EXPECT_TRUE(is_leap_year(2000));
  EXPECT_TRUE(is_leap_year(2004));
  EXPECT_TRUE(is_leap_year(1600));
  EXPECT_FALSE(is_leap_year(1900));
  EXPECT_FALSE(is_leap_year(2001));
  EXPECT_FALSE(is_leap_year(2100));

  EXPECT_NE(dmy_to_day_number(29, 2, 2000), 0);
  EXPECT_NE(dmy_to_day_number(29, 2, 2004), 0);
  EXPECT_EQ(dmy_to_day_number(29, 2, 1900), 0);
  EXPECT_EQ(dmy_to_day_number(29, 2, 2001), 0);
  const Dmy impossible[] = {{0, 1, 2000},  {32, 1, 2000}, {31, 4, 2000},
                            {1, 0, 2000},  {1, 13, 2000}, {1, 1, 0},
                            {1, 1, 10000}, {-1, 1, 2000}, {1, 1, -400}};
  for (const Dmy& c : impossible) {
    EXPECT_EQ(dmy_to_day_number(c.day, c.month, c.year), 0)
        << c.day << "." << c.month << "." << c.year;
  }
}

TEST(Calendar, BrokenDate) {
  BrokenDate b = date_to_broken({730120, 8639999});
  EXPECT_EQ(b.day, 1);
  EXPECT_EQ(b.month, 1);
  EXPECT_EQ(b.year, 2000);
  EXPECT_EQ(b.hour, 23);
  EXPECT_EQ(b.minute, 59);
  EXPECT_EQ(b.second, 59);
  EXPECT_EQ(b.hundredths, 99);

  BrokenDate none = date_to_broken({0, 0});
  EXPECT_EQ(none.day + none.month + none.year, 0);
  BrokenDate past = date_to_broken({DAY_NUMBER_MAX + 1, 0});
  EXPECT_EQ(past.day + past.month + past.year, 0);

  DateRecord back{};
  ASSERT_EQ(broken_to_date(b, &back), 0);
  EXPECT_EQ(back.day, 730120u);
  EXPECT_EQ(back.time, 8639999);

  struct Bad {
    BrokenDate b;
    const char* why;
  };
  const Bad bad[] = {
      {{29, 2, 1900, 0, 0, 0, 0}, "no 29 February"},
      {{1, 1, 2000, 24, 0, 0, 0}, "hour"},
      {{1, 1, 2000, 0, 60, 0, 0}, "minute"},
      {{1, 1, 2000, 0, 0, 60, 0}, "second"},
      {{1, 1, 2000, 0, 0, 0, 100}, "hundredths"},
      {{1, 1, 2000, -1, 0, 0, 0}, "negative hour"},
      {{0, 0, 0, 12, 0, 0, 0}, "no date"},
  };
  for (const Bad& c : bad) EXPECT_NE(broken_to_date(c.b, &back), 0) << c.why;
}

TEST(Calendar, TextForm) {
  struct Case {
    DateRecord d;
    bool with_time;
    const char* expect;
  };
  const Case cases[] = {
      {{730120, 0}, false, "01.01.2000"},
      {{730120, 8639999}, true, "01.01.2000:23:59:59.99"},
      {{1, 360000 + 2 * 6000 + 3 * 100 + 4}, true, "01.01.0001:01:02:03.04"},
      {{0, 0}, true, "00.00.0000:00:00:00.00"},
      {{DAY_NUMBER_MAX, 0}, false, "31.12.9999"},
      {{DAY_NUMBER_MAX + 1, 0}, false, "??.??.????"},
      {{4294967295u, -2147483647 - 1}, true, "??.??.????:??:??:??.??"},
      {{730120, HUNDREDTHS_PER_DAY}, true, "01.01.2000:??:??:??.??"},
  };
  for (const Case& c : cases) {
    char out[DATE_TEXT_CAPACITY];
    std::memset(out, 'x', sizeof out);
    int n = date_to_text(c.d, c.with_time, out);
    EXPECT_STREQ(out, c.expect);
    EXPECT_EQ(n, static_cast<int>(std::strlen(c.expect)));
  }
}

TEST(Calendar, TextCheck) {
  struct Case {
    const char* text;
    bool real;
    int64_t day;
    int32_t time;
  };
  const Case cases[] = {
      {"01.01.2000:00:00:00.00", true, 730120, 0},
      {"29.02.2000:23:59:59.99", true, 730179, 8639999},
      {"01.01.2000", true, 730120, 0},
      {"1.1.2000:1", true, 730120, 360000},
      {"01.01.2000:12:30", true, 730120, 12 * 360000 + 30 * 6000},
      {"29.02.1900:00:00:00.00", false, 0, 0},
      {"31.12.10000:00:00:00.00", false, 0, 0},
      {"00.00.0000:00:00:00.00", false, 0, 0},
      {"01.01.2000:24:00:00.00", false, 0, 0},
      {"01.01.2000:00:00:00.100", false, 0, 0},
      {"01.13.2000", false, 0, 0},
      {"01.01", false, 0, 0},
      {"01/01/2000", false, 0, 0},
      {"01.01.2000:", false, 0, 0},
      {"01.01.2000 ", false, 0, 0},
      {"01.01.2000:00:00:00.00x", false, 0, 0},
      {"01.01.9999999999", false, 0, 0},
      {"", false, 0, 0},
  };
  for (const Case& c : cases) {
    DateRecord d{7, 7};
    int status = date_text_check(c.text, &d);
    EXPECT_EQ(status == 0, c.real) << c.text;
    if (c.real) {
      EXPECT_EQ(d.day, static_cast<uint32_t>(c.day)) << c.text;
      EXPECT_EQ(d.time, c.time) << c.text;
    }
  }
}

// What the text form writes, the reader takes back.
TEST(Calendar, TextFormReadsBack) {
  for (uint32_t day = 1; day <= DAY_NUMBER_MAX; day += 9973) {
    DateRecord d{day, static_cast<int32_t>(day * 7919u % HUNDREDTHS_PER_DAY)};
    char text[DATE_TEXT_CAPACITY];
    date_to_text(d, true, text);
    DateRecord back{};
    ASSERT_EQ(date_text_check(text, &back), 0) << text;
    EXPECT_EQ(back.day, d.day);
    EXPECT_EQ(back.time, d.time);
  }
}

}  // namespace
}  // namespace tavrel
