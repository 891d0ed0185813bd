#!/bin/sh
# SPDX-License-Identifier: BSD-2-Clause
#
# Tests the agent's scripts as the agent calls them: agent_scripts_test.sh FOLDER-OF-THE-SCRIPTS
#
# The scripts set their own PATH and take nothing from the environment, and tests are no reason to
# change that. So each case runs a copy in which only the first line (the shell), the PATH line
# (a folder of stand-ins goes first) and, for made-up process tables, "/proc" differ; the scripts as
# they are run once with the system's own shell and tools. Every shell and every awk is used.

unset IFS COLUMNS ENV BASH_ENV
LC_ALL=C
export LC_ALL
case ${1-} in
'') echo "usage: $0 FOLDER" >&2; exit 2 ;;
esac
scripts=$(cd "$1" && pwd) || exit 2
work=$(mktemp -d "${TMPDIR:-/tmp}/agent_scripts.XXXXXX") || exit 2
passed=0 failed=0 started=''
# Six characters that set this run's processes apart from those of another run.
z=$(printf 'z%05d' $(($$ % 100000)))

finish() {
  # shellcheck disable=SC2086 # a list of process ids
  [ -z "$started" ] || { kill -9 $started; wait $started; } 2>/dev/null
  rm -rf "$work"
}
trap finish EXIT
trap 'exit 1' HUP INT TERM

# check CASE EXPECTED GOT
check() {
  if [ "$2" = "$3" ]; then
    passed=$((passed + 1))
    echo "ok   $1"
  else
    failed=$((failed + 1))
    echo "FAIL $1: expected '$2', got '$3'"
  fi
}

skip() { echo "skip $1"; }
found() { command -v "$1" >/dev/null 2>&1; }

# stand_in FILE: a program made of standard input
stand_in() {
  { echo '#!/bin/sh'; cat; } >"$1" && chmod 755 "$1"
}

# copy_scripts FOLDER SHELL-LINE BIN-FOLDER [PROC-FOLDER]: a BIN-FOLDER with a final ":" is the
# whole PATH
copy_scripts() {
  mkdir -p "$1"
  case $3 in
  *:) path=${3%:} ;;
  *) path=$3:/bin:/usr/bin:/sbin:/usr/sbin ;;
  esac
  for script in zem-proccount zem-proclist zem-cpuusage; do
    sed -e "1s,.*,#!$2," -e "s,^PATH=[^ ]*,PATH=$path," "$scripts/$script" >"$1/$script"
    [ "$(grep -c -F "PATH=$path" "$1/$script")" -eq 1 ] || check "PATH in copy of $script" 1 other
    if [ -n "${4-}" ]; then
      sed "s,\([ <\"]\)/proc/,\1$4/," "$1/$script" >"$1/edited"
      mv "$1/edited" "$1/$script"
    fi
    chmod 755 "$1/$script"
  done
}

# As the agent: the name unquoted in a shell command, three descriptors opened on one file.
count() {
  sh -c "$1/zem-proccount $2 1>$work/result 2>$work/result 3>$work/result"
  cat "$work/result"
}
# The same with a shell that stays in the process table next to the script.
count_under_shell() {
  sh -c "$1/zem-proccount $2 1>$work/result 2>$work/result 3>$work/result; :"
  cat "$work/result"
}
list() {
  sh -c "$1/zem-proclist 1>$work/result 2>$work/result 3>$work/result"
}
listed() { grep -c -x -F -e "$1" "$work/result"; }
usage() {
  : >"$work/result"
  "$1/zem-cpuusage" <>"$work/result" >&0 2>&0
  cat "$work/result"
}
is_percentage() {
  expr "x$1" : 'x[0-9]\{1,2\}\.[0-9]$' \| "x$1" : 'x100\.0$' >/dev/null
}

# ---- the processes to count -------------------------------------------------------------------

run() { # FILE [ARGUMENT]: copies sleep to FILE and runs it
  [ -f "$work/p/$1" ] || cp "$(command -v sleep)" "$work/p/$1"
  "$work/p/$1" "${2:-900}" &
  started="$started $!"
}

