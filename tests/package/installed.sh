#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# installed.sh TREE BUILD COMPILER [OPTION...]: the build is installed, and hosts find it.
# shellcheck source-path=SCRIPTDIR source=hosts.sh
. "$(dirname "$0")/hosts.sh"
prefix=$work/prefix
manifest=$build/install_manifest.txt # of what may really be installed from there
[[ ! -e $manifest ]] || cp "$manifest" "$work/manifest"
restore() {
    if [[ -e $work/manifest ]]; then cp "$work/manifest" "$manifest"; else rm -f "$manifest"; fi
    clean
}
trap restore EXIT
quietly cmake --install "$build" --prefix "$prefix"

found_by_cmake "$prefix"
found_by_cmake "$prefix" simulator
found_by_pkg_config "$prefix"
# What there is none of is named.
if cmake "$work/found" -D "COMPONENTS=simulator;plumbing" >"$work/log" 2>&1 ||
    ! tr -s '\n ' ' ' <"$work/log" | grep -F 'no component "plumbing". Its components: simulator'; then
    cat "$work/log" >&2
    exit 1
fi

# The soname is what dynamic linking will ask for; only our own names are visible, and no part of the closed layers.
library=$(find "$prefix" -name libbucketry.so)
readelf -d "$library" | grep -F 'SONAME' | grep -F '[libbucketry.so.0]'
names=$(nm -D --defined-only "$library" | cut -d ' ' -f 3-)
grep -q '^_ZN8bucketry' <<<"$names"
if grep -vE '^_Z[A-Za-z0-9_]*NK?8bucketry' <<<"$names" ||
    c++filt <<<"$names" | grep -E '^bucketry::s3wire::(transport|wire|auth)::'; then
    echo "these names should be hidden" >&2
    exit 1
fi
quietly "$prefix/bin/bucketry" --help

# What was installed goes, and with it the folders of our name; other files stay.
touch "$prefix/include/theirs.h"
quietly cmake --build "$build" --target uninstall
left=$(find "$prefix" ! -type d -o -name bucketry)
[[ $left == "$prefix/include/theirs.h" ]] || { echo "left behind: $left" >&2 && exit 1; }
