#!/usr/bin/env bash
# Checks the include layers, then builds everything and runs every test: the native build,
# the sanitizer build (AddressSanitizer + UndefinedBehaviorSanitizer), the ThreadSanitizer
# build of the tests labelled concurrency, the Windows cross-build under Wine, and a short
# smoke run of each fuzz target. Exits non-zero on the first failure.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)

printf '=== include layers ===\n'
tools/check_layers.sh

tools/deps.sh

jobs=$(nproc)
export CCACHE_DIR="${CCACHE_DIR:-$HOME/.cache/tavrel-ccache}"
export WINEDEBUG=-all
export ASAN_OPTIONS=detect_leaks=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
# A race fails the program that has it (a kernel started by a test included).
export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1

configure() {  # build-dir, cmake arguments...
  local dir=$1; shift
  cmake -S "$root" -B "$dir" -G Ninja "$@" > "$dir.configure.log" 2>&1 ||
    { cat "$dir.configure.log"; return 1; }
}

step() { printf '\n=== %s ===\n' "$*"; }

# Runs one build's tests and adds its counts to the totals of the closing line.
passed=0
failed=0
run_tests() {  # build-dir [ctest arguments...]
  local dir=$1; shift
  local log="$dir.ctest.log"
  ctest --test-dir "$dir" -j "$jobs" --output-on-failure "$@" 2>&1 | tee "$log"
  local total bad
  total=$(sed -n 's/.*tests failed out of \([0-9]*\).*/\1/p' "$log" | tail -n 1)
  bad=$(sed -n 's/.*, \([0-9]*\) tests failed out of.*/\1/p' "$log" | tail -n 1)
  passed=$((passed + ${total:-0} - ${bad:-0}))
  failed=$((failed + ${bad:-0}))
}
mkdir -p build

step "native build"
configure build/native -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTAVREL_BENCH=ON
ninja -C build/native
step "native tests"
run_tests build/native

step "sanitizer build"
configure build/asan -DCMAKE_BUILD_TYPE=Debug -DTAVREL_SANITIZE=ON
ninja -C build/asan
step "sanitizer tests"
run_tests build/asan

# Only the programs the concurrency tests need are built: the channel's transport, the
# kernel's sessions, the manager's posting to its user-interface thread.
step "ThreadSanitizer build (concurrency tests)"
configure build/tsan -DCMAKE_BUILD_TYPE=Debug -DTAVREL_TSAN=ON  # Debug: the asserts stay
ninja -C build/tsan concurrency_tests
step "ThreadSanitizer tests"
run_tests build/tsan -L concurrency

step "Windows build (mingw-w64)"
configure build/win64 -DCMAKE_BUILD_TYPE=Release -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64.cmake" \
  -DTAVREL_SQLITE_MINGW="$(tools/deps.sh --sqlite-mingw)"
ninja -C build/win64
step "Windows tests under Wine"
wineboot --init > /dev/null 2>&1 || true
run_tests build/win64

step "fuzz targets (smoke run)"
configure build/fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ \
  -DTAVREL_FUZZ=ON -DTAVREL_TESTS=OFF
ninja -C build/fuzz fuzz_all
for target in build/fuzz/fuzz/fuzz_*; do
  [ -x "$target" ] || continue
  name=$(basename "$target")
  corpus="$root/fuzz/corpus/${name#fuzz_}"
  mkdir -p "build/fuzz/corpus-$name"
  echo "--- $name"
  "$target" -max_total_time="${FUZZ_SECONDS:-10}" -print_final_stats=0 \
    "build/fuzz/corpus-$name" "$corpus" 2>&1 | tail -n 2
done

step "summary"
echo "tests: $passed passed, $failed failed"