start_processes() {
  mkdir "$work/p"
  run "$z-a-very-long-process-name"
  run "$z-a-very-long-process-cousin"
  run "$z-a-very-long-process-cousin"
  run "$z-a-very-"  # fourteen bytes
  run "$z-a-very-l" # fifteen: where Linux cuts
  run "$z-three"; run "$z-three"; run "$z-three"
  run "$z a  blank"
  run "$z-odd\$[x]*(1)"
  run "$z-\"quote"
  run "$z-line
feed"
  run "$z-gr\\303\\266"
  run ") S 1 $z"
  # The shell that would reap its child becomes a program that does not.
  cp "$(command -v sleep)" "$work/p/$z-zombie"
  sh -c '"$1" 0.2 & exec sleep 900' sh "$work/p/$z-zombie" &
  started="$started $!"
  mkfifo "$work/never"
  for script in "$z-script.sh" "$z-script-with-a-long-name.sh"; do
    # shellcheck disable=SC2016 # for the script to expand, as below
    printf '#!/bin/sh\nread -r line <"$1"\n' >"$work/p/$script"
    chmod 755 "$work/p/$script"
    "$work/p/$script" "$work/never" &
    started="$started $!"
  done
  # shellcheck disable=SC2016
  printf 'read -r line <"$1"\n' >"$work/p/$z-by-shell.sh"
  sh "$work/p/$z-by-shell.sh" "$work/never" &
  started="$started $!"
  if found bash; then
    bash -c 'exec -a "renamed: at work" "$1" 900' bash "$work/p/$z-three" &
    started="$started $!"
    cp "$work/p/$z-three" "$work/p/$z-hidden-behind-a-title"
    bash -c 'exec -a other "$1" 900' bash "$work/p/$z-hidden-behind-a-title" &
    started="$started $!"
  fi
  sleep 0.5
}

# real_processes LABEL FOLDER
real_processes() {
  c=$2 extra=0
  found bash && extra=1
  check "$1: three instances, one of more under another title" $((3 + extra)) \
    "$(count "$c" "$z-three")"
  check "$1: a name that does not exist" 0 "$(count "$c" "$z-no-such-process")"
  check "$1: long name" 1 "$(count "$c" "$z-a-very-long-process-name" | tr -d '\n')"
  check "$1: its cousin" 2 "$(count "$c" "$z-a-very-long-process-cousin")"
  check "$1: long name under a foreign title" $extra "$(count "$c" "$z-hidden-behind-a-title")"
  check "$1: name just below the cut" 1 "$(count "$c" "$z-a-very-")"
  check "$1: name as long as the cut" 1 "$(count "$c" "$z-a-very-l")"
  check "$1: beginning of a name" 0 "$(count "$c" "$z-a-v")"
  check "$1: name with blanks" 1 "$(count "$c" "$z a  blank")"
  check "$1: file with its path" 3 "$(($(count "$c" "$work/p/$z-three")))"
  check "$1: zombie" 0 "$(count "$c" "$z-zombie")"
  check "$1: shell script" 1 "$(count "$c" "$z-script.sh")"
  check "$1: shell script, long name" 1 "$(count "$c" "$z-script-with-a-long-name.sh")"
  check "$1: script given to a shell, by name" 0 "$(count "$c" "$z-by-shell.sh")"
  check "$1: script given to a shell, by path" 1 "$(count "$c" "$work/p/$z-by-shell.sh")"
  check "$1: odd characters" 1 "$(count "$c" "'$z-odd\$[x]*(1)'")"
  check "$1: quote" 1 "$(count "$c" "'$z-\"quote'")"
  check "$1: line feed" 1 "$(count "$c" "'$z-line feed'")"
  check "$1: backslashes" 1 "$(count "$c" "'$z-gr\\303\\266'")"
  check "$1: parenthesis" 1 "$(count "$c" "') S 1 $z'")"
  check "$1: only blanks" '' "$(count "$c" "' '")"
  check "$1: no name" '' "$(count "$c" '')"

  # Nothing of the asking itself, however many ask.
  check "$1: itself, path" 0 "$(count_under_shell "$c" "/no/such/$z")"
  check "$1: itself, words" 0 "$(count_under_shell "$c" 'no such words')"
  mkdir -p "$work/renamed"
  cp "$c/zem-proccount" "$work/renamed/count-mine"
  sh -c "$work/renamed/count-mine /no/such/$z 1>$work/result 2>&1; :"
  check "$1: itself, renamed" 0 "$(cat "$work/result")"
  check "$1: itself, script" 0 "$(count_under_shell "$c" zem-proccount)"
  pids=
  for i in 1 2 3 4 5 6; do
    sh -c "$c/zem-proccount /no/such/$z 1>$work/sum$i 2>&1; :" &
    pids="$pids $!"
  done
  # shellcheck disable=SC2086
  wait $pids
  check "$1: itself, six at once" '0 0 0 0 0 0 ' "$(cat "$work"/sum? | tr '\n' ' ')"

  list "$c"
  check "$1: list ends without a line feed" 0 "$(tail -c 1 "$work/result" | wc -l | tr -d ' ')"
  check "$1: list is sorted, each name once" '' "$(LC_ALL=C sort -u -c "$work/result" 2>&1)"
  for name in "$z-three" "$z-a-very-long-process-name" "$z-a-very-long-process-cousin" \
    "$z-a-very-l" "$z a blank" "$z-line feed" "$z-odd\$[x]*(1)" ") S 1 $z" \
    "$z-script-with-a-long-name.sh"; do
    check "$1: list has $name" 1 "$(listed "$name")"
  done
  for name in "$z-zombie" feed zem-proclist zem-proccount; do
    check "$1: list lacks $name" 0 "$(listed "$name")"
  done
}

