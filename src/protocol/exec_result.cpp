// Writer and reader of the execution result answer (layout in exec_result.h).
#include "protocol/exec_result.h"

#include "protocol/bytes.h"

namespace tavrel {

namespace {

constexpr size_t FIELD_MAX = 0xFFFF;

// A counted field: u16 length and the bytes.
size_t counted(size_t n) { return 2 + n; }

void put_counted(ByteWriter& w, const void* data, size_t n) {
  w.u16(static_cast<uint32_t>(n));
  w.raw({static_cast<const uint8_t*>(data), n});
}

std::span<const uint8_t> get_counted(ByteReader& r) { return r.take(r.u16()); }

}  // namespace

int exec_result_write(const ExecResult& result, size_t max, std::vector<uint8_t>* out) {
  out->clear();
  // The size without messages: the head, two counts, outputs and the return value.
  size_t size = 2 + 2 + counted(result.exception_name.size()) + 2 + 2;
  bool too_long = result.exception_name.size() > FIELD_MAX || result.outputs.size() > FIELD_MAX;
  for (const ExecOutput& o : result.outputs) {
    size += counted(o.name.size()) + counted(o.value.size());
    too_long = too_long || o.name.size() > FIELD_MAX || o.value.size() > FIELD_MAX;
  }
  const bool has_value = (result.flags & EXEC_RESULT_HAS_VALUE) != 0;
  if (has_value) {
    size += counted(result.value.size());
    too_long = too_long || result.value.size() > FIELD_MAX;
  }
  if (too_long || size > max) return -1;
  // As many messages, from the first, as fit; a message too long for its field is cut.
  size_t messages = 0;
  for (const std::string& m : result.messages) {
    const size_t n = counted(m.size() < FIELD_MAX ? m.size() : FIELD_MAX);
    if (messages == FIELD_MAX || size + n > max) break;
    size += n;
    ++messages;
  }
  uint16_t flags = result.flags & EXEC_RESULT_HAS_VALUE;
  if (messages < result.messages.size()) flags |= EXEC_RESULT_MESSAGES_CUT;
  out->resize(size);
  ByteWriter w{*out};
  w.u16(flags);
  w.u16(static_cast<uint16_t>(result.exception));
  put_counted(w, result.exception_name.data(), result.exception_name.size());
  w.u16(static_cast<uint32_t>(messages));
  for (size_t i = 0; i < messages; ++i) {
    const std::string& m = result.messages[i];
    put_counted(w, m.data(), m.size() < FIELD_MAX ? m.size() : FIELD_MAX);
  }
  w.u16(static_cast<uint32_t>(result.outputs.size()));
  for (const ExecOutput& o : result.outputs) {
    put_counted(w, o.name.data(), o.name.size());
    put_counted(w, o.value.data(), o.value.size());
  }
  if (has_value) put_counted(w, result.value.data(), result.value.size());
  return w.ok && w.at == size ? 0 : -1;
}

int exec_result_read(std::span<const uint8_t> bytes, ExecResult* out) {
  *out = ExecResult{};
  ByteReader r{bytes};
  out->flags = r.u16();
  out->exception = static_cast<int16_t>(r.u16());
  const auto name = get_counted(r);
  out->exception_name.assign(name.begin(), name.end());
  const uint16_t messages = r.u16();
  for (uint16_t i = 0; i < messages && r.ok; ++i) {
    const auto text = get_counted(r);
    if (r.ok) out->messages.emplace_back(text.begin(), text.end());
  }
  const uint16_t outputs = r.u16();
  for (uint16_t i = 0; i < outputs && r.ok; ++i) {
    ExecOutput o;
    const auto output_name = get_counted(r);
    o.name.assign(output_name.begin(), output_name.end());
    const auto value = get_counted(r);
    o.value.assign(value.begin(), value.end());
    if (r.ok) out->outputs.push_back(std::move(o));
  }
  if ((out->flags & EXEC_RESULT_HAS_VALUE) != 0) {
    const auto value = get_counted(r);
    out->value.assign(value.begin(), value.end());
  }
  return r.ok && r.left() == 0 ? 0 : -1;
}

}  // namespace tavrel
