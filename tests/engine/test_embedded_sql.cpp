// The scanner of embedded SQL: which names become bound parameters, the INTO list of a select,
// the statement's end, and the table a DML statement changes (tables of inputs and outputs).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kernel/engine/embedded_sql.h"

namespace tavrel::kernel {
namespace {

// The unit's names for the scanner: A and B are variables, C a cursor with columns X and Y.
int find_variable(void*, std::string_view name, bool, uint8_t* type) {
  if (name == "A" || name == "B") {
    *type = TYPE_INTEGER;
    return name == "A" ? 0 : 1;
  }
  if (name == "C") {
    *type = TYPE_CURSOR;
    return 2;
  }
  return -1;
}
int find_column(void*, int cursor, std::string_view name, uint8_t* type) {
  *type = TYPE_INTEGER;
  if (cursor != 2) return -1;
  return name == "X" ? 0 : name == "Y" ? 1 : -1;
}
const UnitSymbols SYMBOLS{nullptr, find_variable, find_column, nullptr};

struct ScanCase {
  const char* text;
  const char* sql;          // what SQLite receives
  const char* bindings;     // "var.column" of each "?", blank-separated
  const char* into;         // the INTO variables
  int diagnostic;
};

const ScanCase SCAN_CASES[] = {
    {"update T set V = a where K = B; rest", "update T set V = ? where K = ?", "0.-1 1.-1", "", -1},
    {"select V, W into A, b from T where K = 'A' and \"B\" = 1;", "select V, W  from T where K = 'A' and \"B\" = 1",
     "", "0 1", -1},
    {"insert into T values(A, T.A, (select max(A) from U));", "insert into T values(?, T.A, (select max(?) from U))",
     "0.-1 0.-1", "", -1},
    {"delete from T where K = C.Y // the cursor's column\n;", "delete from T where K = ? \n", "2.1", "", -1},
    {"select 1 into Z from T;", "", "", "", 65},
    {"delete from T where K = C.NOPE;", "", "", "", 49},
    {"delete from T where K = C;", "", "", "", 47},
    {"select 'a;b' from T where A > 1e3;", "select 'a;b' from T where ? > 1e3", "0.-1", "", -1},
};

TEST(EmbeddedSql, ScannerBindsVariablesAndTakesOutInto) {
  for (const ScanCase& c : SCAN_CASES) {
    SqlScan scan;
    scan_embedded_sql(c.text, 0, SYMBOLS, -1, &scan);
    EXPECT_EQ(scan.diagnostic, c.diagnostic) << c.text;
    if (c.diagnostic >= 0) continue;
    EXPECT_EQ(scan.cp866, c.sql) << c.text;
    std::string bindings;
    for (const SqlBinding& b : scan.bindings) {
      bindings += (bindings.empty() ? "" : " ") + std::to_string(b.variable) + "." + std::to_string(b.column);
    }
    EXPECT_EQ(bindings, c.bindings) << c.text;
    std::string into;
    for (int v : scan.into) into += (into.empty() ? "" : " ") + std::to_string(v);
    EXPECT_EQ(into, c.into) << c.text;
    EXPECT_EQ(c.text[scan.end - 1], ';') << c.text;
  }
}

TEST(EmbeddedSql, TableOfDmlStatements) {
  struct Case {
    const char* sql;
    const char* table;
    SqlKind kind;
  };
  const Case cases[] = {
      {"insert into emp values(1)", "EMP", SqlKind::INSERT},
      {"  INSERT OR REPLACE INTO \"Emp\"(a) values(1)", "EMP", SqlKind::INSERT},
      {"update main.emp set a = 1", "EMP", SqlKind::UPDATE},
      {"update or ignore EMP set a = 1", "EMP", SqlKind::UPDATE},
      {"-- note\ndelete from [EMP] where 1", "EMP", SqlKind::DELETE},
      {"delete emp", "", SqlKind::OTHER},
      {"select * from emp", "", SqlKind::OTHER},
      {"", "", SqlKind::OTHER},
  };
  for (const Case& c : cases) {
    SqlKind kind = SqlKind::SELECT;
    EXPECT_EQ(dml_table(c.sql, &kind), c.table) << c.sql;
    EXPECT_EQ(kind, c.kind) << c.sql;
  }
}

}  // namespace
}  // namespace tavrel::kernel
