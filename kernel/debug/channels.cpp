// The live sessions by channel number (see channels.h). The directory's lock is held while a
// job is posted, so the session cannot be removed and stopped meanwhile; it is taken before a
// session's own lock.
#include "kernel/debug/channels.h"

#include <map>
#include <mutex>

#include "kernel/worker.h"
#include "protocol/codes.h"

namespace tavrel::kernel {

namespace {

struct Directory {
  std::mutex lock;
  std::map<uint16_t, Session*> sessions;
};

Directory& directory() {
  static Directory d;
  return d;
}

}  // namespace

void channels_add(Session* s) {
  Directory& d = directory();
  std::lock_guard hold(d.lock);
  d.sessions[s->channel] = s;
}

void channels_remove(Session* s) {
  Directory& d = directory();
  std::lock_guard hold(d.lock);
  const auto it = d.sessions.find(s->channel);
  if (it != d.sessions.end() && it->second == s) d.sessions.erase(it);
}

uint32_t channels_post_job(uint16_t channel, const Session* requester, SessionJob job) {
  Directory& d = directory();
  std::lock_guard hold(d.lock);
  const auto it = d.sessions.find(channel);
  if (it == d.sessions.end() || it->second == requester || it->second->client_pid != requester->client_pid) {
    return DEBUGGER_BAD_PARAMETER;
  }
  return session_post_job(it->second, std::move(job)) ? 0u : uint32_t{DEBUGGER_CHANNEL_BUSY};
}

}  // namespace tavrel::kernel
