// tavrel-sql: runs SQL statements on a kernel through the channel.
//   tavrel-sql [-N NODE] -U USER/PASSWORD [-c "STATEMENT;"]...
// Runs the statements of every -c text, or with none those read from standard input, each
// ending with a ";" outside quotes and comments (a last one without ";" is run as well; a
// procedure or trigger text ends with the ";" after its "end" and is executed, not selected). Rows
// are printed one per line, columns separated by " | ", NULL as nothing, CHAR columns (by
// DESC's declared types) without their trailing blanks; the fixed rows of the manager's
// catalogue statements are printed field by field. `execute "P"(...)` prints what the
// procedure printed, its OUT and INOUT parameters, its return value and the exception that
// left it (which counts as an error). Text is UTF-8 both ways: the session opens with the
// code page UTF-8. A failed statement prints "error CODE: TEXT" on standard error (the
// kernel's GETE text; a call's error adds its position), a text that did not translate one
// line per diagnostic, and the next statement runs. Exit status 0 when everything ran, 1
// after any error, 2 for bad arguments.
#include <cctype>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include "channel/channel.h"
#include "kernel/errors.h"
#include "protocol/bytes.h"
#include "protocol/codes.h"
#include "protocol/records.h"
#include "tools/sql/sql_output.h"

namespace {

using namespace tavrel;
using kernel::kernel_error_text;

constexpr uint16_t ANSWER_CAPACITY = 65535;
constexpr size_t NODE_MAX = 8;
constexpr int EXIT_ERROR = 1;
constexpr int EXIT_USAGE = 2;
// A statement that failed and whose failure has been shown already (an exception that left
// a procedure).
constexpr uint32_t FAILURE_SHOWN = 0xFFFFFFFF;

struct Options {
  std::string node;
  std::string connect;
  std::vector<std::string> texts;
};

struct Session {
  RequestBlock block{};
  bool open = false;
  std::vector<uint8_t> answer = std::vector<uint8_t>(ANSWER_CAPACITY);
};

// One statement splitter per text: quotes and comments hide the ";" inside them. A
// procedure or trigger statement runs on to the ";" after its closing "end", and "//"
// begins a comment inside it as it does in the procedure language.
struct Splitter {
  std::string pending;
  char quote = 0;  // ' or " while inside a quoted text
  bool line_comment = false;
  bool block_comment = false;
  char previous = 0;  // the last character of the current state, for "--", "/*" and "*/"
};

// A byte of a word: a Latin letter, or any byte of a UTF-8 letter (Russian keywords).
bool word_byte(char c) { return std::isalpha(static_cast<unsigned char>(c)) || static_cast<unsigned char>(c) >= 0x80; }

// The words of a text, Latin letters upper-cased, up to a count; names and quotes end a word.
std::vector<std::string> first_words(std::string_view text, size_t count) {
  std::vector<std::string> words;
  size_t i = 0;
  while (words.size() < count) {
    while (i < text.size() && (text[i] == ' ' || text[i] == '\t' || text[i] == '\r' || text[i] == '\n')) ++i;
    std::string word;
    while (i < text.size() && word_byte(text[i])) {
      word += static_cast<char>(std::toupper(static_cast<unsigned char>(text[i++])));
    }
    if (word.empty()) break;
    words.push_back(word);
  }
  return words;
}

// create [or replace] procedure|trigger, alter procedure, drop procedure|trigger: the
// statements the kernel stores itself, sent to be executed rather than selected.
bool is_routine_statement(std::string_view text, bool with_body_only) {
  const std::vector<std::string> w = first_words(text, 4);
  if (w.size() < 2) return false;
  size_t object = 1;
  if (w[0] == "CREATE" && w[1] == "OR" && w.size() >= 4 && w[2] == "REPLACE") object = 3;
  else if (w[0] != "CREATE" && w[0] != "ALTER" && (with_body_only || w[0] != "DROP")) return false;
  return object < w.size() && (w[object] == "PROCEDURE" || w[object] == "ПРОЦ" || w[object] == "TRIGGER");
}

// Whether a statement calls a procedure: its first word is EXECUTE or ВЫП (either case).
bool is_call_statement(std::string_view text) {
  size_t i = 0;
  while (i < text.size() && (text[i] == ' ' || text[i] == '\t' || text[i] == '\r' || text[i] == '\n')) ++i;
  text.remove_prefix(i);
  for (std::string_view word : {std::string_view("execute"), std::string_view("ВЫП"), std::string_view("вып")}) {
    if (text.size() < word.size()) continue;
    bool same = true;
    for (size_t k = 0; k < word.size() && same; ++k) {
      same = std::tolower(static_cast<unsigned char>(text[k])) == static_cast<unsigned char>(word[k]);
    }
    const bool ends = text.size() == word.size() ||
                      !(std::isalnum(static_cast<unsigned char>(text[word.size()])) || text[word.size()] == '_' ||
                        static_cast<unsigned char>(text[word.size()]) >= 0x80);
    if (same && ends) return true;
  }
  return false;
}

// Whether a text ends with the word END or КОН (blanks after it allowed).
bool ends_with_end(std::string_view text) {
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r' || text.back() == '\n')) {
    text.remove_suffix(1);
  }
  for (std::string_view word : {std::string_view("END"), std::string_view("КОН")}) {
    if (text.size() < word.size()) continue;
    std::string last(text.substr(text.size() - word.size()));
    for (char& c : last) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    if (last != word) continue;
    if (text.size() == word.size()) return true;
    const char before = text[text.size() - word.size() - 1];
    if (!(word_byte(before) || std::isdigit(static_cast<unsigned char>(before)) || before == '_')) return true;
  }
  return false;
}

