#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Installs what is missing, builds, and runs every test. Arguments go to ctest, as in ./test.sh -R base.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")"
. scripts/dependencies.sh

install_missing "${to_test[@]}"
cmake --preset debug >/dev/null
cmake --build --preset debug
ctest --preset debug --output-on-failure "$@"
