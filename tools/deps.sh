#!/usr/bin/env bash
# Installs the Debian packages the builds and tests need, when any is missing, and builds
# SQLite for the Windows build once into a cache directory (Debian ships no mingw-w64
# SQLite): the Debian source package's amalgamation, cross-compiled into a static library.
#   tools/deps.sh                   install and build what is missing
#   tools/deps.sh --sqlite-mingw    print the directory of the Windows SQLite (include/, lib/)
set -euo pipefail

SQLITE_VERSION=3.40.1
SQLITE_MINGW="${XDG_CACHE_HOME:-$HOME/.cache}/tavrel/sqlite-mingw-$SQLITE_VERSION"
if [[ ${1:-} == --sqlite-mingw ]]; then
  echo "$SQLITE_MINGW"
  exit 0
fi

PACKAGES=(
  cmake ninja-build g++ ccache pkg-config make
  googletest libgtest-dev libbenchmark-dev
  libsqlite3-dev libncurses-dev tmux
  clang libclang-rt-14-dev
  g++-mingw-w64-x86-64-posix wine wine64
  libintelrdfpmath-dev
  liblua5.4-dev
  tcl xz-utils
)

SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO="sudo"

install_packages() {
  local missing=() p
  for p in "${PACKAGES[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  echo "Installing: ${missing[*]}"
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
}

# The source package comes through a deb-src entry of the Debian archive; its original
# tarball is SQLite's full source tree, from which tclsh generates the amalgamation.
build_sqlite_mingw() {
  [[ -f $SQLITE_MINGW/lib/libsqlite3.a && -f $SQLITE_MINGW/include/sqlite3.h ]] && return 0
  echo "Building SQLite $SQLITE_VERSION for mingw-w64 into $SQLITE_MINGW"
  local sources=/etc/apt/sources.list.d/tavrel-src.sources
  if [[ ! -f $sources ]]; then
    printf '%s\n' "Types: deb-src" "URIs: http://deb.debian.org/debian" "Suites: bookworm" \
      "Components: main" "Signed-By: /usr/share/keyrings/debian-archive-keyring.gpg" |
      $SUDO tee "$sources" > /dev/null
  fi
  $SUDO apt-get update -qq
  local work
  work=$(mktemp -d)
  # apt's download user must be able to enter the directory.
  chmod 755 "$work"
  (
    set -e
    trap 'rm -rf "$work"' EXIT
    cd "$work"
    apt-get source --download-only -qq sqlite3 > /dev/null
    tar xJf "sqlite3_$SQLITE_VERSION.orig.tar.xz"
    mkdir build
    cd build
    "../sqlite3-$SQLITE_VERSION/configure" > configure.log 2>&1 || { cat configure.log; exit 1; }
    make sqlite3.c > make.log 2>&1 || { cat make.log; exit 1; }
    # Thread-safe (the kernel runs a thread per session); no run-time extensions.
    x86_64-w64-mingw32-gcc-posix -O2 -DSQLITE_THREADSAFE=1 -DSQLITE_OMIT_LOAD_EXTENSION \
      -c sqlite3.c -o sqlite3.o
    x86_64-w64-mingw32-ar rcs libsqlite3.a sqlite3.o
    rm -rf "$SQLITE_MINGW.tmp"
    mkdir -p "$SQLITE_MINGW.tmp/include" "$SQLITE_MINGW.tmp/lib"
    cp sqlite3.h sqlite3ext.h "$SQLITE_MINGW.tmp/include/"
    cp libsqlite3.a "$SQLITE_MINGW.tmp/lib/"
    # Whole or not at all: an interrupted build leaves no half-made directory behind.
    rm -rf "$SQLITE_MINGW"
    mv "$SQLITE_MINGW.tmp" "$SQLITE_MINGW"
  )
}

install_packages
build_sqlite_mingw