int usage(const char* message) {
  if (message != nullptr) std::fprintf(stderr, "tavrel-sql: %s\n", message);
  std::fprintf(stderr, "usage: tavrel-sql [-N NODE] -U USER/PASSWORD [-c \"STATEMENT;\"]...\n");
  return EXIT_USAGE;
}

bool only_blanks(std::string_view text) {
  for (char c : text) {
    if (c != ' ' && c != '\t' && c != '\r' && c != '\n') return false;
  }
  return true;
}

int parse_options(int argc, char** argv, Options* options) {
  std::string user;
  for (int i = 1; i < argc; ++i) {
    const std::string_view arg = argv[i];
    if ((arg == "-N" || arg == "-U" || arg == "-c") && i + 1 == argc) return usage("an option lacks its value");
    if (arg == "-N") {
      options->node = argv[++i];
      if (options->node.size() > NODE_MAX) return usage("a node name has at most 8 characters");
    } else if (arg == "-U") {
      user = argv[++i];
    } else if (arg == "-c") {
      options->texts.emplace_back(argv[++i]);
    } else {
      return usage(nullptr);
    }
  }
  if (user.empty()) return usage("-U USER/PASSWORD is required");
  if (!connect_string(user, &options->connect)) return usage("-U takes USER/PASSWORD");
  return 0;
}

// Feeds text to the splitter and appends each statement it completes (with its ";").
void split_feed(Splitter* s, std::string_view text, std::vector<std::string>* out) {
  for (char c : text) {
    s->pending += c;
    const char previous = s->previous;
    s->previous = c;
    if (s->quote != 0) {
      if (c == s->quote) s->quote = 0;
    } else if (s->line_comment) {
      if (c == '\n') s->line_comment = false;
    } else if (s->block_comment) {
      if (previous == '*' && c == '/') {
        s->block_comment = false;
        s->previous = 0;
      }
    } else if (c == '\'' || c == '"') {
      s->quote = c;
    } else if (previous == '-' && c == '-') {
      s->line_comment = true;
    } else if (previous == '/' && c == '/' && is_routine_statement(s->pending, true)) {
      s->line_comment = true;
    } else if (previous == '/' && c == '*') {
      s->block_comment = true;
      s->previous = 0;  // "/*/" does not close the comment
    } else if (c == ';') {
      const std::string_view before = std::string_view(s->pending).substr(0, s->pending.size() - 1);
      if (is_routine_statement(before, true) && !ends_with_end(before)) continue;
      if (!only_blanks(std::string_view(s->pending).substr(0, s->pending.size() - 1))) out->push_back(s->pending);
      s->pending.clear();
    }
  }
}

