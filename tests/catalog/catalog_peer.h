// A scripted kernel peer for the catalogue's tests: every call is recorded (command, fields,
// the statement text) and answered by the test's handler; the screen is an 80x25 virtual
// console, where a message box with no key waiting is left with Esc.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "catalog/catalog.h"
#include "text/unicode.h"
#include "platform/virtual_console.h"
#include "tui/keyboard.h"
#include "tui/screen.h"

namespace tavrel {

struct PeerCall {
  std::string command;
  uint32_t position, argument;
  uint16_t answer_length;
  std::string statement;
};

// The handler fills the answer and the block's fields and returns the code.
using PeerHandler = std::function<uint32_t(const PeerCall& call, RequestBlock* block, uint8_t* answer)>;

inline std::vector<PeerCall> g_calls;
inline PeerHandler g_handler;

inline uint32_t peer_call(RequestBlock* b, const void*, const void* buffer2, void*, void* answer) {
  PeerCall c{std::string(b->command, 4), b->position, b->argument, b->answer_length,
             buffer2 != nullptr ? std::string(static_cast<const char*>(buffer2)) : std::string()};
  g_calls.push_back(c);
  const uint32_t rc = g_handler ? g_handler(c, b, static_cast<uint8_t*>(answer)) : 2;
  b->return_code = rc;
  return rc;
}

inline void put32(uint8_t* p, uint32_t v) { std::memcpy(p, &v, 4); }
inline void put16(uint8_t* p, uint16_t v) { std::memcpy(p, &v, 2); }
inline std::string cp866(const char* utf8) { return utf8_to_cp866(utf8); }

class CatalogTest : public ::testing::Test {
 protected:
  RequestBlock block{};
  void SetUp() override {
    virtual_console_reset(80, 25);
    console_select(virtual_console());
    ASSERT_EQ(screen_start(), DISPLAY_CONSOLE);
    ui_set_pause_hook([](int) {});
    clear_stuffed_keys();
    g_calls.clear();
    g_handler = nullptr;
    kernel_call_set(peer_call);
    catalog_bind(&block, "DEMO      ");
  }
  void TearDown() override {
    kernel_call_set(nullptr);
    catalog_release();
    while (window_active() != nullptr) window_close();
    screen_shutdown();
  }
  // The commands of the recorded calls, in order.
  std::string commands() const {
    std::string s;
    for (const PeerCall& c : g_calls) s += (s.empty() ? "" : ",") + c.command;
    return s;
  }
};

inline void push_enter() { virtual_console_push_key(0, 0x1C, 0x0D, 0); }

}  // namespace tavrel
