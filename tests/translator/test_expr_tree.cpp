// Expression trees: a text read once and evaluated many times, the places and static types of
// nodes, type rules left to run time when a variable's value is not of its declared type, the
// arena, the limits of a context, the stores' notices, and evaluations in several threads at
// once, each with its own context.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "text/unicode.h"
#include "translator/builtins.h"
#include "translator/diagnostics.h"
#include "translator/eval_ops.h"
#include "translator/evaluator.h"
#include "translator/value_form.h"

namespace tavrel {
namespace {

// Variables: N INTEGER (its value set by the test), W declared CHAR holding the INTEGER 5,
// V declared INTEGER holding the CHAR "v".
int find_variable(void*, std::string_view name, bool, uint8_t* type) {
  if (name == "N") *type = TYPE_INTEGER;
  else if (name == "W") *type = TYPE_CHAR;
  else if (name == "V") *type = TYPE_INTEGER;
  else return -1;
  return name[0];
}

const UnitSymbols UNIT{nullptr, find_variable, nullptr, nullptr};

struct Values {
  int32_t n = 0;
  int reads = 0;
};

int read_variable(EvalContext& ctx, int variable, int, const Value*, Value* out) {
  Values* vals = static_cast<Values*>(ctx.user);
  vals->reads++;
  switch (variable) {
    case 'N': *out = make_integer(vals->n); break;
    case 'W': *out = make_integer(5); break;
    default: *out = make_char("v"); break;
  }
  return 0;
}

class TreeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    string_pool_init(pool_, &mem_, STACK_TEXT_A);
    ctx_.strings = &pool_;
    ctx_.unit = &UNIT;
    ctx_.read_variable = read_variable;
    ctx_.user = &vals_;
  }
  void TearDown() override {
    release_tree(tree_);
    stack_mem_teardown(mem_);
  }

  // The typed-value form of evaluating the compiled tree, or "error N L:C".
  std::string run(unsigned flags = 0) {
    Value v;
    EvalScope scope = eval_scope_open(ctx_);
    int rc = evaluate_compiled(tree_, ctx_, &v, &outcome_, flags);
    std::string out = rc != 0 ? "error " + std::to_string(outcome_.diagnostic) + " " +
                                    std::to_string(outcome_.line) + ":" +
                                    std::to_string(outcome_.column)
                              : cp866_to_utf8(typed_value_form(v, pool_));
    eval_scope_close(ctx_, scope);
    return out;
  }

  StackMemory mem_{};
  StringPool pool_;
  EvalContext ctx_{};
  EvalOutcome outcome_{};
  Values vals_;
  ExprTree tree_{};
};

TEST_F(TreeTest, ATextReadOnceIsEvaluatedWithTheValuesOfEachRun) {
  ASSERT_EQ(compile_text("(N + 1) * 2 > 10 AND TRIM(\"  x \") = \"x\"", ctx_, &tree_), 0);
  EXPECT_EQ(vals_.reads, 0);  // reading the text computes nothing
  vals_.n = 4;
  EXPECT_EQ(run(), "FALSE (LOGICAL)");
  vals_.n = 5;
  EXPECT_EQ(run(), "TRUE (LOGICAL)");
  EXPECT_EQ(vals_.reads, 2);
  // Texts of every run are given back with the caller's scope.
  EXPECT_EQ(pool_.count, 0);

  // A division by zero is a warning of the run it happens in, at the division.
  release_tree(tree_);
  ASSERT_EQ(compile_text("10 / N", ctx_, &tree_), 0);
  vals_.n = 0;
  EXPECT_EQ(run(), "0 (INTEGER)");
  EXPECT_EQ(outcome_.warning, DIAG_DIVISION_BY_ZERO);
  EXPECT_EQ(outcome_.warning_column, 7);
  vals_.n = 3;
  EXPECT_EQ(run(), "3 (INTEGER)");
  EXPECT_EQ(outcome_.warning, -1);
}

