#!/usr/bin/env bash
# procman's catalogue screens in a real terminal against a real tavrel-kernel on a fresh demo
# database (private run directory), typed with `tmux send-keys`, read with `tmux capture-pane`
# and checked against the database with tavrel-sql:
#   - a procedure opened from " Процедуры " (menu, and F3 in an editor) and a trigger from
#     " Триггеры " show their stored texts in windows titled with their names;
#   - an edited procedure stored with F2: "already exists, re-create?" answered " Да ", the
#     head's verb becomes "alter", and the database holds the edited text;
#   - a new procedure from its dialog stored with F2; Alt+F2 writes it to a file without
#     trailing blanks or blank lines; "Прочитать из файла..." reads it into a new window, and
#     leaving that file dialog opens nothing;
#   - a head with a bad parameter type: F2 shows " Список ошибок " with the kernel's error,
#     and choosing it puts the cursor on the error (the frame's position display);
#   - a procedure dropped through Утилиты (the trigger actions not offered);
#   - F1 shows the editor's help topic; Alt+X ends with status 0 and the terminal restored.
#
#   procman_catalog_tmux.sh PROCMAN TAVREL_KERNEL TAVREL_SQL
# With E2E_STOP=1 the script stops at the first failure and shows the screen.
set -u
[[ $# -eq 3 ]] || { echo "usage: $0 PROCMAN TAVREL_KERNEL TAVREL_SQL" >&2; exit 2; }
bin=$(realpath "$1")
kernel_bin=$(realpath "$2")
sql_bin=$(realpath "$3")
. "$(dirname "$0")/tmux_lib.sh"
. "$(dirname "$0")/procman_lib.sh"
native_e2e_setup catalog
on_failure() { patience=3; if [[ -n ${E2E_STOP:-} ]]; then screen; exit 1; fi; }
# sql STATEMENT: the rows tavrel-sql prints.
sql() { "$sql_bin" -U DEMO/DEMO -c "$1" 2>&1; }
body_of() { sql "select \$\$\$BODY from system.\$\$\$PROC where \$\$\$NAME = '$1';"; }
proc_count() { sql "select count(*) from system.\$\$\$PROC where \$\$\$NAME = '$1';"; }
body_has() { body_of "$1" | grep -qF -- "$2"; }
proc_count_is() { [[ $(proc_count "$1") == "$2" ]]; }
# Helpers of this script beside those of procman_lib.sh.
highlight_is() { [[ $(highlighted "$1") == "$2" ]]; }

title_gone() { ! title_is "$1"; }
expect_closed() {
  wait_for "$patience" title_gone "$1" && pass "window '$1' closed" || fail "window '$1' still shown"
}
# Editor windows open in cascade; the position display of the active one is on row 23.
position_is() { screen | sed -n 24p | grep -qF "═ $1 ═"; }
# frame_corner NAME: "column,row" of the top left corner of the window titled NAME.
frame_corner() {
  local rows row n=0 before
  mapfile -t rows < <(screen)
  for row in "${rows[@]}"; do
    if [[ $row == *"═ $1 ═"* ]]; then
      before=${row%%"═ $1 ═"*}
      before=${before%╔*}
      echo "${#before},$n"
      return 0
    fi
    n=$((n + 1))
  done
  return 1
}
# cursor_in NAME LINE COLUMN: the terminal's cursor stands on that text position (from 1) of
# the window, whose text starts one cell inside the frame.
cursor_in() {
  local corner
  corner=$(frame_corner "$1") || return 1
  [[ $(pane '#{cursor_x},#{cursor_y}') == "$((${corner%,*} + $3)),$((${corner#*,} + $2))" ]]
}

start_demo_kernel "$kernel_bin"

T new-session -d -s t -x 80 -y 25 "cd '$work' && env PS1='$ ' TAVREL_RUNDIR='$TAVREL_RUNDIR' bash --norc --noprofile" || exit 1
T set -g status off
shell "stty -g > $work/stty.before"
wait_for "$patience" test -s "$work/stty.before" || fail "the shell in the pane did not start"
shell "clear; $bin -U DEMO/DEMO; s=\$?; echo \$s > $work/status; echo procman ended with status \$s"
expect_screen "the menu bar" " Файл " "Утилиты"

# --- a procedure from the list, edited and stored over the existing one -----------------
menu_choose "Ф" "Открыть процедуру...  F3"
expect_screen "the procedure list" " Процедуры " "COUNT_DOWN" "SAFE_DIVIDE" "Trigger #1"
list_choose " Процедуры " "RAISE_SALARY"
expect_title "RAISE_SALARY"
expect_screen "RAISE_SALARY's text" "create procedure RAISE_SALARY(in EMP_NO integer" \
  "  update EMP set SAL = SAL * (100 + PERCENT) / 100 where EMPNO = EMP_NO;"
key Down Down End
type_text " Edited in a test."
expect_title "*RAISE_SALARY"
key F2
ask_answer "Процедура с таким именем существует. Пересоздать?" " Да "
expect_screen "the stored text" "alter procedure RAISE_SALARY(in EMP_NO integer" "percentage. Edited in a test."
expect_title "RAISE_SALARY"
wait_for "$patience" body_has RAISE_SALARY "// Raises one employee's salary by a percentage. Edited in a test." &&
  body_of RAISE_SALARY | head -1 | grep -q "^alter procedure RAISE_SALARY(" &&
  pass "the database holds the edited text" || fail "the database holds: $(body_of RAISE_SALARY)"

# --- F1: the editor's help topic -----------------------------------------------------------
key F1
expect_screen "F1 in the editor" " Помощь " "Редактор кода" "F2        - обработать и сохранить"
key Escape
expect_gone "the help" " Помощь "

# --- F3 in the editor: a Cyrillic name from the list -------------------------------------
key F3
list_choose " Процедуры " "ПРИВЕТСТВИЕ"
expect_title "ПРИВЕТСТВИЕ"
expect_screen "ПРИВЕТСТВИЕ's text" "if ИМЯ is null then ТЕКСТ := \"Здравствуйте!\";"
key Escape
expect_closed "ПРИВЕТСТВИЕ"

# --- a trigger from its list ----------------------------------------------------------------
key F10
menu_choose "Ф" "Открыть триггер..."
list_choose " Триггеры " "EMP_AUDIT"
expect_title "EMP_AUDIT"
expect_screen "EMP_AUDIT's text" "create trigger \"EMP_AUDIT\"" "after insert or update on EMP for each row"
key Escape
expect_closed "EMP_AUDIT"

# --- a new procedure: stored, written to a file, read back --------------------------------
key F10
menu_choose "Ф" "Новая процедура..."
expect_screen "the new-procedure dialog" "Имя процедуры" " Создать "
type_text "E2E_NEW"
key Enter
expect_title "E2E_NEW"
expect_screen "the template" "create procedure \"E2E_NEW\"() for debug"
# A body line with trailing blanks, and blank lines (one of blanks) after "end;".
key Down End Enter
type_text "  // made in a test   "
key Down End Enter
type_text "   "
key Enter Enter
expect_title "*E2E_NEW"
key F2
expect_title "E2E_NEW"
wait_for "$patience" proc_count_is E2E_NEW 1 && body_has E2E_NEW "// made in a test" &&
  pass "the new procedure is stored" || fail "E2E_NEW not stored: $(body_of E2E_NEW)"
key M-F2
expect_screen "Alt+F2" " Выбор файла " "Имя файла"
type_text "e2e_new.prc"
key Enter
expect_gone "Alt+F2" " Выбор файла "
printf '%s\n' 'create procedure "E2E_NEW"() for debug' 'code' '  // made in a test' 'end;' > "$work/expected.prc"
wait_for "$patience" test -s "$work/e2e_new.prc" &&
  cmp -s "$work/expected.prc" "$work/e2e_new.prc" && pass "the file holds the text without trailing blanks or lines" ||
  fail "the file holds: $(cat -A "$work/e2e_new.prc" 2>&1)"
key Escape
expect_closed "E2E_NEW"
# Leaving the file dialog opens nothing and goes to the menu.
key M-F3
expect_screen "Alt+F3" " Выбор файла "
key Escape
expect_gone "Alt+F3 left" " Выбор файла "
wait_for "$patience" eval 'screen | head -1 | grep -qF " Файл "' && ! screen_has "В тексте отсутствует" &&
  ! title_is "<НЕИЗВЕСТНОЕ>" && pass "leaving the file dialog opens no window" ||
  fail "leaving the file dialog opened a window"
menu_choose "Ф" "Прочитать из файла... Alt+F3"
expect_screen "the file dialog" " Выбор файла " "e2e_new.prc"
type_text "e2e_new.prc"
key Enter
expect_title "E2E_NEW"
expect_screen "the text read back" "  // made in a test"

# --- a bad head: the error list and the cursor on the error --------------------------------
key F10
menu_choose "Ф" "Новая процедура..."
expect_screen "the new-procedure dialog" "Имя процедуры"
type_text "E2E_BAD"
key Enter
expect_title "E2E_BAD"
key C-PgUp Home C-y Enter Up
type_text 'create procedure "E2E_BAD"(in A integer,'
key Enter
type_text '    in B bogus(3)) for debug'
wait_for "$patience" position_is "2:29" || fail "the cursor is not after the head's second line"
key F2
expect_screen "the error list" " Список ошибок " "Ошибка в строке 2 позиция 10: неверный спецификатор типа"
key Enter
expect_gone "the error list" " Список ошибок "
wait_for "$patience" position_is "2:10" && wait_for "$patience" cursor_in "*E2E_BAD" 2 10 &&
  pass "the cursor stands on the error" || fail "cursor at $(pane '#{cursor_x},#{cursor_y}'), frame: $(screen | sed -n 24p)"
proc_count_is E2E_BAD 0 && pass "the bad text is not stored" || fail "E2E_BAD was stored"
key Escape
ask_answer "Закрыть окно?" " Да "
expect_closed "*E2E_BAD"

# --- dropping a procedure ------------------------------------------------------------------
key F10
menu_choose "У" "Удалить процедуру"
expect_screen "the list for dropping" " Процедуры " "E2E_NEW"
screen_has "Trigger #1" && fail "a trigger's action is offered for dropping"
list_choose " Процедуры " "E2E_NEW"
ask_answer "Удалить процедуру. Вы уверены?" " Да "
wait_for "$patience" proc_count_is E2E_NEW 0 && pass "E2E_NEW is dropped" || fail "E2E_NEW is still stored"
proc_count_is RAISE_SALARY 1 || fail "RAISE_SALARY went too"

# --- Alt+X -------------------------------------------------------------------------------
key M-x
wait_for 30 test -s "$work/status" || fail "procman did not end"
[[ $(cat "$work/status" 2>/dev/null) == 0 ]] && pass "exit status 0" || fail "exit status $(cat "$work/status" 2>/dev/null)"
wait_for "$patience" screen_has "procman ended with status 0" || fail "the shell's line after the program is not shown"
shell "stty -g > $work/stty.after"
wait_for "$patience" test -s "$work/stty.after"
cmp -s "$work/stty.before" "$work/stty.after" && pass "terminal modes restored" || fail "terminal modes differ"
[[ $(pane '#{alternate_on}') == 0 ]] && pass "alternate screen left" || fail "alternate screen not left"
[[ $(pane '#{cursor_flag}') == 1 ]] || fail "cursor left hidden"

if ((failures > 0)); then
  echo "$failures check(s) failed"
  screen
  exit 1
fi
echo "all checks passed"
