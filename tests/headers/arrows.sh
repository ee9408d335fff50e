#!/usr/bin/env bash
# arrows.sh SOURCE_DIR "ROOM BELOW..."...: each room, with the rooms whose headers it may include besides its own.
set -euo pipefail
cd "$1"
shift

declare -A may
for arrow in "$@"; do
    may[${arrow%% *}]=" $arrow "
done

owner() { # the innermost room that a path lies in, if any
    local path=${1%/*}
    until [[ -n ${may[$path]-} ]]; do
        [[ $path == */* ]] || return 0
        path=${path%/*}
    done
    echo "$path"
}

status=0 seen=0
while IFS=: read -r file line include; do
    include=${include#*\"} include=${include%\"*}
    room=$(owner "$file") target=$(owner "$include")
    [[ -n $room && -n $target ]] || continue
    seen=$((seen + 1))
    if [[ ${may[$room]} != *" $target "* ]]; then
        echo "src/$file:$line: $room does not lean on $target, and includes $include" >&2
        status=1
    fi
done < <(grep -rnE --include='*.h' --include='*.cpp' '^ *# *include +"' .  | sed 's|^\./||')
echo "$seen includes between and within ${#may[@]} rooms"
exit "$status"
