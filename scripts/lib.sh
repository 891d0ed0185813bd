# SPDX-License-Identifier: BSD-2-Clause
# shellcheck shell=sh
# What quickstart and test share: finding out the system, installing packages, building.
# Sourced from a script that has set `root` to the top of the source tree.

say() { printf '\n== %s\n' "$*"; }

die() {
  printf '%s: %s\n' "${0##*/}" "$*" >&2
  exit 1
}

as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  elif command -v sudo >/dev/null 2>&1; then
    sudo "$@"
  else
    die "cannot install packages: neither root nor sudo (needed: $*)"
  fi
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
    as_root env DEBIAN_FRONTEND=noninteractive apt-get update -q
    # shellcheck disable=SC2086
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends $debian
  elif command -v pkg >/dev/null 2>&1; then
    as_root env ASSUME_ALWAYS_YES=yes pkg install "$@"
  else
    die "no apt-get and no pkg here: install a C++20 compiler, cmake, nettle, CLI11, nlohmann-json and fmt by hand"
  fi
}

install_build_packages() {
  install_packages c++ cmake make /usr/include/nettle/twofish.h /usr/include/CLI/CLI.hpp \
    /usr/include/nlohmann/json.hpp /usr/include/fmt/format.h -- \
    g++ cmake make nettle-dev libcli11-dev nlohmann-json3-dev libfmt-dev -- \
    cmake nettle cli11 nlohmann-json libfmt
}

cores() { nproc 2>/dev/null || sysctl -n hw.ncpu 2>/dev/null || echo 2; }

# build FOLDER [CMAKE_OPTION...]: what the tools say goes to FOLDER.log.
build() {
  build_folder=$1
  shift
  cmake -S "$root" -B "$build_folder" "$@" >"$build_folder.log" 2>&1 || {
    cat "$build_folder.log" >&2
    die "configuration failed"
  }
  cmake --build "$build_folder" --parallel "$(cores)" >>"$build_folder.log" 2>&1 || {
    tail -n 60 "$build_folder.log" >&2
    die "build failed"
  }
}
