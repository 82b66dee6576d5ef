// Date pictures: writing a date record as text through a picture (TO_CHAR), reading text
// through a picture (TO_DATE), and rounding or truncating a date to the unit one picture
// element names (DATE_ROUND, DATE_TRUNC).
//
// A picture is scanned from the left. At each place the element tables below are tried
// in their order; the picture's letters are compared in capitals, the longest element
// that matches wins and, of two of the same length, the earlier one. Text in double
// quotes and every character that starts no element are copied (or, when reading,
// matched) as they stand. The three operations know different vocabularies, so each has
// its own table. Writing allocates nothing and formats its digits itself: it is on the
// hot path of every TO_CHAR of a date.
#include "values/date_picture.h"

#include <cstdint>

namespace tavrel {

namespace {

// What an element stands for; several spellings may share one meaning.
enum class Part : uint8_t {
  WEEKDAY_NUMBER,  // D: 1..7, Monday = 1
  DAY_OF_YEAR,     // DDD: 001..366
  DAY_OF_MONTH,    // DD: 01..31
  DAY_NAME_SHORT,  // DY: three letters
  DAY_NAME,        // DAY
  MONTH_NUMBER,    // MM: 01..12
  MONTH_NAME,      // MONTH
  MONTH_NAME_SHORT,// MON: three letters
  YEAR4,           // YYYY
  YEAR2,           // YY: the last two digits
  HOUR24,          // HH24: 00..23
  HOUR12,          // HH12, HH: 01..12
  MERIDIAN,        // A.M., P.M., AM, PM and their lower-case forms
  MINUTE,          // MI
  SECOND,          // SS
  MILLISECOND,     // MS: the milliseconds as a number, 000..990
  FRACTION3,       // FFF: the fraction of the second to three digits
  FRACTION2,       // FF: the fraction of the second to two digits (hundredths)
};

struct PictureElement {
  std::string_view text;
  Part part;
};

// The orders of these three tables are the orders in which each operation tries its
// elements; keep them as they stand.
constexpr PictureElement TO_TEXT_ELEMENTS[] = {
    {"D", Part::WEEKDAY_NUMBER}, {"DDD", Part::DAY_OF_YEAR},
    {"DD", Part::DAY_OF_MONTH},  {"DY", Part::DAY_NAME_SHORT},
    {"DAY", Part::DAY_NAME},     {"MM", Part::MONTH_NUMBER},
    {"MI", Part::MINUTE},        {"MONTH", Part::MONTH_NAME},
    {"MON", Part::MONTH_NAME_SHORT}, {"MS", Part::MILLISECOND},
    {"YYYY", Part::YEAR4},       {"YY", Part::YEAR2},
    {"HH24", Part::HOUR24},      {"HH12", Part::HOUR12},
    {"HH", Part::HOUR12},        {"A.M.", Part::MERIDIAN},
    {"P.M.", Part::MERIDIAN},    {"p.m.", Part::MERIDIAN},
    {"a.m.", Part::MERIDIAN},    {"AM", Part::MERIDIAN},
    {"PM", Part::MERIDIAN},      {"pm", Part::MERIDIAN},
    {"am", Part::MERIDIAN},      {"SS", Part::SECOND},
    {"FFF", Part::FRACTION3},    {"FF", Part::FRACTION2},
};

constexpr PictureElement FROM_TEXT_ELEMENTS[] = {
    {"MM", Part::MONTH_NUMBER},  {"MONTH", Part::MONTH_NAME},
    {"HH12", Part::HOUR12},      {"PM", Part::MERIDIAN},
    {"P.M.", Part::MERIDIAN},    {"A.M.", Part::MERIDIAN},
    {"AM", Part::MERIDIAN},      {"DDD", Part::DAY_OF_YEAR},
    {"DAY", Part::DAY_NAME},     {"DY", Part::DAY_NAME_SHORT},
    {"MON", Part::MONTH_NAME_SHORT}, {"DD", Part::DAY_OF_MONTH},
    {"YYYY", Part::YEAR4},       {"YY", Part::YEAR2},
    {"HH24", Part::HOUR24},      {"HH", Part::HOUR12},
    {"MI", Part::MINUTE},        {"SS", Part::SECOND},
    {"MS", Part::MILLISECOND},   {"FFF", Part::FRACTION3},
    {"FF", Part::FRACTION2},
};

constexpr PictureElement UNIT_ELEMENTS[] = {
    {"MM", Part::MONTH_NUMBER},  {"MI", Part::MINUTE},
    {"MONTH", Part::MONTH_NAME}, {"MON", Part::MONTH_NAME_SHORT},
    {"MS", Part::MILLISECOND},   {"HH12", Part::HOUR12},
    {"HH24", Part::HOUR24},      {"HH", Part::HOUR12},
    {"A.M.", Part::MERIDIAN},    {"P.M.", Part::MERIDIAN},
    {"AM", Part::MERIDIAN},      {"PM", Part::MERIDIAN},
    {"DDD", Part::DAY_OF_YEAR},  {"DD", Part::DAY_OF_MONTH},
    {"DAY", Part::DAY_NAME},     {"DY", Part::DAY_NAME_SHORT},
    {"YYYY", Part::YEAR4},       {"YY", Part::YEAR2},
    {"FFF", Part::FRACTION3},    {"FF", Part::FRACTION2},
    {"SS", Part::SECOND},
};

// Meridian markers, by [dotted][lower case][after noon]; the unknown marker by [dotted].
constexpr std::string_view MERIDIAN_TEXTS[2][2][2] = {
    {{"AM", "PM"}, {"am", "pm"}},
    {{"A.M.", "P.M."}, {"a.m.", "p.m."}},
};
constexpr std::string_view UNKNOWN_MERIDIAN[2] = {"??", "?.?."};

constexpr size_t SHORT_NAME = 3;  // letters of DY and MON

constexpr char upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; }
constexpr bool is_lower(char c) { return c >= 'a' && c <= 'z'; }
constexpr bool is_digit(char c) { return c >= '0' && c <= '9'; }

// Does an element of the picture begin at pos? Letters are compared in capitals.
bool element_at(std::string_view picture, size_t pos, std::string_view element) {
  if (picture.size() - pos < element.size()) return false;
  for (size_t i = 0; i < element.size(); ++i)
    if (upper(picture[pos + i]) != upper(element[i])) return false;
  return true;
}

// The longest element of the table that begins at pos, the earliest of equal length;
// nullptr when none does.
template <size_t N>
const PictureElement* match_element(const PictureElement (&table)[N], std::string_view picture,
                                    size_t pos) {
  // Every element begins with one of these letters; anything else is plain text.
  char c = upper(picture[pos]);
  if (c != 'D' && c != 'M' && c != 'Y' && c != 'H' && c != 'A' && c != 'P' && c != 'S' &&
      c != 'F')
    return nullptr;
  const PictureElement* best = nullptr;
  for (const PictureElement& e : table) {
    // Most elements differ in the first letter: test it before the whole element.
    if (upper(e.text[0]) != c) continue;
    if ((best == nullptr || e.text.size() > best->text.size()) && element_at(picture, pos, e.text))
      best = &e;
  }
  return best;
}

// How names and markers are capitalised: as the element is written in the picture.
enum class Style : uint8_t { UPPER, CAPITALISED, LOWER };

Style style_at(std::string_view picture, size_t pos, size_t length) {
  if (is_lower(picture[pos])) return Style::LOWER;
  if (length > 1 && is_lower(picture[pos + 1])) return Style::CAPITALISED;
  return Style::UPPER;
}

// The caller's buffer; characters that do not fit are counted but not stored.
struct Sink {
  char* out;
  size_t room;  // characters that fit before the terminator
  size_t length;

