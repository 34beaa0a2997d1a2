#!/usr/bin/env bash
# Crash, concurrency and full-disk campaign for noxdb on real files.
#
#   kill_campaign.sh --noxdb PATH [--kills N] [--size MB] [--writers N] [--work DIR]
#
# 1. Kills: imports a clip of SIZE MB again and again with `import-clip`, and a folder of
#    pictures with `import`, alternately as new files and over the existing ones, and kills
#    noxdb with SIGKILL at a random moment of each import (N kills of each). After every kill
#    the database must open, pass `noxdb check` (SQLite's integrity check and every unit
#    against its recorded digest), and every file listed must be whole: its checksum the MD5
#    of its source, and a clip's CLIPDATA unit of the source's size.
# 2. Writers: WRITERS `noxdb import` processes import the same folder of 50 pictures into one
#    database at once; every import must succeed (no busy error) and every picture be there,
#    whole, under the name that one import after another would have given: NAME, NAME(1)...
# 3. Full disk: on a small tmpfs in a private mount namespace (skipped, with the reason, where
#    the machine does not allow one), an import that cannot fit must fail with "no space left
#    on device" and leave the database as it was.
#
# CI runs the short form (20 kills); run with --kills 1000 for the long one.
set -euo pipefail

NOXDB="" KILLS=20 SIZE=48 WRITERS=8 WORK=""
SAMPLES="$(cd "$(dirname "$0")/../../samples/pictures" && pwd)"
while [ $# -gt 0 ]; do
  case "$1" in
    --noxdb) NOXDB="$2"; shift 2 ;;
    --kills) KILLS="$2"; shift 2 ;;
    --size) SIZE="$2"; shift 2 ;;
    --writers) WRITERS="$2"; shift 2 ;;
    --work) WORK="$2"; shift 2 ;;
    *) echo "kill_campaign: unknown argument $1" >&2; exit 2 ;;
  esac
done
[ -x "$NOXDB" ] || { echo "kill_campaign: give --noxdb PATH" >&2; exit 2; }
if [ -z "$WORK" ]; then WORK="$(mktemp -d)"; trap 'rm -rf "$WORK"' EXIT; fi
mkdir -p "$WORK"

fail() { echo "kill_campaign: FAIL: $*" >&2; exit 1; }

# A clip description beside its media.
describe() {  # folder name media
  printf '<clip><field name="clipname"><value>%s</value></field><field name="clip"><value>%s</value></field><mode>no_icon,ignore_details</mode></clip>' \
    "$2" "$3" > "$1/$2.xml"
}

# Every clip in the database is whole and the database passes its check.
verify() {  # db source-md5 source-size
  local db="$1" md5="$2" size="$3" out
  out="$("$NOXDB" --db "$db" check)" || fail "check after a kill: $out"
  "$NOXDB" --db "$db" ls | while read -r type uuid sum bytes name; do
    [ "$type" = "VIDEO_CLIP" ] || continue
    [ "$sum" = "$md5" ] || fail "$name: checksum $sum, source $md5"
    local clip
    clip="$("$NOXDB" --db "$db" info "$uuid" | awk '$1 == "CLIPDATA" { print $2 }')"
    [ "$clip" = "$size" ] || fail "$name: CLIPDATA holds $clip bytes, source $size"
  done
}

# COUNT pictures named p00... in FOLDER, copies of the samples of every format in turn.
pictures() {  # folder count
  mkdir -p "$1"
  local samples=("$SAMPLES"/*/*) i
  for ((i = 0; i < $2; i++)); do
    local from="${samples[$((i % ${#samples[@]}))]}"
    cp "$from" "$1/$(printf 'p%02d' "$i").${from##*.}"
  done
}

# Every picture in the database folder is whole: its checksum is that of the source its name
# (less a "(n)" suffix) comes from. Prints how many there are.
declare -A source_md5
verify_pictures() {  # db source-folder db-folder
  local db="$1" n=0 type uuid sum bytes name stem from
  if [ "${source_md5[folder]:-}" != "$2" ]; then
    source_md5=([folder]="$2")
    for from in "$2"/*; do
      stem="${from##*/}"
      source_md5[${stem%.*}]="$(md5sum < "$from" | cut -d' ' -f1)"
    done
  fi
  "$NOXDB" --db "$db" check > /dev/null || fail "check: $("$NOXDB" --db "$db" check 2>&1)"
  while read -r type uuid sum bytes name; do
    [ "$type" = "IMAGE" ] || continue
    [ "$sum" = "${source_md5[${name%(*)}]:-}" ] || fail "$name: checksum $sum differs from its source's"
    n=$((n + 1))
  done < <("$NOXDB" --db "$db" ls "$3")
  echo "$n"
}

# Runs the command in the background and kills it with SIGKILL at a random moment of up to
# 1.3 times TOOK milliseconds; returns 0 when the command finished first.
kill_during() {  # took-ms command...
  local took="$1" pid
  shift
  "$@" > /dev/null 2>&1 &
  pid=$!
  sleep "$(awk -v r="$RANDOM" -v t="$took" 'BEGIN { printf "%.3f", r / 32768 * t * 1.3 / 1000 }')"
  kill -9 "$pid" 2>/dev/null || true
  wait "$pid" 2>/dev/null
}

# Times a command in milliseconds (plus a margin), failing when it fails.
timed_ms() {
  local start
  start=$(date +%s%N)
  "$@" > /dev/null 2>&1 || fail "$*"
  echo $(( ($(date +%s%N) - start) / 1000000 + 50 ))
}

