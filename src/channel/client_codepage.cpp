// The choice of the code-page name reported to the kernel.
#include "channel/client_codepage.h"

#include <cstdio>
#include <cstring>
#include <string_view>

#include "platform/platform.h"
#include "text/codepage.h"

namespace tavrel {

namespace {

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