  void put(char c) {
    if (length < room) out[length] = c;
    ++length;
  }
  void put(std::string_view s) {
    for (char c : s) put(c);
  }
  void repeat(char c, size_t n) {
    for (size_t i = 0; i < n; ++i) put(c);
  }
  // v in 0..10^width - 1, zero-padded to width digits; question marks when unknown.
  void number(bool known, int v, int width) {
    if (!known) {
      repeat('?', static_cast<size_t>(width));
      return;
    }
    char digits[10];
    for (int i = width - 1; i >= 0; --i) {
      digits[i] = static_cast<char>('0' + v % 10);
      v /= 10;
    }
    for (int i = 0; i < width; ++i) put(digits[i]);
  }
  void name(const char* text, size_t letters, Style style) {
    for (size_t i = 0; i < letters && text[i] != '\0'; ++i) {
      bool capital = style == Style::UPPER || (style == Style::CAPITALISED && i == 0);
      put(capital ? upper(text[i]) : text[i]);
    }
  }
};

// The parts of a record that the elements write, found once per call.
struct Fields {
  bool has_day, has_time;
  int day, month, year, day_of_year, weekday;
  int hour, minute, second, hundredths;
};

Fields fields_of(DateRecord d) {
  Fields f{};
  f.has_day = d.day >= 1 && d.day <= DAY_NUMBER_MAX;
  if (f.has_day) {
    day_number_to_dmy(d.day, &f.day, &f.month, &f.year);
    f.day_of_year = static_cast<int>(d.day - dmy_to_day_number(1, 1, f.year)) + 1;
    f.weekday = day_of_week(d.day);
  }
  f.has_time = d.time >= 0 && d.time < HUNDREDTHS_PER_DAY;
  if (f.has_time) {
    f.hour = d.time / HUNDREDTHS_PER_HOUR;
    f.minute = d.time % HUNDREDTHS_PER_HOUR / HUNDREDTHS_PER_MINUTE;
    f.second = d.time % HUNDREDTHS_PER_MINUTE / HUNDREDTHS_PER_SECOND;
    f.hundredths = d.time % HUNDREDTHS_PER_SECOND;
  }
  return f;
}

// Writes one element. A part the record does not have (a date element of a record with
// no calendar day, a time element of a time out of range) is written as question marks.
void write_element(Sink& s, const Fields& f, const PictureElement& e, Style style) {
  const bool day = f.has_day, time = f.has_time;
  switch (e.part) {
    case Part::WEEKDAY_NUMBER: s.number(day, f.weekday + 1, 1); return;
    case Part::DAY_OF_YEAR: s.number(day, f.day_of_year, 3); return;
    case Part::DAY_OF_MONTH: s.number(day, f.day, 2); return;
    case Part::MONTH_NUMBER: s.number(day, f.month, 2); return;
    case Part::YEAR4: s.number(day, f.year, 4); return;
    case Part::YEAR2: s.number(day, f.year % 100, 2); return;
    case Part::HOUR24: s.number(time, f.hour, 2); return;
    case Part::HOUR12: s.number(time, f.hour % 12 == 0 ? 12 : f.hour % 12, 2); return;
    case Part::MINUTE: s.number(time, f.minute, 2); return;
    case Part::SECOND: s.number(time, f.second, 2); return;
    case Part::MILLISECOND:
    case Part::FRACTION3: s.number(time, f.hundredths * 10, 3); return;
    case Part::FRACTION2: s.number(time, f.hundredths, 2); return;
    case Part::DAY_NAME:
    case Part::DAY_NAME_SHORT:
    case Part::MONTH_NAME:
    case Part::MONTH_NAME_SHORT: {
      if (!day) {
        s.repeat('?', SHORT_NAME);
        return;
      }
      bool is_day = e.part == Part::DAY_NAME || e.part == Part::DAY_NAME_SHORT;
      bool full = e.part == Part::DAY_NAME || e.part == Part::MONTH_NAME;
      s.name(is_day ? DAY_NAMES[f.weekday] : MONTH_NAMES[f.month - 1],
             full ? sizeof MONTH_NAMES[0] : SHORT_NAME, style);
      return;
    }
    case Part::MERIDIAN: {
      bool dotted = e.text.size() > 2;
      if (!time) s.put(UNKNOWN_MERIDIAN[dotted]);
      else s.put(MERIDIAN_TEXTS[dotted][style == Style::LOWER][f.hour >= 12]);
      return;
    }
  }
}

// ---- Reading ----

// What the text has said so far; -1 where it said nothing.
struct Reading {
  int day = -1, month = -1, year = -1, day_of_year = -1;
  int hour = -1, minute = -1, second = -1, hundredths = -1;
  bool hour12 = false;  // the hour came through HH or HH12
  int after_noon = -1;  // from a meridian marker
};

void skip_blanks(std::string_view text, size_t* pos) {
  while (*pos < text.size() && text[*pos] == ' ') ++*pos;
}

// One to max_digits digits; their count is stored too.
bool read_digits(std::string_view text, size_t* pos, int max_digits, int* value, int* count) {
  int v = 0, n = 0;
  while (n < max_digits && *pos < text.size() && is_digit(text[*pos])) {
    v = v * 10 + (text[*pos] - '0');
    ++*pos;
    ++n;
  }
  *value = v;
  *count = n;
  return n > 0;
}

// Does the text at pos begin with word, letters compared in capitals?
bool word_at(std::string_view text, size_t pos, std::string_view word) {
  return element_at(text, pos, word);
}

// Reads a name of the table (full names first when full is set, then three-letter
// abbreviations); stores its index.
bool read_name(std::string_view text, size_t* pos, const char (*names)[20], int count, bool full,
               int* index) {
  if (full) {
    for (int i = 0; i < count; ++i) {
      std::string_view name(names[i]);
      if (word_at(text, *pos, name)) {
        *pos += name.size();
        *index = i;
        return true;
      }
    }
  }
  for (int i = 0; i < count; ++i) {
    std::string_view name(names[i], SHORT_NAME);
    if (word_at(text, *pos, name)) {
      *pos += SHORT_NAME;
      *index = i;
      return true;
    }
  }
  return false;
}

bool read_element(std::string_view text, size_t* pos, Part part, Reading* r) {
  int v = 0, n = 0;
  switch (part) {
    case Part::DAY_OF_MONTH:
      return read_digits(text, pos, 2, &r->day, &n);
    case Part::DAY_OF_YEAR:
      return read_digits(text, pos, 3, &r->day_of_year, &n);
    case Part::MONTH_NUMBER:
      return read_digits(text, pos, 2, &r->month, &n);
    case Part::YEAR4:
      return read_digits(text, pos, 4, &r->year, &n);
    case Part::YEAR2:
      // Two-digit years pivot at 50: 00..49 are 2000..2049, 50..99 are 1950..1999.
      if (!read_digits(text, pos, 2, &v, &n)) return false;
      r->year = v < 50 ? 2000 + v : 1900 + v;
      return true;
    case Part::HOUR24:
    case Part::HOUR12:
      if (!read_digits(text, pos, 2, &r->hour, &n)) return false;
      r->hour12 = part == Part::HOUR12;
      return true;
    case Part::MINUTE:
      return read_digits(text, pos, 2, &r->minute, &n);
    case Part::SECOND:
      return read_digits(text, pos, 2, &r->second, &n);
    case Part::MILLISECOND:
      if (!read_digits(text, pos, 3, &v, &n)) return false;
      r->hundredths = v / 10;
      return true;
    case Part::FRACTION3:
      // Digits of a fraction: "5" is five tenths.
      if (!read_digits(text, pos, 3, &v, &n)) return false;
      for (; n < 3; ++n) v *= 10;
      r->hundredths = v / 10;
      return true;
    case Part::FRACTION2:
      if (!read_digits(text, pos, 2, &v, &n)) return false;
      r->hundredths = n == 1 ? v * 10 : v;
      return true;
    case Part::MONTH_NAME:
    case Part::MONTH_NAME_SHORT:
      if (!read_name(text, pos, MONTH_NAMES, 12, part == Part::MONTH_NAME, &v)) return false;
      r->month = v + 1;
      return true;
    case Part::DAY_NAME:
    case Part::DAY_NAME_SHORT:
      // The name must be a day's name; the date itself decides the day of the week.
      return read_name(text, pos, DAY_NAMES, 7, part == Part::DAY_NAME, &v);
    case Part::MERIDIAN:
      for (int noon = 0; noon < 2; ++noon)
        for (int dotted = 1; dotted >= 0; --dotted) {
          std::string_view marker = MERIDIAN_TEXTS[dotted][0][noon];
          if (word_at(text, *pos, marker)) {
            *pos += marker.size();
            r->after_noon = noon;
            return true;
          }
        }
      return false;
    case Part::WEEKDAY_NUMBER:
      return false;  // not an element of this operation
  }
  return false;
}

// Turns what was read into a record: missing date parts are 1 (a picture without any date
// element gives day 0), missing time parts 0.
int finish_reading(const Reading& r, DateRecord* out) {
  int64_t day = 0;
  if (r.day >= 0 || r.month >= 0 || r.year >= 0 || r.day_of_year >= 0) {
    int year = r.year >= 0 ? r.year : 1;
    if (r.day_of_year >= 0) {
      int64_t first = dmy_to_day_number(1, 1, year);
      int length = is_leap_year(year) ? 366 : 365;
      if (first == 0 || r.day_of_year < 1 || r.day_of_year > length) return DATE_PICTURE_BAD_DATE;
      day = first + r.day_of_year - 1;
      int d, m, y;
      day_number_to_dmy(day, &d, &m, &y);
      if ((r.day >= 0 && r.day != d) || (r.month >= 0 && r.month != m))
        return DATE_PICTURE_BAD_DATE;
    } else {
      day = dmy_to_day_number(r.day >= 0 ? r.day : 1, r.month >= 0 ? r.month : 1, year);
      if (day == 0) return DATE_PICTURE_BAD_DATE;
    }
  }
  int hour = r.hour >= 0 ? r.hour : 0;
  if (r.hour12 && r.hour >= 0) {
    // 12 AM is midnight and 12 PM noon; without a marker the hour is before noon.
    if (hour < 1 || hour > 12) return DATE_PICTURE_BAD_DATE;
    hour = hour % 12 + (r.after_noon == 1 ? 12 : 0);
  }
  int minute = r.minute >= 0 ? r.minute : 0;
  int second = r.second >= 0 ? r.second : 0;
  int hundredths = r.hundredths >= 0 ? r.hundredths : 0;
  if (hour > 23 || minute > 59 || second > 59) return DATE_PICTURE_BAD_DATE;
  out->day = static_cast<uint32_t>(day);
  out->time = hour * HUNDREDTHS_PER_HOUR + minute * HUNDREDTHS_PER_MINUTE +
              second * HUNDREDTHS_PER_SECOND + hundredths;
  return DATE_PICTURE_OK;
}

// One literal character of the picture against the text: a blank takes any run of blanks
// (none too), anything else must be there, letters in either case.
bool match_literal(std::string_view text, size_t* pos, char c) {
  if (c == ' ') {
    skip_blanks(text, pos);
    return true;
  }
  if (*pos >= text.size() || upper(text[*pos]) != upper(c)) return false;
  ++*pos;
  return true;
}

// ---- Rounding and truncation ----

enum class Unit : uint8_t { YEAR, MONTH, WEEK, DAY, HALF_DAY, HOUR, MINUTE, SECOND, HUNDREDTH };

Unit unit_of(Part part) {
  switch (part) {
    case Part::YEAR4: case Part::YEAR2: return Unit::YEAR;
    case Part::MONTH_NUMBER: case Part::MONTH_NAME: case Part::MONTH_NAME_SHORT: return Unit::MONTH;
    case Part::DAY_NAME: case Part::DAY_NAME_SHORT: case Part::WEEKDAY_NUMBER: return Unit::WEEK;
    case Part::DAY_OF_MONTH: case Part::DAY_OF_YEAR: return Unit::DAY;
    case Part::MERIDIAN: return Unit::HALF_DAY;
    case Part::HOUR24: case Part::HOUR12: return Unit::HOUR;
    case Part::MINUTE: return Unit::MINUTE;
    case Part::SECOND: return Unit::SECOND;
    case Part::MILLISECOND: case Part::FRACTION3: case Part::FRACTION2: return Unit::HUNDREDTH;
  }
  return Unit::HUNDREDTH;
}

// The whole element text, blanks around it ignored, letters compared in capitals.
bool find_unit(std::string_view element, Unit* unit) {
  size_t b = 0, e = element.size();
  while (b < e && element[b] == ' ') ++b;
  while (e > b && element[e - 1] == ' ') --e;
  std::string_view name = element.substr(b, e - b);
  for (const PictureElement& u : UNIT_ELEMENTS)
    if (name.size() == u.text.size() && element_at(name, 0, u.text)) {
      *unit = unit_of(u.part);
      return true;
    }
  return false;
}

// Rounds (half up) or truncates d to the unit. The result starts its unit: 1 January,
// the 1st of the month, Monday, midnight, noon, the full hour, minute or second.
int round_or_trunc(DateRecord d, std::string_view element, bool round, DateRecord* out) {
  Unit unit;
  if (!find_unit(element, &unit)) return DATE_PICTURE_BAD_ELEMENT;
  if (d.day > DAY_NUMBER_MAX || d.time < 0 || d.time >= HUNDREDTHS_PER_DAY)
    return DATE_PICTURE_BAD_DATE;
  int64_t day = d.day;
  int32_t time = d.time;
  int32_t step = 0;  // the unit in hundredths, for the units of a day and below
  switch (unit) {
    case Unit::YEAR:
    case Unit::MONTH: {
      if (day == 0) return DATE_PICTURE_BAD_DATE;
      int dd, mm, yy;
      day_number_to_dmy(day, &dd, &mm, &yy);
      if (unit == Unit::YEAR) {
        // A year rounds up from 1 July on.
        if (round && mm >= 7) ++yy;
        mm = 1;
      } else if (round && dd >= 16) {
        // A month rounds up from the 16th on.
        if (++mm > 12) {
          mm = 1;
          ++yy;
        }
      }
      day = dmy_to_day_number(1, mm, yy);
      if (day == 0) return DATE_PICTURE_BAD_DATE;
      time = 0;
      break;
    }
    case Unit::WEEK: {
      // A week runs from Monday; it rounds up from Thursday noon on.
      if (day == 0) return DATE_PICTURE_BAD_DATE;
      int weekday = day_of_week(day);
      int64_t into_week = int64_t{weekday} * HUNDREDTHS_PER_DAY + time;
      day -= weekday;
      if (round && into_week >= int64_t{7} * HUNDREDTHS_PER_DAY / 2) day += 7;
      time = 0;
      break;
    }
    case Unit::DAY:
      if (day == 0) return DATE_PICTURE_BAD_DATE;
      step = HUNDREDTHS_PER_DAY;
      break;
    case Unit::HALF_DAY: step = HUNDREDTHS_PER_DAY / 2; break;
    case Unit::HOUR: step = HUNDREDTHS_PER_HOUR; break;
    case Unit::MINUTE: step = HUNDREDTHS_PER_MINUTE; break;
    case Unit::SECOND: step = HUNDREDTHS_PER_SECOND; break;
    case Unit::HUNDREDTH: step = 1; break;
  }
  if (step > 0) {
    // Every such unit divides the day, so rounding up past the last unit is midnight of
    // the next day.
    int32_t rest = time % step;
    time -= rest;
    if (round && 2 * rest >= step && rest > 0) time += step;
    if (time == HUNDREDTHS_PER_DAY) {
      if (day == 0) return DATE_PICTURE_BAD_DATE;  // a time alone has no next day
      time = 0;
      ++day;
    }
  }
  if (day > DAY_NUMBER_MAX) return DATE_PICTURE_BAD_DATE;
  out->day = static_cast<uint32_t>(day);
  out->time = time;
  return DATE_PICTURE_OK;
}

}  // namespace

