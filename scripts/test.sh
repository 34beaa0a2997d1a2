#!/usr/bin/env bash
# Sets up, builds and runs every test.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
bash "$top/scripts/build.sh"
cd "$top/build"
ctest --output-on-failure -j"$(nproc)" --timeout 600
