#!/usr/bin/env bash
# Runs each libFuzzer target of fuzz/ for a given time, one after another, and
# prints per target the executions, the coverage reached and the findings (inputs that
# crashed, leaked, ran out of memory or time; kept in <build>/fuzz/findings/).
#
#   scripts/fuzz.sh [seconds per target, default 600] [target ...]
#
# Targets: hdr stbi exr nbn lz exif clip. Builds <build> (build-fuzz, or $NOX_FUZZ_BUILD)
# with clang-14, libFuzzer and the address and undefined behaviour sanitizers. Needs the
# Debian packages clang-14 and libclang-rt-14-dev. A finding that is fixed belongs in
# fuzz/regressions/<target>/, which every build replays as tests. The build is niced; the
# fuzzers run at the caller's priority, so that a campaign on a busy machine can be given
# its core (`nice -n -10 scripts/fuzz.sh`) and a background one can be niced.
set -euo pipefail

root="$(cd "$(dirname "$0")/.." && pwd)"
build="${NOX_FUZZ_BUILD:-$root/build-fuzz}"
seconds="${1:-600}"
[ $# -gt 0 ] && shift
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(hdr stbi exr nbn lz exif clip)

if ! command -v clang++-14 >/dev/null || [ ! -d /usr/lib/llvm-14/lib/clang/14.0.6/lib/linux ]; then
  echo "fuzz: needs clang-14 and libclang-rt-14-dev (apt-get install clang-14 libclang-rt-14-dev)" >&2
  exit 1
fi
GM_PREFIX="${NOX_GM_PREFIX:-${XDG_CACHE_HOME:-$HOME/.cache}/noxdbimport/graphicsmagick-q8}"
cmake -S "$root" -B "$build" -DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14 \
  -DNOX_FUZZ=ON -DNOX_SANITIZE=address,undefined -DNOX_GM_PREFIX="$GM_PREFIX" >/dev/null
nice -n 19 cmake --build "$build" -j2 --target fuzz_replay $(printf 'fuzz_%s ' "${targets[@]}") >/dev/null

fuzz="$build/fuzz"
"$fuzz/fuzz_replay" --write-seeds "$fuzz/seeds"
mkdir -p "$fuzz/findings" "$fuzz/logs"
export UBSAN_OPTIONS="halt_on_error=1:print_stacktrace=1"

printf '%-6s %12s %10s %8s %8s %9s\n' target executions exec/s cov features findings
for t in "${targets[@]}"; do
  mkdir -p "$fuzz/corpus/$t"
  log="$fuzz/logs/$t.log"
  before=$(find "$fuzz/findings" -name "$t-*" | wc -l)
  # The first folder takes what the fuzzer finds new; seeds and regressions are only read.
  # One allocation above 256 MB counts as a finding: no input this small may ask for it.
  dirs=("$fuzz/corpus/$t" "$fuzz/seeds/$t")
  [ -d "$root/fuzz/regressions/$t" ] && dirs+=("$root/fuzz/regressions/$t")
  "$fuzz/fuzz_$t" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
    -malloc_limit_mb=256 -print_final_stats=1 -artifact_prefix="$fuzz/findings/$t-" \
    "${dirs[@]}" >"$log" 2>&1 || true
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
  rate=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log" | tail -1)
  cov=$({ grep -o 'cov: [0-9]*' "$log" || true; } | tail -1 | cut -d' ' -f2)
  ft=$({ grep -o 'ft: [0-9]*' "$log" || true; } | tail -1 | cut -d' ' -f2)
  after=$(find "$fuzz/findings" -name "$t-*" | wc -l)
  printf '%-6s %12s %10s %8s %8s %9s\n' "$t" "${runs:-?}" "${rate:-?}" "${cov:-?}" "${ft:-?}" "$((after - before))"
done
