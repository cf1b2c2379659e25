#!/usr/bin/env bash
# Builds the benchmarks (RelWithDebInfo, in build/) and runs them all, then prints one table of
# their figures and one line per goal of the quote path: "goal NAME: FIGURE (target TARGET) met"
# or "... missed". Usage: scripts/bench.sh [--quick]
# --quick runs each benchmark briefly (the loopback paths for 5 s instead of 60): a check that
# they all work, not figures to quote, and the loopback goals, which ask for 60 s, are missed.
# Takes about 7 minutes in full. The console window's benchmark runs on $DISPLAY, or on an Xvfb
# of its own when none is set.
set -euo pipefail
cd "$(dirname "$0")/.."

quick=0
for arg in "$@"; do
  case "$arg" in
    --quick) quick=1 ;;
    -h|--help) sed -n '2,8p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
    *) echo "bench.sh: unknown option '$arg' (try --help)" >&2; exit 2 ;;
  esac
done

bash scripts/setup.sh
programs=(quotlink_replay_bench quotlink_quote_bench quotlink_table_bench quotlink_decode_bench
          quotlink_intake_bench quotlink_latency_bench quotlink_loopback_bench
          quotlink_window_bench)
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQUOTLINK_BENCH=ON >/dev/null
nice cmake --build build --target "${programs[@]}"

if [ "$quick" = 1 ]; then
  replay_args=(--quotes 50000 --rounds 3)
  gbench_args=(--benchmark_min_time=0.05)
  latency_args=(--samples 20000 --seconds 2)
  loopback_args=(--seconds 5)
else
  replay_args=()
  gbench_args=()
  latency_args=()
  loopback_args=(--seconds 60)
fi

out=$(mktemp -d)
xvfb=""  # the Xvfb started for the window's benchmark, if any
trap 'if [ -n "$xvfb" ]; then kill "$xvfb" 2>/dev/null || true; fi; rm -rf "$out"' EXIT
failed=()
# Runs one benchmark, its whole output into $out/NAME.log (or $LOG.log when LOG is set); a
# failure is noted and the rest run.
run() {
  local name=$1
  shift
  local log="$out/${LOG:-$name}.log"
  echo "bench.sh: running $name $*" >&2
  if ! "build/bench/$name" "$@" >"$log" 2>&1; then
    failed+=("$name")
    echo "bench.sh: $name failed:" >&2
    tail -n 5 "$log" >&2
  fi
}
# The larger of the two families' 32767 : 10 ratios in a quote benchmark's log (9 when none).
worst_ratio() {
  awk '$1 == "metric" && $2 ~ /^quote\..*\.ratio$/ && $3 > w { w = $3 } END { print (w == "" ? 9 : w) }' "$1"
}

run quotlink_replay_bench "${replay_args[@]}"
# The figures at 32767 records move from one run of the program to the next (not between the
# repetitions of one run): three runs, and the one whose worse ratio is the median stands.
for k in 1 2 3; do LOG=quote.$k run quotlink_quote_bench "${gbench_args[@]}"; done
median=$(for k in 1 2 3; do echo "$(worst_ratio "$out/quote.$k.log") $k"; done | sort -g | sed -n 2p)
cp "$out/quote.${median#* }.log" "$out/quotlink_quote_bench.log"
echo "row | quotlink_quote_bench | 32767 : 10, the worse family, in each of three runs (the" \
  "median run's figures stand above) | $(for k in 1 2 3; do worst_ratio "$out/quote.$k.log"; done |
  sort -g | awk '{ printf "%s%.2f", (NR > 1 ? " / " : ""), $1 }')" >>"$out/quotlink_quote_bench.log"
run quotlink_table_bench "${gbench_args[@]}"
run quotlink_decode_bench "${gbench_args[@]}"
run quotlink_intake_bench "${gbench_args[@]}"
run quotlink_latency_bench "${latency_args[@]}"
run quotlink_loopback_bench --tcp-rate 1000000 --udp-rate 200000 "${loopback_args[@]}"
# The window needs a display: $DISPLAY's, or a private Xvfb for the one benchmark.
display=${DISPLAY:-}
if [ -z "$display" ] && command -v Xvfb >/dev/null; then
  # -noreset: a server that resets when its last client leaves refuses the next one for a while,
  # and the benchmark's probe of the display is such a client.
  Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp -noreset 3>"$out/display" \
    >/dev/null 2>&1 &
  xvfb=$!
  for _ in $(seq 100); do [ -s "$out/display" ] && break; sleep 0.1; done
  [ -s "$out/display" ] && display=":$(head -n 1 "$out/display")"
fi
if [ -n "$display" ]; then
  DISPLAY=$display run quotlink_window_bench "${gbench_args[@]}"
else
  echo "row | quotlink_window_bench | the console window's cost | not run: no display" \
    >"$out/quotlink_window_bench.log"
fi
if [ -n "$xvfb" ]; then
  kill "$xvfb" 2>/dev/null || true
  wait "$xvfb" 2>/dev/null || true
  xvfb=""
