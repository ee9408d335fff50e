#!/usr/bin/env bash
# Installs what is missing, builds the library and its tool, and does the main job once: backs up a real tree (the
# system's C and C++ headers, or the directory given) to a local root, verifies it, restores it, compares the two.
set -euo pipefail
tree=$(readlink -f "${1:-/usr/include}")
cd "$(dirname "$(readlink -f "$0")")"
. scripts/dependencies.sh

step() { printf '\n== %s\n' "$*"; }

step "Dependencies"
install_missing "${to_build[@]}"

step "Build"
cmake --preset release -DBUCKETRY_BENCH=OFF >/dev/null
cmake --build --preset release --target bucketry bucketry_tool
bucketry=build/release/tools/bucketry/bucketry

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

step "Back up $tree ($(find "$tree" | wc -l) files, directories and links)"
"$bucketry" --root "$work/bucket" backup "$tree" backups/tree

step "Verify the backup"
"$bucketry" --root "$work/bucket" verify "$tree" backups/tree

step "Restore it elsewhere, and compare"
"$bucketry" --root "$work/bucket" restore backups/tree "$work/restored"
diff -r --no-dereference "$tree" "$work/restored"
echo "$tree and its restored copy are the same."
