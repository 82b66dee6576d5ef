// Date pictures: TO_CHAR of a date with a picture, TO_DATE with a picture, and the
// rounding and truncation of DATE_ROUND and DATE_TRUNC to the unit an element names.
// The rules of every element are written down in docs/language.md.
#pragma once

#include <cstddef>
#include <string_view>

#include "values/calendar.h"

namespace tavrel {

enum DatePictureStatus {
  DATE_PICTURE_OK = 0,
  DATE_PICTURE_BAD_TEXT = 1,     // the text does not match the picture
  DATE_PICTURE_BAD_DATE = 2,     // it matches but names no real date or time
  DATE_PICTURE_BAD_ELEMENT = 3,  // the picture names no unit (rounding/truncation)
  DATE_PICTURE_TOO_LONG = 4,     // the result does not fit the caller's buffer
};

// Writes the text and a terminator into out (capacity bytes); returns a status and
// stores the length.
int date_to_text_picture(DateRecord d, std::string_view picture, char* out, size_t capacity,
                         size_t* length);
int date_from_text_picture(std::string_view text, std::string_view picture, DateRecord* out);
int date_round(DateRecord d, std::string_view element, DateRecord* out);
int date_trunc(DateRecord d, std::string_view element, DateRecord* out);

}  // namespace tavrel
