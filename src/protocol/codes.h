// The numbers both sides of the kernel call interface agree on: the kernel's return codes,
// the sub-commands of "PROC" (the procedure and debugger service), the debugger's error
// numbers (carried in the system code under return code 7204), and the exception codes of
// an execution with their names. The channel's own codes (1000-1085) and the request
// flags live with the request block in protocol/request.h.
#pragma once

#include <cstdint>
#include <string>

namespace tavrel {

// --- Return codes of the kernel ------------------------------------------------------------
// "No more rows": the end of a select or a list; never shown to the user.
constexpr uint32_t KERNEL_NO_MORE_ROWS = 2;
constexpr uint32_t KERNEL_UNKNOWN_USER = 1025;
constexpr uint32_t KERNEL_WRONG_PASSWORD = 1026;
constexpr uint32_t KERNEL_BAD_CHANNEL = 1069;
constexpr uint32_t KERNEL_TOO_MANY_SESSIONS = 1070;
constexpr uint32_t KERNEL_INTERRUPTED = 1071;
constexpr uint32_t KERNEL_MALFORMED = 1072;
constexpr uint32_t KERNEL_UNSUPPORTED = 1073;
constexpr uint32_t KERNEL_BAD_CONNECT_STRING = 1074;
constexpr uint32_t KERNEL_NO_SELECT = 1075;
// An answer (a row) longer than 65,535 bytes, which no answer length can describe.
constexpr uint32_t KERNEL_ANSWER_TOO_LONG = 1076;
// A select whose rows together exceed what the kernel keeps for one select.
constexpr uint32_t KERNEL_RESULT_TOO_LARGE = 1077;
constexpr uint32_t KERNEL_SQL_ERROR = 2001;
constexpr uint32_t KERNEL_NO_OBJECT = 2002;
constexpr uint32_t KERNEL_CONSTRAINT = 2003;
constexpr uint32_t KERNEL_BUSY = 2004;
// "Not found": some catalogue reads end with it instead of 2; silent like 2.
constexpr uint32_t KERNEL_NOT_FOUND = 2202;
constexpr uint32_t KERNEL_PROC_MISSING = 2229;
constexpr uint32_t KERNEL_PROC_EXISTS = 2245;
constexpr uint32_t KERNEL_TRIGGER_EXISTS = 2257;
// Errors of a statement itself (a run's "execute" among them) lie in this range; the
// system code then carries the error position times 65,536.
constexpr uint32_t KERNEL_STATEMENT_FIRST = 2000;
constexpr uint32_t KERNEL_STATEMENT_LAST = 2999;
// An `execute "P"(...)` statement that cannot be read (the system code carries the
// offset of the fault times 65,536): not of the form execute NAME(arguments), a name missing,
// empty or too long, an argument that is no literal, more arguments than a procedure takes.
constexpr uint32_t KERNEL_CALL_SYNTAX = 2010;
constexpr uint32_t KERNEL_CALL_NAME = 2011;
constexpr uint32_t KERNEL_CALL_LITERAL = 2012;
constexpr uint32_t KERNEL_CALL_TOO_MANY = 2013;
// A stored text did not translate: the list comes with GETE and this code in the function.
constexpr uint32_t KERNEL_TRANSLATION_ERRORS = 7200;
// A debugger error: the system code holds its number (DEBUGGER_* below).
constexpr uint32_t KERNEL_DEBUGGER_ERROR = 7204;
// A stored text of length 0.
constexpr uint32_t KERNEL_EMPTY_TEXT = 7214;

// --- Sub-commands of "PROC" (the request's function field) ---------------------------------
enum ProcSubcommand : uint32_t {
  PROC_OPEN_SESSION = 1,       // open a debug session: length byte and name, or 0 and the id
  PROC_CLOSE_SESSION = 2,      // close it (argument: procedure id)
  PROC_TEMP_BREAKPOINT = 3,    // set or clear the run-to-cursor breakpoint
  PROC_EXECUTE = 5,            // execute a statement under the debugger
  PROC_STEP = 6,               // step over calls
  PROC_TRACE = 7,              // step into calls
  PROC_RUN = 8,                // continue to the next stop
  PROC_RUN_TO_RETURN = 9,
  PROC_STOP = 10,
  PROC_READ_TABLE = 13,        // a table for the views
  PROC_CALL_STACK = 14,
  PROC_LOCALS = 15,
  PROC_WAIT_FOR_CALL = 16,     // wait for a given procedure or trigger to be called
  PROC_LIST_PROCEDURES = 18,   // procedure names in portions (argument: portion key, 1 first)
  PROC_SET_BREAKPOINT = 20,    // conditional or on-change breakpoint (BreakpointHeader)
  PROC_CLEAR_BREAKPOINT = 21,
  PROC_VARIABLE_TABLE = 22,    // the variable-table handle of a procedure
  PROC_RELEASE_TABLE = 23,
  PROC_FIND_VARIABLE = 24,     // a variable's number by name (argument: table handle)
  PROC_CATCH_ANY = 25,         // catch any procedure with an open debug session
  PROC_ACTIVE_LIST = 26,       // active executions in portions (argument: key, 0 first)
  PROC_ABORT = 27,             // abort an execution
  PROC_READ_VARIABLE = 28,
  PROC_ASSIGN_VARIABLE = 29,
};

// Answer length of GETE: a code's text, or the translation errors (protocol/records.h).
constexpr uint16_t GETE_ANSWER = 4096;

// Answer lengths the sub-commands are sent with.
constexpr uint16_t PROC_ANSWER = 4000;        // state records, stack, handles
constexpr uint16_t PROC_LARGE_ANSWER = 16384; // locals and tables of the views
constexpr uint16_t PROC_PORTION = 4096;       // procedure list and active list portions
// Variable numbers: 65535 is "no such variable" in an answer and "the return value" in a
// read; an assignment and a condition's variables carry the number plus this offset.
constexpr uint16_t VARIABLE_NONE = 65535;
constexpr uint32_t VARIABLE_NUMBER_OFFSET = 20000;
// The current execution when there is none.
constexpr uint16_t EXECUTION_NONE = 65535;

// --- Debugger errors (system code under KERNEL_DEBUGGER_ERROR) -----------------------------
enum DebuggerErrorCode : uint32_t {
  DEBUGGER_UNDEFINED_PROCEDURE = 1,
  DEBUGGER_DEBUGGED_ELSEWHERE = 2,
  DEBUGGER_NO_DEBUG_INFO = 3,
  DEBUGGER_TOO_MANY_PROCEDURES = 4,
  DEBUGGER_NO_MEMORY = 5,
  DEBUGGER_UNKNOWN = 6,
  DEBUGGER_SESSION_NOT_OPEN = 7,
  DEBUGGER_BAD_LINE = 8,
  DEBUGGER_TOO_MANY_BREAKPOINTS = 9,
  DEBUGGER_NOT_WAITING = 10,
  DEBUGGER_BAD_COMMAND = 11,
  DEBUGGER_ACTIVE_IN_SESSION = 12,
  DEBUGGER_BAD_PROCEDURE_ID = 13,
  DEBUGGER_BAD_PARAMETER = 14,
  DEBUGGER_NO_PROCEDURES = 15,
  DEBUGGER_CALLED_ANOTHER = 16,
  DEBUGGER_CHANNEL_BUSY = 17,
};
constexpr uint32_t DEBUGGER_ERROR_FIRST = 1;
constexpr uint32_t DEBUGGER_ERROR_LAST = 17;

// --- State flags of an execution (state record and active-list entry) ----------------------
constexpr uint32_t EXEC_AT_BREAKPOINT = 0x0001;
constexpr uint32_t EXEC_WAITING_QUERY = 0x0010;
constexpr uint32_t EXEC_WAITING_DEBUGGER = 0x1000;
constexpr uint32_t EXEC_DEBUGGED = 0x2000;
constexpr uint32_t EXEC_FINISHED = 0x4000;

// --- Exceptions of an execution (negative codes in the state record) -----------------------
enum ExceptionCode : int16_t {
  EXCEPTION_NONE = 0,
  EXCEPTION_DIVZERO = -2,
  EXCEPTION_UNDEFPROC = -3,
  EXCEPTION_BADPARAM = -4,
  EXCEPTION_BADRETVAL = -6,
  EXCEPTION_NULLDATA = -7,
  EXCEPTION_NOMEM = -8,
  EXCEPTION_BADCURSOR = -9,
  EXCEPTION_CURNOTOPEN = -10,
  EXCEPTION_APPENDNOTSTARTED = -14,
  EXCEPTION_QUERYWHENAPPEND = -15,
  EXCEPTION_APPENDACTIVE = -16,
  EXCEPTION_APPLICATIONERROR = -17,
  EXCEPTION_TRANSACTION_STATE = -18,
};

struct ExceptionName {
  int16_t code;
  const char* name;
};
// The system exceptions, in code order.
constexpr int EXCEPTION_NAME_COUNT = 13;
extern const ExceptionName EXCEPTION_NAMES[EXCEPTION_NAME_COUNT];
// The name of a system exception, or nullptr for a code that is not one.
const char* exception_name(int code);
// The name as the debugger writes it: a system exception's name, any other code as
// "CUSTOM (%d)".
std::string exception_text(int code);

}  // namespace tavrel
