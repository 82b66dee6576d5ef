// Scanning embedded SQL statements of procedure texts (see embedded_sql.h).
#include "kernel/engine/embedded_sql.h"

#include <array>

namespace tavrel::kernel {

namespace {

bool is_word_byte(unsigned char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' ||
         c == '$' || c == '#' || c >= 0x80;
}

bool is_blank(unsigned char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

std::string upper_latin(std::string_view w) {
  std::string u(w);
  for (char& c : u) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
  }
  return u;
}

struct SqlWord {
  const char* word;
  SqlKind kind;
};

// First words that make a statement embedded SQL.
constexpr std::array<SqlWord, 10> SQL_WORDS = {{
    {"SELECT", SqlKind::SELECT},
    {"INSERT", SqlKind::INSERT},
    {"UPDATE", SqlKind::UPDATE},
    {"DELETE", SqlKind::DELETE},
    {"WITH", SqlKind::OTHER},
    {"REPLACE", SqlKind::INSERT},
    {"CREATE", SqlKind::OTHER},
    {"DROP", SqlKind::OTHER},
    {"VALUES", SqlKind::OTHER},
    {"PRAGMA", SqlKind::OTHER},
}};

}  // namespace

SqlKind sql_kind_of(std::string_view first_word) {
  for (const SqlWord& w : SQL_WORDS) {
    if (first_word == w.word) return w.kind;
  }
  return SqlKind::OTHER;
}

bool is_sql_word(std::string_view first_word) {
  for (const SqlWord& w : SQL_WORDS) {
    if (first_word == w.word) return true;
  }
  return false;
}

void scan_embedded_sql(std::string_view text, uint32_t start, const UnitSymbols& symbols,
                       int ignore_variable, SqlScan* out) {
  *out = SqlScan{};
  size_t i = start;
  int depth = 0;
  bool first_word = true;
  bool is_select = false;
  auto fail = [&](int number, size_t at) {
    if (out->diagnostic < 0) {
      out->diagnostic = number;
      out->diagnostic_at = static_cast<uint32_t>(at);
    }
  };
  while (i < text.size()) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
    if (c == ';' && depth == 0) {
      ++i;
      break;
    }
    if (c == '\'' || c == '"') {
      // A literal or a quoted name: copied as it stands ('' and "" stay inside).
      size_t j = i + 1;
      while (j < text.size()) {
        if (static_cast<unsigned char>(text[j]) == c) {
          if (j + 1 < text.size() && static_cast<unsigned char>(text[j + 1]) == c) {
            j += 2;
            continue;
          }
          break;
        }
        ++j;
      }
      if (j < text.size()) ++j;
      out->cp866.append(text.substr(i, j - i));
      i = j;
      continue;
    }
    if (c == '/' && i + 1 < text.size() && text[i + 1] == '/') {
      // A comment of the procedure language: dropped up to the line end.
      while (i < text.size() && text[i] != '\n' && text[i] != '\r') ++i;
      continue;
    }
    if (c == '(') depth++;
    if (c == ')' && depth > 0) depth--;
    if (!is_word_byte(c) || (c >= '0' && c <= '9')) {
      if (c >= '0' && c <= '9') {
        // A number (with its exponent or suffix letters) is not a name.
        size_t j = i;
        while (j < text.size() && (is_word_byte(static_cast<unsigned char>(text[j])) || text[j] == '.')) ++j;
        out->cp866.append(text.substr(i, j - i));
        i = j;
        continue;
      }
      out->cp866.push_back(static_cast<char>(c));
      ++i;
      continue;
    }
    size_t j = i;
    while (j < text.size() && is_word_byte(static_cast<unsigned char>(text[j]))) ++j;
    const std::string_view raw = text.substr(i, j - i);
    const std::string word = upper_latin(raw);
    const bool qualified_part = i > start && text[i - 1] == '.';
    size_t k = j;
    while (k < text.size() && is_blank(static_cast<unsigned char>(text[k]))) ++k;
    const bool dot_follows = j < text.size() && text[j] == '.';
    if (first_word) {
      is_select = word == "SELECT";
      first_word = false;
      out->cp866.append(raw);
      i = j;
      continue;
    }
    if (is_select && depth == 0 && word == "INTO" && !qualified_part) {
      // select list INTO v1, v2 ... : the variables leave the text.
      out->has_into = true;
      size_t p = j;
      for (;;) {
        while (p < text.size() && is_blank(static_cast<unsigned char>(text[p]))) ++p;
        size_t q = p;
        while (q < text.size() && is_word_byte(static_cast<unsigned char>(text[q]))) ++q;
        uint8_t type = TYPE_NONE;
        int var = q > p ? symbols.find_variable(symbols.user, upper_latin(text.substr(p, q - p)), false, &type)
                        : -1;
        if (var < 0 || var == ignore_variable || type == TYPE_CURSOR) {
          fail(65, p);
          break;
        }
        out->into.push_back(var);
        p = q;
        while (p < text.size() && is_blank(static_cast<unsigned char>(text[p]))) ++p;
        if (p < text.size() && text[p] == ',') {
          ++p;
          continue;
        }
        break;
      }
      out->cp866.push_back(' ');
      i = p;
      continue;
    }
    uint8_t type = TYPE_NONE;
    int var = qualified_part ? -1 : symbols.find_variable(symbols.user, word, false, &type);
    if (var == ignore_variable) var = -1;
    if (var >= 0 && type == TYPE_CURSOR) {
      if (!dot_follows) {
        fail(47, i);
        out->cp866.append(raw);
        i = j;
        continue;
      }
      size_t p = j + 1;
      size_t q = p;
      bool quoted = p < text.size() && text[p] == '"';
      if (quoted) {
        q = p + 1;
        while (q < text.size() && text[q] != '"') ++q;
      } else {
        while (q < text.size() && is_word_byte(static_cast<unsigned char>(text[q]))) ++q;
      }
      const std::string column_name =
          quoted ? std::string(text.substr(p + 1, q - p - 1)) : upper_latin(text.substr(p, q - p));
      uint8_t column_type = TYPE_NONE;
      int column = symbols.find_column != nullptr
                       ? symbols.find_column(symbols.user, var, column_name, &column_type)
                       : -1;
      if (column < 0) fail(49, p);
      out->bindings.push_back(SqlBinding{var, column});
      out->cp866.push_back('?');
      i = quoted && q < text.size() ? q + 1 : q;
      continue;
    }
    if (var >= 0 && !dot_follows) {
      out->bindings.push_back(SqlBinding{var, -1});
      out->cp866.push_back('?');
    } else {
      out->cp866.append(raw);
    }
    i = j;
  }
  out->end = static_cast<uint32_t>(i);
  if (out->cp866.size() > SQL_TEXT_MAX) fail(24, start);
}

