#!/usr/bin/env bash
# Sets up, builds and runs the main job: a fresh embedded database in demo/, the bundled
# sample clip imported into it, and the result listed with the noxdb tool.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
bash "$top/scripts/build.sh"
noxdb="$top/build/tools/noxdb"
db="$top/demo/media.noxdb"
mkdir -p "$top/demo"
rm -f "$db" "$db-wal" "$db-shm"
"$noxdb" --db "$db" init
"$noxdb" --db "$db" mkdir clips/2026
echo "== import $top/samples/clip/harbour.xml"
"$noxdb" --db "$db" import-clip "$top/samples/clip/harbour.xml"
echo "== $db"
"$noxdb" --db "$db" ls
"$noxdb" --db "$db" ls clips
echo "== Harbour at dawn"
"$noxdb" --db "$db" info "Harbour at dawn"