TEST_F(TreeTest, NodesKnowTheirPlaceKindAndStaticType) {
  ASSERT_EQ(compile_text("1 +\n  N * 2.5d; LEN(\"ab\")", ctx_, &tree_), 0);
  const ExprNode* root = tree_.root;
  ASSERT_EQ(root->kind, NodeKind::SEQUENCE);
  ASSERT_EQ(root->count, 2);
  EXPECT_EQ(root->type, TYPE_SMALLINT);  // the last statement's

  const ExprNode* sum = root->args[0];
  ASSERT_EQ(sum->kind, NodeKind::BINARY);
  EXPECT_EQ(sum->op, OP_ADD);
  EXPECT_EQ(sum->type, TYPE_DOUBLE);
  EXPECT_EQ(sum->start.line, 1);
  EXPECT_EQ(sum->start.column, 1);
  const ExprNode* product = sum->right;
  EXPECT_EQ(product->start.line, 2);
  EXPECT_EQ(product->start.column, 3);
  ASSERT_EQ(product->left->kind, NodeKind::VARIABLE);
  EXPECT_EQ(product->left->number, 'N');
  EXPECT_EQ(product->left->type, TYPE_INTEGER);
  // Constants and operators on them are certain; what reads a variable is not.
  EXPECT_NE(sum->left->flags & NODE_EXACT, 0);
  EXPECT_EQ(product->flags & NODE_EXACT, 0);

  const ExprNode* call = root->args[1];
  ASSERT_EQ(call->kind, NodeKind::CALL);
  EXPECT_EQ(call->number, BI_LEN);
  EXPECT_EQ(call->count, 1);
  EXPECT_EQ(call->args[0]->kind, NodeKind::STRING);
  EXPECT_TRUE(tree_valid(root));
}

TEST_F(TreeTest, RulesOnValuesOfAnotherTypeThanDeclaredAreDecidedAtRunTime) {
  // V is declared INTEGER but holds a text: the sum is refused when it is computed, at the
  // place the reader had reached after the operand.
  ASSERT_EQ(compile_text("V + 1", ctx_, &tree_), 0);
  EXPECT_EQ(run(), "error 2 1:6");
  release_tree(tree_);
  // W is declared CHAR but holds a number: the sum is accepted on the value.
  ASSERT_EQ(compile_text("W + 1", ctx_, &tree_), 0);
  EXPECT_NE(tree_.root->args[0]->flags & NODE_RECHECK, 0);
  EXPECT_EQ(run(), "6 (INTEGER)");
  // Checking only, the declared types decide.
  Value v;
  EXPECT_EQ(evaluate("W + 1", ctx_, &v, &outcome_, EVAL_CHECK_ONLY), EVAL_FAILED);
  EXPECT_EQ(outcome_.diagnostic, DIAG_TYPE_MISMATCH);
  // An operand AND does not compute is checked as check mode would.
  EXPECT_EQ(evaluate("FALSE AND W + 1 > 0", ctx_, &v, &outcome_), EVAL_FAILED);
  EXPECT_EQ(outcome_.diagnostic, DIAG_TYPE_MISMATCH);
  // A rule that fails on constants fails while the text is read, before a later syntax error.
  EXPECT_EQ(compile_text("\"a\" - 1 )", ctx_, &tree_, &outcome_), EVAL_FAILED);
  EXPECT_EQ(outcome_.diagnostic, DIAG_TYPE_MISMATCH);
  EXPECT_EQ(tree_.root, nullptr);
}

TEST(TreeArenaTest, NodesPastTheFirstRegionComeFromTheHeapAndGoBackTogether) {
  alignas(std::max_align_t) char room[256];
  TreeArena arena;
  arena_init(arena, room, sizeof room);
  std::vector<ExprNode*> nodes;
  for (int i = 0; i < 1000; i++) {
    ExprNode* n = node_new(arena, NodeKind::CONSTANT, SourcePlace{1, i + 1});
    ASSERT_NE(n, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(n) % alignof(ExprNode), 0u);
    n->value = make_integer(i);
    n->type = TYPE_INTEGER;
    nodes.push_back(n);
  }
  EXPECT_GE(reinterpret_cast<char*>(nodes[0]), room);
  EXPECT_LT(reinterpret_cast<char*>(nodes[0]), room + sizeof room);
  EXPECT_NE(arena.chunks, nullptr);
  EXPECT_GE(arena.used, 1000 * sizeof(ExprNode));
  // Nodes never overlap: each still holds its own constant.
  for (int i = 0; i < 1000; i++) EXPECT_EQ(payload_get<int32_t>(nodes[i]->value), i);
  void* big = arena_alloc(arena, 3 * ARENA_CHUNK_SIZE);  // larger than a chunk
  ASSERT_NE(big, nullptr);
  arena_release(arena);
  EXPECT_EQ(arena.chunks, nullptr);
  EXPECT_EQ(arena.used, 0u);
}

