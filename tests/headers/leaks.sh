#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# leaks.sh COMPILER INCLUDE_DIR: no public header may pull in a header of a library other than Boost.
set -euo pipefail
compiler=$1
include=$2
foreign='/(curl|openssl|spdlog|fmt|CLI|gtest|benchmark)/|/(tinyxml2|zstd|zlib|zconf)\.h'

included() { # the files that the headers named on standard input include, one a line
    sed 's/.*/#include <&>/' | "$compiler" -std=c++20 -I"$include" -x c++ -M -MT all - | tr -s ' \\' '\n\n'
}

mapfile -t headers < <(cd "$include" && find bucketry -name '*.h' | sort)
files=$(printf '%s\n' "${headers[@]}" | included)
grep -qF "$include/${headers[0]}" <<<"$files" # the list is what we think it is
if ! grep -qE "$foreign" <<<"$files"; then
    echo "${#headers[@]} public headers, no foreign one among their $(wc -l <<<"$files") files"
    exit 0
fi
for header in "${headers[@]}"; do
    if found=$(included <<<"$header" | grep -E "$foreign" | head -n 3); then
        printf '%s includes\n%s\n' "$header" "$found"
    fi
done
exit 1
