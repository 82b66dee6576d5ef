#!/usr/bin/env bash
# Installs the Debian packages the builds and tests need, when any is missing.
set -euo pipefail

PACKAGES=(
  cmake ninja-build g++ ccache pkg-config
  googletest libgtest-dev libbenchmark-dev
  libsqlite3-dev libncurses-dev tmux
  clang libclang-rt-14-dev
  g++-mingw-w64-x86-64-posix wine wine64
  libintelrdfpmath-dev
  liblua5.4-dev
)

missing=()
for p in "${PACKAGES[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO="sudo"
$SUDO apt-get update -qq
DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
