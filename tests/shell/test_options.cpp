// The command line: the version options and their texts, the help file path, and the
// login options "-N" and "-U" with the connect string they give.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "text/unicode.h"
#include "platform/platform.h"
#include "shell/shell.h"
#include "protocol/codes.h"

namespace tavrel {
namespace {

// Runs version_option on a command line and gives its result and output.
int run_version(std::vector<std::string> args, std::string* output) {
  std::vector<char*> argv;
  for (std::string& a : args) argv.push_back(a.data());
  FILE* out = std::tmpfile();
  int result = version_option(static_cast<int>(argv.size()), argv.data(), out);
  std::rewind(out);
  output->clear();
  int ch;
  while ((ch = std::fgetc(out)) != EOF) output->push_back(static_cast<char>(ch));
  std::fclose(out);
  return result;
}

TEST(VersionOption, RecognisedWordsAndOutput) {
  // Standard output gets UTF-8 where the locale comes from the environment, else CP866.
  const char* banner_utf8 = " Менеджер хранимых процедур в.1.00    СУБД Таврел в6.0";
  const std::string banner = platform_locale_from_env() ? banner_utf8 : utf8_to_cp866(banner_utf8);
  const std::string full = banner + "\nTavrel SQL Kelvora v. 6.0.15.13 for Win32 \n" + version_text(1) + "\n";
  struct Case {
    std::vector<std::string> args;
    int result;
    std::string output;
  };
  const Case cases[] = {
      {{"procman", "-briefversion"}, 1, "6.0.15.13\n"},
      {{"procman", "/briefversion"}, 1, "6.0.15.13\n"},
      {{"procman", "-version"}, 1, full},
      {{"procman", "/version"}, 1, full},
      {{"procman", "-version", "extra"}, 1, full},
      {{"procman", "version"}, 0, ""},
      {{"procman", "-Version"}, 0, ""},
      {{"procman", "-versions"}, 0, ""},
      {{"procman", "-U", "-version"}, 0, ""},
      {{"procman"}, 0, ""},
  };
  for (const Case& c : cases) {
    std::string output;
    EXPECT_EQ(run_version(c.args, &output), c.result) << c.args.back();
    EXPECT_EQ(output, c.output) << c.args.back();
  }
}

TEST(VersionText, Forms) {
  EXPECT_STREQ(version_text(0), "Tavrel SQL Kelvora v. 6.0.15.13 for Win32 ");
  EXPECT_STRNE(version_text(1), "");
  EXPECT_STREQ(version_text(2), "6.0.15.13");
  EXPECT_STREQ(version_text(3), "Tavrel SQL Kelvora");
  EXPECT_STREQ(version_text(4), "Tavrel SQL Kelvora v. 6.0.15.13");
  EXPECT_STREQ(version_text(5), "");
  EXPECT_STREQ(version_text(-1), "");
}

TEST(HelpPath, BesideTheProgram) {
  const struct {
    const char* argv0;
    const char* path;
  } cases[] = {
      {"procman", "kalvet.hlp"},
      {"C:\\tavrel\\bin\\procman.exe", "C:\\tavrel\\bin\\kalvet.hlp"},
      {"/opt/tavrel/procman", "/opt/tavrel/kalvet.hlp"},
      {"./procman", "./kalvet.hlp"},
      {"", "kalvet.hlp"},
  };
  for (const auto& c : cases) EXPECT_EQ(help_path_from(c.argv0), c.path) << c.argv0;
}

std::string trim(const char* field) {
  std::string s = field;
  while (!s.empty() && s.back() == ' ') s.pop_back();
  return s;
}

TEST(LoginOptions, NodeAndUser) {
  struct Case {
    std::vector<std::string> args;
    const char* user;
    const char* password;
    const char* node;
    bool user_given, node_given;
    const char* connect;
  };
  const std::string long_user(80, 'u');
  const Case cases[] = {
      {{"procman", "-UDEMO/DEMO"}, "DEMO", "DEMO", "", true, false, "\"DEMO\"/\"DEMO\""},
      {{"procman", "-U", "DEMO/DEMO"}, "DEMO", "DEMO", "", true, false, "\"DEMO\"/\"DEMO\""},
      {{"procman", "-uscott/tiger"}, "scott", "tiger", "", true, false, "\"scott\"/\"tiger\""},
      {{"procman", "-UDEMO"}, "DEMO", "", "", true, false, "\"DEMO\"/\"\""},
      {{"procman", "-Ua/b/c"}, "a", "b/c", "", true, false, "\"a\"/\"b/c\""},
      {{"procman", "-Nserver1"}, "", "", "server1", false, true, "\"\"/\"\""},
      {{"procman", "-n", "longnodename"}, "", "", "longnode", false, true, "\"\"/\"\""},
      {{"procman", "-N", "srv", "-U", "x/y"}, "x", "y", "srv", true, true, "\"x\"/\"y\""},
      {{"procman", "-U"}, "", "", "", false, false, "\"\"/\"\""},
      {{"procman", "DEMO/DEMO", "-X", "/U", "a/b"}, "", "", "", false, false, "\"\"/\"\""},
      {{"procman", "-Uab cd  /pw  "}, "ab cd", "pw", "", true, false, "\"ab cd\"/\"pw\""},
  };
  for (const Case& c : cases) {
    std::vector<std::string> args = c.args;
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    login_reset();
    login_scan_options(static_cast<int>(argv.size()), argv.data());
    const LoginSettings& l = login_settings();
    const std::string what = args.size() > 1 ? args[1] : "";
    EXPECT_EQ(trim(l.user), c.user) << what;
    EXPECT_EQ(trim(l.password), c.password) << what;
    EXPECT_EQ(trim(l.node), c.node) << what;
    EXPECT_EQ(l.user_given, c.user_given) << what;
    EXPECT_EQ(l.node_given, c.node_given) << what;
    EXPECT_EQ(connect_string(), c.connect) << what;
  }
}

TEST(LoginOptions, FieldLimits) {
  std::string value = "-U" + std::string(80, 'u') + "/" + std::string(30, 'p');
  std::vector<char*> argv = {const_cast<char*>("procman"), value.data()};
  login_reset();
  login_scan_options(2, argv.data());
  EXPECT_EQ(trim(login_settings().user), std::string(68, 'u'));
  EXPECT_EQ(trim(login_settings().password), std::string(20, 'p'));
  // Five characters of user and three of password give a connect string of 13.
  std::string five = "-Uabcde/xyz";
  argv[1] = five.data();
  login_reset();
  login_scan_options(2, argv.data());
  EXPECT_EQ(connect_string().size(), 13u);
}

TEST(ServerError, TextsByCode) {
  const struct {
    uint32_t code;
    const char* text;
  } cases[] = {
      {CHANNEL_NOT_REACHED, " Таврел не загружен "},
      {KERNEL_UNKNOWN_USER, " Неверное имя пользователя "},
      {KERNEL_WRONG_PASSWORD, " Неверный пароль! "},
      {KERNEL_BAD_CHANNEL, "Неверный номер канала!"},
      {4005, "Ошибка обмена данными по сети 4005"},
      {4999, "Ошибка обмена данными по сети 4999"},
      {1074, "Код возврата Таврела 1074"},
      {5000, "Код возврата Таврела 5000"},
  };
  for (const auto& c : cases) EXPECT_EQ(server_error_text(c.code), utf8_to_cp866(c.text)) << c.code;
}

}  // namespace
}  // namespace tavrel
