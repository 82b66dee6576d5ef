// Texts of operating-system error numbers for the plain console messages.
#pragma once

namespace tavrel {

// " %s \n" with the table entry for 0..47, " Unknown OS error %d \n" otherwise. The text
// lies in one static buffer that the next call overwrites.
const char* os_error_text(int error_number);

}  // namespace tavrel
