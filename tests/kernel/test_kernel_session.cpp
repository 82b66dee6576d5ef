// The kernel's requests run in process, without a transport: the command table's routing,
// the joining of MALL/MPUT pieces, MGET portions of a long answer, the statement cache and
// the connection's holder.
#include "session_fixture.h"

namespace tavrel::kernel {
namespace {

TEST_F(KernelSession, EveryChannelCommandIsServedOrRefusedAsUnsupported) {
  // What each served command answers on a fresh session with no request data: a code of
  // its own, never the refusal of an unknown command.
  struct Served {
    const char* code;
    uint32_t answer;
  } served[] = {
      {"GETN", KERNEL_NO_SELECT}, {"GPRC", KERNEL_NO_SELECT}, {"DESC", KERNEL_NO_SELECT},
      {"MGET", KERNEL_NO_SELECT}, {"MALL", 0},                {"MPUT", KERNEL_MALFORMED},
      {"GETE", KERNEL_NO_OBJECT}, {"PROC", 0},
      {"SLCT", KERNEL_SQL_ERROR}, {"    ", 0},                {"CLOS", 0},
  };
  for (int row = 0; row < COMMAND_COUNT; ++row) {
    const char* code = COMMAND_TABLE[row].code;
    const KernelCommand* command = kernel_command_find(code);
    if (command == nullptr) {
      const KernelAnswer a = run({code});
      EXPECT_EQ(a.code, KERNEL_UNSUPPORTED) << std::string(code, 4);
      EXPECT_EQ(a.channel, 7) << std::string(code, 4);
      continue;
    }
    if ((command->flags & COMMAND_ON_SERVER) != 0) continue;  // the server thread's own
    const Served* expected = nullptr;
    for (const Served& s : served) {
      if (std::memcmp(s.code, code, 4) == 0) expected = &s;
    }
    ASSERT_NE(expected, nullptr) << "no expectation for " << std::string(code, 4);
    // A statement of its own for the commands that take one.
    FrameSpec spec{code};
    if (command_is(code, "SLCT")) spec.parts[1] = "select from;";
    if (command_is(code, "    ")) spec.parts[1] = "create table ROUTED(A integer);";
    if (command_is(code, "PROC")) spec = {code, {"", "", "", ""}, 18, 4096};  // the procedure list
    Handled handled;
    const KernelAnswer a = run(frame_of(spec), &handled);
    EXPECT_TRUE(handled.answered);
    EXPECT_EQ(a.code, expected->answer) << std::string(code, 4);
    EXPECT_EQ(handled.ends_session, command_is(code, "CLOS")) << std::string(code, 4);
    // A MALL left open would take the next request as its final exchange.
    if (command_is(code, "MALL")) session.assembly.active = false;
  }
  // Codes the channel does not know either.
  EXPECT_EQ(run({"ZZZZ"}).code, KERNEL_UNSUPPORTED);
  EXPECT_EQ(run({"slct"}).code, KERNEL_UNSUPPORTED);
}

TEST_F(KernelSession, ServerCommandsAndWhereTheOthersRun) {
  // OPEN is the one command without a session; OPEN and KILL never reach one.
  for (const KernelCommand& c : kernel_commands()) {
    const bool open = command_is(c.code, "OPEN");
    EXPECT_EQ((c.flags & COMMAND_LOGGED_ON) == 0, open) << std::string(c.code, 4);
    EXPECT_EQ((c.flags & COMMAND_ON_SERVER) != 0, open || command_is(c.code, "KILL")) << std::string(c.code, 4);
    EXPECT_NE(command_find(c.code), -1) << "not a channel command: " << std::string(c.code, 4);
  }
  // Statements run SQL: they must wait their turn on the worker.
  for (const char* code : {"    ", "PROC", "CLOS", "MALL", "MPUT"}) {
    ASSERT_NE(kernel_command_find(code), nullptr);
    EXPECT_NE(kernel_command_find(code)->flags & COMMAND_ON_WORKER, 0u) << code;
  }
  const KernelAnswer a = run({"KILL", {"", "", "", ""}, 7});
  EXPECT_EQ(a.code, KERNEL_UNSUPPORTED);
}

TEST_F(KernelSession, MalformedFramesAreAnsweredOnlyWhenTheyTellWhereTo) {
  std::vector<uint8_t> frame = select_frame("select 1;");
  frame[FRAME_HEADER] ^= 0x40;  // the first part's length no longer tiles the data
  Handled handled;
  KernelAnswer a = run(frame, &handled);
  EXPECT_TRUE(handled.answered);
  EXPECT_EQ(a.code, KERNEL_MALFORMED);
  EXPECT_EQ(a.channel, 7);

  std::vector<uint8_t> no_trailer = select_frame("select 1;");
  put_u32(no_trailer.data() + no_trailer.size() - FRAME_TRAILER, 0);
  run(no_trailer, &handled);
  EXPECT_FALSE(handled.answered);
  // The session goes on.
  a = run(select_frame("select 40 + 2;"));
  EXPECT_EQ(a.code, 0u);
  EXPECT_EQ(first_value(a), "42");
}

// A long select as the channel splits it: MALL, MPUT pieces, the final exchange.
class Pieces {
 public:
  Pieces(const std::string& sql, uint16_t capacity) : capacity_(capacity) {
    RequestParts parts{};
    parts.part[0] = {nullptr, 0};
    parts.part[1] = {reinterpret_cast<const uint8_t*>(sql.data()), sql.size()};
    parts.part[2] = {nullptr, 0};
    parts.part[3] = {nullptr, 0};
    stream_.resize(request_data_length(parts));
    request_write_data(parts, stream_.data());
  }
  size_t size() const { return stream_.size(); }
  std::vector<uint8_t> mall(uint16_t total) const { return frame_of({"MALL", {"", "", "", ""}, 0, total}); }
  std::vector<uint8_t> mall() const { return mall(static_cast<uint16_t>(stream_.size())); }
  std::vector<uint8_t> mput(size_t from, size_t length) const {
    return frame_of({"MPUT", {"", "", "", chunk(from, length)}, static_cast<uint32_t>(from), 0});
  }
  std::vector<uint8_t> last(size_t from) const {
    return frame_of({"SLCT", {"", "", "", chunk(from, stream_.size() - from)}, 0, capacity_});
  }

