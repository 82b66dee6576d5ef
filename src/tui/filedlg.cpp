// The file-selection dialog: directory listing through std::filesystem, the mask test,
// and the dialog itself, built with the form library (name field, list, two buttons).
#include "tui/filedlg.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "text/unicode.h"
#include "tui/colours.h"
#include "tui/form.h"
#include "tui/hints.h"
#include "tui/keyboard.h"
#include "tui/messages.h"
#include "tui/screen.h"

namespace tavrel {

namespace fs = std::filesystem;

namespace {

// Systems whose paths use "\" have drive letters.
constexpr bool HAS_DRIVES = fs::path::preferred_separator == '\\';
constexpr int NAME_CAPACITY = 78;

fs::path from_utf8(const std::string& text) {
  return fs::path(std::u8string(text.begin(), text.end()));
}

std::string to_utf8(const fs::path& path) {
  std::u8string text = path.u8string();
  return std::string(text.begin(), text.end());
}

char fold(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

// The dialog's state while it runs.
struct FileDialog {
  std::string mask;
  fs::path directory;
  std::vector<FileEntry> entries;
  char name[NAME_CAPACITY + 1];
  char picture[NAME_CAPACITY + 1];
  std::string chosen;
  Form form;
  int list_item;
};

FileDialog* g_dialog = nullptr;

int entry_text(int row, char cells[][FORM_CELL_MAX + 1], void* context) {
  auto* d = static_cast<FileDialog*>(context);
  if (row < 0 || row >= static_cast<int>(d->entries.size())) return 0;
  const FileEntry& e = d->entries[row];
  std::string shown = utf8_to_cp866(e.name);
  if (e.drive) shown = "[-" + shown.substr(0, 1) + "-]";
  else if (e.directory) shown += HAS_DRIVES ? "\\" : "/";
  std::snprintf(cells[0], FORM_CELL_MAX + 1, "%s", shown.c_str());
  return 1;
}

void show_directory(FileDialog* d) {
  file_list(to_utf8(d->directory), d->mask.c_str(), &d->entries);
  std::string shown = message_text(MSG_FILE_DIRECTORY) + utf8_to_cp866(to_utf8(d->directory));
  int width = window_width() - 4;
  if (static_cast<int>(shown.size()) > width) shown = "..." + shown.substr(shown.size() - width + 3);
  window_fill(3, 2, 3, window_width() - 3, ' ', colour(ROLE_DIALOG));
  window_put_text(3, 2, shown.c_str(), colour(ROLE_DIALOG));
  d->form.items[d->list_item].list.top = 0;
  d->form.items[d->list_item].list.selected = 0;
  form_list_refresh(&d->form, d->list_item);
}

// Goes into a directory, or takes a file: true when the dialog is done.
bool take(FileDialog* d, const fs::path& target) {
  std::error_code error;
  if (fs::is_directory(target, error)) {
    d->directory = fs::weakly_canonical(target, error);
    show_directory(d);
    return false;
  }
  d->chosen = to_utf8(target);
  return true;
}

void on_list(Form* form, int item) {
  FileDialog* d = g_dialog;
  int row = form_list_selected(form, item);
  if (row < 0 || row >= static_cast<int>(d->entries.size())) return;
  const FileEntry& e = d->entries[row];
  fs::path target = e.drive ? from_utf8(e.name) : e.name == ".." ? d->directory.parent_path() : d->directory / from_utf8(e.name);
  if (take(d, target)) form_end(form, 1);
}

// A typed name: a mask changes the listing, a directory is entered, anything else is the
// file chosen (relative names are taken in the current directory).
void on_name(Form* form, int) {
  FileDialog* d = g_dialog;
  std::string typed = d->name;
  while (!typed.empty() && typed.back() == ' ') typed.pop_back();
  if (typed.empty()) return;
  std::string utf8 = cp866_to_utf8(typed);
  if (utf8.find_first_of("*?") != std::string::npos) {
    fs::path p = from_utf8(utf8);
    if (p.has_parent_path()) d->directory = d->directory / p.parent_path();
    d->mask = to_utf8(p.filename());
    show_directory(d);
    return;
  }
  fs::path target = from_utf8(utf8);
  if (target.is_relative()) target = d->directory / target;
  if (take(d, target)) form_end(form, 1);
  else d->name[0] = '\0';
}

void on_open(Form* form, int) {
  if (g_dialog->name[0] != '\0' && g_dialog->name[0] != ' ') on_name(form, 0);
  else on_list(form, g_dialog->list_item);
}

}  // namespace

bool mask_matches(const char* mask, const char* name) {
  if (*mask == '\0') return *name == '\0';
  if (*mask == '*') {
    for (const char* p = name;; p++) {
      if (mask_matches(mask + 1, p)) return true;
      if (*p == '\0') return false;
    }
  }
  if (*name == '\0') return false;
  if (*mask != '?' && fold(*mask) != fold(*name)) return false;
  return mask_matches(mask + 1, name + 1);
}

int file_list(const std::string& directory, const char* mask, std::vector<FileEntry>* out) {
  out->clear();
  std::error_code error;
  fs::path dir = from_utf8(directory.empty() ? "." : directory);
  fs::directory_iterator it(dir, error);
  if (error) return 1;
  std::vector<FileEntry> dirs, files;
  for (; it != fs::directory_iterator(); it.increment(error)) {
    if (error) break;
    std::string name = to_utf8(it->path().filename());
    std::error_code kind_error;
    if (it->is_directory(kind_error)) dirs.push_back(FileEntry{name, true, false});
    else if (mask_matches(mask, name.c_str())) files.push_back(FileEntry{name, false, false});
  }
  auto by_name = [](const FileEntry& a, const FileEntry& b) { return a.name < b.name; };
  std::sort(dirs.begin(), dirs.end(), by_name);
  std::sort(files.begin(), files.end(), by_name);
  fs::path absolute = fs::absolute(dir, error);
  if (absolute.has_relative_path() && absolute.relative_path() != absolute.root_path()) out->push_back(FileEntry{"..", true, false});
  out->insert(out->end(), dirs.begin(), dirs.end());
  out->insert(out->end(), files.begin(), files.end());
  if (HAS_DRIVES)
    for (char letter = 'C'; letter <= 'Z'; letter++) {
      std::string root = std::string(1, letter) + ":\\";
      std::error_code drive_error;
      if (fs::exists(from_utf8(root), drive_error)) out->push_back(FileEntry{root, true, true});
    }
  return 0;
}

int file_dialog(const char* mask, const std::string& start_directory, std::string* chosen) {
  auto* d = new FileDialog{};
  FileDialog* outer = g_dialog;
  g_dialog = d;
  d->mask = mask != nullptr && mask[0] != '\0' ? mask : "*";
  std::error_code error;
  d->directory = fs::absolute(from_utf8(start_directory.empty() ? "." : start_directory), error);
  std::memset(d->picture, '*', NAME_CAPACITY);
  int result = 1;
  d->directory = fs::weakly_canonical(d->directory, error);
  // The hints of the screen that called the dialog come back with it.
  const int hints_before = hint_current();
  uint32_t handle = window_open(3, 10, 21, 69, FRAME_DOUBLE, colour(ROLE_DIALOG_FRAME), colour(ROLE_DIALOG));
  if (handle != 0) {
    window_mark_dialog();
    window_set_title(message_text(MSG_FILE_CHOICE_TITLE), 2, colour(ROLE_DIALOG_FRAME));
    window_set_help(HELP_FILE_CHOICE);
    window_add_shadow(0x08);
    hint_select(HELP_FILE_CHOICE);
    form_begin(&d->form);
    form_add_label(&d->form, 1, 2, message_text(MSG_FILE_NAME));
    form_add_field(&d->form, 1, 13, d->name, d->picture, 40, on_name);
    d->list_item = form_add_list(&d->form, 4, 2, 10, entry_text, d, on_list);
    form_list_column(&d->form, d->list_item, "", 53);
    form_add_button(&d->form, 16, 12, message_text(MSG_FILE_OPEN), 0, on_open);
    form_add_button(&d->form, 16, 34, message_text(MSG_FILE_CANCEL), 0, nullptr);
    show_directory(d);
    d->form.focus = 1;
    int ended = form_run(&d->form);
    if (ended == 1 && !d->chosen.empty()) {
      *chosen = d->chosen;
      result = 0;
    }
    window_close();
    if (hints_before >= 0) hint_select(hint_set_at(hints_before)->lowest);
  }
  g_dialog = outer;
  delete d;
  return result;
}

}  // namespace tavrel
