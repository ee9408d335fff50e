#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Installs what is missing, builds the library and its tool, and does the main job once: backs up a real tree, verifies
# it, restores it, compares the two.
#
# quickstart.sh [--s3 | --spec FILE] [DIR]
#
# DIR is the tree, /usr/include (the system's C and C++ headers) if left out. The storage is a local directory; with --s3 a
# store in memory behind a real socket, with --spec the store of a connection specification, where the backup is removed
# again.
set -euo pipefail

tree=/usr/include spec='' isSimulated=
while (($# > 0)); do
    case $1 in
    --s3) isSimulated=1 ;;
    --spec) (($# > 1)) && spec=$(readlink -f "$2") && shift ;;
    -*) sed -n '5p' "${BASH_SOURCE[0]}" | cut -c3- >&2 && exit 2 ;;
    *) tree=$1 ;;
    esac
    shift
done
tree=$(readlink -f "$tree")
cd "$(dirname "$(readlink -f "$0")")"
. scripts/dependencies.sh

step() { printf '\n== %s\n' "$*"; }

step "Dependencies"
install_missing "${to_build[@]}"

step "Build"
cmake --preset release -DBUCKETRY_BENCH=OFF >/dev/null
cmake --build --preset release --target bucketry bucketry_tool
bucketry=build/release/tools/bucketry/bucketry

if [[ $isSimulated ]]; then
    step "The same on a store in memory"
    exec examples/on_simulator.sh "$bucketry" ./quickstart.sh "$tree" --spec
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
if [[ $spec ]]; then
    storage=(--spec "$spec")
    step "The store"
    "$bucketry" spec check "$spec"
else
    storage=(--root "$work/bucket")
fi

step "Back up $tree ($(find "$tree" | wc -l) files, directories and links)"
"$bucketry" "${storage[@]}" backup "$tree" quickstart/tree

step "Verify the backup"
"$bucketry" "${storage[@]}" verify "$tree" quickstart/tree

step "Restore it elsewhere, and compare"
"$bucketry" "${storage[@]}" restore quickstart/tree "$work/restored"
diff -r --no-dereference "$tree" "$work/restored"
echo "$tree and its restored copy are the same."
"$bucketry" "${storage[@]}" rm -r quickstart/tree
