// Debug sessions on procedures and their breakpoints (see procs.h).
#include "kernel/debug/procs.h"

#include <algorithm>

#include "kernel/debug/hooks.h"
#include "kernel/engine/registry.h"

namespace tavrel::kernel {

namespace {

// The stop table and the watched variables again, after any change of the breakpoints or
// of the run-to-cursor line. Frames take the new table when they are armed next.
void rebuild(ProcDebug& pd) {
  auto table = std::make_shared<StopTable>();
  const Unit& u = *pd.unit;
  table->at.assign(u.code.size(), 0);
  for (size_t pc = 0; pc < u.code.size(); ++pc) {
    const int32_t line = u.code[pc].line;
    uint8_t marks = 0;
    for (const KernelBreakpoint& b : pd.breakpoints) {
      if (b.kind != BREAKPOINT_CHANGE && static_cast<int64_t>(b.line) == line) marks |= STOP_BREAKPOINT;
    }
    if (pd.cursor_line == line) marks |= STOP_CURSOR;
    table->at[pc] = marks;
    if (marks != 0) table->any = true;
  }
  pd.table = std::move(table);
  pd.watched.clear();
  for (const KernelBreakpoint& b : pd.breakpoints) {
    for (int v : b.variables) {
      if (b.kind == BREAKPOINT_CHANGE && std::find(pd.watched.begin(), pd.watched.end(), v) == pd.watched.end()) {
        pd.watched.push_back(v);
      }
    }
  }
}

// The variables of a request as indices from 0, or false when one is out of range. A
// condition's numbers carry VARIABLE_NUMBER_OFFSET; an on-change one's are plain.
bool variable_indices(const Unit& u, const BreakpointRequest& r, std::vector<int>* out) {
  out->clear();
  const uint32_t offset = r.kind == BREAKPOINT_CONDITION ? VARIABLE_NUMBER_OFFSET : uint32_t{0};
  for (uint16_t n : r.variables) {
    if (n <= offset || n - offset > u.vars.size()) return false;
    out->push_back(static_cast<int>(n - offset - 1));
  }
  return true;
}

}  // namespace

bool unit_has_line(const Unit& u, uint32_t line) {
  return std::any_of(u.code.begin(), u.code.end(),
                     [line](const Statement& s) { return s.line >= 0 && static_cast<uint32_t>(s.line) == line; });
}

bool proc_refresh(ProcDebug& pd, std::shared_ptr<const Unit> unit) {
  if (unit == nullptr) unit = registry_kept_unit(pd.proc_id);
  if (unit == nullptr || unit == pd.unit || !unit->debug) return false;
  pd.unit = std::move(unit);
  const size_t vars = pd.unit->vars.size();
  std::erase_if(pd.breakpoints, [vars](const KernelBreakpoint& b) {
    return std::any_of(b.variables.begin(), b.variables.end(), [vars](int v) { return static_cast<size_t>(v) >= vars; });
  });
  rebuild(pd);
  return true;
}

uint32_t proc_open(DebugState& g, DebugClient* c, int32_t proc_id, std::shared_ptr<const Unit> unit) {
  if (const auto it = g.procs.find(proc_id); it != g.procs.end()) {
    if (it->second.client != c) return DEBUGGER_DEBUGGED_ELSEWHERE;
    proc_refresh(it->second, std::move(unit));
    return 0;
  }
  const auto held = std::count_if(g.procs.begin(), g.procs.end(), [c](const auto& e) { return e.second.client == c; });
  if (static_cast<size_t>(held) >= DEBUG_SESSIONS_MAX) return DEBUGGER_TOO_MANY_PROCEDURES;
  ProcDebug& pd = g.procs[proc_id];
  pd.proc_id = proc_id;
  pd.client = c;
  pd.unit = std::move(unit);
  rebuild(pd);
  return 0;
}

uint32_t proc_close(DebugState& g, DebugClient* c, int32_t proc_id) {
  const auto it = g.procs.find(proc_id);
  if (it == g.procs.end() || it->second.client != c) return DEBUGGER_SESSION_NOT_OPEN;
  g.procs.erase(it);
  return 0;
}

uint32_t proc_breakpoint_set(ProcDebug& pd, const BreakpointRequest& request) {
  const Unit& u = *pd.unit;
  KernelBreakpoint b;
  b.kind = request.kind;
  b.number = request.number;
  switch (request.kind) {
    case BREAKPOINT_LINE:
    case BREAKPOINT_CONDITION:
      if (!unit_has_line(u, request.line)) return DEBUGGER_BAD_LINE;
      b.line = request.line;
      // The client evaluates a condition itself; its variables are checked, not kept.
      if (std::vector<int> unused; !variable_indices(u, request, &unused)) return DEBUGGER_BAD_PARAMETER;
      break;
    case BREAKPOINT_CHANGE:
      if (request.variables.empty() || !variable_indices(u, request, &b.variables)) return DEBUGGER_BAD_PARAMETER;
      break;
    default:
      return DEBUGGER_BAD_PARAMETER;
  }
  // The breakpoint a set replaces: an on-change one watching the same variables; on a line, the
  // ordinary one there, or the conditional one with the same number. A record whose kind
  // changed between ordinary and conditional in the client's dialog is sent again without a
  // clear, and must not leave its old form in force; conditional ones with other numbers (other
  // conditions) stay beside it.
  const auto same = std::find_if(pd.breakpoints.begin(), pd.breakpoints.end(), [&b](const KernelBreakpoint& k) {
    if (b.kind == BREAKPOINT_CHANGE) return k.kind == BREAKPOINT_CHANGE && k.variables == b.variables;
    if (k.kind == BREAKPOINT_CHANGE || k.line != b.line) return false;
    return k.kind == BREAKPOINT_LINE || k.number == b.number;
  });
  if (same != pd.breakpoints.end()) {
    same->kind = b.kind;
    same->number = b.number;
    rebuild(pd);
    return 0;
  }
  if (pd.breakpoints.size() >= BREAKPOINTS_MAX) return DEBUGGER_TOO_MANY_BREAKPOINTS;
  pd.breakpoints.push_back(std::move(b));
  rebuild(pd);
  return 0;
}

uint32_t proc_breakpoint_clear(ProcDebug& pd, const BreakpointRequest& request) {
  std::vector<int> variables;
  if (request.kind == BREAKPOINT_CHANGE && !variable_indices(*pd.unit, request, &variables)) {
    return DEBUGGER_BAD_PARAMETER;
  }
  if (request.kind != BREAKPOINT_LINE && request.kind != BREAKPOINT_CONDITION && request.kind != BREAKPOINT_CHANGE) {
    return DEBUGGER_BAD_PARAMETER;
  }
  // The latest one set goes first.
  for (auto it = pd.breakpoints.rbegin(); it != pd.breakpoints.rend(); ++it) {
    const bool match = it->kind == request.kind &&
                       (request.kind == BREAKPOINT_CHANGE ? it->variables == variables : it->line == request.line);
    if (!match) continue;
    pd.breakpoints.erase(std::next(it).base());
    rebuild(pd);
    break;
  }
  return 0;
}

uint32_t proc_cursor(ProcDebug& pd, uint32_t line, bool set) {
  if (set && !unit_has_line(*pd.unit, line)) return DEBUGGER_BAD_LINE;
  pd.cursor_line = set ? static_cast<int64_t>(line) : -1;
  rebuild(pd);
  return 0;
}

void proc_cursors_clear(DebugState& g, const DebugClient* c) {
  for (auto& [id, pd] : g.procs) {
    if (pd.client == c && pd.cursor_line >= 0) {
      pd.cursor_line = -1;
      rebuild(pd);
      targets_rearm(c, id);
    }
  }
}

}  // namespace tavrel::kernel
