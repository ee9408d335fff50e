# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash disable=SC2034
# Sourced by the tests of this folder: TREE BUILD COMPILER [OPTION...] are the source, the build that is tested, and with what
# cmake is to build more of the same kind. Sets `work`, an empty folder of the test's own, which goes when the test ends well.
set -euo pipefail
tree=$1 build=$2 compiler=$3
like=(-D "CMAKE_CXX_COMPILER=$compiler" "${@:4}")
work=$build/tests/package/$(basename "$0" .sh)
rm -rf "$work"
mkdir -p "$work"
clean() { if (($? == 0)); then rm -rf "$work"; fi; } # else what went wrong is there to see
trap clean EXIT

# Hosts are compiled through the cache, too.
launcher=$(command -v ccache || true)
export CCACHE_BASEDIR=$work CCACHE_NOHASHDIR=1 CCACHE_SLOPPINESS=time_macros,include_file_mtime,include_file_ctime

# quietly COMMAND...: what it says is of interest only if it fails.
quietly() {
    "$@" >"$work/log" 2>&1 || { cat "$work/log" >&2 && return 1; }
}

# prints_greeting PROGRAM: it is the README's first program, and works.
prints_greeting() {
    local line
    line=$("$1" "$work/root")
    rm -rf "$work/root"
    [[ $line == 'hello.txt, 14 bytes' ]] || { echo "$1 has printed [$line]" >&2 && return 1; }
}

# found_by_cmake PREFIX COMPONENT...: a host of the package in PREFIX is built and works.
found_by_cmake() {
    local components
    components=$(IFS=';' && echo "${*:2}")
    quietly cmake -S "$tree/tests/package/consumer" -B "$work/found" -D "CMAKE_PREFIX_PATH=$1" \
        -D "COMPONENTS=$components" -D "CMAKE_CXX_COMPILER_LAUNCHER=$launcher" "${like[@]}"
    quietly cmake --build "$work/found" -j 2
    prints_greeting "$work/found/consumer"
    [[ -z $components ]] || quietly "$work/found/consumer_with_simulator"
}

# found_by_pkg_config PREFIX [OPTION]: the same with pkg-config.
found_by_pkg_config() {
    local pc flags
    pc=$(dirname "$(find "$1" -name bucketry.pc)")
    flags=$(PKG_CONFIG_PATH=$pc pkg-config --cflags --libs "${@:2}" bucketry)
    # shellcheck disable=SC2086 # the flags are words
    "$compiler" -std=c++20 "$tree/examples/first_program.cpp" $flags -Wl,-rpath,"$(dirname "$pc")" -o "$work/configured"
    prints_greeting "$work/configured"
    PKG_CONFIG_PATH=$pc pkg-config --exists --print-errors bucketry-simulator
}

# source_of_its_own: the source as links in $work/tree. There the build of it, $work/tree/$inside, lies as far from the source
# as $build does from the tree, if that is inside, so that the cache knows all objects.
source_of_its_own() {
    inside=build/inner
    [[ $build != "$tree"/build/* ]] || inside=${build#"$tree/"}
    mkdir "$work/tree"
    find "$tree" -mindepth 1 -maxdepth 1 ! -name build ! -name .git -exec ln -s -t "$work/tree" {} +
}
