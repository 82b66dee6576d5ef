// Text forms of values and the "?" template formatter.
#include "values/value_text.h"

#include <cstdio>
#include <cstring>

#include "text/unicode.h"
#include "values/bigint.h"
#include "values/date_picture.h"
#include "values/number_picture.h"

namespace tavrel {

static const char NULL_TEXT[] = "NULL";

// A CHAR value holding a pool copy of len characters of text.
static Value pool_char(StringPool& pool, const char* text, size_t len, uint16_t tag = 0) {
  char* out = pool_alloc_text(pool, len);
  if (out == nullptr) return make_char(nullptr, tag);
  std::memcpy(out, text, len);
  out[len] = '\0';
  return make_char(out, tag);
}

static size_t wide_length(const uint16_t* w) {
  size_t n = 0;
  while (w != nullptr && w[n] != 0) n++;
  return n;
}

// Single-byte CP866 text of 16-bit characters; characters without a CP866 form become "?".
static size_t wide_to_text(const uint16_t* w, char* out, size_t capacity) {
  size_t n = 0;
  for (; w != nullptr && w[n] != 0 && n + 1 < capacity; n++) {
    int c = unicode_to_cp866(w[n]);
    out[n] = static_cast<char>(c < 0 ? '?' : c);
  }
  out[n] = '\0';
  return n;
}

static const char HEX[] = "0123456789abcdef";

// Each byte as two hex digits, or unpadded and followed by a blank when spaced.
static size_t bytes_to_hex(const uint8_t* data, size_t count, bool spaced, char* out) {
  size_t n = 0;
  for (size_t i = 0; i < count; i++) {
    uint8_t b = data[i];
    if (!spaced || b >= 16) out[n++] = HEX[b >> 4];
    out[n++] = HEX[b & 15];
    if (spaced) out[n++] = ' ';
  }
  out[n] = '\0';
  return n;
}

static size_t full_date_text(const Value& v, bool with_time, char* out) {
  return static_cast<size_t>(date_to_text(value_date(v), with_time, out));
}

// The number picture result of a numeric value, into out (NUMBER_PICTURE_CAPACITY bytes).
static int number_with_picture(const Value& v, std::string_view picture, char* out) {
  switch (v.type) {
    case TYPE_SMALLINT:
    case TYPE_INTEGER:
      return number_picture_int64(read_as_integer(v), picture, out);
    case TYPE_REAL:
    case TYPE_DOUBLE:
      return number_picture_double(read_as_double(v), picture, out);
    case TYPE_NUMERIC:
      return number_picture_decimal(value_decimal(v), picture, out);
    case TYPE_BIGINT:
      return number_picture_int64(payload_get<int64_t>(v), picture, out);
    default:
      return NUMBER_PICTURE_BAD;
  }
}

static bool has_picture(const Value* args, int argc) {
  return argc > 1 && args[1].type == TYPE_CHAR && value_text(args[1]) != nullptr;
}

Value value_to_text(StringPool& pool, const Value* args, int argc) {
  const Value& v = args[0];
  char buf[64];
  if (is_numeric_type(v.type) && has_picture(args, argc)) {
    char pic[NUMBER_PICTURE_CAPACITY];
    if (number_with_picture(v, value_text(args[1]), pic) == NUMBER_PICTURE_OK)
      return pool_char(pool, pic, std::strlen(pic));
  }
  switch (v.type) {
    case TYPE_NULL:
      return make_char(NULL_TEXT);
    case TYPE_SMALLINT:
    case TYPE_INTEGER: {
      int n = std::snprintf(buf, sizeof buf, "%d", static_cast<int>(read_as_integer(v)));
      return pool_char(pool, buf, static_cast<size_t>(n));
    }
    case TYPE_BIGINT: {
      int n = bigint_to_text(payload_get<int64_t>(v), buf);
      return pool_char(pool, buf, static_cast<size_t>(n));
    }
    case TYPE_REAL:
    case TYPE_DOUBLE: {
      int n = std::snprintf(buf, sizeof buf, "%g", read_as_double(v));
      return pool_char(pool, buf, static_cast<size_t>(n));
    }
    case TYPE_NUMERIC: {
      // The formatter writes its field plus two; it is given width - 2 so that the whole
      // text is width characters. Widths and scales outside its range are brought into it.
      int width = argc > 1 ? read_as_smallint(args[1]) : DECIMAL_TEXT_WIDTH;
      int scale = argc > 2 ? read_as_smallint(args[2]) : DECIMAL_SCALE;
      int field = width - 2;
      if (field < 1) field = 1;
      if (field > DECIMAL_TEXT_WIDTH) field = DECIMAL_TEXT_WIDTH;
      if (scale < 0) scale = 0;
      if (scale > DECIMAL_SCALE) scale = DECIMAL_SCALE;
      char text[DECIMAL_TEXT_CAPACITY];
      int n = decimal_to_text(value_decimal(v), field, scale, false, text);
      return pool_char(pool, text, static_cast<size_t>(n));
    }
    case TYPE_BOOL:
      return v.payload[0] != 0 ? pool_char(pool, "TRUE", 4) : pool_char(pool, "FALSE", 5);
    case TYPE_CHAR: {
      const char* text = value_text(v);
      size_t len = text != nullptr ? std::strlen(text) : 0;
      return pool_char(pool, text != nullptr ? text : "", len, value_tag(v));
    }
    case TYPE_DATE: {
      if (has_picture(args, argc)) {
        char text[DATE_PICTURE_RESULT];
        size_t len = 0;
        if (date_to_text_picture(value_date(v), value_text(args[1]), text, sizeof text, &len) ==
            DATE_PICTURE_OK)
          return pool_char(pool, text, len);
        return make_char(nullptr);
      }
      bool with_time = !(argc > 1 && args[1].type == TYPE_BOOL && args[1].payload[0] == 0);
      size_t n = full_date_text(v, with_time, buf);
      return pool_char(pool, buf, n);
    }
    case TYPE_BYTE: {
      size_t count = byte_count(v);
      bool spaced = argc > 1 && args[1].payload[0] != 0;
      char* out = pool_alloc_text(pool, 4 * count);
      if (out == nullptr) return make_char(nullptr);
      bytes_to_hex(byte_data(v), count, spaced, out);
      return make_char(out);
    }
    case TYPE_NCHAR:
    case TYPE_WSTRING: {
      size_t len = wide_length(value_wide(v));
      char* out = pool_alloc_text(pool, 2 * len);
      if (out == nullptr) return make_char(nullptr);
      wide_to_text(value_wide(v), out, 2 * len + 1);
      return make_char(out);
    }
    default:
      return make_none();
  }
}

// The formatter's work area; once a text would pass its end, copying stops for good.
struct WorkArea {
  char text[FORMAT_WORK_AREA + 1];
  size_t len;
  bool full;
};

static void work_append(WorkArea& w, const char* text, size_t len) {
  if (w.full) return;
  if (w.len + len > FORMAT_WORK_AREA) {
    w.full = true;
    return;
  }
  std::memcpy(w.text + w.len, text, len);
  w.len += len;
}

// Trims blanks from both ends of text in place; returns the new start and length.
static const char* trim_blanks(const char* text, size_t* len) {
  while (*len > 0 && text[0] == ' ') {
    text++;
    (*len)--;
  }
  while (*len > 0 && text[*len - 1] == ' ') (*len)--;
  return text;
}

// The text of one placeholder value appended to the work area.
static void append_value(WorkArea& w, const Value& v, uint16_t* tag) {
  char buf[64];
  switch (v.type) {
    case TYPE_NULL:
      work_append(w, NULL_TEXT, 4);
      break;
    case TYPE_SMALLINT:
    case TYPE_INTEGER: {
      int n = std::snprintf(buf, sizeof buf, "%d", static_cast<int>(read_as_integer(v)));
      work_append(w, buf, static_cast<size_t>(n));
      break;
    }
    case TYPE_REAL:
    case TYPE_DOUBLE: {
      int n = std::snprintf(buf, sizeof buf, "%g", read_as_double(v));
      work_append(w, buf, static_cast<size_t>(n));
      break;
    }
    case TYPE_NUMERIC: {
      char text[DECIMAL_TEXT_CAPACITY];
      size_t n = static_cast<size_t>(decimal_to_text(value_decimal(v), 28, DECIMAL_SCALE, false, text));
      const char* t = trim_blanks(text, &n);
      work_append(w, t, n);
      break;
    }
    case TYPE_CHAR: {
      const char* text = value_text(v);
      if (text != nullptr && value_tag(v) == *tag) work_append(w, text, std::strlen(text));
      break;
    }
    case TYPE_DATE:
      work_append(w, buf, full_date_text(v, true, buf));
      break;
    case TYPE_BYTE: {
      size_t count = byte_count(v);
      if (count > FORMAT_MAX_BYTES) count = FORMAT_MAX_BYTES;
      char hex[2 * FORMAT_MAX_BYTES + 1];
      work_append(w, hex, bytes_to_hex(byte_data(v), count, false, hex));
      break;
    }
    case TYPE_NCHAR:
    case TYPE_WSTRING: {
      char text[FORMAT_WORK_AREA + 1];
      work_append(w, text, wide_to_text(value_wide(v), text, sizeof text));
      break;
    }
    case TYPE_BIGINT:
      work_append(w, buf, static_cast<size_t>(bigint_to_text(payload_get<int64_t>(v), buf)));
      break;
    default:
      break;
  }
}

Value value_format(StringPool& pool, const Value* args, int argc) {
  if (argc < 1 || args[0].type != TYPE_CHAR || value_text(args[0]) == nullptr) return make_null();
  const char* tpl = value_text(args[0]);
  WorkArea w;
  w.len = 0;
  w.full = false;
  uint16_t tag = 0;
  int next = 1;
  for (size_t i = 0; tpl[i] != '\0' && !w.full; i++) {
    if (tpl[i] == '\\' && tpl[i + 1] == '?') {
      work_append(w, "?", 1);
      i++;
    } else if (tpl[i] == '?') {
      if (next >= argc) return make_null();
      append_value(w, args[next++], &tag);
    } else {
      work_append(w, tpl + i, 1);
    }
  }
  return pool_char(pool, w.text, w.len, tag);
}

}  // namespace tavrel
