// The client-side expression evaluator: a text of one or more expressions separated by ";"
// evaluated to one Value, the expression class of a text, and the translation frames that
// let evaluations nest.
//
// Each evaluation opens a frame (carved from the frames pool of stack memory) with its own
// lexer and string-pool level, reads the text into a typed tree (tree_parser.h) and evaluates
// the tree (tree_eval.h), and closes the frame on every exit. A diagnostic abandons the
// evaluation: each phase returns a status up to the entry, which closes the frame, so nothing
// is skipped and nothing leaks. Only the first diagnostic of an evaluation reaches the
// caller's reporter.
#pragma once

#include <cstdint>
#include <string_view>

#include "translator/eval_context.h"
#include "translator/expr_tree.h"
#include "translator/lexer.h"
#include "values/value.h"

namespace tavrel {

enum EvalFlags : unsigned {
  EVAL_CHECK_ONLY = 1,  // type-check the tree only: nothing is computed, the result carries a type
  EVAL_ASSIGN = 2,      // a text that assigns a variable does so through ctx.assign_variable
};

constexpr int EVAL_FAILED = -1;

struct EvalOutcome {
  int diagnostic;  // the first diagnostic, -1 when none
  int line;        // where it was raised (from 1)
  int column;
  int warning;  // DIAG_DIVISION_BY_ZERO once a division by zero gave zero, else -1
  int warning_line;
  int warning_column;
  bool assignment;  // the text assigns a variable ("Попытка присвоения" unless performed)
};

// One open evaluation; ctx.frame points at the innermost.
struct TranslateFrame {
  TranslateFrame* outer;
  EvalContext* ctx;
  Lexer* lexer;
  EvalOutcome outcome;
};

// Evaluates the text and keeps the last expression's value in *result (texts in pool text at
// the string pool's level of the caller). Returns 0, or EVAL_FAILED after a diagnostic, with
// *result of type TYPE_NONE. A text whose last expression assigns leaves *result TYPE_NONE
// too, unless EVAL_ASSIGN performed the assignment (the result is then the value assigned).
int evaluate(std::string_view text, EvalContext& ctx, Value* result,
             EvalOutcome* outcome = nullptr, unsigned flags = 0);

// The same, read as a value of the target type's class: numeric for codes 2 to 6 and 16
// (converted to the target type), logical for 7, string for 8, date for 9, wide string for
// 14 and 15, byte string for 11. NULL is accepted by every class; a value of another class
// is diagnostic 2, a target of no class diagnostic 44.
int evaluate_as(uint8_t type, std::string_view text, EvalContext& ctx, Value* result,
                EvalOutcome* outcome = nullptr, unsigned flags = 0);

// The general form: the text comes through a provider; type is TYPE_NONE for any class.
int evaluate_source(const SourceProvider& source, uint8_t type, EvalContext& ctx, Value* result,
                    EvalOutcome* outcome, unsigned flags);

// Parse once, evaluate many times: the text is read into *tree (its nodes in tree->arena,
// taken from the heap) with the names of ctx.unit, and type-checked. The tree must be empty
// (value-initialised) or hold an earlier compiled text, whose nodes are given back first. Returns 0, or EVAL_FAILED
// after a diagnostic (the tree then holds nothing). flags must be those the tree will be
// evaluated with: they decide how strictly types are checked and whether assignments are
// read for performing.
int compile_text(std::string_view text, EvalContext& ctx, ExprTree* tree,
                 EvalOutcome* outcome = nullptr, unsigned flags = 0);
// Evaluates a compiled tree as evaluate evaluates its text.
int evaluate_compiled(const ExprTree& tree, EvalContext& ctx, Value* result,
                      EvalOutcome* outcome = nullptr, unsigned flags = 0);
// Gives back the nodes of a compiled tree.
void release_tree(ExprTree& tree);

// The class of the expression that starts at the lexer's current place, decided from its
// first operand after any opening parentheses, without consuming anything: CLASS_NULL,
// CLASS_NUMERIC, CLASS_LOGICAL, CLASS_STRING, CLASS_DATE, CLASS_BYTES, CLASS_WIDE, or the
// first token itself. 0 with *diagnostic set for an operand of no class (44) or a lexer
// diagnostic.
int expression_class(Lexer& lx, int* diagnostic);
// The class of a whole text, with the names of ctx.unit.
int text_expression_class(std::string_view text, EvalContext& ctx, int* diagnostic);

// A caller's scope for results: evaluate leaves result texts at the caller's string-pool
// level; a scope opened before and closed after using them gives that memory back.
struct EvalScope {
  StackMark text_mark;
  bool open;
};
EvalScope eval_scope_open(EvalContext& ctx);
void eval_scope_close(EvalContext& ctx, const EvalScope& scope);

}  // namespace tavrel