// The unfinished statement at the end of a text, given its ";".
void split_finish(Splitter* s, std::vector<std::string>* out) {
  if (!only_blanks(s->pending)) out->push_back(s->pending + (s->line_comment ? "\n;" : ";"));
  *s = Splitter{};
}

// The channel's own codes, which no kernel can explain.
const char* channel_text(uint32_t code) {
  switch (code) {
    case CHANNEL_UNKNOWN_COMMAND: return "Неизвестная команда";
    case CHANNEL_NOT_REACHED: return "Ядро СУБД недоступно";
    case CHANNEL_EXCHANGE_FAILED: return "Сбой обмена с ядром СУБД";
    case CHANNEL_SEND_FAILED: return "Запрос не передан ядру СУБД";
    case CHANNEL_CONNECTION_LOST: return "Связь с ядром СУБД потеряна";
    case CHANNEL_NO_SEMICOLON_1:
    case CHANNEL_NO_SEMICOLON_2:
    case CHANNEL_NO_SEMICOLON_3: return "Нет \";\" в тексте запроса";
    case CHANNEL_ANSWER_TOO_LONG: return "Ответ не помещается в буфер";
    case CHANNEL_MISSING_BUFFER: return "Не задан буфер запроса";
    default: return nullptr;
  }
}

// The text of a code: the session's GETE when there is a session and the kernel has a
// text, else the kernel's and the channel's own tables.
std::string error_text(Session* s, uint32_t code) {
  if (s->open) {
    RequestBlock b = s->block;
    std::memcpy(b.command, "GETE", 4);
    b.position = code;
    b.answer_length = GETE_ANSWER;
    std::vector<char> text(GETE_ANSWER);
    if (channel_call(&b, nullptr, nullptr, nullptr, text.data()) == 0 && b.answer_length != 0) {
      return std::string(text.data(), b.answer_length);
    }
  }
  if (const char* text = kernel_error_text(code)) return text;
  if (const char* text = channel_text(code)) return text;
  return "Неизвестная ошибка";
}

void print_lines(std::FILE* to, const std::vector<std::string>& lines) {
  for (const std::string& line : lines) std::fprintf(to, "%s\n", line.c_str());
}

// A text that did not translate: one line per diagnostic of GETE 7200.
bool report_translation(Session* s) {
  RequestBlock b = s->block;
  std::memcpy(b.command, "GETE", 4);
  b.position = KERNEL_TRANSLATION_ERRORS;
  b.answer_length = GETE_ANSWER;
  std::vector<uint8_t> answer(GETE_ANSWER);
  if (channel_call(&b, nullptr, nullptr, nullptr, answer.data()) != 0) return false;
  std::vector<std::string> lines;
  translation_error_lines({answer.data(), b.answer_length}, &lines);
  if (lines.empty()) return false;
  std::fflush(stdout);
  print_lines(stderr, lines);
  std::fflush(stderr);
  return true;
}

