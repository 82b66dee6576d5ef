// The `execute` statement a client sends to run a procedure, read into the engine's call
// request:
//
//   call     := ("EXECUTE" | "ВЫП") name ["(" [literal {"," literal}] ")"] [";"]
//   name     := '"' characters '"' | identifier          (an identifier is taken upper-cased)
//   literal  := "NULL" | "TRUE" | "FALSE" | "ИСТИНА" | "ЛОЖЬ"
//             | ["+" | "-"] digits ["." digits] [("E" | "e") ["+" | "-"] digits]
//             | "'" text "'" | ("N" | "n") "'" text "'"   ('' inside a text is one quote)
//
// Words in either letter case, blanks anywhere between the parts. Texts are CP866; a
// position is an offset in the statement, counted in characters from 0.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kernel/engine/engine.h"

namespace tavrel::kernel {

// Whether the statement is an execute call: its first word is EXECUTE or ВЫП.
bool execute_call_is(std::string_view cp866);

// Reads an execute call. Returns 0 with *out filled, or KERNEL_CALL_SYNTAX, KERNEL_CALL_NAME,
// KERNEL_CALL_LITERAL or KERNEL_CALL_TOO_MANY with *position at the fault.
uint32_t execute_call_parse(std::string_view cp866, CallRequest* out, uint32_t* position);

// The answer of a finished call (protocol/exec_result.h): messages, names and the
// exception's name in the session's code page (codepage_classify's value, CODEPAGE_OTHER for
// UTF-8), values in their wire form. 0, or -1 when it cannot fit an answer.
int execute_call_answer(const ExecOutcome& outcome, uint16_t codepage, std::vector<uint8_t>* out);

// GETE's text (UTF-8) of a call that could not start: the reading's codes and the engine's,
// naming the procedure where it helps; empty for another code.
std::string execute_call_error(uint32_t code, std::string_view procedure);
// The text of one of the reading's own codes (KERNEL_CALL_*), which no other statement
// gives; nullptr for another code.
const char* execute_call_error_text(uint32_t code);
}  // namespace tavrel::kernel
