// A kernel session run in process, without a transport: a real session on a demo database
// in a temporary directory, with the engine's session and the trigger function on its
// connection as the server opens them; the test's thread holds its connection, as the worker
// would. Requests go in as the frames the channel sends.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "text/codepage.h"
#include "channel/framing.h"
#include "kernel/demo.h"
#include "kernel/dispatch.h"
#include "kernel/engine/engine.h"
#include "kernel/errors.h"
#include "kernel/select.h"
#include "kernel/session.h"
#include "kernel/storage.h"
#include "kernel/triggers.h"
#include "platform/ipc.h"

namespace tavrel::kernel {

inline constexpr uint32_t CLIENT_PID = 4242;

struct FrameSpec {
  const char* command;
  std::vector<std::string> parts = {"", "", "", ""};
  uint32_t position = 0;
  uint16_t answer_length = 0;
};

// A request frame as the channel sends it: slot word, block, the four parts, the trailer.
inline std::vector<uint8_t> frame_of(const FrameSpec& spec) {
  RequestBlock b{};
  std::memcpy(b.command, spec.command, 4);
  std::memset(b.node, ' ', 8);
  b.position = spec.position;
  b.answer_length = spec.answer_length;
  RequestParts parts{};
  for (size_t i = 0; i < 4; ++i) {
    parts.part[i] = {reinterpret_cast<const uint8_t*>(spec.parts[i].data()), spec.parts[i].size()};
  }
  std::vector<uint8_t> frame(FRAME_HEADER + request_data_length(parts) + FRAME_TRAILER);
  std::memcpy(frame.data() + 4, &b, sizeof b);
  request_write_data(parts, frame.data() + FRAME_HEADER);
  put_u32(frame.data() + frame.size() - FRAME_TRAILER, CLIENT_PID);
  return frame;
}

inline std::vector<uint8_t> select_frame(const std::string& sql, uint16_t capacity = 65535) {
  return frame_of({"SLCT", {"", sql, "", ""}, 0, capacity});
}

// The first column of an answer's first row.
inline std::string first_value(const KernelAnswer& a) {
  if (a.data.size() < 2) return "<no row>";
  const size_t n = get_u16(a.data.data());
  if (n == 0xFFFF) return "<null>";
  return {reinterpret_cast<const char*>(a.data.data() + 2), std::min(n, a.data.size() - 2)};
}

class KernelSession : public ::testing::Test {
 protected:
  void SetUp() override {
    std::error_code error;
    dir = std::filesystem::temp_directory_path(error) /
          ("kernel-session-" + std::to_string(ipc_process_id()) + "-" +
           ::testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::remove_all(dir, error);
    ASSERT_TRUE(std::filesystem::create_directories(dir, error));
    const std::string path = (dir / "kernel.db").string();
    std::string message;
    ASSERT_EQ(storage_create(path, &message), 0) << message;
    sqlite3* db = storage_connect(path, &message);
    ASSERT_NE(db, nullptr) << message;
    ASSERT_EQ(demo_create(db, &message), 0) << message;
    session.channel = 7;
    session.client_pid = CLIENT_PID;
    session.user = "DEMO";
    session.codepage = CODEPAGE_OTHER;
    session.connection.db = db;
    session.engine = engine_session_open(db, session.user, "kernel");
    ASSERT_NE(session.engine, nullptr);
    ASSERT_EQ(triggers_register(db, session.engine), 0);
    connection_hold(&session.connection);
  }
  void TearDown() override {
    if (session.connection.db != nullptr) {
      select_close(&session);
      statements_release(&session.statements);
      if (session.engine != nullptr) engine_session_close(session.engine);
      storage_disconnect(session.connection.db);
      connection_release(&session.connection);
    }
    std::error_code ignored;
    std::filesystem::remove_all(dir, ignored);
  }

  KernelAnswer run(const std::vector<uint8_t>& frame, Handled* handled = nullptr) {
    KernelRequest request;
    KernelAnswer answer;
    const Handled h = session_handle(&session, frame, &request, &answer);
    if (handled != nullptr) *handled = h;
    if (h.answered) {
      EXPECT_EQ(request.client_pid, CLIENT_PID);
    }
    return answer;
  }
  KernelAnswer run(const FrameSpec& spec) { return run(frame_of(spec)); }

  std::filesystem::path dir;
  Session session;
};

}  // namespace tavrel::kernel
