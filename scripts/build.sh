#!/usr/bin/env bash
# Sets up the machine (once) and builds the project into build/. Extra arguments go to the
# CMake configure step. Prints nothing but errors when all is in place already.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
gm_prefix=$(bash "$top/scripts/setup.sh")
cmake -S "$top" -B "$top/build" -DNOX_GM_PREFIX="$gm_prefix" -DNOX_WERROR=ON -DNOX_SKIP_AREAS= "$@" >/dev/null
cmake --build "$top/build" -j"$(nproc)" 2>&1 | grep -vE '^\[ *[0-9]+%\]|^(Consolidate|Scanning)' || true
test "${PIPESTATUS[0]}" -eq 0