int date_to_text_picture(DateRecord d, std::string_view picture, char* out, size_t capacity,
                         size_t* length) {
  Sink s{out, capacity > 0 ? capacity - 1 : 0, 0};
  Fields f = fields_of(d);
  size_t pos = 0;
  while (pos < picture.size()) {
    char c = picture[pos];
    if (c == '"') {
      size_t end = picture.find('"', pos + 1);
      if (end == std::string_view::npos) end = picture.size();
      s.put(picture.substr(pos + 1, end - pos - 1));
      pos = end + 1;
      continue;
    }
    const PictureElement* e = match_element(TO_TEXT_ELEMENTS, picture, pos);
    if (e == nullptr) {
      s.put(c);
      ++pos;
      continue;
    }
    write_element(s, f, *e, style_at(picture, pos, e->text.size()));
    pos += e->text.size();
  }
  if (capacity == 0) {
    *length = 0;
    return DATE_PICTURE_TOO_LONG;
  }
  bool fits = s.length <= s.room;
  *length = fits ? s.length : s.room;
  out[*length] = '\0';
  return fits ? DATE_PICTURE_OK : DATE_PICTURE_TOO_LONG;
}

int date_from_text_picture(std::string_view text, std::string_view picture, DateRecord* out) {
  Reading r;
  size_t at = 0;  // in the text
  size_t pos = 0;  // in the picture
  while (pos < picture.size()) {
    char c = picture[pos];
    if (c == '"') {
      size_t end = picture.find('"', pos + 1);
      if (end == std::string_view::npos) end = picture.size();
      for (size_t i = pos + 1; i < end; ++i)
        if (!match_literal(text, &at, picture[i])) return DATE_PICTURE_BAD_TEXT;
      pos = end + 1;
      continue;
    }
    const PictureElement* e = match_element(FROM_TEXT_ELEMENTS, picture, pos);
    if (e == nullptr) {
      if (!match_literal(text, &at, c)) return DATE_PICTURE_BAD_TEXT;
      ++pos;
      continue;
    }
    skip_blanks(text, &at);
    if (!read_element(text, &at, e->part, &r)) return DATE_PICTURE_BAD_TEXT;
    pos += e->text.size();
  }
  skip_blanks(text, &at);
  if (at != text.size()) return DATE_PICTURE_BAD_TEXT;
  return finish_reading(r, out);
}

int date_round(DateRecord d, std::string_view element, DateRecord* out) {
  return round_or_trunc(d, element, true, out);
}

int date_trunc(DateRecord d, std::string_view element, DateRecord* out) {
  return round_or_trunc(d, element, false, out);
}

}  // namespace tavrel
