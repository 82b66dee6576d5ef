#!/usr/bin/env bash
# The Windows build of procman against the Windows build of tavrel-kernel, both under Wine,
# each in the console of its own 80x25 tmux pane, on an instance of this run's own (Wine's
# kernel objects are shared by every program of the prefix):
#   the kernel serves the instance (tavrel-sql logs on through it);
#   "-U DEMO/DEMO" logs on without a dialog: the menu bar and the pull-down of "Файл" are
#   drawn;
#   one debugging session: COUNT_DOWN opened from the list, F4, Ctrl+F8 on its loop's line,
#   F9 with " Входные параметры ", the stop on that line with N in the Locals, F8 with N one
#   less, the breakpoint cleared and F9 to the end with its box;
#   Alt+X ends procman with status 0 and the terminal is as it was before;
#   Ctrl+C in the kernel's console ends the kernel through its control handler with status 0,
#   after which the instance is no longer served.
# Wine's console shows the program's CP866 bytes in the OEM code page of the C locale
# (437), so each Russian text is looked for as its CP866 bytes read in that code page.
#
#   procman_wine_tmux.sh PROCMAN TAVREL_KERNEL TAVREL_SQL
set -u
[[ $# -eq 3 ]] || { echo "usage: $0 PROCMAN TAVREL_KERNEL TAVREL_SQL" >&2; exit 2; }
bin=$(realpath "$1")
kernel_bin=$(realpath "$2")
sql_bin=$(realpath "$3")
work=$(mktemp -d)
sock="tavrel-procman-wine-$$"
export LC_ALL=C.UTF-8 WINEDEBUG=-all
export TAVREL_MBX="e2e$$"
unset NET_MBX TAVREL_TRANSPORT
patience=20
start_patience=90
. "$(dirname "$0")/tmux_lib.sh"
cleanup() { tmux_cleanup; rm -rf "$work"; }
trap cleanup EXIT
trap 'exit 1' INT TERM HUP
on_failure() {
  patience=3
  start_patience=5
}

# oem TEXT: the text as Wine's console shows its CP866 bytes.
oem() { printf '%s' "$1" | iconv -f UTF-8 -t CP866 | iconv -f CP437 -t UTF-8; }
# The kernel serves the instance when tavrel-sql logs on through it.
served() { wine "$sql_bin" -U DEMO/DEMO -c "select 1;" > /dev/null 2>&1; }

T new-session -d -s k -x 80 -y 25 "env PS1='$ ' bash --norc --noprofile" || exit 1
T new-session -d -s t -x 80 -y 25 "env PS1='$ ' bash --norc --noprofile" || exit 1
T set -g status off
run="$(wine_runner)"

# Straight from the pane's interactive shell, which outlives the Ctrl+C sent to the kernel
# below (a "sh -c" would end with it and not record the status).
T send-keys -t k "wine $kernel_bin --db Z:$work/demo.db --demo --instance $TAVREL_MBX; echo \$? > $work/kernel.status" Enter
wait_for "$start_patience" served && pass "the kernel serves instance $TAVREL_MBX" ||
  { echo "FAIL: the kernel does not serve"; T capture-pane -p -t k; exit 1; }

shell "stty -g > $work/stty.before"
wait_for "$patience" test -s "$work/stty.before" || fail "the shell in the pane did not start"
shell "clear; sh -c '$run $bin -U DEMO/DEMO; s=\$?; echo \$s > $work/status; echo procman ended with status \$s'"

wait_for "$start_patience" screen_has "$(oem " Файл ")" || fail "procman did not draw its menu bar"
expect_screen "the menu bar" "$(oem " Файл ")" "$(oem " Редактор ")" "$(oem " Отладчик ")" \
  "$(oem " Окно ")" "$(oem "Утилиты")" "▓▓▓▓"
T send-keys -t t Enter
expect_screen "the pull-down of Файл" "$(oem "Открыть процедуру...  F3")" "$(oem "Новая процедура...")" \
  "$(oem "Выход                 Alt+X")"
T send-keys -t t Escape
wait_for "$patience" eval '! screen_has "$(oem "Новая процедура...")"' && pass "Esc closes the pull-down" ||
  fail "Esc does not close the pull-down"

# --- one debugging session -------------------------------------------------------------------
# Keys go one at a time: the console host takes a moment for each.
key() { local k; for k in "$@"; do T send-keys -t t "$k"; sleep 0.3; done; }
# The execution colour (green) stands before the text of the stopped line.
stopped_on() { T capture-pane -e -p -t t | grep -qF $'\e[42m'"$1"; }
local_is() { screen | grep -qE "║ . │$1 +│$2"; }
key Enter Enter
expect_screen "the procedure list" "COUNT_DOWN"
T send-keys -t t -l COUNT
key Enter
expect_screen "COUNT_DOWN's text" "  while N > 0 loop"
key F4
expect_screen "the debug session" "COUNT_DOWN ($(oem "ОТЛАДКА"))" "$(oem " Локальные переменные ")"
key Down Down Down C-F8 F9
expect_screen "the parameter dialog" "$(oem " Входные параметры ")" "$(printf '%-18s│%s' N 5)"
key Enter
wait_for "$start_patience" stopped_on "    N := N - 1;" && pass "the run stops on the breakpoint" ||
  fail "the run does not stop on the breakpoint"
wait_for "$patience" local_is N "5 \(SMALLINT\)" && pass "the Locals show N = 5" || fail "the Locals do not show N = 5"
key F8
wait_for "$patience" local_is N "4 \(SMALLINT\)" && pass "F8: N = 4" || fail "F8: the Locals do not show N = 4"
# The next turn stops on the WHILE line, where its condition is tested; the breakpoint is on
# the line below it.
wait_for "$patience" stopped_on "  while N > 0 loop" && pass "F8: the stop on the loop's line" ||
  fail "F8: no stop on the loop's line"
key Down C-F8 F9
expect_screen "the end of the run" "$(oem "Процедура/триггер 'COUNT_DOWN' завершилась")"
key Enter
expect_gone "the box" "$(oem " Продолжить ")"

T send-keys -t t M-x
wait_for "$start_patience" test -s "$work/status" || fail "Alt+X: procman did not end"
[[ $(cat "$work/status" 2>/dev/null) == 0 ]] && pass "Alt+X: exit status 0" ||
  fail "Alt+X: exit status $(cat "$work/status" 2>/dev/null)"
wait_for "$patience" screen_has "procman ended with status 0" ||
  fail "Alt+X: the shell's line after the program is not shown"
shell "stty -g > $work/stty.after"
wait_for "$patience" test -s "$work/stty.after"
cmp -s "$work/stty.before" "$work/stty.after" && pass "Alt+X: terminal modes restored" ||
  fail "Alt+X: terminal modes differ"

T send-keys -t k C-c
wait_for "$start_patience" test -s "$work/kernel.status" || fail "Ctrl+C: the kernel did not end"
[[ $(cat "$work/kernel.status" 2>/dev/null) == 0 ]] && pass "Ctrl+C: the kernel ended with status 0" ||
  fail "Ctrl+C: the kernel's exit status is $(cat "$work/kernel.status" 2>/dev/null)"
served && fail "the instance is still served after the kernel ended" || pass "the instance is no longer served"

if ((failures > 0)); then
  echo "$failures check(s) failed"
  screen
  T capture-pane -p -t k
  exit 1
fi
echo "all checks passed"
