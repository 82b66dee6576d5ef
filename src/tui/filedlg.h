// The file-selection dialog: a name field, the current directory, and a list of its
// subdirectories and of the files matching a mask (drives too where the system has them);
// a name can also be typed by hand. Paths given and returned are UTF-8, as the system's
// file functions take them; what the dialog shows is CP866.
#pragma once

#include <string>
#include <vector>

namespace tavrel {

struct FileEntry {
  std::string name;  // UTF-8
  bool directory;
  bool drive;
};

// True when the name matches the mask ("*" any run, "?" one character; letters compared
// without case).
bool mask_matches(const char* mask, const char* name);
// The entries of a directory as the dialog lists them: ".." (unless at a root), the
// subdirectories, the files matching the mask, each group sorted, then the drives.
// 0, or 1 when the directory cannot be read.
int file_list(const std::string& directory, const char* mask, std::vector<FileEntry>* out);

// Runs the dialog (mask such as "*.prc", the directory to start in, empty for the current
// one). 0 with the chosen path, 1 when the user cancelled.
int file_dialog(const char* mask, const std::string& start_directory, std::string* chosen);

}  // namespace tavrel
