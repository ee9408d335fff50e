#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# inside.sh TREE BUILD COMPILER [OPTION...]: the source as part of another project, in the two ways that CMake has.
# shellcheck source-path=SCRIPTDIR source=hosts.sh
. "$(dirname "$0")/hosts.sh"
source_of_its_own
for fetched in OFF ON; do
    # The generator that runs the compiler in the folder of the library's build, and not in the one around it: see hosts.sh.
    quietly cmake -G "Unix Makefiles" -S "$tree/tests/package/around" -B "$work/around" -D "SOURCE=$work/tree" \
        -D "BINARY=$work/tree/$inside" -D FETCHED="$fetched" -D BUCKETRY_CCACHE=ON "${like[@]}"
    quietly cmake --build "$work/around" -j 2
    prints_greeting "$work/around/consumer"
    quietly cmake --install "$work/around" --prefix "$work/prefix"
    [[ $(find "$work/prefix" -type f) == "$work/prefix/around/CMakeLists.txt" ]]
    rm -rf "$work/around" "$work/prefix" # what is built of the library serves the other way, too
done
