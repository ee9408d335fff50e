#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# readme.sh README PROGRAM: the first C++ program of the README is the example, to the letter.
set -euo pipefail
diff <(sed -n '/^```cpp$/,/^```$/p' "$1" | sed '/^```/d') <(sed '/SPDX-License-Identifier/d' "$2")
