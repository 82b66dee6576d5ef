// Framing of requests and the taking back of answers, through a fake peer that records every
// frame and answers as a kernel would; bytes are compared with the frame layout.
#include <gtest/gtest.h>

// The fake answers name only the fields that matter to each test.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

#include <cstring>
#include <string>
#include <vector>

#include "channel/channel.h"
#include "channel/framing.h"
#include "channel/transport.h"

namespace tavrel {
namespace {

struct Answer {
  uint32_t code = 0;
  uint16_t channel = 0;
  uint32_t argument = 0;
  uint16_t length_field = 0;
  std::string data;
  std::string second;
};

// Records frames and answers each with the next prepared answer (or an empty success).
struct FakePeer {
  std::vector<std::vector<uint8_t>> frames;
  std::vector<Answer> answers;
  size_t next = 0;

  static size_t exchange(void* user, const uint8_t* frame, size_t length, uint8_t* out) {
    auto* peer = static_cast<FakePeer*>(user);
    peer->frames.emplace_back(frame, frame + length);
    Answer a = peer->next < peer->answers.size() ? peer->answers[peer->next++] : Answer{};
    std::memset(out, 0, ANSWER_HEADER);
    std::memcpy(out + 4, frame + 4, 44);
    put_u32(out + 4, a.code);
    put_u16(out + 10, a.channel);
    put_u32(out + 32, a.argument);
    put_u16(out + 44, a.data.empty() ? a.length_field : static_cast<uint32_t>(a.data.size()));
    const size_t padded = a.data.size() + (a.second.empty() ? 0 : a.data.size() & 1u);
    put_u16(out + 54, static_cast<uint32_t>(padded + a.second.size()));
    std::memcpy(out + 56, a.data.data(), a.data.size());
    std::memcpy(out + 56 + padded, a.second.data(), a.second.size());
    std::memcpy(out + 56 + padded + a.second.size(), frame + length - 48, 48);
    return 56 + padded + a.second.size() + 48;
  }
};

class Framing : public ::testing::Test {
 protected:
  void SetUp() override { transport_set_exchange_hook(&FakePeer::exchange, &peer); }
  void TearDown() override { transport_set_exchange_hook(nullptr, nullptr); }

