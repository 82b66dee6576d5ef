// The virtual console: a console backend held in memory, with scripted input, for tests of
// everything above the console seam. It counts and remembers the writes it receives so
// that tests can check what reached the "screen" and how often.
#pragma once

#include <string>

#include "platform/console.h"

namespace tavrel {

const ConsoleBackend* virtual_console();

// A blank screen of the given size (blanks in attribute 0x07), no pending input, the
// cursor at 0,0 and visible, all counters zero.
void virtual_console_reset(int columns, int rows);
void virtual_console_push(const InputRecord& rec);
// A key-down record (and nothing else) with the given fields.
void virtual_console_push_key(uint16_t virtual_key, uint16_t scan, uint8_t ch,
                              uint32_t control_state = 0);
void virtual_console_push_mouse(int column, int row, uint32_t buttons, uint32_t flags = 0,
                                uint32_t control_state = 0);
// Pending input records.
int virtual_console_pending();

const ConsoleCell* virtual_console_cells();  // rows x columns, row by row
ConsoleCell virtual_console_cell(int column, int row);
// The CP866 characters of one row (or of columns from..to inclusive).
std::string virtual_console_row(int row);
std::string virtual_console_text(int row, int from, int to);

int virtual_console_write_count();          // write_cells calls so far
ConsoleRect virtual_console_last_write();   // the rectangle of the last one
int virtual_console_read_count();           // read_cells calls so far
void virtual_console_cursor(int* column, int* row, bool* visible);
const char* virtual_console_title();        // CP866
int virtual_console_bells();
bool virtual_console_is_open();

// A wait without time limit while no input is scripted and no wake-up is pending cannot
// end on a real console; here it delivers an Esc key record instead, so that a test whose
// script ran short ends its loops rather than hanging, and counts it. (After 10000 such
// waits the process aborts: a loop that ignores Esc would otherwise spin for ever.)
int virtual_console_starved();
// For tests where another thread wakes the reader: a wait without time limit and without
// scripted input then blocks until the wake-up event is signalled (from any thread) instead
// of starving. Off after a reset.
void virtual_console_set_blocking(bool blocking);
// A wake-up signal received and not yet consumed by a wait.
bool virtual_console_wake_pending();

}  // namespace tavrel