std::string dml_table(std::string_view sql, SqlKind* kind) {
  *kind = SqlKind::OTHER;
  size_t i = 0;
  auto blanks = [&] {
    for (;;) {
      while (i < sql.size() && is_blank(static_cast<unsigned char>(sql[i]))) ++i;
      if (i + 1 < sql.size() && sql[i] == '-' && sql[i + 1] == '-') {
        while (i < sql.size() && sql[i] != '\n') ++i;
        continue;
      }
      break;
    }
  };
  // A name: a word, or a quoted one; "schema.name" gives the name.
  auto name = [&]() -> std::string {
    blanks();
    std::string n;
    if (i < sql.size() && (sql[i] == '"' || sql[i] == '`' || sql[i] == '[')) {
      const char close = sql[i] == '[' ? ']' : sql[i];
      size_t j = i + 1;
      while (j < sql.size() && sql[j] != close) ++j;
      n = std::string(sql.substr(i + 1, j - i - 1));
      i = j < sql.size() ? j + 1 : j;
    } else {
      size_t j = i;
      while (j < sql.size() && is_word_byte(static_cast<unsigned char>(sql[j]))) ++j;
      n = upper_latin(sql.substr(i, j - i));
      i = j;
    }
    return n;
  };
  std::string first = name();
  std::string table;
  if (first == "INSERT" || first == "REPLACE") {
    *kind = SqlKind::INSERT;
    std::string w = name();
    if (w == "OR") {
      name();
      w = name();
    }
    if (w != "INTO") {
      *kind = SqlKind::OTHER;
      return "";
    }
    table = name();
  } else if (first == "UPDATE") {
    *kind = SqlKind::UPDATE;
    table = name();
    if (table == "OR") {
      name();
      table = name();
    }
  } else if (first == "DELETE") {
    *kind = SqlKind::DELETE;
    if (name() != "FROM") {
      *kind = SqlKind::OTHER;
      return "";
    }
    table = name();
  } else {
    return "";
  }
  blanks();
  if (i < sql.size() && sql[i] == '.') {
    ++i;
    table = name();
  }
  for (char& c : table) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
  }
  if (table.empty()) *kind = SqlKind::OTHER;
  return table;
}

}  // namespace tavrel::kernel
