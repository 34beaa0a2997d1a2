#!/usr/bin/env bash
# Sets up, builds and runs the main job: the bundled samples (pictures of every format in
# nested folders, and a clip) imported into a fresh embedded database in demo/, listed, and
# each item's large icon exported as a PNG file beside the database, with a gallery page of
# them all.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
bash "$top/scripts/build.sh"
noxdb="$top/build/tools/noxdb"
demo="$top/demo"
db="$demo/media.noxdb"
mkdir -p "$demo"
rm -rf "$db" "$db-wal" "$db-shm" "$demo"/*.png "$demo/gallery"
echo "== import $top/samples/pictures and $top/samples/clip"
"$noxdb" --db "$db" import --recursive --into samples --keyword sample \
  "$top/samples/pictures" "$top/samples/clip"
echo "== $db: samples/"
"$noxdb" --db "$db" ls samples
echo "== large icons"
"$noxdb" --db "$db" ls samples | awk '{ $1 = $2 = $3 = $4 = ""; sub(/^ +/, ""); print }' |
  while IFS= read -r name; do
    "$noxdb" --db "$db" export "samples/$name" IconLarge "$demo/$name.png"
    echo "$demo/$name.png"
  done
echo "== gallery"
"$noxdb" --db "$db" gallery "$demo/gallery"
