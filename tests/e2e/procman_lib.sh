# Helpers of the scripts that drive procman's screens in tmux (sourced after tmux_lib.sh):
# typing, the highlighted row of a menu column or a pick list, choosing menu items and list
# rows, window titles and the position display, the focused button of a box, and the colour
# of a text on the screen.
key() { T send-keys -t t "$@"; }
type_text() { T send-keys -t t -l "$1"; }

# The highlighted row of a menu column or a pick list: the text after the colour that marks
# it, up to the frame. Row 0 (the menu bar) is left out.
MENU_MARK=$'\e[42m'
LIST_MARK=$'\e[97m\e[40m'
highlighted() {
  T capture-pane -e -p -t t | tail -n +2 |
    awk -v m="$1" 'index($0, m) { print substr($0, index($0, m) + length(m)); exit }' |
    sed -e 's/\x1b\[[0-9;]*m//g' -e 's/│.*//' -e 's/^ *//' -e 's/ *$//'
}
highlight_differs() { [[ $(highlighted "$1") != "$2" ]]; }
trim() { local s=$1; s=${s#"${s%%[! ]*}"}; echo "${s%"${s##*[! ]}"}"; }

# select_row MARK TEXT: Down until the highlighted row reads TEXT, each step waiting for the
# highlight to move; from the last row Home goes on at the first. 0 when it reads TEXT.
select_row() {
  local mark=$1 want now homed=0
  want=$(trim "$2")
  wait_for "$patience" eval '[[ -n $(highlighted "$mark") ]]' || return 1
  for ((step = 0; step < 40; step++)); do
    now=$(highlighted "$mark")
    [[ $now == "$want" ]] && return 0
    key Down
    if ! wait_for 1 highlight_differs "$mark" "$now"; then
      ((homed++ == 0)) || return 1
      key Home
      wait_for 1 highlight_differs "$mark" "$now" || return 1
    fi
  done
  return 1
}

# menu_choose LETTER ITEM: in the main menu (F10 from a window), opens the bar entry of that
# hot letter (closing a column the menu reopened at its remembered place) and chooses the item.
menu_choose() {
  local letter=$1 item=$2
  wait_for "$patience" eval 'screen | head -1 | grep -qF " Файл "' || { fail "the menu bar is not shown for '$item'"; return 1; }
  if screen | sed -n 2p | grep -qF "┌"; then
    key Escape
    wait_for "$patience" eval '! screen | sed -n 2p | grep -qF "┌"' || { fail "the open column did not close"; return 1; }
  fi
  type_text "$letter"
  wait_for "$patience" screen_has "$item" || { fail "the menu does not show '$item'"; return 1; }
  select_row "$MENU_MARK" "$item" || { fail "'$item' cannot be highlighted"; return 1; }
  key Enter
}
# list_choose TITLE ROW: in the pick list of that title, chooses the row.
list_choose() {
  wait_for "$patience" screen_has "$1" || { fail "the list '$1' is not shown"; return 1; }
  select_row "$LIST_MARK" "$2" || { fail "'$2' cannot be chosen in '$1'"; return 1; }
  key Enter
}

# Window titles on the top frame; the position display " line:column " on a bottom frame.
title_is() { screen | grep -qF "═ $1 ═"; }
expect_title() { wait_for "$patience" title_is "$1" && pass "window titled '$1'" || fail "no window titled '$1'"; }
position_is() { screen | grep -qF "╚═ $1 ═"; }
expect_position() {
  wait_for "$patience" position_is "$1" && pass "$2 at $1" || fail "$2 not at $1: $(screen | grep -F '╚═' | head -2)"
}

# The focused button of a message box is drawn on green.
button_focused() {
  T capture-pane -e -p -t t | sed -e 's/\x1b\[[39][0-9]m//g' | grep -q $'\e\\[42m *'"$1 "
}
select_button() {
  local want
  want=$(trim "$1")
  for ((step = 0; step < 3; step++)); do
    wait_for 1 button_focused "$want" && return 0
    key Right
  done
  fail "button '$want' cannot be focused"
  return 1
}
# ask_answer QUESTION BUTTON: the question is shown; Right/Left to the button, Enter.
ask_answer() {
  local question=$1 button=$2
  wait_for "$patience" screen_has "$question" || { fail "no question '$question'"; return 1; }
  pass "asked '$question'"
  select_button "$button" && key Enter
}

# coloured TEXT BACKGROUND: the text stands on the screen right after a change to that
# background colour (an SGR number: 41 red, 42 green).
coloured() { T capture-pane -e -p -t t | grep -qF $'\e['"$2m$1"; }
