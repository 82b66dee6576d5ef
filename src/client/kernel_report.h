// The kernel-error report: the text of a failed request's return code, shown in a message
// box over whatever dialogs are open, and handed to the debugger's messages view when that
// view has set a sink. Runs on the user-interface thread.
#pragma once

#include <cstdint>
#include <string>

#include "protocol/request.h"
#include "client/kernel_call.h"

namespace tavrel {

// The text for a return code (CP866). Codes without a text of their own are asked of the
// kernel with GETE on the block (its command code is "PROC" afterwards); when that fails the
// text names the code.
std::string kernel_error_text(RequestBlock* block, uint32_t code, uint32_t system_code);
// Shows the text in a box with " Продолжить " (and hands it to the sink, when one is set).
void report_kernel_error(RequestBlock* block, uint32_t code, uint32_t system_code);
// Where the debugger's messages view collects reported texts; null when it is closed.
void kernel_report_set_sink(void (*sink)(const char* text));

}  // namespace tavrel
