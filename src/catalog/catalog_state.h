// What the catalogue's files share: the bound request block and user, the rows of the last
// list, and the formatting of the statements.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "catalog/catalog.h"

namespace tavrel {

struct CatalogState {
  RequestBlock* block;
  std::string user;  // blank-trimmed, CP866
  std::vector<CatalogRow> rows;
};
CatalogState& catalog_state();
const std::string& catalog_user();
// A statement with its "%s" parameters (the first, then the second) or its "%ld" number.
std::string catalog_format(const char* format, const char* first, const char* second = "");
std::string catalog_format_id(const char* format, uint32_t id);

}  // namespace tavrel
