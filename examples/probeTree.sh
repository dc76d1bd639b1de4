#!/bin/bash
# Probes every movie and still below a folder on all cores, with GNU parallel (Debian: parallel).
# Prints a line for each file, in the order of their names: the name, a tab, the result object.
# usage: probeTree.sh FOLDER [PROGRAM]
set -euo pipefail

program=${2:-Sondex}

# What a job line cannot carry, its line feed aside: no name at all, a longer one, separators.
usable='length($0) > 0 && length($0) <= 4095 && !/[\t\r]/'
export LC_ALL=C

# A block of jobs: names on standard input, for each its line on standard output. One process
# answers all those that it can be asked about. Should it end early, the names left over failed too.
probe_block() {
    local names
    names=$(mktemp)
    # shellcheck disable=SC2064  # the name as it is now
    trap "rm -f '$names'" EXIT
    cat >"$names"
    awk "$usable" "$names" | "$program" | sed -n 's/^result: //p' | awk '
        { answer = "{\"status\":\"failed\"}" }
        '"$usable"' { if ((getline line <"-") > 0) answer = line }
        { print $0 "\t" answer }' "$names"
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
separators="*[$(printf '\t\r')"$'\n'"]*"
media=(-type f -regextype posix-extended -iregex '.*\.(mp4|mov|jpe?g|dng)')
find "$folder" "${media[@]}" -name "$separators" -printf 'probeTree: left out: %p\n' >&2
find "$folder" "${media[@]}" ! -name "$separators" -print | sort |
    awk "$usable"' { print; next } { print "probeTree: left out: " $0 >"/dev/stderr" }' |
    parallel --will-cite --pipe --keep-order -N 64 --quote "$0" --block "$program"
