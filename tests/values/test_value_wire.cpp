// The wire form of values: the bytes of each type, the round trip through a store, and
// truncated or unknown input refused without reading past its end.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "values/value_wire.h"

namespace tavrel {
namespace {

std::vector<uint8_t> wire(const Value& v) {
  std::vector<uint8_t> out;
  value_wire_put(v, &out);
  return out;
}

TEST(ValueWire, FixedTypesCarryTheirPayloadAfterTheTypeByte) {
  EXPECT_EQ(wire(make_smallint(-2)), (std::vector<uint8_t>{TYPE_SMALLINT, 0xFE, 0xFF}));
  EXPECT_EQ(wire(make_integer(0x01020304)), (std::vector<uint8_t>{TYPE_INTEGER, 4, 3, 2, 1}));
  EXPECT_EQ(wire(make_bool(true)), (std::vector<uint8_t>{TYPE_BOOL, 1}));
  EXPECT_EQ(wire(make_null()), (std::vector<uint8_t>{TYPE_NULL}));
  EXPECT_EQ(wire(make_none()), (std::vector<uint8_t>{TYPE_NONE}));
  EXPECT_EQ(wire(make_bigint(1)).size(), 9u);
  EXPECT_EQ(wire(make_date(DateRecord{1, 2})),
            (std::vector<uint8_t>{TYPE_DATE, 1, 0, 0, 0, 2, 0, 0, 0}));
  EXPECT_EQ(wire(make_numeric(decimal_from_text("1.5"))).size(), 17u);
}

TEST(ValueWire, TextsTravelWithTheirTerminators) {
  EXPECT_EQ(wire(make_char("ab")), (std::vector<uint8_t>{TYPE_CHAR, 'a', 'b', 0}));
  const uint16_t wide[] = {0x44E, 0};
  EXPECT_EQ(wire(make_nchar(wide)), (std::vector<uint8_t>{TYPE_NCHAR, 0x4E, 0x04, 0, 0}));
  const uint8_t block[] = {2, 0, 0xAB, 0xCD};
  EXPECT_EQ(wire(make_byte(block)), (std::vector<uint8_t>{TYPE_BYTE, 2, 0, 0xAB, 0xCD}));
}

TEST(ValueWire, EveryTypeComesBackAsItWent) {
  const uint16_t wide[] = {'W', 0x416, 0};
  const uint8_t block[] = {3, 0, 1, 2, 3};
  std::vector<Value> values = {make_null(),       make_smallint(-7),          make_integer(70000),
                               make_real(1.5f),   make_double(-2.25),         make_bigint(-5000000000),
                               make_bool(false),  make_date(DateRecord{734000, 3600}),
                               make_numeric(decimal_from_text("-12.345")),   make_char("текст"),
                               make_nchar(wide),  make_byte(block)};
  // All of them one after another, as a result answer lays them out.
  std::vector<uint8_t> bytes;
  for (const Value& v : values) value_wire_put(v, &bytes);
  WireStore store;
  size_t at = 0;
  for (const Value& sent : values) {
    Value got;
    size_t used = value_wire_get(std::span(bytes).subspan(at), &store, &got);
    ASSERT_GT(used, 0u) << "type " << int(sent.type);
    at += used;
    ASSERT_EQ(got.type, sent.type);
    switch (sent.type) {
      case TYPE_CHAR: EXPECT_STREQ(value_text(got), value_text(sent)); break;
      case TYPE_NCHAR:
        EXPECT_EQ(value_wide(got)[0], 'W');
        EXPECT_EQ(value_wide(got)[1], 0x416);
        EXPECT_EQ(value_wide(got)[2], 0);
        break;
      case TYPE_BYTE:
        ASSERT_EQ(byte_count(got), 3);
        EXPECT_EQ(std::memcmp(byte_data(got), block + 2, 3), 0);
        break;
      default: EXPECT_EQ(std::memcmp(got.payload, sent.payload, sizeof got.payload), 0);
    }
  }
  EXPECT_EQ(at, bytes.size());
}

TEST(ValueWire, ShortOrUnknownInputGivesNothing) {
  WireStore store;
  Value got;
  for (const Value& v : {make_integer(5), make_char("abc"), make_bigint(9)}) {
    std::vector<uint8_t> bytes = wire(v);
    for (size_t n = 0; n < bytes.size(); n++) {
      EXPECT_EQ(value_wire_get(std::span(bytes.data(), n), &store, &got), 0u) << n;
      EXPECT_EQ(got.type, TYPE_NONE);
    }
  }
  const uint8_t block_short[] = {TYPE_BYTE, 5, 0, 1, 2};
  EXPECT_EQ(value_wire_get(block_short, &store, &got), 0u);
  const uint8_t wide_odd[] = {TYPE_NCHAR, 0x41, 0, 0};
  EXPECT_EQ(value_wire_get(wide_odd, &store, &got), 0u);
  const uint8_t unknown[] = {99, 1, 2, 3};
  EXPECT_EQ(value_wire_get(unknown, &store, &got), 0u);
}

}  // namespace
}  // namespace tavrel
