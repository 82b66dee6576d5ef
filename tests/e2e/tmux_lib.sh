# Helpers shared by the tmux scripts that drive a program in a real terminal: the private
# tmux server, polling, reading the pane and the program's log, and passing or failing
# checks. The sourcing script sets sock (the server's name) and work (its scratch directory)
# and may define on_failure, which fail calls after counting.
failures=0

T() { tmux -L "$sock" -f /dev/null "$@"; }
# The server goes, and so does its socket file, which tmux leaves behind.
tmux_cleanup() {
  T kill-server 2>/dev/null
  rm -f "${TMUX_TMPDIR:-/tmp}/tmux-$(id -u)/$sock"
}

fail() {
  echo "FAIL: $*"
  failures=$((failures + 1))
  if declare -F on_failure > /dev/null; then on_failure; fi
  return 0
}
pass() { echo "ok: $*"; }

# wait_for SECONDS COMMAND...: polls until the command succeeds.
wait_for() {
  local limit=$(($1 * 20)); shift
  for ((i = 0; i < limit; i++)); do
    "$@" 2>/dev/null && return 0
    sleep 0.05
  done
  return 1
}

log_lines() { [[ -f $work/log ]] && wc -l < "$work/log" || echo 0; }
log_reached() { [[ $(log_lines) -ge $1 ]]; }
# The log without the CRs of the Windows build.
log_text() { tr -d '\r' < "$work/log"; }
log_has() { log_text | grep -qxF -- "$1"; }

screen() { T capture-pane -p -t t; }
screen_has() { screen | grep -qF -- "$1"; }
screen_matches() { screen | grep -qE -- "$1"; }
pane() { T display -p -t t "$1"; }
# The shell in the pane runs a command line.
shell() { T send-keys -t t "$1" Enter; }

# expect_screen WHAT TEXT...: each text is on the screen (polled for $patience seconds).
expect_screen() {
  local what=$1; shift
  local text
  for text in "$@"; do
    wait_for "$patience" screen_has "$text" && pass "$what shows '$text'" ||
      fail "$what does not show '$text'"
  done
}

# wine_runner: writes $work/settle.sh and prints the command that runs a Windows program
# through it. Under Wine the console host, not the program, gives the terminal its modes
# back, a moment after the program ends; were the shell to read its next line before that,
# it would take the raw modes for its own. So the runner waits (up to 20 s) for the modes it
# started with; a terminal never restored still fails the scripts' own checks.
wine_runner() {
  cat > "$work/settle.sh" <<'EOF_SETTLE'
#!/bin/sh
modes=$(stty -g)
"$@"
status=$?
i=0
while [ "$(stty -g)" != "$modes" ] && [ $i -lt 200 ]; do sleep 0.1; i=$((i + 1)); done
exit $status
EOF_SETTLE
  chmod +x "$work/settle.sh"
  echo "$work/settle.sh wine"
}

# expect_gone WHAT TEXT: the text leaves the screen.
expect_gone() {
  local what=$1 text=$2
  wait_for "$patience" eval '! screen_has "$text"' && pass "$what: '$text' gone" ||
    fail "$what: '$text' still shown"
}

# start_demo_kernel KERNEL: the native kernel on a fresh demo database in $work, serving
# $TAVREL_RUNDIR once its process record names it; stop_demo_kernel ends it.
kernel_pid=
start_demo_kernel() {
  "$1" --db "$work/demo.db" --demo > "$work/kernel.log" 2>&1 &
  kernel_pid=$!
  wait_for 30 test -s "$TAVREL_RUNDIR/TavrelProcessInfo" ||
    { echo "FAIL: the kernel did not start"; cat "$work/kernel.log"; exit 1; }
}
stop_demo_kernel() {
  [[ -n $kernel_pid ]] || return 0
  kill "$kernel_pid" 2>/dev/null
  wait "$kernel_pid" 2>/dev/null
  kernel_pid=
}

# native_e2e_setup NAME: a private work and run directory, this run's tmux socket, and the
# clean-up at exit (the tmux server, the demo kernel, the directory).
native_e2e_setup() {
  work=$(mktemp -d)
  sock="tavrel-$1-$$"
  export LC_ALL=C.UTF-8 TAVREL_RUNDIR="$work/run"
  unset TAVREL_MBX NET_MBX
  mkdir -p "$TAVREL_RUNDIR"
  patience=20
  trap 'tmux_cleanup; stop_demo_kernel; rm -rf "$work"' EXIT
  trap 'exit 1' INT TERM HUP
}
