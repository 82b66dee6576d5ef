// Code pages of the client: the byte tables between CP866 (the program's own code page),
// KOI8-R and CP1251, the CP866 case tables, the conversion routines built on them, the
// classification of code-page names, and the choice of the code-page name that every
// session reports to the kernel.
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

constexpr int CODEPAGE_NAME_MAX = 66;

// The client code-page block sent to the kernel with the commands that carry it.
struct CodePageBlock {
  uint16_t present;
  uint16_t length;
  uint8_t reserved[2];
  char name[CODEPAGE_NAME_MAX];
};
static_assert(sizeof(CodePageBlock) == 72, "code-page block is 72 bytes on the wire");

// The process-wide code-page settings of the channel (guarded by the channel's settings
// lock once the channel exists).
struct CodePageSettings {
  CodePageBlock block;
  bool use_oem;           // channel option 5: report the OEM code page of the locale
  bool env_read;          // TAVREL_CP has been read
  bool env_set;
  char env_value[CODEPAGE_NAME_MAX + 1];  // TAVREL_CP, cut to 66 characters
  uint16_t recognised;    // codepage_classify of the chosen name
};

// The choice itself, free of the OS: the environment value (nullptr when unset; an empty
// value counts as unset, since an empty name tells the kernel nothing), and the locale
// query's status (0 = success) with the code page it gave. The name is cut to 66 characters;
// the rest of the block is zeroed.
void codepage_choose_name(const char* env_value, int locale_status, unsigned locale_codepage,
                          CodePageBlock* block);
// Reads TAVREL_CP once (again when reread is true, channel option 7), asks the platform for
// the locale's OEM or ANSI code page, and fills settings->block.
void codepage_choose_default(CodePageSettings* settings, bool reread);

}  // namespace tavrel
