// Reading an `execute` statement into a call request: a small scanner over CP866 bytes, one
// function per rule of the grammar in execute_call.h. Every failure names the offset where
// the statement stops making sense.
#include "kernel/execute_call.h"

#include <string>

#include "kernel/frame.h"
#include "kernel/proc_header.h"
#include "kernel/text.h"
#include "protocol/codes.h"
#include "protocol/exec_result.h"
#include "text/codepage.h"
#include "text/unicode.h"

namespace tavrel::kernel {

namespace {

// The words of the grammar, upper case, CP866.
constexpr std::string_view WORD_EXECUTE = "EXECUTE";
constexpr std::string_view WORD_EXECUTE_RU = "\x82\x9b\x8f";  // ВЫП
constexpr std::string_view WORD_NULL = "NULL";

struct CallErrorText {
  uint32_t code;
  const char* text;  // UTF-8
  bool names_procedure;  // the procedure's name follows the text
};
constexpr CallErrorText CALL_ERROR_TEXTS[] = {
    {KERNEL_CALL_SYNTAX, "Неверная запись вызова: ожидается execute \"ИМЯ\"(аргументы)", false},
    {KERNEL_CALL_NAME, "Неверное имя процедуры в вызове", false},
    {KERNEL_CALL_LITERAL, "Аргумент вызова не является константой", false},
    {KERNEL_CALL_TOO_MANY, "Слишком много аргументов в вызове", false},
    {KERNEL_CALL_UNKNOWN_PROCEDURE, "Процедура не найдена: ", true},
    {KERNEL_CALL_ARGUMENT_COUNT, "Число аргументов не совпадает с числом входных параметров процедуры ", true},
    {KERNEL_CALL_BAD_ARGUMENT, "Значение аргумента не подходит к типу параметра процедуры ", true},
};

struct Truth {
  std::string_view word;
  bool value;
};
constexpr Truth TRUTH_WORDS[] = {
    {"TRUE", true},
    {"FALSE", false},
    {"\x88\x91\x92\x88\x8d\x80", true},  // ИСТИНА
    {"\x8b\x8e\x86\x9c", false},          // ЛОЖЬ
};

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }
bool is_digit(char c) { return c >= '0' && c <= '9'; }

// Letters of an identifier: ASCII letters, digits, "_", "$", "#", and the CP866 letters
// (0x80-0xAF, 0xE0-0xF7).
bool is_word_char(char ch) {
  const auto c = static_cast<uint8_t>(ch);
  if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || is_digit(ch)) return true;
  if (c == '_' || c == '$' || c == '#') return true;
  return (c >= 0x80 && c <= 0xAF) || (c >= 0xE0 && c <= 0xF7);
}

std::string upper(std::string_view word) {
  std::string out(word);
  for (char& c : out) c = static_cast<char>(CP866_UPPER[static_cast<uint8_t>(c)]);
  return out;
}

struct Scanner {
  std::string_view text;
  size_t at = 0;

  bool at_end() const { return at >= text.size(); }
  char peek(size_t ahead = 0) const { return at + ahead < text.size() ? text[at + ahead] : '\0'; }
  void skip_blanks() {
    while (!at_end() && is_blank(text[at])) ++at;
  }
  std::string_view word() {
    const size_t start = at;
    while (!at_end() && is_word_char(text[at])) ++at;
    return text.substr(start, at - start);
  }
};

struct Failure {
  uint32_t code;
  uint32_t position;
};

// A number may not run into a word, a point or a quote: "12abc" is no literal. What else
// follows it is the list's to judge.
bool ends_token(const Scanner& s) {
  return !is_word_char(s.peek()) && s.peek() != '.' && s.peek() != '\'';
}

// number := ["+" | "-"] digits ["." digits] [("E" | "e") ["+" | "-"] digits], or with the
// digits only after the point.
bool read_number(Scanner& s, std::string* out) {
  const size_t start = s.at;
  if (s.peek() == '+' || s.peek() == '-') ++s.at;
  size_t digits = 0;
  for (; is_digit(s.peek()); ++s.at) ++digits;
  if (s.peek() == '.') {
    ++s.at;
    for (; is_digit(s.peek()); ++s.at) ++digits;
  }
  if (digits == 0) return false;
  if (s.peek() == 'E' || s.peek() == 'e') {
    ++s.at;
    if (s.peek() == '+' || s.peek() == '-') ++s.at;
    if (!is_digit(s.peek())) return false;
    while (is_digit(s.peek())) ++s.at;
  }
  if (!ends_token(s)) return false;
  out->assign(s.text.substr(start, s.at - start));
  return true;
}

// text := "'" {character | "''"} "'"; the scanner stands on the opening quote.
bool read_quoted(Scanner& s, std::string* out) {
  out->clear();
  ++s.at;
  while (!s.at_end()) {
    const char c = s.text[s.at++];
    if (c != '\'') {
      *out += c;
    } else if (s.peek() == '\'') {
      *out += '\'';
      ++s.at;
    } else {
      return true;
    }
  }
  return false;
}

