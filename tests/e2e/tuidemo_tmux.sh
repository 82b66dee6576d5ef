#!/usr/bin/env bash
# The user-interface library in a real terminal: runs tuidemo in a detached 80x25 tmux
# session, checks with `tmux capture-pane` that its desktop, framed window with a shadow,
# message box and form are drawn, answers them with `tmux send-keys`, and checks the key
# codes and form values tuidemo logs, its exit status, and that the terminal is back as it
# was afterwards. Three runs: the message box's hot letter and the form filled in and
# confirmed with OK; Enter on the message box and Alt+X inside the form; the hot letter
# of the box's other button.
#
#   tuidemo_tmux.sh [--wine] TUIDEMO
#
# With --wine, TUIDEMO is the Windows build and runs under Wine's console inside the pane;
# the checks are those Wine's console can pass (its code page is the OEM one of the locale,
# so Cyrillic is neither shown nor typed, colours are not checked, and it draws on the
# normal screen).
set -u
wine=0
if [[ ${1:-} == --wine ]]; then
  wine=1
  shift
fi
[[ $# -eq 1 ]] || { echo "usage: $0 [--wine] TUIDEMO" >&2; exit 2; }
bin=$(realpath "$1")
work=$(mktemp -d)
sock="tavrel-tuidemo-$$"
export LC_ALL=C.UTF-8 WINEDEBUG=-all
# How long (seconds) to wait for anything the program does; generous for loaded machines.
patience=20
start_patience=$( ((wine)) && echo 90 || echo 30)
. "$(dirname "$0")/tmux_lib.sh"
cleanup() { tmux_cleanup; rm -rf "$work"; }
trap cleanup EXIT
trap 'exit 1' INT TERM HUP
# After the first failure the rest is checked with short waits, so that a hung program
# makes the script fail in minutes, well inside the test's time limit.
on_failure() {
  patience=2
  start_patience=5
}

T new-session -d -s t -x 80 -y 25 "env PS1='$ ' bash --norc --noprofile" || exit 1
T set -g status off
shell "stty -g > $work/stty.before"
wait_for "$patience" test -s "$work/stty.before" || fail "the shell in the pane did not start"

if ((wine)); then
  run="$(wine_runner) $bin"
else
  run="$bin"
fi
# start_tuidemo: runs tuidemo in the pane and waits for its first screen; its exit status
# goes to $work/status and, after it, a line with the status to the pane. (Through sh: the
# interactive shell would drop the rest of the line after a signal.)
start_tuidemo() {
  rm -f "$work/log" "$work/status"
  shell "clear; sh -c '$run --log $work/log; s=\$?; echo \$s > $work/status; echo tuidemo ended with status \$s'"
  wait_for "$start_patience" log_has ready && wait_for "$patience" screen_has "Open the form?"
}

# send KEYS -- EXPECTED...: sends tmux key names (or "-l text") and waits for the next log
# lines, which must be exactly the expected ones.
send() {
  local keys=() expect=()
  while [[ $1 != -- ]]; do keys+=("$1"); shift; done
  shift
  expect=("$@")
  local before
  before=$(log_lines)
  T send-keys -t t "${keys[@]}"
  if ! wait_for "$patience" log_reached $((before + ${#expect[@]})); then
    fail "${keys[*]}: got $(($(log_lines) - before)) log lines, want ${#expect[@]}:" \
      "$(log_text | tail -n +$((before + 1)) | tr '\n' '|')"
    return
  fi
  local got i=0
  while IFS= read -r got; do
    if [[ $got == "${expect[i]}" ]]; then
      pass "${keys[*]}: $got"
    else
      fail "${keys[*]}: got '$got', want '${expect[i]}'"
    fi
    i=$((i + 1))
  done < <(log_text | tail -n +$((before + 1)) | head -n ${#expect[@]})
}

# finished WHAT: tuidemo ended with status 0, wrote nothing more, and the terminal is as it
# was before it.
finished() {
  local what=$1
  wait_for "$start_patience" test -s "$work/status" || { fail "$what: tuidemo did not end"; return; }
  [[ $(cat "$work/status") == 0 ]] && pass "$what: exit status 0" ||
    fail "$what: exit status $(cat "$work/status")"
  [[ $(log_text | tail -n 1) == exit ]] || fail "$what: the log does not end with 'exit'"
  wait_for "$patience" screen_has "tuidemo ended with status 0" &&
    pass "$what: the shell's output is shown after the program" ||
    fail "$what: the line echoed after the program is not on the screen"
  rm -f "$work/stty.after"
  shell "stty -g > $work/stty.after"
  wait_for "$patience" test -s "$work/stty.after"
  cmp -s "$work/stty.before" "$work/stty.after" && pass "$what: terminal modes restored" ||
    fail "$what: terminal modes differ: $(cat "$work/stty.after")"
  [[ $(pane '#{cursor_flag}') == 1 ]] || fail "$what: cursor left hidden"
  [[ $(pane '#{mouse_any_flag}#{mouse_sgr_flag}') == 00 ]] || fail "$what: mouse reports left on"
  if ((!wine)); then
    [[ $(pane '#{alternate_on}') == 0 ]] && pass "$what: alternate screen left" ||
      fail "$what: alternate screen not left"
    screen_has "▓" && fail "$what: the desktop is still on the screen"
  fi
}

# --- run 1: the hot letter, then the form filled in and confirmed ----------------------
if ! start_tuidemo; then
  fail "tuidemo did not start"
  cat "$work/log" 2>/dev/null
  screen
  exit 1
fi
pass "started"
expect_screen "the window" "▓▓▓▓╔═════" "═════╗▓▓▓▓" "▓▓▓▓║" "╚═════" "═════╝" \
  "Tuidemo:" "Library window: double frame and shadow"
expect_screen "the message box" " / Question " "Open the form?" "Open form" "Quit" "▀▀▀▀▀▀"
expect_screen "the hint line" "Alt+X"
if ((!wine)); then
  expect_screen "the window" " Tuidemo: Окно с тенью " "Привет! Съешь ещё этих мягких булок, Ёж."
  expect_screen "the message box" " Вопрос / Question " "Открыть форму?"
  expect_screen "the hint line" " Alt+X Выход  Tab Поле  Enter OK"
  [[ $(pane '#{alternate_on}') == 1 ]] && pass "on the alternate screen" ||
    fail "not on the alternate screen"
  [[ $(pane '#{pane_title}') == "tuidemo: Демонстрация" ]] && pass "title set" ||
    fail "title is '$(pane '#{pane_title}')'"
  # The shadow: the two cells right of the window's frame on its second row are drawn on
  # black, the desktop beyond them on cyan.
  e=$'\e'
  sgr="($e\\[[0-9;]*m)*"
  T capture-pane -p -e -t t | sed -n 3p |
    grep -qE "║$sgr$e\\[([0-9;]*;)?40(;[0-9;]*)?m$sgr▓▓$sgr$e\\[([0-9;]*;)?46(;[0-9;]*)?m▓" &&
    pass "the window casts a shadow" || fail "no shadow right of the window"
fi

send o -- "key 006F" "msgbox 1"
expect_screen "the form" "┌───" "───┐" "└───" "───┘" "│  " " / Options " "Name:" "Number:" \
  "[ ] " "/ Debug" "/ One" "/ Two" "/ Three" "OK" "Cancel"
if ((!wine)); then
  expect_screen "the form" " Параметры / Options " "Имя / Name:" "Число / Number:" \
    "[ ] Отладка / Debug" "(•) Один / One" "( ) Два / Two" "( ) Три / Three"
fi
screen_has "Open the form?" && fail "the message box is still on the screen"

# The name: typed Cyrillic arrives as its CP866 byte, borrowing one from the scan code.
if ((wine)); then
  name=Ivan
  send -l "$name" -- "key 0049" "key 0076" "key 0061" "key 006E"
else
  name=Иван
  send -l "$name" -- "key 2F88" "key 1FA2" "key 20A0" "key 14AD"
fi
wait_for "$patience" screen_matches "Name: +$name " && pass "the name field shows $name" ||
  fail "the name field does not show $name"
send Tab -- "key 0F09"
# The number field's picture takes digits: the x is read and dropped.
send -l "4x2" -- "key 0034" "key 0078" "key 0032"
wait_for "$patience" screen_matches "Number: +42 " && pass "the number field shows 42" ||
  fail "the number field does not show 42"
send Tab -- "key 0F09"
send Space -- "key 0020"
wait_for "$patience" screen_has "[X] " && pass "the check box is ticked" ||
  fail "the check box is not ticked"
send Tab -- "key 0F09"
send Down -- "key 5000"
if ((!wine)); then
  wait_for "$patience" screen_has "(•) Два / Two" && pass "the radio group moved to Two" ||
    fail "the radio group does not show Two chosen"
fi
send Tab -- "key 0F09"
send Enter -- "key 1C0D" "form ok name=$name number=42 debug=1 mode=2" "exit"
finished "OK"

# --- run 2: Enter on the message box, Alt+X inside the form ----------------------------
if start_tuidemo; then
  send Enter -- "key 1C0D" "msgbox 1"
  expect_screen "the form" "Name:"
  send -l "7" -- "key 0037"
  send M-x -- "key 2D00" "form esc name=7 number= debug=0 mode=1" "quit" "exit"
  finished "Alt+X"
else
  fail "second run: tuidemo did not start"
fi

# --- run 3: the hot letter of the second button ----------------------------------------
if start_tuidemo; then
  send q -- "key 0071" "msgbox 2" "exit"
  finished "Quit"
else
  fail "third run: tuidemo did not start"
fi

if ((failures > 0)); then
  echo "$failures check(s) failed"
  screen
  exit 1
fi
echo "all checks passed"
