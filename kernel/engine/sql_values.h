// Values between the procedure language and SQLite: binding a Value to a statement's
// parameter and reading a column (or a function argument) as a Value of a wanted type. Texts
// are CP866 in values and UTF-8 in the database; dates are kept in the database as ISO texts
// ("1981-02-20", "1981-02-20 10:07:00.50" with a time).
#pragma once

#include <string>

#include "kernel/engine/session.h"

struct sqlite3_stmt;
struct sqlite3_value;

namespace tavrel::kernel {

// Binds v to parameter index (from 1); scratch holds converted text until the bind copies it.
int bind_value(sqlite3_stmt* st, int index, const Value& v, std::string* scratch);

// Reads a database value as type `want` (TYPE_NONE: the type its storage class suggests);
// texts go to *storage, which must outlive *out. A value that cannot be read as the wanted
// type gives NULL.
void read_sql_value(sqlite3_value* sv, uint8_t want, std::string* storage, Value* out);

// "YYYY-MM-DD[ HH:MM[:SS[.hh]]]" or "dd.mm.yyyy[:hh[:mi[:ss[.hh]]]]" to a date; 0 when read.
int date_from_sql_text(std::string_view text, DateRecord* out);

}  // namespace tavrel::kernel
