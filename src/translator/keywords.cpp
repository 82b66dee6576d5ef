// The 157-row keyword table and its one-time sort.
#include "translator/keywords.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "translator/tokens.h"

namespace tavrel {

// In table order of the token codes; the sorted copy is made on first use.
static const Keyword KEYWORDS[KEYWORD_COUNT] = {
    {"NOT", TOK_NOT},
    {"AND", TOK_AND},
    {"OR", TOK_OR},
    {"TRUE", TOK_TRUE},
    {"FALSE", TOK_FALSE},
    {"EIF", TOK_EIF},
    {"ELSE", TOK_ELSE},
    {":=", TOK_ASSIGN},
    {"<=", TOK_LE},
    {">=", TOK_GE},
    {"<>", TOK_NE},
    {"NULL", TOK_NULL},
    {"PROCEDURE", TOK_PROCEDURE},
    {"IN", TOK_IN},
    {"OUT", TOK_OUT},
    {"INOUT", TOK_INOUT},
    {"RESULT", TOK_RESULT},
    {"DECLARE", TOK_DECLARE},
    {"VAR", TOK_VAR},
    {"EXCEPTION", TOK_EXCEPTION},
    {"SMALLINT", TOK_KW_SMALLINT},
    {"INT", TOK_KW_INT},
    {"INTEGER", TOK_KW_INTEGER},
    {"REAL", TOK_KW_REAL},
    {"NUMERIC", TOK_KW_NUMERIC},
    {"DOUBLE", TOK_KW_DOUBLE},
    {"BOOL", TOK_KW_BOOL},
    {"CHAR", TOK_KW_CHAR},
    {"DATE", TOK_KW_DATE},
    {"CURSOR", TOK_CURSOR},
    {"TYPEOF", TOK_TYPEOF},
    {"DEFAULT", TOK_DEFAULT},
    {"CODE", TOK_CODE},
    {"FOR", TOK_FOR},
    {"WHILE", TOK_WHILE},
    {"LOOP", TOK_LOOP},
    {"ENDLOOP", TOK_ENDLOOP},
    {"IF", TOK_IF},
    {"THEN", TOK_THEN},
    {"ELSEIF", TOK_ELSEIF},
    {"ENDIF", TOK_ENDIF},
    {"CASE", TOK_CASE},
    {"ENDCASE", TOK_ENDCASE},
    {"GOTO", TOK_GOTO},
    {"SIGNAL", TOK_SIGNAL},
    {"RESIGNAL", TOK_RESIGNAL},
    {"RETURN", TOK_RETURN},
    {"CALL", TOK_CALL},
    {"INTO", TOK_INTO},
    {"OPEN", TOK_OPEN},
    {"CLOSE", TOK_CLOSE},
    {"EXECUTE", TOK_EXECUTE},
    {"FETCH", TOK_FETCH},
    {"NEXT", TOK_NEXT},
    {"PREVIOUS", TOK_PREVIOUS},
    {"FIRST", TOK_FIRST},
    {"LAST", TOK_LAST},
    {"ABSOLUTE", TOK_ABSOLUTE},
    {"RELATIVE", TOK_RELATIVE},
    {"EXCEPTIONS", TOK_EXCEPTIONS},
    {"WHEN", TOK_WHEN},
    {"OTHERS", TOK_OTHERS},
    {"END", TOK_KW_END},
    {"CREATE", TOK_CREATE},
    {"ALTER", TOK_ALTER},
    {"DIRECT", TOK_DIRECT},
    {"DEBUG", TOK_DEBUG},
    {"AS", TOK_AS},
    {"COMMIT", TOK_COMMIT},
    {"ROLLBACK", TOK_ROLLBACK},
    {"WORK", TOK_WORK},
    {"RELEASE", TOK_RELEASE},
    {"BYTE", TOK_KW_BYTE},
    {"BLOB", TOK_BLOB},
    {"NCHAR", TOK_KW_NCHAR},
    {"BIGINT", TOK_KW_BIGINT},
    {"START", TOK_START},
    {"APPEND", TOK_APPEND},
    {"FROM", TOK_FROM},
    {"PUTM", TOK_PUTM},
    {"VARCHAR", TOK_VARCHAR},
    {"VARBYTE", TOK_VARBYTE},
    {"NVARCHAR", TOK_NVARCHAR},
    {"COLUMN", TOK_COLUMN},
    {"REPLACE", TOK_REPLACE},
    {"ALL", TOK_ALL},
    {"AUTHID", TOK_AUTHID},
    {"DEFINER", TOK_DEFINER},
    {"CURRENT_USER", TOK_CURRENT_USER},
    {"IGNORE", TOK_IGNORE},
    {"SLEEP", TOK_SLEEP},
    {"TRANSACTION", TOK_TRANSACTION},
    {"BEGIN", TOK_BEGIN},
    {"BLOCK", TOK_BLOCK},
    // Russian spellings, CP866 bytes.
    {"\x8d\x85", TOK_NOT},  // НЕ
    {"\x88", TOK_AND},  // И
    {"\x88\x8b\x88", TOK_OR},  // ИЛИ
    {"\x88\x91\x92\x88\x8d\x80", TOK_TRUE},  // ИСТИНА
    {"\x8b\x8e\x86\x9c", TOK_FALSE},  // ЛОЖЬ
    {"\x82\x85\x91\x8b\x88", TOK_EIF},  // ВЕСЛИ
    {"\x88\x8d\x80\x97\x85", TOK_ELSE},  // ИНАЧЕ
    {"\x8f\x90\x8e\x96", TOK_PROCEDURE},  // ПРОЦ
    {"\x82\x95", TOK_IN},  // ВХ
    {"\x82\x9b\x95", TOK_OUT},  // ВЫХ
    {"\x82\x95\x82\x9b\x95", TOK_INOUT},  // ВХВЫХ
    {"\x90\x85\x87", TOK_RESULT},  // РЕЗ
    {"\x8e\x8f\x88\x91", TOK_DECLARE},  // ОПИС
    {"\x8f\x85\x90\x85\x8c", TOK_VAR},  // ПЕРЕМ
    {"\x88\x91\x8a\x8b\x9e\x97", TOK_EXCEPTION},  // ИСКЛЮЧ
    {"\x8a\x8e\x90\x8e\x92\x8a", TOK_KW_SMALLINT},  // КОРОТК
    {"\x84\x8b\x88\x8d", TOK_KW_INTEGER},  // ДЛИН
    {"\x84\x90\x8e\x81\x8d", TOK_KW_REAL},  // ДРОБН
    {"\x97\x88\x91\x8b", TOK_KW_NUMERIC},  // ЧИСЛ
    {"\x8b\x8e\x83\x88\x97", TOK_KW_BOOL},  // ЛОГИЧ
    {"\x91\x92\x90\x8e\x8a\x80", TOK_KW_CHAR},  // СТРОКА
    {"\x84\x80\x92\x80", TOK_KW_DATE},  // ДАТА
    {"\x8a\x93\x90\x91\x8e\x90", TOK_CURSOR},  // КУРСОР
    {"\x92\x88\x8f", TOK_TYPEOF},  // ТИП
    {"\x88\x8d\x88\x92", TOK_DEFAULT},  // ИНИТ
    {"\x8a\x8e\x84", TOK_CODE},  // КОД
    {"\x84\x8b\x9f", TOK_FOR},  // ДЛЯ
    {"\x8f\x8e\x8a\x80", TOK_WHILE},  // ПОКА
    {"\x96\x88\x8a\x8b", TOK_LOOP},  // ЦИКЛ
    {"\x8a\x8e\x8d\x96\x88\x8a\x8b", TOK_ENDLOOP},  // КОНЦИКЛ
    {"\x85\x91\x8b\x88", TOK_IF},  // ЕСЛИ
    {"\x92\x8e", TOK_THEN},  // ТО
    {"\x88\x8d\x80\x97\x85\x85\x91\x8b\x88", TOK_ELSEIF},  // ИНАЧЕЕСЛИ
    {"\x8a\x8e\x8d\x85\x91\x8b\x88", TOK_ENDIF},  // КОНЕСЛИ
    {"\x82\x9b\x81\x8e\x90", TOK_CASE},  // ВЫБОР
    {"\x8a\x8e\x8d\x82\x9b\x81\x8e\x90", TOK_ENDCASE},  // КОНВЫБОР
    {"\x8f\x90\x9b\x83", TOK_GOTO},  // ПРЫГ
    {"\x91\x88\x83\x8d\x80\x8b", TOK_SIGNAL},  // СИГНАЛ
    {"\x90\x85\x91\x88\x83\x8d\x80\x8b", TOK_RESIGNAL},  // РЕСИГНАЛ
    {"\x82\x8e\x87\x82\x90\x80\x92", TOK_RETURN},  // ВОЗВРАТ
    {"\x82\x9b\x87\x8e\x82", TOK_CALL},  // ВЫЗОВ
    {"\x82", TOK_INTO},  // В
    {"\x8e\x92\x8a\x90", TOK_OPEN},  // ОТКР
    {"\x87\x80\x8a\x90", TOK_CLOSE},  // ЗАКР
    {"\x82\x9b\x8f", TOK_EXECUTE},  // ВЫП
    {"\x82\x87\x9f\x92\x9c", TOK_FETCH},  // ВЗЯТЬ
    {"\x91\x8b\x85\x84", TOK_NEXT},  // СЛЕД
    {"\x8f\x90\x85\x84", TOK_PREVIOUS},  // ПРЕД
    {"\x8f\x85\x90\x82\x9b\x89", TOK_FIRST},  // ПЕРВЫЙ
    {"\x8f\x8e\x91\x8b\x85\x84\x8d\x88\x89", TOK_LAST},  // ПОСЛЕДНИЙ
    {"\x80\x81\x91\x8d\x8e\x8c\x85\x90", TOK_ABSOLUTE},  // АБСНОМЕР
    {"\x8e\x92\x8d\x8e\x91\x88\x92", TOK_RELATIVE},  // ОТНОСИТ
    {"\x88\x91\x8a\x8b\x9e\x97\x85\x8d\x88\x9f", TOK_EXCEPTIONS},  // ИСКЛЮЧЕНИЯ
    {"\x8f\x90\x88", TOK_WHEN},  // ПРИ
    {"\x84\x90\x93\x83\x88\x85", TOK_OTHERS},  // ДРУГИЕ
    {"\x8a\x8e\x8d", TOK_KW_END},  // КОН
    {"\x84\x88\x8d\x80\x8c", TOK_DIRECT},  // ДИНАМ
    {"\x8e\x92\x8b\x80\x84\x8a\x88", TOK_DEBUG},  // ОТЛАДКИ
    {"\x8a\x80\x8a", TOK_AS},  // КАК
    {"\x8f\x90\x88\x8d\x9f\x92\x9c", TOK_COMMIT},  // ПРИНЯТЬ
    {"\x8e\x92\x8a\x80\x92", TOK_ROLLBACK},  // ОТКАТ
    {"\x90\x80\x81\x8e\x92\x80", TOK_WORK},  // РАБОТА
    {"\x8e\x91\x82\x8e\x81", TOK_RELEASE},  // ОСВОБ
};

static bool keyword_less(const Keyword& a, const Keyword& b) {
  return std::strcmp(a.text, b.text) < 0;  // strcmp compares bytes as unsigned
}

// The table sorted once, with the length of each text; a function-local static is
// initialised exactly once even when several evaluations start on different threads.
struct SortedKeywords {
  std::array<Keyword, KEYWORD_COUNT> row;
  std::array<size_t, KEYWORD_COUNT> length;
  // Where the keywords of each first byte begin (entry 256 is the end), so that a search
  // looks only at keywords of the word's first byte.
  std::array<int, 257> start;
};

static const SortedKeywords& sorted_keywords() {
  static const SortedKeywords table = [] {
    SortedKeywords t;
    std::copy(std::begin(KEYWORDS), std::end(KEYWORDS), t.row.begin());
    std::sort(t.row.begin(), t.row.end(), keyword_less);
    for (size_t i = 0; i < t.row.size(); i++) t.length[i] = std::strlen(t.row[i].text);
    int row = 0;
    for (int b = 0; b < 256; b++) {
      t.start[static_cast<size_t>(b)] = row;
      while (row < KEYWORD_COUNT &&
             static_cast<uint8_t>(t.row[static_cast<size_t>(row)].text[0]) == b) {
        row++;
      }
    }
    t.start[256] = row;
    return t;
  }();
  return table;
}

// Plain byte comparison of a word with a keyword text of n bytes.
static int compare_word(std::string_view word, const char* text, size_t n) {
  size_t common = std::min(word.size(), n);
  if (common > 0) {
    int c = std::memcmp(word.data(), text, common);
    if (c != 0) return c;
  }
  if (word.size() == n) return 0;
  return word.size() < n ? -1 : 1;
}

int keyword_find(std::string_view word) {
  const SortedKeywords& table = sorted_keywords();
  if (word.empty()) return 0;
  const size_t first = static_cast<uint8_t>(word[0]);
  int lo = table.start[first];
  int hi = table.start[first + 1] - 1;
  while (lo <= hi) {
    int mid = (lo + hi) / 2;
    size_t m = static_cast<size_t>(mid);
    int c = compare_word(word, table.row[m].text, table.length[m]);
    if (c == 0) return table.row[m].token;
    if (c < 0) {
      hi = mid - 1;
    } else {
      lo = mid + 1;
    }
  }
  return 0;
}

const Keyword& keyword_row(int i) { return sorted_keywords().row[static_cast<size_t>(i)]; }

}  // namespace tavrel
