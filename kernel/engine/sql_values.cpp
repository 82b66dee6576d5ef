// Values between the procedure language and SQLite (see sql_values.h).
#include "kernel/engine/sql_values.h"

#include <sqlite3.h>

#include <cstdio>
#include <cstring>

#include "text/unicode.h"
#include "translator/builtins_impl.h"
#include "values/bigint.h"
#include "values/calendar.h"
#include "values/decimal.h"

namespace tavrel::kernel {

namespace {

// The decimal as plain text without padding or trailing zeros of the fraction.
std::string decimal_plain(const Decimal& d) {
  char buf[DECIMAL_TEXT_CAPACITY + 8];
  decimal_to_text(d, DECIMAL_TEXT_WIDTH, DECIMAL_SCALE, true, buf);
  std::string s(buf);
  size_t a = s.find_first_not_of(' ');
  size_t b = s.find_last_not_of(' ');
  s = a == std::string::npos ? "0" : s.substr(a, b - a + 1);
  if (s.find('.') != std::string::npos) {
    while (!s.empty() && s.back() == '0') s.pop_back();
    if (!s.empty() && s.back() == '.') s.pop_back();
  }
  return s;
}

std::string wide_to_utf8(const uint16_t* w) {
  std::string out;
  for (size_t i = 0; w != nullptr && w[i] != 0; ++i) {
    char buf[4];
    int n = utf8_encode(w[i], buf);
    out.append(buf, static_cast<size_t>(n > 0 ? n : 0));
  }
  return out;
}

}  // namespace

int date_from_sql_text(std::string_view text, DateRecord* out) {
  int y = 0, mo = 0, d = 0, h = 0, mi = 0, s = 0, hs = 0;
  const std::string t(text);
  if (std::sscanf(t.c_str(), "%4d-%2d-%2d", &y, &mo, &d) == 3) {
    const size_t rest = t.size() > 10 ? 11 : t.size();
    double sec = 0;
    if (rest < t.size()) std::sscanf(t.c_str() + rest, "%d:%d:%lf", &h, &mi, &sec);
    s = static_cast<int>(sec);
    hs = static_cast<int>((sec - s) * 100 + 0.5);
    if (hs > 99) hs = 99;
    BrokenDate b{static_cast<int16_t>(d), static_cast<int16_t>(mo), static_cast<int16_t>(y), static_cast<int16_t>(h),
                 static_cast<int16_t>(mi), static_cast<int16_t>(s), static_cast<int16_t>(hs)};
    return broken_to_date(b, out);
  }
  return date_text_check(text, out);
}

int bind_value(sqlite3_stmt* st, int index, const Value& v, std::string* scratch) {
  switch (v.type) {
    case TYPE_SMALLINT:
    case TYPE_INTEGER:
    case TYPE_BIGINT:
      return sqlite3_bind_int64(st, index, read_as_bigint(v));
    case TYPE_REAL:
    case TYPE_DOUBLE:
      return sqlite3_bind_double(st, index, read_as_double(v));
    case TYPE_NUMERIC:
      *scratch = decimal_plain(value_decimal(v));
      return sqlite3_bind_text(st, index, scratch->data(), static_cast<int>(scratch->size()), SQLITE_TRANSIENT);
    case TYPE_BOOL:
      return sqlite3_bind_int(st, index, v.payload[0] != 0 ? 1 : 0);
    case TYPE_CHAR: {
      const char* t = value_text(v);
      *scratch = cp866_to_utf8(t != nullptr ? t : "");
      return sqlite3_bind_text(st, index, scratch->data(), static_cast<int>(scratch->size()), SQLITE_TRANSIENT);
    }
    case TYPE_NCHAR:
    case TYPE_WSTRING:
      *scratch = wide_to_utf8(value_wide(v));
      return sqlite3_bind_text(st, index, scratch->data(), static_cast<int>(scratch->size()), SQLITE_TRANSIENT);
    case TYPE_DATE: {
      const BrokenDate b = date_to_broken(value_date(v));
      char buf[96];
      if (value_date(v).time == 0) {
        std::snprintf(buf, sizeof buf, "%04d-%02d-%02d", b.year, b.month, b.day);
      } else if (b.hundredths == 0) {
        std::snprintf(buf, sizeof buf, "%04d-%02d-%02d %02d:%02d:%02d", b.year, b.month, b.day, b.hour, b.minute,
                      b.second);
      } else {
        std::snprintf(buf, sizeof buf, "%04d-%02d-%02d %02d:%02d:%02d.%02d", b.year, b.month, b.day, b.hour,
                      b.minute, b.second, b.hundredths);
      }
      return sqlite3_bind_text(st, index, buf, -1, SQLITE_TRANSIENT);
    }
    case TYPE_BYTE:
      return sqlite3_bind_blob(st, index, byte_data(v), byte_count(v), SQLITE_TRANSIENT);
    default:
      return sqlite3_bind_null(st, index);
  }
}

void read_sql_value(sqlite3_value* sv, uint8_t want, std::string* storage, Value* out) {
  const int kind = sqlite3_value_type(sv);
  if (kind == SQLITE_NULL) {
    *out = make_null();
    return;
  }
  if (want == TYPE_NONE) {
    switch (kind) {
      case SQLITE_INTEGER: {
        const int64_t x = sqlite3_value_int64(sv);
        want = x >= INT32_MIN && x <= INT32_MAX ? TYPE_INTEGER : TYPE_BIGINT;
        break;
      }
      case SQLITE_FLOAT: want = TYPE_DOUBLE; break;
      case SQLITE_BLOB: want = TYPE_BYTE; break;
      default: want = TYPE_CHAR; break;
    }
  }
  const char* utf8 = nullptr;
  switch (want) {
    case TYPE_SMALLINT: *out = make_smallint(read_as_smallint(make_bigint(sqlite3_value_int64(sv)))); return;
    case TYPE_INTEGER: *out = make_integer(read_as_integer(make_bigint(sqlite3_value_int64(sv)))); return;
    case TYPE_BIGINT: *out = make_bigint(sqlite3_value_int64(sv)); return;
    case TYPE_REAL: *out = make_real(static_cast<float>(sqlite3_value_double(sv))); return;
    case TYPE_DOUBLE: *out = make_double(sqlite3_value_double(sv)); return;
    case TYPE_BOOL: *out = make_bool(sqlite3_value_int64(sv) != 0); return;
    case TYPE_NUMERIC: {
      if (kind == SQLITE_INTEGER) {
        *out = make_numeric(decimal_from_int64(sqlite3_value_int64(sv)));
        return;
      }
      utf8 = reinterpret_cast<const char*>(sqlite3_value_text(sv));
      Decimal d = decimal_from_text(utf8 != nullptr ? utf8 : "");
      const int state = decimal_classify(d);
      if (state != DEC_ZERO && state != DEC_POSITIVE && state != DEC_NEGATIVE) {
        d = decimal_from_double(sqlite3_value_double(sv));
      }
      *out = make_numeric(d);
      return;
    }
    case TYPE_DATE: {
      utf8 = reinterpret_cast<const char*>(sqlite3_value_text(sv));
      DateRecord d{};
      if (utf8 == nullptr || date_from_sql_text(utf8, &d) != 0) {
        *out = make_null();
        return;
      }
      *out = make_date(d);
      return;
    }
    case TYPE_BYTE: {
      const int n = sqlite3_value_bytes(sv);
      const int kept = n > 65535 ? 65535 : n;
      storage->assign(static_cast<size_t>(kept) + 2, '\0');
      (*storage)[0] = static_cast<char>(kept & 0xFF);
      (*storage)[1] = static_cast<char>(kept >> 8);
      if (kept > 0) std::memcpy(storage->data() + 2, sqlite3_value_blob(sv), static_cast<size_t>(kept));
      *out = make_byte(reinterpret_cast<const uint8_t*>(storage->data()));
      return;
    }
    case TYPE_NCHAR:
    case TYPE_WSTRING: {
      utf8 = reinterpret_cast<const char*>(sqlite3_value_text(sv));
      std::string_view rest = utf8 != nullptr ? utf8 : "";
      storage->clear();
      while (!rest.empty()) {
        uint32_t cp = 0;
        int used = utf8_decode(rest, &cp);
        if (used <= 0) used = 1, cp = '?';
        const uint16_t u = cp > 0xFFFF ? uint16_t{'?'} : static_cast<uint16_t>(cp);
        storage->push_back(static_cast<char>(u & 0xFF));
        storage->push_back(static_cast<char>(u >> 8));
        rest.remove_prefix(static_cast<size_t>(used));
      }
      storage->push_back('\0');
      storage->push_back('\0');
      *out = make_nchar(reinterpret_cast<const uint16_t*>(storage->data()));
      return;
    }
    default: {
      utf8 = reinterpret_cast<const char*>(sqlite3_value_text(sv));
      *storage = utf8_to_cp866(utf8 != nullptr ? utf8 : "");
      *out = make_char(storage->c_str());
      return;
    }
  }
}

}  // namespace tavrel::kernel
