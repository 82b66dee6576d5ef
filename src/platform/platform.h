// The operating-system seam: everything above it is portable. Each function has one
// implementation in platform/win32 and one in platform/posix.
#pragma once

#include <cstddef>

namespace tavrel {

// Copies the value of an environment variable into out (terminated, cut to capacity - 1);
// returns its full length, or -1 when the variable is not set.
int platform_getenv(const char* name, char* out, size_t capacity);

// Sets an environment variable of this process (value nullptr: removes it); 0 on success.
int platform_setenv(const char* name, const char* value);

// True where the locale comes from environment variables (POSIX), false where the system
// keeps it (Windows).
bool platform_locale_from_env();

// The code page of the user's default locale: the OEM one when oem is true, else the ANSI
// one. Returns 0 and stores the number on success, non-zero when it cannot be told.
int platform_locale_codepage(bool oem, unsigned* codepage);

// Makes the console's interrupt events (Ctrl+C, Ctrl+Break, closing the console window on
// Windows; the interrupt character on a terminal) do nothing to this process, so that a
// full-screen program leaves only by its own exit paths.
void platform_ignore_console_events();

}  // namespace tavrel