// A failed statement on standard error; a call's statement error with its position.
void report(Session* s, uint32_t code, bool call = false) {
  if (code == FAILURE_SHOWN) return;
  if (code == KERNEL_TRANSLATION_ERRORS && s->open && report_translation(s)) return;
  const uint32_t system_code = s->block.system_code;
  const std::string text = error_text(s, code);
  std::fflush(stdout);
  if (call && code >= KERNEL_STATEMENT_FIRST && code <= KERNEL_STATEMENT_LAST) {
    std::fprintf(stderr, "error %u: %s (position %u)\n", code, text.c_str(), system_code >> 16);
  } else {
    std::fprintf(stderr, "error %u: %s\n", code, text.c_str());
  }
  std::fflush(stderr);
}


// CHAR, CHARACTER and NCHAR, with or without a length; VARCHAR is not blank-padded.
bool is_char_type(std::string_view type) {
  std::string word;
  for (char c : type) {
    if (c == '(' || c == ' ') break;
    word += static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
  }
  return word == "CHAR" || word == "CHARACTER" || word == "NCHAR";
}

// Which columns of the session's open select are CHAR, from DESC. Returns DESC's code;
// char_columns stays empty unless it is 0.
uint32_t describe(const Session& s, std::vector<bool>* char_columns) {
  RequestBlock b = s.block;
  std::memcpy(b.command, "DESC", 4);
  b.answer_length = ANSWER_CAPACITY;
  std::vector<uint8_t> answer(ANSWER_CAPACITY);
  const uint32_t code = channel_call(&b, nullptr, nullptr, nullptr, answer.data());
  if (code != 0) return code;
  std::vector<RowField> fields;
  if (row_fields_read(std::span<const uint8_t>(answer.data(), b.answer_length), &fields) != 0 ||
      fields.size() != size_t{b.argument} * 2) {
    return CHANNEL_EXCHANGE_FAILED;
  }
  for (size_t i = 1; i < fields.size(); i += 2) char_columns->push_back(is_char_type(fields[i].text));
  return 0;
}

// Prints the rows of one answer, split by the select's column count; false when the answer
// does not hold whole rows.
bool print_rows(const Session& s, const std::vector<bool>& char_columns) {
  std::vector<RowField> fields;
  const size_t columns = char_columns.size();
  if (row_fields_read(std::span<const uint8_t>(s.answer.data(), s.block.answer_length), &fields) != 0 ||
      columns == 0 || fields.empty() || fields.size() % columns != 0) {
    return false;
  }
  std::string line;
  for (size_t r = 0; r < fields.size() / columns; ++r) {
    line.clear();
    for (size_t c = 0; c < columns; ++c) {
      const RowField& f = fields[r * columns + c];
      std::string_view text = f.text;
      if (char_columns[c]) {
        while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
      }
      if (c != 0) line += " | ";
      line += text;
    }
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), stdout);
  }
  return true;
}

// Prints the fixed rows of a catalogue answer (their size in the answer word); false when
// the answer does not hold whole rows of a known size.
bool print_catalogue_rows(const Session& s) {
  const size_t size = s.block.answer_word;
  if (size == 0 || s.block.answer_length % size != 0) return false;
  std::string line;
  for (size_t at = 0; at < s.block.answer_length; at += size) {
    if (!catalogue_row_line({s.answer.data() + at, size}, &line)) return false;
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), stdout);
  }
  return true;
}

// Runs an execute call and prints its result; an exception that left the procedure counts
// as a failure, shown with the result.
uint32_t run_call(Session* s, const std::string& statement) {
  std::memcpy(s->block.command, "    ", 4);
  s->block.answer_length = ANSWER_CAPACITY;
  const uint32_t code = channel_call(&s->block, nullptr, statement.c_str(), nullptr, s->answer.data());
  if (code != 0) return code;
  std::vector<std::string> lines;
  bool exception = false;
  if (call_result_lines({s->answer.data(), s->block.answer_length}, &lines, &exception) != 0) {
    return CHANNEL_EXCHANGE_FAILED;
  }
  print_lines(stdout, lines);
  return exception ? FAILURE_SHOWN : 0;
}

