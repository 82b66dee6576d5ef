// The built-ins bound to the session and its database, as a running procedure computes them:
// cursor state (OUTOFCURSOR, CURROW, ROWCOUNT), the last statement (ROWCOUNT, ERRCODE), the
// user and database names, the working BLOB of ADD_BLOB / READ_BLOB_* / SEEK_BLOB, RAISE_ERROR.
//
// The working BLOB is one byte buffer per session with a read position: ADD_BLOB appends a
// value's bytes (a BYTE value's bytes, optionally from an offset and for a count; a text's
// characters; a number's payload in its width), READ_BLOB_<type> reads a value of that type at
// the position and moves past it (NULL past the end), SEEK_BLOB and SET_CUR_BLOB set the
// position (from 0), CLEAR_BLOB empties it. The PUT message functions keep nothing here.
#include <cstring>

#include "kernel/engine/executor.h"
#include "text/unicode.h"
#include "translator/builtins.h"
#include "translator/builtins_impl.h"
#include "translator/diagnostics.h"

namespace tavrel::kernel {

namespace {

// The arguments after an optional leading cursor.
const Value* skip_cursor(const Value* args, int* argc) {
  if (*argc > 0 && args[0].type == TYPE_CURSOR) {
    --*argc;
    return args + 1;
  }
  return args;
}

Value pool_text(EvalContext& ctx, std::string_view text) {
  return result_text(ctx, reinterpret_cast<const uint8_t*>(text.data()), text.size());
}

void blob_append(EngineSession& es, const void* p, size_t n) {
  const uint8_t* b = static_cast<const uint8_t*>(p);
  es.blob.insert(es.blob.end(), b, b + n);
}

int add_blob(EngineSession& es, const Value* args, int argc, Value* result) {
  args = skip_cursor(args, &argc);
  if (argc < 1) return BUILTIN_BAD_PARAMETER;
  const Value& v = args[0];
  switch (v.type) {
    case TYPE_BYTE: {
      size_t from = argc > 1 ? static_cast<size_t>(read_as_bigint(args[1]) < 0 ? 0 : read_as_bigint(args[1])) : 0;
      size_t n = byte_count(v);
      if (from > n) from = n;
      size_t count = argc > 2 ? static_cast<size_t>(read_as_bigint(args[2]) < 0 ? 0 : read_as_bigint(args[2])) : n - from;
      if (count > n - from) count = n - from;
      blob_append(es, byte_data(v) + from, count);
      break;
    }
    case TYPE_CHAR: {
      const char* t = value_text(v);
      blob_append(es, t, std::strlen(t) + 1);
      break;
    }
    case TYPE_NCHAR:
    case TYPE_WSTRING: {
      const uint16_t* w = value_wide(v);
      size_t n = 0;
      while (w[n] != 0) ++n;
      blob_append(es, w, 2 * (n + 1));
      break;
    }
    case TYPE_SMALLINT: blob_append(es, v.payload, 2); break;
    case TYPE_INTEGER:
    case TYPE_REAL: blob_append(es, v.payload, 4); break;
    case TYPE_DOUBLE:
    case TYPE_BIGINT:
    case TYPE_DATE: blob_append(es, v.payload, 8); break;
    case TYPE_NUMERIC: blob_append(es, v.payload, 16); break;
    case TYPE_BOOL: blob_append(es, v.payload, 1); break;
    default: return BUILTIN_BAD_PARAMETER;
  }
  *result = make_integer(static_cast<int32_t>(es.blob.size()));
  return 0;
}

// READ_BLOB_<type>: a value of `type` at the position, or NULL when the BLOB ends first.
int read_blob(EngineSession& es, EvalContext& ctx, uint8_t type, Value* result) {
  size_t width = 0;
  switch (type) {
    case TYPE_SMALLINT: width = 2; break;
    case TYPE_INTEGER:
    case TYPE_REAL: width = 4; break;
    case TYPE_DOUBLE:
    case TYPE_BIGINT:
    case TYPE_DATE: width = 8; break;
    case TYPE_NUMERIC: width = 16; break;
    case TYPE_BOOL: width = 1; break;
    default: break;
  }
  const size_t pos = es.blob_position;
  if (type == TYPE_CHAR) {
    size_t end = pos;
    while (end < es.blob.size() && es.blob[end] != 0) ++end;
    if (pos >= es.blob.size()) {
      *result = make_null();
      return 0;
    }
    *result = pool_text(ctx, std::string_view(reinterpret_cast<const char*>(es.blob.data() + pos), end - pos));
    es.blob_position = end < es.blob.size() ? end + 1 : end;
    return 0;
  }
  if (type == TYPE_NCHAR) {
    std::vector<uint16_t> units;
    size_t p = pos;
    while (p + 1 < es.blob.size()) {
      const uint16_t u = static_cast<uint16_t>(es.blob[p] | (es.blob[p + 1] << 8));
      p += 2;
      if (u == 0) break;
      units.push_back(u);
    }
    if (pos >= es.blob.size()) {
      *result = make_null();
      return 0;
    }
    *result = result_wide(ctx, units.data(), units.size());
    es.blob_position = p;
    return 0;
  }
  if (pos + width > es.blob.size()) {
    *result = make_null();
    return 0;
  }
  Value v = make_none();
  v.type = type;
  std::memcpy(v.payload, es.blob.data() + pos, width);
  if (type == TYPE_BOOL) v.payload[0] = v.payload[0] != 0 ? 1 : 0;
  *result = v;
  es.blob_position = pos + width;
  return 0;
}

}  // namespace

int bound_builtin(EvalContext& ctx, int number, const Value* args, int argc, Value* result) {
  EngineSession& es = *static_cast<EngineSession*>(ctx.user);
  Frame* f = es.current;
  switch (number) {
    case BI_OUTOFCURSOR:
    case BI_CURROW: {
      CursorState* c = f != nullptr && argc > 0 ? frame_cursor(*f, args[0]) : nullptr;
      if (c == nullptr || !c->open) {
        if (f != nullptr) f->raised = f->raised != 0 ? f->raised : EXCEPTION_CURNOTOPEN;
        return BUILTIN_BAD_PARAMETER;
      }
      *result = number == BI_OUTOFCURSOR ? make_bool(c->out)
                                         : make_integer(static_cast<int32_t>(c->out ? 0 : c->position));
      return 0;
    }
    case BI_ROWCOUNT: {
      if (argc > 0 && f != nullptr) {
        CursorState* c = frame_cursor(*f, args[0]);
        if (c == nullptr || !c->open) {
          f->raised = f->raised != 0 ? f->raised : EXCEPTION_CURNOTOPEN;
          return BUILTIN_BAD_PARAMETER;
        }
        *result = make_integer(static_cast<int32_t>(c->rows.size()));
        return 0;
      }
      *result = make_integer(static_cast<int32_t>(es.rowcount));
      return 0;
    }
    case BI_ERRCODE: *result = make_integer(es.errcode); return 0;
    case BI_USERNAME: *result = pool_text(ctx, es.user); return 0;
    case BI_DBNAME: *result = pool_text(ctx, es.database); return 0;
    case BI_ADD_BLOB: return add_blob(es, args, argc, result);
    case BI_CLEAR_BLOB:
      es.blob.clear();
      es.blob_position = 0;
      *result = make_integer(0);
      return 0;
    case BI_BLOB_SIZE: *result = make_integer(argc > 0 && args[0].type == TYPE_BYTE ? byte_count(args[0]) : 0); return 0;
    case BI_SEEK_BLOB:
    case BI_SET_CUR_BLOB: {
      const Value* a = skip_cursor(args, &argc);
      int64_t p = argc > 0 ? read_as_bigint(a[0]) : 0;
      if (p < 0) p = 0;
      if (p > static_cast<int64_t>(es.blob.size())) p = static_cast<int64_t>(es.blob.size());
      es.blob_position = static_cast<size_t>(p);
      *result = make_integer(static_cast<int32_t>(p));
      return 0;
    }
    case BI_READ_BLOB: {
      // (BYTE, n): how many of n bytes are there to read at the position.
      const Value* a = skip_cursor(args, &argc);
      const int64_t want = argc > 1 ? read_as_bigint(a[1]) : 0;
      const int64_t left = static_cast<int64_t>(es.blob.size() - es.blob_position);
      const int64_t got = want < left ? (want < 0 ? 0 : want) : left;
      es.blob_position += static_cast<size_t>(got);
      *result = make_smallint(static_cast<int16_t>(got > 32767 ? 32767 : got));
      return 0;
    }
    case BI_READ_BLOB_INT: return read_blob(es, ctx, TYPE_INTEGER, result);
    case BI_READ_BLOB_SMALLINT: return read_blob(es, ctx, TYPE_SMALLINT, result);
    case BI_READ_BLOB_REAL: return read_blob(es, ctx, TYPE_REAL, result);
    case BI_READ_BLOB_NUMERIC: return read_blob(es, ctx, TYPE_NUMERIC, result);
    case BI_READ_BLOB_CHAR: return read_blob(es, ctx, TYPE_CHAR, result);
    case BI_READ_BLOB_DATE: return read_blob(es, ctx, TYPE_DATE, result);
    case BI_READ_BLOB_BOOL: return read_blob(es, ctx, TYPE_BOOL, result);
    case BI_READ_BLOB_DOUBLE: return read_blob(es, ctx, TYPE_DOUBLE, result);
    case BI_READ_BLOB_BIGINT: return read_blob(es, ctx, TYPE_BIGINT, result);
    case BI_READ_BLOB_NCHAR: return read_blob(es, ctx, TYPE_NCHAR, result);
    case BI_RAISE_ERROR: {
      // RAISE_ERROR(code): the exception of that code is raised in the running unit.
      const int64_t code = argc > 0 ? read_as_bigint(args[0]) : 0;
      if (code == 0 || f == nullptr) {
        *result = make_bool(false);
        return 0;
      }
      f->raised = f->raised != 0 ? f->raised : static_cast<int32_t>(static_cast<int16_t>(code));
      return BUILTIN_BAD_PARAMETER;
    }
    case BI_CLEARPUTM:
    case BI_FLUSHPUTM:
    case BI_GETPUTMRECS:
    case BI_SYSEVENT:
    case BI_MODIFY_BLOB_TYPE:
      *result = make_integer(0);
      return 0;
    default:
      return BUILTIN_BAD_PARAMETER;
  }
}

}  // namespace tavrel::kernel
