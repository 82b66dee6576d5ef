// Turning kernel answers into what the user reads: the one seam through which the manager's
// subsystems call the kernel (replaceable by a test peer), the kernel-error report shown
// after a failed request, and the translation-error list fetched after a store that did
// not translate, whose rows move the editor's cursor to the error.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "protocol/bytes.h"
#include "protocol/codes.h"
#include "protocol/request.h"
#include "editor/editor.h"

namespace tavrel {

// --- The kernel call (kernel_report.cpp) -----------------------------------------------
using KernelCall = uint32_t (*)(RequestBlock* block, const void* buffer1, const void* buffer2,
                                void* buffer3, void* answer);
// channel_call, or the peer a test put in (null puts channel_call back).
void kernel_call_set(KernelCall call);
uint32_t kernel_call(RequestBlock* block, const void* buffer1, const void* buffer2, void* buffer3,
                     void* answer);
// Sets the four-letter command code of a block.
void set_command(RequestBlock* block, const char* code);


// --- The kernel-error report (kernel_report.cpp) ---------------------------------------
// The text for a return code (CP866). Codes without a text of their own are asked of the
// kernel with GETE on the block (its command code is "PROC" afterwards); when that fails the
// text names the code.
std::string kernel_error_text(RequestBlock* block, uint32_t code, uint32_t system_code);
// Shows the text in a box with " Продолжить " (and hands it to the sink, when one is set).
void report_kernel_error(RequestBlock* block, uint32_t code, uint32_t system_code);
// Where the debugger's messages view collects reported texts; null when it is closed.
void kernel_report_set_sink(void (*sink)(const char* text));

// --- The translation-error list (error_list.cpp) ----------------------------------------
struct ErrorList {
  std::vector<std::string> texts;  // CP866
  std::vector<int> lines;          // counted from 0; -1 when the error has no position
  std::vector<int> columns;
};
// Reads a GETE 7200 answer; false when it is malformed (what was read so far is kept).
bool error_list_parse(const uint8_t* answer, size_t length, ErrorList* out);
// Asks the kernel for the list of the last translation (nothing is reported on failure:
// the list is then empty).
void error_list_fetch(RequestBlock* block, ErrorList* out);
// The list of the last store that did not translate; emptied by a successful store.
ErrorList& error_list();
// Fetches the list and shows it over the editor; choosing a row moves the editor's cursor
// to the error's line and column. Esc leaves the list.
void error_list_show(RequestBlock* block, Editor* editor);

}  // namespace tavrel
