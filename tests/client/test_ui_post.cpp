// Posting to the user-interface thread: keys and actions posted by another thread while this
// thread reads keys arrive here, all of them, in posting order, ahead of nothing typed
// earlier; actions run on this thread; after a stop posting is refused and nothing left
// over runs.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "client/ui_post.h"
#include "platform/virtual_console.h"
#include "tui/keyboard.h"
#include "tui/screen.h"

namespace tavrel {
namespace {

class UiPostTest : public ::testing::Test {
 protected:
  void SetUp() override {
    virtual_console_reset(80, 25);
    console_select(virtual_console());
    ASSERT_EQ(screen_start(), DISPLAY_CONSOLE);
    clear_hot_keys();
    clear_stuffed_keys();
    set_key_filter(nullptr);
    set_idle_hook(nullptr);
    ASSERT_EQ(ui_post_start(), 0);
  }
  void TearDown() override {
    ui_post_stop();
    clear_stuffed_keys();
    screen_shutdown();
  }
};

// Keys that no layer binds: a plain letter range would do, the high range keeps them apart
// from anything the virtual console could make up.
uint16_t nth_key(int i) { return static_cast<uint16_t>(0x9000 + i); }

struct ActionLog {
  std::thread::id ui;
  std::atomic<int> ran{0};
  std::atomic<int> off_thread{0};
};

void note_action(void* user) {
  auto* log = static_cast<ActionLog*>(user);
  if (std::this_thread::get_id() != log->ui) log->off_thread++;
  log->ran++;
}

TEST_F(UiPostTest, KeysAndActionsFromAnotherThreadArriveInOrderOnThisThread) {
  constexpr int KEYS = 3000;
  virtual_console_set_blocking(true);
  ActionLog log;
  log.ui = std::this_thread::get_id();
  std::thread poster([&log] {
    for (int i = 0; i < KEYS; i++) {
      EXPECT_EQ(ui_post_key(nth_key(i)), 0);
      if (i % 10 == 0) {
        EXPECT_EQ(ui_post_action(note_action, &log), 0);
      }
      if (i % 97 == 0) std::this_thread::yield();
    }
  });
  std::vector<uint16_t> got;
  got.reserve(KEYS);
  for (int i = 0; i < KEYS; i++) {
    got.push_back(get_key());
    EXPECT_TRUE(key_came_from_queue());
  }
  poster.join();
  ASSERT_EQ(got.size(), static_cast<size_t>(KEYS));
  for (int i = 0; i < KEYS; i++) ASSERT_EQ(got[i], nth_key(i)) << "key " << i;
  // Every action was posted before the last key, so it has run by the time that key came.
  EXPECT_EQ(log.ran.load(), KEYS / 10);
  EXPECT_EQ(log.off_thread.load(), 0);
  EXPECT_EQ(ui_post_pending(), 0);
  EXPECT_EQ(virtual_console_starved(), 0);
}

// Posted keys behave as keys stuffed when the reading thread takes them: behind the keys
// already stuffed, ahead of console input.
TEST_F(UiPostTest, PostedKeysQueueBehindStuffedKeysAndAheadOfTypedOnes) {
  stuff_key(KEY_F2);
  virtual_console_push_key(0, 0x1E, 'a');
  std::thread poster([] {
    EXPECT_EQ(ui_post_key(KEY_F3), 0);
    EXPECT_EQ(ui_post_key(KEY_F4), 0);
  });
  poster.join();
  EXPECT_EQ(get_key(), KEY_F2);
  EXPECT_EQ(get_key(), KEY_F3);
  EXPECT_TRUE(key_came_from_queue());
  EXPECT_EQ(get_key(), KEY_F4);
  EXPECT_EQ(get_key(), 'a');
  EXPECT_FALSE(key_came_from_queue());
}

int g_late_runs = 0;
void late_action(void*) { g_late_runs++; }

TEST_F(UiPostTest, AfterStopPostingIsRefusedAndLeftoversAreDropped) {
  g_late_runs = 0;
  std::thread poster([] {
    EXPECT_EQ(ui_post_action(late_action, nullptr), 0);
    EXPECT_EQ(ui_post_key(KEY_F4), 0);
  });
  poster.join();
  EXPECT_EQ(ui_post_pending(), 2);
  ui_post_stop();
  EXPECT_EQ(ui_post_pending(), 0);
  std::thread refused([] {
    EXPECT_EQ(ui_post_key(KEY_F5), 2);
    EXPECT_EQ(ui_post_action(late_action, nullptr), 2);
  });
  refused.join();
  // The wake-up signalled before the stop finds no hook and no queued key.
  virtual_console_push_key(0, 0x1E, 'a');
  EXPECT_EQ(get_key(), 'a');
  EXPECT_EQ(g_late_runs, 0);
  EXPECT_EQ(stuffed_key_count(), 0);
  ASSERT_EQ(ui_post_start(), 0);  // for TearDown
}

TEST_F(UiPostTest, TheThreadThatStartsIsTheUserInterfaceThread) {
  EXPECT_TRUE(ui_thread_current());
  bool elsewhere = true;
  std::thread other([&elsewhere] { elsewhere = ui_thread_current(); });
  other.join();
  EXPECT_FALSE(elsewhere);
}

}  // namespace
}  // namespace tavrel
