#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Checks optimistic_lock.pml with spin: every row of the table has to end as its last column says. Each search is
# exhaustive, breadth first, so that a counterexample is a shortest one; those of liveness are depth first.
set -euo pipefail
model=$(dirname "$(readlink -f "$0")")/optimistic_lock.pml
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

failed=0
check() { # NAME FLAGS holds|breaks
    local name=$1 expected=$3 flags build=(-DSAFETY -DBFS) run=() out result states
    read -ra flags <<<"$2"
    if [[ $2 == *LIVELY* ]]; then build=(-DNFAIR=4) run=(-a -f -m1000000); fi
    spin -a "${flags[@]}" "$model" >/dev/null
    cc -O1 -w "${build[@]}" -o pan pan.c
    out=$(./pan -w22 "${run[@]}")
    result=$(sed -n 's/.*errors: //p' <<<"$out")
    [[ $result == 0 ]] && result=holds || result=breaks
    grep -q -e 'Search not completed' -e 'max search depth too small' <<<"$out" && [[ $expected == holds ]] && result=incomplete
    states=$(sed -n 's/ *\([0-9]*\) states, stored.*/\1/p' <<<"$out")
    printf '%-52s %-30s %9s states  %s\n' "$name" "$2" "$states" "$result"
    [[ $result == "$expected" ]] || failed=1
}

check "two contenders, no versions"                        "-DN=2"                             holds
check "two contenders, versions"                           "-DN=2 -DVERSIONED"                 holds
check "three contenders, versions"                         "-DN=3 -DVERSIONED"                 holds
check "two contenders, generations"                        "-DN=2 -DGENERATIONS"              holds
check "three, generations, a call is shorter than a pause" "-DN=3 -DGENERATIONS -DCALLS=1"    holds
check "three, generations, calls of any length"            "-DN=3 -DGENERATIONS"              breaks
check "three, no versions, a call is shorter than a pause" "-DN=3 -DCALLS=1"                   holds
check "three, no versions, calls of any length"            "-DN=3"                             breaks
check "two, no versions, records run out under the living" "-DN=2 -DLAPSE -DNOSTOP"            breaks
check "two, versions, records run out under the living"    "-DN=2 -DVERSIONED -DLAPSE -DNOSTOP" breaks
check "two, generations, records run out under the living" "-DN=2 -DGENERATIONS -DLAPSE -DNOSTOP" breaks
check "two, no versions: who is left gets in"              "-DN=2 -DLIVELY"                    holds
check "two, versions: who is left gets in"                 "-DN=2 -DVERSIONED -DLIVELY"        holds
check "two, generations: who is left gets in"              "-DN=2 -DGENERATIONS -DLIVELY"     holds
check "three, generations: who is left gets in"            "-DN=3 -DGENERATIONS -DCALLS=1 -DLIVELY" holds
check "three, no versions: who is left gets in"            "-DN=3 -DCALLS=1 -DLIVELY"          holds
check "three, versions: who is left gets in"               "-DN=3 -DVERSIONED -DLIVELY"        holds
exit "$failed"
