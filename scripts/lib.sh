# SPDX-License-Identifier: BSD-2-Clause
# shellcheck shell=sh
# What quickstart and test share: finding out the system, installing packages, building.
# Sourced from a script that has set `root` to the top of the source tree.
# shellcheck disable=SC2154

say() { printf '\n== %s\n' "$*"; }

die() {
  printf '%s: %s\n' "${0##*/}" "$*" >&2
  exit 1
}

as_root() {
  if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

# need_root COMMAND...: ends here where nobody can become root, and tells what root has to run.
need_root() {
  [ "$(id -u)" -eq 0 ] || command -v sudo >/dev/null 2>&1 ||
    die "cannot install packages: neither root nor sudo here. Let root run: $*"
}

# install_packages COMMAND_OR_FILE... -- DEBIAN_PACKAGE... -- FREEBSD_PACKAGE...
# Installs only when one of the named commands or files is missing.
install_packages() {
  missing=
  while [ "$1" != -- ]; do
    case $1 in
      /*) [ -e "$1" ] || [ -e "/usr/local${1#/usr}" ] || missing="$missing $1" ;;
      *) command -v "$1" >/dev/null 2>&1 || missing="$missing $1" ;;
    esac
    shift
  done
  shift
  [ -n "$missing" ] || return 0
  debian=
  while [ "$1" != -- ]; do
    debian="$debian $1"
    shift
  done
  shift
  say "Installing what is missing:$missing"
  if command -v apt-get >/dev/null 2>&1; then
    need_root "apt-get install --no-install-recommends$debian"
    as_root env DEBIAN_FRONTEND=noninteractive apt-get update -q
    # shellcheck disable=SC2086
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends $debian
  elif command -v pkg >/dev/null 2>&1; then
    need_root "pkg install $*"
    as_root env ASSUME_ALWAYS_YES=yes pkg install "$@"
  else
    die "no apt-get and no pkg here: install a C++20 compiler, cmake, libtomcrypt, nettle, CLI11, nlohmann-json and fmt by hand"
  fi
}

install_build_packages() {
  install_packages c++ cmake make /usr/include/tomcrypt.h /usr/include/nettle/sha2.h /usr/include/CLI/CLI.hpp \
    /usr/include/nlohmann/json.hpp /usr/include/fmt/format.h -- \
    g++ cmake make libtomcrypt-dev nettle-dev libcli11-dev nlohmann-json3-dev libfmt-dev -- \
    cmake libtomcrypt nettle cli11 nlohmann-json libfmt
}

cores() { nproc 2>/dev/null || sysctl -n hw.ncpu 2>/dev/null || echo 2; }

# progress LOG: adds the standard input to LOG and tells each tenth that is done. Understands the
# lines of make ("[ 37%]"), ninja ("[37/100]") and ctest ("37/100 Test").
progress() {
  tenths=0
  while IFS= read -r line; do
    printf '%s\n' "$line" >>"$1"
    case $line in
      \[*%\]*) part=${line%%%*} whole=100 ;;
      \[*/*\]* | *[0-9]/[0-9]*' Test '*) part=${line%%/*} whole=${line#*/} ;;
      *) continue ;;
    esac
    part=${part#\[} whole=${whole%%[!0-9]*}
    part=${part##* }
    case $part/$whole in *[!0-9/]* | /* | */ | 0* | */0*) continue ;; esac
    while [ $((part * 10)) -ge $(((tenths + 1) * whole)) ]; do
      tenths=$((tenths + 1))
      printf '%s0%% ' "$tenths"
    done
  done
  printf '\n'
}

# build FOLDER [CMAKE_OPTION...]: what the tools say goes to FOLDER.log.
build() {
  build_folder=$1
  shift
  cmake -S "$root" -B "$build_folder" "$@" >"$build_folder.log" 2>&1 || {
    cat "$build_folder.log" >&2
    die "configuration failed"
  }
  rm -f "$build_folder.failed"
  { cmake --build "$build_folder" --parallel "$(cores)" 2>&1 || : >"$build_folder.failed"; } |
    progress "$build_folder.log"
  [ ! -e "$build_folder.failed" ] || {
    tail -n 60 "$build_folder.log" >&2
    die "build failed; all that was said is in $build_folder.log"
  }
}
