# bash completion of kt3: commands and options are taken from the help pages, so new ones need nothing here.
_kt3() {
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]} part
    local -a path=()
    COMPREPLY=()
    case $before in
        --color) mapfile -t COMPREPLY < <(compgen -W "auto always never" -- "$word"); return ;;
        --by) mapfile -t COMPREPLY < <(compgen -W "process user unit container pod job" -- "$word"); return ;;
        -o|--output|--library) mapfile -t COMPREPLY < <(compgen -f -- "$word"); return ;;
        -g|--gpu)
            mapfile -t COMPREPLY < <(compgen -W "all $(kt3 list --csv 2>/dev/null | awk -F, 'NR > 1 { print $1 }')" -- "$word")
            return ;;
    esac
    for part in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        [[ $part =~ ^[a-z]+$ ]] && kt3 "${path[@]}" "$part" --help >/dev/null 2>&1 && path+=("$part")
    done
    mapfile -t COMPREPLY < <(compgen -W "$(kt3 "${path[@]}" --help 2>/dev/null | awk '
        /^Subcommands:/ { commands = 1; next }
        /^[^ ]/ { commands = 0 }
        commands && /^  [a-z]/ { print $1 }
        /^  -/ { split($1, names, ","); for (i in names) print names[i] }')" -- "$word")
}
complete -F _kt3 kt3
