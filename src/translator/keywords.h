// The keyword table of the procedure language: 157 rows (94 English, 63 Russian spellings in
// CP866), each a text and its token code. English and Russian rows with the same code are
// the same keyword. Sorted once, on first use, by plain byte comparison; searched by binary
// search.
#pragma once

#include <string_view>

namespace tavrel {

constexpr int KEYWORD_COUNT = 157;
constexpr int KEYWORD_ENGLISH = 94;

struct Keyword {
  const char* text;  // upper case (Russian in CP866 capitals)
  int token;
};

// Token code of an upper-cased word, or 0 when it is no keyword.
int keyword_find(std::string_view word);
// Row i (0..KEYWORD_COUNT-1) of the sorted table.
const Keyword& keyword_row(int i);

}  // namespace tavrel
