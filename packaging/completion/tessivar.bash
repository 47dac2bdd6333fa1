# bash completion for tessivar

_tessivar ()
{
    local cur=${COMP_WORDS[COMP_CWORD]} i candidate
    COMPREPLY=()

    for ((i = 1; i < COMP_CWORD; ++i)); do
        [[ ${COMP_WORDS[i]} == -- ]] && break
    done

    if [[ $cur == -* ]] && ((i == COMP_CWORD)); then
        mapfile -t COMPREPLY < <(compgen -W '--help --version' -- "$cur")
        return
    fi

    # Candidates are read line by line: names with blanks and wildcards in them survive.
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -d -- "$cur")
    while IFS= read -r candidate; do
        case "${candidate,,}" in
            *.dls | *.wav | *.aiff | *.aif | *.caf | *.flac | *.ogg) COMPREPLY+=("$candidate") ;;
        esac
    done < <(compgen -f -- "$cur")
}

complete -F _tessivar tessivar