TEST_F(TreeTest, LimitsAreSettingsOfTheContext) {
  Value v;
  ctx_.limits.max_nesting = 5;
  EXPECT_EQ(evaluate("((1))", ctx_, &v), 0);
  EXPECT_EQ(evaluate("((((((1))))))", ctx_, &v, &outcome_), EVAL_FAILED);
  EXPECT_EQ(outcome_.diagnostic, DIAG_NO_MEMORY);
  ctx_.limits.max_call_args = 2;
  EXPECT_EQ(evaluate("MAX(1, 2)", ctx_, &v), 0);
  EXPECT_EQ(evaluate("MAX(1, 2, 3)", ctx_, &v, &outcome_), EVAL_FAILED);
  EXPECT_EQ(outcome_.diagnostic, DIAG_BAD_ARGUMENT);
  ctx_.limits.max_frames = 0;
  EXPECT_EQ(evaluate("1", ctx_, &v, &outcome_), EVAL_FAILED);
  EXPECT_EQ(outcome_.diagnostic, DIAG_NO_MEMORY);
}

TEST_F(TreeTest, TheStoresNoticesGoToTheContextsSink) {
  std::string notices;
  ctx_.notice = [](void* user, std::string_view text) {
    static_cast<std::string*>(user)->append(text);
  };
  ctx_.notice_user = &notices;
  std::string text = "\"a\"";
  for (int i = 0; i < 200; i++) text += " + \"b\"";
  ::testing::internal::CaptureStderr();
  Value v;
  EXPECT_EQ(evaluate(text, ctx_, &v, &outcome_), EVAL_FAILED);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(outcome_.diagnostic, DIAG_NO_MEMORY);
  EXPECT_EQ(notices, "LANGLIB: MAX_STRINGS too small!\n");
}

// Several threads evaluate the same texts at once, each with its own stores and context, and
// get what one thread alone gets.
TEST(TreeThreads, EvaluationsInSeparateContextsRunAtOnce) {
  const char* texts[] = {
      "1 + 2 * 3 - 4",
      "1.5 + 2.25 * 4 - 0.75",
      "7b * 1000000 + 1",
      "UPPER(TRIM(\"  abc  \")) + \"def\"",
      "ADD_MONTHS(31.01.2011, 1)",
      "TOCHAR(1.25d) + MAKESTR(\"?-?\", 1, 2)",
      "{1, 2, \"xy\"} + {3}",
      "$\"wide\" + $\"!\"",
      "PRINT(\"message\")",
      "RAND() > 0 OR TRUE",
  };
  struct Worker {
    StackMemory mem{};
    StringPool pool;
    EvalContext ctx{};
    std::string printed;
    std::vector<std::string> results;
  };
  auto run_all = [&](Worker& w, int rounds) {
    string_pool_init(w.pool, &w.mem, STACK_TEXT_A);
    w.ctx.strings = &w.pool;
    w.ctx.rand_state = 1;
    w.ctx.print = [](void* user, std::string_view text) {
      static_cast<std::string*>(user)->append(text);
    };
    w.ctx.print_user = &w.printed;
    for (int round = 0; round < rounds; round++) {
      w.results.clear();
      for (const char* t : texts) {
        EvalScope scope = eval_scope_open(w.ctx);
        Value v;
        EvalOutcome o;
        int rc = evaluate(t, w.ctx, &v, &o);
        w.results.push_back(rc == 0 ? typed_value_form(v, w.pool)
                                    : "error " + std::to_string(o.diagnostic));
        eval_scope_close(w.ctx, scope);
      }
    }
    stack_mem_teardown(w.mem);
  };
  Worker alone;
  run_all(alone, 1);
  for (const std::string& r : alone.results) EXPECT_EQ(r.find("error"), std::string::npos) << r;

  constexpr int THREADS = 4;
  constexpr int ROUNDS = 200;
  std::vector<Worker> workers(THREADS);
  std::vector<std::thread> threads;
  for (Worker& w : workers) threads.emplace_back([&run_all, &w] { run_all(w, ROUNDS); });
  for (std::thread& t : threads) t.join();
  for (const Worker& w : workers) {
    EXPECT_EQ(w.results, alone.results);
    EXPECT_EQ(w.printed.size(), ROUNDS * alone.printed.size());
  }
}

}  // namespace
}  // namespace tavrel
