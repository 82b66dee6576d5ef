// "*.prc" files: the reader's line splitting and wrapping, the writer's dropping of
// trailing blanks and trailing empty lines, round trips through the editor, the wrap
// message, failures that keep the text, and Alt+F2 with a chosen name.
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "editor/prc_file.h"
#include "editor_fixture.h"

namespace tavrel {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> parsed(const std::string& bytes, bool* wrapped, int* capacity = nullptr) {
  EditorText t{nullptr, 0};
  text_init(&t);
  EXPECT_EQ(prc_parse(bytes.data(), bytes.size(), &t, wrapped), PRC_OK);
  std::vector<std::string> out;
  int last = text_last_used(&t);
  for (int i = 0; i <= last; i++) {
    const char* p = text_line(&t, i);
    out.push_back(p == nullptr ? "" : std::string(p, static_cast<size_t>(text_length(&t, i))));
  }
  if (capacity != nullptr) *capacity = t.capacity;
  text_free(&t);
  return out;
}

TEST(PrcFile, ReadingSplitsAndWrapsLines) {
  const std::string x219(219, 'x');
  struct Case {
    const char* name;
    std::string bytes;
    std::vector<std::string> lines;
    bool wrapped;
  };
  const Case cases[] = {
      {"LF ends", "a\nb\n", {"a", "b"}, false},
      {"CR LF is one end, no final end", "a\r\nb", {"a", "b"}, false},
      {"a lone CR ends a line", "a\rb\n", {"a", "b"}, false},
      {"empty lines stay", "\n\nx\n", {"", "", "x"}, false},
      {"219 characters stay whole", x219 + "\n" + "next\n", {x219, "next"}, false},
      {"220 characters wrap", x219 + "y\n", {x219, "y"}, true},
      {"300 characters: 219 and 81", std::string(300, 'z'), {std::string(219, 'z'), std::string(81, 'z')}, true},
      {"blanks past 219 are dropped", x219 + "    \r\nend", {x219, "end"}, false},
      {"tabs go to the next stop of eight", "\tx\tyz\n", {"        x       yz"}, false},
      {"NUL bytes become blanks", std::string("a\0b\n", 4), {"a b"}, false},
      {"an empty file", "", {}, false},
  };
  for (const Case& c : cases) {
    bool wrapped = !c.wrapped;
    EXPECT_EQ(parsed(c.bytes, &wrapped), c.lines) << c.name;
    EXPECT_EQ(wrapped, c.wrapped) << c.name;
  }
}

TEST(PrcFile, TheTableDoublesForLongFiles) {
  std::string bytes;
  for (int i = 0; i < 1200; i++) bytes += "line " + std::to_string(i) + "\n";
  bool wrapped = true;
  int capacity = 0;
  std::vector<std::string> lines = parsed(bytes, &wrapped, &capacity);
  ASSERT_EQ(lines.size(), 1200u);
  EXPECT_EQ(lines[1199], "line 1199");
  EXPECT_EQ(capacity, 2000);
}

TEST(PrcFile, WritingDropsTrailingBlanksAndTrailingEmptyLines) {
  EditorText t{nullptr, 0};
  text_init(&t);
  const std::string long_line(300, 'L');
  text_set_line(&t, 0, "a  ", 3);
  text_set_line(&t, 2, "b", 1);
  text_set_line(&t, 3, long_line.data(), 300);
  text_set_line(&t, 7, "    ", 4);  // blank: an empty line, not written at the end
  std::ostringstream out;
  EXPECT_EQ(prc_write(&t, out), PRC_OK);
  EXPECT_EQ(out.str(), "a\n\nb\n" + long_line + "\n");
  text_free(&t);
}

// A scratch directory per test.
class PrcEditor : public EditorTest {
 protected:
  fs::path dir;
  void SetUp() override {
    EditorTest::SetUp();
    dir = fs::temp_directory_path() /
          ("tavrel_editor_" + std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()));
    fs::remove_all(dir);
    fs::create_directories(dir);
  }
  void TearDown() override {
    std::error_code error;
    fs::remove_all(dir, error);
    EditorTest::TearDown();
  }
  std::string path(const char* name) const { return (dir / name).string(); }
  static std::string contents(const std::string& p) {
    std::ifstream in(p, std::ios::binary);
    std::string s((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::string unix_ends;
    for (char c : s)
      if (c != '\r') unix_ends += c;
    return unix_ends;
  }
  static void write(const std::string& p, const std::string& bytes) {
    std::ofstream out(p, std::ios::binary);
    out << bytes;
  }
};

TEST_F(PrcEditor, RoundTripThroughTheEditor) {
  set_lines({"create procedure \"P\"()", "code", "", "  x := 1;   ", "end;", "", ""});
  ASSERT_EQ(editor_save_file(&e, path("p.prc")), PRC_OK);
  EXPECT_EQ(contents(path("p.prc")), "create procedure \"P\"()\ncode\n\n  x := 1;\nend;\n");
  // Writing over the file replaces it.
  set_lines({"short"});
  text_remove_lines(&e.text, 1, 10);
  ASSERT_EQ(editor_save_file(&e, path("p.prc")), PRC_OK);
  EXPECT_EQ(contents(path("p.prc")), "short\n");
  EXPECT_FALSE(fs::exists(path("p.prc.tmp")));

  write(path("q.prc"), "one\r\n\r\n  two\r\n");
  e.modified = 1;
  ASSERT_EQ(editor_load_file(&e, path("q.prc")), PRC_OK);
  EXPECT_EQ(line(0), "one");
  EXPECT_EQ(line(1), "");
  EXPECT_EQ(line(2), "  two");
  EXPECT_EQ(text_last_used(&e.text), 2);
  EXPECT_EQ(e.modified, 0);
  EXPECT_EQ(e.line, 0);
  EXPECT_EQ(e.file_path, path("q.prc"));
  EXPECT_FALSE(was_shown(cp866("Процедура включает длинные строки - они были перенесены")));
}

TEST_F(PrcEditor, LoadingLongLinesTellsOfTheWrap) {
  write(path("long.prc"), std::string(220, 'w') + "\n");
  push_enter();
  ASSERT_EQ(editor_load_file(&e, path("long.prc")), PRC_OK);
  EXPECT_TRUE(was_shown(cp866("Процедура включает длинные строки - они были перенесены")));
  EXPECT_EQ(line(0), std::string(219, 'w'));
  EXPECT_EQ(line(1), "w");
}

TEST_F(PrcEditor, FailuresKeepTheText) {
  set_lines({"keep me"});
  e.modified = 1;
  push_enter();
  EXPECT_EQ(editor_load_file(&e, path("missing.prc")), PRC_OPEN_FAILED);
  EXPECT_TRUE(was_shown(cp866("Не удалось открыть файл")));
  EXPECT_EQ(line(0), "keep me");
  EXPECT_EQ(e.modified, 1);

  g_seen_screens.clear();
  push_enter();
  std::string nowhere = (dir / "no" / "such" / "dir.prc").string();
  EXPECT_NE(editor_save_file(&e, nowhere), PRC_OK);
  EXPECT_TRUE(was_shown(cp866("Не удалось записать файл")));
  EXPECT_EQ(line(0), "keep me");
  EXPECT_FALSE(fs::exists(nowhere));
}

std::string g_chosen;
int g_choices = 0;
int choose(const char* mask, bool for_writing, std::string* path) {
  g_choices++;
  EXPECT_STREQ(mask, "*.prc");
  EXPECT_TRUE(for_writing);
  if (g_chosen.empty()) return 1;
  *path = g_chosen;
  return 0;
}

TEST_F(PrcEditor, AltF2WritesToTheChosenFile) {
  EditorHooks hooks{};
  hooks.choose_file = choose;
  editor_set_hooks(hooks);
  set_lines({"text"});
  g_chosen = path("named");
  editor_key(&e, KEY_ALT_F2);
  EXPECT_EQ(contents(path("named.prc")), "text\n");
  // A cancelled choice writes nothing.
  g_chosen.clear();
  g_choices = 0;
  editor_key(&e, KEY_ALT_F2);
  EXPECT_EQ(g_choices, 1);
  EXPECT_EQ(std::distance(fs::directory_iterator(dir), fs::directory_iterator()), 1);
}

TEST_F(PrcEditor, TheFileDialogChoosesAFile) {
  write(path("picked.prc"), "from the dialog\n");
  // The name typed into the dialog's field, then Enter.
  push_text(path("picked.prc"));
  push_enter();
  ASSERT_EQ(editor_read_file_dialog(&e), PRC_OK);
  EXPECT_EQ(line(0), "from the dialog");
  // Leaving the dialog is told apart from a file read, so that the shell opens no window.
  push_esc();
  EXPECT_EQ(editor_read_file_dialog(&e), PRC_CANCELLED);
  EXPECT_EQ(line(0), "from the dialog");
}

}  // namespace
}  // namespace tavrel
