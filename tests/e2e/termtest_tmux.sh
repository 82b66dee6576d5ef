#!/usr/bin/env bash
# The console backend in a real terminal: runs termtest in a detached 80x25 tmux session,
# types keys into it with `tmux send-keys`, and checks the records termtest logs (scan code,
# CP866 character, control-key state and the key code the keyboard layer makes of them),
# the glyphs `tmux capture-pane` shows, and that the terminal is back as it was after
# termtest ends: normally, by a signal, or refusing a terminal smaller than 80x25.
#
#   termtest_tmux.sh [--wine] TERMTEST
#
# With --wine, TERMTEST is the Windows build and runs under Wine's console inside the pane;
# the checks are those Wine's console can pass (its code page is the OEM one of the locale,
# so Cyrillic is not checked, and it draws on the normal screen).
set -u
wine=0
if [[ ${1:-} == --wine ]]; then
  wine=1
  shift
fi
[[ $# -eq 1 ]] || { echo "usage: $0 [--wine] TERMTEST" >&2; exit 2; }
bin=$(realpath "$1")
work=$(mktemp -d)
sock="tavrel-termtest-$$"
export LC_ALL=C.UTF-8 WINEDEBUG=-all
. "$(dirname "$0")/tmux_lib.sh"
cleanup() { tmux_cleanup; rm -rf "$work"; }
trap cleanup EXIT

T new-session -d -s t -x 80 -y 25 "env PS1='$ ' bash --norc --noprofile" || exit 1
T set -g status off
shell "stty -g > $work/stty.before"
wait_for 5 test -s "$work/stty.before" || fail "the shell in the pane did not start"

if ((wine)); then
  run="$(wine_runner) $bin"
else
  run="$bin"
fi
# run_termtest: runs termtest in the pane; its exit status goes to $work/status. (Through
# sh: the interactive shell would drop the rest of the line after a SIGINT.)
run_termtest() {
  rm -f "$work/log" "$work/status"
  shell "clear; sh -c '$run --log $work/log; echo \$? > $work/status'"
}
start_termtest() {
  run_termtest
  wait_for 30 grep -q '^ready' "$work/log"
}
# terminal_restored WHAT: the terminal is as it was before termtest.
terminal_restored() {
  local what=$1
  wait_for 10 test -s "$work/status" || { fail "$what: termtest did not end"; return; }
  rm -f "$work/stty.after"
  shell "stty -g > $work/stty.after"
  wait_for 5 test -s "$work/stty.after"
  cmp -s "$work/stty.before" "$work/stty.after" && pass "$what: terminal modes restored" ||
    fail "$what: terminal modes differ: $(cat "$work/stty.after")"
  [[ $(pane '#{cursor_flag}') == 1 ]] || fail "$what: cursor left hidden"
  [[ $(pane '#{mouse_any_flag}#{mouse_sgr_flag}') == 00 ]] || fail "$what: mouse reports left on"
  if ((!wine)); then
    [[ $(pane '#{alternate_on}') == 0 ]] || fail "$what: alternate screen not left"
    screen_has "stty -g" || fail "$what: the shell's screen is not back"
  fi
}

# --- drawing ---------------------------------------------------------------------------
start_termtest || { fail "termtest did not start"; cat "$work/log" 2>/dev/null; screen; exit 1; }
pass "started: $(head -1 "$work/log")"
glyph_checks=("╔══" "══╗" "╚══" "┌─┬─┐ ╔═╦═╗ ├─┼─┤ ╠═╬═╣ └─┴─┘ ╚═╩═╝ ░▒▓█▄▌▐▀ │║" "▓▓▓▓║" "F10")
if ((!wine)); then
  glyph_checks+=("Проверка терминала" "Язык: АбвгдеЁж эюя ЮЯ йцукен ёЁ" "☺☻♥♦♣♠ ♫☼ ►◄▲▼ ↑↓→← ⌂ °√№¤■"
                 "Клавиши" "F10 Выход  Alt+X Выход")
fi
for g in "${glyph_checks[@]}"; do
  screen_has "$g" && pass "shows $g" || fail "does not show $g"
done
if ((!wine)); then
  [[ $(pane '#{alternate_on}') == 1 ]] || fail "not on the alternate screen"
  [[ $(pane '#{pane_title}') == "termtest: Проверка терминала" ]] ||
    fail "title is '$(pane '#{pane_title}')'"
  # Colours: bright white on bright red (the blink bit as a bright background), white on blue.
  T capture-pane -p -e -t t | grep -qE $'\e\\[([0-9;]*;)?101(;[0-9;]*)?m Bright' ||
    fail "bright background not drawn"
fi

# --- keys ------------------------------------------------------------------------------
# send KEYS -- EXPECTED...: sends tmux key names (or "-l text") and waits for the records.
send() {
  local keys=() expect=()
  while [[ $1 != -- ]]; do keys+=("$1"); shift; done
  shift
  expect=("$@")
  local before
  before=$(log_lines)
  T send-keys -t t "${keys[@]}"
  if ! wait_for 5 log_reached $((before + ${#expect[@]})); then
    fail "${keys[*]}: got $(($(log_lines) - before)) records, want ${#expect[@]}"
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

send F1 -- "key vk=70 scan=3B ch=00 ctrl=0000 code=3B00"
send S-F1 -- "key vk=70 scan=3B ch=00 ctrl=0010 code=5400"
send C-F7 -- "key vk=76 scan=41 ch=00 ctrl=0008 code=6400"
send M-F1 -- "key vk=70 scan=3B ch=00 ctrl=0002 code=6800"
send F5 -- "key vk=74 scan=3F ch=00 ctrl=0000 code=3F00"
send C-Left -- "key vk=25 scan=4B ch=00 ctrl=0$( ((wine)) && echo 0 || echo 1)08 code=7300"
send BTab -- "key vk=09 scan=0F ch=09 ctrl=0010 code=0F00"
send Tab -- "key vk=09 scan=0F ch=09 ctrl=0000 code=0F09"
send Enter -- "key vk=0D scan=1C ch=0D ctrl=0000 code=1C0D"
send BSpace -- "key vk=08 scan=0E ch=08 ctrl=0000 code=0E08"
send C-y -- "key vk=59 scan=15 ch=19 ctrl=0008 code=3819"
send M-d -- "key vk=44 scan=20 ch=64 ctrl=0002 code=2000"
send M-1 -- "key vk=31 scan=02 ch=31 ctrl=0002 code=7800"
send M-0 -- "key vk=30 scan=0B ch=30 ctrl=0002 code=0B00"
send -l "aZ" -- "key vk=41 scan=1E ch=61 ctrl=0000 code=0061" \
                "key vk=5A scan=2C ch=5A ctrl=0010 code=005A"
if ((wine)); then
  send Up -- "key vk=26 scan=48 ch=00 ctrl=0000 code=4800"
  send M-Up -- "key vk=26 scan=48 ch=00 ctrl=0002 code=7500"
  send PPage -- "key vk=21 scan=49 ch=00 ctrl=0000 code=4900"
  send DC -- "key vk=2E scan=53 ch=00 ctrl=0000 code=5300"
else
  send S-F10 -- "key vk=79 scan=44 ch=00 ctrl=0010 code=5D00"
  send F12 -- "key vk=7B scan=58 ch=00 ctrl=0000 code=5800"
  send Up -- "key vk=26 scan=48 ch=00 ctrl=0100 code=4800"
  send M-Up -- "key vk=26 scan=48 ch=00 ctrl=0102 code=7500"
  send C-End -- "key vk=23 scan=4F ch=00 ctrl=0108 code=7500"
  send Home -- "key vk=24 scan=47 ch=00 ctrl=0100 code=4700"
  send End -- "key vk=23 scan=4F ch=00 ctrl=0100 code=4F00"
  send PPage -- "key vk=21 scan=49 ch=00 ctrl=0100 code=4900"
  send C-NPage -- "key vk=22 scan=51 ch=00 ctrl=0108 code=7600"
  send IC -- "key vk=2D scan=52 ch=00 ctrl=0100 code=5200"
  send DC -- "key vk=2E scan=53 ch=00 ctrl=0100 code=5300"
  # Cyrillic typed as UTF-8: the CP866 byte and the scan code of its ЙЦУКЕН key.
  send -l "Привет" -- "key vk=47 scan=22 ch=8F ctrl=0010 code=218F" \
                      "key vk=48 scan=23 ch=E0 ctrl=0000 code=22E0" \
                      "key vk=42 scan=30 ch=A8 ctrl=0000 code=2FA8" \
                      "key vk=44 scan=20 ch=A2 ctrl=0000 code=1FA2" \
                      "key vk=54 scan=14 ch=A5 ctrl=0000 code=13A5" \
                      "key vk=4E scan=31 ch=E2 ctrl=0000 code=30E2"
  # Alt+Ч is Alt+X: the key code that ends the program, so it is sent last (below).
  send M-в -- "key vk=44 scan=20 ch=A2 ctrl=0002 code=2000"
  # Mouse reports (SGR), as the terminal sends them for a click at column 10, row 5.
  send -l $'\e[<0;10;5M' -- "mouse x=9 y=4 buttons=0001 flags=0000 ctrl=0000"
  send -l $'\e[<0;10;5m' -- "mouse x=9 y=4 buttons=0000 flags=0000 ctrl=0000"
fi
# Wine's console gives the Esc key no character; the key code is the same.
send Escape -- "key vk=1B scan=01 ch=$( ((wine)) && echo 00 || echo 1B) ctrl=0000 code=011B"
# The records are on the screen too.
wait_for 5 screen_has "code=011B" && pass "records shown on the screen" ||
  fail "the last record is not on the screen"

# --- ways out --------------------------------------------------------------------------
if ((wine)); then
  send F10 -- "key vk=79 scan=44 ch=00 ctrl=0000 code=4400"
  wait_for 10 log_has exit || fail "F10 did not end termtest"
  terminal_restored "F10"
else
  send M-ч -- "key vk=58 scan=2D ch=E7 ctrl=0002 code=2D00"
  wait_for 10 log_has exit || fail "Alt+Ч did not end termtest"
  terminal_restored "Alt+Ч"
  [[ $(cat "$work/status") == 0 ]] || fail "exit status $(cat "$work/status")"

  # Signals: the terminal is given back, and the signal still ends the process.
  for sig in INT TERM HUP SEGV; do
    start_termtest || { fail "SIG$sig: termtest did not start"; continue; }
    pid=$(pgrep -P "$(pgrep -P "$(pane '#{pane_pid}')" -x sh)" -x termtest)
    kill -s "$sig" "$pid"
    terminal_restored "SIG$sig"
    want=$((128 + $(kill -l "$sig")))
    got=$(cat "$work/status")
    # Under the sanitizers a fatal signal reaches their handler, which reports and exits 1.
    if [[ $got == "$want" || ($sig == SEGV && $got == 1) ]]; then
      pass "SIG$sig: exit status $got"
    else
      fail "SIG$sig: exit status $got, want $want"
    fi
  done

  # A terminal smaller than 80x25 is refused with a message, and left as it was.
  T resize-window -t t -x 70 -y 20
  run_termtest
  wait_for 10 test -s "$work/status" || fail "small terminal: termtest did not end"
  [[ $(cat "$work/status" 2>/dev/null) == 1 ]] || fail "small terminal: exit status $(cat "$work/status")"
  wait_for 5 screen_has "70x20 меньше 80x25" && pass "small terminal: message shown" ||
    fail "small terminal: no message"
  terminal_restored "small terminal"
fi

if ((failures > 0)); then
  echo "$failures check(s) failed"
  screen
  exit 1
fi
echo "all checks passed"
