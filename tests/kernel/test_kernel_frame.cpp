// The kernel's reading of a request joined from pieces, whose long parts carry only the low
// 16 bits of their lengths, and its laying of rows into answers of a given room.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "channel/framing.h"
#include "kernel/errors.h"
#include "kernel/frame.h"

namespace tavrel::kernel {
namespace {

// A data stream as the client writes it: per part the length's low 16 bits, then the bytes.
std::vector<uint8_t> stream_of(const std::vector<std::string>& parts) {
  std::vector<uint8_t> out;
  for (const std::string& p : parts) {
    out.push_back(static_cast<uint8_t>(p.size()));
    out.push_back(static_cast<uint8_t>(p.size() >> 8));
    out.insert(out.end(), p.begin(), p.end());
  }
  return out;
}

std::string part(const KernelRequest& r, int i) {
  return {reinterpret_cast<const char*>(r.part[i]), r.part_length[i]};
}

TEST(JoinedRequest, PartsLongerThan65535BytesAreReadWhole) {
  struct Case {
    std::vector<std::string> parts;
  } cases[] = {
      {{"", "select 1;", "", ""}},
      {{"", "select '" + std::string(70000, 'a') + "';", "", ""}},
      {{"", "select '" + std::string(140000, 'b') + "';", "", ""}},
      // Two long statements and a long answer-buffer part in one request.
      {{std::string(65536, 'c'), "x;", std::string(131071, 'd'), std::string(65538, 'e')}},
  };
  for (const Case& c : cases) {
    const std::vector<uint8_t> stream = stream_of(c.parts);
    KernelRequest r{};
    ASSERT_EQ(kernel_parse_stream(stream.data(), stream.size(), &r), 0) << c.parts[1].size();
    for (int i = 0; i < 4; ++i) EXPECT_EQ(part(r, i), c.parts[static_cast<size_t>(i)]) << i;
  }
}

TEST(JoinedRequest, StreamsThatDoNotTileAreRefused) {
  std::vector<uint8_t> cut = stream_of({"", "select 1;", "", ""});
  cut.pop_back();
  std::vector<uint8_t> longer = stream_of({"", "select 1;", "", ""});
  longer.push_back(0);
  const std::vector<uint8_t> three = stream_of({"", "select 1;", ""});
  for (const auto& s : {cut, longer, three, std::vector<uint8_t>{}}) {
    KernelRequest r{};
    EXPECT_EQ(kernel_parse_stream(s.data(), s.size(), &r), -1) << s.size();
  }
}

TEST(RowDelivery, WholeRowsFitTheRoomAndNoRowIsLostOrCut) {
  const Rows sent = {std::vector<uint8_t>(10, 1), std::vector<uint8_t>(10, 2), std::vector<uint8_t>(30, 3),
                     std::vector<uint8_t>(ROW_MAX + 1, 4), std::vector<uint8_t>(ROW_MAX, 5)};
  Rows rows = sent;
  size_t next = 0;
  KernelAnswer a;
  EXPECT_EQ(rows_deliver(rows, &next, 25, &a), 2u);  // the third row does not fit behind them
  EXPECT_EQ(a.code, 0u);
  std::vector<uint8_t> both = sent[0];
  both.insert(both.end(), sent[1].begin(), sent[1].end());
  EXPECT_EQ(a.data, both);

  a = {};
  EXPECT_EQ(rows_deliver(rows, &next, 25, &a), 0u);  // too little room: the row waits
  EXPECT_EQ(a.code, CHANNEL_ANSWER_TOO_LONG);
  EXPECT_EQ(a.length_field, 30);
  EXPECT_TRUE(a.data.empty());
  a = {};
  EXPECT_EQ(rows_deliver(rows, &next, 30, &a), 1u);
  EXPECT_EQ(a.data, sent[2]);

  a = {};
  EXPECT_EQ(rows_deliver(rows, &next, 0xFFFF, &a), 0u);  // no answer can carry it
  EXPECT_EQ(a.code, KERNEL_ANSWER_TOO_LONG);
  EXPECT_TRUE(a.data.empty());
  a = {};
  EXPECT_EQ(rows_deliver(rows, &next, 0xFFFF, &a), 1u);
  EXPECT_EQ(a.data, sent[4]);
  a = {};
  EXPECT_EQ(rows_deliver(rows, &next, 0xFFFF, &a), 0u);
  EXPECT_EQ(a.code, KERNEL_NO_MORE_ROWS);
}

}  // namespace
}  // namespace tavrel::kernel
