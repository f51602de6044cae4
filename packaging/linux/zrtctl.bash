# Completion of zrtctl for bash. Commands and options are taken from the program's own help.
_zrtctl_words()
{
    local help
    help=$(zrtctl "$@" --help 2>/dev/null) || return
    sed -n '/^Commands:/,/^$/s/^  \([a-z][a-z-]*\) .*/\1/p' <<<"$help"
    grep -oE -- '--[a-z][a-z-]*' <<<"$help" | sort -u
}

_zrtctl()
{
    local word=${COMP_WORDS[COMP_CWORD]} command=() each
    for each in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        [[ $each =~ ^[a-z][a-z-]*$ ]] && command+=("$each")
    done
    COMPREPLY=()
    case ${COMP_WORDS[COMP_CWORD - 1]} in
        --trace | --library | --policy)
            mapfile -t COMPREPLY < <(compgen -f -- "$word")
            return
            ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$(_zrtctl_words "${command[@]:0:1}")" -- "$word")
    case ${command[0]:-} in
        get) mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -W "$(zrtctl names 2>/dev/null | awk '{print $1}')" -- "$word") ;;
        print | make-job | settings) mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -f -- "$word") ;;
    esac
}
complete -o filenames -F _zrtctl zrtctl
