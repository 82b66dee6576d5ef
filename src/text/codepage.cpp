// The code-page conversion routines and the classification of code-page names.
#include "text/codepage.h"


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

}  // namespace tavrel