# Every name of the list counts. A process may end in between: then the next list lacks it too.
list_and_count_agree() {
  list "$2"
  cp "$work/result" "$work/names"
  echo >>"$work/names"
  missing='' names=0
  while IFS= read -r name; do
    names=$((names + 1))
    n=$("$2/zem-proccount" "$name")
    [ "${n:-0}" -ge 1 ] && continue
    list "$2"
    [ "$(listed "$name")" -eq 0 ] || missing="$missing|$name"
  done <"$work/names"
  check "$1: every one of more than ten listed names counts" 'yes' \
    "$([ $names -gt 10 ] && [ -z "$missing" ] && echo yes || echo "$names $missing")"
}

# ---- a made-up Linux process table ------------------------------------------------------------

fake() { # PID STATE PARENT THREADS NAME ARGUMENTS-AS-PRINTF-FORMAT
  mkdir -p "$table/$1"
  rest='1 1 0 -1 4194560 10 20 0 0 1 2 3 4 20 0'
  printf '%s (%s) %s %s %s %s 0 41754624 30\n' "$1" "$5" "$2" "$3" "$rest" "$4" >"$table/$1/stat"
  # shellcheck disable=SC2059 # zero bytes
  printf "$6" >"$table/$1/cmdline"
}

make_table() {
  table=$work/table
  mkdir "$table"
  echo 'Linux version 6.1.0 (x@y) (gcc (Made up) 12) #1 SMP' >"$table/version"
  fake 1 S 0 1 init '/sbin/init\0'
  fake 2 S 0 1 kthreadd ''
  fake 9000003 I 2 1 kworker/0:1H-events_highpri ''
  fake 9000004 I 2 1 kworker/0:12-mm_percpu_wq ''
  fake 9000005 I 2 1 kworker/R-rcu_gp ''
  fake 9000006 S 2 1 kthread-15-long ''
  fake 9000010 S 1 1 nginx 'nginx: master process /usr/sbin/nginx\0\0\0\0\0\0'
  # The title grew over the end of its room: the arguments end without a zero byte, in a digit.
  fake 9000011 S 1 1 nginx 'nginx: worker 5'
  fake 9000012 R 1 1 a-long-name-of- 'a-long-name-of-a-daemon: at /var/run/x.sock\0'
  fake 9000013 S 1 1 unattended-upgr \
    '/usr/bin/python3\0/usr/share/unattended-upgrade-shutdown\0--w\0'
  fake 9000014 S 1 1 wiped-arguments ''
  fake 9000020 Z 1 0 gone ''
  fake 9000021 Z 1 4 half-gone ''
  fake 9000022 X 1 1 gone ''
  fake 9000023 T 1 1 stopped 'stopped\0'
  # Text that looks like a table, in arguments and in a name.
  fake 9000030 S 1 1 sh "sh\0-c\0echo\n9000031 (ghost) S 1 1 1 0 -1 4 5 6 7 8\necho\0"
  fake 9000032 S 1 1 'a) R 1 (b' 'x\0'
  fake 9000033 S 1 1 "two
lines" 'two\0'
  fake 9000034 S 1 1 "$(printf 'gr\303\266\303\237e\033')" 'x\0'
  fake 9000035 S 1 1 '' 'x\0'
  # Another request at work: its shell, its script, what that started.
  fake 9000040 S 1 1 sh 'sh\0-c\0/x/zem-proccount ghost 1 1>f 2>f 3>f\0'
  fake 9000041 S 9000040 1 zem-proccount '/bin/sh\0/x/zem-proccount\0ghost\0001\0'
  fake 9000042 R 9000041 1 awk 'awk\0'
  fake 9000043 R 1 1 timeout 'timeout\0-s\0KILL\0005\0cat\0/proc/version\0/proc/1/stat\0'
  fake 9000044 R 9000040 1 late-daemon 'late-daemon\0'
  fake 9000046 R 1 1 zem-proccount '' # about to start, its arguments not yet in place
  fake 9000045 R 1 1 vi 'vi\0/x/zem-proccount\0'
  # A process that ended while the table was read.
  mkdir "$table/9000050"
  i=0
  while [ $i -lt 250 ]; do # more than one portion of files
    i=$((i + 1))
    fake $((9001000 + i)) S 1 1 many 'many\0--flag\0'
  done
}

