#!/usr/bin/env bash
# readme.sh README PROGRAM: the first C++ program of the README is the example, to the letter.
set -euo pipefail
diff <(sed -n '/^```cpp$/,/^```$/p' "$1" | sed '/^```/d') "$2"
