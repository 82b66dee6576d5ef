// Texts going to the kernel: the templates of new objects, stored texts split into lines,
// the head of a text read with the lexer, the statement's even length, the verb replaced in
// place, and the store loop through the kernel's "missing", "exists" and translation codes.
#include "catalog_peer.h"

namespace tavrel {
namespace {

using Store = CatalogTest;

std::string line_of(const EditorText& t, int i) {
  const char* l = text_line(&t, i);
  return l == nullptr ? std::string() : std::string(l, static_cast<size_t>(text_length(&t, i)));
}

struct OwnedText {
  EditorText text{};
  OwnedText() { text_init(&text); }
  explicit OwnedText(const std::vector<std::string>& lines) : OwnedText() {
    for (size_t i = 0; i < lines.size(); ++i)
      text_set_line(&text, static_cast<int>(i), lines[i].data(), static_cast<int>(lines[i].size()));
  }
  ~OwnedText() { text_free(&text); }
};

TEST_F(Store, TemplatesOfNewObjects) {
  OwnedText p;
  ASSERT_EQ(procedure_template("P", false, &p.text), TEXT_OK);
  EXPECT_EQ(line_of(p.text, 0), "create procedure \"P\"()");
  EXPECT_EQ(line_of(p.text, 1), "code");
  EXPECT_EQ(line_of(p.text, 2), "end;");
  EXPECT_EQ(text_last_used(&p.text), 2);
  ASSERT_EQ(procedure_template("P", true, &p.text), TEXT_OK);
  EXPECT_EQ(line_of(p.text, 0), "create procedure \"P\"() for debug");

  OwnedText t;
  ASSERT_EQ(trigger_template({"T1", "ORDERS", true, 2, true, true}, &t.text), TEXT_OK);
  const char* const want[] = {"create trigger \"T1\"", "after insert on ORDERS for each row", "execute for debug",
                              "code", "end;"};
  for (int i = 0; i < 5; ++i) EXPECT_EQ(line_of(t.text, i), want[i]);
  ASSERT_EQ(trigger_template({"T2", "X", false, 4, false, false}, &t.text), TEXT_OK);
  EXPECT_EQ(line_of(t.text, 1), "before delete on X for each statement");
  EXPECT_EQ(line_of(t.text, 2), "execute");
}

TEST_F(Store, StoredTextsSplitAtEveryLineEnd) {
  OwnedText t;
  bool long_lines = true;
  ASSERT_EQ(stored_text_lines(std::string("a\r\nb\rc\n\nd\0ignored", 17), &t.text, &long_lines), TEXT_OK);
  EXPECT_FALSE(long_lines);
  const char* const want[] = {"a", "b", "c", "", "d"};
  for (int i = 0; i < 5; ++i) EXPECT_EQ(line_of(t.text, i), want[i]) << i;
  EXPECT_EQ(text_last_used(&t.text), 4);

  ASSERT_EQ(stored_text_lines(std::string(300, 'x') + "\n" + std::string(1500, 'y') + "\nz", &t.text, &long_lines),
            TEXT_OK);
  EXPECT_TRUE(long_lines);
  EXPECT_EQ(line_of(t.text, 0).size(), 300u);  // held whole
  EXPECT_EQ(line_of(t.text, 1).size(), 1024u); // the first 1024 characters kept
  EXPECT_EQ(line_of(t.text, 2), "z");
}

TEST_F(Store, HeadsOfTexts) {
  const struct {
    std::vector<std::string> lines;
    int kind;
    const char* name;
    int line, column;
  } cases[] = {
      {{"create procedure p1()", "code", "end;"}, HEAD_CREATE_PROCEDURE, "P1", 0, 7},
      {{"", "  ALTER PROCEDURE \"Mixed Case\"()"}, HEAD_ALTER_PROCEDURE, "Mixed Case", 1, 8},
      {{"procedure p2"}, HEAD_PROCEDURE, "P2", 0, 0},
      {{"create or replace procedure p3()"}, HEAD_REPLACE_PROCEDURE, "P3", 0, 18},
      {{"trigger t1 after insert on x for each row"}, HEAD_TRIGGER, "T1", 0, 0},
      {{"create trigger \"t2\""}, HEAD_VERB_TRIGGER, "t2", 0, 7},
      {{"select 1;"}, HEAD_NONE, "", 0, 0},
      {{"create table t(a int);"}, HEAD_NONE, "", 0, 7},
      {{"create procedure (a int)"}, HEAD_NONE, "", 0, 7},
      {{""}, HEAD_NONE, "", 0, 0},
  };
  for (const auto& c : cases) {
    OwnedText t(c.lines);
    const TextHead h = classify_text(&t.text);
    EXPECT_EQ(h.kind, c.kind) << c.lines.back();
    EXPECT_EQ(h.name, c.name) << c.lines.back();
    if (c.kind != HEAD_NONE) {
      EXPECT_EQ(h.line, c.line) << c.lines.back();
      EXPECT_EQ(h.column, c.column) << c.lines.back();
    }
  }
}

TEST_F(Store, StatementsAlwaysEndInSemicolonAtAnEvenLength) {
  // "a\nend" is 5 characters before the ";": odd, so "end;" stays as it is.
  OwnedText odd({"a", "end;", "", ""});
  EXPECT_EQ(build_statement(&odd.text, ""), "a\nend;");
  // "ab\nend" is 6: even, so a blank goes before the ";".
  OwnedText even({"ab", "end;  "});
  EXPECT_EQ(build_statement(&even.text, ""), "ab\nend ;");
  // No ";" at all, empty lines inside kept, trailing blanks of lines dropped.
  OwnedText bare({"procedure p   ", "", "code", "end"});
  const std::string s = build_statement(&bare.text, "create ");
  EXPECT_EQ(s, "create procedure p\n\ncode\nend ;");
  for (const char* prefix : {"", "x", "alter "}) {
    for (const auto& lines : {std::vector<std::string>{"end;"}, {"end"}, {"e;"}, {";"}, {"a;b"}}) {
      OwnedText t(lines);
      const std::string out = build_statement(&t.text, prefix);
      EXPECT_EQ(out.size() % 2, 0u) << prefix << lines[0];
      EXPECT_EQ(out.back(), ';');
    }
  }
}

TEST_F(Store, VerbReplacedInPlace) {
  OwnedText t({"// a comment", "  create procedure p()", "code", "end;"});
  TextHead h = classify_text(&t.text);
  ASSERT_EQ(h.kind, HEAD_CREATE_PROCEDURE);
  ASSERT_EQ(replace_verb(&t.text, h, "alter "), TEXT_OK);
  EXPECT_EQ(line_of(t.text, 0), "alter procedure p()");  // the lines before it dropped
  EXPECT_EQ(line_of(t.text, 1), "code");
  h = classify_text(&t.text);
  EXPECT_EQ(h.kind, HEAD_ALTER_PROCEDURE);
  ASSERT_EQ(replace_verb(&t.text, h, "create "), TEXT_OK);
  EXPECT_EQ(line_of(t.text, 0), "create procedure p()");

  // A verb on lines of its own is replaced up to the word after it.
  OwnedText split({"create or", "  replace", "procedure p()", "code"});
  h = classify_text(&split.text);
  ASSERT_EQ(h.kind, HEAD_REPLACE_PROCEDURE);
  ASSERT_EQ(replace_verb(&split.text, h, "alter "), TEXT_OK);
  EXPECT_EQ(line_of(split.text, 0), "alter procedure p()");
  EXPECT_EQ(line_of(split.text, 1), "code");
}

// An editor over a text for the store loop.
struct StoreWindow {
  Editor editor{};
  StoreTarget target{};
  explicit StoreWindow(const std::vector<std::string>& lines) {
    editor_create(&editor, 1, 0, 23, 79);
    OwnedText t(lines);
    editor_set_text(&editor, &t.text);
    target = StoreTarget{&editor, 0, false, HEAD_NONE, true, {}};
  }
  ~StoreWindow() { editor_destroy(&editor); }
};

TEST_F(Store, ExistingProcedureIsRecreatedWithAlterAfterYes) {
  StoreWindow w({"create procedure p()", "code", "end;"});
  int stores = 0;
  g_handler = [&stores](const PeerCall& c, RequestBlock*, uint8_t* answer) -> uint32_t {
    if (c.command == "    ") return stores++ == 0 ? KERNEL_PROC_EXISTS : 0;
    put32(answer, 77);
    return 0;
  };
  push_enter();  // " Да "
  EXPECT_EQ(store_text(&w.target), 1);
  EXPECT_EQ(commands(), "    ,    ,SLCT");
  EXPECT_EQ(g_calls[0].statement, "create procedure p()\ncode\nend;");
  EXPECT_EQ(g_calls[0].answer_length, STORE_ANSWER);
  EXPECT_EQ(g_calls[1].statement, "alter procedure p()\ncode\nend ;");
  EXPECT_EQ(w.target.procedure_id, 77u);
  EXPECT_EQ(w.target.stored_kind, HEAD_ALTER_PROCEDURE);
  EXPECT_STREQ(w.editor.name, "P");
  EXPECT_EQ(std::string(block.command, 4), "PROC");

  // Stored once, the window alters from then on; a missing procedure is created again.
  g_calls.clear();
  stores = 0;
  g_handler = [&stores](const PeerCall& c, RequestBlock*, uint8_t*) -> uint32_t {
    if (c.command == "    ") return stores++ == 0 ? KERNEL_PROC_MISSING : 0;
    return 0;
  };
  EXPECT_EQ(store_text(&w.target), 1);
  EXPECT_EQ(g_calls[0].statement, "alter procedure p()\ncode\nend ;");
  EXPECT_EQ(g_calls[1].statement, "create procedure p()\ncode\nend;");
}

TEST_F(Store, RefusingTheRecreationStoresNothing) {
  StoreWindow w({"procedure p", "code", "end;"});
  g_handler = [](const PeerCall&, RequestBlock*, uint8_t*) -> uint32_t { return KERNEL_PROC_EXISTS; };
  EXPECT_EQ(store_text(&w.target), 0);  // Esc on the question
  EXPECT_EQ(commands(), "    ");
  EXPECT_EQ(g_calls[0].statement, "create procedure p\ncode\nend;");
  EXPECT_EQ(w.target.stored_kind, HEAD_NONE);
}

TEST_F(Store, ExistingTriggerIsDroppedAndCreatedAfterYes) {
  StoreWindow w({"trigger t after insert on x for each row", "execute", "code", "end;"});
  int stores = 0;
  g_handler = [&stores](const PeerCall& c, RequestBlock*, uint8_t* answer) -> uint32_t {
    if (c.command == "    " && c.statement.rfind("create", 0) == 0) return stores++ == 0 ? KERNEL_TRIGGER_EXISTS : 0;
    put32(answer, 12);
    return 0;
  };
  push_enter();
  EXPECT_EQ(store_text(&w.target), 1);
  EXPECT_EQ(commands(), "    ,    ,    ,SLCT");
  EXPECT_EQ(g_calls[1].statement, "drop trigger \"T\";");
  EXPECT_EQ(g_calls[0].statement, g_calls[2].statement);
  EXPECT_EQ(g_calls[2].statement.rfind("create trigger t", 0), 0u);
  EXPECT_EQ(w.target.procedure_id, 12u);
  EXPECT_TRUE(w.target.id_known);
}

TEST_F(Store, TranslationErrorsFetchTheList) {
  StoreWindow w({"create procedure p(", "code", "end;"});
  g_handler = [](const PeerCall& c, RequestBlock* b, uint8_t* answer) -> uint32_t {
    if (c.command == "    ") return KERNEL_TRANSLATION_ERRORS;
    const uint8_t list[] = {1, 0, 8, 0, 0, 0, 1, 0, 0, 0, 20, 0, 0, 0, 0};
    std::memcpy(answer, list, sizeof list);
    b->answer_length = sizeof list;
    return 0;
  };
  push_enter();  // chooses the one row of the list
  EXPECT_EQ(store_text(&w.target), 0);
  EXPECT_EQ(commands(), "    ,GETE");
  EXPECT_EQ(g_calls[1].position, KERNEL_TRANSLATION_ERRORS);
  ASSERT_EQ(error_list().texts.size(), 1u);
  EXPECT_EQ(error_list().texts[0], cp866("Ошибка в строке 1 позиция 20: требуется )"));
  EXPECT_EQ(w.editor.line, 0);
  EXPECT_EQ(w.editor.column, 19);
}

TEST_F(Store, BareHeadsTakeAPrefix) {
  // "procedure": create first; a missing one after a store of the same name is created again.
  StoreWindow p({"procedure p", "code", "end;"});
  p.target.stored_kind = HEAD_CREATE_PROCEDURE;
  p.target.stored_name = "P";
  int stores = 0;
  g_handler = [&stores](const PeerCall& c, RequestBlock*, uint8_t*) -> uint32_t {
    return c.command == "    " && stores++ == 0 ? KERNEL_PROC_MISSING : 0;
  };
  EXPECT_EQ(store_text(&p.target), 1);
  EXPECT_EQ(g_calls[0].statement.rfind("alter procedure p\n", 0), 0u);
  EXPECT_EQ(g_calls[1].statement.rfind("create procedure p\n", 0), 0u);
  EXPECT_EQ(line_of(p.editor.text, 0), "procedure p");  // a prefix leaves the text alone

  // Another name in the same window is another object: created, not altered.
  g_calls.clear();
  StoreWindow q({"procedure q", "code", "end;"});
  q.target.stored_kind = HEAD_CREATE_PROCEDURE;
  q.target.stored_name = "P";
  g_handler = [](const PeerCall&, RequestBlock*, uint8_t*) -> uint32_t { return 0; };
  EXPECT_EQ(store_text(&q.target), 1);
  EXPECT_EQ(g_calls[0].statement.rfind("create procedure q\n", 0), 0u);

  // "create trigger" is sent as it stands, and again after the drop.
  g_calls.clear();
  StoreWindow t({"create trigger t after delete on x for each row", "execute", "code", "end;"});
  stores = 0;
  g_handler = [&stores](const PeerCall& c, RequestBlock*, uint8_t*) -> uint32_t {
    return c.statement.rfind("create", 0) == 0 && stores++ == 0 ? KERNEL_TRIGGER_EXISTS : 0;
  };
  push_enter();
  EXPECT_EQ(store_text(&t.target), 1);
  ASSERT_GE(g_calls.size(), 3u);
  EXPECT_EQ(g_calls[1].statement, "drop trigger \"T\";");
  EXPECT_EQ(g_calls[2].statement, g_calls[0].statement);
}

TEST_F(Store, AKernelThatNeverSettlesIsReported) {
  StoreWindow w({"create procedure p()", "code", "end;"});
  g_handler = [](const PeerCall& c, RequestBlock*, uint8_t*) -> uint32_t {
    if (c.command == "GETE") return 2;
    return c.statement.rfind("alter", 0) == 0 ? KERNEL_PROC_MISSING : KERNEL_PROC_EXISTS;
  };
  for (int i = 0; i < 8; ++i) push_enter();
  EXPECT_EQ(store_text(&w.target), 0);
  EXPECT_EQ(g_calls.back().command, "GETE");  // the last code is shown
  EXPECT_EQ(std::string(block.command, 4), "PROC");
}

TEST_F(Store, DropAsksThenSendsTheStatement) {
  g_handler = [](const PeerCall& c, RequestBlock* b, uint8_t* answer) -> uint32_t {
    if (c.command == "PROC") {
      std::memset(answer, ' ', NAME_BYTES);
      std::memcpy(answer, "GONE", 4);
      put32(answer + NAME_BYTES, 0);
      b->answer_length = NAME_BYTES + 4;
    }
    return 0;
  };
  push_enter();  // the list's only row
  push_enter();  // " Да "
  EXPECT_EQ(drop_procedure(), 1);
  EXPECT_EQ(commands(), "PROC,    ");
  EXPECT_EQ(g_calls[1].statement, "drop procedure \"GONE\";");
  EXPECT_EQ(std::string(block.command, 4), "PROC");

  g_calls.clear();
  push_enter();  // the row; then Esc on the question
  EXPECT_EQ(drop_procedure(), 0);
  EXPECT_EQ(commands(), "PROC");
}

TEST_F(Store, TextWithoutAHeadIsNotSent) {
  StoreWindow w({"select 1;"});
  EXPECT_EQ(store_text(&w.target), 0);
  EXPECT_TRUE(g_calls.empty());
}

// Through the editor's F2: the question answered, the trigger re-created, and the frame's
// title loses its modified mark.
TEST_F(Store, SavingThroughTheEditorClearsTheModifiedMark) {
  StoreWindow w({"create trigger \"T\"", "after insert on x for each row", "execute", "code", "end;"});
  editor_open_window(&w.editor, FRAME_DOUBLE);
  editor_changed(&w.editor);
  editor_draw(&w.editor);
  int stores = 0;
  g_handler = [&stores](const PeerCall& c, RequestBlock*, uint8_t* answer) -> uint32_t {
    if (c.command == "    " && c.statement.rfind("create", 0) == 0) return stores++ == 0 ? KERNEL_TRIGGER_EXISTS : 0;
    put32(answer, 12);
    return 0;
  };
  EditorHooks hooks{};
  hooks.store = [](Editor* e) { StoreTarget t{e, 0, false, HEAD_NONE, true, {}}; return store_text(&t); };
  editor_set_hooks(hooks);
  push_enter();
  EXPECT_EQ(editor_save(&w.editor), 1);
  EXPECT_EQ(update_nesting(), 0);
  EXPECT_EQ(virtual_console_row(1).find('*'), std::string::npos) << virtual_console_row(1);
}

}  // namespace
}  // namespace tavrel