fi

all="$out/all"
for p in "${programs[@]}"; do cat "$out/$p.log"; done >"$all" 2>/dev/null || true

echo
echo "Benchmarks of $(git rev-parse --short HEAD 2>/dev/null || echo '?'), $(date -u '+%Y-%m-%d %H:%M UTC')," \
  "on $(nproc) cores of $(sed -n 's/^model name[[:space:]]*: //p' /proc/cpuinfo | head -n 1)" \
  "(load $(cut -d' ' -f1-3 /proc/loadavg))$([ "$quick" = 1 ] && echo ', --quick')"
echo
echo "| Benchmark | What | Figure |"
echo "|---|---|---|"
sed -n 's/^row | \([^|]*\) | \(.*\) | \([^|]*\)$/| `\1` | \2 | \3 |/p' "$all"
echo

# The last value of metric $1, or nothing.
metric() { awk -v k="$1" '$1 == "metric" && $2 == k { v = $3 } END { print v }' "$all"; }
# Evaluates an awk condition over the numbers given as a, b, c... (1: true).
holds() {
  local cond=$1
  shift
  awk -v cond="$cond" 'BEGIN {
    n = split(ARGV[1], v, " "); a = v[1]; b = v[2]; c = v[3]; d = v[4]
    if (cond == "ratio") r = (a >= b)
    else if (cond == "at_most") r = (a <= b)
    else if (cond == "zero") r = (a == 0)
    else if (cond == "loopback") r = (a >= 0.99 * b && c >= 59.9 && d == 0)
    else if (cond == "handover") r = (a <= 1000 && b <= 3000)
    print r; exit }' "$*"
}
# goal NAME FIGURE TARGET VERDICT(1 met)
goal() {
  echo "goal $1: $2 (target $3) $([ "$4" = 1 ] && echo met || echo missed)"
}

for path in tcp udp; do
  r=$(metric "replay.$path.ratio")
  if [ -z "$r" ]; then
    goal "replay-$path" "no figure" "1/100 of memcpy" 0
    goal "replay-$path-stretch" "no figure" "1/50 of memcpy" 0
    continue
  fi
  fig=$(awk -v r="$r" 'BEGIN { printf "1/%.0f of memcpy", 1 / r }')
  goal "replay-$path" "$fig" "1/100 of memcpy" "$(holds ratio "$r" 0.01)"
  goal "replay-$path-stretch" "$fig" "1/50 of memcpy" "$(holds ratio "$r" 0.02)"
done

for path in tcp udp; do
  if [ "$path" = tcp ]; then want=1000000; want_text="1 M quotes/s"; else want=200000; want_text="200 k quotes/s"; fi
  sent=$(metric "loopback.$path.sent_rate")
  secs=$(metric "loopback.$path.seconds")
  lost=$(metric "loopback.$path.lost")
  if [ -z "$sent" ]; then
    goal "$path-loopback" "no figure" "$want_text for 60 s, none lost" 0
    continue
  fi
  fig=$(awk -v s="$sent" -v t="$secs" -v l="$lost" \
    'BEGIN { printf "%.3f M quotes/s for %.0f s, %d lost", s / 1e6, t, l }')
  goal "$path-loopback" "$fig" "$want_text for 60 s, none lost" \
    "$(holds loopback "$sent $want $secs $lost")"
done

fl=$(metric quote.field_list.ratio)
po=$(metric quote.positional.ratio)
if [ -n "$fl" ] && [ -n "$po" ]; then
  worst=$(awk -v a="$fl" -v b="$po" 'BEGIN { print (a > b ? a : b) }')
  fig=$(awk -v a="$fl" -v b="$po" \
    'BEGIN { printf "32767 : 10 = %.2f field lists, %.2f positional", a, b }')
  goal flat-cost "$fig" "at most 1.5" "$(holds at_most "$worst" 1.5)"
else
  goal flat-cost "no figure" "at most 1.5" 0
fi

allocs=$(metric quote.allocs_per_quote)
if [ -n "$allocs" ]; then
  goal zero-allocations "$allocs allocations a quote" "0" "$(holds zero "$allocs")"
else
  goal zero-allocations "no figure" "0" 0
fi

for path in udp tcp; do
  p50=$(metric "latency.$path.p50_ns")
  p99=$(metric "latency.$path.p99_ns")
  if [ -z "$p50" ]; then
    goal "handover-$path" "no figure" "p50 <= 1 us, p99 <= 3 us" 0
    continue
  fi
  fig=$(awk -v a="$p50" -v b="$p99" 'BEGIN { printf "p50 %.2f us, p99 %.2f us", a / 1e3, b / 1e3 }')
  goal "handover-$path" "$fig" "p50 <= 1 us, p99 <= 3 us" "$(holds handover "$p50 $p99")"
done

if [ ${#failed[@]} -gt 0 ]; then
  echo "bench.sh: failed: ${failed[*]}" >&2
  exit 1
fi
