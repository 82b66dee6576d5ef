// The fixed records of the kernel call interface, with one reader and one writer each:
// the client code-page block, the rows of the catalogue answers (identifier, name, trigger,
// stored-text head, parameter), the procedure-list portion, the translation-error answer of
// GETE, and the debugger's records (execution state, breakpoint header, run-to-cursor
// breakpoint, active-list entry). All are packed and little-endian on the wire; the structs
// below are their unpacked forms, and only the readers and writers know the offsets.
//
// Readers take the bytes as a span and return 0, or -1 when the bytes are too short (the
// record is then left zeroed). Writers of fixed records fill exactly the record's size at
// the start of the span (-1 when it is shorter); writers of variable records append.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "protocol/codes.h"

namespace tavrel {

// --- Client code-page block (buffer 3 of the commands that carry it) -----------------------
constexpr int CODEPAGE_NAME_MAX = 66;
// u16 present (1), u16 name length, 2 reserved bytes, 66 bytes of name (not necessarily
// zero-terminated). Its memory image is the wire image.
struct CodePageBlock {
  uint16_t present;
  uint16_t length;
  uint8_t reserved[2];
  char name[CODEPAGE_NAME_MAX];
};
static_assert(sizeof(CodePageBlock) == 72, "code-page block is 72 bytes on the wire");

// --- Catalogue answers -----------------------------------------------------------------------
// Procedure and trigger names travel blank-padded in 66 bytes.
constexpr size_t NAME_BYTES = 66;
constexpr size_t ROW_ID = 4;        // a u32 identifier
constexpr size_t ROW_NAME = NAME_BYTES;
constexpr size_t ROW_TRIGGER = 72;  // u32 procedure identifier, 66-byte name, 2 ignored bytes
constexpr size_t ROW_BODY = 24;     // u32 length of the stored text, 20 bytes not read
constexpr size_t ROW_PARAM = 327;
constexpr size_t TEXT_PORTION_MAX = 4000;  // bytes of a stored text one GPRC reads
constexpr size_t PARAM_DEFAULT_MAX = 255;

// Fills a name field: the text cut to the field, the rest blanks.
void name_field_put(std::span<uint8_t> field, std::string_view text);
// The name in a field up to its first NUL, trailing blanks removed.
std::string name_field_get(std::span<const uint8_t> field);

struct TriggerRow {
  uint32_t procedure_id;
  char name[NAME_BYTES];  // as sent, blank-padded
};
int trigger_row_read(std::span<const uint8_t> bytes, TriggerRow* out);
int trigger_row_write(const TriggerRow& row, std::span<uint8_t> out);

// Answer row of the parameter query.
struct ParamRow {
  char name[NAME_BYTES];  // blank-padded
  uint8_t type;
  uint8_t precision;      // NUMERIC
  uint8_t scale;          // NUMERIC
  uint16_t length;        // bytes (characters for NCHAR)
  uint8_t default_null;   // nonzero: the default is NULL
  uint8_t default_value[PARAM_DEFAULT_MAX];  // the default in its stored form
};
int param_row_read(std::span<const uint8_t> bytes, ParamRow* out);
int param_row_write(const ParamRow& row, std::span<uint8_t> out);

// --- Procedure-list portion (PROC_LIST_PROCEDURES) --------------------------------------------
// 66-byte names one after another, then the u32 key of the next portion (0: no more).
constexpr size_t PROC_LIST_NAMES_MAX = 62;  // names of one 4096-byte portion
// The number of names in an answer of length bytes (0 when it cannot hold the key).
size_t proc_list_count(size_t length);
// The continuation key in the answer's last four bytes (0 when it is shorter).
uint32_t proc_list_key(std::span<const uint8_t> answer);
// The i-th name field of the portion; empty past the last name.
std::span<const uint8_t> proc_list_name(std::span<const uint8_t> answer, size_t i);
// Appends the continuation key behind names already appended with name_field_put.
void proc_list_finish(std::vector<uint8_t>* answer, uint32_t next_key);

// --- Translation errors (GETE with KERNEL_TRANSLATION_ERRORS) --------------------------------
// u16 count, then per error: u32 message number, u32 line (from 1; TRANSLATION_NO_POSITION
// when none), u32 column (from 1), u8 argument kind, and the argument: a u16 number, or a
// u16 length and that many bytes of text, or nothing.
constexpr uint32_t TRANSLATION_NO_POSITION = 0xFFFFFFFF;
constexpr uint8_t TRANSLATION_ARG_NONE = 0;
constexpr uint8_t TRANSLATION_ARG_NUMBER = 1;
constexpr uint8_t TRANSLATION_ARG_TEXT = 2;
constexpr size_t TRANSLATION_ENTRY_HEAD = 13;

struct TranslationError {
  uint32_t number = 0;
  uint32_t line = TRANSLATION_NO_POSITION;
  uint32_t column = 0;
  uint8_t argument_kind = TRANSLATION_ARG_NONE;  // another kind value is read as no argument
  uint16_t argument_number = 0;
  std::string argument_text;  // as sent
};
// Reads the whole answer; -1 when it ends inside an entry (the entries read so far stay).
int translation_errors_read(std::span<const uint8_t> bytes, std::vector<TranslationError>* out);
// The answer for a list of errors (at most 65,535 of them are counted).
std::vector<uint8_t> translation_errors_write(const std::vector<TranslationError>& errors);

// --- Debugger records ---------------------------------------------------------------------------
// The answer of every run, step, wait and stop: the execution where it stopped.
constexpr size_t EXEC_STATE_SIZE = 18;
struct ExecState {
  uint32_t procedure_id;
  uint16_t execution_id;
  uint32_t line;        // from 0
  uint32_t flags;       // EXEC_* of protocol/codes.h
  int16_t exception;    // 0 = none, else ExceptionCode or a custom code
  uint16_t breakpoint;  // position in the breakpoint table + 1; 0 = none
};
int exec_state_read(std::span<const uint8_t> bytes, ExecState* out);
int exec_state_write(const ExecState& state, std::span<uint8_t> out);

// Data of PROC_SET_BREAKPOINT and PROC_CLEAR_BREAKPOINT: u32 line, u8 kind, 1 unused byte,
// u16 breakpoint number, u16 count n, n u16 variable numbers.
constexpr size_t BREAKPOINT_HEADER_SIZE = 10;
constexpr uint8_t BREAKPOINT_LINE = 1;
constexpr uint8_t BREAKPOINT_CONDITION = 4;
constexpr uint8_t BREAKPOINT_CHANGE = 8;
struct BreakpointRequest {
  uint32_t line = 0;
  uint8_t kind = BREAKPOINT_LINE;
  uint16_t number = 0;  // 0 from the editor and in every clear
  std::vector<uint16_t> variables;
};
// The size of the request's data (also its answer length): 10 + 2 per variable.
size_t breakpoint_request_size(const BreakpointRequest& request);
int breakpoint_request_read(std::span<const uint8_t> bytes, BreakpointRequest* out);
// -1 when out is shorter than breakpoint_request_size.
int breakpoint_request_write(const BreakpointRequest& request, std::span<uint8_t> out);

// Data of PROC_TEMP_BREAKPOINT: u32 line, u8 flag (1 = set), 3 unused bytes.
constexpr size_t TEMP_BREAKPOINT_SIZE = 8;
struct TempBreakpoint {
  uint32_t line;
  bool set;
};
int temp_breakpoint_read(std::span<const uint8_t> bytes, TempBreakpoint* out);
int temp_breakpoint_write(const TempBreakpoint& request, std::span<uint8_t> out);

// An entry of the active list (PROC_ACTIVE_LIST): u32 procedure, u16 execution, u16 state
// flags, u32 quanta, u16 caller's execution (ACTIVE_CALLER_OUTSIDE: a client statement),
// 1 byte not shown. A portion is a run of entries followed by the u16 next key.
constexpr size_t ACTIVE_ENTRY_SIZE = 15;
// Terminating the execution of a selected row reads its identifiers at row * 16 of the
// entry array, not at row * 15: the manager has always done so, and keeps doing it.
constexpr size_t ACTIVE_KILL_STRIDE = 16;
constexpr uint16_t ACTIVE_CALLER_OUTSIDE = 0xFFFF;
struct ActiveEntry {
  uint32_t procedure_id;
  uint16_t execution_id;
  uint16_t flags;
  uint32_t quanta;
  uint16_t caller;
};
int active_entry_read(std::span<const uint8_t> bytes, ActiveEntry* out);
int active_entry_write(const ActiveEntry& entry, std::span<uint8_t> out);

// --- Debugger views: the call stack, the locals, the printed messages -----------------------
// Answers of PROC_CALL_STACK, PROC_LOCALS and PROC_READ_TABLE, and the return value behind
// the state record of a finished execution. Values inside them are in the wire form of
// values/value_wire.h; this layer carries them as bytes and leaves their decoding to the
// client, so that it needs nothing above it.

// PROC_CALL_STACK: u16 count, then per frame, innermost first: u32 procedure identifier,
// u32 line (from 0), u16 execution identifier, u16 state flags.
constexpr size_t STACK_ENTRY_SIZE = 12;
// Frames one 4000-byte answer holds; a deeper stack is sent cut to its innermost frames.
constexpr size_t STACK_ENTRIES_MAX = (PROC_ANSWER - 2) / STACK_ENTRY_SIZE;
struct StackEntry {
  uint32_t procedure_id = 0;
  uint32_t line = 0;
  uint16_t execution_id = 0;
  uint16_t flags = 0;
};
// Reads the frames; -1 when the answer ends inside the count or a frame (frames read so far stay).
int call_stack_read(std::span<const uint8_t> bytes, std::vector<StackEntry>* out);
// The answer for the frames (at most STACK_ENTRIES_MAX of them, the first ones).
std::vector<uint8_t> call_stack_write(std::span<const StackEntry> frames);

// PROC_LOCALS: u16 count, then per variable: u16 number (from 1; VARIABLE_NONE for the
// return value), u8 name length, the name, u16 length of the value, the value in
// its wire form. A list longer than the answer length is not cut: the kernel answers 1014
// with the length it needs.
struct LocalEntry {
  uint16_t number = 0;
  std::string name;
  std::vector<uint8_t> value;  // wire form
};
int locals_read(std::span<const uint8_t> bytes, std::vector<LocalEntry>* out);
// Names are cut to 255 bytes and values to 65,535.
std::vector<uint8_t> locals_write(std::span<const LocalEntry> locals);

// PROC_READ_TABLE: the messages that the executions of the debug session printed since the
// last request, without the head PRINT writes: u16 count, then per message u16 length and
// the text. Names and messages are in the session's code page. The answer
// holds as many whole messages as fit its length, oldest first; the argument/count field
// tells how many are still kept for the next request.
int printed_messages_read(std::span<const uint8_t> bytes, std::vector<std::string>* out);
// The answer for as many of the messages as fit capacity bytes (at least the first, cut to
// fit); *taken gets how many went in.
std::vector<uint8_t> printed_messages_write(std::span<const std::string> messages, size_t capacity,
                                            size_t* taken);

// The wire form of the return value behind the state record of a finished execution; empty
// when the answer ends with the record (the procedure has no RESULT).
std::span<const uint8_t> exec_state_result(std::span<const uint8_t> answer);

// The rows of a select's answer: per column value a u16 length and the bytes, or the length
// FIELD_NULL_LENGTH alone for NULL (a longer value is cut to one byte less).
constexpr uint16_t FIELD_NULL_LENGTH = 0xFFFF;
struct RowField {
  std::string_view text;  // into the answer's bytes
  bool null = false;
};
// Splits the answer into its fields, row after row: 0, or -1 when a length runs past the end.
int row_fields_read(std::span<const uint8_t> bytes, std::vector<RowField>* out);

}  // namespace tavrel
