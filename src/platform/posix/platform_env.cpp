// Environment and locale queries on POSIX systems.
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "platform/platform.h"

namespace tavrel {

namespace {

// The languages whose DOS code page is 866.
const char* const CYRILLIC_LANGUAGES[] = {"ru", "uk", "be"};

constexpr unsigned OEM_CYRILLIC = 866;
constexpr unsigned ANSI_CYRILLIC = 1251;
constexpr unsigned OEM_WESTERN = 437;
constexpr unsigned ANSI_WESTERN = 1252;

// The locale that governs character classification: the first non-empty of LC_ALL, LC_CTYPE
// and LANG, as the C library resolves it.
const char* ctype_locale_name() {
  for (const char* variable : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const char* value = std::getenv(variable);
    if (value != nullptr && value[0] != 0) return value;
  }
  return nullptr;
}

}  // namespace

int platform_getenv(const char* name, char* out, size_t capacity) {
  const char* value = std::getenv(name);
  if (value == nullptr) return -1;
  const size_t length = std::strlen(value);
  if (capacity > 0) {
    const size_t copied = length < capacity ? length : capacity - 1;
    std::memcpy(out, value, copied);
    out[copied] = 0;
  }
  return static_cast<int>(length);
}

// The program works in CP866 internally and the terminal layer converts to and from the
// terminal's own encoding, so the locale's code page is told the Windows way: a Russian,
// Ukrainian or Belarusian locale has OEM code page 866 and ANSI code page 1251, any other
// language 437 and 1252. The language is the part of the locale name before '_', '.' or '@'.
// No locale, or the C/POSIX locale (C.UTF-8 included), names no language: that is a failure.
int platform_locale_codepage(bool oem, unsigned* codepage) {
  const char* locale = ctype_locale_name();
  if (locale == nullptr) return 1;
  const std::string_view name(locale);
  const std::string_view language = name.substr(0, name.find_first_of("_.@"));
  if (language.empty() || language == "C" || language == "POSIX") return 1;
  bool cyrillic = false;
  for (const char* candidate : CYRILLIC_LANGUAGES) {
    if (language == candidate) cyrillic = true;
  }
  if (cyrillic) {
    *codepage = oem ? OEM_CYRILLIC : ANSI_CYRILLIC;
  } else {
    *codepage = oem ? OEM_WESTERN : ANSI_WESTERN;
  }
  return 0;
}

int platform_setenv(const char* name, const char* value) {
  return value != nullptr ? setenv(name, value, 1) : unsetenv(name);
}

bool platform_locale_from_env() { return true; }

}  // namespace tavrel
