// Environment and locale queries on Windows.
#include <windows.h>

#include <string>

#include "platform/platform.h"

namespace tavrel {

namespace {

constexpr LCID USER_DEFAULT_LOCALE = 0x0400;
constexpr LCTYPE OEM_CODEPAGE_INFO = 11;       // LOCALE_IDEFAULTCODEPAGE
constexpr LCTYPE ANSI_CODEPAGE_INFO = 0x1004;   // LOCALE_IDEFAULTANSICODEPAGE

}  // namespace

int platform_getenv(const char* name, char* out, size_t capacity) {
  // A first call tells the size the value needs, terminator included; a variable that is
  // not set gives 0 with ERROR_ENVVAR_NOT_FOUND.
  SetLastError(ERROR_SUCCESS);
  const DWORD needed = GetEnvironmentVariableA(name, nullptr, 0);
  if (needed == 0 && GetLastError() == ERROR_ENVVAR_NOT_FOUND) return -1;
  std::string value(needed + 1, '\0');
  SetLastError(ERROR_SUCCESS);
  const DWORD length = GetEnvironmentVariableA(name, value.data(), needed + 1);
  if (length == 0 && GetLastError() == ERROR_ENVVAR_NOT_FOUND) return -1;
  if (length > needed) return -1;  // grew in between: treat as unreadable
  if (capacity > 0) {
    const size_t copied = length < capacity ? length : capacity - 1;
    value.copy(out, copied);
    out[copied] = 0;
  }
  return static_cast<int>(length);
}

int platform_locale_codepage(bool oem, unsigned* codepage) {
  char digits[16];
  const LCTYPE info = oem ? OEM_CODEPAGE_INFO : ANSI_CODEPAGE_INFO;
  const int length =
      GetLocaleInfoA(USER_DEFAULT_LOCALE, info, digits, static_cast<int>(sizeof digits));
  if (length <= 0) return 1;
  unsigned value = 0;
  int count = 0;
  for (int i = 0; i < length && digits[i] >= '0' && digits[i] <= '9'; ++i, ++count) {
    value = value * 10 + static_cast<unsigned>(digits[i] - '0');
  }
  if (count == 0) return 1;
  *codepage = value;
  return 0;
}

int platform_setenv(const char* name, const char* value) {
  return SetEnvironmentVariableA(name, value) ? 0 : 1;
}

bool platform_locale_from_env() { return false; }

}  // namespace tavrel
