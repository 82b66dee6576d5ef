// Parked frames and variable tables (see frames.h).
#include "kernel/debug/frames.h"

#include "kernel/debug/hooks.h"
#include "kernel/engine/executor.h"
#include "kernel/text.h"
#include "text/unicode.h"
#include "values/value_wire.h"

namespace tavrel::kernel {

namespace {

// The name the locals give the return value.
constexpr const char* RESULT_NAME = "RESULT";

// A variable's value as the debugger shows it: a cursor is of type CURSOR without payload.
Value shown_value(const Frame& f, size_t index) {
  if (f.unit->vars[index].spec.type == TYPE_CURSOR) {
    Value v = make_none();
    v.type = TYPE_CURSOR;
    return v;
  }
  return f.vars[index];
}

std::vector<uint8_t> wire_of(const Value& v) {
  std::vector<uint8_t> out;
  value_wire_put(v, &out);
  return out;
}

}  // namespace

bool parked_frame(DebugClient* c, uint16_t id, ParkedFrame* out) {
  for (const std::shared_ptr<DebugTarget>& t : c->targets) {
    if (!t->parked || t->parked_record == nullptr) continue;
    for (Frame* f = t->parked_record->frame; f != nullptr; f = f->caller) {
      if (f->record.id != id) continue;
      *out = ParkedFrame{t.get(), f};
      return true;
    }
  }
  return false;
}

bool parked_in(const DebugClient* c, int32_t proc_id) {
  for (const std::shared_ptr<DebugTarget>& t : c->targets) {
    if (!t->parked || t->parked_record == nullptr) continue;
    for (const Frame* f = t->parked_record->frame; f != nullptr; f = f->caller) {
      if (f->record.proc_id == proc_id) return true;
    }
  }
  return false;
}

std::vector<StackEntry> frame_stack(const Frame& f) {
  std::vector<StackEntry> out;
  for (const Frame* p = &f; p != nullptr && out.size() < STACK_ENTRIES_MAX; p = p->caller) {
    const ExecRecord& r = p->record;
    out.push_back(StackEntry{static_cast<uint32_t>(r.proc_id), static_cast<uint32_t>(r.line.load()), r.id,
                             static_cast<uint16_t>(r.flags.load())});
  }
  return out;
}

std::vector<LocalEntry> frame_locals(const Frame& f, uint16_t codepage) {
  std::vector<LocalEntry> out;
  const Unit& u = *f.unit;
  for (size_t i = 0; i < u.vars.size(); ++i) {
    out.push_back(LocalEntry{static_cast<uint16_t>(i + 1), text_from_utf8(cp866_to_utf8(u.vars[i].name), codepage),
                             wire_of(shown_value(f, i))});
  }
  if (u.has_result) out.push_back(LocalEntry{VARIABLE_NONE, RESULT_NAME, wire_of(f.result)});
  return out;
}

uint32_t frame_value(const Frame& f, uint16_t index, std::vector<uint8_t>* out) {
  const Unit& u = *f.unit;
  if (index == VARIABLE_NONE) {
    if (!u.has_result) return DEBUGGER_BAD_PARAMETER;
    *out = wire_of(f.result);
    return 0;
  }
  if (index >= u.vars.size()) return DEBUGGER_BAD_PARAMETER;
  *out = wire_of(shown_value(f, index));
  return 0;
}

uint32_t frame_set(const ParkedFrame& p, uint16_t number, std::span<const uint8_t> wire) {
  Frame& f = *p.frame;
  const Unit& u = *f.unit;
  if (number == 0 || number > u.vars.size()) return DEBUGGER_BAD_PARAMETER;
  const size_t index = number - 1u;
  if (u.vars[index].spec.type == TYPE_CURSOR) return DEBUGGER_BAD_PARAMETER;
  WireStore texts;
  Value v;
  if (value_wire_get(wire, &texts, &v) == 0) return DEBUGGER_BAD_PARAMETER;
  if (frame_assign(f, static_cast<int>(index), v) != 0) return DEBUGGER_BAD_PARAMETER;
  // The debugger's own assignment is no change an on-change breakpoint stops for.
  for (FrameWatch& w : p.target->frames) {
    if (w.record == &f.record) watch_refresh(w);
  }
  return 0;
}

uint32_t table_open(DebugClient* c, std::shared_ptr<const Unit> unit, uint16_t* handle) {
  if (c->tables.size() >= VARIABLE_TABLES_MAX) return DEBUGGER_TOO_MANY_PROCEDURES;
  // Handles count up from 1 and skip those in use; 0 is never one.
  while (c->next_table == 0 || c->tables.count(c->next_table) != 0) ++c->next_table;
  *handle = c->next_table++;
  c->tables.emplace(*handle, std::move(unit));
  return 0;
}

uint32_t table_release(DebugClient* c, uint16_t handle) {
  return c->tables.erase(handle) != 0 ? 0u : uint32_t{DEBUGGER_BAD_PARAMETER};
}

uint32_t table_find(const DebugClient* c, uint16_t handle, std::string_view name, uint16_t* number, uint8_t* type) {
  const auto it = c->tables.find(handle);
  if (it == c->tables.end()) return DEBUGGER_BAD_PARAMETER;
  *number = VARIABLE_NONE;
  *type = 0;
  const Unit& u = *it->second;
  for (size_t i = 0; i < u.vars.size(); ++i) {
    if (u.vars[i].name != name) continue;
    *number = static_cast<uint16_t>(i + 1);
    *type = u.vars[i].spec.type;
    break;
  }
  return 0;
}

}  // namespace tavrel::kernel
