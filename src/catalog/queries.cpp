// The catalogue's requests on the system tables: the statements that find a procedure or a
// trigger by name and a name by identifier, and the reading of a stored text: its length
// from $$$BODY, then the text itself in GPRC portions of at most 4000 bytes.
#include <cstdio>
#include <cstring>

#include "catalog/catalog.h"
#include "catalog/catalog_state.h"

namespace tavrel {

namespace {

const char* const FIND_PROCEDURE =
    "select $$$id from system.$$$proc, system.$$$usr where $$$name = '%s' and $$$s32 = 0 and $$$s31 > 0 "
    "and $$$s34 =  '%s' and $$$s31=$$$owner;";
const char* const FIND_TRIGGER =
    "select $$$proc from system.$$$trig, system.$$$usr where $$$name = '%s' and $$$s32 = 0 and $$$s31 > 0 "
    "and $$$s34 =  '%s' and $$$s31=$$$owner;";
const char* const TEXT_LENGTH = "select $$$BODY from SYSTEM.$$$PROC where $$$ID = %ld and $$$OWNER <> 0;";
const char* const NAME_OF_PROCEDURE = "select $$$name from system.$$$proc where $$$id = %ld;";
const char* const NAME_OF_TRIGGER = "select $$$name from system.$$$trig where $$$proc = %ld;";


// Statement 1 or 2: a 4-byte identifier, 0 when none.
uint32_t find_by_name(const char* format, const char* name) {
  RequestBlock* b = catalog_block();
  const std::string statement = catalog_format(format, name, catalog_user().c_str());
  uint8_t answer[4] = {0, 0, 0, 0};
  set_command(b, "SLCT");
  b->answer_length = 4;
  const uint32_t rc = kernel_call(b, nullptr, statement.c_str(), nullptr, answer);
  set_command(b, "PROC");
  if (rc != 0) {
    if (rc != KERNEL_NO_MORE_ROWS) report_kernel_error(b, rc, b->system_code);
    return 0;
  }
  return get_u32(answer);
}

// A 66-byte name answer cut and trimmed.
std::string name_of(const char* answer) {
  std::string name(answer, NAME_BYTES);
  name.resize(std::strlen(name.c_str()));
  while (!name.empty() && name.back() == ' ') name.pop_back();
  return name;
}

}  // namespace

uint32_t find_procedure_by_name(const char* name) { return find_by_name(FIND_PROCEDURE, name); }
uint32_t find_trigger_by_name(const char* name) { return find_by_name(FIND_TRIGGER, name); }

std::string procedure_name_by_id(uint32_t id) {
  RequestBlock* b = catalog_block();
  char answer[NAME_BYTES + 2] = {};
  std::string statement = catalog_format_id(NAME_OF_PROCEDURE, id);
  set_command(b, "SLCT");
  b->answer_length = NAME_BYTES;
  uint32_t rc = kernel_call(b, nullptr, statement.c_str(), nullptr, answer);
  set_command(b, "PROC");
  if (rc != 0) {
    if (rc != KERNEL_NO_MORE_ROWS) report_kernel_error(b, rc, b->system_code);
    return "";
  }
  std::string name = name_of(answer);
  if (!name.empty()) return name;
  // A trigger's action procedure has no name of its own: it is shown by its trigger's.
  std::memset(answer, 0, sizeof answer);
  statement = catalog_format_id(NAME_OF_TRIGGER, id);
  set_command(b, "SLCT");
  b->answer_length = NAME_BYTES;
  rc = kernel_call(b, nullptr, statement.c_str(), nullptr, answer);
  set_command(b, "PROC");
  if (rc != 0) {
    if (rc != KERNEL_NO_MORE_ROWS && rc != KERNEL_NOT_FOUND) report_kernel_error(b, rc, b->system_code);
    return "";
  }
  return name_of(answer);
}

std::string trigger_name_by_action(uint32_t id) {
  RequestBlock* b = catalog_block();
  char answer[NAME_BYTES + 2] = {};
  const std::string statement = catalog_format_id(NAME_OF_TRIGGER, id);
  set_command(b, "SLCT");
  b->answer_length = NAME_BYTES;
  const uint32_t rc = kernel_call(b, nullptr, statement.c_str(), nullptr, answer);
  set_command(b, "PROC");
  if (rc != 0) {
    if (rc != KERNEL_NO_MORE_ROWS && rc != KERNEL_NOT_FOUND) report_kernel_error(b, rc, b->system_code);
    return "";
  }
  return name_of(answer);
}

bool read_procedure_text(uint32_t id, std::string* text) {
  RequestBlock* b = catalog_block();
  uint8_t body[ROW_BODY] = {};
  const std::string statement = catalog_format_id(TEXT_LENGTH, id);
  set_command(b, "SLCT");
  b->answer_length = ROW_BODY;
  uint32_t rc = kernel_call(b, nullptr, statement.c_str(), nullptr, body);
  set_command(b, "PROC");
  if (rc != 0) {
    report_kernel_error(b, rc, b->system_code);
    return false;
  }
  const uint32_t length = get_u32(body);
  if (length == 0) {
    b->return_code = KERNEL_EMPTY_TEXT;
    report_kernel_error(b, KERNEL_EMPTY_TEXT, 0);
    return false;
  }
  // A length no text can have is a broken answer, not a reason to ask for gigabytes.
  if (length > STORED_TEXT_MAX) {
    editor_no_memory();
    return false;
  }
  std::string buffer(length, '\0');
  uint32_t read = 0;
  uint32_t remaining = length;
  set_command(b, "GPRC");
  while (remaining > 0) {
    const uint16_t portion = remaining < TEXT_PORTION_MAX ? static_cast<uint16_t>(remaining) : TEXT_PORTION_MAX;
    b->answer_length = portion;
    b->position = read + 1;
    remaining -= portion;
    rc = kernel_call(b, nullptr, nullptr, nullptr, buffer.data() + read);
    if (rc != 0) {
      if (rc != KERNEL_NO_MORE_ROWS || read == 0) report_kernel_error(b, rc, b->system_code);
      break;
    }
    // The kernel says how much it gave; never more than was asked for.
    read += b->answer_length < portion ? b->answer_length : portion;
  }
  set_command(b, "PROC");
  buffer.resize(read);
  *text = std::move(buffer);
  return read > 0;
}

}  // namespace tavrel
