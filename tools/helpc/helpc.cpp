// helpc: the help compiler. Reads help sources (UTF-8 text; "@topic N" starts topic N,
// every other line is text of the topic, its first line the title), checks them (topic
// numbers unique, lines fit the viewer, links lead to existing topics, every character
// has a CP866 form) and writes the binary help file with its scrambled topic texts.
//
//   helpc -o kalvet.hlp help/*.txt
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "text/unicode.h"
#include "tui/help_file.h"

namespace {

using tavrel::HelpSource;

constexpr int VIEW_WIDTH = 64;  // the help window's interior
constexpr int MAX_TOPIC = 65535;

struct Topic {
  int number;
  std::string file;
  int line;
  std::vector<std::string> lines;  // UTF-8
};

int g_errors = 0;

void error(const std::string& file, int line, const std::string& text) {
  std::fprintf(stderr, "%s:%d: %s\n", file.c_str(), line, text.c_str());
  g_errors++;
}

// The width of a line as the viewer shows it: "~" marks and the link and "//" prefixes
// take no room.
int shown_width(const std::string& cp866) {
  std::string text = cp866;
  if (text.rfind("//", 0) == 0) text = text.substr(2);
  if (!text.empty() && text[0] == '|') {
    size_t second = text.find('|', 1);
    if (second != std::string::npos) text = text.substr(second + 1);
  }
  int n = 0;
  for (size_t i = 0; i < text.size(); i++) {
    if (text[i] == '~' && (i + 1 >= text.size() || text[i + 1] != '~')) continue;
    if (text[i] == '~') i++;
    n++;
  }
  return n;
}

bool read_source(const std::string& path, std::vector<Topic>* topics) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    error(path, 0, "cannot be read");
    return false;
  }
  std::string line;
  int number = 0;
  while (std::getline(in, line)) {
    number++;
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.rfind("@topic ", 0) == 0) {
      char* end = nullptr;
      long value = std::strtol(line.c_str() + 7, &end, 10);
      if (end == line.c_str() + 7 || value < 0 || value > MAX_TOPIC) {
        error(path, number, "bad topic number");
        continue;
      }
      topics->push_back(Topic{static_cast<int>(value), path, number, {}});
      continue;
    }
    if (topics->empty() || topics->back().file != path) {
      if (!line.empty()) error(path, number, "text before the first @topic");
      continue;
    }
    topics->back().lines.push_back(line);
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  std::string output;
  std::vector<std::string> inputs;
  for (int i = 1; i < argc; i++) {
    if (std::strcmp(argv[i], "-o") == 0 && i + 1 < argc) output = argv[++i];
    else inputs.push_back(argv[i]);
  }
  if (output.empty() || inputs.empty()) {
    std::fprintf(stderr, "usage: helpc -o OUTPUT SOURCE...\n");
    return 2;
  }
  std::vector<Topic> topics;
  for (const std::string& path : inputs) read_source(path, &topics);

  std::map<int, const Topic*> by_number;
  for (const Topic& t : topics)
    if (!by_number.emplace(t.number, &t).second) error(t.file, t.line, "topic " + std::to_string(t.number) + " defined twice");

  std::vector<HelpSource> sources;
  for (Topic& t : topics) {
    while (!t.lines.empty() && t.lines.back().empty()) t.lines.pop_back();
    if (t.lines.empty()) {
      error(t.file, t.line, "topic without text");
      continue;
    }
    if (static_cast<int>(t.lines.size()) > tavrel::HELP_MAX_LINES) error(t.file, t.line, "more than 500 lines");
    std::string text;
    for (size_t i = 0; i < t.lines.size(); i++) {
      const std::string& utf8 = t.lines[i];
      int at = t.line + 1 + static_cast<int>(i);
      std::string cp866 = tavrel::utf8_to_cp866(utf8);
      if (std::count(cp866.begin(), cp866.end(), '?') != std::count(utf8.begin(), utf8.end(), '?'))
        error(t.file, at, "a character without a CP866 form");
      if (shown_width(cp866) > VIEW_WIDTH) error(t.file, at, "line wider than " + std::to_string(VIEW_WIDTH));
      if (!cp866.empty() && cp866[0] == '|') {
        int target = -1;
        char hot = 0, bar = 0;
        if (std::sscanf(cp866.c_str(), "|%d%c%c", &target, &hot, &bar) != 3 || bar != '|')
          error(t.file, at, "bad link: |number letter|text");
        else if (by_number.count(target) == 0)
          error(t.file, at, "link to missing topic " + std::to_string(target));
      }
      text += cp866;
      text += '\n';
    }
    sources.push_back(HelpSource{t.number, text});
  }
  if (g_errors > 0) return 1;
  std::vector<uint8_t> file = tavrel::help_build_file(sources);
  std::ofstream out(output, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(file.data()), static_cast<std::streamsize>(file.size()));
  if (!out) {
    std::fprintf(stderr, "%s: cannot be written\n", output.c_str());
    return 1;
  }
  return 0;
}
