// The connection's holder, checked: the asserts catch a thread using a session's SQLite
// connection (or the request state beside it) while another thread holds it.
#include "kernel/connection.h"

#include <cassert>

namespace tavrel::kernel {

void connection_hold(Connection* c) {
  assert(c->holder.load() == std::thread::id() && "a session's connection has one holder at a time");
  c->holder.store(std::this_thread::get_id());
}

void connection_release(Connection* c) {
  assert(connection_held_here(*c) && "only the holder gives the connection back");
  c->holder.store(std::thread::id());
}

bool connection_held_here(const Connection& c) { return c.holder.load() == std::this_thread::get_id(); }

sqlite3* connection_db(const Connection& c) {
  assert(connection_held_here(c) && "the connection is used by the thread that holds it");
  return c.db;
}

}  // namespace tavrel::kernel
