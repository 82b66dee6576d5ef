// The stand-in for the procedure engine that the kernel links while the engine is not in
// the tree (kernel/CMakeLists.txt): what it was asked to do, for the tests that look at how
// the kernel calls it. Tests that need real execution are skipped while it stands in
// (TAVREL_ENGINE_STUB is defined for them).
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace tavrel::kernel {

// One call of engine_fire_trigger: the trigger and the row values as text ("NULL" for NULL).
struct StubFiring {
  int32_t trigger_id;
  std::vector<std::string> new_row;
  std::vector<std::string> old_row;
};

struct StubLog {
  std::mutex lock;
  std::vector<StubFiring> firings;
  std::vector<std::string> statements;  // engine_statement_triggers: "before SQL" / "after SQL"
  int interrupts = 0;
  std::vector<int32_t> forgotten;
};

StubLog& engine_stub_log();

// A row trigger's action refuses its statement when a NEW value is this text: the error
// names the exception, as a real action's would.
constexpr const char* STUB_REFUSE = "REFUSE";
constexpr const char* STUB_REFUSAL_TEXT = "exception APPLICATIONERROR raised by the trigger";

}  // namespace tavrel::kernel
