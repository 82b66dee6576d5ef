// What tavrel-sql prints for answers that are not rows of ordinary SQL: the result of an
// execute call, the translation errors of a store the kernel refused, and the fixed rows of
// the manager's catalogue statements. Pure functions from answer bytes to lines (UTF-8,
// without line ends); the session's texts arrive in UTF-8, values and stored defaults in
// CP866.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tavrel {

// The lines of an execution's result, in order: each PRINT text ("*** Message from Stored
// Procedure: ..."), each OUT or INOUT parameter ("{ NAME } = 0 (SMALLINT)"), the return
// value ("Возвращаемое значение: ..."), the exception that left the procedure ("Передано
// состояние исключения NAME"). Returns 0, or -1 when the answer is malformed. *exception
// tells whether an exception left the procedure.
int call_result_lines(std::span<const uint8_t> answer, std::vector<std::string>* lines, bool* exception);

// One line per translation error of a GETE 7200 answer: "line L, column C: TEXT", or the
// text alone for an error without a position. -1 when the answer is malformed (the lines
// of the errors read before stay).
int translation_error_lines(std::span<const uint8_t> answer, std::vector<std::string>* lines);

// The line of one catalogue row of the given fixed size (the answer word of the catalogue's
// answers): an identifier, a name, a trigger ("ID | NAME"), a stored text's length, or a
// parameter ("NAME | TYPE | PRECISION | SCALE | LENGTH | DEFAULT", the default as the
// literal the manager would put in a call). false for a size that is no catalogue row's.
bool catalogue_row_line(std::span<const uint8_t> row, std::string* line);

}  // namespace tavrel
