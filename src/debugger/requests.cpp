// The debugger's PROC requests: fields, data and answers, one builder per sub-command, and
// the further channels (OPEN and CLOS) that a run and an interruption need.
#include "debugger/requests.h"

#include <algorithm>
#include <cstring>

#include "debugger/debugger.h"
#include "protocol/bytes.h"
#include "protocol/codes.h"

namespace tavrel {

namespace {

// Requests of the views' messages are repeated while the kernel says it keeps more; a
// kernel that always says so is not followed further than this.
constexpr int PRINTED_ROUNDS_MAX = 64;

// An answer that does not hold its layout counts as a failed exchange.
constexpr int MALFORMED_ANSWER = static_cast<int>(CHANNEL_EXCHANGE_FAILED);

std::span<const uint8_t> answer_bytes(const Debugger& d) {
  return {d.answer.data(), std::min<size_t>(d.block->answer_length, d.answer.size())};
}

}  // namespace

void* proc_prepare(Debugger& d, uint32_t subcommand, uint32_t argument, std::span<const uint8_t> data,
                   uint16_t room, int* status) {
  *status = 0;
  if (data.size() > room || room > d.answer.size()) {
    *status = DBG_TOO_LONG;
    return nullptr;
  }
  RequestBlock* b = d.block;
  std::memcpy(b->command, "PROC", 4);
  b->position = subcommand;
  b->argument = argument;
  b->answer_length = room;
  if (room == 0) return nullptr;
  // The channel sends the area up to the answer length without its trailing zeros: what
  // lies there must be the data and zeros only.
  std::memset(d.answer.data(), 0, room);
  if (!data.empty()) std::memcpy(d.answer.data(), data.data(), data.size());
  return d.answer.data();
}

int proc_call(Debugger& d, uint32_t subcommand, uint32_t argument, std::span<const uint8_t> data,
              uint16_t room) {
  if (d.block == nullptr) return static_cast<int>(CHANNEL_MISSING_BUFFER);
  int status;
  void* answer = proc_prepare(d, subcommand, argument, data, room, &status);
  if (status != 0) return status;
  d.block->flags &= ~REQUEST_ASYNC;
  return static_cast<int>(d.calls.call(d.block, nullptr, nullptr, nullptr, answer, nullptr));
}

int request_open_session(Debugger& d, std::string_view name, uint32_t id, uint32_t* procedure_id) {
  std::vector<uint8_t> data;
  if (id != 0) {
    data.resize(PROC_OPEN_BY_ID_SIZE);
    data[0] = 0;
    put_u32(data.data() + 1, id);
  } else {
    if (name.empty() || name.size() > 0xFF) return DBG_TOO_LONG;
    data.push_back(static_cast<uint8_t>(name.size()));
    data.insert(data.end(), name.begin(), name.end());
  }
  const int code = proc_call(d, PROC_OPEN_SESSION, 0, data, static_cast<uint16_t>(data.size()));
  if (code == 0) *procedure_id = d.block->argument;
  return code;
}

int request_close_session(Debugger& d, uint32_t procedure_id) {
  return proc_call(d, PROC_CLOSE_SESSION, procedure_id, {}, 0);
}

int request_temp_breakpoint(Debugger& d, uint32_t procedure_id, uint32_t line, bool set) {
  uint8_t data[TEMP_BREAKPOINT_SIZE];
  temp_breakpoint_write({line, set}, data);
  return proc_call(d, PROC_TEMP_BREAKPOINT, procedure_id, data, TEMP_BREAKPOINT_SIZE);
}

int request_breakpoint(Debugger& d, uint32_t subcommand, uint32_t procedure_id,
                       const BreakpointRequest& request) {
  const size_t size = breakpoint_request_size(request);
  if (size > PROC_ANSWER) return DBG_TOO_LONG;
  std::vector<uint8_t> data(size);
  breakpoint_request_write(request, data);
  return proc_call(d, subcommand, procedure_id, data, static_cast<uint16_t>(size));
}

int request_variable_table(Debugger& d, uint32_t procedure_id, uint16_t* handle) {
  const int code = proc_call(d, PROC_VARIABLE_TABLE, procedure_id, {}, PROC_ANSWER);
  if (code == 0) *handle = static_cast<uint16_t>(d.block->argument);
  return code;
}

int request_release_table(Debugger& d, uint16_t handle) {
  return proc_call(d, PROC_RELEASE_TABLE, handle, {}, PROC_ANSWER);
}

int request_find_variable(Debugger& d, uint16_t handle, std::string_view name, uint16_t* number,
                          uint8_t* type) {
  if (name.empty() || name.size() > 0xFF) return DBG_TOO_LONG;
  std::vector<uint8_t> data;
  data.push_back(static_cast<uint8_t>(name.size()));
  data.insert(data.end(), name.begin(), name.end());
  const int code = proc_call(d, PROC_FIND_VARIABLE, handle, data, static_cast<uint16_t>(data.size()));
  if (code != 0) return code;
  *number = static_cast<uint16_t>(d.block->argument);
  *type = d.block->answer_length >= PROC_VARIABLE_TYPE_ANSWER ? d.answer[0] : 0;
  return 0;
}

int request_read_variable(Debugger& d, uint16_t execution, uint16_t number, std::vector<uint8_t>* wire) {
  if (number == 0) return DBG_NOTHING;
  uint8_t data[2];
  // Variables are asked by their place (number - 1); the return value by 65535.
  put_u16(data, number == VARIABLE_NONE ? VARIABLE_NONE : number - 1u);
  int code = proc_call(d, PROC_READ_VARIABLE, execution, data, PROC_VALUE_ANSWER);
  // A value longer than the room comes back as 1014 with the length it needs.
  if (code == static_cast<int>(CHANNEL_ANSWER_TOO_LONG) && d.block->answer_length > PROC_VALUE_ANSWER) {
    const uint16_t needed = d.block->answer_length;
    code = proc_call(d, PROC_READ_VARIABLE, execution, data, needed);
  }
  if (code != 0) return code;
  const auto answer = answer_bytes(d);
  wire->assign(answer.begin(), answer.end());
  return 0;
}

int request_assign_variable(Debugger& d, uint16_t execution, uint16_t number,
                            std::span<const uint8_t> wire) {
  // The number travels plus 20000 in 16 bits: the return value and numbers above 45535
  // cannot be named.
  if (number == 0 || number > 0xFFFF - VARIABLE_NUMBER_OFFSET) return DBG_REFUSED;
  if (wire.empty() || wire.size() > PROC_ANSWER - 2u) return DBG_TOO_LONG;
  std::vector<uint8_t> data(2);
  put_u16(data.data(), number + VARIABLE_NUMBER_OFFSET);
  data.insert(data.end(), wire.begin(), wire.end());
  return proc_call(d, PROC_ASSIGN_VARIABLE, execution, data, static_cast<uint16_t>(data.size()));
}

int request_abort(Debugger& d, uint16_t execution) {
  return proc_call(d, PROC_ABORT, execution, {}, 0);
}

int request_call_stack(Debugger& d, uint16_t execution, std::vector<StackEntry>* frames) {
  const int code = proc_call(d, PROC_CALL_STACK, execution, {}, PROC_ANSWER);
  if (code != 0) return code;
  return call_stack_read(answer_bytes(d), frames) == 0 ? 0 : MALFORMED_ANSWER;
}

int request_locals(Debugger& d, uint16_t execution, std::vector<LocalEntry>* locals) {
  const int code = proc_call(d, PROC_LOCALS, execution, {}, PROC_LARGE_ANSWER);
  if (code != 0) return code;
  return locals_read(answer_bytes(d), locals) == 0 ? 0 : MALFORMED_ANSWER;
}

int request_printed(Debugger& d, uint32_t procedure_id, std::vector<std::string>* messages) {
  messages->clear();
  std::vector<std::string> portion;
  for (int round = 0; round < PRINTED_ROUNDS_MAX; ++round) {
    const int code = proc_call(d, PROC_READ_TABLE, procedure_id, {}, PROC_LARGE_ANSWER);
    if (code != 0) return code;
    if (printed_messages_read(answer_bytes(d), &portion) != 0) return MALFORMED_ANSWER;
    messages->insert(messages->end(), portion.begin(), portion.end());
    // The count field tells how many messages the kernel still keeps; an answer that
    // brought none does not bring the rest either.
    if (d.block->argument == 0 || portion.empty()) break;
  }
  return 0;
}

int open_further_channel(const Debugger& d, RequestBlock* block) {
  *block = RequestBlock{};
  if (d.block != nullptr) std::memcpy(block->node, d.block->node, sizeof block->node);
  std::memcpy(block->command, "OPEN", 4);
  std::string codepage = d.codepage;
  void* buffer3 = codepage.empty() ? nullptr : codepage.data();
  const int code = static_cast<int>(d.calls.call(block, d.connect.c_str(), nullptr, buffer3, nullptr, nullptr));
  std::memcpy(block->command, "PROC", 4);
  return code;
}

void close_further_channel(const Debugger& d, RequestBlock* block) {
  std::memcpy(block->command, "CLOS", 4);
  d.calls.call(block, nullptr, nullptr, nullptr, nullptr, nullptr);
}

}  // namespace tavrel
