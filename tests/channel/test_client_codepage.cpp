// Tests of the client's code-page name: the choice from TAVREL_CP and the locale, and the
// locale's code pages as the POSIX platform derives them.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>

#include "channel/client_codepage.h"
#include "platform/platform.h"
#include "text/codepage.h"

namespace tavrel {
namespace {

TEST(CodePageNames, ChoiceOfName) {
  const std::string long_name(100, 'x');
  struct Case {
    const char* env;
    int locale_status;
    unsigned locale_codepage;
    std::string expected;
  };
  const Case cases[] = {
      {"KOI8-R", 0, 866, "KOI8-R"},
      {"koi8", 1, 0, "koi8"},
      {nullptr, 0, 866, "CP866"},
      {nullptr, 0, 1251, "CP1251"},
      {"", 0, 1251, "CP1251"},
      {nullptr, 1, 866, "CP437"},
      {long_name.c_str(), 0, 866, long_name.substr(0, CODEPAGE_NAME_MAX)},
  };
  for (const Case& c : cases) {
    CodePageBlock block;
    std::memset(&block, 0x55, sizeof block);
    codepage_choose_name(c.env, c.locale_status, c.locale_codepage, &block);
    EXPECT_EQ(block.present, 1);
    ASSERT_EQ(block.length, c.expected.size()) << c.expected;
    EXPECT_EQ(std::string(block.name, block.length), c.expected);
    EXPECT_EQ(block.reserved[0] | block.reserved[1], 0);
  }
}

// Sets one variable (nullptr: removes it) and puts the old value back at the end of the scope.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value) : name_(name) {
    const char* old = std::getenv(name);
    if (old) old_ = old;
    platform_setenv(name, value);
  }
  ~ScopedEnv() { platform_setenv(name_, old_ ? old_->c_str() : nullptr); }

 private:
  const char* name_;
  std::optional<std::string> old_;
};

TEST(CodePageDefault, ReadsTheVariableOnceUntilAskedToReread) {
  const ScopedEnv env("TAVREL_CP", "KOI8-R");
  CodePageSettings settings{};
  settings.use_oem = true;
  codepage_choose_default(&settings, false);
  EXPECT_EQ(std::string(settings.block.name, settings.block.length), "KOI8-R");
  EXPECT_EQ(settings.recognised, CODEPAGE_KOI8);

  platform_setenv("TAVREL_CP", "CP866");
  codepage_choose_default(&settings, false);
  EXPECT_EQ(settings.recognised, CODEPAGE_KOI8);
  codepage_choose_default(&settings, true);
  EXPECT_EQ(std::string(settings.block.name, settings.block.length), "CP866");
  EXPECT_EQ(settings.recognised, CODEPAGE_866);

  // Without the variable the name comes from the locale (or is the fallback).
  platform_setenv("TAVREL_CP", nullptr);
  codepage_choose_default(&settings, true);
  unsigned codepage = 0;
  const std::string expected = platform_locale_codepage(true, &codepage) == 0
                                   ? "CP" + std::to_string(codepage)
                                   : "CP437";
  EXPECT_EQ(std::string(settings.block.name, settings.block.length), expected);
}

TEST(CodePageDefault, PosixLocaleGivesTheWindowsCodePages) {
  if (!platform_locale_from_env()) GTEST_SKIP() << "the locale comes from the system on Windows";
  struct Case {
    const char *lc_all, *lc_ctype, *lang;
    unsigned oem, ansi;  // 0: the query fails
  };
  const Case cases[] = {
      {nullptr, nullptr, "ru_RU.UTF-8", 866, 1251},
      {nullptr, "uk_UA.UTF-8", "en_US.UTF-8", 866, 1251},
      {"", "", "be_BY@latin", 866, 1251},
      {"en_GB.UTF-8", "ru_RU.UTF-8", "ru_RU.UTF-8", 437, 1252},
      {nullptr, nullptr, "de", 437, 1252},
      {nullptr, nullptr, "rus", 437, 1252},
      {nullptr, nullptr, nullptr, 0, 0},
      {nullptr, "", "", 0, 0},
      {"C", nullptr, "ru_RU.UTF-8", 0, 0},
      {nullptr, nullptr, "C.UTF-8", 0, 0},
      {nullptr, nullptr, "POSIX", 0, 0},
  };
  for (size_t i = 0; i < std::size(cases); ++i) {
    const Case& c = cases[i];
    const ScopedEnv lc_all("LC_ALL", c.lc_all), lc_ctype("LC_CTYPE", c.lc_ctype),
        lang("LANG", c.lang);
    unsigned oem = 0, ansi = 0;
    EXPECT_EQ(platform_locale_codepage(true, &oem) == 0, c.oem != 0) << "case " << i;
    EXPECT_EQ(platform_locale_codepage(false, &ansi) == 0, c.ansi != 0) << "case " << i;
    EXPECT_EQ(oem, c.oem) << "case " << i;
    EXPECT_EQ(ansi, c.ansi) << "case " << i;
  }
}

}  // namespace
}  // namespace tavrel
