// The live sessions by channel number, for a request of one session that hands work to
// another: the debugger runs a statement on its client's internal channel. The server adds a
// session once it is started and removes it before it stops, so that nothing is posted to a
// session that is ending.
#pragma once

#include <cstdint>

#include "kernel/session.h"

namespace tavrel::kernel {

void channels_add(Session* s);
void channels_remove(Session* s);

// Posts a job to the session of `channel`: another session than `requester`, of the same
// client process. 0, DEBUGGER_BAD_PARAMETER when there is no such session, or
// DEBUGGER_CHANNEL_BUSY when a request of its own runs or waits there.
uint32_t channels_post_job(uint16_t channel, const Session* requester, SessionJob job);

}  // namespace tavrel::kernel
