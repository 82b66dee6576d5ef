// The heads of the catalogue statements the kernel stores itself: create / alter / drop of a
// procedure or a trigger. The head is read with the procedure language's lexer; the body
// after it is kept as text and not looked at here. Texts are CP866, as the lexer reads them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tavrel::kernel {

enum HeaderVerb : int {
  VERB_CREATE = 1,
  VERB_CREATE_OR_REPLACE = 2,
  VERB_ALTER = 3,
  VERB_DROP = 4,
};

enum HeaderObject : int {
  OBJECT_PROCEDURE = 1,
  OBJECT_TRIGGER = 2,
};

// Parameter modes as kept in $$$PRCD.MODIF: input parameters are 1 and 3.
constexpr int PARAM_IN = 1;
constexpr int PARAM_OUT = 2;
constexpr int PARAM_INOUT = 3;

// Type codes of the parameter rows.
constexpr uint8_t PARAM_CHAR = 1;
constexpr uint8_t PARAM_INTEGER = 2;
constexpr uint8_t PARAM_FLOAT = 3;
constexpr uint8_t PARAM_DATE = 4;
constexpr uint8_t PARAM_NUMERIC = 5;
constexpr uint8_t PARAM_LOGICAL = 10;
constexpr uint8_t PARAM_NCHAR = 11;

constexpr size_t OBJECT_NAME_MAX = 66;    // bytes of a procedure, trigger or parameter name
constexpr size_t DEFAULT_VALUE_MAX = 255; // bytes of a stored default
constexpr size_t PARAMS_MAX = 255;

// Trigger events, as bits.
constexpr uint8_t EVENT_UPDATE = 1;
constexpr uint8_t EVENT_INSERT = 2;
constexpr uint8_t EVENT_DELETE = 4;

struct ProcParam {
  std::string name;  // CP866; identifiers upper-cased, quoted names as written
  int mode;          // PARAM_IN, PARAM_OUT, PARAM_INOUT
  uint8_t type;      // PARAM_CHAR ...
  uint8_t precision; // NUMERIC only
  uint8_t scale;     // NUMERIC only
  uint16_t length;   // bytes; characters for NCHAR
  bool default_null; // no default, or DEFAULT NULL
  std::vector<uint8_t> default_value;  // the stored form (empty when default_null)
};

struct ProcHeader {
  int verb;    // HeaderVerb
  int object;  // HeaderObject
  std::string name;  // CP866
  bool debug;  // "for debug"
  std::vector<ProcParam> params;
  // Triggers (create only).
  bool before;
  uint8_t events;
  bool for_each_row;
  std::string table;  // CP866
  // Where reading stopped with a diagnostic (line and column from 1), when it failed.
  int diagnostic;
  int line;
  int column;
};

// Whether a statement may be one of ours: its first word is CREATE, ALTER or DROP and a later
// word of the first few is PROCEDURE (or its Russian spelling) or TRIGGER. A cheap test
// before the lexer; parse_proc_header decides.
bool looks_like_proc_statement(std::string_view cp866);

// Reads the head of a create / alter / drop statement. Returns 0 and fills out; 1 when the
// text is no procedure or trigger statement at all (then it is plain SQL); 2 when it is one
// but its head is wrong (out->diagnostic, line and column tell what and where).
int parse_proc_header(std::string_view cp866, ProcHeader* out);

}  // namespace tavrel::kernel
