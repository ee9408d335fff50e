#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs a command beside a Ceph RADOS gateway of its own: with-gateway.sh COMMAND [ARGUMENT...]
#
# The command finds the gateway through the BUCKETRY_LIVE_* variables (see README.md); its exit status is this script's.
# 69 means that there was no gateway to run it with. Whatever ends this script, SIGKILL included, ends the gateway, too.
set -euo pipefail

(($# > 0)) || { sed -n '2,/^set/{s/^# \{0,1\}//p}' "${BASH_SOURCE[0]}" >&2 && exit 2; }
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

"$here/install.sh" || { echo "with-gateway.sh: the gateway is not installed" >&2 && exit 69; }
directory=$(mktemp -d "${TMPDIR:-/tmp}/bucketry-live.XXXXXX")

clean_up() {
    "$here/gateway.sh" stop "$directory"
    rm -rf "$directory"
}

# Takes over when this script is killed before its own clean-up. In a session of its own, so that it outlives whoever
# kills all of ours, and without our output, so that nobody waits for it there.
(
    trap '' INT TERM HUP
    setsid "$here/gateway.sh" watch "$directory" "$$" </dev/null >/dev/null 2>&1 &
)

# Runs a command in this process group, with our input, so that signals of the terminal reach it and traps run at once.
# It ends with us, and is told of the signals sent to us alone.
run() {
    local status
    env --default-signal=INT,QUIT setpriv --pdeathsig KILL -- "$@" <&0 &
    child=$!
    while signalled=false status=0; do
        wait "$child" || status=$?
        "$signalled" || break
    done
    return "$status"
}

child=
for signal in INT TERM HUP; do
    # shellcheck disable=SC2064 # the signal of now
    trap "signalled=true; kill -s $signal \$child 2>/dev/null || true" "$signal"
done
trap clean_up EXIT

run "$here/gateway.sh" start "$directory" || exit 69
# shellcheck source=/dev/null
. "$directory/env"
run "$@"
