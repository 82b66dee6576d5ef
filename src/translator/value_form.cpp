// The typed-value form of a value.
#include "translator/value_form.h"

#include <cstdio>
#include <cstring>

#include "values/value_text.h"

namespace tavrel {

// The text form of a BIGINT, NUMERIC or NCHAR value, without the blanks
// that pad a NUMERIC field.
static std::string plain_text(const Value& v, StringPool& pool) {
  Value text = value_to_text(pool, &v, 1);
  const char* t = text.type == TYPE_CHAR ? value_text(text) : nullptr;
  if (t == nullptr) return std::string();
  std::string s(t);
  size_t first = s.find_first_not_of(' ');
  if (first == std::string::npos) return std::string();
  size_t last = s.find_last_not_of(' ');
  return s.substr(first, last - first + 1);
}

std::string typed_value_form(const Value& v, StringPool& pool) {
  char buf[96];
  switch (v.type) {
    case TYPE_NONE:
      return "(NIL)";
    case TYPE_NULL:
      return "(NULL)";
    case TYPE_SMALLINT:
      std::snprintf(buf, sizeof buf, "%d (SMALLINT)", payload_get<int16_t>(v));
      return buf;
    case TYPE_INTEGER:
      std::snprintf(buf, sizeof buf, "%ld (INTEGER)", static_cast<long>(payload_get<int32_t>(v)));
      return buf;
    case TYPE_REAL:
      std::snprintf(buf, sizeof buf, "%g (REAL)", static_cast<double>(payload_get<float>(v)));
      return buf;
    case TYPE_DOUBLE:
      std::snprintf(buf, sizeof buf, "%g (DOUBLE)", payload_get<double>(v));
      return buf;
    case TYPE_BIGINT:
      return plain_text(v, pool) + " (BIGINT)";
    case TYPE_NUMERIC:
      return plain_text(v, pool) + " (NUMERIC)";
    case TYPE_BOOL:
      return v.payload[0] != 0 ? "TRUE (LOGICAL)" : "FALSE (LOGICAL)";
    case TYPE_CHAR: {
      const char* t = value_text(v);
      return "{" + std::string(t != nullptr ? t : "") + "} (STRING)";
    }
    case TYPE_NCHAR:
    case TYPE_WSTRING:
      return "{" + plain_text(v, pool) + "} (NCHAR)";
    case TYPE_DATE: {
      BrokenDate b = date_to_broken(value_date(v));
      std::snprintf(buf, sizeof buf, "%d.%d.%d:%d:%d:%d.%d (DATE)", b.day, b.month, b.year,
                    b.hour, b.minute, b.second, b.hundredths);
      return buf;
    }
    case TYPE_BYTE: {
      std::string s = "{";
      const uint8_t* d = byte_data(v);
      for (uint16_t i = 0, n = byte_count(v); i < n; i++) {
        std::snprintf(buf, sizeof buf, "%2x ", d[i]);
        s += buf;
      }
      return s + "} (BYTE)";
    }
    case TYPE_CURSOR:
      return "(CURSOR)";
    default:
      return "(NIL)";
  }
}

}  // namespace tavrel
