#!/usr/bin/env bash
# procman in a real terminal against a real tavrel-kernel: starts the kernel on a fresh
# demo database in a private run directory, runs procman in a detached 80x25 tmux session
# and checks with `tmux capture-pane` what it draws, answering with `tmux send-keys`.
#   run 1: "-U DEMO/DEMO" logs on without a dialog; the menu bar, a pull-down, Shift+F9
#          evaluating 2+3 to "5 (SMALLINT)", Alt+X ends with status 0 and the terminal
#          is as it was before;
#   run 2: the registration dialog with a wrong password three times: " Неверный пароль! "
#          after each attempt (the dialog off the screen meanwhile), then "Доступ запрещен!"
#          and exit status 1.
#
#   procman_tmux.sh PROCMAN TAVREL_KERNEL
set -u
[[ $# -eq 2 ]] || { echo "usage: $0 PROCMAN TAVREL_KERNEL" >&2; exit 2; }
bin=$(realpath "$1")
kernel_bin=$(realpath "$2")
. "$(dirname "$0")/tmux_lib.sh"
native_e2e_setup procman
on_failure() { patience=3; }

# The kernel serves once its process record names it.
start_demo_kernel "$kernel_bin"

T new-session -d -s t -x 80 -y 25 "env PS1='$ ' TAVREL_RUNDIR='$TAVREL_RUNDIR' bash --norc --noprofile" || exit 1
T set -g status off
shell "stty -g > $work/stty.before"
wait_for "$patience" test -s "$work/stty.before" || fail "the shell in the pane did not start"

start_procman() {
  rm -f "$work/status"
  shell "clear; sh -c '$bin $*; s=\$?; echo \$s > $work/status; echo procman ended with status \$s'"
}

# finished WHAT STATUS: procman ended with that status and the terminal is back.
finished() {
  local what=$1 want=$2
  wait_for 30 test -s "$work/status" || { fail "$what: procman did not end"; return; }
  [[ $(cat "$work/status") == "$want" ]] && pass "$what: exit status $want" ||
    fail "$what: exit status $(cat "$work/status"), want $want"
  wait_for "$patience" screen_has "procman ended with status $want" ||
    fail "$what: the shell's line after the program is not shown"
  rm -f "$work/stty.after"
  shell "stty -g > $work/stty.after"
  wait_for "$patience" test -s "$work/stty.after"
  cmp -s "$work/stty.before" "$work/stty.after" && pass "$what: terminal modes restored" ||
    fail "$what: terminal modes differ"
  [[ $(pane '#{cursor_flag}') == 1 ]] || fail "$what: cursor left hidden"
  [[ $(pane '#{alternate_on}') == 0 ]] && pass "$what: alternate screen left" ||
    fail "$what: alternate screen not left"
  screen_has "▓" && fail "$what: the desktop is still on the screen"
}

# --- run 1: -U, the menu, a pull-down, the calculator, Alt+X ---------------------------
start_procman -U DEMO/DEMO
expect_screen "the menu bar" " Файл " " Редактор " " Отладчик " " Окно " "Утилиты" "▓▓▓▓"
T send-keys -t t Enter
expect_screen "the pull-down of Файл" "Открыть процедуру...  F3" "Новая процедура..." "Выход                 Alt+X"
T send-keys -t t Escape
expect_gone "Esc" "Новая процедура..."
T send-keys -t t S-F9
expect_screen "the calculator" " Вычисление : " "Формула" "Результат"
T send-keys -t t -l "2+3"
T send-keys -t t Enter
expect_screen "the calculator" "5 (SMALLINT)"
T send-keys -t t Enter
expect_gone "the calculator" " Вычисление : "
T send-keys -t t Enter
expect_screen "the pull-down again" "Новая процедура..."
T send-keys -t t M-x
finished "Alt+X" 0

# --- run 2: the dialog, a wrong password three times -----------------------------------
start_procman
expect_screen "the registration dialog" " Регистрация пользователя " "Пользователь :" "Пароль       :" "Таврел-сервер:"
for attempt in 1 2 3; do
  T send-keys -t t -l "DEMO"
  T send-keys -t t Enter
  T send-keys -t t -l "wrong"
  T send-keys -t t Enter Enter
  expect_screen "attempt $attempt" " Неверный пароль! "
  # The dialog leaves the screen while the message is shown, and comes back after it.
  screen_has "Пользователь :" && fail "attempt $attempt: the dialog stays on the screen" ||
    pass "attempt $attempt: the dialog is off the screen"
  T send-keys -t t Enter
  if ((attempt < 3)); then
    expect_gone "attempt $attempt" " Неверный пароль! "
    expect_screen "attempt $attempt: the dialog is back" "Пользователь :"
  fi
done
expect_screen "the refusal" "Доступ запрещен!"
T send-keys -t t Enter
finished "three failures" 1

if ((failures > 0)); then
  echo "$failures check(s) failed"
  screen
  exit 1
fi
echo "all checks passed"
