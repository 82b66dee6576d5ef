// The compiled form of a procedure or trigger action: what the compiler (compiler.h) makes of
// a unit's text and the executor (executor.h) runs.
//
// A unit is a flat list of statements with jumps (IF, WHILE, CASE and GOTO become jumps), one
// statement per stop point, each with the line it starts on (from 0 of the stored text). The
// code section comes first and ends with END_UNIT; the handlers of the EXCEPTIONS section follow,
// each ending with END_UNIT as well. Expressions are the translator's typed trees, with a fast
// form (fast_expr.h) for the integer, floating and logical parts that reads variables directly.
#pragma once

#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "kernel/engine/fast_expr.h"
#include "translator/expr_tree.h"
#include "values/value.h"

namespace tavrel::kernel {

// Parameter modes (as $$$PRCD.MODIF keeps them); 0 for a local variable.
constexpr int MODE_LOCAL = 0;
constexpr int MODE_IN = 1;
constexpr int MODE_OUT = 2;
constexpr int MODE_INOUT = 3;

// The declared type of a variable or parameter.
struct TypeSpec {
  uint8_t type = TYPE_NULL;  // a ValueType
  uint16_t length = 0;       // CHAR, NCHAR and BYTE: the most characters (bytes) kept; 0 = any
  uint8_t precision = 0;     // NUMERIC
  uint8_t scale = 0;
};

struct VarInfo {
  std::string name;  // CP866, upper-cased
  TypeSpec spec;
  int mode = MODE_LOCAL;
  // The default of a parameter or variable, evaluated at every call (nullptr: NULL).
  Expr init;
  bool has_init = false;
};

// The columns a cursor variable is read by: collected from the queries it is opened for
// (or a trigger's table for NEW and OLD).
struct CursorColumns {
  std::vector<std::string> names;  // CP866, upper-cased
  std::vector<uint8_t> types;      // TYPE_NONE when a query column has no declared type
};

// An embedded SQL statement: its text for SQLite with "?" where the unit's variables stood,
// and the values bound to them, prepared once per connection.
struct SqlBinding {
  int variable;  // the variable, or the cursor variable of a column
  int column;    // -1, or the cursor column
};

enum class SqlKind : uint8_t { SELECT, INSERT, UPDATE, DELETE, OTHER };

struct SqlStatement {
  std::string utf8;  // the statement as SQLite reads it
  std::vector<SqlBinding> bindings;
  std::vector<int> into;  // select ... into: the variables the first row goes to
  SqlKind kind = SqlKind::OTHER;
  std::string table;  // the table a DML statement changes (UTF-8), for statement triggers
  int slot = 0;       // its place in every session's table of prepared statements
  // OPEN: for each column of the cursor, the query column that gives it (-1: none).
  std::vector<int> column_map;
};

enum class StmtKind : uint8_t {
  ASSIGN,        // var := expr
  ASSIGN_INT,    // var (SMALLINT/INTEGER/BIGINT) := fast integer expression
  ASSIGN_FLOAT,  // var (REAL/DOUBLE) := fast floating expression
  ASSIGN_BOOL,   // var (BOOL) := fast logical expression
  COPY,          // var := variable form.a, or column form.b of cursor variable form.a (b >= 0)
  EVAL,          // expr computed for its effect
  JUMP,          // to target; a backward jump counts a quantum and checks for an interrupt
  JUMP_FALSE,    // to target unless expr (a logical expression) is TRUE
  LOOP_TRUE,     // the test at the bottom of a WHILE: back to target while expr is TRUE; every
                 // test counts a quantum and checks for an interrupt (one turn of the loop)
  // The common integer forms, computed straight from the frame. Each keeps the statement's
  // general form in expr, which runs instead when an operand is NULL (see IntForm).
  INT_SET,       // variable := k
  INT_VV,        // variable := a + b or a - b, wrapped in the variable's width
  INT_VK,        // variable := a + k (a subtraction's constant is negated)
  JUMP_INT_VV,   // an IF's, ELSEIF's or WHILE's test: to target when a `jump` b, else on
  JUMP_INT_VK,   // the same beside the constant k
  LOOP_INT_VV,   // LOOP_TRUE of a comparison: back to target when a `jump` b
  LOOP_INT_VK,   // the same beside the constant k
  CASE,          // selects the branch of expr's value (cases), else target
  CALL,          // procedure `name` with args
  RETURN,        // leaves the unit, with expr's value when it has a RESULT
  SIGNAL,        // raises exception `code`
  RESIGNAL,      // raises again the exception being handled
  IGNORE,        // ends the handler: the exception is dropped and the unit ends normally
  OPEN,          // cursor `variable` for sql
  CLOSE,         // cursor `variable`
  FETCH,         // cursor `variable` by orientation (expr for ABSOLUTE and RELATIVE) into vars
  SQL,           // an embedded statement (select ... into, insert, update, delete, other)
  EXECUTE,       // statement text computed by expr
  COMMIT,
  ROLLBACK,
  BEGIN_TRANSACTION,
  SLEEP,         // expr seconds
  END_UNIT,      // the end of the code section or of a handler
};

// The operands of the integer forms. Variables of the integer types hold their value
// sign-extended over the first eight payload bytes, whatever their width, so that an operand
// is read with one load once its type byte is found to be the declared one (else it is NULL).
// A comparison is a mask of the outcomes it accepts: bit 0 less, bit 1 equal, bit 2 greater.
constexpr uint8_t CMP_LESS = 1;
constexpr uint8_t CMP_EQUAL = 2;
constexpr uint8_t CMP_GREATER = 4;

struct IntForm {
  int32_t a = -1;     // the first operand's variable
  int32_t b = -1;     // the second operand's variable (the _VV forms); COPY: the column or -1
  int64_t k = 0;      // the constant (INT_SET: already in the variable's type)
  uint8_t ta = 0;     // the declared types of a and b: their type bytes while not NULL
  uint8_t tb = 0;
  uint8_t type = 0;   // INT_*: the variable's type, which the expression's is
  uint8_t shift = 0;  // INT_*: 64 less the type's width, for the wrap
  uint8_t jump = 0;   // JUMP_INT_* and LOOP_INT_*: the comparison that jumps (CMP_* bits)
  bool subtract = false;  // INT_VV: a - b
  bool copy = false;      // INT_VK: variable := a, which a NULL keeps
};
enum class FetchOrientation : uint8_t { NEXT, PRIOR, FIRST, LAST, ABSOLUTE, RELATIVE };

struct CaseBranch {
  Value constant;  // number, BOOL, DATE or CHAR (text in the unit's arena)
  int target;
};

// The lists of the statements that have them (CALL, FETCH, CASE), kept apart from the fields
// every instruction reads, so that instructions stay small and close together.
struct StatementLists {
  std::vector<Expr> args;        // CALL
  std::vector<int> vars;         // FETCH INTO; CALL: the caller's variable of each argument, or -1
  std::vector<CaseBranch> cases; // CASE
  std::string name;              // CALL: the procedure (CP866, as written)
};

// One instruction of a unit's code. An instruction that stands for a statement of the text has
// its line and is a stop point; the jumps that only join the branches of IF and CASE have
// line -1 and are never run: the compiler points every jump and every fall-through (`next`)
// past them. Instructions start on cache lines, so that the fields a statement reads first
// lie in one line wherever the unit's code was allocated.
struct alignas(64) Statement {
  StmtKind kind;
  bool joins = false;  // a join follows: `next` is not the instruction after this one
  // INT_SET, INT_VV, INT_VK: the test at the bottom of a loop (LOOP_INT_*) follows at once and
  // runs with the statement, its stop point included, while no debugger has set the trap flag.
  bool loop_follows = false;
  FetchOrientation orientation = FetchOrientation::NEXT;
  int32_t line;      // from 0 of the stored text; -1: no statement of its own
  int32_t next = -1; // the instruction run after this one when it does not jump
  int32_t target = -1;
  int32_t variable = -1;
  IntForm form;      // the integer forms
  int32_t code = 0;  // SIGNAL: the exception code
  int32_t call_slot = -1;  // CALL: its place in every session's table of resolved callees
  int sql = -1;            // OPEN and SQL: index in Unit::sql
  Expr expr;
  std::unique_ptr<StatementLists> lists;  // CALL, FETCH with INTO, CASE with WHEN constants
};

// Allocates a unit's instructions at the start of a page, so that where they lie in a page
// (which decides which of the frame's stores a read of them can be taken to depend on) is the
// same for every unit.
template <typename T>
struct PageAllocator {
  using value_type = T;
  static constexpr std::align_val_t PAGE{4096};
  PageAllocator() = default;
  template <typename U>
  PageAllocator(const PageAllocator<U>&) {}
  T* allocate(size_t n) { return static_cast<T*>(::operator new(n * sizeof(T), PAGE)); }
  void deallocate(T* p, size_t) { ::operator delete(p, PAGE); }
  template <typename U>
  bool operator==(const PageAllocator<U>&) const { return true; }
};

// An exception handler: WHEN names THEN statements; `others` for WHEN OTHERS.
struct Handler {
  std::vector<int16_t> codes;
  bool others = false;
  int entry;  // first statement
};

// Exceptions named in the unit: declared ones and the system ones it uses.
struct ExceptionInfo {
  std::string name;  // CP866, upper-cased
  int16_t code;
};

enum class UnitKind : uint8_t { PROCEDURE, TRIGGER };

struct Unit {
  UnitKind kind = UnitKind::PROCEDURE;
  std::string name;  // CP866
  int32_t proc_id = 0;
  bool debug = false;
  std::vector<VarInfo> vars;  // parameters first, in order, then the locals
  int param_count = 0;
  bool has_result = false;
  TypeSpec result;
  std::vector<Statement, PageAllocator<Statement>> code;
  std::vector<Handler> handlers;
  std::vector<ExceptionInfo> exceptions;
  std::vector<CursorColumns> cursors;  // by variable (empty for other variables)
  // Procedures called by name in expressions (the unit itself included): name and result type.
  std::vector<std::string> routines;
  std::vector<uint8_t> routine_types;
  // For each routine, its place in every session's table of resolved callees (-1: none, the
  // callee is looked up at each call).
  std::vector<int32_t> routine_slots;
  std::vector<std::unique_ptr<SqlStatement>> sql;
  bool text_vars = false;  // some variable holds a text (CHAR, NCHAR or BYTE)
  bool has_defaults = false;  // some parameter or variable has a DEFAULT
  bool cursor_vars = false;  // some variable is a cursor
  // Triggers: the table and the variables NEW and OLD (-1 when absent).
  std::string table;  // UTF-8
  int new_var = -1;
  int old_var = -1;
  // The expression trees and fast forms live here.
  TreeArena arena{};
  FastArena fast;
  Unit() { arena_init(arena); }
  Unit(const Unit&) = delete;
  Unit& operator=(const Unit&) = delete;
  ~Unit() { arena_release(arena); }
};

// The most nested calls of one session (procedures, routines and trigger actions together);
// one more ends the innermost in the exception NOMEM. Each level costs a few kilobytes of the
// worker's stack at most, well inside a 1 MB thread stack.
constexpr int CALL_DEPTH_MAX = 150;

}  // namespace tavrel::kernel
