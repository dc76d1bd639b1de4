#!/bin/bash
# Probes every movie and still below a folder on all cores, with GNU parallel (Debian: parallel).
# Prints a line for each file, in the order of their names: the name, a tab, the result object.
# usage: probeTree.sh FOLDER [PROGRAM]
set -euo pipefail

program=${2:-Sondex}

# A block of jobs: names on standard input, name and result behind each other on standard output.
# One process answers them all. Should it end early, the names left over are named as failed.
probe_block() {
    local names
    names=$(mktemp)
    # shellcheck disable=SC2064  # the name as it is now
    trap "rm -f '$names'" EXIT
    cat >"$names"
    "$program" <"$names" | sed -n 's/^result: //p' | paste "$names" - |
        sed 's/\t$/\t{"status":"failed"}/'
}

if [ "${1:-}" = --block ]; then
    probe_block
    exit
fi

folder=${1:?a folder}
command -v parallel >/dev/null || {
    echo "probeTree: GNU parallel is missing (Debian: parallel)" >&2
    exit 1
}
# A job line cannot carry a name with a tab, a carriage return or a line feed, nor a longer one.
separators="*[$(printf '\t\r')"$'\n'"]*"
export LC_ALL=C
media=(-type f -regextype posix-extended -iregex '.*\.(mp4|mov|jpe?g|dng)')
find "$folder" "${media[@]}" -name "$separators" -printf 'probeTree: left out: %p\n' >&2
find "$folder" "${media[@]}" ! -name "$separators" -print | sort |
    awk 'length($0) < 4095 { print; next } { print "probeTree: left out: " $0 >"/dev/stderr" }' |
    parallel --will-cite --pipe --keep-order -N 64 --quote "$0" --block "$program"
