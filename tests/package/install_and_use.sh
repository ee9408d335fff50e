#!/usr/bin/env bash
# install_and_use.sh BUILD_DIR COMPILER: installs the build into a temporary prefix, then compiles, links and runs
# the first example against it, once through find_package (consumer/) and once through pkg-config.
set -euo pipefail
build=$1
compiler=$2
here=$(dirname "$(readlink -f "$0")")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix

cmake --install "$build" --prefix "$prefix" >"$work/install.log"

cmake -G Ninja -S "$here/consumer" -B "$work/found" -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_PREFIX_PATH="$prefix" >"$work/cmake.log"
cmake --build "$work/found"
"$work/found/consumer" "$work/root"

pc=$(dirname "$(find "$prefix" -name bucketry.pc)")
flags=$(PKG_CONFIG_PATH=$pc pkg-config --cflags --libs bucketry)
# shellcheck disable=SC2086 # the flags are words
"$compiler" -std=c++20 "$here/../../examples/first_program.cpp" $flags -Wl,-rpath,"$(dirname "$pc")" -o "$work/configured"
"$work/configured" "$work/root"

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

tool=$prefix/bin/bucketry
[[ ! -e $tool ]] || "$tool" --help >"$work/help"
