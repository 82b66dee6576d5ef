// The arena of expression trees and the check of a tree's invariants.
#include "translator/expr_tree.h"

#include <cassert>
#include <cstdlib>

#include "translator/builtins.h"
#include "translator/eval_ops.h"

namespace tavrel {

namespace {

char* align_up(char* p) {
  uintptr_t q = reinterpret_cast<uintptr_t>(p);
  return reinterpret_cast<char*>((q + ARENA_ALIGN - 1) & ~(uintptr_t{ARENA_ALIGN} - 1));
}

}  // namespace

void arena_init(TreeArena& arena, void* first, size_t first_size) {
  arena.chunks = nullptr;
  arena.used = 0;
  arena.next = nullptr;
  arena.end = nullptr;
  if (first != nullptr) {
    // The caller's region, trimmed to whole aligned pieces.
    char* start = align_up(static_cast<char*>(first));
    char* end = static_cast<char*>(first) + first_size;
    if (start < end) {
      arena.next = start;
      arena.end = start + ((end - start) / ARENA_ALIGN) * ARENA_ALIGN;
    }
  }
}

void* arena_alloc_chunk(TreeArena& arena, size_t n) {
  size_t size = n > ARENA_CHUNK_SIZE ? n : ARENA_CHUNK_SIZE;
  void* raw = std::malloc(sizeof(ArenaChunk) + ARENA_ALIGN + size);
  if (raw == nullptr) return nullptr;
  ArenaChunk* chunk = static_cast<ArenaChunk*>(raw);
  chunk->next = arena.chunks;
  chunk->size = size;
  arena.chunks = chunk;
  char* p = align_up(static_cast<char*>(raw) + sizeof(ArenaChunk));
  arena.next = p + n;
  arena.end = p + size;
  arena.used += n;
  return p;
}

void arena_release(TreeArena& arena) {
  ArenaChunk* c = arena.chunks;
  while (c != nullptr) {
    ArenaChunk* next = c->next;
    std::free(c);
    c = next;
  }
  arena_init(arena);
}

bool tree_valid(const ExprNode* n) {
  bool ok = n != nullptr && n->start.line >= 1 && n->start.column >= 1 &&
            (n->at.line > n->start.line ||
             (n->at.line == n->start.line && n->at.column >= n->start.column));
  if (ok) {
    switch (n->kind) {
      case NodeKind::CONSTANT:
        ok = n->left == nullptr && n->right == nullptr && n->value.type == n->type;
        break;
      case NodeKind::STRING:
        ok = n->value.type == TYPE_CHAR && value_text(n->value) != nullptr && n->number >= 0;
        break;
      case NodeKind::VARIABLE:
        ok = n->number >= 0 && n->left == nullptr;
        break;
      case NodeKind::INDEXED:
        ok = n->number >= 0 && tree_valid(n->left);
        break;
      case NodeKind::UNARY:
        ok = n->right == nullptr && tree_valid(n->left);
        break;
      case NodeKind::BINARY:
        ok = tree_valid(n->left) && tree_valid(n->right);
        break;
      case NodeKind::CALL:
      case NodeKind::ROUTINE:
      case NodeKind::BYTES:
      case NodeKind::SEQUENCE:
        ok = n->count == 0 || n->args != nullptr;
        if (n->kind == NodeKind::CALL) ok = ok && n->number >= 0 && n->number < BUILTIN_COUNT;
        if (n->kind == NodeKind::SEQUENCE) ok = ok && n->count > 0;
        for (int i = 0; ok && i < n->count; i++) ok = tree_valid(n->args[i]);
        break;
      case NodeKind::ASSIGN:
        ok = n->number >= 0 && tree_valid(n->right) && (n->left == nullptr || tree_valid(n->left));
        break;
    }
  }
  assert(ok && "expression tree invariant");
  return ok;
}

}  // namespace tavrel
