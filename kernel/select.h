// Selects of ordinary SQL: SLCT runs a select to its end and answers with its first rows,
// GETN gives the next ones, DESC describes the columns. Rows travel as per column a u16
// length and the text in the session's code page (0xFFFF for NULL). Every function here is
// called by the thread that holds the session's connection.
#pragma once

#include <cstdint>

#include "kernel/frame.h"
#include "kernel/session.h"

namespace tavrel::kernel {

// SLCT: a catalogue statement, or ordinary SQL prepared once per text.
void select_open(Session* s, const KernelRequest& r, KernelAnswer* a);
// SLCT on the server thread: only a kept read-only statement whose last run was short, and
// only while this run stays short and finds no lock in its way. False when the request must
// go to the worker; a is untouched then and the select must run again from the start.
bool select_open_quick(Session* s, const KernelRequest& r, KernelAnswer* a);
// GETN of ordinary SQL: the next rows; count = rows in the answer.
void select_next(Session* s, uint16_t capacity, KernelAnswer* a);
// DESC: per column its name and declared type, each as a u16 length and the text.
void select_describe(Session* s, KernelAnswer* a);
// Ends the open select (a kept statement is reset, another finalized).
void select_close(Session* s);

}  // namespace tavrel::kernel
