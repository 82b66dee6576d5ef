// The parser of expression texts into typed trees: a text of one or more statements separated
// by ";", each an expression or an assignment, read once into an ExprTree.
//
// Grammar (lowest priority first; priorities in BINARY_OPS of tree_parser.cpp):
//
//   text       = statement { ";" statement } [ ";" ] END
//   statement  = target ":=" expr | expr
//   target     = variable | indexed "[" expr "]"
//   expr       = subexpr(0)
//   subexpr(l) = ( unop subexpr(p_unop) | primary ) { binop subexpr(p_right) }
//                  while the binop's left priority is above l
//   primary    = constant | TRUE | FALSE | NULL | "(" expr ")"
//              | "{" [ expr { "," expr } ] "}"          (a byte string)
//              | "$" primary                           (CHAR to NCHAR)
//              | function "(" [ expr { "," expr } ] ")"
//              | variable | indexed "[" expr "]"
//
// Each node is typed as soon as it is complete (type_check.h), so a type error is reported
// where the reader stands when the offending operand ends, before any later syntax error.
#pragma once

#include "translator/expr_tree.h"
#include "translator/lexer.h"

namespace tavrel {

struct ParseSettings {
  int max_nesting;    // nested operands (parentheses, unary operators, calls)
  int max_call_args;  // arguments of one call (at most MAX_CALL_ARGS)
  bool strict;        // check mode: every type rule that fails is an error at once
  bool perform_assign;  // assignments will be performed (else they are only checked)
  // The variable number that the unit's symbols give the word IS (-1: none). With one,
  // "expr IS NULL" and "expr IS NOT NULL" are read as comparisons with NULL.
  int is_word = -1;
};

// Where parsing stopped with a diagnostic.
struct ParseFailure {
  int diagnostic;  // -1 when none
  SourcePlace at;
};

// Reads the whole text from the lexer (started, no token read yet) into tree->root, nodes in
// tree->arena. Returns 0, or non-zero with *failure set.
int parse_tree(Lexer& lx, const ParseSettings& settings, ExprTree* tree, ParseFailure* failure);

// Reads one expression inside a larger text (a statement of a procedure): *token is the
// current token on entry (the expression's first) and the token after the expression on
// return. Nodes go to tree->arena; tree->root is not touched. Returns 0 with *out set, or
// non-zero with *failure set.
int parse_expression(Lexer& lx, const ParseSettings& settings, ExprTree* tree, int* token,
                     ExprNode** out, ParseFailure* failure);

}  // namespace tavrel
