// The texts that GETE gives for the kernel's return codes (the numbers are the protocol's).
#pragma once

#include <cstdint>

#include "protocol/codes.h"

namespace tavrel::kernel {

// The kernel's text for a code (UTF-8), or nullptr when it has none.
const char* kernel_error_text(uint32_t code);

}  // namespace tavrel::kernel