made_up_linux() { # LABEL FOLDER
  c=$2
  for row in '2 nginx' '1 nginx: worker 5' '2 nginx:' '1 a-long-name-of-a-daemon' \
    '0 a-long-name-of-' '0 a-long-name-of-another' '1 unattended-upgrade-shutdown' \
    '1 wiped-arguments' '1 wiped-arguments-of-a-daemon' '0 kthread-15-long-tail' \
    '1 kthreadd' "1 '[kthreadd]'" '1 kworker/0:1H' '1 kworker/0:1H-events_highpri' \
    '0 kworker/0:1' '1 kworker/R-rcu_gp' '0 gone' '1 half-gone' '1 stopped' '0 ghost' \
    '1 sh' "1 'a) R 1 (b'" '1 two lines' '0 lines' '0 x' '0 ghost 1' '0 awk' '0 timeout' \
    '0 zem-proccount' '1 late-daemon' '1 vi' '250 many' '250 many --flag'; do
    name=${row#* }
    # Names with a lone colon would be plain text only with a blank behind.
    [ "$name" = nginx: ] && name="'nginx: '" && row="0 $name"
    check "$1: $name" "${row%% *}" "$(count "$c" "$name")"
  done
  list "$c"
  check "$1: list" "$(printf '%s\n' 'a) R 1 (b' a-long-name-of-a-daemon half-gone init \
    kthread-15-long kthreadd kworker/0:12 kworker/0:1H kworker/R-rcu_gp late-daemon many nginx \
    "$(printf 'gr\303\266\303\237e?')" sh stopped 'two lines' unattended-upgrade-shutdown vi \
    wiped-arguments | LC_ALL=C sort)" "$(cat "$work/result")"
}

# What cannot be read whole is not answered.
hidden_processes() {
  mv "$table/1" "$table/hidden"
  check 'hidden processes: no count' '' "$(count "$1" nginx)"
  list "$1"
  check 'hidden processes: no list' 0 "$(wc -c <"$work/result" | tr -d ' ')"
  mv "$table/hidden" "$table/1"
  check 'hidden processes: visible again' 2 "$(count "$1" nginx)"
}

missing_tools() {
  mkdir "$work/few"
  for tool in cat xargs tr awk sort uname; do
    ln -s "$(command -v $tool)" "$work/few/$tool"
  done
  copy_scripts "$work/few-scripts" /bin/sh "$work/few:" "$table"
  check 'without ps and timeout: count' 2 "$(count "$work/few-scripts" nginx)"
  for tool in cat xargs tr awk uname; do
    mv "$work/few/$tool" "$work/few-$tool"
    check "without $tool: no count" '' "$(count "$work/few-scripts" nginx)"
    mv "$work/few-$tool" "$work/few/$tool"
  done
  rm "$work/few/sort"
  list "$work/few-scripts"
  check 'without sort: no list' 0 "$(wc -c <"$work/result" | tr -d ' ')"
}

stuck_process() { # LABEL FOLDER PID
  fake "$3" D 1 1 stuck ''
  rm "$table/$3/cmdline"
  mkfifo "$table/$3/cmdline"
  before=$(date +%s)
  check "$1: a process that cannot be read, no count" '' "$(count "$2" nginx)"
  took=$(($(date +%s) - before))
  check "$1: a process that cannot be read, in time" yes \
    "$([ $took -ge 4 ] && [ $took -le 20 ] && echo yes || echo "$took s")"
  rm -r "${table:?}/$3"
}

# A portion of the table that cannot be read at all, say because no process could be started.
lost_portion() { # LABEL FOLDER, whose PATH begins with the folder "plain"
  stand_in "$work/plain/timeout" <<'STUB'
case "$*" in *' true' | */table/1/stat*) shift 3; exec "$@" ;; esac
exit 125
STUB
  check "$1: a portion that cannot be read, no count" '' "$(count "$2" nginx)"
  rm "$work/plain/timeout"
}

