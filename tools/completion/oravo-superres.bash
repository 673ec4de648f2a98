# Completion of oravo-superres for bash. Commands and options come from the program's own help, so that they are
# those of the version at hand; options with a fixed set of words, written NAME:{one,two}, complete these.
_oravo_superres() {
    local program=$1 current=$2 previous=$3 word help words
    local -a command=()
    COMPREPLY=()
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        case $word in
            enhance | simulate | evaluate | defects | measure | pattern) [ "${#command[@]}" -eq 0 ] && command=("$word") ;;
            detect | repair | merge) [ "${command[*]}" = defects ] && command+=("$word") ;;
            learn) [ "${command[*]}" = pattern ] && command+=("$word") ;;
            blur) [ "${command[*]}" = measure ] && command+=("$word") ;;
        esac
    done
    help=$("$program" "${command[@]}" --help 2>/dev/null) || return
    words=$(sed -nE "s/^ +(-[^ ]+,)?$previous [A-Z]+:\{([^}]*)\}.*/\2/p" <<<"$help" | tr , ' ')
    if [ "$previous" = --encoding ]; then  # names followed by their meaning in brackets
        words=$(grep -A1 -E '^ +--encoding ' <<<"$help" | grep -oE '[a-z][-.a-z0-9]* \(' | sort -u)
        words=${words//(/}
    fi
    if [ -n "$words" ]; then
        mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
    elif [[ $current == -* ]]; then
        words=$(sed -nE 's/^ +((-[a-z]),)?(--[a-z-]+).*/\2 \3/p' <<<"$help")
        mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
    elif [ "${#command[@]}" -eq 0 ] || [[ ${command[*]} =~ ^(defects|measure|pattern)$ ]]; then
        words=$(sed -nE '/^Subcommands:/,/^$/s/^  ([a-z]+) .*/\1/p' <<<"$help")
        mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
    else
        compopt -o default 2>/dev/null
    fi
}
complete -F _oravo_superres oravo-superres
