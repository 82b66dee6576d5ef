// The last passes over a unit's code once it has translated: the integer forms chosen for the
// common statements (a variable set to a constant, a sum or difference of two variables or of
// a variable and a constant, a comparison of such operands that decides a jump), and the links
// between instructions (each one's successor, every jump carried past the joins of IF and
// CASE, which are then never run).
#pragma once

#include "kernel/engine/program.h"

namespace tavrel::kernel {

// Gives the statement its integer form when it has one (kind INT_* or *_INT_*); its general
// form stays in expr. Statements of other shapes are left as they are.
void choose_int_form(const Unit& u, Statement& s);

// Sets every instruction's `next` and carries each jump, fall-through, CASE branch and handler
// entry past the instructions of line -1 that only jump on; marks the integer statements that
// the test at the bottom of a loop follows (Statement::loop_follows).
void link_code(Unit& u);

}  // namespace tavrel::kernel
