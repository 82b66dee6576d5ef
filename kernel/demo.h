// The demonstration database of --demo.
#pragma once

#include <string>

struct sqlite3;

namespace tavrel::kernel {

// Creates the user DEMO (password DEMO), a few tables with rows, procedures and a trigger,
// unless they exist. 0 on success.
int demo_create(sqlite3* db, std::string* error);

}  // namespace tavrel::kernel
