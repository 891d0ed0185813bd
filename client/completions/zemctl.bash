# SPDX-License-Identifier: BSD-2-Clause
# Completion of zemctl and check_zem for bash. The program says what may stand at a place; its
# answers are taken as they are, never expanded.

_zemctl() {
	local cur prev words cword word
	if ! declare -F _init_completion >/dev/null || ! _init_completion -n :=; then
		words=("${COMP_WORDS[@]}") cword=$COMP_CWORD cur=${COMP_WORDS[COMP_CWORD]}
	fi
	COMPREPLY=()
	while IFS=$'\t' read -r word _; do
		if [[ $word == :files ]]; then
			compopt -o filenames 2>/dev/null
			mapfile -t COMPREPLY < <(compgen -f -- "$cur")
		else
			[[ $word == *= ]] && compopt -o nospace 2>/dev/null
			COMPREPLY+=("$word")
		fi
	done < <(zemctl --complete "${words[@]:0:cword+1}" 2>/dev/null)
	if declare -F __ltrim_colon_completions >/dev/null; then __ltrim_colon_completions "$cur"; fi
}

complete -F _zemctl zemctl check_zem
