// The help file and its topics: the binary layout of "kalvet.hlp" (a count, a signature,
// an index of scrambled topic texts), the reading of one topic into lines, links and
// pages, and the writing of a whole file (the help compiler uses it). Pure functions
// over bytes: the viewer reads the file into memory first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tavrel {

// Results of the viewer and the reader.
constexpr int HELP_OK = 0;
constexpr int HELP_NO_FILE = 1;
constexpr int HELP_NO_TOPIC = 2;
constexpr int HELP_BAD_FORMAT = 3;

constexpr char HELP_SIGNATURE[] = "TorbalineHelp";
constexpr int HELP_SIGNATURE_FIELD = 14;
constexpr int HELP_HEADER_SIZE = 20;   // count, signature, reserved
constexpr int HELP_INDEX_RECORD = 12;  // offset, length, key
constexpr int HELP_MAX_LINES = 500;
constexpr int HELP_LINE_CHARS = 80;
constexpr int HELP_PAGE_LINES = 16;
constexpr int HELP_MAX_LINKS = 500;

// Line flags.
constexpr uint8_t HELP_LINE_IN_HIGHLIGHT = 1;  // the line continues a highlighted run
constexpr uint8_t HELP_LINE_LINK = 2;
constexpr uint8_t HELP_LINE_PAGE_END = 4;

struct HelpLine {
  char text[HELP_LINE_CHARS + 1];  // as shown, with its "~" marks
  uint8_t flags;
};

struct HelpLink {
  int topic;
  int line, column;
  int page, row;  // row within the page
  uint8_t hot_letter;
};

struct HelpTopic {
  int number;
  HelpLine lines[HELP_MAX_LINES];
  int line_count;
  int page_count;
  HelpLink links[HELP_MAX_LINKS];
  int link_count;
  int page, link;  // current when the topic was last left
};

// HELP_OK when the signature field reads "TorbalineHelp", else HELP_BAD_FORMAT.
int help_check_signature(const uint8_t* file, size_t size);
// Loads a topic: HELP_NO_TOPIC when the number is not below the count, the index record
// or text lies outside the file, the length is 0 or the text has more than 500 lines.
int help_load_topic(const uint8_t* file, size_t size, int number, HelpTopic* topic);
// Splits an unscrambled text into lines, links and pages (HELP_NO_TOPIC past 500 lines).
int help_parse_text(const char* text, size_t length, HelpTopic* topic);

// One topic for the writer: its number and its plain text (CP866, lines ended by "\n").
struct HelpSource {
  int number;
  std::string text;
};
// The whole file: topics numbered 0 .. highest; numbers without a text get an empty
// index record. Each text is scrambled with a key derived from its number.
std::vector<uint8_t> help_build_file(const std::vector<HelpSource>& topics);

}  // namespace tavrel
