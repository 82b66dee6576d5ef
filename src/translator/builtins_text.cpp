// String and national-string built-ins. Each operation is written once over a character
// unit C: uint8_t for CHAR (CP866 bytes) and uint16_t for NCHAR (16-bit Unicode); the
// dispatch at the end picks the unit by the function. Positions count characters from 1.
//
// Common rules: a NULL argument gives NULL; an argument of the wrong kind gives 12; a
// negative length or count gives 12; a result longer than a pool text can hold sets the
// run status -8 and leaves the result without text.
#include <cstring>
#include <type_traits>

#include "text/codepage.h"
#include "text/unicode.h"
#include "translator/builtins_impl.h"

namespace tavrel {

namespace {

template <class C>
struct Span {
  const C* p;
  size_t n;
};

// The argument view and reader of a unit.
template <class C>
using ArgOf = std::conditional_t<sizeof(C) == 1, TextArg, WideArg>;

int read_arg(EvalContext& ctx, const Value* args, int argc, int i, TextArg* out) {
  return arg_text(ctx, args, argc, i, out);
}
int read_arg(EvalContext& ctx, const Value* args, int argc, int i, WideArg* out) {
  return arg_wide(ctx, args, argc, i, out);
}

template <class C>
Span<C> span_of(const ArgOf<C>& a) {
  return Span<C>{a.p, a.n};
}

constexpr size_t NPOS = static_cast<size_t>(-1);

// A result being built; past CHAR_RESULT_MAX characters it only notes the overflow.
template <class C>
struct Out {
  C d[CHAR_RESULT_MAX];
  size_t n = 0;
  bool over = false;
  void put(C c) {
    if (n < CHAR_RESULT_MAX) {
      d[n++] = c;
    } else {
      over = true;
    }
  }
  void put(Span<C> s) {
    for (size_t i = 0; i < s.n; i++) put(s.p[i]);
  }
};

Value no_text(uint8_t) { return make_char(nullptr); }
Value no_text(uint16_t) { return make_nchar(nullptr); }

// A result that cannot be had: run status -8, the result without text.
template <class C>
Value no_memory(EvalContext& ctx) {
  if (ctx.strings != nullptr) ctx.strings->run_status = RUN_NO_MEMORY;
  return no_text(C{});
}

Value make_result(EvalContext& ctx, Span<uint8_t> s) { return result_text(ctx, s.p, s.n); }
Value make_result(EvalContext& ctx, Span<uint16_t> s) { return result_wide(ctx, s.p, s.n); }

template <class C>
Value finish(EvalContext& ctx, const Out<C>& out) {
  if (out.over) return no_memory<C>(ctx);
  return make_result(ctx, Span<C>{out.d, out.n});
}

// --- characters --------------------------------------------------------------------------

uint8_t map_case(uint8_t c, const uint8_t* table) { return table[c]; }

// A national character goes through its CP866 byte; one that CP866 lacks, or whose byte
// the table leaves alone, stays as it is.
uint16_t map_case(uint16_t c, const uint8_t* table) {
  if (c < 0x80) return table[c];
  int b = unicode_to_cp866(c);
  if (b < 0 || table[b] == b) return c;
  return cp866_to_wide(table[b]);
}

// Letters (characters with two cases) and digits make up words for INITCAP.
bool is_word_char(uint8_t c) {
  return (c >= '0' && c <= '9') || CP866_UPPER[c] != CP866_LOWER[c];
}
bool is_word_char(uint16_t c) {
  if (c < 0x80) return is_word_char(static_cast<uint8_t>(c));
  int b = unicode_to_cp866(c);
  return b >= 0 && is_word_char(static_cast<uint8_t>(b));
}

template <class C>
bool contains(Span<C> set, C c) {
  for (size_t i = 0; i < set.n; i++) {
    if (set.p[i] == c) return true;
  }
  return false;
}

// First occurrence of t in s at or after from; NPOS when none.
template <class C>
size_t find_from(Span<C> s, Span<C> t, size_t from) {
  if (t.n > s.n) return NPOS;
  for (size_t k = from; k + t.n <= s.n; k++) {
    if (std::memcmp(s.p + k, t.p, t.n * sizeof(C)) == 0) return k;
  }
  return NPOS;
}

// Last occurrence of t in s starting at or before last; NPOS when none.
template <class C>
size_t find_back(Span<C> s, Span<C> t, size_t last) {
  if (t.n > s.n) return NPOS;
  size_t k = last < s.n - t.n ? last : s.n - t.n;
  for (;; k--) {
    if (std::memcmp(s.p + k, t.p, t.n * sizeof(C)) == 0) return k;
    if (k == 0) return NPOS;
  }
}

// --- the operations ----------------------------------------------------------------------

// TRIM, LTRIM, RTRIM and their national forms: (s [, set]); the set defaults to a blank.
template <class C>
int op_trim(EvalContext& ctx, const Value* args, int argc, bool left, bool right,
            Value* result) {
  ArgOf<C> s, set;
  int st = read_arg(ctx, args, argc, 0, &s);
  if (st != ARG_OK) return arg_failure(st, result);
  static const C BLANK[1] = {C{' '}};
  Span<C> strip{BLANK, 1};
  st = read_arg(ctx, args, argc, 1, &set);
  if (st == ARG_OK) {
    strip = span_of<C>(set);
  } else if (st != ARG_ABSENT) {
    return arg_failure(st, result);
  }
  size_t b = 0;
  size_t e = s.n;
  if (left) {
    while (b < e && contains(strip, s.p[b])) b++;
  }
  if (right) {
    while (e > b && contains(strip, s.p[e - 1])) e--;
  }
  *result = make_result(ctx, Span<C>{s.p + b, e - b});
  return 0;
}

// SUBSTR, NSUBSTR: (s, start, length). A start of 0 counts as 1, a negative start counts
// from the end; a start outside the text gives the empty text.
template <class C>
int op_substr(EvalContext& ctx, const Value* args, int argc, Value* result) {
  ArgOf<C> s;
  int64_t start = 0;
  int64_t len = 0;
  int st = read_arg(ctx, args, argc, 0, &s);
  if (st == ARG_OK) st = arg_int(args, argc, 1, 1, &start);
  if (st == ARG_OK) st = arg_int(args, argc, 2, INT64_MAX, &len);
  if (st != ARG_OK) return arg_failure(st, result);
  if (len < 0) return BUILTIN_BAD_PARAMETER;
  const auto n = static_cast<int64_t>(s.n);
  if (start == 0) start = 1;
  if (start < 0) start += n + 1;
  if (start < 1 || start > n) {
    *result = make_result(ctx, Span<C>{s.p, 0});
    return 0;
  }
  int64_t count = len < n - (start - 1) ? len : n - (start - 1);
  *result = make_result(ctx, Span<C>{s.p + start - 1, static_cast<size_t>(count)});
  return 0;
}

// RIGHT_SUBSTR, NRIGHT_SUBSTR: (s, n), the last n characters.
template <class C>
int op_right(EvalContext& ctx, const Value* args, int argc, Value* result) {
  ArgOf<C> s;
  int64_t count = 0;
  int st = read_arg(ctx, args, argc, 0, &s);
  if (st == ARG_OK) st = argc > 1 ? arg_int(args, argc, 1, 0, &count) : ARG_BAD;
  if (st != ARG_OK) return arg_failure(st, result);
  if (count < 0) return BUILTIN_BAD_PARAMETER;
  size_t k = static_cast<uint64_t>(count) < s.n ? static_cast<size_t>(count) : s.n;
  *result = make_result(ctx, Span<C>{s.p + (s.n - k), k});
  return 0;
}

// STRPOS, NSTRPOS: (s, t [, last]) to the SMALLINT position of the first (or, with TRUE,
// the last) occurrence of t; 0 when t does not occur or is empty.
template <class C>
int op_strpos(EvalContext& ctx, const Value* args, int argc, Value* result) {
  ArgOf<C> s, t;
  bool last = false;
  int st = read_arg(ctx, args, argc, 0, &s);
  if (st == ARG_OK) st = read_arg(ctx, args, argc, 1, &t);
  if (st == ARG_OK) st = arg_flag(args, argc, 2, &last);
  if (st != ARG_OK) return arg_failure(st == ARG_ABSENT ? ARG_BAD : st, result);
  size_t k = NPOS;
  if (t.n > 0) {
    k = last ? find_back(span_of<C>(s), span_of<C>(t), s.n)
             : find_from(span_of<C>(s), span_of<C>(t), 0);
  }
  *result = make_smallint(static_cast<int16_t>(k == NPOS ? 0 : k + 1));
  return 0;
}

// LPAD, RPAD and national forms: (s, n [, pad]) to exactly n characters: a longer text is
// cut to its first n, a shorter one filled on the left (right) with pad repeated (a blank
// by default; an empty pad leaves it short).
template <class C>
int op_pad(EvalContext& ctx, const Value* args, int argc, bool left, Value* result) {
  ArgOf<C> s, pad;
  int64_t width = 0;
  int st = read_arg(ctx, args, argc, 0, &s);
  if (st == ARG_OK) st = argc > 1 ? arg_int(args, argc, 1, 0, &width) : ARG_BAD;
  if (st != ARG_OK) return arg_failure(st, result);
  static const C BLANK[1] = {C{' '}};
  Span<C> fill{BLANK, 1};
  st = read_arg(ctx, args, argc, 2, &pad);
  if (st == ARG_OK) {
    fill = span_of<C>(pad);
  } else if (st != ARG_ABSENT) {
    return arg_failure(st, result);
  }
  if (width < 0) return BUILTIN_BAD_PARAMETER;
  if (static_cast<uint64_t>(width) > CHAR_RESULT_MAX) {
    *result = no_memory<C>(ctx);
    return 0;
  }
  auto w = static_cast<size_t>(width);
  if (w <= s.n) {
    *result = make_result(ctx, Span<C>{s.p, w});
    return 0;
  }
  Out<C> out;
  size_t missing = w - s.n;
  if (!left) out.put(span_of<C>(s));
  for (size_t k = 0; fill.n > 0 && k < missing; k++) out.put(fill.p[k % fill.n]);
  if (left) out.put(span_of<C>(s));
  *result = finish(ctx, out);
  return 0;
}

// REPEAT_STRING, NREPEAT_STRING: (s, n), s written n times.
template <class C>
int op_repeat(EvalContext& ctx, const Value* args, int argc, Value* result) {
  ArgOf<C> s;
  int64_t times = 0;
  int st = read_arg(ctx, args, argc, 0, &s);
  if (st == ARG_OK) st = argc > 1 ? arg_int(args, argc, 1, 0, &times) : ARG_BAD;
  if (st != ARG_OK) return arg_failure(st, result);
  if (times < 0) return BUILTIN_BAD_PARAMETER;
  if (s.n == 0) times = 0;
  if (s.n > 0 && static_cast<uint64_t>(times) > CHAR_RESULT_MAX / s.n) {
    *result = no_memory<C>(ctx);
    return 0;
  }
  Out<C> out;
  for (int64_t k = 0; k < times; k++) out.put(span_of<C>(s));
  *result = finish(ctx, out);
  return 0;
}

enum CaseMode { CASE_UPPER, CASE_LOWER, CASE_INITCAP };

// UPPER, LOWER, INITCAP (and TOUPPER, TOLOWER and national forms): (s). INITCAP writes
// the first letter of every word (a run of letters and digits) in capitals, the rest small.
template <class C>
int op_case(EvalContext& ctx, const Value* args, int argc, CaseMode mode, Value* result) {
  ArgOf<C> s;
  int st = read_arg(ctx, args, argc, 0, &s);
  if (st != ARG_OK) return arg_failure(st, result);
  Out<C> out;
  bool in_word = false;
  for (size_t k = 0; k < s.n; k++) {
    C c = s.p[k];
    bool upper = mode == CASE_UPPER || (mode == CASE_INITCAP && !in_word);
    out.put(map_case(c, upper ? CP866_UPPER : CP866_LOWER));
    in_word = is_word_char(c);
  }
  *result = finish(ctx, out);
  return 0;
}

// INSERT, NINSERT: (s, pos, len [, t]): the len characters from pos replaced by t; pos may
// be one past the end (t is appended); other positions leave s as it is.
template <class C>
int op_insert(EvalContext& ctx, const Value* args, int argc, Value* result) {
  ArgOf<C> s, t;
  int64_t pos = 0;
  int64_t len = 0;
  int st = read_arg(ctx, args, argc, 0, &s);
  if (st == ARG_OK) st = argc > 1 ? arg_int(args, argc, 1, 0, &pos) : ARG_BAD;
  if (st == ARG_OK) st = arg_int(args, argc, 2, 0, &len);
  if (st != ARG_OK) return arg_failure(st, result);
  Span<C> with{s.p, 0};
  st = read_arg(ctx, args, argc, 3, &t);
  if (st == ARG_OK) {
    with = span_of<C>(t);
  } else if (st != ARG_ABSENT) {
    return arg_failure(st, result);
  }
  if (len < 0) return BUILTIN_BAD_PARAMETER;
  const auto n = static_cast<int64_t>(s.n);
  if (pos < 1 || pos > n + 1) {
    *result = make_result(ctx, span_of<C>(s));
    return 0;
  }
  auto b = static_cast<size_t>(pos - 1);
  size_t e = len < n - (pos - 1) ? b + static_cast<size_t>(len) : s.n;
  Out<C> out;
  out.put(Span<C>{s.p, b});
  out.put(with);
  out.put(Span<C>{s.p + e, s.n - e});
  *result = finish(ctx, out);
  return 0;
}

// The arguments (s, from [, to]) of REPLACE and TRANSLATE: from and to as spans, empty when
// not given. ARG_OK, or the failure of the first argument that could not be read.
template <class C>
int read_from_to(EvalContext& ctx, const Value* args, int argc, ArgOf<C>* s, ArgOf<C>* from,
                 ArgOf<C>* to, Span<C>* f, Span<C>* w) {
  int st = read_arg(ctx, args, argc, 0, s);
  if (st != ARG_OK) return st;
  *f = Span<C>{s->p, 0};
  *w = Span<C>{s->p, 0};
  st = read_arg(ctx, args, argc, 1, from);
  if (st == ARG_OK) {
    *f = span_of<C>(*from);
    st = read_arg(ctx, args, argc, 2, to);
    if (st == ARG_OK) *w = span_of<C>(*to);
  }
  return st == ARG_ABSENT ? ARG_OK : st;
}

// REPLACE, NREPLACE: (s, from [, to]), every occurrence of from replaced by to (by
// nothing when to is not given); an empty or missing from leaves s as it is.
template <class C>
int op_replace(EvalContext& ctx, const Value* args, int argc, Value* result) {
  ArgOf<C> s, from, to;
  Span<C> f, w;
  if (int st = read_from_to(ctx, args, argc, &s, &from, &to, &f, &w); st != ARG_OK)
    return arg_failure(st, result);
  if (f.n == 0) {
    *result = make_result(ctx, span_of<C>(s));
    return 0;
  }
  Out<C> out;
  size_t k = 0;
  for (size_t hit; (hit = find_from(span_of<C>(s), f, k)) != NPOS; k = hit + f.n) {
    out.put(Span<C>{s.p + k, hit - k});
    out.put(w);
  }
  out.put(Span<C>{s.p + k, s.n - k});
  *result = finish(ctx, out);
  return 0;
}

// TRANSLATE, NTRANSLATE: (s, from [, to]): each character of s found in from (its first
// occurrence) becomes the character at the same place in to, or is dropped when to is
// shorter (or missing).
template <class C>
int op_translate(EvalContext& ctx, const Value* args, int argc, Value* result) {
  ArgOf<C> s, from, to;
  Span<C> f, w;
  if (int st = read_from_to(ctx, args, argc, &s, &from, &to, &f, &w); st != ARG_OK)
    return arg_failure(st, result);
  Out<C> out;
  for (size_t k = 0; k < s.n; k++) {
    size_t at = find_from(f, Span<C>{s.p + k, 1}, 0);
    if (at == NPOS) {
      out.put(s.p[k]);
    } else if (at < w.n) {
      out.put(w.p[at]);
    }
  }
  *result = finish(ctx, out);
  return 0;
}

// --- single-byte only --------------------------------------------------------------------

// LEN: (s [, TRUE]) to SMALLINT; with TRUE trailing blanks are not counted.
int op_len(EvalContext& ctx, const Value* args, int argc, Value* result) {
  TextArg s;
  bool no_trailing = false;
  int st = arg_text(ctx, args, argc, 0, &s);
  if (st == ARG_OK) st = arg_flag(args, argc, 1, &no_trailing);
  if (st != ARG_OK) return arg_failure(st, result);
  size_t n = s.n;
  while (no_trailing && n > 0 && s.p[n - 1] == ' ') n--;
  *result = make_smallint(static_cast<int16_t>(n));
  return 0;
}

// LENGTH, CHAR_LENGTH, OCTET_LENGTH: (x) to INTEGER, counting the characters of a text (of
// the text form of anything else); OCTET_LENGTH counts two bytes for a national character.
int op_length(EvalContext& ctx, const Value* args, int argc, bool octets, Value* result) {
  if (argc > 0 && is_nchar_type(args[0].type)) {
    WideArg w;
    int st = arg_wide(ctx, args, argc, 0, &w);
    if (st != ARG_OK) return arg_failure(st, result);
    *result = make_integer(static_cast<int32_t>(octets ? 2 * w.n : w.n));
    return 0;
  }
  TextArg s;
  int st = arg_text(ctx, args, argc, 0, &s);
  if (st != ARG_OK) return arg_failure(st, result);
  *result = make_integer(static_cast<int32_t>(s.n));
  return 0;
}

// INSTR: (s, t [, start [, occurrence]]) to the INTEGER position of the occurrence-th
// occurrence of t searching from start; a negative start searches backwards from that
// place counted from the end. 0 when not found, when t is empty or start is 0.
int op_instr(EvalContext& ctx, const Value* args, int argc, Value* result) {
  TextArg s, t;
  int64_t start = 1;
  int64_t occurrence = 1;
  int st = arg_text(ctx, args, argc, 0, &s);
  if (st == ARG_OK) st = arg_text(ctx, args, argc, 1, &t);
  if (st == ARG_OK) st = arg_int(args, argc, 2, 1, &start);
  if (st == ARG_OK) st = arg_int(args, argc, 3, 1, &occurrence);
  if (st != ARG_OK) return arg_failure(st == ARG_ABSENT ? ARG_BAD : st, result);
  if (occurrence < 1) return BUILTIN_BAD_PARAMETER;
  Span<uint8_t> hay{s.p, s.n};
  Span<uint8_t> needle{t.p, t.n};
  const auto n = static_cast<int64_t>(s.n);
  size_t at = NPOS;
  if (t.n > 0 && start > 0 && start <= n) {
    auto from = static_cast<size_t>(start - 1);
    for (int64_t k = 0; k < occurrence; k++) {
      at = find_from(hay, needle, from);
      if (at == NPOS) break;
      from = at + 1;
    }
  } else if (t.n > 0 && start < 0 && -start <= n) {
    auto last = static_cast<size_t>(n + start);
    for (int64_t k = 0; k < occurrence; k++) {
      at = find_back(hay, needle, last);
      if (at == NPOS || k + 1 == occurrence) break;
      if (at == 0) {
        at = NPOS;
        break;
      }
      last = at - 1;
    }
  }
  *result = make_integer(static_cast<int32_t>(at == NPOS ? 0 : at + 1));
  return 0;
}

// The four-character sound code of the Latin letters of a text ("" when it has none):
// the first letter, then the digits of the following consonants, letters of one digit
// side by side (or across H and W) coded once, vowels separating, padded with zeros.
size_t soundex(const uint8_t* p, size_t n, char out[5]) {
  // Digit of each letter A..Z; '0' for vowels and Y, '-' for H and W.
  static const char CODES[] = "0123012-02245501262301-202";
  size_t len = 0;
  char prev = 0;
  for (size_t k = 0; k < n && len < 4; k++) {
    uint8_t c = p[k];
    if (c >= 'a' && c <= 'z') c = static_cast<uint8_t>(c - 'a' + 'A');
    if (c < 'A' || c > 'Z') continue;
    char code = CODES[c - 'A'];
    if (len == 0) {
      out[len++] = static_cast<char>(c);
      prev = code;
      continue;
    }
    if (code == '-') continue;
    if (code != '0' && code != prev) out[len++] = code;
    prev = code;
  }
  if (len == 0) {
    out[0] = '\0';
    return 0;
  }
  while (len < 4) out[len++] = '0';
  out[4] = '\0';
  return 4;
}

int op_soundex(EvalContext& ctx, const Value* args, int argc, Value* result) {
  TextArg s;
  int st = arg_text(ctx, args, argc, 0, &s);
  if (st != ARG_OK) return arg_failure(st, result);
  char code[5];
  size_t n = soundex(s.p, s.n, code);
  *result = result_text(ctx, reinterpret_cast<const uint8_t*>(code), n);
  return 0;
}

// DIFFERENCE: (a, b) to INTEGER 0..4, the places at which the sound codes agree.
int op_difference(EvalContext& ctx, const Value* args, int argc, Value* result) {
  TextArg a, b;
  int st = arg_text(ctx, args, argc, 0, &a);
  if (st == ARG_OK) st = arg_text(ctx, args, argc, 1, &b);
  if (st != ARG_OK) return arg_failure(st == ARG_ABSENT ? ARG_BAD : st, result);
  char ca[5], cb[5];
  int same = 0;
  if (soundex(a.p, a.n, ca) == 4 && soundex(b.p, b.n, cb) == 4) {
    for (int k = 0; k < 4; k++) same += ca[k] == cb[k] ? 1 : 0;
  }
  *result = make_integer(same);
  return 0;
}

// DUPCHAR: (s, c): every occurrence of the first character of c written twice, as quotes
// are doubled inside a quoted text. An empty c leaves s as it is.
int op_dupchar(EvalContext& ctx, const Value* args, int argc, Value* result) {
  TextArg s, c;
  int st = arg_text(ctx, args, argc, 0, &s);
  if (st == ARG_OK) st = arg_text(ctx, args, argc, 1, &c);
  if (st != ARG_OK) return arg_failure(st == ARG_ABSENT ? ARG_BAD : st, result);
  Out<uint8_t> out;
  for (size_t k = 0; k < s.n; k++) {
    out.put(s.p[k]);
    if (c.n > 0 && s.p[k] == c.p[0]) out.put(s.p[k]);
  }
  *result = finish(ctx, out);
  return 0;
}

// CHR: (BYTE) to the text whose character codes are the bytes; a zero byte ends it.
int op_chr(EvalContext& ctx, const Value* args, int argc, Value* result) {
  if (argc < 1) return BUILTIN_BAD_PARAMETER;
  if (args[0].type == TYPE_NULL) return arg_failure(ARG_NULL, result);
  if (args[0].type != TYPE_BYTE) return BUILTIN_BAD_PARAMETER;
  const uint8_t* data = byte_data(args[0]);
  size_t n = 0;
  size_t count = byte_count(args[0]);
  while (n < count && data[n] != 0) n++;
  *result = result_text(ctx, data, n);
  return 0;
}

// ASC: (s, p) to the SMALLINT code of a character of s: the first, or, when p is a BYTE
// with at least one byte, the one at the position its first byte gives (0 counts as 1).
// A CHAR gives its CP866 code, an NCHAR its 16-bit code. NULL past the end of s.
int op_asc(EvalContext& ctx, const Value* args, int argc, Value* result) {
  if (argc < 1) return BUILTIN_BAD_PARAMETER;
  size_t pos = 1;
  if (argc > 1 && args[1].type == TYPE_BYTE && byte_count(args[1]) > 0)
    pos = byte_data(args[1])[0] > 0 ? byte_data(args[1])[0] : 1;
  if (is_nchar_type(args[0].type)) {
    WideArg w;
    int st = arg_wide(ctx, args, argc, 0, &w);
    if (st != ARG_OK) return arg_failure(st, result);
    if (pos <= w.n) *result = make_smallint(static_cast<int16_t>(w.p[pos - 1]));
    return 0;
  }
  TextArg s;
  int st = arg_text(ctx, args, argc, 0, &s);
  if (st != ARG_OK) return arg_failure(st, result);
  if (pos <= s.n) *result = make_smallint(s.p[pos - 1]);
  return 0;
}

}  // namespace

int builtins_text_call(int number, EvalContext& ctx, const Value* args, int argc,
                       Value* result) {
  using B = uint8_t;
  using W = uint16_t;
  switch (number) {
    case BI_TRIM: return op_trim<B>(ctx, args, argc, true, true, result);
    case BI_LTRIM: return op_trim<B>(ctx, args, argc, true, false, result);
    case BI_RTRIM: return op_trim<B>(ctx, args, argc, false, true, result);
    case BI_NTRIM: return op_trim<W>(ctx, args, argc, true, true, result);
    case BI_NLTRIM: return op_trim<W>(ctx, args, argc, true, false, result);
    case BI_NRTRIM: return op_trim<W>(ctx, args, argc, false, true, result);
    case BI_SUBSTR: return op_substr<B>(ctx, args, argc, result);
    case BI_NSUBSTR: return op_substr<W>(ctx, args, argc, result);
    case BI_RIGHT_SUBSTR: return op_right<B>(ctx, args, argc, result);
    case BI_NRIGHT_SUBSTR: return op_right<W>(ctx, args, argc, result);
    case BI_STRPOS: return op_strpos<B>(ctx, args, argc, result);
    case BI_NSTRPOS: return op_strpos<W>(ctx, args, argc, result);
    case BI_LPAD: return op_pad<B>(ctx, args, argc, true, result);
    case BI_RPAD: return op_pad<B>(ctx, args, argc, false, result);
    case BI_NLPAD: return op_pad<W>(ctx, args, argc, true, result);
    case BI_NRPAD: return op_pad<W>(ctx, args, argc, false, result);
    case BI_REPEAT_STRING: return op_repeat<B>(ctx, args, argc, result);
    case BI_NREPEAT_STRING: return op_repeat<W>(ctx, args, argc, result);
    case BI_TOUPPER:
    case BI_UPPER: return op_case<B>(ctx, args, argc, CASE_UPPER, result);
    case BI_TOLOWER:
    case BI_LOWER: return op_case<B>(ctx, args, argc, CASE_LOWER, result);
    case BI_INITCAP: return op_case<B>(ctx, args, argc, CASE_INITCAP, result);
    case BI_NTOUPPER:
    case BI_NUPPER: return op_case<W>(ctx, args, argc, CASE_UPPER, result);
    case BI_NTOLOWER:
    case BI_NLOWER: return op_case<W>(ctx, args, argc, CASE_LOWER, result);
    case BI_NINITCAP: return op_case<W>(ctx, args, argc, CASE_INITCAP, result);
    case BI_INSERT: return op_insert<B>(ctx, args, argc, result);
    case BI_NINSERT: return op_insert<W>(ctx, args, argc, result);
    case BI_REPLACE: return op_replace<B>(ctx, args, argc, result);
    case BI_NREPLACE: return op_replace<W>(ctx, args, argc, result);
    case BI_TRANSLATE: return op_translate<B>(ctx, args, argc, result);
    case BI_NTRANSLATE: return op_translate<W>(ctx, args, argc, result);
    case BI_LEN: return op_len(ctx, args, argc, result);
    case BI_NLEN: {
      WideArg w;
      int st = arg_wide(ctx, args, argc, 0, &w);
      if (st != ARG_OK) return arg_failure(st, result);
      *result = make_smallint(static_cast<int16_t>(w.n));
      return 0;
    }
    case BI_LENGTH:
    case BI_CHAR_LENGTH: return op_length(ctx, args, argc, false, result);
    case BI_OCTET_LENGTH: return op_length(ctx, args, argc, true, result);
    case BI_INSTR: return op_instr(ctx, args, argc, result);
    case BI_SOUNDEX: return op_soundex(ctx, args, argc, result);
    case BI_DIFFERENCE: return op_difference(ctx, args, argc, result);
    case BI_DUPCHAR: return op_dupchar(ctx, args, argc, result);
    case BI_CHR: return op_chr(ctx, args, argc, result);
    case BI_ASC: return op_asc(ctx, args, argc, result);
    default: return BUILTIN_BAD_PARAMETER;
  }
}

}  // namespace tavrel
