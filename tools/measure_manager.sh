#!/usr/bin/env bash
# Measures procman against a large catalogue: start-up to the menu bar, listing 5,000
# procedures, opening a 10,000-line procedure, and keystroke-to-screen in the editor.
#
#   tools/measure_manager.sh [RUNS]        (default 7 runs; the medians are printed)
#
# Needs a native build (build/native). The database is made afresh in a scratch directory:
# tavrel-kernel --demo, then 5,000 procedures and one of 10,000 lines created through
# tavrel-sql, so the kernel's own create path stores them (the generation takes about
# 15 s, mostly SQLite's commit of each statement). Each run starts procman on a
# pseudo-terminal of 80x25 (TERM=xterm) and times, with the monotonic clock, the interval
# from writing the keys to reading the first output that holds the awaited text:
#   start-up   the process started  ... the menu's hint line ("|МЕНЮ|") written
#   list       Enter on "Открыть процедуру..."  ... the list's title " Процедуры " written
#   open       Enter on the last row (BIG_10K)  ... its head line written in the editor
#   key        one letter typed at the start of the text ... that letter written (median of
#              40 letters a run)
# and, debugging the demo procedure SUM_TO (a loop) on the same kernel:
#   step       F8 at a stop ... the end of the redraw that shows the next stopped line with
#              the Locals and the Stack fetched again (median of 20 steps a run; the redraw
#              is taken as ended when 100 ms pass without output)
#   run 10^6   Enter in " Входные параметры " with N = 1000000 ... "завершилась" written,
#              beside tavrel-sql executing the same statement (process start to end)
# The output is read as it arrives (poll), so the resolution is that of the clock and the
# scheduler, well under 0.1 ms; what the terminal then takes to paint is not included.
set -euo pipefail
cd "$(dirname "$0")/.."
runs=${1:-7}
build=build/native
for program in procman tavrel-kernel tavrel-sql; do
  [[ -x $build/$program ]] || { echo "no $build/$program: build first (cmake -S . -B $build -G Ninja && ninja -C $build)"; exit 1; }
