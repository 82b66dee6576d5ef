// Fuzz target for the help-file reader: any bytes as a help file, every topic of it read;
// a malformed file must give result 3 or 2, never a crash or a read outside the file.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "tui/help_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace tavrel;
  if (help_check_signature(data, size) != HELP_OK) return 0;
  static auto topic = std::make_unique<HelpTopic>();
  int count = size >= 2 ? (data[0] | data[1] << 8) : 0;
  for (int n = -1; n <= count && n < 2000; n++) {
    int result = help_load_topic(data, size, n, topic.get());
    if (result != HELP_OK && result != HELP_NO_TOPIC && result != HELP_BAD_FORMAT) std::abort();
    if (result == HELP_OK && (topic->line_count > HELP_MAX_LINES || topic->page_count < 1)) std::abort();
  }
  return 0;
}
