#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs a program with the specification of a store in memory: on_simulator.sh [--object-lock] BUCKETRY-TOOL COMMAND
# [ARGUMENT...]. With the option the bucket keeps versions and can lock them.
set -euo pipefail
lock=()
[[ $1 != --object-lock ]] || { lock=("$1") && shift; }
tool=$1 && shift
work=$(mktemp -d)
simulator=
clean_up() {
    [[ -z $simulator ]] || { kill "$simulator" && wait "$simulator" || true; }
    rm -rf "$work"
}
trap clean_up EXIT

"$tool" simulate --port 0 --bucket example "${lock[@]}" --restore-seconds 1 >"$work/store" &
simulator=$!
for _ in {1..100}; do
    grep -q '^secret key' "$work/store" && break
    sleep 0.1
done
field() { sed -n "s/^$1  *//p" "$work/store"; }
field "secret key" | "$tool" spec new "$work/store.xml" --endpoint "$(field endpoint)" --region us-east-1 \
    --bucket example --access-key "$(field "access key")" "${lock[@]}"
"$@" "$work/store.xml"
