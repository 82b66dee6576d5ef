// The calendar: day numbers of the proleptic Gregorian calendar (day 1 is 1 January of
// year 1), leap years, time of day in hundredths of a second, and the date record.
#pragma once

#include <cstdint>
#include <string_view>

namespace tavrel {

constexpr int32_t HUNDREDTHS_PER_DAY = 8640000;
constexpr int32_t HUNDREDTHS_PER_HOUR = 360000;
constexpr int32_t HUNDREDTHS_PER_MINUTE = 6000;
constexpr int32_t HUNDREDTHS_PER_SECOND = 100;
constexpr int32_t DAYS_PER_400_YEARS = 146097;
// The calendar of dates runs from 1 January 0001 (day 1) to 31 December 9999; a record
// whose day number lies past the last day names no date.
constexpr int CALENDAR_YEAR_MAX = 9999;
constexpr uint32_t DAY_NUMBER_MAX = 3652059;

// The 8-byte payload of a DATE value.
struct DateRecord {
  uint32_t day;   // day number, 0 = no date
  int32_t time;   // hundredths of a second since midnight, 0..8639999
};

struct BrokenDate {
  int16_t day, month, year, hour, minute, second, hundredths;
};

// Month lengths by [leap][month], month 1..12 (entry 0 unused).
extern const uint8_t MONTH_DAYS[2][13];
// Lower-case names, 20-character slots; months January first, days Monday first.
extern const char MONTH_NAMES[12][20];
extern const char DAY_NAMES[7][20];

bool is_leap_year(int year);
// Day number to day, month and year; a day number below 1 (or above what a record can
// carry, 4294967295) gives all three 0.
void day_number_to_dmy(int64_t day_number, int* day, int* month, int* year);
// Day, month and year to a day number; 0 when the date does not exist or lies outside
// the years 1..CALENDAR_YEAR_MAX.
int64_t dmy_to_day_number(int day, int month, int year);
// Day of the week, 0 = Monday.
int day_of_week(int64_t day_number);

// Day, month and year are 0 for day 0 and for a day past DAY_NUMBER_MAX; the time parts
// are the plain divisions of the time of day, so a time out of range gives odd parts.
BrokenDate date_to_broken(DateRecord d);
// 0 when every field is in range (and the day exists in its month), else non-zero.
int broken_to_date(const BrokenDate& b, DateRecord* out);

// "%02d.%02d.%04d:%02d:%02d:%02d.%02d" (full) or "%02d.%02d.%04d" (date only) into out,
// which holds at least DATE_TEXT_CAPACITY bytes; returns the length. Day 0 is written
// 00.00.0000; a day past DAY_NUMBER_MAX as ??.??.???? and a time out of range as
// ??:??:??.??, so the text always fits.
constexpr int DATE_TEXT_CAPACITY = 25;
int date_to_text(DateRecord d, bool with_time, char* out);

// Reads "dd.mm.yyyy[:hh[:mi[:ss[.hh]]]]" (each field one or more digits) and says whether
// it is a real date: 0 and the record stored when it is, non-zero otherwise.
int date_text_check(std::string_view text, DateRecord* out);

}  // namespace tavrel