// Runs one statement (with its ";") as a select and prints its rows; a statement that gives
// no rows ends with code 2 at once. The select stays open after its first answer, so DESC
// gives its columns. Returns 0 or the failing code.
uint32_t run_statement(Session* s, const std::string& statement) {
  if (is_call_statement(statement)) return run_call(s, statement);
  if (is_routine_statement(statement, false)) {
    std::memcpy(s->block.command, "    ", 4);
    s->block.answer_length = ANSWER_CAPACITY;
    return channel_call(&s->block, nullptr, statement.c_str(), nullptr, s->answer.data());
  }
  std::memcpy(s->block.command, "SLCT", 4);
  s->block.answer_length = ANSWER_CAPACITY;
  uint32_t code = channel_call(&s->block, nullptr, statement.c_str(), nullptr, s->answer.data());
  if (code == KERNEL_NO_MORE_ROWS) return 0;
  if (code != 0) return code;
  // The manager's catalogue statements answer in fixed rows, which DESC does not describe.
  if (s->block.answer_word != 0) {
    for (;;) {
      if (!print_catalogue_rows(*s)) return CHANNEL_EXCHANGE_FAILED;
      std::memcpy(s->block.command, "GETN", 4);
      s->block.answer_length = ANSWER_CAPACITY;
      code = channel_call(&s->block, nullptr, nullptr, nullptr, s->answer.data());
      if (code == KERNEL_NO_MORE_ROWS) return 0;
      if (code != 0) return code;
    }
  }
  // DESC works on a copy of the block: the first answer stays in place.
  std::vector<bool> char_columns;
  if (const uint32_t described = describe(*s, &char_columns)) return described;
  for (;;) {
    if (!print_rows(*s, char_columns)) return CHANNEL_EXCHANGE_FAILED;
    std::memcpy(s->block.command, "GETN", 4);
    s->block.answer_length = ANSWER_CAPACITY;
    code = channel_call(&s->block, nullptr, nullptr, nullptr, s->answer.data());
    if (code == KERNEL_NO_MORE_ROWS) return 0;
    if (code != 0) return code;
  }
}

int run_all(Session* s, const std::vector<std::string>& statements) {
  int status = 0;
  for (const std::string& statement : statements) {
    if (const uint32_t code = run_statement(s, statement)) {
      report(s, code, is_call_statement(statement));
      status = EXIT_ERROR;
    }
  }
  std::fflush(stdout);
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (const int rc = parse_options(argc, argv, &options)) return rc;

  Session s;
  std::memset(s.block.node, ' ', NODE_MAX);
  std::memcpy(s.block.node, options.node.data(), options.node.size());
  std::memcpy(s.block.command, "OPEN", 4);
  char codepage[] = "UTF-8";
  if (const uint32_t code = channel_call(&s.block, options.connect.c_str(), nullptr, codepage, nullptr)) {
    report(&s, code);
    channel_shutdown();
    return EXIT_ERROR;
  }
  s.open = true;

  int status = 0;
  if (!options.texts.empty()) {
    for (const std::string& text : options.texts) {
      Splitter splitter;
      std::vector<std::string> statements;
      split_feed(&splitter, text, &statements);
      split_finish(&splitter, &statements);
      if (run_all(&s, statements) != 0) status = EXIT_ERROR;
    }
  } else {
    // Each statement runs as soon as its ";" has been read.
    Splitter splitter;
    std::string line;
    std::vector<std::string> statements;
    while (std::getline(std::cin, line)) {
      line += '\n';
      statements.clear();
      split_feed(&splitter, line, &statements);
      if (run_all(&s, statements) != 0) status = EXIT_ERROR;
    }
    statements.clear();
    split_finish(&splitter, &statements);
    if (run_all(&s, statements) != 0) status = EXIT_ERROR;
  }

  std::memcpy(s.block.command, "CLOS", 4);
  channel_call(&s.block, nullptr, nullptr, nullptr, nullptr);
  channel_shutdown();
  return status;
}
