# SPDX-License-Identifier: BSD-2-Clause
# shellcheck shell=sh
# Stands in front of every check that is sent. The first parameter is what the last run kept; R is
# the root of the tests' own systems, empty on a host.
kept=$1
shift
LC_ALL=C
export LC_ALL
R=${ZEM_ROOT-}
PATH=$PATH:$R/usr/sbin:$R/sbin:$R/usr/local/bin:$R/usr/local/sbin
system=$(uname -s)

judge() { printf 'judge %s\n' "$*"; } # VALUE UNIT LEAST MOST LABEL
show() { printf 'show %s\n' "$*"; }
text() { printf 'text %s\n' "$*"; }

# One such line outweighs all others; the last it says where it does not stand in a pipe.
unknown() {
  printf 'unknown %s\n' "$*"
  exit 0
}

need() {
  command -v "$1" >/dev/null 2>&1 || unknown "$1 is not installed on the host"
}

readable() {
  [ -e "$1" ] || unknown "${1#"$R"} does not exist"
  [ -r "$1" ] || unknown "${1#"$R"} is not readable for the agent's user"
}

# DEVICE FOLDER TYPE OPTIONS, a line each; blanks in names as \040.
mounts() {
  case $system in
    FreeBSD) mount -p ;;
    *) cat "$R/proc/mounts" ;;
  esac
}
