// libFuzzer target for date and number pictures. The input is a 16-byte head (a raw date
// record, a raw decimal record, an integer and a double) followed by a text and a picture
// separated by the first newline. Every entry point runs on them; an invariant that does
// not hold stops the run with a trap.
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#include "values/calendar.h"
#include "values/date_picture.h"
#include "values/number_picture.h"

namespace {

using namespace tavrel;

void check(bool ok) {
  if (!ok) __builtin_trap();
}

bool same(DateRecord a, DateRecord b) { return a.day == b.day && a.time == b.time; }

bool real_record(DateRecord d) {
  return d.day <= DAY_NUMBER_MAX && d.time >= 0 && d.time < HUNDREDTHS_PER_DAY;
}

char upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; }

// Pictures made only of elements that write a field in full and read it back, with
// separators that can be neither element nor digit. Such pictures must round-trip.
bool numeric_picture(std::string_view picture) {
  static const std::string_view ELEMENTS[] = {"YYYY", "HH24", "HH12", "DDD", "FFF", "DD", "MM",
                                              "MI",   "SS",   "MS",   "FF",  "HH"};
  size_t pos = 0;
  while (pos < picture.size()) {
    size_t matched = 0;
    for (std::string_view e : ELEMENTS) {
      if (picture.size() - pos < e.size()) continue;
      bool equal = true;
      for (size_t i = 0; i < e.size() && equal; ++i) equal = upper(picture[pos + i]) == e[i];
      if (equal) {
        matched = e.size();
        break;  // the list is longest first among elements sharing a start
      }
    }
    if (matched == 0) {
      unsigned char c = static_cast<unsigned char>(picture[pos]);
      bool letter_or_digit = (c >= '0' && c <= '9') || (upper(static_cast<char>(c)) >= 'A' &&
                                                        upper(static_cast<char>(c)) <= 'Z');
      if (letter_or_digit || c == '"' || c >= 0x80 || c < 0x20) return false;
      matched = 1;
    }
    pos += matched;
  }
  return true;
}

// Writes d through the picture into a buffer that surely holds it and into a small one;
// the small one must hold a prefix of the full text. Returns the full text.
std::vector<char> write_both(DateRecord d, std::string_view picture) {
  // No element writes more than three times its own length ("DY" -> "WED", "DAY" ->
  // "WEDNESDAY"), and literal text is copied one for one.
  std::vector<char> large(3 * picture.size() + 1);
  size_t length = 0;
  check(date_to_text_picture(d, picture, large.data(), large.size(), &length) == DATE_PICTURE_OK);
  check(length < large.size() && large[length] == '\0');  // the picture may hold zero bytes

  char small[8];
  size_t small_length = 0;
  int status = date_to_text_picture(d, picture, small, sizeof small, &small_length);
  check(status == (length < sizeof small ? DATE_PICTURE_OK : DATE_PICTURE_TOO_LONG));
  check(small_length == (length < sizeof small ? length : sizeof small - 1));
  check(small[small_length] == '\0' && std::memcmp(small, large.data(), small_length) == 0);
  large.resize(length);
  return large;
}

void round_and_trunc(DateRecord d, std::string_view element) {
  DateRecord t{}, r{};
  int ts = date_trunc(d, element, &t);
  int rs = date_round(d, element, &r);
  check((ts == DATE_PICTURE_BAD_ELEMENT) == (rs == DATE_PICTURE_BAD_ELEMENT));
  if (ts == DATE_PICTURE_OK) {
    auto key = [](DateRecord x) { return int64_t{x.day} * HUNDREDTHS_PER_DAY + x.time; };
    check(real_record(t) && key(t) <= key(d));
    DateRecord again{};
    check(date_trunc(t, element, &again) == DATE_PICTURE_OK && same(again, t));
    if (rs == DATE_PICTURE_OK) {
      check(real_record(r) && (same(r, t) || key(r) > key(d)));
      check(date_trunc(r, element, &again) == DATE_PICTURE_OK && same(again, r));
    }
  }
}

void number_pictures(int64_t i, double f, const Decimal& dec, std::string_view picture) {
  char out[NUMBER_PICTURE_CAPACITY + 1];
  out[NUMBER_PICTURE_CAPACITY] = 'x';  // guard: nothing is written past the capacity
  int statuses[3] = {number_picture_int64(i, picture, out), 0, 0};
  auto checked = [&](int status) {
    check(out[NUMBER_PICTURE_CAPACITY] == 'x');
    if (status == NUMBER_PICTURE_OK) {
      check(std::strlen(out) == picture.size());
    } else {
      check(status == NUMBER_PICTURE_BAD && out[0] == '\0');
    }
  };
  checked(statuses[0]);
  statuses[1] = number_picture_double(f, picture, out);
  checked(statuses[1]);
  statuses[2] = number_picture_decimal(dec, picture, out);
  checked(statuses[2]);
  // Whether a picture is good does not depend on the value.
  check(statuses[0] == statuses[1] && statuses[1] == statuses[2]);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  constexpr size_t HEAD = 16;
  uint8_t head[HEAD] = {};
  size_t taken = size < HEAD ? size : HEAD;
  std::memcpy(head, data, taken);
  std::string_view rest(reinterpret_cast<const char*>(data + taken), size - taken);
  size_t newline = rest.find('\n');
  std::string_view text = rest.substr(0, newline);
  std::string_view picture;
  if (newline != std::string_view::npos) picture = rest.substr(newline + 1);

  DateRecord raw{};
  std::memcpy(&raw.day, head, 4);
  std::memcpy(&raw.time, head + 4, 4);
  Decimal dec{};
  std::memcpy(dec.b, head, HEAD);
  int64_t i = 0;
  double f = 0;
  std::memcpy(&i, head, 8);
  std::memcpy(&f, head + 8, 8);

  // Any record, real or not, can be written and its units taken.
  write_both(raw, picture);
  round_and_trunc(raw, picture);

  DateRecord read{};
  int status = date_from_text_picture(text, picture, &read);
  check(status >= DATE_PICTURE_OK && status <= DATE_PICTURE_BAD_DATE);
  if (status == DATE_PICTURE_OK) {
    check(real_record(read));
    std::vector<char> written = write_both(read, picture);
    if (numeric_picture(picture)) {
      DateRecord back{};
      std::string_view again(written.data(), written.size());
      check(date_from_text_picture(again, picture, &back) == DATE_PICTURE_OK);
      check(same(back, read));
    }
    round_and_trunc(read, picture);
  }

  DateRecord checked{};
  if (date_text_check(text, &checked) == 0) {
    check(real_record(checked) && checked.day != 0);
    char plain[DATE_TEXT_CAPACITY];
    int n = date_to_text(checked, true, plain);
    check(n > 0 && n < DATE_TEXT_CAPACITY);
    DateRecord back{};
    check(date_text_check(plain, &back) == 0 && same(back, checked));
  }
  char plain[DATE_TEXT_CAPACITY];
  check(date_to_text(raw, true, plain) < DATE_TEXT_CAPACITY);

  number_pictures(i, f, dec, picture);
  return 0;
}