# ---- a made-up FreeBSD ------------------------------------------------------------------------

make_freebsd() {
  bsd=$work/freebsd
  mkdir "$bsd"
  echo 'echo FreeBSD' | stand_in "$bsd/uname"
  echo "cat '$bsd/user'" | stand_in "$bsd/id"
  echo "echo \$* >>'$bsd/slept'" | stand_in "$bsd/sleep"
  stand_in "$bsd/sysctl" <<'STUB'
[ "$1" = -n ] && [ $# -eq 2 ] || exit 1
file=${0%/*}/$2
[ -f "$file" ] || { echo "sysctl: unknown oid '$2'" >&2; exit 1; }
head -n 1 "$file"
if [ "$2" = kern.cp_time ]; then sed 1d "$file" >"$file.next" && mv "$file.next" "$file"; fi
STUB
  stand_in "$bsd/ps" <<'STUB'
case "$*" in
*" $(cat "${0%/*}/broken")="*) sed 5q "${0%/*}/names"; exit 1 ;;
'-axww -o pid= -o ppid= -o stat= -o jid= -o comm=') cat "${0%/*}/names" ;;
'-axww -o pid= -o args=') cat "${0%/*}/arguments" ;;
*) exit 1 ;;
esac
STUB
  echo nothing >"$bsd/broken"
  echo 1001 >"$bsd/user"
  echo 0 >"$bsd/security.jail.jailed"
  echo 1 >"$bsd/security.bsd.see_other_uids"
  echo 1 >"$bsd/security.bsd.see_other_gids"
  cat >"$bsd/names" <<'TABLE'
    0     0 DLs    0 kernel
    1     0 ILs    0 init
   15     0 DL     0 rand_harvestq
  671     1 Is     0 syslogd
  812     1 Ss     0 nginx
  813   812 S      0 nginx
  900     1 Is     0 a-name-of-nineteen-
  901     1 Is     0 a-name-of-nineteen-
  902     1 I      0 a-name-of-15-ch
  903     1 I      0 two words
  904   902 Z      0 nginx
  905     1 I      0 another-cut-process
 2101     1 SsJ    3 nginx
 2102  2101 IJ     3 jailed-only
 3000     1 I      0 gone-meanwhile
TABLE
  cat >"$bsd/arguments" <<'TABLE'
    0 [kernel]
    1 /sbin/init
   15 [rand_harvestq]
  671 /usr/sbin/syslogd -s
  812 nginx: master process /usr/local/sbin/nginx (nginx)
  813 nginx: worker process (nginx)
  900 /usr/local/bin/a-name-of-nineteen-and-more --flag
  901 a-name-of-nineteen-and-less: idle
  902 a-name-of-15-characters-not
  903 /usr/local/bin/two words
  904 <defunct>
  905 /bin/sh /usr/local/bin/another-cut-process.sh start
 2101 nginx: master process /usr/local/sbin/nginx (nginx)
 2102 jailed-only
TABLE
}

made_up_freebsd() { # LABEL FOLDER
  c=$2
  for row in '2 nginx' '1 nginx: worker' '1 /usr/local/sbin/nginx' '0 jailed-only' \
    '1 a-name-of-nineteen-and-more' '1 a-name-of-nineteen-and-less' '0 a-name-of-nineteen-' \
    '1 a-name-of-15-ch' '0 a-name-of-15-characters-not' '1 two words' \
    '1 another-cut-process.sh' "1 '[kernel]'" '1 kernel' '0 gone-meanwhile' '0 words'; do
    check "$1: ${row#* }" "${row%% *}" "$(count "$c" "${row#* }")"
  done
  list "$c"
  check "$1: list" "$(printf '%s\n' a-name-of-15-ch a-name-of-nineteen-and-less \
    a-name-of-nineteen-and-more another-cut-process.sh init kernel nginx rand_harvestq syslogd \
    'two words')" "$(cat "$work/result")"
}

freebsd_surroundings() { # FOLDER
  echo 1 >"$bsd/security.jail.jailed"
  check 'FreeBSD, in a jail: all it sees' 3 "$(count "$1" nginx)"
  rm "$bsd/security.jail.jailed"
  check 'FreeBSD, jail unknown: no count' '' "$(count "$1" nginx)"
  echo 0 >"$bsd/security.jail.jailed"
  for oid in see_other_uids see_other_gids; do
    echo 0 >"$bsd/security.bsd.$oid"
    check "FreeBSD, $oid=0: no count" '' "$(count "$1" nginx)"
    echo 0 >"$bsd/user"
    check "FreeBSD, $oid=0, root: count" 2 "$(count "$1" nginx)"
    echo 1001 >"$bsd/user"
    echo 1 >"$bsd/security.bsd.$oid"
  done
  for table_of_ps in comm args; do
    echo $table_of_ps >"$bsd/broken"
    check "FreeBSD, ps fails at $table_of_ps: no count" '' "$(count "$1" nginx)"
  done
  echo nothing >"$bsd/broken"
}

# ---- processor usage --------------------------------------------------------------------------

freebsd_usage() { # LABEL FOLDER
  for row in '50.0:100 0 0 0 100:150 10 20 20 200' '12.5:0 0 0 0 0:10 5 5 5 175' \
    '100.0:1 1 1 1 900:2 1 1 1 900' ':5 5 5 5 5:5 5 5 5 5' ':9 9 9 9 9:1 1 1 1 1' \
    ':1 2 3 4:2 3 4 5' ':a b c d e:2 3 4 5 6'; do
    expected=${row%%:*} row=${row#*:}
    printf '%s\n%s\n' "${row%%:*}" "${row#*:}" >"$bsd/kern.cp_time"
    : >"$bsd/slept"
    check "$1: $row" "$expected" "$(usage "$2")"
    [ -z "$expected" ] || check "$1: waited a second" 1 "$(cat "$bsd/slept")"
  done
}

made_up_linux_usage() { # LABEL SHELL
  mkdir -p "$work/usage/bin"
  echo 'echo Linux' | stand_in "$work/usage/bin/uname"
  # The second reading is put in place while the script sleeps.
  echo "mv '$work/usage/later' '$work/usage/stat'" | stand_in "$work/usage/bin/sleep"
  copy_scripts "$work/usage/scripts" "$2" "$work/usage/bin" "$work/usage"
  # user nice system idle iowait irq softirq steal guest guest_nice; the last rows: guests are in
  # user already, old kernels have fewer fields, the counters step back
  for row in '12.5:cpu  10 0 0 100 0 0 0 0 0 0:cpu  20 5 5 240 35 5 0 0 0 0' \
    '75.0:cpu  0 0 0 0 0 0 0 0 0 0:cpu  10 10 10 15 10 10 15 20 0 0' \
    '0.1:cpu  0 0 0 0 0 0 0 0 0 0:cpu  1 0 0 1999 0 0 0 0 0 0' \
    '50.0:cpu  0 0 0 0 0 0 0 0 0 0:cpu  50 0 0 50 0 0 0 0 50 0' \
    '20.0:cpu  0 0 0 0:cpu  10 5 5 80' \
    '100.0:cpu  0 0 0 100 50 0 0 0:cpu  100 0 0 100 40 0 0 0' \
    '0.0:cpu  90 0 0 100 0 0 0 0:cpu  80 0 0 200 0 0 0 0' \
    '33.3:cpu  6000000000 0 0 9000000000000 0 0 0 0:cpu  6000000001 0 0 9000000000002 0 0 0 0' \
    ':cpu  1 2 3 4 5 6 7 8:cpu  1 2 3 4 5 6 7 8' ':cpu  9 9 9 9:cpu  1 1 1 1' \
    ':intr 1 2 3 4:intr 2 3 4 5' ':cpu  1 x 3 4:cpu  2 3 4 5' '::'; do
    expected=${row%%:*} row=${row#*:}
    echo "${row%%:*}" >"$work/usage/stat"
    echo "${row#*:}" >"$work/usage/later"
    check "$1: $row" "$expected" "$(usage "$work/usage/scripts")"
  done
}

# Others may load the machine too: three tries, and no comparison where it has nothing left to load.
real_usage() { # LABEL FOLDER
  # shellcheck disable=SC2034
  for try in 1 2 3; do
    idle=$(usage "$2")
    burners=
    for i in $(seq "$(getconf _NPROCESSORS_ONLN)"); do
      sh -c 'while :; do :; done' &
      burners="$burners $!"
    done
    busy=$(usage "$2")
    # shellcheck disable=SC2086
    kill -9 $burners
    # shellcheck disable=SC2086
    wait $burners 2>/dev/null
    { is_percentage "$idle" && is_percentage "$busy"; } || break
    [ "${busy%.*}" -ge 90 ] && [ "${idle%.*}" -lt "${busy%.*}" ] && break
    [ "${busy%.*}" -gt $((${idle%.*} + 5)) ] && break
    sleep 2
  done
  check "$1: two percentages" yes \
    "$(is_percentage "$idle" && is_percentage "$busy" && echo yes || echo "'$idle' '$busy'")"
  if is_percentage "$idle" && [ "${idle%.*}" -ge 95 ]; then
    skip "$1: more under load than without: this machine is at $idle already"
  else
    check "$1: more under load than without" yes \
      "$([ "${busy%.*}" -gt "${idle%.*}" ] && echo yes || echo "$idle $busy")"
  fi
}

# ---- all of it --------------------------------------------------------------------------------

for script in zem-proccount zem-proclist zem-cpuusage; do
  check "$script is a file that can be run" yes \
    "$([ -f "$scripts/$script" ] && [ -x "$scripts/$script" ] && echo yes)"
  if found shellcheck; then
    check "$script: shellcheck" '' "$(shellcheck -s sh "$scripts/$script" 2>&1)"
  fi
done

start_processes
make_table
make_freebsd

check 'no arguments: no count' '' "$("$scripts/zem-proccount" 2>&1)"
real_processes 'as installed' "$scripts"
list_and_count_agree 'as installed' "$scripts"
real_usage 'usage' "$scripts"

# A caller whose numbers have commas, and whose other variables would disturb.
if found localedef && localedef -i de_DE -f UTF-8 "$work/de_DE.UTF-8" >/dev/null 2>&1 &&
  [ "$(LOCPATH=$work LC_ALL=de_DE.UTF-8 env printf %.1f 1,5 2>/dev/null)" = 1,5 ]; then
  LOCPATH=$work LC_ALL=de_DE.UTF-8
  export LOCPATH LC_ALL
  is_percentage "$(usage "$scripts")"
  check 'comma locale: usage' 0 $?
  check 'comma locale: count' 1 "$(count "$scripts" "$z-a-very-long-process-name")"
  unset LOCPATH
  LC_ALL=C
else
  skip 'comma locale: none can be made here'
fi
IFS=12 COLUMNS=20 PATH_BEFORE=$PATH
PATH=/nowhere:$PATH
export IFS COLUMNS
check 'disturbing environment' 1 "$(count "$scripts" "$z a blank")"
unset IFS COLUMNS
PATH=$PATH_BEFORE

# with_tools SHELL AWK: all process cases with this shell and this awk
with_tools() {
  label="$1, $2" set=$work/set
  rm -rf "$set"
  mkdir -p "$set/real" "$set/linux" "$set/freebsd"
  cp "$bsd"/* "$set/freebsd"
  echo 'echo Linux' | stand_in "$set/linux/uname"
  for bin in "$set/real" "$set/linux" "$set/freebsd"; do
    echo "exec $(command -v "${2%% *}") ${2#"${2%% *}"} \"\$@\"" | stand_in "$bin/awk"
    [ "$1, $2" = 'busybox sh, busybox awk' ] || continue
    label='BusyBox alone'
    for tool in cat xargs tr sort timeout; do
      echo "exec busybox $tool \"\$@\"" | stand_in "$bin/$tool"
    done
  done
  line=$(command -v "${1%% *}")${1#"${1%% *}"}
  copy_scripts "$set/a" "$line" "$set/real"
  copy_scripts "$set/b" "$line" "$set/linux" "$table"
  copy_scripts "$set/c" "$line" "$set/freebsd"
  real_processes "$label" "$set/a"
  made_up_linux "made-up Linux, $label" "$set/b"
  made_up_freebsd "made-up FreeBSD, $label" "$set/c"
  if [ "$label" = 'BusyBox alone' ]; then stuck_process "$label" "$set/b" 9000024; fi
}

for awk in mawk gawk 'gawk --posix' original-awk 'busybox awk'; do
  if found "${awk%% *}"; then with_tools sh "$awk"; else skip "no $awk"; fi
done
for shell in dash 'bash --posix' 'busybox sh' mksh yash; do
  found "${shell%% *}" || { skip "no $shell"; continue; }
  line=$(command -v "${shell%% *}")${shell#"${shell%% *}"}
  made_up_linux_usage "usage, $shell" "$line"
  copy_scripts "$work/freebsd-usage" "$line" "$bsd"
  freebsd_usage "usage of FreeBSD, $shell" "$work/freebsd-usage"
  case $shell in
  busybox*) with_tools "$shell" 'busybox awk' ;;
  *) [ "$(readlink -f /bin/sh)" = "$(readlink -f "$line")" ] || with_tools "$shell" awk ;;
  esac
done

mkdir "$work/plain"
echo 'echo Linux' | stand_in "$work/plain/uname"
copy_scripts "$work/plain-scripts" /bin/sh "$work/plain" "$table"
copy_scripts "$work/freebsd-scripts" /bin/sh "$bsd"
hidden_processes "$work/plain-scripts"
missing_tools
stuck_process 'own tools, the last one' "$work/plain-scripts" 9999999
lost_portion 'own tools' "$work/plain-scripts"
freebsd_surroundings "$work/freebsd-scripts"

echo "$passed passed, $failed failed"
[ $failed -eq 0 ]
