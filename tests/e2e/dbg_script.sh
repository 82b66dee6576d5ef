#!/usr/bin/env bash
# tavrel-dbg running a script against a kernel on the demo database, natively or (with
# --wine) the Windows builds of both under Wine: open a debug session, set a breakpoint, run
# the procedure to it, read the locals, step through a turn of its loop, read the stack,
# delete the breakpoint and continue to the end. The whole output is compared, and the exit
# status must be 0.
#
#   dbg_script.sh [--wine] TAVREL_KERNEL TAVREL_DBG TAVREL_SQL
set -u
wine=()
if [[ ${1:-} == --wine ]]; then
  wine=(wine)
  shift
fi
[[ $# -eq 3 ]] || { echo "usage: $0 [--wine] TAVREL_KERNEL TAVREL_DBG TAVREL_SQL" >&2; exit 2; }
kernel_bin=$(realpath "$1")
dbg_bin=$(realpath "$2")
sql_bin=$(realpath "$3")
work=$(mktemp -d)
export WINEDEBUG=-all TAVREL_RUNDIR="$work/run" TAVREL_MBX="dbg$$"
unset NET_MBX TAVREL_TRANSPORT
mkdir -p "$TAVREL_RUNDIR"
kernel_pid=
cleanup() {
  [[ -n $kernel_pid ]] && kill "$kernel_pid" 2> /dev/null && wait "$kernel_pid" 2> /dev/null
  rm -rf "$work"
}
trap cleanup EXIT

# A path as the program reads it: Wine's programs see the Linux root as drive Z:.
path() { if [[ ${#wine[@]} -gt 0 ]]; then printf 'Z:%s' "$1"; else printf '%s' "$1"; fi; }

"${wine[@]}" "$kernel_bin" --db "$(path "$work/demo.db")" --demo --instance "$TAVREL_MBX" > "$work/kernel.log" 2>&1 &
kernel_pid=$!
served=
for _ in $(seq 1 120); do
  if "${wine[@]}" "$sql_bin" -U DEMO/DEMO -c "select 1;" > /dev/null 2>&1; then served=1; break; fi
  sleep 0.5
done
[[ -n $served ]] || { echo "FAIL: the kernel does not serve"; cat "$work/kernel.log"; exit 1; }

# COUNT_DOWN's lines: 3 "while N > 0 loop", 4 "N := N - 1;".
cat > "$work/script" << 'SCRIPT'
open COUNT_DOWN
break COUNT_DOWN 4
run execute "COUNT_DOWN"(2);
locals
step
step
locals
stack
delete 1
continue
quit
SCRIPT
expected='breakpoint 1
stopped COUNT_DOWN line 4 breakpoint 1
{ N } = 2 (SMALLINT)
stopped COUNT_DOWN line 3
stopped COUNT_DOWN line 4
{ N } = 1 (SMALLINT)
#0 COUNT_DOWN line 4
finished COUNT_DOWN'

"${wine[@]}" "$dbg_bin" -U DEMO/DEMO -x "$(path "$work/script")" > "$work/out" 2> "$work/err"
status=$?
got=$(tr -d '\r' < "$work/out")
failed=0
if [[ $got != "$expected" ]]; then
  echo "FAIL: the output differs"
  diff <(printf '%s\n' "$expected") <(printf '%s\n' "$got")
  failed=1
fi
[[ $status -eq 0 ]] || { echo "FAIL: tavrel-dbg ended with status $status"; failed=1; }
[[ -s $work/err ]] && { echo "FAIL: tavrel-dbg wrote errors:"; cat "$work/err"; failed=1; }
[[ $failed -eq 0 ]] && echo "ok: the scripted session went as expected"
exit $failed
