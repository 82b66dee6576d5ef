#!/usr/bin/env bash
# procman debugging in a real terminal against a real tavrel-kernel on a fresh demo database
# (private run directory), typed with `tmux send-keys` and read with `tmux capture-pane`:
#   - SUM_TO: F4 opens the session and the views, Ctrl+F8 marks a line in the loop, F9 shows
#     " Входные параметры " with the default, the run stops on the marked line with the
#     Locals showing I and TOTAL, a Monitor expression changes as the loop goes round, the
#     breakpoint list deletes the breakpoint and its dialog makes a conditional one that lets
#     the loop pass until it holds, Ctrl+F2 stops the run;
#   - NESTED: F7 into the recursive call, Enter on a Stack frame shows that frame's locals,
#     Shift+F10 back, F8 to the call of COUNT_DOWN, F7 into it (its window opened), the
#     finished box;
#   - DEPT_TOTAL: the finished message and the return value under "Возвращаемое значение";
#   - SLOW: stopped before its SLEEP, F8, and Esc during the SLEEP interrupts the run;
#   - COUNT_DOWN: Ctrl+F9 waits until tavrel-sql executes it from another process;
#   - EMP_AUDIT: the trigger's action stops when an insert from tavrel-sql fires it;
#   - the list of active procedures shows a SLOW that tavrel-sql runs and ends it;
#   - Alt+X ends procman with status 0.
#
#   procman_debug_tmux.sh PROCMAN TAVREL_KERNEL TAVREL_SQL
# With E2E_STOP=1 the script stops at the first failure and shows the screen.
set -u
[[ $# -eq 3 ]] || { echo "usage: $0 PROCMAN TAVREL_KERNEL TAVREL_SQL" >&2; exit 2; }
bin=$(realpath "$1")
kernel_bin=$(realpath "$2")
sql_bin=$(realpath "$3")
. "$(dirname "$0")/tmux_lib.sh"
. "$(dirname "$0")/procman_lib.sh"
native_e2e_setup debug
on_failure() { patience=3; if [[ -n ${E2E_STOP:-} ]]; then screen; exit 1; fi; }
# sql_background NAME STATEMENT: tavrel-sql runs the statement in the background; its output
# and status land in $work/NAME.out.
sql_background() {
  ( "$sql_bin" -U DEMO/DEMO -c "$2" > "$work/$1.out" 2>&1; echo "status $?" >> "$work/$1.out" ) &
}
sql_done() { grep -q '^status ' "$work/$1.out" 2> /dev/null; }
# The Locals view's row of a variable: "NAME │VALUE".
local_is() { screen | grep -qE "║ . │$1 +│$2"; }
expect_local() { wait_for "$patience" local_is "$1" "$2" && pass "Locals: $1 = $2" || fail "Locals do not show $1 = $2"; }
# The box of a finished procedure, answered.
expect_finished() {
  expect_screen "the end of $1" "Процедура/триггер '$1' завершилась"
  key Enter
  expect_gone "the box of $1" " Продолжить "
}
open_procedure() {
  key F10
  menu_choose "Ф" "Открыть процедуру...  F3"
  list_choose " Процедуры " "$1"
  expect_title "$1"
}
line_down() { local n; for ((n = 0; n < $1; n++)); do key Down; done; }
# A row of the parameter dialog: the name in its 18 columns, the value after the rule.
param_row() { printf '%-18s│%s' "$1" "$2"; }

start_demo_kernel "$kernel_bin"
T new-session -d -s t -x 80 -y 25 "cd '$work' && env PS1='$ ' TAVREL_RUNDIR='$TAVREL_RUNDIR' bash --norc --noprofile" || exit 1
T set -g status off
shell "clear; $bin -U DEMO/DEMO; s=\$?; echo \$s > $work/status; echo procman ended with status \$s"
expect_screen "the menu bar" " Файл " "Утилиты"

# --- SUM_TO: session, breakpoint, parameters, the stop and the Locals ------------------------
menu_choose "Ф" "Открыть процедуру...  F3"
list_choose " Процедуры " "SUM_TO"
expect_title "SUM_TO"
key F4
expect_title "SUM_TO (ОТЛАДКА)"
expect_screen "the debugging views" " Локальные переменные " "═ Сообщения ═" "|ОТЛАДКА|"
line_down 7
expect_position "8:1" "the cursor"
key C-F8
wait_for "$patience" coloured "    TOTAL := TOTAL + I;" 41 && pass "the breakpoint line is red" ||
  fail "the breakpoint line is not marked"
key F9
expect_screen "the parameter dialog" " Входные параметры " "$(param_row N 1000)"
key End BSpace BSpace BSpace BSpace
type_text "5"
key Enter
expect_gone "the parameter dialog" " Входные параметры "
wait_for "$patience" coloured "    TOTAL := TOTAL + I;" 42 && pass "the run stops on the marked line" ||
  fail "the execution line is not shown"
expect_position "8:1" "the stopped window's cursor"
expect_local "I" "1 \(INTEGER\)"
expect_local "TOTAL" "0 \(BIGINT\)"
expect_screen "the run's banner" "---------- ... Исполнение ... -----------"

# --- a Monitor expression as the loop goes round ------------------------------------------------
key C-F7
expect_screen "the monitor" " Монитор " "Выражение"
key C-F7
type_text "TOTAL*10+I"
key Enter
expect_screen "the monitor's value" "TOTAL*10+I   │1 (BIGINT)"
key F9
expect_local "I" "2 \(INTEGER\)"
expect_screen "the monitor after a round" "TOTAL*10+I   │12 (BIGINT)"
wait_for "$patience" eval 'screen | grep -qE "║ \* │TOTAL +│1 \(BIGINT\)"' && pass "the changed TOTAL is marked" ||
  fail "the changed TOTAL is not marked"

# --- a conditional breakpoint from the dialog --------------------------------------------------
key M-F8
expect_screen "the breakpoint list" " Точки останова " " X SUM_TO:8"
key DC
expect_gone "the deleted breakpoint" " X SUM_TO:8"
key Tab
expect_screen "the edit mode" "|ТОЧКИ ОСТАНОВА| Enter Св-ва/новая"
key Enter
expect_screen "the breakpoint dialog for a new one" " Свойства точки останова " "SUM_TO" " Условная"
key Tab Down Tab Tab
type_text "I = 4"
key M-d
expect_gone "the breakpoint dialog" " Свойства точки останова "
expect_screen "the conditional breakpoint in the list" "SUM_TO:8(I = 4)"
key Escape
expect_gone "the breakpoint list" " Точки останова "
key F9
expect_local "I" "4 \(INTEGER\)"
expect_local "TOTAL" "6 \(BIGINT\)"
key C-F2
expect_finished "SUM_TO"
wait_for "$patience" eval '! coloured "    TOTAL := TOTAL + I;" 42' && pass "no execution line after the stop" ||
  fail "the execution line stays after the stop"

# --- NESTED: into the recursion, a Stack frame, back, into COUNT_DOWN ---------------------------
open_procedure "NESTED"
key F4
expect_title "NESTED (ОТЛАДКА)"
line_down 4
key C-F8
key F9
expect_screen "the parameter dialog" "$(param_row DEPTH 3)"
key Enter
wait_for "$patience" coloured "    call NESTED(DEPTH - 1, TOTAL);" 42 && pass "NESTED stops at its call" ||
  fail "NESTED does not stop at its call"
expect_local "DEPTH" "3 \(INTEGER\)"
key C-F8   # the breakpoint goes, so that the inner calls pass it
key F7
expect_local "DEPTH" "2 \(INTEGER\)"
expect_position "3:1" "the inner call"
key C-F3
expect_screen "the stack" " Стек вызова " "NESTED:3" "NESTED:5"
key Down Enter
expect_local "DEPTH" "3 \(INTEGER\)"
key Escape
expect_gone "the stack" " Стек вызова "
key S-F10
expect_local "DEPTH" "3 \(INTEGER\)"
expect_position "6:1" "back in the caller"
key F8
expect_position "8:1" "at the call of COUNT_DOWN"
key F7
expect_title "COUNT_DOWN (ОТЛАДКА)"
expect_local "N" "3 \(SMALLINT\)"
key F9
expect_finished "NESTED"

# --- DEPT_TOTAL: the return value --------------------------------------------------------------
open_procedure "DEPT_TOTAL"
key F9
expect_screen "the parameter dialog" "$(param_row DEPT_NO 20)"
key Enter
expect_finished "DEPT_TOTAL"
expect_screen "the return value" "Возвращаемое значение" "(NUMERIC)"

# --- SLOW: Esc during the SLEEP ----------------------------------------------------------------
open_procedure "SLOW"
key F4
line_down 4
key C-F8
key F9
expect_screen "the parameter dialog" "$(param_row SECONDS 2)"
key End BSpace
type_text "30"
key Enter
wait_for "$patience" coloured "  sleep SECONDS;" 42 && pass "SLOW stops before its SLEEP" || fail "SLOW does not stop"
key F8
expect_screen "the waiting window" " Ожидание ответа от сервера БД" "<ESC> - прервать"
key Escape
expect_screen "the interruption" "---------- Операция прервана  -----------"
expect_gone "the waiting window" " Ожидание ответа от сервера БД"
wait_for "$patience" eval '! coloured "  sleep SECONDS;" 42' && pass "no execution line after the interruption" ||
  fail "the execution line stays after the interruption"

# --- COUNT_DOWN: waiting for a call from tavrel-sql ----------------------------------------------
open_procedure "COUNT_DOWN"
key C-F9
expect_screen "the wait" "---------- ...  Ожидание  ... -----------" " Ожидание ответа от сервера БД"
sql_background countdown 'execute COUNT_DOWN(2);'
expect_title "COUNT_DOWN (ОТЛАДКА)"
expect_local "N" "2 \(SMALLINT\)"
wait_for "$patience" coloured "  while N > 0 loop" 42 && pass "the called procedure stops" ||
  fail "the called procedure does not stop"
key F9
expect_finished "COUNT_DOWN"
wait_for "$patience" sql_done countdown && grep -qF "{ N } = 0 (SMALLINT)" "$work/countdown.out" &&
  pass "tavrel-sql got its result" || fail "tavrel-sql: $(cat "$work/countdown.out" 2>&1)"

# --- EMP_AUDIT: a trigger's action stops when an insert fires it ----------------------------------
key F10
menu_choose "Ф" "Открыть триггер..."
list_choose " Триггеры " "EMP_AUDIT"
expect_title "EMP_AUDIT"
key C-F9
expect_screen "the wait for the trigger" " Ожидание ответа от сервера БД"
sql_background audit "insert into EMP values(8001, 'E2E', 'CLERK', 20, 975.00, '1990-01-01');"
wait_for "$patience" coloured "  EMP_NO := NEW.EMPNO;" 42 && pass "the trigger's action stops" ||
  fail "the trigger's action does not stop"
# Keys typed while the kernel works are dropped: one step at a time.
key F8
expect_position "11:1" "the trigger's action"
key F8
expect_position "12:1" "the trigger's action"
key F8
expect_local "IS_NOW" "975\.0+ \(NU"
key F9
expect_finished "Trigger #1"
wait_for "$patience" sql_done audit && grep -q "^status 0" "$work/audit.out" && pass "the insert went through" ||
  fail "the insert: $(cat "$work/audit.out" 2>&1)"

# --- the active list: a running SLOW, ended ------------------------------------------------------
sql_background slow 'execute SLOW(30);'
sleep 0.5
key F10
menu_choose "У" "Список активных процедур"
expect_screen "the active list" " Список активных процедур " "SLOW" "Извне" "IDвып"
key Tab Tab Enter
wait_for "$patience" sql_done slow && pass "ending it ends the execution" || fail "SLOW was not ended"
grep -q "1071" "$work/slow.out" && pass "tavrel-sql saw its request interrupted" || fail "tavrel-sql: $(cat "$work/slow.out" 2>&1)"
wait_for "$patience" eval '! screen | grep -qF "║ SLOW "' && pass "the refreshed list has no SLOW" ||
  fail "SLOW stays in the list"
key Escape
expect_gone "the active list" " Список активных процедур "

# --- Alt+X ------------------------------------------------------------------------------------------
key M-x
wait_for 30 test -s "$work/status" || fail "procman did not end"
[[ $(cat "$work/status" 2>/dev/null) == 0 ]] && pass "exit status 0" || fail "exit status $(cat "$work/status" 2>/dev/null)"

if ((failures > 0)); then
  echo "$failures check(s) failed"
  screen
  exit 1
fi
echo "all checks passed"
