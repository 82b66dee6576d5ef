// Date pictures: TO_CHAR of a date, TO_DATE, DATE_ROUND and DATE_TRUNC.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "values/date_picture.h"

namespace tavrel {
namespace {

DateRecord at(int d, int m, int y, int hh = 0, int mi = 0, int ss = 0, int ff = 0) {
  return {static_cast<uint32_t>(dmy_to_day_number(d, m, y)),
          hh * HUNDREDTHS_PER_HOUR + mi * HUNDREDTHS_PER_MINUTE + ss * HUNDREDTHS_PER_SECOND + ff};
}

std::string show(DateRecord d) {
  char text[DATE_TEXT_CAPACITY];
  date_to_text(d, true, text);
  return text;
}

std::string to_text(DateRecord d, const char* picture) {
  char out[256];
  size_t length = 0;
  int status = date_to_text_picture(d, picture, out, sizeof out, &length);
  EXPECT_EQ(status, DATE_PICTURE_OK) << picture;
  EXPECT_EQ(length, std::strlen(out)) << picture;
  return out;
}

// Tuesday 5 March 2024, the 65th day of a leap year.
const DateRecord SAMPLE = at(5, 3, 2024, 14, 7, 9, 5);

TEST(DatePicture, ElementsToText) {
  struct Case {
    DateRecord d;
    const char* picture;
    const char* expect;
  };
  const Case cases[] = {
      {SAMPLE, "DD.MM.YYYY HH24:MI:SS.FF", "05.03.2024 14:07:09.05"},
      {SAMPLE, "D DDD DY DAY", "2 065 TUE TUESDAY"},
      {SAMPLE, "Dy Day dy day", "Tue Tuesday tue tuesday"},
      {SAMPLE, "MONTH Month month MON Mon mon", "MARCH March march MAR Mar mar"},
      {SAMPLE, "HH12 HH AM A.M. am a.m. PM p.m. Pm", "02 02 PM P.M. pm p.m. PM p.m. PM"},
      {SAMPLE, "YY FFF MS", "24 050 050"},
      {SAMPLE, "dd.mm.yyyy hh24:mi", "05.03.2024 14:07"},
      // Longest element first: DDD then D, MM then a plain M, YYYY then a plain Y.
      {SAMPLE, "DDDD MMM YYYYY HH24HH12", "0652 03M 2024Y 1402"},
      {SAMPLE, "\"Day\" DD, \"MM\"", "Day 05, MM"},
      {SAMPLE, "Q=DD; \"unclosed", "Q=05; unclosed"},
      {SAMPLE, "", ""},
      {SAMPLE, "YYYY-DDD \"day\" D", "2024-065 day 2"},
      {at(1, 1, 2000), "HH12:MI AM DY", "12:00 AM SAT"},
      {at(1, 1, 2000, 12), "HH:MI a.m.", "12:00 p.m."},
      {at(31, 12, 9999, 23, 59, 59, 99), "DDD YYYY HH24:MI:SS.FF DAY",
       "365 9999 23:59:59.99 FRIDAY"},
      // A record without a calendar day or with a time out of range.
      {{0, 0}, "DD.MM.YYYY D DDD DY MONTH HH24", "??.??.???? ? ??? ??? ??? 00"},
      {{DAY_NUMBER_MAX + 1, 0}, "YY", "??"},
      {{730120, -1}, "HH:MI:SS.FF FFF AM A.M. DD", "??:??:??.?? ??? ?? ?.?. 01"},
      {{730120, HUNDREDTHS_PER_DAY}, "HH24", "??"},
  };
  for (const Case& c : cases) EXPECT_EQ(to_text(c.d, c.picture), c.expect) << c.picture;
}

TEST(DatePicture, ResultTooLong) {
  char out[16];
  size_t length = 99;
  EXPECT_EQ(date_to_text_picture(SAMPLE, "YYYY-MM-DD", out, 11, &length), DATE_PICTURE_OK);
  EXPECT_STREQ(out, "2024-03-05");
  EXPECT_EQ(length, 10u);
  EXPECT_EQ(date_to_text_picture(SAMPLE, "YYYY-MM-DD", out, 10, &length), DATE_PICTURE_TOO_LONG);
  EXPECT_STREQ(out, "2024-03-0");
  EXPECT_EQ(length, 9u);
  std::memset(out, 'x', sizeof out);
  EXPECT_EQ(date_to_text_picture(SAMPLE, "DD", out, 0, &length), DATE_PICTURE_TOO_LONG);
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(out[0], 'x');
}

TEST(DatePicture, TextToDate) {
  struct Case {
    const char* text;
    const char* picture;
    int status;
    DateRecord expect;
  };
  const DateRecord none{0, 0};
  const Case cases[] = {
      {"05.03.2024 14:07:09.05", "DD.MM.YYYY HH24:MI:SS.FF", DATE_PICTURE_OK, SAMPLE},
      {"5.3.2024", "DD.MM.YYYY", DATE_PICTURE_OK, at(5, 3, 2024)},
      {"  5. 3.2024  ", "DD.MM.YYYY", DATE_PICTURE_OK, at(5, 3, 2024)},
      {"05032024", "DDMMYYYY", DATE_PICTURE_OK, at(5, 3, 2024)},
      {"5 3   2024", "dd mm yyyy", DATE_PICTURE_OK, at(5, 3, 2024)},
      {"march 5, 2024", "MONTH DD, YYYY", DATE_PICTURE_OK, at(5, 3, 2024)},
      {"Mar 5, 2024", "MONTH DD, YYYY", DATE_PICTURE_OK, at(5, 3, 2024)},
      {"MAR 5 2024", "MON DD YYYY", DATE_PICTURE_OK, at(5, 3, 2024)},
      {"Tuesday 05.03.2024", "DAY DD.MM.YYYY", DATE_PICTURE_OK, at(5, 3, 2024)},
      {"065 2024", "DDD YYYY", DATE_PICTURE_OK, at(5, 3, 2024)},
      {"065 2024 05.03", "DDD YYYY DD.MM", DATE_PICTURE_OK, at(5, 3, 2024)},
      {"49", "YY", DATE_PICTURE_OK, at(1, 1, 2049)},
      {"50", "YY", DATE_PICTURE_OK, at(1, 1, 1950)},
      {"05.03", "DD.MM", DATE_PICTURE_OK, at(5, 3, 1)},
      {"Day 5", "\"Day\" DD", DATE_PICTURE_OK, at(5, 1, 1)},
      {"29.02.2000", "DD.MM.YYYY", DATE_PICTURE_OK, at(29, 2, 2000)},
      // Times alone have no day; 12 AM is midnight, an hour without a marker is before noon.
      {"2:07 PM", "HH:MI AM", DATE_PICTURE_OK, {0, 14 * 360000 + 7 * 6000}},
      {"12:00 a.m.", "HH12:MI A.M.", DATE_PICTURE_OK, none},
      {"12:00 p.m.", "HH12:MI PM", DATE_PICTURE_OK, {0, 12 * 360000}},
      {"12:30", "HH:MI", DATE_PICTURE_OK, {0, 30 * 6000}},
      {"23 PM", "HH24 PM", DATE_PICTURE_OK, {0, 23 * 360000}},
      {"5.5", "SS.FF", DATE_PICTURE_OK, {0, 550}},
      {"5.5", "SS.FFF", DATE_PICTURE_OK, {0, 550}},
      {"5.123", "SS.FFF", DATE_PICTURE_OK, {0, 512}},
      {"5.5", "SS.MS", DATE_PICTURE_OK, {0, 500}},
      {"5.990", "SS.MS", DATE_PICTURE_OK, {0, 599}},
      {"", "", DATE_PICTURE_OK, none},
      {"31.02.2024", "DD.MM.YYYY", DATE_PICTURE_BAD_DATE, none},
      {"29.02.1900", "DD.MM.YYYY", DATE_PICTURE_BAD_DATE, none},
      {"00.01.2024", "DD.MM.YYYY", DATE_PICTURE_BAD_DATE, none},
      {"01.13.2024", "DD.MM.YYYY", DATE_PICTURE_BAD_DATE, none},
      {"0000", "YYYY", DATE_PICTURE_BAD_DATE, none},
      {"366 2023", "DDD YYYY", DATE_PICTURE_BAD_DATE, none},
      {"065 2024 06.03", "DDD YYYY DD.MM", DATE_PICTURE_BAD_DATE, none},
      {"13:00", "HH:MI", DATE_PICTURE_BAD_DATE, none},
      {"00:00", "HH12:MI", DATE_PICTURE_BAD_DATE, none},
      {"24:00", "HH24:MI", DATE_PICTURE_BAD_DATE, none},
      {"10:60", "HH24:MI", DATE_PICTURE_BAD_DATE, none},
      {"05-03-2024", "DD.MM.YYYY", DATE_PICTURE_BAD_TEXT, none},
      {"05.03.2024x", "DD.MM.YYYY", DATE_PICTURE_BAD_TEXT, none},
      {"05.03.20245", "DD.MM.YYYY", DATE_PICTURE_BAD_TEXT, none},
      {"Foo 05.03.2024", "DY DD.MM.YYYY", DATE_PICTURE_BAD_TEXT, none},
      {"Marc 5", "MONTH DD", DATE_PICTURE_BAD_TEXT, none},
      {"", "DD", DATE_PICTURE_BAD_TEXT, none},
      {"1", "D", DATE_PICTURE_BAD_TEXT, none},  // D is plain text when reading
      {"10 XM", "HH AM", DATE_PICTURE_BAD_TEXT, none},
  };
  for (const Case& c : cases) {
    DateRecord got{12345, 678};
    int status = date_from_text_picture(c.text, c.picture, &got);
    EXPECT_EQ(status, c.status) << c.text << " / " << c.picture;
    if (status == DATE_PICTURE_OK && c.status == DATE_PICTURE_OK) {
      EXPECT_EQ(show(got), show(c.expect)) << c.text << " / " << c.picture;
    }
  }
}

// Whatever a full picture writes, the same picture reads back to the same record.
TEST(DatePicture, WrittenTextReadsBack) {
  const char* pictures[] = {
      "YYYY-MM-DD HH24:MI:SS.FF",
      "DDD YYYY HH24MISSFFF",
      "Day, DD Month YYYY HH12:MI:SS.FF A.M.",
      "dy dd mon yyyy hh:mi:ss.ms pm",
      "\"at\" HH24 \"on\" DD/MM/YYYY.FF.SS.MI",
  };
  for (const char* picture : pictures) {
    for (uint32_t day = 1; day <= DAY_NUMBER_MAX; day += 3323) {
      DateRecord d{day, static_cast<int32_t>(day * 104729u % HUNDREDTHS_PER_DAY)};
      std::string text = to_text(d, picture);
      DateRecord back{};
      ASSERT_EQ(date_from_text_picture(text, picture, &back), DATE_PICTURE_OK)
          << text << " / " << picture;
      ASSERT_EQ(show(back), show(d)) << text << " / " << picture;
    }
  }
}

TEST(DatePicture, RoundAndTruncate) {
  struct Case {
    DateRecord d;
    const char* element;
    DateRecord rounded, truncated;
  };
  const Case cases[] = {
      {SAMPLE, "YYYY", at(1, 1, 2024), at(1, 1, 2024)},
      {at(30, 6, 2024, 23, 59, 59, 99), "YY", at(1, 1, 2024), at(1, 1, 2024)},
      {at(1, 7, 2024), "YYYY", at(1, 1, 2025), at(1, 1, 2024)},
      {SAMPLE, "MM", at(1, 3, 2024), at(1, 3, 2024)},
      {at(15, 12, 2024, 23, 59), "MONTH", at(1, 12, 2024), at(1, 12, 2024)},
      {at(16, 12, 2024), "MON", at(1, 1, 2025), at(1, 12, 2024)},
      {SAMPLE, "DD", at(6, 3, 2024), at(5, 3, 2024)},
      {at(5, 3, 2024, 11, 59, 59, 99), "DDD", at(5, 3, 2024), at(5, 3, 2024)},
      {at(31, 12, 2024, 12), "DD", at(1, 1, 2025), at(31, 12, 2024)},
      // Weeks start on Monday and round up from Thursday noon.
      {SAMPLE, "DAY", at(4, 3, 2024), at(4, 3, 2024)},
      {at(7, 3, 2024, 11, 59, 59, 99), "DY", at(4, 3, 2024), at(4, 3, 2024)},
      {at(7, 3, 2024, 12), "DAY", at(11, 3, 2024), at(4, 3, 2024)},
      {at(4, 3, 2024), "DAY", at(4, 3, 2024), at(4, 3, 2024)},
      {SAMPLE, "HH24", at(5, 3, 2024, 14), at(5, 3, 2024, 14)},
      {at(5, 3, 2024, 14, 30), "HH", at(5, 3, 2024, 15), at(5, 3, 2024, 14)},
      {at(31, 12, 2024, 23, 30), "HH12", at(1, 1, 2025), at(31, 12, 2024, 23)},
      {SAMPLE, "AM", at(5, 3, 2024, 12), at(5, 3, 2024, 12)},
      {at(5, 3, 2024, 5, 59, 59, 99), "P.M.", at(5, 3, 2024), at(5, 3, 2024)},
      {at(5, 3, 2024, 6), "PM", at(5, 3, 2024, 12), at(5, 3, 2024)},
      {at(5, 3, 2024, 18), "A.M.", at(6, 3, 2024), at(5, 3, 2024, 12)},
      {SAMPLE, "MI", at(5, 3, 2024, 14, 7), at(5, 3, 2024, 14, 7)},
      {at(5, 3, 2024, 14, 7, 30), "MI", at(5, 3, 2024, 14, 8), at(5, 3, 2024, 14, 7)},
      {SAMPLE, "SS", at(5, 3, 2024, 14, 7, 9), at(5, 3, 2024, 14, 7, 9)},
      {at(5, 3, 2024, 14, 7, 9, 50), "SS", at(5, 3, 2024, 14, 7, 10), at(5, 3, 2024, 14, 7, 9)},
      {SAMPLE, "FF", SAMPLE, SAMPLE},
      {SAMPLE, "FFF", SAMPLE, SAMPLE},
      {SAMPLE, "MS", SAMPLE, SAMPLE},
      {SAMPLE, " mm ", at(1, 3, 2024), at(1, 3, 2024)},
      {{0, 10 * 360000 + 40 * 6000}, "HH", {0, 11 * 360000}, {0, 10 * 360000}},
  };
  for (const Case& c : cases) {
    DateRecord got{};
    ASSERT_EQ(date_round(c.d, c.element, &got), DATE_PICTURE_OK) << show(c.d) << " " << c.element;
    EXPECT_EQ(show(got), show(c.rounded)) << "round " << show(c.d) << " " << c.element;
    ASSERT_EQ(date_trunc(c.d, c.element, &got), DATE_PICTURE_OK) << show(c.d) << " " << c.element;
    EXPECT_EQ(show(got), show(c.truncated)) << "trunc " << show(c.d) << " " << c.element;
  }
}

TEST(DatePicture, RoundAndTruncateRefusals) {
  DateRecord got{};
  for (const char* element : {"D", "", "XX", "DD MM", "MONTHS", "HH 24"}) {
    EXPECT_EQ(date_round(SAMPLE, element, &got), DATE_PICTURE_BAD_ELEMENT) << element;
    EXPECT_EQ(date_trunc(SAMPLE, element, &got), DATE_PICTURE_BAD_ELEMENT) << element;
  }
  // No calendar day for a date unit, a time out of range, a step past either end.
  EXPECT_EQ(date_trunc({0, 0}, "DD", &got), DATE_PICTURE_BAD_DATE);
  EXPECT_EQ(date_round({0, 0}, "YYYY", &got), DATE_PICTURE_BAD_DATE);
  EXPECT_EQ(date_round({0, 8639999}, "SS", &got), DATE_PICTURE_BAD_DATE);
  EXPECT_EQ(date_trunc({730120, -1}, "HH", &got), DATE_PICTURE_BAD_DATE);
  EXPECT_EQ(date_trunc({730120, HUNDREDTHS_PER_DAY}, "HH", &got), DATE_PICTURE_BAD_DATE);
  EXPECT_EQ(date_trunc({DAY_NUMBER_MAX + 1, 0}, "HH", &got), DATE_PICTURE_BAD_DATE);
  EXPECT_EQ(date_round(at(31, 12, 9999), "YYYY", &got), DATE_PICTURE_BAD_DATE);
  EXPECT_EQ(date_round(at(31, 12, 9999, 12), "DD", &got), DATE_PICTURE_BAD_DATE);
  EXPECT_EQ(date_trunc(at(31, 12, 9999, 23), "YYYY", &got), DATE_PICTURE_OK);
}

// For every unit: truncation does not move forward and is settled, rounding lands on the
// truncation or on a later start of the unit, and both are settled under each other.
TEST(DatePicture, RoundAndTruncateAreConsistent) {
  const char* units[] = {"YYYY", "MM", "DAY", "DD", "AM", "HH", "MI", "SS", "FF"};
  auto key = [](DateRecord d) { return int64_t{d.day} * HUNDREDTHS_PER_DAY + d.time; };
  for (uint32_t day = 1; day < DAY_NUMBER_MAX - 400; day += 7717) {
    DateRecord d{day, static_cast<int32_t>(day * 15485863u % HUNDREDTHS_PER_DAY)};
    for (const char* unit : units) {
      DateRecord t{}, r{}, tt{}, rt{};
      ASSERT_EQ(date_trunc(d, unit, &t), DATE_PICTURE_OK);
      ASSERT_EQ(date_round(d, unit, &r), DATE_PICTURE_OK);
      ASSERT_EQ(date_trunc(t, unit, &tt), DATE_PICTURE_OK);
      ASSERT_EQ(date_trunc(r, unit, &rt), DATE_PICTURE_OK);
      EXPECT_LE(key(t), key(d)) << show(d) << " " << unit;
      EXPECT_EQ(key(tt), key(t)) << show(d) << " " << unit;
      EXPECT_EQ(key(rt), key(r)) << show(d) << " " << unit;
      EXPECT_TRUE(key(r) == key(t) || key(r) > key(d)) << show(d) << " " << unit;
    }
  }
}

}  // namespace
}  // namespace tavrel
