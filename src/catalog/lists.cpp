// The two pick lists of the catalogue: " Процедуры " from the kernel's procedure listing in
// 4096-byte portions (trigger actions hidden when dropping, otherwise shown with their
// trigger's name in parentheses), and " Триггеры " from the trigger statement, row by row.
#include <cstdio>
#include <cstring>

#include "catalog/catalog_state.h"
#include "tui/hints.h"
#include "tui/messages.h"
#include "tui/msgbox.h"
#include "tui/picklist.h"
#include "tui/screen.h"

namespace tavrel {

namespace {

const char* const TRIGGER_OF_ACTION =
    "select $$$trig.$$$name from system.$$$trig $$$trig, system.$$$proc $$$proc where $$$proc.$$$name = "
    "'%s' and $$$proc.$$$id = $$$trig.$$$proc;";
const char* const USER_TRIGGERS =
    "select $$$proc, $$$name from system.$$$trig,system.$$$usr where $$$s32 = 0 and $$$s31 > 0 and "
    "$$$s34 =  '%s' and $$$s31=$$$owner;";
constexpr char ACTION_PREFIX[] = "Trigger #";
constexpr size_t ACTION_PREFIX_LENGTH = sizeof ACTION_PREFIX - 1;
constexpr size_t TRIGGER_COLUMN = 66;   // "(" of a trigger action's row
constexpr size_t ROW_CUT = 133;         // where the trigger's name is cut before ")"
constexpr uint32_t ROWS_RESERVED = 1024;
// The whole width: a trigger action's row names its trigger from column 66 on.
constexpr int LIST_TOP = 2, LIST_LEFT = 0, LIST_BOTTOM = 21, LIST_RIGHT = 79;


void row_set_text(CatalogRow* row, const char* text, size_t length) {
  std::memset(row->text, ' ', sizeof row->text);
  if (length > NAME_BYTES) length = NAME_BYTES;
  std::memcpy(row->text, text, length);
  row->text[length] = '\0';
}

// Fills the rest of a trigger action's row: "(", its trigger's name, ")".
void add_trigger_name(CatalogRow* row) {
  RequestBlock* b = catalog_block();
  const std::string name = row_name(*row);
  const std::string statement = catalog_format(TRIGGER_OF_ACTION, name.c_str());
  row->text[std::strlen(row->text)] = ' ';
  row->text[TRIGGER_COLUMN] = '(';
  char answer[NAME_BYTES] = {};
  set_command(b, "SLCT");
  b->answer_length = NAME_BYTES;
  const uint32_t rc = kernel_call(b, nullptr, statement.c_str(), nullptr, answer);
  set_command(b, "PROC");
  if (rc != 0 && rc != KERNEL_NO_MORE_ROWS) report_kernel_error(b, rc, b->system_code);
  if (rc == 0) std::memcpy(row->text + TRIGGER_COLUMN + 1, answer, NAME_BYTES);
  row->text[ROW_CUT] = '\0';
  size_t end = std::strlen(row->text);
  while (end > TRIGGER_COLUMN + 1 && row->text[end - 1] == ' ') --end;
  row->text[end] = ')';
  row->text[end + 1] = '\0';
}

// One portion of the procedure listing; the code, the names in it and the continuation key.
uint32_t list_portion(uint32_t key, std::vector<uint8_t>* answer, int* names, uint32_t* next) {
  RequestBlock* b = catalog_block();
  set_command(b, "PROC");
  b->position = PROC_LIST_PROCEDURES;
  b->argument = key;
  b->answer_length = PROC_PORTION;
  answer->assign(PROC_PORTION, 0);
  const uint32_t rc = kernel_call(b, nullptr, nullptr, nullptr, answer->data());
  if (rc != 0) {
    report_kernel_error(b, rc, b->system_code);
    return rc;
  }
  const size_t length = b->answer_length < 4 ? 4 : (b->answer_length > PROC_PORTION ? PROC_PORTION : b->answer_length);
  const std::span<const uint8_t> portion(answer->data(), length);
  *names = static_cast<int>(proc_list_count(portion.size()));
  *next = proc_list_key(portion);
  return 0;
}

int row_text(int index, char* out, int capacity, void*) {
  const std::vector<CatalogRow>& rows = catalog_state().rows;
  if (index < 0 || index >= static_cast<int>(rows.size())) return 0;
  std::snprintf(out, static_cast<size_t>(capacity), "%s", rows[static_cast<size_t>(index)].text);
  return 1;
}

int run_list(int title) {
  const int count = catalog_row_count();
  if (count == 0) return 0;
  PickList list;
  picklist_init(&list, row_text, nullptr, count);
  const int chosen = picklist_run(&list, LIST_TOP, LIST_LEFT, LIST_BOTTOM, LIST_RIGHT, message_text(title),
                                  title == MSG_LIST_PROCEDURES ? HELP_PROC_CHOICE : HELP_TRIGGER_CHOICE);
  return chosen < 0 ? 0 : chosen + 1;
}

}  // namespace

std::string row_name(const CatalogRow& row) {
  std::string name(row.text, NAME_BYTES);
  name.resize(std::strlen(name.c_str()));
  while (!name.empty() && name.back() == ' ') name.pop_back();
  return name;
}

const CatalogRow* catalog_rows() { return catalog_state().rows.data(); }
int catalog_row_count() { return static_cast<int>(catalog_state().rows.size()); }

int fill_procedure_list(bool for_drop) {
  std::vector<CatalogRow>& rows = catalog_state().rows;
  catalog_release();
  std::vector<uint8_t> answer;
  int names = 0;
  uint32_t next = 0;
  if (list_portion(1, &answer, &names, &next) != 0) return 0;
  rows.reserve(static_cast<size_t>(names));
  for (;;) {
    for (int i = 0; i < names; ++i) {
      const char* name = reinterpret_cast<const char*>(proc_list_name(answer, static_cast<size_t>(i)).data());
      const bool action = std::strncmp(name, ACTION_PREFIX, ACTION_PREFIX_LENGTH) == 0;
      if (action && for_drop) continue;
      CatalogRow row{};
      row_set_text(&row, name, strnlen(name, NAME_BYTES));
      row.procedure_id = 0;
      if (action) add_trigger_name(&row);
      rows.push_back(row);
    }
    if (next == 0) break;
    if (list_portion(next, &answer, &names, &next) != 0) break;
  }
  set_command(catalog_block(), "PROC");
  return catalog_row_count();
}

int fill_trigger_list() {
  std::vector<CatalogRow>& rows = catalog_state().rows;
  catalog_release();
  RequestBlock* b = catalog_block();
  const std::string statement = catalog_format(USER_TRIGGERS, catalog_user().c_str());
  uint8_t row_buffer[ROW_TRIGGER] = {};
  set_command(b, "SLCT");
  b->answer_length = ROW_TRIGGER;
  uint32_t rc = kernel_call(b, nullptr, statement.c_str(), nullptr, row_buffer);
  set_command(b, "GETN");
  if (rc != 0 && rc != KERNEL_NO_MORE_ROWS && rc != KERNEL_NOT_FOUND) {
    report_kernel_error(b, rc, b->system_code);
    set_command(b, "PROC");
    return 0;
  }
  const uint32_t count = rc == 0 ? b->argument : 0;
  if (count == 0) {
    msgbox_info(message_text(MSG_NO_TRIGGERS));
    set_command(b, "PROC");
    return 0;
  }
  // The count is the kernel's word: room grows with the rows that really come.
  rows.reserve(count < ROWS_RESERVED ? count : ROWS_RESERVED);
  for (uint32_t i = 0; i < count; ++i) {
    if (rc != 0) break;
    CatalogRow row{};
    TriggerRow trigger;
    trigger_row_read(row_buffer, &trigger);
    row_set_text(&row, trigger.name, strnlen(trigger.name, NAME_BYTES));
    row.procedure_id = trigger.procedure_id;
    rows.push_back(row);
    set_command(b, "GETN");
    b->answer_length = ROW_TRIGGER;
    rc = kernel_call(b, nullptr, nullptr, nullptr, row_buffer);
    if (rc != 0 && rc != KERNEL_NO_MORE_ROWS) report_kernel_error(b, rc, b->system_code);
  }
  set_command(b, "PROC");
  return catalog_row_count();
}

int choose_procedure(bool for_drop) {
  if (fill_procedure_list(for_drop) == 0) return 0;
  return run_list(MSG_LIST_PROCEDURES);
}

int choose_trigger() {
  if (fill_trigger_list() == 0) return 0;
  return run_list(MSG_LIST_TRIGGERS);
}

}  // namespace tavrel
