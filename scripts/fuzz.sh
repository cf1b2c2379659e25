#!/usr/bin/env bash
# Builds the fuzz targets with clang and runs each for SECONDS (default 60) on a copy of its seed
# corpus. Usage: scripts/fuzz.sh [SECONDS]
# New inputs go to build-fuzz/runs/<target>/, crashes to build-fuzz/crashes/<target>/; the
# corpus in fuzz/corpus/ is never written. Exits 1 naming each target that crashed or failed.
set -euo pipefail
cd "$(dirname "$0")/.."

usage() { sed -n '2,5p' "$0" | sed 's/^# \{0,1\}//'; }
seconds=60
case $# in
  0) ;;
  1)
    case "$1" in
      -h|--help) usage; exit 0 ;;
      *[!0-9]*|'') echo "fuzz.sh: SECONDS must be a whole number above 0, not '$1'" >&2; usage >&2; exit 2 ;;
    esac
    [ "$1" -gt 0 ] || { echo "fuzz.sh: SECONDS must be above 0" >&2; exit 2; }
    seconds=$1
    ;;
  *) echo "fuzz.sh: too many arguments" >&2; usage >&2; exit 2 ;;
esac

targets=(fuzz_intake fuzz_image fuzz_packets fuzz_files)
dir=build-fuzz
echo "fuzz: building ${targets[*]} in $dir" >&2
CC=clang-14 CXX=clang++-14 cmake -S . -B "$dir" -G Ninja -DQUOTLINK_FUZZ=ON -DQUOTLINK_BENCH=OFF \
  -DQUOTLINK_WERROR=ON >/dev/null
nice cmake --build "$dir" --target "${targets[@]}"

export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
failed=()
for t in "${targets[@]}"; do
  runs="$PWD/$dir/runs/$t" crashes="$PWD/$dir/crashes/$t"
  rm -rf "$runs"
  mkdir -p "$runs/corpus" "$runs/tmp" "$crashes"
  cp fuzz/corpus/"$t"/* "$runs/corpus/"
  echo "fuzz: $t for ${seconds}s (log: $runs/log)" >&2
  start=$SECONDS
  # Run inside the run's folder: the feeder writes its transfer log to the current folder, and
  # the target's scratch files (fuzz_files) go there too.
  if (cd "$runs" && TMPDIR="$runs/tmp" nice "$OLDPWD/$dir/fuzz/$t" -max_total_time="$seconds" \
      -artifact_prefix="$crashes/" -print_final_stats=1 corpus >log 2>&1); then
    echo "fuzz: $t passed in $((SECONDS - start))s: $(grep -m1 -o 'stat::number_of_executed_units: *[0-9]*' "$runs/log" | grep -o '[0-9]*$') inputs" >&2
  else
    echo "fuzz: $t FAILED after $((SECONDS - start))s; the input is in $crashes/, the log in $runs/log:" >&2
    grep -E 'ORACLE FAILURE|ERROR:|SUMMARY:' "$runs/log" | head -5 >&2 || true
    failed+=("$t")
  fi
done
if [ ${#failed[@]} -gt 0 ]; then
  echo "fuzz: failed: ${failed[*]}" >&2
  exit 1
fi
echo "fuzz: all ${#targets[@]} targets passed" >&2
