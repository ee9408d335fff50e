#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# static.sh TREE BUILD COMPILER [OPTION...]: the same source as static libraries, installed; hosts link them.
# shellcheck source-path=SCRIPTDIR source=hosts.sh
. "$(dirname "$0")/hosts.sh"
source_of_its_own
prefix=$work/prefix
generator=$(sed -n 's/^CMAKE_GENERATOR:INTERNAL=//p' "$build/CMakeCache.txt") # which decides from where the compiler runs
quietly cmake -G "$generator" -S "$work/tree" -B "$work/tree/$inside" -D BUILD_SHARED_LIBS=OFF -D BUCKETRY_TOOL=OFF "${like[@]}"
quietly cmake --build "$work/tree/$inside" -j 2
quietly cmake --install "$work/tree/$inside" --prefix "$prefix"
if find "$prefix" -name '*.so*' | grep .; then
    echo "these are not static" >&2
    exit 1
fi

found_by_cmake "$prefix" simulator
found_by_pkg_config "$prefix" --static
if ldd "$work/found/consumer" "$work/configured" | grep bucketry; then
    echo "this was linked dynamically" >&2
    exit 1
fi
