// The 56-row command table, searched in order.
#include "protocol/request.h"

#include <cstring>

namespace tavrel {

namespace {
constexpr CommandRow row(const char (&code)[5], uint8_t kind, uint8_t layout, uint32_t props) {
  return CommandRow{{code[0], code[1], code[2], code[3]}, kind, layout, {0, 0}, props, {0, 0, 0, 0}};
}
}  // namespace

const CommandRow COMMAND_TABLE[COMMAND_COUNT] = {
    row("GETN", 1, 4, 0x1), row("GETS", 1, 4, 0x1), row("GETM", 1, 4, 0x1),
    row("    ", 1, 3, 0x1), row("EXEC", 4, 7, 0x1), row("TRAN", 1, 3, 0x1),
    row("SLCT", 1, 3, 0x1), row("GETI", 1, 4, 0),   row("GETP", 1, 4, 0x1),
    row("GETF", 1, 4, 0x1), row("GETL", 1, 4, 0x1), row("GETE", 1, 4, 0),
    row("GOBJ", 1, 4, 0),   row("GPRC", 1, 4, 0),   row("AOBJ", 0, 6, 0),
    row("COBJ", 0, 4, 0),   row("GBLB", 1, 4, 0),   row("ABLB", 0, 6, 0),
    row("CBLB", 0, 4, 0),   row("OPEN", 5, 5, 0x2), row("OCUR", 5, 4, 0),
    row("SETO", 0, 6, 0),   row("REPL", 0, 0, 0),   row("FATR", 2, 2, 0),
    row("FREL", 1, 2, 0),   row("FCUR", 3, 2, 0),   row("FNOD", 3, 2, 0),
    row("CLOS", 6, 4, 0),   row("LREL", 0, 2, 0),   row("LROW", 0, 4, 0),
    row("UROW", 0, 4, 0),   row("UREL", 0, 4, 0),   row("SHUT", 0, 5, 0x2),
    row("DIRR", 1, 4, 0x2), row("DIRA", 1, 4, 0x2), row("DIRF", 1, 4, 0x2),
    row("DIRK", 1, 4, 0x2), row("SNAP", 0, 4, 0),   row("FUSR", 3, 2, 0),
    row("RBAC", 5, 2, 0),   row("COMT", 5, 2, 0),   row("GETA", 1, 4, 0),
    row("SSRV", 1, 4, 0),   row("FSPC", 6, 2, 0),   row("DESC", 1, 4, 0x2),
    row("KILL", 0, 5, 0x2), row("MPUT", 0, 6, 0),   row("MGET", 1, 4, 0),
    row("MCLR", 0, 4, 0),   row("MALL", 0, 4, 0),   row("PUTM", 0, 6, 0),
    row("PROC", 1, 8, 0),   row("RPAG", 1, 4, 0),   row("WPAG", 0, 6, 0),
    row("BKUP", 1, 8, 0),   row("DBCA", 4, 2, 0),
};

bool command_is(const char* code, const char* name) { return std::memcmp(code, name, 4) == 0; }

int command_find(const char* code) {
  uint32_t word;
  std::memcpy(&word, code, 4);
  for (int i = 0; i < COMMAND_COUNT; ++i) {
    uint32_t row_word;
    std::memcpy(&row_word, COMMAND_TABLE[i].code, 4);
    if (row_word == word) return i;
  }
  return -1;
}

}  // namespace tavrel