done
work=$(mktemp -d)
export TAVREL_RUNDIR="$work/run"
unset TAVREL_MBX NET_MBX
mkdir -m 700 "$TAVREL_RUNDIR"
kernel_pid=
cleanup() {
  if [[ -n $kernel_pid ]]; then
    kill "$kernel_pid" 2>/dev/null || true
    wait "$kernel_pid" 2>/dev/null || true
  fi
  rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 1' INT TERM HUP

"$build/tavrel-kernel" --db "$work/big.db" --demo > "$work/kernel.log" 2>&1 &
kernel_pid=$!
for _ in $(seq 1 100); do [[ -s $TAVREL_RUNDIR/TavrelProcessInfo ]] && break; sleep 0.1; done
[[ -s $TAVREL_RUNDIR/TavrelProcessInfo ]] || { echo "tavrel-kernel did not start"; cat "$work/kernel.log"; exit 1; }

echo "generating 5,000 procedures and one of 10,000 lines ..."
start=$(date +%s.%N)
for ((i = 1; i <= 5000; i++)); do
  printf 'create procedure P%04d(in A integer default %d, out B integer) for debug\ncode\n  B := A + 1;\nend;\n' "$i" "$i"
done > "$work/many.sql"
# A statement travels in one request part of at most 65,535 bytes, so a 10,000-line text
# that a client can store has lines of six bytes on average.
{
  printf 'create procedure BIG_10K(inout N integer default 0) for debug\ncode\n'
  for ((i = 1; i <= 9997; i++)); do printf '//%03d\n' $((i % 1000)); done
  printf 'end;\n'
} > "$work/big.sql"
"$build/tavrel-sql" -U DEMO/DEMO < "$work/many.sql"
"$build/tavrel-sql" -U DEMO/DEMO < "$work/big.sql"
count=$("$build/tavrel-sql" -U DEMO/DEMO -c "select count(*) from system.\$\$\$PROC;")
lines=$("$build/tavrel-sql" -U DEMO/DEMO -c "select length(\$\$\$BODY) - length(replace(\$\$\$BODY, char(10), '')) + 1 from system.\$\$\$PROC where \$\$\$NAME = 'BIG_10K';")
printf 'stored: %s procedures (BIG_10K has %s lines) in %s s\n' "$count" "$lines" "$(awk -v a="$start" -v b="$(date +%s.%N)" 'BEGIN { printf "%.1f", b - a }')"

python3 - "$build/procman" "$runs" "$build/tavrel-sql" <<'EOF_PY'
import os, pty, select, signal, statistics, struct, subprocess, sys, time, fcntl, termios

procman, runs, sql = sys.argv[1], int(sys.argv[2]), sys.argv[3]
ENTER, END = b"\r", b"\x1b[F"
DOWN, BACKSPACE = b"\x1b[B", b"\x7f"
F4, F6, F8, F9 = b"\x1bOS", b"\x1b[17~", b"\x1b[19~", b"\x1b[20~"
CTRL_F3, CTRL_F8 = b"\x1b[1;5R", b"\x1b[19;5~"

class Session:
    def __init__(self):
        self.pid, self.fd = pty.fork()
        if self.pid == 0:
            os.environ["TERM"] = "xterm"
            os.execv(procman, [procman, "-U", "DEMO/DEMO"])
        fcntl.ioctl(self.fd, termios.TIOCSWINSZ, struct.pack("HHHH", 25, 80, 0, 0))
        self.seen = b""

    # Reads until the text arrives; the time of the read that brought it.
    def wait_for(self, text, limit=60.0):
        text = text.encode()
        deadline = time.monotonic() + limit
        while True:
            left = deadline - time.monotonic()
            if left <= 0:
                raise SystemExit("timed out waiting for %r" % text.decode())
            ready, _, _ = select.select([self.fd], [], [], left)
            if not ready:
                continue
            chunk = os.read(self.fd, 1 << 16)
            now = time.monotonic()
            self.seen = (self.seen + chunk)[-(1 << 20):]
            if text in self.seen:
                self.seen = b""
                return now

    def send(self, keys):
        self.seen = b""
        now = time.monotonic()
        os.write(self.fd, keys)
        return now

    # Reads until no output came for `quiet` seconds; the time of the last read. With
    # expect, output must come first (within the limit); without, none at all is fine.
    def settle(self, quiet=0.1, limit=60.0, expect=False):
        last = None
        deadline = time.monotonic() + limit
        while time.monotonic() < deadline:
            ready, _, _ = select.select([self.fd], [], [], quiet)
            if not ready:
                if last is not None or not expect:
                    return last
                continue
            os.read(self.fd, 1 << 16)
            last = time.monotonic()
        raise SystemExit("no output settled")

    def end(self):
        os.kill(self.pid, signal.SIGTERM)
        os.waitpid(self.pid, 0)
        os.close(self.fd)

results = {"start-up": [], "list": [], "open": [], "key": []}
for run in range(runs):
    t0 = time.monotonic()
    s = Session()
    results["start-up"].append(s.wait_for("МЕНЮ") - t0)
    s.send(ENTER)
    s.wait_for("ткрыть процедуру")  # after its hot letter
    t0 = s.send(ENTER)
    results["list"].append(s.wait_for(" Процедуры ") - t0)
    s.send(END)
    s.wait_for("BIG_10K")
    t0 = s.send(ENTER)
    results["open"].append(s.wait_for("create procedure BIG_10K") - t0)
    time.sleep(0.2)
    keys = []
    for letter in b"abcdefghijklmnopqrstuvwxyzabcdefghijklmn":
        t0 = s.send(bytes([letter]))
        keys.append(s.wait_for(chr(letter)) - t0)
    results["key"].append(statistics.median(keys))
    s.end()

# Opens SUM_TO from the list (its name typed: the list's search) in a fresh procman.
def open_sum_to():
    s = Session()
    s.wait_for("МЕНЮ")
    s.send(ENTER)
    s.wait_for("ткрыть процедуру")
    s.send(ENTER)
    s.wait_for(" Процедуры ")
    s.send(b"SUM_TO")
    time.sleep(0.2)
    s.send(ENTER)
    s.wait_for("create procedure SUM_TO")
    return s

results["step"] = []
results["run 10^6"] = []
results["sql 10^6"] = []
for run in range(runs):
    # A breakpoint in the loop, the Stack open beside the Locals, the source window current.
    s = open_sum_to()
    s.send(F4)
    s.wait_for("ОТЛАДКА")
    s.send(DOWN * 7)
    s.settle()
    s.send(CTRL_F8)
    s.settle()
    s.send(F9)
    s.wait_for("Входные параметры")
    s.send(ENTER)
    s.wait_for("Исполнение")
    s.settle()
    s.send(CTRL_F3)
    s.wait_for("Стек вызова")
    s.send(F6)
    s.settle()
    steps = []
    for _ in range(20):
        t0 = s.send(F8)
        steps.append(s.settle(expect=True) - t0)
    results["step"].append(statistics.median(steps))
    s.end()

    s = open_sum_to()
    s.send(F9)
    s.wait_for("Входные параметры")
    s.send(b"\x1b[F" + BACKSPACE * 4 + b"1000000")
    s.settle()
    t0 = s.send(ENTER)
    results["run 10^6"].append(s.wait_for("завершилась", limit=300) - t0)
    s.end()

    t0 = time.monotonic()
    subprocess.run([sql, "-U", "DEMO/DEMO", "-c", 'execute "SUM_TO"(1000000);'], check=True,
                   stdout=subprocess.DEVNULL)
    results["sql 10^6"].append(time.monotonic() - t0)

print("%-10s %10s %10s %10s   (%d runs)" % ("", "median", "min", "max", runs))
for name, values in results.items():
    print("%-10s %8.2f ms %7.2f ms %7.2f ms" % (name, 1000 * statistics.median(values), 1000 * min(values),
                                               1000 * max(values)))
EOF_PY
