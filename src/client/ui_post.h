// Handing work from other threads to the user-interface thread. The channel runs completion
// routines on its reader thread, and the keyboard layer, the screen and the windows belong to
// the user-interface thread alone; so a routine that must reach the user posts a key code or
// an action here instead. Posting takes a lock and signals the console's wake-up event; the
// user-interface thread, woken in its key wait, runs the actions and queues the keys as if
// typed, in the order they were posted.
#pragma once

#include <cstdint>

namespace tavrel {

using PostedAction = void (*)(void* user);

// On the user-interface thread: from now on posted work is taken in its key waits, and this
// thread is the user-interface thread. 0 on success.
int ui_post_start();
// On the user-interface thread: posting ends; what is still queued is dropped.
void ui_post_stop();

// From any thread. 0 queued; 1 out of memory; 2 nobody takes posted work (not started, or
// stopped), so the caller must not count on it.
int ui_post_key(uint16_t key);
int ui_post_action(PostedAction action, void* user);

// On the user-interface thread: runs the posted actions and queues the posted keys, in
// posting order; the number of items taken. The key wait calls it when woken.
int ui_post_take();
// Posted items not yet taken.
int ui_post_pending();

// True on the user-interface thread: the one that called ui_post_start, or the main thread
// before any start.
bool ui_thread_current();

}  // namespace tavrel
