// The fixture of the built-in function tests: an evaluation context over its own stack
// memory and string pool, makers of argument values that keep their texts alive, and a
// call by name that applies the argument check first, as the evaluator does.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include "text/unicode.h"
#include "translator/builtins.h"

namespace tavrel {

struct CallResult {
  int status;
  Value value;
};

struct BuiltinTest : ::testing::Test {
  StackMemory mem{};
  StringPool* pool = new StringPool;  // holds a 4 KB scratch area: kept off the stack
  EvalContext ctx{};
  std::deque<std::string> texts;
  std::deque<std::u16string> wides;
  std::deque<std::vector<uint8_t>> blocks;

  void SetUp() override {
    ASSERT_EQ(stack_mem_setup(mem), 0);
    string_pool_init(*pool, &mem, STACK_TEXT_A);
    ctx = EvalContext{};
    ctx.strings = pool;
    ctx.rand_state = 1;
  }
  void TearDown() override {
    stack_mem_teardown(mem);
    delete pool;
  }

  // A CHAR from UTF-8 source text, converted to CP866.
  Value chr(std::string_view utf8) {
    texts.push_back(utf8_to_cp866(utf8));
    return make_char(texts.back().c_str());
  }
  Value nch(std::u16string_view text) {
    wides.emplace_back(text);
    // char16_t and uint16_t share size and alignment; the evaluator reads 16-bit units.
    return make_nchar(reinterpret_cast<const uint16_t*>(wides.back().c_str()));
  }
  Value bytes(std::vector<uint8_t> data) {
    std::vector<uint8_t> block(2 + data.size());
    auto n = static_cast<uint16_t>(data.size());
    std::memcpy(block.data(), &n, 2);
    if (!data.empty()) std::memcpy(block.data() + 2, data.data(), data.size());
    blocks.push_back(std::move(block));
    return make_byte(blocks.back().data());
  }
  static Value i(int32_t x) { return make_integer(x); }
  static Value d(double x) { return make_double(x); }
  static Value b(bool x) { return make_bool(x); }
  static Value null() { return make_null(); }
  // A DATE from "dd.mm.yyyy[:hh:mi:ss.hh]".
  static Value date(const char* text) {
    DateRecord r{};
    EXPECT_EQ(date_text_check(text, &r), 0) << text;
    return make_date(r);
  }

  // The call by name, after the argument check that the evaluator makes.
  CallResult run(const char* name, std::vector<Value> args) {
    int number = builtin_find(name);
    EXPECT_GE(number, 0) << name;
    const auto argc = static_cast<int>(args.size());
    EXPECT_TRUE(builtin_check_args(number, argc, args.data())) << name;
    CallResult r{0, make_none()};
    r.status = builtin_call(number, argc, args.data(), &r.value, ctx);
    return r;
  }

  // Result texts in UTF-8, or a marker of what came instead.
  static std::string text_of(const Value& v) {
    if (v.type == TYPE_NULL) return "<NULL>";
    if (v.type != TYPE_CHAR) return "<type " + std::to_string(v.type) + ">";
    if (value_text(v) == nullptr) return "<no text>";
    return cp866_to_utf8(value_text(v));
  }
  static std::u16string wide_of(const Value& v) {
    if (v.type != TYPE_NCHAR || value_wide(v) == nullptr) return u"<not NCHAR>";
    std::u16string out;
    for (const uint16_t* w = value_wide(v); *w != 0; w++) out.push_back(static_cast<char16_t>(*w));
    return out;
  }
  std::string text(const char* name, std::vector<Value> args) {
    CallResult r = run(name, std::move(args));
    if (r.status != 0) return "<status " + std::to_string(r.status) + ">";
    return text_of(r.value);
  }
  std::u16string wide(const char* name, std::vector<Value> args) {
    CallResult r = run(name, std::move(args));
    if (r.status != 0) return u"<status>";
    return wide_of(r.value);
  }
};

}  // namespace tavrel
