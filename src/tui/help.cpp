// The help viewer. Layout of this file: the process-wide viewer state (file image,
// history), drawing a page of a topic, the keys of one topic display, the session loop
// that follows links and the history, and the F1 handler.
#include "tui/help.h"

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

#include "tui/colours.h"
#include "tui/hints.h"
#include "tui/keyboard.h"
#include "tui/messages.h"
#include "tui/msgbox.h"
#include "tui/screen.h"

namespace tavrel {

namespace {

constexpr int VIEW_TOP = 2, VIEW_LEFT = 7, VIEW_BOTTOM = 21, VIEW_RIGHT = 72;  // interior 18 x 64
constexpr int TITLE_WIDTH = 64;
constexpr int HINT_ROW = HELP_PAGE_LINES + 1;

// The viewer: the help file's path and image, the history, the last missing topic.
struct HelpState {
  std::string path = "kalvet.hlp";
  std::vector<uint8_t> file;
  HelpHistoryEntry history[HELP_HISTORY_MAX];
  int history_count = 0;
  int missing_topic = 0;
};

HelpState h;

void noop() {}

void history_push(int topic, int page, int link) {
  if (h.history_count == HELP_HISTORY_MAX) {
    for (int i = 1; i < HELP_HISTORY_MAX; i++) h.history[i - 1] = h.history[i];
    h.history_count--;
  }
  h.history[h.history_count++] = HelpHistoryEntry{topic, page, link};
}

// Draws one line: "~" switches between the normal and the highlight attribute, "~~" is a
// "~"; a link line is drawn in the link attribute (the current link in its own).
void draw_line(int row, const HelpLine& line, bool title, bool current_link) {
  uint8_t normal = colour(ROLE_HELP), highlight = colour(ROLE_HELP_HIGHLIGHT);
  if (line.flags & HELP_LINE_LINK) normal = highlight = colour(current_link ? ROLE_HELP_LINK_SELECTED : ROLE_HELP_LINK);
  bool on = (line.flags & HELP_LINE_IN_HIGHLIGHT) != 0;
  char shown[HELP_LINE_CHARS + 1];
  uint8_t attrs[HELP_LINE_CHARS + 1];
  int n = 0;
  for (const char* p = line.text; *p != '\0'; p++) {
    if (*p == '~' && p[1] != '~') {
      on = !on;
      continue;
    }
    if (*p == '~') p++;
    shown[n] = *p;
    attrs[n++] = on ? highlight : normal;
  }
  int start = title ? (TITLE_WIDTH - n) / 2 : 0;
  if (start < 0) start = 0;
  for (int i = 0; i < n && start + i < TITLE_WIDTH; i++)
    window_put_cell(row, start + i, static_cast<uint8_t>(shown[i]), attrs[i]);
}

void draw_page(const HelpTopic& topic) {
  begin_update();
  window_fill(0, 0, HELP_PAGE_LINES - 1, window_width() - 1, ' ', colour(ROLE_HELP));
  const HelpLink* current = topic.link_count > 0 ? &topic.links[topic.link] : nullptr;
  for (int r = 0; r < HELP_PAGE_LINES; r++) {
    int index = topic.page * HELP_PAGE_LINES + r;
    if (index >= topic.line_count) break;
    draw_line(r, topic.lines[index], index == 0, current != nullptr && current->line == index);
  }
  // The page marks on the bottom frame.
  window_redraw_frame();
  Window* w = window_active();
  uint8_t frame = colour(ROLE_HELP_FRAME);
  if (topic.page > 0)
    for (int i = 0; i < 4; i++) screen_put(w->bottom, w->left + 2 + i, static_cast<uint8_t>("PgUp"[i]), frame);
  if (topic.page < topic.page_count - 1)
    for (int i = 0; i < 4; i++) screen_put(w->bottom, w->right - 5 + i, static_cast<uint8_t>("PgDn"[i]), frame);
  end_update();
}

void select_link(HelpTopic& topic, int index) {
  topic.link = index;
  topic.page = topic.links[index].page;
}

// Shows one topic until a key leaves it: a topic number to follow, or HELP_VIEW_*.
int view_topic(HelpTopic& topic) {
  if (topic.page >= topic.page_count) topic.page = 0;
  if (topic.link >= topic.link_count) topic.link = 0;
  for (;;) {
    draw_page(topic);
    force_flush();
    uint16_t key = get_key();
    switch (key) {
      case KEY_ESC: return HELP_VIEW_ESC;
      case KEY_F1: return HELP_VIEW_GENERAL;
      case KEY_ALT_F1: return HELP_VIEW_PREVIOUS;
      case KEY_PGUP:
        if (topic.page > 0) topic.page--;
        continue;
      case KEY_PGDN:
        if (topic.page < topic.page_count - 1) topic.page++;
        continue;
      case KEY_UP:
      case KEY_LEFT:
        if (topic.link_count > 0) select_link(topic, topic.link > 0 ? topic.link - 1 : topic.link_count - 1);
        continue;
      case KEY_DOWN:
      case KEY_RIGHT:
        if (topic.link_count > 0) select_link(topic, (topic.link + 1) % topic.link_count);
        continue;
      case KEY_ENTER:
        if (topic.link_count > 0) return topic.links[topic.link].topic;
        continue;
      default: break;
    }
    uint8_t ch = ui_lower(static_cast<uint8_t>(key & 0xFF));
    if (ch == 0) continue;
    for (int i = 0; i < topic.link_count; i++)
      if (ui_lower(topic.links[i].hot_letter) == ch) {
        select_link(topic, i);
        return topic.links[i].topic;
      }
  }
}

// The viewer's keys while it is shown: those already bound elsewhere step aside.
const uint16_t VIEWER_KEYS[] = {KEY_PGUP, KEY_PGDN, KEY_ESC, KEY_DEL};

struct SavedBinding {
  bool bound;
  HotKeyHandler handler;
  uint16_t substitute;
};

void bind_viewer_keys(SavedBinding* saved) {
  for (size_t i = 0; i < std::size(VIEWER_KEYS); i++) {
    saved[i] = SavedBinding{};
    saved[i].bound = hot_key_get(VIEWER_KEYS[i], &saved[i].handler, &saved[i].substitute);
    if (saved[i].bound) set_hot_key(VIEWER_KEYS[i], nullptr, 0);
    set_hot_key(VIEWER_KEYS[i], noop, VIEWER_KEYS[i]);
  }
}

void unbind_viewer_keys(const SavedBinding* saved) {
  for (size_t i = 0; i < std::size(VIEWER_KEYS); i++) {
    set_hot_key(VIEWER_KEYS[i], nullptr, 0);
    if (saved[i].bound) set_hot_key(VIEWER_KEYS[i], saved[i].handler, saved[i].substitute);
  }
}

int read_file() {
  std::ifstream in(std::filesystem::path(std::u8string(h.path.begin(), h.path.end())), std::ios::binary);
  if (!in) return HELP_NO_FILE;
  h.file.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return HELP_OK;
}

}  // namespace

void help_set_file(const std::string& path) { h.path = path; }
const std::string& help_file_path() { return h.path; }
int help_missing_topic() { return h.missing_topic; }

int help_show(int first) {
  if (read_file() != HELP_OK) return HELP_NO_FILE;
  if (help_check_signature(h.file.data(), h.file.size()) != HELP_OK) {
    h.file.clear();
    return HELP_BAD_FORMAT;
  }
  auto topic = std::make_unique<HelpTopic>();
  uint32_t handle = 0;
  SavedBinding saved[std::size(VIEWER_KEYS)];
  bind_viewer_keys(saved);
  int result = HELP_OK;
  int next = first;
  int page = 0, link = 0;
  for (;;) {
    if (help_load_topic(h.file.data(), h.file.size(), next, topic.get()) != HELP_OK) {
      h.missing_topic = next;
      result = HELP_NO_TOPIC;
      break;
    }
    topic->page = page;
    topic->link = link;
    history_push(next, page, link);
    if (handle == 0) {
      handle = window_open(VIEW_TOP, VIEW_LEFT, VIEW_BOTTOM, VIEW_RIGHT, FRAME_DOUBLE, colour(ROLE_HELP_FRAME),
                           colour(ROLE_HELP));
      if (handle == 0) break;
      window_set_title(message_text(MSG_HELP_TITLE), 2, colour(ROLE_HELP_FRAME));
      window_add_shadow(0x08);
      window_hrule(HELP_PAGE_LINES, 0, window_width(), FRAME_SINGLE, colour(ROLE_HELP_FRAME));
      window_put_text(HINT_ROW, 1, message_text(MSG_HELP_GENERAL_HINT), colour(ROLE_HELP));
      const char* previous = message_text(MSG_HELP_PREVIOUS_HINT);
      window_put_text(HINT_ROW, window_width() - 1 - static_cast<int>(std::strlen(previous)), previous,
                      colour(ROLE_HELP));
      cursor_hide();
    }
    help_category_set_current(static_cast<uint32_t>(next));
    int r = view_topic(*topic);
    h.history[h.history_count - 1].page = topic->page;
    h.history[h.history_count - 1].link = topic->link;
    page = link = 0;
    if (r == HELP_VIEW_ESC) break;
    if (r == HELP_VIEW_GENERAL) {
      next = HELP_GENERAL;
    } else if (r == HELP_VIEW_PREVIOUS) {
      h.history_count--;  // the topic shown
      if (h.history_count > 0) {
        HelpHistoryEntry below = h.history[--h.history_count];  // pushed again when shown
        next = below.topic;
        page = below.page;
        link = below.link;
      } else {
        next = first;
      }
    } else {
      next = r;
    }
  }
  if (handle != 0) {
    window_close();
    cursor_show();
  }
  unbind_viewer_keys(saved);
  h.file.clear();
  return result;
}

void help_f1() {
  set_hot_key(KEY_F1, nullptr, 0);
  uint32_t category = help_category_current();
  int result = help_show(static_cast<int>(category));
  if (result == HELP_NO_TOPIC) {
    char text[120];
    std::snprintf(text, sizeof text, message_text(MSG_HELP_TOPIC_MISSING), help_missing_topic());
    msgbox_info(text);
  } else if (result == HELP_BAD_FORMAT) {
    msgbox_info(message_text(MSG_HELP_BAD_FORMAT));
  }
  // A file that cannot be opened is passed over in silence.
  help_category_set_current(category);
  set_hot_key(KEY_F1, help_f1, 0);
}

int help_history_count() { return h.history_count; }
HelpHistoryEntry help_history_at(int index) {
  return index >= 0 && index < h.history_count ? h.history[index] : HelpHistoryEntry{-1, 0, 0};
}
void help_history_clear() { h.history_count = 0; }

}  // namespace tavrel
