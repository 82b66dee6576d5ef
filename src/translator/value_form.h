// The typed-value form in which the debugger, the calculator and tavrel-calc show a value:
// its text followed by its type in parentheses, for example "5 (SMALLINT)", "{abc} (STRING)",
// "TRUE (LOGICAL)", "(NULL)". Texts are CP866.
#pragma once

#include <string>

#include "values/string_pool.h"
#include "values/value.h"

namespace tavrel {

// The form of a value without a name; texts that the value's type needs (NUMERIC, BIGINT,
// NCHAR) are made in the pool at its current level.
std::string typed_value_form(const Value& v, StringPool& pool);

}  // namespace tavrel
