// The translation-error list: after a store that did not translate, the kernel's GETE 7200
// answer read into texts and positions, kept until the next store, and shown in the
// " Список ошибок " window whose rows move the editor's cursor to the error.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "protocol/request.h"
#include "editor/editor.h"

namespace tavrel {

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
