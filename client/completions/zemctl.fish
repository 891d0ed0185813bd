# SPDX-License-Identifier: BSD-2-Clause
# Completion of zemctl and check_zem for fish.

function __zemctl_hosts
    set -l config $HOME/.config
    set -q XDG_CONFIG_HOME; and set config $XDG_CONFIG_HOME
    test -r $config/zem/hosts.conf
    and string match -r -g '^\s*\[([^\]*?[]*)\]\s*$' <$config/zem/hosts.conf
end

set -l commands info ping disk du count exists hash compare contains grep ls proc procs cpu tcp udp \
    run script exec syslog send settings reload restart quit upgrade raw configcheck scripttest genpass

for program in zemctl check_zem
    complete -c $program -f
    complete -c $program -s h -l help -d 'Print help'
    complete -c $program -s V -l version -d 'Print the version'
    complete -c $program -s H -l host -x -a '(__zemctl_hosts)' -d 'Agents to ask'
    complete -c $program -l hosts -r -F -d 'Ask the agents of a file'
    complete -c $program -s p -l port -x -d 'TCP port'
    complete -c $program -s t -l timeout -x -d 'Seconds for one host, and the state of a time-out'
    complete -c $program -l source -x -d 'Local address to ask from'
    complete -c $program -l parallel -x -d 'Hosts asked at the same time'
    complete -c $program -s o -l output -x -a 'table json raw' -d 'Form of the output'
    complete -c $program -l password-file -r -F -d 'Password in the first line of a file'
    complete -c $program -l agent-config -r -F -d "The agent's own configuration"
    complete -c $program -l hosts-conf -r -F -d 'Per-host ports and passwords'
    complete -c $program -l no-password -d "The agent's password is empty"
    complete -c $program -s v -l verbose -d 'Packet sizes and times'
    complete -c $program -s q -l quiet -d 'Print nothing but errors'
    complete -c $program -l plugin -d 'Behave as check_zem'
    complete -c $program -s w -l warning -x -d 'WARNING range'
    complete -c $program -s c -l critical -x -d 'CRITICAL range'
    complete -c $program -s u -l unknown -d 'Connection trouble is UNKNOWN'

    set -l none "not __fish_seen_subcommand_from $commands"
    complete -c $program -n $none -a info -d 'What the agent is and offers'
    complete -c $program -n $none -a ping -d 'Ask something small and time it'
    complete -c $program -n $none -a disk -d 'Size and free space of a file system'
    complete -c $program -n $none -a du -d 'Size of the files in a folder'
    complete -c $program -n $none -a count -d 'Number of files in a folder'
    complete -c $program -n $none -a exists -d 'Presence, size and age of a file'
    complete -c $program -n $none -a hash -d 'Checksum or digest of a file'
    complete -c $program -n $none -a compare -d 'Whether two files match'
    complete -c $program -n $none -a contains -d 'Whether a file contains another one'
    complete -c $program -n $none -a grep -d 'Whether a file contains a text'
    complete -c $program -n $none -a ls -d 'The entries of a folder'
    complete -c $program -n $none -a proc -d 'How many processes of a name run'
    complete -c $program -n $none -a procs -d 'The names of the processes that run'
    complete -c $program -n $none -a cpu -d 'CPU usage'
    complete -c $program -n $none -a tcp -d 'Whether a TCP service answers'
    complete -c $program -n $none -a udp -d 'Whether a UDP service answers'
    complete -c $program -n $none -a run -d 'Run a program, as a check'
    complete -c $program -n $none -a script -d 'Send a script and run it'
    complete -c $program -n $none -a exec -d 'Run a program, as an action'
    complete -c $program -n $none -a syslog -d 'Let the agent send a syslog message'
    complete -c $program -n $none -a send -d 'Let the agent send texts to a port'
    complete -c $program -n $none -a settings -d "Read and change the agent's settings"
    complete -c $program -n $none -a reload -d 'Read the configuration file again'
    complete -c $program -n $none -a restart -d 'Let the agent execute itself again'
    complete -c $program -n $none -a quit -d 'End the agent'
    complete -c $program -n $none -a upgrade -d "Replace the agent's program"
    complete -c $program -n $none -a raw -d 'Send any command and lines'
    complete -c $program -n $none -a configcheck -d 'What is wrong or risky in a configuration'
    complete -c $program -n $none -a scripttest -d 'Run the administrator scripts'
    complete -c $program -n $none -a genpass -d 'Print a random password'

    # The condition for the options of one or more subcommands.
    set -l of '__fish_seen_subcommand_from'
    complete -c $program -n "$of disk du exists" -l path -x -d 'What to look at'
    complete -c $program -n "$of du count" -s r -l recursive -d 'Include sub-folders'
    complete -c $program -n "$of du count exists compare contains grep" -l macros -d 'Resolve file macros'
    complete -c $program -n "$of count ls" -l folder -x -d 'The folder'
    complete -c $program -n "$of count ls" -l mask -x -d 'Pattern for names'
    complete -c $program -n "$of count" -l older -x -d 'Changed more than minutes ago'
    complete -c $program -n "$of count" -l newer -x -d 'Changed less than minutes ago'
    complete -c $program -n "$of count" -l bigger -x -d 'Above a size'
    complete -c $program -n "$of count" -l smaller -x -d 'Below a size'
    complete -c $program -n "$of count" -l dirs -d 'Count sub-folders'
    complete -c $program -n "$of exists" -l size -x -d 'Wanted size'
    complete -c $program -n "$of hash grep" -l file -x -d 'The file'
    complete -c $program -n "$of hash" -l alg -x -a 'crc32 md5 sha256 sha512' -d Algorithm
    complete -c $program -n "$of hash" -l limit -x -d 'Do not read a larger file'
    complete -c $program -n "$of hash" -l expect -x -d 'Wanted hash'
    complete -c $program -n "$of compare contains" -l first -x -d 'A file'
    complete -c $program -n "$of compare contains" -l second -x -d 'Another file'
    complete -c $program -n "$of compare" -l time -d 'Compare modification times'
    complete -c $program -n "$of compare" -l size -d 'Compare sizes'
    complete -c $program -n "$of compare" -l contents -d 'Compare contents'
    complete -c $program -n "$of compare contains grep" -l invert -d 'Alert when the answer is yes'
    complete -c $program -n "$of grep" -l text -x -d 'What to look for'
    complete -c $program -n "$of grep" -s i -l ignore-case -d 'A and a are the same'
    complete -c $program -n "$of grep" -l word -d 'Whole words alone'
    complete -c $program -n "$of ls" -l dirs -d 'Sub-folders alone'
    complete -c $program -n "$of ls" -l files -d 'Files alone'
    complete -c $program -n "$of ls" -s a -l all -d 'Hidden entries too'
    complete -c $program -n "$of ls" -l system -d 'Devices, sockets and the like too'
    complete -c $program -n "$of ls" -l ctime -d 'Time of the last status change too'
    complete -c $program -n "$of proc scripttest" -l name -x -d 'Process name'
    complete -c $program -n "$of proc" -l unquoted -d 'Send shell characters'
    complete -c $program -n "$of tcp udp send" -l target -x -a '(__fish_print_hostnames)' -d Host
    complete -c $program -n "$of tcp udp send" -l target-port -x -d Port
    complete -c $program -n "$of tcp udp" -l send -x -d 'What to send'
    complete -c $program -n "$of tcp udp send" -s e -l escapes -d 'Backslash escapes in TEXT'
    complete -c $program -n "$of tcp udp" -l receive -x -d 'Bytes to take'
    complete -c $program -n "$of tcp udp run exec script" -l limit -x -d Seconds
    complete -c $program -n "$of tcp udp" -l expect -x -d 'Wanted answer'
    complete -c $program -n "$of udp" -l attempts -x -d 'How often'
    complete -c $program -n "$of run exec" -l cmd -x -d 'Command line'
    complete -c $program -n "$of run exec" -l no-wait -d 'Start it only'
    complete -c $program -n "$of exec" -l dir -x -d 'Working directory'
    complete -c $program -n "$of script" -l lines -x -d 'Lines of output to return'
    complete -c $program -n "$of script" -l template -x -d 'Command line'
    complete -c $program -n "$of syslog" -l server -x -a '(__fish_print_hostnames)' -d 'Syslog server'
    complete -c $program -n "$of syslog" -l message -x -d 'What to log'
    complete -c $program -n "$of syslog" -l server-port -x -d 'UDP port'
    complete -c $program -n "$of syslog" -l facility -x -d Facility \
        -a 'kern user mail daemon auth syslog lpr news uucp cron authpriv ftp local0 local1 local2 local3 local4 local5 local6 local7'
    complete -c $program -n "$of syslog" -l severity -x -d Severity \
        -a 'emerg alert crit err warning notice info debug'
    complete -c $program -n "$of send" -l text -x -d 'What to send'
    complete -c $program -n "$of send" -l second -x -d 'What to send after it'
    complete -c $program -n "$of send" -l udp -d 'UDP instead of TCP'
    complete -c $program -n "$of send" -l pause -x -d 'Seconds between the two'
    complete -c $program -n "$of settings; and not $of get set" -a get -d 'The settings'
    complete -c $program -n "$of settings; and not $of get set" -a set -d 'Change settings'
    complete -c $program -n "$of settings; and $of get" -l show-password -d 'Do not mask the password'
    complete -c $program -n "$of settings; and $of set" -l new-password-file -r -F -d 'Set the password'
    complete -c $program -n "$of settings; and $of set" -a 'Port= Timeout= Comment= LogOkConn= LogBadConn= OkLogFile= BadLogFile= IPFiltering= IPFilterAddr= IPFilterMarks= AllowUpdates= AllowRManage= UpdateAddr= ManageAddr= ping= tcp= udp= unc= freespace= foldersize= countfiles= fileexists= comparefiles= textlog= filecrc= process= cpuusage= script= external= executeaction= tcpudpaction= syslogaction='
    complete -c $program -n "$of restart upgrade" -l wait -d 'Until the agent answers again'
    complete -c $program -n "$of upgrade" -l force -d 'Send any file'
    complete -c $program -n "$of script upgrade configcheck scripttest" -l file -r -F -d 'The file'
    complete -c $program -n "$of script upgrade configcheck scripttest" -F
    complete -c $program -n "$of raw" -l command -x -d 'Command word'
    complete -c $program -n "$of raw" -s e -l escape -d 'Send line breaks escaped'
    complete -c $program -n "$of raw" -l no-end-mark -d 'Leave the end mark out'
    complete -c $program -n "$of configcheck" -l strict -d 'Exit with 1 at warnings'
end
