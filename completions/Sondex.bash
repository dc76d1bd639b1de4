# bash completion of Sondex: its options, the files of its dumps, movies and stills.

_Sondex() {
    local current=${COMP_WORDS[COMP_CWORD]} line=${COMP_LINE:0:COMP_POINT} option
    COMPREPLY=()
    # The colon of -kdtb:FILE ends a word of readline, so the word is taken from the line.
    local typed=${line##*[[:space:]]}
    case $typed in
        -kdt[dbc]:*)
            compopt -o filenames 2>/dev/null
            mapfile -t COMPREPLY < <(compgen -f -- "${typed#*:}")
            # Where the colon does not end words, the answer has to repeat what is ahead of it.
            if [[ $COMP_WORDBREAKS != *:* ]]; then
                COMPREPLY=("${COMPREPLY[@]/#/${typed%%:*}:}")
            fi
            ;;
        -*)
            mapfile -t COMPREPLY < <(compgen -W '-kdtd: -kdtb: -kdtc: -set1 -dump -h' -- "$current")
            for option in "${COMPREPLY[@]}"; do
                if [[ $option == *: ]]; then compopt -o nospace 2>/dev/null; fi
            done
            ;;
        *)
            compopt -o filenames 2>/dev/null
            local name extension='\.([mM][pP]4|[mM][oO][vV]|[jJ][pP][eE]?[gG]|[dD][nN][gG])$'
            while IFS= read -r name; do
                if [[ -d $name || $name =~ $extension ]]; then COMPREPLY+=("$name"); fi
            done < <(compgen -f -- "$current")
            ;;
    esac
}
complete -F _Sondex Sondex
