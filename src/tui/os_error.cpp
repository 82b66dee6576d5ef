// Texts of operating-system error numbers for the plain console messages.
#include "tui/os_error.h"

#include <cstdio>

namespace tavrel {

namespace {

// Indexed by the error number; entry 47 is deliberately empty.
const char* const OS_ERROR_TEXTS[] = {
    "Error 0",
    "Invalid function number",
    "No such file or directory",
    "Path not found",
    "Too many open files",
    "Permission denied",
    "Bad file number",
    "Memory arena trashed",
    "Not enough memory",
    "Invalid memory block address",
    "Invalid environment",
    "Invalid format",
    "Invalid access code",
    "Invalid data",
    "Bad address",
    "No such device",
    "Attempted to remove current directory",
    "Not same device",
    "No more files",
    "Invalid argument",
    "Arg list too big",
    "Exec format error",
    "Cross-device link",
    "Too many open files",
    "No child processes",
    "Inappropriate I/O control operation",
    "Executable file in use",
    "File too large",
    "No space left on device",
    "Illegal seek",
    "Read-only file system",
    "Too many links",
    "Broken pipe",
    "Math argument",
    "Result too large",
    "File already exists",
    "Possible deadlock",
    "Operation not permitted",
    "No such process",
    "Interrupted function call",
    "Input/output error",
    "No such device or address",
    "Resource temporarily unavailable",
    "Block device required",
    "Resource busy",
    "Not a directory",
    "Is a directory",
    "",
};

constexpr int OS_ERROR_COUNT = static_cast<int>(sizeof OS_ERROR_TEXTS / sizeof OS_ERROR_TEXTS[0]);
static_assert(OS_ERROR_COUNT == 48, "error numbers 0..47 have a text");

// Long enough for the longest entry or the unknown-number text with any int.
char os_error_buffer[64];

}  // namespace

const char* os_error_text(int error_number) {
  if (error_number >= 0 && error_number < OS_ERROR_COUNT) {
    std::snprintf(os_error_buffer, sizeof os_error_buffer, " %s \n", OS_ERROR_TEXTS[error_number]);
  } else {
    std::snprintf(os_error_buffer, sizeof os_error_buffer, " Unknown OS error %d \n", error_number);
  }
  return os_error_buffer;
}

}  // namespace tavrel
