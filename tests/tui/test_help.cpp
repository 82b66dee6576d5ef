// The help file and viewer: reading (pages, links, highlight runs, every malformed file
// giving result 2 or 3), the viewer's keys and history, and the F1 handler's messages.
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>

#include "tui/help.h"
#include "tui/hints.h"
#include "tui/messages.h"
#include "tui_fixture.h"

namespace tavrel {
namespace {

std::string lines(int n, const char* prefix = "line") {
  std::string text;
  for (int i = 0; i < n; i++) text += std::string(prefix) + std::to_string(i) + "\n";
  return text;
}

TEST(HelpFile, PagesOfSixteenLines) {
  auto topic = std::make_unique<HelpTopic>();
  struct Case {
    int lines, pages;
  };
  for (Case c : {Case{1, 1}, Case{16, 1}, Case{17, 2}, Case{32, 2}, Case{33, 3}, Case{500, 32}}) {
    std::string text = lines(c.lines);
    ASSERT_EQ(help_parse_text(text.data(), text.size(), topic.get()), HELP_OK) << c.lines;
    EXPECT_EQ(topic->line_count, c.lines);
    EXPECT_EQ(topic->page_count, c.pages) << c.lines;
    EXPECT_TRUE(topic->lines[c.lines - 1].flags & HELP_LINE_PAGE_END);
  }
  std::string text = lines(501);
  EXPECT_EQ(help_parse_text(text.data(), text.size(), topic.get()), HELP_NO_TOPIC);
}

TEST(HelpFile, LinksPrefixesAndHighlightRuns) {
  auto topic = std::make_unique<HelpTopic>();
  std::string text = "Title\n|12a|first link\n//|not a link\n~on\nstill on~ off\n~~ plain\n" + lines(14) + "|7b|second\n|x|bad\n";
  ASSERT_EQ(help_parse_text(text.data(), text.size(), topic.get()), HELP_OK);
  ASSERT_EQ(topic->link_count, 2);
  EXPECT_EQ(topic->links[0].topic, 12);
  EXPECT_EQ(topic->links[0].hot_letter, 'a');
  EXPECT_EQ(topic->links[0].line, 1);
  EXPECT_STREQ(topic->lines[1].text, "first link");
  EXPECT_TRUE(topic->lines[1].flags & HELP_LINE_LINK);
  EXPECT_EQ(topic->links[1].topic, 7);
  EXPECT_EQ(topic->links[1].page, 1);
  EXPECT_EQ(topic->links[1].row, 4);
  EXPECT_STREQ(topic->lines[2].text, "|not a link");
  EXPECT_FALSE(topic->lines[2].flags & HELP_LINE_LINK);
  EXPECT_FALSE(topic->lines[3].flags & HELP_LINE_IN_HIGHLIGHT);
  EXPECT_TRUE(topic->lines[4].flags & HELP_LINE_IN_HIGHLIGHT);
  EXPECT_FALSE(topic->lines[5].flags & HELP_LINE_IN_HIGHLIGHT);
  EXPECT_FALSE(topic->lines[6].flags & HELP_LINE_IN_HIGHLIGHT);  // "~~" switches nothing
  EXPECT_FALSE(topic->lines[22].flags & HELP_LINE_LINK);
}

std::vector<uint8_t> sample_file() {
  return help_build_file({{0, "Contents\n|1a|About\n"}, {1, "About\nText ~bold~ and ~~tilde\n|0c|Contents\n"},
                          {3, "Three\n"}});
}

TEST(HelpFile, BuiltFileReadsBackAndMalformedFilesFail) {
  std::vector<uint8_t> file = sample_file();
  auto topic = std::make_unique<HelpTopic>();
  EXPECT_EQ(help_check_signature(file.data(), file.size()), HELP_OK);
  ASSERT_EQ(help_load_topic(file.data(), file.size(), 1, topic.get()), HELP_OK);
  EXPECT_STREQ(topic->lines[0].text, "About");
  EXPECT_EQ(topic->links[0].topic, 0);
  // The text is stored scrambled.
  EXPECT_EQ(std::search(file.begin(), file.end(), std::begin("About"), std::end("About") - 1), file.end());

  struct Case {
    const char* name;
    std::vector<uint8_t> bytes;
    int topic;
    int result;
  };
  std::vector<Case> cases;
  cases.push_back({"topic equal to the count", file, 4, HELP_NO_TOPIC});
  cases.push_back({"negative topic", file, -1, HELP_NO_TOPIC});
  cases.push_back({"a gap in the index", file, 2, HELP_NO_TOPIC});
  std::vector<uint8_t> truncated(file.begin(), file.end() - 3);
  cases.push_back({"text cut short", truncated, 3, HELP_NO_TOPIC});
  std::vector<uint8_t> count_too_big = file;
  count_too_big[0] = 200;
  cases.push_back({"index beyond the file", count_too_big, 150, HELP_NO_TOPIC});
  std::vector<uint8_t> huge_offset = file;
  huge_offset[20 + 12 * 3 + 3] = 0xFF;
  cases.push_back({"offset beyond the file", huge_offset, 3, HELP_NO_TOPIC});
  cases.push_back({"header cut short", std::vector<uint8_t>(file.begin(), file.begin() + 10), 0, HELP_BAD_FORMAT});
  for (const Case& c : cases)
    EXPECT_EQ(help_load_topic(c.bytes.data(), c.bytes.size(), c.topic, topic.get()), c.result) << c.name;
  std::vector<uint8_t> bad = file;
  bad[2] = 't';
  EXPECT_EQ(help_check_signature(bad.data(), bad.size()), HELP_BAD_FORMAT);
  bad = file;
  bad[2 + 13] = 'x';  // the field must end after the text
  EXPECT_EQ(help_check_signature(bad.data(), bad.size()), HELP_BAD_FORMAT);
  EXPECT_EQ(help_check_signature(file.data(), 12), HELP_BAD_FORMAT);
}

class HelpViewerTest : public TuiTest {
 protected:
  void SetUp() override {
    TuiTest::SetUp();
    // One file a test case: CTest runs the cases in parallel processes.
    const std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
    path_ = (std::filesystem::temp_directory_path() / ("tavrel_tui_help_" + name + ".hlp")).string();
    help_history_clear();
  }
  void TearDown() override {
    std::filesystem::remove(path_);
    help_set_file("kalvet.hlp");
    TuiTest::TearDown();
  }
  void write(const std::vector<uint8_t>& bytes) {
    std::ofstream out(path_, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    out.close();
    help_set_file(path_);
  }
  std::string path_;
};

TEST_F(HelpViewerTest, ResultsOfTheViewer) {
  help_set_file(path_ + ".missing");
  EXPECT_EQ(help_show(0), HELP_NO_FILE);
  write({1, 2, 3});
  EXPECT_EQ(help_show(0), HELP_BAD_FORMAT);
  write(sample_file());
  EXPECT_EQ(help_show(4), HELP_NO_TOPIC);
  EXPECT_EQ(help_missing_topic(), 4);
  push_esc();
  EXPECT_EQ(help_show(0), HELP_OK);
  EXPECT_EQ(window_active(), nullptr);
  EXPECT_EQ(virtual_console_starved(), 0);
}

TEST_F(HelpViewerTest, LinksHotLettersGeneralHelpAndHistory) {
  write(sample_file());
  push_key(0x3D, 0);     // F3: nothing
  push_enter();           // contents: its link to 1
  push_char('c');         // the hot letter of the link back to 0
  push_key(0x1E, 'a');    // and to 1 again
  push_key(0x3B, 0, CK_LEFT_ALT);  // Alt+F1: back to 0
  push_key(0x3B, 0);      // F1: general help (0)
  push_esc();
  EXPECT_EQ(help_show(0), HELP_OK);
  // 0 1 0 1, back: 0 1 0, then F1: 0 1 0 0.
  const int expected[] = {0, 1, 0, 0};
  ASSERT_EQ(help_history_count(), 4);
  for (int i = 0; i < 4; i++) EXPECT_EQ(help_history_at(i).topic, expected[i]) << i;
  // The history survives: Alt+F1 at once in the next session goes back to the last topic.
  push_key(0x3B, 0, CK_LEFT_ALT);
  push_esc();
  EXPECT_EQ(help_show(1), HELP_OK);
  EXPECT_EQ(help_history_at(help_history_count() - 1).topic, 0);
}

TEST_F(HelpViewerTest, SixtyLinksKeepTheLastFifty) {
  write(help_build_file({{0, "Ping\n|1a|pong\n"}, {1, "Pong\n|0a|ping\n"}}));
  for (int i = 0; i < 60; i++) push_char('a');
  push_esc();
  EXPECT_EQ(help_show(0), HELP_OK);
  EXPECT_EQ(help_history_count(), HELP_HISTORY_MAX);
  EXPECT_EQ(help_history_at(HELP_HISTORY_MAX - 1).topic, 0);  // 61 topics shown: 0 1 0 ... 0
  EXPECT_EQ(help_history_at(0).topic, 1);
}

std::string g_page_text;
bool g_pgdn_mark = false, g_pgup_mark = false;
void look_at_help() {
  g_page_text = virtual_console_text(3, 8, 71);
  g_pgdn_mark = virtual_console_text(21, 67, 70) == "PgDn";
  g_pgup_mark = virtual_console_text(21, 9, 12) == "PgUp";
  stuff_key(KEY_ESC);
}

TEST_F(HelpViewerTest, PagesAndHighlightOnScreen) {
  std::string text = "Title\nA ~b~ c ~~ d\n" + lines(16, "x");
  write(help_build_file({{0, text}}));
  set_hot_key(KEY_ESC, look_at_help, 0);  // bound elsewhere: steps aside while help is shown
  push_key(0x51, 0);  // PgDn
  set_idle_hook([] {
    if (g_page_text.empty()) look_at_help();
  });
  set_idle_period(1);
  g_page_text.clear();
  EXPECT_EQ(help_show(0), HELP_OK);
  set_idle_hook(nullptr);
  EXPECT_EQ(g_page_text.substr(0, 3), "x14");  // line 16 of Title, A, x0 ...
  EXPECT_TRUE(g_pgup_mark);
  EXPECT_FALSE(g_pgdn_mark);
  HotKeyHandler handler = nullptr;
  uint16_t substitute = 1;
  ASSERT_TRUE(hot_key_get(KEY_ESC, &handler, &substitute));  // the binding came back
  EXPECT_EQ(handler, look_at_help);
  EXPECT_EQ(substitute, 0);
}

std::string g_box_text;
void read_box() {
  for (int r = 0; r < 25; r++) {
    std::string row = virtual_console_row(r);
    if (row.find(cp866("Отсутствует")) != std::string::npos || row.find(cp866("Неверный")) != std::string::npos)
      g_box_text = row;
  }
  stuff_key(KEY_ESC);
}

TEST_F(HelpViewerTest, F1ReportsMissingTopicsAndBadFilesButNotMissingFiles) {
  set_idle_hook(read_box);
  set_idle_period(1);
  write(sample_file());
  help_category_set_current(4);
  g_box_text.clear();
  help_f1();
  EXPECT_NE(g_box_text.find(cp866("Отсутствует пункт помощи с номером 4")), std::string::npos);
  EXPECT_TRUE(hot_key_registered(KEY_F1));
  write({'x'});
  g_box_text.clear();
  help_f1();
  EXPECT_NE(g_box_text.find(cp866("Неверный формат hlp-файла")), std::string::npos);
  help_set_file(path_ + ".missing");
  int writes = virtual_console_write_count();
  g_box_text.clear();
  help_f1();
  EXPECT_EQ(g_box_text, "");
  EXPECT_EQ(virtual_console_write_count(), writes);
  set_idle_hook(nullptr);
  EXPECT_EQ(help_category_current(), 4u);
}

#ifdef TAVREL_HELP_FILE
TEST(HelpFile, TheProgramsHelpFileHasATopicForEveryScreen) {
  std::ifstream in(TAVREL_HELP_FILE, std::ios::binary);
  ASSERT_TRUE(in);
  std::vector<uint8_t> file((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  ASSERT_EQ(help_check_signature(file.data(), file.size()), HELP_OK);
  auto topic = std::make_unique<HelpTopic>();
  const uint32_t categories[] = {HELP_GENERAL, HELP_MAIN_MENU, HELP_LOGIN, HELP_PROC_CHOICE, HELP_TRIGGER_CHOICE,
                                 HELP_CODE_EDITOR, HELP_DEBUG_EDITOR, HELP_ERRORS, HELP_BREAKPOINTS,
                                 HELP_BREAKPOINTS_EDIT, HELP_BREAKPOINT_PROPS, HELP_ACTIVE_PROCS, HELP_NEW_PROC,
                                 HELP_NEW_TRIGGER, HELP_FILE_CHOICE, HELP_CALCULATOR, HELP_RUN_PARAMS, HELP_SEARCH,
                                 HELP_HELP_VIEWER, HELP_MESSAGES, HELP_LOCALS, HELP_MONITOR, HELP_STACK};
  for (uint32_t c : categories) {
    ASSERT_EQ(help_load_topic(file.data(), file.size(), static_cast<int>(c), topic.get()), HELP_OK) << c;
    for (int i = 0; i < topic->link_count; i++) {
      auto target = std::make_unique<HelpTopic>();
      EXPECT_EQ(help_load_topic(file.data(), file.size(), topic->links[i].topic, target.get()), HELP_OK)
          << c << " -> " << topic->links[i].topic;
    }
  }
}
#endif

}  // namespace
}  // namespace tavrel
