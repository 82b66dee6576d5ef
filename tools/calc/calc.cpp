// tavrel-calc: evaluates expressions of the procedure language and prints each result in the
// typed-value form ("5 (SMALLINT)", "{abc} (STRING)", "(NULL)") or as
// "error N line L column C: MESSAGE". Texts come from the arguments, one text each, or else
// one text per line of standard input. Input and output are UTF-8, or raw CP866 with --cp866.
// Exit status 0 when every text evaluated, 1 otherwise, 2 for a bad option.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "text/unicode.h"
#include "translator/diagnostics.h"
#include "translator/evaluator.h"
#include "translator/value_form.h"

namespace {

using namespace tavrel;

struct Calc {
  StackMemory memory{};
  StringPool pool;
  EvalContext ctx{};
  bool cp866 = false;
  std::string printed;  // what PRINT wrote during the current text
};

void gather_print(void* user, std::string_view text) {
  static_cast<Calc*>(user)->printed.append(text);
}

std::string to_console(const Calc& c, const std::string& text) {
  return c.cp866 ? text : cp866_to_utf8(text);
}

// Evaluates one text and prints its line; true when it evaluated to a value.
bool run_text(Calc& c, const std::string& input) {
  std::string text = c.cp866 ? input : utf8_to_cp866(input);
  EvalScope scope = eval_scope_open(c.ctx);
  Value v;
  EvalOutcome o;
  int rc = evaluate(text, c.ctx, &v, &o);
  // Messages of PRINT go to the error stream, each on a line of its own, so that standard
  // output keeps one line per text.
  if (!c.printed.empty()) {
    std::fprintf(stderr, "%s\n", c.printed.c_str());
    c.printed.clear();
  }
  bool ok = false;
  std::string line;
  if (rc != 0) {
    line = "error " + std::to_string(o.diagnostic) + " line " + std::to_string(o.line) +
           " column " + std::to_string(o.column) + ": " +
           to_console(c, diagnostic_message(o.diagnostic));
  } else if (o.assignment && v.type == TYPE_NONE) {
    line = to_console(c, TEXT_ASSIGNMENT_ATTEMPT);
  } else {
    line = to_console(c, typed_value_form(v, c.pool));
    ok = true;
  }
  std::printf("%s\n", line.c_str());
  if (o.warning >= 0) {
    std::fprintf(stderr, "warning %d line %d column %d: %s\n", o.warning, o.warning_line,
                 o.warning_column, to_console(c, diagnostic_message(o.warning)).c_str());
  }
  eval_scope_close(c.ctx, scope);
  return ok;
}

void usage(std::FILE* out) {
  std::fputs(
      "usage: tavrel-calc [--cp866] [EXPR...]\n"
      "Evaluates each EXPR (or each line of standard input) and prints its value as\n"
      "'5 (SMALLINT)', '{abc} (STRING)', 'TRUE (LOGICAL)', '(NULL)' ..., or\n"
      "'error N line L column C: MESSAGE'. Texts are UTF-8 unless --cp866 is given.\n",
      out);
}

}  // namespace

int main(int argc, char** argv) {
  static Calc c;
  std::vector<std::string> texts;
  bool options = true;
  for (int i = 1; i < argc; i++) {
    if (options && std::strcmp(argv[i], "--cp866") == 0) {
      c.cp866 = true;
    } else if (options && std::strcmp(argv[i], "--help") == 0) {
      usage(stdout);
      return 0;
    } else if (options && std::strcmp(argv[i], "--") == 0) {
      options = false;
    } else if (options && argv[i][0] == '-' && argv[i][1] == '-') {
      std::fprintf(stderr, "tavrel-calc: unknown option %s\n", argv[i]);
      usage(stderr);
      return 2;
    } else {
      texts.push_back(argv[i]);
    }
  }
  string_pool_init(c.pool, &c.memory, STACK_TEXT_A);
  c.ctx.strings = &c.pool;
  c.ctx.rand_state = 1;
  c.ctx.print = gather_print;
  c.ctx.print_user = &c;

  bool all_ok = true;
  if (!texts.empty()) {
    for (const std::string& t : texts) all_ok = run_text(c, t) && all_ok;
  } else {
    std::string line;
    int ch;
    bool pending = false;
    while ((ch = std::fgetc(stdin)) != EOF) {
      if (ch == '\n') {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        all_ok = run_text(c, line) && all_ok;
        line.clear();
        pending = false;
      } else {
        line += static_cast<char>(ch);
        pending = true;
      }
    }
    if (pending) all_ok = run_text(c, line) && all_ok;
  }
  stack_mem_teardown(c.memory);
  return all_ok ? 0 : 1;
}
