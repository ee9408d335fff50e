#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# arrows.sh SOURCE_DIR INCLUDE_DIR "ROOM BELOW..."...: each room, with the rooms whose headers it may include besides its own.
# Fails for an arrow that points up or back, and for files that include each other, be it in a circle. A .cpp and its header
# count as one file.
set -euo pipefail
source=$1 include=$2
shift 2

declare -A may
for arrow in "$@"; do
    may[${arrow%% *}]=" $arrow "
done

own_includes() { # "file:line:included file" below a directory, for what is written in quotes
    (cd "$1" && grep -rnE --include='*.h' --include='*.cpp' '^ *# *include +"' .) |
        sed -E 's|^\./([^:]*:[0-9]*:)[^"]*"([^"]*)".*|\1\2|'
}

owner() { # the innermost room that a path lies in, if any
    local path=${1%/*}
    until [[ -n ${may[$path]-} ]]; do
        [[ $path == */* ]] || return 0
        path=${path%/*}
    done
    echo "$path"
}

upward=0 arrows=""
while IFS=: read -r file line included; do
    room=$(owner "$file") target=$(owner "$included")
    [[ -n $room && -n $target && $room != "$target" ]] || continue
    arrows+="$room $target"$'\n'
    if [[ ${may[$room]} != *" $target "* ]]; then
        echo "src/$file:$line: $room does not lean on $target, and includes $included" >&2
        upward=$((upward + 1))
    fi
done < <(own_includes "$source")
arrows=$(sort -u <<<"$arrows" | sed '/^$/d')

circles() { # how many, of "from to" lines on standard input
    { tsort 2>&1 >/dev/null || true; } | tee /dev/stderr | grep -c 'contains a loop' || true
}
of_rooms=$(circles <<<"$arrows")
of_files=$({ own_includes "$source" && own_includes "$include"; } |
    sed -E 's/^([^:]*)\.(h|cpp):[0-9]*:(.*)\.(h|cpp)$/\1 \3/' | awk '$1 != $2' | circles)

echo "${#may[@]} rooms, $(wc -l <<<"$arrows") arrows between them, $upward pointing up;" \
    "circles: $of_rooms of rooms, $of_files of files"
((upward + of_rooms + of_files == 0))
