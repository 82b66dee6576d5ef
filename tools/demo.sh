#!/usr/bin/env bash
# Starts the stored procedure manager against a local reference kernel on a demo database.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/deps.sh
cmake -S . -B build/native -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo > /dev/null
ninja -C build/native
if [ ! -x build/native/procman ] || [ ! -x build/native/tavrel-kernel ]; then
  echo "The manager (procman) and the reference kernel (tavrel-kernel) are not built yet:"
  echo "this tree holds the value library and code pages so far. Run tools/test.sh to test them."
  exit 1
fi
