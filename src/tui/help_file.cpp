// The help file: reading the header, the index and one scrambled topic text, splitting
// it into lines, links and pages; and building a whole file from plain topic texts.
#include "tui/help_file.h"

#include <cstring>

namespace tavrel {

namespace {

uint32_t read32(const uint8_t* p) {
  return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
         static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24;
}

void write32(std::vector<uint8_t>& out, size_t at, uint32_t v) {
  for (int i = 0; i < 4; i++) out[at + i] = static_cast<uint8_t>(v >> (8 * i));
}

// A link line reads "|" number character "|" text; false when the line is not one.
bool parse_link(const char* line, size_t length, int* topic, uint8_t* hot, size_t* text_start) {
  if (length < 4 || line[0] != '|') return false;
  size_t i = 1;
  bool negative = false;
  if (line[i] == '-' || line[i] == '+') negative = line[i++] == '-';
  long value = 0;
  size_t digits = 0;
  while (i < length && line[i] >= '0' && line[i] <= '9') {
    if (value < 1000000) value = value * 10 + (line[i] - '0');
    i++;
    digits++;
  }
  if (digits == 0 || i + 1 >= length || line[i + 1] != '|') return false;
  *topic = static_cast<int>(negative ? -value : value);
  *hot = static_cast<uint8_t>(line[i]);
  *text_start = i + 2;
  return true;
}

// Whether a "~" run is open at the end of the text (a "~~" pair is a plain "~").
bool toggles_highlight(const char* text, bool on) {
  for (const char* p = text; *p != '\0'; p++) {
    if (*p != '~') continue;
    if (p[1] == '~') {
      p++;
      continue;
    }
    on = !on;
    if (p[1] != '\0') p++;  // the character after the mark is plain text
  }
  return on;
}

}  // namespace

int help_check_signature(const uint8_t* file, size_t size) {
  if (size < HELP_HEADER_SIZE) return HELP_BAD_FORMAT;
  char field[HELP_SIGNATURE_FIELD + 1];
  std::memcpy(field, file + 2, HELP_SIGNATURE_FIELD);
  field[HELP_SIGNATURE_FIELD] = '\0';
  return std::strcmp(field, HELP_SIGNATURE) == 0 ? HELP_OK : HELP_BAD_FORMAT;
}

int help_parse_text(const char* text, size_t length, HelpTopic* topic) {
  topic->line_count = 0;
  topic->link_count = 0;
  bool highlight = false;
  size_t start = 0;
  while (start < length) {
    size_t end = start;
    while (end < length && text[end] != '\n') end++;
    if (topic->line_count == HELP_MAX_LINES) return HELP_NO_TOPIC;
    int index = topic->line_count++;
    HelpLine& line = topic->lines[index];
    line.flags = highlight ? HELP_LINE_IN_HIGHLIGHT : 0;
    const char* from = text + start;
    size_t n = end - start;
    if (n > 0 && from[n - 1] == '\r') n--;
    int target = 0;
    uint8_t hot = 0;
    size_t skip = 0;
    if (n >= 2 && from[0] == '/' && from[1] == '/') {
      skip = 2;
    } else if (parse_link(from, n, &target, &hot, &skip)) {
      line.flags |= HELP_LINE_LINK;
      if (topic->link_count < HELP_MAX_LINKS) {
        HelpLink& link = topic->links[topic->link_count++];
        link.topic = target;
        link.line = index;
        link.column = 0;
        link.page = index / HELP_PAGE_LINES;
        link.row = index % HELP_PAGE_LINES;
        link.hot_letter = hot;
      }
    }
    size_t shown = n - skip;
    if (shown > HELP_LINE_CHARS) shown = HELP_LINE_CHARS;
    std::memcpy(line.text, from + skip, shown);
    line.text[shown] = '\0';
    for (size_t i = 0; i < shown; i++)
      if (line.text[i] == '\0') line.text[i] = ' ';  // a zero byte would end the line early
    highlight = toggles_highlight(line.text, highlight);
    start = end + 1;
  }
  topic->page_count = (topic->line_count + HELP_PAGE_LINES - 1) / HELP_PAGE_LINES;
  if (topic->page_count == 0) topic->page_count = 1;
  for (int i = 0; i < topic->line_count; i++)
    if (i % HELP_PAGE_LINES == HELP_PAGE_LINES - 1 || i == topic->line_count - 1)
      topic->lines[i].flags |= HELP_LINE_PAGE_END;
  return HELP_OK;
}

int help_load_topic(const uint8_t* file, size_t size, int number, HelpTopic* topic) {
  if (size < HELP_HEADER_SIZE) return HELP_BAD_FORMAT;
  int count = file[0] | file[1] << 8;
  if (number < 0 || number >= count) return HELP_NO_TOPIC;
  size_t record = HELP_HEADER_SIZE + static_cast<size_t>(HELP_INDEX_RECORD) * number;
  if (record + HELP_INDEX_RECORD > size) return HELP_NO_TOPIC;
  uint32_t offset = read32(file + record);
  uint32_t length = read32(file + record + 4);
  auto key = static_cast<uint8_t>(read32(file + record + 8) & 0xFF);
  if (length == 0 || offset > size || length > size - offset) return HELP_NO_TOPIC;
  std::vector<char> text(length);
  for (uint32_t i = 0; i < length; i++) text[i] = static_cast<char>(file[offset + i] ^ key);
  topic->number = number;
  topic->page = 0;
  topic->link = 0;
  return help_parse_text(text.data(), length, topic);
}

std::vector<uint8_t> help_build_file(const std::vector<HelpSource>& topics) {
  int count = 0;
  for (const HelpSource& t : topics)
    if (t.number + 1 > count) count = t.number + 1;
  size_t index_end = HELP_HEADER_SIZE + static_cast<size_t>(HELP_INDEX_RECORD) * count;
  std::vector<uint8_t> out(index_end, 0);
  out[0] = static_cast<uint8_t>(count & 0xFF);
  out[1] = static_cast<uint8_t>(count >> 8);
  std::memcpy(out.data() + 2, HELP_SIGNATURE, sizeof HELP_SIGNATURE - 1);
  for (const HelpSource& t : topics) {
    // Any key does; this one differs from topic to topic and is never 0.
    auto key = static_cast<uint8_t>(0x5A ^ (t.number * 37 + 11));
    if (key == 0) key = 0xA5;
    size_t record = HELP_HEADER_SIZE + static_cast<size_t>(HELP_INDEX_RECORD) * t.number;
    write32(out, record, static_cast<uint32_t>(out.size()));
    write32(out, record + 4, static_cast<uint32_t>(t.text.size()));
    write32(out, record + 8, key);
    for (char c : t.text) out.push_back(static_cast<uint8_t>(static_cast<uint8_t>(c) ^ key));
  }
  return out;
}

}  // namespace tavrel
