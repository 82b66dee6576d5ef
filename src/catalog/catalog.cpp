// The catalogue's binding to a session and the formatting of its statements.
#include <cstring>

#include "catalog/catalog_state.h"

namespace tavrel {

namespace {
CatalogState g_state;
}

CatalogState& catalog_state() { return g_state; }
const std::string& catalog_user() { return g_state.user; }
// Before a session is bound the requests go out on a block without a channel, which the
// kernel refuses like any unknown session.
RequestBlock* catalog_block() {
  static RequestBlock unbound{};
  return g_state.block != nullptr ? g_state.block : &unbound;
}

void catalog_bind(RequestBlock* block, const char* user_name) {
  g_state.block = block;
  g_state.user = user_name;
  while (!g_state.user.empty() && g_state.user.back() == ' ') g_state.user.pop_back();
  set_command(block, "PROC");
}

void catalog_release() { std::vector<CatalogRow>().swap(g_state.rows); }

std::string catalog_format(const char* format, const char* first, const char* second) {
  std::string out;
  int used = 0;
  for (const char* p = format; *p != '\0'; ++p) {
    if (p[0] == '%' && p[1] == 's') {
      out += used++ == 0 ? first : second;
      ++p;
    } else {
      out += *p;
    }
  }
  return out;
}

std::string catalog_format_id(const char* format, uint32_t id) {
  std::string out;
  const char* at = std::strstr(format, "%ld");
  out.assign(format, static_cast<size_t>(at - format));
  out += std::to_string(id);
  out += at + 3;
  return out;
}

}  // namespace tavrel