 private:
  std::string chunk(size_t from, size_t length) const {
    return {reinterpret_cast<const char*>(stream_.data() + from), length};
  }
  std::vector<uint8_t> stream_;
  uint16_t capacity_;
};

TEST_F(KernelSession, RequestsJoinedFromPiecesRunWholeAndBadPiecesAreRefused) {
  const std::string value(150000, 'q');
  const std::string sql = "select length('" + value + "');";
  const Pieces p(sql, 256);
  const size_t piece = 60000;
  ASSERT_GT(p.size(), 2 * piece);

  // In order: the joined select runs.
  EXPECT_EQ(run(p.mall()).code, 0u);
  EXPECT_EQ(run(p.mput(0, piece)).code, 0u);
  EXPECT_EQ(run(p.mput(piece, piece)).code, 0u);
  KernelAnswer a = run(p.last(2 * piece));
  EXPECT_EQ(a.code, 0u);
  EXPECT_EQ(first_value(a), std::to_string(value.size()));

  // Pieces out of place (ahead, or again), a piece with no MALL, and a total that MALL
  // did not announce.
  EXPECT_EQ(run(p.mall()).code, 0u);
  EXPECT_EQ(run(p.mput(piece, piece)).code, KERNEL_MALFORMED);
  EXPECT_EQ(run(p.mall()).code, 0u);
  EXPECT_EQ(run(p.mput(0, piece)).code, 0u);
  EXPECT_EQ(run(p.mput(0, piece)).code, KERNEL_MALFORMED);
  EXPECT_FALSE(session.assembly.active);
  EXPECT_EQ(run(p.mput(0, piece)).code, KERNEL_MALFORMED);
  EXPECT_EQ(run(p.mall(static_cast<uint16_t>(p.size() + 2))).code, 0u);
  EXPECT_EQ(run(p.mput(0, piece)).code, 0u);
  EXPECT_EQ(run(p.mput(piece, piece)).code, 0u);
  EXPECT_EQ(run(p.last(2 * piece)).code, KERNEL_MALFORMED);
  EXPECT_FALSE(session.assembly.active);

  // None of it disturbs the next request.
  a = run(select_frame("select 'after';"));
  EXPECT_EQ(first_value(a), "after");
}

TEST_F(KernelSession, AnswerLongerThanAnExchangeIsKeptForMgetWhenTheCallerHasRoom) {
  const size_t length = 65500;  // one row: more than one exchange carries, less than 65,535
  const std::string sql = "select printf('%." + std::to_string(length) + "c', 'x');";

  // Room enough: 1014 with the length needed, then the row in two MGET portions.
  KernelAnswer a = run(select_frame(sql, 65535));
  ASSERT_EQ(a.code, CHANNEL_ANSWER_TOO_LONG);
  const size_t needed = a.length_field;
  EXPECT_EQ(needed, length + 2);
  EXPECT_TRUE(a.data.empty());
  KernelAnswer head = run({"MGET", {"", "", "", ""}, 0, 40000});
  EXPECT_EQ(head.code, 0u);
  EXPECT_EQ(head.argument, 1u);  // the count of the answer kept
  ASSERT_EQ(head.data.size(), 40000u);
  KernelAnswer tail = run({"MGET", {"", "", "", ""}, 40000, 65535});
  ASSERT_EQ(tail.data.size(), needed - 40000);
  std::vector<uint8_t> whole = head.data;
  whole.insert(whole.end(), tail.data.begin(), tail.data.end());
  EXPECT_EQ(get_u16(whole.data()), length);
  EXPECT_EQ(std::string(whole.begin() + 2, whole.end()), std::string(length, 'x'));
  // The last portion dropped it.
  EXPECT_EQ(run({"MGET", {"", "", "", ""}, 0, 65535}).code, KERNEL_NO_SELECT);

  // Too little room: the same refusal, and nothing kept.
  a = run(select_frame(sql, 1000));
  EXPECT_EQ(a.code, CHANNEL_ANSWER_TOO_LONG);
  EXPECT_EQ(a.length_field, needed);
  EXPECT_EQ(run({"MGET", {"", "", "", ""}, 0, 65535}).code, KERNEL_NO_SELECT);
}

TEST_F(KernelSession, StatementCacheKeepsTheRecentlyUsedSelects) {
  auto text = [](size_t i) { return "select " + std::to_string(i) + ";"; };
  // The cache keeps a text as it travels: an odd one with its padding blank.
  auto sent = [](const std::string& t) { return t.size() % 2 == 0 ? t : t + " "; };
  for (size_t i = 0; i < STATEMENTS_CACHED_MAX; ++i) ASSERT_EQ(run(select_frame(text(i))).code, 0u);
  ASSERT_EQ(session.statements.entries.size(), STATEMENTS_CACHED_MAX);
  // The first is used again, so the second is the one that goes for a new text.
  EXPECT_EQ(first_value(run(select_frame(text(0)))), "0");
  EXPECT_EQ(first_value(run(select_frame(text(99)))), "99");
  EXPECT_EQ(session.statements.entries.size(), STATEMENTS_CACHED_MAX);
  EXPECT_NE(statement_find(&session.statements, sent(text(0))), nullptr);
  EXPECT_EQ(statement_find(&session.statements, sent(text(1))), nullptr);
  EXPECT_NE(statement_find(&session.statements, sent(text(99))), nullptr);
  // A kept statement that is open as the cursor answers GETN and DESC after a repeat.
  KernelAnswer a = run(select_frame("select 5 as FIVE union all select 6;", 4));
  EXPECT_EQ(a.argument, 2u);
  a = run(select_frame("select 5 as FIVE union all select 6;", 4));
  EXPECT_EQ(first_value(a), "5");
  EXPECT_EQ(first_value(run({"GETN", {"", "", "", ""}, 0, 4})), "6");
  EXPECT_EQ(run({"GETN", {"", "", "", ""}, 0, 4}).code, KERNEL_NO_MORE_ROWS);
  a = run({"DESC", {"", "", "", ""}, 0, 256});
  EXPECT_EQ(a.argument, 1u);
  EXPECT_EQ(first_value(a), "FIVE");
}

#ifndef NDEBUG
TEST_F(KernelSession, OnlyTheHolderUsesTheConnection) {
  connection_release(&session.connection);
  EXPECT_DEATH(run(select_frame("select 1;")), "connection_held_here");
  connection_hold(&session.connection);
  EXPECT_DEATH(connection_hold(&session.connection), "one holder");
}
#endif

}  // namespace
}  // namespace tavrel::kernel
