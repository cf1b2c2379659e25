#!/usr/bin/env bash
# Soak and fault run: one feeder against the feed simulator, phase after phase of faults and
# hostile feeds, sampling the feeder's memory and descriptors every second. See usage().
set -euo pipefail

usage() {
  cat <<'EOF'
Usage: scripts/soak.sh [SECONDS]
Runs `quotlink watch --json --console=log` in a fresh folder against quotlink-feedsim, one phase
per fault (--garbage, --split-datagrams, --stall, --overflow-burst, --image-slow,
--image-stop-after, --drop-after, --wrong-version) and per hostile mode (huge-lengths, no-marker,
trickle, endless-image, reset-mid-image, never-read). The phases share SECONDS equally (default
120, at least 60); each phase's recovery comes on top, a few seconds each.

Every second it samples the feeder's VmRSS and open descriptors. It fails, naming the phase and
why, when the feeder dies, when its memory passes the first phase's peak by more than
SOAK_RSS_MARGIN_MB (default 64) and doubles it, when its descriptors grow past the first phase's
by more than SOAK_FD_SLACK (default 3). It also fails when quotes ("Flag":0 lines) don't resume within
SOAK_RESUME_SECONDS (default 45): while a fault that needs no restart goes on, and after every
phase once a good simulator (at a trading day's rate, SOAK_AFTER_RATE quotes/s, default 3000)
and `restart` follow. A fault can leave the front of the TCP intake holding a frame that never
completes; the intake keeps it across a restart, and the new session's image waits behind it
until the intake overflows and empties. When that overflow (three beeps) ate the image, the
operator's remedy is one more restart, and the run does the same before it calls the phase
failed; the table tells which phases needed it. A phase whose quotes didn't resume is marked and
the run goes on to the end, so that the table shows them all.

SOAK_PHASES="NAME ..." runs only the named phases, for a closer look at one of them.

Needs the build in build/ (scripts/test.sh or scripts/build.sh makes it).
EOF
}

die() {
  echo "soak: $*" >&2
  exit 2
}

seconds=120
case $# in
  0) ;;
  1)
    case $1 in
      -h | --help)
        usage
        exit 0
        ;;
      *[!0-9]* | '') die "bad SECONDS '$1': expected a whole number of seconds (try --help)" ;;
    esac
    seconds=$((10#$1))
    ((seconds >= 60)) || die "SECONDS must be at least 60, got $seconds (try --help)"
    ;;
  *) die "too many arguments (try --help)" ;;
esac

root=$(cd "$(dirname "$0")/.." && pwd)
feeder_bin=$root/build/tools/quotlink/quotlink
sim_bin=$root/build/tools/feedsim/quotlink-feedsim
for b in "$feeder_bin" "$sim_bin"; do
  [[ -x $b ]] || die "$b is missing: build first (scripts/build.sh or scripts/test.sh)"
done

rss_margin_kb=$((${SOAK_RSS_MARGIN_MB:-64} * 1024))
fd_slack=${SOAK_FD_SLACK:-3}
resume_seconds=${SOAK_RESUME_SECONDS:-45}
after_rate=${SOAK_AFTER_RATE:-3000}
symbols=(ES CL EURUSD IBM NRX1)
live='"Flag":0'

work=$(mktemp -d "${TMPDIR:-/tmp}/quotlink-soak.XXXXXX")
sim_pid=
feeder_pid=
feeder_in=

cleanup() {
  local rc=$?
  trap - EXIT INT TERM
  if [[ -n $feeder_pid ]] && kill -0 "$feeder_pid" 2>/dev/null; then
    [[ -n $feeder_in ]] && echo quit >&"$feeder_in" 2>/dev/null || true
    for _ in 1 2 3 4 5 6 7 8 9 10; do
      kill -0 "$feeder_pid" 2>/dev/null || break
      sleep 0.2
    done
    kill "$feeder_pid" 2>/dev/null || true
  fi
  stop_sim
  if ((rc == 0)); then
    rm -rf "$work"
  else
    echo "soak: logs kept in $work (feeder.out, feeder.log, sim-*.log)" >&2
  fi
  exit "$rc"
}
trap cleanup EXIT
trap 'exit 130' INT TERM

# A port that nothing on this host has open, for TCP or UDP (from /proc/net).
free_port() {
  local port hex
  while :; do
    port=$((20000 + RANDOM % 40000))
    printf -v hex ':%04X ' "$port"
    if ! cat /proc/net/tcp /proc/net/tcp6 /proc/net/udp /proc/net/udp6 2>/dev/null |
      grep -q "$hex"; then
      echo "$port"
      return
    fi
  done
}
tcp_port=$(free_port)
udp_port=$(free_port)

stop_sim() {
  if [[ -n $sim_pid ]]; then
    kill "$sim_pid" 2>/dev/null || true
    wait "$sim_pid" 2>/dev/null || true
    sim_pid=
  fi
}

# Starts the simulator with the given fault options, its log in sim-NAME.log.
start_sim() {
  local name=$1
  shift
  stop_sim
  sim_log=$work/sim-$name.log
  "$sim_bin" --listen "127.0.0.1:$tcp_port" --udp-port "$udp_port" --status-every 0 \
    --rate 100 "$@" </dev/null 2>"$sim_log" &
  sim_pid=$!
  for _ in $(seq 50); do
    grep -q 'listening on' "$sim_log" && return
    kill -0 "$sim_pid" 2>/dev/null || break
    sleep 0.1
  done
  fail "the simulator didn't start: $(tail -n 3 "$sim_log")"
}

start_feeder() {
  mkfifo "$work/feeder.in"
  # Opened both ways so that neither side waits for the other, and the feeder's stdin stays
  # open for as long as the script holds it.
  exec {feeder_in}<>"$work/feeder.in"
  "$feeder_bin" watch --folder "$work/user" --server "127.0.0.1:$tcp_port" \
    --local-port "$udp_port" --json --console=log "${symbols[@]}" \
    <"$work/feeder.in" >"$work/feeder.out" 2>"$work/feeder.log" &
  feeder_pid=$!
}

restart_feeder() { echo restart >&"$feeder_in"; }

quotes_total() { grep -cF "$live" "$work/feeder.out" 2>/dev/null || true; }

phase=setup
fail() {
  echo "soak: FAILED in phase '$phase': $*" >&2
  exit 1
}

# The samples of the phase under way.
phase_peak_rss=0
phase_peak_fds=0
baseline_rss=0
baseline_fds=0
last_report=0

sample() {
  if ! kill -0 "$feeder_pid" 2>/dev/null; then
    local rc=0
    wait "$feeder_pid" || rc=$?
    feeder_pid=
    fail "the feeder died (exit status $rc); its last words: $(tail -n 3 "$work/feeder.log")"
  fi
  [[ -z $sim_pid ]] || kill -0 "$sim_pid" 2>/dev/null ||
    fail "the simulator died: $(tail -n 3 "$sim_log")"
  local rss fds
  rss=$(grep VmRSS "/proc/$feeder_pid/status" | tr -s ' ' | cut -d' ' -f2)
  fds=$(ls "/proc/$feeder_pid/fd" | wc -l)
  ((rss > phase_peak_rss)) && phase_peak_rss=$rss
  ((fds > phase_peak_fds)) && phase_peak_fds=$fds
  if ((baseline_rss > 0)); then
    local bound=$((baseline_rss + rss_margin_kb))
    ((2 * baseline_rss > bound)) && bound=$((2 * baseline_rss))
    ((rss <= bound)) ||
      fail "memory grew: VmRSS $((rss / 1024)) MB, bound $((bound / 1024)) MB (first phase $((baseline_rss / 1024)) MB)"
    ((fds <= baseline_fds + fd_slack)) ||
      fail "descriptors grew: $fds open, first phase $baseline_fds (+$fd_slack allowed)"
  fi
  if ((SECONDS - last_report >= 5)); then
    last_report=$SECONDS
    printf '  [%s] %4ds  quotes %d  rss %d kB  fds %d\n' "$phase" "$SECONDS" \
      $(($(quotes_total) - phase_start_quotes)) "$rss" "$fds"
  fi
}

# Samples for `secs` seconds.
run_for() {
  local end=$((SECONDS + $1))
  while ((SECONDS < end)); do
    sample
    sleep 1
  done
}

# Waits until `pattern` shows in the simulator's log, sampling; fails after `secs`.
until_sim_says() {
  local pattern=$1 secs=$2 end=$((SECONDS + $2))
  until grep -q "$pattern" "$sim_log"; do
    ((SECONDS < end)) || fail "the simulator never said '$pattern' within ${secs}s"
    sample
    sleep 1
  done
}

# Waits up to resume_seconds for live quotes beyond `from`, sampling; false when none came.
quotes_came() {
  local from=$1 end=$((SECONDS + resume_seconds))
  while (($(quotes_total) <= from)); do
    ((SECONDS < end)) || return 1
    sample
    sleep 1
  done
}

# Marks the phase failed and goes on: the next phases still tell whether memory and descriptors
# hold, and the table shows every phase that didn't recover.
no_quotes() {
  echo "soak: FAILED in phase '$phase': no new quotes within ${resume_seconds}s $1" >&2
  failures+=("$phase: no new quotes within ${resume_seconds}s $1")
  resumed=no
}

log_lines() { wc -l <"$work/feeder.log"; }

# Restarts against the good simulator and waits for quotes. When none come and the intake
# overflowed since the restart (a frame left over from the fault held the image behind it until
# then), one more restart, as the operator would press it, must bring them.
restart_until_quotes() {
  local from mark
  from=$(quotes_total)
  mark=$(log_lines)
  restart_feeder
  resumed=yes
  quotes_came "$from" && return
  if tail -n +"$((mark + 1))" "$work/feeder.log" | grep -qx beep; then
    echo "soak: [$phase] the intake overflowed with the new session's image: restarting once more"
    from=$(quotes_total)
    restart_feeder
    resumed=2nd
    quotes_came "$from" && return
  fi
  no_quotes "after a restart against a good feed"
}

# The phases: name, how quotes come back, the simulator's options.
#   live     the fault doesn't stop quotes: new ones must come while it goes on
#   restart  the fault stops quotes until a restart
# Every phase then ends with a good simulator and `restart`, after which quotes must come: what
# one fault leaves behind must not spoil the next session. A marker (after '@') is a line of the simulator's log that tells the fault has happened; quotes
# must come after it.
all_phases=(
  'garbage|live|--garbage'
  'split-datagrams|live|--split-datagrams'
  'stall|live@stall frame sent|--stall --rate 400'
  'overflow-burst|live@overflow burst|--overflow-burst'
  'image-slow|live|--image-slow 700'
  'image-stop|restart@image asked for|--image-stop-after 3'
  'drop-after|restart@dropped on purpose|--drop-after 4'
  'wrong-version|restart@image asked for|--wrong-version'
  'huge-lengths|restart|--hostile huge-lengths'
  'no-marker|restart|--hostile no-marker'
  'trickle|restart|--hostile trickle'
  'endless-image|restart@pieces without end|--hostile endless-image'
  'reset-mid-image|restart@then a reset|--hostile reset-mid-image'
  'never-read|restart@read no more|--hostile never-read --symbols NRX1 --rate 20000 --path udp'
)
phases=()
for entry in "${all_phases[@]}"; do
  if [[ -z ${SOAK_PHASES:-} || " $SOAK_PHASES " == *" ${entry%%|*} "* ]]; then
    phases+=("$entry")
  fi
done
((${#phases[@]} > 0)) || die "SOAK_PHASES names no phase: $SOAK_PHASES"
share=$((seconds / ${#phases[@]}))
((share >= 4)) || share=4

declare -a table failures=()
echo "soak: ${#phases[@]} phases of ${share}s, feeder on TCP $tcp_port / UDP $udp_port, in $work"
n=0
for entry in "${phases[@]}"; do
  n=$((n + 1))
  IFS='|' read -r phase mode sim_opts <<<"$entry"
  marker=
  if [[ $mode == *@* ]]; then
    marker=${mode#*@}
    mode=${mode%%@*}
  fi
  phase_peak_rss=0
  phase_peak_fds=0
  phase_start_quotes=$(quotes_total)
  echo "soak: phase $n/${#phases[@]} $phase ($sim_opts): ${share}s, then quotes must resume ($mode)"
  # shellcheck disable=SC2086  # the options are words
  start_sim "$phase" $sim_opts
  if [[ -z $feeder_pid ]]; then
    start_feeder
  else
    restart_feeder
  fi
  run_for "$share"
  [[ -z $marker ]] || until_sim_says "$marker" "$resume_seconds"
  during=-
  if [[ $mode == live ]]; then
    resumed=yes
    quotes_came "$(quotes_total)" || no_quotes "while the fault went on (it needs no restart)"
    during=$resumed
  fi
  start_sim "$phase-after" --rate "$after_rate"
  restart_until_quotes
  after=$resumed
  # A moment for the session to settle, so that the phase's counts include its recovery.
  run_for 2
  if ((baseline_rss == 0)); then
    baseline_rss=$phase_peak_rss
    baseline_fds=$phase_peak_fds
  fi
  phase_quotes=$(($(quotes_total) - phase_start_quotes))
  row=$(printf '%-16s %8d %10d %5d  %-7s %s' "$phase" "$phase_quotes" "$phase_peak_rss" \
    "$phase_peak_fds" "$during" "$after")
  table+=("$row")
done
phase=end

echo
printf '%-16s %8s %10s %5s  %-7s %s\n' phase quotes 'peak kB' fds during restart
printf '%s\n' "${table[@]}"
if ((${#failures[@]} > 0)); then
  echo "soak: FAILED after ${SECONDS}s; quotes didn't resume in:" >&2
  printf '  %s\n' "${failures[@]}" >&2
  exit 1
fi
echo "soak: passed in ${SECONDS}s: the feeder lived through every phase within its bounds"
