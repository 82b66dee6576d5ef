// "*.prc" files: the byte-level reader and the writer, the file operations over them, and
// the editor's commands that choose a file, read it into the editor or write the text to
// it. A failure is told in a message box and leaves the editor's text as it was: a file
// is read into a fresh table that replaces the text only when the whole file was read.
#include "editor/prc_file.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "text/unicode.h"
#include "editor/editor.h"
#include "tui/filedlg.h"
#include "tui/messages.h"
#include "tui/msgbox.h"

namespace tavrel {

namespace fs = std::filesystem;

namespace {

constexpr const char* PRC_MASK = "*.prc";
constexpr const char* PRC_EXTENSION = ".prc";
constexpr const char* TEMPORARY_SUFFIX = ".tmp";
constexpr int FILE_TAB_WIDTH = 8;
constexpr int SHOWN_PATH_MAX = 70;

// The texts of the file failures, by status ("%s" is the file's name; "%%" breaks a line).
struct FileMessage {
  int status;
  const char* utf8;
};
const FileMessage FILE_MESSAGES[] = {
    {PRC_OPEN_FAILED, "Не удалось открыть файл%%%s"},
    {PRC_NO_MEMORY, "Недостаточно памяти для чтения файла%%%s%%Текст в окне не изменен"},
    {PRC_WRITE_FAILED, "Не удалось записать файл%%%s%%Текст в окне сохранен, файл не изменен"},
    {PRC_READ_FAILED, "Ошибка чтения файла%%%s%%Текст в окне не изменен"},
};

fs::path native(const std::string& utf8) { return fs::path(std::u8string(utf8.begin(), utf8.end())); }

void file_message(int status, const std::string& path) {
  for (const FileMessage& m : FILE_MESSAGES) {
    if (m.status != status) continue;
    std::string shown = utf8_to_cp866(path);
    if (shown.size() > static_cast<size_t>(SHOWN_PATH_MAX)) shown = "..." + shown.substr(shown.size() - SHOWN_PATH_MAX + 3);
    std::string format = utf8_to_cp866(m.utf8);
    char text[512];
    std::snprintf(text, sizeof text, format.c_str(), shown.c_str());
    msgbox_info(text);
    return;
  }
}

// Builds one file line's pieces.
struct Piece {
  char cells[LINE_CELLS];
  int length = 0;
};

bool rest_is_blank(const char* data, size_t from, size_t end) {
  for (size_t i = from; i < end; i++)
    if (data[i] != ' ' && data[i] != '\t' && data[i] != '\0') return false;
  return true;
}

int choose(const char* mask, bool for_writing, const Editor* e, std::string* path) {
  if (editor_hooks().choose_file != nullptr) return editor_hooks().choose_file(mask, for_writing, path);
  std::string directory;
  if (!e->file_path.empty()) {
    std::error_code error;
    fs::path parent = native(e->file_path).parent_path();
    std::u8string text = parent.u8string();
    if (!parent.empty() && fs::is_directory(parent, error)) directory.assign(text.begin(), text.end());
  }
  return file_dialog(mask, directory, path);
}

}  // namespace

int prc_parse(const char* data, size_t size, EditorText* out, bool* wrapped) {
  *wrapped = false;
  int line = 0;
  size_t i = 0;
  while (i < size) {
    size_t end = i;
    while (end < size && data[end] != '\n' && data[end] != '\r') end++;
    Piece piece;
    int column = 0;  // the column in the file's line, for the tab stops
    bool stop = false;
    for (size_t k = i; k < end && !stop; k++) {
      char ch = data[k];
      int copies = 1;
      if (ch == '\t') copies = FILE_TAB_WIDTH - column % FILE_TAB_WIDTH;
      if (ch == '\t' || ch == '\0') ch = ' ';
      for (int n = 0; n < copies && !stop; n++, column++) {
        if (piece.length == LINE_CELLS) {
          // A full piece continues in the next line, unless only blanks remain.
          if (ch == ' ' && rest_is_blank(data, k + 1, end)) {
            stop = true;
            break;
          }
          if (text_set_line(out, line++, piece.cells, piece.length) != TEXT_OK) return PRC_NO_MEMORY;
          piece.length = 0;
          *wrapped = true;
        }
        piece.cells[piece.length++] = ch;
      }
    }
    if (text_set_line(out, line++, piece.cells, piece.length) != TEXT_OK) return PRC_NO_MEMORY;
    // CR LF is one line end.
    if (end < size) end += data[end] == '\r' && end + 1 < size && data[end + 1] == '\n' ? 2 : 1;
    i = end;
  }
  return PRC_OK;
}

int prc_read_file(const std::string& path, EditorText* out, bool* wrapped) {
  *wrapped = false;
  std::ifstream in(native(path), std::ios::binary);
  if (!in) return PRC_OPEN_FAILED;
  in.seekg(0, std::ios::end);
  std::streamoff size = in.tellg();
  in.seekg(0, std::ios::beg);
  if (size < 0 || !in) return PRC_READ_FAILED;
  auto* data = static_cast<char*>(std::malloc(static_cast<size_t>(size) + 1));
  if (data == nullptr) return PRC_NO_MEMORY;
  in.read(data, static_cast<std::streamsize>(size));
  int status = in.gcount() == size ? prc_parse(data, static_cast<size_t>(size), out, wrapped) : PRC_READ_FAILED;
  std::free(data);
  return status;
}

int prc_write(const EditorText* text, std::ostream& out) {
  int pending_empty = 0;
  for (int i = 0; i < text->capacity; i++) {
    int n = text_length(text, i);
    if (n == 0) {
      pending_empty++;
      continue;
    }
    for (; pending_empty > 0; pending_empty--) out.put('\n');
    out.write(text_line(text, i), n);
    out.put('\n');
  }
  out.flush();
  return out.good() ? PRC_OK : PRC_WRITE_FAILED;
}

int prc_write_file(const EditorText* text, const std::string& path) {
  fs::path target = native(path);
  fs::path temporary = native(path + TEMPORARY_SUFFIX);
  std::error_code error;
  {
    // Text mode: the system's line ends.
    std::ofstream out(temporary);
    if (!out) return PRC_WRITE_FAILED;
    int status = prc_write(text, out);
    out.close();
    if (status != PRC_OK || out.fail()) {
      fs::remove(temporary, error);
      return PRC_WRITE_FAILED;
    }
  }
  fs::rename(temporary, target, error);
  if (error) {
    fs::remove(temporary, error);
    return PRC_WRITE_FAILED;
  }
  return PRC_OK;
}

int editor_load_file(Editor* e, const std::string& path) {
  EditorText fresh{nullptr, 0};
  bool wrapped = false;
  int status = text_init(&fresh) == TEXT_OK ? prc_read_file(path, &fresh, &wrapped) : PRC_NO_MEMORY;
  if (status != PRC_OK) {
    text_free(&fresh);
    file_message(status, path);
    return status;
  }
  editor_set_text(e, &fresh);
  text_free(&fresh);
  e->file_path = path;
  editor_draw(e);
  if (wrapped) msgbox_info(message_text(MSG_LONG_LINES_WRAPPED));
  return PRC_OK;
}

int editor_save_file(Editor* e, const std::string& path) {
  int status = prc_write_file(&e->text, path);
  if (status != PRC_OK) {
    file_message(status, path);
    return status;
  }
  e->file_path = path;
  return PRC_OK;
}

int editor_write_file_dialog(Editor* e) {
  std::string path;
  if (choose(PRC_MASK, true, e, &path) != 0 || path.empty()) return PRC_CANCELLED;
  // A name typed without an extension gets the procedure files' one.
  if (!native(path).has_extension()) path += PRC_EXTENSION;
  return editor_save_file(e, path);
}

int editor_read_file_dialog(Editor* e) {
  std::string path;
  if (choose(PRC_MASK, false, e, &path) != 0 || path.empty()) return PRC_CANCELLED;
  return editor_load_file(e, path);
}

}  // namespace tavrel
