// Keys. Layout of this file: the process-wide keyboard state (stuffed-key queue, hot-key
// list, filter, idle hook, mouse), the character classes, the console-level read with its
// classification of records and the key-code arithmetic, then get key with its routing,
// and the registries.
#include "tui/keyboard.h"

#include <cassert>
#include <cstddef>
#include <iterator>
#include <new>

#include "platform/console.h"
#include "tui/menu.h"
#include "tui/screen.h"

namespace tavrel {

const char KEYBOARD_MAP[] =
    "`1234567890-=   ~!@#$%^&*()_+qwertyuiop[]\\  QWERTYUIOP{}|asdfghjkl;'     "
    "ASDFGHJKL:\"zxcvbnm,./      ZXCVBNM<>?";
static_assert(sizeof(KEYBOARD_MAP) == 111, "the keyboard map holds 110 characters");

namespace {

struct QueuedKey {
  QueuedKey* prev;
  QueuedKey* next;
  uint16_t key;
};

struct HotKey {
  HotKey* prev;
  HotKey* next;
  uint16_t key;
  HotKeyHandler handler;
  uint16_t substitute;  // returned after the handler runs; 0 swallows the key
};

// The one keyboard of the process.
struct KeyboardState {
  QueuedKey* queue_head = nullptr;  // first in, first out
  QueuedKey* queue_tail = nullptr;
  int queued = 0;
  bool came_from_queue = false;
  HotKey* hot_keys = nullptr;  // newest first
  KeyFilter filter = nullptr;
  IdleHook idle_hook = nullptr;
  void (*wake_hook)() = nullptr;
  int idle_period = 100;
  MouseState mouse{};
  MouseHandler mouse_handler = nullptr;
};

KeyboardState k;

// Modifier and lock keys: never delivered.
constexpr uint16_t IGNORED_SCANS[] = {0x1D, 0x2A, 0x38, 0x36, 0x3A, 0x45, 0x46};
// Navigation keys, whose character byte is always cleared.
constexpr uint16_t NAVIGATION_SCANS[] = {0x48, 0x50, 0x4B, 0x4D, 0x49, 0x51, 0x47, 0x4F, 0x52, 0x53};

constexpr uint32_t CK_ALT = CK_LEFT_ALT | CK_RIGHT_ALT;
constexpr uint32_t CK_CTRL = CK_LEFT_CTRL | CK_RIGHT_CTRL;

// Character classes: bit 0 letter, bit 1 digit, bit 2 printable.
constexpr uint8_t CLASS_LETTER = 1, CLASS_DIGIT = 2, CLASS_PRINT = 4;

struct ClassTable {
  uint8_t bits[256];
};

constexpr ClassTable make_classes(bool koi8) {
  ClassTable t{};
  for (int c = 0; c < 256; c++) {
    uint8_t b = 0;
    bool latin = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
    bool cyrillic = koi8 ? (c >= 0xC0 || c == 0xA3 || c == 0xB3)
                         : ((c >= 0x80 && c <= 0xAF) || (c >= 0xE0 && c <= 0xF7));
    if (latin || cyrillic) b |= CLASS_LETTER;
    if (c >= '0' && c <= '9') b |= CLASS_DIGIT;
    if ((c >= 0x20 && c <= 0x7E) || (c >= 0x80 && c != 0xFF)) b |= CLASS_PRINT;
    t.bits[c] = b;
  }
  return t;
}

constexpr ClassTable CLASSES[2] = {make_classes(false), make_classes(true)};

bool in_list(uint16_t value, const uint16_t* list, size_t count) {
  for (size_t i = 0; i < count; i++)
    if (list[i] == value) return true;
  return false;
}

bool in_keyboard_map(uint8_t ch) {
  for (const char* p = KEYBOARD_MAP; *p != '\0'; p++)
    if (static_cast<uint8_t>(*p) == ch) return true;
  return false;
}

// The queue's ends and its count agree.
[[maybe_unused]] bool queue_consistent() {
  return (k.queue_head == nullptr) == (k.queue_tail == nullptr) &&
         (k.queue_head == nullptr) == (k.queued == 0) && k.queued >= 0;
}

uint16_t take_queued() {
  assert(k.queue_head != nullptr && queue_consistent());
  QueuedKey* node = k.queue_head;
  uint16_t key = node->key;
  k.queue_head = node->next;
  if (k.queue_head != nullptr) k.queue_head->prev = nullptr;
  else k.queue_tail = nullptr;
  k.queued--;
  delete node;
  return key;
}

HotKey* find_hot_key(uint16_t key) {
  for (HotKey* h = k.hot_keys; h != nullptr; h = h->next)
    if (h->key == key) return h;
  return nullptr;
}

void record_mouse(const InputRecord& rec) {
  uint32_t shift = 0;
  if (rec.control_state & CK_ALT) shift |= 0x08;
  if (rec.control_state & CK_CTRL) shift |= 0x04;
  if (rec.control_state & CK_SHIFT) shift |= 0x03;
  if (rec.control_state & CK_NUMLOCK) shift |= 0x20;
  if (rec.control_state & CK_SCROLLLOCK) shift |= 0x10;
  if (rec.control_state & CK_CAPSLOCK) shift |= 0x40;
  k.mouse = MouseState{rec.mouse_x, rec.mouse_y, rec.button_state, rec.event_flags, shift};
  if (k.mouse_handler != nullptr)
    k.mouse_handler(rec.mouse_x, rec.mouse_y, rec.button_state, rec.event_flags, shift);
}

// The class of a pending record: 0 not delivered as a key, 1 read as a character, 2 read
// as a record.
int classify(const InputRecord& rec) {
  if (rec.kind != INPUT_KEY || !rec.key_down) return 0;
  if (in_list(rec.scan, IGNORED_SCANS, std::size(IGNORED_SCANS))) return 0;
  if (rec.ch == 0 || (rec.control_state & (CK_ALT | CK_CTRL)) != 0) return 2;
  if (!in_keyboard_map(rec.ch)) return 2;
  return 1;
}

}  // namespace

int key_record_class(const InputRecord& rec) { return classify(rec); }

void keyboard_idle() {
  if (k.idle_hook != nullptr) k.idle_hook();
}

uint16_t key_from_record_fields(uint16_t scan, uint8_t ch, uint32_t control_state) {
  // The character taken as a signed byte: a byte of 0x80 or more borrows one from the
  // scan byte. Kept deliberately; the program's bindings rely on it.
  int wide = (scan << 8) + static_cast<int8_t>(ch);
  auto key = static_cast<uint16_t>(wide);
  if (in_list(static_cast<uint16_t>(key >> 8), NAVIGATION_SCANS, std::size(NAVIGATION_SCANS)))
    key = static_cast<uint16_t>(key & 0xFF00);
  if (control_state & CK_ALT) {
    if (scan >= 0x01 && scan <= 0x0A) key = static_cast<uint16_t>((scan << 8) + 0x7600);
    else if ((key & 0xFF) != 0) key = static_cast<uint16_t>(scan << 8);
    else key = static_cast<uint16_t>(key + 0x2D00);
  } else if (control_state & CK_CTRL) {
    switch (key) {
      case KEY_END: key = static_cast<uint16_t>(key + 0x0300); break;
      case KEY_PGDN: key = static_cast<uint16_t>(key + 0x0200); break;
      case KEY_RIGHT: key = static_cast<uint16_t>(key + 0x0400); break;
      case KEY_HOME: key = static_cast<uint16_t>(key + 0x0D00); break;
      case KEY_PGUP: key = static_cast<uint16_t>(key + 0x1800); break;
      case KEY_LEFT: key = static_cast<uint16_t>(key + 0x0500); break;
      default: break;
    }
    key = static_cast<uint16_t>(key + 0x2300);
  } else if (control_state & CK_SHIFT) {
    if (key == KEY_TAB) key = KEY_SHIFT_TAB;
    else if (key >= KEY_F1 && key <= KEY_F10) key = static_cast<uint16_t>(key + 0x1900);
  }
  if (scan == 1 || key == 27) key = KEY_ESC;
  return key;
}

uint16_t key_for_record(const InputRecord& rec) {
  switch (classify(rec)) {
    case 1: return rec.ch;
    case 2: return key_from_record_fields(rec.scan, rec.ch, rec.control_state);
    default: return rec.kind == INPUT_MOUSE ? KEY_MOUSE : KEY_NONE;
  }
}

uint16_t read_key(bool peek) {
  for (;;) {
    int waited = console_wait(k.idle_hook != nullptr ? k.idle_period : -1);
    if (waited == CONSOLE_WAIT_TIMEOUT) {
      if (k.idle_hook != nullptr) k.idle_hook();
      continue;
    }
    if (waited == CONSOLE_WAIT_WAKE) {
      if (k.wake_hook != nullptr) k.wake_hook();
      if (k.queue_head != nullptr) return 0;
      continue;
    }
    if (waited != CONSOLE_WAIT_INPUT) continue;
    InputRecord rec{};
    if (console_peek_input(&rec) != 1) continue;
    int cls = classify(rec);
    if (peek && cls != 0) return 1;
    if (cls == 0) {
      console_read_input(&rec);
      if (rec.kind == INPUT_MOUSE) {
        record_mouse(rec);
        return KEY_MOUSE;
      }
      continue;
    }
    if (cls == 1) {
      uint8_t ch = 0;
      if (console_read_char(&ch) != 0) continue;
      return ch;
    }
    console_read_input(&rec);
    return key_from_record_fields(rec.scan, rec.ch, rec.control_state);
  }
}

namespace {

// Runs one of the two handler forms with the active window, help category, output
// position and console cursor shape saved before and restored after.
void saved_context_call(HotKeyHandler plain, void (*action)(int), int argument) {
  Window* saved = window_active();
  uint32_t handle = saved != nullptr ? saved->handle : 0;
  uint32_t help = help_category_current();
  int row = window_cursor_row(), column = window_cursor_column();
  int size = 25;
  bool visible = true;
  console_get_cursor_info(&size, &visible);
  if (plain != nullptr) plain();
  else if (action != nullptr) action(argument);
  // Windows open and close last in, first out, so the saved window is on top again
  // unless the handler left windows of its own open; its position comes back only then.
  Window* now = window_active();
  if (now != nullptr && now->handle == handle) window_set_cursor(row, column);
  help_category_set_current(help);
  console_set_cursor_info(size, visible);
}

}  // namespace

void run_in_saved_context(HotKeyHandler handler) { saved_context_call(handler, nullptr, 0); }

void run_in_saved_context(void (*handler)(int), int argument) {
  saved_context_call(nullptr, handler, argument);
}

uint16_t get_key() {
  for (;;) {
    uint16_t key;
    // Keys posted by other threads join the queue before it is looked at, so that they
    // come ahead of console input as stuffed keys do.
    if (k.queue_head == nullptr && k.wake_hook != nullptr) k.wake_hook();
    if (k.queue_head == nullptr) {
      key = read_key(false);
      if (key != 0 || k.queue_head == nullptr) {
        k.came_from_queue = false;
      } else {
        key = take_queued();
        k.came_from_queue = true;
      }
    } else {
      key = take_queued();
      k.came_from_queue = true;
    }
    if (k.filter != nullptr) {
      uint16_t verdict = k.filter(key);
      if (verdict == 1) continue;
      if (verdict != 0) key = verdict;
    }
    if (HotKey* h = find_hot_key(key); h != nullptr) {
      uint16_t substitute = h->substitute;
      run_in_saved_context(h->handler);
      if (menu_take_abort()) return 0;
      if (substitute == 0) continue;
      return substitute;
    }
    if (key != 0) {
      void (*action)(int) = nullptr;
      int id = 0;
      if (menu_find_hot_key(key, &action, &id)) {
        run_in_saved_context(action, id);
        if (menu_take_abort()) return 0;
        continue;
      }
    }
    return key;
  }
}

uint16_t get_key_echo() {
  uint16_t key = get_key();
  auto ch = static_cast<uint8_t>(key & 0xFF);
  if (ch != 0 && char_is_printable(ch)) window_put_char(ch);
  return key;
}

int stuff_key(uint16_t key) {
  auto* node = new (std::nothrow) QueuedKey{k.queue_tail, nullptr, key};
  if (node == nullptr) return 1;
  if (k.queue_tail != nullptr) k.queue_tail->next = node;
  else k.queue_head = node;
  k.queue_tail = node;
  k.queued++;
  assert(queue_consistent());
  console_wake();
  return 0;
}

bool key_came_from_queue() { return k.came_from_queue; }
int stuffed_key_count() { return k.queued; }
void clear_stuffed_keys() {
  while (k.queue_head != nullptr) take_queued();
}

int set_hot_key(uint16_t key, HotKeyHandler handler, uint16_t substitute) {
  HotKey* h = find_hot_key(key);
  if (handler == nullptr) {
    if (h == nullptr) return 2;
    if (h->prev != nullptr) h->prev->next = h->next;
    else k.hot_keys = h->next;
    if (h->next != nullptr) h->next->prev = h->prev;
    delete h;
    return 0;
  }
  if (h != nullptr) {
    h->handler = handler;  // the first substitute key stays
    return 0;
  }
  auto* node = new (std::nothrow) HotKey{nullptr, k.hot_keys, key, handler, substitute};
  if (node == nullptr) return 1;
  if (k.hot_keys != nullptr) k.hot_keys->prev = node;
  k.hot_keys = node;
  return 0;
}

bool hot_key_registered(uint16_t key) { return find_hot_key(key) != nullptr; }

bool hot_key_get(uint16_t key, HotKeyHandler* handler, uint16_t* substitute) {
  HotKey* h = find_hot_key(key);
  if (h == nullptr) return false;
  *handler = h->handler;
  *substitute = h->substitute;
  return true;
}

void clear_hot_keys() {
  while (k.hot_keys != nullptr) set_hot_key(k.hot_keys->key, nullptr, 0);
}

void set_key_filter(KeyFilter filter) { k.filter = filter; }
void set_wake_hook(void (*hook)()) { k.wake_hook = hook; }
void set_idle_hook(IdleHook hook) { k.idle_hook = hook; }
void set_idle_period(int milliseconds) { k.idle_period = milliseconds > 0 ? milliseconds : 100; }
void set_mouse_handler(MouseHandler handler) { k.mouse_handler = handler; }
MouseState mouse_state() { return k.mouse; }
void flush_input() { console_flush_input(); }

bool char_is_letter(uint8_t c) { return (CLASSES[ui_codepage()].bits[c] & CLASS_LETTER) != 0; }
bool char_is_digit(uint8_t c) { return (CLASSES[ui_codepage()].bits[c] & CLASS_DIGIT) != 0; }
bool char_is_printable(uint8_t c) { return (CLASSES[ui_codepage()].bits[c] & CLASS_PRINT) != 0; }

}  // namespace tavrel
