// Text forms of values: the conversion of a value to text (the runtime of TOCHAR and
// TO_CHAR), and the formatting of a template with "?" placeholders. Results are CHAR values
// whose text lives in the evaluation's string pool.
#pragma once

#include "values/string_pool.h"
#include "values/value.h"

namespace tavrel {

constexpr int FORMAT_WORK_AREA = 4000;    // most characters a formatted text holds
constexpr int FORMAT_MAX_BYTES = 1999;    // most bytes of a BYTE value a placeholder shows
constexpr int DATE_PICTURE_RESULT = 128;  // room for a date written through a picture

// args[0] is the value; args[1] and args[2] are the optional further arguments (width and
// scale for NUMERIC, a picture for numbers and dates, FALSE for a date without its time,
// a flag for spaced BYTE text). NULL gives the constant "NULL"; a type with no text form
// gives a value of type TYPE_NONE. Without memory the result is a CHAR without text and
// the pool's run status is -8.
Value value_to_text(StringPool& pool, const Value* args, int argc);

// args[0] is the template; each "?" takes the text of the next value, "\?" is a literal
// "?". More placeholders than values give NULL.
Value value_format(StringPool& pool, const Value* args, int argc);

}  // namespace tavrel
