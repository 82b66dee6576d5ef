// Stack memory and the string pool of an evaluation.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "values/string_pool.h"

namespace tavrel {
namespace {

struct PoolFixture : ::testing::Test {
  StackMemory mem{};
  StringPool* pool = new StringPool;
  void SetUp() override {
    ASSERT_EQ(stack_mem_setup(mem), 0);
    string_pool_init(*pool, &mem, STACK_TEXT_A);
  }
  void TearDown() override {
    stack_mem_teardown(mem);
    delete pool;
  }
};

using StackMem = PoolFixture;
using StringPoolTest = PoolFixture;

TEST(StackMemUnset, APoolNeverSetUpGivesNothing) {
  StackMemory mem{};
  testing::internal::CaptureStdout();
  EXPECT_EQ(get_stack_mem(mem, STACK_FRAMES, 10), nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");  // the caller shows the message
  EXPECT_STREQ(mem.notice, "TSP: invalid use of get_stack_mem()!\n");
}

TEST_F(StackMem, RequestsUpToTheBlockSizeFit) {
  EXPECT_NE(get_stack_mem(mem, STACK_FRAMES, 4090), nullptr);  // 4090 + 6 = 4096
  EXPECT_EQ(get_stack_mem(mem, STACK_FRAMES, 4091), nullptr);  // 4097: too large
}

TEST_F(StackMem, ConsecutiveRequestsAreAdjacentUntilABlockIsFull) {
  char* a = static_cast<char*>(get_stack_mem(mem, STACK_TEXT_B, 100));
  char* b = static_cast<char*>(get_stack_mem(mem, STACK_TEXT_B, 100));
  EXPECT_EQ(b, a + 100);
  char* c = static_cast<char*>(get_stack_mem(mem, STACK_TEXT_B, 4000));  // next block
  ASSERT_NE(c, nullptr);
  EXPECT_TRUE(c < a || c >= a + STACK_BLOCK_SIZE);
  std::memset(c, 'x', 4000);
}

TEST_F(StackMem, ReleaseToMarkReusesTheMemory) {
  get_stack_mem(mem, STACK_FRAMES, 10);
  StackMark m = stack_mark(mem, STACK_FRAMES);
  void* first = get_stack_mem(mem, STACK_FRAMES, 3000);
  get_stack_mem(mem, STACK_FRAMES, 3000);  // spills into a second block
  stack_release(mem, STACK_FRAMES, m);
  EXPECT_EQ(mem.pools[STACK_FRAMES].current->next, nullptr);  // mark below 2048: released
  EXPECT_EQ(get_stack_mem(mem, STACK_FRAMES, 3000), first);

  // A mark high in a block keeps the blocks that follow for reuse.
  StackMark high = stack_mark(mem, STACK_FRAMES);
  get_stack_mem(mem, STACK_FRAMES, 2000);
  StackBlock* second = mem.pools[STACK_FRAMES].current;
  stack_release(mem, STACK_FRAMES, high);
  EXPECT_EQ(mem.pools[STACK_FRAMES].current->next, second);
  EXPECT_EQ(get_stack_mem(mem, STACK_FRAMES, 2000), static_cast<void*>(second->data + 6));
}

TEST_F(StackMem, SetupOnlyCountsAfterTheFirstCall) {
  StackBlock* first = mem.pools[STACK_TEXT_A].first;
  EXPECT_EQ(stack_mem_setup(mem), 0);
  EXPECT_EQ(mem.pools[STACK_TEXT_A].first, first);
  EXPECT_EQ(mem.setups, 2);
}

TEST_F(StringPoolTest, TextsAreBlankFilledAndTerminated) {
  char* t = pool_alloc_text(*pool, 5);
  ASSERT_NE(t, nullptr);
  EXPECT_STREQ(t, "     ");
  EXPECT_EQ(pool->count, 1);
}

TEST_F(StringPoolTest, TheTwoHundredFiftySixthTextOverflowsThePool) {
  for (int i = 0; i < MAX_STRINGS; i++) ASSERT_NE(pool_alloc_text(*pool, 3), nullptr);
  EXPECT_EQ(pool->run_status, 0);
  EXPECT_EQ(pool->notice, nullptr);
  testing::internal::CaptureStderr();
  char* t = pool_alloc_text(*pool, 3);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");  // the caller shows the message
  EXPECT_STREQ(pool->notice, "LANGLIB: MAX_STRINGS too small!\n");
  EXPECT_EQ(t, pool->scratch);  // harmless to write
  EXPECT_EQ(pool->run_status, RUN_NO_MEMORY);
  EXPECT_EQ(pool->count, MAX_STRINGS);
}

TEST_F(StringPoolTest, ACallersTableHoldsMoreTexts) {
  std::vector<StringEntry> table(1000);
  string_pool_init(*pool, &mem, STACK_TEXT_A, table);
  for (int i = 0; i < 1000; i++) ASSERT_NE(pool_alloc_text(*pool, 3), nullptr) << i;
  EXPECT_EQ(pool->run_status, 0);
  EXPECT_EQ(pool->entries, table.data());
  EXPECT_EQ(pool_alloc_text(*pool, 3), pool->scratch);  // the 1001st overflows
  EXPECT_EQ(pool->run_status, RUN_NO_MEMORY);
}

TEST_F(StringPoolTest, FreeingKeepsTheOrderOfTheRest) {
  char* a = pool_alloc_text(*pool, 1);
  char* b = pool_alloc_text(*pool, 1);
  char* c = pool_alloc_text(*pool, 1);
  pool_free_text(*pool, b);
  ASSERT_EQ(pool->count, 2);
  EXPECT_EQ(pool->entries[0].text, a);
  EXPECT_EQ(pool->entries[1].text, c);
  pool_free_text(*pool, b);  // unknown now: ignored
  EXPECT_EQ(pool->count, 2);
}

TEST_F(StringPoolTest, LeavingALevelFreesOnlyItsTexts) {
  char* outer = pool_alloc_text(*pool, 2);
  pool_enter_level(*pool);
  pool_alloc_text(*pool, 2);
  pool_enter_level(*pool);
  pool_alloc_text(*pool, 2);
  pool_leave_level(*pool);
  EXPECT_EQ(pool->count, 2);
  EXPECT_EQ(pool->level, 1);
  pool_leave_level(*pool);
  ASSERT_EQ(pool->count, 1);
  EXPECT_EQ(pool->entries[0].text, outer);
  EXPECT_EQ(pool->level, 0);
}

TEST_F(StringPoolTest, ATextLargerThanABlockCannotBeHad) {
  EXPECT_EQ(pool_alloc_text(*pool, 5000), nullptr);
  EXPECT_EQ(pool->run_status, RUN_NO_MEMORY);
  EXPECT_EQ(pool->count, 0);
}

}  // namespace
}  // namespace tavrel
