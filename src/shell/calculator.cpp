// The expression calculator of Shift+F9: a window with a formula and a result field over
// the client-side evaluator (or, while an execution is stopped in the debugger, over its
// selected frame); the result shows the value in its typed-value form, or
// "Ошибка при вычислении" / "Попытка присвоения".
#include <cstdio>
#include <cstring>

#include "debugger/manager.h"
#include "debugger/view_lists.h"
#include "shell/shell.h"
#include "translator/evaluator.h"
#include "translator/value_form.h"
#include "tui/colours.h"
#include "tui/form.h"
#include "tui/hints.h"
#include "tui/keyboard.h"
#include "tui/messages.h"
#include "tui/screen.h"

namespace tavrel {

namespace {

constexpr int FIELD_LENGTH = 500;
constexpr int FIELD_VISIBLE = 50;
constexpr int CALC_TOP = 9, CALC_LEFT = 6, CALC_BOTTOM = 15, CALC_RIGHT = 70;
constexpr int FIELD_COLUMN = 12;
constexpr uint8_t CALC_SHADOW_ATTR = 0x07;

// The evaluator's stores: stack memory, the string pool and the context.
struct Calculator {
  StackMemory memory;
  StringPool pool;
  EvalContext ctx;
  bool ready;
};

Calculator* g_calc = nullptr;

struct CalcForm {
  Form form;
  char formula[FIELD_LENGTH + 1];
  char result[FIELD_LENGTH + 1];
  int result_item;
};

CalcForm g_form;

// A variable of the stopped execution was assigned: the views show it once the calculator
// has closed.
bool g_assigned = false;

// Enter in the formula field: evaluate, show the result and move to it. While an execution
// is stopped in the debugger the formula is evaluated in its selected frame.
void evaluate_formula(Form* form, int) {
  std::string text;
  bool assigned = false;
  if (debug_calculate(g_form.formula, &text, &assigned)) {
    if (text.size() > FIELD_LENGTH) text.resize(FIELD_LENGTH);
    g_assigned = g_assigned || assigned;
  } else {
    text = calculator_result(g_form.formula);
  }
  std::snprintf(g_form.result, sizeof g_form.result, "%s", text.c_str());
  form->focus = g_form.result_item;
  form_draw(form);
}

void close_calculator(Form* form, int) { form_end(form, 1); }

}  // namespace

void calculator_init() {
  if (g_calc != nullptr) return;
  g_calc = static_cast<Calculator*>(shell_alloc(sizeof(Calculator)));
  std::memset(static_cast<void*>(g_calc), 0, sizeof(Calculator));
  string_pool_init(g_calc->pool, &g_calc->memory, STACK_TEXT_A);
  g_calc->ctx = EvalContext{};
  g_calc->ctx.strings = &g_calc->pool;
  g_calc->ctx.rand_state = 1;
  // Nothing may write over the screen: PRINT has no sink, and the stores' notices (a full
  // string table) are dropped; the evaluation's own diagnostic reaches the result field.
  g_calc->ctx.notice = [](void*, std::string_view) {};
  g_calc->ready = true;
}

void calculator_shutdown() {
  if (g_calc == nullptr) return;
  stack_mem_teardown(g_calc->memory);
  shell_free(g_calc);
  g_calc = nullptr;
}

std::string calculator_result(const std::string& formula) {
  calculator_init();
  EvalContext& ctx = g_calc->ctx;
  EvalScope scope = eval_scope_open(ctx);
  Value v{};
  EvalOutcome outcome{};
  const int rc = evaluate(formula, ctx, &v, &outcome);
  std::string text;
  if (rc != 0) text = message_text(MSG_CALC_FAILED);
  else if (outcome.assignment && v.type == TYPE_NONE) text = message_text(MSG_CALC_ASSIGNMENT);
  else text = typed_value_form(v, g_calc->pool);
  eval_scope_close(ctx, scope);
  if (text.size() > FIELD_LENGTH) text.resize(FIELD_LENGTH);
  while (!text.empty() && text.back() == ' ') text.pop_back();
  return text;
}

void calculator_open() {
  CalcForm& cf = g_form;
  static const std::string picture(FIELD_LENGTH, '*');
  cf.formula[0] = cf.result[0] = '\0';
  const uint32_t category = help_category_current();
  if (window_open(CALC_TOP, CALC_LEFT, CALC_BOTTOM, CALC_RIGHT, FRAME_DOUBLE, colour(ROLE_DIALOG_FRAME),
                  colour(ROLE_DIALOG)) == 0)
    return;
  window_mark_dialog();
  window_set_title(message_text(MSG_CALC_TITLE), 2, colour(ROLE_DIALOG_FRAME));
  window_add_shadow(CALC_SHADOW_ATTR);
  window_set_help(HELP_CALCULATOR);
  form_begin(&cf.form);
  form_add_label(&cf.form, 1, 2, message_text(MSG_CALC_FORMULA));
  form_add_field(&cf.form, 1, FIELD_COLUMN, cf.formula, picture.c_str(), FIELD_VISIBLE, evaluate_formula);
  form_add_label(&cf.form, 3, 2, message_text(MSG_CALC_RESULT));
  cf.result_item =
      form_add_field(&cf.form, 3, FIELD_COLUMN, cf.result, picture.c_str(), FIELD_VISIBLE, close_calculator);
  g_assigned = false;
  form_run(&cf.form);
  window_close();
  help_category_set_current(category);
  hint_select(category);
  // The windows are drawn again by the loop of the current window, not inside this hot key.
  if (g_assigned) stuff_key(KEY_VIEWS_CHANGED);
}

}  // namespace tavrel
