// Readers and writers of the protocol's fixed records, each the one place that knows the
// record's offsets.
#include "protocol/records.h"

#include <algorithm>
#include <cstring>

#include "protocol/bytes.h"

namespace tavrel {

namespace {

// The start of a fixed record, or nullptr when the span is shorter.
const uint8_t* fixed(std::span<const uint8_t> bytes, size_t size) {
  return bytes.size() >= size ? bytes.data() : nullptr;
}
uint8_t* fixed(std::span<uint8_t> bytes, size_t size) {
  return bytes.size() >= size ? bytes.data() : nullptr;
}

}  // namespace

void name_field_put(std::span<uint8_t> field, std::string_view text) {
  const size_t n = std::min(field.size(), text.size());
  std::memcpy(field.data(), text.data(), n);
  std::memset(field.data() + n, ' ', field.size() - n);
}

std::string name_field_get(std::span<const uint8_t> field) {
  size_t n = 0;
  while (n < field.size() && field[n] != 0) ++n;
  while (n > 0 && field[n - 1] == ' ') --n;
  return std::string(reinterpret_cast<const char*>(field.data()), n);
}

int trigger_row_read(std::span<const uint8_t> bytes, TriggerRow* out) {
  *out = TriggerRow{};
  const uint8_t* p = fixed(bytes, ROW_TRIGGER);
  if (p == nullptr) return -1;
  out->procedure_id = get_u32(p);
  std::memcpy(out->name, p + 4, NAME_BYTES);
  return 0;
}

int trigger_row_write(const TriggerRow& row, std::span<uint8_t> out) {
  uint8_t* p = fixed(out, ROW_TRIGGER);
  if (p == nullptr) return -1;
  put_u32(p, row.procedure_id);
  std::memcpy(p + 4, row.name, NAME_BYTES);
  p[70] = p[71] = 0;
  return 0;
}

// name 0-65, type 66, precision 67, scale 68, length 69-70, NULL flag 71, default 72-326.
int param_row_read(std::span<const uint8_t> bytes, ParamRow* out) {
  *out = ParamRow{};
  const uint8_t* p = fixed(bytes, ROW_PARAM);
  if (p == nullptr) return -1;
  std::memcpy(out->name, p, NAME_BYTES);
  out->type = p[66];
  out->precision = p[67];
  out->scale = p[68];
  out->length = get_u16(p + 69);
  out->default_null = p[71];
  std::memcpy(out->default_value, p + 72, PARAM_DEFAULT_MAX);
  return 0;
}

int param_row_write(const ParamRow& row, std::span<uint8_t> out) {
  uint8_t* p = fixed(out, ROW_PARAM);
  if (p == nullptr) return -1;
  std::memcpy(p, row.name, NAME_BYTES);
  p[66] = row.type;
  p[67] = row.precision;
  p[68] = row.scale;
  put_u16(p + 69, row.length);
  p[71] = row.default_null;
  std::memcpy(p + 72, row.default_value, PARAM_DEFAULT_MAX);
  return 0;
}

size_t proc_list_count(size_t length) { return length < 4 ? 0 : (length - 4) / NAME_BYTES; }

uint32_t proc_list_key(std::span<const uint8_t> answer) {
  return answer.size() < 4 ? 0 : get_u32(answer.data() + answer.size() - 4);
}

std::span<const uint8_t> proc_list_name(std::span<const uint8_t> answer, size_t i) {
  if (i >= proc_list_count(answer.size())) return {};
  return answer.subspan(i * NAME_BYTES, NAME_BYTES);
}

void proc_list_finish(std::vector<uint8_t>* answer, uint32_t next_key) {
  const size_t at = answer->size();
  answer->resize(at + 4);
  put_u32(answer->data() + at, next_key);
}

int translation_errors_read(std::span<const uint8_t> bytes, std::vector<TranslationError>* out) {
  out->clear();
  ByteReader r{bytes};
  const uint16_t count = r.u16();
  for (uint16_t i = 0; i < count && r.ok; ++i) {
    TranslationError e;
    e.number = r.u32();
    e.line = r.u32();
    e.column = r.u32();
    e.argument_kind = r.u8();
    if (e.argument_kind == TRANSLATION_ARG_NUMBER) {
      e.argument_number = r.u16();
    } else if (e.argument_kind == TRANSLATION_ARG_TEXT) {
      const auto text = r.take(r.u16());
      e.argument_text.assign(reinterpret_cast<const char*>(text.data()), text.size());
    }
    if (r.ok) out->push_back(std::move(e));
  }
  return r.ok ? 0 : -1;
}

std::vector<uint8_t> translation_errors_write(const std::vector<TranslationError>& errors) {
  const size_t count = std::min<size_t>(errors.size(), 0xFFFF);
  size_t size = 2;
  for (size_t i = 0; i < count; ++i) {
    size += TRANSLATION_ENTRY_HEAD;
    if (errors[i].argument_kind == TRANSLATION_ARG_NUMBER) size += 2;
    if (errors[i].argument_kind == TRANSLATION_ARG_TEXT) size += 2 + std::min<size_t>(errors[i].argument_text.size(), 0xFFFF);
  }
  std::vector<uint8_t> out(size);
  ByteWriter w{out};
  w.u16(static_cast<uint32_t>(count));
  for (size_t i = 0; i < count; ++i) {
    const TranslationError& e = errors[i];
    w.u32(e.number);
    w.u32(e.line);
    w.u32(e.column);
    w.u8(e.argument_kind);
    if (e.argument_kind == TRANSLATION_ARG_NUMBER) w.u16(e.argument_number);
    if (e.argument_kind == TRANSLATION_ARG_TEXT) {
      const size_t n = std::min<size_t>(e.argument_text.size(), 0xFFFF);
      w.u16(static_cast<uint32_t>(n));
      w.raw({reinterpret_cast<const uint8_t*>(e.argument_text.data()), n});
    }
  }
  return out;
}

// procedure 0-3, execution 4-5, line 6-9, flags 10-13, exception 14-15, breakpoint 16-17.
int exec_state_read(std::span<const uint8_t> bytes, ExecState* out) {
  *out = ExecState{};
  const uint8_t* p = fixed(bytes, EXEC_STATE_SIZE);
  if (p == nullptr) return -1;
  out->procedure_id = get_u32(p);
  out->execution_id = get_u16(p + 4);
  out->line = get_u32(p + 6);
  out->flags = get_u32(p + 10);
  out->exception = static_cast<int16_t>(get_u16(p + 14));
  out->breakpoint = get_u16(p + 16);
  return 0;
}

int exec_state_write(const ExecState& state, std::span<uint8_t> out) {
  uint8_t* p = fixed(out, EXEC_STATE_SIZE);
  if (p == nullptr) return -1;
  put_u32(p, state.procedure_id);
  put_u16(p + 4, state.execution_id);
  put_u32(p + 6, state.line);
  put_u32(p + 10, state.flags);
  put_u16(p + 14, static_cast<uint16_t>(state.exception));
  put_u16(p + 16, state.breakpoint);
  return 0;
}

size_t breakpoint_request_size(const BreakpointRequest& request) {
  return BREAKPOINT_HEADER_SIZE + 2 * request.variables.size();
}

int breakpoint_request_read(std::span<const uint8_t> bytes, BreakpointRequest* out) {
  *out = BreakpointRequest{};
  ByteReader r{bytes};
  out->line = r.u32();
  out->kind = r.u8();
  r.skip(1);
  out->number = r.u16();
  const uint16_t count = r.u16();
  if (!r.ok || r.left() < size_t{count} * 2) {
    *out = BreakpointRequest{};
    return -1;
  }
  out->variables.resize(count);
  for (uint16_t& v : out->variables) v = r.u16();
  return 0;
}

int breakpoint_request_write(const BreakpointRequest& request, std::span<uint8_t> out) {
  if (out.size() < breakpoint_request_size(request) || request.variables.size() > 0xFFFF) return -1;
  ByteWriter w{out};
  w.u32(request.line);
  w.u8(request.kind);
  w.u8(0);
  w.u16(request.number);
  w.u16(static_cast<uint32_t>(request.variables.size()));
  for (uint16_t v : request.variables) w.u16(v);
  return 0;
}

int temp_breakpoint_read(std::span<const uint8_t> bytes, TempBreakpoint* out) {
  *out = TempBreakpoint{};
  const uint8_t* p = fixed(bytes, TEMP_BREAKPOINT_SIZE);
  if (p == nullptr) return -1;
  out->line = get_u32(p);
  out->set = p[4] == 1;
  return 0;
}

int temp_breakpoint_write(const TempBreakpoint& request, std::span<uint8_t> out) {
  uint8_t* p = fixed(out, TEMP_BREAKPOINT_SIZE);
  if (p == nullptr) return -1;
  put_u32(p, request.line);
  p[4] = request.set ? 1 : 0;
  p[5] = p[6] = p[7] = 0;
  return 0;
}

// procedure 0-3, execution 4-5, flags 6-7, quanta 8-11, caller 12-13, byte 14 not shown.
int active_entry_read(std::span<const uint8_t> bytes, ActiveEntry* out) {
  *out = ActiveEntry{};
  const uint8_t* p = fixed(bytes, ACTIVE_ENTRY_SIZE);
  if (p == nullptr) return -1;
  out->procedure_id = get_u32(p);
  out->execution_id = get_u16(p + 4);
  out->flags = get_u16(p + 6);
  out->quanta = get_u32(p + 8);
  out->caller = get_u16(p + 12);
  return 0;
}

int active_entry_write(const ActiveEntry& entry, std::span<uint8_t> out) {
  uint8_t* p = fixed(out, ACTIVE_ENTRY_SIZE);
  if (p == nullptr) return -1;
  put_u32(p, entry.procedure_id);
  put_u16(p + 4, entry.execution_id);
  put_u16(p + 6, entry.flags);
  put_u32(p + 8, entry.quanta);
  put_u16(p + 12, entry.caller);
  p[14] = 0;
  return 0;
}

// --- Debugger views ---------------------------------------------------------------------------

int call_stack_read(std::span<const uint8_t> bytes, std::vector<StackEntry>* out) {
  out->clear();
  ByteReader r{bytes};
  const uint16_t count = r.u16();
  for (uint16_t i = 0; i < count && r.has(STACK_ENTRY_SIZE); ++i) {
    StackEntry e;
    e.procedure_id = r.u32();
    e.line = r.u32();
    e.execution_id = r.u16();
    e.flags = r.u16();
    out->push_back(e);
  }
  return r.ok && out->size() == count ? 0 : -1;
}

std::vector<uint8_t> call_stack_write(std::span<const StackEntry> frames) {
  const size_t count = std::min(frames.size(), STACK_ENTRIES_MAX);
  std::vector<uint8_t> out(2 + count * STACK_ENTRY_SIZE);
  ByteWriter w{out};
  w.u16(static_cast<uint32_t>(count));
  for (size_t i = 0; i < count; ++i) {
    w.u32(frames[i].procedure_id);
    w.u32(frames[i].line);
    w.u16(frames[i].execution_id);
    w.u16(frames[i].flags);
  }
  return out;
}

int locals_read(std::span<const uint8_t> bytes, std::vector<LocalEntry>* out) {
  out->clear();
  ByteReader r{bytes};
  const uint16_t count = r.u16();
  for (uint16_t i = 0; i < count && r.ok; ++i) {
    LocalEntry e;
    e.number = r.u16();
    const auto name = r.take(r.u8());
    const auto value = r.take(r.u16());
    if (!r.ok) break;
    e.name.assign(reinterpret_cast<const char*>(name.data()), name.size());
    e.value.assign(value.begin(), value.end());
    out->push_back(std::move(e));
  }
  return r.ok ? 0 : -1;
}

std::vector<uint8_t> locals_write(std::span<const LocalEntry> locals) {
  const size_t count = std::min<size_t>(locals.size(), 0xFFFF);
  size_t size = 2;
  for (size_t i = 0; i < count; ++i) {
    size += 5 + std::min<size_t>(locals[i].name.size(), 0xFF) + std::min<size_t>(locals[i].value.size(), 0xFFFF);
  }
  std::vector<uint8_t> out(size);
  ByteWriter w{out};
  w.u16(static_cast<uint32_t>(count));
  for (size_t i = 0; i < count; ++i) {
    const LocalEntry& e = locals[i];
    const size_t name = std::min<size_t>(e.name.size(), 0xFF);
    const size_t value = std::min<size_t>(e.value.size(), 0xFFFF);
    w.u16(e.number);
    w.u8(static_cast<uint8_t>(name));
    w.raw({reinterpret_cast<const uint8_t*>(e.name.data()), name});
    w.u16(static_cast<uint32_t>(value));
    w.raw({e.value.data(), value});
  }
  return out;
}

int printed_messages_read(std::span<const uint8_t> bytes, std::vector<std::string>* out) {
  out->clear();
  ByteReader r{bytes};
  const uint16_t count = r.u16();
  for (uint16_t i = 0; i < count && r.ok; ++i) {
    const auto text = r.take(r.u16());
    if (r.ok) out->emplace_back(reinterpret_cast<const char*>(text.data()), text.size());
  }
  return r.ok ? 0 : -1;
}

std::vector<uint8_t> printed_messages_write(std::span<const std::string> messages, size_t capacity,
                                            size_t* taken) {
  capacity = std::min<size_t>(capacity, 0xFFFF);
  std::vector<uint8_t> out(2, 0);
  size_t count = 0;
  for (const std::string& m : messages) {
    if (count == 0xFFFF || out.size() + 2 > capacity) break;
    size_t n = std::min(m.size(), capacity - out.size() - 2);
    // Only the first message is cut to fit; a later one that does not fit waits whole.
    if (n < m.size() && count > 0) break;
    const size_t at = out.size();
    out.resize(at + 2 + n);
    put_u16(out.data() + at, static_cast<uint32_t>(n));
    std::memcpy(out.data() + at + 2, m.data(), n);
    ++count;
  }
  if (out.size() > capacity) out.clear();  // no room even for the count
  else put_u16(out.data(), static_cast<uint32_t>(count));
  *taken = count;
  return out;
}

std::span<const uint8_t> exec_state_result(std::span<const uint8_t> answer) {
  return answer.size() > EXEC_STATE_SIZE ? answer.subspan(EXEC_STATE_SIZE) : std::span<const uint8_t>{};
}

int row_fields_read(std::span<const uint8_t> bytes, std::vector<RowField>* out) {
  out->clear();
  size_t p = 0;
  while (p < bytes.size()) {
    if (bytes.size() - p < 2) return -1;
    const uint16_t n = get_u16(bytes.data() + p);
    p += 2;
    if (n == FIELD_NULL_LENGTH) {
      out->push_back({{}, true});
      continue;
    }
    if (bytes.size() - p < n) return -1;
    out->push_back({{reinterpret_cast<const char*>(bytes.data() + p), n}, false});
    p += n;
  }
  return 0;
}

}  // namespace tavrel
