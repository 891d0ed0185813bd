# SPDX-License-Identifier: BSD-2-Clause
# Completion of zemctl and check_zem for bash.

_zemctl() {
	local cur prev words cword
	if declare -F _init_completion >/dev/null; then
		_init_completion -n : || return
	else
		cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]}
		words=("${COMP_WORDS[@]}") cword=$COMP_CWORD
	fi

	local global='-h --help -H --host --hosts -p --port -t --timeout --source --parallel
		-o --output --password-file --agent-config --hosts-conf --no-password -v --verbose
		-q --quiet --plugin -w --warning -c --critical -u --unknown -V --version'
	local commands='info ping disk du count exists hash compare contains grep ls proc procs cpu
		tcp udp run script exec syslog send settings reload restart quit upgrade raw
		configcheck scripttest genpass'

	# Values of the options that take one.
	case $prev in
	--hosts | --password-file | --agent-config | --hosts-conf | --new-password-file)
		COMPREPLY=($(compgen -f -- "$cur"))
		compopt -o filenames 2>/dev/null
		return
		;;
	-H | --host)
		COMPREPLY=($(compgen -W "$(_zemctl_hosts)" -- "$cur"))
		return
		;;
	-o | --output)
		COMPREPLY=($(compgen -W 'table json raw' -- "$cur"))
		return
		;;
	--alg)
		COMPREPLY=($(compgen -W 'crc32 md5 sha256 sha512' -- "$cur"))
		return
		;;
	--facility)
		COMPREPLY=($(compgen -W 'kern user mail daemon auth syslog lpr news uucp cron authpriv
			ftp local0 local1 local2 local3 local4 local5 local6 local7' -- "$cur"))
		return
		;;
	--severity)
		COMPREPLY=($(compgen -W 'emerg alert crit err warning notice info debug' -- "$cur"))
		return
		;;
	-p | --port | -t | --timeout | --source | --parallel | -w | --warning | -c | --critical | \
		--older | --newer | --bigger | --smaller | --size | --limit | --expect | --send | \
		--receive | --attempts | --lines | --template | --dir | --server-port | --pause | \
		--name | --cmd | --path | --folder | --mask | --file | --first | --second | --text | \
		--target | --target-port | --server | --message | --command)
		return
		;;
	esac

	# The subcommand, behind the global options and their values.
	local i command='' rest=''
	for ((i = 1; i < cword; i++)); do
		case ${words[i]} in
		-H | --host | --hosts | -p | --port | -t | --timeout | --source | --parallel | -o | \
			--output | --password-file | --agent-config | --hosts-conf | -w | --warning | \
			-c | --critical)
			((i++))
			;;
		-*) ;;
		*)
			if [[ -z $command ]]; then
				command=${words[i]}
			elif [[ -z $rest ]]; then
				rest=${words[i]}
			fi
			;;
		esac
	done

	local options=''
	case $command in
	'')
		[[ $cur == -* ]] || global=''
		COMPREPLY=($(compgen -W "$global $commands" -- "$cur"))
		return
		;;
	disk) options='--path' ;;
	du) options='--path -r --recursive --macros' ;;
	count) options='--folder --mask -r --recursive --older --newer --bigger --smaller --dirs
		--macros' ;;
	exists) options='--path --macros --size' ;;
	hash) options='--file --alg --limit --expect' ;;
	compare) options='--first --second --time --size --contents --macros --invert' ;;
	contains) options='--first --second --macros --invert' ;;
	grep) options='--file --text -i --ignore-case --word --macros --invert' ;;
	ls) options='--folder --mask --dirs --files -a --all --system --ctime' ;;
	proc) options='--name --unquoted' ;;
	tcp) options='--target --target-port --send -e --escapes --receive --limit --expect' ;;
	udp) options='--target --target-port --send -e --escapes --attempts --receive --limit
		--expect' ;;
	run) options='--cmd --limit --no-wait' ;;
	exec) options='--cmd --dir --limit --no-wait' ;;
	script) options='--file --lines --limit --template' ;;
	syslog) options='--server --message --server-port --facility --severity' ;;
	send) options='--target --target-port --text --second --udp --pause -e --escapes' ;;
	settings)
		case $rest in
		'') options='get set' ;;
		get) options='--show-password' ;;
		set)
			options='--new-password-file'
			if [[ $cur != -* ]]; then
				compopt -o nospace 2>/dev/null
				COMPREPLY=($(compgen -S = -W "$(_zemctl_settings)" -- "$cur"))
				return
			fi
			;;
		esac
		;;
	restart) options='--wait' ;;
	upgrade) options='--file --wait --force' ;;
	raw) options='--command -e --escape --no-end-mark' ;;
	configcheck) options='--file --strict' ;;
	scripttest) options='--file --name' ;;
	esac

	if [[ $cur == -* || $command == settings ]]; then
		[[ $cur == -* ]] || global=''
		COMPREPLY=($(compgen -W "$options $global" -- "$cur"))
		return
	fi
	# Files of this machine, where the subcommand takes one.
	case $command in
	script | upgrade | configcheck | scripttest)
		COMPREPLY=($(compgen -f -- "$cur"))
		compopt -o filenames 2>/dev/null
		;;
	esac
}

# The sections of the person's own list of hosts that are no patterns.
_zemctl_hosts() {
	local conf=${XDG_CONFIG_HOME:-$HOME/.config}/zem/hosts.conf
	[[ -r $conf ]] && sed -n 's/^[[:blank:]]*\[\([^]*?[]*\)\][[:blank:]]*$/\1/p' "$conf"
}

_zemctl_settings() {
	echo 'Port Timeout Comment LogOkConn LogBadConn OkLogFile BadLogFile IPFiltering IPFilterAddr
		IPFilterMarks AllowUpdates AllowRManage UpdateAddr ManageAddr ping tcp udp unc freespace
		foldersize countfiles fileexists comparefiles textlog filecrc process cpuusage script
		external executeaction tcpudpaction syslogaction'
}

complete -F _zemctl zemctl check_zem
