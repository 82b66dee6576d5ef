// The parser of expression texts into typed trees (grammar in tree_parser.h).
//
// Every parse function returns 0, or ABANDON once the failure has been recorded; the caller
// returns at once with it. Places of failures are those of the reader when the failure is
// found: the lexer's current place.
#include "translator/tree_parser.h"

#include <cassert>
#include <cstring>

#include "translator/builtins.h"
#include "translator/diagnostics.h"
#include "translator/eval_context.h"
#include "translator/eval_ops.h"
#include "translator/tokens.h"
#include "translator/type_check.h"

namespace tavrel {

namespace {

constexpr int ABANDON = 1;

struct Parser {
  Lexer& lx;
  const ParseSettings& settings;
  ExprTree& tree;
  ParseFailure& failure;
  int tok;  // the current token
  int depth;
  bool strict;  // every failing type rule is an error now (check mode, unperformed assignment)
};

// Binary operators and their priorities; the right priority below the left one makes an
// operator right-associative.
struct BinaryOp {
  int token;
  int op;
  int left;
  int right;
};

constexpr BinaryOp BINARY_OPS[] = {
    {TOK_OR, OP_OR, 1, 1},          {TOK_AND, OP_AND, 2, 2},       {TOK_EQ, OP_EQ, 3, 3},
    {TOK_NE, OP_NE, 3, 3},          {TOK_LT, OP_LT, 3, 3},         {TOK_GT, OP_GT, 3, 3},
    {TOK_LE, OP_LE, 3, 3},          {TOK_GE, OP_GE, 3, 3},         {TOK_AMPERSAND, OP_BITAND, 4, 4},
    {TOK_BAR, OP_BITOR, 4, 4},      {TOK_PLUS, OP_ADD, 5, 5},      {TOK_MINUS, OP_SUB, 5, 5},
    {TOK_STAR, OP_MUL, 6, 6},       {TOK_SLASH, OP_DIV, 6, 6},     {TOK_BACKSLASH, OP_IDIV, 6, 6},
    {TOK_CARET, OP_POW, 10, 9},
};
constexpr int UNARY_PRIORITY = 8;  // unary "-" and "+": -2^2 is -(2^2), -a*b is (-a)*b
constexpr int NOT_PRIORITY = 2;
constexpr int IS_PRIORITY = 3;    // IS NULL binds as a comparison    // NOT takes a comparison: NOT a = b AND c is (NOT (a=b)) AND c

// Row of BINARY_OPS by token code (-1 for a token that is no binary operator): the parser
// asks after every operand.
constexpr int TOKEN_CODES = 256;
constexpr auto index_binary_ops() {
  struct Index {
    int8_t row[TOKEN_CODES];
  } x{};
  for (int t = 0; t < TOKEN_CODES; t++) x.row[t] = -1;
  for (int i = 0; i < static_cast<int>(sizeof BINARY_OPS / sizeof BINARY_OPS[0]); i++) {
    x.row[BINARY_OPS[i].token] = static_cast<int8_t>(i);
  }
  return x;
}
constexpr auto BINARY_BY_TOKEN = index_binary_ops();

const BinaryOp* binary_op(int token) {
  if (token < 0 || token >= TOKEN_CODES) return nullptr;
  int row = BINARY_BY_TOKEN.row[token];
  return row >= 0 ? &BINARY_OPS[row] : nullptr;
}

int unary_op(int token) {
  switch (token) {
    case TOK_NOT: return OP_NOT;
    case TOK_MINUS: return OP_NEGATE;
    case TOK_PLUS: return OP_PLUS;
    default: return -1;
  }
}

SourcePlace place_of(const LexPlace& p) { return SourcePlace{p.line, place_column(p)}; }

// The first failure is kept with the reader's current place.
int fail(Parser& p, int number) {
  if (p.failure.diagnostic < 0) {
    p.failure.diagnostic = number;
    p.failure.at = place_of(p.lx.current);
  }
  return ABANDON;
}

int advance(Parser& p) {
  p.tok = next_token(p.lx);
  if (p.tok == TOK_ERROR) return fail(p, p.lx.error);
  return 0;
}

bool starts_nothing(int token) {
  switch (token) {
    case TOK_END:
    case TOK_RPAREN:
    case TOK_SEMICOLON:
    case TOK_COMMA:
    case TOK_RBRACKET:
    case TOK_RBRACE:
      return true;
    default:
      return binary_op(token) != nullptr;
  }
}

// A node where the current token begins.
int new_node(Parser& p, NodeKind kind, ExprNode** out) {
  *out = node_new(p.tree.arena, kind, place_of(p.lx.token));
  return *out != nullptr ? 0 : fail(p, DIAG_NO_MEMORY);
}

// The node is complete: its failures at run time report here, and it is typed.
int complete(Parser& p, ExprNode* n) {
  n->at = place_of(p.lx.current);
  if (int d = type_check_node(n, p.strict); d != 0) return fail(p, d);
  return 0;
}

// A list of nodes gathered on the C stack, copied into the arena when complete.
int store_list(Parser& p, ExprNode* const* items, int count, ExprNode* n) {
  n->count = static_cast<uint16_t>(count);
  if (count == 0) return 0;
  void* room = arena_alloc(p.tree.arena, sizeof(ExprNode*) * static_cast<size_t>(count));
  if (room == nullptr) return fail(p, DIAG_NO_MEMORY);
  n->args = static_cast<ExprNode**>(room);
  for (int i = 0; i < count; i++) n->args[i] = items[i];
  return 0;
}

int subexpr(Parser& p, int limit, ExprNode** out);

int parse_expr(Parser& p, ExprNode** out) { return subexpr(p, 0, out); }

// --- operands ---------------------------------------------------------------------------------

// function "(" [ expr { "," expr } ] ")"
int parse_call(Parser& p, ExprNode** out) {
  bool routine = p.lx.function >= BUILTIN_COUNT;
  ExprNode* n;
  if (int rc = new_node(p, routine ? NodeKind::ROUTINE : NodeKind::CALL, &n); rc != 0) return rc;
  n->number = routine ? p.lx.function - BUILTIN_COUNT : p.lx.function;
  n->type = p.lx.function_type;
  if (int rc = advance(p); rc != 0) return rc;
  if (p.tok != TOK_LPAREN) return fail(p, DIAG_NEED_LPAREN);
  if (int rc = advance(p); rc != 0) return rc;
  const int most = p.settings.max_call_args < MAX_CALL_ARGS ? p.settings.max_call_args
                                                            : MAX_CALL_ARGS;
  ExprNode* args[MAX_CALL_ARGS];
  int argc = 0;
  if (p.tok != TOK_RPAREN) {
    for (;;) {
      if (argc == most) return fail(p, DIAG_BAD_ARGUMENT);
      if (int rc = parse_expr(p, &args[argc]); rc != 0) return rc;
      argc++;
      if (p.tok != TOK_COMMA) break;
      if (int rc = advance(p); rc != 0) return rc;
    }
  }
  if (p.tok != TOK_RPAREN) return fail(p, DIAG_NEED_RPAREN);
  if (int rc = advance(p); rc != 0) return rc;
  if (int rc = store_list(p, args, argc, n); rc != 0) return rc;
  *out = n;
  return complete(p, n);
}

// "[" expr "]" after an indexed variable, the current token being the "[".
int parse_index(Parser& p, ExprNode** index) {
  if (int rc = advance(p); rc != 0) return rc;
  if (p.tok == TOK_RBRACKET) return fail(p, DIAG_BAD_INDEX);
  if (int rc = parse_expr(p, index); rc != 0) return rc;
  // An index whose type is certain is checked here; another one when it is computed.
  if (((*index)->flags & NODE_EXACT) != 0 || p.strict) {
    if (!is_numeric_type((*index)->type)) return fail(p, DIAG_BAD_INDEX);
  }
  if (p.tok != TOK_RBRACKET) return fail(p, DIAG_NEED_RBRACKET);
  return advance(p);
}

// variable | indexed "[" expr "]"
int parse_variable(Parser& p, ExprNode** out) {
  bool indexed = p.tok == TOK_INDEXED;
  ExprNode* n;
  if (int rc = new_node(p, indexed ? NodeKind::INDEXED : NodeKind::VARIABLE, &n); rc != 0) {
    return rc;
  }
  bool column = p.lx.cursor >= 0;
  n->number = column ? p.lx.cursor : p.lx.variable;
  n->column = column ? p.lx.variable : -1;
  n->type = p.lx.variable_type;
  if (int rc = advance(p); rc != 0) return rc;
  if (indexed) {
    if (p.tok != TOK_LBRACKET) return fail(p, DIAG_NEED_LBRACKET);
    if (int rc = parse_index(p, &n->left); rc != 0) return rc;
  }
  *out = n;
  return complete(p, n);
}

// "{" [ expr { "," expr } ] "}": the bytes of numbers (their low byte), texts and byte strings.
int parse_braces(Parser& p, ExprNode** out) {
  ExprNode* n;
  if (int rc = new_node(p, NodeKind::BYTES, &n); rc != 0) return rc;
  n->type = TYPE_BYTE;
  n->flags = NODE_EXACT;  // whatever the elements, the result is a byte string
  if (int rc = advance(p); rc != 0) return rc;
  // Elements are linked through a chunked list on the C stack, then stored in one piece.
  constexpr int CHUNK = 64;
  ExprNode* local[CHUNK];
  ExprNode** items = local;
  int count = 0;
  int capacity = CHUNK;
  if (p.tok != TOK_RBRACE) {
    for (;;) {
      ExprNode* element;
      if (int rc = parse_expr(p, &element); rc != 0) return rc;
      if ((element->flags & NODE_EXACT) != 0 || p.strict) {
        if (int d = byte_element_rule(element->type); d != 0) return fail(p, d);
      }
      if (count == capacity) {
        // Grow in the arena: the old room stays there until the tree goes.
        void* room = arena_alloc(p.tree.arena, sizeof(ExprNode*) * 2 * capacity);
        if (room == nullptr) return fail(p, DIAG_NO_MEMORY);
        std::memcpy(room, items, sizeof(ExprNode*) * capacity);
        items = static_cast<ExprNode**>(room);
        capacity *= 2;
      }
      if (count == UINT16_MAX) return fail(p, DIAG_NO_MEMORY);
      items[count++] = element;
      if (p.tok != TOK_COMMA) break;
      if (int rc = advance(p); rc != 0) return rc;
    }
  }
  if (p.tok != TOK_RBRACE) return fail(p, DIAG_SYNTAX);
  if (int rc = store_list(p, items, count, n); rc != 0) return rc;
  n->at = place_of(p.lx.current);
  *out = n;
  return advance(p);
}

// A constant of the lexer's last token.
int parse_constant(Parser& p, const Value& v, ExprNode** out) {
  ExprNode* n;
  if (int rc = new_node(p, NodeKind::CONSTANT, &n); rc != 0) return rc;
  n->value = v;
  n->type = v.type;
  n->flags = NODE_EXACT;
  n->at = place_of(p.lx.current);
  *out = n;
  return advance(p);
}

// A CHAR constant: its text is copied into the arena.
int parse_string(Parser& p, ExprNode** out) {
  ExprNode* n;
  if (int rc = new_node(p, NodeKind::STRING, &n); rc != 0) return rc;
  size_t size = static_cast<size_t>(p.lx.text_length) + 1;
  char* text = static_cast<char*>(arena_alloc(p.tree.arena, size));
  if (text == nullptr) return fail(p, DIAG_NO_MEMORY);
  std::memcpy(text, p.lx.text, size);
  n->value = make_char(text);
  n->number = p.lx.text_length;
  n->type = TYPE_CHAR;
  n->flags = NODE_EXACT;
  n->at = place_of(p.lx.current);
  *out = n;
  return advance(p);
}

int parse_primary(Parser& p, ExprNode** out) {
  switch (p.tok) {
    case TOK_SMALLINT:
    case TOK_INTEGER:
    case TOK_REAL:
    case TOK_NUMERIC:
    case TOK_DOUBLE:
    case TOK_BIGINT:
    case TOK_DATE:
      return parse_constant(p, lexer_constant(p.lx, p.tok), out);
    case TOK_STRING:
      return parse_string(p, out);
    case TOK_TRUE:
    case TOK_FALSE:
      return parse_constant(p, make_bool(p.tok == TOK_TRUE), out);
    case TOK_NULL:
      return parse_constant(p, make_null(), out);
    case TOK_LPAREN: {
      if (int rc = advance(p); rc != 0) return rc;
      if (int rc = parse_expr(p, out); rc != 0) return rc;
      if (p.tok != TOK_RPAREN) return fail(p, DIAG_NEED_RPAREN);
      return advance(p);
    }
    case TOK_LBRACE:
      return parse_braces(p, out);
    case TOK_DOLLAR: {
      ExprNode* n;
      if (int rc = new_node(p, NodeKind::UNARY, &n); rc != 0) return rc;
      n->op = OP_WIDE;
      if (int rc = advance(p); rc != 0) return rc;
      if (++p.depth > p.settings.max_nesting) return fail(p, DIAG_NO_MEMORY);
      if (int rc = parse_primary(p, &n->left); rc != 0) return rc;
      p.depth--;
      *out = n;
      return complete(p, n);
    }
    case TOK_FUNCTION:
      return parse_call(p, out);
    case TOK_VARIABLE:
    case TOK_INDEXED:
      return parse_variable(p, out);
    default:
      return fail(p, starts_nothing(p.tok) ? DIAG_MISSING_OPERAND : DIAG_SYNTAX);
  }
}

// operand IS [NOT] NULL: the comparison operand = NULL (or <>), which holds exactly when the
// operand is NULL. The current token is the word IS.
int parse_is_null(Parser& p, ExprNode** out) {
  ExprNode* n;
  if (int rc = new_node(p, NodeKind::BINARY, &n); rc != 0) return rc;
  n->start = (*out)->start;
  n->op = OP_EQ;
  n->left = *out;
  if (int rc = advance(p); rc != 0) return rc;
  if (p.tok == TOK_NOT) {
    n->op = OP_NE;
    if (int rc = advance(p); rc != 0) return rc;
  }
  if (p.tok != TOK_NULL) return fail(p, DIAG_SYNTAX);
  ExprNode* null_node;
  if (int rc = parse_constant(p, make_null(), &null_node); rc != 0) return rc;
  n->right = null_node;
  if (int rc = complete(p, n); rc != 0) return rc;
  *out = n;
  return 0;
}

// subexpr(l) = ( unop subexpr(p_unop) | primary ) { binop subexpr(p_right) }
int subexpr(Parser& p, int limit, ExprNode** out) {
  if (++p.depth > p.settings.max_nesting) return fail(p, DIAG_NO_MEMORY);
  int uop = unary_op(p.tok);
  if (uop >= 0) {
    ExprNode* n;
    if (int rc = new_node(p, NodeKind::UNARY, &n); rc != 0) return rc;
    n->op = static_cast<uint8_t>(uop);
    if (int rc = advance(p); rc != 0) return rc;
    int rc = subexpr(p, uop == OP_NOT ? NOT_PRIORITY : UNARY_PRIORITY, &n->left);
    if (rc != 0) return rc;
    if (int rc2 = complete(p, n); rc2 != 0) return rc2;
    *out = n;
  } else if (int rc = parse_primary(p, out); rc != 0) {
    return rc;
  }
  for (;;) {
    if (p.settings.is_word >= 0 && p.tok == TOK_VARIABLE && p.lx.cursor < 0 &&
        p.lx.variable == p.settings.is_word && IS_PRIORITY > limit) {
      if (int rc = parse_is_null(p, out); rc != 0) return rc;
      continue;
    }
    const BinaryOp* b = binary_op(p.tok);
    if (b == nullptr || b->left <= limit) break;
    ExprNode* n;
    if (int rc = new_node(p, NodeKind::BINARY, &n); rc != 0) return rc;
    n->start = (*out)->start;
    n->op = static_cast<uint8_t>(b->op);
    n->left = *out;
    if (int rc = advance(p); rc != 0) return rc;
    if (int rc = subexpr(p, b->right, &n->right); rc != 0) return rc;
    if (int rc = complete(p, n); rc != 0) return rc;
    *out = n;
  }
  p.depth--;
  return 0;
}

// A statement's value must be one that some class takes; when its type is not certain the
// evaluation checks the value.
int check_statement(Parser& p, const ExprNode* value) {
  if ((value->flags & NODE_EXACT) == 0 && !p.strict) return 0;
  if (int d = statement_rule(value->type); d != 0) return fail(p, d);
  return 0;
}

int parse_assignment(Parser& p, ExprNode** out);

// statement = target ":=" expr | expr
int parse_statement(Parser& p, ExprNode** out) {
  bool assigns = (p.tok == TOK_VARIABLE && lexer_peek_token(p.lx) == TOK_ASSIGN) ||
                 (p.tok == TOK_INDEXED && lexer_assign_follows(p.lx));
  if (!assigns) {
    if (int rc = parse_expr(p, out); rc != 0) return rc;
    return check_statement(p, *out);
  }
  p.tree.assigns = true;
  // An assignment that will not be performed is only checked: every type rule is decided on
  // declared types.
  const bool was_strict = p.strict;
  p.strict = p.strict || !p.settings.perform_assign;
  int rc = parse_assignment(p, out);
  p.strict = was_strict;
  return rc;
}

// target ":=" expr
int parse_assignment(Parser& p, ExprNode** out) {
  ExprNode* n;
  if (int rc = new_node(p, NodeKind::ASSIGN, &n); rc != 0) return rc;
  bool column = p.lx.cursor >= 0;
  n->number = column ? p.lx.cursor : p.lx.variable;
  n->column = column ? p.lx.variable : -1;
  bool indexed = p.tok == TOK_INDEXED;
  if (int rc = advance(p); rc != 0) return rc;
  if (indexed) {
    if (int rc = parse_index(p, &n->left); rc != 0) return rc;
  }
  if (int rc = advance(p); rc != 0) return rc;  // the ":="
  if (int rc = parse_expr(p, &n->right); rc != 0) return rc;
  if (int rc = check_statement(p, n->right); rc != 0) return rc;
  n->type = n->right->type;
  n->at = place_of(p.lx.current);
  *out = n;
  return 0;
}

// text = statement { ";" statement } [ ";" ] END
int parse_text(Parser& p) {
  ExprNode* seq;
  if (int rc = advance(p); rc != 0) return rc;
  if (int rc = new_node(p, NodeKind::SEQUENCE, &seq); rc != 0) return rc;
  constexpr int CHUNK = 16;
  ExprNode* local[CHUNK];
  ExprNode** items = local;
  int count = 0;
  int capacity = CHUNK;
  for (;;) {
    ExprNode* statement;
    if (int rc = parse_statement(p, &statement); rc != 0) return rc;
    if (count == capacity) {
      void* room = arena_alloc(p.tree.arena, sizeof(ExprNode*) * 2 * capacity);
      if (room == nullptr) return fail(p, DIAG_NO_MEMORY);
      std::memcpy(room, items, sizeof(ExprNode*) * capacity);
      items = static_cast<ExprNode**>(room);
      capacity *= 2;
    }
    if (count == UINT16_MAX) return fail(p, DIAG_NO_MEMORY);
    items[count++] = statement;
    if (p.tok != TOK_SEMICOLON) break;
    if (int rc = advance(p); rc != 0) return rc;
    if (p.tok == TOK_END) break;
  }
  if (p.tok != TOK_END) return fail(p, DIAG_SYNTAX);
  if (int rc = store_list(p, items, count, seq); rc != 0) return rc;
  seq->type = items[count - 1]->type;
  seq->at = place_of(p.lx.current);
  p.tree.root = seq;
  return 0;
}

}  // namespace

int parse_expression(Lexer& lx, const ParseSettings& settings, ExprTree* tree, int* token,
                     ExprNode** out, ParseFailure* failure) {
  failure->diagnostic = -1;
  failure->at = SourcePlace{lx.current.line, place_column(lx.current)};
  Parser p{lx, settings, *tree, *failure, *token, 0, settings.strict};
  if (*token == TOK_ERROR) return fail(p, lx.error >= 0 ? lx.error : DIAG_SYNTAX);
  int rc = parse_expr(p, out);
  *token = p.tok;
  if (rc != 0) return ABANDON;
  assert(tree_valid(*out));
  return 0;
}

int parse_tree(Lexer& lx, const ParseSettings& settings, ExprTree* tree, ParseFailure* failure) {
  failure->diagnostic = -1;
  failure->at = SourcePlace{1, 1};
  tree->root = nullptr;
  tree->assigns = false;
  Parser p{lx, settings, *tree, *failure, TOK_END, 0, settings.strict};
  if (parse_text(p) != 0) {
    tree->root = nullptr;
    return ABANDON;
  }
  assert(tree_valid(tree->root));
  return 0;
}

}  // namespace tavrel
