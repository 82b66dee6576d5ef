// The code-page conversion routines, the classification of code-page names and the choice of
// the code-page name reported to the kernel.
#include "channel/codepage.h"

#include <cstdio>
#include <cstring>

#include "platform/platform.h"

namespace tavrel {

namespace {

// The shape shared by every routine: map(byte) is applied to every byte up to the terminator.
template <typename Map>
char* convert(const char* src, char* dst, uint16_t max, Map map) {
  for (uint16_t i = 0; i < max; ++i) {
    const auto c = static_cast<uint8_t>(src[i]);
    if (c == 0) {
      dst[i] = 0;
      break;
    }
    dst[i] = static_cast<char>(map(c));
  }
  return dst;
}

// A conversion table holds only the upper half; bytes below 128 pass unchanged.
uint8_t through(const uint8_t* table, uint8_t c) { return c < 128 ? c : table[c - 128]; }

// Case change of a byte of another code page: to CP866, the CP866 case table, and back.
uint8_t case_via_cp866(const uint8_t* to_866, const uint8_t* from_866, const uint8_t* case_table,
                       uint8_t c) {
  return through(from_866, case_table[through(to_866, c)]);
}

struct CodePageName {
  const char* name;
  uint16_t value;
};

const CodePageName CODEPAGE_NAMES[] = {
    {"1251", CODEPAGE_1251}, {"CP1251", CODEPAGE_1251},
    {"koi8", CODEPAGE_KOI8}, {"KOI8-R", CODEPAGE_KOI8},
    {"866", CODEPAGE_866},   {"CP866", CODEPAGE_866},
};

// The code page used when the locale cannot be asked.
constexpr const char* FALLBACK_CODEPAGE_NAME = "CP437";

void set_block_name(CodePageBlock* block, const char* name, size_t length) {
  if (length > CODEPAGE_NAME_MAX) length = CODEPAGE_NAME_MAX;
  std::memset(block, 0, sizeof *block);
  std::memcpy(block->name, name, length);
  block->present = 1;
  block->length = static_cast<uint16_t>(length);
}

}  // namespace

char* cp866_to_koi8(const char* src, char* dst, uint16_t max) {
  return convert(src, dst, max, [](uint8_t c) { return through(CP866_TO_KOI8, c); });
}

char* koi8_to_cp866(const char* src, char* dst, uint16_t max) {
  return convert(src, dst, max, [](uint8_t c) { return through(KOI8_TO_CP866, c); });
}

char* cp866_to_cp1251(const char* src, char* dst, uint16_t max) {
  return convert(src, dst, max, [](uint8_t c) { return through(CP866_TO_CP1251, c); });
}

char* cp1251_to_cp866(const char* src, char* dst, uint16_t max) {
  return convert(src, dst, max, [](uint8_t c) { return through(CP1251_TO_CP866, c); });
}

char* cp1251_to_koi8(const char* src, char* dst, uint16_t max) {
  return convert(src, dst, max,
                 [](uint8_t c) { return through(CP866_TO_KOI8, through(CP1251_TO_CP866, c)); });
}

char* koi8_to_cp1251(const char* src, char* dst, uint16_t max) {
  return convert(src, dst, max,
                 [](uint8_t c) { return through(CP866_TO_CP1251, through(KOI8_TO_CP866, c)); });
}

// Case tables cover all 256 bytes, so the Latin letters change as well.
char* cp866_upper(const char* src, char* dst, uint16_t max) {
  return convert(src, dst, max, [](uint8_t c) { return CP866_UPPER[c]; });
}

char* cp866_lower(const char* src, char* dst, uint16_t max) {
  return convert(src, dst, max, [](uint8_t c) { return CP866_LOWER[c]; });
}

char* koi8_upper(const char* src, char* dst, uint16_t max) {
  return convert(src, dst, max, [](uint8_t c) {
    return case_via_cp866(KOI8_TO_CP866, CP866_TO_KOI8, CP866_UPPER, c);
  });
}

char* koi8_lower(const char* src, char* dst, uint16_t max) {
  return convert(src, dst, max, [](uint8_t c) {
    return case_via_cp866(KOI8_TO_CP866, CP866_TO_KOI8, CP866_LOWER, c);
  });
}

char* cp1251_upper(const char* src, char* dst, uint16_t max) {
  return convert(src, dst, max, [](uint8_t c) {
    return case_via_cp866(CP1251_TO_CP866, CP866_TO_CP1251, CP866_UPPER, c);
  });
}

char* cp1251_lower(const char* src, char* dst, uint16_t max) {
  return convert(src, dst, max, [](uint8_t c) {
    return case_via_cp866(CP1251_TO_CP866, CP866_TO_CP1251, CP866_LOWER, c);
  });
}

uint8_t cp1251_char_to_cp866(uint8_t c) { return through(CP1251_TO_CP866, c); }

uint16_t codepage_classify(std::string_view name) {
  for (const CodePageName& entry : CODEPAGE_NAMES) {
    if (name == entry.name) return entry.value;
  }
  return CODEPAGE_OTHER;
}

void codepage_choose_name(const char* env_value, int locale_status, unsigned locale_codepage,
                          CodePageBlock* block) {
  if (env_value != nullptr && env_value[0] != 0) {
    set_block_name(block, env_value, std::strlen(env_value));
  } else if (locale_status == 0) {
    char name[CODEPAGE_NAME_MAX + 1];
    const int length = std::snprintf(name, sizeof name, "CP%u", locale_codepage);
    set_block_name(block, name, static_cast<size_t>(length));
  } else {
    set_block_name(block, FALLBACK_CODEPAGE_NAME, std::strlen(FALLBACK_CODEPAGE_NAME));
  }
}

void codepage_choose_default(CodePageSettings* settings, bool reread) {
  if (!settings->env_read || reread) {
    const int length =
        platform_getenv("TAVREL_CP", settings->env_value, sizeof settings->env_value);
    if (length < 0) settings->env_value[0] = 0;
    settings->env_set = length > 0;
    settings->env_read = true;
  }
  int locale_status = 1;
  unsigned locale_codepage = 0;
  if (!settings->env_set) {
    locale_status = platform_locale_codepage(settings->use_oem, &locale_codepage);
  }
  codepage_choose_name(settings->env_set ? settings->env_value : nullptr, locale_status,
                       locale_codepage, &settings->block);
  settings->recognised =
      codepage_classify(std::string_view(settings->block.name, settings->block.length));
}

}  // namespace tavrel
