// The typed expression tree: the node record, its kinds, and the arena the nodes live in.
//
// An expression text is read once into a tree (tree_parser.h), each node typed as it is built
// (type_check.h), and the tree is then evaluated any number of times (tree_eval.h) without
// reading text again. Every node keeps two places: where its text begins (for a debugger
// and for messages about the node) and where an evaluation that fails in it reports, which is
// the place the reader had reached when the node was complete.
//
// Variables are addressed by their number in the unit with their declared types, built-ins
// and routines by number; constants are held in the node. Nodes belong to a TreeArena owned by
// whoever built the tree: one arena release gives every node back, nothing is freed singly.
#pragma once

#include <cstddef>
#include <cstdint>

#include "values/value.h"

namespace tavrel {

enum class NodeKind : uint8_t {
  CONSTANT,   // a number, DATE, BOOL or NULL constant: value
  STRING,     // a CHAR constant: value points at the text in the arena, number is its length
  VARIABLE,   // variable `number`, or column `column` of cursor variable `number`
  INDEXED,    // element left of variable `number`
  UNARY,      // op left
  BINARY,     // left op right (AND and OR included: they stop early)
  CALL,       // built-in `number` with count args
  ROUTINE,    // routine `number` of the unit with count args
  BYTES,      // "{ ... }": count args joined into a byte string
  ASSIGN,     // variable `number` (column, element left) := right
  SEQUENCE,   // count statements separated by ";": the value of the last
};

enum NodeFlags : uint8_t {
  // The static type is certain: no part of the node reads a variable or calls a function,
  // whose values may differ from their declared types.
  NODE_EXACT = 1,
  // The node's operands failed the type rule on their declared types: the rule is applied
  // again to the values when the node is evaluated (and reported there if it fails again).
  NODE_RECHECK = 2,
};

// Line and column (both from 1) of a place in the text.
struct SourcePlace {
  int32_t line;
  int32_t column;
};

struct ExprNode {
  NodeKind kind;
  uint8_t type;   // static type code; TYPE_NONE when it is known only at run time
  uint8_t op;     // the Operator of UNARY and BINARY nodes
  uint8_t flags;  // NodeFlags
  uint16_t count; // args of CALL, ROUTINE, BYTES, SEQUENCE
  int32_t number; // variable, built-in or routine number; -1 otherwise
  int32_t column; // column of a cursor variable, else -1
  SourcePlace start;  // where the node's text begins
  SourcePlace at;     // where an evaluation failing in this node reports
  ExprNode* left;
  ExprNode* right;
  ExprNode** args;
  Value value;  // CONSTANT and STRING
};

// --- the arena ------------------------------------------------------------------------------

constexpr size_t ARENA_CHUNK_SIZE = 16384;  // heap chunks after the first

struct ArenaChunk {
  ArenaChunk* next;
  size_t size;  // bytes after the header
};

// A bump allocator. The first region may be memory of the caller (a buffer on the stack for a
// tree that lives as long as one call); further chunks come from the heap and go back on
// arena_release.
struct TreeArena {
  char* next;
  char* end;
  ArenaChunk* chunks;  // heap chunks, newest first
  size_t used;         // bytes handed out (for tests and measurements)
};

void arena_init(TreeArena& arena, void* first = nullptr, size_t first_size = 0);
// n bytes from a new heap chunk (arena_alloc's way when the current region is full).
void* arena_alloc_chunk(TreeArena& arena, size_t n);

constexpr size_t ARENA_ALIGN = alignof(std::max_align_t);

// n bytes aligned for any node or value, or nullptr without memory.
inline void* arena_alloc(TreeArena& arena, size_t n) {
  n = (n + ARENA_ALIGN - 1) & ~(ARENA_ALIGN - 1);
  // Every piece handed out is a multiple of ARENA_ALIGN, so next stays aligned.
  if (arena.next == nullptr || n > static_cast<size_t>(arena.end - arena.next)) {
    return arena_alloc_chunk(arena, n);
  }
  void* p = arena.next;
  arena.next += n;
  arena.used += n;
  return p;
}
// Gives back every heap chunk; the arena is then as after arena_init without a first region.
void arena_release(TreeArena& arena);

// A fresh node of the kind with its places set, every link empty and no value.
inline ExprNode* node_new(TreeArena& arena, NodeKind kind, SourcePlace start) {
  ExprNode* n = static_cast<ExprNode*>(arena_alloc(arena, sizeof(ExprNode)));
  if (n == nullptr) return nullptr;
  n->kind = kind;
  n->type = TYPE_NONE;
  n->op = 0;
  n->flags = 0;
  n->count = 0;
  n->number = -1;
  n->column = -1;
  n->start = start;
  n->at = start;
  n->left = nullptr;
  n->right = nullptr;
  n->args = nullptr;
  n->value.type = TYPE_NONE;  // the payload is set only for constants
  return n;
}

// A built tree: the statements of a text and the arena holding them.
struct ExprTree {
  ExprNode* root;  // a SEQUENCE node
  TreeArena arena;
  bool assigns;    // some statement is an assignment
};

// Checks the invariants of a tree (kinds and their links, counts, places); asserts in
// debug builds and tells whether they hold.
bool tree_valid(const ExprNode* node);

}  // namespace tavrel