int read_literal(Scanner& s, CallLiteral* out, Failure* failure) {
  *out = CallLiteral{LiteralKind::NULL_VALUE, {}, false, static_cast<uint32_t>(s.at)};
  const char c = s.peek();
  if (c == '\'' || ((c == 'N' || c == 'n') && s.peek(1) == '\'')) {
    out->kind = c == '\'' ? LiteralKind::TEXT : LiteralKind::NTEXT;
    if (c != '\'') ++s.at;
    if (read_quoted(s, &out->text)) return 0;
    *failure = {KERNEL_CALL_LITERAL, out->position};
    return 1;
  }
  if (c == '+' || c == '-' || c == '.' || is_digit(c)) {
    out->kind = LiteralKind::NUMBER;
    if (read_number(s, &out->text)) return 0;
    *failure = {KERNEL_CALL_LITERAL, out->position};
    return 1;
  }
  const std::string word = upper(s.word());
  if (word == WORD_NULL) return 0;
  for (const Truth& t : TRUTH_WORDS) {
    if (word == t.word) {
      out->kind = LiteralKind::BOOL;
      out->truth = t.value;
      return 0;
    }
  }
  *failure = {KERNEL_CALL_LITERAL, out->position};
  return 1;
}

// name := '"' characters '"' | identifier
int read_name(Scanner& s, CallRequest* out, Failure* failure) {
  const size_t start = s.at;
  out->name_position = static_cast<uint32_t>(start);
  if (s.peek() == '"') {
    const size_t close = s.text.find('"', start + 1);
    if (close == std::string_view::npos) {
      *failure = {KERNEL_CALL_NAME, static_cast<uint32_t>(start)};
      return 1;
    }
    out->procedure.assign(s.text.substr(start + 1, close - start - 1));
    s.at = close + 1;
  } else {
    out->procedure = upper(s.word());
  }
  if (out->procedure.empty() || out->procedure.size() > OBJECT_NAME_MAX ||
      out->procedure.find_first_of("\r\n") != std::string::npos) {
    *failure = {KERNEL_CALL_NAME, static_cast<uint32_t>(start)};
    return 1;
  }
  return 0;
}

// "(" [literal {"," literal}] ")"; the scanner stands on the "(".
int read_arguments(Scanner& s, CallRequest* out, Failure* failure) {
  ++s.at;
  s.skip_blanks();
  if (s.peek() == ')') {
    ++s.at;
    return 0;
  }
  for (;;) {
    s.skip_blanks();
    if (out->args.size() == PARAMS_MAX) {
      *failure = {KERNEL_CALL_TOO_MANY, static_cast<uint32_t>(s.at)};
      return 1;
    }
    CallLiteral literal;
    if (read_literal(s, &literal, failure) != 0) return 1;
    out->args.push_back(std::move(literal));
    s.skip_blanks();
    if (s.peek() == ')') {
      ++s.at;
      return 0;
    }
    if (s.peek() != ',') {
      *failure = {KERNEL_CALL_SYNTAX, static_cast<uint32_t>(s.at)};
      return 1;
    }
    ++s.at;
  }
}

// What may follow the call: blanks, one ";", and the padding of the statement (blanks and
// NULs).
bool only_end_left(Scanner& s) {
  s.skip_blanks();
  if (s.peek() == ';') ++s.at;
  while (!s.at_end() && (is_blank(s.peek()) || s.peek() == '\0')) ++s.at;
  return s.at_end();
}

}  // namespace

bool execute_call_is(std::string_view cp866) {
  Scanner s{cp866};
  s.skip_blanks();
  const std::string word = upper(s.word());
  return word == WORD_EXECUTE || word == WORD_EXECUTE_RU;
}

uint32_t execute_call_parse(std::string_view cp866, CallRequest* out, uint32_t* position) {
  *out = CallRequest{};
  *position = 0;
  Scanner s{cp866};
  s.skip_blanks();
  const size_t verb = s.at;
  const std::string word = upper(s.word());
  Failure failure{KERNEL_CALL_SYNTAX, static_cast<uint32_t>(verb)};
  int failed = word == WORD_EXECUTE || word == WORD_EXECUTE_RU ? 0 : 1;
  if (failed == 0) {
    s.skip_blanks();
    failed = read_name(s, out, &failure);
  }
  if (failed == 0) {
    s.skip_blanks();
    if (s.peek() == '(') failed = read_arguments(s, out, &failure);
  }
  if (failed == 0 && !only_end_left(s)) {
    failure = {KERNEL_CALL_SYNTAX, static_cast<uint32_t>(s.at)};
    failed = 1;
  }
  if (failed == 0) return 0;
  *position = failure.position;
  return failure.code;
}

}  // namespace tavrel::kernel

namespace tavrel::kernel {

namespace {

std::string session_text(const std::string& cp866, uint16_t codepage) {
  return codepage == CODEPAGE_866 ? cp866 : text_from_utf8(cp866_to_utf8(cp866), codepage);
}

}  // namespace

int execute_call_answer(const ExecOutcome& outcome, uint16_t codepage, std::vector<uint8_t>* out) {
  ExecResult result;
  result.exception = outcome.exception;
  if (outcome.exception != 0) result.exception_name = session_text(outcome.exception_name, codepage);
  result.messages.reserve(outcome.messages.size());
  for (const std::string& m : outcome.messages) result.messages.push_back(session_text(m, codepage));
  for (const NamedValue& v : outcome.outputs) result.outputs.push_back({session_text(v.name, codepage), v.wire});
  if (outcome.has_result) {
    result.flags |= EXEC_RESULT_HAS_VALUE;
    result.value = outcome.result;
  }
  return exec_result_write(result, ROW_MAX, out);
}

std::string execute_call_error(uint32_t code, std::string_view procedure) {
  for (const CallErrorText& e : CALL_ERROR_TEXTS) {
    if (e.code == code) return e.names_procedure ? e.text + std::string(procedure) : std::string(e.text);
  }
  return {};
}

const char* execute_call_error_text(uint32_t code) {
  for (const CallErrorText& e : CALL_ERROR_TEXTS) {
    if (e.code == code && !e.names_procedure) return e.text;
  }
  return nullptr;
}

}  // namespace tavrel::kernel