# --- 1. kills ---
dir="$WORK/kills"
mkdir -p "$dir"
head -c "$((SIZE * 1000 * 1000))" /dev/urandom > "$dir/clip.bin"
describe "$dir" kc clip.bin
md5="$(md5sum < "$dir/clip.bin" | cut -d' ' -f1)"
size="$(stat -c %s "$dir/clip.bin")"
db="$dir/media.noxdb"
"$NOXDB" --db "$db" import-clip "$dir/kc.xml" > /dev/null 2>&1 || fail "first import"
took_ms=$(timed_ms "$NOXDB" --db "$db" import-clip --overwrite "$dir/kc.xml")
survived=0
for ((i = 1; i <= KILLS; i++)); do
  args=("$dir/kc.xml")
  if ((i % 2)); then args=(--overwrite "${args[@]}"); fi
  if kill_during "$took_ms" "$NOXDB" --db "$db" import-clip "${args[@]}"; then survived=$((survived + 1)); fi
  verify "$db" "$md5" "$size"
  # New files that made it are removed again, so that the database stays small.
  "$NOXDB" --db "$db" ls | awk '$5 ~ /^kc\(/ { print $2 }' | while read -r uuid; do
    "$NOXDB" --db "$db" rm "$uuid" || fail "rm $uuid"
  done
done
"$NOXDB" --db "$db" cat kc CLIPDATA | cmp -s - "$dir/clip.bin" || fail "kc does not read back as its source"
echo "kill_campaign: $KILLS kills of import-clip ($survived imports finished first): every file whole"

pictures "$dir/in" 12
"$NOXDB" --db "$db" import --into pics "$dir/in" > /dev/null 2>&1 || fail "first import"
took_ms=$(timed_ms "$NOXDB" --db "$db" import --overwrite --into pics "$dir/in")
survived=0
for ((i = 1; i <= KILLS; i++)); do
  args=(--into pics "$dir/in")
  if ((i % 2)); then args=(--overwrite "${args[@]}"); fi
  if kill_during "$took_ms" "$NOXDB" --db "$db" import "${args[@]}"; then survived=$((survived + 1)); fi
  # New files that made it stay (as NAME(n)): removing them costs a commit each.
  verify_pictures "$db" "$dir/in" pics > /dev/null
done
echo "kill_campaign: $KILLS kills of a folder import ($survived imports finished first): every file whole"

# --- 2. concurrent writers ---
dir="$WORK/writers"
pictures "$dir/in" 50
pids=()
for ((w = 0; w < WRITERS; w++)); do
  "$NOXDB" --db "$dir/media.noxdb" import --jobs 2 "$dir/in" > "$dir/out$w" 2>&1 &
  pids+=($!)
done
for ((w = 0; w < WRITERS; w++)); do
  wait "${pids[$w]}" || fail "writer $w: $(cat "$dir/out$w")"
done
count="$(verify_pictures "$dir/media.noxdb" "$dir/in" /)"
[ "$count" = "$((WRITERS * 50))" ] || fail "$WRITERS writers of 50 pictures left $count"
# Writers at once get the names they would get one after another: NAME, NAME(1), ...
missing="$("$NOXDB" --db "$dir/media.noxdb" ls | awk -v writers="$WRITERS" '
  { have[$5] = 1 }
  END { for (i = 0; i < 50; i++) for (w = 0; w < writers; w++) {
          name = sprintf("p%02d", i) (w ? "(" w ")" : "")
          if (!(name in have)) print name } }')"
[ -z "$missing" ] || fail "names missing after concurrent imports: $missing"
echo "kill_campaign: $WRITERS concurrent writers of 50 pictures: $count pictures, none lost, no busy error"

# --- 3. a full disk ---
dir="$WORK/full"
mkdir -p "$dir"
if ! unshare -rm true 2>/dev/null; then
  echo "kill_campaign: full disk skipped: no private mount namespace here (unshare -rm)"
  exit 0
fi
head -c 6000000 /dev/urandom > "$dir/small.bin"
head -c 30000000 /dev/urandom > "$dir/big.bin"
describe "$dir" small small.bin
describe "$dir" big big.bin
# The free-space check refuses media above 10 MB up front; to meet the full device itself,
# the second import fills the disk first with a file beside the database.
unshare -rm bash -c '
  set -e
  NOXDB="$1" dir="$2"
  mkdir -p "$dir/fs"
  mount -t tmpfs -o size=20m tmpfs "$dir/fs"
  db="$dir/fs/media.noxdb"
  "$NOXDB" --db "$db" import-clip "$dir/small.xml" > /dev/null
  before="$("$NOXDB" --db "$db" ls)"
  if "$NOXDB" --db "$db" import-clip "$dir/big.xml" 2> "$dir/err1"; then exit 11; fi
  grep -q "no space left on device" "$dir/err1" || exit 12
  head -c 9000000 /dev/urandom > "$dir/fs/filler" || true
  if "$NOXDB" --db "$db" import-clip "$dir/small.xml" 2> "$dir/err2"; then exit 13; fi
  grep -q "no space left on device" "$dir/err2" || exit 14
  rm -f "$dir/fs/filler"
  [ "$before" = "$("$NOXDB" --db "$db" ls)" ] || exit 15
  "$NOXDB" --db "$db" check > /dev/null || exit 16
' full "$NOXDB" "$dir" || fail "full disk (step $?): $(cat "$dir"/err* 2>/dev/null)"
echo "kill_campaign: full disk: refused up front and mid-import with 'no space left on device', database unchanged"
