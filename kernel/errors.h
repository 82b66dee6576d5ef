// The kernel's return codes and the texts that GETE gives for them.
#pragma once

#include <cstdint>

namespace tavrel::kernel {

constexpr uint32_t KERNEL_END_OF_DATA = 2;
constexpr uint32_t KERNEL_UNKNOWN_USER = 1025;
constexpr uint32_t KERNEL_WRONG_PASSWORD = 1026;
constexpr uint32_t KERNEL_BAD_CHANNEL = 1069;
constexpr uint32_t KERNEL_TOO_MANY_SESSIONS = 1070;
constexpr uint32_t KERNEL_INTERRUPTED = 1071;
constexpr uint32_t KERNEL_MALFORMED = 1072;
constexpr uint32_t KERNEL_UNSUPPORTED = 1073;
constexpr uint32_t KERNEL_BAD_CONNECT_STRING = 1074;
constexpr uint32_t KERNEL_NO_SELECT = 1075;
// An answer (a row) longer than 65,535 bytes, which no answer length can describe.
constexpr uint32_t KERNEL_ANSWER_TOO_LONG = 1076;
// A select whose rows together exceed what the kernel keeps for one select.
constexpr uint32_t KERNEL_RESULT_TOO_LARGE = 1077;
constexpr uint32_t KERNEL_SQL_ERROR = 2001;
constexpr uint32_t KERNEL_NO_OBJECT = 2002;
constexpr uint32_t KERNEL_CONSTRAINT = 2003;
constexpr uint32_t KERNEL_BUSY = 2004;
constexpr uint32_t KERNEL_PROC_MISSING = 2229;
constexpr uint32_t KERNEL_PROC_EXISTS = 2245;
constexpr uint32_t KERNEL_TRIGGER_EXISTS = 2257;
constexpr uint32_t KERNEL_TRANSLATION_ERRORS = 7200;

// The kernel's text for a code (UTF-8), or nullptr when it has none.
const char* kernel_error_text(uint32_t code);

}  // namespace tavrel::kernel
