// "*.prc" files: the reading of a procedure text into editor lines (long lines wrapped at
// LINE_CELLS characters) and its writing (trailing blanks and trailing empty lines never
// written). The reader works on bytes so that it can be tested and fuzzed without files.
#pragma once

#include <cstddef>
#include <ostream>
#include <string>

#include "editor/text.h"

namespace tavrel {

// File statuses.
constexpr int PRC_OK = 0;
constexpr int PRC_OPEN_FAILED = 1;
constexpr int PRC_NO_MEMORY = 2;
constexpr int PRC_WRITE_FAILED = 3;
constexpr int PRC_READ_FAILED = 4;
constexpr int PRC_CANCELLED = 5;  // the file dialog was left without a choice

// Splits the bytes of a file into lines from line 0 on (the text must be empty): a line
// ends at LF, CR LF or CR; tabs become blanks to the next multiple of eight columns and
// NUL bytes blanks; a line longer than LINE_CELLS continues in the next lines (wrapped
// set), its trailing blanks dropped rather than wrapped. 0, or PRC_NO_MEMORY.
int prc_parse(const char* data, size_t size, EditorText* out, bool* wrapped);
// Reads a file (path in UTF-8) with prc_parse; 0 or a file status.
int prc_read_file(const std::string& path, EditorText* out, bool* wrapped);

// Writes every line's text followed by LF, an empty line only when a line with text
// follows it. 0, or PRC_WRITE_FAILED when the stream failed.
int prc_write(const EditorText* text, std::ostream& out);
// Writes a file through a temporary file beside it, which replaces the file only when
// everything was written, so a full disk never leaves a half-written file behind.
int prc_write_file(const EditorText* text, const std::string& path);

}  // namespace tavrel
