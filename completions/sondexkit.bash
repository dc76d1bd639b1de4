# bash completion of sondexkit: subcommands, and the options that each names in its --help.

_sondexkit() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command= word
    COMPREPLY=()
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        if [[ $word != -* ]]; then
            command=$word
            break
        fi
    done
    compopt -o filenames 2>/dev/null
    case $previous in
        --files-from | --output | -o | --gcsv | --svg | --html)
            mapfile -t COMPREPLY < <(compgen -f -- "$current")
            return
            ;;
        --csv)
            if [[ $command == motion ]]; then
                mapfile -t COMPREPLY < <(compgen -f -- "$current")
                return
            fi
            ;;
        --jobs | -j | --timeout | --memory | --fields) return ;;
    esac
    if [[ $current == -* ]]; then
        # shellcheck disable=SC2086  # no subcommand, no word
        word=$("${COMP_WORDS[0]}" $command --help 2>/dev/null | grep -oE '^ +-[^ ]+' | tr ',' ' ')
        mapfile -t COMPREPLY < <(compgen -W "$word" -- "$current")
    elif [[ -z $command ]]; then
        mapfile -t COMPREPLY < <(compgen -W 'facts boxes motion scan frame carry cut tag set strip faststart' -- "$current")
    else
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
    fi
}
complete -F _sondexkit sondexkit
