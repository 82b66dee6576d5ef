// Code pages: the byte tables between CP866 (the program's own code page), KOI8-R and
// CP1251, the CP866 case tables, the conversion routines built on them, and the
// classification of code-page names. Pure functions over bytes: no OS, no settings.
#pragma once

#include <cstdint>
#include <string_view>

namespace tavrel {

// Conversion tables hold the images of bytes 128..255 (index = byte - 128); bytes below
// 128 pass unchanged. Case tables have all 256 entries.
extern const uint8_t CP866_UPPER[256];
extern const uint8_t CP866_LOWER[256];
extern const uint8_t CP866_TO_KOI8[128];
extern const uint8_t KOI8_TO_CP866[128];
extern const uint8_t CP1251_TO_CP866[128];
extern const uint8_t CP866_TO_CP1251[128];

// Every routine copies src into dst byte by byte until it has written max bytes or met
// the zero byte of src, converting each byte of 128 or more; when it stopped at the
// terminator before max it writes a terminating zero. Returns dst.
char* cp866_to_koi8(const char* src, char* dst, uint16_t max);
char* koi8_to_cp866(const char* src, char* dst, uint16_t max);
char* cp866_to_cp1251(const char* src, char* dst, uint16_t max);
char* cp1251_to_cp866(const char* src, char* dst, uint16_t max);
char* cp1251_to_koi8(const char* src, char* dst, uint16_t max);
char* koi8_to_cp1251(const char* src, char* dst, uint16_t max);
char* cp866_upper(const char* src, char* dst, uint16_t max);
char* cp866_lower(const char* src, char* dst, uint16_t max);
char* koi8_upper(const char* src, char* dst, uint16_t max);
char* koi8_lower(const char* src, char* dst, uint16_t max);
char* cp1251_upper(const char* src, char* dst, uint16_t max);
char* cp1251_lower(const char* src, char* dst, uint16_t max);
uint8_t cp1251_char_to_cp866(uint8_t c);

// Classification of a code-page name (exact, case-sensitive).
enum CodePageValue : uint16_t {
  CODEPAGE_OTHER = 0,
  CODEPAGE_1251 = 0x4000,
  CODEPAGE_KOI8 = 0x8000,
  CODEPAGE_866 = 0xC000,
};
uint16_t codepage_classify(std::string_view name);

}  // namespace tavrel