  RequestBlock block(const char* command, uint16_t capacity = 0) {
    RequestBlock b{};
    std::memcpy(b.command, command, 4);
    std::memset(b.node, ' ', 8);
    b.answer_length = capacity;
    return b;
  }
  // The data parts of a recorded frame, each with its length word.
  static std::vector<std::string> parts(const std::vector<uint8_t>& frame) {
    std::vector<std::string> out;
    size_t p = FRAME_HEADER;
    for (int i = 0; i < 4; ++i) {
      const uint16_t n = get_u16(&frame[p]);
      out.emplace_back(reinterpret_cast<const char*>(&frame[p + 2]), n);
      p += 2 + n;
    }
    EXPECT_EQ(p + FRAME_TRAILER, frame.size());
    return out;
  }
  FakePeer peer;
};

TEST(CommandTable, HasTheRowsInOrder) {
  EXPECT_EQ(command_find("GETN"), 0);
  EXPECT_EQ(command_find("    "), 3);
  EXPECT_EQ(command_find("OPEN"), 19);
  EXPECT_EQ(command_find("DBCA"), 55);
  EXPECT_EQ(command_find("XXXX"), -1);
  EXPECT_EQ(COMMAND_TABLE[command_find("SLCT")].layout, 3);
  EXPECT_EQ(COMMAND_TABLE[command_find("PROC")].layout, 8);
  EXPECT_EQ(COMMAND_TABLE[command_find("KILL")].properties, COMMAND_CODEPAGE);
}

TEST_F(Framing, StatementIsSentUpToItsLastSemicolonAndPaddedToEven) {
  struct Case {
    const char* text;
    std::string sent;
  } cases[] = {
      {"select 1;", "select 1; "},         // 9 bytes: one blank makes it even
      {"select 1; -- tail", "select 1; "},  // text after the last ";" stays behind
      {"a;b;c", "a;b;"},
      {"ab;", "ab; "},
      {"abc;", "abc;"},
  };
  for (const Case& c : cases) {
    peer.frames.clear();
    RequestBlock b = block("SLCT");
    ASSERT_EQ(channel_call(&b, nullptr, c.text, nullptr, nullptr), 0u) << c.text;
    ASSERT_EQ(peer.frames.size(), 1u);
    const auto p = parts(peer.frames[0]);
    EXPECT_EQ(p[0], "");
    EXPECT_EQ(p[1], c.sent) << c.text;
    EXPECT_EQ(p[2], "");
    EXPECT_EQ(p[3], "");
  }
}

TEST_F(Framing, LocalRefusalsNeverReachThePeer) {
  struct Case {
    const char* command;
    const char* b1;
    const char* b2;
    const char* b3;
    uint32_t code;
  } cases[] = {
      {"REPL", "no semicolon", "b;", "c;", 1005}, {"REPL", "a;", "none", "c;", 1006},
      {"REPL", "a;", "b;", "none", 1007},         {"REPL", nullptr, "b;", "c;", 1057},
      {"SLCT", nullptr, "select 1", nullptr, 1006}, {"SLCT", nullptr, nullptr, nullptr, 1057},
      {"OPEN", nullptr, nullptr, nullptr, 1057},  {"ZZZZ", nullptr, nullptr, nullptr, 1000},
  };
  for (const Case& c : cases) {
    RequestBlock b = block(c.command);
    char b3[16] = {};
    if (c.b3 != nullptr) std::strcpy(b3, c.b3);
    EXPECT_EQ(channel_call(&b, c.b1, c.b2, c.b3 != nullptr ? b3 : nullptr, nullptr), c.code) << c.command;
    EXPECT_EQ(b.return_code, c.code);
  }
  EXPECT_TRUE(peer.frames.empty());
  EXPECT_EQ(channel_call(nullptr, nullptr, nullptr, nullptr, nullptr), 1057u);
}

TEST_F(Framing, OpenCarriesConnectStringAndCodePageBlockAndTakesTheChannel) {
  peer.answers.push_back({.channel = 7});
  RequestBlock b = block("OPEN");
  b.channel = 3;
  b.flags = ~(REQUEST_ASYNC | REQUEST_FETCH_REST);
  char codepage[] = "KOI8-R";
  ASSERT_EQ(channel_call(&b, "\"DEMO\"/\"DEMO\"", nullptr, codepage, nullptr), 0u);
  const std::vector<uint8_t>& frame = peer.frames.at(0);
  RequestBlock sent;
  std::memcpy(&sent, &frame[4], sizeof sent);
  EXPECT_EQ(sent.channel, 0);  // cleared before OPEN
  EXPECT_EQ(sent.flags, (~(REQUEST_ASYNC | REQUEST_FETCH_REST) & REQUEST_FLAG_MASK & ~REQUEST_PAGE_ACCESS) | REQUEST_SENT);
  const auto p = parts(frame);
  EXPECT_EQ(p[0], std::string("\"DEMO\"/\"DEMO\" "));
  ASSERT_EQ(p[2].size(), 72u);
  EXPECT_EQ(get_u16(reinterpret_cast<const uint8_t*>(p[2].data())), 1);
  EXPECT_EQ(get_u16(reinterpret_cast<const uint8_t*>(p[2].data()) + 2), 6);
  EXPECT_EQ(p[2].substr(6, 7), std::string("KOI8-R\0", 7));
  EXPECT_EQ(b.channel, 7);
  // The trailer: the client's process id twice, the message type last.
  const uint8_t* trailer = &frame[frame.size() - 48];
  EXPECT_EQ(get_u32(trailer), get_u32(trailer + 36));
  EXPECT_NE(get_u32(trailer), 0u);

  peer.answers.push_back({});
  std::memcpy(b.command, "CLOS", 4);
  ASSERT_EQ(channel_call(&b, nullptr, nullptr, nullptr, nullptr), 0u);
  EXPECT_EQ(b.channel, 0);
}

TEST_F(Framing, ProcSendsAnswerBufferWithoutTrailingZerosRoundedToEven) {
  struct Case {
    size_t used;
    uint16_t capacity;
    size_t sent;
  } cases[] = {{5, 100, 6}, {6, 100, 6}, {0, 100, 0}, {7, 7, 7}};
  for (const Case& c : cases) {
    peer.frames.clear();
    std::vector<char> answer(c.capacity, 0);
    for (size_t i = 0; i < c.used; ++i) answer[i] = static_cast<char>('a' + i);
    RequestBlock b = block("PROC", c.capacity);
    ASSERT_EQ(channel_call(&b, nullptr, nullptr, nullptr, answer.data()), 0u);
    const auto p = parts(peer.frames.at(0));
    EXPECT_EQ(p[3].size(), c.sent + (c.sent & 1u)) << c.used;
    EXPECT_EQ(p[3].substr(0, c.used), std::string(answer.data(), c.used));
  }
}

TEST_F(Framing, RequestOfExactlyOneExchangeGoesWhole) {
  // Data length = 8 length words + the statement: 65,414 in all.
  std::string text(REQUEST_DATA_MAX - 8 - 1, 'x');
  text += ';';
  RequestBlock b = block("    ");
  ASSERT_EQ(channel_call(&b, nullptr, text.c_str(), nullptr, nullptr), 0u);
  ASSERT_EQ(peer.frames.size(), 1u);
  EXPECT_EQ(peer.frames[0].size(), FRAME_HEADER + REQUEST_DATA_MAX + FRAME_TRAILER);
  EXPECT_EQ(parts(peer.frames[0])[1], text);
}

TEST_F(Framing, OneByteMoreGoesAsMallMputAndFinalExchange) {
  std::string text(REQUEST_DATA_MAX - 8, 'y');  // odd: 65,406 + ";" + padding blank
  text += ';';
  RequestBlock b = block("    ");
  b.flags = REQUEST_ASYNC;  // MALL goes synchronously all the same
  ASSERT_EQ(channel_call(&b, nullptr, text.c_str(), nullptr, nullptr), 0u);
  ASSERT_EQ(peer.frames.size(), 3u);
  const size_t total = 8 + text.size() + 1;
  RequestBlock mall;
  std::memcpy(&mall, &peer.frames[0][4], sizeof mall);
  EXPECT_EQ(std::string(mall.command, 4), "MALL");
  EXPECT_EQ(mall.flags & REQUEST_ASYNC, 0u);
  EXPECT_EQ(mall.answer_length, static_cast<uint16_t>(total));  // low 16 bits of the total
  EXPECT_EQ(parts(peer.frames[0]), (std::vector<std::string>{"", "", "", ""}));

  RequestBlock mput;
  std::memcpy(&mput, &peer.frames[1][4], sizeof mput);
  EXPECT_EQ(std::string(mput.command, 4), "MPUT");
  EXPECT_EQ(mput.position, 0u);
  EXPECT_EQ(mput.answer_length, REQUEST_DATA_MAX - 8);
  EXPECT_EQ(peer.frames[1].size(), FRAME_HEADER + REQUEST_DATA_MAX + FRAME_TRAILER);

  RequestBlock last;
  std::memcpy(&last, &peer.frames[2][4], sizeof last);
  EXPECT_EQ(std::string(last.command, 4), "    ");
  // The pieces joined give the data stream of the whole request.
  std::string stream = parts(peer.frames[1])[3] + parts(peer.frames[2])[3];
  ASSERT_EQ(stream.size(), total);
  EXPECT_EQ(get_u16(reinterpret_cast<const uint8_t*>(stream.data())), 0);
  EXPECT_EQ(get_u16(reinterpret_cast<const uint8_t*>(stream.data()) + 2), text.size() + 1);
  EXPECT_EQ(stream.substr(4, text.size()), text);
  EXPECT_EQ(stream[4 + text.size()], ' ');
}

TEST_F(Framing, StatementOver65535BytesTravelsWholeWithItsLengthsLow16Bits) {
  std::string text(70000 - 1, 'z');
  text += ';';
  RequestBlock b = block("SLCT", 0);
  ASSERT_EQ(channel_call(&b, nullptr, text.c_str(), nullptr, nullptr), 0u);
  ASSERT_EQ(peer.frames.size(), 3u);  // MALL, one MPUT piece, the final exchange
  std::string stream;
  for (size_t i = 1; i < peer.frames.size(); ++i) stream += parts(peer.frames[i])[3];
  const size_t total = 8 + text.size();
  ASSERT_EQ(stream.size(), total);
  RequestBlock mall;
  std::memcpy(&mall, &peer.frames[0][4], sizeof mall);
  EXPECT_EQ(mall.answer_length, total & 0xFFFF);
  const auto* bytes = reinterpret_cast<const uint8_t*>(stream.data());
  EXPECT_EQ(get_u16(bytes + 2), text.size() & 0xFFFF);
  EXPECT_EQ(stream.substr(4, text.size()), text);
  EXPECT_EQ(get_u16(bytes + 4 + text.size()), 0);
}

TEST_F(Framing, AnswerOneByteOverCapacityGives1014AndCopiesNothing) {
  peer.answers.push_back({.data = std::string(11, 'z')});
  char answer[16];
  std::memset(answer, '.', sizeof answer);
  RequestBlock b = block("GETE", 10);
  EXPECT_EQ(channel_call(&b, nullptr, nullptr, nullptr, answer), CHANNEL_ANSWER_TOO_LONG);
  EXPECT_EQ(b.answer_length, 11);
  EXPECT_EQ(std::string(answer, 16), std::string(16, '.'));

  peer.answers.push_back({.data = std::string(10, 'z')});
  b.answer_length = 10;
  EXPECT_EQ(channel_call(&b, nullptr, nullptr, nullptr, answer), 0u);
  EXPECT_EQ(b.answer_length, 10);
  EXPECT_EQ(std::string(answer, 11), std::string(10, 'z') + ".");
}

TEST_F(Framing, SecondBlockLandsInBufferThree) {
  // Three 2-byte items behind an odd answer (padded by one byte).
  std::string second("\x03\x00\x02\x00" "aabbcc", 10);
  peer.answers.push_back({.argument = 3, .data = "abc", .second = second});
  char answer[8] = {};
  char buffer3[16] = {};
  RequestBlock b = block("GETN", sizeof answer);
  ASSERT_EQ(channel_call(&b, nullptr, nullptr, buffer3, answer), 0u);
  EXPECT_EQ(std::string(answer, 3), "abc");
  EXPECT_EQ(std::string(buffer3, 10), second);
  EXPECT_EQ(b.argument, 3u);
}

TEST_F(Framing, KernelErrorsLeaveBuffersAlone) {
  peer.answers.push_back({.code = 2001, .data = "ignored"});
  char answer[16] = {};
  RequestBlock b = block("SLCT", sizeof answer);
  EXPECT_EQ(channel_call(&b, nullptr, "select;", nullptr, answer), 2001u);
  EXPECT_EQ(answer[0], 0);
  EXPECT_EQ(b.answer_length, sizeof answer);
}

TEST_F(Framing, TooLongForOneExchangeIsFetchedWithMget) {
  const std::string whole = std::string(40000, 'p') + std::string(20000, 'q');
  peer.answers.push_back({.code = 1014, .length_field = static_cast<uint16_t>(whole.size())});
  peer.answers.push_back({.argument = 9, .data = whole.substr(0, 40000)});
  peer.answers.push_back({.argument = 9, .data = whole.substr(40000)});
  std::vector<char> answer(65535);
  RequestBlock b = block("SLCT", 65535);
  ASSERT_EQ(channel_call(&b, nullptr, "select;", nullptr, answer.data()), 0u);
  ASSERT_EQ(peer.frames.size(), 3u);
  RequestBlock mget;
  std::memcpy(&mget, &peer.frames[2][4], sizeof mget);
  EXPECT_EQ(std::string(mget.command, 4), "MGET");
  EXPECT_EQ(mget.position, 40000u);
  EXPECT_EQ(std::string(b.command, 4), "SLCT");
  EXPECT_EQ(b.answer_length, whole.size());
  EXPECT_EQ(b.flags & REQUEST_FETCH_REST, 0u);
  EXPECT_EQ(std::string(answer.data(), whole.size()), whole);

  // A caller whose buffer is too small gets 1014 and no MGET.
  peer.frames.clear();
  peer.answers.push_back({.code = 1014, .length_field = 60000});
  b.answer_length = 1000;
  EXPECT_EQ(channel_call(&b, nullptr, "select;", nullptr, answer.data()), 1014u);
  EXPECT_EQ(b.answer_length, 60000);
  EXPECT_EQ(peer.frames.size(), 1u);
}

TEST_F(Framing, AsynchronousCallRunsItsCompletionRoutine) {
  static int completions;
  completions = 0;
  RequestBlock b = block("GETE", 16);
  b.flags = REQUEST_ASYNC;
  char answer[16] = {};
  peer.answers.push_back({.data = "text"});
  EXPECT_EQ(channel_call(&b, nullptr, nullptr, nullptr, answer, [](RequestBlock*, void*, void*) { ++completions; }), 0u);
  EXPECT_EQ(completions, 1);
  EXPECT_NE(b.flags & REQUEST_COMPLETED, 0u);
  EXPECT_EQ(channel_wait(&b, 0), 0);
}

TEST(ChannelOptions, CodePageBlockCanBeReadAndSet) {
  CodePageBlock block{};
  EXPECT_EQ(channel_set_option(1, &block, sizeof block - 1), 0);
  EXPECT_EQ(channel_set_option(2, "CP1251", 6), 1);
  ASSERT_EQ(channel_set_option(1, &block, sizeof block), 1);
  EXPECT_EQ(block.present, 6);
  EXPECT_EQ(std::string(block.name, block.length), "CP1251");
  EXPECT_EQ(channel_set_option(3, nullptr, 0), 0);
  EXPECT_EQ(channel_set_option(7, nullptr, 0), 1);  // back to the environment's choice
}

TEST(AnswerTaking, ShortOrInconsistentFramesFailWith1002) {
  std::vector<uint8_t> message(ANSWER_HEADER + FRAME_TRAILER + 4, 0);
  RequestBlock b{};
  b.answer_length = 100;
  char answer[100];
  EXPECT_EQ(answer_take(message.data(), 50, &b, command_find("GETE"), answer, nullptr), 1002u);
  put_u16(&message[44], 10);  // answer longer than the frame holds
  put_u16(&message[54], 10);
  EXPECT_EQ(answer_take(message.data(), message.size(), &b, command_find("GETE"), answer, nullptr), 1002u);
}

}  // namespace
}  // namespace tavrel
