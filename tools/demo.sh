#!/usr/bin/env bash
# Starts the stored procedure manager against a local reference kernel on a demo database.
#
#   tools/demo.sh [procman options]
#
# Builds the tree (native), then starts `tavrel-kernel --demo` on a demo database in the
# user's data directory ($XDG_DATA_HOME/tavrel, else ~/.local/share/tavrel) with a private
# run directory, unless a kernel already serves that run directory, and starts `procman`.
# Log on as user DEMO with password DEMO in the registration dialog, or start with
# `tools/demo.sh -U DEMO/DEMO` to skip it. Alt+X leaves the manager; the kernel this script
# started is stopped then.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/deps.sh
cmake -S . -B build/native -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo > /dev/null
ninja -C build/native
data="${XDG_DATA_HOME:-$HOME/.local/share}/tavrel"
mkdir -p "$data/run"
chmod 700 "$data/run"
export TAVREL_RUNDIR="$data/run"
unset TAVREL_MBX NET_MBX

# A kernel serves when the pid in its process record (4 bytes, little-endian) is alive.
kernel_running() {
  local record="$TAVREL_RUNDIR/TavrelProcessInfo" pid
  [[ -s $record ]] || return 1
  pid=$(od -An -tu4 -N4 "$record" | tr -d ' ')
  [[ -n $pid ]] && kill -0 "$pid" 2>/dev/null
}

kernel_pid=
stop_kernel() {
  if [[ -n $kernel_pid ]]; then
    kill "$kernel_pid" 2>/dev/null || true
    wait "$kernel_pid" 2>/dev/null || true
  fi
}
trap stop_kernel EXIT
trap 'exit 1' INT TERM HUP

if ! kernel_running; then
  build/native/tavrel-kernel --db "$data/demo.db" --demo > "$data/kernel.log" 2>&1 &
  kernel_pid=$!
  for _ in $(seq 1 100); do
    kernel_running && break
    kill -0 "$kernel_pid" 2>/dev/null || { echo "tavrel-kernel did not start; see $data/kernel.log"; exit 1; }
    sleep 0.1
  done
  kernel_running || { echo "tavrel-kernel did not start; see $data/kernel.log"; exit 1; }
fi
echo "Log on as DEMO, password DEMO."
status=0
build/native/procman "$@" || status=$?
exit $status
