// Number pictures: TO_CHAR of a number with a picture. The picture language (digits, sign,
// decimal point, group separator, fill) is the system's own; docs/language.md describes it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "values/decimal.h"

namespace tavrel {

constexpr size_t NUMBER_PICTURE_CAPACITY = 128;  // result text, terminator included

enum NumberPictureStatus {
  NUMBER_PICTURE_OK = 0,
  NUMBER_PICTURE_BAD = 1,  // the picture has no digit position or is malformed
};

// Each writes at most NUMBER_PICTURE_CAPACITY bytes (terminator included) into out and
// returns a status; a value that does not fit the picture is written as "#" in every
// position of the picture.
int number_picture_int64(int64_t v, std::string_view picture, char* out);
int number_picture_double(double v, std::string_view picture, char* out);
int number_picture_decimal(const Decimal& v, std::string_view picture, char* out);

}  // namespace tavrel
