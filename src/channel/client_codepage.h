// The client's code page: which code-page name every session reports to the kernel
// (TAVREL_CP, else the locale's OEM or ANSI code page, else "CP437"), kept with the
// channel's settings.
#pragma once

#include <cstdint>

#include "protocol/records.h"

namespace tavrel {

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
